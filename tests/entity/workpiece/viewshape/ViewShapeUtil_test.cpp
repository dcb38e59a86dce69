#include <entity/Entity.h>
#include <entity/ViewShapeUtil.h>

#include <cadtools/DataHandle.h>

#include "support/LogCapture.h"
#include "support/Solids.h"
#include "support/ViewTrees.h"

#include <BRepCheck_Analyzer.hxx>
#include <TopExp_Explorer.hxx>

#include <gtest/gtest.h>

#include <filesystem>

namespace
{
Handle(ShapeEntity) Part(const TopoDS_Shape& shape)
{
  return new ShapeEntity(shape, Uuid::CreateUuid());
}
} // namespace

TEST(ViewShapeUtil, MembersChildrenAndColourLayer)
{
  const TopoDS_Shape box = Solids::Box(1, 2, 3);
  Handle(ShapeEntity) leaf = Part(box);
  leaf->SetCollisionGap(1.5);
  // Faces 2 and 5 differ beyond the third decimal only; face 4 has a colour of its own.
  leaf->SetCustomColor(ViewTrees::Face(box, 2), Quantity_Color(0.2501, 0.5, 0.7501, Quantity_TOC_RGB));
  leaf->SetCustomColor(ViewTrees::Face(box, 5), Quantity_Color(0.2502, 0.5, 0.7502, Quantity_TOC_RGB));
  leaf->SetCustomColor(ViewTrees::Face(box, 4), Quantity_Color(0.25, 0.5, 0.75, Quantity_TOC_RGB));
  const Json::Value json = ViewShapeUtil::ExportToJson(leaf, false);
  EXPECT_TRUE(json["childs"].isNull() && json["MinGap"].asDouble() == 1.5);
  const Json::Value& layer = json["ColorLayer"];
  const Json::Value& faces = layer["FaceColorList"];
  EXPECT_EQ(faces.getMemberNames(), (std::vector<std::string>{"2", "4", "5"}));
  EXPECT_TRUE(faces["2"]["ColorIndex"] == faces["5"]["ColorIndex"] && layer["Colors"].size() == 2u);
  EXPECT_EQ(faces["4"]["ColorIndex"].asUInt64(), 5911274405151450171ULL) << "the mix of 250, 500, 750 worked out apart";
  EXPECT_NEAR(layer["Colors"][faces["2"]["ColorIndex"].asString()][0].asDouble(), 0.2501, 1e-6) << "first seen kept";
  for (const char* list : {"ShellColorList", "SolidColorList", "CSolidColorList", "CPSolidColorList"})
    EXPECT_TRUE(layer[list].isObject() && layer[list].empty()) << list;

  // Children that need no saving are left out; with none left the list is empty, not null. Children
  // are written without clean-up; a mesh model without its mesh is written as a shape.
  Handle(ShapeEntity) parent = Part(Solids::Box(5, 5, 5)), skipped = Part(Solids::Box(1, 1, 1));
  skipped->SetNeedSave(false);
  parent->AddShapeListToAISChilde({skipped});
  EXPECT_EQ(ViewShapeUtil::ExportToJson(parent, false)["childs"], Json::Value(Json::arrayValue));
  parent->AddShapeListToAISChilde({leaf});
  leaf->SetModelType(1);
  EXPECT_EQ(ViewShapeUtil::ExportToJson(parent, true)["childs"][0]["ColorLayer"], json["ColorLayer"]);
  EXPECT_TRUE(ViewShapeUtil::ExportToJson(Handle(ViewShape)(), false).isNull());
  // Checking validity hands the handle back: the caller's stays the only one.
  const Handle(ShapeEntity) empty = Part(TopoDS_Shape());
  EXPECT_TRUE(!ViewShapeUtil::CheckShapeValid(Handle(ShapeEntity)()) && ViewShapeUtil::CheckShapeValid(ViewTrees::BoxTree(1)) &&
              ViewShapeUtil::CheckShapeValid(Part(Solids::Box(1, 1, 1))) && !ViewShapeUtil::CheckShapeValid(empty) && empty->GetRefCount() == 1);
}

