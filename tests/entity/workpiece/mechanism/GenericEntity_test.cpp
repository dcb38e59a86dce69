#include "support/ErrorText.h"
#include "support/FixtureMechanism.h"
#include "support/LogCapture.h"
#include "support/Mechanisms.h"
#include "support/Transforms.h"

#include <cadtools/WorkpieceError.h>
#include <cadtools/gpHandle.h>

#include <gtest/gtest.h>

#include <gp_Ax2.hxx>

#include <cmath>
#include <functional>
#include <random>
#include <stdexcept>
#include <tuple>

namespace
{
constexpr double Deg = M_PI / 180.0;

// Whether two computations of one frame agree (mm and matrix entries).
bool Near(const gp_Trsf& a, const gp_Trsf& b)
{
  return gpHandle::IsSameTrsf(a, b, 1.0e-7);
}

// Random in-limit values, one per link (the base slide stays at 0).
std::vector<double> RandomPose(const std::vector<JointDefinition>& chain, std::mt19937& random)
{
  std::vector<double> pose{0.0};
  for (size_t i = 1; i < chain.size(); ++i)
    pose.push_back(std::uniform_real_distribution<double>(chain[i].lower, chain[i].upper)(random) * Deg);
  return pose;
}

// Zero-pose frame of a robot link: its world transform carries this frame to the link's frame now.
// The frames of the fixture chain, products of each link's center frame and joint motion in its own
// frame, are an independent formulation of the mechanism's product of axis motions.
const gp_Trsf& RobotZero(size_t link)
{
  static const std::vector<gp_Trsf> zero = Mechanisms::LinkFrames(Mechanisms::SixAxisRobot(), std::vector<double>(7, 0.0));
  return zero[link];
}

// A mechanism that keeps data by link position, here the position of its last link.
class RecordingMechanism : public FixtureMechanism
{
public:
  using FixtureMechanism::FixtureMechanism;
  void UpdateLinkIndexOrder() override
  {
    FixtureMechanism::UpdateLinkIndexOrder();
    lastPosition = GetLinkIndexOrder(GetLinkRods().back()->GetLinkHashIndex());
  }
  int lastPosition = -1;
};
} // namespace

TEST(GenericEntity, LinksPartsAndMountedToolMatchIndependentProductForRandomValues)
{
  // Placed rigidly, then scaled, then mirrored: links compose by quaternions only under rigid fathers.
  const auto chain = Mechanisms::SixAxisRobot();
  auto robot = Mechanisms::BuildRobot();
  auto tool = Mechanisms::BuildTool();
  robot->SetChildEntity(0, tool.get());
  gp_Trsf scaled = Transforms::Translation(5, 6, 7) * Transforms::Rotation(gp::DX(), 30);
  scaled.SetScaleFactor(2.0);
  gp_Trsf mirrored;
  mirrored.SetMirror(gp_Ax2(gp_Pnt(0, 0, 10), gp::DZ()));
  const gp_Trsf rigid = Transforms::Translation(1000, -200, 50) * Transforms::Rotation(gp::DZ(), 40);
  std::mt19937 random(11);
  for (const gp_Trsf& placed : {rigid, scaled, mirrored})
  {
    // The rigid placement is shown, so parts placed by world transforms take it out of their own.
    robot->UpdateRootTrsf(placed, &placed == &rigid);
    for (int trial = 0; trial < 20; ++trial)
    {
      // The collision side follows every move; the display only a move with view update.
      const bool view = trial % 2 == 0 && &placed == &rigid;
      const std::vector<double> pose = RandomPose(chain, random);
      ASSERT_TRUE(robot->ForwardTrsf(pose, view, true));
      const std::vector<gp_Trsf> frames = Mechanisms::LinkFrames(chain, pose);
      for (size_t i = 0; i < chain.size(); ++i)
      {
        const auto& model = robot->GetLink(i)->GetSubMdls().front();
        EXPECT_TRUE(Near(robot->GetCurJointTrsf(i) * RobotZero(i), placed * frames[i])) << i << " " << trial;
        EXPECT_TRUE(Near(view ? model->Transformation() : model->GetCollisionTrsf(), placed * frames[i]));
      }
      const gp_Trsf toolFrame = placed * frames.back() * Transforms::Translation(0, 0, 20);
      EXPECT_TRUE(Near(robot->GetFlangeWCS(0), toolFrame) && Near(tool->GetRootMdlTrsf(), toolFrame));
      EXPECT_TRUE(Near(view ? tool->GetRootMdl()->Transformation() : tool->GetRootMdl()->GetCollisionTrsf(), toolFrame));
      EXPECT_TRUE(view || Near(tool->GetFixMdls().front()->GetCollisionTrsf(), toolFrame));
    }
  }
  EXPECT_THROW(robot->GetCurJointTrsf(7), std::out_of_range);
  EXPECT_TRUE(robot->GetEndLink(0) == robot->GetLink(6) && tool->HasParentMotionModel() && !robot->HasParentMotionModel() &&
              Near(tool->GetParentEntityTrsf(), robot->GetLink(6)->GetWcs()));
}

