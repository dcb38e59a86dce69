#pragma once

#include <json/value.h>

#include <string>

// Checks a mechanism's JSON object before anything is built from it, so that bad input fails as a
// whole: keys of the wrong JSON type, numbers that are not finite, limits that turn over, joint
// types outside 0..5, and link trees that are no trees (a link under itself or under its own
// descendant, under two parents, or a hashless link with children). Absent and null keys pass:
// they read as their defaults.
class MechanismJsonCheck
{
public:
  // Throws a WorkpieceError (logged at critical level from `operation`) naming the first fault.
  static void Check(const Json::Value& mechanism, const char* operation);
  // The same for an assembly object ("install_index", "link_hash", "Six", "Type", the matrices).
  static void CheckAssembly(const Json::Value& assembly, const char* operation);
  // The same for a flange object.
  static void CheckFlange(const Json::Value& flange, const std::string& path, const char* operation);
};