TEST(ViewShapeUtil, TreesRoundTripThroughFiles)
{
  Handle(ShapeEntity) root = ViewTrees::BoxTree(4);
  const auto parts = root->GetAllSubViewShapes();
  parts[1]->SetCollisionGap(0.25);
  parts[2]->AddShapeListToAISChilde({Part(Solids::LSolid(20, 5, 8))});
  parts[3]->SetSubShapeAspect(TopExp_Explorer(parts[3]->GetEntityShape(), TopAbs_SOLID).Current(),
                              Quantity_Color(0.4, 0.4, 0.4, Quantity_TOC_RGB), 0.3, Graphic3d_NameOfMaterial_Gold);
  // A mesh model and a point cloud beside the shapes.
  Handle(ShapeEntity) meshPart = Part(TopoDS_Shape()), cloudPart = Part(TopoDS_Shape());
  meshPart->CreateMeshData(ViewTrees::Triangle()->ToJson());
  meshPart->AddShapeListToAISChilde({Part(Solids::Box(1, 1, 1))});
  Handle(CloudShape) cloud = new CloudShape();
  cloud->SetPoints({gp_Pnt(0.5, 0.25, 0.125), gp_Pnt(-1, -2, -3)});
  cloudPart->CreateCloudData(Json::Value(cloud->PCDToString()));
  root->AddShapeListToAISChilde({meshPart, cloudPart});

  const std::string dir = ViewTrees::TempDir("viewshape");
  ASSERT_TRUE(ViewShapeUtil::ExportToFile(root, dir + "a/b/tree.json", true));
  // Compared as text: a small unsigned number reads back as a signed one.
  const Json::Value json = DataHandle::LoadJson(dir + "a/b/tree.json");
  EXPECT_EQ(json.toStyledString(), ViewShapeUtil::ExportToJson(root, true).toStyledString());
  const Json::Value& mesh = json["childs"][4];
  EXPECT_TRUE(mesh["childs"].isNull() && !mesh.isMember("ColorLayer")) << "a mesh model writes its mesh alone";

  Handle(ShapeEntity) back = ViewShapeUtil::LoadFromJson(json);
  ASSERT_FALSE(back.IsNull());
  EXPECT_EQ(ViewShapeUtil::ExportToJson(back, true).toStyledString(), json.toStyledString());
  EXPECT_TRUE(back->GetUpdateLayerFlag() && back->Attributes()->FaceBoundaryDraw());
  const auto backParts = back->GetAllSubViewShapes();
  ASSERT_EQ(backParts.size(), 7u) << "four boxes, the L solid, the mesh and the cloud";
  for (const std::size_t i : {0, 1, 2, 3, 4})
    EXPECT_TRUE(BRepCheck_Analyzer(backParts[i]->GetEntityShape()).IsValid()) << i;
  EXPECT_TRUE(backParts[3]->Parent() == backParts[2].get() && backParts[5]->GetMesh()->NbTriangles() == 1 &&
              backParts[6]->GetCloudShape()->Points().size() == 2u);
  std::filesystem::remove_all(dir);
}

TEST(ViewShapeUtil, FailedSavesAndLoadsAreReported)
{
  LogCapture log;
  Handle(ShapeEntity) root = ViewTrees::BoxTree(2);
  // The answer stays true for callers that go on saving the rest of a project; the log tells.
  EXPECT_TRUE(ViewShapeUtil::ExportToFile(root, "/proc/workpiece/tree.json", false));
  EXPECT_TRUE(log.Contains(SPDLOG_LEVEL_ERROR, "模型实体保存错误：/proc/workpiece/tree.json", "ViewShapeUtil::ExportToFile"));
  Entity entity;
  entity.SetRootMdl(root);
  const std::string path = "/proc/entity/" + root->GetId().ToString() + ".json";
  EXPECT_EQ("/proc/" + entity.ToJson("/proc/")["ShapeEntityPath"].asString(), path);
  EXPECT_TRUE(log.Contains(SPDLOG_LEVEL_ERROR, "模型实体保存错误：" + path, "ViewShapeUtil::ExportToFile"));

  // A node that cannot be read fails the whole tree, naming the node.
  const Json::Value good = ViewShapeUtil::ExportToJson(root, false);
  Json::Value truncated = good, garbage = good, badChild = good, badMesh = good, noSurface = good;
  const std::string brep = good["childs"][0]["data"].asString();
  truncated["childs"][0]["data"] = brep.substr(0, brep.size() / 3);
  // A face whose surface index lies past the surfaces read: loaded, it crashed the seam extractor.
  const std::size_t face = brep.find("\nFa\n");
  const std::size_t surface = brep.find(' ', brep.find_first_not_of(' ', brep.find("  ", face) + 2));
  ASSERT_TRUE(face != std::string::npos && surface != std::string::npos);
  noSurface["childs"][0]["data"] = brep.substr(0, surface) + " 999" + brep.substr(brep.find(' ', surface + 1));
  garbage["childs"][0]["data"] = "not a shape";
  badMesh["childs"][0]["ModelType"] = 1;
  badMesh["childs"][0]["data"] = Json::Value(Json::objectValue);
  const std::string node = "显示模型节点读取错误：" + good["childs"][0]["uuid"].asString();
  badChild["childs"][0] = 5;
  for (const auto& [bad, message] : std::vector<std::pair<Json::Value, std::string>>{
         {truncated, node}, {garbage, node}, {badMesh, node}, {noSurface, node}, {badChild, "显示模型数据格式错误"},
         {Json::Value(), "显示模型数据格式错误"}, {Json::Value(Json::arrayValue), "显示模型数据格式错误"}})
  {
    LogCapture one;
    EXPECT_TRUE(ViewShapeUtil::LoadFromJson(bad).IsNull());
    EXPECT_TRUE(one.Contains(SPDLOG_LEVEL_ERROR, message, "ViewShapeUtil::LoadFromJson")) << message;
  }

  // Odd members fall back to defaults rather than failing the load.
  Json::Value odd = good;
  odd["trsf"] = odd["color"] = odd["MinGap"] = "odd";
  EXPECT_FALSE(ViewShapeUtil::LoadFromJson(odd).IsNull());
}
