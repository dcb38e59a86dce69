#pragma once

#include <entity/GenericEntity.h>
#include <entity/RobotInvType.h>

#include <AIS_InteractiveObject.hxx>
#include <Message_ProgressRange.hxx>

#include <set>
#include <string>
#include <utility>
#include <vector>

class Workpiece;

// A mechanism built from its JSON description: the link tree, flanges and joint couplings of a
// robot, positioner or tool; it is edited link by link and has other mechanisms mounted on it.
class GenericEntityConfig : public GenericEntity
{
public:
  GenericEntityConfig() = default;
  // A mechanism of type 6 taking over the display tree `shape`.
  explicit GenericEntityConfig(const opencascade::handle<ViewShape>& shape);
  // A mechanism of type 6 sharing the workpiece's display tree (not copied); builds no links.
  explicit GenericEntityConfig(Workpiece* workpiece);
  // A second view of `other` (a GenericEntityConfig): it shares the other's links, flanges and
  // display tree, and gives itself flange 0 on the other when the type is below 4.
  explicit GenericEntityConfig(GenericEntity* other);

  // Builds the whole mechanism from its JSON object. The object is checked first: keys of the
  // wrong type, numbers that are not finite, limits that turn over, a link listed under itself or
  // its own descendant, or a display-tree file that cannot be read throw a WorkpieceError before
  // anything is built.
  void LoadFromJson(const Json::Value& json) override;
  // Forgets sub-models, flanges and links, then takes over the display tree.
  void SetEntityShape(const opencascade::handle<ViewShape>& shape) override;
  ~GenericEntityConfig() override = default;
  // DataToJson with "EntityPara": the form LoadFromJson reads.
  Json::Value ToJson(const std::string& dir) override;
  MechanismType GetMechanismType() override { return myMechanismType; }

  // Hook for subclasses that name the models of their links.
  virtual void UpdateLinkModelNames() {}
  // The entity object without "EntityPara": links, flanges, root links and couplings; a non-empty
  // `dir` (ending with a separator) also receives the display tree.
  virtual Json::Value DataToJson(const std::string& dir);
  // Hook for subclasses that prepare themselves after loading.
  virtual void Initial() {}
  // Builds the collision model of every collision part on the shared thread pool.
  virtual void CreateCollisionMdl();
  // Sub-models flagged as collision parts, in ascending hash index.
  virtual std::vector<opencascade::handle<ShapeEntity>> GetSubCollisionParts() const;
  // Hook called after another entity was assembled on this one.
  virtual void UpdateAssembleData() {}
  // Hook for subclasses that add their own keys to `json`.
  virtual void ExportParaToJson(Json::Value& json) { (void)json; }
  // Hook for subclasses that rebuild their models from the parameter data.
  virtual void UpdateModelPara() {}

  void SetMechanismType(MechanismType type) { myMechanismType = type; }
  RobotInvType GetRobotInvType() const { return myRobotInvType; }
  void SetRobotInvType(RobotInvType type) { myRobotInvType = type; }
  // The free-form "EntityPara" object.
  const Json::Value& GetParameterData() const { return myParameterData; }
  void SetParameterData(const Json::Value& data) { myParameterData = data; }
  // Offset of the tool-0 frame from the end link.
  const gp_Trsf& GetTool0Trsf() const { return myTool0Trsf; }
  // Whether the collision hierarchies are to be rebuilt (set by ZeroEntityMdl).
  bool GetNeedUpdateBVH() const { return myNeedUpdateBVH; }
  void SetNeedUpdateBVH(bool need) { myNeedUpdateBVH = need; }
  // Whether the collision model is to be built again; subclasses that build it once clear it.
  bool IsCollisionMdlOutdated() const { return myCollisionMdlOutdated; }
  void SetCollisionMdlOutdated(bool outdated) { myCollisionMdlOutdated = outdated; }

  // Creates or updates the link of one link object and moves its "motionAxes" onto it.
  LinkRod* UpdateLinkRodPara(const Json::Value& link, bool create);
  // Finds or creates the link named by "link_hash" (writing a fresh hash back for 0) and hangs it
  // under "parent_link_hash".
  LinkRod* UpdateOrCreateLinkRod(Json::Value& link);
  // Reads the joint couplings of "CouplingAxes".
  void LoadCouplingData(const Json::Value& json);
  // The link with `hash`; null for 0 or an unknown hash.
  LinkRod* GetLinkRodNodeByHash(unsigned long long hash) const;
  // The link whose hash is the decimal text `hash`.
  LinkRod* GetLinkRodByIndex(const std::string& hash) const;
  // Id of the root display shape; throws without one.
  const Uuid& GetId() const;
  // Hash index of the sub-model that is `object`; throws when it is no sub-model.
  unsigned long long GetPartsIndex(const opencascade::handle<AIS_InteractiveObject>& object) const;
  // Zeroes every joint: by Reset, or (`move`) by moving each joint and its models to 0.
  void InitialAllAxesToZero(bool move);
  // Zeroes the current values and the joint values of the first link's subtree.
  void SetZero();
  // Re-derives every link's axis from its center transforms.
  void UpdateAllLinkRodToAx1();

