#include "support/SeamSolids.h"
#include "support/Solids.h"

#include <entity/EdgeFaceSeg.h>
#include <entity/GeoCurve.h>

#include <BRepBuilderAPI_MakeEdge.hxx>
#include <BRep_Tool.hxx>
#include <TopoDS.hxx>
#include <Standard_DomainError.hxx>
#include <TopExp.hxx>
#include <gp_Circ.hxx>

#include <gtest/gtest.h>

#include <cmath>

TEST(EdgeFaceSeg, DefaultAndSetEdgeLength)
{
  EdgeFaceSeg seg;
  EXPECT_DOUBLE_EQ(seg.GetSegLength(), -1.0);
  EXPECT_TRUE(seg.Edge().IsNull());
  EXPECT_EQ(seg.Edge().Orientation(), TopAbs_EXTERNAL);
  EXPECT_EQ(seg.Edge_Index(), 2147483647u);
  EXPECT_EQ(seg.Face1_Index(), 2147483647u);
  EXPECT_DOUBLE_EQ(seg.GetFuzzyValue(), 0.1);
  EXPECT_EQ(seg.GetEdgeType(), EdgeType::Unknown);
  EXPECT_TRUE(seg.GetIsNeedViewConvex());
  EXPECT_EQ(seg.GetIntSeg().auxNumber, 1);

  seg.SetEdge(TopoDS_Edge());
  EXPECT_DOUBLE_EQ(seg.GetSegLength(), -1.0);

  // A quarter of a circle of radius 20: length 10π, computed from the curve.
  const gp_Circ circle(gp_Ax2(gp_Pnt(0, 0, 0), gp::DZ()), 20.0);
  const TopoDS_Edge arc = BRepBuilderAPI_MakeEdge(circle, 0.0, M_PI / 2.0).Edge();
  seg.SetEdge(arc);
  EXPECT_NEAR(seg.GetSegLength(), 10.0 * M_PI, 1e-9);
  seg.SetEdge(TopoDS_Edge());
  EXPECT_TRUE(seg.Edge().IsEqual(arc)) << "a null edge leaves the previous one";
  EXPECT_NEAR(seg.GetSegLength(), 10.0 * M_PI, 1e-9);

  seg.SetIntSeg(IntEdgeFaceSeg(4, 5, 6, 0.3, EdgeType::Concave));
  seg.SetEdgeType(EdgeType::Convex);
  EXPECT_EQ(seg.GetIntSeg().edgeType, EdgeType::Convex);
  EXPECT_EQ(seg.Face2_Index(), 6u);
}

TEST(EdgeFaceSeg, TransformMovesShapesRigidlyAndComparesStrictly)
{
  const TopoDS_Shape box = Solids::Box(10, 20, 30);
  const EdgeWithFaces first = SeamSolids::TwoFaceEdges(box).front();
  EdgeFaceSeg seg;
  seg.SetEdge(first.edge);
  seg.SetFace1(first.face1);
  seg.SetFace2(first.face2);
  const double length = seg.GetSegLength();
  EdgeFaceSeg copy = seg;
  EXPECT_EQ(copy, seg);

  gp_Trsf shift, turn;
  shift.SetTranslation(gp_Vec(100, 0, 0));
  turn.SetRotation(gp::OZ(), M_PI / 2.0);
  seg.Transform(turn);
  seg.Transform(shift); // applied after the turn
  EXPECT_DOUBLE_EQ(seg.GetSegLength(), length);
  EXPECT_NE(copy, seg);
  const gp_Pnt before = BRep_Tool::Pnt(TopExp::FirstVertex(first.edge));
  const gp_Pnt after = BRep_Tool::Pnt(TopExp::FirstVertex(seg.Edge()));
  EXPECT_LT(after.Distance(before.Transformed(shift * turn)), 1e-9);

  // The same shapes with a face reversed are not the same segment.
  EdgeFaceSeg flipped = copy;
  flipped.SetFace2(TopoDS::Face(copy.Face2().Reversed()));
  EXPECT_NE(flipped, copy);
  EdgeFaceSeg swapped = copy;
  swapped.SetFace1(copy.Face2());
  swapped.SetFace2(copy.Face1());
  EXPECT_NE(swapped, copy) << "face1 must match face1";

  gp_Trsf scale;
  scale.SetScale(gp::Origin(), 2.0);
  EdgeFaceSeg scaled = copy;
  EXPECT_THROW(scaled.Transform(scale), Standard_DomainError);

  EdgeFaceSeg onlyFace;
  onlyFace.SetFace1(first.face1);
  onlyFace.Transform(shift);
  EXPECT_TRUE(onlyFace.Edge().IsNull());
  EXPECT_FALSE(onlyFace.Face1().IsEqual(first.face1));
}

TEST(GeoCurve, CurveEdgeTypeAndTruncatedPlanes)
{
  const TopoDS_Edge edge = SeamSolids::Segment(gp_Pnt(1, 2, 3), gp_Pnt(11, 2, 3));
  GeoCurve curve(edge);
  ASSERT_FALSE(curve.GetCurve().IsNull());
  EXPECT_LT(curve.GetStartPt().Distance(gp_Pnt(1, 2, 3)), 1e-12);
  EXPECT_TRUE(curve.GetOriTopoEdge().IsEqual(edge));
  EXPECT_EQ(curve.GetCurveEdgeType(), EdgeType::Unknown);
  curve.SetCurveEdgeType(EdgeType::Concave);

  const TopoDS_Shape box = Solids::Box(10, 10, 10);
  const EdgeWithFaces seam = SeamSolids::TwoFaceEdges(box).front();
  curve.GetTruncatedPlane()[0] = seam.face1;
  curve.GetTruncatedPlane()[1] = seam.face2;

  GeoCurve copy(curve);
  EXPECT_EQ(copy.GetCurveEdgeType(), EdgeType::Concave);
  EXPECT_EQ(copy.GetCurve(), curve.GetCurve()) << "the curve handle is shared, not duplicated";
  EXPECT_TRUE(copy.GetTruncatedPlane()[1].IsEqual(seam.face2));
  GeoCurve assigned;
  assigned = copy;
  EXPECT_TRUE(assigned.GetTruncatedPlane()[0].IsEqual(seam.face1));
  EXPECT_TRUE(GeoCurve().GetCurve().IsNull());
}
