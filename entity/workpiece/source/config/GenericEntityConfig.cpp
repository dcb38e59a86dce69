#include <entity/GenericEntityConfig.h>
#include <entity/Workpiece.h>

#include "MechanismJsonCheck.h"
#include "core/EntityLog.h"

#include <cadtools/DataHandle.h>
#include <cadtools/LogUtils.h>
#include <cadtools/ThreadPool.h>
#include <cadtools/Uuid.h>
#include <cadtools/gpHandle.h>

#include <Message_ProgressScope.hxx>
#include <gp_Vec.hxx>

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace
{
constexpr double Pi = 3.141592653589793;
constexpr double DegreesPerRadian = 180.0 / Pi;
// Band by which a demanded joint value may pass a limit and still be taken (snapped onto it).
constexpr double LimitTolerance = 1.0e-6;
// Difference below which a sub-model already stands where it is asked to.
constexpr double SameTrsfTolerance = 1.0e-7;
// Mechanism types that carry collision models; types below FlangedTypes always have flange 0.
constexpr MechanismType FirstCollisionType = 1;
constexpr MechanismType LastCollisionType = 4;
constexpr MechanismType FlangedTypes = 4;

const char* const EmptyData = "存在异常的空数据";
const char* const NullChild = "当前子节点不应该为空";
const char* const LoadOperation = "GenericEntityConfig::LoadFromJson";

bool IsCollisionType(MechanismType type)
{
  return type >= FirstCollisionType && type <= LastCollisionType;
}

// Factor from the values of the JSON forms (degrees for rotary joints) to the link's own units.
double UiToLink(const LinkRod& link)
{
  return link.GetJointType() == JointType::Rotary ? 1.0 / DegreesPerRadian : 1.0;
}

// Refuses to mount `other` on `parent` when `other` is `parent` or carries it: the entities would
// move each other without end.
void RequireNoCycle(const GenericEntity* parent, const GenericEntity* other, const char* operation)
{
  if (other == nullptr)
    return;
  for (const GenericEntity* at = parent; at != nullptr; at = at->GetParentEntity())
    if (at == other)
      EntityLog::Fail(WORKPIECE_LOC(operation), "实体不能安装在自身或其子实体上", "_index");
}

void RequireFinite(double value, const LinkRod& link, const char* operation)
{
  if (!std::isfinite(value))
    EntityLog::Fail(WORKPIECE_LOC(operation), "关节值不是有限数：" + link.GetName(), "_value");
}
} // namespace

GenericEntityConfig::GenericEntityConfig(const opencascade::handle<ViewShape>& shape)
{
  GenericEntityConfig::SetEntityShape(shape);
}

GenericEntityConfig::GenericEntityConfig(Workpiece* workpiece)
{
  if (workpiece == nullptr)
    EntityLog::Fail(WORKPIECE_LOC("GenericEntityConfig::GenericEntityConfig"), EmptyData, "_index");
  Entity::SetRootMdl(workpiece->GetRootMdl());
}

GenericEntityConfig::GenericEntityConfig(GenericEntity* other)
{
  auto* source = dynamic_cast<GenericEntityConfig*>(other);
  if (source == nullptr)
    EntityLog::Fail(WORKPIECE_LOC("GenericEntityConfig::GenericEntityConfig"), EmptyData, "_index");
  myMechanismType = source->myMechanismType;
  if (myMechanismType < FlangedTypes)
    source->CheckFlangNum(0);
  Entity::SetRootMdl(source->GetRootMdl());
  for (const auto& [index, part] : source->GetSubMdls())
    if (!part.IsNull() && !GetRootMdl().IsNull() && GetSubMdls().count(index) == 0)
      AddSubMdl(part);
  myLinkIndexOrder = source->myLinkIndexOrder;
  myLinkRods = source->myLinkRods;
  myFlanges = source->myFlanges;
  myRootLinkHashes = source->myRootLinkHashes;
  myCurrentValue = source->myCurrentValue;
  myResetValue = source->myResetValue;
  myRootMdlTrsf = source->myRootMdlTrsf;
  SetParentEntity(source->GetParentEntity(), source->GetParentFlangeIndex());
  myCouplingShafts = source->myCouplingShafts;
  myRobotInvType = source->myRobotInvType;
  for (const std::shared_ptr<LinkRod>& link : myLinkRods)
    link->SetRootEntity(this);
  UpdateFixNode();
  if (IsCollisionType(myMechanismType))
    CreateCollisionMdl();
  UpdateAllLinkRodToAx1();
}

