#include "support/FixtureLinkRod.h"
#include "support/FixtureMechanism.h"
#include "support/LogCapture.h"
#include "support/Mechanisms.h"
#include "support/Solids.h"
#include "support/Transforms.h"

#include <cadtools/CADParamConfig.h>
#include <cadtools/gpHandle.h>

#include <gtest/gtest.h>

#include <gp_Ax2.hxx>

#include <cmath>

namespace
{
constexpr double Tol = 1.0e-9;

// Restores the joint tolerances a test changes.
class ToleranceGuard
{
public:
  ToleranceGuard()
    : myRotary(CADParamConfig::GetInstance().RotaryJointTolerance()),
      myLinear(CADParamConfig::GetInstance().LinearJointTolerance())
  {
  }
  ~ToleranceGuard()
  {
    CADParamConfig::GetInstance().SetRotaryJointTolerance(myRotary);
    CADParamConfig::GetInstance().SetLinearJointTolerance(myLinear);
  }

private:
  double myRotary;
  double myLinear;
};
} // namespace

TEST(LinkRod, UnderivedLinkStoresValueButDoesNotMove)
{
  LinkRod plain;
  EXPECT_EQ(plain.GetJointType(), JointType::None);
  EXPECT_EQ(plain.GetConfigJointType(), JointType::None);
  EXPECT_TRUE(plain.GetDirection().IsEqual(gp::DZ(), Tol));
  EXPECT_DOUBLE_EQ(plain.GetLimit().lower, -1.0);
  EXPECT_DOUBLE_EQ(plain.GetLimit().upper, 1.0);
  const gp_Trsf before = Transforms::Translation(1, 2, 3);
  plain.SetPositionWcs(before);
  EXPECT_FALSE(plain.Forward(0.25));
  EXPECT_DOUBLE_EQ(plain.CurrentJointValue(), 0.25);
  EXPECT_TRUE(gpHandle::IsSameTrsf(plain.GetWcs(), before, 0.0));

  const LinkRod slide(AxisRange{-5, 5}, 2.0, gp::DX());
  EXPECT_EQ(slide.GetConfigJointType(), JointType::Linear);
  EXPECT_EQ(slide.GetJointType(), JointType::None);
  EXPECT_DOUBLE_EQ(slide.CurrentJointValue(), 0.0);
  EXPECT_DOUBLE_EQ(slide.GetResetState(), 2.0);

  const LinkRod configured(JointType::RotaryY, AxisRange{-30, 30}, 10.0, gp_Ax1(gp_Pnt(1, 0, 0), gp::DY()));
  EXPECT_EQ(configured.GetConfigJointType(), JointType::RotaryY);
  EXPECT_EQ(configured.GetJointType(), JointType::None);
  EXPECT_DOUBLE_EQ(configured.CurrentJointValue(), 10.0);

  EXPECT_THROW(LinkRod(AxisRange{}, 0.0, gp_Dir(0, 0, 0)), Standard_ConstructionError);
}

TEST(LinkRod, AxesTypesAndCenterColumns)
{
  EXPECT_TRUE(LinkRod::GetAxis(JointType::LinearX).IsEqual(gp::DX(), Tol));
  EXPECT_TRUE(LinkRod::GetAxis(JointType::RotaryY).IsEqual(gp::DY(), Tol));
  EXPECT_TRUE(LinkRod::GetAxis(JointType::RotaryZ).IsEqual(gp::DZ(), Tol));
  EXPECT_TRUE(LinkRod::GetAxis(JointType::None).IsEqual(gp::DX(), Tol));
  EXPECT_TRUE(LinkRod::GetAxis(JointType::Rotary).IsEqual(gp::DY(), Tol));
  EXPECT_TRUE(LinkRod::GetAxis(JointType::Linear).IsEqual(gp::DZ(), Tol));

  // A frame turned a quarter about Y: its X runs along -Z of the parent, its Z along +X.
  LinkRod turned(JointType::RotaryX, AxisRange{}, 0.0, gp_Ax1());
  turned.SetCenterTrsf(Transforms::Translation(5, 0, 0) * Transforms::Rotation(gp::DY(), 90));
  EXPECT_TRUE(turned.GetCenterAxis().IsEqual(-gp::DZ(), Tol));
  LinkRod turnedZ(JointType::LinearZ, AxisRange{}, 0.0, gp_Ax1());
  turnedZ.SetCenterTrsf(turned.GetCenterTrsf());
  EXPECT_TRUE(turnedZ.GetCenterAxis().IsEqual(gp::DX(), Tol));
}

