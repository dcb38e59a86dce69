#include "KdlFrames.h"

#include <kdl/chainfksolverpos_recursive.hpp>

KDL::Frame KdlFrames::ToKdl(const gp_Trsf& t)
{
  return KDL::Frame(KDL::Rotation(t.Value(1, 1), t.Value(1, 2), t.Value(1, 3), t.Value(2, 1), t.Value(2, 2),
                                  t.Value(2, 3), t.Value(3, 1), t.Value(3, 2), t.Value(3, 3)),
                    KDL::Vector(t.Value(1, 4), t.Value(2, 4), t.Value(3, 4)));
}

gp_Trsf KdlFrames::FromKdl(const KDL::Frame& f)
{
  gp_Trsf t;
  t.SetValues(f.M(0, 0), f.M(0, 1), f.M(0, 2), f.p.x(), f.M(1, 0), f.M(1, 1), f.M(1, 2), f.p.y(), f.M(2, 0),
              f.M(2, 1), f.M(2, 2), f.p.z());
  return t;
}

KDL::JntArray KdlFrames::ToJnt(const std::vector<double>& pose)
{
  KDL::JntArray q(static_cast<unsigned>(pose.size()));
  for (size_t i = 0; i < pose.size(); ++i)
    q(static_cast<unsigned>(i)) = pose[i];
  return q;
}

void KdlFrames::TimeJntToCart(benchmark::State& state, const KDL::Chain& chain,
                              const std::vector<std::vector<double>>& poses)
{
  KDL::ChainFkSolverPos_recursive solver(chain);
  std::vector<KDL::JntArray> q;
  for (const std::vector<double>& pose : poses)
    q.push_back(ToJnt(pose));
  KDL::Frame end;
  size_t n = 0;
  for (auto _ : state)
  {
    benchmark::DoNotOptimize(solver.JntToCart(q[n], end));
    benchmark::DoNotOptimize(end);
    n = n + 1 < q.size() ? n + 1 : 0;
  }
}
