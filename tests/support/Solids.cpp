#include "Solids.h"

#include <BRepAdaptor_Curve.hxx>
#include <BRepBndLib.hxx>
#include <BRepAlgoAPI_Fuse.hxx>
#include <BRepBuilderAPI_MakeFace.hxx>
#include <BRepBuilderAPI_MakePolygon.hxx>
#include <BRepBuilderAPI_Transform.hxx>
#include <BRepFilletAPI_MakeFillet.hxx>
#include <BRepPrimAPI_MakeBox.hxx>
#include <BRepPrimAPI_MakeCylinder.hxx>
#include <BRepPrimAPI_MakePrism.hxx>
#include <Bnd_Box.hxx>
#include <Standard_Failure.hxx>
#include <TopExp_Explorer.hxx>
#include <TopoDS.hxx>

#include <cmath>

TopoDS_Shape Solids::Box(double dx, double dy, double dz)
{
  return BRepPrimAPI_MakeBox(dx, dy, dz).Shape();
}

TopoDS_Shape Solids::BoxAt(double x, double y, double z, double dx, double dy, double dz)
{
  return BRepPrimAPI_MakeBox(gp_Pnt(x, y, z), dx, dy, dz).Shape();
}

TopoDS_Shape Solids::Moved(const TopoDS_Shape& shape, const gp_Trsf& trsf)
{
  return BRepBuilderAPI_Transform(shape, trsf, true).Shape();
}

TopoDS_Shape Solids::LSolid(double leg, double thick, double depth)
{
  BRepBuilderAPI_MakePolygon profile;
  for (const auto& [x, y] : {std::pair{0.0, 0.0}, {leg, 0.0}, {leg, thick}, {thick, thick}, {thick, leg}, {0.0, leg}})
    profile.Add(gp_Pnt(x, y, 0));
  profile.Close();
  const TopoDS_Face face = BRepBuilderAPI_MakeFace(profile.Wire(), true).Face();
  return BRepPrimAPI_MakePrism(face, gp_Vec(0, 0, depth)).Shape();
}

TopoDS_Shape Solids::TSolid(double width, double length, double thick, double height)
{
  gp_Trsf up;
  up.SetTranslation(gp_Vec(0.5 * (width - thick), 0, thick));
  BRepAlgoAPI_Fuse fuse(Box(width, length, thick), Moved(Box(thick, length, height), up));
  if (!fuse.IsDone())
    throw Standard_Failure("Solids::TSolid: fuse failed");
  fuse.SimplifyResult();
  return fuse.Shape();
}

TopoDS_Shape Solids::FilletedPlate(double dx, double dy, double dz, double radius)
{
  const TopoDS_Shape plate = Box(dx, dy, dz);
  BRepFilletAPI_MakeFillet fillet(plate);
  for (TopExp_Explorer it(plate, TopAbs_EDGE); it.More(); it.Next())
    if (std::abs(BRepAdaptor_Curve(TopoDS::Edge(it.Current())).Line().Direction().Z()) > 0.5)
      fillet.Add(radius, TopoDS::Edge(it.Current()));
  fillet.Build();
  if (!fillet.IsDone())
    throw Standard_Failure("Solids::FilletedPlate: fillet failed");
  return fillet.Shape();
}

TopoDS_Shape Solids::Cylinder(double radius, double height)
{
  return BRepPrimAPI_MakeCylinder(radius, height).Shape();
}

std::array<double, 6> Solids::Bounds(const TopoDS_Shape& shape, const gp_Trsf& trsf)
{
  Bnd_Box box;
  BRepBndLib::AddOptimal(shape.Moved(TopLoc_Location(trsf)), box, false, false);
  std::array<double, 6> b{};
  box.Get(b[0], b[1], b[2], b[3], b[4], b[5]);
  return b;
}
