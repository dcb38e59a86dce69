#pragma once

#include <Poly_Triangulation.hxx>
#include <gp_Trsf.hxx>
#include <gp_XYZ.hxx>
#include <json/value.h>

#include <array>
#include <memory>
#include <vector>

// A triangle mesh: vertices, triangles (0-based vertex indices), per-vertex normals and the
// 4×4 transform (row by row) that places the vertices in the world.
class MeshData
{
public:
  MeshData();

  std::vector<gp_XYZ> Vertices;
  std::vector<std::array<int, 3>> Triangles;
  // Empty, or one unit normal per vertex.
  std::vector<gp_XYZ> Normals;
  std::array<double, 16> Transform;

  bool IsEmpty() const { return Triangles.empty(); }

  // Returns the placement held in Transform (its affine part).
  gp_Trsf GetTrsf() const;
  void SetTrsf(const gp_Trsf& trsf);

  // Appends `other`'s triangles, carried into this mesh's frame.
  void Append(const MeshData& other);

  // Returns the vertices and triangles as a triangulation (in the mesh's own frame), null when empty.
  Handle(Poly_Triangulation) ToTriangulation() const;

  // Returns the mesh of a triangulation placed by `trsf`.
  static std::shared_ptr<MeshData> FromTriangulation(const Handle(Poly_Triangulation)& triangulation,
                                                     const gp_Trsf& trsf);

  // Returns {"Vertices": [x, y, z, ...], "Triangles": [i, j, k, ...], "Normals": [...], "Transform": [16]}.
  Json::Value ToJson() const;

  // Returns the mesh written by ToJson, or null when the object is malformed (bad sizes, indices, numbers).
  static std::shared_ptr<MeshData> FromJson(const Json::Value& json);
};
