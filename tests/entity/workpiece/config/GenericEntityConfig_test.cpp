#include "support/ErrorText.h"
#include "support/LogCapture.h"
#include "support/Solids.h"
#include "support/ViewTrees.h"

#include <entity/GenericEntityConfig.h>
#include <entity/ViewShapeUtil.h>

#include <cadtools/WorkpieceError.h>

#include <json/reader.h>

#include <AIS_Shape.hxx>

#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <functional>
#include <limits>
#include <sstream>
#include <tuple>

namespace
{
const double NaN = std::numeric_limits<double>::quiet_NaN();
const double Inf = std::numeric_limits<double>::infinity();

// A mechanism over a tree of four boxes: part 0 rides on no link, parts 1 to 3 on links 1 to 3.
struct Rig
{
  Handle(ShapeEntity) tree;
  std::vector<Handle(ShapeEntity)> parts;
  GenericEntityConfig entity{tree};

  explicit Rig(const Handle(ShapeEntity)& boxes = ViewTrees::BoxTree(4)) : tree(boxes)
  {
    for (const Handle(ViewShape)& node : tree->GetAllSubViewShapes())
      parts.push_back(Handle(ShapeEntity)::DownCast(node));
  }

  // A chain 1 → 2 → 3 (rotary Z 100 up, rotary Y 200 up, linear X 50 along) carrying parts 1 to 3.
  Json::Value Chain(int type = 0) const
  {
    Json::Value json;
    std::istringstream(R"({"LinkRod": [
      {"link_hash": 1, "joint_type": 5, "axis_min": -170, "axis_max": 170, "center_trsf": [0, 0, 100, 0, 0, 0],
       "sub_links": [2]},
      {"link_hash": 2, "parent_link_hash": 1, "joint_type": 4, "axis_min": -90, "axis_max": 90,
       "center_trsf": [0, 0, 200, 0, 0, 0], "sub_links": [3]},
      {"link_hash": 3, "parent_link_hash": 2, "joint_type": 0, "axis_min": 0, "axis_max": 500,
       "center_trsf": [50, 0, 0, 0, 0, 0]}]})") >> json;
    json["type"] = type;
    for (Json::ArrayIndex i = 0; i < 3; ++i)
      json["LinkRod"][i]["axis_models"].append(parts[i + 1]->GetId().ToString());
    return json;
  }
};

} // namespace

