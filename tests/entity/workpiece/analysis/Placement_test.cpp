#include "support/PlateAssemblies.h"
#include "support/Solids.h"
#include "support/ViewTrees.h"

#include "analysis/PlacementFrames.h"
#include "analysis/PlateAnalysis.h"

#include <entity/WorkpieceAnalysis.h>

#include <cadtools/ShapeHandle.h>
#include <cadtools/gpHandle.h>

#include <BRepCheck_Analyzer.hxx>
#include <TopExp_Explorer.hxx>
#include <TopoDS.hxx>
#include <gtest/gtest.h>

#include <array>
#include <cmath>

namespace
{
constexpr double Tol = 0.01;
constexpr double TenDegrees = 0.17453292519943295;

TopoDS_Shape Placed(const TopoDS_Shape& shape, const gp_Trsf& trsf)
{
  return shape.Moved(TopLoc_Location(trsf));
}

// The largest face of the placed shape lying on the plane z = height with its normal straight down.
double SupportArea(const TopoDS_Shape& placed, double height)
{
  double area = 0.0;
  for (TopExp_Explorer it(placed, TopAbs_FACE); it.More(); it.Next())
  {
    const TopoDS_Face face = TopoDS::Face(it.Current());
    const auto [ok, normal] = ShapeHandle::GetNormal(face);
    if (ok && normal.Angle(gp::DZ().Reversed()) < 1e-6 && std::abs(ShapeHandle::GetFaceCenter(face).Z() - height) < Tol)
      area = std::max(area, ShapeHandle::GetAreaOrVol(face));
  }
  return area;
}

gp_Dir LongestSide(const TopoDS_Shape& shape)
{
  return gpHandle::GetOBBlengthAndDir(ShapeHandle::GetTopoShapeBndOBB(shape, 0.001)).back().second;
}
} // namespace

TEST(Placement, OrdinaryPartsRestOnTheTargetPlaneLongSideAlongTheDirection)
{
  struct Case
  {
    const char* name;
    TopoDS_Shape shape;
    double supportArea;
  };
  const gp_Dir skew(std::cos(0.3), std::sin(0.3), 0.0);
  for (const Case& c : {Case{"L-bracket", Solids::LSolid(100, 10, 300), 100.0 * 300.0},
                        Case{"T-joint", Solids::TSolid(100, 300, 10, 80), 100.0 * 300.0},
                        Case{"long plate", Solids::Box(400, 40, 10), 400.0 * 40.0}})
    for (const auto& [target, dir] : {std::pair(gp_Trsf(), gp::DY()), std::pair(ViewTrees::Placement(50, -20, 300, 30), skew)})
    {
      const std::unique_ptr<Workpiece> part = PlateAssemblies::WorkpieceOf(c.shape);
      const gp_Pnt point = gp::Origin().Transformed(target);
      const auto [ok, trsf] = WorkpieceAnalysis::OrgWorkpieceLocaitonTo(part.get(), target, point, dir);
      ASSERT_TRUE(ok) << c.name;
      const TopoDS_Shape placed = Placed(part->GetEntireShape(), trsf);
      EXPECT_TRUE(BRepCheck_Analyzer(placed).IsValid() && PlateAnalysis::IsParallel(LongestSide(placed), dir, TenDegrees)) << c.name;
      EXPECT_NEAR(Solids::Bounds(placed)[2], point.Z(), Tol) << c.name;
      EXPECT_NEAR(SupportArea(placed, point.Z()), c.supportArea, Tol) << c.name;
    }
  // By a transform the target is taken in the part's present frame: raised 500, it stays there.
  const std::unique_ptr<Workpiece> part = PlateAssemblies::WorkpieceOf(Solids::TSolid(100, 300, 10, 80));
  part->UpdatePlacementTrsf(ViewTrees::Placement(0, 0, 500, 0));
  const auto [ok, change] = WorkpieceAnalysis::OrgWorkpieceLocaitonByTrsf(part.get(), gp_Trsf(), gp::Origin(), gp::DX());
  ASSERT_TRUE(ok);
  const std::array<double, 6> b = Solids::Bounds(part->GetEntireShape(), change * part->GetTransformation());
  EXPECT_TRUE(std::abs(b[2] - 500.0) < Tol && std::abs(b[3] - b[0] - 300.0) < Tol) << b[2] << " " << b[3] - b[0];
}

