#include <cadtools/ShapeHandle.h>

#include <support/Solids.h>

#include <AIS_Shape.hxx>
#include <BRepAdaptor_Surface.hxx>
#include <BRepBuilderAPI_MakeEdge.hxx>
#include <BRepCheck_Analyzer.hxx>
#include <BRepMesh_IncrementalMesh.hxx>
#include <BRepTools.hxx>
#include <BRep_Tool.hxx>
#include <GC_MakeCircle.hxx>
#include <TopExp.hxx>
#include <TopExp_Explorer.hxx>
#include <TopTools_IndexedMapOfShape.hxx>
#include <TopoDS.hxx>
#include <gtest/gtest.h>

#include <sstream>

TEST(ShapeHandle, MeasuresAndNormalsOfKnownSolids)
{
  const double corners = 4 * (25 - 25 * M_PI / 4) * 10;
  // Solid, its volume, the volume of its oriented box built as a solid, its centre.
  for (const auto& [shape, volume, boxVolume, centre] :
       {std::tuple{Solids::Box(40, 20, 10), 8000.0, 8000.0, gp_Pnt(20, 10, 5)},
        {Solids::Cylinder(5, 10), M_PI * 250, 1000.0, gp_Pnt(0, 0, 5)},
        {Solids::FilletedPlate(100, 60, 10, 5), 60000 - corners, 60000.0, gp_Pnt(50, 30, 5)}})
  {
    EXPECT_NEAR(ShapeHandle::GetAreaOrVol(shape), volume, 1e-6 * volume);
    const TopoDS_Shape hull = ShapeHandle::BndOBBGetTopoShape(ShapeHandle::GetTopoShapeBndOBB(shape, 0.0));
    EXPECT_TRUE(BRepCheck_Analyzer(hull).IsValid());
    EXPECT_NEAR(ShapeHandle::GetAreaOrVol(hull), boxVolume, 1e-6 * boxVolume);
    // Normals at the faces' parametric middles point out of the (convex) solid.
    for (TopExp_Explorer it(shape, TopAbs_FACE); it.More(); it.Next())
    {
      const TopoDS_Face face = TopoDS::Face(it.Current());
      const auto [ok, normal] = ShapeHandle::GetNormal(face);
      double u1 = 0, u2 = 0, v1 = 0, v2 = 0;
      BRepTools::UVBounds(face, u1, u2, v1, v2);
      EXPECT_TRUE(ok && gp_Vec(centre, BRepAdaptor_Surface(face).Value((u1 + u2) / 2, (v1 + v2) / 2)).Dot(gp_Vec(normal)) > 1);
    }
  }
  // Faces measure their area, edges their length.
  EXPECT_NEAR(ShapeHandle::GetAreaOrVol(TopoDS::Face(TopExp_Explorer(Solids::Box(40, 20, 10), TopAbs_FACE).Current())), 200, 1e-9);
  const TopoDS_Edge circle = BRepBuilderAPI_MakeEdge(GC_MakeCircle(gp_Ax2(), 5.0).Value()).Edge();
  EXPECT_NEAR(ShapeHandle::GetLength(circle) + ShapeHandle::GetAreaOrVol(circle), 20.0 * M_PI, 1e-9);
  EXPECT_TRUE(ShapeHandle::BndOBBGetTopoShape(ShapeHandle::GetTopoShapeBndOBB(TopoDS_Shape(), 0.0)).IsNull());
}

TEST(ShapeHandle, EdgeEquality)
{
  TopTools_IndexedMapOfShape edges;
  TopExp::MapShapes(Solids::Box(40, 20, 10), TopAbs_EDGE, edges);
  const TopoDS_Edge first = TopoDS::Edge(edges(1));
  const gp_Pnt a = BRep_Tool::Pnt(TopExp::FirstVertex(first)), b = BRep_Tool::Pnt(TopExp::LastVertex(first));
  for (const auto& [from, to, equal] : {std::tuple{b, a, true}, {a, b.Translated(gp_Vec(0, 0, 1e-7)), true},
                                        {a, b.Translated(gp_Vec(0, 0, 1e-3)), false}})
    EXPECT_EQ(ShapeHandle::IsTwoEdgeEqual(first, BRepBuilderAPI_MakeEdge(from, to).Edge(), 1e-6, 0.1), equal);
  for (int i = 2; i <= edges.Extent(); ++i)
    EXPECT_FALSE(ShapeHandle::IsTwoEdgeEqual(first, TopoDS::Edge(edges(i)), 1e-6, 0.1)) << i;
  // Same ends and length, different path: the upper and the lower half circle.
  const Handle(Geom_Circle) circle = GC_MakeCircle(gp_Ax2(), 5.0).Value();
  const TopoDS_Edge upper = BRepBuilderAPI_MakeEdge(circle, 0.0, M_PI).Edge();
  EXPECT_TRUE(!ShapeHandle::IsTwoEdgeEqual(upper, BRepBuilderAPI_MakeEdge(circle, M_PI, 2.0 * M_PI).Edge(), 1.0, 0.1) &&
              ShapeHandle::IsTwoEdgeEqual(upper, BRepBuilderAPI_MakeEdge(circle, 0.0, M_PI).Edge(), 1e-6, 0.1));
}