void GenericEntityConfig::SetEntityShape(const opencascade::handle<ViewShape>& shape)
{
  // The links and flanges go only once the new tree is taken over whole.
  std::shared_ptr<MeshData> mesh = PrepareEntityShape(shape);
  ClearSubMdls();
  myFlanges.clear();
  myLinkRods.clear();
  myLinkIndexOrder.clear();
  myRootLinkHashes.clear();
  myFixMdls.clear();
  UpdateStateSize();
  CommitEntityShape(shape, std::move(mesh));
}

void GenericEntityConfig::LoadFromJson(const Json::Value& json)
{
  // Everything is checked before the first change, so that bad input leaves the entity as it was.
  MechanismJsonCheck::Check(json, LoadOperation);
  const bool fromFile = json.isMember("ShapeEntityPath") && !json["ShapeEntityPath"].isNull();
  const opencascade::handle<ViewShape> before = GetRootMdl();
  GenericEntity::LoadFromJson(json);
  // A display tree read from a file is always a new root; the same root means the read failed.
  if (fromFile && GetRootMdl() == before)
    EntityLog::Fail(WORKPIECE_LOC(LoadOperation), "模型实体加载错误：" + json["ShapeEntityPath"].asString(),
                    "_ShapeEntityPath");

  myMechanismType = json["type"].asInt();
  myRobotInvType = static_cast<RobotInvType>(json["InvType"].asInt());
  myParameterData = json["EntityPara"];

  const Json::Value links = json["LinkRod"];
  for (const Json::Value& link : links)
    UpdateLinkRodPara(link, true);
  for (const Json::Value& link : links)
  {
    const Json::Value& children = link["sub_links"];
    if (children.empty())
      continue;
    LinkRod* parent = GetLinkRodByIndex(link["link_hash"].asString());
    for (const Json::Value& child : children)
    {
      LinkRod* node = GetLinkRodNodeByHash(child.asUInt64());
      if (node == nullptr || parent == nullptr)
        EntityLog::Fail(WORKPIECE_LOC(LoadOperation), NullChild, "_link_hash");
      // A link created without a parent and hung here is no longer a root.
      if (node->GetParentLinkRod() == nullptr)
        RemoveRootIndexFromVector(node->GetLinkHashIndex());
      parent->AddChildLink(node);
    }
  }
  UpdateFixNode();

  // A second load updates the flanges in place instead of doubling them.
  const Json::Value& flanges = json["ChildEntity"];
  for (Json::ArrayIndex i = 0; i < flanges.size(); ++i)
  {
    const bool reuse = i < myFlanges.size();
    const std::shared_ptr<Flange> flange = reuse ? myFlanges[i] : std::make_shared<Flange>();
    flange->SetLinkRod(GetLinkRodNodeByHash(flanges[i]["link_rod_index"].asUInt64()));
    flange->LoadFromJson(flanges[i]);
    if (!reuse)
      AddFlange(flange);
  }
  if (myMechanismType < FlangedTypes)
    CheckFlangNum(0);
  LoadCouplingData(json);
  if (IsCollisionType(myMechanismType))
  {
    CreateCollisionMdl();
    UpdateCollisionMdlState();
  }
}

void GenericEntityConfig::CreateCollisionMdl()
{
  std::vector<opencascade::handle<ShapeEntity>> parts;
  for (const opencascade::handle<ShapeEntity>& part : GetSubCollisionParts())
    if (!part->GetEntityShape().IsNull())
      parts.push_back(part);
  GetThreadPool().ParallelFor(parts.size(), 1, [&parts](std::size_t begin, std::size_t end) {
    for (std::size_t i = begin; i < end; ++i)
      parts[i]->SetCollisionActive(parts[i]->CreateBVHMdl(false));
  });
}

std::vector<opencascade::handle<ShapeEntity>> GenericEntityConfig::GetSubCollisionParts() const
{
  std::vector<opencascade::handle<ShapeEntity>> parts;
  for (const auto& [index, part] : GetSubMdls())
    if (!part.IsNull() && part->IsCollisionPart())
      parts.push_back(part);
  return parts;
}

