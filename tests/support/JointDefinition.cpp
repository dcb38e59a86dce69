#include "JointDefinition.h"

#include <gp_Ax1.hxx>

gp_Trsf JointDefinition::Center() const
{
  gp_Trsf move;
  move.SetTranslation(offset);
  gp_Trsf turn;
  turn.SetRotation(gp_Ax1(gp::Origin(), gp::DY()), turnY * M_PI / 180.0);
  return move * turn;
}
