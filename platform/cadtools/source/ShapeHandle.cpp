#include <cadtools/GeomHandle.h>
#include <cadtools/ShapeHandle.h>

#include "CheckedShapeSet.h"

#include <AIS_Shape.hxx>
#include <BRepAdaptor_Curve.hxx>
#include <BRepBndLib.hxx>
#include <BRepGProp.hxx>
#include <BRepGProp_Face.hxx>
#include <BRepPrimAPI_MakeBox.hxx>
#include <BRepTools_ShapeSet.hxx>
#include <BRep_Builder.hxx>
#include <BRep_Tool.hxx>
#include <Extrema_ExtPC.hxx>
#include <GCPnts_AbscissaPoint.hxx>
#include <GProp_GProps.hxx>
#include <TopExp.hxx>
#include <TopExp_Explorer.hxx>
#include <TopoDS.hxx>
#include <TopoDS_Vertex.hxx>

#include <cmath>
#include <ostream>

namespace
{
// Below this magnitude a surface derivative cross product gives no normal.
constexpr double NormalTol = 1.0e-12;
// Below this side a box cannot be made into a solid.
constexpr double MinBoxSide = 1.0e-7;

// Returns whether `shape` contains a sub-shape of `type`.
bool Contains(const TopoDS_Shape& shape, TopAbs_ShapeEnum type)
{
  return TopExp_Explorer(shape, type).More();
}

// Returns the point and tangent of the edge at parameter fraction `t` of its range.
std::pair<gp_Pnt, gp_Vec> PointAndTangent(const BRepAdaptor_Curve& curve, double t)
{
  gp_Pnt p;
  gp_Vec d;
  curve.D1(curve.FirstParameter() + t * (curve.LastParameter() - curve.FirstParameter()), p, d);
  return {p, d};
}

// Appends the shapes of `object` and, when asked, its display children.
void CollectShapes(const Handle(PrsMgr_PresentableObject)& object, bool recursive, std::vector<TopoDS_Shape>& shapes)
{
  if (const Handle(AIS_Shape) shape = Handle(AIS_Shape)::DownCast(object); !shape.IsNull() && !shape->Shape().IsNull())
    // A display transformation may mirror or scale, which the kernel only takes when told to.
    shapes.push_back(shape->Shape().Moved(TopLoc_Location(object->Transformation()), false));
  if (!recursive)
    return;
  for (const Handle(PrsMgr_PresentableObject)& child : object->Children())
    CollectShapes(child, true, shapes);
}
} // namespace

Bnd_OBB ShapeHandle::GetTopoShapeBndOBB(const TopoDS_Shape& shape, double tol)
{
  Bnd_OBB obb;
  if (shape.IsNull())
    return obb;
  BRepBndLib::AddOBB(shape, obb, false, true, false);
  if (!obb.IsVoid())
    obb.Enlarge(tol);
  return obb;
}

TopoDS_Shape ShapeHandle::BndOBBGetTopoShape(const Bnd_OBB& obb)
{
  if (obb.IsVoid())
    return TopoDS_Shape();
  const double dx = 2.0 * obb.XHSize();
  const double dy = 2.0 * obb.YHSize();
  const double dz = 2.0 * obb.ZHSize();
  if (dx < MinBoxSide || dy < MinBoxSide || dz < MinBoxSide)
    return TopoDS_Shape();
  const gp_XYZ corner = obb.Center() - obb.XDirection() * obb.XHSize() - obb.YDirection() * obb.YHSize() -
                        obb.ZDirection() * obb.ZHSize();
  // The box's own axes may be left-handed; Z = X ^ Y keeps the frame direct and the box the same.
  const gp_Dir x(obb.XDirection());
  const gp_Dir y(obb.YDirection());
  gp_Dir z = x.Crossed(y);
  gp_Pnt origin(corner);
  if (z.Dot(gp_Dir(obb.ZDirection())) < 0.0)
    origin.Translate(gp_Vec(obb.ZDirection()) * dz);
  BRepPrimAPI_MakeBox maker(gp_Ax2(origin, z, x), dx, dy, dz);
  maker.Build();
  if (!maker.IsDone())
    return TopoDS_Shape();
  return maker.Shape();
}

std::pair<bool, gp_Dir> ShapeHandle::GetNormal(const TopoDS_Face& face)
{
  if (face.IsNull())
    return {false, gp::DZ()};
  // The face's own bounds and orientation: BRepGProp_Face gives the outward, unnormalised normal.
  const BRepGProp_Face surface(face);
  double u1 = 0.0, u2 = 0.0, v1 = 0.0, v2 = 0.0;
  surface.Bounds(u1, u2, v1, v2);
  gp_Pnt p;
  gp_Vec n;
  surface.Normal(0.5 * (u1 + u2), 0.5 * (v1 + v2), p, n);
  if (n.Magnitude() < NormalTol)
    return {false, gp::DZ()};
  return {true, gp_Dir(n)};
}

