#include <entity/GenericEntity.h>

#include "core/EntityLog.h"
#include "mechanism/FiniteCheck.h"

#include <cadtools/DataHandle.h>
#include <cadtools/LogUtils.h>

#include <algorithm>
#include <cmath>
#include <string>

namespace
{
// Narrowing of every range when joint values are checked before a move.
constexpr double ForwardLimitTolerance = 1.0e-6;
constexpr double DegreesPerRadian = 180.0 / 3.141592653589793;

} // namespace

GenericEntity::~GenericEntity()
{
  if (myParentEntity != nullptr && myParentFlangeIndex >= 0 &&
      myParentFlangeIndex < static_cast<int>(myParentEntity->myFlanges.size()))
  {
    Flange& seat = *myParentEntity->myFlanges[static_cast<size_t>(myParentFlangeIndex)];
    if (seat.GetEntity() == this)
      seat.SetInstalledEntity(nullptr, myParentEntity);
  }
}

void GenericEntity::SetRootMdlTrsf(const gp_Trsf& trsf)
{
  UpdateRootTrsf(trsf, true);
  for (const std::shared_ptr<LinkRod>& link : myLinkRods)
    link->Forward(link->CurrentJointValue());
}

void GenericEntity::UpdateRootTrsf(const gp_Trsf& trsf, bool updateView)
{
  FiniteCheck::RequireTrsf(WORKPIECE_LOC("GenericEntity::UpdateRootTrsf"), trsf);
  myRootMdlTrsf = trsf;
  const opencascade::handle<ViewShape> root = GetRootMdl();
  if (updateView)
  {
    if (!root.IsNull())
    {
      root->SetTransformation(trsf, true);
      UpdateEntityInUnity();
    }
    return;
  }
  if (!root.IsNull())
    root->SetCollisionTrsf(trsf);
  for (const opencascade::handle<ShapeEntity>& model : myFixMdls)
    if (!model.IsNull())
      model->SetCollisionTrsf(trsf);
}

int GenericEntity::EntityDof() const
{
  return static_cast<int>(myLinkRods.size());
}

bool GenericEntity::IsInLimit(const std::vector<double>& values, unsigned long long, double tolerance) const
{
  if (values.size() != myLinkRods.size())
    return false;
  for (size_t i = 0; i < myLinkRods.size(); ++i)
    if (!myLinkRods[i]->IsInLimit(values[i], tolerance))
      return false;
  return true;
}

std::vector<std::pair<double, double>> GenericEntity::GetLimit(unsigned long long, double tolerance)
{
  std::vector<std::pair<double, double>> limits;
  limits.reserve(myLinkRods.size());
  for (const std::shared_ptr<LinkRod>& link : myLinkRods)
  {
    const AxisRange& range = link->GetLimit();
    const double lower = range.lower + tolerance;
    const double upper = range.upper - tolerance;
    if (lower > upper)
      EntityLog::Fail(WORKPIECE_LOC("GenericEntity::GetLimit"), "限位错误");
    limits.emplace_back(lower, upper);
  }
  return limits;
}

void GenericEntity::TransformedBy(const gp_Trsf& trsf)
{
  UpdateRootTrsf(trsf * myRootMdlTrsf, false);
}

int GenericEntity::GetDOF(unsigned long long) const
{
  return static_cast<int>(myLinkRods.size());
}

const std::vector<double>& GenericEntity::GetCurrentValue(unsigned long long) const
{
  return myCurrentValue;
}

void GenericEntity::SetCurrentValue(const std::vector<double>& values, unsigned long long)
{
  // A short vector from a caller sets what it has rather than reading past its end.
  const size_t count = std::min(values.size(), myCurrentValue.size());
  FiniteCheck::RequireValues(WORKPIECE_LOC("GenericEntity::SetCurrentValue"), values, count);
  std::copy(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(count), myCurrentValue.begin());
}

void GenericEntity::SetParentEntity(GenericEntity* parent, int flangeIndex)
{
  myParentEntity = parent;
  myParentFlangeIndex = flangeIndex;
}

std::uint16_t GenericEntity::GetLinkIndexOrder(unsigned long long hash) const
{
  const auto found = myLinkIndexOrder.find(hash);
  if (found == myLinkIndexOrder.end())
    EntityLog::Fail(WORKPIECE_LOC("GenericEntity::GetLinkIndexOrder"), EntityLog::KeyError);
  return found->second;
}

