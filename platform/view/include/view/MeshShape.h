#pragma once

#include <mesh/AIS_Mesh.h>

#include <BVH_Tree.hxx>
#include <Poly_Triangulation.hxx>
#include <TopoDS_Shape.hxx>
#include <gp_Trsf.hxx>

#include <vector>

// The collision side of a display shape: a triangulated model with its bounding-volume hierarchy,
// the model's placement, the gap kept to other models and whether it takes part in checks.
class MeshShape
{
public:
  MeshShape() = default;
  virtual ~MeshShape() = default;

  // Builds the collision model from `shape` (reusing the present one unless `force`); returns success.
  bool CreateBVHMdl(const TopoDS_Shape& shape, bool force);
  // Builds the collision model from the merged layers of `meshes`; returns success.
  bool CreateEntireMeshBVHMdl(const std::vector<Handle(mesh::AIS_Mesh)>& meshes, bool force);

  // Returns the triangulated collision model (in the model's own frame), null before it is built.
  const Handle(Poly_Triangulation)& GetCollision() const { return myCollision; }
  void SetCollision(const Handle(Poly_Triangulation)& model);
  // Returns the hierarchy over the collision model's triangles, null before it is built.
  const opencascade::handle<BVH_Tree<Standard_Real, 3>>& GetCollisionBVH() const { return myBVH; }
  // Stores a hierarchy built elsewhere (a point cloud's, for instance).
  void SetCollisionBVH(const opencascade::handle<BVH_Tree<Standard_Real, 3>>& bvh) { myBVH = bvh; }

  const gp_Trsf& GetCollisionTrsf() const { return myCollisionTrsf; }
  void SetCollisionTrsf(const gp_Trsf& trsf) { myCollisionTrsf = trsf; }

  double GetCollisionGap() const { return myCollisionGap; }
  void SetCollisionGap(double gap) { myCollisionGap = gap; }

  bool IsCollisionActive() const { return myCollisionActive; }
  void SetCollisionActive(bool active) { myCollisionActive = active; }

  // Copies the collision side of `other` (model and hierarchy shared, they are never modified).
  void CopyBy(const MeshShape& other);

private:
  Handle(Poly_Triangulation) myCollision;
  opencascade::handle<BVH_Tree<Standard_Real, 3>> myBVH;
  gp_Trsf myCollisionTrsf;
  double myCollisionGap = 0.0;
  bool myCollisionActive = false;
};
