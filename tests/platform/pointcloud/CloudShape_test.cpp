#include <pointcloud/CloudShape.h>
#include <pointcloud/PointCloudManager.h>

#include "support/ViewTrees.h"

#include <gtest/gtest.h>

#include <clocale>
#include <locale>

namespace
{
// Numbers written the continental way: 1.234,5.
struct CommaDecimal : std::numpunct<char>
{
  char do_decimal_point() const override { return ','; }
  char do_thousands_sep() const override { return '.'; }
  std::string do_grouping() const override { return "\3"; }
};

// Returns a PCD text with fields `fields`, `count` declared points and the data lines `rows`.
std::string Pcd(const std::string& fields, int count, const std::string& rows)
{
  return "# comment\nVERSION 0.7\nFIELDS " + fields + "\nWIDTH 1\nPOINTS " + std::to_string(count) +
         "\nDATA ascii\n" + rows;
}
} // namespace

TEST(CloudShape, PcdRoundTripIsExactUnderACommaDecimalLocale)
{
  // The C library's locale too, where the system has it.
  const std::string oldC = std::setlocale(LC_ALL, nullptr);
  std::setlocale(LC_ALL, "de_DE.UTF-8");
  const std::locale old = std::locale::global(std::locale(std::locale::classic(), new CommaDecimal));
  Handle(CloudShape) cloud = new CloudShape();
  const std::vector<gp_Pnt> points = {gp_Pnt(0.1, 1.0 / 3.0, -2.5e-7), gp_Pnt(1234567.5, -0.0, 5e-324)};
  cloud->SetPoints(points);
  const std::string text = cloud->PCDToString();
  Handle(CloudShape) back = new CloudShape();
  const bool read = back->LoadPCDFromString(text);
  std::locale::global(old);
  std::setlocale(LC_ALL, oldC.c_str());

  EXPECT_NE(text.find("POINTS 2\nDATA ascii\n0.1 0.3333333333333333 -2.5e-07\n1234567.5 -0 5e-324\n"),
            std::string::npos) << text;
  ASSERT_TRUE(read && back->Points().size() == 2u);
  for (std::size_t i = 0; i < points.size(); ++i)
    EXPECT_EQ(back->Points()[i].Distance(points[i]), 0.0);
}

TEST(CloudShape, ReadsOtherFieldOrdersAndRejectsMalformedText)
{
  Handle(CloudShape) cloud = new CloudShape();
  ASSERT_TRUE(cloud->LoadPCDFromString(Pcd("intensity z y x", 3, "7 3 2 1\n7 nan nan -nan\n8 6 5 4\r\n\n")));
  ASSERT_EQ(cloud->Points().size(), 2u) << "points without a measurement are skipped";
  EXPECT_EQ(cloud->Points()[1].Distance(gp_Pnt(4, 5, 6)), 0.0);

  for (const std::string& bad : {Pcd("x y z", 3, "1 2 3\n4 5 6\n"), Pcd("x y z", 1, "1 2\n"),
                                 Pcd("x y z", 1, "1 2 x\n"), Pcd("x y z", 1, "1,5 2 3\n"), Pcd("x y z", 1, "1 2 3e\n"),
                                 Pcd("x y", 1, "1 2\n"), std::string("FIELDS x y z\nPOINTS 1\nDATA binary\n1 2 3\n"),
                                 std::string("FIELDS x y z\nFIELDS a\nPOINTS 1\nDATA ascii\n1\n"),
                                 std::string("FIELDS a b c d e x y z\nFIELDS\nFIELDS a b c d e\nPOINTS 1\nDATA ascii\n1 2 3 4 5\n"),
                                 std::string()})
  {
    EXPECT_FALSE(cloud->LoadPCDFromString(bad)) << bad;
    EXPECT_EQ(cloud->Points().size(), 2u) << "a failed read leaves the points alone";
  }
  EXPECT_TRUE(cloud->LoadPCDFromString(Pcd("x y z", 0, "")) && cloud->Points().empty());
}

TEST(PointCloudManager, HierarchyBoundsThePlacedPoints)
{
  Handle(CloudShape) a = new CloudShape(), b = new CloudShape();
  EXPECT_TRUE(PointCloudManager::CreateCloudBVH({}).IsNull() && PointCloudManager::CreateCloudBVH({a, Handle(CloudShape)()}).IsNull());
  std::vector<gp_Pnt> grid;
  for (int i = 0; i < 100; ++i)
    grid.emplace_back(i / 10, i % 10, 0);
  a->SetPoints(grid);
  b->SetPoints({gp_Pnt(0, 0, 0)});
  b->SetLocalTransformation(ViewTrees::Placement(0, 0, 50, 0));
  const auto tree = PointCloudManager::CreateCloudBVH({a, b});
  ASSERT_FALSE(tree.IsNull());
  EXPECT_GT(tree->Length(), 1) << "101 points at 8 per leaf split the root";
  EXPECT_LT((tree->MinPoint(0) - BVH_Vec3d(0, 0, 0)).Modulus() + (tree->MaxPoint(0) - BVH_Vec3d(9, 9, 50)).Modulus(), 1e-12);
}
