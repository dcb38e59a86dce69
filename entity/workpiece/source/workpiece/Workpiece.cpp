#include <entity/Workpiece.h>

#include <entity/PartFile.h>

#include "core/EntityLog.h"

#include <cadtools/DataHandle.h>
#include <cadtools/LogUtils.h>
#include <cadtools/ModelUtils.h>
#include <cadtools/ShapeHandle.h>
#include <cadtools/Uuid.h>
#include <cadtools/gpHandle.h>
#include <view/CADView.h>

#include <Bnd_Box.hxx>
#include <TopExp_Explorer.hxx>
#include <TopLoc_Datum3D.hxx>
#include <TopLoc_Location.hxx>
#include <TopoDS.hxx>
#include <TopoDS_Builder.hxx>
#include <TopoDS_Compound.hxx>

#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>
#include <mutex>
#include <set>
#include <utility>

namespace
{
// The model kind built from drawing parameters; it and point clouds carry no solid collision model.
constexpr int DrawingModel = 2;

bool HasNoSolidCollision(int kind)
{
  return kind == DrawingModel || kind == ViewShape::CloudModel;
}

// Painted triangles are told apart by their corners rounded to this step (mm), in sorted order.
constexpr double CornerStep = 1.0e-6;

double TriangleArea(const MeshData& mesh, const std::array<int, 3>& t)
{
  const gp_XYZ& a = mesh.Vertices[static_cast<std::size_t>(t[0])];
  return 0.5 * (mesh.Vertices[static_cast<std::size_t>(t[1])] - a)
                 .Crossed(mesh.Vertices[static_cast<std::size_t>(t[2])] - a)
                 .Modulus();
}

// Returns the area of the mesh's distinct triangles.
double DistinctArea(const MeshData& mesh)
{
  std::set<std::array<long long, 9>> seen;
  double area = 0.0;
  for (const std::array<int, 3>& t : mesh.Triangles)
  {
    std::array<std::array<long long, 3>, 3> corners;
    for (std::size_t i = 0; i < 3; ++i)
    {
      const gp_XYZ& p = mesh.Vertices[static_cast<std::size_t>(t[i])];
      corners[i] = {std::llround(p.X() / CornerStep), std::llround(p.Y() / CornerStep), std::llround(p.Z() / CornerStep)};
    }
    std::sort(corners.begin(), corners.end());
    std::array<long long, 9> key;
    for (std::size_t i = 0; i < 9; ++i)
      key[i] = corners[i / 3][i % 3];
    if (seen.insert(key).second)
      area += TriangleArea(mesh, t);
  }
  return area;
}
} // namespace

Workpiece::Workpiece()
{
  SetMechanismType(6);
  SetCollisionMdlOutdated(true);
}

Workpiece::Workpiece(const opencascade::handle<ViewShape>& shape) : Workpiece()
{
  TakeOver(shape);
  CreateCollisionMdl();
}

std::unique_ptr<Workpiece> Workpiece::FromPartFile(const std::string& path)
{
  const std::vector<PartFile::Body> bodies = PartFile::ReadBodies(path);
  const std::string stem = std::filesystem::path(path).stem().string();
  const opencascade::handle<ShapeEntity> root = new ShapeEntity(TopoDS_Shape(), Uuid::CreateUuid());
  root->SetName(stem);
  std::vector<opencascade::handle<ViewShape>> parts;
  for (std::size_t i = 0; i < bodies.size(); ++i)
  {
    const opencascade::handle<ShapeEntity> part = new ShapeEntity(bodies[i].shape, Uuid::CreateUuid());
    part->SetName(bodies[i].name.empty() ? stem + "_" + std::to_string(i + 1) : bodies[i].name);
    parts.push_back(part);
  }
  root->AddShapeListToAISChilde(parts);
  return std::make_unique<Workpiece>(root);
}

