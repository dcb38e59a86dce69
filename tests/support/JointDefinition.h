#pragma once

#include <entity/JointType.h>

#include <TopoDS_Shape.hxx>
#include <gp_Trsf.hxx>
#include <gp_Vec.hxx>

#include <string>

// One link of a fixture mechanism as a designer writes it down: where its frame sits on the
// parent's frame, how its joint turns or slides, and the solid it carries.
struct JointDefinition
{
  std::string name;
  // Configured type: an axis of the link's own frame.
  JointType type = JointType::RotaryZ;
  // Origin of the link frame in the parent link's frame (mm).
  gp_Vec offset;
  // Turn of the link frame about the parent's Y axis after the offset (degrees).
  double turnY = 0.0;
  // Limits: degrees for a rotary joint, millimetres for a linear one.
  double lower = -1.0;
  double upper = 1.0;
  // Solid in the link frame.
  TopoDS_Shape body;

  // The link frame relative to the parent's frame: translation by offset, then the turn.
  gp_Trsf Center() const;
};
