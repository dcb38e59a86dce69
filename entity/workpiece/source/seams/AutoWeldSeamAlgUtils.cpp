#include <entity/AutoWeldSeamAlgUtils.h>
#include <entity/FaceProximity.h>

#include <cadtools/GeomHandle.h>
#include <cadtools/ShapeHandle.h>

#include <BRepAdaptor_Curve.hxx>
#include <BRepBuilderAPI_MakeEdge.hxx>
#include <BRepBuilderAPI_MakeVertex.hxx>
#include <BRepExtrema_DistShapeShape.hxx>
#include <BRepTools.hxx>
#include <BRepTopAdaptor_FClass2d.hxx>
#include <BRep_Tool.hxx>
#include <GeomAPI_ProjectPointOnSurf.hxx>
#include <GeomConvert_CompCurveToBSplineCurve.hxx>
#include <GeomProjLib.hxx>
#include <Geom_BSplineCurve.hxx>
#include <Geom_ConicalSurface.hxx>
#include <Geom_CylindricalSurface.hxx>
#include <Geom_Line.hxx>
#include <Geom_Plane.hxx>
#include <Geom_TrimmedCurve.hxx>
#include <TopExp_Explorer.hxx>
#include <TopLoc_Location.hxx>
#include <TopoDS.hxx>

#include <gp.hxx>

#include <algorithm>
#include <cmath>
#include <list>
#include <optional>
#include <tuple>
#include <vector>

