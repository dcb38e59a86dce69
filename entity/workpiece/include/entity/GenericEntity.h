#pragma once

#include <entity/AxisRange.h>
#include <entity/CouplingShaft.h>
#include <entity/Entity.h>
#include <entity/EntityName.h>
#include <entity/Flange.h>
#include <entity/LinkRod.h>
#include <entity/MechanismType.h>
#include <entity/ShapeEntity.h>

#include <Standard_Handle.hxx>
#include <gp_Trsf.hxx>

#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <tuple>
#include <utility>
#include <vector>

// An entity that moves: a tree of links driven by joint values, flanges on which other entities
// are mounted, and the placement of its base in the world.
//
// Joints are addressed two ways: the current value vector, Forward(vector), IsInLimit, GetLimit
// and GetCurrentValueUi have one entry per link; the state vector of CheckAndAjustStateByLimit
// and the index of Forward(int, ...) skip the base link (entry i belongs to link i + 1).
//
// The `system` argument of the joint-value queries lets subclasses answer per system; here every
// system sees the one current value vector, so it is not looked at.
class GenericEntity : public Entity
{
public:
  GenericEntity() = default;
  GenericEntity(const GenericEntity&) = delete;
  GenericEntity& operator=(const GenericEntity&) = delete;

  // UpdateRootTrsf with a display update, then every link follows with its present value.
  void SetRootMdlTrsf(const gp_Trsf& trsf) override;
  // Leaves the parent's flange, if mounted; the flanges free the entities mounted here.
  ~GenericEntity() override;
  // Places the base; with `updateView` the display follows, otherwise only the collision transforms.
  virtual void UpdateRootTrsf(const gp_Trsf& trsf, bool updateView);
  // Number of links.
  virtual int EntityDof() const;
  // Whether `values` has one value per link and each lies within its limits narrowed by `tolerance`.
  virtual bool IsInLimit(const std::vector<double>& values, unsigned long long system, double tolerance) const;
  // (lower + tolerance, upper - tolerance) per link; throws when a range would turn over.
  virtual std::vector<std::pair<double, double>> GetLimit(unsigned long long system, double tolerance);
  // Moves the whole mechanism by `trsf` in the world without a display update.
  virtual void TransformedBy(const gp_Trsf& trsf);
  // Number of links seen by `system`.
  virtual int GetDOF(unsigned long long system) const;
  virtual const std::vector<double>& GetCurrentValue(unsigned long long system) const;
  // Copies as many leading entries of `values` as the current vector holds (or `values` has).
  virtual void SetCurrentValue(const std::vector<double>& values, unsigned long long system);
  virtual MechanismType GetMechanismType() { return 0; }
  // Sub-models that ride on no link.
  virtual std::vector<opencascade::handle<ShapeEntity>> GetFixMdls() const { return myFixMdls; }
  virtual std::vector<opencascade::handle<ShapeEntity>> GetCollisionFixMdls() const { return myFixMdls; }

  const std::vector<std::shared_ptr<LinkRod>>& GetLinkRods() const { return myLinkRods; }
  size_t GetLinkSize() const { return myLinkRods.size(); }
  // The link at list position `position` (no bounds test).
  LinkRod* GetLink(unsigned long long position) const { return myLinkRods[position].get(); }
  // World transform of the link at `position`; throws std::out_of_range beyond the list.
  const gp_Trsf& GetCurJointTrsf(unsigned long long position) const { return myLinkRods.at(position)->GetWcs(); }
  size_t GetRootLinkNum() const { return myRootLinkHashes.size(); }
  const std::vector<std::shared_ptr<Flange>>& GetFlange() const { return myFlanges; }
  const std::vector<double>& GetResetValue() const { return myResetValue; }
  std::vector<double>& ChangeCurrentValue() { return myCurrentValue; }
  const gp_Trsf& GetRootMdlTrsf() const { return myRootMdlTrsf; }
  const gp_Trsf& GetAssembleTrsf() const { return myAssembleTrsf; }
  void SetAssembleTrsf(const gp_Trsf& trsf) { myAssembleTrsf = trsf; }
  GenericEntity* GetParentEntity() const { return myParentEntity; }
  int GetParentFlangeIndex() const { return myParentFlangeIndex; }
  // Stores the parent and the index of its flange this entity sits on (null and -1 when free).
  void SetParentEntity(GenericEntity* parent, int flangeIndex);
  // Flange index of the last assembly onto a parent, kept when the entity is freed so that it can
  // be mounted there again; -1 when never assembled.
  int GetLastInstallIndex() const { return myLastInstallIndex; }
  void SetLastInstallIndex(int index) { myLastInstallIndex = index; }
  EntityName GetEntityName() const { return myEntityName; }
  void SetEntityName(EntityName name) { myEntityName = name; }
  const std::set<unsigned long long>& GetSystems() const { return mySystems; }
  const std::vector<CouplingShaft>& GetCouplingShaft() const { return myCouplingShafts; }
  bool IsCouplingRobot() const { return !myCouplingShafts.empty(); }

