#pragma once

#include <TopoDS_Shape.hxx>
#include <gp_Trsf.hxx>

#include <array>

// Solids whose counts, lengths, areas and volumes are known by hand.
class Solids
{
public:
  // Returns an axis-aligned box with one corner at the origin.
  static TopoDS_Shape Box(double dx, double dy, double dz);
  // Returns a `dx` × `dy` × `dz` box whose lowest corner is (x, y, z).
  static TopoDS_Shape BoxAt(double x, double y, double z, double dx, double dy, double dz);
  // Returns `shape` moved by `trsf`.
  static TopoDS_Shape Moved(const TopoDS_Shape& shape, const gp_Trsf& trsf);
  // Returns xmin, ymin, zmin, xmax, ymax, zmax of the exact box of `shape` placed by `trsf`.
  static std::array<double, 6> Bounds(const TopoDS_Shape& shape, const gp_Trsf& trsf = gp_Trsf());
  // Returns an L prism: a `leg` square less its (leg - thick)² corner, `depth` along Z; concave at (thick, thick).
  static TopoDS_Shape LSolid(double leg, double thick, double depth);
  // Returns a T-joint: a `width` × `length` × `thick` base fused with a `thick` × `height` web on its middle.
  static TopoDS_Shape TSolid(double width, double length, double thick, double height);
  // Returns an `dx` × `dy` × `dz` plate whose four vertical edges are rounded with `radius`.
  static TopoDS_Shape FilletedPlate(double dx, double dy, double dz, double radius);
  // Returns a cylinder of `radius` and `height` standing on the origin along Z.
  static TopoDS_Shape Cylinder(double radius, double height);
};
