#pragma once

#include <entity/WorkpieceData.h>

// A box column: a closed tube of plates, placed lying on a side face.
class BoxColumnWorkpieceData : public WorkpieceData
{
public:
  BoxColumnWorkpieceData() { type = WorkpieceType::BoxColumn; }
};
