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

TEST(FaceProximity, AgreesWithTheKernelDistanceAroundAFaceWithHoles)
{
  const TopoDS_Shape plate = SeamSolids::StuddedPlate(3, 2);
  ASSERT_TRUE(BRepCheck_Analyzer(plate).IsValid());
  const TopoDS_Face top = SeamSolids::FaceNear(plate, gp_Pnt(50, 45, 10));
  ASSERT_NEAR(ShapeHandle::GetAreaOrVol(top), 100.0 * 80.0 - 6 * 60.0, 1e-6) << "the base's top, less the studs";
  const FaceProximity prepared(top);
  ASSERT_TRUE(prepared.IsPrepared());

  std::mt19937 random(7);
  std::uniform_real_distribution<double> x(-10, 110), y(-10, 90), z(7, 13);
  for (int i = 0; i < 300; ++i)
  {
    const gp_Pnt p(x(random), y(random), z(random));
    EXPECT_NEAR(prepared.Distance(p), AutoWeldSeamAlgUtils::DistOfPntToFace(p, top), 1e-7) << i;
  }
  // Inside a hole, beside a stud's wall, and exactly on the boundary.
  for (const gp_Pnt& p : {gp_Pnt(15, 13, 10), gp_Pnt(15, 13, 11.5), gp_Pnt(9.5, 13, 10.2), gp_Pnt(10, 13, 10),
                          gp_Pnt(0, 0, 10), gp_Pnt(50, 40, 10)})
    EXPECT_NEAR(prepared.Distance(p), AutoWeldSeamAlgUtils::DistOfPntToFace(p, top), 1e-7);

  // The strict limit: exactly tol away is off, as in IsVertexOnFace.
  EXPECT_FALSE(prepared.IsOn(gp_Pnt(50, 40, 10.5), 0.5));
  EXPECT_TRUE(prepared.IsOn(gp_Pnt(50, 40, 10.5), 0.5 + 1e-9));
  EXPECT_FALSE(prepared.IsOn(gp_Pnt(15, 13, 10), 0.5)) << "3 mm from the hole's edge";
  EXPECT_TRUE(prepared.IsOn(gp_Pnt(15, 13, 10), 3.0 + 1e-6));
  EXPECT_FALSE(prepared.IsOn(gp_Pnt(15, 13, 10), 3.0 - 1e-6));

  // Curved faces are answered by the kernel.
  const TopoDS_Face side = SeamSolids::FaceNear(Solids::Cylinder(5, 10), gp_Pnt(5, 0, 5));
  const FaceProximity curved(side);
  EXPECT_FALSE(curved.IsPrepared());
  EXPECT_NEAR(curved.Distance(gp_Pnt(8, 0, 5)), 3.0, 1e-7);
  EXPECT_DOUBLE_EQ(FaceProximity(TopoDS_Face()).Distance(gp_Pnt()), AutoWeldSeamAlgUtils::FailDistance);
}

TEST(FaceProximity, ExtractionWithPreparedFacesMatchesTheDirectClassifiers)
{
  const std::vector<TopoDS_Shape> parts{Solids::Box(30, 20, 10),          Solids::LSolid(50, 10, 30),
                                        Solids::TSolid(100, 60, 10, 40),   Solids::FilletedPlate(100, 60, 10, 5),
                                        SeamSolids::ThinWedge(),           SeamSolids::StepSolid(),
                                        Solids::Cylinder(10, 20),          SeamSolids::StuddedPlate(3, 2)};
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
    }
  }
  // The studded plate by hand: 6 studs × 4 concave feet, everything else convex.
  const SeamExtractor::Result studs = SeamExtractor(parts.back()).Extract(SeamExtractor::Options());
  std::size_t concave = 0;
  for (const EdgeFaceSeg& seg : studs.segs)
    concave += seg.GetEdgeType() == EdgeType::Concave ? 1 : 0;
  EXPECT_EQ(concave, 24u);
  EXPECT_EQ(studs.segs.size(), 12u + 6u * 12u);
}

TEST(FaceProximity, ClassifierData)
{
  // The studded plate's top: 4 outer edges and 6 holes of 4, each edge with its 2 vertices.
  const TopoDS_Shape plate = SeamSolids::StuddedPlate(3, 2);
  const TopoDS_Face top = SeamSolids::FaceNear(plate, gp_Pnt(50, 45, 10));
  const FaceProximity top10(top);
  EXPECT_EQ(top10.VertexPoints().size(), 2u * (4u + 6u * 4u));
  EXPECT_TRUE(top10.IsPrepared());
  for (const gp_Pnt& p : top10.VertexPoints())
    EXPECT_NEAR(p.Z(), 10.0, 1e-9);

  // A plane's normal holds along any edge; it points out of the solid (up from the top).
  EXPECT_TRUE(top10.IsPlanar());
  const auto [ok, normal] = top10.NormalByEdge(TopoDS_Edge(), 0.5);
  ASSERT_TRUE(ok);
  EXPECT_NEAR(normal.Z(), 1.0, 1e-12);
  EXPECT_NEAR(top10.PlaneNormal().Angle(gp_Vec(0, 0, 1)), 0.0, 1e-12);

  // On a cylinder the normal follows the edge point, as the direct computation gives it.
  const TopoDS_Shape cylinder = Solids::Cylinder(5, 10);
  const TopoDS_Face side = SeamSolids::FaceNear(cylinder, gp_Pnt(5, 0, 5));
  const FaceProximity curved(side);
  EXPECT_FALSE(curved.IsPlanar());
  EXPECT_EQ(curved.PlaneNormal().Magnitude(), 0.0);
  EXPECT_FALSE(curved.NormalByEdge(TopoDS_Edge(), 0.5).first) << "no edge, no point to take the normal at";
  for (TopExp_Explorer it(side, TopAbs_EDGE); it.More(); it.Next())
  {
    const TopoDS_Edge& edge = TopoDS::Edge(it.Current());
    for (const double t : {0.0, 0.25, 1.0})
    {
      const auto [ok, normal] = curved.NormalByEdge(edge, t);
      const auto [okDirect, direct] = AutoWeldSeamAlgUtils::GetFaceNormalByEdge(edge, side, t);
      ASSERT_EQ(ok, okDirect);
      if (ok)
      {
        EXPECT_NEAR(normal.Magnitude(), 1.0, 1e-9);
        EXPECT_NEAR(normal.Z(), 0.0, 1e-9) << "radial";
        EXPECT_TRUE(normal.IsEqual(direct, 1e-12, 1e-12));
      }
    }
  }
}
