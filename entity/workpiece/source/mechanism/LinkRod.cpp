#include <entity/LinkRod.h>

#include "core/EntityLog.h"
#include "mechanism/FiniteCheck.h"

#include <entity/GenericEntity.h>

#include <cadtools/CADParamConfig.h>
#include <cadtools/DataHandle.h>
#include <cadtools/LogUtils.h>

#include <gp_Vec.hxx>

#include <algorithm>
#include <cmath>

namespace
{
// Band within which GetLimitValue snaps a value onto a limit.
constexpr double LimitSnap = 1.0e-6;
// Departure of a scale factor from 1 below which a transform still counts as rigid.
constexpr double UnitScaleTolerance = 1.0e-12;
constexpr double Pi = 3.141592653589793;
constexpr double DegreesPerRadian = 180.0 / Pi;

// Axis index of a type (0 X, 1 Y, 2 Z); a corrupt negative number from a file still gives an axis.
int AxisIndex(JointType type)
{
  return (static_cast<int>(type) % 3 + 3) % 3;
}

bool IsConfiguredRotary(JointType type)
{
  return static_cast<int>(type) >= static_cast<int>(JointType::RotaryX);
}

// Returns the normalised column `index` (0 X, 1 Y, 2 Z) of the rotation of `trsf`.
gp_Dir RotationColumn(const gp_Trsf& trsf, int index)
{
  return gp_Dir(trsf.HVectorialPart().Column(index + 1));
}
// Whether `trsf` is a rotation and a translation only, with its rotation available as a quaternion.
bool IsRigid(const gp_Trsf& trsf)
{
  return trsf.Form() != gp_Other && std::abs(trsf.ScaleFactor() - 1.0) <= UnitScaleTolerance;
}

// Returns `v` turned by the unit quaternion `q`: v + 2w (r × v) + 2 r × (r × v), r the vector part.
gp_XYZ Rotated(const gp_Quaternion& q, const gp_XYZ& v)
{
  const gp_XYZ r(q.X(), q.Y(), q.Z());
  const gp_XYZ t = r.Crossed(v) * 2.0;
  return v + t * q.W() + r.Crossed(t);
}
} // namespace

LinkRod::LinkRod(AxisRange range, double resetState, const gp_Dir& direction)
  : myConfigJointType(JointType::Linear), myResetState(resetState), myAxis(gp::Origin(), direction), myLimit(range)
{
}

LinkRod::LinkRod(JointType type, AxisRange range, double resetState, const gp_Ax1& axis)
  : myJointValue(resetState), myConfigJointType(type), myResetState(resetState), myAxis(axis), myLimit(range)
{
}

LinkRod* LinkRod::GetSubLink(int i) const
{
  if (i < 0 || i >= SubLinkSize())
    return nullptr;
  return mySubLinks[static_cast<size_t>(i)];
}

void LinkRod::AddChildLink(LinkRod* child)
{
  child->myParent = this;
  const bool listed = std::any_of(mySubLinks.begin(), mySubLinks.end(),
                                  [child](const LinkRod* l) { return l->myLinkHash == child->myLinkHash; });
  if (!listed)
    mySubLinks.push_back(child);
}

void LinkRod::RemoveSubLink(int i)
{
  mySubLinks.erase(mySubLinks.begin() + i);
}

gp_Dir LinkRod::GetAxis(JointType type)
{
  switch (AxisIndex(type))
  {
  case 0:
    return gp::DX();
  case 1:
    return gp::DY();
  default:
    return gp::DZ();
  }
}

gp_Dir LinkRod::GetCenterAxis() const
{
  return RotationColumn(myCenterTrsf, AxisIndex(myConfigJointType));
}

void LinkRod::SetLimit(const AxisRange& range)
{
  FiniteCheck::RequireRange(WORKPIECE_LOC("LinkRod::SetLimit"), range);
  myLimit = range;
}

void LinkRod::SetAx1(const gp_Ax1& axis)
{
  FiniteCheck::RequireAx1(WORKPIECE_LOC("LinkRod::SetAx1"), axis);
  myAxis = axis;
}

void LinkRod::SetCenterTrsf(const gp_Trsf& trsf)
{
  FiniteCheck::RequireTrsf(WORKPIECE_LOC("LinkRod::SetCenterTrsf"), trsf);
  myCenterTrsf = trsf;
}

