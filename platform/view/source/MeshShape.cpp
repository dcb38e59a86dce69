#include <view/MeshShape.h>

#include <mesh/MeshProcessTools.h>

#include <BRepBndLib.hxx>
#include <BVH_BinnedBuilder.hxx>
#include <BVH_Triangulation.hxx>
#include <Bnd_Box.hxx>

namespace
{
// Triangles per leaf of the collision hierarchy.
constexpr int LeafSize = 8;
// Depth limit of the collision hierarchy.
constexpr int MaxDepth = 32;
// Collision models are meshed at this fraction of the shape's bounding diagonal.
constexpr double RelativeDeflection = 0.002;
// Smallest deflection (mm) used for collision models.
constexpr double MinDeflection = 0.01;
} // namespace

bool MeshShape::CreateBVHMdl(const TopoDS_Shape& shape, bool force)
{
  if (!force && !myCollision.IsNull())
    return true;
  if (shape.IsNull())
    return false;
  Bnd_Box box;
  BRepBndLib::Add(shape, box, false);
  if (box.IsVoid())
    return false;
  const double deflection = std::max(MinDeflection, RelativeDeflection * std::sqrt(box.SquareExtent()));
  const auto mesh = MeshProcessTools::CreateWatertightMesh(shape, deflection);
  if (mesh->IsEmpty())
    return false;
  SetCollision(mesh->ToTriangulation());
  return true;
}

bool MeshShape::CreateEntireMeshBVHMdl(const std::vector<Handle(mesh::AIS_Mesh)>& meshes, bool force)
{
  if (!force && !myCollision.IsNull())
    return true;
  MeshData entire;
  for (const Handle(mesh::AIS_Mesh)& m : meshes)
  {
    if (m.IsNull())
      continue;
    auto part = m->GetEntireMesh();
    part->SetTrsf(m->LocalTransformation().Multiplied(part->GetTrsf()));
    entire.Append(*part);
  }
  if (entire.IsEmpty())
    return false;
  SetCollision(entire.ToTriangulation());
  return true;
}

void MeshShape::SetCollision(const Handle(Poly_Triangulation)& model)
{
  myCollision = model;
  myBVH.Nullify();
  if (model.IsNull() || model->NbTriangles() == 0)
    return;
  opencascade::handle<BVH_Triangulation<Standard_Real, 3>> set =
    new BVH_Triangulation<Standard_Real, 3>(new BVH_BinnedBuilder<Standard_Real, 3>(LeafSize, MaxDepth));
  for (int i = 1; i <= model->NbNodes(); ++i)
  {
    const gp_Pnt p = model->Node(i);
    set->Vertices.push_back(BVH_Vec3d(p.X(), p.Y(), p.Z()));
  }
  for (int t = 1; t <= model->NbTriangles(); ++t)
  {
    int a = 0, b = 0, c = 0;
    model->Triangle(t).Get(a, b, c);
    set->Elements.push_back(BVH_Vec4i(a - 1, b - 1, c - 1, 0));
  }
  set->MarkDirty();
  myBVH = set->BVH();
  // Building sorts the triangles; the model takes that order so that the leaves of the hierarchy
  // index its triangles (element i is triangle i + 1).
  Handle(Poly_Triangulation) ordered = new Poly_Triangulation(model->NbNodes(), model->NbTriangles(), false);
  for (int i = 1; i <= model->NbNodes(); ++i)
    ordered->SetNode(i, model->Node(i));
  for (std::size_t t = 0; t < set->Elements.size(); ++t)
  {
    const BVH_Vec4i& e = set->Elements[t];
    ordered->SetTriangle(static_cast<int>(t) + 1, Poly_Triangle(e.x() + 1, e.y() + 1, e.z() + 1));
  }
  myCollision = ordered;
}

void MeshShape::CopyBy(const MeshShape& other)
{
  myCollision = other.myCollision;
  myBVH = other.myBVH;
  myCollisionTrsf = other.myCollisionTrsf;
  myCollisionGap = other.myCollisionGap;
  myCollisionActive = other.myCollisionActive;
}