TEST(LinkRod, AxisDerivedInEntityFrameWithDegreesConvertedOnEveryCall)
{
  FixtureMechanism entity("links", {});
  const gp_Trsf placed = Transforms::Translation(100, -50, 20) * Transforms::Rotation(gp::DZ(), 30);
  entity.UpdateRootTrsf(placed, false);

  FixtureLinkRod base(JointType::LinearZ, AxisRange{-10, 10}, 0.0, gp_Ax1());
  base.SetRootEntity(&entity);
  base.SetCenterTrsf(Transforms::Translation(0, 0, 200));
  FixtureLinkRod arm(JointType::RotaryX, AxisRange{-90, 45}, 0.0, gp_Ax1());
  arm.SetRootEntity(&entity);
  arm.SetCenterTrsf(Transforms::Translation(0, 30, 400) * Transforms::Rotation(gp::DY(), 90));
  base.AddChildLink(&arm);

  // Father of the arm: the root placement, then the base's center.
  EXPECT_TRUE(gpHandle::IsSameTrsf(arm.GetFatherTrsf(false), placed * Transforms::Translation(0, 0, 200), Tol));
  EXPECT_TRUE(gpHandle::IsSameTrsf(arm.GetFatherTrsf(true), Transforms::Translation(0, 0, 200), Tol));

  base.UpdateToAx1();
  arm.UpdateToAx1();
  // The axis is in the entity's own frame, whatever the placement, and the placement is kept.
  EXPECT_TRUE(arm.GetAx1().Location().IsEqual(gp_Pnt(0, 30, 600), Tol));
  EXPECT_TRUE(arm.GetDirection().IsEqual(-gp::DZ(), Tol));
  EXPECT_TRUE(gpHandle::IsSameTrsf(entity.GetRootMdlTrsf(), placed, 0.0));
  EXPECT_EQ(arm.GetJointType(), JointType::Rotary);
  EXPECT_EQ(base.GetJointType(), JointType::Linear);
  EXPECT_NEAR(arm.GetLimit().lower, -M_PI / 2, Tol);
  EXPECT_NEAR(arm.GetLimit().upper, M_PI / 4, Tol);
  EXPECT_DOUBLE_EQ(base.GetLimit().upper, 10.0);

  // A second derivation converts again, unless the link went back to degrees first.
  arm.UpdateToAx1();
  EXPECT_NEAR(arm.GetLimit().upper, M_PI / 4 / 180.0 * M_PI, Tol);
  arm.AxisRangeValueToDegree();
  arm.AxisRangeValueToDegree();
  arm.UpdateToAx1();
  EXPECT_NEAR(arm.GetLimit().upper, M_PI / 4, Tol);
  base.AxisRangeValueToDegree();
  EXPECT_DOUBLE_EQ(base.GetLimit().upper, 10.0);
}

TEST(LinkRod, ForwardComposesFatherAndMotion)
{
  FixtureMechanism entity("links", {});
  const gp_Trsf placed = Transforms::Translation(10, 20, 30) * Transforms::Rotation(gp::DX(), 45);
  entity.UpdateRootTrsf(placed, false);
  FixtureLinkRod base(JointType::LinearX, AxisRange{-100, 100}, 5.0, gp_Ax1());
  base.SetRootEntity(&entity);
  base.UpdateToAx1();
  ASSERT_TRUE(base.Reset());
  EXPECT_TRUE(gpHandle::IsSameTrsf(base.GetWcs(), placed, 0.0));
  ASSERT_TRUE(base.Forward(12.0));
  EXPECT_TRUE(gpHandle::IsSameTrsf(base.GetWcs(), placed * Transforms::Translation(7, 0, 0), Tol));

  FixtureLinkRod arm(JointType::RotaryZ, AxisRange{-180, 180}, 0.0, gp_Ax1());
  arm.SetRootEntity(&entity);
  arm.SetCenterTrsf(Transforms::Translation(0, 100, 0));
  base.AddChildLink(&arm);
  arm.UpdateToAx1();
  ASSERT_TRUE(arm.Forward(M_PI / 2));
  // A quarter turn about Z through (0, 100, 0) takes the origin to (100, 100, 0).
  const gp_Pnt moved = gp::Origin().Transformed(arm.GetWcs());
  EXPECT_TRUE(moved.IsEqual(gp_Pnt(107, 100, 0).Transformed(placed), 1.0e-7));
  EXPECT_TRUE(gpHandle::IsSameTrsf(arm.GetFlangeWCS(Transforms::Translation(0, 0, 5)), arm.GetWcs() * Transforms::Translation(0, 0, 5), Tol));

  // Moving the axis moves nothing else.
  const gp_Trsf before = arm.GetWcs();
  arm.TransformedBy(Transforms::Translation(0, 0, 50));
  EXPECT_TRUE(arm.GetAx1().Location().IsEqual(gp_Pnt(0, 100, 50), Tol));
  EXPECT_TRUE(gpHandle::IsSameTrsf(arm.GetWcs(), before, 0.0));
}

