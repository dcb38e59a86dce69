// Writes the valid seeds of the fuzz corpus with the library's own writers:
//   fuzz_seed_writer <corpus folder> <examples/cell folder>
// The damaged seeds beside them are cut or edited from these by hand.
#include <entity/Entity.h>
#include <entity/GenericEntityConfig.h>
#include <entity/ViewShapeUtil.h>

#include <cadtools/DataHandle.h>
#include <cadtools/Uuid.h>
#include <mesh/AIS_Mesh.h>
#include <pointcloud/CloudShape.h>

#include <BRepPrimAPI_MakeBox.hxx>
#include <BRepPrimAPI_MakeCylinder.hxx>
#include <BRepTools.hxx>
#include <IGESControl_Writer.hxx>
#include <STEPControl_Writer.hxx>
#include <TopExp_Explorer.hxx>
#include <TopoDS.hxx>

#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <sstream>

namespace fs = std::filesystem;

namespace
{
std::string ReadText(const fs::path& path)
{
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void WriteText(const fs::path& path, const std::string& text)
{
  fs::create_directories(path.parent_path());
  std::ofstream(path, std::ios::binary) << text;
}

// A JSON object, a NUL byte, then the display-tree file it names: the input of the entity targets.
std::string WithTree(const Json::Value& object, const std::string& treeFile)
{
  return object.toStyledString() + std::string(1, '\0') + ReadText(treeFile);
}

std::shared_ptr<MeshData> Tetrahedron()
{
  const Handle(Poly_Triangulation) tri = new Poly_Triangulation(4, 4, false);
  tri->SetNode(1, gp_Pnt(0, 0, 0));
  tri->SetNode(2, gp_Pnt(10, 0, 0));
  tri->SetNode(3, gp_Pnt(0, 10, 0));
  tri->SetNode(4, gp_Pnt(0, 0, 10));
  tri->SetTriangle(1, Poly_Triangle(1, 3, 2));
  tri->SetTriangle(2, Poly_Triangle(1, 2, 4));
  tri->SetTriangle(3, Poly_Triangle(2, 3, 4));
  tri->SetTriangle(4, Poly_Triangle(3, 1, 4));
  return MeshData::FromTriangulation(tri, gp_Trsf());
}

// A root over a box with one painted face, a mesh part and a point-cloud part.
Handle(ShapeEntity) SmallTree(bool withMeshAndCloud)
{
  Handle(ShapeEntity) root = new ShapeEntity(TopoDS_Shape(), Uuid::CreateUuid());
  root->SetName("cell");
  const TopoDS_Shape box = BRepPrimAPI_MakeBox(10.0, 20.0, 30.0).Shape();
  std::vector<Handle(ViewShape)> parts{new ShapeEntity(box, Uuid::CreateUuid())};
  parts.back()->SetName("box");
  gp_Trsf placement;
  placement.SetTranslation(gp_Vec(100.0, 0.0, 0.0));
  parts.back()->SetLocalTransformation(placement);
  parts.back()->SetColor(Quantity_Color(0.3, 0.3, 0.7, Quantity_TOC_RGB));
  parts.back()->SetCustomColor(TopExp_Explorer(box, TopAbs_FACE).Current(),
                               Quantity_Color(0.1, 0.5, 0.25, Quantity_TOC_RGB));
  if (withMeshAndCloud)
  {
    const Handle(mesh::AIS_Mesh) meshObject = new mesh::AIS_Mesh();
    meshObject->AddMesh(Tetrahedron());
    Handle(ShapeEntity) meshPart = new ShapeEntity(TopoDS_Shape(), Uuid::CreateUuid());
    meshPart->CreateMeshData(meshObject->ToJson());
    meshPart->SetName("mesh");
    parts.push_back(meshPart);
    const Handle(CloudShape) cloud = new CloudShape();
    cloud->SetPoints({gp_Pnt(0, 0, 0), gp_Pnt(1.5, -2, 3), gp_Pnt(1e3, 0.25, -7)});
    Handle(ShapeEntity) cloudPart = new ShapeEntity(TopoDS_Shape(), Uuid::CreateUuid());
    cloudPart->CreateCloudData(Json::Value(cloud->PCDToString()));
    cloudPart->SetName("cloud");
    parts.push_back(cloudPart);
  }
  root->AddShapeListToAISChilde(parts);
  return root;
}

void WriteParts(const fs::path& corpus)
{
  const TopoDS_Shape box = BRepPrimAPI_MakeBox(10.0, 20.0, 30.0).Shape();
  const TopoDS_Shape cylinder = BRepPrimAPI_MakeCylinder(5.0, 12.0).Shape();
  const fs::path scratch = fs::temp_directory_path() / "workpiece-seed-parts";
  fs::create_directories(scratch);
  // The target's first byte picks the format: 0 BREP, 1 STEP, 2 IGES.
  for (const auto& [name, shape] : {std::pair{"box", box}, std::pair{"cylinder", cylinder}})
  {
    std::ostringstream brep;
    BRepTools::Write(shape, brep);
    WriteText(corpus / "fuzz_part" / (std::string(name) + ".brep"), std::string(1, '\0') + brep.str());
    STEPControl_Writer step;
    step.Transfer(shape, STEPControl_AsIs);
    step.Write((scratch / "part.step").c_str());
    WriteText(corpus / "fuzz_part" / (std::string(name) + ".step"), "\1" + ReadText(scratch / "part.step"));
    IGESControl_Writer iges("MM", 1);
    iges.AddShape(shape);
    iges.Write((scratch / "part.iges").c_str());
    WriteText(corpus / "fuzz_part" / (std::string(name) + ".iges"), "\2" + ReadText(scratch / "part.iges"));
  }
  fs::remove_all(scratch);
}

void WriteTreesAndEntities(const fs::path& corpus)
{
  const fs::path scratch = fs::temp_directory_path() / "workpiece-seed-trees/";
  fs::create_directories(scratch);
  for (const bool full : {false, true})
  {
    const std::string name = full ? "parts" : "box";
    const Handle(ShapeEntity) tree = SmallTree(full);
    WriteText(corpus / "fuzz_viewshape" / (name + ".json"),
              ViewShapeUtil::ExportToJson(tree, false).toStyledString());
    Entity entity;
    entity.SetEntityShape(tree);
    const Json::Value object = entity.ToJson(scratch.string());
    const std::string treeFile = scratch.string() + object["ShapeEntityPath"].asString();
    WriteText(corpus / "fuzz_entity" / (name + ".bin"), WithTree(object, treeFile));
  }
  const Handle(mesh::AIS_Mesh) meshObject = new mesh::AIS_Mesh();
  meshObject->AddMesh(Tetrahedron(), 0);
  meshObject->AddMesh(Tetrahedron(), 2);
  WriteText(corpus / "fuzz_mesh" / "layers.json", meshObject->ToJson().toStyledString());
  WriteText(corpus / "fuzz_mesh" / "tetrahedron.json", Tetrahedron()->ToJson().toStyledString());
  const Handle(CloudShape) cloud = new CloudShape();
  cloud->SetPoints({gp_Pnt(0.1, 1.0 / 3.0, -2.5e-7), gp_Pnt(1e6, -0.0, 42)});
  WriteText(corpus / "fuzz_pcd" / "two.pcd", cloud->PCDToString());
  fs::remove_all(scratch);
}

// The example cell's mechanisms, each with its display tree, and the torch as a package.
void WriteMechanisms(const fs::path& corpus, const fs::path& cell)
{
  const fs::path scratch = fs::temp_directory_path() / "workpiece-seed-mechanisms";
  fs::create_directories(scratch);
  for (const char* name : {"torch", "positioner", "robot"})
  {
    Json::Value json = DataHandle::LoadJson((cell / (std::string(name) + ".json")).string());
    const std::string tree = (cell / json["ShapeEntityPath"].asString()).string();
    WriteText(corpus / "fuzz_mechanism" / (std::string(name) + ".bin"), WithTree(json, tree));
    if (std::string(name) != "torch")
      continue;
    json["ShapeEntityPath"] = tree;
    GenericEntityConfig torch;
    torch.LoadFromJson(json);
    const fs::path package = scratch / "torch.7z";
    GenericEntityConfig::ExportEntityPkg(&torch, package.string());
    WriteText(corpus / "fuzz_package" / "torch.7z", ReadText(package));
  }
  fs::remove_all(scratch);
}
} // namespace

int main(int argc, char** argv)
{
  if (argc != 3)
  {
    std::cerr << "usage: fuzz_seed_writer <corpus folder> <examples/cell folder>\n";
    return 2;
  }
  const fs::path corpus(argv[1]);
  WriteParts(corpus);
  WriteTreesAndEntities(corpus);
  WriteMechanisms(corpus, argv[2]);
  return 0;
}
