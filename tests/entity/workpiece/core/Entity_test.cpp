#include <entity/Entity.h>
#include <entity/ViewShapeUtil.h>

#include <cadtools/DataHandle.h>
#include <cadtools/ShapeHandle.h>
#include <cadtools/WorkpieceError.h>
#include <cadtools/gpHandle.h>
#include <mesh/MeshProcessTools.h>
#include <view/CADView.h>

#include "support/ErrorText.h"
#include "support/LogCapture.h"
#include "support/Solids.h"
#include "support/ViewTrees.h"

#include <BRepBndLib.hxx>
#include <BRep_Builder.hxx>
#include <Bnd_Box.hxx>
#include <TopExp.hxx>
#include <TopTools_IndexedMapOfShape.hxx>
#include <TopoDS_Compound.hxx>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <functional>
#include <set>

namespace
{
constexpr double Tol = 1e-9;

// Opens the protected operations of Entity to the tests.
class OpenEntity : public Entity
{
public:
  using Entity::CheckSameShps;
  using Entity::IsLoadMeshModel;
};
} // namespace

TEST(Entity, SavesAndLoadsItsDisplayTreeAndReportsFailedLoads)
{
  const std::string dir = ViewTrees::TempDir("entity");
  OpenEntity entity;
  Handle(ShapeEntity) root = ViewTrees::BoxTree(3);
  root->SetPrimitiveProperty("bench", Uuid::CreateUuid());
  entity.SetEntityShape(root);
  const gp_Trsf placement = ViewTrees::Placement(500, -20, 7, 33);
  entity.SetRootMdlTrsf(placement);
  Json::Value json = entity.ToJson(dir);
  EXPECT_TRUE(gpHandle::IsSameTrsf(root->LocalTransformation(), placement, Tol)) << "the save keeps the placement";
  const std::string path = "entity/" + root->GetId().ToString() + ".json";
  ASSERT_TRUE(json["ShapeEntityPath"].asString() == path && json["SubID"].size() == 3u) << json.toStyledString();
  for (Json::ArrayIndex i = 0; i < 3; ++i)
    EXPECT_EQ(entity.GetPart(json["SubID"][i]["Index"].asUInt64())->GetId().ToString(), json["SubID"][i]["ID"].asString());
  Json::Value file = DataHandle::LoadJson(dir + path);
  EXPECT_TRUE(gpHandle::IsSameTrsf(DataHandle::JsonArrToTrsf(file["trsf"]), gp_Trsf(), Tol)) << "saved in the own frame";
  json["ShapeEntityPath"] = dir + path;
  OpenEntity loaded;
  loaded.LoadFromJson(json);
  ASSERT_FALSE(loaded.GetRootMdl().IsNull());
  EXPECT_TRUE(loaded.GetRootMdlPrimitiveID() == root->GetPrimitiveId() && loaded.GetHashIndex() == entity.GetHashIndex());
  EXPECT_EQ(ViewShapeUtil::ExportToJson(loaded.GetRootMdl(), true).toStyledString(), file.toStyledString())
    << "saving the loaded tree writes the same file: ids, placements and painted faces";
  // A missing or truncated file is reported, and the rest of the object is not applied.
  const std::string brep = file["childs"][1]["data"].asString();
  file["childs"][1]["data"] = brep.substr(0, brep.size() / 2);
  ASSERT_TRUE(DataHandle::SaveJson(file, dir + "truncated.json"));
  json["Name"] = "renamed";
  for (const std::string& bad : {dir + "missing.json", dir + "truncated.json"})
  {
    json["ShapeEntityPath"] = bad;
    const auto parts = loaded.GetSubMdls();
    LogCapture log;
    loaded.LoadFromJson(json);
    EXPECT_TRUE(log.Contains(4, "模型实体加载错误", "Entity::LoadFromJson")) << bad;
    EXPECT_TRUE(loaded.GetSubMdls() == parts && loaded.GetName() == "cell") << bad;
  }
  json.removeMember("ShapeEntityPath");
  loaded.LoadFromJson(json);
  EXPECT_EQ(loaded.GetName(), "renamed") << "without a file the identity is applied to the root there is";
  OpenEntity bare;
  bare.SetRootMdl(new ShapeEntity(Solids::Box(1, 1, 1), Uuid::CreateUuid()));
  EXPECT_TRUE(!bare.ToJson("").isMember("ShapeEntityPath") && bare.ToJson("")["SubID"].isNull());
  std::filesystem::remove_all(dir);
}

