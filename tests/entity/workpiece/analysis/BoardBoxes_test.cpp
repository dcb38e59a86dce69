#include "support/PlateAssemblies.h"
#include "support/Solids.h"

#include "analysis/PlateAnalysis.h"

#include <entity/WorkpieceAnalysis.h>

#include <cadtools/ShapeHandle.h>

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <tuple>

namespace
{
constexpr double Tol = 1e-9;
constexpr double TenDegrees = 0.17453292519943295;

PlateAnalysis::Board BoardOf(const PlateSet& plates, unsigned solid)
{
  return {plates.Box(solid), {solid}};
}
} // namespace

TEST(BoardBoxes, MergeShrinkAndUprightSideAreaOfOrientedBoxes)
{
  EXPECT_TRUE(WorkpieceAnalysis::MergeOBBList({}).IsVoid());
  const Bnd_OBB small(gp_Pnt(30, 0, 0), gp::DX(), gp::DY(), gp::DZ(), 1, 1, 1);
  EXPECT_NEAR(gp_Pnt(WorkpieceAnalysis::MergeOBBList({small}).Center()).Distance(gp_Pnt(30, 0, 0)), 0.0, Tol);

  // A large box turned 30° about Z, listed after a small axis-aligned one.
  const gp_Dir turnedX(std::cos(M_PI / 6), std::sin(M_PI / 6), 0), turnedY(-std::sin(M_PI / 6), std::cos(M_PI / 6), 0);
  const Bnd_OBB large(gp_Pnt(0, 0, 0), turnedX, turnedY, gp::DZ(), 20, 10, 5);
  const Bnd_OBB merged = WorkpieceAnalysis::MergeOBBList({small, large});
  EXPECT_TRUE(PlateAnalysis::IsParallel(gp_Dir(merged.XDirection()), turnedX, 1e-6) ||
              PlateAnalysis::IsParallel(gp_Dir(merged.YDirection()), turnedX, 1e-6) ||
              PlateAnalysis::IsParallel(gp_Dir(merged.ZDirection()), turnedX, 1e-6));
  EXPECT_FALSE(merged.IsOut(gp_Pnt(30, 0, 0)) || merged.IsOut(gp_Pnt(0, 0, 0)));

  // Shrinking moves every half size by half the amount, down to the floor.
  const Bnd_OBB box(gp_Pnt(1, 2, 3), gp::DX(), gp::DY(), gp::DZ(), 5, 10, 1);
  for (const auto& [amount, hx, hy, hz] : {std::array{4.0, 3.0, 8.0, 0.001}, {-4.0, 7.0, 12.0, 3.0}, {2.0, 4.0, 9.0, 0.001},
                                          {1.998, 4.001, 9.001, 0.001}, {1.996, 4.002, 9.002, 0.002}, {30.0, 0.001, 0.001, 0.001}})
  {
    const Bnd_OBB shrunk = WorkpieceAnalysis::ShrinkOBB(box, amount);
    EXPECT_LT(std::abs(shrunk.XHSize() - hx) + std::abs(shrunk.YHSize() - hy) + std::abs(shrunk.ZHSize() - hz) +
                gp_Pnt(shrunk.Center()).Distance(gp_Pnt(1, 2, 3)), Tol) << amount;
  }
  // A workpiece of this library exposes no solids: its boxes are void and stay so.
  Workpiece empty;
  EXPECT_TRUE(WorkpieceAnalysis::ShrinkOBB(&empty, 7, -10.0).IsVoid() && WorkpieceAnalysis::MergeOBBList(&empty, {0, 1}).IsVoid());
  // The upright side area keeps the two sides across the vertical.
  const Bnd_OBB upright(gp_Pnt(0, 0, 0), gp::DX(), gp::DY(), gp::DZ(), 5, 10, 15);
  EXPECT_NEAR(PlateAnalysis::GetOBBSideAreaWithVerticalDir(upright, gp::DZ(), TenDegrees), 10.0 * 20.0, Tol);
  EXPECT_NEAR(PlateAnalysis::GetOBBSideAreaWithVerticalDir(upright, gp::DX().Reversed(), TenDegrees), 20.0 * 30.0, Tol);
  EXPECT_NEAR(PlateAnalysis::GetOBBSideAreaWithVerticalDir(upright, gp::DY(), M_PI / 2), 0.0, Tol);
}

