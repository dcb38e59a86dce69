#include <entity/Entity.h>
#include <entity/ViewShapeUtil.h>

#include <cadtools/DataHandle.h>
#include <cadtools/ShapeHandle.h>
#include <cadtools/WorkpieceError.h>
#include <cadtools/gpHandle.h>
#include <mesh/MeshProcessTools.h>
#include <view/CADView.h>

#include "support/LogCapture.h"
#include "support/Solids.h"
#include "support/ViewTrees.h"

#include <BRepBndLib.hxx>
#include <BRep_Builder.hxx>
#include <Bnd_Box.hxx>
#include <Prs3d_ShadingAspect.hxx>
#include <TopExp_Explorer.hxx>
#include <TopoDS_Compound.hxx>

#include <gtest/gtest.h>

#include <filesystem>
#include <set>

namespace
{
constexpr double Tol = 1e-9;
const std::string KeyMessage = "map传入key错误，数据不在范围内";

// Opens the protected operations of Entity to the tests.
class OpenEntity : public Entity
{
public:
  using Entity::CheckSameShps;
  using Entity::CheckSubMdlHasLayer;
  using Entity::IsLoadMeshModel;
};

// Returns the front colour of the custom aspect of `sub` in `part`; false when there is none.
std::pair<bool, Quantity_Color> FaceColour(const Handle(ViewShape)& part, const TopoDS_Shape& sub)
{
  const Handle(AIS_ColoredDrawer)* drawer = part->CustomAspectsMap().Seek(sub);
  if (drawer == nullptr)
    return {false, Quantity_Color()};
  return {true, (*drawer)->ShadingAspect()->Color(Aspect_TOFM_FRONT_SIDE)};
}

// Returns a compound of a 10 mm box and, at x = 20, a speck of a box small enough to remove.
TopoDS_Compound BoxWithSpeck()
{
  BRep_Builder builder;
  TopoDS_Compound compound;
  builder.MakeCompound(compound);
  builder.Add(compound, Solids::Box(10, 10, 10));
  builder.Add(compound, Solids::Moved(Solids::Box(1e-3, 1e-3, 1e-3), ViewTrees::Placement(20, 0, 0, 0)));
  return compound;
}
} // namespace

