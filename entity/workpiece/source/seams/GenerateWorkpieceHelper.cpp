#include <entity/AutoWeldSeamAlgUtils.h>
#include <entity/GenerateWorkpieceHelper.h>

#include <BRepBuilderAPI_MakeEdge.hxx>
#include <BRepBuilderAPI_MakeFace.hxx>
#include <BRepBuilderAPI_MakeWire.hxx>
#include <BRepLib_MakeEdge.hxx>
#include <BRepLib_MakeFace.hxx>
#include <BRepLib_MakeWire.hxx>
#include <BRepPrimAPI_MakePrism.hxx>
#include <GC_MakeArcOfCircle.hxx>
#include <TopLoc_Location.hxx>

#include <cmath>

bool GenerateWorkpieceHelper::CheckPntsIsNotInSameLine(const NCollection_Sequence<gp_Pnt>& points)
{
  NCollection_Sequence<gp_Pnt> kept;
  gp_Vec reference;
  for (const gp_Pnt& p : points)
  {
    if (AutoWeldSeamAlgUtils::IsPntInList(p, kept, DistinctPointTol))
      continue;
    kept.Append(p);
    if (kept.Length() == 2)
      reference = gp_Vec(kept(1), p);
    else if (kept.Length() > 2)
    {
      const double angle = reference.Angle(gp_Vec(kept(1), p));
      if (angle > CollinearAngTol && M_PI - angle > CollinearAngTol)
        return true;
    }
  }
  return false;
}

TopoDS_Face GenerateWorkpieceHelper::MakeFaceByPnt(const NCollection_Sequence<gp_Pnt>& points)
{
  BRepBuilderAPI_MakeWire wire;
  // Returns false when the kernel cannot make the edge (a NaN coordinate, say).
  const auto addEdge = [&wire](const gp_Pnt& a, const gp_Pnt& b) {
    BRepBuilderAPI_MakeEdge edge(a, b);
    if (!edge.IsDone())
      return false;
    wire.Add(edge.Edge());
    return true;
  };
  for (int i = 1; i < points.Length(); ++i)
    if (points(i).Distance(points(i + 1)) > PolygonPointTol && !addEdge(points(i), points(i + 1)))
      return TopoDS_Face();
  if (points.Length() > 1 && points.Last().Distance(points.First()) > PolygonCloseTol &&
      !addEdge(points.Last(), points.First()))
    return TopoDS_Face();
  if (!wire.IsDone())
    return TopoDS_Face();
  BRepBuilderAPI_MakeFace face(wire.Wire(), Standard_True);
  if (!face.IsDone())
    return TopoDS_Face();
  return face.Face();
}

TopoDS_Face GenerateWorkpieceHelper::MakeFaceByCirc(const gp_Circ& circle)
{
  BRepLib_MakeEdge edge(circle);
  if (!edge.IsDone())
    return TopoDS_Face();
  BRepLib_MakeWire wire(edge.Edge());
  if (!wire.IsDone())
    return TopoDS_Face();
  BRepLib_MakeFace face(wire.Wire());
  if (!face.IsDone())
    return TopoDS_Face();
  return face.Face();
}

std::pair<bool, TopoDS_Edge> GenerateWorkpieceHelper::MakeFilletOnTwoEdge(const std::array<gp_Pnt, 3>& points,
                                                                          double radius)
{
  const std::pair<bool, TopoDS_Edge> failure{false, TopoDS_Edge()};
  NCollection_Sequence<gp_Pnt> sequence;
  for (const gp_Pnt& p : points)
    sequence.Append(p);
  if (!CheckPntsIsNotInSameLine(sequence))
    return failure;
  const auto& [start, corner, end] = points;
  if (corner.Distance(start) <= radius + FilletLegMargin || end.Distance(corner) <= radius + FilletLegMargin)
    return failure;
  const gp_Dir toStart(gp_Vec(corner, start));
  const gp_Dir toEnd(gp_Vec(corner, end));
  const gp_Pnt arcStart = corner.Translated(gp_Vec(toStart) * radius);
  const gp_Pnt arcEnd = corner.Translated(gp_Vec(toEnd) * radius);
  // Leaving arcStart along the first leg toward the corner keeps the arc tangent to both legs.
  GC_MakeArcOfCircle arc(arcStart, gp_Vec(toStart.Reversed()), arcEnd);
  if (!arc.IsDone())
    return failure;
  BRepBuilderAPI_MakeEdge edge(arc.Value());
  if (!edge.IsDone())
    return failure;
  return {true, edge.Edge()};
}

TopoDS_Shape GenerateWorkpieceHelper::MakePrismByFace(const TopoDS_Face& face, const gp_Vec& vec, bool symmetric)
{
  if (vec.Magnitude() < MinExtrusion)
    return TopoDS_Shape();
  BRepPrimAPI_MakePrism prism(face, vec, Standard_False, Standard_True);
  prism.Build();
  if (!prism.IsDone())
    return TopoDS_Shape();
  TopoDS_Shape shape = prism.Shape();
  if (symmetric)
  {
    gp_Trsf back;
    back.SetTranslation(-vec / 2.0);
    shape.Move(TopLoc_Location(back));
  }
  return shape;
}
