#include "RatioReporter.h"

#include <cstdio>
#include <utility>

namespace
{
// Nanoseconds per unit of a run's time.
double Scale(benchmark::TimeUnit unit)
{
  switch (unit)
  {
  case benchmark::kSecond:
    return 1.0e9;
  case benchmark::kMillisecond:
    return 1.0e6;
  case benchmark::kMicrosecond:
    return 1.0e3;
  default:
    return 1.0;
  }
}
} // namespace

RatioReporter::RatioReporter(std::function<bool(const std::string&)> wallTimed)
  : myWallTimed(std::move(wallTimed))
{
}

void RatioReporter::ReportRuns(const std::vector<Run>& runs)
{
  ConsoleReporter::ReportRuns(runs);
  for (const Run& run : runs)
    if (run.run_type == Run::RT_Iteration || run.aggregate_name == "median")
    {
      const std::string& name = run.run_name.function_name;
      const bool wall = myWallTimed && myWallTimed(name);
      myNs[name] = (wall ? run.GetAdjustedRealTime() : run.GetAdjustedCPUTime()) * Scale(run.time_unit);
    }
}

void RatioReporter::Ratio(const std::string& name, const std::string& anchor, double goal) const
{
  const auto n = myNs.find(name);
  const auto a = myNs.find(anchor);
  if (n == myNs.end() || a == myNs.end() || a->second <= 0.0)
    return;
  const double ratio = n->second / a->second;
  std::printf("%-36s / %-26s = %.2f (goal <= %.2f)%s\n", name.c_str(), anchor.c_str(), ratio, goal,
              ratio <= goal ? "" : "  MISSED");
}

void RatioReporter::Bound(const std::string& name, double goalNs) const
{
  const auto n = myNs.find(name);
  if (n == myNs.end())
    return;
  // Long runs read better in milliseconds.
  const bool ms = goalNs >= 1.0e6;
  const double scale = ms ? 1.0e-6 : 1.0;
  std::printf("%-36s = %.0f %s per iteration (goal < %.0f %s)%s\n", name.c_str(), n->second * scale, ms ? "ms" : "ns",
              goalNs * scale, ms ? "ms" : "ns", n->second < goalNs ? "" : "  MISSED");
}

int RatioReporter::RunAll(int argc, char** argv, const std::function<void(const RatioReporter&)>& goals,
                          std::function<bool(const std::string&)> wallTimed)
{
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv))
    return 1;
  RatioReporter reporter(std::move(wallTimed));
  benchmark::RunSpecifiedBenchmarks(&reporter);
  goals(reporter);
  benchmark::Shutdown();
  return 0;
}
