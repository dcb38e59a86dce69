#include <pointcloud/PointCloudManager.h>

#include <BVH_BinnedBuilder.hxx>
#include <BVH_PrimitiveSet.hxx>

namespace
{
// Points per leaf of the cloud hierarchy.
constexpr int LeafSize = 8;
// Depth limit of the cloud hierarchy.
constexpr int MaxDepth = 32;

// The points of the clouds as primitives of a hierarchy.
class PointSet : public BVH_PrimitiveSet<Standard_Real, 3>
{
public:
  explicit PointSet(std::vector<BVH_Vec3d> points)
    : BVH_PrimitiveSet<Standard_Real, 3>(new BVH_BinnedBuilder<Standard_Real, 3>(LeafSize, MaxDepth)),
      myPoints(std::move(points))
  {
  }

  Standard_Integer Size() const override { return static_cast<Standard_Integer>(myPoints.size()); }
  BVH_Box<Standard_Real, 3> Box(const Standard_Integer index) const override
  {
    return BVH_Box<Standard_Real, 3>(myPoints[index], myPoints[index]);
  }
  Standard_Real Center(const Standard_Integer index, const Standard_Integer axis) const override
  {
    return myPoints[index][axis];
  }
  void Swap(const Standard_Integer i, const Standard_Integer j) override { std::swap(myPoints[i], myPoints[j]); }

private:
  std::vector<BVH_Vec3d> myPoints;
};
} // namespace

opencascade::handle<BVH_Tree<Standard_Real, 3>> PointCloudManager::CreateCloudBVH(
  const std::vector<Handle(CloudShape)>& clouds)
{
  std::vector<BVH_Vec3d> points;
  for (const Handle(CloudShape)& cloud : clouds)
  {
    if (cloud.IsNull())
      continue;
    const gp_Trsf& place = cloud->Transformation();
    for (const gp_Pnt& p : cloud->Points())
    {
      const gp_Pnt q = p.Transformed(place);
      points.emplace_back(q.X(), q.Y(), q.Z());
    }
  }
  if (points.empty())
    return opencascade::handle<BVH_Tree<Standard_Real, 3>>();
  opencascade::handle<PointSet> set = new PointSet(std::move(points));
  return set->BVH();
}