Json::Value Workpiece::ToJson(const std::string& dir)
{
  Json::Value json = Entity::ToJson(dir);
  const opencascade::handle<ViewShape>& root = GetRootMdl();
  json["EntityTrsf"] = DataHandle::TrsfToJsonArr(root.IsNull() ? gp_Trsf() : root->LocalTransformation());
  json["Bench"] = Json::UInt64(myBench == nullptr ? 0 : myBench->GetHashIndex());
  json["AssemblT"] = DataHandle::TrsfToJsonArr(myAssembleTrsf);
  return json;
}

void Workpiece::LoadFromJson(const Json::Value& json)
{
  if (!json.isObject())
    return;
  Entity::LoadFromJson(json);
  SetRootMdlTrsf(DataHandle::JsonArrToTrsf(json["EntityTrsf"]));
  myAssembleTrsf = DataHandle::JsonArrToTrsf(json["AssemblT"]);
  ClearPaths();
}

void Workpiece::SetEntityShape(const opencascade::handle<ViewShape>& shape)
{
  TakeOver(shape);
  CreateCollisionMdl();
}

void Workpiece::TakeOver(const opencascade::handle<ViewShape>& shape)
{
  Entity::SetEntityShape(shape);
  const opencascade::handle<ViewShape>& root = GetRootMdl();
  if (root.IsNull())
    return;
  root->SetFaceBoundary();
  myOwnFrameMesh = root->Transformation().Form() == gp_Identity;
}

void Workpiece::SetRootMdl(const opencascade::handle<ViewShape>& root)
{
  Entity::SetRootMdl(root);
  if (!GetRootMdl().IsNull())
    GetRootMdl()->SetFaceBoundary();
}

Workpiece::~Workpiece()
{
  ClearPaintModel();
}

void Workpiece::UpdateRootTrsf(const gp_Trsf& trsf, bool updateView)
{
  const gp_Trsf next = trsf * myAssembleTrsf;
  const gp_Trsf change = next * myRootMdlTrsf.Inverted();
  GenericEntity::UpdateRootTrsf(next, updateView);
  for (const auto& [index, path] : myWorkPaths)
    if (!path.IsNull())
      path->TransformedBy(change, true);
}

void Workpiece::TransformedBy(const gp_Trsf& trsf)
{
  UpdateRootTrsf(trsf * myRootMdlTrsf, true);
}

void Workpiece::UpdatePlacementTrsf(const gp_Trsf& trsf)
{
  myAssembleTrsf = gp_Trsf();
  SetRootMdlTrsf(gp_Trsf());
  TransformedBy(trsf);
  UpdateWorkpieceAssemble();
}

void Workpiece::UpdateWorkpieceAssemble()
{
  myAssembleTrsf = GetParentAssembleTrsf().Inverted() * myRootMdlTrsf;
}

std::vector<opencascade::handle<ShapeEntity>> Workpiece::GetFixMdls() const
{
  return {opencascade::handle<ShapeEntity>::DownCast(GetRootMdl())};
}

std::vector<opencascade::handle<ShapeEntity>> Workpiece::GetCollisionFixMdls() const
{
  return GetFixMdls();
}

std::vector<opencascade::handle<ShapeEntity>> Workpiece::GetSubCollisionParts() const
{
  return GetFixMdls();
}

void Workpiece::CreateCollisionMdl()
{
  const opencascade::handle<ViewShape>& root = GetRootMdl();
  if (root.IsNull())
    return;
  const int kind = root->GetModelType();
  const bool ownFrameMesh = std::exchange(myOwnFrameMesh, false);
  if (HasNoSolidCollision(kind))
  {
    root->SetCollisionActive(false);
    return;
  }
  if (!IsCollisionMdlOutdated())
    return;
  if (kind != ViewShape::MeshModel)
  {
    UpdateEntireShp();
    // The mesh of a take-over with the root at the identity is a mesh of the entire shape already:
    // taking it halves the cost of building a workpiece from a part file.
    const std::shared_ptr<MeshData> own = ownFrameMesh ? GetMeshPtr() : nullptr;
    if (own && !own->IsEmpty())
    {
      root->SetCollision(own->ToTriangulation());
      root->SetCollisionActive(true);
    }
    else
      root->SetCollisionActive(root->CreateBVHMdl(myEntireShape, true));
  }
  else
    root->SetCollisionActive(root->CreateEntireMeshBVHMdl(GetMeshSubModels(root), true));
  SetCollisionMdlOutdated(false);
}