TEST(Entity, HashIndexPartLookupAndHide)
{
  OpenEntity entity;
  Handle(ShapeEntity) root = ViewTrees::BoxTree(2);
  entity.SetRootMdl(root);
  const unsigned long long first = ViewShape::HashIndexOf(root->GetId());
  EXPECT_EQ(entity.GetHashIndex(), first);
  root->SetId(Uuid::CreateUuid());
  EXPECT_EQ(entity.GetHashIndex(), first) << "cached once computed";
  entity.SetHashIndex(7);
  EXPECT_TRUE(root->GetHashIndex() == 7u && entity.GetPart(0) == root);
  const std::string key = "map传入key错误，数据不在范围内";
  for (const auto& call : std::vector<std::function<void()>>{
         [&] { entity.GetPart(12345); }, [&] { entity.RemoveSubMdl(12345); }, [&] { entity.Hide(99); }})
  {
    LogCapture log;
    EXPECT_EQ(ErrorText(call), "Entity::GetPart" + key);
    EXPECT_TRUE(log.Contains(5, key, "Entity::GetPart"));
  }
  // A second tree keeps the parts of the first; a display child that is no part is kept as null.
  Handle(ShapeEntity) second = ViewTrees::BoxTree(1);
  const Handle(ViewShape) plain = new ViewShape(Solids::Box(1, 1, 1), Uuid::CreateUuid());
  second->AddShapeListToAISChilde({plain});
  const auto firstParts = entity.GetSubMdls();
  entity.SetRootMdl(second);
  EXPECT_TRUE(entity.GetSubMdls().size() == 4u && entity.GetPart(plain->GetHashIndex()).IsNull());
  for (const auto& [index, part] : firstParts)
    EXPECT_EQ(entity.GetPart(index), part);
  // Hide toggles the display and the taking part in collision checks.
  const Handle(ShapeEntity) part = firstParts.begin()->second;
  CADView view;
  part->SetCADView(&view), part->Display(), part->SetCollisionActive(true);
  entity.Hide(part->GetHashIndex());
  EXPECT_FALSE(part->IsDisplayed() || part->IsCollisionActive());
  entity.Hide(part->GetHashIndex()), entity.Hide(plain->GetHashIndex());
  EXPECT_TRUE(part->IsDisplayed() && part->IsCollisionActive());
  part->RemoveFromView();
}