TEST(Entity, SavesAndLoadsItsDisplayTreeWithColoursPlacementsAndIds)
{
  const std::string dir = ViewTrees::TempDir("entity");
  OpenEntity entity;
  Handle(ShapeEntity) root = ViewTrees::BoxTree(3);
  root->SetPrimitiveProperty("bench", Uuid::CreateUuid());
  entity.SetEntityShape(root);
  const gp_Trsf placement = ViewTrees::Placement(500, -20, 7, 33);
  entity.SetRootMdlTrsf(placement);

  const Json::Value json = entity.ToJson(dir);
  EXPECT_TRUE(gpHandle::IsSameTrsf(root->LocalTransformation(), placement, Tol)) << "the save keeps the placement";
  const std::string path = "entity/" + root->GetId().ToString() + ".json";
  EXPECT_EQ(json["ShapeEntityPath"].asString(), path);
  EXPECT_EQ(json["Name"].asString(), "cell");
  EXPECT_EQ(json["Primitive_Name"].asString(), "bench");
  EXPECT_EQ(json["HashID"].asUInt64(), ViewShape::HashIndexOf(root->GetId()));
  ASSERT_EQ(json["SubID"].size(), 3u);
  for (Json::ArrayIndex i = 0; i < 3; ++i)
  {
    const unsigned long long index = json["SubID"][i]["Index"].asUInt64();
    EXPECT_EQ(entity.GetPart(index)->GetId().ToString(), json["SubID"][i]["ID"].asString());
    if (i > 0)
    {
      EXPECT_LT(json["SubID"][i - 1]["Index"].asUInt64(), index);
    }
  }
  const Json::Value file = DataHandle::LoadJson(dir + path);
  ASSERT_TRUE(file.isObject());
  EXPECT_TRUE(gpHandle::IsSameTrsf(DataHandle::JsonArrToTrsf(file["trsf"]), gp_Trsf(), Tol))
    << "the file holds the tree in the entity's own frame";

  Json::Value stored = json;
  stored["ShapeEntityPath"] = dir + path;
  OpenEntity loaded;
  loaded.LoadFromJson(stored);
  ASSERT_FALSE(loaded.GetRootMdl().IsNull());
  EXPECT_EQ(loaded.GetRootMdlID(), root->GetId());
  EXPECT_EQ(loaded.GetRootMdlPrimitiveID(), root->GetPrimitiveId());
  EXPECT_EQ(loaded.GetName(), "cell");
  EXPECT_EQ(loaded.GetHashIndex(), entity.GetHashIndex());
  ASSERT_EQ(loaded.GetSubMdls().size(), 3u);
  for (const auto& [index, part] : entity.GetSubMdls())
  {
    Handle(ShapeEntity) back = loaded.GetPart(index);
    ASSERT_FALSE(back.IsNull());
    EXPECT_EQ(back->GetId(), part->GetId());
    EXPECT_TRUE(gpHandle::IsSameTrsf(back->LocalTransformation(), part->LocalTransformation(), Tol));
    EXPECT_TRUE(back->GetColor().IsEqual(part->GetColor()));
    // The painted face keeps its colour at its place in the face order.
    int faceIndex = 0;
    for (TopExp_Explorer ex(part->GetEntityShape(), TopAbs_FACE); ex.More(); ex.Next(), ++faceIndex)
    {
      const auto [painted, colour] = FaceColour(part, ex.Current());
      const auto [backPainted, backColour] = FaceColour(back, ViewTrees::Face(back->GetEntityShape(), faceIndex));
      EXPECT_EQ(painted, backPainted) << "face " << faceIndex;
      if (painted && backPainted)
      {
        EXPECT_LT(colour.Distance(backColour), 1e-5);
      }
    }
  }
  EXPECT_EQ(ViewShapeUtil::ExportToJson(loaded.GetRootMdl(), true).toStyledString(), file.toStyledString())
    << "saving the loaded tree writes the same file";

  OpenEntity bare;
  bare.SetRootMdl(new ShapeEntity(Solids::Box(1, 1, 1), Uuid::CreateUuid()));
  const Json::Value plain = bare.ToJson("");
  EXPECT_FALSE(plain.isMember("ShapeEntityPath"));
  EXPECT_TRUE(plain["SubID"].isNull());
  EXPECT_TRUE(plain.isMember("SubID"));
  std::filesystem::remove_all(dir);
}

TEST(Entity, FailedLoadsAreReportedAndChangeNothing)
{
  const std::string dir = ViewTrees::TempDir("entity-bad");
  OpenEntity entity;
  Handle(ShapeEntity) root = ViewTrees::BoxTree(2);
  entity.SetEntityShape(root);
  Json::Value json = entity.ToJson(dir);
  const std::string file = dir + json["ShapeEntityPath"].asString();

  Json::Value document = DataHandle::LoadJson(file);
  std::string brep = document["childs"][1]["data"].asString();
  document["childs"][1]["data"] = brep.substr(0, brep.size() / 2);
  const std::string truncated = dir + "truncated.json";
  ASSERT_TRUE(DataHandle::SaveJson(document, truncated));

  for (const std::string& path : {dir + "missing.json", truncated})
  {
    OpenEntity target;
    target.SetEntityShape(ViewTrees::BoxTree(1));
    const Handle(ViewShape) before = target.GetRootMdl();
    const auto parts = target.GetSubMdls();
    Json::Value stored = json;
    stored["ShapeEntityPath"] = path;
    stored["Name"] = "renamed";
    LogCapture log;
    target.LoadFromJson(stored);
    EXPECT_TRUE(log.Contains(4, "模型实体加载错误", "Entity::LoadFromJson")) << path;
    EXPECT_EQ(target.GetRootMdl(), before);
    EXPECT_EQ(target.GetSubMdls(), parts);
    EXPECT_EQ(target.GetName(), "cell") << "the rest of the object is not applied";
  }

  // Without a file and without a root nothing happens; with a root the identity is applied.
  OpenEntity empty;
  empty.LoadFromJson(Json::Value(Json::objectValue));
  EXPECT_TRUE(empty.GetRootMdl().IsNull());
  json.removeMember("ShapeEntityPath");
  json["Name"] = "renamed";
  entity.LoadFromJson(json);
  EXPECT_EQ(entity.GetName(), "renamed");
  std::filesystem::remove_all(dir);
}

