#include <entity/AutoWeldSeamAlgUtils.h>
#include <entity/IntEdgeFaceSeg.h>

#include <gtest/gtest.h>
#include <json/json.h>

#include <set>

namespace
{
Json::Value Parse(const std::string& text)
{
  Json::Value value;
  std::string errors;
  const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
  EXPECT_TRUE(reader->parse(text.data(), text.data() + text.size(), &value, &errors)) << errors;
  return value;
}
} // namespace

TEST(IntEdgeFaceSeg, EqualityUsesFacesInEitherOrderAndStrictFuzzySlack)
{
  const IntEdgeFaceSeg a(5, 7, 9, 0.1, EdgeType::Concave);
  EXPECT_EQ(a, IntEdgeFaceSeg(5, 9, 7, 0.105, EdgeType::Convex)) << "type is not compared";
  EXPECT_NE(a, IntEdgeFaceSeg(5, 9, 7, 0.11, EdgeType::Concave));
  EXPECT_NE(a, IntEdgeFaceSeg(5, 9, 7, 0.12, EdgeType::Concave));
  EXPECT_EQ(a, IntEdgeFaceSeg(5, 7, 9, 0.1 - 0.0099, EdgeType::Concave));
  EXPECT_NE(a, IntEdgeFaceSeg(6, 7, 9, 0.1, EdgeType::Concave));
  EXPECT_NE(a, IntEdgeFaceSeg(5, 7, 8, 0.1, EdgeType::Concave));
  EXPECT_TRUE(a.HasSameFaceWith(IntEdgeFaceSeg(99, 9, 7, 3.0, EdgeType::Unknown)));
  EXPECT_FALSE(a.HasSameFaceWith(IntEdgeFaceSeg(5, 7, 7, 0.1, EdgeType::Unknown)));
}

TEST(IntEdgeFaceSeg, OrderingByEdgeThenWrappingFaceSum)
{
  const IntEdgeFaceSeg a(5, 1, 10, 0.1, EdgeType::Concave);
  const IntEdgeFaceSeg b(5, 4, 7, 0.1, EdgeType::Concave);
  EXPECT_FALSE(a < b);
  EXPECT_FALSE(b < a);
  EXPECT_NE(a, b);
  EXPECT_TRUE(IntEdgeFaceSeg(4, 100, 100, 0.1, EdgeType::Unknown) < a);
  EXPECT_TRUE(IntEdgeFaceSeg(0x7FFFFFFF, 0, 0, 0.1, EdgeType::Unknown) < IntEdgeFaceSeg(0x80000000, 0, 0, 0.1, EdgeType::Unknown))
    << "edge indices compare unsigned";
  // 0xFFFFFFFF + 2 wraps to 1, which sorts before the sum 2.
  EXPECT_TRUE(IntEdgeFaceSeg(5, 0xFFFFFFFF, 2, 0.1, EdgeType::Unknown) < IntEdgeFaceSeg(5, 1, 1, 0.1, EdgeType::Unknown));

  std::set<IntEdgeFaceSeg> seams{a, b, IntEdgeFaceSeg(3, 1, 2, 0.1, EdgeType::Convex)};
  EXPECT_EQ(seams.size(), 2u) << "segments of one edge with one face sum collapse in a set";
  EXPECT_EQ(seams.begin()->edgeIndex, 3u);
}

