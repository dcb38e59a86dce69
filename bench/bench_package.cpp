// Entity packages of the sample robot: ExportEntityPkg (layout, display tree and 7z compression)
// against `7z a` with LZMA2 on the folder it writes, and reading the package back (unpacking and
// loading) against `7z x` of the same package followed by loading the unpacked mechanism.
#include <entity/EntityPackage.h>

#include <cadtools/DataHandle.h>

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <string>

namespace fs = std::filesystem;

namespace
{
const fs::path Work = fs::temp_directory_path() / "workpiece_bench_package";

// The sample robot, loaded once.
GenericEntityConfig& Robot()
{
  static GenericEntityConfig robot;
  static const bool loaded = [] {
    const fs::path file = fs::path(WORKPIECE_EXAMPLES_DIR) / "cell" / "robot.json";
    Json::Value json = DataHandle::LoadJson(file.string());
    json["ShapeEntityPath"] = (file.parent_path() / json["ShapeEntityPath"].asString()).string();
    robot.LoadFromJson(json);
    return true;
  }();
  (void)loaded;
  return robot;
}

// A package of the robot and its folder, written once.
std::string Package()
{
  static const std::string package = [] {
    fs::remove_all(Work);
    fs::create_directories(Work);
    const std::string path = (Work / "robot.7z").string();
    GenericEntityConfig::ExportEntityPkg(&Robot(), path);
    return path;
  }();
  return package;
}

void Run(benchmark::State& state, const std::string& command)
{
  if (std::system((command + " > /dev/null").c_str()) != 0)
    state.SkipWithError(("failed: " + command).c_str());
}

void BM_ExportEntityPkg(benchmark::State& state)
{
  const std::string path = (Work / "export" / "robot.7z").string();
  for (auto _ : state)
  {
    state.PauseTiming();
    fs::remove_all(Work / "export");
    state.ResumeTiming();
    benchmark::DoNotOptimize(GenericEntityConfig::ExportEntityPkg(&Robot(), path));
  }
}

void BM_SevenZipAdd(benchmark::State& state)
{
  const std::string folder = (Work / "robot").string(), archive = (Work / "7z-add.7z").string();
  Package();
  for (auto _ : state)
  {
    state.PauseTiming();
    fs::remove(archive);
    state.ResumeTiming();
    Run(state, "7z a -t7z -m0=lzma2 -bd " + archive + " " + folder);
  }
}

void BM_ReadPackage(benchmark::State& state)
{
  const std::string package = Package(), folder = (Work / "read").string();
  for (auto _ : state)
  {
    state.PauseTiming();
    fs::remove_all(folder);
    state.ResumeTiming();
    benchmark::DoNotOptimize(EntityPackage::Read(package, folder));
  }
}

void BM_SevenZipExtractAndLoad(benchmark::State& state)
{
  const std::string package = Package(), folder = (Work / "7z-x").string();
  for (auto _ : state)
  {
    state.PauseTiming();
    fs::remove_all(folder);
    state.ResumeTiming();
    Run(state, "7z x -y -bd -o" + folder + " " + package);
    benchmark::DoNotOptimize(EntityPackage::Load(folder + "/robot/"));
  }
}
} // namespace

BENCHMARK(BM_ExportEntityPkg)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SevenZipAdd)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ReadPackage)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SevenZipExtractAndLoad)->Unit(benchmark::kMillisecond);
BENCHMARK_MAIN();
