#include "support/MechanismJson.h"
#include "support/Transforms.h"
#include "support/ViewTrees.h"

#include <cadtools/DataHandle.h>
#include <cadtools/WorkpieceError.h>
#include <cadtools/gpHandle.h>

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <random>

namespace
{
constexpr double Deg = M_PI / 180.0;
using Pose = std::array<double, 6>;

// Frames composed link by link in each link's own frame, independent of the mechanism's product
// of joint motions in the entity frame.
gp_Trsf (*const Move)(double, double, double) = &Transforms::Translation;
gp_Trsf (*const Turn)(const gp_Dir&, double) = &Transforms::Rotation;
const gp_Dir X = gp::DX(), Y = gp::DY(), Z = gp::DZ();

#define EXPECT_SAME(actual, expected, what) EXPECT_TRUE(gpHandle::IsSameTrsf(actual, expected, 1e-6)) << what

// The sample robot as docs/formats.md gives it: each joint's frame on the previous one, then the
// joint's own turn (J1 about Z, J2 and J3 about Y, J4 about X, J5 about Y, J6 about X), and the
// tool flange turned 90° about Y on J6's frame.
gp_Trsf RobotFlange(const Pose& q)
{
  return Move(0, 0, 400) * Turn(Z, q[0]) * Move(150, 0, 275) * Turn(Y, q[1]) * Move(0, 0, 700) * Turn(Y, q[2]) *
         Move(200, 0, 115) * Turn(X, q[3]) * Move(600, 0, 0) * Turn(Y, q[4]) * Move(100, 0, 0) * Turn(X, q[5]) *
         Turn(Y, 90);
}

std::vector<double> Radians(const Pose& q)
{
  return {q[0] * Deg, q[1] * Deg, q[2] * Deg, q[3] * Deg, q[4] * Deg, q[5] * Deg};
}

Json::Value Assembly(int index, Json::UInt64 link)
{
  Json::Value json;
  json["install_index"] = index;
  json["link_hash"] = link;
  return json;
}

// The sample robot with the torch mounted on its flange.
struct ArmedRobot
{
  GenericEntityConfig robot, torch;
  ArmedRobot()
  {
    MechanismJson::LoadCell(robot, "robot.json");
    MechanismJson::LoadCell(torch, "torch.json");
    robot.AssembleOtherModel(&torch, Assembly(0, 106));
  }
};
} // namespace