TEST(Placement, PartsWithoutAFaceToStandOnAreRefused)
{
  // A long cylinder's ends are across its long box faces: an elongated part does not stand on them.
  for (const std::unique_ptr<Workpiece>& part :
       {std::make_unique<Workpiece>(), PlateAssemblies::WorkpieceOf(Solids::Cylinder(20, 100))})
  {
    const auto [ok, trsf] = WorkpieceAnalysis::OrgWorkpieceLocaitonTo(part.get(), gp_Trsf(), gp::Origin(), gp::DX());
    EXPECT_TRUE(!ok && gpHandle::IsSameTrsf(trsf, gp_Trsf(), 1e-12));
  }
  // A short one stands on an end.
  const std::unique_ptr<Workpiece> disc = PlateAssemblies::WorkpieceOf(Solids::Cylinder(40, 30));
  const auto [discOk, discTrsf] = WorkpieceAnalysis::OrgWorkpieceLocaitonTo(disc.get(), gp_Trsf(), gp::Origin(), gp::DX());
  ASSERT_TRUE(discOk);
  EXPECT_NEAR(SupportArea(Placed(disc->GetEntireShape(), discTrsf), 0.0), M_PI * 40.0 * 40.0, 0.5);
}

TEST(Placement, BeamsColumnsAndTowerCornersLieAsTheirKindWants)
{
  // The beam with or without its web's solids, on either flange, its rear end at the point:
  // 150 wide (flanges flat, web upright), 1000 along Y from y = 50, 200 high.
  const std::vector<TopoDS_Shape> beam = PlateAssemblies::HBeam();
  const TopoDS_Shape whole = PlateAssemblies::Compound(beam);
  HBeamWorkpieceData web, noWeb, lengthless;
  web.webSolids = {0};
  lengthless.lengthX = 0.0;
  const gp_Pnt point(0, 50, 0);
  for (const auto& [record, turnOver] : {std::pair(&web, false), std::pair(&web, true), std::pair(&noWeb, false)})
  {
    const auto trsf = PlacementFrames::HBeam(PlateSet(beam), whole, *record, gp_Trsf(), point, gp::DY(), turnOver);
    ASSERT_TRUE(trsf);
    const std::array<double, 6> b = Solids::Bounds(whole, PlacementFrames::StartAtPoint(whole, *trsf, point, gp::DY()));
    for (const auto& [value, expected] : {std::pair(b[3] - b[0], 150.0), std::pair(b[1], 50.0), std::pair(b[4], 1050.0),
                                          std::pair(b[2], 0.0), std::pair(b[5], 200.0)})
      EXPECT_NEAR(value, expected, Tol);
  }
  EXPECT_FALSE(PlacementFrames::HBeam(PlateSet(beam), whole, lengthless, gp_Trsf(), point, gp::DY(), false));

  // The 100 × 60 column lies on a 100 wide side, 60 high, 500 along Y.
  const TopoDS_Shape column = PlateAssemblies::BoxColumn();
  const auto lying = PlacementFrames::BoxColumn(column, gp_Trsf(), gp::Origin(), gp::DY());
  ASSERT_TRUE(lying);
  const std::array<double, 6> c = Solids::Bounds(column, *lying);
  EXPECT_LT(std::abs(c[2]) + std::abs(c[5] - 60.0) + std::abs(c[4] - c[1] - 500.0), Tol);

  // The tower corner given upside down still stands on its bottom plate, its flange along the target's X.
  gp_Trsf upsideDown;
  upsideDown.SetRotation(gp::OX(), M_PI);
  std::vector<TopoDS_Shape> corner;
  for (const TopoDS_Shape& solid : PlateAssemblies::TowerCorner())
    corner.push_back(Placed(solid, upsideDown));
  const PlateSet plates(corner);
  const auto record = PlateAnalysis::AnalysisTowerCorner(plates);
  ASSERT_TRUE(record);
  const auto standing = PlacementFrames::TowerCorner(plates, PlateAssemblies::Compound(corner), *record, ViewTrees::Placement(0, 0, 100, 90));
  ASSERT_TRUE(standing);
  const std::array<double, 6> d = Solids::Bounds(PlateAssemblies::Compound(corner), *standing);
  EXPECT_LT(std::abs(d[2] - 100.0) + std::abs(d[5] - 320.0) + std::abs(Solids::Bounds(corner[0], *standing)[5] - 120.0), Tol);
  EXPECT_TRUE(PlateAnalysis::IsParallel(LongestSide(Placed(corner[1], *standing)), gp::DY(), 1e-6));
}
