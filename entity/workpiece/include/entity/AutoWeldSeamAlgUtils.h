#pragma once

#include <entity/EdgeFaceSeg.h>
#include <entity/EdgeType.h>

#include <Geom2d_Curve.hxx>
#include <Geom_Surface.hxx>
#include <NCollection_Sequence.hxx>
#include <TopoDS_Edge.hxx>
#include <TopoDS_Face.hxx>
#include <TopoDS_Shape.hxx>
#include <TopoDS_Vertex.hxx>
#include <gp_Pnt.hxx>
#include <gp_Vec.hxx>

#include <cstdint>
#include <functional>
#include <utility>

class FaceProximity;

// Classification of an edge between two faces as a weld seam, and the geometric predicates around it.
// Failures are results (false, Unknown, FailDistance); kernel exceptions reach the caller.
//
// Where the plain steps fail on real parts, the classifiers go beyond them:
// - a face's normal is its surface's normal (D1U x D1V), reversed on a reversed face, for planes too,
//   so that left-handed planes (mirrored parts) are not seen inside out; beside an edge it is taken
//   at the edge's own point on the face (its curve on the surface) rather than at a projection;
// - the orientation classifier samples the edge at several inner points (never its ends, where
//   apexes and neighbours' tangencies sit), decides by the sense of the normals' cross product along
//   the tangent, and calls an edge whose kind changes along it unknown (KindAlongEdge tells so);
//   its plane-side test judges the points along each face's boundary, at the kernel's precision;
// - the probe classifier steps no further than a quarter of the smaller face's width (tol + 1 at
//   most), and steps along curved faces' surfaces; on prepared faces (FaceProximity) such a probe
//   is judged in the surface's parameters by the kernel's face classifier.
class AutoWeldSeamAlgUtils
{
public:
  // Normals closer than this (radians) to parallel or opposite count as such.
  static constexpr double ParallelTol = 0.01;
  // Normals further apart than this (175 degrees) mean the faces fold back onto each other.
  static constexpr double FoldBackAngle = 3.0543261909900767;
  // Axes within this angle (0.5 degrees) carry coincident analytic surfaces.
  static constexpr double SurfaceAngleTol = 0.008726646259971648;
  // Distance within which analytic surfaces coincide.
  static constexpr double SurfaceDistTol = 0.001;
  // Height above a plane from which the orientation classifier's plane-side test sees a face rise.
  static constexpr double PlaneSideTol = 1e-4;
  // Fraction of the smaller face's width the probe classifier steps at most.
  static constexpr double ProbeWidthFraction = 0.25;
  // Slack of the planar classifier's distance comparison.
  static constexpr double PlanarDistSlack = 0.01;
  // Below this length a surface normal is no normal.
  static constexpr double NormalFloor = 0.001;
  // Distance reported when it cannot be computed.
  static constexpr double FailDistance = 2147483647.0;
  // Flatness tolerance within which a spline face counts as planar.
  static constexpr double BasisSurfaceTol = 1.0;
  // Gap tolerance when chaining curves into one.
  static constexpr double MergeTol = 0.01;

  // Whether a point lies strictly closer than tol to one face (stands in for IsVertexOnFace).
  using OnFaceTest = std::function<bool(const gp_Pnt& point, double tol)>;
  // The distance from a point to one face (stands in for DistOfPntToFace).
  using FaceDistance = std::function<double(const gp_Pnt& point)>;

  AutoWeldSeamAlgUtils() = delete;
  AutoWeldSeamAlgUtils& operator=(const AutoWeldSeamAlgUtils&) { return *this; }
  AutoWeldSeamAlgUtils& operator=(AutoWeldSeamAlgUtils&&) { return *this; }

  // Returns the probe classification of the segment's edge and faces.
  static EdgeType CalcEdgeType(const EdgeFaceSeg& seg, double tol, double t);
  // Returns the kind of edge by probe points tol + 1 away from the edge point at fraction t.
  static EdgeType CalcEdgeType(const TopoDS_Edge& edge, const TopoDS_Face& face1, const TopoDS_Face& face2, double tol,
                               double t);
  // Returns the probe classification with the faces' point tests given by the caller (who may have prepared the faces).
  static EdgeType CalcEdgeType(const TopoDS_Edge& edge, const TopoDS_Face& face1, const TopoDS_Face& face2, double tol,
                               double t, const OnFaceTest& onFace1, const OnFaceTest& onFace2);
  // Returns the probe classification of faces prepared by the caller (as the overload on the faces themselves).
  static EdgeType CalcEdgeType(const TopoDS_Edge& edge, const FaceProximity& face1, const FaceProximity& face2,
                               double tol, double t);
  // Returns the kind of a straight seam between two planar faces by comparing probe distances `step` away.
  static EdgeType CalcEdgeType(const TopoDS_Edge& edge, const TopoDS_Face& face1, const TopoDS_Face& face2, int step);
  // Returns the planar classification with the faces' distances given by the caller.
  static EdgeType CalcEdgeType(const TopoDS_Edge& edge, const TopoDS_Face& face1, const TopoDS_Face& face2, int step,
                               const FaceDistance& distance1, const FaceDistance& distance2);

