#pragma once

#include <json/value.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>

// What the fuzz targets share: a private scratch folder, the input as a file, the input split in two.
class FuzzInput
{
public:
  // Turns the library's log off: a loader that logs every rejected input would spend its time there.
  static void Quiet();

  // Returns this process's scratch folder (created on first use, removed at exit), ending with '/'.
  static const std::string& Folder();

  // Writes the bytes to `name` in the scratch folder and returns the file's path.
  static std::string WriteFile(const std::string& name, const std::uint8_t* data, std::size_t size);

  // Returns the document the project's JSON reader makes of the bytes (null when it refuses them).
  static Json::Value ReadJson(const std::uint8_t* data, std::size_t size);

  // Splits the input at its first NUL byte: a JSON text, then the file it names (empty without a NUL).
  static std::pair<std::string, std::string> SplitAtNul(const std::uint8_t* data, std::size_t size);

  // Returns the document of the JSON text before the first NUL byte, its "ShapeEntityPath" (when a
  // string) pointed at a file of the bytes after it: an object that names its display tree.
  static Json::Value ReadObjectWithTree(const std::uint8_t* data, std::size_t size);
};
