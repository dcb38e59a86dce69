#pragma once

#include <pointcloud/CloudShape.h>

#include <BVH_Tree.hxx>

#include <vector>

// Collision structures over point clouds.
class PointCloudManager
{
public:
  // Returns the bounding-volume hierarchy over every point of the clouds, each placed by its display
  // transformation; null when the clouds hold no point.
  static opencascade::handle<BVH_Tree<Standard_Real, 3>> CreateCloudBVH(const std::vector<Handle(CloudShape)>& clouds);
};
