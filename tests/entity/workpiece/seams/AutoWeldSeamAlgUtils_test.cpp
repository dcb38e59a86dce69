#include "support/SeamSolids.h"
#include "support/Solids.h"
#include <entity/AutoWeldSeamAlgUtils.h>

#include <BRepAdaptor_Curve.hxx>
#include <BRepAdaptor_Surface.hxx>
#include <BRepAlgoAPI_Fuse.hxx>
#include <BRepCheck_Analyzer.hxx>
#include <BRepPrimAPI_MakeBox.hxx>
#include <BRepPrimAPI_MakeSphere.hxx>
#include <GCPnts_AbscissaPoint.hxx>
#include <TopoDS.hxx>
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <map>

namespace
{
using Utils = AutoWeldSeamAlgUtils;
// Returns the answers of the probe, planar and orientation classifiers for one seam.
std::array<EdgeType, 3> Classify(const EdgeWithFaces& s)
{
  return {Utils::CalcEdgeType(s.edge, s.face1, s.face2, 0.1, 0.5), Utils::CalcEdgeType(s.edge, s.face1, s.face2, 1),
          Utils::IsConcave(s.edge, s.face1, s.face2, 0.1)};
}

// Returns the seam of the shape along the edge nearest to the point.
EdgeWithFaces SeamAt(const TopoDS_Shape& shape, const gp_Pnt& nearEdge)
{
  for (const EdgeWithFaces& s : SeamSolids::TwoFaceEdges(shape))
    if (s.edge.IsSame(SeamSolids::EdgeNear(shape, nearEdge)))
      return s;
  return {};
}
} // namespace

TEST(EdgeClassification, KnownSolidsByAllThreeClassifiers)
{
  // Solid, concave and convex seams, concave length; none unknown.
  for (const auto& [shape, concave, convex, length] :
       {std::tuple{Solids::Box(30, 20, 10), 0, 12, 0.0}, {Solids::LSolid(50, 10, 30), 1, 17, 30.0},
        {Solids::TSolid(100, 60, 10, 40), 2, 22, 120.0}})
  {
    ASSERT_TRUE(BRepCheck_Analyzer(shape).IsValid());
    for (int k = 0; k < 3; ++k)
    {
      std::map<EdgeType, double> counts{{EdgeType::Concave, 0}, {EdgeType::Convex, 0}}, lengths;
      for (const EdgeWithFaces& s : SeamSolids::TwoFaceEdges(shape))
      {
        ++counts[Classify(s)[k]];
        lengths[Classify(s)[k]] += GCPnts_AbscissaPoint::Length(BRepAdaptor_Curve(s.edge));
      }
      EXPECT_EQ(counts, (std::map<EdgeType, double>{{EdgeType::Concave, concave}, {EdgeType::Convex, convex}})) << k;
      EXPECT_NEAR(lengths[EdgeType::Concave], length, 1e-9);
    }
  }
  // The L's inner edge whichever face comes first: the edge is re-oriented as the first face uses it.
  const EdgeWithFaces inner = SeamAt(Solids::LSolid(50, 10, 30), gp_Pnt(10, 10, 15));
  EXPECT_EQ(Classify({inner.edge, inner.face2, inner.face1}), Classify(inner));
}