LinkRod* GenericEntity::GetRootLink(int i) const
{
  if (i < 0 || i >= static_cast<int>(myRootLinkHashes.size()))
    EntityLog::Fail(WORKPIECE_LOC("GenericEntity::GetRootLink"), EntityLog::IndexError);
  const auto found = myLinkIndexOrder.find(myRootLinkHashes[static_cast<size_t>(i)]);
  if (found == myLinkIndexOrder.end())
    EntityLog::Fail(WORKPIECE_LOC("GenericEntity::GetRootLink"), EntityLog::KeyError);
  return myLinkRods[found->second].get();
}

LinkRod* GenericEntity::GetEndLink(int)
{
  LinkRod* link = GetRootLink(0);
  if (link == nullptr)
    return nullptr;
  while (LinkRod* child = link->GetSubLink(0))
    link = child;
  return link;
}

std::vector<double> GenericEntity::GetCurrentValueUi(unsigned long long) const
{
  std::vector<double> values;
  values.reserve(myLinkRods.size());
  for (const std::shared_ptr<LinkRod>& link : myLinkRods)
  {
    const double factor = link->GetJointType() == JointType::Rotary ? DegreesPerRadian : 1.0;
    values.push_back(link->CurrentJointValue() * factor);
  }
  return values;
}

bool GenericEntity::Forward(const std::vector<double>& values)
{
  const size_t count = myLinkRods.size();
  // Checked before the first link moves, so that a refused vector leaves every link where it was.
  if (values.size() < count || !FiniteCheck::Values(values, count))
    return false;
  for (size_t i = 0; i < count; ++i)
    if (!myLinkRods[i]->Forward(values[i]))
      return false;
  return true;
}

bool GenericEntity::Forward(int index, double value, bool checkLimit)
{
  // Index i names the link after the base, at list position i + 1.
  if (index < 0 || index + 1 >= EntityDof() || !std::isfinite(value))
    return false;
  const size_t position = static_cast<size_t>(index) + 1;
  LinkRod& link = *myLinkRods[position];
  if (checkLimit && !link.IsInLimit(value, ForwardLimitTolerance))
    return false;
  link.Forward(value);
  for (size_t i = position + 1; i < myLinkRods.size(); ++i)
    if (!myLinkRods[i]->Forward(myLinkRods[i]->CurrentJointValue()))
      return false;
  return true;
}

bool GenericEntity::ForwardTrsf(unsigned long long system, bool updateView, bool checkLimit)
{
  const std::vector<double>& values = GetCurrentValue(system);
  // The limit check refuses NaN and infinities by itself.
  if (checkLimit ? !IsInLimit(values, system, ForwardLimitTolerance) : !FiniteCheck::Values(values, values.size()))
    return false;
  const bool ok = Forward(myCurrentValue);
  UpdateMdls(updateView);
  UpdateChildTrsf(updateView, false);
  return ok;
}

bool GenericEntity::ForwardTrsf(const std::vector<double>& values, bool updateView, bool checkLimit)
{
  // Refused before they are stored, so that the current values stay those of the present pose.
  if (!FiniteCheck::Values(values, myCurrentValue.size()))
    return false;
  SetCurrentValue(values, 0);
  return ForwardTrsf(0, updateView, checkLimit);
}

bool GenericEntity::ForwardTrsfWithValue(const std::vector<double>& values, bool updateView, bool checkLimit)
{
  if (values.empty())
    return false;
  return ForwardTrsf(values, updateView, checkLimit);
}

bool GenericEntity::Reset()
{
  if (!mySystems.empty())
  {
    for (const unsigned long long system : mySystems)
      SetCurrentValue(myResetValue, system);
  }
  else
  {
    std::copy(myResetValue.begin(), myResetValue.begin() + static_cast<std::ptrdiff_t>(myCurrentValue.size()),
              myCurrentValue.begin());
  }
  const bool ok = Forward(myCurrentValue);
  for (const std::shared_ptr<LinkRod>& link : myLinkRods)
    link->UpdateMdls(true);
  UpdateEntityInUnity();
  UpdateChildTrsf(true, false);
  return ok;
}

