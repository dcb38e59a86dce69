#pragma once

#include <entity/WorkpieceType.h>

// The analysis record of a workpiece; kinds with more to say derive from it.
class WorkpieceData
{
public:
  WorkpieceData() = default;
  virtual ~WorkpieceData() = default;

  WorkpieceType type = WorkpieceType::Ordinary;
};