TEST(IntEdgeFaceSeg, DefaultsAndAlgorithmTag)
{
  const IntEdgeFaceSeg none;
  EXPECT_EQ(none.edgeIndex, 2147483647u);
  EXPECT_EQ(none.face1Index, 2147483647u);
  EXPECT_EQ(none.face2Index, 2147483647u);
  EXPECT_DOUBLE_EQ(none.fuzzyValue, 0.1);
  EXPECT_EQ(none.edgeType, EdgeType::Unknown);
  EXPECT_TRUE(none.auxFlag);
  EXPECT_TRUE(none.needViewConvex);
  EXPECT_EQ(none.auxNumber, 1);

  IntEdgeFaceSeg tagged(0xF0000003, 0x00000004, 0x7FFFFFFF, 0.1, EdgeType::Concave);
  tagged.UpdateIntDataWithAlgoOffset(0x10000000);
  EXPECT_EQ(tagged.edgeIndex, 0x10000003u);
  EXPECT_EQ(tagged.face1Index, 0x10000004u);
  EXPECT_EQ(tagged.face2Index, 0x1FFFFFFFu);
  tagged.UpdateIntDataWithAlgoOffset(0x00000100);
  EXPECT_EQ(tagged.edgeIndex, 0x00000103u) << "the tag is cleared and other offset bits OR-ed in unchecked";

  EXPECT_EQ(AutoWeldSeamAlgUtils::SolidIndexOfSubIndex(0x00060005), 0x00060001u);
  EXPECT_EQ(AutoWeldSeamAlgUtils::SolidIndexOfSubIndex(0x0001FFFF), 1u);
  EXPECT_EQ(AutoWeldSeamAlgUtils::SolidIndexOfSubIndex(0x00020000), 0x00020001u);
}

TEST(IntEdgeFaceSeg, JsonRoundTripAndOlderShortForms)
{
  IntEdgeFaceSeg full(0x80000001, 2, 0xFFFFFFFF, 0.25, EdgeType::Convex);
  full.auxFlag = false;
  full.needViewConvex = false;
  full.auxNumber = -3;
  const Json::Value json = full.ToJson();
  ASSERT_TRUE(json.isArray());
  ASSERT_EQ(json.size(), 8u);
  EXPECT_TRUE(json[5].isBool());
  const IntEdgeFaceSeg back(Parse(Json::FastWriter().write(json)));
  EXPECT_EQ(back, full);
  EXPECT_EQ(back.edgeIndex, 0x80000001u);
  EXPECT_EQ(back.face2Index, 0xFFFFFFFFu);
  EXPECT_EQ(back.edgeType, EdgeType::Convex);
  EXPECT_FALSE(back.auxFlag);
  EXPECT_FALSE(back.needViewConvex);
  EXPECT_EQ(back.auxNumber, -3);

  const IntEdgeFaceSeg five(Parse("[3,4,5,0.2,1]"));
  EXPECT_EQ(five, IntEdgeFaceSeg(3, 4, 5, 0.2, EdgeType::Concave));
  EXPECT_EQ(five.edgeType, EdgeType::Concave);
  EXPECT_TRUE(five.auxFlag);
  EXPECT_TRUE(five.needViewConvex);
  EXPECT_EQ(five.auxNumber, 1);

  const IntEdgeFaceSeg seven(Parse("[3,4,5,0.2,1,0,false]"));
  EXPECT_FALSE(seven.auxFlag);
  EXPECT_FALSE(seven.needViewConvex);
  EXPECT_EQ(seven.auxNumber, 1);

  const IntEdgeFaceSeg eight(Parse("[3,4,5,0.2,2,7,true,9]"));
  EXPECT_TRUE(eight.auxFlag) << "a non-zero number reads as true";
  EXPECT_TRUE(eight.needViewConvex);
  EXPECT_EQ(eight.auxNumber, 9);
  EXPECT_EQ(eight.edgeType, EdgeType::Convex);

  // Six elements: the flags are read together or not at all.
  IntEdgeFaceSeg six;
  six.FromJson(Parse("[3,4,5,0.2,1,0]"));
  EXPECT_TRUE(six.auxFlag);

  const IntEdgeFaceSeg shortArray(Parse("[3,4]"));
  EXPECT_EQ(shortArray.face2Index, 0u) << "missing leading positions read as zero";
  EXPECT_DOUBLE_EQ(shortArray.fuzzyValue, 0.0);

  // Values that are no index are refused with the JSON library's error, not wrapped around.
  EXPECT_THROW(IntEdgeFaceSeg(Parse("[-1,4,5,0.2,1]")), Json::LogicError);
  EXPECT_THROW(IntEdgeFaceSeg(Parse("[\"3\",4,5,0.2,1]")), Json::LogicError);
  IntEdgeFaceSeg untouched(1, 2, 3, 0.5, EdgeType::Convex);
  untouched.FromJson(Parse("{\"edge\": 4}"));
  EXPECT_EQ(untouched.edgeIndex, 1u) << "an object is not a seam array";
}
