#pragma once

#include <BRepTopAdaptor_FClass2d.hxx>
#include <TopoDS_Edge.hxx>
#include <TopoDS_Face.hxx>
#include <gp_Pln.hxx>
#include <gp_Pnt2d.hxx>
#include <gp_Pnt.hxx>
#include <gp_Vec.hxx>

#include <memory>
#include <mutex>
#include <utility>
#include <vector>

// Point-to-face distance of one face, prepared once for many queries from several threads.
//
// A planar face bounded by straight edges keeps its plane and its boundary segments (in space and
// in the plane's parameters), so that a query does not walk the face's topology: the distance is
// the distance to the plane when the foot lies in the face (an even-odd crossing count over all
// its loops, holes included), else the distance to the nearest boundary segment. Queries only
// read, so any number of threads may share one instance. Other faces answer through
// AutoWeldSeamAlgUtils. Every face also keeps what the classifiers would otherwise re-derive from
// the shared topology for each of its edges (its plane's normals, its outline points), so that
// threads classifying edges of one face do not contend for its handles.
class FaceProximity
{
public:
  explicit FaceProximity(const TopoDS_Face& face);

  // Returns the distance from the point to the face, as AutoWeldSeamAlgUtils::DistOfPntToFace.
  double Distance(const gp_Pnt& point) const;

  // Returns whether the point lies strictly closer than tol to the face, as AutoWeldSeamAlgUtils::IsVertexOnFace.
  bool IsOn(const gp_Pnt& point, double tol) const;

  // Returns whether the surface parameters lie in the face (the kernel's classifier; its boundary counts
  // as in). A point reached on the surface is judged so, where a distance search may stop at the
  // boundary and miss the face's inside.
  bool Contains(const gp_Pnt2d& uv) const;

  // Returns whether queries take the prepared path.
  bool IsPrepared() const { return myPrepared; }

  // Returns the face.
  const TopoDS_Face& Face() const { return myFace; }
  // Returns the outward normal beside the edge point at fraction t, as AutoWeldSeamAlgUtils::GetFaceNormalByEdge.
  std::pair<bool, gp_Vec> NormalByEdge(const TopoDS_Edge& edge, double t) const;
  // Returns whether the face's basis surface is a plane (within AutoWeldSeamAlgUtils::BasisSurfaceTol).
  bool IsPlanar() const { return myPlanar; }
  // Returns the normal of that plane at its origin, face orientation applied (zero when not planar).
  const gp_Vec& PlaneNormal() const { return myPlaneNormal; }
  // Returns the face's width: the middle extent of its oriented bounding box (a flat face's smaller side).
  double Width() const { return myWidth; }
  // Returns the width of a face not prepared.
  static double WidthOf(const TopoDS_Face& face);
  // Returns points along the face's boundary: its vertices, and points between them on curved edges.
  const std::vector<gp_Pnt>& OutlinePoints() const { return myOutlinePoints; }
  // Returns the outline points of a face not prepared.
  static std::vector<gp_Pnt> OutlineOf(const TopoDS_Face& face);

private:
  // Keeps the normals, planarity and vertex points the classifiers ask for.
  void PrepareClassifierData();
  // Returns the distance to the nearest boundary segment.
  double BoundaryDistance(const gp_Pnt& point) const;
  // Returns whether the plane parameters (u, v) lie inside the boundary loops.
  bool ContainsInPlane(double u, double v) const;

  TopoDS_Face myFace;
  gp_Pln myPlane;
  bool myPrepared = false;
  std::vector<std::pair<gp_Pnt, gp_Pnt>> mySegments;
  std::vector<std::pair<gp_Pnt2d, gp_Pnt2d>> myUVSegments;
  bool myEdgeFreeNormal = false; // the normal holds along every edge (planes)
  gp_Vec myNormal;
  bool myPlanar = false;
  gp_Vec myPlaneNormal;
  std::vector<gp_Pnt> myOutlinePoints;
  double myWidth = 0.0;
  // Built on first use, once, whichever thread asks.
  mutable std::once_flag myClassifierOnce;
  mutable std::unique_ptr<BRepTopAdaptor_FClass2d> myClassifier;
};