LinkRod* GenericEntityConfig::UpdateLinkRodPara(const Json::Value& link, bool)
{
  Json::Value copy = link;
  LinkRod* rod = UpdateOrCreateLinkRod(copy);
  rod->LoadFromJson(copy);
  Json::Value& named = copy["axis_models"];
  for (const Json::Value& index : link["motionAxes"])
  {
    const auto found = GetSubMdls().find(index.asUInt64());
    if (found == GetSubMdls().end() || found->second.IsNull())
      EntityLog::Fail(WORKPIECE_LOC("GenericEntityConfig::UpdateLinkRodPara"), EmptyData);
    const std::string id = found->second->GetId().ToString();
    if (std::find(named.begin(), named.end(), Json::Value(id)) == named.end())
      named.append(id);
  }
  return ChangedLinkRodMdls(rod, copy);
}

LinkRod* GenericEntityConfig::UpdateOrCreateLinkRod(Json::Value& link)
{
  const unsigned long long parentHash = link["parent_link_hash"].asUInt64();
  LinkRod* parent = GetLinkRodNodeByHash(parentHash);
  if (LinkRod* existing = GetLinkRodNodeByHash(link["link_hash"].asUInt64()))
  {
    existing->SetParentLink(parent);
    if (parent != nullptr)
      parent->AddChildLink(existing);
    return existing;
  }
  LinkRod* created = AddNewLinkRod(parentHash, link["link_hash"].asUInt64(), {});
  link["link_hash"] = static_cast<Json::UInt64>(created->GetLinkHashIndex());
  created->SetParentLink(parent);
  if (parent != nullptr)
    parent->AddChildLink(created);
  return created;
}

LinkRod* GenericEntityConfig::AddNewLinkRod(unsigned long long parentHash, unsigned long long linkHash,
                                            const std::vector<opencascade::handle<ShapeEntity>>& models)
{
  auto link = std::make_shared<LinkRod>();
  link->SetRootEntity(this);
  if (linkHash == 0)
    linkHash = ViewShape::HashIndexOf(Uuid::CreateUuid());
  link->UpdateLinkModelsAndInitTrsfByHash(linkHash, models);
  if (parentHash != 0)
  {
    if (LinkRod* parent = GetLinkRodNodeByHash(parentHash))
    {
      link->SetParentLink(parent);
      parent->AddChildLink(link.get());
    }
    AddNewLink(link);
  }
  else
  {
    AddNewLink(link);
    myRootLinkHashes.push_back(linkHash);
  }
  return myLinkRods.back().get();
}

void GenericEntityConfig::LoadCouplingData(const Json::Value& json)
{
  myCouplingShafts.clear();
  for (const Json::Value& coupling : json["CouplingAxes"])
  {
    CouplingShaft shaft;
    shaft.ratio = coupling["Ratio"].asDouble();
    shaft.pairOneHash = coupling["PairOne"].asUInt64();
    shaft.pairTwoHash = coupling["PairTwo"].asUInt64();
    shaft.pairOnePosition = myLinkIndexOrder[shaft.pairOneHash];
    shaft.pairTwoPosition = myLinkIndexOrder[shaft.pairTwoHash];
    myCouplingShafts.push_back(shaft);
  }
}

void GenericEntityConfig::UpdateFixNode()
{
  std::vector<opencascade::handle<ShapeEntity>> fix = GetSubCollisionParts();
  for (const std::shared_ptr<LinkRod>& link : myLinkRods)
    for (const opencascade::handle<ShapeEntity>& model : link->GetSubMdls())
      fix.erase(std::remove(fix.begin(), fix.end(), model), fix.end());
  myFixMdls = std::move(fix);
}

void GenericEntityConfig::CheckFlangNum(int index)
{
  while (static_cast<int>(myFlanges.size()) <= index)
    AddFlange(std::make_shared<Flange>());
}

LinkRod* GenericEntityConfig::GetLinkRodNodeByHash(unsigned long long hash) const
{
  if (hash == 0)
    return nullptr;
  const auto found = myLinkIndexOrder.find(hash);
  if (found == myLinkIndexOrder.end() || found->second >= myLinkRods.size())
    return nullptr;
  return myLinkRods[found->second].get();
}

LinkRod* GenericEntityConfig::GetLinkRodByIndex(const std::string& hash) const
{
  return GetLinkRodNodeByHash(std::strtoull(hash.c_str(), nullptr, 10));
}

const Uuid& GenericEntityConfig::GetId() const
{
  if (GetRootMdl().IsNull())
    EntityLog::Fail(WORKPIECE_LOC("GenericEntityConfig::GetId"), EmptyData, "_index");
  return GetRootMdlID();
}

