#include "PlateAssemblies.h"

#include "Solids.h"

#include <entity/ShapeEntity.h>

#include <cadtools/Uuid.h>

#include <BRepAlgoAPI_Cut.hxx>
#include <Standard_Failure.hxx>
#include <TopoDS_Builder.hxx>
#include <TopoDS_Compound.hxx>

namespace
{
std::vector<TopoDS_Shape> StandingPlates(double flangeThick)
{
  return {Solids::BoxAt(50, 200 - 0.5 * flangeThick, 20, 300, flangeThick, 200),
          Solids::BoxAt(195, 200 + 0.5 * flangeThick, 20, 10, 100, 150),
          Solids::BoxAt(195, 100 - 0.5 * flangeThick, 20, 10, 100, 150)};
}
} // namespace

std::vector<TopoDS_Shape> PlateAssemblies::TowerCorner(double flangeThick)
{
  std::vector<TopoDS_Shape> solids{Solids::BoxAt(0, 0, 0, 400, 400, 20)};
  for (const TopoDS_Shape& plate : StandingPlates(flangeThick))
    solids.push_back(plate);
  return solids;
}

std::vector<TopoDS_Shape> PlateAssemblies::SplitBottomTowerCorner()
{
  std::vector<TopoDS_Shape> solids{Solids::BoxAt(0, 0, 0, 200, 400, 20), Solids::BoxAt(200, 0, 0, 200, 400, 20)};
  for (const TopoDS_Shape& plate : StandingPlates(12.0))
    solids.push_back(plate);
  return solids;
}

std::vector<TopoDS_Shape> PlateAssemblies::TwinFlangeTowerCorner()
{
  std::vector<TopoDS_Shape> solids = TowerCorner();
  solids.push_back(Solids::BoxAt(50, 306, 20, 300, 12, 200));
  return solids;
}

std::vector<TopoDS_Shape> PlateAssemblies::ScatteredCubes(int count)
{
  std::vector<TopoDS_Shape> solids;
  for (int i = 0; i < count; ++i)
    solids.push_back(Solids::BoxAt(100.0 * i, 0, 0, 50, 50, 50));
  return solids;
}

std::vector<TopoDS_Shape> PlateAssemblies::HBeam()
{
  return {Solids::BoxAt(0, -5, 10, 1000, 10, 180), Solids::BoxAt(0, -75, 0, 1000, 150, 10), Solids::BoxAt(0, -75, 190, 1000, 150, 10)};
}

TopoDS_Shape PlateAssemblies::BoxColumn()
{
  BRepAlgoAPI_Cut tube(Solids::Box(500, 100, 60), Solids::BoxAt(-1, 5, 5, 502, 90, 50));
  if (!tube.IsDone())
    throw Standard_Failure("PlateAssemblies::BoxColumn: cut failed");
  return tube.Shape();
}

TopoDS_Shape PlateAssemblies::Compound(const std::vector<TopoDS_Shape>& solids)
{
  TopoDS_Compound compound;
  TopoDS_Builder builder;
  builder.MakeCompound(compound);
  for (const TopoDS_Shape& solid : solids)
    builder.Add(compound, solid);
  return compound;
}

std::unique_ptr<Workpiece> PlateAssemblies::WorkpieceOf(const TopoDS_Shape& shape)
{
  const Handle(ShapeEntity) root = new ShapeEntity(shape, Uuid::CreateUuid());
  return std::make_unique<Workpiece>(root);
}
