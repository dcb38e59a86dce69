#pragma once

#include <BRepBuilderAPI_MakeEdge.hxx>
#include <TopoDS_Edge.hxx>
#include <TopoDS_Face.hxx>
#include <gp_Pnt.hxx>

#include <vector>

// One edge of a solid with the two faces that meet along it.
struct EdgeWithFaces
{
  TopoDS_Edge edge;
  TopoDS_Face face1;
  TopoDS_Face face2;
};

// Solids for the seam tests whose seam kinds are known by hand.
class SeamSolids
{
public:
  // Returns every edge of the shape shared by exactly two faces, with those faces as oriented in it.
  static std::vector<EdgeWithFaces> TwoFaceEdges(const TopoDS_Shape& shape);
  // Returns the profile (0,0) (20,0) (20,5) (10,5) (10,5+rise) (0,5+rise) extruded 30 along Z: its
  // inner edge at (10, 5) joins a 10 mm wide face and a `rise` high one.
  static TopoDS_Shape StepSolid(double rise = 0.5);
  // Returns the triangle (0,0) (100,0) (100,4) extruded 20 along Z: at its edge along Z through the
  // origin the faces' normals are 177.7 degrees apart.
  static TopoDS_Shape ThinWedge();
  // Returns a 100 × 80 × 10 plate with nx × ny studs of 10 × 6 × 20 fused on top (corner of stud
  // (i, j) at (10 + 20i, 10 + 20j, 10)): the top face gets one hole per stud, 4 concave edges each.
  static TopoDS_Shape StuddedPlate(int nx, int ny);
  static TopoDS_Edge Segment(const gp_Pnt& a, const gp_Pnt& b) { return BRepBuilderAPI_MakeEdge(a, b).Edge(); }
  // Returns the point halfway along the edge's parameter range.
  static gp_Pnt Middle(const TopoDS_Edge& edge);
  // Return the face whose centre, or the edge whose middle, is nearest `point`.
  static TopoDS_Face FaceNear(const TopoDS_Shape& shape, const gp_Pnt& point);
  static TopoDS_Edge EdgeNear(const TopoDS_Shape& shape, const gp_Pnt& point);
};
