#include <view/CADView.h>
#include <view/ViewShape.h>

#include <mesh/MeshProcessTools.h>

#include <BRepBndLib.hxx>
#include <Bnd_Box.hxx>
#include <Graphic3d_MaterialAspect.hxx>
#include <Prs3d_LineAspect.hxx>
#include <Prs3d_ShadingAspect.hxx>
#include <TopExp_Explorer.hxx>

#include <vector>

IMPLEMENT_STANDARD_RTTIEXT(ViewShape, BaseViewShape)

namespace
{
// FNV-1a, 64 bits.
constexpr unsigned long long FnvOffsetBasis = 14695981039346656037ULL;
constexpr unsigned long long FnvPrime = 1099511628211ULL;
// Whole meshes are built at this fraction of the shape's bounding diagonal.
constexpr double RelativeDeflection = 0.002;
// Smallest deflection (mm) of whole meshes.
constexpr double MinDeflection = 0.01;
// Sub-shape kinds that carry colours of their own.
constexpr TopAbs_ShapeEnum ColouredKinds[] = {TopAbs_FACE, TopAbs_SHELL, TopAbs_SOLID, TopAbs_COMPSOLID,
                                              TopAbs_COMPOUND};

// Returns the sub-shapes of `shape` of kind `kind` in explorer order.
std::vector<TopoDS_Shape> SubShapes(const TopoDS_Shape& shape, TopAbs_ShapeEnum kind)
{
  std::vector<TopoDS_Shape> result;
  if (shape.IsNull())
    return result;
  for (TopExp_Explorer ex(shape, kind); ex.More(); ex.Next())
    result.push_back(ex.Current());
  return result;
}

void CollectViewShapes(const PrsMgr_PresentableObject& object, std::vector<Handle(ViewShape)>& shapes)
{
  for (const Handle(PrsMgr_PresentableObject)& child : object.Children())
  {
    if (const Handle(ViewShape) view = Handle(ViewShape)::DownCast(child); !view.IsNull())
      shapes.push_back(view);
    CollectViewShapes(*child, shapes);
  }
}

Handle(Prs3d_LineAspect) FaceBoundaryAspect()
{
  const Quantity_Color grey(ViewShape::FaceBoundaryGrey, ViewShape::FaceBoundaryGrey, ViewShape::FaceBoundaryGrey,
                            Quantity_TOC_RGB);
  return new Prs3d_LineAspect(grey, Aspect_TOL_SOLID, ViewShape::FaceBoundaryWidth);
}
} // namespace

ViewShape::ViewShape(const TopoDS_Shape& shape, const Uuid& id)
  : BaseViewShape(shape), myId(id), myHashIndex(HashIndexOf(id))
{
}

unsigned long long ViewShape::HashIndexOf(const Uuid& id)
{
  unsigned long long hash = FnvOffsetBasis;
  for (const char c : id.ToString())
  {
    hash ^= static_cast<unsigned char>(c);
    hash *= FnvPrime;
  }
  return hash;
}

void ViewShape::SetPrimitiveProperty(const std::string& name, const Uuid& id)
{
  myPrimitiveName = name;
  myPrimitiveId = id;
}

void ViewShape::UpdateInitState()
{
  myInitTrsf = Transformation();
  SetCollisionTrsf(Transformation());
}

void ViewShape::SetEntityShape(const TopoDS_Shape& shape)
{
  // Aspects are carried over by position when the new shape has as many sub-shapes of a kind.
  AIS_DataMapOfShapeDrawer carried;
  for (const TopAbs_ShapeEnum kind : ColouredKinds)
  {
    const std::vector<TopoDS_Shape> before = SubShapes(Shape(), kind);
    const std::vector<TopoDS_Shape> after = SubShapes(shape, kind);
    for (std::size_t i = 0; i < before.size(); ++i)
    {
      const Handle(AIS_ColoredDrawer)* drawer = CustomAspectsMap().Seek(before[i]);
      if (drawer != nullptr)
        carried.Bind(before.size() == after.size() ? after[i] : before[i], *drawer);
    }
  }
  Set(shape);
  ChangeCustomAspectsMap() = carried;
  SetToUpdate();
}

std::vector<Handle(ViewShape)> ViewShape::GetAllSubViewShapes() const
{
  std::vector<Handle(ViewShape)> shapes;
  CollectViewShapes(*this, shapes);
  return shapes;
}

Handle(ViewShape) ViewShape::GetChildById(const Uuid& id) const
{
  for (const Handle(ViewShape)& shape : GetAllSubViewShapes())
    if (shape->GetId() == id)
      return shape;
  return Handle(ViewShape)();
}

int ViewShape::ChildCount() const
{
  return Children().Size();
}

void ViewShape::AddShapeListToAISChilde(const std::vector<Handle(ViewShape)>& children)
{
  for (const Handle(ViewShape)& child : children)
    if (!child.IsNull())
      AddChild(child);
}

void ViewShape::SetSubShapeAspect(const TopoDS_Shape& subShape, const Quantity_Color& color, double transparency,
                                  int material)
{
  if (subShape.IsNull())
    return;
  const Handle(AIS_ColoredDrawer)& drawer = CustomAspects(subShape);
  if (material >= 0 && material < Graphic3d_MaterialAspect::NumberOfMaterials())
  {
    setMaterial(drawer, Graphic3d_MaterialAspect(static_cast<Graphic3d_NameOfMaterial>(material)), false, false);
    drawer->SetOwnMaterial();
  }
  SetCustomColor(subShape, color);
  SetCustomTransparency(subShape, transparency);
}

