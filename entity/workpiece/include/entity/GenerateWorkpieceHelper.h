#pragma once

#include <NCollection_Sequence.hxx>
#include <TopoDS_Edge.hxx>
#include <TopoDS_Face.hxx>
#include <TopoDS_Shape.hxx>
#include <gp_Circ.hxx>
#include <gp_Pnt.hxx>
#include <gp_Vec.hxx>

#include <array>
#include <utility>

// Simple workpiece geometry: planar faces from polygons and circles, fillet arcs, plates by extrusion.
class GenerateWorkpieceHelper
{
public:
  // Points closer than this are one point when judging collinearity.
  static constexpr double DistinctPointTol = 1.0;
  // Directions within this angle (radians) of each other or of opposite are collinear.
  static constexpr double CollinearAngTol = 0.01;
  // Consecutive polygon points closer than this (inclusive) make no edge.
  static constexpr double PolygonPointTol = 0.0001;
  // A closing edge is added when the last point is farther than this from the first.
  static constexpr double PolygonCloseTol = 0.00001;
  // Each fillet leg must exceed the radius by more than this.
  static constexpr double FilletLegMargin = 1.0;
  // Extrusions shorter than this make nothing.
  static constexpr double MinExtrusion = 0.001;

  GenerateWorkpieceHelper() = delete;
  GenerateWorkpieceHelper& operator=(const GenerateWorkpieceHelper&) { return *this; }
  GenerateWorkpieceHelper& operator=(GenerateWorkpieceHelper&&) { return *this; }

  // Returns true when the points (merged within DistinctPointTol) are not all on one line.
  static bool CheckPntsIsNotInSameLine(const NCollection_Sequence<gp_Pnt>& points);
  // Returns the planar face bounded by the polygon through the points, or a null face.
  static TopoDS_Face MakeFaceByPnt(const NCollection_Sequence<gp_Pnt>& points);
  // Returns the disc bounded by the circle, or a null face.
  static TopoDS_Face MakeFaceByCirc(const gp_Circ& circle);
  // Returns (true, arc tangent to both legs start–corner and corner–end, meeting each `radius` from the corner).
  static std::pair<bool, TopoDS_Edge> MakeFilletOnTwoEdge(const std::array<gp_Pnt, 3>& points, double radius);
  // Returns the face extruded by vec (centred on the face when symmetric), or a null shape.
  static TopoDS_Shape MakePrismByFace(const TopoDS_Face& face, const gp_Vec& vec, bool symmetric);
};
