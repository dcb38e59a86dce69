#include "support/SeamSolids.h"
#include "support/Solids.h"

#include <entity/EdgeFaceSeg.h>
#include <entity/GeoCurve.h>

#include <BRepBuilderAPI_MakeEdge.hxx>
#include <BRep_Tool.hxx>
#include <Standard_DomainError.hxx>
#include <TopExp.hxx>
#include <TopoDS.hxx>
#include <gp_Circ.hxx>

#include <gtest/gtest.h>

TEST(EdgeFaceSeg, LengthRigidMovesAndStrictEquality)
{
  // A quarter of a circle of radius 20: length 10π, computed from the curve; a null edge changes nothing.
  EdgeFaceSeg arc;
  arc.SetEdge(TopoDS_Edge());
  EXPECT_DOUBLE_EQ(arc.GetSegLength(), -1.0);
  const TopoDS_Edge quarter = BRepBuilderAPI_MakeEdge(gp_Circ(gp::XOY(), 20.0), 0.0, M_PI / 2.0).Edge();
  arc.SetEdge(quarter);
  arc.SetEdge(TopoDS_Edge());
  EXPECT_TRUE(arc.Edge().IsEqual(quarter));
  EXPECT_NEAR(arc.GetSegLength(), 10.0 * M_PI, 1e-9);

  const EdgeWithFaces first = SeamSolids::TwoFaceEdges(Solids::Box(10, 20, 30)).front();
  EdgeFaceSeg seg;
  seg.SetEdge(first.edge);
  seg.SetFace1(first.face1);
  seg.SetFace2(first.face2);
  const EdgeFaceSeg copy = seg;
  EXPECT_EQ(copy, seg);
  gp_Trsf shift, turn, scale;
  shift.SetTranslation(gp_Vec(100, 0, 0));
  turn.SetRotation(gp::OZ(), M_PI / 2.0);
  scale.SetScale(gp::Origin(), 2.0);
  seg.Transform(turn);
  seg.Transform(shift); // applied after the turn
  EXPECT_DOUBLE_EQ(seg.GetSegLength(), copy.GetSegLength());
  EXPECT_NE(copy, seg);
  const gp_Pnt before = BRep_Tool::Pnt(TopExp::FirstVertex(first.edge));
  EXPECT_LT(BRep_Tool::Pnt(TopExp::FirstVertex(seg.Edge())).Distance(before.Transformed(shift * turn)), 1e-9);
  EXPECT_THROW(seg.Transform(scale), Standard_DomainError);

  // The same shapes with a face reversed, or the faces swapped, are not the same segment.
  EdgeFaceSeg flipped = copy, swapped = copy;
  flipped.SetFace2(TopoDS::Face(copy.Face2().Reversed()));
  swapped.SetFace1(copy.Face2());
  swapped.SetFace2(copy.Face1());
  EXPECT_NE(flipped, copy);
  EXPECT_NE(swapped, copy);

  seg.SetIntSeg(IntEdgeFaceSeg(4, 5, 6, 0.3, EdgeType::Concave));
  seg.SetEdgeType(EdgeType::Convex);
  EXPECT_EQ(seg.GetIntSeg().edgeType, EdgeType::Convex);
  EXPECT_EQ(seg.Face2_Index(), 6u);
}

TEST(GeoCurve, CopiesShareTheCurveAndKeepTheTruncatedPlanes)
{
  const TopoDS_Edge edge = SeamSolids::Segment(gp_Pnt(1, 2, 3), gp_Pnt(11, 2, 3));
  GeoCurve curve(edge);
  ASSERT_FALSE(curve.GetCurve().IsNull());
  EXPECT_LT(curve.GetStartPt().Distance(gp_Pnt(1, 2, 3)), 1e-12);
  curve.SetCurveEdgeType(EdgeType::Concave);
  const EdgeWithFaces seam = SeamSolids::TwoFaceEdges(Solids::Box(10, 10, 10)).front();
  curve.GetTruncatedPlane()[0] = seam.face1;
  curve.GetTruncatedPlane()[1] = seam.face2;

  GeoCurve assigned;
  assigned = GeoCurve(curve);
  EXPECT_EQ(assigned.GetCurveEdgeType(), EdgeType::Concave);
  EXPECT_EQ(assigned.GetCurve(), curve.GetCurve()) << "the curve handle is shared, not duplicated";
  EXPECT_TRUE(assigned.GetTruncatedPlane()[0].IsEqual(seam.face1) && assigned.GetTruncatedPlane()[1].IsEqual(seam.face2));
}
