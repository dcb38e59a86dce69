#include "support/SeamSolids.h"
#include "support/Solids.h"

#include <entity/AutoWeldSeamAlgUtils.h>

#include <BRepAdaptor_Curve.hxx>
#include <BRepAdaptor_Surface.hxx>
#include <BRepBuilderAPI_MakeVertex.hxx>
#include <BRepCheck_Analyzer.hxx>
#include <BRep_Tool.hxx>
#include <GCPnts_AbscissaPoint.hxx>
#include <Geom_BSplineCurve.hxx>
#include <GeomAbs_SurfaceType.hxx>
#include <TopExp_Explorer.hxx>
#include <TopoDS.hxx>

#include <gtest/gtest.h>

#include <cmath>
#include <map>

namespace
{
constexpr double Tol = 0.1;
constexpr double Middle = 0.5;
constexpr int Step = 1;

struct Kinds
{
  EdgeType probe, planar, orientation;
};

// Returns the three classifiers' answers for one seam.
Kinds Classify(const EdgeWithFaces& s)
{
  return {AutoWeldSeamAlgUtils::CalcEdgeType(s.edge, s.face1, s.face2, Tol, Middle),
          AutoWeldSeamAlgUtils::CalcEdgeType(s.edge, s.face1, s.face2, Step),
          AutoWeldSeamAlgUtils::IsConcave(s.edge, s.face1, s.face2, Tol)};
}

// Returns the number of seams of each kind by one of the classifiers, and the concave length.
std::map<EdgeType, int> Count(const TopoDS_Shape& shape, EdgeType Kinds::*which, double* concaveLength = nullptr)
{
  std::map<EdgeType, int> counts;
  for (const EdgeWithFaces& s : SeamSolids::TwoFaceEdges(shape))
  {
    const EdgeType kind = Classify(s).*which;
    ++counts[kind];
    if (concaveLength && kind == EdgeType::Concave)
      *concaveLength += GCPnts_AbscissaPoint::Length(BRepAdaptor_Curve(s.edge));
  }
  return counts;
}

bool IsPlanar(const TopoDS_Face& face)
{
  return BRepAdaptor_Surface(face).GetType() == GeomAbs_Plane;
}
} // namespace

TEST(EdgeClassification, BoxLAndTByAllThreeClassifiers)
{
  const TopoDS_Shape box = Solids::Box(30, 20, 10);
  const TopoDS_Shape l = Solids::LSolid(50, 10, 30);
  const TopoDS_Shape t = Solids::TSolid(100, 60, 10, 40);
  for (const TopoDS_Shape* shape : {&box, &l, &t})
    ASSERT_TRUE(BRepCheck_Analyzer(*shape).IsValid());
  for (EdgeType Kinds::*which : {&Kinds::probe, &Kinds::planar, &Kinds::orientation})
  {
    EXPECT_EQ(Count(box, which), (std::map<EdgeType, int>{{EdgeType::Convex, 12}}));
    double lLength = 0.0, tLength = 0.0;
    EXPECT_EQ(Count(l, which, &lLength), (std::map<EdgeType, int>{{EdgeType::Concave, 1}, {EdgeType::Convex, 17}}));
    EXPECT_NEAR(lLength, 30.0, 1e-9);
    const auto tCounts = Count(t, which, &tLength);
    EXPECT_EQ(tCounts.at(EdgeType::Concave), 2);
    EXPECT_EQ(tCounts.count(EdgeType::Unknown), 0u);
    EXPECT_NEAR(tLength, 120.0, 1e-9);
  }
  // The concave edge of the L is the one along Z at (10, 10), whichever face comes first.
  const EdgeWithFaces inner = [&] {
    for (const EdgeWithFaces& s : SeamSolids::TwoFaceEdges(l))
      if (Classify(s).probe == EdgeType::Concave)
        return s;
    return EdgeWithFaces{};
  }();
  const BRepAdaptor_Curve curve(inner.edge);
  EXPECT_NEAR(curve.Value(curve.FirstParameter()).X(), 10.0, 1e-9);
  EXPECT_NEAR(curve.Value(curve.FirstParameter()).Y(), 10.0, 1e-9);
  const Kinds swapped = Classify({inner.edge, inner.face2, inner.face1});
  EXPECT_EQ(swapped.probe, EdgeType::Concave);
  EXPECT_EQ(swapped.orientation, EdgeType::Concave) << "the edge is re-oriented as the first face uses it";
}