void Workpiece::UpdateEntireShp()
{
  myEntireShape = GetEntireShapeMdlForCollision();
}

TopoDS_Shape Workpiece::GetEntireShapeMdlForCollision()
{
  const opencascade::handle<ViewShape>& root = GetRootMdl();
  TopoDS_Compound compound;
  TopoDS_Builder builder;
  builder.MakeCompound(compound);
  if (root.IsNull())
    return compound;
  // The root's display transformation alone is set aside: going through SetRootMdlTrsf would apply
  // the assembly transform again and move the work paths and the mounted entities there and back.
  const gp_Trsf placement = root->LocalTransformation();
  root->SetTransformation(gp_Trsf(), false);
  for (TopoDS_Shape shape : ShapeHandle::GetShapes(root, true))
  {
    // An identity placement still makes a location, and every later geometry query on a located
    // shape copies its curve or surface: the seams of a workpiece took 2.6 times as long.
    if (shape.Location().Transformation().Form() == gp_Identity)
      shape.Location(TopLoc_Location());
    builder.Add(compound, shape);
  }
  root->SetTransformation(placement, false);
  return compound;
}

WorkpieceType Workpiece::GetType() const
{
  return myWorkpieceData ? myWorkpieceData->type : WorkpieceType::Ordinary;
}

opencascade::handle<ViewShape> Workpiece::GetEntireViewShape() const
{
  const opencascade::handle<ShapeEntity> view = new ShapeEntity(myEntireShape, Uuid::CreateUuid());
  if (!GetRootMdl().IsNull())
    view->MeshShape::CopyBy(*GetRootMdl());
  return opencascade::handle<ViewShape>(view.get());
}

std::optional<TopoDS_Shape> Workpiece::GetDwgParaMdl() const
{
  if (GetRootMdl().IsNull() || GetRootMdl()->GetModelType() != DrawingModel)
    return std::nullopt;
  for (const auto& [index, part] : GetSubMdls())
    if (!part.IsNull() && part->IsDrawingPara())
      return part->GetEntityShape().Located(TopLoc_Location(part->Transformation()));
  return std::nullopt;
}

std::shared_ptr<MeshData> Workpiece::GetEntireMeshData()
{
  const opencascade::handle<ViewShape>& root = GetRootMdl();
  const std::shared_ptr<MeshData> whole = !root.IsNull() && root->GetModelType() == ViewShape::MeshModel
                                            ? root->GetEntireMeshData()
                                            : Entity::GetEntireMeshData();
  if (!whole)
    return whole;
  // The entity's own mesh is shared with the registry: the caller gets a copy to place.
  auto mesh = std::make_shared<MeshData>(*whole);
  mesh->Transform = gpHandle::TrsfToDoubleArrayTrsf(GetRootMdlTrsf());
  return mesh;
}

TopoDS_Shape Workpiece::GetShapeByIndex(unsigned)
{
  return TopoDS_Shape();
}

std::vector<std::uint32_t> Workpiece::GetAllSolidIndices()
{
  return {};
}

Bnd_OBB Workpiece::GetSubShapeOBB(unsigned)
{
  return Bnd_OBB(Bnd_Box());
}

double Workpiece::GetSubShapeMass(unsigned) const
{
  return 0.0;
}

const std::vector<EdgeFaceSeg> Workpiece::GetWeldableSegs() const
{
  return {};
}

