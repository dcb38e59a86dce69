#pragma once

#include <entity/WorkpieceData.h>

#include <cstdint>

// A tower corner: a bottom plate (one or two solids) with flange plates standing on it.
class TowerCornerWorkpieceData : public WorkpieceData
{
public:
  TowerCornerWorkpieceData() { type = WorkpieceType::TowerCorner; }

  // The bottom plate's solids; the same index twice when the plate is one solid.
  std::uint32_t bottomPlate1 = 0;
  std::uint32_t bottomPlate2 = 0;
  // The largest standing plate.
  std::uint32_t mainFlange = 0;
  // How many standing plates stiffen the main flange.
  std::uint32_t stiffeners = 0;
};
