#include "SeamSolids.h"

#include <BRepAdaptor_Curve.hxx>
#include <BRepAlgoAPI_Fuse.hxx>
#include <BRepPrimAPI_MakeBox.hxx>
#include <Standard_Failure.hxx>
#include <TopTools_ListOfShape.hxx>
#include <BRepBuilderAPI_MakeEdge.hxx>
#include <BRepBuilderAPI_MakeFace.hxx>
#include <BRepBuilderAPI_MakePolygon.hxx>
#include <BRepGProp.hxx>
#include <BRepPrimAPI_MakePrism.hxx>
#include <BRep_Tool.hxx>
#include <GProp_GProps.hxx>
#include <TopExp.hxx>
#include <TopExp_Explorer.hxx>
#include <TopTools_IndexedDataMapOfShapeListOfShape.hxx>
#include <TopoDS.hxx>

#include <initializer_list>
#include <limits>

namespace
{
// Returns the prism of the closed polygon in the XY plane, `depth` along Z.
TopoDS_Shape Extruded(std::initializer_list<gp_Pnt> points, double depth)
{
  BRepBuilderAPI_MakePolygon polygon;
  for (const gp_Pnt& p : points)
    polygon.Add(p);
  polygon.Close();
  return BRepPrimAPI_MakePrism(BRepBuilderAPI_MakeFace(polygon.Wire(), true).Face(), gp_Vec(0, 0, depth)).Shape();
}
} // namespace

std::vector<EdgeWithFaces> SeamSolids::TwoFaceEdges(const TopoDS_Shape& shape)
{
  TopTools_IndexedDataMapOfShapeListOfShape map;
  TopExp::MapShapesAndUniqueAncestors(shape, TopAbs_EDGE, TopAbs_FACE, map);
  std::vector<EdgeWithFaces> result;
  for (int i = 1; i <= map.Extent(); ++i)
    if (map(i).Extent() == 2 && !BRep_Tool::Degenerated(TopoDS::Edge(map.FindKey(i))))
      result.push_back({TopoDS::Edge(map.FindKey(i)), TopoDS::Face(map(i).First()), TopoDS::Face(map(i).Last())});
  return result;
}

TopoDS_Shape SeamSolids::StepSolid()
{
  return Extruded({{0, 0, 0}, {20, 0, 0}, {20, 5, 0}, {10, 5, 0}, {10, 5.5, 0}, {0, 5.5, 0}}, 30);
}

TopoDS_Shape SeamSolids::ThinWedge()
{
  return Extruded({{0, 0, 0}, {100, 0, 0}, {100, 4, 0}}, 20);
}

TopoDS_Shape SeamSolids::StuddedPlate(int nx, int ny)
{
  TopTools_ListOfShape arguments, tools;
  arguments.Append(BRepPrimAPI_MakeBox(100, 80, 10).Shape());
  for (int i = 0; i < nx; ++i)
    for (int j = 0; j < ny; ++j)
      tools.Append(BRepPrimAPI_MakeBox(gp_Pnt(10 + 20 * i, 10 + 20 * j, 10), 10, 6, 20).Shape());
  BRepAlgoAPI_Fuse fuse;
  fuse.SetArguments(arguments);
  fuse.SetTools(tools);
  fuse.Build();
  if (!fuse.IsDone())
    throw Standard_Failure("SeamSolids::StuddedPlate: fuse failed");
  fuse.SimplifyResult();
  return fuse.Shape();
}

TopoDS_Edge SeamSolids::Segment(const gp_Pnt& a, const gp_Pnt& b)
{
  return BRepBuilderAPI_MakeEdge(a, b).Edge();
}

TopoDS_Face SeamSolids::FaceNear(const TopoDS_Shape& shape, const gp_Pnt& point)
{
  TopoDS_Face best;
  double bestDistance = std::numeric_limits<double>::max();
  for (TopExp_Explorer it(shape, TopAbs_FACE); it.More(); it.Next())
  {
    GProp_GProps props;
    BRepGProp::SurfaceProperties(it.Current(), props);
    if (props.CentreOfMass().Distance(point) < bestDistance)
    {
      bestDistance = props.CentreOfMass().Distance(point);
      best = TopoDS::Face(it.Current());
    }
  }
  return best;
}

TopoDS_Edge SeamSolids::EdgeNear(const TopoDS_Shape& shape, const gp_Pnt& point)
{
  TopoDS_Edge best;
  double bestDistance = std::numeric_limits<double>::max();
  for (TopExp_Explorer it(shape, TopAbs_EDGE); it.More(); it.Next())
  {
    const BRepAdaptor_Curve curve(TopoDS::Edge(it.Current()));
    const gp_Pnt middle = curve.Value(0.5 * (curve.FirstParameter() + curve.LastParameter()));
    if (middle.Distance(point) < bestDistance)
    {
      bestDistance = middle.Distance(point);
      best = TopoDS::Edge(it.Current());
    }
  }
  return best;
}
