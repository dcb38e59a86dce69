#include <cadtools/ShapeHandle.h>

#include <support/Solids.h>

#include <AIS_Shape.hxx>
#include <BRepAlgoAPI_Cut.hxx>
#include <BRepBuilderAPI_MakeEdge.hxx>
#include <BRepCheck_Analyzer.hxx>
#include <BRepMesh_IncrementalMesh.hxx>
#include <BRepPrimAPI_MakeBox.hxx>
#include <BRepPrimAPI_MakeSphere.hxx>
#include <BRepTools.hxx>
#include <BRep_Tool.hxx>
#include <GC_MakeCircle.hxx>
#include <TopExp.hxx>
#include <TopExp_Explorer.hxx>
#include <TopLoc_Location.hxx>
#include <TopTools_IndexedMapOfShape.hxx>
#include <TopoDS.hxx>
#include <gtest/gtest.h>

#include <cctype>
#include <sstream>

TEST(ShapeHandle, MeasuresOfKnownSolids)
{
  const TopoDS_Shape box = Solids::Box(40, 20, 10);
  EXPECT_NEAR(ShapeHandle::GetAreaOrVol(box), 8000.0, 1e-6);
  const TopoDS_Shape cylinder = Solids::Cylinder(5.0, 10.0);
  EXPECT_NEAR(ShapeHandle::GetAreaOrVol(cylinder), M_PI * 250.0, 1e-6);
  const TopoDS_Shape lsolid = Solids::LSolid(50, 10, 30);
  ASSERT_TRUE(BRepCheck_Analyzer(lsolid).IsValid());
  EXPECT_NEAR(ShapeHandle::GetAreaOrVol(lsolid), (2 * 50 * 10 - 100) * 30.0, 1e-6);

  double area = 0.0;
  int upward = 0;
  for (TopExp_Explorer it(box, TopAbs_FACE); it.More(); it.Next())
  {
    const TopoDS_Face face = TopoDS::Face(it.Current());
    area += ShapeHandle::GetAreaOrVol(face);
    const auto [ok, normal] = ShapeHandle::GetNormal(face);
    ASSERT_TRUE(ok);
    const gp_Vec outward(gp_Pnt(20, 10, 5), ShapeHandle::GetFaceCenter(face));
    EXPECT_GT(outward.Dot(gp_Vec(normal)), 0.0) << "normals point out of the solid";
    upward += normal.IsEqual(gp::DZ(), 1e-12) ? 1 : 0;
  }
  EXPECT_NEAR(area, 2 * (800 + 400 + 200), 1e-6);
  EXPECT_EQ(upward, 1);

  // The lateral face of a cylinder has a normal at its parametric centre, perpendicular to the axis.
  for (TopExp_Explorer it(cylinder, TopAbs_FACE); it.More(); it.Next())
  {
    const auto [ok, normal] = ShapeHandle::GetNormal(TopoDS::Face(it.Current()));
    EXPECT_TRUE(ok);
    EXPECT_TRUE(std::abs(normal.Z()) < 1e-12 || std::abs(std::abs(normal.Z()) - 1.0) < 1e-12);
  }

  const TopoDS_Edge circle = BRepBuilderAPI_MakeEdge(GC_MakeCircle(gp_Ax2(), 5.0).Value()).Edge();
  EXPECT_NEAR(ShapeHandle::GetLength(circle), 10.0 * M_PI, 1e-9);
  EXPECT_NEAR(ShapeHandle::GetAreaOrVol(circle), 10.0 * M_PI, 1e-9);

  // The box of a box is the box again.
  const TopoDS_Shape again = ShapeHandle::BndOBBGetTopoShape(ShapeHandle::GetTopoShapeBndOBB(box, 0.0));
  ASSERT_FALSE(again.IsNull());
  EXPECT_TRUE(BRepCheck_Analyzer(again).IsValid());
  EXPECT_NEAR(ShapeHandle::GetAreaOrVol(again), 8000.0, 1e-6);
  EXPECT_TRUE(ShapeHandle::BndOBBGetTopoShape(ShapeHandle::GetTopoShapeBndOBB(TopoDS_Shape(), 0.0)).IsNull());
}

