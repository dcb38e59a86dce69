#include "support/BreakAt.h"
#include "support/DihedralReference.h"
#include "support/SeamSolids.h"
#include "support/Solids.h"

#include <entity/AutoWeldSeamAlgUtils.h>
#include <entity/FaceProximity.h>
#include <entity/GenerateWorkpieceHelper.h>
#include <entity/SeamExtractor.h>

#include <cadtools/ShapeHandle.h>
#include <cadtools/ThreadPool.h>
#include <cadtools/WorkpieceError.h>

#include <BRepAdaptor_Curve.hxx>
#include <BRepBndLib.hxx>
#include <BRepBuilderAPI_MakeEdge.hxx>
#include <BRepBuilderAPI_MakeFace.hxx>
#include <BRepBuilderAPI_MakeWire.hxx>
#include <BRepBuilderAPI_Transform.hxx>
#include <BRepCheck_Analyzer.hxx>
#include <BRepPrimAPI_MakeBox.hxx>
#include <BRepPrimAPI_MakeSphere.hxx>
#include <BRep_Builder.hxx>
#include <BRep_Tool.hxx>
#include <Bnd_Box.hxx>
#include <GCPnts_AbscissaPoint.hxx>
#include <Standard_DomainError.hxx>
#include <TopExp.hxx>
#include <TopTools_IndexedMapOfShape.hxx>
#include <TopoDS.hxx>
#include <TopoDS_Compound.hxx>
#include <TopoDS_Iterator.hxx>
#include <gp_Circ.hxx>

#include <gtest/gtest.h>
#include <json/json.h>

#include <limits>
#include <random>
#include <set>
#include <sstream>

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

NCollection_Sequence<gp_Pnt> Points(std::initializer_list<gp_Pnt> points)
{
  NCollection_Sequence<gp_Pnt> sequence;
  for (const gp_Pnt& p : points)
    sequence.Append(p);
  return sequence;
}
} // namespace

