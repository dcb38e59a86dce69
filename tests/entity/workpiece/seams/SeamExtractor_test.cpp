#include "support/SeamSolids.h"
#include "support/Solids.h"

#include <entity/AutoWeldSeamAlgUtils.h>
#include <entity/SeamExtractor.h>

#include <BRepBuilderAPI_MakeEdge.hxx>
#include <BRepBuilderAPI_MakeFace.hxx>
#include <BRepBuilderAPI_MakeVertex.hxx>
#include <BRepBuilderAPI_MakeWire.hxx>
#include <BRepPrimAPI_MakeSphere.hxx>
#include <BRep_Builder.hxx>
#include <Message_ProgressIndicator.hxx>
#include <Message_ProgressScope.hxx>
#include <TopExp.hxx>
#include <TopTools_IndexedMapOfShape.hxx>
#include <TopoDS_Compound.hxx>

#include <gtest/gtest.h>

#include <atomic>

namespace
{
// Counts the classified seams of each kind.
std::map<EdgeType, int> Kinds(const SeamExtractor::Result& result)
{
  std::map<EdgeType, int> counts;
  for (const EdgeFaceSeg& seg : result.segs)
    ++counts[seg.GetEdgeType()];
  return counts;
}

// Records the furthest position it is shown and can ask to stop.
class RecordingProgress : public Message_ProgressIndicator
{
public:
  double last = 0.0;
  std::atomic<int> shown{0};
  bool stop = false;
  int stopAfterShown = -1; // asks to stop once shown that many times
  Standard_Boolean UserBreak() override { return stop || (stopAfterShown >= 0 && shown.load() >= stopAfterShown); }

protected:
  void Show(const Message_ProgressScope&, const Standard_Boolean) override
  {
    last = GetPosition();
    ++shown;
  }
};
} // namespace

TEST(SeamExtractor, IndexLayoutOnACompoundOfSolids)
{
  BRep_Builder builder;
  TopoDS_Compound parts;
  builder.MakeCompound(parts);
  std::vector<TopoDS_Shape> solids;
  for (int i = 0; i < 3; ++i)
  {
    gp_Trsf move;
    move.SetTranslation(gp_Vec(100.0 * i, 0, 0));
    solids.push_back(Solids::Moved(i == 1 ? Solids::LSolid(50, 10, 30) : Solids::Box(10, 20, 30), move));
    builder.Add(parts, solids.back());
  }
  // A loose face beside the solids: four edges bounding one face.
  builder.Add(parts, SeamSolids::FaceNear(Solids::Box(5, 5, 5), gp_Pnt(2.5, 2.5, 5)).Moved(TopLoc_Location(gp_Trsf())));

  const SeamExtractor extractor(parts);
  ASSERT_EQ(extractor.NbBlocks(), 4u);
  for (std::uint32_t k = 0; k < solids.size(); ++k)
  {
    const std::uint32_t solidIndex = (k << 17) + 1;
    EXPECT_EQ(extractor.IndexOf(solids[k]), solidIndex);
    EXPECT_TRUE(extractor.ShapeOf(solidIndex).IsSame(solids[k]));
    TopTools_IndexedMapOfShape subs;
    TopExp::MapShapes(solids[k], TopAbs_FACE, subs);
    TopExp::MapShapes(solids[k], TopAbs_EDGE, subs);
    for (int i = 1; i <= subs.Extent(); ++i)
    {
      const std::uint32_t index = extractor.IndexOf(subs(i));
      ASSERT_NE(index, IntEdgeFaceSeg::NoIndex);
      EXPECT_EQ(AutoWeldSeamAlgUtils::SolidIndexOfSubIndex(index), solidIndex);
      EXPECT_GE(index & 0x1FFFF, 2u);
      EXPECT_EQ(index & 0xF0000000, 0u) << "no algorithm tag";
      EXPECT_TRUE(extractor.ShapeOf(index).IsSame(subs(i)));
    }
  }
  EXPECT_EQ(extractor.IndexOf(Solids::Box(1, 1, 1)), IntEdgeFaceSeg::NoIndex);
  EXPECT_TRUE(extractor.ShapeOf(0x00000000).IsNull());
  EXPECT_TRUE(extractor.ShapeOf((3u << 17) + 100).IsNull());
  EXPECT_TRUE(extractor.ShapeOf(5u << 17 | 1).IsNull());

  SeamExtractor::Options options;
  options.parallel = false;
  const SeamExtractor::Result result = extractor.Extract(options);
  EXPECT_EQ(result.edges, 12u + 18u + 12u + 4u);
  EXPECT_EQ(result.oneFace, 4u);
  EXPECT_EQ(result.segs.size(), 42u);
  EXPECT_EQ(Kinds(result), (std::map<EdgeType, int>{{EdgeType::Concave, 1}, {EdgeType::Convex, 41}}));
  for (const EdgeFaceSeg& seg : result.segs)
  {
    EXPECT_EQ(AutoWeldSeamAlgUtils::SolidIndexOfSubIndex(seg.Edge_Index()),
              AutoWeldSeamAlgUtils::SolidIndexOfSubIndex(seg.Face1_Index()));
    EXPECT_TRUE(extractor.ShapeOf(seg.Edge_Index()).IsSame(seg.Edge()));
    EXPECT_TRUE(extractor.ShapeOf(seg.Face2_Index()).IsSame(seg.Face2()));
  }
  EXPECT_TRUE(std::is_sorted(result.segs.begin(), result.segs.end(),
                             [](const EdgeFaceSeg& a, const EdgeFaceSeg& b) { return a.Edge_Index() < b.Edge_Index(); }));
}

