#include <mesh/MeshProcessTools.h>

#include <BRepBuilderAPI_Copy.hxx>
#include <BRepMesh_IncrementalMesh.hxx>
#include <BRep_Tool.hxx>
#include <Precision.hxx>
#include <TopExp_Explorer.hxx>
#include <TopoDS.hxx>

#include <cmath>
#include <map>
#include <numeric>
#include <unordered_map>

namespace
{
// Angular deflection (radians) of the meshes built here.
constexpr double MeshAngle = 0.5;
// Below this area a triangle counts as degenerate.
constexpr double DegenerateArea = 1.0e-14;

// Cell coordinates of a point in a grid of cell size `cell`.
struct CellKey
{
  long long x, y, z;
  bool operator==(const CellKey& o) const { return x == o.x && y == o.y && z == o.z; }
};

struct CellKeyHash
{
  std::size_t operator()(const CellKey& k) const noexcept
  {
    return std::hash<long long>()(k.x * 73856093LL ^ k.y * 19349663LL ^ k.z * 83492791LL);
  }
};

CellKey CellOf(const gp_XYZ& p, double cell)
{
  return {static_cast<long long>(std::floor(p.X() / cell)), static_cast<long long>(std::floor(p.Y() / cell)),
          static_cast<long long>(std::floor(p.Z() / cell))};
}

gp_XYZ TriangleCross(const MeshData& mesh, const std::array<int, 3>& t)
{
  const gp_XYZ& a = mesh.Vertices[t[0]];
  return (mesh.Vertices[t[1]] - a).Crossed(mesh.Vertices[t[2]] - a);
}

// Union-find root of `i`.
int Root(std::vector<int>& parent, int i)
{
  while (parent[i] != i)
  {
    parent[i] = parent[parent[i]];
    i = parent[i];
  }
  return i;
}

// Returns the undirected edges of the mesh with the triangles that use them.
std::map<std::pair<int, int>, std::vector<int>> EdgeTriangles(const MeshData& mesh)
{
  std::map<std::pair<int, int>, std::vector<int>> edges;
  for (std::size_t t = 0; t < mesh.Triangles.size(); ++t)
    for (int k = 0; k < 3; ++k)
    {
      const int a = mesh.Triangles[t][k];
      const int b = mesh.Triangles[t][(k + 1) % 3];
      edges[{std::min(a, b), std::max(a, b)}].push_back(static_cast<int>(t));
    }
  return edges;
}
} // namespace

std::shared_ptr<MeshData> MeshProcessTools::CreateWatertightMesh(const TopoDS_Shape& shape, double deflection)
{
  auto raw = std::make_shared<MeshData>();
  if (shape.IsNull() || deflection <= Precision::Confusion())
    return raw;
  // A copy is meshed so that the caller's shape (possibly shown or meshed on another thread) is untouched.
  BRepBuilderAPI_Copy copier(shape, true, false);
  if (!copier.IsDone())
    return raw;
  const TopoDS_Shape copy = copier.Shape();
  BRepMesh_IncrementalMesh mesher(copy, deflection, false, MeshAngle, false);
  if (!mesher.IsDone())
    return raw;
  for (TopExp_Explorer ex(copy, TopAbs_FACE); ex.More(); ex.Next())
  {
    const TopoDS_Face& face = TopoDS::Face(ex.Current());
    TopLoc_Location loc;
    const Handle(Poly_Triangulation) tri = BRep_Tool::Triangulation(face, loc);
    if (tri.IsNull())
      continue;
    const bool reversed = face.Orientation() == TopAbs_REVERSED;
    const int offset = static_cast<int>(raw->Vertices.size());
    const gp_Trsf place = loc.Transformation();
    for (int i = 1; i <= tri->NbNodes(); ++i)
      raw->Vertices.push_back(tri->Node(i).Transformed(place).XYZ());
    for (int t = 1; t <= tri->NbTriangles(); ++t)
    {
      int a = 0, b = 0, c = 0;
      tri->Triangle(t).Get(a, b, c);
      if (reversed)
        std::swap(b, c);
      raw->Triangles.push_back({a - 1 + offset, b - 1 + offset, c - 1 + offset});
    }
  }
  return WeldVertices(*raw, Precision::Confusion() * 10.0);
}

