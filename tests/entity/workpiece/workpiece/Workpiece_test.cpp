#include "support/ErrorText.h"
#include "support/MechanismJson.h"
#include "support/SeamSolids.h"
#include "support/Solids.h"
#include "support/Transforms.h"
#include "support/ViewTrees.h"

#include <entity/PartFile.h>
#include <entity/Workpiece.h>

#include <cadtools/ShapeHandle.h>
#include <cadtools/WorkpieceError.h>
#include <cadtools/gpHandle.h>

#include <BRepBuilderAPI_MakeFace.hxx>
#include <BRepBuilderAPI_MakePolygon.hxx>
#include <BRepCheck_Analyzer.hxx>
#include <BRepPrimAPI_MakePrism.hxx>
#include <STEPControl_Writer.hxx>
#include <TopoDS_Builder.hxx>
#include <TopoDS_Compound.hxx>

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

namespace
{
constexpr double Tol = 1.0e-7;

gp_Trsf Place(double x, double y, double z, const gp_Dir& axis, double degrees)
{
  return Transforms::Translation(x, y, z) * Transforms::Rotation(axis, degrees);
}

Handle(ShapeEntity) Tree(const TopoDS_Shape& solid, int kind = ViewShape::BRepModel)
{
  const Handle(ShapeEntity) root = new ShapeEntity(TopoDS_Shape(), Uuid::CreateUuid());
  root->SetModelType(kind);
  root->AddShapeListToAISChilde({new ShapeEntity(solid, Uuid::CreateUuid())});
  return root;
}

// Returns the largest difference between the two shapes' exact box bounds.
double BoundsGap(const TopoDS_Shape& a, const TopoDS_Shape& b)
{
  const std::array<double, 6> boundsA = Solids::Bounds(a), boundsB = Solids::Bounds(b);
  double gap = 0.0;
  for (std::size_t i = 0; i < 6; ++i)
    gap = std::max(gap, std::abs(boundsA[i] - boundsB[i]));
  return gap;
}
} // namespace

// A workpiece read from a STEP file rides on the positioner's table: its root follows the
// placement algebra, its work paths follow the root, and its seams come out in world coordinates.
TEST(Workpiece, FollowsPositionerTableWithPathsAndSeams)
{
  GenericEntityConfig positioner;
  MechanismJson::LoadCell(positioner, "positioner.json");
  const std::string tjoint = MechanismJson::CellFile("../tjoint.step");
  const std::unique_ptr<Workpiece> part = Workpiece::FromPartFile(tjoint);
  const TopoDS_Shape own = part->GetEntireShape();
  const Handle(BaseViewShape) path = new BaseViewShape(Solids::Box(1, 1, 1));
  part->AddWorkPath(7, path);
  auto expectPathFollows = [&](const std::function<void()>& move) {
    const gp_Trsf rootBefore = part->GetTransformation(), pathBefore = path->LocalTransformation();
    move();
    const gp_Trsf expected = part->GetTransformation() * rootBefore.Inverted() * pathBefore;
    EXPECT_TRUE(gpHandle::IsSameTrsf(path->LocalTransformation(), expected, Tol));
    EXPECT_LT(BoundsGap(part->GetEntireShape(), own), Tol);
  };

  Json::Value seat;
  seat["install_index"] = 0;
  seat["link_hash"] = 202;
  expectPathFollows([&] { positioner.AssembleOtherModel(part.get(), seat); });
  const gp_Trsf parent = part->GetParentAssembleTrsf();
  const gp_Trsf onTable = Place(10, 20, 30, gp::DZ(), 30);
  expectPathFollows([&] { part->UpdatePlacementTrsf(parent * onTable); });
  EXPECT_TRUE(gpHandle::IsSameTrsf(part->GetTransformation(), parent * onTable, Tol) &&
              gpHandle::IsSameTrsf(part->GetAssembleTrsf(), onTable, Tol));
  const gp_Trsf elsewhere = Place(-5, 0, 7, gp::DX(), 45);
  expectPathFollows([&] { part->UpdateRootTrsf(elsewhere, true); });
  EXPECT_TRUE(gpHandle::IsSameTrsf(part->GetTransformation(), elsewhere * onTable, Tol));

  // Tilted 90° about X through (0, 0, 800) and turned 30°: the table's centre (0, 0, 900) goes to
  // (0, -100, 800).
  expectPathFollows([&] { positioner.ForwardTrsf({M_PI / 2, M_PI / 6}, true, true); });
  const gp_Trsf table = part->GetTransformation() * onTable.Inverted();
  EXPECT_TRUE(gp_Pnt().Transformed(table).IsEqual(gp_Pnt(0, -100, 800), Tol) &&
              gpHandle::IsSameTrsf(table, positioner.GetFlangeWCS(0), Tol));

  const SeamExtractor::Result seams = part->ExtractSeams();
  const TopoDS_Shape byHand = Solids::Moved(PartFile::Read(tjoint), part->GetTransformation());
  const SeamExtractor::Result expected = SeamExtractor(byHand).Extract(SeamExtractor::Options());
  ASSERT_TRUE(seams.segs.size() == expected.segs.size() && !seams.segs.empty());
  for (std::size_t i = 0; i < seams.segs.size(); ++i)
    EXPECT_TRUE(SeamSolids::Middle(seams.segs[i].Edge()).IsEqual(SeamSolids::Middle(expected.segs[i].Edge()), 1.0e-6) &&
                seams.segs[i].GetEdgeType() == expected.segs[i].GetEdgeType()) << i;
  const GenericEntityConfig view(part.get());
  EXPECT_TRUE(view.GetRootMdl() == part->GetRootMdl() && view.GetLinkRods().empty());
}

