#include "support/SeamSolids.h"
#include "support/Solids.h"

#include <entity/FaceUtils.h>

#include <BRepAdaptor_Curve.hxx>
#include <BRepAdaptor_Surface.hxx>
#include <BRepCheck_Analyzer.hxx>
#include <BRep_Tool.hxx>
#include <GCPnts_AbscissaPoint.hxx>
#include <Geom_Plane.hxx>
#include <Standard_TypeMismatch.hxx>
#include <TopExp.hxx>
#include <TopExp_Explorer.hxx>
#include <TopTools_IndexedMapOfShape.hxx>
#include <TopoDS.hxx>
#include <TopoDS_Vertex.hxx>

#include <gtest/gtest.h>

#include <cmath>

namespace
{
NCollection_Sequence<TopoDS_Face> Faces(std::initializer_list<TopoDS_Face> faces)
{
  NCollection_Sequence<TopoDS_Face> sequence;
  for (const TopoDS_Face& f : faces)
    sequence.Append(f);
  return sequence;
}

// Returns the end points of a straight edge, sorted by x, then y, then z.
std::pair<gp_Pnt, gp_Pnt> Ends(const TopoDS_Edge& edge)
{
  gp_Pnt a = BRep_Tool::Pnt(TopExp::FirstVertex(edge)), b = BRep_Tool::Pnt(TopExp::LastVertex(edge));
  const auto key = [](const gp_Pnt& p) { return std::make_tuple(p.X(), p.Y(), p.Z()); };
  if (key(b) < key(a))
    std::swap(a, b);
  return {a, b};
}
} // namespace

TEST(FaceUtils, OrientedPlanesAndFrames)
{
  const TopoDS_Shape box = Solids::Box(10, 20, 30);
  const TopoDS_Face top = SeamSolids::FaceNear(box, gp_Pnt(5, 10, 30));
  const TopoDS_Face bottom = SeamSolids::FaceNear(box, gp_Pnt(5, 10, 0));
  EXPECT_TRUE(FaceUtils::IsPlane(top));
  EXPECT_FALSE(FaceUtils::IsMeshPlane(top)) << "analytic faces are not judged as meshes";
  EXPECT_FALSE(FaceUtils::IsMeshPlane(TopoDS_Face()));

  // The box's bottom face is reversed on its +Z plane: the oriented plane points down.
  ASSERT_EQ(bottom.Orientation(), TopAbs_REVERSED);
  const Handle(Geom_Plane) surface = Handle(Geom_Plane)::DownCast(BRep_Tool::Surface(bottom));
  const gp_Dir before = surface->Axis().Direction();
  const Handle(Geom_Plane) plane = FaceUtils::GetGeomPlanePtr(bottom);
  EXPECT_TRUE(plane->Axis().Direction().IsOpposite(before, 1e-12));
  EXPECT_TRUE(plane->Axis().Direction().IsEqual(gp::DZ().Reversed(), 1e-12));
  EXPECT_TRUE(surface->Axis().Direction().IsEqual(before, 1e-12)) << "the face's own surface stays as it is";
  EXPECT_NE(plane, surface);

  const auto [ok, frame] = FaceUtils::GetPlaneFaceAx2(top);
  EXPECT_TRUE(ok);
  EXPECT_TRUE(frame.Direction().IsEqual(gp::DZ(), 1e-12));
  EXPECT_NEAR(frame.Location().Z(), 30.0, 1e-12);

  const TopoDS_Shape cylinder = Solids::Cylinder(5, 10);
  TopoDS_Face side;
  for (TopExp_Explorer it(cylinder, TopAbs_FACE); it.More(); it.Next())
    if (!FaceUtils::IsPlane(TopoDS::Face(it.Current())))
      side = TopoDS::Face(it.Current());
  EXPECT_TRUE(FaceUtils::GetGeomPlanePtr(side).IsNull());
  const auto [noPlane, standard] = FaceUtils::GetPlaneFaceAx2(side);
  EXPECT_FALSE(noPlane);
  EXPECT_TRUE(standard.Direction().IsEqual(gp::DZ(), 0.0));

  const NCollection_Sequence<gp_Ax2> frames = FaceUtils::GetFaceAx2List(Faces({top, bottom, TopoDS_Face()}));
  ASSERT_EQ(frames.Length(), 2) << "a face without a normal is skipped";
  EXPECT_LT(frames(1).Location().Distance(gp_Pnt(5, 10, 30)), 1e-9);
  EXPECT_TRUE(frames(2).Direction().IsEqual(gp::DZ().Reversed(), 1e-12));
}

