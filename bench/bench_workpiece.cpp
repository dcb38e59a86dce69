#include "RatioReporter.h"
#include "BenchParts.h"
// A workpiece built from a STEP file against reading the same file alone, and the seams of a placed
// workpiece against the seam extractor on the bare part. The part is a 620 × 580 base plate with 168
// stiffeners welded on it (2,028 edges), written to a temporary STEP file first. Then a comb whose
// two faces have 3,600 edges each, parsed alone and read whole.
#include <entity/GenerateWorkpieceHelper.h>
#include <entity/PartFile.h>
#include <entity/SeamExtractor.h>
#include <entity/Workpiece.h>

#include <BRepAlgoAPI_Fuse.hxx>
#include <BRepBuilderAPI_MakeFace.hxx>
#include <BRepBuilderAPI_MakePolygon.hxx>
#include <BRepCheck_Analyzer.hxx>
#include <BRepPrimAPI_MakePrism.hxx>
#include <Message.hxx>
#include <Message_Messenger.hxx>
#include <Message_PrinterOStream.hxx>
#include <STEPControl_Reader.hxx>
#include <STEPControl_Writer.hxx>
#include <Standard_Failure.hxx>
#include <benchmark/benchmark.h>

#include <cstdio>
#include <filesystem>
#include <initializer_list>
#include <map>
#include <string>
#include <utility>

namespace
{
constexpr int CombTeeth = 900;



const std::string& StepFile()
{
  static const std::string path = [] {
    Message::DefaultMessenger()->RemovePrinters(STANDARD_TYPE(Message_PrinterOStream));
    const std::string file = (std::filesystem::temp_directory_path() / "bench_workpiece_weldment.step").string();
    STEPControl_Writer writer;
    if (writer.Transfer(BenchParts::Weldment(), STEPControl_AsIs) != IFSelect_RetDone ||
        writer.Write(file.c_str()) != IFSelect_RetDone)
      throw Standard_Failure("bench_workpiece: the weldment could not be written");
    return file;
  }();
  return path;
}

// A 5 mm plate with 900 teeth of 2 × 3 mm at 4 mm pitch, extruded 10 mm: two faces of about
// 3,600 edges each, written to a temporary STEP file.
const std::string& CombFile()
{
  static const std::string path = [] {
    BRepBuilderAPI_MakePolygon outline;
    for (const gp_Pnt& p : {gp_Pnt(0, 0, 0), gp_Pnt(4.0 * CombTeeth, 0, 0), gp_Pnt(4.0 * CombTeeth, 5, 0)})
      outline.Add(p);
    for (int i = CombTeeth - 1; i >= 0; --i)
      for (const auto& [dx, y] : {std::pair(3.0, 5.0), std::pair(3.0, 8.0), std::pair(1.0, 8.0), std::pair(1.0, 5.0)})
        outline.Add(gp_Pnt(4.0 * i + dx, y, 0));
    outline.Add(gp_Pnt(0, 5, 0));
    outline.Close();
    const TopoDS_Shape comb = BRepPrimAPI_MakePrism(BRepBuilderAPI_MakeFace(outline.Wire()).Face(), gp_Vec(0, 0, 10));
    const std::string file = (std::filesystem::temp_directory_path() / "bench_workpiece_comb.step").string();
    STEPControl_Writer writer;
    if (writer.Transfer(comb, STEPControl_AsIs) != IFSelect_RetDone || writer.Write(file.c_str()) != IFSelect_RetDone)
      throw Standard_Failure("bench_workpiece: the comb could not be written");
    return file;
  }();
  return path;
}

const TopoDS_Shape& Part()
{
  static const TopoDS_Shape part = PartFile::Read(StepFile());
  return part;
}

void BM_ReadStepAlone(benchmark::State& state)
{
  for (auto _ : state)
  {
    STEPControl_Reader reader;
    reader.ReadFile(StepFile().c_str());
    reader.TransferRoots();
    benchmark::DoNotOptimize(reader.OneShape());
  }
}

void BM_WorkpieceFromStep(benchmark::State& state)
{
  for (auto _ : state)
    benchmark::DoNotOptimize(Workpiece::FromPartFile(StepFile()));
}

void BM_SeamsOfBarePart(benchmark::State& state)
{
  Part();
  for (auto _ : state)
    benchmark::DoNotOptimize(SeamExtractor(Part()).Extract(SeamExtractor::Options()));
}

void BM_SeamsOfPlacedWorkpiece(benchmark::State& state)
{
  const std::unique_ptr<Workpiece> part = Workpiece::FromPartFile(StepFile());
  gp_Trsf placement;
  placement.SetRotation(gp_Ax1(gp_Pnt(0, 0, 800), gp::DX()), 0.5);
  part->UpdatePlacementTrsf(placement);
  for (auto _ : state)
    benchmark::DoNotOptimize(part->ExtractSeams());
  state.counters["seams"] = static_cast<double>(part->ExtractSeams().segs.size());
}

// The comb's STEP file parsed, without the transfer to a shape.
void BM_CombStepParse(benchmark::State& state)
{
  for (auto _ : state)
  {
    STEPControl_Reader reader;
    benchmark::DoNotOptimize(reader.ReadFile(CombFile().c_str()));
  }
}

// The comb read by the library: parse and transfer (the kernel's default transfer took 96 s).
void BM_CombPartFile(benchmark::State& state)
{
  bool valid = false;
  for (auto _ : state)
    valid = BRepCheck_Analyzer(PartFile::Read(CombFile())).IsValid();
  state.counters["valid"] = valid ? 1.0 : 0.0;
}

} // namespace

BENCHMARK(BM_ReadStepAlone)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_WorkpieceFromStep)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_SeamsOfBarePart)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_SeamsOfPlacedWorkpiece)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_CombStepParse)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(1);
BENCHMARK(BM_CombPartFile)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(1);

int main(int argc, char** argv)
{
  StepFile();
  return RatioReporter::RunAll(
    argc, argv,
    [](const RatioReporter& reporter) {
      reporter.Ratio("BM_WorkpieceFromStep", "BM_ReadStepAlone", 1.3);
      reporter.Ratio("BM_SeamsOfPlacedWorkpiece", "BM_SeamsOfBarePart", 1.1);
      reporter.Bound("BM_CombPartFile", 10.0e9);
    },
    // Every run is timed by the wall clock: seams and meshes work on the thread pool.
    [](const std::string&) { return true; });
}
