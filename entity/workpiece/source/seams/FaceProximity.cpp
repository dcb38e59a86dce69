#include <entity/AutoWeldSeamAlgUtils.h>
#include <entity/FaceProximity.h>

#include <cadtools/GeomHandle.h>

#include <BRepAdaptor_Curve.hxx>
#include <BRepBndLib.hxx>
#include <BRep_Tool.hxx>
#include <Bnd_OBB.hxx>
#include <Standard_Failure.hxx>
#include <ElSLib.hxx>
#include <Geom_Plane.hxx>
#include <Precision.hxx>
#include <TopExp_Explorer.hxx>
#include <TopoDS.hxx>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>
#include <tuple>

namespace
{
// Intervals in which a curved edge is sampled for the face's outline.
constexpr int OutlinePointsPerEdge = 8;

// Returns the square of the distance from p to the segment ab.
double SegmentSquareDistance(const gp_Pnt& p, const gp_Pnt& a, const gp_Pnt& b)
{
  const gp_XYZ ab = b.XYZ() - a.XYZ();
  const double length2 = ab.SquareModulus();
  const double s = length2 > 0.0 ? std::clamp((p.XYZ() - a.XYZ()).Dot(ab) / length2, 0.0, 1.0) : 0.0;
  return p.SquareDistance(gp_Pnt(a.XYZ() + ab * s));
}
} // namespace

FaceProximity::FaceProximity(const TopoDS_Face& face) : myFace(face)
{
  if (face.IsNull())
    return;
  PrepareClassifierData();
  const Handle(Geom_Plane) plane = Handle(Geom_Plane)::DownCast(BRep_Tool::Surface(face));
  if (plane.IsNull())
    return;
  for (TopExp_Explorer it(face, TopAbs_EDGE); it.More(); it.Next())
  {
    const TopoDS_Edge& edge = TopoDS::Edge(it.Current());
    if (BRep_Tool::Degenerated(edge))
      continue;
    const BRepAdaptor_Curve curve(edge);
    if (curve.GetType() != GeomAbs_Line)
    {
      mySegments.clear();
      return;
    }
    mySegments.emplace_back(curve.Value(curve.FirstParameter()), curve.Value(curve.LastParameter()));
  }
  if (mySegments.empty())
    return;
  myPlane = plane->Pln();
  for (const auto& [a, b] : mySegments)
  {
    double ua = 0.0, va = 0.0, ub = 0.0, vb = 0.0;
    ElSLib::Parameters(myPlane, a, ua, va);
    ElSLib::Parameters(myPlane, b, ub, vb);
    myUVSegments.emplace_back(gp_Pnt2d(ua, va), gp_Pnt2d(ub, vb));
  }
  myPrepared = true;
}

void FaceProximity::PrepareClassifierData()
{
  // A face whose surface the kernel cannot take apart stays unprepared; its queries raise the error
  // where the classifiers count it.
  try
  {
    std::tie(myEdgeFreeNormal, myNormal) = AutoWeldSeamAlgUtils::GetFaceNormalByEdge(TopoDS_Edge(), myFace, 0.0);
    const Handle(Geom_Plane) plane =
      Handle(Geom_Plane)::DownCast(GeomHandle::ConvertToBasisSurface(myFace, AutoWeldSeamAlgUtils::BasisSurfaceTol));
    myPlanar = !plane.IsNull();
    if (myPlanar)
      myPlaneNormal = GeomHandle::GetFaceNormalAtUVParam(plane, 0.0, 0.0, myFace.Orientation() == TopAbs_REVERSED);
  }
  catch (const Standard_Failure&)
  {
    myEdgeFreeNormal = false;
    myPlanar = false;
  }
  myWidth = WidthOf(myFace);
  myOutlinePoints = OutlineOf(myFace);
}

