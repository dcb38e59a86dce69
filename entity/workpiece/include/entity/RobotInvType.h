#pragma once

#include <cstdint>

// Inverse-kinematics family of a mechanism, saved as a number ("InvType"): which closed-form
// solver, if any, can give the joint values of a wanted flange pose.
enum class RobotInvType : std::int32_t
{
  // No closed form: numerical solving only (positioners, tools, unusual arms).
  General = 0,
  // Six rotary axes whose last three axes meet in one point (spherical wrist).
  SphericalWrist = 1,
  // Six rotary axes with an offset wrist (the last three axes do not meet).
  OffsetWrist = 2,
  // Four axes: three parallel vertical rotary axes and one linear (SCARA).
  Scara = 3
};