gp_Pnt ShapeHandle::GetFaceCenter(const TopoDS_Face& face)
{
  GProp_GProps props;
  BRepGProp::SurfaceProperties(face, props);
  return props.CentreOfMass();
}

bool ShapeHandle::IsTwoEdgeEqual(const TopoDS_Edge& e1, const TopoDS_Edge& e2, double distTol, double angTol)
{
  if (e1.IsNull() || e2.IsNull())
    return false;
  if (e1.IsSame(e2))
    return true;
  if (BRep_Tool::Degenerated(e1) || BRep_Tool::Degenerated(e2))
    return false;
  if (std::abs(GetLength(e1) - GetLength(e2)) > distTol)
    return false;
  const BRepAdaptor_Curve c1(e1);
  const BRepAdaptor_Curve c2(e2);
  const auto [s1, ts1] = PointAndTangent(c1, 0.0);
  const auto [f1, tf1] = PointAndTangent(c1, 1.0);
  const auto [s2, ts2] = PointAndTangent(c2, 0.0);
  const auto [f2, tf2] = PointAndTangent(c2, 1.0);
  const bool same = s1.Distance(s2) <= distTol && f1.Distance(f2) <= distTol;
  const bool opposite = s1.Distance(f2) <= distTol && f1.Distance(s2) <= distTol;
  if (!same && !opposite)
    return false;
  // The middle of edge 1 must lie on edge 2 with a parallel tangent.
  const auto [m1, tm1] = PointAndTangent(c1, 0.5);
  Extrema_ExtPC extrema(m1, c2);
  if (!extrema.IsDone() || extrema.NbExt() == 0)
    return false;
  int best = 1;
  for (int i = 2; i <= extrema.NbExt(); ++i)
    if (extrema.SquareDistance(i) < extrema.SquareDistance(best))
      best = i;
  if (std::sqrt(extrema.SquareDistance(best)) > distTol)
    return false;
  gp_Pnt m2;
  gp_Vec tm2;
  c2.D1(extrema.Point(best).Parameter(), m2, tm2);
  if (tm1.Magnitude() < NormalTol || tm2.Magnitude() < NormalTol)
    return true;
  return tm1.IsParallel(tm2, angTol);
}

double ShapeHandle::GetLength(const TopoDS_Edge& edge)
{
  if (edge.IsNull() || BRep_Tool::Degenerated(edge))
    return 0.0;
  return GCPnts_AbscissaPoint::Length(BRepAdaptor_Curve(edge));
}

double ShapeHandle::GetAreaOrVol(const TopoDS_Shape& shape)
{
  if (shape.IsNull())
    return 0.0;
  GProp_GProps props;
  if (Contains(shape, TopAbs_SOLID))
    BRepGProp::VolumeProperties(shape, props);
  else if (Contains(shape, TopAbs_FACE))
    BRepGProp::SurfaceProperties(shape, props);
  else
    BRepGProp::LinearProperties(shape, props);
  return props.Mass();
}

TopoDS_Shape ShapeHandle::ReadBRep(std::istream& in)
{
  TopoDS_Shape shape;
  const std::ios::iostate previous = in.exceptions();
  // A failed extraction means the text ran out or is not BRep; without the exception the reader
  // goes on with whatever counts it failed to read.
  in.exceptions(std::ios::failbit | std::ios::badbit);
  try
  {
    CheckedShapeSet set;
    set.Read(in);
    if (set.NbShapes() > 0)
      set.Read(shape, in);
  }
  catch (const std::ios::failure&)
  {
    shape.Nullify();
  }
  catch (const Standard_Failure&)
  {
    shape.Nullify();
  }
  in.clear();
  in.exceptions(previous);
  return shape;
}

void ShapeHandle::WriteBRep(const TopoDS_Shape& shape, std::ostream& out)
{
  // BRepTools::Write, with the checked marks cleared over the set's own list of sub-shapes.
  BRepTools_ShapeSet set(true, false);
  set.SetFormatNb(TopTools_FormatVersion_VERSION_3);
  set.Add(shape);
  for (int i = 1; i <= set.NbShapes(); ++i)
    set.Shape(i).TShape()->Checked(false);
  set.Write(out);
  set.Write(shape, out);
}

std::vector<TopoDS_Shape> ShapeHandle::GetShapes(const Handle(AIS_InteractiveObject)& object, bool recursive)
{
  std::vector<TopoDS_Shape> shapes;
  if (!object.IsNull())
    CollectShapes(object, recursive, shapes);
  return shapes;
}
