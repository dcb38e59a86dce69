// Saving a configured mechanism: its JSON form, copies through that form, and entity packages.
#include <entity/GenericEntityConfig.h>

#include "core/EntityLog.h"

#include <cadtools/DataHandle.h>
#include <cadtools/LogUtils.h>
#include <cadtools/Uuid.h>

#include <filesystem>
#include <map>

namespace fs = std::filesystem;

namespace
{
// Replaces every string of `json` found in `ids` by its mapped value, at any depth.
void RenameIds(Json::Value& json, const std::map<std::string, std::string>& ids)
{
  if (json.isString())
  {
    const auto it = ids.find(json.asString());
    if (it != ids.end())
      json = it->second;
  }
  else if (json.isArray() || json.isObject())
  {
    for (Json::Value& member : json)
      RenameIds(member, ids);
  }
}
} // namespace

Json::Value GenericEntityConfig::DataToJson(const std::string& dir)
{
  Json::Value json = Entity::ToJson(dir);
  json["type"] = myMechanismType;
  json["InvType"] = static_cast<int>(myRobotInvType);
  Json::Value links(Json::nullValue);
  for (const std::shared_ptr<LinkRod>& link : myLinkRods)
    if (link->IsValid())
      links.append(LinkToJson(link.get()));
  json["LinkRod"] = links;
  for (const std::shared_ptr<Flange>& flange : myFlanges)
    json["ChildEntity"].append(flange->ToJson());
  for (const unsigned long long hash : myRootLinkHashes)
    json["child_root"].append(static_cast<Json::UInt64>(hash));
  CoupedToJson(json);
  return json;
}

Json::Value GenericEntityConfig::ToJson(const std::string& dir)
{
  Json::Value json = DataToJson(dir);
  json["EntityPara"] = myParameterData;
  return json;
}

void GenericEntityConfig::CoupedToJson(Json::Value& json) const
{
  for (const CouplingShaft& coupling : myCouplingShafts)
  {
    Json::Value entry(Json::objectValue);
    entry["Ratio"] = coupling.ratio;
    entry["PairOne"] = static_cast<Json::UInt64>(coupling.pairOneHash);
    entry["PairTwo"] = static_cast<Json::UInt64>(coupling.pairTwoHash);
    json["CouplingAxes"].append(entry);
  }
}

Json::Value GenericEntityConfig::LinkToJson(LinkRod* link) const
{
  return link != nullptr ? link->ToJson() : Json::Value();
}

void GenericEntityConfig::CopyFrom(GenericEntityConfig* other)
{
  // Links take their parts as standing at the home pose: the other is copied there, in its own
  // frame, and both are then brought to its joint values.
  const std::vector<double> values = other->GetCurrentValue(0);
  const gp_Trsf placement = other->GetRootMdlTrsf();
  other->SetRootMdlTrsf(gp_Trsf());
  other->Reset();
  const Handle(ViewShape)& source = other->GetRootMdl();
  Handle(ShapeEntity) root = new ShapeEntity(source->GetEntityShape(), Uuid::CreateUuid());
  root->CopyFrom(source);
  // The copy takes fresh ids; its JSON form is renamed to them so that the links find their parts.
  std::map<std::string, std::string> ids = {{source->GetId().ToString(), root->GetId().ToString()}};
  ClearSubMdls();
  myFlanges.clear();
  myLinkRods.clear();
  myLinkIndexOrder.clear();
  myRootLinkHashes.clear();
  Entity::SetRootMdl(root);
  for (const auto& [index, part] : other->GetSubMdls())
  {
    if (part.IsNull() || part == source)
      continue;
    Handle(ShapeEntity) copy = new ShapeEntity(part->GetEntityShape(), Uuid::CreateUuid());
    copy->CopyFrom(part);
    if (part->GetModelType() == ViewShape::MeshModel && !part->GetMesh().IsNull())
    {
      Handle(mesh::AIS_Mesh) mesh = new mesh::AIS_Mesh();
      for (const auto& [layer, triangles] : part->GetMesh()->GetLayers())
        mesh->SetTriangles(triangles, layer);
      copy->AddChildWithCurrentTransformation(mesh);
    }
    copy->CreateBVHMdl(false);
    root->AddChildWithCurrentTransformation(copy);
    copy->SetTransformation(part->Transformation(), false);
    AddSubMdl(copy);
    ids[part->GetId().ToString()] = copy->GetId().ToString();
  }
  root->UpdateEntityInUnity();
  other->ForwardTrsfWithValue(values, true, false);
  other->SetRootMdlTrsf(placement);
  Json::Value json = other->DataToJson(std::string());
  RenameIds(json, ids);
  GenericEntityConfig::LoadFromJson(json);
  ForwardTrsfWithValue(values, true, false);
}

bool GenericEntityConfig::ExportEntityPkg(GenericEntityConfig* entity, const std::string& path)
{
  static const char* const operation = "GenericEntityConfig::ExportEntityPkg";
  std::error_code ec;
  const bool exists = fs::exists(fs::symlink_status(fs::path(path), ec));
  if (ec && ec != std::errc::no_such_file_or_directory)
    EntityLog::Fail(WORKPIECE_LOC(operation), "无法检查实体包路径：" + path + "（" + ec.message() + "）", "_path");
  if (exists)
    return true;
  const std::vector<double> saved = entity->GetCurrentValue(0);
  entity->Reset();
  const fs::path package(path);
  const std::string folder =
    (package.has_parent_path() ? package.parent_path().string() + "/" : std::string()) + package.stem().string() + "/";
  DataHandle::CheckOrCreateDir(folder);
  Json::Value layout(Json::objectValue);
  layout["Head"] = "";
  layout["version"] = 0;
  layout["time"] = DataHandle::GetNowTime();
  Json::Value& data = layout["GenericEntity"] = entity->DataToJson(folder);
  data["EntityPara"] = entity->GetParameterData();
  entity->ExportParaToJson(data);
  DataHandle::SaveJson(layout, folder + "context.layout");
  entity->ForwardTrsfWithValue(saved, true, false);
  if (!DataHandle::Compress7Z(folder.substr(0, folder.size() - 1), path, true))
  {
    EntityLog::Write(WORKPIECE_LOC(operation), SPDLOG_LEVEL_ERROR, "数据打包失败");
    return false;
  }
  return true;
}
