#pragma once

#include <entity/WorkpieceType.h>

// The analysis record of a workpiece; kinds with more to say derive from it.
class WorkpieceData
{
public:
  virtual ~WorkpieceData() = default;

  WorkpieceType type = WorkpieceType::Ordinary;
};