TEST(EdgeClassification, TangentFilletEdgesAreConvexExceptForThePlanarClassifier)
{
  const TopoDS_Shape plate = Solids::FilletedPlate(100, 60, 10, 5);
  ASSERT_TRUE(BRepCheck_Analyzer(plate).IsValid());
  int tangent = 0;
  for (const EdgeWithFaces& s : SeamSolids::TwoFaceEdges(plate))
  {
    const Kinds kinds = Classify(s);
    EXPECT_EQ(kinds.probe, EdgeType::Convex);
    EXPECT_EQ(kinds.orientation, EdgeType::Convex);
    const bool bothPlanar = IsPlanar(s.face1) && IsPlanar(s.face2);
    EXPECT_EQ(kinds.planar, bothPlanar ? EdgeType::Convex : EdgeType::Unknown);
    const auto [ok1, n1] = AutoWeldSeamAlgUtils::GetFaceNormalByEdge(s.edge, s.face1, Middle);
    const auto [ok2, n2] = AutoWeldSeamAlgUtils::GetFaceNormalByEdge(s.edge, s.face2, Middle);
    ASSERT_TRUE(ok1 && ok2);
    if (n1.Angle(n2) < AutoWeldSeamAlgUtils::ParallelTol)
      ++tangent;
  }
  EXPECT_EQ(tangent, 8) << "each of the four fillets meets two side faces tangentially";
}

TEST(EdgeClassification, FoldedBackAndOneSidedProbesAreUnknown)
{
  const TopoDS_Shape wedge = SeamSolids::ThinWedge();
  const TopoDS_Edge knife = SeamSolids::EdgeNear(wedge, gp_Pnt(0, 0, 10));
  int checked = 0;
  for (const EdgeWithFaces& s : SeamSolids::TwoFaceEdges(wedge))
    if (s.edge.IsSame(knife))
    {
      const Kinds kinds = Classify(s);
      EXPECT_EQ(kinds.probe, EdgeType::Unknown);
      EXPECT_EQ(kinds.planar, EdgeType::Unknown);
      EXPECT_EQ(kinds.orientation, EdgeType::Convex) << "not within 0.01 rad of opposite: decided by the cross product";
      ++checked;
    }
  EXPECT_EQ(checked, 1);

  // The probe 1.1 mm into the 0.5 mm high face overshoots it, the one into the 10 mm face lands.
  const TopoDS_Shape step = SeamSolids::StepSolid();
  const TopoDS_Edge inner = SeamSolids::EdgeNear(step, gp_Pnt(10, 5, 15));
  checked = 0;
  for (const EdgeWithFaces& s : SeamSolids::TwoFaceEdges(step))
    if (s.edge.IsSame(inner))
    {
      const Kinds kinds = Classify(s);
      EXPECT_EQ(kinds.probe, EdgeType::Unknown);
      EXPECT_EQ(kinds.planar, EdgeType::Unknown);
      EXPECT_EQ(kinds.orientation, EdgeType::Concave);
      ++checked;
    }
  EXPECT_EQ(checked, 1);

  // No faces, no normals.
  EXPECT_EQ(AutoWeldSeamAlgUtils::CalcEdgeType(inner, TopoDS_Face(), TopoDS_Face(), Tol, Middle), EdgeType::Unknown);
  EXPECT_EQ(AutoWeldSeamAlgUtils::IsConcave(inner, TopoDS_Face(), TopoDS_Face(), Tol), EdgeType::Unknown);
}