void LinkRod::SetPositionWcs(const gp_Trsf& trsf)
{
  FiniteCheck::RequireTrsf(WORKPIECE_LOC("LinkRod::SetPositionWcs"), trsf);
  AssignWcs(trsf);
}

void LinkRod::AssignWcs(const gp_Trsf& trsf)
{
  myWcs = trsf;
  myWcsRotation = IsRigid(trsf) ? trsf.GetRotation() : gp_Quaternion();
}

bool LinkRod::Forward(double value)
{
  static const gp_Trsf identity;
  if (!std::isfinite(value))
    return false;
  const gp_Trsf& father =
    myParent ? myParent->myWcs : (myRootEntity ? myRootEntity->GetRootMdlTrsf() : identity);
  myJointValue = value;
  if (myJointType != JointType::Rotary && myJointType != JointType::Linear)
    return false;
  const double delta = value - myResetState;
  const gp_XYZ& u = myAxis.Direction().XYZ();
  if (!IsRigid(father) || (myParent == nullptr && myJointType == JointType::Rotary))
  {
    // The general product: scaled or mirrored fathers, and rotary base links, whose father
    // (the root placement) has no quaternion at hand.
    gp_Trsf motion;
    if (myJointType == JointType::Rotary)
      motion.SetRotation(myAxis, delta);
    else
      motion.SetTranslation(gp_Vec(u) * delta);
    AssignWcs(father * motion);
    return true;
  }
  if (myJointType == JointType::Linear)
  {
    // World = father × translation(d): father's rotation, and father(d) as translation.
    myWcsRotation = myParent != nullptr ? myParent->myWcsRotation : father.GetRotation();
    myWcs = father;
    myWcs.SetTranslationPart(gp_Vec(father.TranslationPart() + father.HVectorialPart() * (u * delta)));
    return true;
  }
  // World = father × rotation(delta about the axis through p): its rotation is the product of
  // the quaternions, its translation father(p) - Rw p.
  const gp_Quaternion motion(gp_Vec(u), delta);
  myWcsRotation = myParent->myWcsRotation * motion;
  const gp_XYZ& p = myAxis.Location().XYZ();
  const gp_XYZ location = father.TranslationPart() + father.HVectorialPart() * p - Rotated(myWcsRotation, p);
  myWcs.SetTransformation(myWcsRotation, gp_Vec(location));
  return true;
}

std::tuple<bool, double> LinkRod::CheckAndAjustValueByLimit(double value) const
{
  double tolerance = 0.0;
  if (myConfigJointType == JointType::Rotary)
    tolerance = CADParamConfig::GetInstance().RotaryJointTolerance();
  else if (myConfigJointType == JointType::Linear)
    tolerance = CADParamConfig::GetInstance().LinearJointTolerance();
  else
    return {false, value};
  if (myLimit.lower - tolerance <= value && value <= myLimit.upper + tolerance)
    return {true, std::clamp(value, myLimit.lower, myLimit.upper)};
  return {false, value};
}

bool LinkRod::IsInLimit(double value, double tolerance) const
{
  return myLimit.lower + tolerance <= value && value <= myLimit.upper - tolerance;
}

double LinkRod::GetLimitValue(double value) const
{
  if (value < myLimit.lower + LimitSnap)
    return myLimit.lower;
  if (value > myLimit.upper - LimitSnap)
    return myLimit.upper;
  return value;
}

void LinkRod::UpdateMdls(bool updateView)
{
  for (const opencascade::handle<ShapeEntity>& model : mySubMdls)
  {
    if (model.IsNull())
      continue;
    const gp_Trsf placement = myWcs * model->GetInitTrsf();
    if (updateView)
      model->SetTransformation(placement, updateView);
    model->SetCollisionTrsf(placement);
  }
}

gp_Trsf LinkRod::GetFatherTrsf(bool withoutRoot) const
{
  gp_Trsf product;
  for (const LinkRod* link = myParent; link != nullptr; link = link->myParent)
    product.PreMultiply(link->myCenterTrsf);
  if (!withoutRoot && myRootEntity != nullptr)
    product.PreMultiply(myRootEntity->GetRootMdlTrsf());
  return product;
}

