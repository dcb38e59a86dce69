#pragma once

#include <benchmark/benchmark.h>
#include <gp_Trsf.hxx>
#include <kdl/chain.hpp>
#include <kdl/frames.hpp>
#include <kdl/jntarray.hpp>

#include <vector>

// What the benchmarks against KDL share: conversions between the kernel's transforms and KDL's types,
// and KDL's own forward pass timed as the anchor of the library's.
class KdlFrames
{
public:
  static KDL::Frame ToKdl(const gp_Trsf& t);
  static gp_Trsf FromKdl(const KDL::Frame& f);
  static KDL::JntArray ToJnt(const std::vector<double>& pose);

  // Times KDL's forward pass along `chain` at each of `poses` in turn, so that no call repeats its
  // predecessor's input.
  static void TimeJntToCart(benchmark::State& state, const KDL::Chain& chain,
                            const std::vector<std::vector<double>>& poses);
};
