#include "support/FixtureMechanism.h"
#include "support/LogCapture.h"
#include "support/Mechanisms.h"
#include "support/Solids.h"
#include "support/Transforms.h"

#include <cadtools/WorkpieceError.h>
#include <cadtools/gpHandle.h>

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <random>
#include <stdexcept>

namespace
{
constexpr double Tol = 1.0e-9;
constexpr double Deg = M_PI / 180.0;

// 4×4 homogeneous matrices, written out by hand so that the cross-check shares no code with gp_Trsf.
using Mat4 = std::array<std::array<double, 4>, 4>;

Mat4 Identity()
{
  Mat4 m{};
  for (int i = 0; i < 4; ++i)
    m[i][i] = 1.0;
  return m;
}

Mat4 operator*(const Mat4& a, const Mat4& b)
{
  Mat4 m{};
  for (int r = 0; r < 4; ++r)
    for (int c = 0; c < 4; ++c)
      for (int k = 0; k < 4; ++k)
        m[r][c] += a[r][k] * b[k][c];
  return m;
}

Mat4 Move(double x, double y, double z)
{
  Mat4 m = Identity();
  m[0][3] = x;
  m[1][3] = y;
  m[2][3] = z;
  return m;
}

// Right-handed turn by `angle` radians about coordinate axis `axis` (0 X, 1 Y, 2 Z).
Mat4 Turn(int axis, double angle)
{
  Mat4 m = Identity();
  const int i = (axis + 1) % 3;
  const int j = (axis + 2) % 3;
  m[i][i] = std::cos(angle);
  m[i][j] = -std::sin(angle);
  m[j][i] = std::sin(angle);
  m[j][j] = std::cos(angle);
  return m;
}

// Frames of every link: parent frame × offset × turn about Y × joint motion in the link's frame.
std::vector<Mat4> Frames(const std::vector<JointDefinition>& chain, const std::vector<double>& values, const Mat4& root)
{
  std::vector<Mat4> frames;
  Mat4 frame = root;
  for (size_t i = 0; i < chain.size(); ++i)
  {
    const int type = static_cast<int>(chain[i].type);
    const int axis = type % 3;
    Mat4 motion = Turn(axis, values[i]);
    if (type < 3)
    {
      double d[3] = {0, 0, 0};
      d[axis] = values[i];
      motion = Move(d[0], d[1], d[2]);
    }
    frame = frame * Move(chain[i].offset.X(), chain[i].offset.Y(), chain[i].offset.Z()) *
            Turn(1, chain[i].turnY * Deg) * motion;
    frames.push_back(frame);
  }
  return frames;
}

Mat4 ToMat(const gp_Trsf& t)
{
  Mat4 m = Identity();
  for (int r = 0; r < 3; ++r)
    for (int c = 0; c < 4; ++c)
      m[r][c] = t.Value(r + 1, c + 1);
  return m;
}

::testing::AssertionResult Same(const gp_Trsf& actual, const Mat4& expected, double tol = 1.0e-7)
{
  for (int r = 0; r < 3; ++r)
    for (int c = 0; c < 4; ++c)
      if (std::abs(actual.Value(r + 1, c + 1) - expected[r][c]) > tol)
        return ::testing::AssertionFailure() << "entry (" << r << "," << c << "): " << actual.Value(r + 1, c + 1)
                                             << " instead of " << expected[r][c];
  return ::testing::AssertionSuccess();
}

// Random in-limit values, one per link (the base slide stays at 0).
std::vector<double> RandomPose(const std::vector<JointDefinition>& chain, std::mt19937& random)
{
  std::vector<double> pose{0.0};
  for (size_t i = 1; i < chain.size(); ++i)
    pose.push_back(std::uniform_real_distribution<double>(chain[i].lower, chain[i].upper)(random) * Deg);
  return pose;
}

// Expects `call` to log `message` at critical level from `function` and throw function + message.
template <typename Call>
void ExpectCritical(Call call, const std::string& function, const std::string& message)
{
  LogCapture log;
  try
  {
    call();
    ADD_FAILURE() << function << " did not throw";
  }
  catch (const WorkpieceError& error)
  {
    EXPECT_EQ(error.what(), function + message);
  }
  EXPECT_TRUE(log.Contains(5, message, function)) << function;
}

// A mechanism that records the systems it is asked to set values for.
class RecordingMechanism : public FixtureMechanism
{
public:
  using FixtureMechanism::FixtureMechanism;
  void SetCurrentValue(const std::vector<double>& values, unsigned long long system) override
  {
    systems.push_back(system);
    FixtureMechanism::SetCurrentValue(values, system);
  }
  std::vector<unsigned long long> systems;
};
} // namespace