void LinkRod::UpdateToAx1()
{
  // The axis is wanted in the entity's own frame, so the root placement is taken out meanwhile.
  gp_Trsf frame;
  if (myRootEntity != nullptr)
  {
    const gp_Trsf savedRoot = myRootEntity->GetRootMdlTrsf();
    myRootEntity->UpdateRootTrsf(gp_Trsf(), false);
    frame = GetFatherTrsf(false) * myCenterTrsf;
    myRootEntity->UpdateRootTrsf(savedRoot, false);
  }
  else
  {
    frame = GetFatherTrsf(false) * myCenterTrsf;
  }
  myAxis = gp_Ax1(gp_Pnt(frame.TranslationPart()), RotationColumn(frame, AxisIndex(myConfigJointType)));
  const bool rotary = IsConfiguredRotary(myConfigJointType);
  myJointType = rotary ? JointType::Rotary : JointType::Linear;
  if (rotary)
  {
    myLimit.lower /= DegreesPerRadian;
    myLimit.upper /= DegreesPerRadian;
    myJointValue /= DegreesPerRadian;
  }
}

void LinkRod::AxisRangeValueToDegree()
{
  if (myJointType != JointType::Rotary)
    return;
  myLimit.lower *= DegreesPerRadian;
  myLimit.upper *= DegreesPerRadian;
  myJointValue *= DegreesPerRadian;
}

void LinkRod::UpdateLinkModelsAndInitTrsfByHash(unsigned long long hash,
                                                const std::vector<opencascade::handle<ShapeEntity>>& models)
{
  mySubMdls = models;
  myLinkHash = hash;
  for (const opencascade::handle<ShapeEntity>& model : mySubMdls)
    if (!model.IsNull())
      model->UpdateInitState();
}

Json::Value LinkRod::ToJson() const
{
  const double toUi = myJointType == JointType::Rotary ? DegreesPerRadian : 1.0;
  Json::Value json(Json::objectValue);
  json["joint_value"] = myJointValue * toUi;
  json["joint_type"] = static_cast<Json::UInt>(myConfigJointType);
  json["link_hash"] = static_cast<Json::UInt64>(myLinkHash);
  json["name"] = myName;
  json["parent_link_hash"] = static_cast<Json::UInt64>(myParent ? myParent->myLinkHash : 0);
  json["axis_min"] = myLimit.lower * toUi;
  json["axis_max"] = myLimit.upper * toUi;
  json["center_trsf"] = DataHandle::TrsfToJsonSix(myCenterTrsf);
  for (const opencascade::handle<ShapeEntity>& model : mySubMdls)
  {
    if (model.IsNull())
    {
      EntityLog::Write(WORKPIECE_LOC("LinkRod::ToJson"), SPDLOG_LEVEL_WARN, "不应该有空的节点出现");
      continue;
    }
    json["axis_models"].append(model->GetId().ToString());
  }
  for (const LinkRod* child : mySubLinks)
    if (child->IsValid())
      json["sub_links"].append(static_cast<Json::UInt64>(child->myLinkHash));
  return json;
}

void LinkRod::LoadFromJson(const Json::Value& json)
{
  // A member that is missing or of another type reads as the default, as a corrupt transform does
  // (JsonSixToTrsf), instead of failing inside the JSON library.
  const auto member = [&json](const char* key) -> const Json::Value& {
    return json.isObject() ? json[key] : Json::Value::nullSingleton();
  };
  const auto number = [&member](const char* key, double fallback) {
    return member(key).isNumeric() && std::isfinite(member(key).asDouble()) ? member(key).asDouble() : fallback;
  };
  myJointValue = number("joint_value", 0.0);
  myConfigJointType = member("joint_type").isInt() ? static_cast<JointType>(member("joint_type").asInt()) : JointType::None;
  myName = member("name").isString() ? member("name").asString() : std::string();
  myLinkHash = member("link_hash").isUInt64() ? member("link_hash").asUInt64() : 0;
  myLimit = AxisRange{number("axis_min", AxisRange().lower), number("axis_max", AxisRange().upper)};
  myCenterTrsf = DataHandle::JsonSixToTrsf(member("center_trsf"));
  UpdateToAx1();
}
