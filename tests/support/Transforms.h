#pragma once

#include <gp_Dir.hxx>
#include <gp_Trsf.hxx>

// Transforms written the way tests state them.
class Transforms
{
public:
  static gp_Trsf Translation(double x, double y, double z);
  // Returns the rotation by `degrees` about the axis through the origin along `dir`.
  static gp_Trsf Rotation(const gp_Dir& dir, double degrees);
};