TEST(GenericEntityConfig, BuildsTheLinkTreeInTwoPasses)
{
  {
    // A chain: parents, children, axes in the entity frame, limits in radians, the fixed part.
    Rig rig;
    GenericEntityConfig& e = rig.entity;
    e.LoadFromJson(rig.Chain());
    ASSERT_TRUE(e.GetLinkSize() == 3 && e.GetRootLinkNum() == 1);
    EXPECT_TRUE(e.GetLink(0)->GetSubLink(0) == e.GetLink(1) && e.GetLink(2)->GetParentLinkRod() == e.GetLink(1));
    const gp_Ax1 axis = e.GetLinkRodNodeByHash(2)->GetAx1();
    EXPECT_TRUE(axis.Location().IsEqual(gp_Pnt(0, 0, 300), 1e-9) && axis.Direction().IsEqual(gp::DY(), 1e-12));
    EXPECT_EQ(e.GetFixMdls(), (std::vector<Handle(ShapeEntity)>{rig.parts[0]}));
    // Type 0 always has flange 0; the end-centre frame is the product of the chain's frames.
    EXPECT_TRUE(e.GetFlange().size() == 1 && e.GetEndCenTrsf(0).TranslationPart().IsEqual(gp_XYZ(50, 0, 300), 1e-9));
    // Loading the same object again reuses every link and flange.
    const LinkRod* first = e.GetLink(0);
    e.LoadFromJson(rig.Chain());
    EXPECT_TRUE(e.GetLink(0) == first && e.GetLinkSize() == 3 && e.GetFlange().size() == 1);
    EXPECT_NEAR(e.GetLinkRodNodeByHash(2)->GetLimit().upper, M_PI / 2, 1e-12);
    // Taking the fixed part out of the registry drops it from the fixed parts.
    EXPECT_TRUE(e.RemoveSubMdlList({rig.parts[0]->GetHashIndex()}, true) == std::set<Handle(ShapeEntity)>{rig.parts[0]} &&
                e.GetFixMdls().empty());
  }
  {
    // A child listed before its parent is hung under it only by the parent's "sub_links", and is
    // no root; a link whose hash is 0 gets a fresh one; types 5 and above get no flange.
    Rig rig;
    GenericEntityConfig& e = rig.entity;
    Json::Value json = rig.Chain(5);
    json["LinkRod"][0].swap(json["LinkRod"][1]);
    json["LinkRod"][0].removeMember("sub_links");
    json["LinkRod"][2]["link_hash"] = json["LinkRod"][2]["parent_link_hash"] = 0;
    e.LoadFromJson(json);
    ASSERT_TRUE(e.GetLinkSize() == 3 && e.GetRootLinkNum() == 2);
    const LinkRod* fresh = e.GetLink(2);
    EXPECT_TRUE(e.GetRootLink(0) == e.GetLinkRodNodeByHash(1) && e.GetRootLink(1) == fresh && e.GetFlange().empty() &&
                e.GetLinkRodNodeByHash(2)->GetParentLinkRod() == e.GetLinkRodNodeByHash(1));
    EXPECT_TRUE(fresh->GetLinkHashIndex() != 0 && e.GetLinkRodNodeByHash(fresh->GetLinkHashIndex()) == fresh);
  }
  {
    // Parts named by "motionAxes" ride on the link; a link with neither parts nor children is
    // dropped; a coupling naming an unknown link stores position 0.
    Rig rig;
    GenericEntityConfig& e = rig.entity;
    Json::Value json = rig.Chain();
    json["LinkRod"][2].removeMember("axis_models");
    json["LinkRod"][2]["motionAxes"].append(static_cast<Json::UInt64>(rig.parts[3]->GetHashIndex()));
    json["LinkRod"][3]["link_hash"] = 9;
    json["CouplingAxes"][0]["Ratio"] = 0.5;
    json["CouplingAxes"][0]["PairOne"] = 2;
    json["CouplingAxes"][0]["PairTwo"] = 777;
    e.LoadFromJson(json);
    EXPECT_TRUE(e.GetLinkSize() == 3 && e.GetLinkRodNodeByHash(9) == nullptr);
    EXPECT_EQ(e.GetLinkRodNodeByHash(3)->GetSubMdls(), (std::vector<Handle(ShapeEntity)>{rig.parts[3]}));
    ASSERT_EQ(e.GetCouplingShaft().size(), 1u);
    const CouplingShaft& c = e.GetCouplingShaft()[0];
    EXPECT_TRUE(c.pairOnePosition == 1 && c.pairTwoPosition == 0 && c.ratio == 0.5);
  }
  {
    // A link loaded without a type does not move (None); it is saved as 6, and what is saved loads again.
    Rig rig;
    GenericEntityConfig& e = rig.entity;
    Json::Value json = rig.Chain();
    json["LinkRod"][2].removeMember("joint_type");
    e.LoadFromJson(json);
    const Json::Value saved = e.ToJson("");
    EXPECT_EQ(saved["LinkRod"][2]["joint_type"].asInt(), 6);
    e.LoadFromJson(saved);
    EXPECT_TRUE(e.GetLinkSize() == 3 && e.GetLinkRodNodeByHash(3)->GetConfigJointType() == JointType::None);
  }
}

TEST(GenericEntityConfig, CollisionPartsAndDrawingFlagsTravelWithTheDisplayTree)
{
  Rig rig;
  rig.parts[0]->SetCollisionPart(false);
  rig.parts[1]->SetDrawingPara(true);
  Rig copy(ViewShapeUtil::LoadFromJson(ViewShapeUtil::ExportToJson(rig.tree, false)));
  ASSERT_EQ(copy.parts.size(), 4u);
  EXPECT_TRUE(copy.parts[1]->IsDrawingPara() && !copy.parts[2]->IsDrawingPara());

  // Only collision parts are fixed nodes and get collision models (type 1 builds them).
  GenericEntityConfig& entity = copy.entity;
  entity.LoadFromJson(copy.Chain(1));
  EXPECT_TRUE(entity.GetFixMdls().empty() && entity.GetSubCollisionParts().size() == 3u && copy.parts[0]->GetCollision().IsNull());
  for (size_t i = 1; i < 4; ++i)
    EXPECT_TRUE(!copy.parts[i]->GetCollision().IsNull() && copy.parts[i]->IsCollisionActive()) << i;

  // Zeroing brings every joint home and asks for new hierarchies.
  entity.ForwardTrsf(std::vector<double>{0.5, 0.5, 100.0}, false, true);
  GenericEntityConfig::ZeroEntityMdl(&entity, Message_ProgressRange());
  EXPECT_TRUE(entity.GetNeedUpdateBVH());
  for (size_t i = 0; i < entity.GetLinkSize(); ++i)
    EXPECT_EQ(entity.GetLink(i)->CurrentJointValue(), 0.0) << i;
}