TEST(LinkRod, LimitChecksOnAndBesideTheBoundary)
{
  LinkRod slide(JointType::Linear, AxisRange{0, 100}, 0.0, gp_Ax1());
  EXPECT_TRUE(slide.IsInLimit(100, 0));
  EXPECT_TRUE(slide.IsInLimit(0, 0));
  EXPECT_FALSE(slide.IsInLimit(100, 0.5));
  EXPECT_TRUE(slide.IsInLimit(99.5, 0.5));
  EXPECT_FALSE(slide.IsInLimit(-1e-9, 0));
  EXPECT_DOUBLE_EQ(slide.GetLimitValue(5e-7), 0.0);
  EXPECT_DOUBLE_EQ(slide.GetLimitValue(100 - 5e-7), 100.0);
  EXPECT_DOUBLE_EQ(slide.GetLimitValue(-3), 0.0);
  EXPECT_DOUBLE_EQ(slide.GetLimitValue(2e-6), 2e-6);
  EXPECT_DOUBLE_EQ(slide.GetLimitValue(50), 50.0);

  ToleranceGuard guard;
  CADParamConfig::GetInstance().SetLinearJointTolerance(0.5);
  CADParamConfig::GetInstance().SetRotaryJointTolerance(0.01);
  auto [inside, clamped] = slide.CheckAndAjustValueByLimit(100.4);
  EXPECT_TRUE(inside);
  EXPECT_DOUBLE_EQ(clamped, 100.0);
  std::tie(inside, clamped) = slide.CheckAndAjustValueByLimit(-0.5);
  EXPECT_TRUE(inside);
  EXPECT_DOUBLE_EQ(clamped, 0.0);
  std::tie(inside, clamped) = slide.CheckAndAjustValueByLimit(100.6);
  EXPECT_FALSE(inside);
  EXPECT_DOUBLE_EQ(clamped, 100.6);

  // The rotary tolerance serves a rotary link, not the linear one.
  LinkRod turn(JointType::Rotary, AxisRange{-1, 1}, 0.0, gp_Ax1());
  std::tie(inside, clamped) = turn.CheckAndAjustValueByLimit(1.005);
  EXPECT_TRUE(inside);
  EXPECT_DOUBLE_EQ(clamped, 1.0);
  std::tie(inside, clamped) = turn.CheckAndAjustValueByLimit(1.1);
  EXPECT_FALSE(inside);

  // Only links configured Rotary or Linear are examined.
  LinkRod configured(JointType::RotaryX, AxisRange{-1, 1}, 0.0, gp_Ax1());
  for (const double value : {0.0, 0.5, 5.0})
  {
    std::tie(inside, clamped) = configured.CheckAndAjustValueByLimit(value);
    EXPECT_FALSE(inside);
    EXPECT_DOUBLE_EQ(clamped, value);
  }
}

