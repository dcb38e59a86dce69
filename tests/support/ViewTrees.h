#pragma once

#include <entity/ShapeEntity.h>
#include <mesh/AIS_Mesh.h>

#include <string>

// Display trees of simple solids whose placements and colours are known.
class ViewTrees
{
public:
  // Returns a translation followed by a rotation of `degrees` about Z (translation on the left).
  static gp_Trsf Placement(double x, double y, double z, double degrees);
  // Returns a root "cell" (no shape of its own) over `count` boxes "box<i>" of 10+i × 20 × 30, placed
  // by Placement(100 i, 0, 0, 15 i), coloured (0.3, 0.3, 0.7), face i % 6 painted (0.1 i, 0.5, 0.25).
  static Handle(ShapeEntity) BoxTree(int count);
  // Returns a mesh model of the triangle (0, 0, 0) (1, 0, 0) (1, 1, 0); its placement all zeros when `degenerate`.
  static Handle(mesh::AIS_Mesh) Triangle(bool degenerate = false);
  // Returns the i-th face of `shape` in explorer order.
  static TopoDS_Shape Face(const TopoDS_Shape& shape, int i);
  // Returns a fresh folder under the temporary directory, ending with a separator.
  static std::string TempDir(const std::string& name);
};