std::tuple<bool, std::vector<double>> GenericEntity::CheckAndAjustStateByLimit(const std::vector<double>& state)
{
  if (!FiniteCheck::Values(state, state.size()))
    return {false, {}};
  if (myLinkRods.size() == 1)
    return {true, state};
  if (state.size() + 1 != myLinkRods.size())
    return {false, {}};
  std::vector<double> adjusted;
  adjusted.reserve(state.size());
  for (size_t i = 1; i < myLinkRods.size(); ++i)
  {
    const auto [ok, value] = myLinkRods[i]->CheckAndAjustValueByLimit(state[i - 1]);
    if (!ok)
      return {false, {}};
    adjusted.push_back(value);
  }
  return {true, adjusted};
}

void GenericEntity::UpdateMdls(bool updateView)
{
  for (const std::shared_ptr<LinkRod>& link : myLinkRods)
    link->UpdateMdls(updateView);
  if (updateView)
    UpdateEntityInUnity();
}

void GenericEntity::UpdateChildTrsf(bool updateView, bool forwardChildren)
{
  for (const std::shared_ptr<Flange>& flange : myFlanges)
  {
    GenericEntity* child = flange->GetEntity();
    if (child == nullptr)
      continue;
    const LinkRod* link = flange->GetLinkRod();
    const gp_Trsf& carrier = link != nullptr ? link->GetWcs() : myRootMdlTrsf;
    child->UpdateRootTrsf(carrier * flange->GetTrsf(), updateView);
    if (forwardChildren)
      child->ForwardTrsf(0, updateView, true);
  }
}

void GenericEntity::AddFlange(unsigned long long linkHash, const gp_Trsf& local)
{
  const auto found = myLinkIndexOrder.find(linkHash);
  LinkRod* link = found != myLinkIndexOrder.end() ? myLinkRods[found->second].get() : nullptr;
  myFlanges.push_back(std::make_shared<Flange>(linkHash, link, local));
}

void GenericEntity::AddFlange(const std::shared_ptr<Flange>& flange)
{
  myFlanges.push_back(flange);
}

Flange* GenericEntity::GetFlangeByIndex(int i) const
{
  if (i < 0 || i >= static_cast<int>(myFlanges.size()))
    EntityLog::Fail(WORKPIECE_LOC("GenericEntity::GetFlangeByIndex"), EntityLog::IndexError);
  return myFlanges[static_cast<size_t>(i)].get();
}

gp_Trsf GenericEntity::GetFlangeWCS(int i) const
{
  if (i < 0 || i >= static_cast<int>(myFlanges.size()))
    return gp_Trsf();
  const Flange& flange = *myFlanges[static_cast<size_t>(i)];
  if (const LinkRod* link = flange.GetLinkRod())
    return link->GetFlangeWCS(flange.GetTrsf());
  return myRootMdlTrsf * flange.GetTrsf();
}

void GenericEntity::SetFlangeLink(LinkRod* link, int i)
{
  if (i < 0 || i >= static_cast<int>(myFlanges.size()))
    EntityLog::Fail(WORKPIECE_LOC("GenericEntity::SetFlangeLink"), "安装位置索引超过上下限");
  Flange& flange = *myFlanges[static_cast<size_t>(i)];
  flange.SetLinkRodIndex(link != nullptr ? link->GetLinkHashIndex() : 0);
  flange.SetLinkRod(link);
}

void GenericEntity::SetChildEntity(int i, GenericEntity* child)
{
  myFlanges.at(static_cast<size_t>(i))->SetInstalledEntity(child, this);
}

gp_Trsf GenericEntity::GetParentAssembleTrsf() const
{
  if (myParentEntity == nullptr)
    return myRootMdlTrsf;
  return myParentEntity->myRootMdlTrsf * myParentEntity->GetFlangeByIndex(myParentFlangeIndex)->GetTrsf();
}

gp_Trsf GenericEntity::GetParentEntityTrsf() const
{
  if (myParentEntity == nullptr)
    return gp_Trsf();
  const Flange* seat = myParentEntity->GetFlangeByIndex(myParentFlangeIndex);
  if (const LinkRod* link = seat->GetLinkRod())
    return link->GetWcs();
  return myParentEntity->myRootMdlTrsf;
}

bool GenericEntity::HasParentMotionModel() const
{
  const unsigned long long self = GetHashIndex();
  for (const GenericEntity* parent = myParentEntity; parent != nullptr; parent = parent->myParentEntity)
    if (parent->GetDOF(self) > 0)
      return true;
  return false;
}

