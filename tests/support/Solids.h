#pragma once

#include <TopoDS_Shape.hxx>
#include <gp_Trsf.hxx>

// Solids whose counts, lengths, areas and volumes are known by hand.
class Solids
{
public:
  // Returns an axis-aligned box with one corner at the origin.
  static TopoDS_Shape Box(double dx, double dy, double dz);
  // Returns `shape` moved by `trsf`.
  static TopoDS_Shape Moved(const TopoDS_Shape& shape, const gp_Trsf& trsf);
  // Returns an L-shaped prism: a `leg` × `leg` square minus its (leg - thick)² upper-right corner,
  // extruded `depth` along Z; its one concave edge runs along Z at (thick, thick).
  static TopoDS_Shape LSolid(double leg, double thick, double depth);
  // Returns a T-joint: a base plate `width` × `length` × `thick` with a web `thick` wide and
  // `height` high standing on its middle, fused into one solid (two concave edges).
  static TopoDS_Shape TSolid(double width, double length, double thick, double height);
  // Returns an `dx` × `dy` × `dz` plate whose four vertical edges are rounded with `radius`.
  static TopoDS_Shape FilletedPlate(double dx, double dy, double dz, double radius);
  // Returns a cylinder of `radius` and `height` standing on the origin along Z.
  static TopoDS_Shape Cylinder(double radius, double height);
};