TEST(GenericEntity, ForwardStopsAtALinkThatCannotMoveAndCollectsModelsDownTheTree)
{
  // The robot's first three links with a link whose axis was never derived slipped in after the turret.
  auto robot = Mechanisms::BuildRobot();
  const std::vector<std::shared_ptr<LinkRod>> links = robot->GetLinkRods();
  FixtureMechanism stopped("stopped", {});
  for (const auto& link : {links[0], links[1], std::make_shared<LinkRod>(), links[2]})
    stopped.AddNewLink(link);
  EXPECT_TRUE(!stopped.Forward({0.0, 0.3, 0.7, 0.4}) && stopped.GetLink(2)->CurrentJointValue() == 0.7);
  EXPECT_TRUE(!Near(links[1]->GetWcs(), gp_Trsf()) && gpHandle::IsSameTrsf(links[2]->GetWcs(), gp_Trsf(), 0.0));
  const auto below = robot->GetCollisionMdlsFromRootLink(robot->GetLink(4));
  EXPECT_EQ(below, (std::vector{links[4]->GetSubMdls()[0], links[5]->GetSubMdls()[0], links[6]->GetSubMdls()[0]}));
}

TEST(GenericEntity, StateCheckSkipsTheBaseLink)
{
  // Only links configured Rotary or Linear are examined; both derive as rotary joints here.
  std::vector<JointDefinition> chain = Mechanisms::TwoAxisPositioner();
  chain[0].type = JointType::Linear;
  chain[1].type = chain[2].type = JointType::Rotary;
  chain[2].lower = 0, chain[2].upper = 90;
  FixtureMechanism single("single", {chain[0]});
  EXPECT_EQ(single.CheckAndAjustStateByLimit({1e9, -3.0}), std::make_tuple(true, std::vector<double>{1e9, -3.0}));
  FixtureMechanism mechanism("configured", chain);
  using Answer = std::tuple<bool, std::vector<double>>;
  for (const auto& [state, expected] : std::vector<std::pair<std::vector<double>, Answer>>{
         {{0.1}, {false, {}}}, {{0.1, 0.0, 1.0}, {false, {}}}, {{0.2, 0.3}, {true, {0.2, 0.3}}},
         {{-135 * Deg - 5e-7, 90 * Deg + 5e-7}, {true, {mechanism.GetLinkLimit(1).lower, mechanism.GetLinkLimit(2).upper}}},
         {{0.2, 90 * Deg + 1e-5}, {false, {}}}})
    EXPECT_EQ(mechanism.CheckAndAjustStateByLimit(state), expected) << state.size() << " " << state[0];
}

TEST(GenericEntity, MovingTheBaseCarriesLinksAndChildren)
{
  const gp_Trsf step = Transforms::Translation(10, 20, 30) * Transforms::Rotation(gp::DY(), 12);
  auto robot = Mechanisms::BuildRobot();
  auto tool = Mechanisms::BuildTool();
  robot->SetChildEntity(0, tool.get());
  ASSERT_TRUE(robot->ForwardTrsf({0.0, 0.3, 0.2, 0.1, 0.4, 0.5, 0.6}, false, true));
  // Forward(1, ...) moves the lower arm alone, leaving the current value vector unwritten.
  ASSERT_TRUE(robot->Forward(1, -0.5, true));
  const gp_Trsf end = Mechanisms::LinkFrames(Mechanisms::SixAxisRobot(), {0.0, 0.3, -0.5, 0.1, 0.4, 0.5, 0.6}).back();
  EXPECT_TRUE(Near(robot->GetCurJointTrsf(6) * RobotZero(6), end) && robot->GetCurrentValue(0)[2] == 0.2);
  robot->TransformedBy(step);
  EXPECT_TRUE(Near(robot->GetRootMdl()->GetCollisionTrsf(), step) && Near(robot->GetRootMdl()->LocalTransformation(), gp_Trsf()));
  robot->ChangeLocation(step);
  EXPECT_TRUE(Near(robot->GetRootMdl()->LocalTransformation(), step) && Near(robot->GetLink(0)->GetWcs(), step) &&
              Near(tool->GetRootMdl()->Transformation(), robot->GetFlangeWCS(0)));
  // A flange on the base follows the root transform; carried by a link it follows the link.
  const gp_Trsf aside = Transforms::Translation(0, 300, 0);
  robot->AddFlange(0, aside);
  EXPECT_TRUE(Near(robot->GetFlangeWCS(1), step * aside));
  robot->SetFlangeLink(robot->GetLink(1), 1);
  EXPECT_TRUE(Near(robot->GetFlangeWCS(1), robot->GetLink(1)->GetWcs() * aside));
}

