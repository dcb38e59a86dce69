#pragma once

#include <mesh/MeshData.h>

#include <TopoDS_Shape.hxx>

#include <chrono>
#include <memory>
#include <vector>

// Triangle meshes of shapes and their clean-up.
class MeshProcessTools
{
public:
  // Returns the watertight mesh of `shape` (triangulated with BRepMesh at `deflection` mm, vertices
  // shared between faces welded); an empty mesh when the shape cannot be triangulated.
  // The kernel's mesher runs in a child process, stopped after MeshTimeLimit of the shape's faces.
  static std::shared_ptr<MeshData> CreateWatertightMesh(const TopoDS_Shape& shape, double deflection);

  // The same, with the mesher stopped at `deadline` (empty mesh), for meshes that share one budget.
  static std::shared_ptr<MeshData> CreateWatertightMesh(const TopoDS_Shape& shape, double deflection,
                                                        std::chrono::steady_clock::time_point deadline);

  // Returns the time meshing a shape of `faces` faces may take: ample for a sound shape, while a
  // damaged face can keep the kernel's mesher busy for minutes.
  static std::chrono::milliseconds MeshTimeLimit(int faces);

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