TEST(EdgeClassification, FaceNormalsAlongAnEdge)
{
  const TopoDS_Shape cylinder = Solids::Cylinder(10, 20);
  TopoDS_Face side;
  for (TopExp_Explorer it(cylinder, TopAbs_FACE); it.More(); it.Next())
    if (BRepAdaptor_Surface(TopoDS::Face(it.Current())).GetType() == GeomAbs_Cylinder)
      side = TopoDS::Face(it.Current());
  ASSERT_FALSE(side.IsNull());
  const TopoDS_Edge rim = SeamSolids::EdgeNear(cylinder, gp_Pnt(-10, 0, 20));
  double first = 0.0, last = 0.0;
  const Handle(Geom_Curve) curve = BRep_Tool::Curve(rim, first, last);
  for (const auto& [t, expected] : {std::pair{-0.5, 0.0}, std::pair{2.0, 1.0}, std::pair{0.25, 0.25}})
  {
    const auto [ok, normal] = AutoWeldSeamAlgUtils::GetFaceNormalByEdge(rim, side, t);
    ASSERT_TRUE(ok);
    EXPECT_NEAR(normal.Magnitude(), 1.0, 1e-12);
    // Outward: from the axis to the sampled point of the rim.
    const gp_Pnt p = curve->Value(first + (last - first) * expected);
    const gp_Vec radial(p.X(), p.Y(), 0.0);
    EXPECT_LT(normal.Angle(radial), 1e-6) << "t = " << t;
  }
  const TopoDS_Face top = SeamSolids::FaceNear(cylinder, gp_Pnt(0, 0, 20));
  EXPECT_LT(AutoWeldSeamAlgUtils::GetFaceNormalByEdge(rim, top, 0.3).second.Angle(gp_Vec(0, 0, 1)), 1e-12);
  EXPECT_LT(AutoWeldSeamAlgUtils::GetFaceNormalByEdge(rim, TopoDS::Face(top.Reversed()), 0.3).second.Angle(gp_Vec(0, 0, -1)), 1e-12);
  const auto failed = AutoWeldSeamAlgUtils::GetFaceNormalByEdge(rim, TopoDS_Face(), 0.3);
  EXPECT_FALSE(failed.first);
  EXPECT_DOUBLE_EQ(failed.second.Magnitude(), 0.0);
}

TEST(EdgeClassification, PointAndEdgeContainment)
{
  const TopoDS_Shape box = Solids::Box(10, 10, 10);
  const TopoDS_Face bottom = SeamSolids::FaceNear(box, gp_Pnt(5, 5, 0));
  const TopoDS_Face top = SeamSolids::FaceNear(box, gp_Pnt(5, 5, 10));
  EXPECT_DOUBLE_EQ(AutoWeldSeamAlgUtils::DistOfPntToFace(gp_Pnt(5, 5, 13), top), 3.0);
  EXPECT_NEAR(AutoWeldSeamAlgUtils::DistOfPntToFace(gp_Pnt(13, 14, 10), top), 5.0, 1e-9) << "beyond the corner";
  EXPECT_DOUBLE_EQ(AutoWeldSeamAlgUtils::DistOfPntToFace(gp_Pnt(1, 1, 1), TopoDS_Face()),
                   AutoWeldSeamAlgUtils::FailDistance);

  // Strict: exactly tol away is off the face.
  EXPECT_FALSE(AutoWeldSeamAlgUtils::IsVertexOnFace(gp_Pnt(5, 5, -0.5), bottom, 0.5));
  EXPECT_TRUE(AutoWeldSeamAlgUtils::IsVertexOnFace(gp_Pnt(5, 5, -0.5), bottom, 0.5 + 1e-9));
  EXPECT_FALSE(AutoWeldSeamAlgUtils::IsVertexOnFace(BRepBuilderAPI_MakeVertex(gp_Pnt(5, 5, -0.25)).Vertex(), bottom, 0.25));
  EXPECT_TRUE(AutoWeldSeamAlgUtils::IsVertexOnFace(BRepBuilderAPI_MakeVertex(gp_Pnt(5, 5, -0.25)).Vertex(), bottom, 0.26));
  EXPECT_FALSE(AutoWeldSeamAlgUtils::IsVertexOnFace(gp_Pnt(10.05, 5, 0), bottom, 0.04)) << "beside the boundary";
  EXPECT_TRUE(AutoWeldSeamAlgUtils::IsVertexOnFace(gp_Pnt(10.05, 5, 0), bottom, 0.06));

  // Inclusive: exactly tol away is in the list.
  NCollection_Sequence<gp_Pnt> points;
  EXPECT_FALSE(AutoWeldSeamAlgUtils::IsPntInList(gp_Pnt(), points, 1.0));
  points.Append(gp_Pnt(0, 0, 0));
  points.Append(gp_Pnt(100, 0, 0));
  EXPECT_TRUE(AutoWeldSeamAlgUtils::IsPntInList(gp_Pnt(0.5, 0, 0), points, 0.5));
  EXPECT_FALSE(AutoWeldSeamAlgUtils::IsPntInList(gp_Pnt(0.5, 0, 0), points, 0.4999));
  EXPECT_TRUE(AutoWeldSeamAlgUtils::IsPntInList(gp_Pnt(100, 0.25, 0), points, 0.25));

  const TopoDS_Edge inside = SeamSolids::Segment(gp_Pnt(2, 2, 10), gp_Pnt(8, 7, 10));
  EXPECT_TRUE(AutoWeldSeamAlgUtils::IsEdgeInFace(inside, top, 1e-6));
  EXPECT_FALSE(AutoWeldSeamAlgUtils::IsEdgeInFace(SeamSolids::Segment(gp_Pnt(2, 2, 10), gp_Pnt(12, 7, 10)), top, 1e-6));
  const TopoDS_Edge boundary = SeamSolids::EdgeNear(box, gp_Pnt(5, 0, 10));
  EXPECT_FALSE(AutoWeldSeamAlgUtils::IsEdgeInFace(boundary, top, 1e-6)) << "on the boundary is not in";

  EXPECT_TRUE(AutoWeldSeamAlgUtils::IsEdgeTrivial(SeamSolids::Segment(gp_Pnt(0, 0, 0), gp_Pnt(0.05, 0, 0)), 0.1));
  EXPECT_FALSE(AutoWeldSeamAlgUtils::IsEdgeTrivial(SeamSolids::Segment(gp_Pnt(0, 0, 0), gp_Pnt(0.2, 0, 0)), 0.1))
    << "middle exactly tol from the start is not trivial";
  EXPECT_TRUE(AutoWeldSeamAlgUtils::IsEdgeTrivial(TopoDS_Edge(), 0.1));

  EXPECT_TRUE(AutoWeldSeamAlgUtils::IsAncestor(top, box, false));
  EXPECT_TRUE(AutoWeldSeamAlgUtils::IsAncestor(top, box, true));
  EXPECT_TRUE(AutoWeldSeamAlgUtils::IsAncestor(top.Reversed(), box, false));
  EXPECT_FALSE(AutoWeldSeamAlgUtils::IsAncestor(top.Reversed(), box, true));
  EXPECT_FALSE(AutoWeldSeamAlgUtils::IsAncestor(top, Solids::Box(10, 10, 10), false)) << "an equal copy is not the same shape";
}

