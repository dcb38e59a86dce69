#include "support/LogCapture.h"
#include "support/MechanismJson.h"
#include "support/Solids.h"
#include "support/ViewTrees.h"

#include <entity/GenericEntityConfig.h>
#include <entity/ViewShapeUtil.h>

#include <cadtools/WorkpieceError.h>

#include <AIS_Shape.hxx>
#include <Message_ProgressIndicator.hxx>

#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <functional>
#include <limits>

namespace
{
constexpr int Critical = 5;
constexpr int RotaryZ = 5;
constexpr int RotaryY = 4;
constexpr int LinearX = 0;
const double NaN = std::numeric_limits<double>::quiet_NaN();
const double Inf = std::numeric_limits<double>::infinity();

// A mechanism over a tree of four boxes: part 0 rides on no link, parts 1 to 3 on links 1 to 3.
struct Rig
{
  Handle(ShapeEntity) tree = ViewTrees::BoxTree(4);
  std::vector<Handle(ShapeEntity)> parts;
  GenericEntityConfig entity{tree};

  Rig()
  {
    for (const Handle(ViewShape)& node : tree->GetAllSubViewShapes())
      parts.push_back(Handle(ShapeEntity)::DownCast(node));
  }
  std::string Id(int i) const { return parts[static_cast<size_t>(i)]->GetId().ToString(); }

  // A chain 1 → 2 → 3 (rotary Z, rotary Y, linear X), of mechanism `type`.
  Json::Value Chain(int type = 0) const
  {
    Json::Value json(Json::objectValue);
    json["type"] = type;
    json["LinkRod"].append(MechanismJson::Link(1, 0, RotaryZ, 0, 0, 100, {Id(1)}, {2}, -170, 170));
    json["LinkRod"].append(MechanismJson::Link(2, 1, RotaryY, 0, 0, 200, {Id(2)}, {3}, -90, 90));
    json["LinkRod"].append(MechanismJson::Link(3, 2, LinearX, 50, 0, 0, {Id(3)}, {}, 0, 500));
    return json;
  }
};

std::vector<unsigned long long> ChildHashes(const LinkRod* link)
{
  std::vector<unsigned long long> hashes;
  for (int i = 0; i < link->SubLinkSize(); ++i)
    hashes.push_back(link->GetSubLink(i)->GetLinkHashIndex());
  return hashes;
}

// Counts the progress an operation reports.
class Progress : public Message_ProgressIndicator
{
public:
  double Reached() const { return GetPosition(); }

protected:
  void Show(const Message_ProgressScope&, const Standard_Boolean) override {}
};
} // namespace