  // Returns the planar classification of faces prepared by the caller (as the overload on the faces themselves).
  static EdgeType CalcEdgeType(const TopoDS_Edge& edge, const FaceProximity& face1, const FaceProximity& face2,
                               int step);

  // Returns the orientation classification of the segment's edge and faces.
  static EdgeType IsConcave(const EdgeFaceSeg& seg, double tol);
  // Returns the kind of edge by the sense of the normals' cross product along the edge tangent.
  static EdgeType IsConcave(TopoDS_Edge edge, const TopoDS_Face& face1, const TopoDS_Face& face2, double tol);

  // Returns the orientation classification of prepared faces, the edge given as it lies in face1 (IsConcave
  // reverses an edge face1 does not hold as given).
  static EdgeType IsConcave(const TopoDS_Edge& edgeAsInFace1, const FaceProximity& face1, const FaceProximity& face2,
                            double tol);

  // Returns the orientation classification of prepared faces and whether the edge's kind changes along it.
  static std::pair<EdgeType, bool> KindAlongEdge(const TopoDS_Edge& edgeAsInFace1, const FaceProximity& face1,
                                                 const FaceProximity& face2, double tol);

  // Returns (true, outward unit normal) of the face at the edge's point at fraction t, from the edge's
  // curve on the face, or (false, zero) when the face does not hold the edge or has no normal there.
  static std::pair<bool, gp_Vec> GetFaceNormalOnEdge(const TopoDS_Edge& edge, const TopoDS_Face& face, double t);
  // Returns (true, outward unit normal) of the face beside the edge point at fraction t, or (false, zero).
  static std::pair<bool, gp_Vec> GetFaceNormalByEdge(const TopoDS_Edge& edge, const TopoDS_Face& face, double t);
  // Returns the (not normalised) normal of the surface under the 2D curve's point at t.
  static gp_Vec GetFaceNormalAtCurveParam(const Handle(Geom2d_Curve)& curve, const Handle(Geom_Surface)& surface,
                                          double t, bool reversed);

  // Returns the distance from the point to the face, or FailDistance.
  static double DistOfPntToFace(const gp_Pnt& point, const TopoDS_Face& face);
  // Returns whether the vertex lies strictly closer than tol to the face.
  static bool IsVertexOnFace(const TopoDS_Vertex& vertex, const TopoDS_Face& face, double tol);
  // Returns whether the point lies strictly closer than tol to the face.
  static bool IsVertexOnFace(gp_Pnt point, const TopoDS_Face& face, double tol);
  // Returns whether the edge's start, middle and end lie strictly inside the face.
  static bool IsEdgeInFace(const TopoDS_Edge& edge, const TopoDS_Face& face, double tol);
  // Returns whether the edge has no curve or its middle lies closer than tol to its start.
  static bool IsEdgeTrivial(TopoDS_Edge edge, double tol);
  // Returns whether two straight edges share an end and run along one line from it.
  static bool IsPartEdge(const TopoDS_Edge& edge1, const TopoDS_Edge& edge2, double distTol, double angTol);
  // Returns whether the edges coincide (ShapeHandle::IsTwoEdgeEqual).
  static bool IsTwoEdgeEqual(const TopoDS_Edge& edge1, const TopoDS_Edge& edge2, double distTol, double angTol);
  // Returns whether a point of the list lies within tol (inclusive) of `point`.
  static bool IsPntInList(const gp_Pnt& point, const NCollection_Sequence<gp_Pnt>& points, double tol);
  // Returns whether the faces lie on one plane or one cylinder.
  static bool IsSameElementarySurface(const TopoDS_Face& face1, const TopoDS_Face& face2);
  // Returns whether `shape` contains `sub` (with its orientation when asked).
  static bool IsAncestor(const TopoDS_Shape& sub, const TopoDS_Shape& shape, bool withOrientation);
  // Returns (true, one edge on a B-spline) joining the edges' curves, or (false, null) when they do not chain.
  static std::pair<bool, TopoDS_Edge> GetMergedEdge(const NCollection_Sequence<TopoDS_Edge>& edges);

  // Returns the index of the solid that owns the sub-shape index.
  static std::uint32_t SolidIndexOfSubIndex(std::uint32_t subIndex);
};
