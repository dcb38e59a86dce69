#include <cadtools/GeomHandle.h>
#include <cadtools/ModelUtils.h>
#include <cadtools/ShapeHandle.h>

#include <Poly_Triangle.hxx>

#include <unordered_map>
#include <vector>

namespace
{
// How far (mm) a model vertex may stand out beyond the face plane and the face still count as a base.
constexpr double ConvexTol = 0.01;
// The face-is-planar tolerance used when looking for a base face.
constexpr double PlanarTol = 1.0;
} // namespace

bool ModelUtils::IsConvexFace(const TopoDS_Face& face, const Handle(Poly_Triangulation)& model, const gp_Trsf& trsf)
{
  if (model.IsNull() || GeomHandle::ConvertToPlane(face, PlanarTol).IsNull())
    return false;
  const auto [ok, normal] = ShapeHandle::GetNormal(face);
  if (!ok)
    return false;
  const gp_XYZ origin = ShapeHandle::GetFaceCenter(face).XYZ();
  for (int i = 1; i <= model->NbNodes(); ++i)
  {
    const gp_XYZ p = model->Node(i).Transformed(trsf).XYZ();
    if ((p - origin).Dot(normal.XYZ()) > ConvexTol)
      return false;
  }
  return true;
}

Handle(Poly_Triangulation) ModelUtils::FilterBackFace(const Handle(Poly_Triangulation)& mesh, const gp_Pnt& viewpoint)
{
  if (mesh.IsNull())
    return Handle(Poly_Triangulation)();
  std::vector<Poly_Triangle> kept;
  std::unordered_map<int, int> renumber;
  for (int t = 1; t <= mesh->NbTriangles(); ++t)
  {
    int n1 = 0, n2 = 0, n3 = 0;
    mesh->Triangle(t).Get(n1, n2, n3);
    const gp_XYZ p1 = mesh->Node(n1).XYZ();
    const gp_XYZ normal = (mesh->Node(n2).XYZ() - p1).Crossed(mesh->Node(n3).XYZ() - p1);
    const gp_XYZ centre = (p1 + mesh->Node(n2).XYZ() + mesh->Node(n3).XYZ()) / 3.0;
    if ((viewpoint.XYZ() - centre).Dot(normal) <= 0.0)
      continue;
    int ids[3] = {n1, n2, n3};
    for (int& id : ids)
      id = renumber.emplace(id, static_cast<int>(renumber.size()) + 1).first->second;
    kept.emplace_back(ids[0], ids[1], ids[2]);
  }
  Handle(Poly_Triangulation) result =
    new Poly_Triangulation(static_cast<int>(renumber.size()), static_cast<int>(kept.size()), false);
  for (const auto& [oldId, newId] : renumber)
    result->SetNode(newId, mesh->Node(oldId));
  for (std::size_t t = 0; t < kept.size(); ++t)
    result->SetTriangle(static_cast<int>(t) + 1, kept[t]);
  return result;
}