namespace
{
constexpr double BasisSurfaceTol = AutoWeldSeamAlgUtils::BasisSurfaceTol;

// Returns the probe directions (w1, w2): in each face's tangent plane, away from the edge, toward the
// side on which the other face stands. The normals must be unit, neither parallel nor opposite.
std::pair<gp_Vec, gp_Vec> ProbeDirections(const gp_Vec& n1, const gp_Vec& n2)
{
  const gp_Vec b = (n1 + n2).Normalized();
  const double a1 = b.Angle(n1);
  const double a2 = b.Angle(n2);
  const gp_Vec w1 = (b * (n1.Magnitude() / std::cos(a1)) - n1).Normalized();
  const gp_Vec w2 = (b * (n2.Magnitude() / std::cos(a2)) - n2).Normalized();
  return {w1, w2};
}

// Returns the edge's basis curve point at fraction t of its range, or false without a curve.
std::pair<bool, gp_Pnt> PointOnBasisCurve(const TopoDS_Edge& edge, double t)
{
  const auto [curve, first, last] = GeomHandle::ConvertToBasisCurve(edge);
  if (curve.IsNull())
    return {false, gp_Pnt()};
  return {true, curve->Value(first + (last - first) * t)};
}

// Returns (true, kind) when the angle between the faces' normals alone decides the kind: faces
// folded back onto each other are unknown, parallel or opposite faces convex.
std::pair<bool, EdgeType> KindOfNormals(const gp_Vec& n1, const gp_Vec& n2)
{
  const double angle = n1.Angle(n2);
  if (angle > AutoWeldSeamAlgUtils::FoldBackAngle)
    return {true, EdgeType::Unknown};
  if (n1.IsParallel(n2, AutoWeldSeamAlgUtils::ParallelTol))
    return {true, EdgeType::Convex};
  return {false, EdgeType::Unknown};
}

// Returns the kind told by the two probes: both on their faces concave, both off convex, else unknown.
EdgeType KindOfProbes(bool onFace1, bool onFace2)
{
  if (onFace1 && onFace2)
    return EdgeType::Concave;
  if (!onFace1 && !onFace2)
    return EdgeType::Convex;
  return EdgeType::Unknown;
}

// Returns the height of `point` above the plane through p with unit normal n (its z in the plane's frame).
double HeightAbove(const gp_Pnt& point, const gp_Pnt& p, const gp_Dir& n)
{
  return (point.XYZ() - p.XYZ()).Dot(n.XYZ());
}

// Returns whether some of the points lies strictly more than tol above the plane through p with normal n.
bool HasPointAbove(const gp_Pnt& p, const gp_Dir& n, const std::vector<gp_Pnt>& points, double tol)
{
  return std::any_of(points.begin(), points.end(),
                     [&](const gp_Pnt& point) { return HeightAbove(point, p, n) > tol; });
}

// Returns the kind at fraction t of the edge: unknown without a curve or a normal, else what the
// normals decide, else probes(p, w1, w2) with p on the edge and wN the probe direction into face N.
// normalN() gives (whether face N has a normal there, the normal).
template <typename Normal1, typename Normal2, typename Probes>
EdgeType KindAt(const TopoDS_Edge& edge, double t, const Normal1& normal1, const Normal2& normal2, const Probes& probes)
{
  const auto [hasCurve, p] = PointOnBasisCurve(edge, t);
  if (!hasCurve)
    return EdgeType::Unknown;
  const auto [ok1, n1] = normal1();
  const auto [ok2, n2] = normal2();
  if (!ok1 || !ok2)
    return EdgeType::Unknown;
  if (const auto [decided, kind] = KindOfNormals(n1, n2); decided)
    return kind;
  const auto [w1, w2] = ProbeDirections(n1, n2);
  return probes(p, w1, w2);
}

// Returns the point a distance d from p along w, on the face's surface: the step is taken in the
// surface's parameters at the edge point at fraction t, so that it follows a curved face instead of
// leaving it along the tangent; the parameters reached come with it. A plane, or a face that does not
// hold the edge, steps straight, without parameters.
std::pair<gp_Pnt, std::optional<gp_Pnt2d>> StepOnFace(const TopoDS_Edge& edge, const TopoDS_Face& face, double t,
                                                      const gp_Pnt& p, const gp_Vec& w, double d)
{
  const std::pair<gp_Pnt, std::optional<gp_Pnt2d>> straight{p.Translated(w * d), std::nullopt};
  TopLoc_Location location;
  const Handle(Geom_Surface) surface = BRep_Tool::Surface(face, location);
  if (surface.IsNull() || edge.IsNull() || surface->IsKind(STANDARD_TYPE(Geom_Plane)))
    return straight;
  double first = 0.0, last = 0.0;
  const Handle(Geom2d_Curve) pcurve = BRep_Tool::CurveOnSurface(edge, face, first, last);
  if (pcurve.IsNull())
    return straight;
  const gp_Pnt2d uv = pcurve->Value(first + (last - first) * t);
  gp_Pnt origin;
  gp_Vec du, dv;
  surface->D1(uv.X(), uv.Y(), origin, du, dv);
  const gp_Trsf& toPart = location.Transformation();
  du.Transform(toPart);
  dv.Transform(toPart);
  // The parameter step whose tangent image is nearest w (least squares on the 2 x 2 normal equations).
  const double a = du.Dot(du), b = du.Dot(dv), c = dv.Dot(dv);
  const double det = a * c - b * b;
  if (det <= gp::Resolution())
    return straight;
  const double su = (c * du.Dot(w) - b * dv.Dot(w)) / det;
  const double sv = (a * dv.Dot(w) - b * du.Dot(w)) / det;
  const gp_Pnt2d reached(uv.X() + su * d, uv.Y() + sv * d);
  return {surface->Value(reached.X(), reached.Y()).Transformed(toPart), reached};
}

// Returns the probe classification, the faces' normals and point tests given as callables. The probes
// step no further than a share of the narrower face's width (tol + 1 at most), and a probe counts as
// on its face within half that step at most, so that narrow faces (fillets, chamfers, ribs, low
// steps) are probed on themselves. onFaceN(point, tol, parameters) tells whether a probe is on face N.
template <typename Normal1, typename Normal2, typename OnFace1, typename OnFace2>
EdgeType ProbeKind(const TopoDS_Edge& edge, const TopoDS_Face& face1, const TopoDS_Face& face2, double tol, double t,
                   double width, const Normal1& normal1, const Normal2& normal2, const OnFace1& onFace1,
                   const OnFace2& onFace2)
{
  return KindAt(edge, t, normal1, normal2, [&](const gp_Pnt& p, const gp_Vec& w1, const gp_Vec& w2) {
    const double d = std::min(tol + 1.0, AutoWeldSeamAlgUtils::ProbeWidthFraction * width);
    const double onTol = std::min(tol, 0.5 * d);
    const auto [q1, uv1] = StepOnFace(edge, face1, t, p, w1, d);
    const auto [q2, uv2] = StepOnFace(edge, face2, t, p, w2, d);
    return KindOfProbes(onFace1(q1, onTol, uv1), onFace2(q2, onTol, uv2));
  });
}

// Returns the planar classification: planeN() gives (whether face N is planar, its plane's normal),
// distanceN the distance to face N.
template <typename Plane1, typename Plane2, typename Distance1, typename Distance2>
EdgeType PlanarKind(const TopoDS_Edge& edge, int step, double width, const Plane1& plane1, const Plane2& plane2,
                    const Distance1& distance1, const Distance2& distance2)
{
  return KindAt(edge, 0.5, plane1, plane2, [&](const gp_Pnt& p, const gp_Vec& w1, const gp_Vec& w2) {
    const double d = std::min(static_cast<double>(step), AutoWeldSeamAlgUtils::ProbeWidthFraction * width);
    return KindOfProbes(distance1(p.Translated(w1 * d)) < distance1(p) + AutoWeldSeamAlgUtils::PlanarDistSlack,
                        distance2(p.Translated(w2 * d)) < distance2(p) + AutoWeldSeamAlgUtils::PlanarDistSlack);
  });
}

// Returns (true, normal at the plane's origin) of a face whose basis surface is a plane, else (false, zero).
std::pair<bool, gp_Vec> PlaneNormalOf(const TopoDS_Face& face)
{
  const Handle(Geom_Plane) plane = Handle(Geom_Plane)::DownCast(GeomHandle::ConvertToBasisSurface(face, BasisSurfaceTol));
  if (plane.IsNull())
    return {false, gp_Vec(0.0, 0.0, 0.0)};
  return {true, GeomHandle::GetFaceNormalAtUVParam(plane, 0.0, 0.0, face.Orientation() == TopAbs_REVERSED)};
}

// Fractions of an edge where the orientation classifier samples it: inside, away from its ends, where
// apexes sit and neighbouring faces often start tangent.
constexpr double OrientationSamples[] = {0.1, 0.3, 0.5, 0.7, 0.9};
// Share of the decided samples a kind needs to win; below it the edge changes kind along its length.
constexpr double ConsistentShare = 0.75;

// Returns the orientation classification of an edge oriented as in face1, and whether its kind changes
// along it: normalN(t) the faces' normals at fraction t, planarN() whether they are planar,
// faceNRises(p, n) whether face N rises above a plane.
template <typename Normal1, typename Normal2, typename Planar1, typename Planar2, typename Rises1, typename Rises2>
std::pair<EdgeType, bool> OrientationKind(const TopoDS_Edge& edge, const Normal1& normal1, const Normal2& normal2,
                                          const Planar1& planar1, const Planar2& planar2, const Rises1& face1Rises,
                                          const Rises2& face2Rises)
{
  const BRepAdaptor_Curve curve(edge);
  int concave = 0, convex = 0;
  gp_Pnt middle;
  gp_Vec n1Middle, n2Middle;
  for (const double t : OrientationSamples)
  {
    gp_Pnt p;
    gp_Vec tangent;
    curve.D1(curve.FirstParameter() + (curve.LastParameter() - curve.FirstParameter()) * t, p, tangent);
    if (edge.Orientation() == TopAbs_REVERSED)
      tangent.Reverse();
    const auto [ok1, n1] = normal1(t);
    const auto [ok2, n2] = normal2(t);
    if (!ok1 || !ok2 || tangent.Magnitude() < AutoWeldSeamAlgUtils::NormalFloor)
      continue;
    // With outward normals and the edge as face1 runs it, n1 x n2 runs along the edge at an outer
    // corner and against it at an inner one; faces meeting smoothly are no corner.
    if (n1.IsParallel(n2, AutoWeldSeamAlgUtils::ParallelTol) || n1.Crossed(n2).Dot(tangent) > 0.0)
      ++convex;
    else
      ++concave;
    std::tie(middle, n1Middle, n2Middle) = std::make_tuple(p, n1, n2);
  }
  const int decided = concave + convex;
  if (decided == 0)
    return {EdgeType::Unknown, false};
  const bool changes = concave > 0 && convex > 0;
  EdgeType kind = EdgeType::Unknown;
  if (concave >= ConsistentShare * decided)
    kind = EdgeType::Concave;
  else if (convex >= ConsistentShare * decided)
    kind = EdgeType::Convex;
  if (kind == EdgeType::Unknown || !planar1() || !planar2() ||
      n1Middle.IsParallel(n2Middle, AutoWeldSeamAlgUtils::ParallelTol))
    return {kind, changes && kind == EdgeType::Unknown};

  // At a real inner corner each face rises above the other's plane; seen from an outer corner the
  // faces fall away behind each other's plane, hence the flipped normals.
  if (kind == EdgeType::Convex)
  {
    n1Middle.Reverse();
    n2Middle.Reverse();
  }
  const bool risesAbove = face2Rises(middle, gp_Dir(n1Middle)) && face1Rises(middle, gp_Dir(n2Middle));
  return {risesAbove ? kind : EdgeType::Convex, false};
}

// Returns a vertex at the point, or a null vertex when the point cannot carry one.
TopoDS_Vertex VertexAt(const gp_Pnt& point)
{
  BRepBuilderAPI_MakeVertex maker(point);
  return maker.IsDone() ? maker.Vertex() : TopoDS_Vertex();
}

// Returns the minimal vertex-to-face distance, or FailDistance when it cannot be computed.
double VertexFaceDistance(const TopoDS_Vertex& vertex, const TopoDS_Face& face)
{
  if (vertex.IsNull() || face.IsNull())
    return AutoWeldSeamAlgUtils::FailDistance;
  BRepExtrema_DistShapeShape dist(vertex, face, Extrema_ExtFlag_MINMAX, Extrema_ExtAlgo_Grad);
  if (!dist.IsDone())
    return AutoWeldSeamAlgUtils::FailDistance;
  return dist.Value();
}
} // namespace