TEST(GenericEntity, RobotFrameMatchesIndependentProductForRandomValues)
{
  const auto chain = Mechanisms::SixAxisRobot();
  auto robot = Mechanisms::BuildRobot();
  ASSERT_EQ(robot->EntityDof(), 7);
  const gp_Trsf placed = Transforms::Translation(1000, -200, 50) * [] {
    gp_Trsf t;
    t.SetRotation(gp::OZ(), 0.7);
    return t;
  }();
  robot->UpdateRootTrsf(placed, false);
  const std::vector<gp_Trsf> zero = Mechanisms::LinkFrames(chain, std::vector<double>(7, 0.0));
  std::mt19937 random(11);
  for (int trial = 0; trial < 50; ++trial)
  {
    const std::vector<double> pose = RandomPose(chain, random);
    ASSERT_TRUE(robot->Forward(pose));
    const std::vector<Mat4> expected = Frames(chain, pose, ToMat(placed));
    // A link's world transform is a displacement: it carries the link's zero-pose frame to its frame now.
    for (size_t i = 0; i < chain.size(); ++i)
      EXPECT_TRUE(Same(robot->GetCurJointTrsf(i) * zero[i], expected[i])) << "link " << i << " trial " << trial;
    EXPECT_TRUE(Same(robot->GetFlangeWCS(0), expected.back() * Move(0, 0, 20)));
  }
  EXPECT_EQ(robot->GetEndLink(0), robot->GetLink(6));
  EXPECT_THROW(robot->GetCurJointTrsf(7), std::out_of_range);
}

TEST(GenericEntity, PartsToolAndWorkpieceFollowTheirLinks)
{
  const auto robotChain = Mechanisms::SixAxisRobot();
  const auto positionerChain = Mechanisms::TwoAxisPositioner();
  auto robot = Mechanisms::BuildRobot();
  auto positioner = Mechanisms::BuildPositioner();
  auto tool = Mechanisms::BuildTool();
  auto part = Mechanisms::BuildPart();
  robot->SetChildEntity(0, tool.get());
  positioner->SetChildEntity(0, part.get());
  EXPECT_EQ(tool->GetParentEntity(), robot.get());
  EXPECT_EQ(tool->GetParentFlangeIndex(), 0);
  const gp_Trsf positionerPlace = Transforms::Translation(1500, 0, 0);
  positioner->SetRootMdlTrsf(positionerPlace);

  std::mt19937 random(3);
  for (int trial = 0; trial < 10; ++trial)
  {
    const bool view = trial % 2 == 0;
    const std::vector<double> pose = RandomPose(robotChain, random);
    ASSERT_TRUE(robot->ForwardTrsf(pose, view, true));
    const std::vector<Mat4> frames = Frames(robotChain, pose, Identity());
    for (size_t i = 0; i < robot->GetLinkSize(); ++i)
    {
      const LinkRod* link = robot->GetLink(i);
      for (const auto& model : link->GetSubMdls())
      {
        EXPECT_TRUE(gpHandle::IsSameTrsf(model->GetCollisionTrsf(), link->GetWcs() * model->GetInitTrsf(), Tol));
        EXPECT_TRUE(Same(model->GetCollisionTrsf(), frames[i]));
        if (view)
        {
          EXPECT_TRUE(Same(model->Transformation(), frames[i]));
        }
      }
    }
    // The collision side follows a move without display; a displayed move re-places the display.
    const Mat4 toolFrame = frames.back() * Move(0, 0, 20);
    EXPECT_TRUE(Same(tool->GetRootMdlTrsf(), toolFrame));
    if (view)
    {
      EXPECT_TRUE(Same(tool->GetRootMdl()->Transformation(), toolFrame));
    }
    else
    {
      EXPECT_TRUE(Same(tool->GetRootMdl()->GetCollisionTrsf(), toolFrame));
      EXPECT_TRUE(Same(tool->GetFixMdls().front()->GetCollisionTrsf(), toolFrame));
    }

    const std::vector<double> tilt{0.0, (trial * 25.0 - 120.0) * Deg, (trial * 70.0 - 300.0) * Deg};
    ASSERT_TRUE(positioner->ForwardTrsf(tilt, view, true));
    const Mat4 table = Frames(positionerChain, tilt, ToMat(positionerPlace)).back();
    EXPECT_TRUE(Same(part->GetRootMdlTrsf(), table * Move(0, 0, 40)));
  }
  // A tool on a moving robot has a parent with joints; the robot itself has none above it.
  EXPECT_TRUE(tool->HasParentMotionModel());
  EXPECT_FALSE(robot->HasParentMotionModel());
  EXPECT_TRUE(gpHandle::IsSameTrsf(tool->GetParentAssembleTrsf(),
                                   robot->GetRootMdlTrsf() * robot->GetFlangeByIndex(0)->GetTrsf(), Tol));
  EXPECT_TRUE(gpHandle::IsSameTrsf(robot->GetParentAssembleTrsf(), robot->GetRootMdlTrsf(), 0.0));
  EXPECT_TRUE(gpHandle::IsSameTrsf(tool->GetParentEntityTrsf(), robot->GetLink(6)->GetWcs(), 0.0));
  EXPECT_TRUE(gpHandle::IsSameTrsf(robot->GetParentEntityTrsf(), gp_Trsf(), 0.0));
}