TEST(FaceUtils, PlaneAndLineIntersections)
{
  const gp_Pln xy(gp::Origin(), gp::DZ());
  const gp_Pln x5(gp_Pnt(5, 0, 0), gp::DX());
  const auto [ok, line] = FaceUtils::InterfLinOfPln(xy, x5);
  ASSERT_TRUE(ok);
  EXPECT_LT(line.Distance(gp_Pnt(5, 123, 0)), 1e-12);
  EXPECT_TRUE(line.Direction().IsParallel(gp::DY(), 1e-12));
  for (const gp_Pln& other : {xy, gp_Pln(gp_Pnt(0, 0, 3), gp::DZ().Reversed()), gp_Pln(gp::Origin(), gp_Dir(0.005, 0, 1))})
  {
    const auto [parallel, fallback] = FaceUtils::InterfLinOfPln(xy, other);
    EXPECT_FALSE(parallel);
    EXPECT_TRUE(fallback.Location().IsEqual(gp::Origin(), 0.0));
    EXPECT_TRUE(fallback.Direction().IsEqual(gp::DZ(), 0.0));
  }
  EXPECT_TRUE(FaceUtils::InterfLinOfPln(xy, gp_Pln(gp::Origin(), gp_Dir(0.02, 0, 1))).first);

  const TopoDS_Shape box = Solids::Box(10, 20, 30);
  const TopoDS_Face top = SeamSolids::FaceNear(box, gp_Pnt(5, 10, 30));
  const TopoDS_Face front = SeamSolids::FaceNear(box, gp_Pnt(5, 0, 15));
  const TopoDS_Face left = SeamSolids::FaceNear(box, gp_Pnt(0, 10, 15));
  const auto [faceOk, edgeLine] = FaceUtils::InterfLinOfPln(top, front);
  ASSERT_TRUE(faceOk);
  EXPECT_LT(edgeLine.Distance(gp_Pnt(3, 0, 30)), 1e-12);
  EXPECT_TRUE(FaceUtils::InterfLinOfPln(top, x5).first);
  EXPECT_FALSE(FaceUtils::InterfLinOfPln(top, top).first);

  // A line 89.5 degrees from the plane's normal is within 0.01 rad of parallel to it.
  const gp_Lin steep(gp_Pnt(0, 0, 10), gp_Dir(std::sin(89.5 * M_PI / 180), 0, std::cos(89.5 * M_PI / 180)));
  EXPECT_FALSE(FaceUtils::InterfPntOfLinAndPln(xy, steep, 0.01).first);
  const gp_Lin slanted(gp_Pnt(0, 0, 10), gp_Dir(1, 0, -1));
  const auto [hit, point] = FaceUtils::InterfPntOfLinAndPln(xy, slanted, 0.01);
  ASSERT_TRUE(hit);
  EXPECT_LT(point.Distance(gp_Pnt(10, 0, 0)), 1e-9);

  const auto [corner, p] = FaceUtils::InterfPntOfThreePlnFace(Faces({top, front, left}));
  ASSERT_TRUE(corner);
  EXPECT_LT(p.Distance(gp_Pnt(0, 0, 30)), 1e-9);
  const TopoDS_Face bottom = SeamSolids::FaceNear(box, gp_Pnt(5, 10, 0));
  const auto [none, origin] = FaceUtils::InterfPntOfThreePlnFace(Faces({top, bottom, left}));
  EXPECT_FALSE(none) << "parallel planes have no single common point";
  EXPECT_TRUE(origin.IsEqual(gp::Origin(), 0.0));
  EXPECT_FALSE(FaceUtils::InterfPntOfThreePlnFace(Faces({top, front})).first);
}

