#pragma once

#include <AIS_Shape.hxx>
#include <Geom_Plane.hxx>
#include <NCollection_IndexedMap.hxx>
#include <NCollection_Sequence.hxx>
#include <Quantity_Color.hxx>
#include <TopTools_ShapeMapHasher.hxx>
#include <TopoDS_Edge.hxx>
#include <TopoDS_Face.hxx>
#include <TopoDS_Shape.hxx>
#include <gp_Ax2.hxx>
#include <gp_Lin.hxx>
#include <gp_Pln.hxx>
#include <gp_Pnt.hxx>
#include <gp_Vec.hxx>

#include <cstdint>
#include <tuple>
#include <utility>

// Plane, line and face geometry of the seam tools and the workpiece analysis.
// Failures are results: a false flag with the origin, a zero vector, or the default line or frame.
class FaceUtils
{
public:
  // Normals within this angle (radians) are parallel.
  static constexpr double ParallelTol = 0.01;
  // Below this distance a projected point sits on the line's origin.
  static constexpr double OnOriginTol = 0.001;
  // Below this length a surface normal is no normal.
  static constexpr double NormalFloor = 0.001;
  // A triangulated face thinner than twice this in some direction is flat.
  static constexpr double MeshHalfThickness = 1.0;
  // Offset that draws a face's display just in front of the solid's own face.
  static constexpr double DisplayOffset = 0.01;

  FaceUtils() = delete;
  FaceUtils& operator=(const FaceUtils&) { return *this; }
  FaceUtils& operator=(FaceUtils&&) { return *this; }

  static bool IsPlane(const TopoDS_Face& face);
  // Returns whether a triangulated face is flat (an analytic face is never judged here).
  static bool IsMeshPlane(const TopoDS_Face& face);
  // Returns a copy of the shape's plane whose normal points out of the face as oriented, or null.
  static Handle(Geom_Plane) GetGeomPlanePtr(const TopoDS_Shape& shape);
  // Returns (true, frame on the oriented plane) or (false, the standard frame).
  static std::pair<bool, gp_Ax2> GetPlaneFaceAx2(const TopoDS_Face& face);
  // Returns a frame at the centre of each face that has a normal, Z along the normal.
  static NCollection_Sequence<gp_Ax2> GetFaceAx2List(const NCollection_Sequence<TopoDS_Face>& faces);

  // Returns (true, intersection line) of two non-parallel planes, or (false, the Z axis).
  static std::pair<bool, gp_Lin> InterfLinOfPln(const gp_Pln& plane1, const gp_Pln& plane2);
  // Returns the intersection line of two planar faces' planes.
  static std::pair<bool, gp_Lin> InterfLinOfPln(const TopoDS_Face& face1, const TopoDS_Face& face2);
  // Returns the intersection line of a planar face's plane and a plane.
  static std::pair<bool, gp_Lin> InterfLinOfPln(const TopoDS_Face& face, const gp_Pln& plane);
  // Returns (true, point) where the line crosses the plane, false when it is within angTol of parallel.
  static std::pair<bool, gp_Pnt> InterfPntOfLinAndPln(const gp_Pln& plane, const gp_Lin& line, double angTol);
  // Returns the common point of the planes of the first three faces; throws StdFail_NotDone if not computable.
  static std::pair<bool, gp_Pnt> InterfPntOfThreePlnFace(const NCollection_Sequence<TopoDS_Face>& faces);
  // Returns the point common to the first three faces (within their boundaries) nearest `hint`.
  static std::pair<bool, gp_Pnt> InterfPntOfThreeFace(const NCollection_Sequence<TopoDS_Face>& faces,
                                                      const gp_Pnt& hint);
  // Returns the straight edge where two planar faces meet: the part of their planes' intersection
  // line that both faces cover (longer than tol); faces within angTol of parallel give false.
  static std::pair<bool, TopoDS_Edge> InterfEdgeOfPlaneFace(const TopoDS_Face& face1, const TopoDS_Face& face2,
                                                            double tol, double angTol);
  // Returns (true, point moved along dir onto the plane), false when dir is within angTolDegrees of the plane.
  static std::pair<bool, gp_Pnt> ProjectPntOnPln(gp_Pln plane, const gp_Dir& dir, const gp_Pnt& point,
                                                 double angTolDegrees);
  // Returns the signed distance along the line from its origin to the point's projection.
  static double GetProjPntParamOnLine(const gp_Pnt& point, const gp_Lin& line);
  // Returns (true, nearest point on the untrimmed surface, surface normal there) or (false, origin, zero).
  static std::tuple<bool, gp_Pnt, gp_Vec> CalcNearestProjPntOnFace(const gp_Pnt& point, const TopoDS_Face& face);
  // Returns the mean of the points (the origin for none).
  static gp_Pnt AvgPntOfPntList(const NCollection_Sequence<gp_Pnt>& points);
  // Returns whether the faces have parallel normals and the same cyclic sequence of boundary edges.
  static bool IsTwoFaceEqual(const TopoDS_Face& face1, const TopoDS_Face& face2, double tol);
  // Returns the planar faces of the map whose normal is within angTol of the face's (same sense), except the face itself.
  static NCollection_Sequence<TopoDS_Face> FindSameNormalFaceFromIndexedMap(
    const NCollection_IndexedMap<TopoDS_Shape, TopTools_ShapeMapHasher>& map, const TopoDS_Face& face, double angTol);
  // Returns the RGB colour of a packed 0xRRGGBB value.
  static Quantity_Color GetColor(std::uint32_t color);
  // Returns a display object of the face in the colour, a planar one lifted just off the solid.
  static Handle(AIS_Shape) GetFaceAisShape(const TopoDS_Face& face, const Quantity_Color& color);

private:
  // Returns the straight edge covering the edges the two faces share, or false when they share none.
  static std::pair<bool, TopoDS_Edge> GetInterfEdgeByWeldSeamAlg(const TopoDS_Face& face1, const TopoDS_Face& face2,
                                                                 double tol);
  // Returns one straight edge spanning collinear straight edges, or false.
  static std::pair<bool, TopoDS_Edge> GetMergedStraightEdge(const NCollection_Sequence<TopoDS_Edge>& edges);
  // Returns the straight edge between the extreme points of collinear points, or false.
  static std::pair<bool, TopoDS_Edge> GetStraightEdgeByPntList(const NCollection_Sequence<gp_Pnt>& points);
  // Returns the two points of the list farthest apart, or false when the list holds no two distinct points.
  static std::pair<bool, NCollection_Sequence<gp_Pnt>> PolePntOfPntList(const NCollection_Sequence<gp_Pnt>& points);
};