// The JSON form keeps the root and assembly transforms and the bench's hash; loading leaves the
// bench pointer alone and drops the work paths.
TEST(Workpiece, JsonRoundTripWithAndWithoutBench)
{
  GenericEntityConfig bench(ViewTrees::BoxTree(1));
  for (Entity* seat : {static_cast<Entity*>(nullptr), static_cast<Entity*>(&bench)})
  {
    Workpiece part(Tree(Solids::LSolid(40, 5, 20)));
    part.SetBench(seat);
    part.UpdatePlacementTrsf(Place(1, 2, 3, gp::DY(), 20));
    part.SetAssembleTrsf(Place(0, 0, 50, gp::DZ(), 90));
    const std::string dir = ViewTrees::TempDir("workpiece_json");
    Json::Value json = part.ToJson(dir);
    EXPECT_EQ(json["Bench"].asUInt64(), seat == nullptr ? 0u : bench.GetHashIndex());
    json["ShapeEntityPath"] = dir + json["ShapeEntityPath"].asString();

    Workpiece loaded;
    loaded.SetBench(&bench);
    loaded.AddWorkPath(3, new BaseViewShape(Solids::Box(1, 1, 1)));
    loaded.LoadFromJson(json);
    EXPECT_TRUE(loaded.GetBench() == &bench && loaded.GetWorkPath().empty());
    EXPECT_TRUE(gpHandle::IsSameTrsf(loaded.GetTransformation(), part.GetTransformation(), Tol) &&
                gpHandle::IsSameTrsf(loaded.GetAssembleTrsf(), part.GetAssembleTrsf(), Tol));
    EXPECT_LT(BoundsGap(loaded.GetEntireShape(), part.GetEntireShape()), Tol);
  }
}

// A solid model builds its collision model once until marked outdated; kinds 2 and 3 build none.
TEST(Workpiece, CollisionModelBuiltOncePerOutdatedFlag)
{
  for (const int kind : {ViewShape::BRepModel, 2, ViewShape::CloudModel})
  {
    Workpiece part(Tree(Solids::Box(10, 20, 30), kind));
    const Handle(Poly_Triangulation) first = part.GetRootMdl()->GetCollision();
    part.CreateCollisionMdl();
    EXPECT_EQ(part.GetRootMdl()->GetCollision(), first) << kind;
    part.SetCollisionMdlOutdated(true);
    part.CreateCollisionMdl();
    const Handle(ViewShape) root = part.GetRootMdl();
    EXPECT_TRUE(kind == ViewShape::BRepModel ? !first.IsNull() && root->GetCollision() != first
                                             : root->GetCollision().IsNull() && !root->IsCollisionActive()) << kind;
  }
}

