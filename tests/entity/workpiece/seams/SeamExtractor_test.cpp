#include "support/SeamSolids.h"
#include "support/Solids.h"

#include <entity/AutoWeldSeamAlgUtils.h>
#include <entity/FaceProximity.h>
#include <entity/SeamExtractor.h>

#include <cadtools/ShapeHandle.h>
#include <cadtools/WorkpieceError.h>

#include <BRepBuilderAPI_MakeFace.hxx>
#include <BRepBuilderAPI_MakeWire.hxx>
#include <BRepPrimAPI_MakeSphere.hxx>
#include <BRep_Builder.hxx>
#include <Message_ProgressIndicator.hxx>
#include <TopExp.hxx>
#include <TopTools_IndexedMapOfShape.hxx>
#include <TopoDS_Compound.hxx>
#include <TopoDS_Iterator.hxx>

#include <gtest/gtest.h>

#include <random>

namespace
{
using Kinds = std::map<EdgeType, int>;
Kinds KindsOf(const SeamExtractor::Result& result)
{
  Kinds counts;
  for (const EdgeFaceSeg& seg : result.segs)
    ++counts[seg.GetEdgeType()];
  return counts;
}

// Returns the compound of the shapes, the i-th moved 2i mm along X when `spread`.
TopoDS_Compound Compound(const std::vector<TopoDS_Shape>& shapes, bool spread = false)
{
  BRep_Builder builder;
  TopoDS_Compound compound;
  builder.MakeCompound(compound);
  for (std::size_t i = 0; i < shapes.size(); ++i)
  {
    gp_Trsf move;
    move.SetTranslation(gp_Vec(2.0 * i, 0, 0));
    builder.Add(compound, spread ? Solids::Moved(shapes[i], move) : shapes[i]);
  }
  return compound;
}

// Records the furthest position shown; asks to stop once shown `stopAfter` times (never if < 0).
struct StopAfter : Message_ProgressIndicator
{
  explicit StopAfter(int stopAfter) : stopAfter(stopAfter) {}
  Standard_Boolean UserBreak() override { return stopAfter >= 0 && shown >= stopAfter; }
  void Show(const Message_ProgressScope&, const Standard_Boolean) override { ++shown, last = GetPosition(); }
  int stopAfter;
  std::atomic<int> shown{0};
  double last = 0.0;
};
} // namespace

TEST(SeamExtractor, IndexLayoutOnACompoundOfSolidsAndALooseFaceAndTheSolidLimit)
{
  // Three solids side by side and a loose face of four edges.
  const TopoDS_Compound part = Compound({Solids::Box(10, 20, 30), Solids::LSolid(50, 10, 30), Solids::Box(10, 20, 30),
                                         SeamSolids::FaceNear(Solids::Box(5, 5, 5), gp_Pnt(2.5, 2.5, 5))},
                                        true);
  const SeamExtractor extractor(part);
  ASSERT_EQ(extractor.NbBlocks(), 4u);
  std::uint32_t solidIndex = 1;
  for (TopoDS_Iterator it(part); it.More() && it.Value().ShapeType() == TopAbs_SOLID; it.Next(), solidIndex += 1u << 17)
  {
    EXPECT_TRUE(extractor.ShapeOf(solidIndex).IsSame(it.Value()));
    TopTools_IndexedMapOfShape subs;
    TopExp::MapShapes(it.Value(), TopAbs_FACE, subs);
    TopExp::MapShapes(it.Value(), TopAbs_EDGE, subs);
    for (int i = 1; i <= subs.Extent(); ++i)
    {
      const std::uint32_t index = extractor.IndexOf(subs(i));
      EXPECT_EQ(AutoWeldSeamAlgUtils::SolidIndexOfSubIndex(index), solidIndex);
      EXPECT_TRUE((index & 0x1FFFF) >= 2 && extractor.ShapeOf(index).IsSame(subs(i))) << index;
    }
  }
  EXPECT_EQ(extractor.IndexOf(Solids::Box(1, 1, 1)), IntEdgeFaceSeg::NoIndex);
  for (const std::uint32_t outside : {0u, (3u << 17) + 100, (5u << 17) | 1})
    EXPECT_TRUE(extractor.ShapeOf(outside).IsNull()) << outside;
  const SeamExtractor::Result result = extractor.Extract(SeamExtractor::Options());
  EXPECT_EQ(result.edges, 12u + 18u + 12u + 4u);
  EXPECT_EQ(result.oneFace, 4u);
  EXPECT_EQ(KindsOf(result), (Kinds{{EdgeType::Concave, 1}, {EdgeType::Convex, 41}}));
  EXPECT_TRUE(std::is_sorted(result.segs.begin(), result.segs.end(),
                             [](const EdgeFaceSeg& a, const EdgeFaceSeg& b) { return a.Edge_Index() < b.Edge_Index(); }));

  // The layout holds 2048 blocks: one more solid is refused before any work.
  std::vector<TopoDS_Shape> many(SeamExtractor::MaxBlocks + 1, Solids::Box(1, 1, 1));
  try
  {
    SeamExtractor tooMany(Compound(many, true));
    ADD_FAILURE() << "2049 solids accepted";
  }
  catch (const WorkpieceError& error)
  {
    EXPECT_STREQ(error.what(), "SeamExtractor: the part has more than 2048 solids");
  }
  many.pop_back();
  EXPECT_EQ(SeamExtractor(Compound(many, true)).NbBlocks(), 2048u);
}

