#pragma once

#include <json/value.h>

#include <iosfwd>

// The text form of the JSON files this library writes.
class JsonWriter
{
public:
  // Writes `json` to `out` laid out exactly as jsoncpp's stream writer lays it out with two-space
  // indentation, UTF-8 kept as it is and comments kept, without a final line feed.
  static void Write(const Json::Value& json, std::ostream& out);
};
