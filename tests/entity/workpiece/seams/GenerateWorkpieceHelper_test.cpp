#include <entity/GenerateWorkpieceHelper.h>

#include <cadtools/ShapeHandle.h>

#include <BRepAdaptor_Curve.hxx>
#include <BRepBndLib.hxx>
#include <BRepCheck_Analyzer.hxx>
#include <Bnd_Box.hxx>
#include <TopExp.hxx>
#include <TopExp_Explorer.hxx>
#include <BRep_Tool.hxx>
#include <GCPnts_AbscissaPoint.hxx>

#include <gtest/gtest.h>

#include <cmath>
#include <initializer_list>
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

int Count(const TopoDS_Shape& shape, TopAbs_ShapeEnum type)
{
  int n = 0;
  for (TopExp_Explorer it(shape, type); it.More(); it.Next())
    ++n;
  return n;
}
} // namespace

TEST(GenerateWorkpieceHelper, CollinearityMergesNearPoints)
{
  EXPECT_FALSE(GenerateWorkpieceHelper::CheckPntsIsNotInSameLine(Points({{0, 0, 0}, {0.5, 0, 0}, {0, 0.5, 0}})));
  EXPECT_TRUE(GenerateWorkpieceHelper::CheckPntsIsNotInSameLine(Points({{0, 0, 0}, {10, 0, 0}, {20, 0, 0}, {20, 5, 0}})));
  EXPECT_FALSE(GenerateWorkpieceHelper::CheckPntsIsNotInSameLine(Points({{0, 0, 0}, {10, 0, 0}, {-20, 0, 0}})))
    << "opposite directions are on one line";
  // 0.005 rad off the line is still on it; 0.02 rad is not.
  EXPECT_FALSE(GenerateWorkpieceHelper::CheckPntsIsNotInSameLine(
    Points({{0, 0, 0}, {10, 0, 0}, {100 * std::cos(0.005), 100 * std::sin(0.005), 0}})));
  EXPECT_TRUE(GenerateWorkpieceHelper::CheckPntsIsNotInSameLine(
    Points({{0, 0, 0}, {10, 0, 0}, {100 * std::cos(0.02), 100 * std::sin(0.02), 0}})));
  EXPECT_FALSE(GenerateWorkpieceHelper::CheckPntsIsNotInSameLine(Points({})));
}

TEST(GenerateWorkpieceHelper, FacesFromPolygonsAndCircles)
{
  const TopoDS_Face square = GenerateWorkpieceHelper::MakeFaceByPnt(Points({{0, 0, 0}, {10, 0, 0}, {10, 10, 0}, {0, 10, 0}}));
  ASSERT_FALSE(square.IsNull());
  EXPECT_TRUE(BRepCheck_Analyzer(square).IsValid());
  EXPECT_NEAR(ShapeHandle::GetAreaOrVol(square), 100.0, 1e-9);
  EXPECT_EQ(Count(square, TopAbs_EDGE), 4);

  const TopoDS_Face repeated =
    GenerateWorkpieceHelper::MakeFaceByPnt(Points({{0, 0, 0}, {10, 0, 0}, {10, 10, 0}, {0, 10, 0}, {0, 0, 0}}));
  ASSERT_FALSE(repeated.IsNull());
  EXPECT_EQ(Count(repeated, TopAbs_EDGE), 4) << "no closing edge when the last point repeats the first";
  EXPECT_NEAR(ShapeHandle::GetAreaOrVol(repeated), 100.0, 1e-9);

  const TopoDS_Face doubled =
    GenerateWorkpieceHelper::MakeFaceByPnt(Points({{0, 0, 0}, {10, 0, 0}, {10, 0, 0}, {10, 10, 0}, {0, 10, 0}}));
  ASSERT_FALSE(doubled.IsNull());
  EXPECT_EQ(Count(doubled, TopAbs_EDGE), 4) << "a repeated point makes no edge";
  EXPECT_TRUE(BRepCheck_Analyzer(doubled).IsValid());

  EXPECT_TRUE(GenerateWorkpieceHelper::MakeFaceByPnt(Points({{0, 0, 0}, {10, 0, 0}, {10, 10, 0}, {0, 10, 5}})).IsNull());
  EXPECT_TRUE(GenerateWorkpieceHelper::MakeFaceByPnt(Points({})).IsNull());
  const double nan = std::numeric_limits<double>::quiet_NaN();
  EXPECT_TRUE(GenerateWorkpieceHelper::MakeFaceByPnt(Points({{0, 0, 0}, {10, 0, 0}, {nan, 10, 0}})).IsNull());

  const TopoDS_Face disc = GenerateWorkpieceHelper::MakeFaceByCirc(gp_Circ(gp_Ax2(gp_Pnt(1, 2, 3), gp::DX()), 4.0));
  EXPECT_TRUE(BRepCheck_Analyzer(disc).IsValid());
  EXPECT_NEAR(ShapeHandle::GetAreaOrVol(disc), M_PI * 16.0, 1e-6);
}

