#include <mesh/MeshProcessTools.h>

#include <BRepBuilderAPI_Copy.hxx>
#include <BRepMesh_IncrementalMesh.hxx>
#include <BRep_Tool.hxx>
#include <Poly_MergeNodesTool.hxx>
#include <Precision.hxx>
#include <Standard_Failure.hxx>
#include <TopExp_Explorer.hxx>
#include <TopoDS.hxx>

#include <cmath>
#include <map>
#include <numeric>
#include <tuple>

namespace
{
// Angular deflection (radians) of the meshes built here.
constexpr double MeshAngle = 0.5;
// Below this area a triangle counts as degenerate.
constexpr double DegenerateArea = 1.0e-14;

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

// Returns a node merger that welds nodes closer than `tol` along each axis, whatever the normals of
// the triangles meeting there: a watertight mesh needs the corners of a box shared by its three faces.
Handle(Poly_MergeNodesTool) Welder(double tol, int nbTriangles)
{
  return new Poly_MergeNodesTool(M_PI, std::max(tol, Precision::Confusion()), std::max(nbTriangles, 1));
}

// Returns the merger's result as a mesh, without the triangles of no area that welding leaves behind.
std::shared_ptr<MeshData> WeldedMesh(Poly_MergeNodesTool& merger)
{
  auto mesh = std::make_shared<MeshData>();
  // The merger throws when asked for the result of nothing: every triangle dropped as degenerate.
  if (merger.NbElements() == 0)
    return mesh;
  const Handle(Poly_Triangulation) merged = merger.Result();
  if (merged.IsNull())
    return mesh;
  mesh->Vertices.reserve(merged->NbNodes());
  for (int i = 1; i <= merged->NbNodes(); ++i)
    mesh->Vertices.push_back(merged->Node(i).XYZ());
  for (int t = 1; t <= merged->NbTriangles(); ++t)
  {
    int a = 0, b = 0, c = 0;
    merged->Triangle(t).Get(a, b, c);
    const std::array<int, 3> triangle = {a - 1, b - 1, c - 1};
    if (TriangleCross(*mesh, triangle).Modulus() > DegenerateArea)
      mesh->Triangles.push_back(triangle);
  }
  return mesh;
}
} // namespace

std::shared_ptr<MeshData> MeshProcessTools::CreateWatertightMesh(const TopoDS_Shape& shape, double deflection)
{
  const auto empty = std::make_shared<MeshData>();
  if (shape.IsNull() || deflection <= Precision::Confusion())
    return empty;
  // A damaged shape (an edge trimmed to nothing, a curve the kernel cannot project) makes the copy,
  // the mesher or the welder throw; it cannot be triangulated.
  try
  {
    // A copy is meshed so that the caller's shape (possibly shown or meshed on another thread) is untouched.
    BRepBuilderAPI_Copy copier(shape, true, false);
    if (!copier.IsDone())
      return empty;
    const TopoDS_Shape copy = copier.Shape();
    BRepMesh_IncrementalMesh mesher(copy, deflection, false, MeshAngle, false);
    if (!mesher.IsDone())
      return empty;
    int nbTriangles = 0;
    std::vector<std::tuple<Handle(Poly_Triangulation), gp_Trsf, bool>> faces;
    for (TopExp_Explorer ex(copy, TopAbs_FACE); ex.More(); ex.Next())
    {
      const TopoDS_Face& face = TopoDS::Face(ex.Current());
      TopLoc_Location loc;
      const Handle(Poly_Triangulation) tri = BRep_Tool::Triangulation(face, loc);
      if (tri.IsNull())
        continue;
      nbTriangles += tri->NbTriangles();
      faces.emplace_back(tri, loc.Transformation(), face.Orientation() == TopAbs_REVERSED);
    }
    const Handle(Poly_MergeNodesTool) merger = Welder(Precision::Confusion() * 10.0, nbTriangles);
    for (const auto& [tri, place, reversed] : faces)
      merger->AddTriangulation(tri, place, reversed);
    return WeldedMesh(*merger);
  }
  catch (const Standard_Failure&)
  {
    return empty;
  }
}

std::shared_ptr<MeshData> MeshProcessTools::WeldVertices(const MeshData& mesh, double tol)
{
  const Handle(Poly_MergeNodesTool) merger = Welder(tol, static_cast<int>(mesh.Triangles.size()));
  for (const auto& t : mesh.Triangles)
  {
    const gp_XYZ nodes[3] = {mesh.Vertices[t[0]], mesh.Vertices[t[1]], mesh.Vertices[t[2]]};
    merger->AddTriangle(nodes);
  }
  auto result = WeldedMesh(*merger);
  result->Transform = mesh.Transform;
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
