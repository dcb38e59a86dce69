#pragma once

#include <Geom_Curve.hxx>
#include <Geom_Plane.hxx>
#include <Geom_Surface.hxx>
#include <TopoDS_Shape.hxx>
#include <gp_Vec.hxx>

#include <tuple>

// Underlying curves and surfaces of edges and faces.
class GeomHandle
{
public:
  // Returns the edge's 3D curve without trimming/offset wrappers, with its first and last parameter.
  static std::tuple<Handle(Geom_Curve), double, double> ConvertToBasisCurve(const TopoDS_Shape& edge);

  // Returns the face's basis surface without trimming/offset wrappers. A spline face flat within tol and
  // within FlatnessShare of its size becomes a plane facing as the spline does at the face's centre.
  static Handle(Geom_Surface) ConvertToBasisSurface(const TopoDS_Shape& face, double tol);
  // Share of a spline face's size within which it must be flat to count as a plane.
  static constexpr double FlatnessShare = 1e-4;

  // Returns the plane of a planar face (also a spline face planar within tol), or null.
  static Handle(Geom_Plane) ConvertToPlane(const TopoDS_Shape& face, double tol);

  // Returns the (not normalised) surface normal at (u, v), reversed when asked.
  static gp_Vec GetFaceNormalAtUVParam(const Handle(Geom_Surface)& surface, double u, double v, bool reversed);
};
