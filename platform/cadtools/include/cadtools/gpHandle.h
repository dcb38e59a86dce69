#pragma once

#include <Bnd_OBB.hxx>
#include <TopoDS_Face.hxx>
#include <gp_Ax1.hxx>
#include <gp_Ax2.hxx>
#include <gp_Dir.hxx>
#include <gp_Trsf.hxx>
#include <json/value.h>

#include <array>
#include <utility>
#include <vector>

// Transform and box helpers.
class gpHandle
{
public:
  // Returns whether every matrix and translation component of the two transforms differs by at most tol.
  static bool IsSameTrsf(const gp_Trsf& t1, const gp_Trsf& t2, double tol);

  // Returns the transform that maps the standard frame onto `ax2`.
  static gp_Trsf Ax2ToTrsf(const gp_Ax2& ax2);

  // Returns a frame at the face's centre whose Z is the face's outward normal (identity if none).
  static gp_Trsf CalculateFaceNormalTrsf(const TopoDS_Face& face);

  // Returns the frame turned half a turn about its own X axis, so that its Z is reversed.
  static gp_Trsf ReverseTrsfDirection(const gp_Trsf& trsf);

  // Returns the rotation about `axis` that brings `from` (projected across the axis) onto `to`.
  static gp_Trsf RotateToDirTrsf(const gp_Dir& from, const gp_Dir& to, const gp_Ax1& axis);

  // Returns the three (full side length, direction) pairs of the box, shortest first.
  static std::vector<std::pair<double, gp_Dir>> GetOBBlengthAndDir(const Bnd_OBB& obb);

  // Returns the transform of three rows of four numbers; identity when malformed.
  static gp_Trsf jsonArr3x4_2Trsf(const Json::Value& rows);

  // Returns the transform as a 4×4 matrix, row by row (last row 0 0 0 1).
  static std::array<double, 16> TrsfToDoubleArrayTrsf(const gp_Trsf& trsf);
};
