#include "support/SeamSolids.h"
#include "support/Solids.h"

#include <entity/AutoWeldSeamAlgUtils.h>
#include <entity/EdgeFaceSeg.h>

#include <BRepBuilderAPI_MakeEdge.hxx>
#include <BRep_Tool.hxx>
#include <Standard_DomainError.hxx>
#include <TopExp.hxx>
#include <TopoDS.hxx>
#include <gp_Circ.hxx>

#include <gtest/gtest.h>
#include <json/json.h>

#include <set>
#include <sstream>

TEST(EdgeFaceSeg, LengthRigidMovesAndStrictEquality)
{
  // A quarter of a circle of radius 20: length 10π, from the curve; a null edge changes nothing.
  EdgeFaceSeg arc;
  const TopoDS_Edge quarter = BRepBuilderAPI_MakeEdge(gp_Circ(gp::XOY(), 20.0), 0.0, M_PI / 2.0).Edge();
  arc.SetEdge(quarter);
  arc.SetEdge(TopoDS_Edge());
  EXPECT_TRUE(arc.Edge().IsEqual(quarter));
  EXPECT_NEAR(arc.GetSegLength(), 10.0 * M_PI, 1e-9);

  const EdgeWithFaces first = SeamSolids::TwoFaceEdges(Solids::Box(10, 20, 30)).front();
  EdgeFaceSeg seg;
  seg.SetEdge(first.edge);
  seg.SetFace1(first.face1);
  seg.SetFace2(first.face2);
  const EdgeFaceSeg copy = seg;
  gp_Trsf shift, turn, scale;
  shift.SetTranslation(gp_Vec(100, 0, 0));
  turn.SetRotation(gp::OZ(), M_PI / 2.0);
  scale.SetScale(gp::Origin(), 2.0);
  seg.Transform(turn);
  seg.Transform(shift); // applied after the turn
  EXPECT_DOUBLE_EQ(seg.GetSegLength(), copy.GetSegLength());
  EXPECT_NE(copy, seg);
  const gp_Pnt before = BRep_Tool::Pnt(TopExp::FirstVertex(first.edge));
  EXPECT_LT(BRep_Tool::Pnt(TopExp::FirstVertex(seg.Edge())).Distance(before.Transformed(shift * turn)), 1e-9);
  EXPECT_THROW(seg.Transform(scale), Standard_DomainError);

  // The same shapes with a face reversed, or the faces swapped, are not the same segment.
  EdgeFaceSeg flipped = copy, swapped = copy;
  flipped.SetFace2(TopoDS::Face(copy.Face2().Reversed()));
  swapped.SetFace1(copy.Face2());
  swapped.SetFace2(copy.Face1());
  EXPECT_TRUE(copy == EdgeFaceSeg(copy) && flipped != copy && swapped != copy);
  seg.SetIntSeg(IntEdgeFaceSeg(4, 5, 6, 0.3, EdgeType::Concave));
  seg.SetEdgeType(EdgeType::Convex);
  EXPECT_TRUE(seg.GetIntSeg().edgeType == EdgeType::Convex && seg.Face2_Index() == 6u);
}

