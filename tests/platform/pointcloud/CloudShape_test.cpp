#include <pointcloud/CloudShape.h>
#include <pointcloud/PointCloudManager.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace
{
const char* const Header = "VERSION 0.7\nFIELDS x y z\nSIZE 4 4 4\nTYPE F F F\nCOUNT 1 1 1\nWIDTH %\nHEIGHT 1\n"
                           "VIEWPOINT 0 0 0 1 0 0 0\nPOINTS %\nDATA ascii\n";

// Returns a PCD text with `count` declared points followed by `rows`.
std::string Pcd(int count, const std::string& rows)
{
  std::string text = Header;
  for (std::size_t at; (at = text.find('%')) != std::string::npos;)
    text.replace(at, 1, std::to_string(count));
  return text + rows;
}
} // namespace

TEST(CloudShape, PcdRoundTripIsExact)
{
  Handle(CloudShape) cloud = new CloudShape();
  const std::vector<gp_Pnt> points = {gp_Pnt(0.1, 1.0 / 3.0, -2.5e-7), gp_Pnt(1e6, -0.0, 42.0)};
  cloud->SetPoints(points);
  const std::string text = cloud->PCDToString();
  EXPECT_NE(text.find("VERSION 0.7\nFIELDS x y z\n"), std::string::npos);
  EXPECT_NE(text.find("POINTS 2\nDATA ascii\n"), std::string::npos);

  Handle(CloudShape) back = new CloudShape();
  ASSERT_TRUE(back->LoadPCDFromString(text));
  ASSERT_EQ(back->Points().size(), 2u);
  for (std::size_t i = 0; i < points.size(); ++i)
    EXPECT_EQ(back->Points()[i].Distance(points[i]), 0.0);
  EXPECT_EQ(back->PCDToString(), text);
}

TEST(CloudShape, ReadsOtherFieldOrdersAndRejectsMalformedText)
{
  Handle(CloudShape) cloud = new CloudShape();
  const std::string reordered = "# comment\nVERSION 0.7\nFIELDS intensity z y x\nSIZE 4 4 4 4\nTYPE F F F F\n"
                                "COUNT 1 1 1 1\nWIDTH 3\nHEIGHT 1\nPOINTS 3\nDATA ascii\n"
                                "7 3 2 1\n7 nan nan nan\n8 6 5 4\n";
  ASSERT_TRUE(cloud->LoadPCDFromString(reordered));
  ASSERT_EQ(cloud->Points().size(), 2u) << "points without a measurement are skipped";
  EXPECT_EQ(cloud->Points()[1].Distance(gp_Pnt(4, 5, 6)), 0.0);

  for (const std::string& bad : {Pcd(3, "1 2 3\n4 5 6\n"), Pcd(1, "1 2\n"), Pcd(1, "1 2 x\n"),
                                 std::string("FIELDS x y z\nPOINTS 1\nDATA binary\n1 2 3\n"),
                                 std::string("FIELDS x y\nPOINTS 1\nDATA ascii\n1 2\n"), std::string()})
  {
    EXPECT_FALSE(cloud->LoadPCDFromString(bad)) << bad;
    EXPECT_EQ(cloud->Points().size(), 2u) << "a failed read leaves the points alone";
  }
  EXPECT_TRUE(cloud->LoadPCDFromString(Pcd(0, "")));
  EXPECT_TRUE(cloud->Points().empty());
}

TEST(PointCloudManager, HierarchyBoundsThePlacedPoints)
{
  EXPECT_TRUE(PointCloudManager::CreateCloudBVH({}).IsNull());
  Handle(CloudShape) empty = new CloudShape();
  EXPECT_TRUE(PointCloudManager::CreateCloudBVH({empty, Handle(CloudShape)()}).IsNull());

  Handle(CloudShape) a = new CloudShape();
  Handle(CloudShape) b = new CloudShape();
  std::vector<gp_Pnt> grid;
  for (int i = 0; i < 10; ++i)
    for (int j = 0; j < 10; ++j)
      grid.emplace_back(i, j, 0);
  a->SetPoints(grid);
  b->SetPoints({gp_Pnt(0, 0, 0)});
  gp_Trsf up;
  up.SetTranslation(gp_Vec(0, 0, 50));
  b->SetLocalTransformation(up);
  const auto tree = PointCloudManager::CreateCloudBVH({a, b});
  ASSERT_FALSE(tree.IsNull());
  EXPECT_GT(tree->Length(), 1) << "101 points at 8 per leaf split the root";
  const BVH_Vec3d lo = tree->MinPoint(0);
  const BVH_Vec3d hi = tree->MaxPoint(0);
  EXPECT_NEAR(lo.x(), 0.0, 1e-12);
  EXPECT_NEAR(hi.x(), 9.0, 1e-12);
  EXPECT_NEAR(hi.y(), 9.0, 1e-12);
  EXPECT_NEAR(hi.z(), 50.0, 1e-12);
}