TEST(GenericEntity, LimitsAreCheckedOneMillionthInside)
{
  auto robot = Mechanisms::BuildRobot();
  auto tool = Mechanisms::BuildTool();
  robot->SetChildEntity(0, tool.get());
  std::vector<double> pose{0.0, 0.1, 0.2, -0.3, 0.4, 0.5, 0.6};
  ASSERT_TRUE(robot->ForwardTrsf(pose, false, true));
  const gp_Trsf end = robot->GetLink(6)->GetWcs();
  const gp_Trsf partPlace = robot->GetLink(3)->GetSubMdls()[0]->GetCollisionTrsf();
  const gp_Trsf toolPlace = tool->GetRootMdlTrsf();

  const double upper = 150 * Deg; // lower arm
  for (const double refused : {upper, upper + 1e-7})
  {
    std::vector<double> wanted = pose;
    wanted[2] = refused;
    EXPECT_FALSE(robot->ForwardTrsf(wanted, false, true)) << refused;
    EXPECT_TRUE(gpHandle::IsSameTrsf(robot->GetLink(6)->GetWcs(), end, 0.0));
    EXPECT_TRUE(gpHandle::IsSameTrsf(robot->GetLink(3)->GetSubMdls()[0]->GetCollisionTrsf(), partPlace, 0.0));
    EXPECT_TRUE(gpHandle::IsSameTrsf(tool->GetRootMdlTrsf(), toolPlace, 0.0));
  }
  std::vector<double> wanted = pose;
  wanted[2] = upper - 2e-6;
  EXPECT_TRUE(robot->ForwardTrsf(wanted, false, true));
  EXPECT_DOUBLE_EQ(robot->GetLink(2)->CurrentJointValue(), upper - 2e-6);
  // Without the check the value on the limit is taken; a wrong count is refused by the check.
  wanted[2] = upper;
  EXPECT_TRUE(robot->ForwardTrsf(wanted, false, false));
  EXPECT_FALSE(robot->IsInLimit(std::vector<double>(6, 0.0), 0, 0.0));
  EXPECT_FALSE(robot->ForwardTrsfWithValue({}, false, false));

  // Rotary limits are held in radians and answered narrowed by the tolerance.
  const auto limits = robot->GetLimit(0, 0.01);
  ASSERT_EQ(limits.size(), 7u);
  EXPECT_NEAR(limits[2].first, -90 * Deg + 0.01, Tol);
  EXPECT_NEAR(limits[2].second, 150 * Deg - 0.01, Tol);
  EXPECT_NEAR(limits[0].second, 1 - 0.01, Tol);
  EXPECT_NEAR(robot->GetLinkLimit(6).upper, 2 * M_PI, Tol);
  const std::vector<double> ui = robot->GetCurrentValueUi(0);
  EXPECT_NEAR(ui[2], 150.0, 1.0e-9);
  EXPECT_DOUBLE_EQ(ui[0], 0.0);
}

