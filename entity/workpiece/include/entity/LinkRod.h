#pragma once

#include <entity/AxisRange.h>
#include <entity/JointType.h>
#include <entity/ShapeEntity.h>

#include <Standard_Handle.hxx>
#include <gp_Ax1.hxx>
#include <gp_Dir.hxx>
#include <gp_Quaternion.hxx>
#include <gp_Trsf.hxx>
#include <json/value.h>

#include <string>
#include <tuple>
#include <vector>

class GenericEntity;

// One link of a mechanism with the joint that moves it: its place in the link tree, the joint's
// type, axis, limits and value, the sub-models riding on it and its current world displacement.
// The axis is kept in the entity's own frame at the zero pose, so a link's world transform is
// the root transform times the motions of every joint from the base down (product of exponentials).
class LinkRod
{
public:
  LinkRod() = default;
  // A linear joint along `direction` through the origin; the joint value stays 0.
  LinkRod(AxisRange range, double resetState, const gp_Dir& direction);
  // A joint of configured `type`; the joint value starts at `resetState`.
  LinkRod(JointType type, AxisRange range, double resetState, const gp_Ax1& axis);
  // Parent, children and flanges point at a link, so it is never copied.
  LinkRod(const LinkRod&) = delete;
  LinkRod& operator=(const LinkRod&) = delete;

  double CurrentJointValue() const { return myJointValue; }
  double GetResetState() const { return myResetState; }
  // Kinematic type (Rotary, Linear or None).
  JointType GetJointType() const { return myJointType; }
  // Type as configured and saved (LinearX … RotaryZ).
  JointType GetConfigJointType() const { return myConfigJointType; }
  const AxisRange& GetLimit() const { return myLimit; }
  // The setters throw a WorkpieceError (tag "_number"), keeping the link as it was, for a NaN or an infinity.
  void SetLimit(const AxisRange& range);
  // Joint axis in the entity frame at the zero pose.
  const gp_Ax1& GetAx1() const { return myAxis; }
  void SetAx1(const gp_Ax1& axis);
  const gp_Dir& GetDirection() const { return myAxis.Direction(); }
  // The link's frame relative to its parent's frame (the entity's root frame for a base link).
  const gp_Trsf& GetCenterTrsf() const { return myCenterTrsf; }
  void SetCenterTrsf(const gp_Trsf& trsf);
  // Current world displacement of the link.
  const gp_Trsf& GetWcs() const { return myWcs; }
  void SetPositionWcs(const gp_Trsf& trsf);
  const std::string& GetName() const { return myName; }
  unsigned long long GetLinkHashIndex() const { return myLinkHash; }
  const std::vector<opencascade::handle<ShapeEntity>>& GetSubMdls() const { return mySubMdls; }
  LinkRod* GetParentLinkRod() const { return myParent; }
  void SetParentLink(LinkRod* parent) { myParent = parent; }
  GenericEntity* GetRootEntity() const { return myRootEntity; }
  void SetRootEntity(GenericEntity* entity) { myRootEntity = entity; }
  int SubLinkSize() const { return static_cast<int>(mySubLinks.size()); }
  // The i-th child, or null when i is out of range.
  LinkRod* GetSubLink(int i) const;

  bool IsBase() const { return myParent == nullptr; }
  // Whether the link carries at least one sub-model or one child link.
  bool IsValid() const { return !mySubMdls.empty() || !mySubLinks.empty(); }
  // Makes this link the child's parent and lists the child unless one with its hash is listed.
  void AddChildLink(LinkRod* child);
  // Erases the i-th child from the list (no bounds test).
  void RemoveSubLink(int i);

  // Unit vector of the type's axis index.
  static gp_Dir GetAxis(JointType type);
  // Axis of the center frame selected by the configured type.
  gp_Dir GetCenterAxis() const;

  // Stores `value` and, for a rotary or linear joint, moves the link after its father;
  // returns false (value stored, link unmoved) for a joint that cannot move, and false with
  // nothing stored for a NaN or an infinity.
  bool Forward(double value);
  // Forward to the reset state.
  bool Reset() { return Forward(myResetState); }
  // Returns whether `value` lies within the limits widened by the configured tolerance, and the
  // value clamped into the limits (or `value` itself when refused).
  std::tuple<bool, double> CheckAndAjustValueByLimit(double value) const;
  // Whether lower + tolerance <= value <= upper - tolerance.
  bool IsInLimit(double value, double tolerance) const;
  // Returns the limit that `value` lies within 1e-6 of, else `value`.
  double GetLimitValue(double value) const;
  // World transform times `local`.
  gp_Trsf GetFlangeWCS(const gp_Trsf& local) const { return myWcs * local; }
  // Moves the joint axis (location and direction) by `trsf`.
  void TransformedBy(const gp_Trsf& trsf) { myAxis.Transform(trsf); }
  // Places every sub-model at world transform × its initial placement; the collision transform
  // always follows, the display only when `updateView`.
  void UpdateMdls(bool updateView);

protected:
  // The configured mechanism builds and edits its links from their JSON form.
  friend class GenericEntityConfig;

  // Product of the center transforms from the base link down to the parent, preceded by the
  // root-model transform unless `withoutRoot`.
  gp_Trsf GetFatherTrsf(bool withoutRoot) const;
  // Derives the axis and the kinematic type from the center transforms and the configured type;
  // turns the limits and joint value of a rotary joint from degrees into radians.
  void UpdateToAx1();
  // Turns the limits and joint value of a rotary joint from radians into degrees.
  void AxisRangeValueToDegree();
  // Takes `models` and `hash`, and makes the models' present placement their initial one.
  void UpdateLinkModelsAndInitTrsfByHash(unsigned long long hash,
                                         const std::vector<opencascade::handle<ShapeEntity>>& models);
  void UpdateLinkModels(const std::vector<opencascade::handle<ShapeEntity>>& models) { mySubMdls = models; }
  // JSON object of the link; rotary limits and value in degrees.
  Json::Value ToJson() const;
  // Reads value, type, name, hash, limits and center transform (defaults for members missing or of
  // another type), then UpdateToAx1; the root entity must be set.
  void LoadFromJson(const Json::Value& json);

private:
  // Sets the world transform, which the joint motion has already made finite, without a check.
  void AssignWcs(const gp_Trsf& trsf);

  double myJointValue = 0.0;
  gp_Trsf myWcs;
  std::vector<LinkRod*> mySubLinks;
  LinkRod* myParent = nullptr;
  JointType myConfigJointType = JointType::None;
  JointType myJointType = JointType::None;
  double myResetState = 0.0;
  gp_Ax1 myAxis;
  AxisRange myLimit;
  std::string myName;
  unsigned long long myLinkHash = 0;
  std::vector<opencascade::handle<ShapeEntity>> mySubMdls;
  gp_Trsf myCenterTrsf;
  GenericEntity* myRootEntity = nullptr;
  // Rotation of the world transform as a quaternion, kept so that a child composes its own by one
  // quaternion product instead of converting matrices (forward kinematics runs in inner loops).
  gp_Quaternion myWcsRotation;
};
