#include <cadtools/ShapeCheck.h>

#include <BRepPrimAPI_MakeBox.hxx>
#include <BRepTools.hxx>
#include <BRep_Builder.hxx>

#include <gtest/gtest.h>

#include <sstream>

TEST(ShapeCheck, RefusesMissingSurfacesAndPartsBeyondTheCoordinateLimit)
{
  const auto box = [](double x) { return BRepPrimAPI_MakeBox(gp_Pnt(x, 0.0, 0.0), 10.0, 10.0, 10.0).Shape(); };
  // At the origin, on the limit on either side, and one millimetre beyond it.
  for (const double x : {0.0, ShapeCheck::CoordinateLimit - 10.0, -ShapeCheck::CoordinateLimit})
    EXPECT_EQ(ShapeCheck::Problem(box(x)), "") << x;
  for (const double x : {ShapeCheck::CoordinateLimit - 9.0, -ShapeCheck::CoordinateLimit - 1.0, 1.0e20})
    EXPECT_NE(ShapeCheck::Problem(box(x)).find("lies beyond 10000000 mm of the origin"), std::string::npos) << x;
  EXPECT_EQ(ShapeCheck::Problem(TopoDS_Shape()), "no shape");

  // A face whose surface index points past the file's surfaces is read without one.
  std::ostringstream text;
  BRepTools::Write(box(0.0), text);
  std::string brep = text.str();
  const std::size_t face = brep.find("\nFa\n0  1e-07 1 0");
  ASSERT_NE(face, std::string::npos);
  brep.replace(face, 16, "\nFa\n0  1e-07 99 0");
  std::istringstream in(brep);
  TopoDS_Shape damaged;
  BRepTools::Read(damaged, in, BRep_Builder());
  ASSERT_FALSE(damaged.IsNull());
  EXPECT_TRUE(ShapeCheck::Problem(damaged) == "a face has no surface" && ShapeCheck::MissingGeometry(damaged) == ShapeCheck::Problem(damaged));
  // The cheap check looks at nothing else: not where the part lies, nor what the kernel's checker says.
  EXPECT_EQ(ShapeCheck::MissingGeometry(box(1.0e20)), "");
}
