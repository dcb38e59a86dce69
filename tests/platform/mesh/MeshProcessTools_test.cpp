#include "support/Solids.h"
#include <cadtools/gpHandle.h>
#include <mesh/AIS_Mesh.h>
#include <mesh/MeshProcessTools.h>
#include <view/CADView.h>

#include <BRepBuilderAPI_MakeFace.hxx>
#include <BRepBuilderAPI_MakePolygon.hxx>
#include <BRep_Builder.hxx>
#include <TopExp_Explorer.hxx>
#include <TopoDS.hxx>
#include <gtest/gtest.h>

#include <cmath>

namespace
{
std::shared_ptr<MeshData> Triangle(double z)
{
  auto mesh = std::make_shared<MeshData>();
  mesh->Vertices = {gp_XYZ(0, 0, z), gp_XYZ(1, 0, z), gp_XYZ(0, 1, z)};
  mesh->Triangles = {{0, 1, 2}};
  return mesh;
}

// Returns the signed volume enclosed by the mesh (the solid's volume when closed and facing out).
double Volume(const MeshData& mesh)
{
  double volume = 0.0;
  for (const auto& t : mesh.Triangles)
    volume += mesh.Vertices[t[0]].Dot(mesh.Vertices[t[1]].Crossed(mesh.Vertices[t[2]])) / 6.0;
  return volume;
}
} // namespace

TEST(MeshProcessTools, MeshesOfKnownSolidsAreClosedWithTheirAreaAndVolume)
{
  gp_Trsf far;
  far.SetTranslation(gp_Vec(1234.5, -987.25, 2000.125));
  const double corners = 4 * 25 * (1 - M_PI / 4); // what four fillets of radius 5 take off a rectangle
  // Area, volume, their relative tolerance, regions at a 30° crease (sides and fillets make one).
  for (const auto& [shape, area, volume, tol, regions] :
       {std::tuple{Solids::Box(10, 20, 30), 2200.0, 6000.0, 1e-12, 6u},
        {Solids::Moved(Solids::Box(10, 20, 30), far), 2200.0, 6000.0, 1e-9, 6u},
        {Solids::Cylinder(5, 12), 2 * M_PI * 5 * 17, M_PI * 25 * 12, 0.01, 3u},
        {Solids::Moved(Solids::FilletedPlate(100, 60, 10, 5), far), 2 * (6000 - corners) + 10 * (280 + 10 * M_PI),
         10 * (6000 - corners), 0.01, 3u}})
  {
    const auto mesh = MeshProcessTools::CreateWatertightMesh(shape, 0.01);
    EXPECT_TRUE(MeshProcessTools::IsWatertight(*mesh)) << "far from the origin too";
    EXPECT_EQ(MeshProcessTools::FaceRegions(*mesh, M_PI / 6).size(), regions);
    EXPECT_NEAR(MeshProcessTools::Area(*mesh), area, tol * area);
    EXPECT_NEAR(Volume(*mesh), volume, tol * volume) << "triangles face outward";
  }
  // Welded corners: the eight box vertices, two triangles per face.
  const auto box = MeshProcessTools::CreateWatertightMesh(Solids::Box(10, 20, 30), 0.1);
  EXPECT_TRUE(box->Vertices.size() == 8u && box->Triangles.size() == 12u);
  EXPECT_TRUE(MeshProcessTools::CreateWatertightMesh(TopoDS_Shape(), 0.1)->IsEmpty() &&
              MeshProcessTools::CreateWatertightMesh(Solids::Box(1, 1, 1), 0.0)->IsEmpty());
  // A square whose first edge is trimmed to nothing, as a damaged display-tree file can hold: the
  // kernel throws while copying it, and the mesh is empty.
  const TopoDS_Face damaged = BRepBuilderAPI_MakeFace(
    BRepBuilderAPI_MakePolygon(gp_Pnt(0, 0, 0), gp_Pnt(10, 0, 0), gp_Pnt(10, 10, 0), gp_Pnt(0, 10, 0), true).Wire(), true);
  BRep_Builder().Range(TopoDS::Edge(TopExp_Explorer(damaged, TopAbs_EDGE).Current()), 2.0, 2.0);
  EXPECT_TRUE(MeshProcessTools::CreateWatertightMesh(damaged, 0.1)->IsEmpty());
  EXPECT_FALSE(MeshProcessTools::IsWatertight(*Triangle(0)) || MeshProcessTools::IsWatertight(MeshData()));
  EXPECT_TRUE(MeshData().ToTriangulation().IsNull());
}

