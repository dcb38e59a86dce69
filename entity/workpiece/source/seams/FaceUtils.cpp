#include <entity/AutoWeldSeamAlgUtils.h>
#include <entity/FaceUtils.h>

#include <cadtools/GeomHandle.h>
#include <cadtools/ShapeHandle.h>

#include <BRepAdaptor_Curve.hxx>
#include <BRepAdaptor_Surface.hxx>
#include <BRepAlgoAPI_Section.hxx>
#include <BRepBuilderAPI_MakeEdge.hxx>
#include <BRep_Tool.hxx>
#include <ElCLib.hxx>
#include <GeomAPI_IntCS.hxx>
#include <GeomAPI_IntSS.hxx>
#include <GeomAPI_ProjectPointOnSurf.hxx>
#include <Geom_Line.hxx>
#include <IntAna_Int3Pln.hxx>
#include <IntAna_IntConicQuad.hxx>
#include <IntAna_Quadric.hxx>
#include <Precision.hxx>
#include <StdFail_NotDone.hxx>
#include <TopExp_Explorer.hxx>
#include <TopoDS.hxx>

#include <algorithm>
#include <cmath>
#include <vector>

namespace
{
// Planes are asked for with this flatness tolerance.
constexpr double PlaneTol = 1.0;
// Oriented boxes of triangulated faces are computed with this tolerance.
constexpr double MeshBoxTol = 0.001;
// Normals of equal faces differ by at most this angle.
constexpr double EqualFaceNormalTol = 0.0001;
// Tangents of equal boundary edges differ by at most this angle.
constexpr double EqualEdgeAngTol = 0.1;
// Tolerance of the faces compared by FindSameNormalFaceFromIndexedMap.
constexpr double SameFaceTol = 0.1;
// A point within this distance of a face lies on it.
constexpr double OnFaceTol = 0.01;
// Points within this distance of a line lie on it.
constexpr double CollinearTol = 0.01;

// Returns the parameter intervals of `line` covered by the section of `face` with `plane`.
std::vector<std::pair<double, double>> CoveredIntervals(const TopoDS_Face& face, const gp_Pln& plane,
                                                        const gp_Lin& line)
{
  std::vector<std::pair<double, double>> intervals;
  BRepAlgoAPI_Section section(face, plane, Standard_False);
  section.Build();
  if (!section.IsDone())
    return intervals;
  for (TopExp_Explorer it(section.Shape(), TopAbs_EDGE); it.More(); it.Next())
  {
    const BRepAdaptor_Curve curve(TopoDS::Edge(it.Current()));
    const double s0 = FaceUtils::GetProjPntParamOnLine(curve.Value(curve.FirstParameter()), line);
    const double s1 = FaceUtils::GetProjPntParamOnLine(curve.Value(curve.LastParameter()), line);
    intervals.emplace_back(std::min(s0, s1), std::max(s0, s1));
  }
  return intervals;
}

// Returns the edges of the face in exploration order.
std::vector<TopoDS_Edge> EdgesOf(const TopoDS_Face& face)
{
  std::vector<TopoDS_Edge> edges;
  for (TopExp_Explorer it(face, TopAbs_EDGE); it.More(); it.Next())
    edges.push_back(TopoDS::Edge(it.Current()));
  return edges;
}
} // namespace

bool FaceUtils::IsPlane(const TopoDS_Face& face)
{
  return !GeomHandle::ConvertToPlane(face, PlaneTol).IsNull();
}

bool FaceUtils::IsMeshPlane(const TopoDS_Face& face)
{
  if (face.IsNull())
    return false;
  if (BRepAdaptor_Surface(face, Standard_True).GetType() != GeomAbs_OtherSurface)
    return false;
  const Bnd_OBB box = ShapeHandle::GetTopoShapeBndOBB(face, MeshBoxTol);
  return box.XHSize() < MeshHalfThickness || box.YHSize() < MeshHalfThickness || box.ZHSize() < MeshHalfThickness;
}

