#include "MechanismJson.h"

#include <cadtools/DataHandle.h>

#include <cstdlib>
#include <filesystem>

Json::Value MechanismJson::Link(unsigned long long hash, unsigned long long parent, int type, double x, double y,
                                double z, const std::vector<std::string>& models,
                                std::initializer_list<unsigned long long> children, double lower, double upper)
{
  Json::Value link(Json::objectValue);
  link["link_hash"] = static_cast<Json::UInt64>(hash);
  link["parent_link_hash"] = static_cast<Json::UInt64>(parent);
  link["joint_type"] = type;
  link["joint_value"] = 0.0;
  link["axis_min"] = lower;
  link["axis_max"] = upper;
  link["name"] = "L" + std::to_string(hash);
  Json::Value six(Json::arrayValue);
  for (const double v : {x, y, z, 0.0, 0.0, 0.0})
    six.append(v);
  link["center_trsf"] = six;
  for (const std::string& id : models)
    link["axis_models"].append(id);
  for (const unsigned long long child : children)
    link["sub_links"].append(static_cast<Json::UInt64>(child));
  return link;
}

std::string MechanismJson::CellFile(const std::string& name)
{
  const char* source = std::getenv("WORKPIECE_SOURCE_DIR");
  return (std::filesystem::path(source != nullptr ? source : ".") / "examples" / "cell" / name).string();
}

void MechanismJson::Load(GenericEntityConfig& entity, const std::string& path)
{
  Json::Value json = DataHandle::LoadJson(path);
  const std::filesystem::path folder = std::filesystem::path(path).parent_path();
  json["ShapeEntityPath"] = (folder / json["ShapeEntityPath"].asString()).string();
  entity.LoadFromJson(json);
}