TEST(Entity, HashIndexAndPartLookup)
{
  OpenEntity entity;
  EXPECT_EQ(entity.GetHashIndex(), 0u);
  Handle(ShapeEntity) root = ViewTrees::BoxTree(2);
  entity.SetRootMdl(root);
  const unsigned long long first = entity.GetHashIndex();
  EXPECT_EQ(first, ViewShape::HashIndexOf(root->GetId()));
  root->SetId(Uuid::CreateUuid());
  EXPECT_EQ(entity.GetHashIndex(), first) << "cached once computed";
  entity.SetHashIndex(7);
  EXPECT_EQ(entity.GetHashIndex(), 7u);
  EXPECT_EQ(root->GetHashIndex(), 7u);

  EXPECT_EQ(entity.GetPart(0), root);
  LogCapture log;
  try
  {
    entity.GetPart(12345);
    FAIL() << "an unknown index throws";
  }
  catch (const WorkpieceError& error)
  {
    EXPECT_EQ(error.what(), "Entity::GetPart" + KeyMessage);
  }
  EXPECT_TRUE(log.Contains(5, KeyMessage, "Entity::GetPart"));
  EXPECT_THROW(entity.RemoveSubMdl(12345), WorkpieceError);

  Handle(ShapeEntity) part = Handle(ShapeEntity)::DownCast(root->GetAllSubViewShapes()[0]);
  const gp_Trsf world = part->Transformation();
  EXPECT_EQ(entity.RemoveSubMdl(part->GetHashIndex()), part);
  EXPECT_EQ(entity.GetSubMdls().size(), 1u);
  EXPECT_EQ(root->ChildCount(), 1);
  EXPECT_TRUE(gpHandle::IsSameTrsf(part->Transformation(), world, Tol)) << "detaching keeps the world placement";
  root->SetLocalTransformation(ViewTrees::Placement(0, 0, 10, 0));
  entity.AddSubMdl(part);
  EXPECT_EQ(root->ChildCount(), 2);
  EXPECT_EQ(entity.GetPart(part->GetHashIndex()), part);
  EXPECT_TRUE(gpHandle::IsSameTrsf(part->Transformation(), world, Tol)) << "attaching keeps the world placement";

  entity.SetCheckCollisionGap(3.5);
  for (const auto& [index, p] : entity.GetSubMdls())
    EXPECT_DOUBLE_EQ(p->GetCollisionGap(), 3.5);
}

TEST(Entity, HideTogglesDisplayAndCollision)
{
  CADView view;
  OpenEntity entity;
  Handle(ShapeEntity) root = ViewTrees::BoxTree(2);
  entity.SetRootMdl(root);
  Handle(ShapeEntity) part = entity.GetSubMdls().begin()->second;
  part->SetCADView(&view);
  part->Display();
  part->SetCollisionActive(true);
  entity.Hide(part->GetHashIndex());
  EXPECT_FALSE(part->IsDisplayed());
  EXPECT_FALSE(part->IsCollisionActive());
  entity.Hide(part->GetHashIndex());
  EXPECT_TRUE(part->IsDisplayed());
  EXPECT_TRUE(part->IsCollisionActive());
  EXPECT_THROW(entity.Hide(99), WorkpieceError);
  part->RemoveFromView();
}

TEST(Entity, RegistryKeepsEarlierEntriesAndNonPartChildren)
{
  OpenEntity entity;
  Handle(ShapeEntity) first = ViewTrees::BoxTree(2);
  entity.SetRootMdl(first);
  const auto firstParts = entity.GetSubMdls();
  Handle(ShapeEntity) second = ViewTrees::BoxTree(1);
  const Handle(ViewShape) plain = new ViewShape(Solids::Box(1, 1, 1), Uuid::CreateUuid());
  second->AddShapeListToAISChilde({plain});
  entity.SetRootMdl(second);
  EXPECT_EQ(entity.GetRootMdl(), second);
  EXPECT_EQ(entity.GetSubMdls().size(), 4u);
  for (const auto& [index, part] : firstParts)
    EXPECT_EQ(entity.GetPart(index), part);
  EXPECT_TRUE(entity.GetPart(plain->GetHashIndex()).IsNull()) << "a display child that is no part is kept as null";
  entity.Hide(plain->GetHashIndex());
}

