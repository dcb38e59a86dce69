#pragma once

#include <entity/JointType.h>

#include <TopoDS_Shape.hxx>
#include <gp_Trsf.hxx>
#include <gp_Vec.hxx>

#include <string>

// One link of a fixture mechanism as a designer writes it down.
struct JointDefinition
{
  std::string name;
  JointType type = JointType::RotaryZ; // configured type: an axis of the link's own frame
  gp_Vec offset;                       // origin of the link frame in the parent link's frame (mm)
  double turnY = 0.0;                  // turn of the link frame about the parent's Y after the offset (°)
  double lower = -1.0;                 // limits: degrees for a rotary joint, millimetres for a linear one
  double upper = 1.0;
  TopoDS_Shape body;                   // solid in the link frame

  // The link frame relative to the parent's frame: translation by offset, then the turn.
  gp_Trsf Center() const;
};
