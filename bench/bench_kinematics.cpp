#include "KdlFrames.h"
#include "RatioReporter.h"
// Forward kinematics of the six-axis fixture robot: the mechanism's own forward pass, the pass
// that also places every part's collision model and the mounted tool, KDL's recursive solver on
// the same chain, and the floor: a bare product of the six joint rotations.
#include "Mechanisms.h"

#include <cadtools/gpHandle.h>

#include <benchmark/benchmark.h>
#include <kdl/chain.hpp>
#include <kdl/chainfksolverpos_recursive.hpp>
#include <kdl/frames.hpp>

#include <gp_Ax1.hxx>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <random>
#include <string>
#include <vector>

namespace
{
// Distinct joint-value sets cycled through so that no call repeats its predecessor's input.
constexpr size_t PoseCount = 64;
// Agreement demanded between the compared computations (mm and matrix entries).
constexpr double AgreementTolerance = 1.0e-9;

// Random in-limit joint values (radians / mm, one per link; the base slide stays at 0).
std::vector<std::vector<double>> Poses(const std::vector<JointDefinition>& chain)
{
  std::mt19937 random(5);
  std::vector<std::vector<double>> poses(PoseCount);
  for (std::vector<double>& pose : poses)
  {
    pose.push_back(0.0);
    for (size_t i = 1; i < chain.size(); ++i)
    {
      std::uniform_real_distribution<double> within(chain[i].lower * 0.9, chain[i].upper * 0.9);
      pose.push_back(within(random) * M_PI / 180.0);
    }
  }
  return poses;
}


// The same chain for KDL: each segment is a link's joint followed by the next link's center frame.
KDL::Chain KdlChain(const std::vector<JointDefinition>& chain)
{
  static const KDL::Joint::JointType kinds[] = {KDL::Joint::TransX, KDL::Joint::TransY, KDL::Joint::TransZ,
                                                KDL::Joint::RotX,   KDL::Joint::RotY,   KDL::Joint::RotZ};
  KDL::Chain kdl;
  kdl.addSegment(KDL::Segment(KDL::Joint(KDL::Joint::Fixed), KdlFrames::ToKdl(chain.front().Center())));
  for (size_t i = 0; i < chain.size(); ++i)
  {
    const gp_Trsf tip = i + 1 < chain.size() ? chain[i + 1].Center() : gp_Trsf();
    kdl.addSegment(KDL::Segment(KDL::Joint(kinds[static_cast<int>(chain[i].type)]), KdlFrames::ToKdl(tip)));
  }
  return kdl;
}

// The six joint axes in the robot's frame at the zero pose.
std::vector<gp_Ax1> ZeroPoseAxes(const FixtureMechanism& robot)
{
  std::vector<gp_Ax1> axes;
  for (size_t i = 1; i < robot.GetLinkSize(); ++i)
    axes.push_back(robot.GetLink(i)->GetAx1());
  return axes;
}

void Check(bool ok, const char* what)
{
  if (!ok)
  {
    std::fprintf(stderr, "bench_kinematics: %s\n", what);
    std::exit(1);
  }
}

// The compared computations must agree before they are timed.
void CrossCheck()
{
  const std::vector<JointDefinition> chain = Mechanisms::SixAxisRobot();
  auto robot = Mechanisms::BuildRobot();
  const KDL::Chain kdl = KdlChain(chain);
  KDL::ChainFkSolverPos_recursive solver(kdl);
  const gp_Trsf endAtZero = Mechanisms::LinkFrames(chain, std::vector<double>(chain.size(), 0.0)).back();
  const std::vector<gp_Ax1> axes = ZeroPoseAxes(*robot);
  for (const std::vector<double>& pose : Poses(chain))
  {
    Check(robot->Forward(pose), "Forward refused an in-limit pose");
    KDL::Frame end;
    Check(solver.JntToCart(KdlFrames::ToJnt(pose), end) >= 0, "KDL refused the chain");
    gp_Trsf floor;
    for (size_t i = 0; i < axes.size(); ++i)
    {
      gp_Trsf rotation;
      rotation.SetRotation(axes[i], pose[i + 1]);
      floor.Multiply(rotation);
    }
    const gp_Trsf ours = robot->GetLinkRods().back()->GetWcs() * endAtZero;
    Check(gpHandle::IsSameTrsf(ours, KdlFrames::FromKdl(end), AgreementTolerance), "Forward and KDL disagree");
    Check(gpHandle::IsSameTrsf(ours, floor * endAtZero, AgreementTolerance), "Forward and the floor disagree");
  }
}

void BM_GenericEntityForward(benchmark::State& state)
{
  auto robot = Mechanisms::BuildRobot();
  const auto poses = Poses(Mechanisms::SixAxisRobot());
  size_t n = 0;
  for (auto _ : state)
  {
    benchmark::DoNotOptimize(robot->Forward(poses[n++ % PoseCount]));
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_GenericEntityForward);

void BM_GenericEntityForwardTrsfNoView(benchmark::State& state)
{
  auto robot = Mechanisms::BuildRobot();
  auto tool = Mechanisms::BuildTool();
  robot->SetChildEntity(0, tool.get());
  const auto poses = Poses(Mechanisms::SixAxisRobot());
  size_t n = 0;
  for (auto _ : state)
  {
    benchmark::DoNotOptimize(robot->ForwardTrsf(poses[n++ % PoseCount], false, true));
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_GenericEntityForwardTrsfNoView);

void BM_KdlJntToCart(benchmark::State& state)
{
  KdlFrames::TimeJntToCart(state, KdlChain(Mechanisms::SixAxisRobot()), Poses(Mechanisms::SixAxisRobot()));
}
BENCHMARK(BM_KdlJntToCart);

void BM_FloorSixRotations(benchmark::State& state)
{
  auto robot = Mechanisms::BuildRobot();
  const std::vector<gp_Ax1> axes = ZeroPoseAxes(*robot);
  const auto poses = Poses(Mechanisms::SixAxisRobot());
  gp_Trsf product;
  size_t n = 0;
  for (auto _ : state)
  {
    const std::vector<double>& pose = poses[n++ % PoseCount];
    product = gp_Trsf();
    for (size_t i = 0; i < axes.size(); ++i)
    {
      gp_Trsf rotation;
      rotation.SetRotation(axes[i], pose[i + 1]);
      product.Multiply(rotation);
    }
    benchmark::DoNotOptimize(product);
  }
}
BENCHMARK(BM_FloorSixRotations);
} // namespace

int main(int argc, char** argv)
{
  CrossCheck();
  return RatioReporter::RunAll(argc, argv, [](const RatioReporter& reporter) {
    reporter.Ratio("BM_GenericEntityForward", "BM_KdlJntToCart", 0.75);
    reporter.Ratio("BM_GenericEntityForward", "BM_FloorSixRotations", 1.1);
    reporter.Bound("BM_GenericEntityForwardTrsfNoView", 2000.0);
  });
}
