#include <mesh/AIS_Mesh.h>

#include <Graphic3d_ArrayOfTriangles.hxx>
#include <Prs3d_ShadingAspect.hxx>
#include <Select3D_SensitiveTriangulation.hxx>
#include <SelectMgr_EntityOwner.hxx>
#include <SelectMgr_Selection.hxx>
#include <StdPrs_ToolTriangulatedShape.hxx>

IMPLEMENT_STANDARD_RTTIEXT(mesh::AIS_Mesh, AIS_InteractiveObject)

namespace mesh
{
namespace
{
// Below this length a triangle has no normal of its own.
constexpr double DegenerateNormal = 1.0e-12;

// Returns the unit normal of the triangle at the three points (Z for a degenerate triangle).
gp_Dir TriangleNormal(const gp_XYZ& a, const gp_XYZ& b, const gp_XYZ& c)
{
  const gp_XYZ n = (b - a).Crossed(c - a);
  return n.Modulus() > DegenerateNormal ? gp_Dir(n) : gp_Dir(0, 0, 1);
}
} // namespace

AIS_Mesh::AIS_Mesh()
{
  SetDisplayMode(0);
  SetHilightMode(0);
}

void AIS_Mesh::AddMesh(const std::shared_ptr<MeshData>& mesh, int layer)
{
  if (!mesh || mesh->IsEmpty())
    return;
  auto& target = myLayers[layer];
  if (!target)
  {
    target = std::make_shared<MeshData>(*mesh);
  }
  else
  {
    auto merged = std::make_shared<MeshData>(*target);
    merged->Append(*mesh);
    target = merged;
  }
  SetToUpdate();
}

void AIS_Mesh::SetTriangles(const std::shared_ptr<MeshData>& mesh, int layer)
{
  if (!mesh || mesh->IsEmpty())
    myLayers.erase(layer);
  else
    myLayers[layer] = std::make_shared<MeshData>(*mesh);
  SetToUpdate();
}

std::shared_ptr<MeshData> AIS_Mesh::GetLayer(int layer) const
{
  const auto it = myLayers.find(layer);
  return it == myLayers.end() ? nullptr : it->second;
}

std::shared_ptr<MeshData> AIS_Mesh::GetEntireMesh() const
{
  auto entire = std::make_shared<MeshData>();
  for (const auto& [layer, mesh] : myLayers)
    entire->Append(*mesh);
  return entire;
}

int AIS_Mesh::NbTriangles() const
{
  std::size_t count = 0;
  for (const auto& [layer, mesh] : myLayers)
    count += mesh->Triangles.size();
  return static_cast<int>(count);
}

Json::Value AIS_Mesh::ToJson() const
{
  Json::Value layers(Json::arrayValue);
  for (const auto& [layer, mesh] : myLayers)
  {
    Json::Value entry(Json::objectValue);
    entry["Layer"] = layer;
    entry["Mesh"] = mesh->ToJson();
    layers.append(entry);
  }
  Json::Value json(Json::objectValue);
  json["Layers"] = layers;
  return json;
}

bool AIS_Mesh::FromJson(const Json::Value& json)
{
  if (!json.isObject() || !json["Layers"].isArray())
    return false;
  std::map<int, std::shared_ptr<MeshData>> layers;
  for (const Json::Value& entry : json["Layers"])
  {
    if (!entry.isObject() || !entry["Layer"].isInt())
      return false;
    auto mesh = MeshData::FromJson(entry["Mesh"]);
    if (!mesh)
      return false;
    layers[entry["Layer"].asInt()] = mesh;
  }
  myLayers = std::move(layers);
  SetToUpdate();
  return true;
}

void AIS_Mesh::Compute(const Handle(PrsMgr_PresentationManager)&, const Handle(Prs3d_Presentation)& prs,
                       const Standard_Integer mode)
{
  if (mode != 0)
    return;
  for (const auto& [layer, mesh] : myLayers)
  {
    // Every triangle gets its own three vertices so that flat normals stay flat.
    Handle(Graphic3d_ArrayOfTriangles) triangles =
      new Graphic3d_ArrayOfTriangles(static_cast<int>(mesh->Triangles.size()) * 3, 0, Graphic3d_ArrayFlags_VertexNormal);
    const gp_Trsf trsf = mesh->GetTrsf();
    for (const auto& t : mesh->Triangles)
    {
      gp_XYZ p[3] = {mesh->Vertices[t[0]], mesh->Vertices[t[1]], mesh->Vertices[t[2]]};
      for (gp_XYZ& q : p)
        trsf.Transforms(q);
      const gp_Dir n = TriangleNormal(p[0], p[1], p[2]);
      for (const gp_XYZ& q : p)
        triangles->AddVertex(gp_Pnt(q), n);
    }
    Handle(Graphic3d_Group) group = prs->NewGroup();
    group->SetGroupPrimitivesAspect(myDrawer->ShadingAspect()->Aspect());
    group->AddPrimitiveArray(triangles);
  }
}

void AIS_Mesh::ComputeSelection(const Handle(SelectMgr_Selection)& selection, const Standard_Integer mode)
{
  if (mode != 0)
    return;
  Handle(SelectMgr_EntityOwner) owner = new SelectMgr_EntityOwner(this);
  for (const auto& [layer, mesh] : myLayers)
  {
    const Handle(Poly_Triangulation) triangulation = mesh->ToTriangulation();
    if (triangulation.IsNull())
      continue;
    selection->Add(new Select3D_SensitiveTriangulation(owner, triangulation, TopLoc_Location(mesh->GetTrsf()), true));
  }
}
} // namespace mesh