// Each failure logs its message at critical level from its operation and throws the tag, the
// operation and the message. Bad input found by the check leaves the entity untouched; the
// failures of the loading itself keep the links built so far.
TEST(GenericEntityConfig, FailuresLogCriticallyAndThrowTheirText)
{
  const auto expect = [](const char* what, const std::function<void(Rig&)>& act, const std::string& text,
                         const std::string& function, const std::string& message, size_t linksLeft) {
    Rig rig;
    LogCapture log;
    EXPECT_EQ(ErrorText([&] { act(rig); }), text + function + message) << what;
    EXPECT_TRUE(log.Contains(5, message, function)) << what;
    EXPECT_EQ(rig.entity.GetLinkSize(), linksLeft) << what;
    EXPECT_TRUE(linksLeft > 0 || (rig.entity.GetFlange().empty() && rig.entity.GetRootMdl() == rig.tree)) << what;
  };
  const std::string folder = ViewTrees::TempDir("config-bad");
  std::ofstream(folder + "broken.json") << "{\"uuid\": \"x\", \"data\": ";
  using J = Json::Value;
  const std::string empty = "存在异常的空数据";
  const struct
  {
    const char* what;
    std::function<void(J&)> spoil;
    std::string tag, message;
    size_t linksLeft = 0;
    std::string function = "GenericEntityConfig::LoadFromJson";
  } spoilt[] = {
    {"unknown child", [](J& j) { j["LinkRod"][2]["sub_links"].append(4242); }, "_link_hash", "当前子节点不应该为空", 3},
    {"motionAxes naming no part", [](J& j) { j["LinkRod"][1]["motionAxes"].append(4242); }, "", empty, 2,
     "GenericEntityConfig::UpdateLinkRodPara"},
    {"axis_models naming no part", [](J& j) { j["LinkRod"][0]["axis_models"][0] = Uuid::CreateUuid().ToString(); },
     "Simply", empty, 1, "GenericEntityConfig::ChangedLinkRodMdls"},
    {"link under itself", [](J& j) { j["LinkRod"][2]["sub_links"].append(3); }, "_link_hash", "连杆位于自身之下：3"},
    {"under a descendant", [](J& j) { j["LinkRod"][2]["sub_links"].append(1); }, "_link_hash", "连杆位于自身的子孙之下：1"},
    {"under two parents", [](J& j) { j["LinkRod"][0]["sub_links"].append(3); }, "_link_hash", "连杆有两个父连杆：3"},
    {"children of a hashless link", [](J& j) { j["LinkRod"][0]["link_hash"] = j["LinkRod"][1]["parent_link_hash"] = 0; },
     "_link_hash", "无编号的连杆不能有子连杆"},
    {"NaN limit", [](J& j) { j["LinkRod"][1]["axis_min"] = NaN; }, "_number", "数值不是有限数：LinkRod[1].axis_min"},
    {"infinite link frame", [](J& j) { j["LinkRod"][2]["center_trsf"][4] = Inf; }, "_number",
     "数值不是有限数：LinkRod[2].center_trsf[4]"},
    {"NaN flange frame", [](J& j) { j["ChildEntity"][0]["flange_ocs"][2] = NaN; }, "_number",
     "数值不是有限数：ChildEntity[0].flange_ocs[2]"},
    {"limits turned over", [](J& j) { j["LinkRod"][1]["axis_min"] = 95; }, "_limit",
     "限位错误：LinkRod[1] 的 axis_min 大于 axis_max"},
    {"joint type 7", [](J& j) { j["LinkRod"][0]["joint_type"] = 7; }, "_type",
     "关节类型错误：LinkRod[0].joint_type 应在 0 到 6 之间"},
    {"joint value as text", [](J& j) { j["LinkRod"][0]["joint_value"] = "12"; }, "_type",
     "键的类型错误：LinkRod[0].joint_value 应为数值"},
    {"child hash as text", [](J& j) { j["LinkRod"][0]["sub_links"][0] = "2"; }, "_type",
     "键的类型错误：LinkRod[0].sub_links[0] 应为无符号64位整数"},
    {"type as text", [](J& j) { j["type"] = "robot"; }, "_type", "键的类型错误：mechanism.type 应为整数"},
    {"display tree missing", [&](J& j) { j["ShapeEntityPath"] = folder + "absent.json"; }, "_ShapeEntityPath",
     "模型实体加载错误：" + folder + "absent.json"},
    {"display tree unreadable", [&](J& j) { j["ShapeEntityPath"] = folder + "broken.json"; }, "_ShapeEntityPath",
     "模型实体加载错误：" + folder + "broken.json"},
  };
  for (const auto& c : spoilt)
    expect(c.what, [&](Rig& r) {
      J json = r.Chain();
      json["ChildEntity"].append(r.entity.FlangToJson(0));
      c.spoil(json);
      r.entity.SetEntityShape(r.tree);
      r.entity.LoadFromJson(json);
    }, c.tag, c.function, c.message, c.linksLeft);
  expect("foreign object", [](Rig& r) { r.entity.GetPartsIndex(new AIS_Shape(Solids::Box(1, 1, 1))); }, "_index",
         "GenericEntityConfig::GetPartsIndex", "当前传入的obj模型类型错误", 0);
  expect("GetId without a display tree", [](Rig&) { GenericEntityConfig().GetId(); }, "_index",
         "GenericEntityConfig::GetId", empty, 0);
  expect("saved without a display tree", [](Rig&) {
    GenericEntityConfig bare;
    bare.LoadFromJson(J(Json::objectValue));
    bare.ToJson("");
  }, "_index", "Entity::ToJson", empty, 0);
  expect("flange index out of range", [](Rig& r) { r.entity.ChangeFlangeInstallInfoByIndex(0, nullptr, J()); }, "",
         "GenericEntityConfig::ChangeFlangeInstallInfoByIndex", "vector传入index错误，数据不在范围内", 0);
}