TEST(GenericEntityConfigCell, SampleRobotFollowsItsDocumentedGeometryAndGivesItsAssemblyPoints)
{
  GenericEntityConfig robot;
  MechanismJson::LoadCell(robot, "robot.json");
  ASSERT_EQ(robot.GetLinkSize(), 6u);
  for (const auto& link : robot.GetLinkRods())
    ASSERT_EQ(link->GetSubMdls().size(), 1u) << link->GetName();
  EXPECT_FALSE(robot.GetLink(5)->GetSubMdls()[0]->GetCollision().IsNull());
  // The wrist's three axes meet in one point, 100 mm behind the flange.
  for (size_t i = 3; i < 6; ++i)
    EXPECT_NEAR(gp_Lin(robot.GetLink(i)->GetAx1()).Distance(gp_Pnt(950, 0, 1490)), 0.0, 1e-9) << i;

  std::mt19937 random(7);
  const std::array<double, 6> lower = {-170, -90, -170, -185, -125, -350}, upper = {170, 135, 70, 185, 125, 350};
  for (int trial = 0; trial < 20; ++trial)
  {
    Pose q{};
    for (size_t i = 0; i < 6; ++i)
      q[i] = std::uniform_real_distribution<double>(lower[i], upper[i])(random);
    ASSERT_TRUE(robot.ForwardTrsf(Radians(q), false, true));
    EXPECT_SAME(robot.GetFlangeWCS(0), RobotFlange(q), "flange, trial " << trial);
    // The link-6 part, modelled at the zero pose in the entity frame, rides with the flange.
    EXPECT_SAME(robot.GetLink(5)->GetSubMdls()[0]->GetCollisionTrsf(),
                RobotFlange(q) * Turn(Y, -90) * Move(-1050, 0, -1490), "link-6 part, trial " << trial);
  }

  // Assembly points of an arm and a pedestal.
  ASSERT_TRUE(robot.ForwardTrsf(std::vector<double>(6, 0.0), false, true));
  Json::Value arm(Json::objectValue);
  arm["Type"] = "arm";
  EXPECT_SAME(robot.UpdateModelAssemPts(arm), gp_Trsf(), "lower-case arm");
  arm["Type"] = "ARM";
  EXPECT_SAME(robot.UpdateModelAssemPts(arm), Move(1050, 0, 1490), "arm end");
  EXPECT_SAME(robot.GetInstalledTrsf(0), Move(1050, 0, 1490), "flange 0");

  Json::Value pedestal = Assembly(2, 101);
  pedestal["Six"] = DataHandle::TrsfToJsonSix(Move(10, 0, 0));
  EXPECT_SAME(robot.UpdatePedestalAssm(pedestal), Move(10, 0, 0), "pedestal");
  EXPECT_SAME(robot.GetPedestalAssm(pedestal), Move(10, 0, 0), "pedestal read back");
  ASSERT_TRUE(robot.GetFlange().size() == 3u && robot.GetFlange()[2]->GetLinkRod() == robot.GetLinkRodNodeByHash(101));
  // Indices that are no flange index are refused before any flange is made.
  for (const Json::Value& index : {Json::Value("3"), Json::Value(-1), Json::Value(1 << 20)})
  {
    pedestal["install_index"] = index;
    EXPECT_THROW(robot.UpdatePedestalAssm(pedestal), WorkpieceError) << index.toStyledString();
  }
  EXPECT_EQ(robot.GetFlange().size(), 3u);

  // A second view of the robot shares its links and flanges and drives them.
  GenericEntityConfig view(&robot);
  EXPECT_TRUE(view.GetLink(3) == robot.GetLink(3) && view.GetLink(3)->GetRootEntity() == &view && view.GetFlange() == robot.GetFlange());
  EXPECT_NEAR(view.GetLink(1)->GetLimit().upper, 135 * Deg, 1e-12);
}

