#include <entity/GenerateWorkpieceHelper.h>

#include <cadtools/ShapeHandle.h>

#include <BRepAdaptor_Curve.hxx>
#include <BRepBndLib.hxx>
#include <BRepCheck_Analyzer.hxx>
#include <Bnd_Box.hxx>
#include <GCPnts_AbscissaPoint.hxx>
#include <TopExp.hxx>
#include <TopTools_IndexedMapOfShape.hxx>

#include <gtest/gtest.h>

#include <limits>

namespace
{
NCollection_Sequence<gp_Pnt> Points(std::initializer_list<gp_Pnt> points)
{
  NCollection_Sequence<gp_Pnt> sequence;
  for (const gp_Pnt& p : points)
    sequence.Append(p);
  return sequence;
}
} // namespace

TEST(GenerateWorkpieceHelper, CollinearityAndFacesFromPolygonsAndCircles)
{
  // Near points merge; about 0.02 rad off the line is off it.
  EXPECT_FALSE(GenerateWorkpieceHelper::CheckPntsIsNotInSameLine(Points({{0, 0, 0}, {0.5, 0, 0}, {0, 0.5, 0}})));
  EXPECT_TRUE(GenerateWorkpieceHelper::CheckPntsIsNotInSameLine(Points({{0, 0, 0}, {10, 0, 0}, {100, 2, 0}})));
  const double nan = std::numeric_limits<double>::quiet_NaN();
  // A closing point repeating the first, or a point repeated, makes no edge; off the plane or NaN, no face.
  for (const auto& [points, edges] : std::vector<std::pair<NCollection_Sequence<gp_Pnt>, int>>{
         {Points({{0, 0, 0}, {10, 0, 0}, {10, 10, 0}, {0, 10, 0}}), 4},
         {Points({{0, 0, 0}, {10, 0, 0}, {10, 10, 0}, {0, 10, 0}, {0, 0, 0}}), 4},
         {Points({{0, 0, 0}, {10, 0, 0}, {10, 0, 0}, {10, 10, 0}, {0, 10, 0}}), 4},
         {Points({{0, 0, 0}, {10, 0, 0}, {10, 10, 0}, {0, 10, 5}}), 0},
         {Points({{0, 0, 0}, {10, 0, 0}, {nan, 10, 0}}), 0},
         {Points({}), 0}})
  {
    const TopoDS_Face face = GenerateWorkpieceHelper::MakeFaceByPnt(points);
    TopTools_IndexedMapOfShape faceEdges;
    TopExp::MapShapes(face, TopAbs_EDGE, faceEdges);
    EXPECT_EQ(faceEdges.Extent(), edges) << points.Length();
    EXPECT_TRUE(face.IsNull() == (edges == 0) && (face.IsNull() || BRepCheck_Analyzer(face).IsValid()));
    EXPECT_NEAR(face.IsNull() ? 100.0 : ShapeHandle::GetAreaOrVol(face), 100.0, 1e-9);
  }
  const TopoDS_Face disc = GenerateWorkpieceHelper::MakeFaceByCirc(gp_Circ(gp_Ax2(gp_Pnt(1, 2, 3), gp::DX()), 4.0));
  EXPECT_TRUE(BRepCheck_Analyzer(disc).IsValid());
  EXPECT_NEAR(ShapeHandle::GetAreaOrVol(disc), M_PI * 16.0, 1e-6);
}

TEST(GenerateWorkpieceHelper, FilletArcTangentToBothLegsAndPlatesByExtrusion)
{
  // Legs must be longer than r + 1, and not collinear.
  for (const auto& [far, ok] : {std::pair{gp_Pnt(6, 0, 0), false}, {gp_Pnt(6.01, 0, 0), true}, {gp_Pnt(0, -20, 0), false}})
    EXPECT_EQ(GenerateWorkpieceHelper::MakeFilletOnTwoEdge({far, gp_Pnt(0, 0, 0), gp_Pnt(0, 20, 0)}, 5.0).first, ok) << far.X();
  // A 60-degree corner in a tilted plane: the tangent circle's radius is r·tan(θ/2), the arc spans 180° − θ.
  const gp_Pnt corner(1, 2, 3);
  const gp_Dir u(1, 1, 0), v(gp_Vec(1, 1, 0).Normalized() * std::cos(M_PI / 3) + gp_Vec(0, 0, 1) * std::sin(M_PI / 3));
  const double r = 4.0;
  const auto [ok, arc] = GenerateWorkpieceHelper::MakeFilletOnTwoEdge(
    {corner.Translated(gp_Vec(u) * 30), corner, corner.Translated(gp_Vec(v) * 20)}, r);
  ASSERT_TRUE(ok && BRepCheck_Analyzer(arc).IsValid());
  const BRepAdaptor_Curve curve(arc);
  gp_Pnt a, b;
  gp_Vec ta, tb;
  curve.D1(curve.FirstParameter(), a, ta);
  curve.D1(curve.LastParameter(), b, tb);
  EXPECT_LT(a.Distance(corner.Translated(gp_Vec(u) * r)) + b.Distance(corner.Translated(gp_Vec(v) * r)), 1e-9);
  EXPECT_LT(ta.Angle(gp_Vec(u).Reversed()) + tb.Angle(gp_Vec(v)), 1e-9) << "leaves one leg and joins the other along them";
  EXPECT_NEAR(curve.Circle().Radius(), r * std::tan(M_PI / 6), 1e-9);
  EXPECT_NEAR(GCPnts_AbscissaPoint::Length(curve), r * std::tan(M_PI / 6) * (2 * M_PI / 3), 1e-9);

  // A 40 × 20 plate: no prism below 0.001 along the normal; volume is area × height along the normal.
  const TopoDS_Face square = GenerateWorkpieceHelper::MakeFaceByPnt(Points({{0, 0, 0}, {40, 0, 0}, {40, 20, 0}, {0, 20, 0}}));
  EXPECT_TRUE(GenerateWorkpieceHelper::MakePrismByFace(square, gp_Vec(0, 0, 0.0009), false).IsNull() &&
              !GenerateWorkpieceHelper::MakePrismByFace(square, gp_Vec(0, 0, 0.001), false).IsNull());
  const TopoDS_Shape plate = GenerateWorkpieceHelper::MakePrismByFace(square, gp_Vec(0, 3, 8), false);
  const TopoDS_Shape centred = GenerateWorkpieceHelper::MakePrismByFace(square, gp_Vec(0, 0, 10), true);
  ASSERT_TRUE(BRepCheck_Analyzer(plate).IsValid() && BRepCheck_Analyzer(centred).IsValid());
  EXPECT_NEAR(ShapeHandle::GetAreaOrVol(plate), 800.0 * 8.0, 1e-6);
  EXPECT_NEAR(ShapeHandle::GetAreaOrVol(centred), 8000.0, 1e-6);
  Bnd_Box box;
  BRepBndLib::AddOptimal(centred, box, false, false);
  EXPECT_LT(std::abs(box.CornerMin().Z() + 5.0) + std::abs(box.CornerMax().Z() - 5.0), 1e-9) << "centred on the face";
}