Handle(Geom_Plane) FaceUtils::GetGeomPlanePtr(const TopoDS_Shape& shape)
{
  const Handle(Geom_Plane) plane = GeomHandle::ConvertToPlane(shape, PlaneTol);
  if (plane.IsNull())
    return plane;
  const gp_Pln pln = plane->Pln();
  if (shape.Orientation() == TopAbs_REVERSED)
    return new Geom_Plane(pln.Location(), pln.Axis().Direction().Reversed());
  return new Geom_Plane(pln);
}

std::pair<bool, gp_Ax2> FaceUtils::GetPlaneFaceAx2(const TopoDS_Face& face)
{
  const Handle(Geom_Plane) plane = GetGeomPlanePtr(face);
  if (plane.IsNull())
    return {false, gp_Ax2()};
  return {true, gp_Ax2(plane->Location(), plane->Axis().Direction())};
}

NCollection_Sequence<gp_Ax2> FaceUtils::GetFaceAx2List(const NCollection_Sequence<TopoDS_Face>& faces)
{
  NCollection_Sequence<gp_Ax2> frames;
  for (const TopoDS_Face& face : faces)
    if (const auto [ok, normal] = ShapeHandle::GetNormal(face); ok)
      frames.Append(gp_Ax2(ShapeHandle::GetFaceCenter(face), normal));
  return frames;
}

std::pair<bool, gp_Lin> FaceUtils::InterfLinOfPln(const gp_Pln& plane1, const gp_Pln& plane2)
{
  const gp_Dir n1 = plane1.Axis().Direction();
  const gp_Dir n2 = plane2.Axis().Direction();
  const double angle = n1.Angle(n2);
  if (angle <= ParallelTol || M_PI - angle <= ParallelTol)
    return {false, gp_Lin()};
  const gp_Dir d = n1.Crossed(n2);
  const IntAna_Int3Pln intersection(plane1, plane2, gp_Pln(gp::Origin(), d));
  if (!intersection.IsDone() || intersection.IsEmpty())
    return {false, gp_Lin()};
  return {true, gp_Lin(intersection.Value(), d)};
}

std::pair<bool, gp_Lin> FaceUtils::InterfLinOfPln(const TopoDS_Face& face1, const TopoDS_Face& face2)
{
  const Handle(Geom_Plane) plane1 = GetGeomPlanePtr(face1);
  const Handle(Geom_Plane) plane2 = GetGeomPlanePtr(face2);
  if (plane1.IsNull() || plane2.IsNull())
    return {false, gp_Lin()};
  return InterfLinOfPln(plane1->Pln(), plane2->Pln());
}

std::pair<bool, gp_Lin> FaceUtils::InterfLinOfPln(const TopoDS_Face& face, const gp_Pln& plane)
{
  const Handle(Geom_Plane) facePlane = GetGeomPlanePtr(face);
  if (facePlane.IsNull())
    return {false, gp_Lin()};
  return InterfLinOfPln(facePlane->Pln(), plane);
}

std::pair<bool, gp_Pnt> FaceUtils::InterfPntOfLinAndPln(const gp_Pln& plane, const gp_Lin& line, double angTol)
{
  if (std::abs(M_PI / 2.0 - plane.Axis().Direction().Angle(line.Direction())) < angTol)
    return {false, gp::Origin()};
  const IntAna_IntConicQuad intersection(line, IntAna_Quadric(plane));
  if (!intersection.IsDone() || intersection.IsParallel() || intersection.IsInQuadric() ||
      intersection.NbPoints() < 1)
    return {false, gp::Origin()};
  return {true, intersection.Point(1)};
}

std::pair<bool, gp_Pnt> FaceUtils::InterfPntOfThreePlnFace(const NCollection_Sequence<TopoDS_Face>& faces)
{
  if (faces.Length() < 3)
    return {false, gp::Origin()};
  Handle(Geom_Plane) planes[3];
  for (int i = 0; i < 3; ++i)
  {
    planes[i] = GetGeomPlanePtr(faces(i + 1));
    if (planes[i].IsNull())
      return {false, gp::Origin()};
  }
  const IntAna_Int3Pln intersection(planes[0]->Pln(), planes[1]->Pln(), planes[2]->Pln());
  if (!intersection.IsDone())
    throw StdFail_NotDone("FaceUtils::InterfPntOfThreePlnFace");
  if (intersection.IsEmpty())
    return {false, gp::Origin()};
  return {true, intersection.Value()};
}

