#include <entity/Entity.h>
#include <entity/ViewShapeUtil.h>

#include "core/EntityLog.h"
#include "mechanism/FiniteCheck.h"

#include <cadtools/DataHandle.h>
#include <cadtools/LogUtils.h>
#include <cadtools/ShapeHandle.h>
#include <cadtools/ThreadPool.h>
#include <cadtools/WorkpieceError.h>
#include <mesh/MeshProcessTools.h>

#include <BRepBndLib.hxx>
#include <BRepBuilderAPI_Copy.hxx>
#include <BRepGProp.hxx>
#include <BRep_Builder.hxx>
#include <Bnd_Box.hxx>
#include <GProp_GProps.hxx>
#include <Precision.hxx>
#include <Standard_Failure.hxx>
#include <TopoDS_Compound.hxx>
#include <TopExp_Explorer.hxx>
#include <TopoDS_Iterator.hxx>

#include <chrono>
#include <cmath>
#include <mutex>

namespace
{
// Smallest deflection (mm) of whole meshes.
constexpr double MinDeflection = 0.01;
// Deflection of whole meshes without an absolute one, as per-mille of the bounding diagonal.
constexpr double DeflectionPermille = 2.0;

// The process-wide whole meshes by entity hash index.
struct MeshRegistry
{
  std::mutex mutex;
  std::map<unsigned long long, std::shared_ptr<MeshData>> meshes;
};

MeshRegistry& Registry()
{
  static MeshRegistry registry;
  return registry;
}

// Returns the watertight mesh of `shape` at `absolute` mm, or (absolute 0) at a per-mille of its size.
std::shared_ptr<MeshData> WatertightMesh(const TopoDS_Shape& shape, double absolute)
{
  if (absolute > Precision::Confusion())
    return MeshProcessTools::CreateWatertightMesh(shape, absolute);
  Bnd_Box box;
  BRepBndLib::Add(shape, box, false);
  if (box.IsVoid())
    return std::make_shared<MeshData>();
  return MeshProcessTools::CreateWatertightMesh(shape, std::max(MinDeflection, DeflectionPermille / 1000.0 * std::sqrt(box.SquareExtent())));
}

// One piece of the whole mesh: a part's shape (or its mesh) and its world placement.
struct MeshPiece
{
  TopoDS_Shape shape;
  std::shared_ptr<MeshData> mesh;
  gp_Trsf place;
};

// Returns the whole mesh of the pieces, each meshed on the thread pool, merged on the caller's thread.
// The pieces share one time budget, so that a tree of many damaged faces is not meshed for the sum of
// their limits.
std::shared_ptr<MeshData> BuildWholeMesh(const std::vector<MeshPiece>& pieces, double deflection)
{
  int faces = 0;
  for (const MeshPiece& piece : pieces)
    for (TopExp_Explorer ex(piece.shape, TopAbs_FACE); !piece.mesh && ex.More(); ex.Next())
      ++faces;
  const auto deadline = std::chrono::steady_clock::now() + MeshProcessTools::MeshTimeLimit(faces);
  std::vector<std::future<std::shared_ptr<MeshData>>> futures;
  futures.reserve(pieces.size());
  for (const MeshPiece& piece : pieces)
  {
    if (piece.mesh)
      continue;
    const TopoDS_Shape shape = piece.shape;
    futures.push_back(GetThreadPool().Submit(
      [shape, deflection, deadline]() { return MeshProcessTools::CreateWatertightMesh(shape, deflection, deadline); }));
  }
  auto whole = std::make_shared<MeshData>();
  std::size_t next = 0;
  for (const MeshPiece& piece : pieces)
  {
    std::shared_ptr<MeshData> part = piece.mesh ? std::make_shared<MeshData>(*piece.mesh) : futures[next++].get();
    part->SetTrsf(piece.place.Multiplied(part->GetTrsf()));
    whole->Append(*part);
  }
  return whole;
}
} // namespace