TEST(Entity, SameBodiesAreCopiedColoursMergedAndMeshLeavesFound)
{
  const TopoDS_Shape box = Solids::Box(3, 3, 3);
  Handle(ShapeEntity) root = ViewTrees::BoxTree(2);
  for (int i = 0; i < 2; ++i)
    root->AddShapeListToAISChilde({new ShapeEntity(box.Moved(TopLoc_Location(ViewTrees::Placement(10 * i, 0, 0, 0))), Uuid::CreateUuid())});
  OpenEntity entity;
  entity.SetRootMdl(root);
  const auto bodies = [&entity] {
    std::set<const TopoDS_TShape*> tshapes;
    for (const auto& [index, part] : entity.GetSubMdls())
      tshapes.insert(part->GetEntityShape().TShape().get());
    return tshapes;
  };
  const std::set<const TopoDS_TShape*> before = bodies();
  entity.CheckSameShps();
  const std::set<const TopoDS_TShape*> after = bodies();
  EXPECT_TRUE(before.size() == 3u && after.size() == 4u) << "no two parts share a body after the check";
  EXPECT_TRUE(std::includes(after.begin(), after.end(), before.begin(), before.end())) << "the first keeps its body";
  // Part 1 also paints the face painted in part 0; the later part in index order wins.
  const auto subs = root->GetAllSubViewShapes();
  const TopoDS_Shape shared = ViewTrees::Face(subs[0]->GetEntityShape(), 0);
  subs[1]->SetCustomColor(shared, Quantity_Color(Quantity_NOC_GREEN));
  const auto colours = entity.GetAllSubModelsColors();
  const Handle(ViewShape) later = subs[0]->GetHashIndex() < subs[1]->GetHashIndex() ? subs[1] : subs[0];
  EXPECT_TRUE(colours.Size() == 2 && colours.Find(shared) == later->CustomAspectsMap().Find(shared));
  // Mesh leaves below nested parts, depth first; a mesh with children is no leaf.
  Handle(mesh::AIS_Mesh) m1 = new mesh::AIS_Mesh(), m2 = new mesh::AIS_Mesh(), m3 = new mesh::AIS_Mesh();
  subs[0]->AddChild(m1), subs[1]->AddChild(m2), m2->AddChild(m3);
  EXPECT_EQ(Entity::GetMeshSubModels(root), (std::vector<Handle(mesh::AIS_Mesh)>{m1, m3}));
}

TEST(Entity, TakeOverRemovesSmallBodiesAndBuildsTheWholeMesh)
{
  // A 10 mm box, a 1 mm³ cube at x = 20 and a speck at x = 40, under a mirrored placement (common
  // in assemblies, which the cleaned compound must keep), beside a turned 1 × 2 × 3 box at x = 50.
  gp_Trsf mirror;
  mirror.SetMirror(gp_Ax2(gp::Origin(), gp::DX()));
  BRep_Builder builder;
  TopoDS_Compound bodies;
  builder.MakeCompound(bodies);
  builder.Add(bodies, Solids::Box(10, 10, 10));
  builder.Add(bodies, Solids::Moved(Solids::Box(1, 1, 1), ViewTrees::Placement(20, 0, 0, 0)));
  builder.Add(bodies, Solids::Moved(Solids::Box(1e-3, 1e-3, 1e-3), ViewTrees::Placement(40, 0, 0, 0)));
  bodies.Location(TopLoc_Location(mirror), false);
  unsigned long long hash = 0;
  for (const auto& [smallVolume, solids, area] : std::vector<std::tuple<double, int, double>>{{0.0, 2, 606}, {1.0, 1, 600}})
  {
    Handle(ShapeEntity) root = new ShapeEntity(TopoDS_Shape(), Uuid::CreateUuid());
    Handle(ShapeEntity) part = new ShapeEntity(bodies, Uuid::CreateUuid());
    Handle(ShapeEntity) turned = new ShapeEntity(Solids::Box(1, 2, 3), Uuid::CreateUuid());
    turned->SetLocalTransformation(ViewTrees::Placement(50, 0, 0, 90));
    root->AddShapeListToAISChilde({part, turned});
    const LogCapture log;
    OpenEntity entity;
    entity.SetSmallBodyVolume(smallVolume);
    entity.SetEntityShape(root);
    hash = entity.GetHashIndex();
    TopTools_IndexedMapOfShape kept;
    TopExp::MapShapes(part->GetEntityShape(), TopAbs_SOLID, kept);
    EXPECT_TRUE(log.Messages().empty() && kept.Extent() == solids) << smallVolume;
    Bnd_Box box;
    BRepBndLib::Add(part->GetEntityShape(), box);
    EXPECT_NEAR(box.CornerMin().X(), solids == 2 ? -21.0 : -10.0, 1e-6) << "the bodies lie mirrored across x = 0";
    const auto whole = entity.GetMeshPtr();
    EXPECT_TRUE(MeshProcessTools::IsWatertight(*whole) && Entity::GetRegisteredMesh(hash) == whole);
    EXPECT_NEAR(MeshProcessTools::Area(*whole), area + 22.0, 1e-6);
    entity.UpdateWatertightMeshModel(Solids::Box(2, 2, 2), true, false);
    EXPECT_NEAR(MeshProcessTools::Area(*entity.GetMeshPtr()), 24.0, 1e-9);
    EXPECT_TRUE(!entity.IsLoadMeshModel() && Entity::GetRegisteredMesh(hash) == entity.GetMeshPtr());
  }
  EXPECT_EQ(Entity::GetRegisteredMesh(hash), nullptr) << "the destructor drops the registry entry";
  // An absolute deflection replaces the one relative to the size.
  const TopoDS_Shape cylinder = Solids::Cylinder(100, 10);
  Entity entity;
  const std::size_t relative = entity.GetEntireMeshData(cylinder)->Triangles.size();
  entity.SetMeshDeflection(5.0);
  EXPECT_LT(entity.GetEntireMeshData(cylinder)->Triangles.size(), relative);
  entity.SetMeshDeflection(0.01);
  EXPECT_GT(entity.GetEntireMeshData(cylinder)->Triangles.size(), relative);
}

