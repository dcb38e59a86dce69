#include <entity/ShapeEntity.h>

#include <view/CADView.h>

#include <mesh/AIS_Mesh.h>
#include <pointcloud/PointCloudManager.h>

#include <Prs3d_LineAspect.hxx>

IMPLEMENT_STANDARD_RTTIEXT(ShapeEntity, ViewShape)

namespace
{
// Returns the first cloud among the descendants of `object`, depth first.
Handle(CloudShape) FindCloud(const PrsMgr_PresentableObject& object)
{
  for (const Handle(PrsMgr_PresentableObject)& child : object.Children())
  {
    if (const Handle(CloudShape) cloud = Handle(CloudShape)::DownCast(child); !cloud.IsNull())
      return cloud;
    if (const Handle(CloudShape) cloud = FindCloud(*child); !cloud.IsNull())
      return cloud;
  }
  return Handle(CloudShape)();
}
} // namespace

ShapeEntity::ShapeEntity(const TopoDS_Shape& shape, Uuid id) : ViewShape(shape, id) {}

ShapeEntity::ShapeEntity(const ShapeEntity& other) : ViewShape(other.Shape(), other.GetId())
{
  CopyFrom(other);
  SetHashIndex(other.GetHashIndex());
  myNeedSave = other.myNeedSave;
  myCollisionPart = other.myCollisionPart;
  myDrawingPara = other.myDrawingPara;
}

ShapeEntity& ShapeEntity::operator=(const ShapeEntity& other)
{
  if (this == &other)
    return *this;
  // Copied by reference: a handle on `other` would delete a source that lives on the stack.
  SetEntityShape(other.Shape());
  SetId(other.GetId());
  SetHashIndex(other.GetHashIndex());
  CopyFrom(other);
  myNeedSave = other.myNeedSave;
  myCollisionPart = other.myCollisionPart;
  myDrawingPara = other.myDrawingPara;
  return *this;
}

void ShapeEntity::SetTransformation(const gp_Trsf& world, bool update)
{
  const Handle(ShapeEntity) self(this);
  gp_Trsf local = world;
  if (const PrsMgr_PresentableObject* parent = Parent(); parent != nullptr)
    local = parent->LocalTransformation().Inverted().Multiplied(world);
  SetTrsf(local, update);
}

bool ShapeEntity::IsSelected() const
{
  const Handle(ShapeEntity) self(this);
  return GetCADView().IsSelected(self);
}

void ShapeEntity::SetSelectedState(bool selected) const
{
  const Handle(ShapeEntity) self(this);
  GetCADView().SetSelectedState(self, selected);
}

void ShapeEntity::UpdateView(bool updateViewer) const
{
  const Handle(ShapeEntity) self(this);
  GetCADView().Update(self, updateViewer);
}

void ShapeEntity::AddOrRemoveSelected(bool update) const
{
  const Handle(ShapeEntity) self(this);
  GetCADView().AddOrRemoveSelected(self, update);
}

void ShapeEntity::RecomputeSelectionOnly() const
{
  const Handle(ShapeEntity) self(this);
  GetCADView().RecomputeSelectionOnly(self);
}

void ShapeEntity::RestoreFaceColor()
{
  const Handle(ShapeEntity) self(this);
  for (const Handle(PrsMgr_PresentableObject)& child : Children())
    if (const Handle(ShapeEntity) part = Handle(ShapeEntity)::DownCast(child); !part.IsNull())
      part->RestoreFaceColor();
  AIS_ColoredShape::SetColor(GetColor());
  const Quantity_Color grey(FaceBoundaryGrey, FaceBoundaryGrey, FaceBoundaryGrey, Quantity_TOC_RGB);
  myDrawer->SetFaceBoundaryAspect(new Prs3d_LineAspect(grey, Aspect_TOL_SOLID, FaceBoundaryWidth));
  RedisplayShape(true, false);
}

bool ShapeEntity::CreateMeshData(const Json::Value& json)
{
  Handle(mesh::AIS_Mesh) meshObject = new mesh::AIS_Mesh();
  const bool read = meshObject->FromJson(json);
  SetModelType(MeshModel);
  AddChildWithCurrentTransformation(meshObject);
  return read;
}

bool ShapeEntity::CreateCloudData(const Json::Value& json)
{
  Handle(CloudShape) cloud = new CloudShape();
  const bool read = json.isString() && cloud->LoadPCDFromString(json.asString());
  SetModelType(CloudModel);
  AddChildWithCurrentTransformation(cloud);
  return read;
}

void ShapeEntity::CreateEntireCloudsBVHMdl(const std::vector<Handle(CloudShape)>& clouds, bool)
{
  const auto bvh = PointCloudManager::CreateCloudBVH(clouds);
  SetCollisionBVH(bvh);
  SetCollisionActive(!bvh.IsNull());
}

Handle(CloudShape) ShapeEntity::GetCollisionCloud() const
{
  return FindCloud(*this);
}
