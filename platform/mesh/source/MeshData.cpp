#include <mesh/MeshData.h>

#include <cadtools/gpHandle.h>

#include <Standard_Failure.hxx>

#include <cmath>

namespace
{
constexpr std::array<double, 16> Identity4 = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};

// Returns whether `value` is an array of numbers whose size is a multiple of `stride`.
bool IsNumberArray(const Json::Value& value, Json::ArrayIndex stride)
{
  if (!value.isArray() || value.size() % stride != 0)
    return false;
  for (const Json::Value& v : value)
    if (!v.isNumeric() || !std::isfinite(v.asDouble()))
      return false;
  return true;
}

// Returns the points of a flat [x, y, z, ...] array.
std::vector<gp_XYZ> ReadPoints(const Json::Value& value)
{
  std::vector<gp_XYZ> points;
  points.reserve(value.size() / 3);
  for (Json::ArrayIndex i = 0; i + 2 < value.size(); i += 3)
    points.emplace_back(value[i].asDouble(), value[i + 1].asDouble(), value[i + 2].asDouble());
  return points;
}

// Returns whether the kernel takes the matrix as a placement with finite terms: a singular linear part
// makes it throw, one whose determinant overflows gives a placement of infinities and NaNs.
bool IsPlacement(const MeshData& mesh)
{
  try
  {
    const gp_Trsf trsf = mesh.GetTrsf();
    for (int row = 1; row <= 3; ++row)
      for (int col = 1; col <= 4; ++col)
        if (!std::isfinite(trsf.Value(row, col)))
          return false;
    return true;
  }
  catch (const Standard_Failure&)
  {
    return false;
  }
}

Json::Value WritePoints(const std::vector<gp_XYZ>& points)
{
  Json::Value arr(Json::arrayValue);
  for (const gp_XYZ& p : points)
  {
    arr.append(p.X());
    arr.append(p.Y());
    arr.append(p.Z());
  }
  return arr;
}
} // namespace

MeshData::MeshData() : Transform(Identity4) {}

gp_Trsf MeshData::GetTrsf() const
{
  gp_Trsf trsf;
  const auto& m = Transform;
  trsf.SetValues(m[0], m[1], m[2], m[3], m[4], m[5], m[6], m[7], m[8], m[9], m[10], m[11]);
  return trsf;
}

void MeshData::SetTrsf(const gp_Trsf& trsf)
{
  Transform = gpHandle::TrsfToDoubleArrayTrsf(trsf);
}

void MeshData::Append(const MeshData& other)
{
  const gp_Trsf toHere = GetTrsf().Inverted().Multiplied(other.GetTrsf());
  const int offset = static_cast<int>(Vertices.size());
  const bool keepNormals = Normals.size() == Vertices.size() && other.Normals.size() == other.Vertices.size();
  for (gp_XYZ p : other.Vertices)
  {
    toHere.Transforms(p);
    Vertices.push_back(p);
  }
  if (keepNormals)
  {
    for (const gp_XYZ& n : other.Normals)
    {
      gp_Vec v(n);
      v.Transform(toHere);
      Normals.push_back(v.XYZ());
    }
  }
  else
    Normals.clear();
  for (const auto& t : other.Triangles)
    Triangles.push_back({t[0] + offset, t[1] + offset, t[2] + offset});
}

Handle(Poly_Triangulation) MeshData::ToTriangulation() const
{
  if (IsEmpty())
    return Handle(Poly_Triangulation)();
  Handle(Poly_Triangulation) result =
    new Poly_Triangulation(static_cast<int>(Vertices.size()), static_cast<int>(Triangles.size()), false);
  for (std::size_t i = 0; i < Vertices.size(); ++i)
    result->SetNode(static_cast<int>(i) + 1, gp_Pnt(Vertices[i]));
  for (std::size_t t = 0; t < Triangles.size(); ++t)
    result->SetTriangle(static_cast<int>(t) + 1,
                        Poly_Triangle(Triangles[t][0] + 1, Triangles[t][1] + 1, Triangles[t][2] + 1));
  return result;
}

std::shared_ptr<MeshData> MeshData::FromTriangulation(const Handle(Poly_Triangulation)& triangulation,
                                                      const gp_Trsf& trsf)
{
  auto mesh = std::make_shared<MeshData>();
  mesh->SetTrsf(trsf);
  if (triangulation.IsNull())
    return mesh;
  mesh->Vertices.reserve(triangulation->NbNodes());
  for (int i = 1; i <= triangulation->NbNodes(); ++i)
    mesh->Vertices.push_back(triangulation->Node(i).XYZ());
  if (triangulation->HasNormals())
    for (int i = 1; i <= triangulation->NbNodes(); ++i)
      mesh->Normals.push_back(triangulation->Normal(i).XYZ());
  mesh->Triangles.reserve(triangulation->NbTriangles());
  for (int t = 1; t <= triangulation->NbTriangles(); ++t)
  {
    int a = 0, b = 0, c = 0;
    triangulation->Triangle(t).Get(a, b, c);
    mesh->Triangles.push_back({a - 1, b - 1, c - 1});
  }
  return mesh;
}

Json::Value MeshData::ToJson() const
{
  Json::Value json(Json::objectValue);
  json["Vertices"] = WritePoints(Vertices);
  Json::Value tris(Json::arrayValue);
  for (const auto& t : Triangles)
    for (int i : t)
      tris.append(i);
  json["Triangles"] = tris;
  json["Normals"] = WritePoints(Normals);
  Json::Value m(Json::arrayValue);
  for (double v : Transform)
    m.append(v);
  json["Transform"] = m;
  return json;
}

std::shared_ptr<MeshData> MeshData::FromJson(const Json::Value& json)
{
  if (!json.isObject() || !IsNumberArray(json["Vertices"], 3) || !IsNumberArray(json["Triangles"], 3) ||
      !IsNumberArray(json["Normals"], 3) || !IsNumberArray(json["Transform"], 16) || json["Transform"].size() != 16)
    return nullptr;
  auto mesh = std::make_shared<MeshData>();
  mesh->Vertices = ReadPoints(json["Vertices"]);
  mesh->Normals = ReadPoints(json["Normals"]);
  if (!mesh->Normals.empty() && mesh->Normals.size() != mesh->Vertices.size())
    return nullptr;
  const Json::Value& tris = json["Triangles"];
  const auto nbVertices = static_cast<double>(mesh->Vertices.size());
  for (Json::ArrayIndex i = 0; i < tris.size(); i += 3)
  {
    std::array<int, 3> t{};
    for (int k = 0; k < 3; ++k)
    {
      const Json::Value& index = tris[i + k];
      if (!index.isInt() || index.asInt() < 0 || index.asDouble() >= nbVertices)
        return nullptr;
      t[k] = index.asInt();
    }
    mesh->Triangles.push_back(t);
  }
  for (int i = 0; i < 16; ++i)
    mesh->Transform[i] = json["Transform"][i].asDouble();
  return IsPlacement(*mesh) ? mesh : nullptr;
}