TEST(FaceUtils, CommonPointsOfThreeFaces)
{
  const TopoDS_Shape box = Solids::Box(10, 20, 30);
  const TopoDS_Face top = SeamSolids::FaceNear(box, gp_Pnt(5, 10, 30));
  const TopoDS_Face front = SeamSolids::FaceNear(box, gp_Pnt(5, 0, 15));
  const TopoDS_Face left = SeamSolids::FaceNear(box, gp_Pnt(0, 10, 15));
  const auto [ok, p] = FaceUtils::InterfPntOfThreeFace(Faces({top, front, left}), gp_Pnt(100, 100, 100));
  ASSERT_TRUE(ok);
  EXPECT_LT(p.Distance(gp_Pnt(0, 0, 30)), 1e-7);

  // A fillet of radius 5 between the front (y = 0) and right (x = 100) sides meets the top face
  // along an arc; with the front face the three share the arc's end (95, 0, 10).
  const TopoDS_Shape plate = Solids::FilletedPlate(100, 60, 10, 5);
  const TopoDS_Face fillet = SeamSolids::FaceNear(plate, gp_Pnt(98.5, 1.5, 5));
  ASSERT_EQ(BRepAdaptor_Surface(fillet).GetType(), GeomAbs_Cylinder);
  const TopoDS_Face plateTop = SeamSolids::FaceNear(plate, gp_Pnt(50, 30, 10));
  const TopoDS_Face plateFront = SeamSolids::FaceNear(plate, gp_Pnt(50, 0, 5));
  const auto [found, q] = FaceUtils::InterfPntOfThreeFace(Faces({fillet, plateTop, plateFront}), gp_Pnt(90, -5, 20));
  ASSERT_TRUE(found);
  EXPECT_LT(q.Distance(gp_Pnt(95, 0, 10)), 1e-6);

  const TopoDS_Face bottom = SeamSolids::FaceNear(box, gp_Pnt(5, 10, 0));
  EXPECT_FALSE(FaceUtils::InterfPntOfThreeFace(Faces({top, bottom, left}), gp::Origin()).first);
  EXPECT_FALSE(FaceUtils::InterfPntOfThreeFace(Faces({top, front}), gp::Origin()).first);
  // The planes of three faces of separate boxes meet at a point outside all of them.
  gp_Trsf far;
  far.SetTranslation(gp_Vec(50, 50, 0));
  const TopoDS_Face farLeft = SeamSolids::FaceNear(Solids::Moved(box, far), gp_Pnt(50, 60, 15));
  EXPECT_FALSE(FaceUtils::InterfPntOfThreeFace(Faces({top, front, farLeft}), gp::Origin()).first);
}

TEST(FaceUtils, CommonEdgeOfTwoPlanarFaces)
{
  // Adjacent faces of one solid: the concave seam of a T-joint, 60 long at x = 45, z = 10.
  const TopoDS_Shape t = Solids::TSolid(100, 60, 10, 40);
  const TopoDS_Face baseTop = SeamSolids::FaceNear(t, gp_Pnt(20, 30, 10));
  const TopoDS_Face webSide = SeamSolids::FaceNear(t, gp_Pnt(45, 30, 30));
  const auto [ok, seam] = FaceUtils::InterfEdgeOfPlaneFace(baseTop, webSide, 0.01, 0.01);
  ASSERT_TRUE(ok);
  const auto [a, b] = Ends(seam);
  EXPECT_LT(a.Distance(gp_Pnt(45, 0, 10)), 1e-7);
  EXPECT_LT(b.Distance(gp_Pnt(45, 60, 10)), 1e-7);

  // Separate plates: a 30 long web standing on a base plate, not fused. The seam is where the
  // web's side meets the base's top, only as long as the web.
  const TopoDS_Shape base = Solids::Box(100, 60, 10);
  gp_Trsf up;
  up.SetTranslation(gp_Vec(40, 20, 10));
  const TopoDS_Shape web = Solids::Moved(Solids::Box(10, 30, 40), up);
  const TopoDS_Face top = SeamSolids::FaceNear(base, gp_Pnt(50, 30, 10));
  const TopoDS_Face side = SeamSolids::FaceNear(web, gp_Pnt(40, 35, 30));
  const auto [touching, edge] = FaceUtils::InterfEdgeOfPlaneFace(top, side, 0.01, 0.01);
  ASSERT_TRUE(touching);
  EXPECT_TRUE(BRepCheck_Analyzer(edge).IsValid());
  const auto [c, d] = Ends(edge);
  EXPECT_LT(c.Distance(gp_Pnt(40, 20, 10)), 1e-6);
  EXPECT_LT(d.Distance(gp_Pnt(40, 50, 10)), 1e-6);

  // Lifted off the base, the web's side no longer reaches the top face.
  gp_Trsf lift;
  lift.SetTranslation(gp_Vec(0, 0, 5));
  const TopoDS_Face lifted = SeamSolids::FaceNear(Solids::Moved(web, lift), gp_Pnt(40, 35, 35));
  EXPECT_FALSE(FaceUtils::InterfEdgeOfPlaneFace(top, lifted, 0.01, 0.01).first);
  const TopoDS_Face bottom = SeamSolids::FaceNear(base, gp_Pnt(50, 30, 0));
  EXPECT_FALSE(FaceUtils::InterfEdgeOfPlaneFace(top, bottom, 0.01, 0.01).first) << "parallel faces";
}

