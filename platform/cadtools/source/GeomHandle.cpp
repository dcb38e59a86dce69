#include <cadtools/GeomHandle.h>

#include <BRep_Tool.hxx>
#include <GeomLib_IsPlanarSurface.hxx>
#include <Geom_BSplineSurface.hxx>
#include <Geom_BezierSurface.hxx>
#include <Geom_OffsetCurve.hxx>
#include <Geom_OffsetSurface.hxx>
#include <Geom_RectangularTrimmedSurface.hxx>
#include <Geom_TrimmedCurve.hxx>
#include <TopoDS.hxx>

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
  for (;;)
  {
    if (const auto trimmed = Handle(Geom_RectangularTrimmedSurface)::DownCast(surface); !trimmed.IsNull())
      surface = trimmed->BasisSurface();
    else if (const auto offset = Handle(Geom_OffsetSurface)::DownCast(surface); !offset.IsNull())
      surface = offset->BasisSurface();
    else
      break;
  }
  // Exchange formats often carry flat faces as splines; within tol they are planes.
  if (surface->IsKind(STANDARD_TYPE(Geom_BSplineSurface)) || surface->IsKind(STANDARD_TYPE(Geom_BezierSurface)))
  {
    GeomLib_IsPlanarSurface planar(surface, tol);
    if (planar.IsPlanar())
      return new Geom_Plane(planar.Plan());
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
