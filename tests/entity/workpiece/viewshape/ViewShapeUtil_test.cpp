#include <entity/ViewShapeUtil.h>

#include <cadtools/DataHandle.h>

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
  leaf->SetCustomColor(ViewTrees::Face(box, 4), Quantity_Color(0.9, 0.1, 0.1, Quantity_TOC_RGB));
  const Json::Value json = ViewShapeUtil::ExportToJson(leaf, false);
  EXPECT_EQ(json["uuid"].asString(), leaf->GetId().ToString());
  EXPECT_TRUE(json["childs"].isNull());
  EXPECT_EQ(json["ModelType"].asInt(), 0);
  EXPECT_DOUBLE_EQ(json["MinGap"].asDouble(), 1.5);
  EXPECT_EQ(json["trsf"].size(), 12u);
  EXPECT_EQ(json["color"].size(), 3u);
  const Json::Value& layer = json["ColorLayer"];
  const Json::Value& faces = layer["FaceColorList"];
  EXPECT_EQ(faces.getMemberNames(), (std::vector<std::string>{"2", "4", "5"}));
  EXPECT_EQ(faces["2"]["ColorIndex"], faces["5"]["ColorIndex"]);
  EXPECT_NE(faces["2"]["ColorIndex"], faces["4"]["ColorIndex"]);
  EXPECT_EQ(layer["Colors"].size(), 2u);
  const Json::Value& shared = layer["Colors"][faces["2"]["ColorIndex"].asString()];
  EXPECT_NEAR(shared[0].asDouble(), 0.2501, 1e-6) << "the first colour seen is kept";
  for (const char* list : {"ShellColorList", "SolidColorList", "CSolidColorList", "CPSolidColorList"})
    EXPECT_TRUE(layer[list].isObject() && layer[list].empty()) << list;

  // Children that need no saving are left out; with none left the list is empty, not null.
  Handle(ShapeEntity) parent = Part(Solids::Box(5, 5, 5));
  Handle(ShapeEntity) skipped = Part(Solids::Box(1, 1, 1));
  skipped->SetNeedSave(false);
  parent->AddShapeListToAISChilde({skipped});
  Json::Value withSkipped = ViewShapeUtil::ExportToJson(parent, false);
  EXPECT_TRUE(withSkipped["childs"].isArray());
  EXPECT_TRUE(withSkipped["childs"].empty());
  parent->AddShapeListToAISChilde({leaf});
  EXPECT_EQ(ViewShapeUtil::ExportToJson(parent, true)["childs"][0], json);
  EXPECT_TRUE(ViewShapeUtil::ExportToJson(Handle(ViewShape)(), false).isNull());
}

TEST(ViewShapeUtil, TreeRoundTripGivesTheSameJson)
{
  Handle(ShapeEntity) root = ViewTrees::BoxTree(4);
  const auto parts = root->GetAllSubViewShapes();
  parts[1]->SetCollisionGap(0.25);
  parts[2]->AddShapeListToAISChilde({Part(Solids::LSolid(20, 5, 8))});
  parts[3]->SetSubShapeAspect(TopExp_Explorer(parts[3]->GetEntityShape(), TopAbs_SOLID).Current(),
                              Quantity_Color(0.4, 0.4, 0.4, Quantity_TOC_RGB), 0.3, Graphic3d_NameOfMaterial_Gold);
  const Json::Value json = ViewShapeUtil::ExportToJson(root, true);
  Handle(ShapeEntity) back = ViewShapeUtil::LoadFromJson(json);
  ASSERT_FALSE(back.IsNull());
  EXPECT_EQ(ViewShapeUtil::ExportToJson(back, true), json);
  EXPECT_TRUE(back->GetUpdateLayerFlag());
  EXPECT_TRUE(back->Attributes()->FaceBoundaryDraw());
  const auto backParts = back->GetAllSubViewShapes();
  ASSERT_EQ(backParts.size(), 5u);
  EXPECT_EQ(backParts[3]->Parent(), backParts[2].get());
  for (const auto& p : backParts)
    EXPECT_TRUE(BRepCheck_Analyzer(p->GetEntityShape()).IsValid());
  EXPECT_DOUBLE_EQ(backParts[1]->GetCollisionGap(), 0.25);

  const std::string dir = ViewTrees::TempDir("viewshape");
  EXPECT_TRUE(ViewShapeUtil::ExportToFile(root, dir + "a/b/tree.json", true));
  EXPECT_EQ(DataHandle::LoadJson(dir + "a/b/tree.json").toStyledString(), json.toStyledString());
  // A write that cannot happen still answers true.
  EXPECT_TRUE(ViewShapeUtil::ExportToFile(root, dir + "a/b/tree.json/inside.json", true));
  EXPECT_FALSE(std::filesystem::exists(dir + "a/b/tree.json/inside.json"));
  std::filesystem::remove_all(dir);
}