TEST(FaceUtils, ProjectionsAndAverages)
{
  const gp_Pln plane(gp_Pnt(0, 0, 2), gp::DZ());
  const auto [ok, p] = FaceUtils::ProjectPntOnPln(plane, gp::DZ(), gp_Pnt(3, 4, 9), 1.0);
  ASSERT_TRUE(ok);
  EXPECT_LT(p.Distance(gp_Pnt(3, 4, 2)), 1e-12);
  const auto [slantOk, s] = FaceUtils::ProjectPntOnPln(plane, gp_Dir(1, 0, -1), gp_Pnt(0, 0, 7), 1.0);
  ASSERT_TRUE(slantOk);
  EXPECT_LT(s.Distance(gp_Pnt(5, 0, 2)), 1e-12) << "along the direction, not the normal";
  const double off = 0.5 * M_PI / 180;
  EXPECT_FALSE(FaceUtils::ProjectPntOnPln(plane, gp_Dir(std::cos(off), 0, std::sin(off)), gp_Pnt(0, 0, 7), 1.0).first);
  EXPECT_TRUE(FaceUtils::ProjectPntOnPln(plane, gp_Dir(std::cos(off), 0, std::sin(off)), gp_Pnt(0, 0, 7), 0.4).first);

  const gp_Lin line(gp_Pnt(1, 1, 1), gp::DX());
  EXPECT_DOUBLE_EQ(FaceUtils::GetProjPntParamOnLine(gp_Pnt(1.0005, 7, 1), line), 0.0);
  EXPECT_NEAR(FaceUtils::GetProjPntParamOnLine(gp_Pnt(1.002, 7, 1), line), 0.002, 1e-12);
  EXPECT_NEAR(FaceUtils::GetProjPntParamOnLine(gp_Pnt(-4, 3, -2), line), -5.0, 1e-12);
  EXPECT_NEAR(FaceUtils::GetProjPntParamOnLine(gp_Pnt(8, 3, -2), line), 7.0, 1e-12);

  EXPECT_TRUE(FaceUtils::AvgPntOfPntList(NCollection_Sequence<gp_Pnt>()).IsEqual(gp::Origin(), 0.0));
  NCollection_Sequence<gp_Pnt> points;
  points.Append(gp_Pnt(0, 0, 0));
  points.Append(gp_Pnt(4, 0, 2));
  points.Append(gp_Pnt(2, 6, 1));
  EXPECT_LT(FaceUtils::AvgPntOfPntList(points).Distance(gp_Pnt(2, 2, 1)), 1e-12);

  // Nearest point on the untrimmed surface: beyond the face's edge, still on its plane.
  const TopoDS_Shape box = Solids::Box(10, 20, 30);
  const TopoDS_Face bottom = SeamSolids::FaceNear(box, gp_Pnt(5, 10, 0));
  const auto [near, q, normal] = FaceUtils::CalcNearestProjPntOnFace(gp_Pnt(50, 5, -3), bottom);
  ASSERT_TRUE(near);
  EXPECT_LT(q.Distance(gp_Pnt(50, 5, 0)), 1e-9);
  EXPECT_LT(normal.Angle(gp_Vec(0, 0, -1)), 1e-12) << "the reversed face's outward side";
  const auto [cylOk, onCylinder, radial] =
    FaceUtils::CalcNearestProjPntOnFace(gp_Pnt(20, 0, 3), SeamSolids::FaceNear(Solids::Cylinder(5, 10), gp_Pnt(5, 0, 5)));
  ASSERT_TRUE(cylOk);
  EXPECT_LT(onCylinder.Distance(gp_Pnt(5, 0, 3)), 1e-7);
  EXPECT_LT(radial.Angle(gp_Vec(1, 0, 0)), 1e-7);
}