void ViewShape::SetFaceBoundary()
{
  myDrawer->SetFaceBoundaryDraw(true);
  myDrawer->SetFaceBoundaryAspect(FaceBoundaryAspect());
  SetToUpdate();
  for (const Handle(ViewShape)& shape : GetAllSubViewShapes())
  {
    shape->myDrawer->SetFaceBoundaryDraw(true);
    shape->myDrawer->SetFaceBoundaryAspect(FaceBoundaryAspect());
    shape->SetToUpdate();
  }
}

void ViewShape::UpdateMdlColorLayer()
{
  if (!GetUpdateLayerFlag())
    return;
  RedisplayShape(true, false);
  SetUpdateLayerFlag(false);
}

void ViewShape::UpdateEntityInUnity() const
{
  const Handle(ViewShape) self(this);
  GetCADView().NotifyMoved(self);
}

Handle(mesh::AIS_Mesh) ViewShape::GetMesh() const
{
  for (const Handle(PrsMgr_PresentableObject)& child : Children())
    if (const Handle(mesh::AIS_Mesh) m = Handle(mesh::AIS_Mesh)::DownCast(child); !m.IsNull())
      return m;
  return Handle(mesh::AIS_Mesh)();
}

Handle(CloudShape) ViewShape::GetCloudShape() const
{
  for (const Handle(PrsMgr_PresentableObject)& child : Children())
    if (const Handle(CloudShape) c = Handle(CloudShape)::DownCast(child); !c.IsNull())
      return c;
  return Handle(CloudShape)();
}

std::shared_ptr<MeshData> ViewShape::GetEntireMeshData() const
{
  if (const Handle(mesh::AIS_Mesh) m = GetMesh(); !m.IsNull())
  {
    auto entire = m->GetEntireMesh();
    entire->SetTrsf(m->Transformation().Multiplied(entire->GetTrsf()));
    return entire;
  }
  if (Shape().IsNull())
    return std::make_shared<MeshData>();
  Bnd_Box box;
  BRepBndLib::Add(Shape(), box, false);
  if (box.IsVoid())
    return std::make_shared<MeshData>();
  auto entire =
    MeshProcessTools::CreateWatertightMesh(Shape(), std::max(MinDeflection, RelativeDeflection * std::sqrt(box.SquareExtent())));
  entire->SetTrsf(Transformation());
  return entire;
}

void ViewShape::CopyFrom(const Handle(ViewShape)& other)
{
  if (!other.IsNull())
    CopyFrom(*other);
}

void ViewShape::CopyFrom(const ViewShape& source)
{
  if (&source == this)
    return;
  const ViewShape* other = &source;
  myName = other->myName;
  myPrimitiveName = other->myPrimitiveName;
  myPrimitiveId = other->myPrimitiveId;
  myModelType = other->myModelType;
  myInitTrsf = other->myInitTrsf;
  if (other->HasColor())
    SetColor(other->GetColor());
  if (other->IsTransparent())
    SetTransparency(other->Transparency());
  if (other->HasMaterial())
    SetMaterial(other->myDrawer->ShadingAspect()->Material(Aspect_TOFM_FRONT_SIDE));
  for (AIS_DataMapOfShapeDrawer::Iterator it(other->CustomAspectsMap()); it.More(); it.Next())
  {
    const Handle(Prs3d_ShadingAspect)& shading = it.Value()->ShadingAspect();
    if (shading.IsNull())
      continue;
    SetSubShapeAspect(it.Key(), shading->Color(Aspect_TOFM_FRONT_SIDE), shading->Transparency(Aspect_TOFM_FRONT_SIDE),
                      shading->Material(Aspect_TOFM_FRONT_SIDE).Name());
  }
  SetLocalTransformation(other->LocalTransformation());
  SetUpdateLayerFlag(other->GetUpdateLayerFlag());
  CopyBy(*other);
}

bool ViewShape::CreateBVHMdl(bool force)
{
  return CreateBVHMdl(Shape(), force);
}

void ViewShape::SetTrsf(const gp_Trsf& trsf, bool update)
{
  SetLocalTransformation(trsf);
  if (update)
    GetCADView().Redraw();
}

void ViewShape::SetTransformation(const gp_Trsf& trsf, bool update)
{
  SetTrsf(trsf, update);
}

bool ViewShape::IsSelected() const
{
  const Handle(ViewShape) self(this);
  return GetCADView().IsSelected(self);
}

void ViewShape::SetSelectedState(bool selected) const
{
  const Handle(ViewShape) self(this);
  GetCADView().SetSelectedState(self, selected);
}

void ViewShape::UpdateView(bool updateViewer) const
{
  const Handle(ViewShape) self(this);
  GetCADView().Update(self, updateViewer);
}

void ViewShape::AddOrRemoveSelected(bool update) const
{
  const Handle(ViewShape) self(this);
  GetCADView().AddOrRemoveSelected(self, update);
}

void ViewShape::RecomputeSelectionOnly() const
{
  const Handle(ViewShape) self(this);
  GetCADView().RecomputeSelectionOnly(self);
}

void ViewShape::RestoreFaceColor()
{
  if (HasColor())
    AIS_ColoredShape::SetColor(GetColor());
  myDrawer->SetFaceBoundaryAspect(FaceBoundaryAspect());
  RedisplayShape(true, false);
}
