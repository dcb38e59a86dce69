#include "BenchParts.h"
// One picture of the 2,028-edge weldment with its seams (seam extraction, then the part shaded with
// the seams and legend over it) against the anchor: the same extraction plus the same picture
// without seams. Both are timed alternately in one run; the ratio of their medians is the figure.
#include <entity/GenerateWorkpieceHelper.h>
#include <entity/SeamExtractor.h>
#include <entity/SeamPicture.h>

#include <BRepAlgoAPI_Fuse.hxx>
#include <Standard_Failure.hxx>
#include <TopTools_ListOfShape.hxx>
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <initializer_list>
#include <vector>

namespace
{
constexpr int Runs = 11;



double Median(std::vector<double> seconds)
{
  std::nth_element(seconds.begin(), seconds.begin() + seconds.size() / 2, seconds.end());
  return seconds[seconds.size() / 2];
}

// Extracts the seams of a freshly read part as the command does, then writes its 1280 × 1024
// picture, with the seams drawn or not; returns the seconds it took.
double Picture(const TopoDS_Shape& part, bool drawSeams, const std::string& path)
{
  const auto start = std::chrono::steady_clock::now();
  const SeamExtractor::Result seams = SeamExtractor(part).Extract(SeamExtractor::Options());
  SeamPicture::Render(part, drawSeams ? &seams.segs : nullptr, SeamPicture::Options(), path);
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

void BM_RenderWithSeams_vs_SeamsPlusPlainRender(benchmark::State& state)
{
  const TopoDS_Shape part = BenchParts::Weldment();
  const std::string path = (std::filesystem::temp_directory_path() / "bench_render.png").string();
  // The first picture opens the display and loads the GL driver: warm-up, not timed.
  Picture(part, true, path);
  std::vector<double> seams, plain;
  for (auto _ : state)
  {
    seams.push_back(Picture(part, true, path));
    plain.push_back(Picture(part, false, path));
  }
  state.counters["seams_s"] = Median(seams);
  state.counters["anchor_s"] = Median(plain);
  state.counters["x_anchor"] = Median(seams) / Median(plain);
  std::filesystem::remove(path);
}
} // namespace

BENCHMARK(BM_RenderWithSeams_vs_SeamsPlusPlainRender)->Iterations(Runs)->Unit(benchmark::kMillisecond);
BENCHMARK_MAIN();