TEST(ShapeHandle, EdgeEquality)
{
  const TopoDS_Shape box = Solids::Box(40, 20, 10);
  TopTools_IndexedMapOfShape edges;
  TopExp::MapShapes(box, TopAbs_EDGE, edges);
  ASSERT_EQ(edges.Extent(), 12);
  const TopoDS_Edge first = TopoDS::Edge(edges(1));
  gp_Pnt a = BRep_Tool::Pnt(TopExp::FirstVertex(first));
  gp_Pnt b = BRep_Tool::Pnt(TopExp::LastVertex(first));
  EXPECT_TRUE(ShapeHandle::IsTwoEdgeEqual(first, BRepBuilderAPI_MakeEdge(b, a).Edge(), 1e-6, 0.1)) << "reversed copy";
  EXPECT_TRUE(ShapeHandle::IsTwoEdgeEqual(first, BRepBuilderAPI_MakeEdge(a, b.Translated(gp_Vec(0, 0, 1e-7))).Edge(),
                                          1e-6, 0.1));
  EXPECT_FALSE(ShapeHandle::IsTwoEdgeEqual(first, BRepBuilderAPI_MakeEdge(a, b.Translated(gp_Vec(0, 0, 1e-3))).Edge(),
                                           1e-6, 0.1));
  for (int i = 2; i <= edges.Extent(); ++i)
    EXPECT_FALSE(ShapeHandle::IsTwoEdgeEqual(first, TopoDS::Edge(edges(i)), 1e-6, 0.1)) << i;
  // Same ends and length, different path: the upper and the lower half circle.
  const Handle(Geom_Circle) circle5 = GC_MakeCircle(gp_Ax2(), 5.0).Value();
  const TopoDS_Edge upper = BRepBuilderAPI_MakeEdge(circle5, 0.0, M_PI).Edge();
  const TopoDS_Edge lower = BRepBuilderAPI_MakeEdge(circle5, M_PI, 2.0 * M_PI).Edge();
  EXPECT_FALSE(ShapeHandle::IsTwoEdgeEqual(upper, lower, 1.0, 0.1));
  EXPECT_TRUE(ShapeHandle::IsTwoEdgeEqual(upper, BRepBuilderAPI_MakeEdge(circle5, 0.0, M_PI).Edge(), 1e-6, 0.1));
}

TEST(ShapeHandle, ShapesOfADisplayTreeArePlaced)
{
  Handle(AIS_Shape) root = new AIS_Shape(Solids::Box(10, 10, 10));
  Handle(AIS_Shape) child = new AIS_Shape(Solids::Box(1, 1, 1));
  gp_Trsf up, aside;
  up.SetTranslation(gp_Vec(0, 0, 100));
  aside.SetTranslation(gp_Vec(5, 0, 0));
  root->SetLocalTransformation(up);
  child->SetLocalTransformation(aside);
  root->AddChild(child);

  const auto flat = ShapeHandle::GetShapes(root, false);
  ASSERT_EQ(flat.size(), 1u);
  const auto all = ShapeHandle::GetShapes(root, true);
  ASSERT_EQ(all.size(), 2u);
  Bnd_OBB box = ShapeHandle::GetTopoShapeBndOBB(all[1], 0.0);
  EXPECT_TRUE(gp_Pnt(box.Center()).IsEqual(gp_Pnt(5.5, 0.5, 100.5), 1e-6)) << "child placed by both transforms";
  EXPECT_TRUE(ShapeHandle::GetShapes(Handle(AIS_InteractiveObject)(), true).empty());
}

