#include "support/FixtureMechanism.h"
#include "support/Mechanisms.h"
#include "support/Transforms.h"

#include <cadtools/DataHandle.h>
#include <cadtools/gpHandle.h>

#include <gtest/gtest.h>

namespace
{
constexpr double Tol = 1.0e-9;

} // namespace

TEST(Flange, JsonFormOfFreeAndMountedFlanges)
{
  const Json::Value plain = Flange().ToJson();
  EXPECT_EQ(plain["link_rod_index"].asUInt64(), 0u);
  EXPECT_EQ(plain["child_entity"].asString(), "");
  ASSERT_EQ(plain["flange_ocs"].size(), 6u);
  for (const Json::Value& number : plain["flange_ocs"])
    EXPECT_DOUBLE_EQ(number.asDouble(), 0.0);

  auto robot = Mechanisms::BuildRobot();
  auto tool = Mechanisms::BuildTool();
  robot->SetChildEntity(0, tool.get());
  const Flange& seat = *robot->GetFlangeByIndex(0);
  const Json::Value mounted = seat.ToJson();
  EXPECT_EQ(mounted["link_rod_index"].asUInt64(), robot->GetLink(6)->GetLinkHashIndex());
  EXPECT_EQ(mounted["child_entity"].asString(), tool->GetRootMdlID().ToString());

  // Reading takes the hash, frame and id, but resolves and installs nothing.
  Flange read;
  read.LoadFromJson(mounted);
  EXPECT_EQ(read.GetLinkRodIndex(), seat.GetLinkRodIndex());
  EXPECT_EQ(read.GetLinkRod(), nullptr);
  EXPECT_EQ(read.GetEntity(), nullptr);
  EXPECT_EQ(read.GetChildEntityId(), tool->GetRootMdlID());
  EXPECT_TRUE(gpHandle::IsSameTrsf(read.GetTrsf(), seat.GetTrsf(), 1.0e-9));
  EXPECT_EQ(read.ToJson()["child_entity"].asString(), "") << "written from the installed entity, not the stored id";
}

TEST(Flange, ChangeTrsfMovesTheMountedEntity)
{
  auto robot = Mechanisms::BuildRobot();
  auto tool = Mechanisms::BuildTool();
  robot->SetChildEntity(0, tool.get());
  ASSERT_TRUE(robot->ForwardTrsf({0.0, 0.2, -0.3, 0.4, 0.5, -0.6, 0.7}, false, true));
  Flange& seat = *robot->GetFlangeByIndex(0);
  const gp_Trsf moved = seat.GetTrsf() * Transforms::Translation(0, 0, 35);
  seat.ChangeTrsf(moved);
  EXPECT_TRUE(gpHandle::IsSameTrsf(tool->GetRootMdlTrsf(), robot->GetLink(6)->GetWcs() * moved, Tol));
  EXPECT_TRUE(gpHandle::IsSameTrsf(tool->GetRootMdlTrsf(), robot->GetFlangeWCS(0), Tol));
  EXPECT_TRUE(gpHandle::IsSameTrsf(tool->GetRootMdl()->Transformation(), robot->GetFlangeWCS(0), Tol));

  // Setting the frame directly leaves the entity where it is.
  const gp_Trsf before = tool->GetRootMdlTrsf();
  seat.SetTrsf(gp_Trsf());
  EXPECT_TRUE(gpHandle::IsSameTrsf(tool->GetRootMdlTrsf(), before, 0.0));
}

TEST(Flange, InstallingAndFreeing)
{
  auto positioner = Mechanisms::BuildPositioner();
  auto part = Mechanisms::BuildPart();
  auto other = Mechanisms::BuildPart();
  positioner->AddFlange(0, Transforms::Translation(0, 500, 0));
  positioner->SetChildEntity(1, part.get());
  EXPECT_EQ(part->GetParentEntity(), positioner.get());
  EXPECT_EQ(part->GetParentFlangeIndex(), 1);

  // A flange outside the parent's list gives the index -1.
  Flange loose;
  loose.SetInstalledEntity(other.get(), positioner.get());
  EXPECT_EQ(other->GetParentEntity(), positioner.get());
  EXPECT_EQ(other->GetParentFlangeIndex(), -1);
  loose.SetInstalledEntity(nullptr, positioner.get());
  EXPECT_EQ(other->GetParentEntity(), nullptr);
  EXPECT_EQ(loose.GetEntity(), nullptr);
  // Freeing a free flange touches nobody.
  loose.SetInstalledEntity(nullptr, positioner.get());
  positioner->GetFlangeByIndex(0)->SetInstalledEntity(nullptr, positioner.get());
  EXPECT_EQ(part->GetParentEntity(), positioner.get());

  // A mounted entity that goes first leaves its flange free.
  auto brief = Mechanisms::BuildPart();
  positioner->SetChildEntity(0, brief.get());
  brief.reset();
  EXPECT_EQ(positioner->GetFlangeByIndex(0)->GetEntity(), nullptr);
  EXPECT_TRUE(positioner->ForwardTrsf({0.0, 0.5, 0.5}, false, true));
}

TEST(Flange, DestroyingAFlangeFreesItsEntityWithoutMovingIt)
{
  auto robot = Mechanisms::BuildRobot();
  auto tool = Mechanisms::BuildTool();
  {
    auto seat = std::make_shared<Flange>(robot->GetLink(6)->GetLinkHashIndex(), robot->GetLink(6), Transforms::Translation(0, 0, 20));
    robot->AddFlange(seat);
    robot->SetChildEntity(1, tool.get());
    ASSERT_TRUE(robot->ForwardTrsf({0.0, 0.2, 0.2, 0.2, 0.2, 0.2, 0.2}, false, true));
    EXPECT_EQ(tool->GetParentFlangeIndex(), 1);
  }
  const gp_Trsf placed = tool->GetRootMdlTrsf();
  robot.reset();
  EXPECT_EQ(tool->GetParentEntity(), nullptr);
  EXPECT_EQ(tool->GetParentFlangeIndex(), -1);
  EXPECT_TRUE(gpHandle::IsSameTrsf(tool->GetRootMdlTrsf(), placed, 0.0));
  EXPECT_FALSE(gpHandle::IsSameTrsf(placed, gp_Trsf(), Tol));
}