EdgeType AutoWeldSeamAlgUtils::CalcEdgeType(const EdgeFaceSeg& seg, double tol, double t)
{
  return CalcEdgeType(seg.Edge(), seg.Face1(), seg.Face2(), tol, t);
}

EdgeType AutoWeldSeamAlgUtils::CalcEdgeType(const TopoDS_Edge& edge, const TopoDS_Face& face1,
                                            const TopoDS_Face& face2, double tol, double t)
{
  return CalcEdgeType(
    edge, face1, face2, tol, t, [&](const gp_Pnt& p, double d) { return IsVertexOnFace(p, face1, d); },
    [&](const gp_Pnt& p, double d) { return IsVertexOnFace(p, face2, d); });
}

EdgeType AutoWeldSeamAlgUtils::CalcEdgeType(const TopoDS_Edge& edge, const TopoDS_Face& face1,
                                            const TopoDS_Face& face2, double tol, double t,
                                            const OnFaceTest& onFace1, const OnFaceTest& onFace2)
{
  return ProbeKind(
    edge, face1, face2, tol, t, std::min(FaceProximity::WidthOf(face1), FaceProximity::WidthOf(face2)),
    [&] { return GetFaceNormalByEdge(edge, face1, t); }, [&] { return GetFaceNormalByEdge(edge, face2, t); },
    [&](const gp_Pnt& p, double d, const std::optional<gp_Pnt2d>&) { return onFace1(p, d); },
    [&](const gp_Pnt& p, double d, const std::optional<gp_Pnt2d>&) { return onFace2(p, d); });
}