TEST(GenericEntityConfig, BuildsTheLinkTreeInTwoPasses)
{
  {
    // A chain: parents, children, axes in the entity frame, limits in radians, the fixed part.
    Rig rig;
    rig.entity.LoadFromJson(rig.Chain());
    GenericEntityConfig& e = rig.entity;
    ASSERT_EQ(e.GetLinkSize(), 3u);
    EXPECT_EQ(e.GetRootLinkNum(), 1u);
    EXPECT_EQ(ChildHashes(e.GetLinkRodNodeByHash(1)), (std::vector<unsigned long long>{2}));
    EXPECT_EQ(e.GetLinkRodNodeByHash(3)->GetParentLinkRod(), e.GetLinkRodNodeByHash(2));
    const gp_Ax1 axis = e.GetLinkRodNodeByHash(2)->GetAx1();
    EXPECT_TRUE(axis.Location().IsEqual(gp_Pnt(0, 0, 300), 1e-9));
    EXPECT_TRUE(axis.Direction().IsEqual(gp::DY(), 1e-12));
    EXPECT_NEAR(e.GetLinkRodNodeByHash(2)->GetLimit().upper, M_PI / 2, 1e-12);
    ASSERT_EQ(e.GetFixMdls().size(), 1u);
    EXPECT_EQ(e.GetFixMdls()[0], rig.parts[0]);
    // Type 0 always has flange 0; the end-centre frame is the product of the chain's frames.
    EXPECT_EQ(e.GetFlange().size(), 1u);
    EXPECT_TRUE(e.GetEndCenTrsf(0).TranslationPart().IsEqual(gp_XYZ(50, 0, 300), 1e-9));
    // Loading the same object again reuses every link and flange.
    const LinkRod* first = e.GetLink(0);
    e.LoadFromJson(rig.Chain());
    EXPECT_EQ(e.GetLinkSize(), 3u);
    EXPECT_EQ(e.GetLink(0), first);
    EXPECT_EQ(e.GetFlange().size(), 1u);
    EXPECT_NEAR(e.GetLinkRodNodeByHash(2)->GetLimit().upper, M_PI / 2, 1e-12);
    // Taking the fixed part out of the registry drops it from the fixed parts.
    const unsigned long long fixed = rig.parts[0]->GetHashIndex();
    EXPECT_EQ(e.RemoveSubMdlList({fixed}, true), (std::set<Handle(ShapeEntity)>{rig.parts[0]}));
    EXPECT_EQ(e.GetSubMdls().count(fixed), 0u);
    EXPECT_TRUE(e.GetFixMdls().empty());
    e.AddSubMdlList({rig.parts[0]}, false);
    EXPECT_EQ(e.GetSubMdls().at(fixed), rig.parts[0]);
  }
  {
    // A child listed before its parent is hung under it only by the parent's "sub_links", and is
    // no root; a link whose hash is 0 gets a fresh one; types 5 and above get no flange.
    Rig rig;
    Json::Value json(Json::objectValue);
    json["type"] = 5;
    json["LinkRod"].append(MechanismJson::Link(2, 1, RotaryY, 0, 0, 200, {rig.Id(2)}));
    json["LinkRod"].append(MechanismJson::Link(1, 0, RotaryZ, 0, 0, 100, {rig.Id(1)}, {2}));
    json["LinkRod"].append(MechanismJson::Link(0, 0, RotaryZ, 0, 0, 0, {rig.Id(3)}));
    rig.entity.LoadFromJson(json);
    GenericEntityConfig& e = rig.entity;
    ASSERT_EQ(e.GetLinkSize(), 3u);
    EXPECT_EQ(e.GetRootLinkNum(), 2u);
    EXPECT_EQ(e.GetRootLink(0)->GetLinkHashIndex(), 1u);
    EXPECT_EQ(e.GetLinkRodNodeByHash(2)->GetParentLinkRod(), e.GetLinkRodNodeByHash(1));
    const unsigned long long fresh = e.GetLink(2)->GetLinkHashIndex();
    EXPECT_NE(fresh, 0u);
    EXPECT_EQ(e.GetLinkRodNodeByHash(fresh), e.GetLink(2));
    EXPECT_EQ(e.GetRootLink(1), e.GetLink(2));
    EXPECT_TRUE(e.GetFlange().empty());
    EXPECT_EQ(e.GetFixMdls(), (std::vector<Handle(ShapeEntity)>{rig.parts[0]}));
  }
  {
    // Parts named by "motionAxes" ride on the link; a link with neither parts nor children is
    // dropped; a coupling naming an unknown link stores position 0.
    Rig rig;
    Json::Value json = rig.Chain();
    json["LinkRod"][2].removeMember("axis_models");
    json["LinkRod"][2]["motionAxes"].append(static_cast<Json::UInt64>(rig.parts[3]->GetHashIndex()));
    json["LinkRod"].append(MechanismJson::Link(9, 0, RotaryZ, 0, 0, 0, {}));
    Json::Value coupling(Json::objectValue);
    coupling["Ratio"] = 0.5;
    coupling["PairOne"] = 2;
    coupling["PairTwo"] = 777;
    json["CouplingAxes"].append(coupling);
    rig.entity.LoadFromJson(json);
    GenericEntityConfig& e = rig.entity;
    EXPECT_EQ(e.GetLinkSize(), 3u);
    EXPECT_EQ(e.GetLinkRodNodeByHash(9), nullptr);
    EXPECT_EQ(e.GetLinkRodNodeByHash(3)->GetSubMdls(), (std::vector<Handle(ShapeEntity)>{rig.parts[3]}));
    ASSERT_EQ(e.GetCouplingShaft().size(), 1u);
    EXPECT_EQ(e.GetCouplingShaft()[0].pairOnePosition, 1u);
    EXPECT_EQ(e.GetCouplingShaft()[0].pairTwoPosition, 0u);
    EXPECT_DOUBLE_EQ(e.GetCouplingShaft()[0].ratio, 0.5);
  }
}

