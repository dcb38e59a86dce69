#include "support/SeamSolids.h"
#include "support/Solids.h"
#include <cadtools/ShapeHandle.h>
#include <entity/FaceUtils.h>

#include <BRepCheck_Analyzer.hxx>
#include <BRep_Tool.hxx>
#include <Geom_Plane.hxx>
#include <TopExp_Explorer.hxx>
#include <TopoDS.hxx>
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

// Returns whether the edge runs straight from a to b, in either sense, within 1e-6.
bool Joins(const TopoDS_Edge& edge, const gp_Pnt& a, const gp_Pnt& b)
{
  return ShapeHandle::IsTwoEdgeEqual(edge, SeamSolids::Segment(a, b), 1e-6, 1e-6);
}

const TopoDS_Shape Box = Solids::Box(10, 20, 30);
const TopoDS_Face Top = SeamSolids::FaceNear(Box, gp_Pnt(5, 10, 30)), Bottom = SeamSolids::FaceNear(Box, gp_Pnt(5, 10, 0));
const TopoDS_Face Front = SeamSolids::FaceNear(Box, gp_Pnt(5, 0, 15)), Left = SeamSolids::FaceNear(Box, gp_Pnt(0, 10, 15));
const TopoDS_Face CylinderSide = SeamSolids::FaceNear(Solids::Cylinder(5, 10), gp_Pnt(5, 0, 5));
} // namespace

TEST(FaceUtils, OrientedPlanesFramesAndProjections)
{
  // The bottom face is reversed on a +Z plane: the oriented plane points down, the surface stays.
  EXPECT_TRUE(FaceUtils::GetGeomPlanePtr(Bottom)->Axis().Direction().IsEqual(-gp::DZ(), 1e-12));
  EXPECT_TRUE(Handle(Geom_Plane)::DownCast(BRep_Tool::Surface(Bottom))->Axis().Direction().IsEqual(gp::DZ(), 1e-12));
  EXPECT_FALSE(FaceUtils::IsMeshPlane(Top) || FaceUtils::IsPlane(CylinderSide)) << "analytic faces are not meshes";
  const NCollection_Sequence<gp_Ax2> frames = FaceUtils::GetFaceAx2List(Faces({Top, Bottom, TopoDS_Face()}));
  ASSERT_EQ(frames.Length(), 2) << "a face without a normal is skipped";
  EXPECT_TRUE(frames(1).Location().IsEqual(gp_Pnt(5, 10, 30), 1e-9) && frames(2).Direction().IsEqual(-gp::DZ(), 1e-12));
  // Nearest points on the untrimmed surfaces (beyond the bottom face's edge), outward normals.
  const auto [near, q, normal] = FaceUtils::CalcNearestProjPntOnFace(gp_Pnt(50, 5, -3), Bottom);
  EXPECT_TRUE(near && q.IsEqual(gp_Pnt(50, 5, 0), 1e-9) && normal.Angle(gp_Vec(0, 0, -1)) < 1e-12);
  const auto [cylOk, onCylinder, radial] = FaceUtils::CalcNearestProjPntOnFace(gp_Pnt(20, 0, 3), CylinderSide);
  EXPECT_TRUE(cylOk && onCylinder.IsEqual(gp_Pnt(5, 0, 3), 1e-7) && radial.Angle(gp_Vec(1, 0, 0)) < 1e-7);
  // Along a direction, not the normal; refused 0.5° off the plane with a 1° tolerance, not with 0.4°.
  const gp_Pln plane(gp_Pnt(0, 0, 2), gp::DZ());
  EXPECT_TRUE(FaceUtils::ProjectPntOnPln(plane, gp_Dir(1, 0, -1), gp_Pnt(0, 0, 7), 1.0).second.IsEqual(gp_Pnt(5, 0, 2), 1e-12));
  const gp_Dir grazing(std::cos(0.5 * M_PI / 180), 0, std::sin(0.5 * M_PI / 180));
  EXPECT_TRUE(!FaceUtils::ProjectPntOnPln(plane, grazing, gp_Pnt(0, 0, 7), 1.0).first &&
              FaceUtils::ProjectPntOnPln(plane, grazing, gp_Pnt(0, 0, 7), 0.4).first);
  // Signed parameters along a line, snapped to 0 within 0.001 of its origin.
  const gp_Lin line(gp_Pnt(1, 1, 1), gp::DX());
  for (const auto& [point, parameter] : {std::pair{gp_Pnt(1.0005, 7, 1), 0.0}, {gp_Pnt(0.9995, 7, 1), 0.0},
                                         {gp_Pnt(1.002, 7, 1), 0.002}, {gp_Pnt(-4, 3, -2), -5.0}, {gp_Pnt(8, 3, -2), 7.0}})
    EXPECT_NEAR(FaceUtils::GetProjPntParamOnLine(point, line), parameter, 1e-12);
}

