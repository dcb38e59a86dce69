#pragma once

#include <TopoDS_Shape.hxx>

// The built-in parts of the demo and of the example files, made with GenerateWorkpieceHelper.
class DemoParts
{
public:
  // Returns a T-joint weldment: a 200 × 100 × 10 base plate with a 10 mm web 60 mm high fused on
  // its middle, along its 100 mm side (two concave seams of 100 mm).
  static TopoDS_Shape TJoint();

  // Returns an L-bracket: two 10 mm legs of 60 mm bent at a right angle, 80 mm deep (one concave
  // seam of 80 mm).
  static TopoDS_Shape LBracket();
};