TEST(GenericEntityConfig, CollisionPartsAndDrawingFlagsTravelWithTheDisplayTree)
{
  Rig rig;
  rig.parts[0]->SetCollisionPart(false);
  rig.parts[1]->SetDrawingPara(true);
  const Handle(ShapeEntity) copy = ViewShapeUtil::LoadFromJson(ViewShapeUtil::ExportToJson(rig.tree, false));
  std::vector<Handle(ShapeEntity)> parts;
  for (const Handle(ViewShape)& node : copy->GetAllSubViewShapes())
    parts.push_back(Handle(ShapeEntity)::DownCast(node));
  ASSERT_EQ(parts.size(), 4u);
  EXPECT_FALSE(parts[0]->IsCollisionPart());
  EXPECT_TRUE(parts[1]->IsDrawingPara());
  EXPECT_TRUE(parts[2]->IsCollisionPart());
  EXPECT_FALSE(parts[2]->IsDrawingPara());

  // Only collision parts are fixed nodes and get collision models (type 1 builds them).
  GenericEntityConfig entity(copy);
  Json::Value json = rig.Chain(1);
  json["LinkRod"][2]["axis_models"][0] = parts[3]->GetId().ToString();
  json["LinkRod"][1]["axis_models"][0] = parts[2]->GetId().ToString();
  json["LinkRod"][0]["axis_models"][0] = parts[1]->GetId().ToString();
  entity.LoadFromJson(json);
  EXPECT_TRUE(entity.GetFixMdls().empty());
  EXPECT_EQ(entity.GetSubCollisionParts().size(), 3u);
  EXPECT_TRUE(parts[0]->GetCollision().IsNull());
  for (int i = 1; i < 4; ++i)
  {
    EXPECT_FALSE(parts[static_cast<size_t>(i)]->GetCollision().IsNull()) << i;
    EXPECT_TRUE(parts[static_cast<size_t>(i)]->IsCollisionActive()) << i;
  }

  // Zeroing reports its progress to the end and asks for new hierarchies.
  entity.ForwardTrsf(std::vector<double>{0.5, 0.5, 100.0}, false, true);
  Handle(Progress) progress = new Progress;
  GenericEntityConfig::ZeroEntityMdl(&entity, progress->Start());
  EXPECT_NEAR(progress->Reached(), 1.0, 1e-9);
  EXPECT_TRUE(entity.GetNeedUpdateBVH());
  for (size_t i = 0; i < entity.GetLinkSize(); ++i)
    EXPECT_EQ(entity.GetLink(i)->CurrentJointValue(), 0.0);
}