TEST(FaceUtils, PlaneLineAndPointIntersections)
{
  // Planes parallel within 0.01 rad, either sense, have no common line; 0.02 rad apart they have.
  const gp_Pln xy(gp::Origin(), gp::DZ());
  for (const auto& [normal, meets] : {std::pair{gp_Dir(0, 0, -1), false}, {gp_Dir(0.005, 0, 1), false},
                                      {gp_Dir(0.02, 0, 1), true}, {gp_Dir(1, 0, 0), true}})
    EXPECT_EQ(FaceUtils::InterfLinOfPln(xy, gp_Pln(gp_Pnt(5, 0, 3), normal)).first, meets);
  EXPECT_LT(FaceUtils::InterfLinOfPln(xy, gp_Pln(gp_Pnt(5, 0, 0), gp::DX())).second.Distance(gp_Pnt(5, 123, 0)), 1e-12);
  // A line 89.5° from the plane's normal is within 0.01 rad of parallel to the plane.
  const double a = 89.5 * M_PI / 180;
  EXPECT_FALSE(FaceUtils::InterfPntOfLinAndPln(xy, gp_Lin(gp_Pnt(0, 0, 10), gp_Dir(std::sin(a), 0, std::cos(a))), 0.01).first);
  EXPECT_LT(FaceUtils::InterfPntOfLinAndPln(xy, gp_Lin(gp_Pnt(0, 0, 10), gp_Dir(1, 0, -1)), 0.01).second.Distance(gp_Pnt(10, 0, 0)), 1e-9);
  // The box corner by the planes alone and by the faces, which must contain it.
  const auto [corner, p] = FaceUtils::InterfPntOfThreePlnFace(Faces({Top, Front, Left}));
  const auto [found, q] = FaceUtils::InterfPntOfThreeFace(Faces({Top, Front, Left}), gp_Pnt(100, 100, 100));
  EXPECT_TRUE(corner && found && p.IsEqual(gp_Pnt(0, 0, 30), 1e-9) && q.IsEqual(p, 1e-7));
  EXPECT_FALSE(FaceUtils::InterfPntOfThreePlnFace(Faces({Top, Bottom, Left})).first ||
               FaceUtils::InterfPntOfThreeFace(Faces({Top, Bottom, Left}), gp::Origin()).first) << "parallel planes";
  // A fillet of radius 5 between the front (y = 0) and right (x = 100) sides, the top, the front: (95, 0, 10).
  const TopoDS_Shape plate = Solids::FilletedPlate(100, 60, 10, 5);
  const auto faceAt = [&](double x, double y, double z) { return SeamSolids::FaceNear(plate, gp_Pnt(x, y, z)); };
  const auto [onArc, r] = FaceUtils::InterfPntOfThreeFace(Faces({faceAt(98.5, 1.5, 5), faceAt(50, 30, 10), faceAt(50, 0, 5)}), gp_Pnt(90, -5, 20));
  EXPECT_TRUE(onArc && r.IsEqual(gp_Pnt(95, 0, 10), 1e-6));
}

