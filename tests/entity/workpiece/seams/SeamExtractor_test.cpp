#include "support/SeamSolids.h"
#include "support/Solids.h"

#include <entity/AutoWeldSeamAlgUtils.h>
#include <entity/SeamExtractor.h>

#include <cadtools/WorkpieceError.h>

#include <BRepBuilderAPI_MakeEdge.hxx>
#include <BRepBuilderAPI_MakeFace.hxx>
#include <BRepBuilderAPI_MakeWire.hxx>
#include <BRepPrimAPI_MakeSphere.hxx>
#include <BRep_Builder.hxx>
#include <Message_ProgressIndicator.hxx>
#include <TopExp.hxx>
#include <TopTools_IndexedMapOfShape.hxx>
#include <TopoDS_Compound.hxx>

#include <gtest/gtest.h>

namespace
{
std::map<EdgeType, int> Kinds(const SeamExtractor::Result& result)
{
  std::map<EdgeType, int> counts;
  for (const EdgeFaceSeg& seg : result.segs)
    ++counts[seg.GetEdgeType()];
  return counts;
}

TopoDS_Compound Compound(const std::vector<TopoDS_Shape>& shapes)
{
  BRep_Builder builder;
  TopoDS_Compound compound;
  builder.MakeCompound(compound);
  for (const TopoDS_Shape& shape : shapes)
    builder.Add(compound, shape);
  return compound;
}

TopoDS_Shape MovedX(const TopoDS_Shape& shape, double x)
{
  gp_Trsf move;
  move.SetTranslation(gp_Vec(x, 0, 0));
  return Solids::Moved(shape, move);
}

// Records the furthest position shown; asks to stop once shown `stopAfter` times (never if < 0).
class StopAfter : public Message_ProgressIndicator
{
public:
  explicit StopAfter(int stopAfter) : myStopAfter(stopAfter) {}
  Standard_Boolean UserBreak() override { return myStopAfter >= 0 && myShown >= myStopAfter; }
  void Show(const Message_ProgressScope&, const Standard_Boolean) override { ++myShown, myLast = GetPosition(); }
  std::atomic<int> myShown{0};
  double myLast = 0.0;

private:
  int myStopAfter;
};
} // namespace

TEST(SeamExtractor, IndexLayoutOnACompoundOfSolidsAndALooseFace)
{
  const std::vector<TopoDS_Shape> solids{Solids::Box(10, 20, 30), MovedX(Solids::LSolid(50, 10, 30), 100),
                                         MovedX(Solids::Box(10, 20, 30), 200)};
  std::vector<TopoDS_Shape> parts = solids;
  parts.push_back(SeamSolids::FaceNear(Solids::Box(5, 5, 5), gp_Pnt(2.5, 2.5, 5)));
  const SeamExtractor extractor(Compound(parts));
  ASSERT_EQ(extractor.NbBlocks(), 4u);
  for (std::uint32_t k = 0; k < solids.size(); ++k)
  {
    const std::uint32_t solidIndex = (k << 17) + 1;
    EXPECT_TRUE(extractor.ShapeOf(solidIndex).IsSame(solids[k]));
    TopTools_IndexedMapOfShape subs;
    TopExp::MapShapes(solids[k], TopAbs_FACE, subs);
    TopExp::MapShapes(solids[k], TopAbs_EDGE, subs);
    for (int i = 1; i <= subs.Extent(); ++i)
    {
      const std::uint32_t index = extractor.IndexOf(subs(i));
      EXPECT_EQ(AutoWeldSeamAlgUtils::SolidIndexOfSubIndex(index), solidIndex);
      EXPECT_GE(index & 0x1FFFF, 2u);
      EXPECT_TRUE(extractor.ShapeOf(index).IsSame(subs(i)));
    }
  }
  EXPECT_EQ(extractor.IndexOf(Solids::Box(1, 1, 1)), IntEdgeFaceSeg::NoIndex);
  for (const std::uint32_t outside : {0u, (3u << 17) + 100, (5u << 17) | 1})
    EXPECT_TRUE(extractor.ShapeOf(outside).IsNull()) << outside;

  SeamExtractor::Options options;
  options.parallel = false;
  const SeamExtractor::Result result = extractor.Extract(options);
  EXPECT_EQ(result.edges, 12u + 18u + 12u + 4u);
  EXPECT_EQ(result.oneFace, 4u);
  EXPECT_EQ(Kinds(result), (std::map<EdgeType, int>{{EdgeType::Concave, 1}, {EdgeType::Convex, 41}}));
  for (const EdgeFaceSeg& seg : result.segs)
  {
    EXPECT_TRUE(extractor.ShapeOf(seg.Edge_Index()).IsSame(seg.Edge()));
    EXPECT_TRUE(extractor.ShapeOf(seg.Face2_Index()).IsSame(seg.Face2()));
  }
  EXPECT_TRUE(std::is_sorted(result.segs.begin(), result.segs.end(),
                             [](const EdgeFaceSeg& a, const EdgeFaceSeg& b) { return a.Edge_Index() < b.Edge_Index(); }));

  // The layout holds 2048 blocks: one more solid is refused before any work.
  std::vector<TopoDS_Shape> many(SeamExtractor::MaxBlocks, Solids::Box(1, 1, 1));
  for (std::size_t i = 0; i < many.size(); ++i)
    many[i] = MovedX(many[i], 2.0 * i);
  EXPECT_EQ(SeamExtractor(Compound(many)).NbBlocks(), 2048u);
  many.push_back(MovedX(many.front(), -2));
  try
  {
    SeamExtractor tooMany(Compound(many));
    ADD_FAILURE() << "2049 solids accepted";
  }
  catch (const WorkpieceError& error)
  {
    EXPECT_STREQ(error.what(), "SeamExtractor: the part has more than 2048 solids");
  }
}

