#pragma once

#include <cstdint>

// Kind of a weld-seam candidate; stored as a 32-bit signed number.
enum class EdgeType : std::int32_t
{
  Unknown = 0, // no curve, no normal, faces folded back, or contradictory tests
  Concave = 1, // an inner corner: the seam kind that is welded
  Convex = 2   // an outer corner or a smooth (tangent) transition
};