TEST(FaceUtils, CommonEdgeOfTwoPlanarFaces)
{
  // Adjacent faces of one solid: the concave seam of a T-joint, 60 long at x = 45, z = 10.
  const TopoDS_Shape t = Solids::TSolid(100, 60, 10, 40);
  const auto [ok, seam] = FaceUtils::InterfEdgeOfPlaneFace(SeamSolids::FaceNear(t, gp_Pnt(20, 30, 10)),
                                                           SeamSolids::FaceNear(t, gp_Pnt(45, 30, 30)), 0.01, 0.01);
  EXPECT_TRUE(ok && Joins(seam, gp_Pnt(45, 0, 10), gp_Pnt(45, 60, 10)));
  // A separate web 30 long on a base plate: a seam only as long as the web, none when lifted off.
  const TopoDS_Shape base = Solids::Box(100, 60, 10);
  const TopoDS_Face top = SeamSolids::FaceNear(base, gp_Pnt(50, 30, 10));
  const auto webSide = [](double lift) { return SeamSolids::FaceNear(Solids::BoxAt(40, 20, 10 + lift, 10, 30, 40), gp_Pnt(40, 35, 30 + lift)); };
  const auto [touching, edge] = FaceUtils::InterfEdgeOfPlaneFace(top, webSide(0), 0.01, 0.01);
  EXPECT_TRUE(touching && BRepCheck_Analyzer(edge).IsValid() && Joins(edge, gp_Pnt(40, 20, 10), gp_Pnt(40, 50, 10)));
  EXPECT_FALSE(FaceUtils::InterfEdgeOfPlaneFace(top, webSide(5), 0.01, 0.01).first);
  EXPECT_FALSE(FaceUtils::InterfEdgeOfPlaneFace(top, SeamSolids::FaceNear(base, gp_Pnt(50, 30, 0)), 0.01, 0.01).first);
}

TEST(FaceUtils, FaceComparisonAndDisplay)
{
  const TopoDS_Shape t = Solids::TSolid(100, 60, 10, 40);
  const TopoDS_Face leftTop = SeamSolids::FaceNear(t, gp_Pnt(20, 30, 10)), rightTop = SeamSolids::FaceNear(t, gp_Pnt(80, 30, 10));
  EXPECT_TRUE(FaceUtils::IsTwoFaceEqual(leftTop, SeamSolids::FaceNear(Solids::TSolid(100, 60, 10, 40), gp_Pnt(20, 30, 10)), 0.1))
    << "a copy made separately is equal edge for edge";
  EXPECT_FALSE(FaceUtils::IsTwoFaceEqual(leftTop, rightTop, 0.1)) << "parallel but bounded by other edges";
  EXPECT_FALSE(FaceUtils::IsTwoFaceEqual(leftTop, TopoDS::Face(leftTop.Reversed()), 0.1));
  // Up-facing: the other strip of the base's top and the web's top.
  NCollection_IndexedMap<TopoDS_Shape, TopTools_ShapeMapHasher> faces;
  for (TopExp_Explorer it(t, TopAbs_FACE); it.More(); it.Next())
    faces.Add(it.Current());
  const NCollection_Sequence<TopoDS_Face> upward = FaceUtils::FindSameNormalFaceFromIndexedMap(faces, leftTop, 0.01);
  ASSERT_EQ(upward.Length(), 2);
  EXPECT_FALSE(upward(1).IsSame(leftTop) || upward(2).IsSame(leftTop));
  // Planar faces are shown lifted 0.01 off their outward side, so as not to fight with the solid.
  const Quantity_Color orange = FaceUtils::GetColor(0xAAFF8000);
  EXPECT_TRUE(orange.IsEqual(Quantity_Color(1.0, 128.0 / 255.0, 0.0, Quantity_TOC_RGB)));
  EXPECT_TRUE(FaceUtils::GetFaceAisShape(Bottom, orange)->LocalTransformation().TranslationPart().IsEqual(gp_XYZ(0, 0, -0.01), 1e-12));
  EXPECT_EQ(FaceUtils::GetFaceAisShape(CylinderSide, orange)->LocalTransformation().Form(), gp_Identity);
}
