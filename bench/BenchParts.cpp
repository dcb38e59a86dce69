#include "BenchParts.h"

#include <entity/GenerateWorkpieceHelper.h>

#include <BRepAlgoAPI_Fuse.hxx>
#include <NCollection_Sequence.hxx>
#include <Standard_Failure.hxx>
#include <TopTools_ListOfShape.hxx>

TopoDS_Shape BenchParts::Plate(std::initializer_list<gp_Pnt> outline, const gp_Vec& depth)
{
  NCollection_Sequence<gp_Pnt> points;
  for (const gp_Pnt& p : outline)
    points.Append(p);
  return GenerateWorkpieceHelper::MakePrismByFace(GenerateWorkpieceHelper::MakeFaceByPnt(points), depth, false);
}

TopoDS_Shape BenchParts::Weldment()
{
  const TopoDS_Shape base = Plate({{0, 0, 0}, {620, 0, 0}, {620, 580, 0}, {0, 580, 0}}, gp_Vec(0, 0, 12));
  TopTools_ListOfShape arguments, tools;
  arguments.Append(base);
  for (int i = 0; i < StudsX; ++i)
    for (int j = 0; j < StudsY; ++j)
    {
      const double x = 20.0 + 50.0 * i, y = 20.0 + 40.0 * j;
      tools.Append(Plate({{x, y, 12}, {x + 30, y, 12}, {x + 30, y + 6, 12}, {x, y + 6, 12}}, gp_Vec(0, 0, 40)));
    }
  BRepAlgoAPI_Fuse fuse;
  fuse.SetArguments(arguments);
  fuse.SetTools(tools);
  fuse.Build();
  if (!fuse.IsDone())
    throw Standard_Failure("BenchParts: the weldment could not be fused");
  fuse.SimplifyResult();
  return fuse.Shape();
}
