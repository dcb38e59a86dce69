#include <cadtools/GeomHandle.h>

#include <support/Solids.h>

#include <BRepBuilderAPI_MakeFace.hxx>
#include <BRepCheck_Analyzer.hxx>
#include <GeomConvert.hxx>
#include <Geom_BSplineSurface.hxx>
#include <Geom_BezierSurface.hxx>
#include <TColgp_Array2OfPnt.hxx>
#include <TopExp_Explorer.hxx>
#include <TopoDS_Face.hxx>
#include <gp_Pln.hxx>
#include <gtest/gtest.h>

TEST(GeomHandle, PlanesOfSplineAndCylinderFaces)
{
  int planes = 0;
  for (TopExp_Explorer it(Solids::Cylinder(5, 10), TopAbs_FACE); it.More(); it.Next())
    planes += GeomHandle::ConvertToPlane(it.Current(), 1.0).IsNull() ? 0 : 1;
  EXPECT_EQ(planes, 2) << "the cylinder's ends, not its side";
  EXPECT_TRUE(GeomHandle::ConvertToPlane(TopoDS_Shape(), 1.0).IsNull());
  // A bicubic B-spline face over 100 × 50 at z = 7 whose inner poles rise by `bulge`, its normal up or
  // down: a plane only when flat to 1e-4 of its size (0.3 is a gently curved panel), facing as it does.
  for (const auto& [bulge, planar] : {std::pair{0.0, true}, {0.005, true}, {0.3, false}, {5.0, false}})
    for (const double up : {1.0, -1.0})
    {
      TColgp_Array2OfPnt poles(1, 4, 1, 4);
      for (int i = 1; i <= 4; ++i)
        for (int j = 1; j <= 4; ++j)
          poles(i, j) = gp_Pnt(100.0 * (i - 1) / 3.0, up * 50.0 * (j - 1) / 3.0,
                               7.0 + (i % 3 != 1 && j % 3 != 1 ? bulge : 0.0));
      const TopoDS_Face face =
        BRepBuilderAPI_MakeFace(GeomConvert::SurfaceToBSplineSurface(new Geom_BezierSurface(poles)), 1e-7).Face();
      ASSERT_TRUE(BRepCheck_Analyzer(face).IsValid());
      const Handle(Geom_Plane) plane = GeomHandle::ConvertToPlane(face, 1.0);
      ASSERT_EQ(!plane.IsNull(), planar) << bulge;
      EXPECT_TRUE(!planar || (GeomHandle::GetFaceNormalAtUVParam(plane, 0, 0, false).Angle(gp_Vec(0, 0, up)) < 1e-9 &&
                              plane->Pln().Distance(gp_Pnt(50, 25 * up, 7)) < 0.01)) << bulge << " " << up;
    }
}