TEST(SeamExtractor, IndexLayoutOnACompoundOfSolidsAndALooseFaceAndTheSolidLimit)
{
  // Three solids side by side and a loose face of four edges.
  const TopoDS_Compound part = Compound({Solids::Box(10, 20, 30), Solids::LSolid(50, 10, 30), Solids::Box(10, 20, 30),
                                         SeamSolids::FaceNear(Solids::Box(5, 5, 5), gp_Pnt(2.5, 2.5, 5))}, true);
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
      EXPECT_TRUE(AutoWeldSeamAlgUtils::SolidIndexOfSubIndex(extractor.IndexOf(subs(i))) == solidIndex &&
                  (extractor.IndexOf(subs(i)) & 0x1FFFF) >= 2 && extractor.ShapeOf(extractor.IndexOf(subs(i))).IsSame(subs(i)))
        << solidIndex << " " << i;
  }
  EXPECT_EQ(extractor.IndexOf(Solids::Box(1, 1, 1)), IntEdgeFaceSeg::NoIndex);
  for (const std::uint32_t outside : {0u, (3u << 17) + 100, (5u << 17) | 1})
    EXPECT_TRUE(extractor.ShapeOf(outside).IsNull()) << outside;
  const SeamExtractor::Result result = extractor.Extract(SeamExtractor::Options());
  EXPECT_TRUE(result.edges == 12 + 18 + 12 + 4 && result.oneFace == 4) << result.edges << " " << result.oneFace;
  EXPECT_EQ(KindsOf(result), (Kinds{{EdgeType::Concave, 1}, {EdgeType::Convex, 41}}));
  EXPECT_TRUE(std::is_sorted(result.segs.begin(), result.segs.end(),
                             [](const EdgeFaceSeg& a, const EdgeFaceSeg& b) { return a.Edge_Index() < b.Edge_Index(); }));

  // The layout holds 2048 blocks: one more solid is refused before any work.
  std::vector<TopoDS_Shape> many(SeamExtractor::MaxBlocks, Solids::Box(1, 1, 1));
  EXPECT_EQ(SeamExtractor(Compound(many, true)).NbBlocks(), 2048u);
  many.push_back(many.front());
  const auto failure = [&]() -> std::string {
    try { SeamExtractor tooMany(Compound(many, true)); } catch (const WorkpieceError& e) { return e.what(); }
    return "";
  };
  EXPECT_EQ(failure(), "SeamExtractor: the part has more than 2048 solids");
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
  // Mirrored in x = 0, the planes come out left-handed: every classifier must still agree.
  gp_Trsf mirror;
  mirror.SetMirror(gp_Ax2(gp::Origin(), gp::DX()));
  const auto mirrored = [&](const TopoDS_Shape& shape) { return BRepBuilderAPI_Transform(shape, mirror, true).Shape(); };
  // Left out: edges bounding one face, closed faces' seams, edges of more than two faces, degenerated ones.
  // Kinds by the probe; when `all`, by every classifier and the dihedral reference too.
  struct Case { TopoDS_Shape part; std::size_t edges, oneFace, closedSeams, manyFaces, degenerated; Kinds kinds; bool all; };
  const Kinds step{{EdgeType::Concave, 1}, {EdgeType::Convex, 17}}, studs{{EdgeType::Concave, 24}, {EdgeType::Convex, 60}};
  const std::vector<Case> cases{
    {BRepPrimAPI_MakeSphere(10).Shape(), 3, 0, 1, 0, 2, {}, true}, {Solids::Cylinder(5, 10), 3, 0, 1, 0, 0, {{EdgeType::Convex, 2}}, false},
    {Compound(fan), 7, 6, 0, 1, 0, {}, true}, {TopoDS_Shape(), 0, 0, 0, 0, 0, {}, true},
    {Solids::FilletedPlate(100, 60, 10, 5), 24, 0, 0, 0, 0, {{EdgeType::Convex, 24}}, false},
    {Solids::TSolid(100, 60, 10, 40), 24, 0, 0, 0, 0, {{EdgeType::Concave, 2}, {EdgeType::Convex, 22}}, true},
    {SeamSolids::StuddedPlate(3, 2), 12 + 6 * 12, 0, 0, 0, 0, studs, true},
    {mirrored(SeamSolids::StuddedPlate(3, 2)), 12 + 6 * 12, 0, 0, 0, 0, studs, true},
    // The probe cannot tell the knife edge; it fits the step's 0.5 mm face.
    {SeamSolids::ThinWedge(), 9, 0, 0, 0, 0, {{EdgeType::Unknown, 1}, {EdgeType::Convex, 8}}, false},
    {SeamSolids::StepSolid(), 18, 0, 0, 0, 0, step, true}, {mirrored(SeamSolids::StepSolid()), 18, 0, 0, 0, 0, step, true}};
  SeamExtractor::Options probe;
  probe.classifier = SeamExtractor::Classifier::Probe;
  for (std::size_t k = 0; k < cases.size(); ++k)
  {
    const SeamExtractor extractor(cases[k].part);
    const SeamExtractor::Result pooled = extractor.Extract(probe);
    EXPECT_EQ(std::make_tuple(pooled.edges, pooled.oneFace, pooled.closedFaceSeams, pooled.manyFaces, pooled.degenerated),
              std::make_tuple(cases[k].edges, cases[k].oneFace, cases[k].closedSeams, cases[k].manyFaces,
                              cases[k].degenerated)) << k;
    EXPECT_EQ(KindsOf(pooled), cases[k].kinds) << k;
    Kinds reference;
    for (const EdgeWithFaces& e : SeamSolids::TwoFaceEdges(cases[k].part))
      ++reference[DihedralReference::AsEdgeType(DihedralReference::Classify(e.edge, e.face1, e.face2))];
    EXPECT_TRUE(!cases[k].all || reference == cases[k].kinds) << k;
    for (const auto classifier : {SeamExtractor::Classifier::Probe, SeamExtractor::Classifier::Planar,
                                  SeamExtractor::Classifier::Orientation})
    {
      SeamExtractor::Options options;
      options.classifier = classifier;
      const SeamExtractor::Result parallel = extractor.Extract(options);
      EXPECT_TRUE(!cases[k].all || KindsOf(parallel) == cases[k].kinds) << k << ", " << SeamExtractor::ClassifierName(classifier);
      options.parallel = false;
      const SeamExtractor::Result single = extractor.Extract(options);
      ASSERT_TRUE(single.segs.size() == parallel.segs.size() && single.segs.size() == SeamSolids::TwoFaceEdges(cases[k].part).size());
      // Read off the prepared faces with indices looked up once, as the seam's own shapes give them.
      for (std::size_t i = 0; i < single.segs.size(); ++i)
        EXPECT_TRUE(single.segs[i] == parallel.segs[i] && single.segs[i].GetIntSeg() == parallel.segs[i].GetIntSeg() &&
                    single.segs[i].GetEdgeType() == parallel.segs[i].GetEdgeType() &&
                    single.segs[i].GetEdgeType() == SeamExtractor::Classify(single.segs[i], options) &&
                    single.segs[i].Edge_Index() == extractor.IndexOf(single.segs[i].Edge()) &&
                    single.segs[i].Face1_Index() == extractor.IndexOf(single.segs[i].Face1()) &&
                    single.segs[i].Face2_Index() == extractor.IndexOf(single.segs[i].Face2()))
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
  EXPECT_TRUE(l.Extract(options).tooShort == 4 && l.Extract(options).segs.size() == 14);
  options.minLength = 30.0 + 0.01;
  EXPECT_EQ(l.Extract(options).segs.size(), 8u);
  // A unit cube between 0.9 and 1.9 has edges of 0.9999999999999999: as long as the limit 1.
  options.minLength = 1.0;
  EXPECT_EQ(SeamExtractor(BRepPrimAPI_MakeBox(gp_Pnt(0.9, 0.9, 0.9), gp_Pnt(1.9, 1.9, 1.9)).Shape()).Extract(options).segs.size(), 12u);
  const SeamExtractor t(Solids::TSolid(100, 60, 10, 40));
  const Handle(BreakAt) never = new BreakAt(2), atOnce = new BreakAt(0), midway = new BreakAt(0.1);
  EXPECT_TRUE(!t.Extract(SeamExtractor::Options(), never->Start()).cancelled && std::abs(never->GetPosition() - 1.0) < 1e-12);
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

TEST(FaceProximity, AgreesWithTheKernelAroundAFaceWithHoles)
{
  // Points in a hole, beside a stud, on the boundary and all about the studded plate's top.
  const TopoDS_Face top = SeamSolids::FaceNear(SeamSolids::StuddedPlate(3, 2), gp_Pnt(50, 45, 10));
  const FaceProximity prepared(top);
  ASSERT_TRUE(prepared.IsPrepared() && prepared.OutlinePoints().size() == 2u * (4u + 6u * 4u)) << "4 + 6 × 4 edges";
  std::mt19937 random(7);
  std::uniform_real_distribution<double> x(-10, 110), y(-10, 90), z(7, 13);
  // Points level with the holes' corners send the crossing count's ray through vertices.
  std::vector<gp_Pnt> points{{15, 13, 10}, {15, 13, 11.5}, {9.5, 13, 10.2}, {10, 13, 10}, {0, 0, 10}, {50, 40, 10},
                             {5, 16, 10.5}, {25, 10, 10.2}, {95, 36, 10}, {5, 30, 11}, {45, 56, 10.1}};
  for (int i = 0; i < 300; ++i)
    points.emplace_back(x(random), y(random), z(random));
  for (const gp_Pnt& p : points)
    EXPECT_NEAR(prepared.Distance(p), AutoWeldSeamAlgUtils::DistOfPntToFace(p, top), 1e-7) << p.X() << " " << p.Y();
  // The strict limit: exactly tol away is off, as in IsVertexOnFace; 3 mm from the hole's edge.
  EXPECT_TRUE(!prepared.IsOn(gp_Pnt(50, 40, 10.5), 0.5) && prepared.IsOn(gp_Pnt(50, 40, 10.5), 0.5 + 1e-9));
  EXPECT_TRUE(!prepared.IsOn(gp_Pnt(15, 13, 10), 3.0 - 1e-6) && prepared.IsOn(gp_Pnt(15, 13, 10), 3.0 + 1e-6));
}

TEST(EdgeFaceSeg, LengthRigidMovesAndStrictEquality)
{
  // A quarter of a circle of radius 20 is 10π long; setting a null edge changes nothing.
  EdgeFaceSeg arc;
  arc.SetEdge(BRepBuilderAPI_MakeEdge(gp_Circ(gp::XOY(), 20.0), 0.0, M_PI / 2.0).Edge()), arc.SetEdge(TopoDS_Edge());
  EXPECT_TRUE(!arc.Edge().IsNull() && std::abs(arc.GetSegLength() - 10.0 * M_PI) < 1e-9) << arc.GetSegLength();
  const EdgeWithFaces first = SeamSolids::TwoFaceEdges(Solids::Box(10, 20, 30)).front();
  EdgeFaceSeg seg, flipped, swapped;
  seg.SetEdge(first.edge), seg.SetFace1(first.face1), seg.SetFace2(first.face2);
  const EdgeFaceSeg copy = flipped = swapped = seg;
  gp_Trsf shift, turn, scale;
  shift.SetTranslation(gp_Vec(100, 0, 0)), turn.SetRotation(gp::OZ(), M_PI / 2.0), scale.SetScale(gp::Origin(), 2.0);
  seg.Transform(turn), seg.Transform(shift); // the shift applied after the turn
  EXPECT_TRUE(seg.GetSegLength() == copy.GetSegLength() && seg != copy);
  const gp_Pnt before = BRep_Tool::Pnt(TopExp::FirstVertex(first.edge));
  EXPECT_LT(BRep_Tool::Pnt(TopExp::FirstVertex(seg.Edge())).Distance(before.Transformed(shift * turn)), 1e-9);
  EXPECT_THROW(seg.Transform(scale), Standard_DomainError);
  // The same shapes with a face reversed, or the faces swapped, are not the same segment.
  flipped.SetFace2(TopoDS::Face(copy.Face2().Reversed()));
  swapped.SetFace1(copy.Face2()), swapped.SetFace2(copy.Face1());
  EXPECT_TRUE(copy == EdgeFaceSeg(copy) && flipped != copy && swapped != copy);
}

TEST(IntEdgeFaceSeg, EqualityOrderingOlderShortFormsJsonRoundTripAndRefusals)
{
  // Faces in either order, fuzzy values strictly within 0.01, the type not compared.
  const IntEdgeFaceSeg a(5, 7, 9, 0.1, EdgeType::Concave);
  EXPECT_TRUE(a == IntEdgeFaceSeg(5, 9, 7, 0.105, EdgeType::Convex) && a == IntEdgeFaceSeg(5, 7, 9, 0.0901, EdgeType::Concave));
  EXPECT_TRUE(a != IntEdgeFaceSeg(5, 9, 7, 0.11, EdgeType::Concave) && a != IntEdgeFaceSeg(5, 7, 8, 0.1, EdgeType::Concave));
  // By edge (unsigned), then by the wrapping face sum: 0xFFFFFFFF + 2 wraps to 1, before 2; equal sums collapse in a set.
  EXPECT_TRUE(IntEdgeFaceSeg(0x7FFFFFFF, 0, 0, 0.1, EdgeType::Unknown) < IntEdgeFaceSeg(0x80000000, 0, 0, 0.1, EdgeType::Unknown));
  EXPECT_TRUE(IntEdgeFaceSeg(5, 0xFFFFFFFF, 2, 0.1, EdgeType::Unknown) < IntEdgeFaceSeg(5, 1, 1, 0.1, EdgeType::Unknown));
  EXPECT_EQ(std::set<IntEdgeFaceSeg>({a, IntEdgeFaceSeg(5, 1, 15, 0.1, EdgeType::Concave)}).size(), 1u);
  const auto parse = [](const std::string& text) {
    Json::Value value;
    std::istringstream stream(text);
    EXPECT_TRUE(Json::parseFromStream(Json::CharReaderBuilder(), stream, &value, nullptr)) << text;
    return value;
  };
  // Members beyond the array keep their values and the flags are read together or not at all; the
  // full form is written back as read.
  for (const auto& [text, full] : std::vector<std::pair<std::string, std::string>>{
         {"[3,4,5,0.25,1]", "[3,4,5,0.25,1,true,true,1]"}, {"[3,4,5,0.25,1,0]", "[3,4,5,0.25,1,true,true,1]"},
         {"[3,4,5,0.25,1,0,false]", "[3,4,5,0.25,1,false,false,1]"}, {"[3,4,5,0.25,2,7,true,9]", "[3,4,5,0.25,2,true,true,9]"},
         {"[3,4]", "[3,4,0,0.0,0,true,true,1]"}, {"[2147483649,2,4294967295,0.5,2,false,false,-3]", ""}})
    EXPECT_EQ(Json::FastWriter().write(IntEdgeFaceSeg(parse(text)).ToJson()), (full.empty() ? text : full) + "\n") << text;
  // Values that are no index are refused with the JSON library's error, not wrapped around.
  for (const char* bad : {"[-1,4,5,0.2,1]", "[\"3\",4,5,0.2,1]"})
    EXPECT_THROW(IntEdgeFaceSeg(parse(bad)), Json::LogicError) << bad;
  IntEdgeFaceSeg untouched(1, 2, 3, 0.5, EdgeType::Convex);
  untouched.FromJson(parse("{\"edge\": 4}"));
  EXPECT_EQ(untouched.ToJson(), IntEdgeFaceSeg(1, 2, 3, 0.5, EdgeType::Convex).ToJson()) << "an object is no seam array";
}

TEST(GenerateWorkpieceHelper, FacesFilletArcsAndPlatesOfKnownSize)
{
  // A closing point repeating the first, or a point repeated, makes no edge; off the plane or NaN, no face.
  for (const auto& [points, edges] : std::vector<std::pair<NCollection_Sequence<gp_Pnt>, int>>{
         {Points({{0, 0, 0}, {10, 0, 0}, {10, 10, 0}, {0, 10, 0}}), 4},
         {Points({{0, 0, 0}, {10, 0, 0}, {10, 10, 0}, {0, 10, 0}, {0, 0, 0}}), 4},
         {Points({{0, 0, 0}, {10, 0, 0}, {10, 0, 0}, {10, 10, 0}, {0, 10, 0}}), 4},
         {Points({{0, 0, 0}, {10, 0, 0}, {10, 10, 0}, {0, 10, 5}}), 0},
         {Points({{0, 0, 0}, {10, 0, 0}, {std::numeric_limits<double>::quiet_NaN(), 10, 0}}), 0},
         {Points({}), 0}})
  {
    const TopoDS_Face face = GenerateWorkpieceHelper::MakeFaceByPnt(points);
    TopTools_IndexedMapOfShape faceEdges;
    TopExp::MapShapes(face, TopAbs_EDGE, faceEdges);
    EXPECT_EQ(faceEdges.Extent(), edges) << points.Length();
    EXPECT_TRUE(face.IsNull() == (edges == 0) && (face.IsNull() || BRepCheck_Analyzer(face).IsValid()));
    EXPECT_NEAR(face.IsNull() ? 100.0 : ShapeHandle::GetAreaOrVol(face), 100.0, 1e-9);
  }
  const TopoDS_Face disc = GenerateWorkpieceHelper::MakeFaceByCirc(gp_Circ(gp_Ax2(gp_Pnt(1, 2, 3), gp::DX()), 4.0));
  EXPECT_TRUE(BRepCheck_Analyzer(disc).IsValid() && std::abs(ShapeHandle::GetAreaOrVol(disc) - M_PI * 16.0) < 1e-6);
  // Legs must be longer than r + 1, and not collinear.
  for (const auto& [far, ok] : {std::pair{gp_Pnt(6, 0, 0), false}, {gp_Pnt(6.01, 0, 0), true}, {gp_Pnt(0, -20, 0), false}})
    EXPECT_EQ(GenerateWorkpieceHelper::MakeFilletOnTwoEdge({far, gp_Pnt(0, 0, 0), gp_Pnt(0, 20, 0)}, 5.0).first, ok) << far.X();
  // A 60-degree corner in a tilted plane: the tangent circle's radius is r·tan(θ/2), the arc spans 180° − θ.
  const gp_Pnt corner(1, 2, 3);
  const gp_Dir u(1, 1, 0), v(gp_Vec(1, 1, 0).Normalized() * std::cos(M_PI / 3) + gp_Vec(0, 0, 1) * std::sin(M_PI / 3));
  const double r = 4.0;
  const auto [ok, arc] = GenerateWorkpieceHelper::MakeFilletOnTwoEdge(
    {corner.Translated(gp_Vec(u) * 30), corner, corner.Translated(gp_Vec(v) * 20)}, r);
  ASSERT_TRUE(ok && BRepCheck_Analyzer(arc).IsValid());
  const BRepAdaptor_Curve curve(arc);
  gp_Pnt a, b; // the arc's ends and tangents there
  gp_Vec ta, tb;
  curve.D1(curve.FirstParameter(), a, ta);
  curve.D1(curve.LastParameter(), b, tb);
  EXPECT_LT(a.Distance(corner.Translated(gp_Vec(u) * r)) + b.Distance(corner.Translated(gp_Vec(v) * r)), 1e-9);
  EXPECT_LT(ta.Angle(gp_Vec(u).Reversed()) + tb.Angle(gp_Vec(v)), 1e-9) << "leaves one leg and joins the other along them";
  EXPECT_NEAR(curve.Circle().Radius(), r * std::tan(M_PI / 6), 1e-9);
  EXPECT_NEAR(GCPnts_AbscissaPoint::Length(curve), r * std::tan(M_PI / 6) * (2 * M_PI / 3), 1e-9);
  // A 40 × 20 plate: no prism below 0.001 along the normal; volume is area × height along the normal.
  const TopoDS_Face square = GenerateWorkpieceHelper::MakeFaceByPnt(Points({{0, 0, 0}, {40, 0, 0}, {40, 20, 0}, {0, 20, 0}}));
  EXPECT_TRUE(GenerateWorkpieceHelper::MakePrismByFace(square, gp_Vec(0, 0, 0.0009), false).IsNull() &&
              !GenerateWorkpieceHelper::MakePrismByFace(square, gp_Vec(0, 0, 0.001), false).IsNull());
  const TopoDS_Shape plate = GenerateWorkpieceHelper::MakePrismByFace(square, gp_Vec(0, 3, 8), false),
                     centred = GenerateWorkpieceHelper::MakePrismByFace(square, gp_Vec(0, 0, 10), true);
  ASSERT_TRUE(BRepCheck_Analyzer(plate).IsValid() && BRepCheck_Analyzer(centred).IsValid());
  EXPECT_TRUE(std::abs(ShapeHandle::GetAreaOrVol(plate) - 800.0 * 8.0) + std::abs(ShapeHandle::GetAreaOrVol(centred) - 8000.0) < 1e-6);
  Bnd_Box box;
  BRepBndLib::AddOptimal(centred, box, false, false);
  EXPECT_LT(std::abs(box.CornerMin().Z() + 5.0) + std::abs(box.CornerMax().Z() - 5.0), 1e-9) << "centred on the face";
}