TEST(GenericEntityConfig, FailuresLogCriticallyAndThrowTheirText)
{
  struct Case
  {
    const char* what;
    std::function<void(Rig&)> act;
    std::string text;
    const char* function;
    size_t linksLeft;
  };
  const std::string emptyData = "存在异常的空数据";
  const std::vector<Case> cases = {
    {"unknown child in sub_links",
     [](Rig& r) {
       Json::Value json = r.Chain();
       json["LinkRod"][2]["sub_links"].append(4242);
       r.entity.LoadFromJson(json);
     },
     "_link_hashGenericEntityConfig::LoadFromJson当前子节点不应该为空", "GenericEntityConfig::LoadFromJson", 3},
    {"motionAxes naming no part",
     [](Rig& r) {
       Json::Value json = r.Chain();
       json["LinkRod"][1]["motionAxes"].append(4242);
       r.entity.LoadFromJson(json);
     },
     "GenericEntityConfig::UpdateLinkRodPara" + emptyData, "GenericEntityConfig::UpdateLinkRodPara", 2},
    {"axis_models naming no part",
     [](Rig& r) {
       Json::Value json = r.Chain();
       json["LinkRod"][0]["axis_models"][0] = Uuid::CreateUuid().ToString();
       r.entity.LoadFromJson(json);
     },
     "SimplyGenericEntityConfig::ChangedLinkRodMdls" + emptyData, "GenericEntityConfig::ChangedLinkRodMdls", 1},
    {"GetPartsIndex of a foreign object",
     [](Rig& r) { r.entity.GetPartsIndex(new AIS_Shape(Solids::Box(1, 1, 1))); },
     "_indexGenericEntityConfig::GetPartsIndex当前传入的obj模型类型错误", "GenericEntityConfig::GetPartsIndex", 0},
    {"GetId without a display tree", [](Rig&) { GenericEntityConfig().GetId(); },
     "_indexGenericEntityConfig::GetId" + emptyData, "GenericEntityConfig::GetId", 0},
    {"flange index out of range",
     [](Rig& r) { r.entity.ChangeFlangeInstallInfoByIndex(0, nullptr, Json::Value(Json::objectValue)); },
     "GenericEntityConfig::ChangeFlangeInstallInfoByIndexvector传入index错误，数据不在范围内",
     "GenericEntityConfig::ChangeFlangeInstallInfoByIndex", 0},
  };
  for (const Case& c : cases)
  {
    Rig rig;
    LogCapture log;
    try
    {
      c.act(rig);
      ADD_FAILURE() << c.what << ": no exception";
    }
    catch (const WorkpieceError& error)
    {
      EXPECT_EQ(error.what(), c.text) << c.what;
    }
    const std::string message = c.text.substr(c.text.find(c.function) + std::string(c.function).size());
    EXPECT_TRUE(log.Contains(Critical, message, c.function)) << c.what;
    EXPECT_EQ(rig.entity.GetLinkSize(), c.linksLeft) << c.what;
  }
}

TEST(GenericEntityConfig, BadInputIsRefusedBeforeAnythingIsBuilt)
{
  const std::string folder = ViewTrees::TempDir("config-bad");
  std::ofstream(folder + "broken.json") << "{\"uuid\": \"x\", \"data\": ";
  struct Case
  {
    const char* what;
    std::function<void(Json::Value&)> spoil;
    std::string text;
  };
  const std::string load = "GenericEntityConfig::LoadFromJson";
  const std::vector<Case> cases = {
    {"link under itself", [](Json::Value& j) { j["LinkRod"][2]["sub_links"].append(3); },
     "_link_hash" + load + "连杆位于自身之下：3"},
    {"link under its descendant", [](Json::Value& j) { j["LinkRod"][2]["sub_links"].append(1); },
     "_link_hash" + load + "连杆位于自身的子孙之下：1"},
    {"link under two parents", [](Json::Value& j) { j["LinkRod"][0]["sub_links"].append(3); },
     "_link_hash" + load + "连杆有两个父连杆：3"},
    {"children of a hashless link",
     [](Json::Value& j) {
       j["LinkRod"][0]["link_hash"] = 0;
       j["LinkRod"][1]["parent_link_hash"] = 0;
     },
     "_link_hash" + load + "无编号的连杆不能有子连杆"},
    {"NaN limit", [](Json::Value& j) { j["LinkRod"][1]["axis_min"] = NaN; },
     "_number" + load + "数值不是有限数：LinkRod[1].axis_min"},
    {"infinite link frame", [](Json::Value& j) { j["LinkRod"][2]["center_trsf"][4] = Inf; },
     "_number" + load + "数值不是有限数：LinkRod[2].center_trsf[4]"},
    {"NaN flange frame", [](Json::Value& j) { j["ChildEntity"][0]["flange_ocs"][2] = NaN; },
     "_number" + load + "数值不是有限数：ChildEntity[0].flange_ocs[2]"},
    {"limits turned over", [](Json::Value& j) { j["LinkRod"][1]["axis_min"] = 95; },
     "_limit" + load + "限位错误：LinkRod[1] 的 axis_min 大于 axis_max"},
    {"joint type 7", [](Json::Value& j) { j["LinkRod"][0]["joint_type"] = 7; },
     "_type" + load + "关节类型错误：LinkRod[0].joint_type 应在 0 到 5 之间"},
    {"joint value as text", [](Json::Value& j) { j["LinkRod"][0]["joint_value"] = "12"; },
     "_type" + load + "键的类型错误：LinkRod[0].joint_value 应为数值"},
    {"child hash as text", [](Json::Value& j) { j["LinkRod"][0]["sub_links"][0] = "2"; },
     "_type" + load + "键的类型错误：LinkRod[0].sub_links[0] 应为无符号64位整数"},
    {"type as text", [](Json::Value& j) { j["type"] = "robot"; }, "_type" + load + "键的类型错误：mechanism.type 应为整数"},
    {"display tree missing", [&](Json::Value& j) { j["ShapeEntityPath"] = folder + "absent.json"; },
     "_ShapeEntityPath" + load + "模型实体加载错误：" + folder + "absent.json"},
    {"display tree unreadable", [&](Json::Value& j) { j["ShapeEntityPath"] = folder + "broken.json"; },
     "_ShapeEntityPath" + load + "模型实体加载错误：" + folder + "broken.json"},
  };
  for (const Case& c : cases)
  {
    Rig rig;
    Json::Value json = rig.Chain();
    json["ChildEntity"].append(rig.entity.FlangToJson(0));
    c.spoil(json);
    GenericEntityConfig fresh(rig.tree);
    const Handle(ViewShape) root = fresh.GetRootMdl();
    LogCapture log;
    try
    {
      fresh.LoadFromJson(json);
      ADD_FAILURE() << c.what << ": no exception";
    }
    catch (const WorkpieceError& error)
    {
      EXPECT_EQ(error.what(), c.text) << c.what;
    }
    EXPECT_TRUE(log.Contains(Critical, c.text.substr(c.text.find(load) + load.size()), load)) << c.what;
    EXPECT_EQ(fresh.GetLinkSize(), 0u) << c.what;
    EXPECT_TRUE(fresh.GetFlange().empty()) << c.what;
    EXPECT_EQ(fresh.GetRootMdl(), root) << c.what;
  }

  // Joint values that are not numbers are refused by the editing operations too.
  Rig rig;
  rig.entity.LoadFromJson(rig.Chain());
  LinkRod* link = rig.entity.GetLinkRodNodeByHash(2);
  EXPECT_THROW(rig.entity.ChangeLinkLoaction(link, NaN), WorkpieceError);
  EXPECT_THROW(rig.entity.ForwardLinkAndUpdateMdl(link, Inf), WorkpieceError);
  EXPECT_THROW(rig.entity.RecursiveLinkValue(link, NaN), WorkpieceError);
  EXPECT_EQ(link->CurrentJointValue(), 0.0);
}

