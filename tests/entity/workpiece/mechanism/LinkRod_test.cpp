#include "support/FixtureLinkRod.h"
#include "support/FixtureMechanism.h"
#include "support/LogCapture.h"
#include "support/Mechanisms.h"
#include "support/Transforms.h"

#include <cadtools/CADParamConfig.h>
#include <cadtools/gpHandle.h>

#include <gtest/gtest.h>

#include <cmath>

namespace
{
constexpr double Tol = 1.0e-9;
}

TEST(LinkRod, ForwardMovesByTheValueBeyondTheResetState)
{
  LinkRod plain;
  plain.SetPositionWcs(Transforms::Translation(1, 2, 3));
  EXPECT_TRUE(!plain.Forward(0.25) && plain.CurrentJointValue() == 0.25) << "an underived link keeps still";
  EXPECT_TRUE(gpHandle::IsSameTrsf(plain.GetWcs(), Transforms::Translation(1, 2, 3), 0.0));
  // A rotary base link standing at 0.1 rad in its modelled pose, about an axis through (0, 50, 0).
  FixtureMechanism entity("reset", {});
  const gp_Trsf placed = Transforms::Translation(10, 20, 30) * Transforms::Rotation(gp::DX(), 45);
  entity.UpdateRootTrsf(placed, false);
  FixtureLinkRod base(JointType::RotaryZ, AxisRange{-180, 180}, 0.1, gp_Ax1());
  base.SetRootEntity(&entity), base.SetCenterTrsf(Transforms::Translation(0, 50, 0)), base.UpdateToAx1();
  ASSERT_TRUE(base.Reset() && gpHandle::IsSameTrsf(base.GetWcs(), placed, Tol) && base.Forward(0.1 + M_PI / 2));
  // A quarter turn about Z through (0, 50, 0) takes the origin to (50, 50, 0).
  EXPECT_TRUE(gp::Origin().Transformed(base.GetWcs()).IsEqual(gp_Pnt(50, 50, 0).Transformed(placed), 1e-9));
}

TEST(LinkRod, AxisDerivedInEntityFrameWithDegreesConvertedOnEveryCall)
{
  FixtureMechanism entity("links", {});
  const gp_Trsf placed = Transforms::Translation(100, -50, 20) * Transforms::Rotation(gp::DZ(), 30);
  entity.UpdateRootTrsf(placed, false);
  FixtureLinkRod base(JointType::LinearZ, AxisRange{-10, 10}, 0.0, gp_Ax1()), arm(JointType::RotaryX, AxisRange{-90, 45}, 0.0, gp_Ax1());
  base.SetCenterTrsf(Transforms::Translation(0, 0, 200));
  arm.SetCenterTrsf(Transforms::Translation(0, 30, 400) * Transforms::Rotation(gp::DY(), 90));
  base.SetRootEntity(&entity), arm.SetRootEntity(&entity), base.AddChildLink(&arm);
  base.UpdateToAx1(), arm.UpdateToAx1();
  // The axis is in the entity's own frame, whatever the placement, and the placement is kept.
  EXPECT_TRUE(arm.GetAx1().Location().IsEqual(gp_Pnt(0, 30, 600), Tol) && arm.GetDirection().IsEqual(-gp::DZ(), Tol) &&
              gpHandle::IsSameTrsf(entity.GetRootMdlTrsf(), placed, 0.0));
  EXPECT_TRUE(arm.GetJointType() == JointType::Rotary && base.GetJointType() == JointType::Linear);
  EXPECT_NEAR(arm.GetLimit().lower, -M_PI / 2, Tol);

  // A second derivation converts again, unless the link went back to degrees first.
  arm.UpdateToAx1();
  EXPECT_NEAR(arm.GetLimit().upper, M_PI / 4 / 180.0 * M_PI, Tol);
  arm.AxisRangeValueToDegree(), arm.AxisRangeValueToDegree(), arm.UpdateToAx1();
  EXPECT_NEAR(arm.GetLimit().upper, M_PI / 4, Tol);
  base.AxisRangeValueToDegree();
  EXPECT_DOUBLE_EQ(base.GetLimit().upper, 10.0) << "a linear joint keeps its millimetres";
}

