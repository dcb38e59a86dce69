#pragma once

#include <entity/GenericEntityConfig.h>

#include <string>

// The mechanism files of the sample cell (examples/cell) for tests.
class MechanismJson
{
public:
  // Path of a file of examples/cell in the source tree.
  static std::string CellFile(const std::string& name);
  // Loads the cell's mechanism file `name` into `entity`, its display-tree path taken relative to it.
  static void LoadCell(GenericEntityConfig& entity, const std::string& name);
};