std::pair<bool, gp_Pnt> FaceUtils::InterfPntOfThreeFace(const NCollection_Sequence<TopoDS_Face>& faces,
                                                       const gp_Pnt& hint)
{
  std::pair<bool, gp_Pnt> best{false, gp::Origin()};
  if (faces.Length() < 3)
    return best;
  const Handle(Geom_Surface) s1 = BRep_Tool::Surface(faces(1));
  const Handle(Geom_Surface) s2 = BRep_Tool::Surface(faces(2));
  const Handle(Geom_Surface) s3 = BRep_Tool::Surface(faces(3));
  if (s1.IsNull() || s2.IsNull() || s3.IsNull())
    return best;
  // The common points of the three untrimmed surfaces, kept when they lie inside all three faces.
  GeomAPI_IntSS lines(s1, s2, Precision::Confusion());
  if (!lines.IsDone())
    return best;
  double bestDistance = Precision::Infinite();
  for (int i = 1; i <= lines.NbLines(); ++i)
  {
    GeomAPI_IntCS points(lines.Line(i), s3);
    if (!points.IsDone())
      continue;
    for (int j = 1; j <= points.NbPoints(); ++j)
    {
      const gp_Pnt p = points.Point(j);
      const bool onAll = std::all_of(faces.cbegin(), std::next(faces.cbegin(), 3), [&](const TopoDS_Face& face) {
        return AutoWeldSeamAlgUtils::DistOfPntToFace(p, face) <= OnFaceTol;
      });
      if (onAll && p.Distance(hint) < bestDistance)
      {
        bestDistance = p.Distance(hint);
        best = {true, p};
      }
    }
  }
  return best;
}

std::pair<bool, TopoDS_Edge> FaceUtils::InterfEdgeOfPlaneFace(const TopoDS_Face& face1, const TopoDS_Face& face2,
                                                              double tol, double angTol)
{
  const std::pair<bool, TopoDS_Edge> failure{false, TopoDS_Edge()};
  const Handle(Geom_Plane) plane1 = GetGeomPlanePtr(face1);
  const Handle(Geom_Plane) plane2 = GetGeomPlanePtr(face2);
  if (plane1.IsNull() || plane2.IsNull())
    return failure;
  const double angle = plane1->Axis().Direction().Angle(plane2->Axis().Direction());
  if (angle <= angTol || M_PI - angle <= angTol)
    return failure;
  if (auto shared = GetInterfEdgeByWeldSeamAlg(face1, face2, tol); shared.first)
    return shared;
  const auto [hasLine, line] = InterfLinOfPln(plane1->Pln(), plane2->Pln());
  if (!hasLine)
    return failure;
  // Faces that merely touch: each face's stretch of the line is where the other face's plane cuts it.
  const auto covered1 = CoveredIntervals(face1, plane2->Pln(), line);
  const auto covered2 = CoveredIntervals(face2, plane1->Pln(), line);
  std::pair<double, double> longest{0.0, 0.0};
  for (const auto& [a0, a1] : covered1)
    for (const auto& [b0, b1] : covered2)
    {
      const double lo = std::max(a0, b0);
      const double hi = std::min(a1, b1);
      if (hi - lo > longest.second - longest.first)
        longest = {lo, hi};
    }
  if (longest.second - longest.first <= tol)
    return failure;
  NCollection_Sequence<gp_Pnt> ends;
  ends.Append(ElCLib::Value(longest.first, line));
  ends.Append(ElCLib::Value(longest.second, line));
  return GetStraightEdgeByPntList(ends);
}

std::pair<bool, gp_Pnt> FaceUtils::ProjectPntOnPln(gp_Pln plane, const gp_Dir& dir, const gp_Pnt& point,
                                                   double angTolDegrees)
{
  return InterfPntOfLinAndPln(plane, gp_Lin(point, dir), angTolDegrees * M_PI / 180.0);
}

