#include "BenchParts.h"
#include "RatioReporter.h"
// The ordinary placement of a workpiece against its first step alone, the oriented box of the whole
// shape (BRepBndLib::AddOBB on the triangulation), for the 2,000-edge weldment and for a weldment ten
// times as large: the placement should stay within 3× its box, and grow linearly with the faces from
// the same part at scale 1 to scale 10.
#include <entity/ShapeEntity.h>
#include <entity/Workpiece.h>
#include <entity/WorkpieceAnalysis.h>

#include <cadtools/Uuid.h>

#include <BRepBndLib.hxx>
#include <Bnd_OBB.hxx>
#include <Standard_Failure.hxx>
#include <TopExp.hxx>
#include <TopTools_IndexedMapOfShape.hxx>
#include <TopoDS_Builder.hxx>
#include <TopoDS_Compound.hxx>
#include <benchmark/benchmark.h>

#include <memory>

namespace
{
constexpr int Scale = 10;

std::unique_ptr<Workpiece> MakeWorkpiece(const TopoDS_Shape& shape)
{
  const Handle(ShapeEntity) root = new ShapeEntity(shape, Uuid::CreateUuid());
  return std::make_unique<Workpiece>(root);
}

Workpiece& Weldment()
{
  static const std::unique_ptr<Workpiece> part = MakeWorkpiece(BenchParts::Weldment());
  return *part;
}

// The weldment as a compound of separate solids (fusing 1,680 plates took minutes), `scale` times as
// long with `scale` times the stiffeners: 620·scale × 580 × 12 with 168·scale stiffeners. The base
// comes last, so that the walk over the faces meets every stiffener before the face the part stands on.
std::unique_ptr<Workpiece> Studs(int scale)
{
  TopoDS_Compound studs;
  TopoDS_Builder builder;
  builder.MakeCompound(studs);
  for (int i = 0; i < scale * BenchParts::StudsX; ++i)
    for (int j = 0; j < BenchParts::StudsY; ++j)
    {
      const double x = 20.0 + 50.0 * i, y = 20.0 + 40.0 * j;
      builder.Add(studs, BenchParts::Plate({{x, y, 12}, {x + 30, y, 12}, {x + 30, y + 6, 12}, {x, y + 6, 12}},
                                           gp_Vec(0, 0, 40)));
    }
  const double length = 620.0 * scale;
  builder.Add(studs, BenchParts::Plate({{0, 0, 0}, {length, 0, 0}, {length, 580, 0}, {0, 580, 0}}, gp_Vec(0, 0, 12)));
  return MakeWorkpiece(studs);
}

Workpiece& Small()
{
  static const std::unique_ptr<Workpiece> part = Studs(1);
  return *part;
}

Workpiece& Large()
{
  static const std::unique_ptr<Workpiece> part = Studs(Scale);
  return *part;
}

void CountFaces(benchmark::State& state, Workpiece& part)
{
  TopTools_IndexedMapOfShape faces;
  TopExp::MapShapes(part.GetEntireShape(), TopAbs_FACE, faces);
  state.counters["faces"] = faces.Extent();
}

void EntireShapeOBB(benchmark::State& state, Workpiece& part)
{
  for (auto _ : state)
  {
    Bnd_OBB box;
    BRepBndLib::AddOBB(part.GetEntireShape(), box, true, false, true);
    benchmark::DoNotOptimize(box);
  }
  CountFaces(state, part);
}

void OrdinaryPlacement(benchmark::State& state, Workpiece& part)
{
  gp_Trsf target;
  target.SetTranslation(gp_Vec(0, 0, 800));
  for (auto _ : state)
  {
    const auto [ok, trsf] = WorkpieceAnalysis::OrgWorkpieceLocaitonTo(&part, target, gp_Pnt(0, 0, 800), gp::DY());
    if (!ok)
      state.SkipWithError("the part found no face to stand on");
    benchmark::DoNotOptimize(trsf);
  }
  CountFaces(state, part);
}

// The reporter keeps one time per function: each size has functions of its own.
void BM_WeldmentOBB(benchmark::State& state)
{
  EntireShapeOBB(state, Weldment());
}

void BM_SmallPlacement(benchmark::State& state)
{
  OrdinaryPlacement(state, Small());
}

void BM_LargeOBB(benchmark::State& state)
{
  EntireShapeOBB(state, Large());
}

void BM_WeldmentPlacement(benchmark::State& state)
{
  OrdinaryPlacement(state, Weldment());
}

void BM_LargePlacement(benchmark::State& state)
{
  OrdinaryPlacement(state, Large());
}
} // namespace

BENCHMARK(BM_WeldmentOBB)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SmallPlacement)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_LargeOBB)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_WeldmentPlacement)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_LargePlacement)->Unit(benchmark::kMillisecond);

int main(int argc, char** argv)
{
  Small();
  Large();
  return RatioReporter::RunAll(argc, argv, [](const RatioReporter& reporter) {
    reporter.Ratio("BM_WeldmentPlacement", "BM_WeldmentOBB", 3.0);
    reporter.Ratio("BM_LargePlacement", "BM_LargeOBB", 3.0);
    // Ten times the faces (10,086 against 1,014), both walked to their last face: linear growth is a
    // ratio near 10.
    reporter.Ratio("BM_LargePlacement", "BM_SmallPlacement", 12.0);
  });
}
