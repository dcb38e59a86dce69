#include <cadtools/ModelUtils.h>
#include <mesh/MeshProcessTools.h>

#include <support/Solids.h>

#include <TopExp_Explorer.hxx>
#include <TopoDS.hxx>
#include <gtest/gtest.h>

TEST(ModelUtils, ConvexFacesAndFacesTowardTheViewer)
{
  // The L's two inner faces have material beyond their planes; a model placed 50 above the box
  // stands beyond its top face.
  gp_Trsf above;
  above.SetTranslation(gp_Vec(0, 0, 50));
  for (const auto& [shape, place, convex] : {std::tuple{Solids::Box(40, 20, 10), gp_Trsf(), 6},
                                             {Solids::LSolid(50, 10, 30), gp_Trsf(), 6}, {Solids::Box(40, 20, 10), above, 5}})
  {
    const Handle(Poly_Triangulation) model = MeshProcessTools::CreateWatertightMesh(shape, 0.5)->ToTriangulation();
    int count = 0;
    for (TopExp_Explorer it(shape, TopAbs_FACE); it.More(); it.Next())
      count += ModelUtils::IsConvexFace(TopoDS::Face(it.Current()), model, place) ? 1 : 0;
    EXPECT_EQ(count, convex);
  }
  const Handle(Poly_Triangulation) box = MeshProcessTools::CreateWatertightMesh(Solids::Box(40, 20, 10), 0.5)->ToTriangulation();
  const Handle(Poly_Triangulation) top = ModelUtils::FilterBackFace(box, gp_Pnt(20, 10, 1000));
  ASSERT_TRUE(top->NbTriangles() == 2 && top->NbNodes() == 4) << "only the nodes of the kept triangles";
  for (int i = 1; i <= top->NbNodes(); ++i)
    EXPECT_NEAR(top->Node(i).Z(), 10.0, 1e-12);
  EXPECT_EQ(ModelUtils::FilterBackFace(box, gp_Pnt(500, 500, 500))->NbTriangles(), 6) << "three faces from a corner";
  EXPECT_TRUE(ModelUtils::FilterBackFace(Handle(Poly_Triangulation)(), gp::Origin()).IsNull() &&
              !ModelUtils::IsConvexFace(TopoDS::Face(TopExp_Explorer(Solids::Box(1, 1, 1), TopAbs_FACE).Current()), {}, gp_Trsf()));
}
