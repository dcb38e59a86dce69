#pragma once

#include <BRepTopAdaptor_FClass2d.hxx>
#include <TopoDS_Face.hxx>
#include <gp_Pln.hxx>
#include <gp_Pnt.hxx>

#include <memory>
#include <utility>
#include <vector>

// Point-to-face distance of one face, prepared once for many queries from several threads.
//
// A planar face bounded by straight edges keeps its plane, a 2D classifier and its boundary
// segments, so that a query does not walk the face's topology: the distance is the distance to
// the plane when the foot lies in the face, else the distance to the nearest boundary segment.
// Other faces answer through AutoWeldSeamAlgUtils.
class FaceProximity
{
public:
  explicit FaceProximity(const TopoDS_Face& face);

  // Returns the distance from the point to the face, as AutoWeldSeamAlgUtils::DistOfPntToFace.
  double Distance(const gp_Pnt& point) const;

  // Returns whether the point lies strictly closer than tol to the face, as AutoWeldSeamAlgUtils::IsVertexOnFace.
  bool IsOn(const gp_Pnt& point, double tol) const;

  // Returns whether queries take the prepared path.
  bool IsPrepared() const { return myClassifier != nullptr; }

private:
  // Returns the distance to the nearest boundary segment.
  double BoundaryDistance(const gp_Pnt& point) const;

  TopoDS_Face myFace;
  gp_Pln myPlane;
  std::unique_ptr<BRepTopAdaptor_FClass2d> myClassifier;
  std::vector<std::pair<gp_Pnt, gp_Pnt>> mySegments;
};