unsigned long long GenericEntityConfig::GetPartsIndex(const opencascade::handle<AIS_InteractiveObject>& object) const
{
  const opencascade::handle<ShapeEntity> part = opencascade::handle<ShapeEntity>::DownCast(object);
  if (part.IsNull())
    EntityLog::Fail(WORKPIECE_LOC("GenericEntityConfig::GetPartsIndex"), "当前传入的obj模型类型错误", "_index");
  return part->GetHashIndex();
}

void GenericEntityConfig::InitialAllAxesToZero(bool move)
{
  if (myLinkRods.empty() || myCurrentValue.empty())
    return;
  if (!move)
  {
    Reset();
    return;
  }
  LinkRod* first = myLinkRods.front().get();
  ChangeLinkLoaction(first, 0.0);
  for (int i = 0; i < first->SubLinkSize(); ++i)
    RecursiveLinkValue(first->GetSubLink(i), 0.0);
}

void GenericEntityConfig::SetZero()
{
  if (myLinkRods.empty())
    return;
  std::fill(myCurrentValue.begin(), myCurrentValue.end(), 0.0);
  SetZero(myLinkRods.front().get());
}

void GenericEntityConfig::SetZero(LinkRod* link)
{
  link->myJointValue = 0.0;
  for (int i = 0; i < link->SubLinkSize(); ++i)
    SetZero(link->GetSubLink(i));
}

void GenericEntityConfig::UpdateAllLinkRodToAx1()
{
  for (const std::shared_ptr<LinkRod>& link : myLinkRods)
  {
    link->AxisRangeValueToDegree();
    link->UpdateToAx1();
  }
}

void GenericEntityConfig::ChangeLinkLoaction(const gp_Trsf& delta, LinkRod* link)
{
  if (link == nullptr || link->GetSubMdls().empty())
    return;
  for (const opencascade::handle<ShapeEntity>& model : link->GetSubMdls())
    if (!model.IsNull())
      model->SetTransformation(delta * model->LocalTransformation(), true);
  for (const std::shared_ptr<Flange>& flange : myFlanges)
    if (GenericEntity* mounted = flange->GetEntity(); mounted != nullptr && flange->GetLinkRod() == link)
      mounted->ChangeLocation(delta * mounted->GetRootMdlTrsf());
  for (int i = 0; i < link->SubLinkSize(); ++i)
    ChangeLinkLoaction(delta, link->GetSubLink(i));
}

void GenericEntityConfig::ChangeLinkLoaction(LinkRod* link, double value)
{
  if (link == nullptr)
    return;
  RequireFinite(value, *link, "GenericEntityConfig::ChangeLinkLoaction");
  if (link->GetJointType() == JointType::Rotary)
    value = value / 180.0 * Pi;
  // Goes on only when the check refuses: the configured types it examines never occur in files.
  if (std::get<0>(link->CheckAndAjustValueByLimit(value)))
    return;
  const double d = value - link->CurrentJointValue();
  link->myJointValue = value;
  const JointType type = link->GetConfigJointType();
  gp_Trsf motion;
  if (type == JointType::LinearX || type == JointType::LinearY || type == JointType::LinearZ)
    motion.SetTranslation(gp_Vec(LinkRod::GetAxis(type)) * d);
  else if (type == JointType::RotaryX || type == JointType::RotaryY || type == JointType::RotaryZ)
    motion.SetRotation(gp_Ax1(gp::Origin(), LinkRod::GetAxis(type)), d);
  const gp_Trsf father = link->GetFatherTrsf(false);
  const gp_Trsf oldFrame = father * link->GetCenterTrsf();
  link->SetCenterTrsf(link->GetCenterTrsf() * motion);
  const gp_Trsf newFrame = father * link->GetCenterTrsf();
  ChangeLinkLoaction(newFrame * oldFrame.Inverted(), link);
}