TEST(GenericEntityConfig, ForwardLinkAndUpdateMdlTakesValuesWithinAMillionthOfTheLimits)
{
  Rig rig;
  GenericEntityConfig& e = rig.entity;
  e.LoadFromJson(rig.Chain());
  LinkRod* tilt = e.GetLinkRodNodeByHash(2);
  LinkRod* slide = e.GetLinkRodNodeByHash(3);
  const double beyondInRadians = 5e-7 * 180.0 / M_PI;
  // Link, value asked, whether it is taken, the joint value afterwards.
  const std::tuple<LinkRod*, double, bool, double> cases[] = {
    {tilt, 45.0, true, M_PI / 4},    {tilt, 90.0, true, M_PI / 2}, {tilt, 90 + beyondInRadians, true, M_PI / 2},
    {tilt, 90.001, false, M_PI / 2}, {slide, -5e-7, true, 0.0},    {slide, -2e-6, false, 0.0},
    {slide, 250.0, true, 250.0}};
  for (const auto& [link, value, taken, expected] : cases)
  {
    EXPECT_EQ(e.ForwardLinkAndUpdateMdl(link, value), taken) << value;
    EXPECT_NEAR(link->CurrentJointValue(), expected, 1e-12) << value;
  }
  // The slide at 250 mm along X of the tilted frame carries its part with it.
  const gp_Trsf placed = rig.parts[3]->GetCollisionTrsf() * rig.parts[3]->GetInitTrsf().Inverted();
  EXPECT_TRUE(placed.TranslationPart().IsEqual(slide->GetWcs().TranslationPart(), 1e-9) && e.GetCurrentValue(0)[2] == 250.0);
  // Joint values that are not numbers are refused by every editing operation.
  EXPECT_THROW(e.ChangeLinkLoaction(tilt, NaN), WorkpieceError);
  EXPECT_THROW(e.ForwardLinkAndUpdateMdl(tilt, Inf), WorkpieceError);
  EXPECT_THROW(e.RecursiveLinkValue(tilt, NaN), WorkpieceError);
  EXPECT_NEAR(tilt->CurrentJointValue(), M_PI / 2, 1e-12);
}

TEST(GenericEntityConfig, ATreeTheTakeOverRefusesLeavesLinksAndFlanges)
{
  Rig rig;
  rig.entity.LoadFromJson(rig.Chain(1));
  ASSERT_EQ(rig.entity.GetLinkSize(), 3u);
  const size_t flanges = rig.entity.GetFlange().size();
  // A mesh part with an all-zero placement: the whole mesh cannot be built from it.
  Handle(ShapeEntity) bad = ViewTrees::BoxTree(1);
  bad->GetAllSubViewShapes()[0]->SetModelType(ViewShape::MeshModel);
  bad->GetAllSubViewShapes()[0]->AddChildWithCurrentTransformation(ViewTrees::Triangle(true));
  EXPECT_EQ(ErrorText([&] { rig.entity.SetEntityShape(bad); }), "Entity::SetEntityShape模型实体加载错误");
  EXPECT_TRUE(rig.entity.GetRootMdl() == rig.tree && rig.entity.GetSubMdls().size() == 4u);
  EXPECT_TRUE(rig.entity.GetLinkSize() == 3u && rig.entity.GetFlange().size() == flanges && rig.entity.GetRootLinkNum() == 1);
  EXPECT_TRUE(rig.entity.ForwardTrsf(std::vector<double>{0.1, 0.2, 30.0}, false, true)) << "the mechanism still moves";
}