std::vector<gp_Pnt> FaceProximity::OutlineOf(const TopoDS_Face& face)
{
  std::vector<gp_Pnt> outline;
  for (TopExp_Explorer it(face, TopAbs_EDGE); it.More(); it.Next())
  {
    const TopoDS_Edge& edge = TopoDS::Edge(it.Current());
    if (BRep_Tool::Degenerated(edge))
      continue;
    const BRepAdaptor_Curve curve(edge);
    const int points = curve.GetType() == GeomAbs_Line ? 1 : OutlinePointsPerEdge;
    for (int i = 0; i <= points; ++i)
      outline.push_back(curve.Value(curve.FirstParameter() + (curve.LastParameter() - curve.FirstParameter()) * i / points));
  }
  return outline;
}

double FaceProximity::WidthOf(const TopoDS_Face& face)
{
  Bnd_OBB box;
  BRepBndLib::AddOBB(face, box, false, false, false);
  if (box.IsVoid())
    return 0.0;
  double extents[] = {box.XHSize(), box.YHSize(), box.ZHSize()};
  std::sort(std::begin(extents), std::end(extents));
  return 2.0 * extents[1];
}

std::pair<bool, gp_Vec> FaceProximity::NormalByEdge(const TopoDS_Edge& edge, double t) const
{
  if (myEdgeFreeNormal)
    return {true, myNormal};
  if (const auto onEdge = AutoWeldSeamAlgUtils::GetFaceNormalOnEdge(edge, myFace, t); onEdge.first)
    return onEdge;
  return AutoWeldSeamAlgUtils::GetFaceNormalByEdge(edge, myFace, t);
}

// An even-odd crossing count over copies of the boundary instead of the kernel's face classifiers:
// those explore the face's shared topology and handles on every query, so threads classifying the
// edges of one face would contend for them. The tests compare its distances with the kernel's.
bool FaceProximity::ContainsInPlane(double u, double v) const
{
  bool inside = false;
  for (const auto& [a, b] : myUVSegments)
    if ((a.Y() > v) != (b.Y() > v) && u < a.X() + (v - a.Y()) * (b.X() - a.X()) / (b.Y() - a.Y()))
      inside = !inside;
  return inside;
}

bool FaceProximity::Contains(const gp_Pnt2d& uv) const
{
  std::call_once(myClassifierOnce, [this] {
    myClassifier = std::make_unique<BRepTopAdaptor_FClass2d>(myFace, BRep_Tool::Tolerance(myFace));
  });
  return myClassifier->Perform(uv) != TopAbs_OUT;
}

double FaceProximity::BoundaryDistance(const gp_Pnt& point) const
{
  // The root is monotonic, so one root of the least square is the least of the roots.
  double nearest = std::numeric_limits<double>::max();
  for (const auto& [a, b] : mySegments)
    nearest = std::min(nearest, SegmentSquareDistance(point, a, b));
  return std::sqrt(nearest);
}

double FaceProximity::Distance(const gp_Pnt& point) const
{
  if (!myPrepared)
    return AutoWeldSeamAlgUtils::DistOfPntToFace(point, myFace);
  const double toPlane = myPlane.Distance(point);
  const double toBoundary = BoundaryDistance(point);
  // A foot on the boundary has both distances equal, and no crossing count is needed.
  const double footToBoundary = std::sqrt(std::max(0.0, toBoundary * toBoundary - toPlane * toPlane));
  if (footToBoundary <= Precision::Confusion())
    return toPlane;
  double u = 0.0, v = 0.0;
  ElSLib::Parameters(myPlane, point, u, v);
  if (ContainsInPlane(u, v))
    return toPlane;
  return toBoundary;
}

bool FaceProximity::IsOn(const gp_Pnt& point, double tol) const
{
  if (!myPrepared)
    return AutoWeldSeamAlgUtils::IsVertexOnFace(point, myFace, tol);
  // The face lies in its plane: no nearer than the plane means not on the face.
  if (myPlane.Distance(point) >= tol)
    return false;
  return Distance(point) < tol;
}
