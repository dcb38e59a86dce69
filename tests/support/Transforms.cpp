#include "Transforms.h"

#include <gp_Ax1.hxx>

#include <cmath>

gp_Trsf Transforms::Translation(double x, double y, double z)
{
  gp_Trsf t;
  t.SetTranslation(gp_Vec(x, y, z));
  return t;
}

gp_Trsf Transforms::Rotation(const gp_Dir& dir, double degrees)
{
  gp_Trsf t;
  t.SetRotation(gp_Ax1(gp::Origin(), dir), degrees * M_PI / 180.0);
  return t;
}