// The painted model is made once for two sprays, not at all for no mesh, and keeps only the
// triangles facing the spray: seen from above, the top face of the box, 200 of its 2,200 mm². Becoming painted twice
// rebuilds the watertight mesh once.
TEST(Workpiece, PaintedModelKeepsFacingTrianglesOfOneModel)
{
  Workpiece part(Tree(Solids::Box(10, 20, 30)));
  part.AddPaintModel(nullptr, gp_Pnt(0, 0, 1000));
  part.AddPaintModel(std::make_shared<MeshData>(), gp_Pnt(0, 0, 1000));
  EXPECT_TRUE(part.GetPaintModel().IsNull());

  part.UpdatePlacementTrsf(Place(100, 0, 0, gp::DZ(), 0));
  const std::shared_ptr<MeshData> whole = part.GetEntireMeshData();
  EXPECT_TRUE(gpHandle::IsSameTrsf(whole->GetTrsf(), part.GetTransformation(), Tol));
  whole->SetTrsf(gp_Trsf());
  part.AddPaintModel(whole, gp_Pnt(5, 10, 1000));
  const Handle(mesh::AIS_Mesh) painted = part.GetPaintModel();
  part.AddPaintModel(whole, gp_Pnt(5, 10, 1000));
  ASSERT_EQ(part.GetPaintModel(), painted);
  EXPECT_NEAR(part.GetPaintedShare(), 200.0 / 2200.0, 1.0e-9);
  const std::shared_ptr<MeshData> sprayed = painted->GetEntireMesh();
  ASSERT_FALSE(sprayed->IsEmpty());
  for (const auto& triangle : sprayed->Triangles)
    for (const int vertex : triangle)
      EXPECT_NEAR(sprayed->Vertices[vertex].Z(), 30.0, Tol);

  part.ClearPaintModel();
  EXPECT_TRUE(part.GetPaintModel().IsNull() && part.GetRootMdl()->ChildCount() == 1);

  const std::shared_ptr<MeshData> unpainted = part.GetMeshPtr();
  part.SetPaintedWorkpiece(true);
  const std::shared_ptr<MeshData> watertight = part.GetMeshPtr();
  part.SetPaintedWorkpiece(true);
  EXPECT_TRUE(watertight != unpainted && part.GetMeshPtr() == watertight && Entity::GetRegisteredMesh(part.GetHashIndex()) == watertight);
}

// A STEP file of several solids gives one sub-model per solid; a folder says why it is no part. A face
// bounded by one wire of 600 edges (a comb of 150 teeth) reads as it was written.
TEST(Workpiece, PartFilesGiveOneSubModelPerSolidAndReadCombFacesOfLongWires)
{
  const std::string dir = ViewTrees::TempDir("workpiece_part");
  const auto write = [&](const TopoDS_Shape& shape, const std::string& name) {
    STEPControl_Writer writer;
    EXPECT_TRUE(writer.Transfer(shape, STEPControl_AsIs) == IFSelect_RetDone && writer.Write((dir + name).c_str()) == IFSelect_RetDone);
    return dir + name;
  };
  TopoDS_Compound two;
  TopoDS_Builder builder;
  builder.MakeCompound(two);
  builder.Add(two, Solids::Box(10, 10, 10));
  builder.Add(two, Solids::Moved(Solids::Cylinder(5, 20), Transforms::Translation(50, 0, 0)));
  const std::unique_ptr<Workpiece> part = Workpiece::FromPartFile(write(two, "two.step"));
  ASSERT_EQ(part->GetSubMdls().size(), 2u);
  double volume = 0.0;
  for (const auto& [index, sub] : part->GetSubMdls())
  {
    EXPECT_TRUE(!sub->GetName().empty() && BRepCheck_Analyzer(sub->GetEntityShape()).IsValid());
    volume += ShapeHandle::GetAreaOrVol(sub->GetEntityShape());
  }
  EXPECT_NEAR(volume, 1000.0 + M_PI * 25.0 * 20.0, 1.0e-3);
  // The other unreadable files are the seams command's cases: both read through one path.
  EXPECT_NE(ErrorText([&] { Workpiece::FromPartFile(dir); }).find("is a folder"), std::string::npos);

  BRepBuilderAPI_MakePolygon outline;
  for (const gp_Pnt& p : {gp_Pnt(0, 0, 0), gp_Pnt(600, 0, 0), gp_Pnt(600, 5, 0)})
    outline.Add(p);
  for (int i = 149; i >= 0; --i)
    for (const auto& [dx, y] : {std::pair(3.0, 5.0), std::pair(3.0, 8.0), std::pair(1.0, 8.0), std::pair(1.0, 5.0)})
      outline.Add(gp_Pnt(4.0 * i + dx, y, 0));
  outline.Add(gp_Pnt(0, 5, 0));
  outline.Close();
  const TopoDS_Shape comb = BRepPrimAPI_MakePrism(BRepBuilderAPI_MakeFace(outline.Wire()).Face(), gp_Vec(0, 0, 10));
  const TopoDS_Shape read = PartFile::Read(write(comb, "comb.step"));
  EXPECT_TRUE(BRepCheck_Analyzer(read).IsValid());
  EXPECT_NEAR(ShapeHandle::GetAreaOrVol(read), (600.0 * 5.0 + 150 * 2.0 * 3.0) * 10.0, 1.0e-6 * 33000.0);
}