TEST(Entity, SameShapeBodiesAreCopiedForLaterParts)
{
  const TopoDS_Shape box = Solids::Box(3, 3, 3);
  Handle(ShapeEntity) root = new ShapeEntity(TopoDS_Shape(), Uuid::CreateUuid());
  std::vector<Handle(ViewShape)> parts;
  for (int i = 0; i < 3; ++i)
    parts.push_back(new ShapeEntity(box.Moved(TopLoc_Location(ViewTrees::Placement(10 * i, 0, 0, 0))), Uuid::CreateUuid()));
  parts.push_back(new ShapeEntity(Solids::Box(1, 1, 1), Uuid::CreateUuid()));
  root->AddShapeListToAISChilde(parts);
  OpenEntity entity;
  entity.SetRootMdl(root);
  std::vector<TopoDS_Shape> before;
  for (const auto& [index, part] : entity.GetSubMdls())
    before.push_back(part->GetEntityShape());
  entity.CheckSameShps();
  std::set<const TopoDS_TShape*> bodies;
  std::size_t i = 0;
  bool firstSharedSeen = false;
  for (const auto& [index, part] : entity.GetSubMdls())
  {
    const TopoDS_Shape& now = part->GetEntityShape();
    EXPECT_TRUE(bodies.insert(now.TShape().get()).second) << "no two parts share a body";
    const bool shared = before[i].TShape() == box.TShape();
    if (shared && !firstSharedSeen)
    {
      EXPECT_TRUE(now.IsEqual(before[i])) << "the first part with the body keeps it";
      firstSharedSeen = true;
    }
    else if (shared)
    {
      EXPECT_TRUE(now.Location().IsEqual(before[i].Location()));
      EXPECT_NEAR(ShapeHandle::GetAreaOrVol(now), 27.0, 1e-9);
    }
    else
      EXPECT_TRUE(now.IsEqual(before[i]));
    ++i;
  }
}

TEST(Entity, ColoursMeshesAndTakeOver)
{
  Handle(ShapeEntity) root = ViewTrees::BoxTree(2);
  // Sub-model 1 also paints the face painted in sub-model 0; the later part in index order wins.
  const auto subs = root->GetAllSubViewShapes();
  const TopoDS_Shape shared = ViewTrees::Face(subs[0]->GetEntityShape(), 0);
  subs[1]->SetCustomColor(shared, Quantity_Color(Quantity_NOC_GREEN));
  OpenEntity entity;
  entity.SetRootMdl(root);
  const auto colours = entity.GetAllSubModelsColors();
  EXPECT_EQ(colours.Size(), 2);
  const Handle(ViewShape) later = subs[0]->GetHashIndex() < subs[1]->GetHashIndex() ? subs[1] : subs[0];
  EXPECT_EQ(colours.Find(shared), later->CustomAspectsMap().Find(shared));

  // Mesh leaves below nested parts, depth first; a mesh with children is no leaf.
  Handle(mesh::AIS_Mesh) m1 = new mesh::AIS_Mesh();
  Handle(mesh::AIS_Mesh) m2 = new mesh::AIS_Mesh();
  Handle(mesh::AIS_Mesh) m3 = new mesh::AIS_Mesh();
  subs[0]->AddChild(m1);
  subs[1]->AddChild(m2);
  m2->AddChild(m3);
  const auto meshes = Entity::GetMeshSubModels(root);
  ASSERT_EQ(meshes.size(), 2u);
  EXPECT_EQ(meshes[0], m1);
  EXPECT_EQ(meshes[1], m3);
  EXPECT_EQ(Entity::GetMeshSubModels(m1).size(), 1u);
  EXPECT_TRUE(Entity::GetMeshSubModels(Handle(AIS_InteractiveObject)()).empty());
}