TEST(IntEdgeFaceSeg, EqualityOrderingAndAlgorithmTag)
{
  // Faces in either order, fuzzy values strictly within 0.01, the type not compared.
  const IntEdgeFaceSeg a(5, 7, 9, 0.1, EdgeType::Concave);
  EXPECT_EQ(a, IntEdgeFaceSeg(5, 9, 7, 0.105, EdgeType::Convex));
  EXPECT_EQ(a, IntEdgeFaceSeg(5, 7, 9, 0.1 - 0.0099, EdgeType::Concave));
  for (const IntEdgeFaceSeg& other : {IntEdgeFaceSeg(5, 9, 7, 0.11, EdgeType::Concave),
                                      IntEdgeFaceSeg(6, 7, 9, 0.1, EdgeType::Concave), IntEdgeFaceSeg(5, 7, 8, 0.1, EdgeType::Concave)})
    EXPECT_NE(a, other) << other.edgeIndex << " " << other.face2Index << " " << other.fuzzyValue;
  EXPECT_TRUE(a.HasSameFaceWith(IntEdgeFaceSeg(99, 9, 7, 3.0, EdgeType::Unknown)));
  EXPECT_FALSE(a.HasSameFaceWith(IntEdgeFaceSeg(5, 7, 7, 0.1, EdgeType::Unknown)));

  // By edge (unsigned), then by the wrapping face sum: 0xFFFFFFFF + 2 wraps to 1, before 2.
  EXPECT_TRUE(IntEdgeFaceSeg(0x7FFFFFFF, 0, 0, 0.1, EdgeType::Unknown) < IntEdgeFaceSeg(0x80000000, 0, 0, 0.1, EdgeType::Unknown));
  EXPECT_TRUE(IntEdgeFaceSeg(5, 0xFFFFFFFF, 2, 0.1, EdgeType::Unknown) < IntEdgeFaceSeg(5, 1, 1, 0.1, EdgeType::Unknown));
  const IntEdgeFaceSeg sameSum(5, 1, 15, 0.1, EdgeType::Concave);
  EXPECT_TRUE(!(a < sameSum) && !(sameSum < a) && a != sameSum);
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
  const auto parse = [](const std::string& text) {
    Json::Value value;
    std::istringstream in(text);
    EXPECT_TRUE(Json::parseFromStream(Json::CharReaderBuilder(), in, &value, nullptr)) << text;
    return value;
  };
  IntEdgeFaceSeg full(0x80000001, 2, 0xFFFFFFFF, 0.25, EdgeType::Convex);
  full.auxFlag = full.needViewConvex = false;
  full.auxNumber = -3;
  const Json::Value json = full.ToJson();
  ASSERT_TRUE(json.size() == 8 && json[5].isBool());
  EXPECT_EQ(IntEdgeFaceSeg(parse(Json::FastWriter().write(json))).ToJson(), json);

  // Members beyond the array keep their values; the flags are read together or not at all.
  const auto record = [](EdgeType type, bool flag, int number, std::uint32_t face2 = 5, double fuzzy = 0.2) {
    IntEdgeFaceSeg seg(3, 4, face2, fuzzy, type);
    seg.auxFlag = seg.needViewConvex = flag;
    seg.auxNumber = number;
    return seg.ToJson();
  };
  for (const auto& [text, read] : std::vector<std::pair<std::string, Json::Value>>{
         {"[3,4,5,0.2,1]", record(EdgeType::Concave, true, 1)}, {"[3,4,5,0.2,1,0]", record(EdgeType::Concave, true, 1)},
         {"[3,4,5,0.2,1,0,false]", record(EdgeType::Concave, false, 1)},
         {"[3,4,5,0.2,2,7,true,9]", record(EdgeType::Convex, true, 9)}, {"[3,4]", record(EdgeType::Unknown, true, 1, 0, 0.0)}})
    EXPECT_EQ(IntEdgeFaceSeg(parse(text)).ToJson(), read) << text;
  // Values that are no index are refused with the JSON library's error, not wrapped around.
  EXPECT_THROW(IntEdgeFaceSeg(parse("[-1,4,5,0.2,1]")), Json::LogicError);
  EXPECT_THROW(IntEdgeFaceSeg(parse("[\"3\",4,5,0.2,1]")), Json::LogicError);
  IntEdgeFaceSeg untouched(1, 2, 3, 0.5, EdgeType::Convex);
  untouched.FromJson(parse("{\"edge\": 4}"));
  EXPECT_EQ(untouched.ToJson(), IntEdgeFaceSeg(1, 2, 3, 0.5, EdgeType::Convex).ToJson()) << "an object is no seam array";
}
