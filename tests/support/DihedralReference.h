#pragma once

#include <entity/EdgeType.h>

#include <TopoDS_Edge.hxx>
#include <TopoDS_Face.hxx>

// The kind of an edge between two faces by the dihedral angle, written for the tests only and
// independent of the library's classifiers: outward normals from the surfaces evaluated at the edge's
// points on each face (its curves on the faces), the edge tangent as face1 runs it, several samples.
class DihedralReference
{
public:
  enum class Kind
  {
    Unknown,
    Concave,
    Convex,
    Mixed // the samples disagree: the kind changes along the edge
  };

  // Returns the kind of the edge between face1 and face2 (as oriented in their solid).
  static Kind Classify(const TopoDS_Edge& edge, const TopoDS_Face& face1, const TopoDS_Face& face2);
  // Returns the kind as the library names it (Mixed and Unknown are Unknown).
  static EdgeType AsEdgeType(Kind kind);
};