TEST(GenerateWorkpieceHelper, FilletArcTangentToBothLegs)
{
  EXPECT_FALSE(GenerateWorkpieceHelper::MakeFilletOnTwoEdge({gp_Pnt(6, 0, 0), gp_Pnt(0, 0, 0), gp_Pnt(0, 20, 0)}, 5.0).first)
    << "a leg of 6 is not longer than 5 + 1";
  EXPECT_FALSE(GenerateWorkpieceHelper::MakeFilletOnTwoEdge({gp_Pnt(20, 0, 0), gp_Pnt(0, 0, 0), gp_Pnt(0, 6, 0)}, 5.0).first);
  EXPECT_TRUE(GenerateWorkpieceHelper::MakeFilletOnTwoEdge({gp_Pnt(6.01, 0, 0), gp_Pnt(0, 0, 0), gp_Pnt(0, 20, 0)}, 5.0).first);
  EXPECT_FALSE(GenerateWorkpieceHelper::MakeFilletOnTwoEdge({gp_Pnt(20, 0, 0), gp_Pnt(0, 0, 0), gp_Pnt(-20, 0, 0)}, 5.0).first)
    << "collinear legs have no corner";

  // A 60-degree corner in a tilted plane.
  const gp_Pnt corner(1, 2, 3);
  const gp_Dir u(1, 1, 0), v(gp_Vec(1, 1, 0).Normalized() * std::cos(M_PI / 3) + gp_Vec(0, 0, 1) * std::sin(M_PI / 3));
  const double r = 4.0;
  const auto [ok, arc] = GenerateWorkpieceHelper::MakeFilletOnTwoEdge(
    {corner.Translated(gp_Vec(u) * 30), corner, corner.Translated(gp_Vec(v) * 20)}, r);
  ASSERT_TRUE(ok);
  EXPECT_TRUE(BRepCheck_Analyzer(arc).IsValid());
  const BRepAdaptor_Curve curve(arc);
  gp_Pnt a, b;
  gp_Vec ta, tb;
  curve.D1(curve.FirstParameter(), a, ta);
  curve.D1(curve.LastParameter(), b, tb);
  EXPECT_LT(a.Distance(corner.Translated(gp_Vec(u) * r)), 1e-9);
  EXPECT_LT(b.Distance(corner.Translated(gp_Vec(v) * r)), 1e-9);
  EXPECT_LT(ta.Angle(gp_Vec(u).Reversed()), 1e-9) << "leaves the first leg along it";
  EXPECT_LT(tb.Angle(gp_Vec(v)), 1e-9) << "joins the second leg along it";
  // Radius of the tangent circle: r·tan(θ/2) with θ = 60°; the arc spans 180° − θ.
  EXPECT_NEAR(curve.Circle().Radius(), r * std::tan(M_PI / 6), 1e-9);
  EXPECT_NEAR(GCPnts_AbscissaPoint::Length(curve), r * std::tan(M_PI / 6) * (2 * M_PI / 3), 1e-9);
}

TEST(GenerateWorkpieceHelper, PlatesByExtrusion)
{
  const TopoDS_Face square = GenerateWorkpieceHelper::MakeFaceByPnt(Points({{0, 0, 0}, {40, 0, 0}, {40, 20, 0}, {0, 20, 0}}));
  EXPECT_TRUE(GenerateWorkpieceHelper::MakePrismByFace(square, gp_Vec(0, 0, 0), false).IsNull());
  EXPECT_TRUE(GenerateWorkpieceHelper::MakePrismByFace(square, gp_Vec(0, 0, 0.0009), false).IsNull());
  EXPECT_FALSE(GenerateWorkpieceHelper::MakePrismByFace(square, gp_Vec(0, 0, 0.001), false).IsNull());

  const TopoDS_Shape plate = GenerateWorkpieceHelper::MakePrismByFace(square, gp_Vec(0, 3, 8), false);
  ASSERT_FALSE(plate.IsNull());
  EXPECT_TRUE(BRepCheck_Analyzer(plate).IsValid());
  EXPECT_NEAR(ShapeHandle::GetAreaOrVol(plate), 800.0 * 8.0, 1e-6) << "area × height along the normal";

  const TopoDS_Shape centred = GenerateWorkpieceHelper::MakePrismByFace(square, gp_Vec(0, 0, 10), true);
  EXPECT_TRUE(BRepCheck_Analyzer(centred).IsValid());
  Bnd_Box box;
  BRepBndLib::AddOptimal(centred, box, false, false);
  double x0, y0, z0, x1, y1, z1;
  box.Get(x0, y0, z0, x1, y1, z1);
  EXPECT_NEAR(z0, -5.0, 1e-9);
  EXPECT_NEAR(z1, 5.0, 1e-9);
  EXPECT_NEAR(ShapeHandle::GetAreaOrVol(centred), 8000.0, 1e-6);
}
