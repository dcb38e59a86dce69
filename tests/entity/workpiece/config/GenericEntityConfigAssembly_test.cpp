#include "support/MechanismJson.h"
#include "support/Transforms.h"
#include "support/ViewTrees.h"

#include <entity/GenericEntityConfig.h>

#include <cadtools/DataHandle.h>
#include <cadtools/WorkpieceError.h>
#include <cadtools/gpHandle.h>

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <cmath>
#include <random>

namespace
{
constexpr double Deg = M_PI / 180.0;
constexpr double Tol = 1.0e-7;

// Frames composed link by link in each link's own frame, independent of the mechanism's product
// of joint motions in the entity frame.
gp_Trsf Move(double x, double y, double z)
{
  return Transforms::Translation(x, y, z);
}

gp_Trsf Turn(int axis, double degrees)
{
  static const gp_Dir axes[] = {gp::DX(), gp::DY(), gp::DZ()};
  return Transforms::Rotation(axes[axis], degrees);
}

void ExpectSame(const gp_Trsf& actual, const gp_Trsf& expected, const std::string& what)
{
  for (int r = 1; r <= 3; ++r)
    for (int c = 1; c <= 4; ++c)
      EXPECT_NEAR(actual.Value(r, c), expected.Value(r, c), Tol * (c == 4 ? 1000.0 : 1.0)) << what << " (" << r
                                                                                             << ", " << c << ")";
}

// The sample robot as docs/formats.md gives it: each joint's frame on the previous one, then the
// joint's own turn (J1 about Z, J2 and J3 about Y, J4 about X, J5 about Y, J6 about X), and the
// tool flange turned 90° about Y on J6's frame.
gp_Trsf RobotFlange(const std::array<double, 6>& q)
{
  return Move(0, 0, 400) * Turn(2, q[0]) * Move(150, 0, 275) * Turn(1, q[1]) * Move(0, 0, 700) * Turn(1, q[2]) *
         Move(200, 0, 115) * Turn(0, q[3]) * Move(600, 0, 0) * Turn(1, q[4]) * Move(100, 0, 0) * Turn(0, q[5]) *
         Turn(1, 90);
}

// The torch's tool centre point on its own base: 30° bend, 250 mm body, 150 mm neck.
gp_Trsf TorchTip()
{
  return Move(150 * std::sin(30 * Deg), 0, 250 + 150 * std::cos(30 * Deg)) * Turn(1, 30);
}

std::vector<double> Radians(const std::array<double, 6>& degrees)
{
  std::vector<double> values;
  for (const double d : degrees)
    values.push_back(d * Deg);
  return values;
}

Json::Value Assembly(int index, unsigned long long link)
{
  Json::Value json(Json::objectValue);
  json["install_index"] = index;
  json["link_hash"] = static_cast<Json::UInt64>(link);
  return json;
}

// A part without joints: one box, type 5 (no flange of its own).
struct Part
{
  GenericEntityConfig entity{ViewTrees::BoxTree(1)};
  Part()
  {
    Json::Value json(Json::objectValue);
    json["type"] = 5;
    entity.LoadFromJson(json);
  }
};
} // namespace

TEST(GenericEntityConfigCell, SampleRobotFollowsItsDocumentedGeometry)
{
  GenericEntityConfig robot;
  MechanismJson::Load(robot, MechanismJson::CellFile("robot.json"));
  ASSERT_EQ(robot.GetLinkSize(), 6u);
  ASSERT_EQ(robot.GetFlange().size(), 1u);
  EXPECT_EQ(robot.GetMechanismType(), 1);
  EXPECT_EQ(robot.GetRobotInvType(), RobotInvType::SphericalWrist);
  EXPECT_EQ(robot.GetFixMdls().size(), 1u);
  for (const auto& link : robot.GetLinkRods())
    ASSERT_EQ(link->GetSubMdls().size(), 1u) << link->GetName();
  EXPECT_FALSE(robot.GetLink(5)->GetSubMdls()[0]->GetCollision().IsNull());

  // The wrist's three axes meet in one point, 100 mm behind the flange.
  const gp_Pnt wrist(950, 0, 1490);
  for (size_t i = 3; i < 6; ++i)
    EXPECT_NEAR(gp_Lin(robot.GetLink(i)->GetAx1()).Distance(wrist), 0.0, 1e-9) << i;

  std::mt19937 random(7);
  const std::array<std::pair<double, double>, 6> ranges = {
    {{-170, 170}, {-90, 135}, {-170, 70}, {-185, 185}, {-125, 125}, {-350, 350}}};
  for (int trial = 0; trial < 20; ++trial)
  {
    std::array<double, 6> q{};
    for (size_t i = 0; i < 6; ++i)
      q[i] = std::uniform_real_distribution<double>(ranges[i].first, ranges[i].second)(random);
    ASSERT_TRUE(robot.ForwardTrsf(Radians(q), false, true));
    ExpectSame(robot.GetFlangeWCS(0), RobotFlange(q), "flange, trial " + std::to_string(trial));
    // The link-6 part, modelled at the zero pose in the entity frame, rides with the flange.
    const Handle(ShapeEntity)& part = robot.GetLink(5)->GetSubMdls()[0];
    ExpectSame(part->GetCollisionTrsf(), RobotFlange(q) * Turn(1, -90) * Move(-1050, 0, -1490),
               "link-6 part, trial " + std::to_string(trial));
  }
}

