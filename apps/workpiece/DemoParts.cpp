#include "DemoParts.h"

#include <entity/GenerateWorkpieceHelper.h>

#include <BRepAlgoAPI_Fuse.hxx>
#include <Standard_Failure.hxx>

#include <initializer_list>

namespace
{
// Returns the plate extruded by `depth` from the polygon.
TopoDS_Shape Plate(std::initializer_list<gp_Pnt> polygon, const gp_Vec& depth)
{
  NCollection_Sequence<gp_Pnt> points;
  for (const gp_Pnt& p : polygon)
    points.Append(p);
  const TopoDS_Face face = GenerateWorkpieceHelper::MakeFaceByPnt(points);
  if (face.IsNull())
    throw Standard_Failure("DemoParts: the plate's outline is not a planar polygon");
  const TopoDS_Shape plate = GenerateWorkpieceHelper::MakePrismByFace(face, depth, false);
  if (plate.IsNull())
    throw Standard_Failure("DemoParts: the plate could not be extruded");
  return plate;
}
} // namespace

TopoDS_Shape DemoParts::TJoint()
{
  const TopoDS_Shape base = Plate({{0, 0, 0}, {200, 0, 0}, {200, 100, 0}, {0, 100, 0}}, gp_Vec(0, 0, 10));
  const TopoDS_Shape web = Plate({{95, 0, 10}, {105, 0, 10}, {105, 0, 70}, {95, 0, 70}}, gp_Vec(0, 100, 0));
  BRepAlgoAPI_Fuse fuse(base, web);
  fuse.Build();
  if (!fuse.IsDone())
    throw Standard_Failure("DemoParts: the web could not be fused to the base plate");
  // Coplanar faces of base and web become one face, as on a welded part.
  fuse.SimplifyResult();
  return fuse.Shape();
}

TopoDS_Shape DemoParts::LBracket()
{
  return Plate({{0, 0, 0}, {60, 0, 0}, {60, 10, 0}, {10, 10, 0}, {10, 60, 0}, {0, 60, 0}}, gp_Vec(0, 0, 80));
}
