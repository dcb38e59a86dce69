#include "BenchParts.h"
// Seam classification per edge on a generated weldment, against the bare cost of evaluating the
// two face normals of each edge (the floor), and the whole part on one thread and on the pool,
// with its faces prepared and from the bare part; then the default classifier on the largest
// parts of the test corpus, in edges per second, and the whole `workpiece seams` command on every
// corpus part.
#include <entity/AutoWeldSeamAlgUtils.h>
#include <entity/GenerateWorkpieceHelper.h>
#include <entity/PartFile.h>
#include <entity/PartRepair.h>
#include <entity/SeamExtractor.h>

#include <cadtools/ThreadPool.h>

#include <BRepAlgoAPI_Fuse.hxx>
#include <BRep_Tool.hxx>
#include <Message.hxx>
#include <Message_PrinterOStream.hxx>
#include <Standard_Failure.hxx>
#include <TopExp.hxx>
#include <TopTools_IndexedDataMapOfShapeListOfShape.hxx>
#include <TopTools_ListOfShape.hxx>
#include <TopoDS.hxx>
#include <benchmark/benchmark.h>
#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <initializer_list>
#include <iostream>
#include <string>
#include <vector>

namespace
{
constexpr double Tol = 0.1;
constexpr double Middle = 0.5;
constexpr int Step = 1;

struct Seam
{
  TopoDS_Edge edge;
  TopoDS_Face face1, face2;
};

const TopoDS_Shape& Part()
{
  static const TopoDS_Shape part = BenchParts::Weldment();
  return part;
}

const std::vector<Seam>& Seams()
{
  static const std::vector<Seam> seams = [] {
    TopTools_IndexedDataMapOfShapeListOfShape map;
    TopExp::MapShapesAndUniqueAncestors(Part(), TopAbs_EDGE, TopAbs_FACE, map);
    std::vector<Seam> result;
    for (int i = 1; i <= map.Extent(); ++i)
      if (map(i).Extent() == 2)
        result.push_back({TopoDS::Edge(map.FindKey(i)), TopoDS::Face(map(i).First()), TopoDS::Face(map(i).Last())});
    return result;
  }();
  return seams;
}

// Returns the best of three timings of `pass` over all seams, in seconds per seam.
double SecondsPerSeam(const std::function<void()>& pass)
{
  double best = 1e30;
  for (int run = 0; run < 3; ++run)
  {
    const auto start = std::chrono::steady_clock::now();
    pass();
    best = std::min(best, std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
  }
  return best / static_cast<double>(Seams().size());
}

void NormalsPass()
{
  for (const Seam& s : Seams())
  {
    benchmark::DoNotOptimize(AutoWeldSeamAlgUtils::GetFaceNormalByEdge(s.edge, s.face1, Middle));
    benchmark::DoNotOptimize(AutoWeldSeamAlgUtils::GetFaceNormalByEdge(s.edge, s.face2, Middle));
  }
}

// The anchor: the two face normals of every seam, measured once per run.
double FloorPerSeam()
{
  static const double floor = SecondsPerSeam(NormalsPass);
  return floor;
}

// Runs `pass` over all seams per iteration and reports µs per seam and the ratio to the floor.
void PerSeam(benchmark::State& state, const std::function<void()>& pass)
{
  const double floor = FloorPerSeam();
  double elapsed = 0.0;
  for (auto _ : state)
  {
    const auto start = std::chrono::steady_clock::now();
    pass();
    elapsed += std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  }
  const double perSeam = elapsed / static_cast<double>(state.iterations()) / static_cast<double>(Seams().size());
  state.counters["seams"] = static_cast<double>(Seams().size());
  state.counters["us_per_seam"] = perSeam * 1e6;
  state.counters["x_floor"] = perSeam / floor;
}

void BM_Floor_TwoFaceNormals(benchmark::State& state)
{
  PerSeam(state, NormalsPass);
}

void BM_CalcEdgeType_Probe(benchmark::State& state)
{
  PerSeam(state, [] {
    for (const Seam& s : Seams())
      benchmark::DoNotOptimize(AutoWeldSeamAlgUtils::CalcEdgeType(s.edge, s.face1, s.face2, Tol, Middle));
  });
}

void BM_CalcEdgeType_Planar(benchmark::State& state)
{
  PerSeam(state, [] {
    for (const Seam& s : Seams())
      benchmark::DoNotOptimize(AutoWeldSeamAlgUtils::CalcEdgeType(s.edge, s.face1, s.face2, Step));
  });
}

void BM_IsConcave_Orientation(benchmark::State& state)
{
  PerSeam(state, [] {
    for (const Seam& s : Seams())
      benchmark::DoNotOptimize(AutoWeldSeamAlgUtils::IsConcave(s.edge, s.face1, s.face2, Tol));
  });
}

// Returns the median of the durations in seconds.
double Median(std::vector<double> seconds)
{
  std::nth_element(seconds.begin(), seconds.begin() + seconds.size() / 2, seconds.end());
  return seconds[seconds.size() / 2];
}

// Returns the seconds one call of `pass` takes, without releasing what it returns.
double Seconds(const std::function<SeamExtractor::Result(bool)>& pass, bool parallel, SeamExtractor::Result& kept)
{
  const auto start = std::chrono::steady_clock::now();
  kept = pass(parallel);
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  return seconds;
}

// Times `pass` per iteration (on the pool when range(1) = 1) and reports the median against the
// median of the same pass on one thread, the same statistic on both sides: the machine may be
// shared. Releasing the seams is not timed (the caller keeps them). Returns the last result.
SeamExtractor::Result TimedAgainstOneThread(benchmark::State& state,
                                            const std::function<SeamExtractor::Result(bool)>& pass)
{
  constexpr int AnchorRuns = 51;
  const bool parallel = state.range(1) == 1;
  std::vector<double> single;
  for (int run = 0; run <= AnchorRuns; ++run)
  {
    SeamExtractor::Result result;
    const double seconds = Seconds(pass, false, result);
    // The first run warms up.
    if (run > 0)
      single.push_back(seconds);
  }
  std::vector<double> timed;
  SeamExtractor::Result result;
  for (auto _ : state)
  {
    SeamExtractor::Result last;
    timed.push_back(Seconds(pass, parallel, last));
    state.PauseTiming();
    result = std::move(last);
    state.ResumeTiming();
  }
  const double median = Median(timed);
  state.counters["threads"] = parallel ? GetThreadPool().Size() : 1;
  state.counters["median_s"] = median;
  state.counters["us_per_seam"] = median / static_cast<double>(Seams().size()) * 1e6;
  state.counters["x_floor"] = median / static_cast<double>(Seams().size()) / FloorPerSeam();
  state.counters["speedup_vs_1"] = Median(single) / median;
  state.SetLabel(SeamExtractor::ClassifierName(static_cast<SeamExtractor::Classifier>(state.range(0))) +
                 (parallel ? ", pool" : ", 1 thread"));
  return result;
}

SeamExtractor::Options OptionsOf(const benchmark::State& state, bool parallel)
{
  SeamExtractor::Options options;
  options.classifier = static_cast<SeamExtractor::Classifier>(state.range(0));
  options.parallel = parallel;
  return options;
}

// The weldment's seams classified by SeamExtractor, its faces already prepared: range(0) the
// classifier, range(1) = 1 for the pool.
void BM_ExtractWeldment(benchmark::State& state)
{
  static const SeamExtractor extractor(Part());
  const SeamExtractor::Result result =
    TimedAgainstOneThread(state, [&](bool parallel) { return extractor.Extract(OptionsOf(state, parallel)); });
  state.counters["concave"] = static_cast<double>(std::count_if(
    result.segs.begin(), result.segs.end(), [](const EdgeFaceSeg& s) { return s.GetEdgeType() == EdgeType::Concave; }));
}

// The whole job from the part: indexing and face preparation, then classification.
void BM_IndexAndExtractWeldment(benchmark::State& state)
{
  TimedAgainstOneThread(state, [&](bool parallel) {
    return SeamExtractor(Part(), parallel).Extract(OptionsOf(state, parallel));
  });
}
// The largest corpus parts, by their two-face edges.
const char* const LargestParts[] = {"housing-nist-ctc02.stp", "frame-bars-gussets.step", "knuckle-bspline.stp"};
// Every corpus part, for the whole command.
const char* const CorpusParts[] = {"bracket-4040-adapter.step", "housing-nist-ctc02.stp", "frame-bars-gussets.step",
                                   "flange-hub-nist-ctc05.stp", "knuckle-bspline.stp",   "slab-loose-faces.igs",
                                   "tank-nozzles.brep",         "rack-welded-plates.stp",
                                   "plate-boss-holes.stp",      "bracket-plate-holes.stp",
                                   "table-frame-square-tubes.step", "holder-frame-tubes-strips.step"};

// A corpus part's seams by the default classifier, read and repaired as the command does and its
// faces prepared: range(0) the part, range(1) = 1 for the pool.
void BM_ExtractCorpusPart(benchmark::State& state)
{
  Message::DefaultMessenger()->RemovePrinters(STANDARD_TYPE(Message_PrinterOStream));
  const std::string name = LargestParts[state.range(0)];
  const SeamExtractor extractor(PartRepair::Repair(PartFile::Read(WORKPIECE_PARTS_DIR "/" + name)).shape);
  SeamExtractor::Options options;
  options.parallel = state.range(1) == 1;
  std::size_t seams = 0;
  for (auto _ : state)
    seams = extractor.Extract(options).segs.size();
  state.counters["edges_per_s"] = benchmark::Counter(static_cast<double>(seams), benchmark::Counter::kIsIterationInvariantRate);
  state.SetLabel(name + (options.parallel ? ", pool" : ", 1 thread"));
}

// The command-line tool beside this program in the build tree (apps/workpiece/workpiece), or the one
// WORKPIECE_CLI names.
std::string CliPath()
{
  if (const char* given = std::getenv("WORKPIECE_CLI"))
    return given;
  std::error_code error;
  const std::filesystem::path self = std::filesystem::read_symlink("/proc/self/exe", error);
  return error ? std::string() : (self.parent_path().parent_path() / "apps" / "workpiece" / "workpiece").string();
}

// Returns the user and system time of the finished child processes, in seconds.
double ChildrenCpuSeconds()
{
  rusage usage{};
  getrusage(RUSAGE_CHILDREN, &usage);
  const auto seconds = [](const timeval& t) { return static_cast<double>(t.tv_sec) + 1e-6 * static_cast<double>(t.tv_usec); };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

// The whole `workpiece seams PART` run in a process of its own, file reading and start-up included,
// its output discarded: range(0) the corpus part.
void BM_SeamsCommand(benchmark::State& state)
{
  const std::string cli = CliPath(), name = CorpusParts[state.range(0)];
  if (cli.empty() || !std::filesystem::exists(cli))
  {
    state.SkipWithError("no workpiece tool: build it beside the benchmarks or set WORKPIECE_CLI");
    return;
  }
  const std::string command = "'" + cli + "' seams '" WORKPIECE_PARTS_DIR "/" + name + "' >/dev/null 2>&1";
  const double cpuBefore = ChildrenCpuSeconds();
  for (auto _ : state)
    if (std::system(command.c_str()) != 0)
    {
      state.SkipWithError(("the tool failed on " + name).c_str());
      return;
    }
  // The processor time of the runs themselves, which other work on a shared machine disturbs less
  // than the wall clock.
  state.counters["cpu_s"] = (ChildrenCpuSeconds() - cpuBefore) / static_cast<double>(state.iterations());
  state.SetLabel(name);
}
} // namespace

BENCHMARK(BM_Floor_TwoFaceNormals)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CalcEdgeType_Probe)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CalcEdgeType_Planar)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_IsConcave_Orientation)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ExtractWeldment)
  ->ArgsProduct({{0, 1, 2}, {0, 1}})
  ->Unit(benchmark::kMillisecond)
  ->UseRealTime();
BENCHMARK(BM_IndexAndExtractWeldment)
  ->ArgsProduct({{0}, {0, 1}})
  ->Unit(benchmark::kMillisecond)
  ->UseRealTime();

BENCHMARK(BM_ExtractCorpusPart)->ArgsProduct({{0, 1, 2}, {0, 1}})->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_SeamsCommand)->DenseRange(0, 11)->Iterations(3)->Unit(benchmark::kMillisecond)->UseRealTime();

int main(int argc, char** argv)
{
  std::cout << "weldment: " << Seams().size() << " two-face edges" << std::endl;
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv))
    return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
