#include <entity/Flange.h>

#include <entity/GenericEntity.h>

#include <cadtools/DataHandle.h>

#include <algorithm>

Flange::Flange(unsigned long long linkHash, LinkRod* link, const gp_Trsf& trsf)
  : myLinkRodIndex(linkHash), myLink(link), myTrsf(trsf)
{
}

Flange::~Flange()
{
  if (myEntity != nullptr)
    myEntity->SetParentEntity(nullptr, -1);
}

void Flange::LoadFromJson(const Json::Value& json)
{
  myLinkRodIndex = json["link_rod_index"].asUInt64();
  myTrsf = DataHandle::JsonSixToTrsf(json["flange_ocs"]);
  myChildEntityId = Uuid::FromString(json["child_entity"].asString());
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