LinkRod* GenericEntityConfig::ChangedLinkRodMdls(LinkRod* link, const Json::Value& json)
{
  std::vector<opencascade::handle<ShapeEntity>> models;
  for (const Json::Value& text : json["axis_models"])
  {
    opencascade::handle<ViewShape> child;
    if (!GetRootMdl().IsNull())
      child = GetRootMdl()->GetChildById(Uuid::FromString(text.asString()));
    if (child.IsNull())
      EntityLog::Fail(WORKPIECE_LOC("GenericEntityConfig::ChangedLinkRodMdls"), EmptyData, "Simply");
    models.push_back(opencascade::handle<ShapeEntity>::DownCast(child));
  }
  // A model new to the link stands at the link's zero pose: its placement in the entity frame
  // becomes the initial placement that the link's displacement is applied to.
  const gp_Trsf toEntity = GetRootMdlTrsf().Inverted();
  const auto& carried = link->GetSubMdls();
  for (const opencascade::handle<ShapeEntity>& model : models)
    if (!model.IsNull() && std::find(carried.begin(), carried.end(), model) == carried.end())
      model->SetInitTrsf(toEntity * model->Transformation());
  link->UpdateLinkModels(models);
  if (!link->IsValid())
  {
    for (const std::shared_ptr<Flange>& flange : myFlanges)
      if (flange->GetLinkRod() == link)
        flange->SetLinkRod(nullptr);
    RemoveLinkRod(link);
    RenumberLinks();
    link = nullptr;
  }
  UpdateFixNode();
  return link;
}

void GenericEntityConfig::RenumberLinks()
{
  myLinkIndexOrder.clear();
  for (size_t i = 0; i < myLinkRods.size(); ++i)
    myLinkIndexOrder[myLinkRods[i]->GetLinkHashIndex()] = static_cast<std::uint16_t>(i);
}

std::pair<bool, gp_Trsf> GenericEntityConfig::ChangeMdlLocation(const gp_Trsf& trsf, unsigned long long index)
{
  std::pair<bool, gp_Trsf> result(false, gp_Trsf());
  opencascade::handle<ShapeEntity> part;
  if (index == 0)
    part = opencascade::handle<ShapeEntity>::DownCast(GetRootMdl());
  else if (const auto found = GetSubMdls().find(index); found != GetSubMdls().end())
    part = found->second;
  if (part.IsNull() || gpHandle::IsSameTrsf(trsf, part->LocalTransformation(), SameTrsfTolerance))
    return result;
  if (index != 0)
    part->SetTransformation(trsf, true);
  else
    ChangeLocation(trsf);
  result.first = true;
  return result;
}

void GenericEntityConfig::AssembleOtherModel(GenericEntityConfig* other, const Json::Value& assembly)
{
  static const char* const operation = "GenericEntityConfig::AssembleOtherModel";
  MechanismJsonCheck::CheckAssembly(assembly, operation);
  RequireNoCycle(this, other, operation);
  const std::vector<double> saved = GetCurrentValue(0);
  Reset();
  const int index = assembly["install_index"].asInt();
  CheckFlangNum(index);
  Flange& flange = *myFlanges[static_cast<size_t>(index)];
  if (flange.GetEntity() != nullptr && flange.GetEntity() != other)
    flange.SetInstalledEntity(nullptr, this);
  if (other != nullptr)
  {
    // An entity sits on one flange at a time.
    if (other->GetParentEntity() != nullptr && flange.GetEntity() != other)
      other->ClearAssembleInfoFromParent();
    other->ChangeLocation(GetRootMdlTrsf() * flange.GetTrsf());
    flange.SetInstalledEntity(other, this);
    other->SetLastInstallIndex(index);
  }
  SetFlangeLink(GetLinkRodNodeByHash(assembly["link_hash"].asUInt64()), index);
  ForwardTrsf(saved, true, true);
  UpdateAssembleData();
}

gp_Trsf GenericEntityConfig::UpdateModelAssemPts(const Json::Value& assembly)
{
  MechanismJsonCheck::CheckAssembly(assembly, "GenericEntityConfig::UpdateModelAssemPts");
  gp_Trsf result;
  if (assembly["Type"].asString() == "ARM")
  {
    CheckFlangNum(0);
    gp_Trsf end = GetRootMdlTrsf();
    if (!myLinkRods.empty())
      end = myLinkRods.back()->GetFatherTrsf(false) * myLinkRods.back()->GetCenterTrsf();
    result = GetRootMdlTrsf().Inverted() * end;
    myFlanges[0]->SetTrsf(result);
  }
  if (!assembly["assemblyMatrix_left"].isNull())
  {
    CheckFlangNum(0);
    myFlanges[0]->SetTrsf(gpHandle::jsonArr3x4_2Trsf(assembly["assemblyMatrix_left"]));
  }
  if (!assembly["assemblyMatrix_right"].isNull())
  {
    CheckFlangNum(1);
    myFlanges[1]->SetTrsf(gpHandle::jsonArr3x4_2Trsf(assembly["assemblyMatrix_right"]));
  }
  return result;
}