TEST(GenericEntity, ForwardStopsAtALinkThatCannotMove)
{
  // The robot's first three links with a link whose axis was never derived slipped in after the turret.
  auto robot = Mechanisms::BuildRobot();
  const std::vector<std::shared_ptr<LinkRod>> links = robot->GetLinkRods();
  FixtureMechanism stopped("stopped", {});
  stopped.AddNewLink(links[0]);
  stopped.AddNewLink(links[1]);
  stopped.AddNewLink(std::make_shared<LinkRod>());
  stopped.AddNewLink(links[2]);
  EXPECT_FALSE(stopped.Forward({0.0, 0.3, 0.7, 0.4}));
  EXPECT_DOUBLE_EQ(links[1]->CurrentJointValue(), 0.3);
  EXPECT_FALSE(gpHandle::IsSameTrsf(links[1]->GetWcs(), gp_Trsf(), Tol));
  EXPECT_DOUBLE_EQ(stopped.GetLink(2)->CurrentJointValue(), 0.7);
  EXPECT_DOUBLE_EQ(links[2]->CurrentJointValue(), 0.0);
  EXPECT_TRUE(gpHandle::IsSameTrsf(links[2]->GetWcs(), gp_Trsf(), 0.0));
}

TEST(GenericEntity, ForwardOneJointMovesTheLinksAfterIt)
{
  const auto chain = Mechanisms::SixAxisRobot();
  auto robot = Mechanisms::BuildRobot();
  std::vector<double> pose{0.0, 0.1, 0.2, 0.3, 0.4, 0.5, 0.6};
  ASSERT_TRUE(robot->Forward(pose));
  // Index 1 names the link after the base's child: the lower arm.
  ASSERT_TRUE(robot->Forward(1, -0.5, true));
  pose[2] = -0.5;
  EXPECT_TRUE(Same(robot->GetCurJointTrsf(6) * Mechanisms::LinkFrames(chain, std::vector<double>(7, 0.0))[6],
                   Frames(chain, pose, Identity()).back()));
  EXPECT_DOUBLE_EQ(robot->GetCurrentValue(0)[2], 0.0) << "the current value vector is not written";
  EXPECT_FALSE(robot->Forward(-1, 0.0, false));
  EXPECT_FALSE(robot->Forward(robot->EntityDof() - 1, 0.0, false));
  EXPECT_TRUE(robot->Forward(robot->EntityDof() - 2, 0.0, false));
  EXPECT_FALSE(robot->Forward(1, 150 * Deg, true));
  EXPECT_DOUBLE_EQ(robot->GetLink(2)->CurrentJointValue(), -0.5);
  EXPECT_TRUE(robot->Forward(1, 150 * Deg, false));
}