TEST(EdgeClassification, StraightEdgeRelationsAndMerging)
{
  const auto seg = [](double x0, double x1) { return SeamSolids::Segment(gp_Pnt(x0, 0, 0), gp_Pnt(x1, 0, 0)); };
  EXPECT_TRUE(AutoWeldSeamAlgUtils::IsPartEdge(seg(0, 10), seg(10, 4), 0.01, 0.01)) << "B1 = A2, opposite directions";
  EXPECT_TRUE(AutoWeldSeamAlgUtils::IsPartEdge(seg(0, 10), seg(0, 4), 0.01, 0.01));
  EXPECT_FALSE(AutoWeldSeamAlgUtils::IsPartEdge(seg(0, 10), SeamSolids::Segment(gp_Pnt(0, 0, 0), gp_Pnt(0, 4, 0)), 0.01, 0.01));
  EXPECT_FALSE(AutoWeldSeamAlgUtils::IsPartEdge(seg(0, 10), seg(2, 4), 0.01, 0.01)) << "no shared end";
  EXPECT_TRUE(AutoWeldSeamAlgUtils::IsPartEdge(seg(0, 10), seg(10.01, 4), 0.01, 0.01)) << "ends within distTol";
  EXPECT_FALSE(AutoWeldSeamAlgUtils::IsPartEdge(seg(0, 10), seg(10.02, 4), 0.01, 0.01));
  EXPECT_FALSE(AutoWeldSeamAlgUtils::IsPartEdge(seg(0, 10), seg(10, 20), 0.01, 0.01)) << "continuing, not overlapping";
  EXPECT_FALSE(AutoWeldSeamAlgUtils::IsPartEdge(seg(0, 10), SeamSolids::EdgeNear(Solids::Cylinder(5, 1), gp_Pnt(-5, 0, 1)), 0.01, 0.01));
  EXPECT_TRUE(AutoWeldSeamAlgUtils::IsTwoEdgeEqual(seg(0, 10), seg(10, 0), 0.01, 0.01));
  EXPECT_FALSE(AutoWeldSeamAlgUtils::IsTwoEdgeEqual(seg(0, 10), seg(0, 11), 0.01, 0.01));

  NCollection_Sequence<TopoDS_Edge> edges;
  EXPECT_FALSE(AutoWeldSeamAlgUtils::GetMergedEdge(edges).first);
  edges.Append(seg(0, 10));
  edges.Append(seg(11, 20));
  const auto gapped = AutoWeldSeamAlgUtils::GetMergedEdge(edges);
  EXPECT_FALSE(gapped.first);
  EXPECT_TRUE(gapped.second.IsNull());

  // Out of chain order, the middle piece reversed.
  NCollection_Sequence<TopoDS_Edge> chain;
  chain.Append(seg(20, 30));
  chain.Append(seg(10, 0));
  chain.Append(seg(20, 10));
  const auto [ok, merged] = AutoWeldSeamAlgUtils::GetMergedEdge(chain);
  ASSERT_TRUE(ok);
  EXPECT_NEAR(GCPnts_AbscissaPoint::Length(BRepAdaptor_Curve(merged)), 30.0, 1e-6);
  EXPECT_TRUE(BRepCheck_Analyzer(merged).IsValid());

  NCollection_Sequence<TopoDS_Edge> single;
  single.Append(seg(3, 8));
  const auto [one, copy] = AutoWeldSeamAlgUtils::GetMergedEdge(single);
  ASSERT_TRUE(one);
  double f = 0.0, l = 0.0;
  EXPECT_FALSE(Handle(Geom_BSplineCurve)::DownCast(BRep_Tool::Curve(copy, f, l)).IsNull());
  EXPECT_NEAR(GCPnts_AbscissaPoint::Length(BRepAdaptor_Curve(copy)), 5.0, 1e-9);
}

