#include <cadtools/ShapeCheck.h>
#include <cadtools/ShapeHandle.h>

#include <support/Solids.h>

#include <AIS_Shape.hxx>
#include <BRepAdaptor_Surface.hxx>
#include <BRepBuilderAPI_MakeEdge.hxx>
#include <BRepBuilderAPI_MakeFace.hxx>
#include <BRepCheck_Analyzer.hxx>
#include <BRepMesh_IncrementalMesh.hxx>
#include <BRepTools.hxx>
#include <BRep_Builder.hxx>
#include <BRep_Tool.hxx>
#include <GC_MakeCircle.hxx>
#include <Geom_Circle.hxx>
#include <Geom_Line.hxx>
#include <Geom_OffsetCurve.hxx>
#include <Geom_SurfaceOfRevolution.hxx>
#include <Geom_TrimmedCurve.hxx>
#include <Precision.hxx>
#include <TopExp.hxx>
#include <TopExp_Explorer.hxx>
#include <TopTools_IndexedMapOfShape.hxx>
#include <TopoDS.hxx>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <array>
#include <sstream>
#include <string>
#include <vector>

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
  // A meshed fillet, a moved cylinder, a box marked as checked; an edge on an offset of a trimmed
  // circle and a face on a revolved trimmed line.
  TopoDS_Shape fillet = Solids::FilletedPlate(80, 40, 6, 5);
  ASSERT_TRUE(BRepMesh_IncrementalMesh(fillet, 0.3).IsDone());
  gp_Trsf place;
  place.SetRotation(gp_Ax1(gp_Pnt(1e-9, -0.0, 3), gp_Dir(1, 1, 1)), 0.7);
  const TopoDS_Shape box = Solids::Box(10, 20, 30);
  box.TShape()->Checked(true);
  const Handle(Geom_Circle) circle = new Geom_Circle(gp_Ax2(gp_Pnt(0, 0, 0), gp_Dir(0, 0, 1)), 10);
  const TopoDS_Edge edge =
    BRepBuilderAPI_MakeEdge(new Geom_OffsetCurve(new Geom_TrimmedCurve(circle, 0, 2), 3, gp_Dir(0, 0, 1))).Edge();
  const Handle(Geom_SurfaceOfRevolution) revolved =
    new Geom_SurfaceOfRevolution(new Geom_TrimmedCurve(new Geom_Line(gp_Pnt(5, 0, 0), gp_Dir(1, 0, 1)), 0, 4),
                                 gp_Ax1(gp_Pnt(0, 0, 0), gp_Dir(0, 0, 1)));
  const TopoDS_Face face = BRepBuilderAPI_MakeFace(revolved, 0, 1, 0, 4, Precision::Confusion()).Face();
  for (const TopoDS_Shape& shape : {fillet, Solids::Cylinder(5.0 / 3.0, 1e7).Moved(TopLoc_Location(place)), box,
                                    TopoDS_Shape(edge), TopoDS_Shape(face)})
  {
    // Ours first: it clears the checked marks, as the reader would leave them.
    std::ostringstream ours, kernel, again, kernels;
    ShapeHandle::WriteBRep(shape, ours);
    BRepTools::Write(shape, kernel, true, false, TopTools_FormatVersion_VERSION_3);
    EXPECT_EQ(ours.str(), kernel.str());
    const char* const geometry = shape.ShapeType() == TopAbs_EDGE ? "\n9 3\n0 0 1 \n8 0 2\n2 " : "\n7 0 0 0 0 0 1 \n8 0 4\n1 ";
    EXPECT_TRUE(shape.ShapeType() < TopAbs_FACE || ours.str().find(geometry) != std::string::npos);
    std::istringstream in(ours.str()), alone(ours.str());
    const TopoDS_Shape back = ShapeHandle::ReadBRep(in);
    ASSERT_TRUE(!back.IsNull() && BRepCheck_Analyzer(back).IsValid());
    EXPECT_NEAR(ShapeHandle::GetAreaOrVol(back), ShapeHandle::GetAreaOrVol(shape), 1e-9 * ShapeHandle::GetAreaOrVol(shape));
    // Read as the kernel reads it alone.
    TopoDS_Shape kernelRead;
    BRepTools::Read(kernelRead, alone, BRep_Builder());
    ShapeHandle::WriteBRep(back, again);
    ShapeHandle::WriteBRep(kernelRead, kernels);
    EXPECT_TRUE(again.str() == kernels.str() && in.exceptions() == std::ios::goodbit) << "the stream's settings restored";
    EXPECT_TRUE(shape.ShapeType() > TopAbs_SOLID || again.str() == ours.str());
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

namespace
{
// The BRep text of a lone vertex after the given geometry sections, which it does not use.
std::string VertexAfterGeometry(const std::string& curves2d, const std::string& curves, const std::string& surfaces)
{
  const auto section = [](const char* name, const std::string& entries) {
    const auto count = std::count(entries.begin(), entries.end(), '\n');
    return std::string(name) + " " + std::to_string(count) + "\n" + entries;
  };
  return "\nCASCADE Topology V3, (c) Open Cascade\nLocations 0\n" + section("Curve2ds", curves2d) +
         section("Curves", curves) + "Polygon3D 0\nPolygonOnTriangulations 0\n" + section("Surfaces", surfaces) +
         "Triangulations 0\n\nTShapes 1\nVe\n1e-07\n1 2 3\n0 0\n\n0101101\n*\n\n+1 0 \n";
}
} // namespace

TEST(ShapeHandle, BRepTextOfGeometryOnAMissingBasisOrOfNumbersNotFiniteIsRefused)
{
  const std::string circle = "2 0 0 0 0 0 1 1 0 -0 -0 1 0 4";
  const std::string badCircle = "2 0 0 0 0 0 1 1 0 -0 -0 1 0 -4";
  // Curve2ds, Curves, Surfaces: trimmed, offset, extruded, revolved entries on a basis that reads.
  const std::vector<std::array<std::string, 3>> valid = {
    {"8 0 1 1 0 0 1 0\n9 2.5 2 0 0 1 0 -0 1 4\n9 1 8 0 1 1 0 0 1 0\n", "", ""},
    {"", "8 0 1 1 0 0 0 1 0 0\n9 0.5 0 0 1 " + circle + "\n9 1 0 0 1 8 0 1 1 0 0 0 1 0 0\n", ""},
    {"", "", "7 0 0 0 0 0 1 1 5 0 0 0 0 1\n6 0 0 1 " + circle + "\n10 0 1 0 1 1 0 0 0 0 0 1 1 0 -0 -0 1 0\n"
             "11 0.5 10 0 1 0 1 1 0 0 0 0 0 1 1 0 -0 -0 1 0\n"},
    // An entry that fails to build on its own is left null, as the kernel leaves it, and the
    // entries after it still read: an offset curve of no direction stops before its basis, which
    // is then read as an entry of its own.
    {"", badCircle + "\n9 1 0 0 0\n1 0 0 0 1 0 0\n8 1 1 1 0 0 0 1 0 0\n", ""}};
  for (const auto& [curves2d, curves, surfaces] : valid)
  {
    std::istringstream in(VertexAfterGeometry(curves2d, curves, surfaces));
    const TopoDS_Shape vertex = ShapeHandle::ReadBRep(in);
    ASSERT_TRUE(!vertex.IsNull() && vertex.ShapeType() == TopAbs_VERTEX) << curves2d << curves << surfaces;
    EXPECT_TRUE(BRep_Tool::Pnt(TopoDS::Vertex(vertex)).IsEqual(gp_Pnt(1, 2, 3), Precision::Confusion()));
  }
  // The kernel reads each basis below as a null handle and builds on it.
  const std::vector<std::array<std::string, 3>> refused = {
    {"9 2.5 12 0 0\n", "", ""},
    {"8 0 1 9 1 7\n", "", ""},
    {"", "8 0 1 42\n", ""},
    {"", "9 1 0 0 1 " + badCircle + "\n", ""},
    {"", "8 0 1 8 1 1 1 0 0 0 1 0 0\n", ""},
    {"", "", "7 0 0 0 0 0 1 99\n"},
    {"", "", "6 0 0 1 " + badCircle + "\n"},
    {"", "", "10 0 1 0 1 13\n"},
    {"", "", "11 0.5 10 0 1 0 1 77\n"},
    {"", "", "10 0 1 0 1 10 0 0 0 1 1 0 0 0 0 0 1 1 0 -0 -0 1 0\n"}};
  for (const auto& [curves2d, curves, surfaces] : refused)
  {
    std::istringstream in(VertexAfterGeometry(curves2d, curves, surfaces));
    EXPECT_TRUE(ShapeHandle::ReadBRep(in).IsNull()) << curves2d << curves << surfaces;
  }
  // The surfaces come after polygons, with and without parameters: found past them.
  for (const auto& [surfaces, read] : {std::pair{std::string("7 0 0 0 0 0 1 99\n"), false},
                                       std::pair{std::string("7 0 0 0 0 0 1 1 5 0 0 0 0 1\n"), true}})
  {
    std::string text = VertexAfterGeometry("", "", surfaces);
    const std::string none = "Polygon3D 0\nPolygonOnTriangulations 0\n";
    text.replace(text.find(none), none.size(),
                 "Polygon3D 2\n2 1\n0.1\n0 0 0 1 1 1 \n0 1 \n2 0\n0.1\n0 0 0 1 1 1 \n"
                 "PolygonOnTriangulations 2\n2 1 2 \np 0.1 1 0 1 \n3 1 2 3 \np 0.1 0 \n");
    std::istringstream in(text);
    EXPECT_EQ(ShapeHandle::ReadBRep(in).IsNull(), !read) << surfaces;
  }
  // Numbers that are not finite in a vertex read to a shape the cheap check refuses.
  const std::string text = VertexAfterGeometry("", "", "");
  const std::size_t point = text.find("\n1 2 3\n") + 1;
  const auto read = [&](const std::string& coordinates) {
    std::istringstream in(text.substr(0, point) + coordinates + text.substr(point + 5));
    return ShapeHandle::ReadBRep(in);
  };
  // What the kernel reads as an infinity or not a number, in a vertex's coordinates.
  for (const char* bad : {"nan 2 3", "1 inf 3", "1 2 -infinity", "1e999 2 3", "1 -6.12323399e773756-15 3",
                                 "0x1p2000 2 3", "1 2 NAN(1)"})
  {
    const TopoDS_Shape vertex = read(bad);
    EXPECT_TRUE(!vertex.IsNull() && ShapeCheck::MissingGeometry(vertex) == "it has coordinates that are not finite numbers") << bad;
  }
  for (const char* good : {"1e2 2e-300 3E+2", "1.7976931348623157e308 -1.7976931348623157e308 0x1p10"})
    EXPECT_EQ(ShapeCheck::MissingGeometry(read(good)), "") << good;
}