TEST(FaceUtils, FaceComparisonColoursAndDisplay)
{
  const TopoDS_Shape t = Solids::TSolid(100, 60, 10, 40);
  ASSERT_TRUE(BRepCheck_Analyzer(t).IsValid());
  const TopoDS_Face leftTop = SeamSolids::FaceNear(t, gp_Pnt(20, 30, 10));
  EXPECT_TRUE(FaceUtils::IsTwoFaceEqual(leftTop, leftTop, 0.1));
  const TopoDS_Face rightTop = SeamSolids::FaceNear(t, gp_Pnt(80, 30, 10));
  EXPECT_FALSE(FaceUtils::IsTwoFaceEqual(leftTop, rightTop, 0.1)) << "parallel but bounded by other edges";
  EXPECT_FALSE(FaceUtils::IsTwoFaceEqual(leftTop, TopoDS::Face(leftTop.Reversed()), 0.1));
  // A copy of the same face, made separately, is equal edge for edge.
  const TopoDS_Face copy = SeamSolids::FaceNear(Solids::TSolid(100, 60, 10, 40), gp_Pnt(20, 30, 10));
  EXPECT_TRUE(FaceUtils::IsTwoFaceEqual(leftTop, copy, 0.1));

  NCollection_IndexedMap<TopoDS_Shape, TopTools_ShapeMapHasher> faces;
  for (TopExp_Explorer it(t, TopAbs_FACE); it.More(); it.Next())
    faces.Add(it.Current());
  // Up-facing: both strips of the base's top and the web's top, less the face itself.
  const NCollection_Sequence<TopoDS_Face> upward = FaceUtils::FindSameNormalFaceFromIndexedMap(faces, leftTop, 0.01);
  EXPECT_EQ(upward.Length(), 2);
  for (const TopoDS_Face& f : upward)
    EXPECT_FALSE(f.IsSame(leftTop));
  NCollection_IndexedMap<TopoDS_Shape, TopTools_ShapeMapHasher> mixed;
  mixed.Add(leftTop);
  mixed.Add(SeamSolids::EdgeNear(t, gp_Pnt(0, 30, 0)));
  EXPECT_THROW(FaceUtils::FindSameNormalFaceFromIndexedMap(mixed, rightTop, 0.01), Standard_TypeMismatch);

  const Quantity_Color orange = FaceUtils::GetColor(0xAAFF8000);
  EXPECT_FLOAT_EQ(orange.Red(), 1.0f);
  EXPECT_FLOAT_EQ(orange.Green(), 128.0f / 255.0f);
  EXPECT_FLOAT_EQ(orange.Blue(), 0.0f);

  EXPECT_TRUE(FaceUtils::GetFaceAisShape(TopoDS_Face(), orange).IsNull());
  const TopoDS_Face bottom = SeamSolids::FaceNear(t, gp_Pnt(50, 30, 0));
  const Handle(AIS_Shape) shown = FaceUtils::GetFaceAisShape(bottom, orange);
  ASSERT_FALSE(shown.IsNull());
  EXPECT_LT((shown->LocalTransformation().TranslationPart() - gp_XYZ(0, 0, -0.01)).Modulus(), 1e-12)
    << "lifted 0.01 off the downward face";
  Quantity_Color got;
  shown->Color(got);
  EXPECT_TRUE(got.IsEqual(orange));
  const Handle(AIS_Shape) curved = FaceUtils::GetFaceAisShape(SeamSolids::FaceNear(Solids::Cylinder(5, 10), gp_Pnt(5, 0, 5)), orange);
  EXPECT_EQ(curved->LocalTransformation().Form(), gp_Identity);
}