TEST(LinkRod, ChildrenAreListedOncePerHash)
{
  FixtureMechanism entity("tree", {});
  const auto chain = Mechanisms::TwoAxisPositioner();
  FixtureLinkRod* base = entity.AddLink(chain[0], nullptr, gp_Trsf());
  FixtureLinkRod* tilt = entity.AddLink(chain[1], base, gp_Trsf());
  EXPECT_TRUE(base->IsBase());
  EXPECT_FALSE(tilt->IsBase());
  EXPECT_EQ(base->SubLinkSize(), 1);

  FixtureLinkRod twin = *tilt;
  twin.SetParentLink(nullptr);
  base->AddChildLink(&twin);
  EXPECT_EQ(base->SubLinkSize(), 1);
  EXPECT_EQ(twin.GetParentLinkRod(), base);
  EXPECT_EQ(base->GetSubLink(0), tilt);
  EXPECT_EQ(base->GetSubLink(-1), nullptr);
  EXPECT_EQ(base->GetSubLink(1), nullptr);

  // A link is valid while it carries a part or a child.
  LinkRod bare;
  EXPECT_FALSE(bare.IsValid());
  EXPECT_TRUE(base->IsValid());
  base->UpdateLinkModels({});
  EXPECT_TRUE(base->IsValid());
  base->RemoveSubLink(0);
  EXPECT_EQ(base->SubLinkSize(), 0);
  EXPECT_FALSE(base->IsValid());
}

TEST(LinkRod, JsonWritesDegreesAndReadsBackRadians)
{
  FixtureMechanism entity("json", {});
  FixtureLinkRod* base = entity.AddLink(Mechanisms::TwoAxisPositioner()[0], nullptr, gp_Trsf());
  JointDefinition joint;
  joint.type = JointType::RotaryX;
  joint.offset = gp_Vec(0, 0, 700);
  joint.turnY = 30;
  joint.lower = -90;
  joint.upper = 90;
  joint.body = Solids::Box(10, 10, 10);
  FixtureLinkRod* tilt = entity.AddLink(joint, base, joint.Center());
  ASSERT_TRUE(tilt->Forward(M_PI / 6));
  EXPECT_NEAR(tilt->GetLimit().lower, -M_PI / 2, Tol);

  const Json::Value json = tilt->ToJson();
  EXPECT_NEAR(json["axis_min"].asDouble(), -90.0, Tol);
  EXPECT_NEAR(json["axis_max"].asDouble(), 90.0, Tol);
  EXPECT_NEAR(json["joint_value"].asDouble(), 30.0, Tol);
  EXPECT_EQ(json["joint_type"].asUInt(), 3u);
  EXPECT_EQ(json["link_hash"].asUInt64(), tilt->GetLinkHashIndex());
  EXPECT_EQ(json["parent_link_hash"].asUInt64(), base->GetLinkHashIndex());
  ASSERT_EQ(json["axis_models"].size(), 1u);
  EXPECT_EQ(json["axis_models"][0].asString(), tilt->GetSubMdls()[0]->GetId().ToString());
  EXPECT_FALSE(json.isMember("sub_links"));
  EXPECT_EQ(base->ToJson()["sub_links"][0].asUInt64(), tilt->GetLinkHashIndex());
  EXPECT_EQ(base->ToJson()["parent_link_hash"].asUInt64(), 0u);

  FixtureLinkRod loaded;
  loaded.SetRootEntity(&entity);
  base->AddChildLink(&loaded);
  loaded.LoadFromJson(json);
  EXPECT_NEAR(loaded.GetLimit().lower, -M_PI / 2, Tol);
  EXPECT_NEAR(loaded.GetLimit().upper, M_PI / 2, Tol);
  EXPECT_NEAR(loaded.CurrentJointValue(), M_PI / 6, Tol);
  EXPECT_EQ(loaded.GetLinkHashIndex(), tilt->GetLinkHashIndex());
  EXPECT_EQ(loaded.GetConfigJointType(), JointType::RotaryX);
  EXPECT_TRUE(gpHandle::IsSameTrsf(loaded.GetCenterTrsf(), tilt->GetCenterTrsf(), 1.0e-9));
  EXPECT_TRUE(loaded.GetAx1().IsCoaxial(tilt->GetAx1(), 1.0e-12, 1.0e-9));

  // A linear link keeps its millimetres; a hole in the part list is skipped with a warning.
  LogCapture log;
  base->UpdateLinkModels({opencascade::handle<ShapeEntity>()});
  const Json::Value slide = base->ToJson();
  EXPECT_DOUBLE_EQ(slide["axis_max"].asDouble(), 1.0);
  EXPECT_FALSE(slide.isMember("axis_models"));
  EXPECT_TRUE(log.Contains(3, "不应该有空的节点出现", "LinkRod::ToJson"));
}

