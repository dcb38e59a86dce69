#pragma once

#include <entity/ShapeEntity.h>

#include <cadtools/ThreadPool.h>

#include <json/value.h>

#include <string>

// JSON form of display-shape trees and their files.
class ViewShapeUtil
{
public:
  // Returns the JSON object of `shape` and of its descendants that need saving; `clean` strips
  // unused geometry from the written shape.
  static Json::Value ExportToJson(const opencascade::handle<ViewShape>& shape, bool clean);

  // Writes ExportToJson(shape, clean) to `path`, creating its folder. Returns true even when the
  // file cannot be written: that is logged at error level and the previous file stays intact.
  static bool ExportToFile(const opencascade::handle<ViewShape>& shape, const std::string& path, bool clean);

  // Returns the tree rebuilt from a JSON object written by ExportToJson (nodes built on the thread
  // pool, linked on the caller's thread); null, logged at error level, when some node cannot be read.
  static opencascade::handle<ShapeEntity> LoadFromJson(const Json::Value& json);
  // The same, building the nodes on `pool` instead of the shared pool.
  static opencascade::handle<ShapeEntity> LoadFromJson(const Json::Value& json, ThreadPool& pool);

  // Returns whether the shape is worth keeping: it shows a shape of its own or has display children.
  static bool CheckShapeValid(opencascade::handle<ShapeEntity> shape);
};
