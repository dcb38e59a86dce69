#include <cadtools/ShapeHandle.h>
#include <cadtools/gpHandle.h>

#include <support/Solids.h>

#include <TopExp_Explorer.hxx>
#include <TopoDS.hxx>
#include <gtest/gtest.h>

#include <cmath>

TEST(gpHandle, OrientedBoxSidesOfTurnedBoxesShortestFirst)
{
  for (const gp_Dir& axis : {gp_Dir(1, 2, 3), gp_Dir(-3, 0.5, 1), gp_Dir(0, 0, 1)})
  {
    gp_Trsf turn;
    turn.SetRotation(gp_Ax1(gp_Pnt(5, -3, 2), axis), 0.7);
    const auto sides = gpHandle::GetOBBlengthAndDir(ShapeHandle::GetTopoShapeBndOBB(Solids::Moved(Solids::Box(120, 45, 8), turn), 0));
    ASSERT_EQ(sides.size(), 3u);
    for (const auto& [i, length, along] : {std::tuple{0, 8.0, gp::DZ()}, {1, 45.0, gp::DY()}, {2, 120.0, gp::DX()}})
      EXPECT_TRUE(std::abs(sides[i].first - length) < 1e-6 && sides[i].second.IsParallel(along.Transformed(turn), 1e-6));
  }
}

TEST(gpHandle, FrameHelpers)
{
  const auto up = [](double z) { gp_Trsf t; t.SetTranslation(gp_Vec(1, 2, z)); return t; };
  EXPECT_TRUE(gpHandle::IsSameTrsf(up(3), up(3 + 0.9e-7), 1e-7) && !gpHandle::IsSameTrsf(up(3), up(3 + 1.1e-7), 1e-7));
  // Each face of a box: a frame at its centre whose Z is the outward normal; reversed, it looks inward.
  for (TopExp_Explorer it(Solids::Box(40, 20, 10), TopAbs_FACE); it.More(); it.Next())
  {
    const gp_Trsf frame = gpHandle::CalculateFaceNormalTrsf(TopoDS::Face(it.Current()));
    const gp_Pnt centre = gp::Origin().Transformed(frame);
    EXPECT_LT(gp_Vec(centre, gp_Pnt(20, 10, 5)).Dot(gp_Vec(gp::DZ().Transformed(frame))), -4.9);
    const gp_Trsf inward = gpHandle::ReverseTrsfDirection(frame);
    EXPECT_TRUE(gp::DZ().Transformed(inward).IsOpposite(gp::DZ().Transformed(frame), 1e-12) &&
                gp::Origin().Transformed(inward).IsEqual(centre, 1e-12));
  }
  const gp_Trsf place = gpHandle::Ax2ToTrsf(gp_Ax2(gp_Pnt(10, 20, 30), gp::DX(), gp::DY()));
  EXPECT_TRUE(gp_Pnt(1, 0, 2).Transformed(place).IsEqual(gp_Pnt(12, 21, 30), 1e-12)) << "the standard frame placed";
  // About a vertical axis, bringing one direction onto another whatever their vertical parts.
  const gp_Ax1 vertical(gp_Pnt(100, 0, 0), gp::DZ());
  const gp_Trsf r = gpHandle::RotateToDirTrsf(gp_Dir(1, 0, 0.5), gp_Dir(0, 1, -2), vertical);
  EXPECT_TRUE(gp::DX().Transformed(r).IsEqual(gp::DY(), 1e-12) && gp_Pnt(100, 0, 7).Transformed(r).IsEqual(gp_Pnt(100, 0, 7), 1e-12));
  EXPECT_TRUE(gpHandle::IsSameTrsf(gpHandle::RotateToDirTrsf(gp::DZ(), gp::DX(), vertical), gp_Trsf(), 1e-15));
}
