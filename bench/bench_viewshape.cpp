// Display-tree files: a tree of 1,000 parts written and read as JSON (ViewShapeUtil) against the
// plain BRepTools text write and read of the same shapes, and the read on the shared pool against
// the same read on one thread. The reads report the CPU time of all threads, the work they spread.
// Every benchmark runs on two trees (the argument): 0, the plainest parts (boxes and cylinders,
// where the fixed cost of a node weighs most), and 1, welded plates (filleted, with a bore).
#include <entity/ViewShapeUtil.h>

#include <cadtools/DataHandle.h>
#include <cadtools/ThreadPool.h>

#include <BRepAlgoAPI_Cut.hxx>
#include <BRepFilletAPI_MakeFillet.hxx>
#include <BRepPrimAPI_MakeBox.hxx>
#include <BRepPrimAPI_MakeCylinder.hxx>
#include <BRepTools.hxx>
#include <BRep_Builder.hxx>
#include <TopExp_Explorer.hxx>
#include <TopoDS.hxx>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace
{
constexpr int Groups = 9;
constexpr int PartsPerGroup = 110;

constexpr int PlateKinds = 7;
constexpr double PlateFillet = 1.5;

// Returns a welded plate of kind `k`: a plate with every edge filleted and a bore through it.
TopoDS_Shape Plate(int k)
{
  const TopoDS_Shape plate = BRepPrimAPI_MakeBox(40.0 + k, 30, 8).Shape();
  BRepFilletAPI_MakeFillet fillet(plate);
  for (TopExp_Explorer ex(plate, TopAbs_EDGE); ex.More(); ex.Next())
    fillet.Add(PlateFillet, TopoDS::Edge(ex.Current()));
  fillet.Build();
  if (!fillet.IsDone())
    throw std::runtime_error("the plate fillet failed");
  BRepAlgoAPI_Cut bored(fillet.Shape(), BRepPrimAPI_MakeCylinder(gp_Ax2(gp_Pnt(12, 15, -1), gp::DZ()), 4, 10).Shape());
  if (!bored.IsDone())
    throw std::runtime_error("the plate bore failed");
  return bored.Shape();
}

// Returns part `i` of a tree of `kind`.
TopoDS_Shape Part(int kind, int i)
{
  static const std::array<TopoDS_Shape, PlateKinds> plates = [] {
    std::array<TopoDS_Shape, PlateKinds> made;
    for (int k = 0; k < PlateKinds; ++k)
      made[k] = Plate(k);
    return made;
  }();
  if (kind == 1)
    return plates[i % PlateKinds];
  return i % 2 == 0 ? BRepPrimAPI_MakeBox(10 + i, 20, 30).Shape() : BRepPrimAPI_MakeCylinder(5 + i * 0.1, 40).Shape();
}

// Returns a tree of `kind`: a root over 9 groups of 110 parts (1,000 nodes), each part placed and
// with one face painted.
Handle(ShapeEntity) BuildTree(int kind)
{
  Handle(ShapeEntity) root = new ShapeEntity(TopoDS_Shape(), Uuid::CreateUuid());
  std::vector<Handle(ViewShape)> groups;
  for (int g = 0; g < Groups; ++g)
  {
    Handle(ShapeEntity) group = new ShapeEntity(BRepPrimAPI_MakeBox(50, 50, 5).Shape(), Uuid::CreateUuid());
    std::vector<Handle(ViewShape)> parts;
    for (int i = 0; i < PartsPerGroup; ++i)
    {
      const TopoDS_Shape shape = Part(kind, i);
      Handle(ShapeEntity) part = new ShapeEntity(shape, Uuid::CreateUuid());
      gp_Trsf place;
      place.SetTranslation(gp_Vec(60.0 * i, 100.0 * g, 0));
      part->SetLocalTransformation(place);
      part->SetCustomColor(TopExp_Explorer(shape, TopAbs_FACE).Current(), Quantity_Color(0.1, 0.009 * i, 0.5, Quantity_TOC_RGB));
      parts.push_back(part);
    }
    group->AddShapeListToAISChilde(parts);
    groups.push_back(group);
  }
  root->AddShapeListToAISChilde(groups);
  return root;
}

const Handle(ShapeEntity)& Tree(int kind)
{
  static const std::array<Handle(ShapeEntity), 2> trees{BuildTree(0), BuildTree(1)};
  return trees.at(kind);
}

// Returns the tree the benchmark runs on, by its argument.
const Handle(ShapeEntity)& Tree(const benchmark::State& state)
{
  return Tree(static_cast<int>(state.range(0)));
}

std::vector<TopoDS_Shape> TreeShapes(const benchmark::State& state)
{
  std::vector<TopoDS_Shape> shapes;
  for (const Handle(ViewShape)& node : Tree(state)->GetAllSubViewShapes())
    shapes.push_back(node->GetEntityShape());
  return shapes;
}

// Returns the file the benchmark writes or reads, one per tree and extension.
std::string Path(const benchmark::State& state, const std::string& extension)
{
  static const std::string dir = (std::filesystem::temp_directory_path() / "bench_viewshape").string() + "/";
  std::filesystem::create_directories(dir);
  return dir + "tree" + std::to_string(state.range(0)) + extension;
}

void ExportJson(benchmark::State& state)
{
  const std::string path = Path(state, ".json");
  for (auto _ : state)
    benchmark::DoNotOptimize(ViewShapeUtil::ExportToFile(Tree(state), path, false));
}

void WriteBRep(benchmark::State& state)
{
  const std::vector<TopoDS_Shape> shapes = TreeShapes(state);
  const std::string path = Path(state, ".brep");
  for (auto _ : state)
  {
    std::ofstream out(path);
    for (const TopoDS_Shape& shape : shapes)
      BRepTools::Write(shape, out, true, false, TopTools_FormatVersion_VERSION_3);
  }
}

void LoadJson(benchmark::State& state, ThreadPool& pool)
{
  const std::string path = Path(state, ".json");
  ViewShapeUtil::ExportToFile(Tree(state), path, false);
  for (auto _ : state)
  {
    Handle(ShapeEntity) tree = ViewShapeUtil::LoadFromJson(DataHandle::LoadJson(path), pool);
    // Releasing what was read is not part of reading it (here as in ReadBRep).
    state.PauseTiming();
    if (tree.IsNull() || tree->GetAllSubViewShapes().size() + 1 != 1000)
      state.SkipWithError("the tree did not load back whole");
    tree.Nullify();
    state.ResumeTiming();
  }
}

void LoadJsonPool(benchmark::State& state)
{
  LoadJson(state, GetThreadPool());
}

void LoadJsonOneThread(benchmark::State& state)
{
  ThreadPool single(1);
  LoadJson(state, single);
}

// The share of the JSON read that is only the parse of the document.
void ParseJsonOnly(benchmark::State& state)
{
  const std::string path = Path(state, ".json");
  ViewShapeUtil::ExportToFile(Tree(state), path, false);
  for (auto _ : state)
    benchmark::DoNotOptimize(DataHandle::LoadJson(path).size());
}

// The share of the JSON write that is only building the document in memory.
void ExportToJsonOnly(benchmark::State& state)
{
  for (auto _ : state)
    benchmark::DoNotOptimize(ViewShapeUtil::ExportToJson(Tree(state), false).size());
}

// The share of the JSON write that is only writing the built document to its file.
void SaveJsonOnly(benchmark::State& state)
{
  const std::string path = Path(state, ".json");
  const Json::Value json = ViewShapeUtil::ExportToJson(Tree(state), false);
  for (auto _ : state)
    benchmark::DoNotOptimize(DataHandle::SaveJson(json, path));
}

// The share of the JSON read that is only building the tree from the parsed document.
void LoadFromJsonOnly(benchmark::State& state, ThreadPool& pool)
{
  const std::string path = Path(state, ".json");
  ViewShapeUtil::ExportToFile(Tree(state), path, false);
  const Json::Value json = DataHandle::LoadJson(path);
  for (auto _ : state)
  {
    Handle(ShapeEntity) tree = ViewShapeUtil::LoadFromJson(json, pool);
    state.PauseTiming();
    if (tree.IsNull())
      state.SkipWithError("the tree did not load back");
    tree.Nullify();
    state.ResumeTiming();
  }
}

void LoadFromJsonOnlyPool(benchmark::State& state)
{
  LoadFromJsonOnly(state, GetThreadPool());
}

void LoadFromJsonOnlyOneThread(benchmark::State& state)
{
  ThreadPool single(1);
  LoadFromJsonOnly(state, single);
}

void ReadBRep(benchmark::State& state)
{
  const std::vector<TopoDS_Shape> shapes = TreeShapes(state);
  const std::string path = Path(state, ".brep");
  {
    std::ofstream out(path);
    for (const TopoDS_Shape& shape : shapes)
      BRepTools::Write(shape, out, true, false, TopTools_FormatVersion_VERSION_3);
  }
  for (auto _ : state)
  {
    std::ifstream in(path);
    std::vector<TopoDS_Shape> read(shapes.size());
    for (TopoDS_Shape& shape : read)
      BRepTools::Read(shape, in, BRep_Builder());
    state.PauseTiming();
    if (std::count_if(read.begin(), read.end(), [](const TopoDS_Shape& s) { return !s.IsNull(); }) !=
        static_cast<long>(shapes.size()))
      state.SkipWithError("the shapes did not read back");
    read.clear();
    state.ResumeTiming();
  }
}
} // namespace

BENCHMARK(ExportJson)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(WriteBRep)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(LoadJsonPool)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime()->UseRealTime();
BENCHMARK(LoadJsonOneThread)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime()->UseRealTime();
BENCHMARK(ParseJsonOnly)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime()->UseRealTime();
BENCHMARK(ExportToJsonOnly)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(SaveJsonOnly)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(LoadFromJsonOnlyPool)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime()->UseRealTime();
BENCHMARK(LoadFromJsonOnlyOneThread)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime()->UseRealTime();
BENCHMARK(ReadBRep)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->UseRealTime();

BENCHMARK_MAIN();