  // Moves the link's models, the entities on its flanges and its sub-links by the world `delta`.
  void ChangeLinkLoaction(const gp_Trsf& delta, LinkRod* link);
  // Turns (degrees) or slides (mm) the link's own frame to `value` and moves everything below it;
  // throws for a value that is not finite.
  void ChangeLinkLoaction(LinkRod* link, double value);
  // Places the sub-model `index` (0: the whole entity) at `trsf`; false when it is there already.
  std::pair<bool, gp_Trsf> ChangeMdlLocation(const gp_Trsf& trsf, unsigned long long index);
  // Mounts `other` on the flange "install_index" carried by the link "link_hash"; throws when
  // `other` is this entity or carries it.
  void AssembleOtherModel(GenericEntityConfig* other, const Json::Value& assembly);
  // Sets flange 0 (and 1) from an arm's end or from assembly matrices; returns the arm's end frame.
  gp_Trsf UpdateModelAssemPts(const Json::Value& assembly);
  // Moves flange "install_index" to "Six" on link "link_hash"; returns its world frame.
  gp_Trsf UpdatePedestalAssm(const Json::Value& assembly);
  // The transform of flange "install_index".
  gp_Trsf GetPedestalAssm(const Json::Value& assembly);
  // Product of the center transforms above `link`, with the root transform unless `withoutRoot`.
  gp_Trsf GetFatherTrsf(LinkRod* link, bool withoutRoot) const;
  // World transform of the end link.
  gp_Trsf GetCurrentEndTrsf();
  // World transform of the end link times the tool-0 transform.
  gp_Trsf GetCurrentTrsfTool0();
  // Moves one joint to `value` (degrees or mm) with models and mounted entities; false, moving
  // nothing, for a value that is not finite or lies beyond the limits by more than 1e-6.
  bool ForwardLinkAndUpdateMdl(LinkRod* link, double value);
  // ChangeLinkLoaction by `value` on `link` and every link below it whose limits admit `value`.
  void RecursiveLinkValue(LinkRod* link, double value);

  // Registers the models as sub-models and attaches them to the root (displaying them if `display`).
  void AddSubMdlList(const std::set<opencascade::handle<ShapeEntity>>& models, bool display);
  // Detaches the sub-models with these indices (removing them from the view unless `keepInView`).
  std::set<opencascade::handle<ShapeEntity>> RemoveSubMdlList(const std::set<unsigned long long>& indices,
                                                               bool keepInView);
  void AddAllSubMdlsToAIS();
  void RemoveAllSubMdlsFromAIS();

  // JSON form of flange `index`, creating the flanges up to it.
  Json::Value FlangToJson(int index);
  // Appends the JSON form of every flange with an entity mounted to out["ChildEntity"].
  void ValidFlangToJson(Json::Value& out);
  // Reloads flange `index` from `flange` and mounts `entity` there (frees it for null).
  void ChangeFlangeInstallInfoByIndex(int index, GenericEntity* entity, const Json::Value& flange);
  // Transform of flange `index`, creating the flanges up to it.
  gp_Trsf GetInstalledTrsf(int index);
  // Product of the center transforms from the root link of chain `index` down its first children.
  gp_Trsf GetEndCenTrsf(int index);
  void UpdateRobotEndIntallerTrsf() {}
  // Leaves the parent's flange and returns to the world origin.
  void ClearAssembleInfoFromParent();

  // Appends every coupling to json["CouplingAxes"] (absent when there is none).
  void CoupedToJson(Json::Value& json) const;
  // LinkRod::ToJson of `link`; null for a null link.
  Json::Value LinkToJson(LinkRod* link) const;
  // Makes this entity an independent copy of `other` (parts, meshes and links of its own, fresh ids).
  void CopyFrom(GenericEntityConfig* other);
  // Writes `entity` at its home pose into the folder beside `path` named after its stem
  // ("context.layout" and the display tree) and compresses that folder to the 7z file `path`.
  // Anything already at `path` is left alone (true, nothing written); false when compressing fails.
  static bool ExportEntityPkg(GenericEntityConfig* entity, const std::string& path);

  // Brings `entity` to its zero pose, rebuilding the collision models of its collision parts one
  // progress step each, and marks its hierarchies for update.
  static void ZeroEntityMdl(GenericEntityConfig* entity, const Message_ProgressRange& range);

protected:
  // Hook for subclasses with state beyond the joints.
  virtual void UpdateState() {}

private:
  LinkRod* AddNewLinkRod(unsigned long long parentHash, unsigned long long linkHash,
                         const std::vector<opencascade::handle<ShapeEntity>>& models);
  // Hands the models named by "axis_models" to the link; removes a link left empty.
  LinkRod* ChangedLinkRodMdls(LinkRod* link, const Json::Value& json);
  // Fix nodes: the collision parts that ride on no link.
  void UpdateFixNode();
  // Appends default flanges until `index` exists.
  void CheckFlangNum(int index);
  void SetZero(LinkRod* link);
  // Rebuilds the positions of the links after one was removed.
  void RenumberLinks();

  MechanismType myMechanismType = 6;
  RobotInvType myRobotInvType = RobotInvType::General;
  Json::Value myParameterData;
  gp_Trsf myTool0Trsf;
  bool myNeedUpdateBVH = false;
  bool myCollisionMdlOutdated = true;
};
