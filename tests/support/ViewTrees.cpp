#include "ViewTrees.h"
#include "Solids.h"

#include <TopExp_Explorer.hxx>

#include <filesystem>
#include <random>

gp_Trsf ViewTrees::Placement(double x, double y, double z, double degrees)
{
  gp_Trsf move, turn;
  move.SetTranslation(gp_Vec(x, y, z));
  turn.SetRotation(gp::OZ(), degrees * M_PI / 180.0);
  return move * turn;
}

Handle(ShapeEntity) ViewTrees::BoxTree(int count)
{
  Handle(ShapeEntity) root = new ShapeEntity(TopoDS_Shape(), Uuid::CreateUuid());
  root->SetName("cell");
  std::vector<Handle(ViewShape)> parts;
  for (int i = 0; i < count; ++i)
  {
    const TopoDS_Shape box = Solids::Box(10.0 + i, 20.0, 30.0);
    parts.push_back(new ShapeEntity(box, Uuid::CreateUuid()));
    parts.back()->SetName("box" + std::to_string(i));
    parts.back()->SetLocalTransformation(Placement(100.0 * i, 0.0, 0.0, 15.0 * i));
    parts.back()->SetColor(Quantity_Color(0.3, 0.3, 0.7, Quantity_TOC_RGB));
    parts.back()->SetCustomColor(Face(box, i % 6), Quantity_Color(0.1 * i, 0.5, 0.25, Quantity_TOC_RGB));
  }
  root->AddShapeListToAISChilde(parts);
  return root;
}

Handle(mesh::AIS_Mesh) ViewTrees::Triangle(bool degenerate)
{
  auto triangle = std::make_shared<MeshData>();
  triangle->Vertices = {gp_XYZ(0, 0, 0), gp_XYZ(1, 0, 0), gp_XYZ(1, 1, 0)};
  triangle->Triangles = {{0, 1, 2}};
  if (degenerate)
    triangle->Transform.fill(0.0);
  Handle(mesh::AIS_Mesh) mesh = new mesh::AIS_Mesh();
  mesh->AddMesh(triangle);
  return mesh;
}

TopoDS_Shape ViewTrees::Face(const TopoDS_Shape& shape, int i)
{
  TopExp_Explorer ex(shape, TopAbs_FACE);
  for (; i > 0 && ex.More(); --i)
    ex.Next();
  return ex.More() ? ex.Current() : TopoDS_Shape();
}

std::string ViewTrees::TempDir(const std::string& name)
{
  const auto dir = std::filesystem::temp_directory_path() / (name + "-" + std::to_string(std::random_device()()));
  std::filesystem::create_directories(dir);
  return dir.string() + "/";
}
