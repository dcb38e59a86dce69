#pragma once

#include <cstdint>

// The kind of a workpiece, which decides how it is analysed and placed.
enum class WorkpieceType : std::int32_t
{
  HBeam = 0,
  TowerCorner = 1,
  Ordinary = 2,
  BoxColumn = 3
};