TEST(EdgeClassification, TangentFilletsFoldedBackOneSidedProbesAndNormals)
{
  // Every edge of a filleted plate is convex, tangent ones too; the planar classifier skips curved faces.
  for (const EdgeWithFaces& s : SeamSolids::TwoFaceEdges(Solids::FilletedPlate(100, 60, 10, 5)))
  {
    const bool planar = BRepAdaptor_Surface(s.face1).GetType() == GeomAbs_Plane &&
                        BRepAdaptor_Surface(s.face2).GetType() == GeomAbs_Plane;
    EXPECT_EQ(Classify(s), (std::array{EdgeType::Convex, planar ? EdgeType::Convex : EdgeType::Unknown, EdgeType::Convex}));
  }
  // A knife edge folds back (the cross product decides the orientation); at a step the probes fit
  // the 0.5 high face; no faces, no normals.
  EXPECT_EQ(Classify(SeamAt(SeamSolids::ThinWedge(), gp_Pnt(0, 0, 10))),
            (std::array{EdgeType::Unknown, EdgeType::Unknown, EdgeType::Convex}));
  const EdgeWithFaces step = SeamAt(SeamSolids::StepSolid(), gp_Pnt(10, 5, 15));
  // Inner corners the classifiers used to miss: a step 0.05 high (below tol) and the rim of a dome
  // of radius 2 on a plate, where a straight probe leaves the sphere by 0.3.
  const TopoDS_Shape dome = BRepAlgoAPI_Fuse(BRepPrimAPI_MakeBox(gp_Pnt(-10, -10, 0), 20, 20, 10).Shape(),
                                             BRepPrimAPI_MakeSphere(gp_Pnt(0, 0, 10), 2).Shape()).Shape();
  for (const double rise : {0.5, 0.05})
    EXPECT_EQ(Classify(SeamAt(SeamSolids::StepSolid(rise), gp_Pnt(10, 5, 15))),
              (std::array{EdgeType::Concave, EdgeType::Concave, EdgeType::Concave})) << rise;
  EXPECT_EQ(Classify(SeamAt(dome, gp_Pnt(-2, 0, 10))), (std::array{EdgeType::Concave, EdgeType::Unknown, EdgeType::Concave}));
  EXPECT_EQ(Classify({step.edge, TopoDS_Face(), TopoDS_Face()}), (std::array{EdgeType::Unknown, EdgeType::Unknown, EdgeType::Unknown}));
  const TopoDS_Shape cylinder = Solids::Cylinder(10, 20);
  const TopoDS_Face side = SeamSolids::FaceNear(cylinder, gp_Pnt(10, 0, 10));
  const TopoDS_Edge rim = SeamSolids::EdgeNear(cylinder, gp_Pnt(-10, 0, 20));
  const BRepAdaptor_Curve curve(rim);
  // Fractions outside [0, 1] are clamped; the normal points from the axis to the rim point.
  for (const auto& [t, clamped] : {std::pair{-0.5, 0.0}, std::pair{2.0, 1.0}, std::pair{0.25, 0.25}})
  {
    const auto [ok, normal] = Utils::GetFaceNormalByEdge(rim, side, t);
    const gp_Pnt p = curve.Value(curve.FirstParameter() + (curve.LastParameter() - curve.FirstParameter()) * clamped);
    EXPECT_TRUE(ok && std::abs(normal.Magnitude() - 1) < 1e-12 && normal.Angle(gp_Vec(p.X(), p.Y(), 0.0)) < 1e-6) << t;
  }
  const TopoDS_Face reversedTop = TopoDS::Face(SeamSolids::FaceNear(cylinder, gp_Pnt(0, 0, 20)).Reversed());
  const auto [failed, zero] = Utils::GetFaceNormalByEdge(rim, TopoDS_Face(), 0.3);
  EXPECT_TRUE(Utils::GetFaceNormalByEdge(rim, reversedTop, 0.3).second.Angle(gp_Vec(0, 0, -1)) < 1e-12 && !failed && zero.Magnitude() == 0.0);
}

TEST(EdgeClassification, PointAndEdgeContainmentOnAndBesideTheLimits)
{
  const TopoDS_Shape box = Solids::Box(10, 10, 10);
  const TopoDS_Face bottom = SeamSolids::FaceNear(box, gp_Pnt(5, 5, 0));
  const TopoDS_Face top = SeamSolids::FaceNear(box, gp_Pnt(5, 5, 10));
  EXPECT_TRUE(std::abs(Utils::DistOfPntToFace(gp_Pnt(13, 14, 10), top) - 5.0) < 1e-9 &&
              Utils::DistOfPntToFace(gp_Pnt(1, 1, 1), TopoDS_Face()) == Utils::FailDistance) << "beyond the corner; no face";
  // Strictly closer than tol is on the face: below it, beside its boundary.
  for (const auto& [point, tol, on] : {std::tuple{gp_Pnt(5, 5, -0.5), 0.5, false}, {gp_Pnt(5, 5, -0.5), 0.5 + 1e-9, true},
                                       {gp_Pnt(10.05, 5, 0), 0.04, false}, {gp_Pnt(10.05, 5, 0), 0.06, true}})
    EXPECT_EQ(Utils::IsVertexOnFace(point, bottom, tol), on) << point.X() << " " << tol;
  // Within tol, inclusive, is in the list.
  NCollection_Sequence<gp_Pnt> points;
  points.Append(gp_Pnt(0, 0, 0));
  EXPECT_TRUE(Utils::IsPntInList(gp_Pnt(0.5, 0, 0), points, 0.5) && !Utils::IsPntInList(gp_Pnt(0.5, 0, 0), points, 0.4999));
  // Inside, crossing the boundary, on the boundary.
  EXPECT_TRUE(Utils::IsEdgeInFace(SeamSolids::Segment(gp_Pnt(2, 2, 10), gp_Pnt(8, 7, 10)), top, 1e-6));
  EXPECT_FALSE(Utils::IsEdgeInFace(SeamSolids::Segment(gp_Pnt(2, 2, 10), gp_Pnt(12, 7, 10)), top, 1e-6) ||
               Utils::IsEdgeInFace(SeamSolids::EdgeNear(box, gp_Pnt(5, 0, 10)), top, 1e-6));
  // Trivial when the middle lies closer than tol to the start.
  EXPECT_TRUE(Utils::IsEdgeTrivial(SeamSolids::Segment(gp::Origin(), gp_Pnt(0.19, 0, 0)), 0.1) &&
              !Utils::IsEdgeTrivial(SeamSolids::Segment(gp::Origin(), gp_Pnt(0.2, 0, 0)), 0.1));
}

