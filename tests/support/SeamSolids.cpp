#include "SeamSolids.h"

#include <BRepAdaptor_Curve.hxx>
#include <BRepAlgoAPI_Fuse.hxx>
#include <BRepBuilderAPI_MakeFace.hxx>
#include <BRepBuilderAPI_MakePolygon.hxx>
#include <BRepGProp.hxx>
#include <BRepPrimAPI_MakeBox.hxx>
#include <BRepPrimAPI_MakePrism.hxx>
#include <BRep_Builder.hxx>
#include <BRep_Tool.hxx>
#include <GProp_GProps.hxx>
#include <Standard_Failure.hxx>
#include <TopExp.hxx>
#include <TopExp_Explorer.hxx>
#include <TopTools_IndexedDataMapOfShapeListOfShape.hxx>
#include <TopoDS.hxx>
#include <TopoDS_Compound.hxx>

#include <functional>
#include <limits>

namespace
{
TopoDS_Shape Extruded(std::initializer_list<gp_Pnt> points, double depth)
{
  BRepBuilderAPI_MakePolygon polygon;
  for (const gp_Pnt& p : points)
    polygon.Add(p);
  polygon.Close();
  return BRepPrimAPI_MakePrism(BRepBuilderAPI_MakeFace(polygon.Wire(), true).Face(), gp_Vec(0, 0, depth)).Shape();
}

// Returns the sub-shape of `type` whose point `at` gives is nearest `point`.
TopoDS_Shape Nearest(const TopoDS_Shape& shape, TopAbs_ShapeEnum type, const gp_Pnt& point,
                     const std::function<gp_Pnt(const TopoDS_Shape&)>& at)
{
  std::pair<double, TopoDS_Shape> best{std::numeric_limits<double>::max(), TopoDS_Shape()};
  for (TopExp_Explorer it(shape, type); it.More(); it.Next())
    best = std::min(best, {at(it.Current()).Distance(point), it.Current()},
                    [](const auto& a, const auto& b) { return a.first < b.first; });
  return best.second;
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

TopoDS_Shape SeamSolids::StepSolid(double rise)
{
  return Extruded({{0, 0, 0}, {20, 0, 0}, {20, 5, 0}, {10, 5, 0}, {10, 5 + rise, 0}, {0, 5 + rise, 0}}, 30);
}

TopoDS_Shape SeamSolids::ThinWedge()
{
  return Extruded({{0, 0, 0}, {100, 0, 0}, {100, 4, 0}}, 20);
}

TopoDS_Shape SeamSolids::StuddedPlate(int nx, int ny)
{
  BRep_Builder builder;
  TopoDS_Compound studs;
  builder.MakeCompound(studs);
  for (int i = 0; i < nx * ny; ++i)
    builder.Add(studs, BRepPrimAPI_MakeBox(gp_Pnt(10 + 20 * (i / ny), 10 + 20 * (i % ny), 10), 10, 6, 20).Shape());
  BRepAlgoAPI_Fuse fuse(BRepPrimAPI_MakeBox(100, 80, 10).Shape(), studs);
  if (!fuse.IsDone())
    throw Standard_Failure("SeamSolids::StuddedPlate: fuse failed");
  fuse.SimplifyResult();
  return fuse.Shape();
}

TopoDS_Face SeamSolids::FaceNear(const TopoDS_Shape& shape, const gp_Pnt& point)
{
  return TopoDS::Face(Nearest(shape, TopAbs_FACE, point, [](const TopoDS_Shape& face) {
    GProp_GProps props;
    BRepGProp::SurfaceProperties(face, props);
    return props.CentreOfMass();
  }));
}

TopoDS_Edge SeamSolids::EdgeNear(const TopoDS_Shape& shape, const gp_Pnt& point)
{
  return TopoDS::Edge(Nearest(shape, TopAbs_EDGE, point, [](const TopoDS_Shape& edge) { return Middle(TopoDS::Edge(edge)); }));
}

gp_Pnt SeamSolids::Middle(const TopoDS_Edge& edge)
{
  const BRepAdaptor_Curve curve(edge);
  return curve.Value(0.5 * (curve.FirstParameter() + curve.LastParameter()));
}