TEST(GenericEntityConfig, ForwardLinkAndUpdateMdlTakesValuesWithinAMillionthOfTheLimits)
{
  Rig rig;
  rig.entity.LoadFromJson(rig.Chain());
  GenericEntityConfig& e = rig.entity;
  LinkRod* tilt = e.GetLinkRodNodeByHash(2);
  LinkRod* slide = e.GetLinkRodNodeByHash(3);
  const double beyondInRadians = 5e-7 * 180.0 / M_PI;
  struct Case
  {
    LinkRod* link;
    double value;
    bool taken;
    double expected;
  };
  const Case cases[] = {
    {tilt, 45.0, true, M_PI / 4},      {tilt, 90.0, true, M_PI / 2},
    {tilt, 90.0 + beyondInRadians, true, M_PI / 2},
    {tilt, 90.001, false, M_PI / 2},   {slide, -5e-7, true, 0.0},
    {slide, -2e-6, false, 0.0},        {slide, 250.0, true, 250.0},
  };
  for (const Case& c : cases)
  {
    EXPECT_EQ(e.ForwardLinkAndUpdateMdl(c.link, c.value), c.taken) << c.value;
    EXPECT_NEAR(c.link->CurrentJointValue(), c.expected, 1e-12) << c.value;
  }
  // The slide at 250 mm along X of the tilted frame carries its part with it.
  const gp_Trsf placed = rig.parts[3]->GetCollisionTrsf() * rig.parts[3]->GetInitTrsf().Inverted();
  EXPECT_TRUE(placed.TranslationPart().IsEqual(slide->GetWcs().TranslationPart(), 1e-9));
  EXPECT_EQ(e.GetCurrentValue(0)[2], 250.0);
}