TEST(MeshProcessTools, WeldingMergesWithinToleranceOnly)
{
  MeshData mesh;
  mesh.Vertices = {gp_XYZ(0, 0, 0), gp_XYZ(1, 0, 0), gp_XYZ(0, 1, 0), gp_XYZ(1, 1e-4, 0), gp_XYZ(1, 1, 0)};
  mesh.Triangles = {{0, 1, 2}, {3, 4, 2}};
  EXPECT_TRUE(MeshProcessTools::WeldVertices(mesh, 1e-3)->Vertices.size() == 4u &&
              MeshProcessTools::WeldVertices(mesh, 1e-5)->Vertices.size() == 5u);
  // A triangle collapsed by the weld is dropped.
  mesh.Triangles.push_back({1, 3, 4});
  EXPECT_EQ(MeshProcessTools::WeldVertices(mesh, 1e-3)->Triangles.size(), 2u);
  // A mesh whose every triangle collapses welds to the empty mesh.
  mesh.Triangles = {{1, 3, 3}};
  EXPECT_TRUE(MeshProcessTools::WeldVertices(mesh, 1e-3)->IsEmpty());
}

TEST(MeshData, JsonRoundTripAndMalformedForms)
{
  auto mesh = MeshProcessTools::CreateWatertightMesh(Solids::Cylinder(2, 3), 0.05);
  mesh->SetTrsf(gpHandle::Ax2ToTrsf(gp_Ax2(gp_Pnt(1, 2, 3), gp::DX())));
  const Json::Value json = mesh->ToJson();
  ASSERT_TRUE(MeshData::FromJson(json));
  EXPECT_EQ(MeshData::FromJson(json)->ToJson(), json);
  Json::Value outOfRange = json["Triangles"], fractional = json["Triangles"], shortVertices = json["Vertices"];
  outOfRange[0] = static_cast<int>(mesh->Vertices.size());
  fractional[0] = 0.5;
  shortVertices.resize(shortVertices.size() - 1);
  // A singular linear part cannot place anything; a huge one overflows the kernel's scale to infinity.
  Json::Value singular(Json::arrayValue), overflowing(Json::arrayValue);
  for (int i = 0; i < 16; ++i)
  {
    singular.append(0.0);
    overflowing.append(i % 5 == 0 ? 1.0e200 : 0.0);
  }
  for (const auto& [key, value] : {std::pair<const char*, Json::Value>{"Triangles", outOfRange}, {"Triangles", fractional},
                                   {"Vertices", shortVertices}, {"Transform", Json::Value(Json::arrayValue)},
                                   {"Transform", singular}, {"Transform", overflowing},
                                   {"Normals", Json::Value("none")}})
  {
    Json::Value copy = json;
    copy[key] = value;
    EXPECT_EQ(MeshData::FromJson(copy), nullptr) << key;
  }
  EXPECT_EQ(MeshData::FromJson(Json::Value(3)), nullptr);
}

TEST(AIS_Mesh, LayersJsonAndDisplay)
{
  Handle(mesh::AIS_Mesh) object = new mesh::AIS_Mesh();
  object->AddMesh(Triangle(0), 0);
  object->AddMesh(Triangle(1), 0);
  object->AddMesh(Triangle(2), 5);
  object->AddMesh(std::make_shared<MeshData>(), 7);
  EXPECT_TRUE(object->GetLayers().size() == 2u && object->NbTriangles() == 3 && object->GetEntireMesh()->Vertices.size() == 9);
  Handle(mesh::AIS_Mesh) copy = new mesh::AIS_Mesh();
  ASSERT_TRUE(copy->FromJson(object->ToJson()));
  EXPECT_EQ(copy->ToJson(), object->ToJson());
  Json::Value bad = object->ToJson();
  bad["Layers"][0]["Mesh"]["Triangles"][0] = 99;
  EXPECT_FALSE(copy->FromJson(Json::Value("layers")) || copy->FromJson(bad));
  EXPECT_EQ(copy->NbTriangles(), 3) << "a failed read leaves the layers alone";
  CADView view;
  view.Display(object, false);
  EXPECT_TRUE(view.Context()->MainPrsMgr()->HasPresentation(object, 0)) << "the mesh is drawn as a real presentation";
}