TEST(GenericEntityConfigCell, MountedEntitiesFollowTheirFlanges)
{
  GenericEntityConfig robot;
  GenericEntityConfig torch;
  MechanismJson::Load(robot, MechanismJson::CellFile("robot.json"));
  MechanismJson::Load(torch, MechanismJson::CellFile("torch.json"));
  // The robot's flange names the torch as the entity it carries.
  EXPECT_EQ(robot.GetFlange()[0]->GetChildEntityId(), torch.GetId());

  robot.AssembleOtherModel(&torch, Assembly(0, 106));
  EXPECT_EQ(torch.GetParentEntity(), &robot);
  EXPECT_EQ(torch.GetParentFlangeIndex(), 0);
  Json::Value written(Json::objectValue);
  robot.ValidFlangToJson(written);
  ASSERT_EQ(written["ChildEntity"].size(), 1u);
  EXPECT_EQ(written["ChildEntity"][0]["child_entity"].asString(), torch.GetId().ToString());

  const std::array<double, 6> q = {20, -30, 20, 45, 60, -90};
  ASSERT_TRUE(robot.ForwardTrsf(Radians(q), false, true));
  ExpectSame(torch.GetRootMdlTrsf(), RobotFlange(q), "torch base");
  ExpectSame(torch.GetFlangeWCS(0), RobotFlange(q) * TorchTip(), "torch tip");

  // A part on the positioner's table turns with it: tilt 800 mm up about X, table 100 mm above.
  GenericEntityConfig positioner;
  MechanismJson::Load(positioner, MechanismJson::CellFile("positioner.json"));
  Part part;
  positioner.AssembleOtherModel(&part.entity, Assembly(0, 202));
  ASSERT_TRUE(positioner.ForwardTrsf(std::vector<double>{30 * Deg, 45 * Deg}, false, true));
  ExpectSame(part.entity.GetRootMdlTrsf(), Move(0, 0, 800) * Turn(0, 30) * Move(0, 0, 100) * Turn(2, 45), "part");

  // A mechanism cannot carry the entity that carries it.
  EXPECT_THROW(part.entity.AssembleOtherModel(&positioner, Assembly(0, 0)), WorkpieceError);
  EXPECT_THROW(positioner.AssembleOtherModel(&positioner, Assembly(0, 0)), WorkpieceError);

  // Mounting on flange 3 of a one-flange mechanism creates flanges 1 to 3 (the part leaves flange 0).
  positioner.AssembleOtherModel(&part.entity, Assembly(3, 0));
  EXPECT_EQ(positioner.GetFlange().size(), 4u);
  EXPECT_EQ(positioner.GetFlange()[0]->GetEntity(), nullptr);
  EXPECT_EQ(part.entity.GetParentFlangeIndex(), 3);
  EXPECT_EQ(part.entity.GetLastInstallIndex(), 3);
  EXPECT_EQ(positioner.FlangToJson(5)["child_entity"].asString(), "");
  EXPECT_EQ(positioner.GetFlange().size(), 6u);
  // Freed, it returns to the origin and remembers where it sat.
  part.entity.ClearAssembleInfoFromParent();
  EXPECT_EQ(part.entity.GetParentEntity(), nullptr);
  EXPECT_EQ(part.entity.GetParentFlangeIndex(), -1);
  EXPECT_EQ(part.entity.GetLastInstallIndex(), 3);
  EXPECT_EQ(positioner.GetFlange()[3]->GetEntity(), nullptr);
  EXPECT_TRUE(gpHandle::IsSameTrsf(part.entity.GetRootMdlTrsf(), gp_Trsf(), 1e-12));
}