TEST(GenericEntity, StateCheckSkipsTheBaseLink)
{
  // Only links configured as Rotary or Linear are examined.
  JointDefinition base = Mechanisms::TwoAxisPositioner()[0];
  base.type = JointType::Linear;
  JointDefinition turn = Mechanisms::TwoAxisPositioner()[1];
  turn.type = JointType::Rotary;
  // A link configured Linear is derived as rotary too (every configured type from 3 up is), so
  // the second checked link is a turn as well; the linear tolerance is covered with the link alone.
  JointDefinition table = Mechanisms::TwoAxisPositioner()[2];
  table.type = JointType::Rotary;
  table.lower = 0;
  table.upper = 90;

  FixtureMechanism single("single", {base});
  const auto [alone, same] = single.CheckAndAjustStateByLimit({1e9, -3.0});
  EXPECT_TRUE(alone);
  EXPECT_EQ(same, (std::vector<double>{1e9, -3.0}));

  FixtureMechanism mechanism("configured", {base, turn, table});
  auto [ok, state] = mechanism.CheckAndAjustStateByLimit({0.1});
  EXPECT_FALSE(ok);
  EXPECT_TRUE(state.empty());
  std::tie(ok, state) = mechanism.CheckAndAjustStateByLimit({0.1, 0.0, 1.0});
  EXPECT_FALSE(ok);
  std::tie(ok, state) = mechanism.CheckAndAjustStateByLimit({-135 * Deg - 5e-7, 90 * Deg + 5e-7});
  EXPECT_TRUE(ok);
  ASSERT_EQ(state.size(), 2u);
  EXPECT_DOUBLE_EQ(state[0], -135 * Deg);
  EXPECT_DOUBLE_EQ(state[1], 90 * Deg);
  std::tie(ok, state) = mechanism.CheckAndAjustStateByLimit({0.2, 0.3});
  EXPECT_TRUE(ok);
  EXPECT_EQ(state, (std::vector<double>{0.2, 0.3}));
  std::tie(ok, state) = mechanism.CheckAndAjustStateByLimit({0.2, 90 * Deg + 1e-5});
  EXPECT_FALSE(ok);
  EXPECT_TRUE(state.empty());

  // The fixture robot is configured with axis types, which this check does not examine.
  auto robot = Mechanisms::BuildRobot();
  std::tie(ok, state) = robot->CheckAndAjustStateByLimit(std::vector<double>(6, 0.0));
  EXPECT_FALSE(ok);
}

TEST(GenericEntity, FailuresLogAndThrow)
{
  auto robot = Mechanisms::BuildRobot();
  ExpectCritical([&] { robot->GetLinkIndexOrder(12345); }, "GenericEntity::GetLinkIndexOrder",
                 "map传入key错误，数据不在范围内");
  ExpectCritical([&] { robot->GetRootLink(1); }, "GenericEntity::GetRootLink", "vector传入index错误，数据不在范围内");
  ExpectCritical([&] { robot->GetRootLink(-1); }, "GenericEntity::GetRootLink", "vector传入index错误，数据不在范围内");
  ExpectCritical([&] { robot->GetFlangeByIndex(1); }, "GenericEntity::GetFlangeByIndex",
                 "vector传入index错误，数据不在范围内");
  ExpectCritical([&] { robot->SetFlangeLink(nullptr, 3); }, "GenericEntity::SetFlangeLink", "安装位置索引超过上下限");
  ExpectCritical([&] { robot->GetLimit(0, 1.0 + 1e-9); }, "GenericEntity::GetLimit", "限位错误");
  ExpectCritical([&] { robot->DeleteSystem(9); }, "GenericEntity::DeleteSystem", "map传入key错误，数据不在范围内");
  robot->RootLinkHashes().push_back(777);
  ExpectCritical([&] { robot->GetRootLink(1); }, "GenericEntity::GetRootLink", "map传入key错误，数据不在范围内");
  EXPECT_THROW(robot->SetChildEntity(5, nullptr), std::out_of_range);
  EXPECT_TRUE(gpHandle::IsSameTrsf(robot->GetFlangeWCS(-1), gp_Trsf(), 0.0));
  EXPECT_TRUE(gpHandle::IsSameTrsf(robot->GetFlangeWCS(1), gp_Trsf(), 0.0));
  // A tolerance of exactly half the narrowest range (the base slide's 2 mm) still leaves a point.
  EXPECT_NO_THROW(robot->GetLimit(0, 1.0));
}

