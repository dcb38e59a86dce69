#include "support/SeamSolids.h"
#include "support/Solids.h"

#include <entity/AutoWeldSeamAlgUtils.h>
#include <entity/FaceProximity.h>
#include <entity/SeamExtractor.h>

#include <cadtools/ShapeHandle.h>

#include <BRepCheck_Analyzer.hxx>
#include <TopExp_Explorer.hxx>
#include <TopoDS.hxx>

#include <gtest/gtest.h>

#include <random>

TEST(FaceProximity, AgreesWithTheKernelAroundAFaceWithHolesAndOnACylinder)
{
  const TopoDS_Shape plate = SeamSolids::StuddedPlate(3, 2);
  ASSERT_TRUE(BRepCheck_Analyzer(plate).IsValid());
  const TopoDS_Face top = SeamSolids::FaceNear(plate, gp_Pnt(50, 45, 10));
  ASSERT_NEAR(ShapeHandle::GetAreaOrVol(top), 100.0 * 80.0 - 6 * 60.0, 1e-6) << "the base's top, less the studs";
  const FaceProximity prepared(top);
  ASSERT_TRUE(prepared.IsPrepared() && prepared.IsPlanar());
  // 4 outer edges and 6 holes of 4, each edge with its 2 vertices; the normal points out, up.
  EXPECT_EQ(prepared.VertexPoints().size(), 2u * (4u + 6u * 4u));
  EXPECT_NEAR(prepared.PlaneNormal().Angle(gp_Vec(0, 0, 1)), 0.0, 1e-12);
  EXPECT_NEAR(prepared.NormalByEdge(TopoDS_Edge(), 0.5).second.Z(), 1.0, 1e-12) << "the same along any edge";

  std::mt19937 random(7);
  std::uniform_real_distribution<double> x(-10, 110), y(-10, 90), z(7, 13);
  std::vector<gp_Pnt> points{gp_Pnt(15, 13, 10), gp_Pnt(15, 13, 11.5), gp_Pnt(9.5, 13, 10.2), gp_Pnt(10, 13, 10),
                             gp_Pnt(0, 0, 10), gp_Pnt(50, 40, 10)}; // in a hole, beside a stud, on the boundary
  for (int i = 0; i < 300; ++i)
    points.emplace_back(x(random), y(random), z(random));
  for (const gp_Pnt& p : points)
    EXPECT_NEAR(prepared.Distance(p), AutoWeldSeamAlgUtils::DistOfPntToFace(p, top), 1e-7)
      << p.X() << " " << p.Y() << " " << p.Z();

  // The strict limit: exactly tol away is off, as in IsVertexOnFace.
  EXPECT_FALSE(prepared.IsOn(gp_Pnt(50, 40, 10.5), 0.5));
  EXPECT_TRUE(prepared.IsOn(gp_Pnt(50, 40, 10.5), 0.5 + 1e-9));
  EXPECT_TRUE(prepared.IsOn(gp_Pnt(15, 13, 10), 3.0 + 1e-6)) << "3 mm from the hole's edge";
  EXPECT_FALSE(prepared.IsOn(gp_Pnt(15, 13, 10), 3.0 - 1e-6));

  // Curved faces are answered by the kernel; their normal follows the edge point.
  const TopoDS_Face side = SeamSolids::FaceNear(Solids::Cylinder(5, 10), gp_Pnt(5, 0, 5));
  const FaceProximity curved(side);
  EXPECT_FALSE(curved.IsPrepared() || curved.IsPlanar());
  EXPECT_NEAR(curved.Distance(gp_Pnt(8, 0, 5)), 3.0, 1e-7);
  EXPECT_FALSE(curved.NormalByEdge(TopoDS_Edge(), 0.5).first) << "no edge, no point to take the normal at";
  for (TopExp_Explorer it(side, TopAbs_EDGE); it.More(); it.Next())
    for (const double t : {0.0, 0.25, 1.0})
    {
      const auto [ok, normal] = curved.NormalByEdge(TopoDS::Edge(it.Current()), t);
      const auto [okDirect, direct] = AutoWeldSeamAlgUtils::GetFaceNormalByEdge(TopoDS::Edge(it.Current()), side, t);
      ASSERT_EQ(ok, okDirect);
      EXPECT_TRUE(!ok || (std::abs(normal.Z()) < 1e-9 && normal.IsEqual(direct, 1e-12, 1e-12))) << "radial";
    }
  EXPECT_DOUBLE_EQ(FaceProximity(TopoDS_Face()).Distance(gp_Pnt()), AutoWeldSeamAlgUtils::FailDistance);
}

TEST(FaceProximity, ExtractionWithPreparedFacesMatchesTheDirectClassifiers)
{
  const std::vector<TopoDS_Shape> parts{Solids::Box(30, 20, 10),        Solids::LSolid(50, 10, 30),
                                        Solids::TSolid(100, 60, 10, 40), Solids::FilletedPlate(100, 60, 10, 5),
                                        SeamSolids::ThinWedge(),         SeamSolids::StepSolid(),
                                        Solids::Cylinder(10, 20),        SeamSolids::StuddedPlate(3, 2)};
  for (std::size_t k = 0; k < parts.size(); ++k)
  {
    const SeamExtractor extractor(parts[k]);
    for (const auto classifier : {SeamExtractor::Classifier::Probe, SeamExtractor::Classifier::Planar,
                                  SeamExtractor::Classifier::Orientation})
    {
      SeamExtractor::Options options;
      options.classifier = classifier;
      const SeamExtractor::Result result = extractor.Extract(options);
      ASSERT_EQ(result.segs.size(), SeamSolids::TwoFaceEdges(parts[k]).size());
      for (const EdgeFaceSeg& seg : result.segs)
      {
        EXPECT_EQ(seg.GetEdgeType(), SeamExtractor::Classify(seg, options))
          << "part " << k << ", " << SeamExtractor::ClassifierName(classifier) << ", edge " << seg.Edge_Index();
        // The indices looked up once per candidate are those of the shapes the seam carries.
        EXPECT_EQ(seg.Edge_Index(), extractor.IndexOf(seg.Edge()));
        EXPECT_EQ(seg.Face1_Index(), extractor.IndexOf(seg.Face1()));
        EXPECT_EQ(seg.Face2_Index(), extractor.IndexOf(seg.Face2()));
      }
      if (k + 1 == parts.size() && classifier == SeamExtractor::Classifier::Probe)
      {
        // The studded plate by hand: 6 studs × 4 concave feet, everything else convex.
        EXPECT_EQ(std::count_if(result.segs.begin(), result.segs.end(),
                                [](const EdgeFaceSeg& s) { return s.GetEdgeType() == EdgeType::Concave; }),
                  24);
        EXPECT_EQ(result.segs.size(), 12u + 6u * 12u);
      }
    }
  }
}