TEST(SeamExtractor, EdgesLeftOutAndEveryClassifierAlikeOnThePoolOneThreadAndDirect)
{
  // Three triangles hinged on one edge: it is shared by more than two faces, the others bound one.
  const gp_Pnt p0(0, 0, 0), p1(10, 0, 0);
  const TopoDS_Edge hinge = SeamSolids::Segment(p0, p1);
  std::vector<TopoDS_Shape> fan;
  for (const gp_Pnt& a : {gp_Pnt(5, 5, 0), gp_Pnt(5, 0, 5), gp_Pnt(5, -5, 0)})
    fan.push_back(BRepBuilderAPI_MakeFace(
      BRepBuilderAPI_MakeWire(hinge, SeamSolids::Segment(p1, a), SeamSolids::Segment(a, p0)).Wire(), true));
  struct Case
  {
    TopoDS_Shape part;
    std::size_t edges, oneFace, manyFaces, degenerated;
    Kinds kinds; // by the probe
  };
  const std::vector<Case> cases{
    {BRepPrimAPI_MakeSphere(10).Shape(), 3, 1, 0, 2, {}},
    {Solids::Cylinder(5, 10), 3, 1, 0, 0, {{EdgeType::Convex, 2}}},
    {Compound(fan), 7, 6, 1, 0, {}},
    {TopoDS_Shape(), 0, 0, 0, 0, {}},
    {Solids::FilletedPlate(100, 60, 10, 5), 24, 0, 0, 0, {{EdgeType::Convex, 24}}},
    {Solids::TSolid(100, 60, 10, 40), 24, 0, 0, 0, {{EdgeType::Concave, 2}, {EdgeType::Convex, 22}}},
    {SeamSolids::StuddedPlate(3, 2), 12 + 6 * 12, 0, 0, 0, {{EdgeType::Concave, 24}, {EdgeType::Convex, 60}}},
    // The probe cannot tell the knife edge, nor the step's inner edge beside a 0.5 mm face.
    {SeamSolids::ThinWedge(), 9, 0, 0, 0, {{EdgeType::Unknown, 1}, {EdgeType::Convex, 8}}},
    {SeamSolids::StepSolid(), 18, 0, 0, 0, {{EdgeType::Unknown, 1}, {EdgeType::Convex, 17}}}};
  for (std::size_t k = 0; k < cases.size(); ++k)
  {
    const SeamExtractor extractor(cases[k].part);
    const SeamExtractor::Result pooled = extractor.Extract(SeamExtractor::Options());
    EXPECT_EQ(std::make_tuple(pooled.edges, pooled.oneFace, pooled.manyFaces, pooled.degenerated),
              std::make_tuple(cases[k].edges, cases[k].oneFace, cases[k].manyFaces, cases[k].degenerated)) << k;
    EXPECT_EQ(KindsOf(pooled), cases[k].kinds) << k;
    for (const auto classifier : {SeamExtractor::Classifier::Probe, SeamExtractor::Classifier::Planar,
                                  SeamExtractor::Classifier::Orientation})
    {
      SeamExtractor::Options options;
      options.classifier = classifier;
      const SeamExtractor::Result parallel = extractor.Extract(options);
      options.parallel = false;
      const SeamExtractor::Result single = extractor.Extract(options);
      ASSERT_EQ(single.segs.size(), parallel.segs.size());
      ASSERT_EQ(single.segs.size(), SeamSolids::TwoFaceEdges(cases[k].part).size());
      // Read off the prepared faces with indices looked up once, as the seam's own shapes give them.
      for (std::size_t i = 0; i < single.segs.size(); ++i)
      {
        const EdgeFaceSeg& seg = single.segs[i];
        EXPECT_TRUE(seg == parallel.segs[i] && seg.GetIntSeg() == parallel.segs[i].GetIntSeg() &&
                    seg.GetEdgeType() == parallel.segs[i].GetEdgeType() &&
                    seg.GetEdgeType() == SeamExtractor::Classify(seg, options) &&
                    seg.Edge_Index() == extractor.IndexOf(seg.Edge()) &&
                    seg.Face1_Index() == extractor.IndexOf(seg.Face1()) && seg.Face2_Index() == extractor.IndexOf(seg.Face2()))
          << k << ", " << SeamExtractor::ClassifierName(classifier) << ", seam " << i;
      }
    }
  }
}

