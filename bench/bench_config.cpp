#include "KdlFrames.h"
#include "RatioReporter.h"
// Configured mechanisms on the sample cell: loading the robot (mechanism JSON, display tree, link
// tree, collision models) against the bare parse of the same JSON files and read of the same BRep
// texts, and the shares of the link tree and of the collision models in it; ForwardTrsf of the loaded robot with the torch mounted, its Forward alone, and KDL's
// recursive solver on the same chain.
#include <entity/GenericEntityConfig.h>
#include <entity/ViewShapeUtil.h>

#include <cadtools/DataHandle.h>
#include <cadtools/gpHandle.h>

#include <BRepTools.hxx>
#include <BRep_Builder.hxx>
#include <TopoDS_Shape.hxx>

#include <benchmark/benchmark.h>
#include <kdl/chain.hpp>
#include <kdl/chainfksolverpos_recursive.hpp>
#include <kdl/frames.hpp>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace
{
// Distinct joint-value sets cycled through so that no call repeats its predecessor's input.
constexpr size_t PoseCount = 64;
// Agreement demanded between the compared computations (mm and matrix entries).
constexpr double AgreementTolerance = 1.0e-9;

std::string CellFile(const std::string& name)
{
  return (std::filesystem::path(WORKPIECE_EXAMPLES_DIR) / "cell" / name).string();
}

// The mechanism JSON with its display-tree path made absolute.
Json::Value MechanismJson(const std::string& name)
{
  Json::Value json = DataHandle::LoadJson(CellFile(name));
  json["ShapeEntityPath"] = CellFile(json["ShapeEntityPath"].asString());
  return json;
}

std::unique_ptr<GenericEntityConfig> Load(const std::string& name)
{
  auto entity = std::make_unique<GenericEntityConfig>();
  entity->LoadFromJson(MechanismJson(name));
  return entity;
}

void Check(bool ok, const char* what)
{
  if (!ok)
  {
    std::fprintf(stderr, "bench_config: %s\n", what);
    std::exit(1);
  }
}

// Random in-limit joint values (radians), 90 % of each range.
std::vector<std::vector<double>> Poses(const GenericEntityConfig& robot)
{
  std::mt19937 random(5);
  std::vector<std::vector<double>> poses(PoseCount);
  for (std::vector<double>& pose : poses)
    for (const auto& link : robot.GetLinkRods())
      pose.push_back(
        std::uniform_real_distribution<double>(link->GetLimit().lower * 0.9, link->GetLimit().upper * 0.9)(random));
  return poses;
}


// The loaded robot's chain for KDL: the first link's frame, then each joint followed by the next
// link's frame on it, the last followed by the flange on the last link's frame.
KDL::Chain KdlChain(GenericEntityConfig& robot)
{
  static const KDL::Joint::JointType kinds[] = {KDL::Joint::TransX, KDL::Joint::TransY, KDL::Joint::TransZ,
                                                KDL::Joint::RotX,   KDL::Joint::RotY,   KDL::Joint::RotZ};
  const auto& links = robot.GetLinkRods();
  KDL::Chain kdl;
  kdl.addSegment(KDL::Segment(KDL::Joint(KDL::Joint::Fixed), KdlFrames::ToKdl(links.front()->GetCenterTrsf())));
  const gp_Trsf lastFrame = robot.GetFatherTrsf(links.back().get(), true) * links.back()->GetCenterTrsf();
  for (size_t i = 0; i < links.size(); ++i)
  {
    const gp_Trsf tip = i + 1 < links.size() ? links[i + 1]->GetCenterTrsf()
                                             : lastFrame.Inverted() * robot.GetFlange()[0]->GetTrsf();
    kdl.addSegment(
      KDL::Segment(KDL::Joint(kinds[static_cast<int>(links[i]->GetConfigJointType())]), KdlFrames::ToKdl(tip)));
  }
  return kdl;
}

// The robot's flange and KDL's chain end must agree before they are timed.
void CrossCheck()
{
  auto robot = Load("robot.json");
  const KDL::Chain kdl = KdlChain(*robot);
  KDL::ChainFkSolverPos_recursive solver(kdl);
  for (const std::vector<double>& pose : Poses(*robot))
  {
    Check(robot->ForwardTrsf(pose, false, true), "ForwardTrsf refused an in-limit pose");
    KDL::Frame end;
    Check(solver.JntToCart(KdlFrames::ToJnt(pose), end) >= 0, "KDL refused the chain");
    Check(gpHandle::IsSameTrsf(robot->GetFlangeWCS(0), KdlFrames::FromKdl(end), AgreementTolerance),
          "ForwardTrsf and KDL disagree");
  }
}

void BM_LoadSampleRobot(benchmark::State& state)
{
  for (auto _ : state)
  {
    auto robot = Load("robot.json");
    benchmark::DoNotOptimize(robot->GetLinkSize());
  }
}
BENCHMARK(BM_LoadSampleRobot)->Unit(benchmark::kMillisecond)->UseRealTime();

// The share of the link tree alone: the robot's JSON read into an entity that has taken over its
// display tree already, without collision models (type 0).
void BM_LoadLinkTreeOnly(benchmark::State& state)
{
  Json::Value json = MechanismJson("robot.json");
  const opencascade::handle<ShapeEntity> tree =
    ViewShapeUtil::LoadFromJson(DataHandle::LoadJson(json["ShapeEntityPath"].asString()));
  json.removeMember("ShapeEntityPath");
  json["type"] = 0;
  for (auto _ : state)
  {
    state.PauseTiming();
    auto robot = std::make_unique<GenericEntityConfig>(tree);
    state.ResumeTiming();
    robot->LoadFromJson(json);
    benchmark::DoNotOptimize(robot->GetLinkSize());
    state.PauseTiming();
    robot.reset();
    state.ResumeTiming();
  }
}
BENCHMARK(BM_LoadLinkTreeOnly)->Unit(benchmark::kMillisecond)->UseRealTime();

// The collision models of the robot's seven parts, built on the shared pool.
void BM_CreateCollisionMdl(benchmark::State& state)
{
  auto robot = Load("robot.json");
  for (auto _ : state)
  {
    for (const opencascade::handle<ShapeEntity>& part : robot->GetSubCollisionParts())
      part->SetCollision(opencascade::handle<Poly_Triangulation>());
    robot->CreateCollisionMdl();
  }
}
BENCHMARK(BM_CreateCollisionMdl)->Unit(benchmark::kMillisecond)->UseRealTime();

// The floor of loading: parse both JSON files and read every BRep text of the display tree.
void BM_ParseJsonAndReadBReps(benchmark::State& state)
{
  const Json::Value mechanism = MechanismJson("robot.json");
  const std::string tree = mechanism["ShapeEntityPath"].asString();
  for (auto _ : state)
  {
    const Json::Value json = DataHandle::LoadJson(CellFile("robot.json"));
    benchmark::DoNotOptimize(json.size());
    const Json::Value root = DataHandle::LoadJson(tree);
    int shapes = 0;
    for (const Json::Value& node : root["childs"])
    {
      std::istringstream text(node["data"].asString());
      TopoDS_Shape shape;
      BRep_Builder builder;
      BRepTools::Read(shape, text, builder);
      shapes += shape.IsNull() ? 0 : 1;
    }
    benchmark::DoNotOptimize(shapes);
  }
}
BENCHMARK(BM_ParseJsonAndReadBReps)->Unit(benchmark::kMillisecond)->UseRealTime();

struct MountedRobot
{
  std::unique_ptr<GenericEntityConfig> robot = Load("robot.json");
  std::unique_ptr<GenericEntityConfig> torch = Load("torch.json");
  MountedRobot()
  {
    Json::Value assembly(Json::objectValue);
    assembly["install_index"] = 0;
    assembly["link_hash"] = static_cast<Json::UInt64>(robot->GetLinkRods().back()->GetLinkHashIndex());
    robot->AssembleOtherModel(torch.get(), assembly);
  }
};

void BM_ForwardTrsfRobotWithTorch(benchmark::State& state)
{
  MountedRobot cell;
  const auto poses = Poses(*cell.robot);
  size_t n = 0;
  for (auto _ : state)
  {
    benchmark::DoNotOptimize(cell.robot->ForwardTrsf(poses[n++ % PoseCount], false, true));
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_ForwardTrsfRobotWithTorch);

void BM_ForwardRobot(benchmark::State& state)
{
  MountedRobot cell;
  const auto poses = Poses(*cell.robot);
  size_t n = 0;
  for (auto _ : state)
  {
    benchmark::DoNotOptimize(cell.robot->Forward(poses[n++ % PoseCount]));
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_ForwardRobot);

void BM_KdlJntToCart(benchmark::State& state)
{
  auto robot = Load("robot.json");
  KdlFrames::TimeJntToCart(state, KdlChain(*robot), Poses(*robot));
}
BENCHMARK(BM_KdlJntToCart);
} // namespace

int main(int argc, char** argv)
{
  CrossCheck();
  return RatioReporter::RunAll(
    argc, argv,
    [](const RatioReporter& reporter) {
      reporter.Ratio("BM_LoadSampleRobot", "BM_ParseJsonAndReadBReps", 1.3);
      reporter.Ratio("BM_LoadLinkTreeOnly", "BM_ParseJsonAndReadBReps", 1.3);
      reporter.Ratio("BM_CreateCollisionMdl", "BM_ParseJsonAndReadBReps", 1.3);
      reporter.Bound("BM_ForwardTrsfRobotWithTorch", 2000.0);
      reporter.Ratio("BM_ForwardTrsfRobotWithTorch", "BM_KdlJntToCart", 0.8);
      reporter.Ratio("BM_ForwardRobot", "BM_KdlJntToCart", 0.8);
    },
    // Loading works on the thread pool: it and its floors are compared on the wall clock.
    [](const std::string& name) {
      return name.find("Load") != std::string::npos || name.find("Parse") != std::string::npos ||
             name.find("Collision") != std::string::npos;
    });
}