gp_Trsf GenericEntityConfig::UpdatePedestalAssm(const Json::Value& assembly)
{
  MechanismJsonCheck::CheckAssembly(assembly, "GenericEntityConfig::UpdatePedestalAssm");
  const gp_Trsf trsf = DataHandle::JsonSixToTrsf(assembly["Six"]);
  const int index = assembly["install_index"].asInt();
  CheckFlangNum(index);
  Flange& flange = *myFlanges[static_cast<size_t>(index)];
  flange.ChangeTrsf(trsf);
  const unsigned long long hash = assembly["link_hash"].asUInt64();
  flange.SetLinkRodIndex(hash);
  flange.SetLinkRod(GetLinkRodNodeByHash(hash));
  return GetRootMdlTrsf() * trsf;
}

gp_Trsf GenericEntityConfig::GetPedestalAssm(const Json::Value& assembly)
{
  MechanismJsonCheck::CheckAssembly(assembly, "GenericEntityConfig::GetPedestalAssm");
  const int index = assembly["install_index"].asInt();
  CheckFlangNum(index);
  return myFlanges[static_cast<size_t>(index)]->GetTrsf();
}

gp_Trsf GenericEntityConfig::GetFatherTrsf(LinkRod* link, bool withoutRoot) const
{
  if (link != nullptr)
    return link->GetFatherTrsf(withoutRoot);
  return withoutRoot ? gp_Trsf() : GetRootMdlTrsf();
}

gp_Trsf GenericEntityConfig::GetCurrentEndTrsf()
{
  if (myRootLinkHashes.empty())
    return gp_Trsf();
  const LinkRod* end = GetEndLink(0);
  return end != nullptr ? end->GetWcs() : gp_Trsf();
}

gp_Trsf GenericEntityConfig::GetCurrentTrsfTool0()
{
  return GetCurrentEndTrsf() * myTool0Trsf;
}

bool GenericEntityConfig::ForwardLinkAndUpdateMdl(LinkRod* link, double value)
{
  if (link == nullptr)
    return false;
  RequireFinite(value, *link, "GenericEntityConfig::ForwardLinkAndUpdateMdl");
  const double wanted = value * UiToLink(*link);
  if (!link->IsInLimit(wanted, -LimitTolerance))
    return false;
  std::vector<double> values;
  values.reserve(myLinkRods.size());
  for (const std::shared_ptr<LinkRod>& each : myLinkRods)
    values.push_back(each.get() == link ? link->GetLimitValue(wanted) : each->CurrentJointValue());
  ChangeCurrentValue() = values;
  const bool ok = Forward(values);
  UpdateMdls(true);
  UpdateChildTrsf(true, true);
  return ok;
}

void GenericEntityConfig::RecursiveLinkValue(LinkRod* link, double value)
{
  if (link == nullptr)
    return;
  RequireFinite(value, *link, "GenericEntityConfig::RecursiveLinkValue");
  const double factor = UiToLink(*link);
  const double wanted = value * factor;
  if (link->IsInLimit(wanted, -LimitTolerance))
    ChangeLinkLoaction(link, link->GetLimitValue(wanted) / factor);
  for (int i = 0; i < link->SubLinkSize(); ++i)
    RecursiveLinkValue(link->GetSubLink(i), value);
}

void GenericEntityConfig::AddSubMdlList(const std::set<opencascade::handle<ShapeEntity>>& models, bool display)
{
  if (GetRootMdl().IsNull())
    return;
  for (const opencascade::handle<ShapeEntity>& model : models)
  {
    if (model.IsNull())
      continue;
    if (display && !model->IsDisplayed())
      model->Display();
    AddSubMdl(model);
  }
}

std::set<opencascade::handle<ShapeEntity>> GenericEntityConfig::RemoveSubMdlList(
  const std::set<unsigned long long>& indices, bool keepInView)
{
  std::set<opencascade::handle<ShapeEntity>> removed;
  for (const unsigned long long index : indices)
  {
    const opencascade::handle<ShapeEntity> model = RemoveSubMdl(index);
    if (model.IsNull())
      continue;
    removed.insert(model);
    if (!keepInView)
      model->RemoveFromView();
  }
  UpdateFixNode();
  return removed;
}