TEST(EdgeClassification, StraightEdgeRelationsAndMerging)
{
  const auto seg = [](double x0, double x1) { return SeamSolids::Segment(gp_Pnt(x0, 0, 0), gp_Pnt(x1, 0, 0)); };
  // Part of (0, 10): sharing an end within 0.01 and running along it from there.
  for (const auto& [a, b, part] : {std::tuple{10.0, 4.0, true}, {0.0, 4.0, true}, {10.01, 4.0, true},
                                   {10.02, 4.0, false}, {2.0, 4.0, false}, {10.0, 20.0, false}})
    EXPECT_EQ(Utils::IsPartEdge(seg(0, 10), seg(a, b), 0.01, 0.01), part) << a << " " << b;
  EXPECT_FALSE(Utils::IsPartEdge(seg(0, 10), SeamSolids::Segment(gp::Origin(), gp_Pnt(0, 4, 0)), 0.01, 0.01));
  // Out of chain order, the middle piece reversed; a gap or nothing cannot be merged.
  NCollection_Sequence<TopoDS_Edge> chain;
  EXPECT_FALSE(Utils::GetMergedEdge(chain).first);
  for (const TopoDS_Edge& e : {seg(20, 30), seg(10, 0), seg(20, 10)})
    chain.Append(e);
  const auto [ok, merged] = Utils::GetMergedEdge(chain);
  ASSERT_TRUE(ok && BRepCheck_Analyzer(merged).IsValid());
  EXPECT_NEAR(GCPnts_AbscissaPoint::Length(BRepAdaptor_Curve(merged)), 30.0, 1e-6);
  chain.Append(seg(31, 40));
  EXPECT_TRUE(Utils::GetMergedEdge(chain).second.IsNull());
}

TEST(EdgeClassification, CoincidentElementarySurfaces)
{
  // A face of a box or cylinder moved by (dx, 0, dz), with the cylinder's axis turned over or not.
  const auto face = [](const TopoDS_Shape& shape, const gp_Pnt& near, double dx, double dz, bool flip) {
    gp_Trsf move, turn;
    move.SetTranslation(gp_Vec(dx, 0, dz));
    turn.SetRotation(gp_Ax1(gp_Pnt(0, 0, 5), gp::DX()), flip ? M_PI : 0.0);
    return SeamSolids::FaceNear(Solids::Moved(shape, move * turn), near.Translated(gp_Vec(dx, 0, dz)));
  };
  const auto top = [&](double dx, double dz) { return face(Solids::Box(10, 10, 10), gp_Pnt(5, 5, 10), dx, dz, false); };
  const auto side = [&](double r, double dx, bool flip) { return face(Solids::Cylinder(r, 10), gp_Pnt(r, 0, 5), dx, 0, flip); };
  const TopoDS_Face plane = top(0, 0), cylinder = side(5, 0, false);
  for (const auto& [a, b, same] :
       {std::tuple{plane, TopoDS::Face(plane.Reversed()), true}, {plane, top(20, 0.0009), true}, {plane, top(20, 0.0011), false},
        {plane, cylinder, false}, {cylinder, side(5.0009, 0, false), true}, {cylinder, side(5, 0, true), true},
        {cylinder, side(5.0011, 0, false), false}, {cylinder, side(5, 0.01, false), false}})
    EXPECT_EQ(Utils::IsSameElementarySurface(a, b), same);
}