EdgeType AutoWeldSeamAlgUtils::CalcEdgeType(const TopoDS_Edge& edge, const FaceProximity& face1,
                                            const FaceProximity& face2, double tol, double t)
{
  return ProbeKind(
    edge, face1.Face(), face2.Face(), tol, t, std::min(face1.Width(), face2.Width()),
    [&] { return face1.NormalByEdge(edge, t); }, [&] { return face2.NormalByEdge(edge, t); },
    [&](const gp_Pnt& p, double d, const std::optional<gp_Pnt2d>& uv) { return uv ? face1.Contains(*uv) : face1.IsOn(p, d); },
    [&](const gp_Pnt& p, double d, const std::optional<gp_Pnt2d>& uv) { return uv ? face2.Contains(*uv) : face2.IsOn(p, d); });
}

EdgeType AutoWeldSeamAlgUtils::CalcEdgeType(const TopoDS_Edge& edge, const TopoDS_Face& face1,
                                            const TopoDS_Face& face2, int step)
{
  return CalcEdgeType(
    edge, face1, face2, step, [&](const gp_Pnt& p) { return DistOfPntToFace(p, face1); },
    [&](const gp_Pnt& p) { return DistOfPntToFace(p, face2); });
}

EdgeType AutoWeldSeamAlgUtils::CalcEdgeType(const TopoDS_Edge& edge, const TopoDS_Face& face1,
                                            const TopoDS_Face& face2, int step, const FaceDistance& distance1,
                                            const FaceDistance& distance2)
{
  return PlanarKind(
    edge, step, std::min(FaceProximity::WidthOf(face1), FaceProximity::WidthOf(face2)),
    [&] { return PlaneNormalOf(face1); }, [&] { return PlaneNormalOf(face2); }, distance1, distance2);
}