void GenericEntityConfig::AddAllSubMdlsToAIS()
{
  if (GetRootMdl().IsNull())
    return;
  for (const auto& [index, model] : GetSubMdls())
    if (!model.IsNull())
      GetRootMdl()->AddChildWithCurrentTransformation(model);
}

void GenericEntityConfig::RemoveAllSubMdlsFromAIS()
{
  if (GetRootMdl().IsNull())
    return;
  for (const auto& [index, model] : GetSubMdls())
    if (!model.IsNull())
      GetRootMdl()->RemoveChildWithRestoreTransformation(model);
}

Json::Value GenericEntityConfig::FlangToJson(int index)
{
  CheckFlangNum(index);
  return myFlanges[static_cast<size_t>(index)]->ToJson();
}

void GenericEntityConfig::ValidFlangToJson(Json::Value& out)
{
  for (const std::shared_ptr<Flange>& flange : myFlanges)
    if (flange->GetEntity() != nullptr)
      out["ChildEntity"].append(flange->ToJson());
}

void GenericEntityConfig::ChangeFlangeInstallInfoByIndex(int index, GenericEntity* entity, const Json::Value& flange)
{
  static const char* const operation = "GenericEntityConfig::ChangeFlangeInstallInfoByIndex";
  if (index < 0 || index >= static_cast<int>(myFlanges.size()))
    EntityLog::Fail(WORKPIECE_LOC(operation), EntityLog::IndexError);
  MechanismJsonCheck::CheckFlange(flange, "flange", operation);
  RequireNoCycle(this, entity, operation);
  Flange& seat = *myFlanges[static_cast<size_t>(index)];
  seat.LoadFromJson(flange);
  seat.SetLinkRod(GetLinkRodNodeByHash(seat.GetLinkRodIndex()));
  seat.SetInstalledEntity(entity, this);
}

gp_Trsf GenericEntityConfig::GetInstalledTrsf(int index)
{
  CheckFlangNum(index);
  return myFlanges[static_cast<size_t>(index)]->GetTrsf();
}

gp_Trsf GenericEntityConfig::GetEndCenTrsf(int index)
{
  if (GetDOF(static_cast<unsigned long long>(index)) == 0)
    return gp_Trsf();
  const LinkRod* link = GetRootLink(index);
  gp_Trsf product = link->GetCenterTrsf();
  for (const LinkRod* sub = link->GetSubLink(0); sub != nullptr && sub->IsValid(); sub = sub->GetSubLink(0))
    product.Multiply(sub->GetCenterTrsf());
  return product;
}

void GenericEntityConfig::ClearAssembleInfoFromParent()
{
  if (GenericEntity* parent = GetParentEntity())
  {
    auto* config = dynamic_cast<GenericEntityConfig*>(parent);
    if (config == nullptr)
      return;
    for (const std::shared_ptr<Flange>& flange : config->myFlanges)
      if (flange->GetEntity() == this)
      {
        flange->SetInstalledEntity(nullptr, config);
        break;
      }
    SetParentEntity(nullptr, -1);
  }
  ChangeLocation(gp_Trsf());
}

void GenericEntityConfig::ZeroEntityMdl(GenericEntityConfig* entity, const Message_ProgressRange& range)
{
  if (entity == nullptr)
    return;
  std::vector<opencascade::handle<ShapeEntity>> parts;
  for (const opencascade::handle<ShapeEntity>& part : entity->GetSubCollisionParts())
    if (!part->GetEntityShape().IsNull())
      parts.push_back(part);
  Message_ProgressScope scope(range, "ZeroEntityMdl", static_cast<Standard_Real>(parts.size() + 1));
  entity->SetZero();
  entity->ForwardTrsf(0, true, false);
  scope.Next();
  // The ranges are cut on this thread; each worker closes its own, which advances the indicator.
  std::vector<Message_ProgressRange> steps;
  steps.reserve(parts.size());
  for (size_t i = 0; i < parts.size() && scope.More(); ++i)
    steps.push_back(scope.Next());
  GetThreadPool().ParallelFor(steps.size(), 1, [&parts, &steps](std::size_t begin, std::size_t end) {
    for (std::size_t i = begin; i < end; ++i)
    {
      if (steps[i].UserBreak())
        return;
      parts[i]->SetCollisionActive(parts[i]->CreateBVHMdl(true));
      steps[i].Close();
    }
  });
  entity->SetNeedUpdateBVH(true);
}
