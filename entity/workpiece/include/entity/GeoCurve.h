#pragma once

#include <entity/EdgeType.h>

#include <Geom_Curve.hxx>
#include <TopoDS_Edge.hxx>
#include <TopoDS_Face.hxx>
#include <gp_Pnt.hxx>

#include <array>

// A weld line's curve with the edge it was taken from, its seam kind and two truncated planes.
class GeoCurve
{
public:
  GeoCurve() = default;
  // Takes the edge's 3D curve over the edge's range; an edge without one gives a null curve.
  explicit GeoCurve(const TopoDS_Edge& edge);

  const Handle(Geom_Curve)& GetCurve() const { return myCurve; }
  double FirstParameter() const { return myFirst; }
  double LastParameter() const { return myLast; }
  // Returns the curve's point at its first parameter (the origin without a curve).
  gp_Pnt GetStartPt() const;

  EdgeType GetCurveEdgeType() const { return myEdgeType; }
  void SetCurveEdgeType(const EdgeType& type) { myEdgeType = type; }

  const TopoDS_Edge& GetOriTopoEdge() const { return myOriEdge; }

  // Returns the first of the two truncated planes; the second follows it.
  TopoDS_Face* GetTruncatedPlane() { return myTruncatedPlanes.data(); }

private:
  Handle(Geom_Curve) myCurve;
  double myFirst = 0.0;
  double myLast = 0.0;
  EdgeType myEdgeType = EdgeType::Unknown;
  TopoDS_Edge myOriEdge;
  std::array<TopoDS_Face, 2> myTruncatedPlanes;
};