TEST(SeamExtractor, EdgesLeftOutAndThePoolGivingTheSameSeams)
{
  // Three triangles hinged on one edge: it is shared by more than two faces, the others bound one.
  const gp_Pnt p0(0, 0, 0), p1(10, 0, 0);
  const TopoDS_Edge hinge = BRepBuilderAPI_MakeEdge(p0, p1).Edge();
  std::vector<TopoDS_Shape> fan;
  for (const gp_Pnt& a : {gp_Pnt(5, 5, 0), gp_Pnt(5, 0, 5), gp_Pnt(5, -5, 0)})
    fan.push_back(BRepBuilderAPI_MakeFace(BRepBuilderAPI_MakeWire(hinge, BRepBuilderAPI_MakeEdge(p1, a).Edge(),
                                                                  BRepBuilderAPI_MakeEdge(a, p0).Edge())
                                            .Wire(),
                                          true)
                    .Face());
  struct Case
  {
    TopoDS_Shape part;
    std::size_t edges, oneFace, manyFaces, degenerated;
    std::map<EdgeType, int> kinds;
  };
  const std::vector<Case> cases{
    {BRepPrimAPI_MakeSphere(10).Shape(), 3, 1, 0, 2, {}},
    {Solids::Cylinder(5, 10), 3, 1, 0, 0, {{EdgeType::Convex, 2}}},
    {Compound(fan), 7, 6, 1, 0, {}},
    {TopoDS_Shape(), 0, 0, 0, 0, {}},
    {Solids::FilletedPlate(100, 60, 10, 5), 24, 0, 0, 0, {{EdgeType::Convex, 24}}},
    {Solids::TSolid(100, 60, 10, 40), 24, 0, 0, 0, {{EdgeType::Concave, 2}, {EdgeType::Convex, 22}}}};
  for (std::size_t k = 0; k < cases.size(); ++k)
  {
    const SeamExtractor extractor(cases[k].part);
    SeamExtractor::Options options;
    const SeamExtractor::Result pooled = extractor.Extract(options);
    EXPECT_EQ(pooled.edges, cases[k].edges) << k;
    EXPECT_EQ(pooled.oneFace, cases[k].oneFace) << k;
    EXPECT_EQ(pooled.manyFaces, cases[k].manyFaces) << k;
    EXPECT_EQ(pooled.degenerated, cases[k].degenerated) << k;
    EXPECT_EQ(Kinds(pooled), cases[k].kinds) << k;
    for (const auto classifier : {SeamExtractor::Classifier::Probe, SeamExtractor::Classifier::Planar,
                                  SeamExtractor::Classifier::Orientation})
    {
      options.classifier = classifier;
      options.parallel = false;
      const SeamExtractor::Result single = extractor.Extract(options);
      options.parallel = true;
      const SeamExtractor::Result parallel = extractor.Extract(options);
      ASSERT_EQ(single.segs.size(), parallel.segs.size());
      for (std::size_t i = 0; i < single.segs.size(); ++i)
        EXPECT_TRUE(single.segs[i] == parallel.segs[i] && single.segs[i].GetIntSeg() == parallel.segs[i].GetIntSeg() &&
                    single.segs[i].GetEdgeType() == parallel.segs[i].GetEdgeType())
          << k << ", " << SeamExtractor::ClassifierName(classifier) << ", seam " << i;
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
  EXPECT_EQ(longOnes.tooShort, 4u);
  EXPECT_EQ(longOnes.segs.size(), 14u);
  options.minLength = 30.0 + 1e-6;
  EXPECT_EQ(l.Extract(options).segs.size(), 8u);

  const SeamExtractor t(Solids::TSolid(100, 60, 10, 40));
  const Handle(StopAfter) never = new StopAfter(-1);
  EXPECT_FALSE(t.Extract(SeamExtractor::Options(), never->Start()).cancelled);
  EXPECT_DOUBLE_EQ(never->myLast, 1.0);
  EXPECT_GT(never->myShown.load(), 1);
  const Handle(StopAfter) atOnce = new StopAfter(0);
  const SeamExtractor::Result stopped = t.Extract(SeamExtractor::Options(), atOnce->Start());
  EXPECT_TRUE(stopped.cancelled);
  EXPECT_TRUE(stopped.segs.empty());

  // Stopped part-way on one thread: what was classified comes back whole, in order, nothing more.
  SeamExtractor::Options oneThread;
  oneThread.parallel = false;
  const SeamExtractor::Result all = t.Extract(oneThread);
  const Handle(StopAfter) midway = new StopAfter(3);
  const SeamExtractor::Result part = t.Extract(oneThread, midway->Start());
  EXPECT_TRUE(part.cancelled);
  ASSERT_GT(part.segs.size(), 0u);
  ASSERT_LT(part.segs.size(), all.segs.size());
  for (std::size_t i = 0; i < part.segs.size(); ++i)
    EXPECT_TRUE(part.segs[i] == all.segs[i] && part.segs[i].GetEdgeType() == all.segs[i].GetEdgeType()) << i;
}