TEST(SeamExtractor, PoolGivesTheSameSeamsAsOneThreadWithEveryClassifier)
{
  const TopoDS_Shape plate = Solids::FilletedPlate(100, 60, 10, 5);
  const std::map<SeamExtractor::Classifier, std::map<EdgeType, int>> expected{
    {SeamExtractor::Classifier::Probe, {{EdgeType::Convex, 24}}},
    {SeamExtractor::Classifier::Orientation, {{EdgeType::Convex, 24}}},
    {SeamExtractor::Classifier::Planar, {{EdgeType::Convex, 8}, {EdgeType::Unknown, 16}}}};
  const SeamExtractor extractor(plate);
  for (const auto& [classifier, kinds] : expected)
  {
    SeamExtractor::Options options;
    options.classifier = classifier;
    options.parallel = false;
    const SeamExtractor::Result single = extractor.Extract(options);
    options.parallel = true;
    const SeamExtractor::Result pooled = extractor.Extract(options);
    EXPECT_EQ(Kinds(single), kinds) << SeamExtractor::ClassifierName(classifier);
    ASSERT_EQ(single.segs.size(), pooled.segs.size());
    for (std::size_t i = 0; i < single.segs.size(); ++i)
    {
      EXPECT_EQ(single.segs[i], pooled.segs[i]);
      EXPECT_EQ(single.segs[i].GetIntSeg(), pooled.segs[i].GetIntSeg());
      EXPECT_EQ(single.segs[i].GetEdgeType(), pooled.segs[i].GetEdgeType());
    }
  }
}