TEST(SeamExtractor, MinimumLengthProgressAndCancellation)
{
  // The L's edges are 30, 50, 40 and 10 long: at the limit an edge is kept.
  const SeamExtractor l(Solids::LSolid(50, 10, 30));
  SeamExtractor::Options options;
  options.minLength = 30.0;
  const SeamExtractor::Result longOnes = l.Extract(options);
  EXPECT_TRUE(longOnes.tooShort == 4 && longOnes.segs.size() == 14);
  options.minLength = 30.0 + 1e-6;
  EXPECT_EQ(l.Extract(options).segs.size(), 8u);

  const SeamExtractor t(Solids::TSolid(100, 60, 10, 40));
  const Handle(StopAfter) never = new StopAfter(-1), atOnce = new StopAfter(0), midway = new StopAfter(3);
  EXPECT_FALSE(t.Extract(SeamExtractor::Options(), never->Start()).cancelled);
  EXPECT_TRUE(std::abs(never->last - 1.0) < 1e-12 && never->shown > 1) << never->last << " " << never->shown;
  const SeamExtractor::Result stopped = t.Extract(SeamExtractor::Options(), atOnce->Start());
  EXPECT_TRUE(stopped.cancelled && stopped.segs.empty());
  // Stopped part-way on one thread: what was classified comes back whole, in order, nothing more.
  options = SeamExtractor::Options();
  options.parallel = false;
  const SeamExtractor::Result all = t.Extract(options), part = t.Extract(options, midway->Start());
  ASSERT_TRUE(part.cancelled && part.segs.size() > 0 && part.segs.size() < all.segs.size()) << part.segs.size();
  for (std::size_t i = 0; i < part.segs.size(); ++i)
    EXPECT_TRUE(part.segs[i] == all.segs[i] && part.segs[i].GetEdgeType() == all.segs[i].GetEdgeType()) << i;
}

TEST(FaceProximity, AgreesWithTheKernelAroundAFaceWithHolesAndOnACylinder)
{
  const TopoDS_Face top = SeamSolids::FaceNear(SeamSolids::StuddedPlate(3, 2), gp_Pnt(50, 45, 10));
  ASSERT_NEAR(ShapeHandle::GetAreaOrVol(top), 100.0 * 80.0 - 6 * 60.0, 1e-6) << "the base's top, less the studs";
  const FaceProximity prepared(top), curved(SeamSolids::FaceNear(Solids::Cylinder(5, 10), gp_Pnt(5, 0, 5)));
  ASSERT_TRUE(prepared.IsPrepared() && !curved.IsPrepared()) << "curved faces are answered by the kernel";
  EXPECT_EQ(prepared.VertexPoints().size(), 2u * (4u + 6u * 4u)) << "4 outer edges and 6 holes of 4, 2 ends each";
  std::mt19937 random(7);
  std::uniform_real_distribution<double> x(-10, 110), y(-10, 90), z(7, 13);
  std::vector<gp_Pnt> points{gp_Pnt(15, 13, 10), gp_Pnt(15, 13, 11.5), gp_Pnt(9.5, 13, 10.2), gp_Pnt(10, 13, 10),
                             gp_Pnt(0, 0, 10), gp_Pnt(50, 40, 10)}; // in a hole, beside a stud, on the boundary
  for (int i = 0; i < 300; ++i)
    points.emplace_back(x(random), y(random), z(random));
  for (const gp_Pnt& p : points)
    EXPECT_NEAR(prepared.Distance(p), AutoWeldSeamAlgUtils::DistOfPntToFace(p, top), 1e-7) << p.X() << " " << p.Y();
  EXPECT_NEAR(curved.Distance(gp_Pnt(8, 0, 5)), 3.0, 1e-7);
  // The strict limit: exactly tol away is off, as in IsVertexOnFace; 3 mm from the hole's edge.
  EXPECT_TRUE(!prepared.IsOn(gp_Pnt(50, 40, 10.5), 0.5) && prepared.IsOn(gp_Pnt(50, 40, 10.5), 0.5 + 1e-9));
  EXPECT_TRUE(!prepared.IsOn(gp_Pnt(15, 13, 10), 3.0 - 1e-6) && prepared.IsOn(gp_Pnt(15, 13, 10), 3.0 + 1e-6));
}
