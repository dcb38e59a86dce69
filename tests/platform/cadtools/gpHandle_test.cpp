#include <cadtools/ShapeHandle.h>
#include <cadtools/gpHandle.h>

#include <support/Solids.h>

#include <BRepPrimAPI_MakeBox.hxx>
#include <TopExp_Explorer.hxx>
#include <TopoDS.hxx>
#include <gtest/gtest.h>

#include <random>

TEST(gpHandle, OrientedBoxSidesOfARotatedBoxShortestFirst)
{
  std::mt19937 engine(11);
  std::uniform_real_distribution<double> angle(-M_PI, M_PI);
  for (int i = 0; i < 20; ++i)
  {
    gp_Trsf turn;
    turn.SetRotation(gp_Ax1(gp_Pnt(5, -3, 2), gp_Dir(angle(engine), angle(engine), angle(engine) + 4.0)), angle(engine));
    const gp_Dir longAxis = gp::DX().Transformed(turn);
    const gp_Dir shortAxis = gp::DZ().Transformed(turn);
    const TopoDS_Shape box = Solids::Moved(Solids::Box(120.0, 45.0, 8.0), turn);
    const auto sides = gpHandle::GetOBBlengthAndDir(ShapeHandle::GetTopoShapeBndOBB(box, 0.0));
    ASSERT_EQ(sides.size(), 3u);
    EXPECT_NEAR(sides[0].first, 8.0, 1e-6);
    EXPECT_NEAR(sides[1].first, 45.0, 1e-6);
    EXPECT_NEAR(sides[2].first, 120.0, 1e-6);
    EXPECT_TRUE(sides[0].second.IsParallel(shortAxis, 1e-6));
    EXPECT_TRUE(sides[2].second.IsParallel(longAxis, 1e-6));
  }
}

TEST(gpHandle, FrameHelpers)
{
  gp_Trsf a;
  a.SetTranslation(gp_Vec(1, 2, 3));
  gp_Trsf b = a;
  b.SetTranslationPart(gp_Vec(1, 2, 3 + 0.9e-7));
  EXPECT_TRUE(gpHandle::IsSameTrsf(a, b, 1e-7));
  b.SetTranslationPart(gp_Vec(1, 2, 3 + 1.1e-7));
  EXPECT_FALSE(gpHandle::IsSameTrsf(a, b, 1e-7));

  // Ax2ToTrsf places the standard frame on the given one.
  const gp_Ax2 ax2(gp_Pnt(10, 20, 30), gp::DX(), gp::DY());
  const gp_Trsf place = gpHandle::Ax2ToTrsf(ax2);
  EXPECT_TRUE(gp_Pnt(0, 0, 1).Transformed(place).IsEqual(gp_Pnt(11, 20, 30), 1e-12));
  EXPECT_TRUE(gp_Pnt(1, 0, 0).Transformed(place).IsEqual(gp_Pnt(10, 21, 30), 1e-12));

  // The top face of a box: frame at its centre, Z outward; its reversal looks down, same origin.
  const TopoDS_Shape box = Solids::Box(40, 20, 10);
  int checked = 0;
  for (TopExp_Explorer it(box, TopAbs_FACE); it.More(); it.Next())
  {
    const TopoDS_Face face = TopoDS::Face(it.Current());
    const gp_Trsf frame = gpHandle::CalculateFaceNormalTrsf(face);
    const gp_Pnt origin = gp::Origin().Transformed(frame);
    const gp_Dir z = gp::DZ().Transformed(frame);
    // Outward: the box centre lies behind every face.
    EXPECT_LT(gp_Vec(origin, gp_Pnt(20, 10, 5)).Dot(gp_Vec(z)), 0.0);
    if (z.IsEqual(gp::DZ(), 1e-12))
    {
      EXPECT_TRUE(origin.IsEqual(gp_Pnt(20, 10, 10), 1e-9));
      const gp_Trsf down = gpHandle::ReverseTrsfDirection(frame);
      EXPECT_TRUE(gp::DZ().Transformed(down).IsEqual(gp::DZ().Reversed(), 1e-12));
      EXPECT_TRUE(gp::Origin().Transformed(down).IsEqual(origin, 1e-12));
      ++checked;
    }
  }
  EXPECT_EQ(checked, 1);

  // Rotation about a vertical axis bringing a direction onto another, ignoring the vertical part.
  const gp_Ax1 vertical(gp_Pnt(100, 0, 0), gp::DZ());
  const gp_Trsf r = gpHandle::RotateToDirTrsf(gp_Dir(1, 0, 0.5), gp_Dir(0, 1, -2), vertical);
  EXPECT_TRUE(gp::DX().Transformed(r).IsEqual(gp::DY(), 1e-12));
  EXPECT_TRUE(gp_Pnt(100, 0, 7).Transformed(r).IsEqual(gp_Pnt(100, 0, 7), 1e-12)) << "the axis stays";
  EXPECT_TRUE(gpHandle::IsSameTrsf(gpHandle::RotateToDirTrsf(gp::DZ(), gp::DX(), vertical), gp_Trsf(), 1e-15));
}
