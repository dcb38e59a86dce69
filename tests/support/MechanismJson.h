#pragma once

#include <entity/GenericEntityConfig.h>

#include <json/value.h>

#include <initializer_list>
#include <string>
#include <vector>

// Mechanism JSON objects for tests: links and flanges written by hand, and the sample cell files.
class MechanismJson
{
public:
  // A link object: configured `type`, frame (x, y, z) on its parent, limits in degrees or mm,
  // the ids of the parts it carries and the hashes of its children.
  static Json::Value Link(unsigned long long hash, unsigned long long parent, int type, double x, double y, double z,
                          const std::vector<std::string>& models, std::initializer_list<unsigned long long> children = {},
                          double lower = -180.0, double upper = 180.0);
  // Path of a file of examples/cell in the source tree.
  static std::string CellFile(const std::string& name);
  // Loads the mechanism file at `path` into `entity`, its display-tree path taken relative to it.
  static void Load(GenericEntityConfig& entity, const std::string& path);
};
