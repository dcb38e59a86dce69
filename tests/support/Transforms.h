#pragma once

#include <gp_Ax1.hxx>
#include <gp_Trsf.hxx>

#include <cmath>

// Transforms written the way tests state them.
class Transforms
{
public:
  static gp_Trsf Translation(double x, double y, double z)
  {
    gp_Trsf t;
    t.SetTranslation(gp_Vec(x, y, z));
    return t;
  }
  // Returns the rotation by `degrees` about the axis through the origin along `dir`.
  static gp_Trsf Rotation(const gp_Dir& dir, double degrees)
  {
    gp_Trsf t;
    t.SetRotation(gp_Ax1(gp::Origin(), dir), degrees * M_PI / 180.0);
    return t;
  }
};