TEST(Entity, TakeOverRemovesSmallBodiesAndBuildsTheWholeMesh)
{
  const TopoDS_Compound withSpeck = BoxWithSpeck();
  Handle(ShapeEntity) root = new ShapeEntity(TopoDS_Shape(), Uuid::CreateUuid());
  Handle(ShapeEntity) a = new ShapeEntity(withSpeck, Uuid::CreateUuid());
  Handle(ShapeEntity) b = new ShapeEntity(Solids::Box(1, 2, 3), Uuid::CreateUuid());
  b->SetLocalTransformation(ViewTrees::Placement(50, 0, 0, 90));
  root->AddShapeListToAISChilde({a, b});

  unsigned long long hash = 0;
  {
    OpenEntity entity;
    EXPECT_FALSE(entity.IsLoadMeshModel());
    EXPECT_EQ(entity.GetMeshPtr(), nullptr);
    entity.SetEntityShape(root);
    hash = entity.GetHashIndex();
    EXPECT_EQ(entity.GetSubMdls().size(), 2u);
    int solids = 0;
    for (TopExp_Explorer ex(a->GetEntityShape(), TopAbs_SOLID); ex.More(); ex.Next())
      ++solids;
    EXPECT_EQ(solids, 1) << "the speck is removed";
    const auto whole = entity.GetMeshPtr();
    ASSERT_TRUE(whole);
    EXPECT_TRUE(MeshProcessTools::IsWatertight(*whole));
    EXPECT_NEAR(MeshProcessTools::Area(*whole), 600.0 + 22.0, 1e-6);
    EXPECT_EQ(Entity::GetRegisteredMesh(hash), whole);
    // The placed box 1×2×3 turned 90° about Z at x = 50 spans x in [48, 50].
    double minX = 1e9;
    for (const gp_XYZ& p : whole->Vertices)
    {
      gp_XYZ q = p;
      whole->GetTrsf().Transforms(q);
      minX = std::min(minX, q.X());
    }
    EXPECT_NEAR(minX, 0.0, Tol);

    entity.UpdateWatertightMeshModel(Solids::Box(2, 2, 2), true, false);
    const auto rebuilt = entity.GetMeshPtr();
    EXPECT_FALSE(entity.IsLoadMeshModel());
    EXPECT_NEAR(MeshProcessTools::Area(*rebuilt), 24.0, 1e-9);
    EXPECT_EQ(Entity::GetRegisteredMesh(hash), rebuilt);
    EXPECT_NEAR(MeshProcessTools::Area(*entity.GetEntireMeshData(Solids::Box(1, 1, 1))), 6.0, 1e-9);
  }
  EXPECT_EQ(Entity::GetRegisteredMesh(hash), nullptr) << "the destructor drops the registry entry";
  Entity::ChangeContextEntity()["root"] = root;
  EXPECT_EQ(Entity::ChangeContextEntity().at("root"), root);
  Entity::ChangeContextEntity().erase("root");
}

TEST(Entity, TakeOverRemovesSmallBodiesUnderAMirroredPlacement)
{
  // Assemblies carry mirrored placements; the cleaned compound must keep its own.
  TopoDS_Compound withSpeck = BoxWithSpeck();
  gp_Trsf mirror;
  mirror.SetMirror(gp_Ax2(gp_Pnt(0, 0, 0), gp_Dir(1, 0, 0)));
  withSpeck.Location(TopLoc_Location(mirror), false);
  Handle(ShapeEntity) root = new ShapeEntity(TopoDS_Shape(), Uuid::CreateUuid());
  Handle(ShapeEntity) part = new ShapeEntity(withSpeck, Uuid::CreateUuid());
  Handle(ShapeEntity) mirrored = new ShapeEntity(Solids::Box(1, 2, 3), Uuid::CreateUuid());
  mirrored->SetLocalTransformation(mirror);
  root->AddShapeListToAISChilde({part, mirrored});

  const LogCapture log;
  OpenEntity entity;
  entity.SetEntityShape(root);
  EXPECT_TRUE(log.Messages().empty()) << log.Messages().front().text;
  const TopoDS_Shape& kept = part->GetEntityShape();
  int solids = 0;
  for (TopExp_Explorer ex(kept, TopAbs_SOLID); ex.More(); ex.Next())
    ++solids;
  EXPECT_EQ(solids, 1) << "the speck is removed";
  EXPECT_TRUE(kept.Location().IsEqual(withSpeck.Location())) << "the mirrored placement is kept";
  Bnd_Box box;
  BRepBndLib::Add(kept, box);
  EXPECT_NEAR(box.CornerMin().X(), -10.0, 1e-6) << "the box lies mirrored across x = 0";
}
