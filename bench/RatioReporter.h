#pragma once

#include <benchmark/benchmark.h>

#include <functional>
#include <map>
#include <string>
#include <vector>

// The console report, plus every run's time kept to print ratios against an anchor of the same run.
class RatioReporter : public benchmark::ConsoleReporter
{
public:
  // Runs for which `wallTimed` is true are kept by their wall time (work on the pool), the others by
  // their CPU time.
  explicit RatioReporter(std::function<bool(const std::string&)> wallTimed = {});

  void ReportRuns(const std::vector<Run>& runs) override;

  // Prints `name`'s time as a ratio of `anchor`'s, with the goal it is held to.
  void Ratio(const std::string& name, const std::string& anchor, double goal) const;

  // Prints `name`'s time per iteration against a bound in nanoseconds.
  void Bound(const std::string& name, double goalNs) const;

  // Runs the benchmarks the command line selects through a RatioReporter made with `wallTimed`, then
  // prints `goals` from it; returns main's exit code (1 for arguments the benchmark library does not know).
  static int RunAll(int argc, char** argv, const std::function<void(const RatioReporter&)>& goals,
                    std::function<bool(const std::string&)> wallTimed = {});

private:
  std::function<bool(const std::string&)> myWallTimed;
  std::map<std::string, double> myNs;
};
