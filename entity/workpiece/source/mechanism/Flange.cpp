#include <entity/Flange.h>

#include <entity/GenericEntity.h>

#include "mechanism/FiniteCheck.h"

#include <cadtools/DataHandle.h>
#include <cadtools/LogUtils.h>

#include <algorithm>

Flange::Flange(unsigned long long linkHash, LinkRod* link, const gp_Trsf& trsf)
  : myLinkRodIndex(linkHash), myLink(link), myTrsf(trsf)
{
  FiniteCheck::RequireTrsf(WORKPIECE_LOC("Flange::Flange"), trsf);
}

void Flange::SetTrsf(const gp_Trsf& trsf)
{
  FiniteCheck::RequireTrsf(WORKPIECE_LOC("Flange::SetTrsf"), trsf);
  myTrsf = trsf;
}

Flange::~Flange()
{
  if (myEntity != nullptr)
    myEntity->SetParentEntity(nullptr, -1);
}

void Flange::LoadFromJson(const Json::Value& json)
{
  // A member that is missing or of another type reads as the default, as a corrupt transform does
  // (JsonSixToTrsf), instead of failing inside the JSON library.
  const Json::Value& none = Json::Value::nullSingleton();
  const Json::Value& link = json.isObject() ? json["link_rod_index"] : none;
  const Json::Value& child = json.isObject() ? json["child_entity"] : none;
  myLinkRodIndex = link.isUInt64() ? link.asUInt64() : 0;
  myTrsf = DataHandle::JsonSixToTrsf(json.isObject() ? json["flange_ocs"] : none);
  myChildEntityId = Uuid::FromString(child.isString() ? child.asString() : std::string());
}

Json::Value Flange::ToJson() const
{
  Json::Value json;
  json["link_rod_index"] = static_cast<Json::UInt64>(myLinkRodIndex);
  json["flange_ocs"] = DataHandle::TrsfToJsonSix(myTrsf);
  std::string child;
  if (myEntity != nullptr && !myEntity->GetRootMdl().IsNull())
    child = myEntity->GetRootMdlID().ToString();
  json["child_entity"] = child;
  return json;
}

void Flange::ChangeTrsf(const gp_Trsf& trsf)
{
  FiniteCheck::RequireTrsf(WORKPIECE_LOC("Flange::ChangeTrsf"), trsf);
  myTrsf = trsf;
  if (myEntity != nullptr)
    myEntity->ChangeLocation(myEntity->GetParentEntityTrsf() * trsf);
}

void Flange::SetInstalledEntity(GenericEntity* entity, GenericEntity* parent)
{
  if (entity == nullptr)
  {
    // A free flange has nobody to release.
    if (myEntity == nullptr)
      return;
    myEntity->SetParentEntity(nullptr, -1);
    myEntity = nullptr;
    return;
  }
  myEntity = entity;
  int index = -1;
  if (parent != nullptr)
  {
    const auto& flanges = parent->GetFlange();
    const auto found = std::find_if(flanges.begin(), flanges.end(),
                                    [this](const std::shared_ptr<Flange>& f) { return f.get() == this; });
    if (found != flanges.end())
      index = static_cast<int>(found - flanges.begin());
  }
  entity->SetParentEntity(parent, index);
}
