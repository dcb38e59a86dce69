#include "support/DihedralReference.h"
#include "support/SeamSolids.h"

#include <entity/SeamExtractor.h>

#include <BRepBuilderAPI_Transform.hxx>
#include <BRepCheck_Analyzer.hxx>
#include <BRepPrimAPI_MakeBox.hxx>
#include <gp_Ax2.hxx>

#include <gtest/gtest.h>

#include <map>

namespace
{
// Returns the shape mirrored in the plane x = 0: its planes come out left-handed.
TopoDS_Shape Mirrored(const TopoDS_Shape& shape)
{
  gp_Trsf mirror;
  mirror.SetMirror(gp_Ax2(gp_Pnt(0, 0, 0), gp_Dir(1, 0, 0)));
  BRepBuilderAPI_Transform transform(shape, mirror, true);
  EXPECT_TRUE(transform.IsDone());
  return transform.Shape();
}

using Counts = std::map<EdgeType, int>;
} // namespace

// The reference on solids known by hand and on their mirror images; every classifier gives the
// mirror image the same seams as the original.
TEST(DihedralReference, KnownSolidsTheirMirrorImagesAndEveryClassifier)
{
  struct Case
  {
    const char* name;
    TopoDS_Shape shape;
    Counts expected;
  };
  const Case cases[] = {
    {"box", BRepPrimAPI_MakeBox(10, 20, 30).Shape(), {{EdgeType::Convex, 12}}},
    {"L extrusion", SeamSolids::StepSolid(), {{EdgeType::Concave, 1}, {EdgeType::Convex, 17}}},
    {"boss on a plate", SeamSolids::StuddedPlate(1, 1), {{EdgeType::Concave, 4}, {EdgeType::Convex, 20}}},
  };
  for (const Case& c : cases)
    for (const bool mirrored : {false, true})
    {
      const TopoDS_Shape shape = mirrored ? Mirrored(c.shape) : c.shape;
      ASSERT_TRUE(BRepCheck_Analyzer(shape).IsValid()) << c.name;
      Counts reference;
      for (const EdgeWithFaces& e : SeamSolids::TwoFaceEdges(shape))
        ++reference[DihedralReference::AsEdgeType(DihedralReference::Classify(e.edge, e.face1, e.face2))];
      EXPECT_EQ(reference, c.expected) << c.name << (mirrored ? " mirrored" : "");
      const SeamExtractor extractor(shape);
      for (const auto classifier : {SeamExtractor::Classifier::Probe, SeamExtractor::Classifier::Planar,
                                    SeamExtractor::Classifier::Orientation})
      {
        SeamExtractor::Options options;
        options.classifier = classifier;
        Counts found;
        for (const EdgeFaceSeg& seg : extractor.Extract(options).segs)
          ++found[seg.GetEdgeType()];
        EXPECT_EQ(found, c.expected) << c.name << (mirrored ? " mirrored, " : ", ")
                                     << SeamExtractor::ClassifierName(classifier);
      }
    }
}
