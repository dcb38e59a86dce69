#pragma once

#include <cstdint>

// What a mechanism is in the cell; saved as a number. A new mechanism is `Unnamed`.
enum class EntityName : std::int32_t
{
  Robot = 0,
  Positioner = 1,
  Tool = 2,
  Workpiece = 3,
  Bench = 4,
  Unnamed = 16
};
