#include <cadtools/ModelUtils.h>
#include <mesh/AIS_Mesh.h>
#include <mesh/MeshProcessTools.h>
#include <view/CADView.h>

#include <PrsMgr_PresentationManager.hxx>

#include "support/Solids.h"

#include <gtest/gtest.h>

#include <cmath>
#include <set>

namespace
{
// Returns the number of distinct undirected edges of the mesh.
std::size_t EdgeCount(const MeshData& mesh)
{
  std::set<std::pair<int, int>> edges;
  for (const auto& t : mesh.Triangles)
    for (int k = 0; k < 3; ++k)
      edges.emplace(std::min(t[k], t[(k + 1) % 3]), std::max(t[k], t[(k + 1) % 3]));
  return edges.size();
}

std::shared_ptr<MeshData> Triangle(double z)
{
  auto mesh = std::make_shared<MeshData>();
  mesh->Vertices = {gp_XYZ(0, 0, z), gp_XYZ(1, 0, z), gp_XYZ(0, 1, z)};
  mesh->Triangles = {{0, 1, 2}};
  return mesh;
}
} // namespace

TEST(MeshProcessTools, BoxMeshIsClosedWithTheBoxArea)
{
  const auto mesh = MeshProcessTools::CreateWatertightMesh(Solids::Box(10, 20, 30), 0.1);
  ASSERT_FALSE(mesh->IsEmpty());
  EXPECT_TRUE(MeshProcessTools::IsWatertight(*mesh));
  // Welded corners: the eight box vertices, two triangles per face, Euler characteristic of a sphere.
  EXPECT_EQ(mesh->Vertices.size(), 8u);
  EXPECT_EQ(mesh->Triangles.size(), 12u);
  EXPECT_EQ(static_cast<long>(mesh->Vertices.size()) - static_cast<long>(EdgeCount(*mesh)) +
              static_cast<long>(mesh->Triangles.size()),
            2);
  EXPECT_NEAR(MeshProcessTools::Area(*mesh), 2.0 * (10 * 20 + 20 * 30 + 10 * 30), 1e-9);
  EXPECT_EQ(MeshProcessTools::FaceRegions(*mesh, 0.1).size(), 6u);
  // Outward orientation: the signed volume of the closed mesh is the box volume.
  double volume = 0.0;
  for (const auto& t : mesh->Triangles)
    volume += mesh->Vertices[t[0]].Dot(mesh->Vertices[t[1]].Crossed(mesh->Vertices[t[2]])) / 6.0;
  EXPECT_NEAR(volume, 6000.0, 1e-9);
}

TEST(MeshProcessTools, BackFacesOfABoxMeshAreFilteredOut)
{
  const auto mesh = MeshProcessTools::CreateWatertightMesh(Solids::Box(10, 20, 30), 0.1);
  // Seen from far above only the top face (z = 30) faces the viewer; from a corner, three faces.
  const auto top = MeshData::FromTriangulation(ModelUtils::FilterBackFace(mesh->ToTriangulation(), gp_Pnt(5, 10, 1000)),
                                               mesh->GetTrsf());
  EXPECT_EQ(top->Triangles.size(), 2u);
  EXPECT_NEAR(MeshProcessTools::Area(*top), 200.0, 1e-9);
  for (const gp_XYZ& p : top->Vertices)
    EXPECT_NEAR(p.Z(), 30.0, 1e-12);
  const auto corner = MeshData::FromTriangulation(
    ModelUtils::FilterBackFace(mesh->ToTriangulation(), gp_Pnt(100, 100, 100)), mesh->GetTrsf());
  EXPECT_NEAR(MeshProcessTools::Area(*corner), 10 * 20 + 20 * 30 + 10 * 30, 1e-9);
  EXPECT_TRUE(MeshData().ToTriangulation().IsNull());
}

TEST(MeshProcessTools, CurvedSolidsAndBadInput)
{
  const double r = 5.0, h = 12.0;
  const auto mesh = MeshProcessTools::CreateWatertightMesh(Solids::Cylinder(r, h), 0.01);
  EXPECT_TRUE(MeshProcessTools::IsWatertight(*mesh));
  EXPECT_NEAR(MeshProcessTools::Area(*mesh), 2 * M_PI * r * h + 2 * M_PI * r * r, 0.01 * 2 * M_PI * r * (r + h));
  // The cylinder's side, top and bottom stay apart at a 30° crease limit.
  EXPECT_EQ(MeshProcessTools::FaceRegions(*mesh, M_PI / 6).size(), 3u);

  EXPECT_TRUE(MeshProcessTools::CreateWatertightMesh(TopoDS_Shape(), 0.1)->IsEmpty());
  EXPECT_TRUE(MeshProcessTools::CreateWatertightMesh(Solids::Box(1, 1, 1), 0.0)->IsEmpty());
  EXPECT_FALSE(MeshProcessTools::IsWatertight(*Triangle(0)));
  EXPECT_FALSE(MeshProcessTools::IsWatertight(MeshData()));
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
  EXPECT_NEAR(back->GetTrsf().TranslationPart().Z(), 3.0, 1e-12);

  const auto broken = [&](const char* key, const Json::Value& value) {
    Json::Value copy = json;
    copy[key] = value;
    return MeshData::FromJson(copy) == nullptr;
  };
  Json::Value outOfRange(Json::arrayValue);
  for (int i = 0; i < 3; ++i)
    outOfRange.append(static_cast<int>(mesh->Vertices.size()));
  EXPECT_TRUE(broken("Triangles", outOfRange));
  Json::Value fractional = json["Triangles"];
  fractional[0] = 0.5;
  EXPECT_TRUE(broken("Triangles", fractional));
  Json::Value shortVertices = json["Vertices"];
  shortVertices.resize(shortVertices.size() - 1);
  EXPECT_TRUE(broken("Vertices", shortVertices));
  EXPECT_TRUE(broken("Transform", Json::Value(Json::arrayValue)));
  EXPECT_TRUE(broken("Normals", Json::Value("none")));
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
  EXPECT_EQ(object->GetLayer(0)->Triangles.size(), 2u);
  EXPECT_EQ(object->NbTriangles(), 3);
  EXPECT_EQ(object->GetLayer(7), nullptr);
  EXPECT_EQ(object->GetEntireMesh()->Vertices.size(), 9u);

  Handle(mesh::AIS_Mesh) copy = new mesh::AIS_Mesh();
  ASSERT_TRUE(copy->FromJson(object->ToJson()));
  EXPECT_EQ(copy->ToJson(), object->ToJson());
  EXPECT_FALSE(copy->FromJson(Json::Value("layers")));
  Json::Value bad = object->ToJson();
  bad["Layers"][0]["Mesh"]["Triangles"][0] = 99;
  EXPECT_FALSE(copy->FromJson(bad));
  EXPECT_EQ(copy->NbTriangles(), 3) << "a failed read leaves the layers alone";

  copy->SetTriangles(Triangle(3), 0);
  EXPECT_EQ(copy->GetLayer(0)->Triangles.size(), 1u);
  copy->SetTriangles(nullptr, 5);
  EXPECT_EQ(copy->GetLayers().size(), 1u);

  CADView view;
  view.Display(object, false);
  EXPECT_TRUE(view.IsDisplayed(object));
  EXPECT_TRUE(view.Context()->MainPrsMgr()->HasPresentation(object, 0)) << "the mesh is drawn as a real presentation";
  view.Remove(object, false);
  EXPECT_FALSE(view.IsDisplayed(object));
}
