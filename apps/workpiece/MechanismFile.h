#pragma once

#include <entity/GenericEntityConfig.h>

#include <memory>
#include <string>
#include <vector>

// A mechanism as the commands take it: its JSON file with the display tree beside it, and joint
// values as users write them (degrees for turning joints, millimetres for sliding ones).
class MechanismFile
{
public:
  // Returns the mechanism of `path`, its display-tree path read relative to the file; throws
  // WorkpieceError when the file is no JSON object, and as LoadFromJson does.
  static std::unique_ptr<GenericEntityConfig> Load(const std::string& path);

  // Loads and mounts on `mechanism` the entities its flanges name that are described by another
  // JSON file in the folder of `path`; returns them, to be kept while the mechanism is used.
  static std::vector<std::unique_ptr<GenericEntityConfig>> LoadMounted(GenericEntityConfig& mechanism,
                                                                      const std::string& path);

  // Parses "a,b,c" into numbers; false for an empty item or one that is not a number.
  static bool ParseValues(const std::string& text, std::vector<double>& values);

  // Returns `values` in the library's units (radians, millimetres); throws WorkpieceError naming the
  // joint, the value and its range for a value outside the limits (never clamped), or when the
  // count differs from the mechanism's links.
  static std::vector<double> JointValues(const GenericEntityConfig& mechanism, const std::vector<double>& values);
};