TEST(GenericEntity, MovingTheBaseCarriesLinksAndChildren)
{
  auto robot = Mechanisms::BuildRobot();
  auto tool = Mechanisms::BuildTool();
  robot->SetChildEntity(0, tool.get());
  ASSERT_TRUE(robot->ForwardTrsf({0.0, 0.3, 0.2, 0.1, 0.4, 0.5, 0.6}, false, true));

  gp_Trsf step = Transforms::Translation(10, 20, 30);
  step.Multiply([] {
    gp_Trsf t;
    t.SetRotation(gp::OY(), 0.2);
    return t;
  }());
  auto twice = Mechanisms::BuildRobot();
  auto once = Mechanisms::BuildRobot();
  twice->TransformedBy(step);
  twice->TransformedBy(step);
  once->TransformedBy(step * step);
  EXPECT_TRUE(gpHandle::IsSameTrsf(twice->GetRootMdlTrsf(), once->GetRootMdlTrsf(), Tol));
  EXPECT_TRUE(gpHandle::IsSameTrsf(twice->GetRootMdl()->GetCollisionTrsf(), once->GetRootMdlTrsf(), Tol));
  EXPECT_TRUE(gpHandle::IsSameTrsf(twice->GetRootMdl()->LocalTransformation(), gp_Trsf(), 0.0))
    << "no display update";

  // ChangeLocation re-places the links after the base and brings the tool to the flange.
  robot->ChangeLocation(step);
  EXPECT_TRUE(gpHandle::IsSameTrsf(robot->GetRootMdlTrsf(), step, 0.0));
  EXPECT_TRUE(gpHandle::IsSameTrsf(robot->GetRootMdl()->LocalTransformation(), step, Tol));
  EXPECT_TRUE(gpHandle::IsSameTrsf(robot->GetLink(0)->GetWcs(), step, Tol));
  EXPECT_TRUE(gpHandle::IsSameTrsf(tool->GetRootMdlTrsf(), robot->GetFlangeWCS(0), Tol));
  EXPECT_TRUE(gpHandle::IsSameTrsf(tool->GetRootMdl()->Transformation(), robot->GetFlangeWCS(0), Tol));

  // A flange on the base follows the root transform.
  robot->AddFlange(0, Transforms::Translation(0, 300, 0));
  EXPECT_EQ(robot->GetFlangeByIndex(1)->GetLinkRod(), nullptr);
  EXPECT_TRUE(gpHandle::IsSameTrsf(robot->GetFlangeWCS(1), step * Transforms::Translation(0, 300, 0), Tol));
  robot->SetFlangeLink(robot->GetLink(1), 1);
  EXPECT_EQ(robot->GetFlangeByIndex(1)->GetLinkRodIndex(), robot->GetLink(1)->GetLinkHashIndex());
  EXPECT_TRUE(gpHandle::IsSameTrsf(robot->GetFlangeWCS(1), robot->GetLink(1)->GetWcs() * Transforms::Translation(0, 300, 0), Tol));
  robot->SetFlangeLink(nullptr, 1);
  EXPECT_EQ(robot->GetFlangeByIndex(1)->GetLinkRodIndex(), 0u);
}

TEST(GenericEntity, ResetGoesThroughEverySystemInOrder)
{
  RecordingMechanism robot("robot", Mechanisms::SixAxisRobot());
  robot.ChangeCurrentValue() = {0.0, 0.5, 0.5, 0.5, 0.5, 0.5, 0.5};
  robot.AddSystem(42);
  robot.AddSystem(7);
  robot.AddSystem(42);
  EXPECT_TRUE(robot.IsBelongSystem(7));
  robot.systems.clear();
  ASSERT_TRUE(robot.Reset());
  EXPECT_EQ(robot.systems, (std::vector<unsigned long long>{7, 42}));
  EXPECT_EQ(robot.GetCurrentValue(0), std::vector<double>(7, 0.0));
  for (size_t i = 0; i < robot.GetLinkSize(); ++i)
    EXPECT_TRUE(gpHandle::IsSameTrsf(robot.GetLink(i)->GetWcs(), gp_Trsf(), Tol));
  robot.DeleteSystem(7);
  EXPECT_FALSE(robot.IsBelongSystem(7));
  robot.ClearSystem();
  EXPECT_TRUE(robot.GetSystems().empty());

  // Adding a link forgets every joint value.
  robot.ChangeCurrentValue() = std::vector<double>(7, 0.25);
  robot.AddNewLink(std::make_shared<LinkRod>());
  robot.AddNewLink(nullptr);
  EXPECT_EQ(robot.GetCurrentValue(0), std::vector<double>(8, 0.0));
  EXPECT_EQ(robot.GetResetValue(), std::vector<double>(8, 0.0));
  // SetCurrentValue copies only as many values as there are links, or as it is given.
  robot.SetCurrentValue(std::vector<double>(10, 1.5), 0);
  EXPECT_EQ(robot.GetCurrentValue(0), std::vector<double>(8, 1.5));
  robot.SetCurrentValue({0.5}, 0);
  EXPECT_EQ(robot.GetCurrentValue(0), (std::vector<double>{0.5, 1.5, 1.5, 1.5, 1.5, 1.5, 1.5, 1.5}));
  EXPECT_FALSE(robot.Forward(std::vector<double>(7, 0.0))) << "one value short";
}

