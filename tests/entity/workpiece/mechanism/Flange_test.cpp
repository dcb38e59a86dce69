#include "support/Mechanisms.h"
#include "support/Transforms.h"

#include <cadtools/gpHandle.h>

#include <gtest/gtest.h>

#include <type_traits>

// Installed entities, links and flanges point at each other: a copy would hold pointers it does not
// own, and its destructor would free the original's installed entity.
static_assert(!std::is_copy_constructible_v<Flange> && !std::is_copy_assignable_v<Flange>);
static_assert(!std::is_copy_constructible_v<LinkRod> && !std::is_copy_assignable_v<LinkRod>);
static_assert(!std::is_copy_constructible_v<GenericEntity> && !std::is_copy_assignable_v<GenericEntity>);

TEST(Flange, JsonFormAndMovingTheMountedEntity)
{
  auto robot = Mechanisms::BuildRobot();
  auto tool = Mechanisms::BuildTool();
  robot->SetChildEntity(0, tool.get());
  Flange& seat = *robot->GetFlangeByIndex(0);
  // Reading takes the hash, frame and id, but resolves and installs nothing.
  Flange read;
  read.LoadFromJson(seat.ToJson());
  EXPECT_TRUE(read.GetLinkRodIndex() == robot->GetLink(6)->GetLinkHashIndex() && read.GetLinkRod() == nullptr &&
              read.GetChildEntityId() == tool->GetRootMdlID() && gpHandle::IsSameTrsf(read.GetTrsf(), seat.GetTrsf(), 1e-9));
  EXPECT_EQ(read.ToJson()["child_entity"].asString(), "") << "written from the installed entity, not the stored id";
  Json::Value corrupt(Json::objectValue);
  corrupt["link_rod_index"] = -3, corrupt["child_entity"] = Json::Value(Json::arrayValue);
  read.LoadFromJson(corrupt);
  EXPECT_TRUE(read.GetLinkRodIndex() == 0 && read.GetChildEntityId().IsNil()) << "members of another type read as defaults";

  ASSERT_TRUE(robot->ForwardTrsf({0.0, 0.2, -0.3, 0.4, 0.5, -0.6, 0.7}, false, true));
  const gp_Trsf moved = seat.GetTrsf() * Transforms::Translation(0, 0, 35);
  seat.ChangeTrsf(moved);
  EXPECT_TRUE(gpHandle::IsSameTrsf(tool->GetRootMdl()->Transformation(), robot->GetLink(6)->GetWcs() * moved, 1e-9));
}

TEST(Flange, InstallingAndFreeing)
{
  auto positioner = Mechanisms::BuildPositioner();
  auto part = Mechanisms::BuildTool();
  auto other = Mechanisms::BuildTool();
  positioner->AddFlange(0, Transforms::Translation(0, 500, 0));
  positioner->SetChildEntity(1, part.get());
  EXPECT_EQ(part->GetParentFlangeIndex(), 1);
  // A flange outside the parent's list gives the index -1; freeing a free flange touches nobody.
  Flange loose;
  loose.SetInstalledEntity(other.get(), positioner.get());
  EXPECT_EQ(other->GetParentFlangeIndex(), -1);
  loose.SetInstalledEntity(nullptr, positioner.get()), loose.SetInstalledEntity(nullptr, positioner.get());
  positioner->GetFlangeByIndex(0)->SetInstalledEntity(nullptr, positioner.get());
  EXPECT_TRUE(other->GetParentEntity() == nullptr && part->GetParentEntity() == positioner.get());
  // A mounted entity that goes first leaves its flange free.
  positioner->SetChildEntity(0, other.get());
  other.reset();
  EXPECT_EQ(positioner->GetFlangeByIndex(0)->GetEntity(), nullptr);
  // A mechanism that goes first frees what is mounted on it, leaving it where it was.
  ASSERT_TRUE(positioner->ForwardTrsf({0.0, 0.2, 0.2}, false, true));
  positioner.reset();
  EXPECT_TRUE(part->GetParentEntity() == nullptr && part->GetParentFlangeIndex() == -1 &&
              gpHandle::IsSameTrsf(part->GetRootMdlTrsf(), Transforms::Translation(0, 500, 0), 1e-9));
}
