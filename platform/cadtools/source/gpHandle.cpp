#include <cadtools/DataHandle.h>
#include <cadtools/ShapeHandle.h>
#include <cadtools/gpHandle.h>

#include <gp_Ax3.hxx>

#include <algorithm>
#include <cmath>

namespace
{
// Below this length a direction projected across an axis has no meaningful angle.
constexpr double ProjectionTol = 1.0e-9;
} // namespace

bool gpHandle::IsSameTrsf(const gp_Trsf& t1, const gp_Trsf& t2, double tol)
{
  for (int r = 1; r <= 3; ++r)
    for (int c = 1; c <= 4; ++c)
      if (std::abs(t1.Value(r, c) - t2.Value(r, c)) > tol)
        return false;
  return true;
}

gp_Trsf gpHandle::Ax2ToTrsf(const gp_Ax2& ax2)
{
  gp_Trsf trsf;
  trsf.SetDisplacement(gp_Ax3(), gp_Ax3(ax2));
  return trsf;
}

gp_Trsf gpHandle::CalculateFaceNormalTrsf(const TopoDS_Face& face)
{
  const auto [ok, normal] = ShapeHandle::GetNormal(face);
  if (!ok)
    return gp_Trsf();
  return Ax2ToTrsf(gp_Ax2(ShapeHandle::GetFaceCenter(face), normal));
}

gp_Trsf gpHandle::ReverseTrsfDirection(const gp_Trsf& trsf)
{
  gp_Trsf halfTurn;
  halfTurn.SetRotation(gp::OX(), M_PI);
  return trsf * halfTurn;
}

gp_Trsf gpHandle::RotateToDirTrsf(const gp_Dir& from, const gp_Dir& to, const gp_Ax1& axis)
{
  const gp_Vec a(axis.Direction());
  const gp_Vec f = gp_Vec(from) - a * gp_Vec(from).Dot(a);
  const gp_Vec t = gp_Vec(to) - a * gp_Vec(to).Dot(a);
  gp_Trsf trsf;
  if (f.Magnitude() < ProjectionTol || t.Magnitude() < ProjectionTol)
    return trsf;
  trsf.SetRotation(axis, f.AngleWithRef(t, a));
  return trsf;
}

std::vector<std::pair<double, gp_Dir>> gpHandle::GetOBBlengthAndDir(const Bnd_OBB& obb)
{
  std::vector<std::pair<double, gp_Dir>> sides = {{2.0 * obb.XHSize(), obb.XDirection()},
                                                  {2.0 * obb.YHSize(), obb.YDirection()},
                                                  {2.0 * obb.ZHSize(), obb.ZDirection()}};
  std::stable_sort(sides.begin(), sides.end(),
                   [](const auto& s1, const auto& s2) { return s1.first < s2.first; });
  return sides;
}

gp_Trsf gpHandle::jsonArr3x4_2Trsf(const Json::Value& rows)
{
  Json::Value flat(Json::arrayValue);
  if (!rows.isArray() || rows.size() != 3)
    return gp_Trsf();
  for (const Json::Value& row : rows)
  {
    if (!row.isArray() || row.size() != 4)
      return gp_Trsf();
    for (const Json::Value& v : row)
      flat.append(v);
  }
  return DataHandle::JsonArrToTrsf(flat);
}

std::array<double, 16> gpHandle::TrsfToDoubleArrayTrsf(const gp_Trsf& trsf)
{
  std::array<double, 16> matrix{};
  for (int r = 1; r <= 3; ++r)
    for (int c = 1; c <= 4; ++c)
      matrix[(r - 1) * 4 + (c - 1)] = trsf.Value(r, c);
  matrix[15] = 1.0;
  return matrix;
}
