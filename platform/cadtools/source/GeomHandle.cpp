#include <cadtools/GeomHandle.h>

#include <BRepBndLib.hxx>
#include <BRepTools.hxx>
#include <BRep_Tool.hxx>
#include <Bnd_Box.hxx>
#include <Precision.hxx>
#include <GeomLib_IsPlanarSurface.hxx>
#include <Geom_BSplineSurface.hxx>
#include <Geom_BezierSurface.hxx>
#include <Geom_OffsetCurve.hxx>
#include <Geom_OffsetSurface.hxx>
#include <Geom_RectangularTrimmedSurface.hxx>
#include <Geom_TrimmedCurve.hxx>
#include <TopoDS.hxx>

#include <algorithm>
#include <cmath>

std::tuple<Handle(Geom_Curve), double, double> GeomHandle::ConvertToBasisCurve(const TopoDS_Shape& edge)
{
  if (edge.IsNull() || edge.ShapeType() != TopAbs_EDGE)
    return {Handle(Geom_Curve)(), 0.0, 0.0};
  double first = 0.0, last = 0.0;
  Handle(Geom_Curve) curve = BRep_Tool::Curve(TopoDS::Edge(edge), first, last);
  for (;;)
  {
    if (const auto trimmed = Handle(Geom_TrimmedCurve)::DownCast(curve); !trimmed.IsNull())
      curve = trimmed->BasisCurve();
    else if (const auto offset = Handle(Geom_OffsetCurve)::DownCast(curve); !offset.IsNull())
      curve = offset->BasisCurve();
    else
      break;
  }
  return {curve, first, last};
}

Handle(Geom_Surface) GeomHandle::ConvertToBasisSurface(const TopoDS_Shape& face, double tol)
{
  if (face.IsNull() || face.ShapeType() != TopAbs_FACE)
    return Handle(Geom_Surface)();
  Handle(Geom_Surface) surface = BRep_Tool::Surface(TopoDS::Face(face));
  // A face read from a damaged file may have no surface; callers treat null as "not a plane".
  if (surface.IsNull())
    return surface;
  for (;;)
  {
    if (const auto trimmed = Handle(Geom_RectangularTrimmedSurface)::DownCast(surface); !trimmed.IsNull())
      surface = trimmed->BasisSurface();
    else if (const auto offset = Handle(Geom_OffsetSurface)::DownCast(surface); !offset.IsNull())
      surface = offset->BasisSurface();
    else
      break;
  }
  // Exchange formats often carry flat faces as splines. Such a face is a plane only as flat as the
  // kernel can tell (tol at most, a fixed share of the face's size at least): a gently curved panel
  // is no plane. The fitted plane faces the way the spline does at the face's centre.
  if (surface->IsKind(STANDARD_TYPE(Geom_BSplineSurface)) || surface->IsKind(STANDARD_TYPE(Geom_BezierSurface)))
  {
    Bnd_Box box;
    BRepBndLib::Add(face, box, false);
    const double size = box.IsVoid() ? 0.0 : std::sqrt(box.SquareExtent());
    GeomLib_IsPlanarSurface planar(surface, std::max(Precision::Confusion(), std::min(tol, FlatnessShare * size)));
    if (!planar.IsPlanar())
      return surface;
    double umin = 0.0, umax = 0.0, vmin = 0.0, vmax = 0.0;
    BRepTools::UVBounds(TopoDS::Face(face), umin, umax, vmin, vmax);
    const gp_Pln plane = planar.Plan();
    const gp_Vec splineNormal = GetFaceNormalAtUVParam(surface, 0.5 * (umin + umax), 0.5 * (vmin + vmax), false);
    const gp_Vec planeNormal = GetFaceNormalAtUVParam(new Geom_Plane(plane), 0.0, 0.0, false);
    if (splineNormal.Dot(planeNormal) < 0.0)
      return new Geom_Plane(plane.Location(), gp_Dir(planeNormal.Reversed()));
    return new Geom_Plane(plane.Location(), gp_Dir(planeNormal));
  }
  return surface;
}

Handle(Geom_Plane) GeomHandle::ConvertToPlane(const TopoDS_Shape& face, double tol)
{
  return Handle(Geom_Plane)::DownCast(ConvertToBasisSurface(face, tol));
}

gp_Vec GeomHandle::GetFaceNormalAtUVParam(const Handle(Geom_Surface)& surface, double u, double v, bool reversed)
{
  gp_Pnt p;
  gp_Vec du, dv;
  surface->D1(u, v, p, du, dv);
  gp_Vec normal = du.Crossed(dv);
  return reversed ? normal.Reversed() : normal;
}