double FaceUtils::GetProjPntParamOnLine(const gp_Pnt& point, const gp_Lin& line)
{
  const double parameter = ElCLib::Parameter(line, point);
  return std::abs(parameter) < OnOriginTol ? 0.0 : parameter;
}

std::tuple<bool, gp_Pnt, gp_Vec> FaceUtils::CalcNearestProjPntOnFace(const gp_Pnt& point, const TopoDS_Face& face)
{
  const std::tuple<bool, gp_Pnt, gp_Vec> failure{false, gp::Origin(), gp_Vec(0.0, 0.0, 0.0)};
  const Handle(Geom_Surface) surface = GeomHandle::ConvertToBasisSurface(face, PlaneTol);
  if (surface.IsNull())
    return failure;
  GeomAPI_ProjectPointOnSurf projection(point, surface, Extrema_ExtAlgo_Grad);
  if (!projection.IsDone() || projection.NbPoints() == 0)
    return failure;
  double u = 0.0, v = 0.0;
  projection.LowerDistanceParameters(u, v);
  const gp_Vec normal = GeomHandle::GetFaceNormalAtUVParam(surface, u, v, face.Orientation() == TopAbs_REVERSED);
  if (normal.Magnitude() < NormalFloor)
    return failure;
  return {true, projection.NearestPoint(), normal};
}

gp_Pnt FaceUtils::AvgPntOfPntList(const NCollection_Sequence<gp_Pnt>& points)
{
  if (points.IsEmpty())
    return gp::Origin();
  gp_XYZ sum(0.0, 0.0, 0.0);
  for (const gp_Pnt& p : points)
    sum += p.XYZ();
  return gp_Pnt(sum / points.Length());
}

bool FaceUtils::IsTwoFaceEqual(const TopoDS_Face& face1, const TopoDS_Face& face2, double tol)
{
  if (IsPlane(face1) != IsPlane(face2))
    return false;
  if (face1.Orientation() != face2.Orientation())
    return false;
  // Placements are not compared: faces at different locations are told apart by their edges.
  const auto [ok1, n1] = ShapeHandle::GetNormal(face1);
  const auto [ok2, n2] = ShapeHandle::GetNormal(face2);
  if (!ok1 || !ok2 || n1.Angle(n2) > EqualFaceNormalTol)
    return false;
  const std::vector<TopoDS_Edge> edges1 = EdgesOf(face1);
  std::vector<TopoDS_Edge> edges2 = EdgesOf(face2);
  if (edges1.empty() || edges1.size() != edges2.size())
    return false;
  const auto start = std::find_if(edges2.begin(), edges2.end(), [&](const TopoDS_Edge& e) {
    return ShapeHandle::IsTwoEdgeEqual(edges1.front(), e, tol, EqualEdgeAngTol);
  });
  if (start == edges2.end())
    return false;
  std::rotate(edges2.begin(), start, edges2.end());
  for (std::size_t i = 1; i < edges1.size(); ++i)
    if (!ShapeHandle::IsTwoEdgeEqual(edges1[i], edges2[i], tol, EqualEdgeAngTol))
      return false;
  return true;
}

NCollection_Sequence<TopoDS_Face> FaceUtils::FindSameNormalFaceFromIndexedMap(
  const NCollection_IndexedMap<TopoDS_Shape, TopTools_ShapeMapHasher>& map, const TopoDS_Face& face, double angTol)
{
  NCollection_Sequence<TopoDS_Face> found;
  const Handle(Geom_Plane) plane = GetGeomPlanePtr(face);
  if (plane.IsNull())
    return found;
  const gp_Dir normal = plane->Axis().Direction();
  for (int i = 1; i <= map.Extent(); ++i)
  {
    const TopoDS_Face& candidate = TopoDS::Face(map(i));
    const Handle(Geom_Plane) candidatePlane = GetGeomPlanePtr(candidate);
    if (candidatePlane.IsNull() || candidatePlane->Axis().Direction().Angle(normal) > angTol)
      continue;
    if (!IsTwoFaceEqual(face, candidate, SameFaceTol))
      found.Append(candidate);
  }
  return found;
}

