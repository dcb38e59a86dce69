#pragma once

#include <cadtools/Uuid.h>

#include <gp_Trsf.hxx>
#include <json/value.h>

class GenericEntity;
class LinkRod;

// A mounting point of a mechanism: a frame fixed to a link (or to the base) on which another
// entity is installed. The flange does not own the link nor the installed entity; the installed
// entity points back at it, so a flange is never copied.
class Flange
{
public:
  Flange() = default;
  // A flange at `trsf` on the link `link` whose hash is `linkHash` (0 and null for the base).
  Flange(unsigned long long linkHash, LinkRod* link, const gp_Trsf& trsf);
  Flange(const Flange&) = delete;
  Flange& operator=(const Flange&) = delete;
  // Frees the installed entity (it stays where it is).
  ~Flange();

  // Reads link hash, transform and child entity id (defaults for members missing or of another type);
  // resolves and installs nothing.
  void LoadFromJson(const Json::Value& json);
  // "link_rod_index", "flange_ocs" and the id of the entity installed now as "child_entity".
  Json::Value ToJson() const;
  // Replaces the transform and moves the installed entity along.
  void ChangeTrsf(const gp_Trsf& trsf);
  // Installs `entity` as a child of `parent`; null frees the installed entity, if any.
  void SetInstalledEntity(GenericEntity* entity, GenericEntity* parent);
  GenericEntity* GetEntity() const { return myEntity; }

  // Hash of the carrying link, 0 for the base.
  unsigned long long GetLinkRodIndex() const { return myLinkRodIndex; }
  void SetLinkRodIndex(unsigned long long hash) { myLinkRodIndex = hash; }
  LinkRod* GetLinkRod() const { return myLink; }
  void SetLinkRod(LinkRod* link) { myLink = link; }
  // The flange frame relative to its link.
  const gp_Trsf& GetTrsf() const { return myTrsf; }
  // Replaces the transform without moving the installed entity.
  // Throws a WorkpieceError (tag "_number"), keeping the flange as it was, for a NaN or an infinity.
  void SetTrsf(const gp_Trsf& trsf);
  // Id of the installed entity's root display shape as last read from JSON.
  const Uuid& GetChildEntityId() const { return myChildEntityId; }

private:
  unsigned long long myLinkRodIndex = 0;
  LinkRod* myLink = nullptr;
  gp_Trsf myTrsf;
  Uuid myChildEntityId;
  GenericEntity* myEntity = nullptr;
};