  // Position of the link with `hash` in the link list; throws for an unknown hash.
  std::uint16_t GetLinkIndexOrder(unsigned long long hash) const;
  // The i-th root link; throws for a bad index or an unknown hash.
  LinkRod* GetRootLink(int i) const;
  // The link reached from the first root link by following first children; throws as GetRootLink
  // without root links. Only the first chain is followed, whatever `chain` says.
  LinkRod* GetEndLink(int chain);
  AxisRange GetLinkLimit(unsigned long long position) const { return myLinkRods[position]->GetLimit(); }
  // One value per link, rotary ones in degrees.
  std::vector<double> GetCurrentValueUi(unsigned long long system) const;

  // Moves every link to its value in list order; false at the first link that cannot move, or
  // for fewer values than links. Sub-models are not moved.
  bool Forward(const std::vector<double>& values);
  // Moves the link after the base numbered `index` and every later link with its present value.
  bool Forward(int index, double value, bool checkLimit);
  // Moves links, sub-models and mounted entities to the current values of `system`; with
  // `checkLimit` refuses, moving nothing, a value within 1e-6 of a limit or beyond.
  bool ForwardTrsf(unsigned long long system, bool updateView, bool checkLimit);
  // Takes `values` as current values, then ForwardTrsf.
  bool ForwardTrsf(const std::vector<double>& values, bool updateView, bool checkLimit);
  // ForwardTrsf, false for an empty vector.
  bool ForwardTrsfWithValue(const std::vector<double>& values, bool updateView, bool checkLimit);
  // Moves everything to the reset values, with display.
  bool Reset();
  // Checks a state (one value per link after the base) against the limits with the configured
  // tolerances; returns the values clamped into the limits, or false and an empty vector.
  std::tuple<bool, std::vector<double>> CheckAndAjustStateByLimit(const std::vector<double>& state);
  // Places every link's sub-models at its world transform.
  void UpdateMdls(bool updateView);
  // Places every mounted entity at its flange; with `forwardChildren` they also move their own links.
  void UpdateChildTrsf(bool updateView, bool forwardChildren);

  // Adds a flange at `local` on the link with `linkHash` (on the base when the hash is unknown).
  void AddFlange(unsigned long long linkHash, const gp_Trsf& local);
  void AddFlange(const std::shared_ptr<Flange>& flange);
  // The i-th flange; throws for a bad index.
  Flange* GetFlangeByIndex(int i) const;
  // World frame of the i-th flange; identity for a bad index.
  gp_Trsf GetFlangeWCS(int i) const;
  // Carries the i-th flange on `link` (the base for null); throws for a bad index.
  void SetFlangeLink(LinkRod* link, int i);
  // Installs `child` on the i-th flange; throws std::out_of_range for a bad index.
  void SetChildEntity(int i, GenericEntity* child);
  // Parent's root transform × its flange transform when mounted, else the own root transform.
  gp_Trsf GetParentAssembleTrsf() const;
  // Frame the parent's flange is attached to (its link or its base); identity when free.
  gp_Trsf GetParentEntityTrsf() const;
  // Whether an ancestor has joints for this entity.
  bool HasParentMotionModel() const;

  void AddSystem(unsigned long long id) { mySystems.insert(id); }
  // Removes `id` from the systems; throws for an id that is not there.
  void DeleteSystem(unsigned long long id);
  void ClearSystem() { mySystems.clear(); }
  bool IsBelongSystem(unsigned long long id) const { return mySystems.count(id) != 0; }

  // The link's sub-models, or the fixed collision models for null.
  std::vector<opencascade::handle<ShapeEntity>> GetCollisionMdlsFromCurrentLink(LinkRod* link);
  // Sub-models of `link` and of every link below it.
  std::vector<opencascade::handle<ShapeEntity>> GetCollisionMdlsFromRootLink(LinkRod* link);
  // Places the base at `trsf`; entities mounted on the flanges come along.
  void ChangeLocation(const gp_Trsf& trsf);

protected:
  // Appends a link (ignoring null) and resets every joint value to zero.
  void AddNewLink(const std::shared_ptr<LinkRod>& link);
  // Takes a link out of the tree and the list: its children move up to its parent (or become root
  // links) keeping their frames, its flanges move to its parent (or the base), every joint value
  // becomes zero and UpdateLinkIndexOrder renumbers the later links. Throws for an unknown link.
  void RemoveLinkRod(LinkRod* link);
  // Erases the first entry `hash` from the root link hashes.
  void RemoveRootIndexFromVector(unsigned long long hash);
  // Current and reset values become one zero per link.
  void UpdateStateSize();
  // Renumbers the link positions from the link list after a removal; subclasses that keep data by
  // link position renumber it too.
  virtual void UpdateLinkIndexOrder();

  std::map<unsigned long long, std::uint16_t> myLinkIndexOrder;
  std::vector<std::shared_ptr<LinkRod>> myLinkRods;
  std::vector<std::shared_ptr<Flange>> myFlanges;
  std::vector<unsigned long long> myRootLinkHashes;
  std::vector<double> myCurrentValue;
  std::vector<double> myResetValue;
  gp_Trsf myAssembleTrsf;
  GenericEntity* myParentEntity = nullptr;
  int myParentFlangeIndex = -1;
  int myLastInstallIndex = -1;
  gp_Trsf myRootMdlTrsf;
  EntityName myEntityName = EntityName::Unnamed;
  std::vector<opencascade::handle<ShapeEntity>> myFixMdls;
  std::vector<CouplingShaft> myCouplingShafts;
  std::set<unsigned long long> mySystems;
};