TEST(GenericEntity, RemovingALinkUnhooksIt)
{
  auto robot = Mechanisms::BuildRobot();
  LinkRod* wrist = robot->GetLink(5);
  LinkRod* flange = robot->GetLink(6);
  const unsigned long long flangeHash = flange->GetLinkHashIndex();
  robot->ChangeCurrentValue() = std::vector<double>(7, 0.5);
  robot->RemoveLinkRod(flange);
  EXPECT_EQ(robot->GetLinkSize(), 6u);
  EXPECT_EQ(wrist->SubLinkSize(), 0);
  EXPECT_EQ(robot->GetCurrentValue(0), std::vector<double>(6, 0.0));
  EXPECT_THROW(robot->GetLinkIndexOrder(flangeHash), WorkpieceError);
  EXPECT_EQ(robot->GetEndLink(0), wrist);

  // Removing a root link drops it from the roots.
  auto positioner = Mechanisms::BuildPositioner();
  LinkRod* pedestal = positioner->GetLink(0);
  positioner->GetLink(1)->SetParentLink(nullptr);
  positioner->RemoveLinkRod(pedestal);
  EXPECT_EQ(positioner->GetRootLinkNum(), 0u);
  EXPECT_EQ(positioner->GetLinkSize(), 2u);
}

TEST(GenericEntity, CollisionModelsByLink)
{
  auto robot = Mechanisms::BuildRobot();
  auto tool = Mechanisms::BuildTool();
  const auto all = robot->GetCollisionMdlsFromRootLink(robot->GetLink(0));
  ASSERT_EQ(all.size(), 7u);
  for (size_t i = 0; i < all.size(); ++i)
    EXPECT_EQ(all[i], robot->GetLink(i)->GetSubMdls()[0]);
  EXPECT_EQ(robot->GetCollisionMdlsFromRootLink(robot->GetLink(4)).size(), 3u);
  EXPECT_TRUE(robot->GetCollisionMdlsFromRootLink(nullptr).empty());
  EXPECT_EQ(robot->GetCollisionMdlsFromCurrentLink(robot->GetLink(2)), robot->GetLink(2)->GetSubMdls());
  EXPECT_TRUE(robot->GetCollisionMdlsFromCurrentLink(nullptr).empty());
  ASSERT_EQ(tool->GetCollisionMdlsFromCurrentLink(nullptr).size(), 1u);
  EXPECT_EQ(tool->GetCollisionFixMdls(), tool->GetFixMdls());

  // The fixed parts follow the root transform on the collision side only.
  const gp_Trsf place = Transforms::Translation(5, 6, 7);
  tool->UpdateRootTrsf(place, false);
  EXPECT_TRUE(gpHandle::IsSameTrsf(tool->GetFixMdls()[0]->GetCollisionTrsf(), place, 0.0));
  EXPECT_TRUE(gpHandle::IsSameTrsf(tool->GetRootMdl()->LocalTransformation(), gp_Trsf(), 0.0));
  tool->UpdateRootTrsf(place, true);
  EXPECT_TRUE(gpHandle::IsSameTrsf(tool->GetRootMdl()->LocalTransformation(), place, 0.0));
  EXPECT_EQ(robot->GetMechanismType(), 0);
  EXPECT_EQ(robot->GetEntityName(), EntityName::Unnamed);
  EXPECT_FALSE(robot->IsCouplingRobot());
}