TEST(ViewShapeUtil, MeshAndCloudModelsRoundTrip)
{
  Handle(ShapeEntity) meshPart = Part(TopoDS_Shape());
  Handle(mesh::AIS_Mesh) source = new mesh::AIS_Mesh();
  auto quad = std::make_shared<MeshData>();
  quad->Vertices = {gp_XYZ(0, 0, 0), gp_XYZ(1, 0, 0), gp_XYZ(1, 1, 0), gp_XYZ(0, 1, 0)};
  quad->Triangles = {{0, 1, 2}, {0, 2, 3}};
  source->AddMesh(quad, 2);
  meshPart->CreateMeshData(source->ToJson());
  meshPart->AddShapeListToAISChilde({Part(Solids::Box(1, 1, 1))});
  const Json::Value meshJson = ViewShapeUtil::ExportToJson(meshPart, false);
  EXPECT_EQ(meshJson["data"], source->ToJson());
  EXPECT_TRUE(meshJson["childs"].isNull());
  EXPECT_FALSE(meshJson.isMember("ColorLayer"));
  Handle(ShapeEntity) meshBack = ViewShapeUtil::LoadFromJson(meshJson);
  ASSERT_FALSE(meshBack.IsNull());
  EXPECT_EQ(meshBack->GetModelType(), 1);
  EXPECT_EQ(meshBack->GetMesh()->NbTriangles(), 2);
  EXPECT_EQ(ViewShapeUtil::ExportToJson(meshBack, false), meshJson);

  Handle(ShapeEntity) cloudPart = Part(TopoDS_Shape());
  Handle(CloudShape) cloud = new CloudShape();
  cloud->SetPoints({gp_Pnt(0.5, 0.25, 0.125), gp_Pnt(-1, -2, -3)});
  cloudPart->CreateCloudData(Json::Value(cloud->PCDToString()));
  Handle(ShapeEntity) root = Part(Solids::Box(2, 2, 2));
  root->AddShapeListToAISChilde({meshPart, cloudPart});
  const Json::Value json = ViewShapeUtil::ExportToJson(root, false);
  EXPECT_EQ(json["childs"][1]["data"].asString(), cloud->PCDToString());
  EXPECT_FALSE(json["childs"][1].isMember("ColorLayer"));
  Handle(ShapeEntity) back = ViewShapeUtil::LoadFromJson(json);
  ASSERT_FALSE(back.IsNull());
  EXPECT_EQ(ViewShapeUtil::ExportToJson(back, false), json);
  EXPECT_EQ(back->GetAllSubViewShapes()[1]->GetCloudShape()->Points().size(), 2u);

  // A mesh model whose mesh is missing is written like a shape model.
  Handle(ShapeEntity) hollow = Part(Solids::Box(1, 1, 1));
  hollow->SetModelType(1);
  const Json::Value hollowJson = ViewShapeUtil::ExportToJson(hollow, false);
  EXPECT_TRUE(hollowJson["data"].isString());
  EXPECT_TRUE(hollowJson.isMember("ColorLayer"));
}

TEST(ViewShapeUtil, MalformedObjectsAndValidity)
{
  Handle(ShapeEntity) root = ViewTrees::BoxTree(2);
  const Json::Value json = ViewShapeUtil::ExportToJson(root, false);
  Json::Value truncated = json;
  const std::string brep = truncated["childs"][0]["data"].asString();
  truncated["childs"][0]["data"] = brep.substr(0, brep.size() / 3);
  EXPECT_TRUE(ViewShapeUtil::LoadFromJson(truncated).IsNull());
  Json::Value garbage = json;
  garbage["childs"][1]["data"] = "not a shape";
  EXPECT_TRUE(ViewShapeUtil::LoadFromJson(garbage).IsNull());
  Json::Value badChild = json;
  badChild["childs"][0] = 5;
  EXPECT_TRUE(ViewShapeUtil::LoadFromJson(badChild).IsNull());
  Json::Value badMesh = json;
  badMesh["childs"][0]["ModelType"] = 1;
  badMesh["childs"][0]["data"] = Json::Value(Json::objectValue);
  EXPECT_TRUE(ViewShapeUtil::LoadFromJson(badMesh).IsNull());
  EXPECT_TRUE(ViewShapeUtil::LoadFromJson(Json::Value()).IsNull());
  EXPECT_TRUE(ViewShapeUtil::LoadFromJson(Json::Value(Json::arrayValue)).IsNull());
  // Odd members fall back to defaults rather than failing the load.
  Json::Value odd = json;
  odd["trsf"] = "none";
  odd["color"] = Json::Value(Json::arrayValue);
  odd["MinGap"] = "wide";
  EXPECT_FALSE(ViewShapeUtil::LoadFromJson(odd).IsNull());

  EXPECT_FALSE(ViewShapeUtil::CheckShapeValid(Handle(ShapeEntity)()));
  EXPECT_TRUE(ViewShapeUtil::CheckShapeValid(root));
  EXPECT_TRUE(ViewShapeUtil::CheckShapeValid(Part(Solids::Box(1, 1, 1))));
  EXPECT_FALSE(ViewShapeUtil::CheckShapeValid(Part(TopoDS_Shape())));
  Handle(ShapeEntity) counted = Part(TopoDS_Shape());
  const int references = counted->GetRefCount();
  ViewShapeUtil::CheckShapeValid(counted);
  EXPECT_EQ(counted->GetRefCount(), references);
}
