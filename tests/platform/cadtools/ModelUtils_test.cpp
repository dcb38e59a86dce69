#include <cadtools/ModelUtils.h>

#include <support/Solids.h>

#include <BRepMesh_IncrementalMesh.hxx>
#include <BRep_Tool.hxx>
#include <Poly_Triangulation.hxx>
#include <TopExp_Explorer.hxx>
#include <TopoDS.hxx>
#include <gtest/gtest.h>

#include <vector>

namespace
{
// Returns one triangulation of the whole shape, triangles turned to face outward.
Handle(Poly_Triangulation) CollisionModel(const TopoDS_Shape& shape)
{
  BRepMesh_IncrementalMesh mesher(shape, 0.5);
  EXPECT_TRUE(mesher.IsDone());
  std::vector<gp_Pnt> nodes;
  std::vector<Poly_Triangle> triangles;
  for (TopExp_Explorer it(shape, TopAbs_FACE); it.More(); it.Next())
  {
    const TopoDS_Face& face = TopoDS::Face(it.Current());
    TopLoc_Location location;
    const Handle(Poly_Triangulation) part = BRep_Tool::Triangulation(face, location);
    const int offset = static_cast<int>(nodes.size());
    for (int i = 1; i <= part->NbNodes(); ++i)
      nodes.push_back(part->Node(i).Transformed(location.Transformation()));
    for (int t = 1; t <= part->NbTriangles(); ++t)
    {
      int a = 0, b = 0, c = 0;
      part->Triangle(t).Get(a, b, c);
      if (face.Orientation() == TopAbs_REVERSED)
        std::swap(b, c);
      triangles.emplace_back(a + offset, b + offset, c + offset);
    }
  }
  Handle(Poly_Triangulation) model =
    new Poly_Triangulation(static_cast<int>(nodes.size()), static_cast<int>(triangles.size()), false);
  for (std::size_t i = 0; i < nodes.size(); ++i)
    model->SetNode(static_cast<int>(i) + 1, nodes[i]);
  for (std::size_t t = 0; t < triangles.size(); ++t)
    model->SetTriangle(static_cast<int>(t) + 1, triangles[t]);
  return model;
}
} // namespace

TEST(ModelUtils, ConvexFacesOfBoxAndLSolid)
{
  const TopoDS_Shape box = Solids::Box(40, 20, 10);
  const Handle(Poly_Triangulation) boxModel = CollisionModel(box);
  for (TopExp_Explorer it(box, TopAbs_FACE); it.More(); it.Next())
    EXPECT_TRUE(ModelUtils::IsConvexFace(TopoDS::Face(it.Current()), boxModel, gp_Trsf()));

  // The L's two inner faces (x = 10 and y = 10 between the legs) have material beyond their planes.
  const TopoDS_Shape lsolid = Solids::LSolid(50, 10, 30);
  const Handle(Poly_Triangulation) lModel = CollisionModel(lsolid);
  int convex = 0, inner = 0;
  for (TopExp_Explorer it(lsolid, TopAbs_FACE); it.More(); it.Next())
  {
    if (ModelUtils::IsConvexFace(TopoDS::Face(it.Current()), lModel, gp_Trsf()))
      ++convex;
    else
      ++inner;
  }
  EXPECT_EQ(convex, 6);
  EXPECT_EQ(inner, 2);

  // A model placed elsewhere is tested where it stands.
  gp_Trsf away;
  away.SetTranslation(gp_Vec(0, 0, 50));
  const TopoDS_Face bottom = TopoDS::Face(TopExp_Explorer(box, TopAbs_FACE).Current());
  int bottomConvexAway = 0;
  for (TopExp_Explorer it(box, TopAbs_FACE); it.More(); it.Next())
    bottomConvexAway += ModelUtils::IsConvexFace(TopoDS::Face(it.Current()), boxModel, away) ? 1 : 0;
  EXPECT_LT(bottomConvexAway, 6);
  EXPECT_FALSE(ModelUtils::IsConvexFace(bottom, Handle(Poly_Triangulation)(), gp_Trsf()));
}

TEST(ModelUtils, FilterBackFaceKeepsWhatFacesTheViewer)
{
  const Handle(Poly_Triangulation) model = CollisionModel(Solids::Box(40, 20, 10));
  ASSERT_EQ(model->NbTriangles(), 12);
  const Handle(Poly_Triangulation) top = ModelUtils::FilterBackFace(model, gp_Pnt(20, 10, 1000));
  ASSERT_EQ(top->NbTriangles(), 2);
  EXPECT_EQ(top->NbNodes(), 4);
  for (int i = 1; i <= top->NbNodes(); ++i)
    EXPECT_NEAR(top->Node(i).Z(), 10.0, 1e-12);
  // From a corner far out, three faces are seen.
  EXPECT_EQ(ModelUtils::FilterBackFace(model, gp_Pnt(500, 500, 500))->NbTriangles(), 6);
  EXPECT_TRUE(ModelUtils::FilterBackFace(Handle(Poly_Triangulation)(), gp::Origin()).IsNull());
}
