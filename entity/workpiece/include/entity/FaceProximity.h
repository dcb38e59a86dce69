#pragma once

#include <TopoDS_Face.hxx>
#include <gp_Pln.hxx>
#include <gp_Pnt2d.hxx>
#include <gp_Pnt.hxx>

#include <utility>
#include <vector>

// Point-to-face distance of one face, prepared once for many queries from several threads.
//
// A planar face bounded by straight edges keeps its plane and its boundary segments (in space and
// in the plane's parameters), so that a query does not walk the face's topology: the distance is
// the distance to the plane when the foot lies in the face (an even-odd crossing count over all
// its loops, holes included), else the distance to the nearest boundary segment. Queries only
// read, so any number of threads may share one instance. Other faces answer through
// AutoWeldSeamAlgUtils.
class FaceProximity
{
public:
  explicit FaceProximity(const TopoDS_Face& face);

  // Returns the distance from the point to the face, as AutoWeldSeamAlgUtils::DistOfPntToFace.
  double Distance(const gp_Pnt& point) const;

  // Returns whether the point lies strictly closer than tol to the face, as AutoWeldSeamAlgUtils::IsVertexOnFace.
  bool IsOn(const gp_Pnt& point, double tol) const;

  // Returns whether queries take the prepared path.
  bool IsPrepared() const { return myPrepared; }

private:
  // Returns the distance to the nearest boundary segment.
  double BoundaryDistance(const gp_Pnt& point) const;
  // Returns whether the plane parameters (u, v) lie inside the boundary loops.
  bool Contains(double u, double v) const;

  TopoDS_Face myFace;
  gp_Pln myPlane;
  bool myPrepared = false;
  std::vector<std::pair<gp_Pnt, gp_Pnt>> mySegments;
  std::vector<std::pair<gp_Pnt2d, gp_Pnt2d>> myUVSegments;
};
