#include "support/Solids.h"
#include <cadtools/ModelUtils.h>
#include <mesh/AIS_Mesh.h>
#include <mesh/MeshProcessTools.h>
#include <view/CADView.h>

#include <PrsMgr_PresentationManager.hxx>
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
  const double r = 5.0, h = 12.0;
  const double curvedArea = 2 * M_PI * r * (r + h);
  // Area, volume, their relative tolerance, and the regions at a 30° crease limit (none of the
  // fillet's creases reaches it: the band of sides and fillets is one region).
  const struct
  {
    TopoDS_Shape shape;
    double area, volume, tol;
    std::size_t regions;
  } cases[] = {{Solids::Box(10, 20, 30), 2200.0, 6000.0, 1e-12, 6},
               {Solids::Moved(Solids::Box(10, 20, 30), far), 2200.0, 6000.0, 1e-9, 6},
               {Solids::Cylinder(r, h), curvedArea, M_PI * r * r * h, 0.01, 3},
               {Solids::Moved(Solids::FilletedPlate(100, 60, 10, 5), far), 0.0, 0.0, 0.0, 3}};
  for (const auto& c : cases)
  {
    const auto mesh = MeshProcessTools::CreateWatertightMesh(c.shape, 0.01);
    ASSERT_FALSE(mesh->IsEmpty());
    EXPECT_TRUE(MeshProcessTools::IsWatertight(*mesh)) << "far from the origin too";
    EXPECT_EQ(MeshProcessTools::FaceRegions(*mesh, M_PI / 6).size(), c.regions);
    if (c.area > 0.0)
    {
      EXPECT_NEAR(MeshProcessTools::Area(*mesh), c.area, c.tol * c.area);
      EXPECT_NEAR(Volume(*mesh), c.volume, c.tol * c.volume) << "triangles face outward";
    }
  }
  // Welded corners: the eight box vertices, two triangles per face.
  const auto box = MeshProcessTools::CreateWatertightMesh(Solids::Box(10, 20, 30), 0.1);
  EXPECT_EQ(box->Vertices.size(), 8u);
  EXPECT_EQ(box->Triangles.size(), 12u);

  // Seen from far above only the top face faces the viewer; from a corner, three faces.
  const auto top =
    MeshData::FromTriangulation(ModelUtils::FilterBackFace(box->ToTriangulation(), gp_Pnt(5, 10, 1000)), gp_Trsf());
  EXPECT_EQ(top->Triangles.size(), 2u);
  EXPECT_NEAR(MeshProcessTools::Area(*top), 200.0, 1e-9);
  const auto corner = ModelUtils::FilterBackFace(box->ToTriangulation(), gp_Pnt(100, 100, 100));
  EXPECT_NEAR(MeshProcessTools::Area(*MeshData::FromTriangulation(corner, gp_Trsf())), 1100.0, 1e-9);

  EXPECT_TRUE(MeshProcessTools::CreateWatertightMesh(TopoDS_Shape(), 0.1)->IsEmpty());
  EXPECT_TRUE(MeshProcessTools::CreateWatertightMesh(Solids::Box(1, 1, 1), 0.0)->IsEmpty());
  EXPECT_FALSE(MeshProcessTools::IsWatertight(*Triangle(0)));
  EXPECT_FALSE(MeshProcessTools::IsWatertight(MeshData()));
  EXPECT_TRUE(MeshData().ToTriangulation().IsNull());
}

TEST(MeshProcessTools, WeldingMergesWithinToleranceOnly)
{
  MeshData mesh;
  mesh.Vertices = {gp_XYZ(0, 0, 0), gp_XYZ(1, 0, 0), gp_XYZ(0, 1, 0), gp_XYZ(1, 1e-4, 0), gp_XYZ(1, 1, 0)};
  mesh.Triangles = {{0, 1, 2}, {3, 4, 2}};
  EXPECT_EQ(MeshProcessTools::WeldVertices(mesh, 1e-3)->Vertices.size(), 4u);
  EXPECT_EQ(MeshProcessTools::WeldVertices(mesh, 1e-5)->Vertices.size(), 5u);
  // A triangle collapsed by the weld is dropped.
  mesh.Triangles.push_back({1, 3, 4});
  EXPECT_EQ(MeshProcessTools::WeldVertices(mesh, 1e-3)->Triangles.size(), 2u);
}

TEST(MeshData, JsonRoundTripAndMalformedForms)
{
  auto mesh = MeshProcessTools::CreateWatertightMesh(Solids::Cylinder(2, 3), 0.05);
  gp_Trsf place;
  place.SetTranslation(gp_Vec(1, 2, 3));
  mesh->SetTrsf(place);
  const Json::Value json = mesh->ToJson();
  const auto back = MeshData::FromJson(json);
  ASSERT_TRUE(back);
  EXPECT_EQ(back->ToJson(), json);

  Json::Value outOfRange(Json::arrayValue), fractional = json["Triangles"], shortVertices = json["Vertices"];
  for (int i = 0; i < 3; ++i)
    outOfRange.append(static_cast<int>(mesh->Vertices.size()));
  fractional[0] = 0.5;
  shortVertices.resize(shortVertices.size() - 1);
  const std::pair<const char*, Json::Value> broken[] = {{"Triangles", outOfRange},
                                                        {"Triangles", fractional},
                                                        {"Vertices", shortVertices},
                                                        {"Transform", Json::Value(Json::arrayValue)},
                                                        {"Normals", Json::Value("none")}};
  for (const auto& [key, value] : broken)
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
  EXPECT_EQ(object->GetLayers().size(), 2u);
  EXPECT_EQ(object->NbTriangles(), 3);
  EXPECT_EQ(object->GetEntireMesh()->Vertices.size(), 9u);

  Handle(mesh::AIS_Mesh) copy = new mesh::AIS_Mesh();
  ASSERT_TRUE(copy->FromJson(object->ToJson()));
  EXPECT_EQ(copy->ToJson(), object->ToJson());
  EXPECT_FALSE(copy->FromJson(Json::Value("layers")));
  Json::Value bad = object->ToJson();
  bad["Layers"][0]["Mesh"]["Triangles"][0] = 99;
  EXPECT_FALSE(copy->FromJson(bad));
  EXPECT_EQ(copy->NbTriangles(), 3) << "a failed read leaves the layers alone";

  CADView view;
  view.Display(object, false);
  EXPECT_TRUE(view.Context()->MainPrsMgr()->HasPresentation(object, 0)) << "the mesh is drawn as a real presentation";
  view.Remove(object, false);
  EXPECT_FALSE(view.IsDisplayed(object));
}