EdgeType AutoWeldSeamAlgUtils::CalcEdgeType(const TopoDS_Edge& edge, const FaceProximity& face1,
                                            const FaceProximity& face2, int step)
{
  return PlanarKind(
    edge, step, std::min(face1.Width(), face2.Width()), [&] { return std::make_pair(face1.IsPlanar(), face1.PlaneNormal()); },
    [&] { return std::make_pair(face2.IsPlanar(), face2.PlaneNormal()); },
    [&](const gp_Pnt& p) { return face1.Distance(p); }, [&](const gp_Pnt& p) { return face2.Distance(p); });
}

EdgeType AutoWeldSeamAlgUtils::IsConcave(const EdgeFaceSeg& seg, double tol)
{
  return IsConcave(seg.Edge(), seg.Face1(), seg.Face2(), tol);
}

EdgeType AutoWeldSeamAlgUtils::IsConcave(TopoDS_Edge edge, const TopoDS_Face& face1, const TopoDS_Face& face2,
                                         double tol)
{
  if (edge.IsNull() || face1.IsNull() || face2.IsNull())
    return EdgeType::Unknown;
  bool asInFace1 = false;
  for (TopExp_Explorer it(face1, edge.ShapeType()); it.More() && !asInFace1; it.Next())
    asInFace1 = it.Current().IsEqual(edge);
  if (!asInFace1)
    edge.Reverse();
  const double sideTol = std::min(tol, PlaneSideTol);
  return OrientationKind(
           edge, [&](double t) { return GetFaceNormalByEdge(edge, face1, t); },
           [&](double t) { return GetFaceNormalByEdge(edge, face2, t); }, [&] { return PlaneNormalOf(face1).first; },
           [&] { return PlaneNormalOf(face2).first; },
           [&](const gp_Pnt& p, const gp_Dir& n) { return HasPointAbove(p, n, FaceProximity::OutlineOf(face1), sideTol); },
           [&](const gp_Pnt& p, const gp_Dir& n) { return HasPointAbove(p, n, FaceProximity::OutlineOf(face2), sideTol); })
    .first;
}

EdgeType AutoWeldSeamAlgUtils::IsConcave(const TopoDS_Edge& edgeAsInFace1, const FaceProximity& face1,
                                         const FaceProximity& face2, double tol)
{
  return KindAlongEdge(edgeAsInFace1, face1, face2, tol).first;
}

std::pair<EdgeType, bool> AutoWeldSeamAlgUtils::KindAlongEdge(const TopoDS_Edge& edgeAsInFace1,
                                                              const FaceProximity& face1, const FaceProximity& face2,
                                                              double tol)
{
  if (edgeAsInFace1.IsNull() || face1.Face().IsNull() || face2.Face().IsNull())
    return {EdgeType::Unknown, false};
  // Vertices alone miss a face that rises in an arc, and tol alone misses a low step.
  const double sideTol = std::min(tol, PlaneSideTol);
  return OrientationKind(
    edgeAsInFace1, [&](double t) { return face1.NormalByEdge(edgeAsInFace1, t); },
    [&](double t) { return face2.NormalByEdge(edgeAsInFace1, t); }, [&] { return face1.IsPlanar(); },
    [&] { return face2.IsPlanar(); },
    [&](const gp_Pnt& p, const gp_Dir& n) { return HasPointAbove(p, n, face1.OutlinePoints(), sideTol); },
    [&](const gp_Pnt& p, const gp_Dir& n) { return HasPointAbove(p, n, face2.OutlinePoints(), sideTol); });
}