TEST(BoardBoxes, TwoHalvesOfOnePlateMergeAndPlatesApartOrAskewDoNot)
{
  const PlateSet plates({Solids::BoxAt(0, 0, 0, 120, 100, 10), Solids::BoxAt(120, 0, 0, 80, 100, 10), Solids::BoxAt(400, 0, 0, 80, 100, 10)});
  EXPECT_TRUE(PlateAnalysis::JudgeBoardMerge(plates, BoardOf(plates, 0), BoardOf(plates, 1)));
  EXPECT_FALSE(PlateAnalysis::JudgeBoardMerge(plates, BoardOf(plates, 0), BoardOf(plates, 2)));

  // A plate tilted 40° about X through the first plate's edge: the boxes overlap, the thicknesses do not agree.
  gp_Trsf tilt;
  tilt.SetRotation(gp_Ax1(gp_Pnt(0, 100, 0), gp::DX()), 40.0 * M_PI / 180.0);
  const PlateSet askew({Solids::BoxAt(0, 0, 0, 120, 100, 10), Solids::Moved(Solids::BoxAt(0, 100, 0, 120, 100, 10), tilt)});
  EXPECT_FALSE(askew.Box(0).IsOut(askew.Box(1)));
  EXPECT_FALSE(PlateAnalysis::JudgeBoardMerge(askew, BoardOf(askew, 0), BoardOf(askew, 1)));
}

TEST(BoardBoxes, SimilarFacesHoldTheEdgeLimitsStrictlyAsWritten)
{
  // A 100 × 200 × 40 block against a block 100 long whose touching face is `dz` high and `dy` long:
  // only the two faces at x = 100 face each other along X close enough.
  for (const auto& [dy, dz, similar] : {std::tuple{200, 60.0, true}, {200, 60.5, false}, {200, 59.5, true}, {279, 40.0, true},
                                       {280, 40.0, false}, {281, 40.0, false}})
  {
    const std::vector<TopoDS_Shape> g1{Solids::BoxAt(0, 0, 0, 100, 200, 40)}, g2{Solids::BoxAt(100, 0, 0, 100, dy, dz)};
    EXPECT_EQ(PlateAnalysis::BoardSimilarFace(g1, g2, gp::DX()), similar) << dy << " × " << dz;
    EXPECT_FALSE(PlateAnalysis::BoardSimilarFace(g1, g2, gp::DY())) << dy << " × " << dz;
  }
}

TEST(BoardBoxes, WholeBeamBoardsAreTheWebAndFlangesNotTheStiffener)
{
  std::vector<TopoDS_Shape> solids = PlateAssemblies::HBeam();
  solids.push_back(Solids::BoxAt(500, 5, 10, 10, 70, 180));
  const PlateSet plates(solids);
  std::vector<PlateAnalysis::Board> boards;
  for (const unsigned i : plates.Indices())
    boards.push_back(BoardOf(plates, i));
  EXPECT_EQ(PlateAnalysis::SimilarToWholeOBBList(plates, boards, 4.0, 2.0, TenDegrees),
            (std::vector<unsigned>{0, 1, 2}));
  // A length ratio of 1 asks for boards longer than the whole part.
  EXPECT_TRUE(PlateAnalysis::SimilarToWholeOBBList(plates, boards, 4.0, 1.0, TenDegrees).empty());
  EXPECT_TRUE(PlateAnalysis::SimilarToWholeOBBList(plates, {}, 4.0, 2.0, TenDegrees).empty());
}

TEST(BoardBoxes, PlanarFacesPerBoardAndTheClosestOppositePair)
{
  const PlateSet plates({Solids::BoxAt(0, 0, 0, 100, 100, 10), Solids::BoxAt(0, 0, 30, 100, 100, 10), Solids::Cylinder(10, 50)});
  const std::vector<PlateAnalysis::Board> boards{BoardOf(plates, 0), BoardOf(plates, 1), BoardOf(plates, 2)};
  const auto groups = PlateAnalysis::GetSubPlnFaceIndexList(plates, {0, 1, 2}, boards);
  ASSERT_EQ(groups.size(), 3u);
  EXPECT_EQ(std::tuple(groups[0].size(), groups[1].size(), groups[2].size()), std::tuple(6u, 6u, 2u)) << "the cylinder's two ends";
  for (const int index : groups[1])
    EXPECT_EQ(index >> 17, 1);
  EXPECT_TRUE(PlateAnalysis::GetSubPlnFaceIndexList(plates, {0}, {boards[1]}).front().empty());

  const auto [along, closest] = PlateAnalysis::GetMinDistanceOppositeFace(plates, gp::DZ(), {0, 1}, groups, TenDegrees, 100.0);
  ASSERT_EQ(along.size(), 3u);
  EXPECT_EQ(std::tuple(along[0].size(), along[1].size(), along[2].size()), std::tuple(2u, 2u, 0u)) << "solid 2 was not asked for";
  // The first plate's top (facing +Z) and bottom, 10 apart, come before the second plate's.
  const TopoDS_Face top = plates.Face(static_cast<int>(closest.first)), bottom = plates.Face(static_cast<int>(closest.second));
  ASSERT_FALSE(top.IsNull() || bottom.IsNull());
  EXPECT_LT(std::abs(ShapeHandle::GetFaceCenter(top).Z() - 10.0) + std::abs(ShapeHandle::GetFaceCenter(bottom).Z()), 1e-6);
  const auto [none, nothing] = PlateAnalysis::GetMinDistanceOppositeFace(plates, gp::DZ(), {0, 1}, groups, TenDegrees, 5.0);
  EXPECT_EQ(nothing, (std::pair<unsigned, unsigned>(0, 0)));
}