TEST(EdgeClassification, CoincidentElementarySurfaces)
{
  const auto topOf = [](double dx, double dz) {
    gp_Trsf move;
    move.SetTranslation(gp_Vec(dx, 0, dz));
    const TopoDS_Shape box = Solids::Moved(Solids::Box(10, 10, 10), move);
    return SeamSolids::FaceNear(box, gp_Pnt(dx + 5, 5, dz + 10));
  };
  const TopoDS_Face top = topOf(0, 0);
  EXPECT_TRUE(AutoWeldSeamAlgUtils::IsSameElementarySurface(top, TopoDS::Face(top.Reversed())));
  EXPECT_TRUE(AutoWeldSeamAlgUtils::IsSameElementarySurface(top, topOf(20, 0)));
  EXPECT_TRUE(AutoWeldSeamAlgUtils::IsSameElementarySurface(top, topOf(20, 0.0009)));
  EXPECT_FALSE(AutoWeldSeamAlgUtils::IsSameElementarySurface(top, topOf(20, 0.0011)));

  const auto side = [](double radius, double dx) {
    gp_Trsf move;
    move.SetTranslation(gp_Vec(dx, 0, 0));
    const TopoDS_Shape c = Solids::Moved(Solids::Cylinder(radius, 10), move);
    for (TopExp_Explorer it(c, TopAbs_FACE); it.More(); it.Next())
      if (BRepAdaptor_Surface(TopoDS::Face(it.Current())).GetType() == GeomAbs_Cylinder)
        return TopoDS::Face(it.Current());
    return TopoDS_Face();
  };
  EXPECT_TRUE(AutoWeldSeamAlgUtils::IsSameElementarySurface(side(5, 0), side(5, 0)));
  EXPECT_TRUE(AutoWeldSeamAlgUtils::IsSameElementarySurface(side(5, 0), side(5.0009, 0)));
  EXPECT_FALSE(AutoWeldSeamAlgUtils::IsSameElementarySurface(side(5, 0), side(5.0011, 0)));
  EXPECT_FALSE(AutoWeldSeamAlgUtils::IsSameElementarySurface(side(5, 0), side(5, 0.01)));
  EXPECT_FALSE(AutoWeldSeamAlgUtils::IsSameElementarySurface(side(5, 0), top)) << "different surface types";
}