TEST(GenericEntityConfigCell, ChangeLinkLoactionMovesModelsMountedEntitiesAndSubLinks)
{
  GenericEntityConfig robot;
  GenericEntityConfig torch;
  MechanismJson::Load(robot, MechanismJson::CellFile("robot.json"));
  MechanismJson::Load(torch, MechanismJson::CellFile("torch.json"));
  robot.AssembleOtherModel(&torch, Assembly(0, 106));
  std::vector<gp_Trsf> before;
  for (const auto& link : robot.GetLinkRods())
    before.push_back(link->GetSubMdls()[0]->LocalTransformation());
  const gp_Trsf torchBefore = torch.GetRootMdlTrsf();

  // Turning J5 by 30° turns everything from J5 on about the wrist's Y axis through (950, 0, 1490).
  LinkRod* j5 = robot.GetLinkRodNodeByHash(105);
  robot.ChangeLinkLoaction(j5, 30.0);
  EXPECT_NEAR(j5->CurrentJointValue(), 30 * Deg, 1e-12);
  const gp_Trsf delta = Move(950, 0, 1490) * Turn(1, 30) * Move(-950, 0, -1490);
  for (size_t i = 0; i < 6; ++i)
  {
    const gp_Trsf after = robot.GetLink(i)->GetSubMdls()[0]->LocalTransformation();
    ExpectSame(after, i < 4 ? (before[i]) : delta * (before[i]), "link part " + std::to_string(i));
  }
  ExpectSame(torch.GetRootMdlTrsf(), delta * (torchBefore), "torch");
  // J5's frame turned; the frames below it stay where they are on their parents.
  EXPECT_TRUE(gpHandle::IsSameTrsf(robot.GetLink(5)->GetCenterTrsf(), [] {
    gp_Trsf t;
    t.SetTranslation(gp_Vec(100, 0, 0));
    return t;
  }(), 1e-12));
  ExpectSame(robot.GetEndCenTrsf(0), Move(950, 0, 1490) * Turn(1, 30) * Move(100, 0, 0), "end centre");

  // Zeroing with moves turns J5 back. Moving the whole robot carries the torch; the same placement
  // again is no change.
  robot.InitialAllAxesToZero(true);
  ExpectSame(torch.GetRootMdlTrsf(), (torchBefore), "torch after zeroing");
  gp_Trsf aside;
  aside.SetTranslation(gp_Vec(100, 0, 0));
  EXPECT_TRUE(robot.ChangeMdlLocation(aside, 0).first);
  ExpectSame(torch.GetRootMdlTrsf(), Move(100, 0, 0) * (torchBefore), "torch after the robot moved");
  EXPECT_FALSE(robot.ChangeMdlLocation(aside, 0).first);
}

TEST(GenericEntityConfigCell, AssemblyPointsOfAnArmAndAPedestal)
{
  GenericEntityConfig robot;
  MechanismJson::Load(robot, MechanismJson::CellFile("robot.json"));
  Json::Value arm(Json::objectValue);
  arm["Type"] = "arm";
  EXPECT_TRUE(gpHandle::IsSameTrsf(robot.UpdateModelAssemPts(arm), gp_Trsf(), 1e-12));
  arm["Type"] = "ARM";
  ExpectSame(robot.UpdateModelAssemPts(arm), Move(1050, 0, 1490), "arm end");
  ExpectSame(robot.GetInstalledTrsf(0), Move(1050, 0, 1490), "flange 0");

  Json::Value pedestal = Assembly(2, 101);
  pedestal["Six"] = DataHandle::TrsfToJsonSix(gp_Trsf());
  pedestal["Six"][0] = 10.0;
  ExpectSame(robot.UpdatePedestalAssm(pedestal), Move(10, 0, 0), "pedestal");
  EXPECT_EQ(robot.GetFlange().size(), 3u);
  EXPECT_EQ(robot.GetFlange()[2]->GetLinkRod(), robot.GetLinkRodNodeByHash(101));
  ExpectSame(robot.GetPedestalAssm(pedestal), Move(10, 0, 0), "pedestal read back");
  // Indices that are no flange index are refused before any flange is made.
  for (const Json::Value& index : {Json::Value("3"), Json::Value(-1), Json::Value(1 << 20)})
  {
    pedestal["install_index"] = index;
    EXPECT_THROW(robot.UpdatePedestalAssm(pedestal), WorkpieceError) << index.toStyledString();
  }
  EXPECT_EQ(robot.GetFlange().size(), 3u);

  // A second view of the robot shares its links and flanges and drives them.
  GenericEntityConfig view(&robot);
  EXPECT_EQ(view.GetLink(3), robot.GetLink(3));
  EXPECT_EQ(view.GetLink(3)->GetRootEntity(), &view);
  EXPECT_EQ(view.GetFlange().size(), 3u);
  EXPECT_NEAR(view.GetLink(1)->GetLimit().upper, 135 * Deg, 1e-12);
}