TEST(ShapeHandle, ReadBRepOfWholeTruncatedAndForeignText)
{
  const TopoDS_Shape plate = Solids::FilletedPlate(80, 40, 6, 5);
  std::ostringstream out;
  BRepTools::Write(plate, out, false, false, TopTools_FormatVersion_VERSION_3);
  const std::string text = out.str();

  std::istringstream whole(text);
  const TopoDS_Shape back = ShapeHandle::ReadBRep(whole);
  ASSERT_FALSE(back.IsNull());
  EXPECT_TRUE(BRepCheck_Analyzer(back).IsValid());
  EXPECT_NEAR(ShapeHandle::GetAreaOrVol(back), ShapeHandle::GetAreaOrVol(plate), 1e-6);
  EXPECT_EQ(whole.exceptions(), std::ios::goodbit) << "the caller's stream settings are restored";

  // The last token may end the text with no newline after it.
  std::string bare = text;
  while (!bare.empty() && std::isspace(static_cast<unsigned char>(bare.back())))
    bare.pop_back();
  std::istringstream unterminated(bare);
  EXPECT_FALSE(ShapeHandle::ReadBRep(unterminated).IsNull());

  for (const double fraction : {0.05, 0.3, 0.6, 0.9, 0.99})
  {
    std::istringstream cut(text.substr(0, static_cast<std::size_t>(fraction * static_cast<double>(text.size()))));
    EXPECT_TRUE(ShapeHandle::ReadBRep(cut).IsNull()) << "cut at " << fraction;
  }
  std::istringstream foreign("ISO-10303-21;\nHEADER;\n");
  EXPECT_TRUE(ShapeHandle::ReadBRep(foreign).IsNull());
  std::istringstream empty("");
  EXPECT_TRUE(ShapeHandle::ReadBRep(empty).IsNull());
}

TEST(ShapeHandle, WriteBRepGivesTheKernelsTextAndReadsBackToIt)
{
  // A meshed fillet (B-spline-free but with tori and triangulations), a moved cylinder, and a
  // sphere cut by a box for awkward numbers: tiny, negative, and negative zero.
  TopoDS_Shape fillet = Solids::FilletedPlate(80, 40, 6, 5);
  BRepMesh_IncrementalMesh mesh(fillet, 0.3);
  ASSERT_TRUE(mesh.IsDone());
  gp_Trsf place;
  place.SetRotation(gp_Ax1(gp_Pnt(1e-9, -0.0, 3), gp_Dir(1, 1, 1)), 0.7);
  const TopoDS_Shape cylinder = Solids::Cylinder(5.0 / 3.0, 1e7).Moved(TopLoc_Location(place));
  BRepAlgoAPI_Cut cut(BRepPrimAPI_MakeSphere(gp_Pnt(-1e-12, 2.5e-300, -7.25), 1.0 / 3.0).Shape(),
                      BRepPrimAPI_MakeBox(gp_Pnt(0, -1, -8), 1, 2, 2).Shape());
  ASSERT_TRUE(cut.IsDone());
  for (const TopoDS_Shape& shape : {fillet, cylinder, cut.Shape()})
  {
    // Ours first: it clears the checked marks that the kernel would write otherwise.
    std::ostringstream ours;
    ShapeHandle::WriteBRep(shape, ours);
    std::ostringstream kernel;
    BRepTools::Write(shape, kernel, true, false, TopTools_FormatVersion_VERSION_3);
    EXPECT_EQ(ours.str(), kernel.str());

    std::istringstream in(ours.str());
    const TopoDS_Shape back = ShapeHandle::ReadBRep(in);
    ASSERT_FALSE(back.IsNull());
    std::ostringstream again;
    ShapeHandle::WriteBRep(back, again);
    EXPECT_EQ(again.str(), ours.str());
  }

  // A checked mark is written as cleared, as the reader would leave it.
  const TopoDS_Shape box = Solids::Box(10, 20, 30);
  ASSERT_TRUE(BRepCheck_Analyzer(box).IsValid());
  box.TShape()->Checked(true);
  std::ostringstream marked;
  ShapeHandle::WriteBRep(box, marked);
  EXPECT_FALSE(box.TShape()->Checked());
  std::ostringstream kernel;
  BRepTools::Write(box, kernel, true, false, TopTools_FormatVersion_VERSION_3);
  EXPECT_EQ(marked.str(), kernel.str());
}
