#pragma once

#include <mesh/MeshData.h>

#include <TopoDS_Shape.hxx>

#include <memory>
#include <vector>

// Triangle meshes of shapes and their clean-up.
class MeshProcessTools
{
public:
  // Returns the watertight mesh of `shape` (triangulated with BRepMesh at `deflection` mm, vertices
  // shared between faces welded); an empty mesh when the shape cannot be triangulated.
  static std::shared_ptr<MeshData> CreateWatertightMesh(const TopoDS_Shape& shape, double deflection);

  // Returns `mesh` with vertices closer than `tol` along every axis merged (as single-precision points,
  // so a `tol` finer than their rounding merges only points that round alike), degenerate triangles
  // and vertices of no triangle dropped.
  static std::shared_ptr<MeshData> WeldVertices(const MeshData& mesh, double tol);

  // Returns whether every edge of the mesh is shared by exactly two triangles.
  static bool IsWatertight(const MeshData& mesh);

  // Returns the connected regions of the mesh as lists of triangle indices (edge-adjacent triangles
  // whose normals differ by less than `angle` radians share a region).
  static std::vector<std::vector<int>> FaceRegions(const MeshData& mesh, double angle);

  // Returns the total area of the mesh's triangles.
  static double Area(const MeshData& mesh);
};