TEST(LinkRod, LimitChecksOnAndBesideTheBoundary)
{
  const LinkRod slide(JointType::Linear, AxisRange{0, 100}, 0.0, gp_Ax1());
  for (const auto& [value, tolerance, inside] : std::vector<std::tuple<double, double, bool>>{
         {100, 0, true}, {0, 0, true}, {100, 0.5, false}, {99.5, 0.5, true}, {-1e-9, 0, false}})
    EXPECT_EQ(slide.IsInLimit(value, tolerance), inside) << value << " " << tolerance;
  for (const auto& [value, snapped] : std::vector<std::pair<double, double>>{
         {5e-7, 0}, {100 - 5e-7, 100}, {-3, 0}, {2e-6, 2e-6}, {50, 50}})
    EXPECT_DOUBLE_EQ(slide.GetLimitValue(value), snapped) << value;

  // Linear tolerance 0.5 for the slide, rotary 0.01 for a turn; other configured types are refused.
  CADParamConfig& config = CADParamConfig::GetInstance();
  const double rotary = config.RotaryJointTolerance(), linear = config.LinearJointTolerance();
  config.SetLinearJointTolerance(0.5), config.SetRotaryJointTolerance(0.01);
  const LinkRod turn(JointType::Rotary, AxisRange{-1, 1}, 0.0, gp_Ax1());
  const LinkRod configured(JointType::RotaryX, AxisRange{-1, 1}, 0.0, gp_Ax1());
  for (const auto& [link, value, expected] : std::vector<std::tuple<const LinkRod*, double, std::tuple<bool, double>>>{
         {&slide, 100.4, {true, 100}}, {&slide, -0.5, {true, 0}}, {&slide, 100.6, {false, 100.6}},
         {&turn, 1.005, {true, 1}}, {&turn, 1.1, {false, 1.1}}, {&configured, 0.5, {false, 0.5}},
         {&configured, 5, {false, 5}}})
    EXPECT_EQ(link->CheckAndAjustValueByLimit(value), expected) << value;
  config.SetRotaryJointTolerance(rotary), config.SetLinearJointTolerance(linear);
}

TEST(LinkRod, JsonWritesDegreesAndReadsBackRadians)
{
  FixtureMechanism entity("json", {});
  FixtureLinkRod* base = entity.AddLink(Mechanisms::TwoAxisPositioner()[0], nullptr, gp_Trsf());
  JointDefinition joint = Mechanisms::TwoAxisPositioner()[1];
  joint.turnY = 30, joint.lower = -90, joint.upper = 90;
  FixtureLinkRod* tilt = entity.AddLink(joint, base, joint.Center());
  ASSERT_TRUE(tilt->Forward(M_PI / 6));

  const Json::Value json = tilt->ToJson();
  EXPECT_TRUE(std::abs(json["axis_max"].asDouble() - 90.0) < Tol && std::abs(json["joint_value"].asDouble() - 30.0) < Tol &&
              json["parent_link_hash"].asUInt64() == base->GetLinkHashIndex() &&
              json["axis_models"][0].asString() == tilt->GetSubMdls()[0]->GetId().ToString()) << json.toStyledString();
  FixtureLinkRod loaded;
  loaded.SetRootEntity(&entity);
  base->AddChildLink(&loaded);
  loaded.LoadFromJson(json);
  EXPECT_TRUE(std::abs(loaded.GetLimit().upper - M_PI / 2) < Tol && std::abs(loaded.CurrentJointValue() - M_PI / 6) < Tol &&
              loaded.GetAx1().IsCoaxial(tilt->GetAx1(), 1.0e-12, 1.0e-9));
  Json::Value corrupt = json;
  corrupt["link_hash"] = "7", corrupt["name"] = 3, corrupt["axis_max"] = Json::Value(Json::objectValue);
  loaded.LoadFromJson(corrupt);
  EXPECT_TRUE(loaded.GetLinkHashIndex() == 0 && loaded.GetName().empty() && std::abs(loaded.GetLimit().upper - M_PI / 180) < Tol)
    << "members of another type read as their defaults";
  // Children are listed once per hash, though each takes the parent; those carrying nothing are not written.
  FixtureLinkRod twin;
  twin.UpdateLinkModelsAndInitTrsfByHash(tilt->GetLinkHashIndex(), {});
  base->AddChildLink(&twin);
  EXPECT_TRUE(base->SubLinkSize() == 2 && twin.GetParentLinkRod() == base && base->GetSubLink(2) == nullptr);
  const Json::Value written = base->ToJson()["sub_links"];
  EXPECT_TRUE(written.size() == 1 && written[0].asUInt64() == tilt->GetLinkHashIndex());

  // A linear link keeps its millimetres; a hole in the part list is skipped with a warning.
  LogCapture log;
  base->UpdateLinkModels({opencascade::handle<ShapeEntity>()});
  EXPECT_TRUE(base->ToJson()["axis_max"].asDouble() == 1.0 && !base->ToJson().isMember("axis_models"));
  EXPECT_TRUE(log.Contains(3, "不应该有空的节点出现", "LinkRod::ToJson"));
}