Entity::Entity() = default;

Entity::~Entity()
{
  if (myHashIndex != 0)
  {
    MeshRegistry& registry = Registry();
    const std::lock_guard<std::mutex> lock(registry.mutex);
    registry.meshes.erase(myHashIndex);
  }
}

void Entity::Delete() {}

void Entity::Hide(unsigned long long hashIndex)
{
  const Handle(ShapeEntity) part = GetPart(hashIndex);
  if (part.IsNull())
    return;
  if (part->IsDisplayed())
  {
    part->Hide();
    part->SetCollisionActive(false);
  }
  else
  {
    part->RedisplayShape(false, false);
    part->SetCollisionActive(true);
  }
}

Json::Value Entity::ToJson(const std::string& dir)
{
  // A mechanism loaded from an object without "ShapeEntityPath" has links but no display tree to save.
  if (myRootMdl.IsNull())
    EntityLog::Fail(WORKPIECE_LOC("Entity::ToJson"), "存在异常的空数据", "_index");
  Json::Value json(Json::objectValue);
  json["Name"] = myRootMdl->GetName();
  json["Primitive_Name"] = myRootMdl->GetPrimitiveName();
  json["ID"] = myRootMdl->GetId().ToString();
  json["Primitive_ID"] = myRootMdl->GetPrimitiveId().ToString();
  json["ModelType"] = myRootMdl->GetModelType();
  const std::string path = "entity/" + myRootMdl->GetId().ToString() + ".json";
  if (!dir.empty())
    json["ShapeEntityPath"] = path;
  Json::Value subIds(Json::nullValue);
  for (const auto& [index, part] : mySubMdls)
  {
    Json::Value entry(Json::objectValue);
    entry["ID"] = part.IsNull() ? std::string() : part->GetId().ToString();
    entry["Index"] = Json::UInt64(index);
    subIds.append(entry);
  }
  json["SubID"] = subIds;
  json["HashID"] = Json::UInt64(GetHashIndex());
  if (!dir.empty())
  {
    const gp_Trsf placement = myRootMdl->LocalTransformation();
    myRootMdl->SetTransformation(gp_Trsf(), false);
    // Written without the clean-up of the root's geometry: it changes nothing for a root without
    // a shape of its own, and would save the faces and edges of one without their surfaces and
    // curves, which a display tree refuses on reading; the shape being shared, it would strip the
    // entity's own root as well.
    ViewShapeUtil::ExportToFile(myRootMdl, dir + path, false);
    myRootMdl->SetTransformation(placement, false);
  }
  return json;
}

void Entity::LoadFromJson(const Json::Value& json)
{
  if (!json.isObject())
    return;
  if (json.isMember("ShapeEntityPath") && !json["ShapeEntityPath"].isNull())
  {
    const Json::Value& path = json["ShapeEntityPath"];
    bool loaded = false;
    try
    {
      const Json::Value document = path.isString() ? DataHandle::LoadJson(path.asString()) : Json::Value();
      const Handle(ShapeEntity) tree = document.isNull() ? Handle(ShapeEntity)() : ViewShapeUtil::LoadFromJson(document);
      // SetEntityShape replaces the root only once the new tree is taken over whole, so a tree
      // the kernel refuses half-way leaves the entity as it was.
      if (!tree.IsNull())
        SetEntityShape(tree);
      loaded = !tree.IsNull();
    }
    catch (const Standard_Failure&)
    {
      loaded = false;
    }
    catch (const WorkpieceError&)
    {
      loaded = false;
    }
    if (!loaded)
    {
      EntityLog::Write(WORKPIECE_LOC("Entity::LoadFromJson"), SPDLOG_LEVEL_ERROR, "模型实体加载错误");
      return;
    }
  }
  if (myRootMdl.IsNull())
    return;
  myRootMdl->SetName(json["Name"].isString() ? json["Name"].asString() : std::string());
  myRootMdl->SetId(Uuid::FromString(json["ID"].isString() ? json["ID"].asString() : std::string()));
  myRootMdl->SetPrimitiveProperty(
    json["Primitive_Name"].isString() ? json["Primitive_Name"].asString() : std::string(),
    Uuid::FromString(json["Primitive_ID"].isString() ? json["Primitive_ID"].asString() : std::string()));
}

