#pragma once

#include <entity/ShapeEntity.h>

#include <Quantity_Color.hxx>
#include <TopoDS_Shape.hxx>
#include <gp_Trsf.hxx>

#include <string>
#include <vector>

// Display trees of simple solids whose placements and colours are known.
class ViewTrees
{
public:
  // Returns a translation followed by a rotation of `degrees` about Z (translation on the left).
  static gp_Trsf Placement(double x, double y, double z, double degrees);

  // Returns a root part (no shape of its own) with `count` box parts of sizes 10+i × 20 × 30 placed
  // by Placement(100 i, 0, 0, 15 i) and with face i % 6 painted in (0.1 i, 0.5, 0.25).
  static Handle(ShapeEntity) BoxTree(int count);

  // Returns the i-th face of `shape` in explorer order.
  static TopoDS_Shape Face(const TopoDS_Shape& shape, int i);

  // Returns a fresh folder under the system temporary directory, ending with a separator.
  static std::string TempDir(const std::string& name);
};