TEST(SeamExtractor, EdgesLeftOutAndProgress)
{
  // A sphere: one seam edge bounding its only face twice, two degenerated poles.
  const SeamExtractor sphere(BRepPrimAPI_MakeSphere(10).Shape());
  const SeamExtractor::Result round = sphere.Extract(SeamExtractor::Options());
  EXPECT_EQ(round.edges, 3u);
  EXPECT_EQ(round.oneFace, 1u);
  EXPECT_EQ(round.degenerated, 2u);
  EXPECT_TRUE(round.segs.empty());

  // A cylinder: top and bottom rims are seams (convex), its seam line bounds one face.
  const SeamExtractor::Result can = SeamExtractor(Solids::Cylinder(5, 10)).Extract(SeamExtractor::Options());
  EXPECT_EQ(can.oneFace, 1u);
  EXPECT_EQ(Kinds(can), (std::map<EdgeType, int>{{EdgeType::Convex, 2}}));

  // Three triangles hinged on one edge: it is shared by more than two faces, the others bound one.
  const TopoDS_Vertex v0 = BRepBuilderAPI_MakeVertex(gp_Pnt(0, 0, 0)).Vertex();
  const TopoDS_Vertex v1 = BRepBuilderAPI_MakeVertex(gp_Pnt(10, 0, 0)).Vertex();
  const TopoDS_Edge hinge = BRepBuilderAPI_MakeEdge(v0, v1).Edge();
  BRep_Builder builder;
  TopoDS_Compound fan;
  builder.MakeCompound(fan);
  for (const gp_Pnt& apex : {gp_Pnt(5, 5, 0), gp_Pnt(5, 0, 5), gp_Pnt(5, -5, 0)})
  {
    const TopoDS_Vertex a = BRepBuilderAPI_MakeVertex(apex).Vertex();
    const TopoDS_Wire wire =
      BRepBuilderAPI_MakeWire(hinge, BRepBuilderAPI_MakeEdge(v1, a).Edge(), BRepBuilderAPI_MakeEdge(a, v0).Edge()).Wire();
    builder.Add(fan, BRepBuilderAPI_MakeFace(wire, true).Face());
  }
  const SeamExtractor::Result hinged = SeamExtractor(fan).Extract(SeamExtractor::Options());
  EXPECT_EQ(hinged.edges, 7u);
  EXPECT_EQ(hinged.manyFaces, 1u);
  EXPECT_EQ(hinged.oneFace, 6u);
  EXPECT_TRUE(hinged.segs.empty());

  const SeamExtractor::Result empty = SeamExtractor(TopoDS_Shape()).Extract(SeamExtractor::Options());
  EXPECT_EQ(empty.edges, 0u);
  EXPECT_TRUE(empty.segs.empty());

  // Minimum length on the L (edges of 30, 50, 40, 10): at the limit an edge is kept.
  const SeamExtractor l(Solids::LSolid(50, 10, 30));
  SeamExtractor::Options options;
  options.minLength = 30.0;
  const SeamExtractor::Result longOnes = l.Extract(options);
  EXPECT_EQ(longOnes.tooShort, 4u);
  EXPECT_EQ(longOnes.segs.size(), 14u);
  options.minLength = 30.0 + 1e-6;
  EXPECT_EQ(l.Extract(options).segs.size(), 8u);

  Handle(RecordingProgress) progress = new RecordingProgress();
  const SeamExtractor t(Solids::TSolid(100, 60, 10, 40));
  const SeamExtractor::Result withProgress = t.Extract(SeamExtractor::Options(), progress->Start());
  EXPECT_FALSE(withProgress.cancelled);
  EXPECT_DOUBLE_EQ(progress->last, 1.0);
  EXPECT_GT(progress->shown.load(), 1);

  Handle(RecordingProgress) stopping = new RecordingProgress();
  stopping->stop = true;
  const SeamExtractor::Result stopped = t.Extract(SeamExtractor::Options(), stopping->Start());
  EXPECT_TRUE(stopped.cancelled);
  EXPECT_TRUE(stopped.segs.empty());

  // Stopped part-way on one thread: what was classified comes back whole, in order, nothing more.
  SeamExtractor::Options oneThread;
  oneThread.parallel = false;
  const SeamExtractor::Result all = t.Extract(oneThread);
  Handle(RecordingProgress) midway = new RecordingProgress();
  midway->stopAfterShown = 3;
  const SeamExtractor::Result part = t.Extract(oneThread, midway->Start());
  EXPECT_TRUE(part.cancelled);
  ASSERT_GT(part.segs.size(), 0u);
  ASSERT_LT(part.segs.size(), all.segs.size());
  for (std::size_t i = 0; i < part.segs.size(); ++i)
  {
    EXPECT_EQ(part.segs[i].Edge_Index(), all.segs[i].Edge_Index()) << i;
    EXPECT_EQ(part.segs[i].GetEdgeType(), all.segs[i].GetEdgeType()) << i;
    EXPECT_TRUE(part.segs[i] == all.segs[i]) << i;
  }
}