TEST(LinkRod, PartsFollowTheLinkAndKeepTheirInitialPlacement)
{
  auto positioner = Mechanisms::BuildPositioner();
  FixtureLinkRod* table = positioner->Link(2);
  const opencascade::handle<ShapeEntity> part = table->GetSubMdls().front();
  const gp_Trsf initial = part->GetInitTrsf();
  const gp_Trsf shown = part->LocalTransformation();
  ASSERT_TRUE(table->Forward(1.0));
  table->UpdateMdls(false);
  EXPECT_TRUE(gpHandle::IsSameTrsf(part->GetCollisionTrsf(), table->GetWcs() * initial, Tol));
  EXPECT_TRUE(gpHandle::IsSameTrsf(part->LocalTransformation(), shown, 0.0));
  table->UpdateMdls(true);
  EXPECT_TRUE(gpHandle::IsSameTrsf(part->Transformation(), table->GetWcs() * initial, Tol));
  EXPECT_TRUE(gpHandle::IsSameTrsf(part->GetInitTrsf(), initial, 0.0));
}

TEST(LinkRod, ForwardAgreesWithTheGeneralProductWhateverTheFather)
{
  // A rotary base, a slide and a turn; the root placement is rigid, then scaled, then mirrored.
  FixtureMechanism entity("general", {});
  FixtureLinkRod base(JointType::RotaryZ, AxisRange{-180, 180}, 0.0, gp_Ax1());
  FixtureLinkRod slide(JointType::LinearX, AxisRange{-500, 500}, 0.0, gp_Ax1());
  FixtureLinkRod turn(JointType::RotaryY, AxisRange{-180, 180}, 0.0, gp_Ax1());
  slide.SetCenterTrsf(Transforms::Translation(0, 40, 300) * Transforms::Rotation(gp_Dir(1, 1, 0), 25));
  turn.SetCenterTrsf(Transforms::Translation(120, 0, 80));
  base.AddChildLink(&slide);
  slide.AddChildLink(&turn);
  for (FixtureLinkRod* link : {&base, &slide, &turn})
  {
    link->SetRootEntity(&entity);
    link->UpdateToAx1();
  }
  gp_Trsf scaled = Transforms::Translation(5, 6, 7) * Transforms::Rotation(gp::DX(), 30);
  scaled.SetScaleFactor(2.0);
  gp_Trsf mirrored;
  mirrored.SetMirror(gp_Ax2(gp_Pnt(0, 0, 10), gp::DZ()));
  for (const gp_Trsf& root : {Transforms::Translation(5, 6, 7) * Transforms::Rotation(gp::DX(), 30), scaled, mirrored})
  {
    entity.UpdateRootTrsf(root, false);
    const double a = 0.4, d = -75.0, b = 1.3;
    ASSERT_TRUE(base.Forward(a));
    ASSERT_TRUE(slide.Forward(d));
    ASSERT_TRUE(turn.Forward(b));
    gp_Trsf expected = root;
    gp_Trsf motion;
    motion.SetRotation(base.GetAx1(), a);
    expected.Multiply(motion);
    EXPECT_TRUE(gpHandle::IsSameTrsf(base.GetWcs(), expected, Tol));
    motion.SetTranslation(gp_Vec(slide.GetDirection()) * d);
    expected.Multiply(motion);
    EXPECT_TRUE(gpHandle::IsSameTrsf(slide.GetWcs(), expected, Tol));
    motion.SetRotation(turn.GetAx1(), b);
    expected.Multiply(motion);
    EXPECT_TRUE(gpHandle::IsSameTrsf(turn.GetWcs(), expected, Tol));
    EXPECT_NEAR(turn.GetWcs().ScaleFactor(), root.ScaleFactor(), Tol);
  }
  // A placement set from outside is taken up by the children.
  slide.SetPositionWcs(Transforms::Translation(1, 2, 3) * Transforms::Rotation(gp::DZ(), 90));
  ASSERT_TRUE(turn.Forward(0.0));
  EXPECT_TRUE(gpHandle::IsSameTrsf(turn.GetWcs(), slide.GetWcs(), Tol));
}
