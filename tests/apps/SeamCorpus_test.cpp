#include "support/DihedralReference.h"

#include <entity/PartFile.h>
#include <entity/PartRepair.h>
#include <entity/SeamExtractor.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <string>

namespace
{
const std::string Parts = WORKPIECE_PARTS_DIR "/";
constexpr double Goal = 0.97;

struct Score
{
  int both = 0, referenceOnly = 0, classifierOnly = 0, mixed = 0;
  double Recall() const { return both + referenceOnly == 0 ? 1.0 : double(both) / (both + referenceOnly); }
  double Precision() const { return both + classifierOnly == 0 ? 1.0 : double(both) / (both + classifierOnly); }
};

// Compares the classifier's concave edges with the reference's, edge by edge. Edges whose kind changes
// along them are counted apart.
Score Compare(const SeamExtractor::Result& result)
{
  Score score;
  for (const EdgeFaceSeg& seg : result.segs)
  {
    const DihedralReference::Kind reference = DihedralReference::Classify(seg.Edge(), seg.Face1(), seg.Face2());
    const bool expected = reference == DihedralReference::Kind::Concave, found = seg.GetEdgeType() == EdgeType::Concave;
    if (reference == DihedralReference::Kind::Mixed)
      ++score.mixed;
    else if (expected && found)
      ++score.both;
    else if (expected != found)
      ++(expected ? score.referenceOnly : score.classifierOnly);
  }
  return score;
}
} // namespace

// Every corpus part, every classifier against the dihedral reference: the default classifier must
// find the inner corners and only them; the table of all three is printed for comparison.
TEST(SeamCorpus, DefaultClassifierAgreesWithTheDihedralReference)
{
  for (const char* name : {"bracket-4040-adapter.step", "housing-nist-ctc02.stp", "frame-bars-gussets.step",
                           "flange-hub-nist-ctc05.stp", "knuckle-bspline.stp", "slab-loose-faces.igs",
                           "tank-nozzles.brep"})
  {
    const SeamExtractor extractor(PartRepair::Repair(PartFile::Read(Parts + name)).shape);
    for (const auto classifier : {SeamExtractor::Classifier::Probe, SeamExtractor::Classifier::Planar,
                                  SeamExtractor::Classifier::Orientation})
    {
      SeamExtractor::Options options;
      options.classifier = classifier;
      const SeamExtractor::Result result = extractor.Extract(options);
      const Score score = Compare(result);
      std::printf("%-28s %-12s seams %5zu  concave ref %4d  found %4d  recall %6.1f%%  precision %6.1f%%  mixed %d\n",
                  name, SeamExtractor::ClassifierName(classifier).c_str(), result.segs.size(),
                  score.both + score.referenceOnly, score.both + score.classifierOnly, 100.0 * score.Recall(),
                  100.0 * score.Precision(), score.mixed);
      if (classifier != SeamExtractor::Options().classifier)
        continue;
      // Every unknown seam is one whose kind changes along it, and is counted so.
      EXPECT_EQ(result.changing, std::size_t(std::count_if(result.segs.begin(), result.segs.end(), [](const auto& s) {
                  return s.GetEdgeType() == EdgeType::Unknown;
                }))) << name;
      EXPECT_TRUE(!result.segs.empty() && score.Recall() >= Goal && score.Precision() >= Goal) << name;
    }
  }
}