void GenericEntity::DeleteSystem(unsigned long long id)
{
  if (mySystems.erase(id) == 0)
    EntityLog::Fail(WORKPIECE_LOC("GenericEntity::DeleteSystem"), EntityLog::KeyError);
}

std::vector<opencascade::handle<ShapeEntity>> GenericEntity::GetCollisionMdlsFromCurrentLink(LinkRod* link)
{
  if (link == nullptr)
    return GetCollisionFixMdls();
  return link->GetSubMdls();
}

std::vector<opencascade::handle<ShapeEntity>> GenericEntity::GetCollisionMdlsFromRootLink(LinkRod* link)
{
  std::vector<opencascade::handle<ShapeEntity>> models;
  if (link == nullptr)
    return models;
  std::vector<LinkRod*> pending{link};
  while (!pending.empty())
  {
    LinkRod* current = pending.back();
    pending.pop_back();
    const auto& own = current->GetSubMdls();
    models.insert(models.end(), own.begin(), own.end());
    // Children are pushed last-first so that they are visited in list order, depth first.
    for (int i = current->SubLinkSize() - 1; i >= 0; --i)
      pending.push_back(current->GetSubLink(i));
  }
  return models;
}

void GenericEntity::ChangeLocation(const gp_Trsf& trsf)
{
  SetRootMdlTrsf(trsf);
  for (size_t i = 0; i < myFlanges.size(); ++i)
    if (GenericEntity* child = myFlanges[i]->GetEntity())
      child->ChangeLocation(GetFlangeWCS(static_cast<int>(i)));
}

void GenericEntity::AddNewLink(const std::shared_ptr<LinkRod>& link)
{
  if (!link)
    return;
  myLinkRods.push_back(link);
  myLinkIndexOrder[link->GetLinkHashIndex()] = static_cast<std::uint16_t>(myLinkRods.size() - 1);
  UpdateStateSize();
}

void GenericEntity::RemoveLinkRod(LinkRod* link)
{
  const unsigned long long hash = link->GetLinkHashIndex();
  const std::uint16_t position = GetLinkIndexOrder(hash);
  LinkRod* parent = link->GetParentLinkRod();
  if (parent != nullptr)
  {
    for (int i = 0; i < parent->SubLinkSize(); ++i)
      if (parent->GetSubLink(i) == link)
      {
        parent->RemoveSubLink(i);
        break;
      }
  }
  else
  {
    RemoveRootIndexFromVector(hash);
  }
  // Axes are kept in the entity frame, so a child keeps its axis; its frame is made relative to
  // the new parent so that a later derivation of the axis gives the same one.
  for (int i = 0; i < link->SubLinkSize(); ++i)
  {
    LinkRod* child = link->GetSubLink(i);
    child->SetCenterTrsf(link->GetCenterTrsf() * child->GetCenterTrsf());
    if (parent != nullptr)
    {
      parent->AddChildLink(child);
    }
    else
    {
      child->SetParentLink(nullptr);
      myRootLinkHashes.push_back(child->GetLinkHashIndex());
    }
  }
  for (const std::shared_ptr<Flange>& flange : myFlanges)
    if (flange->GetLinkRod() == link)
    {
      flange->SetLinkRodIndex(parent != nullptr ? parent->GetLinkHashIndex() : 0);
      flange->SetLinkRod(parent);
    }
  myLinkIndexOrder.erase(hash);
  myLinkRods.erase(myLinkRods.begin() + position);
  UpdateStateSize();
  UpdateLinkIndexOrder();
}

void GenericEntity::UpdateLinkIndexOrder()
{
  myLinkIndexOrder.clear();
  for (size_t i = 0; i < myLinkRods.size(); ++i)
    myLinkIndexOrder[myLinkRods[i]->GetLinkHashIndex()] = static_cast<std::uint16_t>(i);
}

void GenericEntity::RemoveRootIndexFromVector(unsigned long long hash)
{
  const auto found = std::find(myRootLinkHashes.begin(), myRootLinkHashes.end(), hash);
  if (found != myRootLinkHashes.end())
    myRootLinkHashes.erase(found);
}

void GenericEntity::UpdateStateSize()
{
  const size_t dof = static_cast<size_t>(GetDOF(0));
  myCurrentValue.assign(dof, 0.0);
  myResetValue.assign(dof, 0.0);
}