TEST(ShapeHandle, ShapesOfADisplayTreeArePlaced)
{
  // A child mirrored in x = 5 below a root 100 up: the kernel takes the mirror only when told to.
  Handle(AIS_Shape) root = new AIS_Shape(Solids::Box(10, 10, 10)), child = new AIS_Shape(Solids::Box(1, 1, 1));
  gp_Trsf up, mirror;
  up.SetTranslation(gp_Vec(0, 0, 100));
  mirror.SetMirror(gp_Ax2(gp_Pnt(5, 0, 0), gp::DX()));
  root->SetLocalTransformation(up);
  child->SetLocalTransformation(mirror);
  root->AddChild(child);
  const auto all = ShapeHandle::GetShapes(root, true);
  ASSERT_TRUE(all.size() == 2u && ShapeHandle::GetShapes(root, false).size() == 1u);
  EXPECT_TRUE(gp_Pnt(ShapeHandle::GetTopoShapeBndOBB(all[1], 0.0).Center()).IsEqual(gp_Pnt(9.5, 0.5, 100.5), 1e-6));
  EXPECT_TRUE(ShapeHandle::GetShapes(Handle(AIS_InteractiveObject)(), true).empty());
}

TEST(ShapeHandle, BRepTextRoundTripsLikeTheKernelsAndRejectsCutOrForeignText)
{
  // A meshed fillet, a moved cylinder, a box marked as checked.
  TopoDS_Shape fillet = Solids::FilletedPlate(80, 40, 6, 5);
  ASSERT_TRUE(BRepMesh_IncrementalMesh(fillet, 0.3).IsDone());
  gp_Trsf place;
  place.SetRotation(gp_Ax1(gp_Pnt(1e-9, -0.0, 3), gp_Dir(1, 1, 1)), 0.7);
  const TopoDS_Shape box = Solids::Box(10, 20, 30);
  box.TShape()->Checked(true);
  for (const TopoDS_Shape& shape : {fillet, Solids::Cylinder(5.0 / 3.0, 1e7).Moved(TopLoc_Location(place)), box})
  {
    // Ours first: it clears the checked marks, as the reader would leave them.
    std::ostringstream ours, kernel, again;
    ShapeHandle::WriteBRep(shape, ours);
    BRepTools::Write(shape, kernel, true, false, TopTools_FormatVersion_VERSION_3);
    EXPECT_EQ(ours.str(), kernel.str());
    std::istringstream in(ours.str());
    const TopoDS_Shape back = ShapeHandle::ReadBRep(in);
    ASSERT_TRUE(BRepCheck_Analyzer(back).IsValid());
    ShapeHandle::WriteBRep(back, again);
    EXPECT_TRUE(again.str() == ours.str() && in.exceptions() == std::ios::goodbit) << "the stream's settings restored";
  }
  EXPECT_FALSE(box.TShape()->Checked());
  std::ostringstream out;
  ShapeHandle::WriteBRep(fillet, out);
  const std::string text = out.str();
  // Cut anywhere or foreign text reads as nothing.
  std::istringstream unterminated(text.substr(0, text.find_last_not_of(" \n") + 1));
  EXPECT_FALSE(ShapeHandle::ReadBRep(unterminated).IsNull()) << "the last token may end the text";
  for (const std::string& bad : {text.substr(0, text.size() / 20), text.substr(0, text.size() * 3 / 5),
                                 text.substr(0, text.size() * 99 / 100), std::string("ISO-10303-21;\nHEADER;\n"), std::string()})
  {
    std::istringstream in(bad);
    EXPECT_TRUE(ShapeHandle::ReadBRep(in).IsNull()) << bad.size();
  }
}