TEST(GenericEntity, RemovingAMiddleLinkRenumbersAndRehooksItsChildren)
{
  const std::vector<JointDefinition> chain = Mechanisms::SixAxisRobot();
  RecordingMechanism robot("robot", chain);
  robot.AddFlange(robot.GetLink(3)->GetLinkHashIndex(), RobotZero(3));
  // Held here so that the pointers below stay comparable after the mechanism lets it go.
  const std::shared_ptr<LinkRod> elbow = robot.GetLinkRods()[3];
  const gp_Ax1 forearmAxis = robot.GetLink(4)->GetAx1();
  robot.ChangeCurrentValue() = std::vector<double>(7, 0.5);
  robot.RemoveLinkRod(elbow.get());
  ASSERT_EQ(robot.GetLinkSize(), 6u);
  EXPECT_EQ(robot.GetCurrentValue(0), std::vector<double>(6, 0.0)) << "every joint value is forgotten";
  EXPECT_EQ(robot.lastPosition, 5) << "the subclass renumbers after the base class";
  for (size_t i = 0; i < robot.GetLinkSize(); ++i)
    EXPECT_EQ(robot.GetLinkIndexOrder(robot.GetLink(i)->GetLinkHashIndex()), i);
  LinkRod *lowerArm = robot.GetLink(2), *forearm = robot.GetLink(3);
  EXPECT_TRUE(forearm->GetParentLinkRod() == lowerArm && lowerArm->GetSubLink(0) == forearm);
  EXPECT_TRUE(robot.GetFlangeByIndex(0)->GetLinkRod() == lowerArm && robot.GetFlangeByIndex(0)->GetLinkRodIndex() == lowerArm->GetLinkHashIndex());
  // The child's frame now hangs on the lower arm: deriving its axis again gives the same one.
  robot.Link(3)->AxisRangeValueToDegree(), robot.Link(3)->UpdateToAx1();
  EXPECT_TRUE(forearm->GetAx1().IsCoaxial(forearmAxis, 1e-12, 1e-9));
  // The rest moves as the chain with the elbow held at zero.
  std::mt19937 random(7);
  std::vector<double> pose = RandomPose(chain, random);
  pose[3] = 0.0;
  const std::vector<gp_Trsf> expected = Mechanisms::LinkFrames(chain, pose);
  pose.erase(pose.begin() + 3);
  ASSERT_TRUE(robot.ForwardTrsf(pose, false, true));
  for (size_t i = 0; i < 6; ++i)
    EXPECT_TRUE(Near(robot.GetCurJointTrsf(i) * RobotZero(i < 3 ? i : i + 1), expected[i < 3 ? i : i + 1])) << i;
  EXPECT_TRUE(robot.Reset() && Near(robot.GetLink(5)->GetWcs(), gp_Trsf()));

  // A root link's children become root links.
  auto positioner = Mechanisms::BuildPositioner();
  const gp_Ax1 tiltAxis = positioner->GetLink(1)->GetAx1();
  positioner->RemoveLinkRod(positioner->GetLink(0));
  EXPECT_TRUE(positioner->GetRootLink(0) == positioner->GetLink(0) && positioner->GetLink(0)->IsBase());
  positioner->Link(0)->AxisRangeValueToDegree(), positioner->Link(0)->UpdateToAx1();
  EXPECT_TRUE(positioner->GetLink(0)->GetAx1().IsCoaxial(tiltAxis, 1e-12, 1e-9));
  EXPECT_THROW(positioner->RemoveLinkRod(elbow.get()), WorkpieceError);
}