std::shared_ptr<MeshData> MeshProcessTools::WeldVertices(const MeshData& mesh, double tol)
{
  auto result = std::make_shared<MeshData>();
  result->Transform = mesh.Transform;
  const double cell = std::max(tol, Precision::Confusion());
  std::unordered_map<CellKey, std::vector<int>, CellKeyHash> grid;
  std::vector<int> remap(mesh.Vertices.size(), -1);
  for (std::size_t i = 0; i < mesh.Vertices.size(); ++i)
  {
    const gp_XYZ& p = mesh.Vertices[i];
    const CellKey key = CellOf(p, cell);
    int found = -1;
    for (long long dx = -1; dx <= 1 && found < 0; ++dx)
      for (long long dy = -1; dy <= 1 && found < 0; ++dy)
        for (long long dz = -1; dz <= 1 && found < 0; ++dz)
        {
          const auto it = grid.find({key.x + dx, key.y + dy, key.z + dz});
          if (it == grid.end())
            continue;
          for (int candidate : it->second)
            if ((result->Vertices[candidate] - p).Modulus() <= tol)
            {
              found = candidate;
              break;
            }
        }
    if (found < 0)
    {
      found = static_cast<int>(result->Vertices.size());
      result->Vertices.push_back(p);
      grid[key].push_back(found);
    }
    remap[i] = found;
  }
  for (const auto& t : mesh.Triangles)
  {
    const std::array<int, 3> w = {remap[t[0]], remap[t[1]], remap[t[2]]};
    if (w[0] == w[1] || w[1] == w[2] || w[0] == w[2])
      continue;
    if (TriangleCross(*result, w).Modulus() <= DegenerateArea)
      continue;
    result->Triangles.push_back(w);
  }
  return result;
}

bool MeshProcessTools::IsWatertight(const MeshData& mesh)
{
  if (mesh.IsEmpty())
    return false;
  for (const auto& [edge, triangles] : EdgeTriangles(mesh))
    if (triangles.size() != 2)
      return false;
  return true;
}

std::vector<std::vector<int>> MeshProcessTools::FaceRegions(const MeshData& mesh, double angle)
{
  std::vector<int> parent(mesh.Triangles.size());
  std::iota(parent.begin(), parent.end(), 0);
  const double cosLimit = std::cos(angle);
  for (const auto& [edge, triangles] : EdgeTriangles(mesh))
  {
    for (std::size_t i = 1; i < triangles.size(); ++i)
    {
      const gp_XYZ n1 = TriangleCross(mesh, mesh.Triangles[triangles[0]]);
      const gp_XYZ n2 = TriangleCross(mesh, mesh.Triangles[triangles[i]]);
      const double norms = n1.Modulus() * n2.Modulus();
      if (norms <= DegenerateArea || n1.Dot(n2) / norms < cosLimit)
        continue;
      parent[Root(parent, triangles[i])] = Root(parent, triangles[0]);
    }
  }
  std::map<int, std::vector<int>> groups;
  for (std::size_t t = 0; t < parent.size(); ++t)
    groups[Root(parent, static_cast<int>(t))].push_back(static_cast<int>(t));
  std::vector<std::vector<int>> regions;
  for (auto& [root, members] : groups)
    regions.push_back(std::move(members));
  return regions;
}

double MeshProcessTools::Area(const MeshData& mesh)
{
  double area = 0.0;
  for (const auto& t : mesh.Triangles)
    area += 0.5 * TriangleCross(mesh, t).Modulus();
  return area;
}
