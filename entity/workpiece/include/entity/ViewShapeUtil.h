#pragma once

#include <entity/ShapeEntity.h>

#include <json/value.h>

#include <string>

// JSON form of display-shape trees and their files.
class ViewShapeUtil
{
public:
  // Returns the JSON object of `shape` and of its descendants that need saving; `clean` strips
  // unused geometry from the written shape.
  static Json::Value ExportToJson(const opencascade::handle<ViewShape>& shape, bool clean);

  // Writes ExportToJson(shape, clean) to `path`, creating its folder; returns true even when the
  // write fails.
  static bool ExportToFile(const opencascade::handle<ViewShape>& shape, const std::string& path, bool clean);

  // Returns the tree rebuilt from a JSON object written by ExportToJson (nodes built on the thread
  // pool, linked on the caller's thread); null when the object is no display-shape object.
  static opencascade::handle<ShapeEntity> LoadFromJson(const Json::Value& json);

  // Returns whether the shape is worth keeping: it shows a shape of its own or has display children.
  static bool CheckShapeValid(opencascade::handle<ShapeEntity> shape);
};
