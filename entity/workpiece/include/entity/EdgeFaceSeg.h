#pragma once

#include <entity/IntEdgeFaceSeg.h>

#include <TopoDS_Edge.hxx>
#include <TopoDS_Face.hxx>
#include <gp_Trsf.hxx>

// A seam candidate in topological form: an edge, its two faces, its length and its index form.
class EdgeFaceSeg
{
public:
  EdgeFaceSeg() = default;

  const TopoDS_Edge& Edge() const { return myEdge; }
  const TopoDS_Face& Face1() const { return myFace1; }
  const TopoDS_Face& Face2() const { return myFace2; }

  // Stores the edge and its curve length; a null edge changes nothing.
  void SetEdge(const TopoDS_Edge& edge);
  void SetFace1(const TopoDS_Face& face) { myFace1 = face; }
  void SetFace2(const TopoDS_Face& face) { myFace2 = face; }

  std::uint32_t Edge_Index() const { return myIntSeg.edgeIndex; }
  std::uint32_t Face1_Index() const { return myIntSeg.face1Index; }
  std::uint32_t Face2_Index() const { return myIntSeg.face2Index; }

  EdgeType GetEdgeType() const { return myIntSeg.edgeType; }
  void SetEdgeType(EdgeType type) { myIntSeg.edgeType = type; }
  double GetFuzzyValue() const { return myIntSeg.fuzzyValue; }
  void SetFuzzyValue(double value) { myIntSeg.fuzzyValue = value; }

  const IntEdgeFaceSeg& GetIntSeg() const { return myIntSeg; }
  void SetIntSeg(IntEdgeFaceSeg seg) { myIntSeg = seg; }

  // Whether the seam must be shown even though it is convex (set through the index record).
  bool GetIsNeedViewConvex() const { return myIntSeg.needViewConvex; }

  // Curve length of the edge, -1.0 while no edge has been set.
  double GetSegLength() const { return myLength; }

  // Moves the non-null shapes by `trsf` after their current placement; throws Standard_DomainError
  // for a scaling transformation.
  void Transform(const gp_Trsf& trsf);

  // True when edge, face1 and face2 are each the same shape with equal location and orientation.
  bool operator==(const EdgeFaceSeg& other) const;
  bool operator!=(const EdgeFaceSeg& other) const { return !(*this == other); }

private:
  TopoDS_Edge myEdge;
  TopoDS_Face myFace1;
  TopoDS_Face myFace2;
  double myLength = -1.0;
  IntEdgeFaceSeg myIntSeg;
};