std::pair<bool, gp_Vec> AutoWeldSeamAlgUtils::GetFaceNormalOnEdge(const TopoDS_Edge& edge, const TopoDS_Face& face,
                                                                  double t)
{
  const std::pair<bool, gp_Vec> failure{false, gp_Vec(0.0, 0.0, 0.0)};
  if (edge.IsNull() || face.IsNull())
    return failure;
  double first = 0.0, last = 0.0;
  const Handle(Geom2d_Curve) pcurve = BRep_Tool::CurveOnSurface(edge, face, first, last);
  TopLoc_Location location;
  const Handle(Geom_Surface) surface = BRep_Tool::Surface(face, location);
  if (pcurve.IsNull() || surface.IsNull())
    return failure;
  const gp_Pnt2d uv = pcurve->Value(first + (last - first) * std::clamp(t, 0.0, 1.0));
  gp_Vec normal = GeomHandle::GetFaceNormalAtUVParam(surface, uv.X(), uv.Y(), face.Orientation() == TopAbs_REVERSED);
  if (normal.Magnitude() < NormalFloor)
    return failure;
  normal.Transform(location.Transformation());
  return {true, normal.Normalized()};
}

std::pair<bool, gp_Vec> AutoWeldSeamAlgUtils::GetFaceNormalByEdge(const TopoDS_Edge& edge, const TopoDS_Face& face,
                                                                  double t)
{
  const std::pair<bool, gp_Vec> failure{false, gp_Vec(0.0, 0.0, 0.0)};
  t = std::clamp(t, 0.0, 1.0);
  const Handle(Geom_Surface) surface = GeomHandle::ConvertToBasisSurface(face, BasisSurfaceTol);
  if (surface.IsNull())
    return failure;
  const bool reversed = face.Orientation() == TopAbs_REVERSED;
  // A plane's axis is its normal only when its frame is right-handed: mirrored parts carry left-handed ones.
  if (const Handle(Geom_Plane) plane = Handle(Geom_Plane)::DownCast(surface); !plane.IsNull())
    return {true, GeomHandle::GetFaceNormalAtUVParam(plane, 0.0, 0.0, reversed).Normalized()};
  if (edge.IsNull())
    return failure;
  // The edge's own point on the face is exact; a projection may land on another sheet of the surface.
  if (const auto onEdge = GetFaceNormalOnEdge(edge, face, t); onEdge.first)
    return onEdge;
  double first = 0.0, last = 0.0;
  const Handle(Geom_Curve) curve = BRep_Tool::Curve(edge, first, last);
  if (curve.IsNull())
    return failure;
  GeomAPI_ProjectPointOnSurf projection(curve->Value(first + (last - first) * t), surface, Extrema_ExtAlgo_Grad);
  if (!projection.IsDone() || projection.NbPoints() == 0)
    return failure;
  double u = 0.0, v = 0.0;
  projection.LowerDistanceParameters(u, v);
  if (surface->IsKind(STANDARD_TYPE(Geom_ConicalSurface)))
  {
    double umin = 0.0, umax = 0.0, vmin = 0.0, vmax = 0.0;
    BRepTools::UVBounds(face, umin, umax, vmin, vmax);
    v = 0.5 * (vmin + vmax);
  }
  const gp_Vec normal = GeomHandle::GetFaceNormalAtUVParam(surface, u, v, reversed);
  if (normal.Magnitude() < NormalFloor)
    return failure;
  return {true, normal.Normalized()};
}