void Entity::SetEntityShape(const Handle(ViewShape)& shape)
{
  if (shape.IsNull())
    return;
  CommitEntityShape(shape, PrepareEntityShape(shape));
}

std::shared_ptr<MeshData> Entity::PrepareEntityShape(const Handle(ViewShape)& shape) const
{
  if (shape.IsNull())
    return nullptr;
  std::vector<Handle(ViewShape)> nodes = shape->GetAllSubViewShapes();
  nodes.insert(nodes.begin(), shape);
  for (const Handle(ViewShape)& node : nodes)
  {
    const TopoDS_Shape cleaned = RemoveSmallBodies(node->GetEntityShape());
    if (!cleaned.IsSame(node->GetEntityShape()))
      node->SetEntityShape(cleaned);
  }
  try
  {
    std::vector<MeshPiece> pieces;
    for (const Handle(ViewShape)& node : nodes)
    {
      if (node->GetModelType() == ViewShape::MeshModel && !node->GetMesh().IsNull())
        pieces.push_back({TopoDS_Shape(), node->GetMesh()->GetEntireMesh(), node->GetMesh()->Transformation()});
      else if (!node->GetEntityShape().IsNull())
        pieces.push_back({node->GetEntityShape(), nullptr, node->Transformation()});
    }
    return BuildWholeMesh(pieces, MeshDeflection(shape));
  }
  catch (const Standard_Failure&)
  {
    EntityLog::Fail(WORKPIECE_LOC("Entity::SetEntityShape"), "模型实体加载错误");
  }
}

void Entity::CommitEntityShape(const Handle(ViewShape)& shape, std::shared_ptr<MeshData> mesh)
{
  if (shape.IsNull())
    return;
  SetRootMdl(shape);
  myMesh = std::move(mesh);
  myPendingMesh = {};
  myLoadMeshModel = false;
  MeshRegistry& registry = Registry();
  const std::lock_guard<std::mutex> lock(registry.mutex);
  registry.meshes[GetHashIndex()] = myMesh;
}

void Entity::SetRootMdl(const Handle(ViewShape)& root)
{
  if (myRootMdl != root)
    myRootMdl = root;
  if (myRootMdl.IsNull())
    return;
  for (const Handle(ViewShape)& shape : myRootMdl->GetAllSubViewShapes())
    mySubMdls[shape->GetHashIndex()] = Handle(ShapeEntity)::DownCast(shape);
}

void Entity::SetRootMdlTrsf(const gp_Trsf& trsf)
{
  FiniteCheck::RequireTrsf(WORKPIECE_LOC("Entity::SetRootMdlTrsf"), trsf);
  myRootMdl->SetTransformation(trsf, true);
}

void Entity::UpdateCollisionMdlState() {}

const Uuid& Entity::GetRootMdlID() const
{
  return myRootMdl->GetId();
}

const Uuid& Entity::GetRootMdlPrimitiveID() const
{
  return myRootMdl->GetPrimitiveId();
}

std::string Entity::GetName() const
{
  return myRootMdl->GetName();
}

unsigned long long Entity::GetHashIndex() const
{
  if (myHashIndex == 0 && !myRootMdl.IsNull())
    myHashIndex = ViewShape::HashIndexOf(myRootMdl->GetId());
  return myHashIndex;
}

void Entity::SetHashIndex(unsigned long long index)
{
  myHashIndex = index;
  myRootMdl->SetHashIndex(index);
}

void Entity::AddSubMdl(const Handle(ShapeEntity)& part)
{
  mySubMdls[part->GetHashIndex()] = part;
  myRootMdl->AddChildWithCurrentTransformation(part);
}