Quantity_Color FaceUtils::GetColor(std::uint32_t color)
{
  return Quantity_Color(((color >> 16) & 0xFF) / 255.0, ((color >> 8) & 0xFF) / 255.0, (color & 0xFF) / 255.0,
                        Quantity_TOC_RGB);
}

Handle(AIS_Shape) FaceUtils::GetFaceAisShape(const TopoDS_Face& face, const Quantity_Color& color)
{
  if (face.IsNull())
    return Handle(AIS_Shape)();
  Handle(AIS_Shape) shape = new AIS_Shape(face);
  shape->SetColor(color);
  const Handle(Geom_Surface) surface = GeomHandle::ConvertToBasisSurface(face, PlaneTol);
  if (!Handle(Geom_Plane)::DownCast(surface).IsNull())
  {
    const gp_Vec normal =
      GeomHandle::GetFaceNormalAtUVParam(surface, 0.0, 0.0, face.Orientation() == TopAbs_REVERSED).Normalized();
    gp_Trsf lift;
    lift.SetTranslation(normal * DisplayOffset);
    shape->SetLocalTransformation(lift);
  }
  return shape;
}

std::pair<bool, TopoDS_Edge> FaceUtils::GetInterfEdgeByWeldSeamAlg(const TopoDS_Face& face1, const TopoDS_Face& face2,
                                                                   double tol)
{
  NCollection_Sequence<TopoDS_Edge> shared;
  const std::vector<TopoDS_Edge> edges2 = EdgesOf(face2);
  for (const TopoDS_Edge& e1 : EdgesOf(face1))
    if (std::any_of(edges2.begin(), edges2.end(), [&](const TopoDS_Edge& e2) {
          return e1.IsSame(e2) || ShapeHandle::IsTwoEdgeEqual(e1, e2, tol, ParallelTol);
        }))
      shared.Append(e1);
  if (shared.IsEmpty())
    return {false, TopoDS_Edge()};
  return GetMergedStraightEdge(shared);
}

std::pair<bool, TopoDS_Edge> FaceUtils::GetMergedStraightEdge(const NCollection_Sequence<TopoDS_Edge>& edges)
{
  NCollection_Sequence<gp_Pnt> points;
  for (const TopoDS_Edge& edge : edges)
  {
    const auto [curve, first, last] = GeomHandle::ConvertToBasisCurve(edge);
    if (Handle(Geom_Line)::DownCast(curve).IsNull())
      return {false, TopoDS_Edge()};
    points.Append(curve->Value(first));
    points.Append(curve->Value(last));
  }
  return GetStraightEdgeByPntList(points);
}

std::pair<bool, TopoDS_Edge> FaceUtils::GetStraightEdgeByPntList(const NCollection_Sequence<gp_Pnt>& points)
{
  const auto [ok, poles] = PolePntOfPntList(points);
  if (!ok)
    return {false, TopoDS_Edge()};
  const gp_Lin line(poles(1), gp_Dir(gp_Vec(poles(1), poles(2))));
  if (std::any_of(points.cbegin(), points.cend(), [&](const gp_Pnt& p) { return line.Distance(p) > CollinearTol; }))
    return {false, TopoDS_Edge()};
  BRepBuilderAPI_MakeEdge maker(poles(1), poles(2));
  if (!maker.IsDone())
    return {false, TopoDS_Edge()};
  return {true, maker.Edge()};
}

std::pair<bool, NCollection_Sequence<gp_Pnt>> FaceUtils::PolePntOfPntList(const NCollection_Sequence<gp_Pnt>& points)
{
  NCollection_Sequence<gp_Pnt> poles;
  double farthest = Precision::Confusion();
  int bestI = 0, bestJ = 0;
  for (int i = 1; i <= points.Length(); ++i)
    for (int j = i + 1; j <= points.Length(); ++j)
      if (points(i).Distance(points(j)) > farthest)
      {
        farthest = points(i).Distance(points(j));
        bestI = i;
        bestJ = j;
      }
  if (bestI == 0)
    return {false, poles};
  poles.Append(points(bestI));
  poles.Append(points(bestJ));
  return {true, poles};
}