gp_Vec AutoWeldSeamAlgUtils::GetFaceNormalAtCurveParam(const Handle(Geom2d_Curve)& curve,
                                                       const Handle(Geom_Surface)& surface, double t, bool reversed)
{
  const gp_Pnt2d uv = curve->Value(t);
  return GeomHandle::GetFaceNormalAtUVParam(surface, uv.X(), uv.Y(), reversed);
}

double AutoWeldSeamAlgUtils::DistOfPntToFace(const gp_Pnt& point, const TopoDS_Face& face)
{
  return VertexFaceDistance(VertexAt(point), face);
}

bool AutoWeldSeamAlgUtils::IsVertexOnFace(const TopoDS_Vertex& vertex, const TopoDS_Face& face, double tol)
{
  return VertexFaceDistance(vertex, face) < tol;
}

bool AutoWeldSeamAlgUtils::IsVertexOnFace(gp_Pnt point, const TopoDS_Face& face, double tol)
{
  const Handle(Geom_Plane) plane = Handle(Geom_Plane)::DownCast(GeomHandle::ConvertToBasisSurface(face, BasisSurfaceTol));
  if (!plane.IsNull() && plane->Pln().Distance(point) > 2.0 * tol)
    return false;
  return IsVertexOnFace(VertexAt(point), face, tol);
}

bool AutoWeldSeamAlgUtils::IsEdgeInFace(const TopoDS_Edge& edge, const TopoDS_Face& face, double tol)
{
  if (edge.IsNull() || face.IsNull())
    return false;
  double first = 0.0, last = 0.0;
  const Handle(Geom_Curve) curve = BRep_Tool::Curve(edge, first, last);
  const Handle(Geom_Surface) surface = BRep_Tool::Surface(face);
  if (curve.IsNull() || surface.IsNull())
    return false;
  const Handle(Geom2d_Curve) projected = GeomProjLib::Curve2d(curve, first, last, surface);
  if (projected.IsNull())
    return false;
  BRepTopAdaptor_FClass2d classifier(face, tol);
  // The projection keeps the edge's parameters; on a plane it may come back as an unbounded line.
  const double f = std::max(projected->FirstParameter(), first);
  const double l = std::min(projected->LastParameter(), last);
  for (const double param : {f, 0.5 * (f + l), l})
    if (classifier.Perform(projected->Value(param), Standard_True) != TopAbs_IN)
      return false;
  return true;
}

bool AutoWeldSeamAlgUtils::IsEdgeTrivial(TopoDS_Edge edge, double tol)
{
  if (edge.IsNull())
    return true;
  double first = 0.0, last = 0.0;
  const Handle(Geom_Curve) curve = BRep_Tool::Curve(edge, first, last);
  if (curve.IsNull())
    return true;
  return curve->Value(first).Distance(curve->Value(0.5 * (first + last))) < tol;
}

bool AutoWeldSeamAlgUtils::IsPartEdge(const TopoDS_Edge& edge1, const TopoDS_Edge& edge2, double distTol,
                                      double angTol)
{
  const auto [curve1, first1, last1] = GeomHandle::ConvertToBasisCurve(edge1);
  const auto [curve2, first2, last2] = GeomHandle::ConvertToBasisCurve(edge2);
  const Handle(Geom_Line) line1 = Handle(Geom_Line)::DownCast(curve1);
  const Handle(Geom_Line) line2 = Handle(Geom_Line)::DownCast(curve2);
  if (line1.IsNull() || line2.IsNull())
    return false;
  const gp_Pnt a1 = line1->Value(first1), b1 = line1->Value(last1);
  const gp_Pnt a2 = line2->Value(first2), b2 = line2->Value(last2);
  const gp_Dir d1(gp_Vec(a1, b1));
  const gp_Dir d2(gp_Vec(a2, b2));
  if (a1.Distance(a2) <= distTol || b1.Distance(b2) <= distTol)
    return d1.Angle(d2) <= angTol;
  if (a1.Distance(b2) <= distTol || b1.Distance(a2) <= distTol)
    return d1.Angle(d2.Reversed()) <= angTol;
  return false;
}

bool AutoWeldSeamAlgUtils::IsTwoEdgeEqual(const TopoDS_Edge& edge1, const TopoDS_Edge& edge2, double distTol,
                                          double angTol)
{
  return ShapeHandle::IsTwoEdgeEqual(edge1, edge2, distTol, angTol);
}