TEST(GenericEntity, LimitsNonFiniteValuesTransformsAndLookupsOutOfRangeAreRefused)
{
  auto robot = Mechanisms::BuildRobot();
  auto tool = Mechanisms::BuildTool();
  robot->SetChildEntity(0, tool.get());
  const std::vector<double> pose{0.0, 0.1, 0.2, -0.3, 0.4, 0.5, 0.6};
  ASSERT_TRUE(robot->ForwardTrsf(pose, false, true));
  const gp_Trsf root = robot->GetRootMdlTrsf(), end = robot->GetLink(6)->GetWcs(), toolPlace = tool->GetRootMdlTrsf();
  const gp_Trsf flange = robot->GetFlangeByIndex(0)->GetTrsf();
  const auto unchanged = [&](const std::string& what) {
    EXPECT_EQ(robot->GetCurrentValue(0), pose) << what;
    for (size_t i = 0; i < pose.size(); ++i)
      EXPECT_EQ(robot->GetLink(i)->CurrentJointValue(), pose[i]) << what << " link " << i;
    EXPECT_TRUE(gpHandle::IsSameTrsf(robot->GetLink(6)->GetWcs(), end, 0.0) && gpHandle::IsSameTrsf(tool->GetRootMdlTrsf(), toolPlace, 0.0) &&
                gpHandle::IsSameTrsf(robot->GetRootMdlTrsf(), root, 0.0) &&
                gpHandle::IsSameTrsf(robot->GetFlangeByIndex(0)->GetTrsf(), flange, 0.0)) << what;
  };
  // The lower arm's upper limit, 150°: refused on it and beside it, nothing moves; taken 2e-6 inside, or unchecked.
  const double upper = 150 * Deg;
  for (const auto& [value, check, accepted] : std::vector<std::tuple<double, bool, bool>>{
         {upper, true, false}, {upper + 1e-7, true, false}, {upper - 2e-6, true, true}, {upper, false, true}})
  {
    std::vector<double> wanted = pose;
    wanted[2] = value;
    EXPECT_EQ(robot->ForwardTrsf(wanted, false, check), accepted) << value;
    EXPECT_EQ(gpHandle::IsSameTrsf(robot->GetLink(6)->GetWcs(), end, 0.0) && gpHandle::IsSameTrsf(tool->GetRootMdlTrsf(), toolPlace, 0.0), !accepted);
    robot->ForwardTrsf(pose, false, true);
  }
  EXPECT_FALSE(robot->IsInLimit(std::vector<double>(6, 0.0), 0, 0.0)) << "one value short";
  // Forward(index) names the link after the base: index 1 is the lower arm; the last index names none.
  EXPECT_FALSE(robot->Forward(1, upper, true) || robot->Forward(-1, 0.0, false) || robot->Forward(robot->EntityDof() - 1, 0.0, false));
  unchanged("Forward(index)");
  // Ranges narrowed by the tolerance; a tolerance of half the base slide's 2 mm still leaves a point.
  EXPECT_NEAR(robot->GetLimit(0, 0.01)[2].second, upper - 0.01, 1.0e-12);
  EXPECT_NO_THROW(robot->GetLimit(0, 1.0));
  for (const double bad : {std::nan(""), HUGE_VAL, -HUGE_VAL})
    for (const size_t at : {size_t(1), size_t(6)})
    {
      const std::string what = std::to_string(bad) + " at " + std::to_string(at);
      std::vector<double> values = pose;
      values[at] = bad;
      EXPECT_FALSE(robot->Forward(values)) << what;
      unchanged(what + " Forward");
      for (const bool check : {true, false})
        EXPECT_FALSE(robot->ForwardTrsf(values, false, check)) << what << check;
      unchanged(what + " ForwardTrsf");
      EXPECT_FALSE(robot->Forward(static_cast<int>(at) - 1, bad, false)) << what;
      EXPECT_FALSE(robot->GetLink(at)->Forward(bad)) << what;
      unchanged(what + " Forward one");
      robot->ChangeCurrentValue()[at] = bad;
      EXPECT_FALSE(robot->ForwardTrsf(0, false, false)) << what << " written in place";
      robot->ChangeCurrentValue() = pose;
      EXPECT_EQ(ErrorText([&] { robot->SetCurrentValue(values, 0); }), "_numberGenericEntity::SetCurrentValue关节值含非有限数值");
      unchanged(what + " SetCurrentValue");
    }
  // Transforms, axes and limits that enter the mechanism, each refused with a logged error.
  gp_Trsf nanTurn, infShift;
  nanTurn.SetRotation(gp::OZ(), std::nan(""));
  infShift.SetTranslation(gp_Vec(0, HUGE_VAL, 0));
  LinkRod& link = *robot->GetLink(3);
  const AxisRange limit = link.GetLimit();
  const gp_Ax1 axis = link.GetAx1();
  const gp_Trsf center = link.GetCenterTrsf();
  const size_t flanges = robot->GetFlange().size();
  const std::string trsf = "变换含非有限数值";
  for (const gp_Trsf& bad : {nanTurn, infShift})
    for (const auto& [call, function, message] : std::vector<std::tuple<std::function<void()>, std::string, std::string>>{
           {[&] { robot->SetRootMdlTrsf(bad); }, "GenericEntity::UpdateRootTrsf", trsf},
           {[&] { robot->TransformedBy(bad); }, "GenericEntity::UpdateRootTrsf", trsf},
           {[&] { robot->ChangeLocation(bad); }, "GenericEntity::UpdateRootTrsf", trsf},
           {[&] { robot->AddFlange(link.GetLinkHashIndex(), bad); }, "Flange::Flange", trsf},
           {[&] { robot->GetFlangeByIndex(0)->SetTrsf(bad); }, "Flange::SetTrsf", trsf},
           {[&] { robot->GetFlangeByIndex(0)->ChangeTrsf(bad); }, "Flange::ChangeTrsf", trsf},
           {[&] { link.SetCenterTrsf(bad); }, "LinkRod::SetCenterTrsf", trsf},
           {[&] { link.SetPositionWcs(bad); }, "LinkRod::SetPositionWcs", trsf},
           {[&] { link.SetAx1(gp_Ax1(gp_Pnt(bad.TranslationPart()), gp::DZ())); }, "LinkRod::SetAx1", "关节轴含非有限数值"},
           {[&] { link.SetLimit(AxisRange{bad.Value(1, 1) + bad.Value(2, 4), 1.0}); }, "LinkRod::SetLimit", "限位含非有限数值"}})
    {
      if (function == "LinkRod::SetAx1" && &bad == &nanTurn)
        continue; // the rotation's NaN is in its matrix, not in its translation
      LogCapture log;
      EXPECT_EQ(ErrorText(call), "_number" + function + message);
      EXPECT_TRUE(log.Contains(5, message, function)) << function;
      unchanged(function);
      EXPECT_TRUE(link.GetLimit().lower == limit.lower && link.GetAx1().Location().Distance(axis.Location()) == 0.0 &&
                  gpHandle::IsSameTrsf(link.GetCenterTrsf(), center, 0.0) && robot->GetFlange().size() == flanges) << function;
    }
  EXPECT_TRUE(robot->ForwardTrsf(pose, false, true)) << "a refused value leaves the mechanism able to move";

  // Lookups out of range log and throw.
  const std::string key = "map传入key错误，数据不在范围内", index = "vector传入index错误，数据不在范围内";
  for (const auto& [call, function, message] : std::vector<std::tuple<std::function<void()>, std::string, std::string>>{
         {[&] { robot->GetLinkIndexOrder(12345); }, "GenericEntity::GetLinkIndexOrder", key},
         {[&] { robot->GetRootLink(1); }, "GenericEntity::GetRootLink", index}, {[&] { robot->GetRootLink(-1); }, "GenericEntity::GetRootLink", index},
         {[&] { robot->GetFlangeByIndex(1); }, "GenericEntity::GetFlangeByIndex", index},
         {[&] { robot->SetFlangeLink(nullptr, 3); }, "GenericEntity::SetFlangeLink", "安装位置索引超过上下限"},
         {[&] { robot->GetLimit(0, 1.0 + 1e-9); }, "GenericEntity::GetLimit", "限位错误"},
         {[&] { robot->DeleteSystem(9); }, "GenericEntity::DeleteSystem", key},
         {[&] { robot->RootLinkHashes().push_back(777), robot->GetRootLink(1); }, "GenericEntity::GetRootLink", key}})
  {
    LogCapture log;
    EXPECT_EQ(ErrorText(call), function + message);
    EXPECT_TRUE(log.Contains(5, message, function)) << function;
  }
  EXPECT_THROW(robot->SetChildEntity(5, nullptr), std::out_of_range);
  EXPECT_TRUE(gpHandle::IsSameTrsf(robot->GetFlangeWCS(-1), gp_Trsf(), 0.0) && gpHandle::IsSameTrsf(robot->GetFlangeWCS(1), gp_Trsf(), 0.0));
}
