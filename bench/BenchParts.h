#pragma once

#include <TopoDS_Shape.hxx>
#include <gp_Pnt.hxx>
#include <gp_Vec.hxx>

#include <initializer_list>

// Parts the benchmarks share, so that their figures speak of the same geometry.
class BenchParts
{
public:
  // Studs on the weldment's base plate: 12 × 14 = 168 plates of 12 edges each, 2,028 edges with the base.
  static constexpr int StudsX = 12;
  static constexpr int StudsY = 14;

  // Returns the prism of the planar polygon `outline` swept along `depth`.
  static TopoDS_Shape Plate(std::initializer_list<gp_Pnt> outline, const gp_Vec& depth);

  // Returns a 620 × 580 × 12 base plate with 168 stiffener plates (30 × 6, 40 high) welded on it;
  // throws Standard_Failure when the fuse fails.
  static TopoDS_Shape Weldment();
};
