#pragma once

#include <cstdint>

// Type of a joint. The numbers are saved in files and must not change.
// 0 to 5 are the types a link is configured with (an axis of the link's own frame);
// 7 and 8 are the kinematic types derived from them once the axis is known in the entity frame.
// The axis index of a type is its value mod 3: 0 X, 1 Y, 2 Z.
enum class JointType : std::int32_t
{
  LinearX = 0,
  LinearY = 1,
  LinearZ = 2,
  RotaryX = 3,
  RotaryY = 4,
  RotaryZ = 5,
  None = 6,
  Rotary = 7,
  Linear = 8
};