TEST(Entity, FailedLoadOfADegenerateMeshLeavesTheEntityAsItWas)
{
  // A mesh part whose stored placement is all zeros: no rigid motion, so the tree cannot be taken over.
  const std::string dir = ViewTrees::TempDir("entity_mesh");
  Handle(ShapeEntity) root = ViewTrees::BoxTree(1);
  Handle(ShapeEntity) meshPart = new ShapeEntity(TopoDS_Shape(), Uuid::CreateUuid());
  ASSERT_TRUE(meshPart->CreateMeshData(ViewTrees::Triangle()->ToJson()));
  root->AddShapeListToAISChilde({meshPart});
  ASSERT_TRUE(ViewShapeUtil::ExportToFile(root, dir + "tree.json", true));
  Json::Value file = DataHandle::LoadJson(dir + "tree.json");
  Json::Value& placement = file["childs"][1]["data"]["Layers"][0]["Mesh"]["Transform"];
  ASSERT_EQ(placement.size(), 16u);
  for (Json::Value& value : placement)
    value = 0.0;
  ASSERT_TRUE(DataHandle::SaveJson(file, dir + "tree.json"));

  OpenEntity entity;
  entity.SetEntityShape(ViewTrees::BoxTree(2));
  const Handle(ViewShape) before = entity.GetRootMdl();
  const auto parts = entity.GetSubMdls();
  const auto mesh = entity.GetMeshPtr();
  Json::Value json(Json::objectValue);
  json["ShapeEntityPath"] = dir + "tree.json";
  json["Name"] = "renamed";
  const LogCapture log;
  EXPECT_NO_THROW(entity.LoadFromJson(json));
  EXPECT_TRUE(log.Contains(4, "模型实体加载错误", "Entity::LoadFromJson"));
  EXPECT_TRUE(entity.GetRootMdl() == before && entity.GetSubMdls() == parts && entity.GetMeshPtr() == mesh && entity.GetName() == "cell");
  // Nor does a placement with a NaN move it.
  const gp_Trsf placed = before->LocalTransformation();
  gp_Trsf nanShift;
  nanShift.SetTranslation(gp_Vec(std::nan(""), 0, 0));
  EXPECT_EQ(ErrorText([&] { entity.SetRootMdlTrsf(nanShift); }), "_numberEntity::SetRootMdlTrsf变换含非有限数值");
  EXPECT_TRUE(gpHandle::IsSameTrsf(before->LocalTransformation(), placed, 0.0));
  std::filesystem::remove_all(dir);
}
