#include <mesh/MeshProcessTools.h>

#include <cadtools/ChildProcess.h>

#include <BRepMesh_IncrementalMesh.hxx>
#include <BinTools.hxx>
#include <BRep_Tool.hxx>
#include <Poly_MergeNodesTool.hxx>
#include <Precision.hxx>
#include <Standard_Failure.hxx>
#include <TopExp_Explorer.hxx>
#include <TopoDS.hxx>
#include <TopoDS_Face.hxx>

#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <map>
#include <numeric>
#include <sstream>
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
// Returns the welded mesh of `shape` at `deflection`, empty when the kernel cannot triangulate it (an
// edge trimmed to nothing, a curve it cannot project). Meshes `shape` itself.
std::shared_ptr<MeshData> Triangulate(const TopoDS_Shape& shape, double deflection)
{
  const auto empty = std::make_shared<MeshData>();
  try
  {
    BRepMesh_IncrementalMesh mesher(shape, deflection, false, MeshAngle, false);
    if (!mesher.IsDone())
      return empty;
    int nbTriangles = 0;
    std::vector<std::tuple<Handle(Poly_Triangulation), gp_Trsf, bool>> faces;
    for (TopExp_Explorer ex(shape, TopAbs_FACE); ex.More(); ex.Next())
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

// Address space the mesher may add in its child.
constexpr std::size_t MeshBudget = std::size_t(4) << 30;

// Time meshing may take: MinMeshSeconds, and more for shapes of many faces. Meshing the largest
// corpus part (1,700 faces) takes well under a second.
constexpr double MinMeshSeconds = 2.0;
constexpr double MeshSecondsPerFace = 0.005;

// Returns the vertices and triangles as bytes: each count, then the numbers as the machine holds them.
std::string Encode(const MeshData& mesh)
{
  std::string bytes;
  const auto append = [&bytes](const void* data, std::size_t size) {
    if (size > 0)
      bytes.append(static_cast<const char*>(data), size);
  };
  const std::uint64_t nbVertices = mesh.Vertices.size(), nbTriangles = mesh.Triangles.size();
  append(&nbVertices, sizeof nbVertices);
  for (const gp_XYZ& v : mesh.Vertices)
  {
    const double xyz[3] = {v.X(), v.Y(), v.Z()};
    append(xyz, sizeof xyz);
  }
  append(&nbTriangles, sizeof nbTriangles);
  append(mesh.Triangles.data(), nbTriangles * sizeof(std::array<int, 3>));
  return bytes;
}

// Returns the mesh Encode wrote, empty when the bytes are cut short.
std::shared_ptr<MeshData> Decode(const std::string& bytes)
{
  auto mesh = std::make_shared<MeshData>();
  std::size_t at = 0;
  const auto take = [&](void* data, std::size_t size) {
    if (size == 0)
      return true;
    if (bytes.size() - at < size)
      return false;
    std::memcpy(data, bytes.data() + at, size);
    at += size;
    return true;
  };
  std::uint64_t nbVertices = 0, nbTriangles = 0;
  if (!take(&nbVertices, sizeof nbVertices) || nbVertices > bytes.size() / (3 * sizeof(double)))
    return std::make_shared<MeshData>();
  mesh->Vertices.resize(nbVertices);
  for (gp_XYZ& v : mesh->Vertices)
  {
    double xyz[3] = {};
    if (!take(xyz, sizeof xyz))
      return std::make_shared<MeshData>();
    v.SetCoord(xyz[0], xyz[1], xyz[2]);
  }
  if (!take(&nbTriangles, sizeof nbTriangles) || nbTriangles > bytes.size() / sizeof(std::array<int, 3>))
    return std::make_shared<MeshData>();
  mesh->Triangles.resize(nbTriangles);
  if (!take(mesh->Triangles.data(), nbTriangles * sizeof(std::array<int, 3>)))
    return std::make_shared<MeshData>();
  return mesh;
}

// Returns the reply to a mesh request (the deflection, then the shape in the kernel's binary form):
// the mesh as Encode writes it. Runs in a child process.
std::string MeshRequest(const std::string& request)
{
  double deflection = 0.0;
  std::istringstream in(request, std::ios::binary);
  in.read(reinterpret_cast<char*>(&deflection), sizeof deflection);
  TopoDS_Shape shape;
  BinTools::Read(shape, in);
  return Encode(*Triangulate(shape, deflection));
}
} // namespace

std::shared_ptr<MeshData> MeshProcessTools::CreateWatertightMesh(const TopoDS_Shape& shape, double deflection)
{
  int faces = 0;
  for (TopExp_Explorer ex(shape, TopAbs_FACE); ex.More(); ex.Next())
    ++faces;
  return CreateWatertightMesh(shape, deflection, std::chrono::steady_clock::now() + MeshTimeLimit(faces));
}

std::shared_ptr<MeshData> MeshProcessTools::CreateWatertightMesh(const TopoDS_Shape& shape, double deflection,
                                                                  std::chrono::steady_clock::time_point deadline)
{
  const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
  if (shape.IsNull() || deflection <= Precision::Confusion() || left.count() <= 0)
    return std::make_shared<MeshData>();
  // The mesher runs on a damaged face for seconds or faults in the kernel (a pcurve shifted off its
  // edge, a skewed plane), and no check made before the call rules either out; in a child it is
  // stopped in time, and its faults and what they leak end with it. The child meshes its own copy of
  // the shape, so the caller's shape (possibly shown or meshed on another thread) is untouched.
  std::ostringstream request(std::ios::binary);
  request.write(reinterpret_cast<const char*>(&deflection), sizeof deflection);
  BinTools::Write(shape, request, false, false, BinTools_FormatVersion_CURRENT);
  const ChildProcess::Outcome outcome = ChildProcess::Serve(&MeshRequest, request.str(), {left, MeshBudget});
  if (outcome.end != ChildProcess::End::Returned)
    return std::make_shared<MeshData>();
  return Decode(outcome.text);
}

std::chrono::milliseconds MeshProcessTools::MeshTimeLimit(int faces)
{
  return std::chrono::milliseconds(static_cast<long long>(1000.0 * (MinMeshSeconds + MeshSecondsPerFace * faces)));
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
