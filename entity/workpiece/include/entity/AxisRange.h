#pragma once

// Lower and upper limit of a joint: radians for a rotary joint, millimetres for a linear one.
struct AxisRange
{
  double lower = -1.0;
  double upper = 1.0;
};