Handle(ShapeEntity) Entity::RemoveSubMdl(unsigned long long hashIndex)
{
  Handle(ShapeEntity) part = GetPart(hashIndex);
  mySubMdls.erase(hashIndex);
  if (!part.IsNull())
    myRootMdl->RemoveChildWithRestoreTransformation(part);
  return part;
}

Handle(ShapeEntity) Entity::GetPart(unsigned long long hashIndex) const
{
  if (hashIndex == 0)
    return Handle(ShapeEntity)::DownCast(myRootMdl);
  const auto it = mySubMdls.find(hashIndex);
  if (it == mySubMdls.end())
  {
    EntityLog::Fail(WORKPIECE_LOC("Entity::GetPart"), EntityLog::KeyError);
  }
  return it->second;
}

void Entity::SetCheckCollisionGap(double gap)
{
  for (const auto& [index, part] : mySubMdls)
    if (!part.IsNull())
      part->SetCollisionGap(gap);
}

NCollection_DataMap<TopoDS_Shape, Handle(AIS_ColoredDrawer), TopTools_ShapeMapHasher> Entity::GetAllSubModelsColors()
  const
{
  NCollection_DataMap<TopoDS_Shape, Handle(AIS_ColoredDrawer), TopTools_ShapeMapHasher> colors;
  for (const auto& [index, part] : mySubMdls)
  {
    if (part.IsNull())
      continue;
    for (AIS_DataMapOfShapeDrawer::Iterator it(part->CustomAspectsMap()); it.More(); it.Next())
      colors.Bind(it.Key(), it.Value());
  }
  return colors;
}

std::vector<Handle(mesh::AIS_Mesh)> Entity::GetMeshSubModels(const Handle(AIS_InteractiveObject)& object)
{
  std::vector<Handle(mesh::AIS_Mesh)> meshes;
  if (object.IsNull())
    return meshes;
  if (object->Children().IsEmpty())
  {
    if (const Handle(mesh::AIS_Mesh) m = Handle(mesh::AIS_Mesh)::DownCast(object); !m.IsNull())
      meshes.push_back(m);
    return meshes;
  }
  for (const Handle(PrsMgr_PresentableObject)& child : object->Children())
  {
    if (!child->IsKind(STANDARD_TYPE(AIS_InteractiveObject)))
      continue;
    const auto below = GetMeshSubModels(Handle(AIS_InteractiveObject)::DownCast(child));
    meshes.insert(meshes.end(), below.begin(), below.end());
  }
  return meshes;
}

std::shared_ptr<MeshData> Entity::GetMeshPtr() const
{
  CollectPendingMesh(true);
  return myMesh;
}

std::shared_ptr<MeshData> Entity::GetEntireMeshData(const TopoDS_Shape& shape) const
{
  if (shape.IsNull())
    return GetMeshPtr();
  return WatertightMesh(shape, myMeshDeflection);
}

void Entity::UpdateWatertightMeshModel(const TopoDS_Shape& shape, bool registerMesh, bool wait)
{
  CollectPendingMesh(true);
  const double absolute = myMeshDeflection;
  myPendingMesh = GetThreadPool().Submit([shape, absolute]() { return WatertightMesh(shape, absolute); });
  myRegisterPending = registerMesh;
  myLoadMeshModel = true;
  CollectPendingMesh(wait);
}

bool Entity::IsLoadMeshModel() const
{
  CollectPendingMesh(false);
  return myLoadMeshModel;
}

void Entity::CollectPendingMesh(bool wait) const
{
  if (!myPendingMesh.valid())
    return;
  if (!wait && myPendingMesh.wait_for(std::chrono::seconds(0)) != std::future_status::ready)
    return;
  myMesh = myPendingMesh.get();
  myLoadMeshModel = false;
  if (myRegisterPending && GetHashIndex() != 0)
  {
    MeshRegistry& registry = Registry();
    const std::lock_guard<std::mutex> lock(registry.mutex);
    registry.meshes[GetHashIndex()] = myMesh;
  }
}

