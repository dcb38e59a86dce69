#include "MechanismJson.h"

#include <cadtools/DataHandle.h>

#include <cstdlib>
#include <filesystem>

std::string MechanismJson::CellFile(const std::string& name)
{
  const char* source = std::getenv("WORKPIECE_SOURCE_DIR");
  return (std::filesystem::path(source != nullptr ? source : ".") / "examples" / "cell" / name).string();
}

void MechanismJson::LoadCell(GenericEntityConfig& entity, const std::string& name)
{
  const std::string path = CellFile(name);
  Json::Value json = DataHandle::LoadJson(path);
  json["ShapeEntityPath"] = (std::filesystem::path(path).parent_path() / json["ShapeEntityPath"].asString()).string();
  entity.LoadFromJson(json);
}
