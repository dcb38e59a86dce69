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

TEST(IntEdgeFaceSeg, EqualityOrderingAndAlgorithmTag)
{
  // Faces in either order, fuzzy values strictly within 0.01, the type not compared.
  const IntEdgeFaceSeg a(5, 7, 9, 0.1, EdgeType::Concave);
  EXPECT_EQ(a, IntEdgeFaceSeg(5, 9, 7, 0.105, EdgeType::Convex));
  EXPECT_EQ(a, IntEdgeFaceSeg(5, 7, 9, 0.1 - 0.0099, EdgeType::Concave));
  for (const IntEdgeFaceSeg& other : {IntEdgeFaceSeg(5, 9, 7, 0.11, EdgeType::Concave), IntEdgeFaceSeg(6, 7, 9, 0.1, EdgeType::Concave),
                                      IntEdgeFaceSeg(5, 7, 8, 0.1, EdgeType::Concave)})
    EXPECT_NE(a, other) << other.edgeIndex << " " << other.face2Index << " " << other.fuzzyValue;
  EXPECT_TRUE(a.HasSameFaceWith(IntEdgeFaceSeg(99, 9, 7, 3.0, EdgeType::Unknown)));
  EXPECT_FALSE(a.HasSameFaceWith(IntEdgeFaceSeg(5, 7, 7, 0.1, EdgeType::Unknown)));

  // By edge (unsigned), then by the wrapping face sum: 0xFFFFFFFF + 2 wraps to 1, before 2.
  EXPECT_TRUE(IntEdgeFaceSeg(0x7FFFFFFF, 0, 0, 0.1, EdgeType::Unknown) < IntEdgeFaceSeg(0x80000000, 0, 0, 0.1, EdgeType::Unknown));
  EXPECT_TRUE(IntEdgeFaceSeg(5, 0xFFFFFFFF, 2, 0.1, EdgeType::Unknown) < IntEdgeFaceSeg(5, 1, 1, 0.1, EdgeType::Unknown));
  const IntEdgeFaceSeg sameSum(5, 1, 15, 0.1, EdgeType::Concave);
  EXPECT_FALSE(a < sameSum || sameSum < a);
  EXPECT_NE(a, sameSum);
  const std::set<IntEdgeFaceSeg> seams{a, sameSum, IntEdgeFaceSeg(3, 1, 2, 0.1, EdgeType::Convex)};
  EXPECT_EQ(seams.size(), 2u) << "segments of one edge with one face sum collapse in a set";
  EXPECT_EQ(seams.begin()->edgeIndex, 3u);

  IntEdgeFaceSeg tagged(0xF0000003, 0x00000004, 0x7FFFFFFF, 0.1, EdgeType::Concave);
  tagged.UpdateIntDataWithAlgoOffset(0x10000000);
  EXPECT_EQ(tagged, IntEdgeFaceSeg(0x10000003, 0x10000004, 0x1FFFFFFF, 0.1, EdgeType::Concave));
  tagged.UpdateIntDataWithAlgoOffset(0x00000100);
  EXPECT_EQ(tagged.edgeIndex, 0x00000103u) << "the tag is cleared and other offset bits OR-ed in unchecked";
  for (const auto& [sub, solid] : {std::pair{0x00060005u, 0x00060001u}, {0x0001FFFFu, 1u}, {0x00020000u, 0x00020001u}})
    EXPECT_EQ(AutoWeldSeamAlgUtils::SolidIndexOfSubIndex(sub), solid) << sub;
}

TEST(IntEdgeFaceSeg, JsonRoundTripOlderShortFormsAndRefusals)
{
  IntEdgeFaceSeg full(0x80000001, 2, 0xFFFFFFFF, 0.25, EdgeType::Convex);
  full.auxFlag = full.needViewConvex = false;
  full.auxNumber = -3;
  const Json::Value json = full.ToJson();
  ASSERT_EQ(json.size(), 8u);
  EXPECT_TRUE(json[5].isBool());
  const IntEdgeFaceSeg back(Parse(Json::FastWriter().write(json)));
  EXPECT_EQ(back.ToJson(), json);

  // Members beyond the array keep their values; the flags are read together or not at all.
  struct Form
  {
    const char* text;
    std::uint32_t face2;
    EdgeType type;
    bool auxFlag, needViewConvex;
    int auxNumber;
  };
  for (const Form& form : {Form{"[3,4,5,0.2,1]", 5, EdgeType::Concave, true, true, 1},
                           Form{"[3,4,5,0.2,1,0]", 5, EdgeType::Concave, true, true, 1},
                           Form{"[3,4,5,0.2,1,0,false]", 5, EdgeType::Concave, false, false, 1},
                           Form{"[3,4,5,0.2,2,7,true,9]", 5, EdgeType::Convex, true, true, 9},
                           Form{"[3,4]", 0, EdgeType::Unknown, true, true, 1}})
  {
    const IntEdgeFaceSeg read(Parse(form.text));
    EXPECT_EQ(read.face2Index, form.face2) << form.text;
    EXPECT_EQ(read.edgeType, form.type) << form.text;
    EXPECT_EQ(read.auxFlag, form.auxFlag) << form.text;
    EXPECT_EQ(read.needViewConvex, form.needViewConvex) << form.text;
    EXPECT_EQ(read.auxNumber, form.auxNumber) << form.text;
  }

  // Values that are no index are refused with the JSON library's error, not wrapped around.
  EXPECT_THROW(IntEdgeFaceSeg(Parse("[-1,4,5,0.2,1]")), Json::LogicError);
  EXPECT_THROW(IntEdgeFaceSeg(Parse("[\"3\",4,5,0.2,1]")), Json::LogicError);
  IntEdgeFaceSeg untouched(1, 2, 3, 0.5, EdgeType::Convex);
  untouched.FromJson(Parse("{\"edge\": 4}"));
  EXPECT_EQ(untouched.ToJson(), IntEdgeFaceSeg(1, 2, 3, 0.5, EdgeType::Convex).ToJson()) << "an object is no seam array";
}