bool Entity::IsSmallEntitys(const TopoDS_Shape& shape) const
{
  if (shape.IsNull() || shape.ShapeType() != TopAbs_SOLID)
    return false;
  GProp_GProps props;
  BRepGProp::VolumeProperties(shape, props);
  return std::abs(props.Mass()) <= mySmallBodyVolume + Precision::Confusion();
}

void Entity::UpdateEntityInUnity() const
{
  myRootMdl->UpdateEntityInUnity();
}

std::map<std::string, Handle(ViewShape)>& Entity::ChangeContextEntity()
{
  static std::map<std::string, Handle(ViewShape)>* const context = new std::map<std::string, Handle(ViewShape)>();
  return *context;
}

std::shared_ptr<MeshData> Entity::GetRegisteredMesh(unsigned long long hashIndex)
{
  MeshRegistry& registry = Registry();
  const std::lock_guard<std::mutex> lock(registry.mutex);
  const auto it = registry.meshes.find(hashIndex);
  return it == registry.meshes.end() ? nullptr : it->second;
}

void Entity::CheckSameShps() const
{
  std::map<const TopoDS_TShape*, TopoDS_Shape> seen;
  for (const auto& [index, part] : mySubMdls)
  {
    if (part.IsNull() || part->GetEntityShape().IsNull())
      continue;
    const TopoDS_Shape& shape = part->GetEntityShape();
    if (seen.count(shape.TShape().get()) == 0)
    {
      seen.emplace(shape.TShape().get(), shape);
      continue;
    }
    BRepBuilderAPI_Copy copier(shape, true, true);
    if (copier.IsDone())
      part->SetEntityShape(copier.Shape());
  }
}

void Entity::CheckSubMdlHasLayer()
{
  for (const auto& [index, part] : mySubMdls)
    if (!part.IsNull())
      part->UpdateMdlColorLayer();
}

TopoDS_Shape Entity::RemoveSmallBodies(const TopoDS_Shape& shape) const
{
  if (shape.IsNull() || (shape.ShapeType() != TopAbs_COMPOUND && shape.ShapeType() != TopAbs_COMPSOLID))
    return shape;
  try
  {
    BRep_Builder builder;
    TopoDS_Compound kept;
    builder.MakeCompound(kept);
    bool removed = false;
    for (TopoDS_Iterator it(shape, false, false); it.More(); it.Next())
    {
      const TopoDS_Shape& sub = it.Value();
      if (IsSmallEntitys(sub))
      {
        removed = true;
        continue;
      }
      const TopoDS_Shape cleaned = RemoveSmallBodies(sub);
      removed = removed || !cleaned.IsSame(sub);
      builder.Add(kept, cleaned);
    }
    if (!removed)
      return shape;
    // The placement is the shape's own, so a mirrored one (common in assemblies) is valid here
    // although the kernel would refuse it on a shape by default.
    kept.Location(shape.Location(), false);
    kept.Orientation(shape.Orientation());
    return kept;
  }
  catch (const Standard_Failure&)
  {
    EntityLog::Write(WORKPIECE_LOC("Entity::SetEntityShape"), SPDLOG_LEVEL_ERROR, "模型上小体去除异常");
    return shape;
  }
}

double Entity::MeshDeflection(const Handle(ViewShape)& root) const
{
  if (myMeshDeflection > Precision::Confusion())
    return myMeshDeflection;
  Bnd_Box box;
  for (const TopoDS_Shape& shape : ShapeHandle::GetShapes(root, true))
    BRepBndLib::Add(shape, box, false);
  if (box.IsVoid())
    return MinDeflection;
  return std::max(MinDeflection, DeflectionPermille / 1000.0 * std::sqrt(box.SquareExtent()));
}