TEST(GenericEntityConfigCell, MountedEntitiesFollowTheirFlanges)
{
  ArmedRobot cell;
  // The robot's flange names the torch as the entity it carries, and writes it back.
  EXPECT_EQ(cell.robot.GetFlange()[0]->GetChildEntityId(), cell.torch.GetId());
  EXPECT_TRUE(cell.torch.GetParentEntity() == &cell.robot && cell.torch.GetParentFlangeIndex() == 0);
  Json::Value written;
  cell.robot.ValidFlangToJson(written);
  EXPECT_EQ(written["ChildEntity"][0]["child_entity"].asString(), cell.torch.GetId().ToString());
  // The torch's tool centre point lies on a 30° bend, 250 mm body and 150 mm neck.
  const Pose q = {20, -30, 20, 45, 60, -90};
  ASSERT_TRUE(cell.robot.ForwardTrsf(Radians(q), false, true));
  EXPECT_SAME(cell.torch.GetRootMdlTrsf(), RobotFlange(q), "torch base");
  EXPECT_SAME(cell.torch.GetFlangeWCS(0), RobotFlange(q) * Move(75, 0, 250 + 75 * std::sqrt(3.0)) * Turn(Y, 30), "tip");

  // A part on the positioner's table turns with it: tilt 800 mm up about X, table 100 mm above.
  GenericEntityConfig positioner, part(ViewTrees::BoxTree(1));
  MechanismJson::LoadCell(positioner, "positioner.json");
  positioner.AssembleOtherModel(&part, Assembly(0, 202));
  ASSERT_TRUE(positioner.ForwardTrsf(std::vector<double>{30 * Deg, 45 * Deg}, false, true));
  EXPECT_SAME(part.GetRootMdlTrsf(), Move(0, 0, 800) * Turn(X, 30) * Move(0, 0, 100) * Turn(Z, 45), "part");
  // A mechanism cannot carry the entity that carries it.
  EXPECT_THROW(part.AssembleOtherModel(&positioner, Assembly(0, 0)), WorkpieceError);
  EXPECT_THROW(positioner.AssembleOtherModel(&positioner, Assembly(0, 0)), WorkpieceError);

  // Mounting on flange 3 of a one-flange mechanism creates flanges 1 to 3 (the part leaves flange 0).
  positioner.AssembleOtherModel(&part, Assembly(3, 0));
  EXPECT_TRUE(positioner.GetFlange().size() == 4 && positioner.GetFlange()[0]->GetEntity() == nullptr &&
              part.GetParentFlangeIndex() == 3 && part.GetLastInstallIndex() == 3);
  EXPECT_TRUE(positioner.FlangToJson(5)["child_entity"].asString().empty() && positioner.GetFlange().size() == 6);
  // Freed, it returns to the origin and remembers where it sat.
  part.ClearAssembleInfoFromParent();
  EXPECT_TRUE(part.GetParentEntity() == nullptr && part.GetParentFlangeIndex() == -1 && part.GetLastInstallIndex() == 3 &&
              positioner.GetFlange()[3]->GetEntity() == nullptr);
  EXPECT_SAME(part.GetRootMdlTrsf(), gp_Trsf(), "freed part");
}

TEST(GenericEntityConfigCell, ChangeLinkLoactionMovesModelsMountedEntitiesAndSubLinks)
{
  ArmedRobot cell;
  GenericEntityConfig& robot = cell.robot;
  std::vector<gp_Trsf> before;
  for (const auto& link : robot.GetLinkRods())
    before.push_back(link->GetSubMdls()[0]->LocalTransformation());
  const gp_Trsf torchBefore = cell.torch.GetRootMdlTrsf();

  // Turning J5 by 30° turns everything from J5 on about the wrist's Y axis through (950, 0, 1490);
  // J6's frame stays where it is on J5.
  LinkRod* j5 = robot.GetLinkRodNodeByHash(105);
  robot.ChangeLinkLoaction(j5, 30.0);
  EXPECT_NEAR(j5->CurrentJointValue(), 30 * Deg, 1e-12);
  const gp_Trsf delta = Move(950, 0, 1490) * Turn(Y, 30) * Move(-950, 0, -1490);
  for (size_t i = 0; i < 6; ++i)
    EXPECT_SAME(robot.GetLink(i)->GetSubMdls()[0]->LocalTransformation(), i < 4 ? before[i] : delta * before[i],
                "link part " << i);
  EXPECT_SAME(cell.torch.GetRootMdlTrsf(), delta * torchBefore, "torch");
  EXPECT_SAME(robot.GetLink(5)->GetCenterTrsf(), Move(100, 0, 0), "J6 on J5");
  EXPECT_SAME(robot.GetEndCenTrsf(0), Move(950, 0, 1490) * Turn(Y, 30) * Move(100, 0, 0), "end centre");

  // Zeroing with moves turns J5 back. Moving the whole robot carries the torch; the same placement
  // again is no change.
  robot.InitialAllAxesToZero(true);
  EXPECT_SAME(cell.torch.GetRootMdlTrsf(), torchBefore, "torch after zeroing");
  EXPECT_TRUE(robot.ChangeMdlLocation(Move(100, 0, 0), 0).first);
  EXPECT_SAME(cell.torch.GetRootMdlTrsf(), Move(100, 0, 0) * torchBefore, "torch after the robot moved");
  EXPECT_FALSE(robot.ChangeMdlLocation(Move(100, 0, 0), 0).first);
}