SeamExtractor::Result Workpiece::ExtractSeams(const SeamExtractor::Options& options) const
{
  if (myEntireShape.IsNull() || !TopExp_Explorer(myEntireShape, TopAbs_FACE).More())
    return SeamExtractor::Result();
  SeamExtractor::Result result = SeamExtractor(myEntireShape, options.parallel).Extract(options);
  // One location for every seam, so that a face shared by two seams stays the same shape in both.
  const TopLoc_Location placement(GetRootMdlTrsf());
  for (EdgeFaceSeg& seg : result.segs)
  {
    seg.SetFace1(TopoDS::Face(seg.Face1().Moved(placement)));
    seg.SetFace2(TopoDS::Face(seg.Face2().Moved(placement)));
    seg.SetEdge(TopoDS::Edge(seg.Edge().Moved(placement)));
  }
  return result;
}

void Workpiece::AddPaintModel(const std::shared_ptr<MeshData>& mesh, const gp_Pnt& viewpoint)
{
  if (!mesh || mesh->IsEmpty() || GetRootMdl().IsNull())
    return;
  const std::lock_guard<std::mutex> lock(GetModelMutex());
  if (myPaintModel.IsNull())
  {
    myPaintModel = new mesh::AIS_Mesh();
    myPaintModel->SetLocalTransformation(new TopLoc_Datum3D(GetRootMdlTrsf()));
    GetRootMdl()->AddChildWithCurrentTransformation(myPaintModel);
  }
  // The filter works in the mesh's own frame, so the viewpoint is taken there.
  const gp_Trsf place = mesh->GetTrsf();
  const Handle(Poly_Triangulation) facing =
    ModelUtils::FilterBackFace(mesh->ToTriangulation(), viewpoint.Transformed(place.Inverted()));
  myPaintModel->AddMesh(MeshData::FromTriangulation(facing, place));
  myPaintModelFlag = true;
}

double Workpiece::GetPaintedShare()
{
  const std::shared_ptr<MeshData> whole = GetEntireMeshData();
  double total = 0.0;
  if (whole)
    for (const std::array<int, 3>& t : whole->Triangles)
      total += TriangleArea(*whole, t);
  const std::lock_guard<std::mutex> lock(GetModelMutex());
  if (myPaintModel.IsNull() || total <= 0.0)
    return 0.0;
  return std::min(1.0, DistinctArea(*myPaintModel->GetEntireMesh()) / total);
}

void Workpiece::ClearPaintModel()
{
  if (myPaintModel.IsNull())
    return;
  const std::lock_guard<std::mutex> lock(GetModelMutex());
  if (!GetRootMdl().IsNull())
  {
    GetRootMdl()->RemoveChild(myPaintModel);
    if (CADView* view = GetRootMdl()->GetCADViewPtr())
      view->Remove(myPaintModel, false);
  }
  myPaintModel.Nullify();
}

void Workpiece::UpdatePaintModel()
{
  if (myPaintModel.IsNull() || GetRootMdl().IsNull())
    return;
  const std::lock_guard<std::mutex> lock(GetModelMutex());
  CADView* view = GetRootMdl()->GetCADViewPtr();
  if (view == nullptr)
    return;
  if (view->IsDisplayed(myPaintModel))
    view->Redisplay(myPaintModel, true, false);
  else
    view->Display(myPaintModel, true, -1);
}

void Workpiece::UpdatePaintedModel()
{
  if (!IsPaintedEntity())
    return;
  if (IsLoadMeshModel())
  {
    EntityLog::Write(WORKPIECE_LOC("Workpiece::UpdatePaintedModel"), SPDLOG_LEVEL_DEBUG,
                     "正在构建喷涂模型中，请稍后重试");
    return;
  }
  UpdateWatertightMeshModel(myEntireShape, true, true);
}

void Workpiece::SetPaintedWorkpiece(bool painted)
{
  if (painted == IsPaintedEntity())
    return;
  SetPaintedEntity(painted);
  if (painted)
    UpdateWatertightMeshModel(myEntireShape, true, false);
}

void Workpiece::AddWorkPath(unsigned long long index, const opencascade::handle<BaseViewShape>& path)
{
  if (index == 0)
    return;
  myWorkPaths[index] = path;
}

void Workpiece::DeleteWorkPath(unsigned long long index, const opencascade::handle<BaseViewShape>&)
{
  myWorkPaths.erase(index);
}