bool AutoWeldSeamAlgUtils::IsPntInList(const gp_Pnt& point, const NCollection_Sequence<gp_Pnt>& points, double tol)
{
  return std::any_of(points.cbegin(), points.cend(), [&](const gp_Pnt& p) { return p.Distance(point) <= tol; });
}

bool AutoWeldSeamAlgUtils::IsSameElementarySurface(const TopoDS_Face& face1, const TopoDS_Face& face2)
{
  if (face1.IsSame(face2))
    return true;
  const Handle(Geom_Surface) s1 = BRep_Tool::Surface(face1);
  const Handle(Geom_Surface) s2 = BRep_Tool::Surface(face2);
  if (s1.IsNull() || s2.IsNull() || s1->DynamicType() != s2->DynamicType())
    return false;
  if (const Handle(Geom_Plane) p1 = Handle(Geom_Plane)::DownCast(s1); !p1.IsNull())
  {
    const gp_Ax1 a2 = Handle(Geom_Plane)::DownCast(s2)->Axis();
    return p1->Axis().IsParallel(a2, SurfaceAngleTol) && p1->Pln().Distance(a2.Location()) <= SurfaceDistTol;
  }
  if (const Handle(Geom_CylindricalSurface) c1 = Handle(Geom_CylindricalSurface)::DownCast(s1); !c1.IsNull())
  {
    const Handle(Geom_CylindricalSurface) c2 = Handle(Geom_CylindricalSurface)::DownCast(s2);
    // An axis and its reverse carry the same cylinder.
    const gp_Ax1 a1 = c1->Axis();
    const gp_Ax1 a2 = c2->Axis();
    const bool coaxial =
      a1.IsCoaxial(a2, SurfaceAngleTol, SurfaceDistTol) || a1.IsCoaxial(a2.Reversed(), SurfaceAngleTol, SurfaceDistTol);
    return coaxial && std::abs(c1->Radius() - c2->Radius()) <= SurfaceDistTol;
  }
  return false;
}

bool AutoWeldSeamAlgUtils::IsAncestor(const TopoDS_Shape& sub, const TopoDS_Shape& shape, bool withOrientation)
{
  for (TopExp_Explorer it(shape, sub.ShapeType()); it.More(); it.Next())
    if (withOrientation ? it.Current().IsEqual(sub) : it.Current().IsSame(sub))
      return true;
  return false;
}

std::pair<bool, TopoDS_Edge> AutoWeldSeamAlgUtils::GetMergedEdge(const NCollection_Sequence<TopoDS_Edge>& edges)
{
  const std::pair<bool, TopoDS_Edge> failure{false, TopoDS_Edge()};
  if (edges.IsEmpty())
    return failure;
  std::list<Handle(Geom_BoundedCurve)> curves;
  for (const TopoDS_Edge& edge : edges)
  {
    if (edge.IsNull())
      return failure;
    double first = 0.0, last = 0.0;
    const Handle(Geom_Curve) curve = BRep_Tool::Curve(edge, first, last);
    if (curve.IsNull())
      return failure;
    curves.push_back(new Geom_TrimmedCurve(curve, first, last, Standard_True, Standard_True));
  }
  GeomConvert_CompCurveToBSplineCurve composite(curves.front());
  curves.pop_front();
  while (!curves.empty())
  {
    const auto accepted =
      std::find_if(curves.begin(), curves.end(), [&](const Handle(Geom_BoundedCurve)& c) { return composite.Add(c, MergeTol); });
    if (accepted == curves.end())
      return failure;
    curves.erase(accepted);
  }
  const Handle(Geom_BSplineCurve) merged = composite.BSplineCurve();
  BRepBuilderAPI_MakeEdge maker(merged, merged->FirstParameter(), merged->LastParameter());
  if (!maker.IsDone())
    return failure;
  return {true, maker.Edge()};
}

std::uint32_t AutoWeldSeamAlgUtils::SolidIndexOfSubIndex(std::uint32_t subIndex)
{
  return (subIndex & 0xFFFE0000u) + 1u;
}
