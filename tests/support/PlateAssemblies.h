#pragma once

#include <entity/Workpiece.h>

#include <TopoDS_Shape.hxx>

#include <memory>
#include <vector>

// Welded assemblies of plates, one solid per plate, with sizes chosen so that their boxes, areas and
// standing plates are known by hand. Lengths in mm.
class PlateAssemblies
{
public:
  // A 400 × 400 × 20 bottom plate (solid 0, z 0 to 20) with a 300 × 200 main flange of `flangeThick`
  // standing across its middle (solid 1, normal Y, centred on y = 200) and two 100 × 150 × 10
  // gussets against the flange's faces (solids 2 and 3, normal X, x 195 to 205).
  static std::vector<TopoDS_Shape> TowerCorner(double flangeThick = 12.0);
  // The tower corner with its bottom plate cut at x = 200 into solids 0 and 1 (flange 2, gussets 3, 4).
  static std::vector<TopoDS_Shape> SplitBottomTowerCorner();
  // The tower corner with a second flange as large as the first (solid 4, y 306 to 318, against the first gusset).
  static std::vector<TopoDS_Shape> TwinFlangeTowerCorner();
  // `count` 50 mm cubes 100 mm apart along X: solids that touch nothing.
  static std::vector<TopoDS_Shape> ScatteredCubes(int count);
  // An H-beam along X: a 1000 × 10 × 180 web (solid 0) between 1000 × 150 × 10 flanges (solids 1, 2
  // at z 0 and 190), 200 high, its web centred on y = 0.
  static std::vector<TopoDS_Shape> HBeam();
  // A closed 100 × 60 tube 500 long along X with 5 mm walls.
  static TopoDS_Shape BoxColumn();

  // The solids as one compound.
  static TopoDS_Shape Compound(const std::vector<TopoDS_Shape>& solids);
  // A workpiece whose display tree is one shape.
  static std::unique_ptr<Workpiece> WorkpieceOf(const TopoDS_Shape& shape);
};
