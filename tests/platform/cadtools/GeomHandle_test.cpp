#include <cadtools/GeomHandle.h>

#include <support/Solids.h>

#include <BRepBuilderAPI_MakeFace.hxx>
#include <BRepCheck_Analyzer.hxx>
#include <GeomConvert.hxx>
#include <Geom_BSplineSurface.hxx>
#include <Geom_CylindricalSurface.hxx>
#include <Geom_Line.hxx>
#include <Geom_RectangularTrimmedSurface.hxx>
#include <TColgp_Array2OfPnt.hxx>
#include <TopExp_Explorer.hxx>
#include <TopoDS.hxx>
#include <TopoDS_Face.hxx>
#include <gtest/gtest.h>

namespace
{
// Returns a bicubic B-spline face over 100 × 50 whose poles rise by `bulge` at its middle.
TopoDS_Face SplineFace(double bulge)
{
  TColgp_Array2OfPnt poles(1, 4, 1, 4);
  for (int i = 1; i <= 4; ++i)
    for (int j = 1; j <= 4; ++j)
    {
      const bool inner = (i == 2 || i == 3) && (j == 2 || j == 3);
      poles(i, j) = gp_Pnt(100.0 * (i - 1) / 3.0, 50.0 * (j - 1) / 3.0, 7.0 + (inner ? bulge : 0.0));
    }
  TColStd_Array1OfReal knots(1, 2);
  knots(1) = 0.0;
  knots(2) = 1.0;
  TColStd_Array1OfInteger mults(1, 2);
  mults(1) = 4;
  mults(2) = 4;
  Handle(Geom_BSplineSurface) surface = new Geom_BSplineSurface(poles, knots, knots, mults, mults, 3, 3);
  BRepBuilderAPI_MakeFace maker(surface, 1e-7);
  EXPECT_TRUE(maker.IsDone());
  return maker.Face();
}
} // namespace

TEST(GeomHandle, ConvertToPlaneOfPlanarSplineAndCylindricalFaces)
{
  const TopoDS_Shape box = Solids::Box(40, 20, 10);
  int planes = 0;
  for (TopExp_Explorer it(box, TopAbs_FACE); it.More(); it.Next())
    planes += GeomHandle::ConvertToPlane(it.Current(), 1.0).IsNull() ? 0 : 1;
  EXPECT_EQ(planes, 6);

  const TopoDS_Face flatSpline = SplineFace(0.0);
  ASSERT_TRUE(BRepCheck_Analyzer(flatSpline).IsValid());
  const Handle(Geom_Plane) plane = GeomHandle::ConvertToPlane(flatSpline, 1.0);
  ASSERT_FALSE(plane.IsNull());
  EXPECT_TRUE(plane->Axis().Direction().IsParallel(gp::DZ(), 1e-9));
  EXPECT_NEAR(plane->Location().Z(), 7.0, 1e-9);
  EXPECT_FALSE(GeomHandle::ConvertToPlane(SplineFace(0.3), 1.0).IsNull()) << "within tolerance";
  EXPECT_TRUE(GeomHandle::ConvertToPlane(SplineFace(5.0), 1.0).IsNull()) << "a real bulge";

  const TopoDS_Shape cylinder = Solids::Cylinder(5, 10);
  int cylindrical = 0;
  for (TopExp_Explorer it(cylinder, TopAbs_FACE); it.More(); it.Next())
  {
    const Handle(Geom_Surface) basis = GeomHandle::ConvertToBasisSurface(it.Current(), 1.0);
    ASSERT_FALSE(basis.IsNull());
    if (basis->IsKind(STANDARD_TYPE(Geom_CylindricalSurface)))
    {
      ++cylindrical;
      EXPECT_TRUE(GeomHandle::ConvertToPlane(it.Current(), 1.0).IsNull());
    }
  }
  EXPECT_EQ(cylindrical, 1);
  EXPECT_TRUE(GeomHandle::ConvertToPlane(TopoDS_Shape(), 1.0).IsNull());
}

TEST(GeomHandle, BasisCurveAndSurfaceNormal)
{
  const TopoDS_Shape box = Solids::Box(40, 20, 10);
  const TopoDS_Shape edge = TopExp_Explorer(box, TopAbs_EDGE).Current();
  const auto [curve, first, last] = GeomHandle::ConvertToBasisCurve(edge);
  ASSERT_FALSE(curve.IsNull());
  EXPECT_TRUE(curve->IsKind(STANDARD_TYPE(Geom_Line)));
  EXPECT_NEAR(curve->Value(first).Distance(curve->Value(last)), 10.0, 1e-9);
  EXPECT_TRUE(std::get<0>(GeomHandle::ConvertToBasisCurve(TopExp_Explorer(box, TopAbs_FACE).Current())).IsNull());

  Handle(Geom_Surface) trimmed = new Geom_RectangularTrimmedSurface(new Geom_Plane(gp::XOY()), 0.0, 3.0, 0.0, 4.0);
  const gp_Vec n = GeomHandle::GetFaceNormalAtUVParam(trimmed, 1.0, 1.0, false);
  EXPECT_TRUE(n.IsParallel(gp_Vec(0, 0, 1), 1e-12));
  EXPECT_GT(n.Z(), 0.0);
  EXPECT_LT(GeomHandle::GetFaceNormalAtUVParam(trimmed, 1.0, 1.0, true).Z(), 0.0);
}
