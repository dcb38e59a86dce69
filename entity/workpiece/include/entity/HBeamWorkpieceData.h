#pragma once

#include <entity/WorkpieceData.h>

#include <cstdint>
#include <map>
#include <vector>

// An H-beam: its length direction in the workpiece's own frame, its planar faces per solid, its web
// and flange solids and the thickness of each plate.
class HBeamWorkpieceData : public WorkpieceData
{
public:
  HBeamWorkpieceData() { type = WorkpieceType::HBeam; }

  // Direction of the beam's length (need not be unit).
  double lengthX = 1.0;
  double lengthY = 0.0;
  double lengthZ = 0.0;
  // Solid index to the indices of its planar faces.
  std::map<std::uint32_t, std::vector<int>> planarFaces;
  std::vector<std::uint32_t> webSolids;
  std::vector<std::uint32_t> upperFlangeSolids;
  std::vector<std::uint32_t> lowerFlangeSolids;
  // Solid index to the thickness of its plate (mm).
  std::map<std::uint32_t, double> thickness;
};
