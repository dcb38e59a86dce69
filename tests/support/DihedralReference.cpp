#include "DihedralReference.h"

#include <BRepAdaptor_Curve.hxx>
#include <BRepAdaptor_Surface.hxx>
#include <BRepLProp_SLProps.hxx>
#include <BRep_Tool.hxx>
#include <Geom2d_Curve.hxx>
#include <TopExp_Explorer.hxx>
#include <TopoDS.hxx>

#include <cmath>

namespace
{
// Samples along the edge, at (i + 0.5) / Samples of its range: never its ends, where apexes sit.
constexpr int Samples = 7;
// Below this sine of the angle between the normals the faces meet smoothly.
constexpr double SmoothSine = 0.01;

// Returns the face's outward unit normal at the edge's parameter s, or false where it has none.
bool OutwardNormal(const TopoDS_Edge& edge, const TopoDS_Face& face, double s, gp_Dir& normal)
{
  double first = 0.0, last = 0.0;
  const Handle(Geom2d_Curve) pcurve = BRep_Tool::CurveOnSurface(edge, face, first, last);
  if (pcurve.IsNull())
    return false;
  const gp_Pnt2d uv = pcurve->Value(s);
  const BRepAdaptor_Surface surface(face, false);
  BRepLProp_SLProps props(surface, uv.X(), uv.Y(), 1, 1e-9);
  if (!props.IsNormalDefined())
    return false;
  normal = face.Orientation() == TopAbs_REVERSED ? props.Normal().Reversed() : props.Normal();
  return true;
}
} // namespace

DihedralReference::Kind DihedralReference::Classify(const TopoDS_Edge& edge, const TopoDS_Face& face1,
                                                    const TopoDS_Face& face2)
{
  TopoDS_Edge asInFace1 = edge;
  bool found = false;
  for (TopExp_Explorer it(face1, TopAbs_EDGE); it.More() && !found; it.Next())
    if (it.Current().IsSame(edge))
    {
      asInFace1 = TopoDS::Edge(it.Current());
      found = true;
    }
  if (!found)
    return Kind::Unknown;
  const BRepAdaptor_Curve curve(asInFace1);
  int concave = 0, convex = 0;
  for (int i = 0; i < Samples; ++i)
  {
    const double s = curve.FirstParameter() + (curve.LastParameter() - curve.FirstParameter()) * (i + 0.5) / Samples;
    gp_Dir n1, n2;
    if (!OutwardNormal(asInFace1, face1, s, n1) || !OutwardNormal(asInFace1, face2, s, n2))
      continue;
    gp_Pnt p;
    gp_Vec tangent;
    curve.D1(s, p, tangent);
    if (tangent.Magnitude() < 1e-12)
      continue;
    if (asInFace1.Orientation() == TopAbs_REVERSED)
      tangent.Reverse();
    const gp_Vec cross = gp_Vec(n1).Crossed(gp_Vec(n2));
    // Faces folded back onto each other (a sheet's edge) and smooth joins are not corners.
    if (cross.Magnitude() < SmoothSine)
    {
      convex += n1.Dot(n2) > 0.0 ? 1 : 0;
      continue;
    }
    // Face1's material lies on the left of its edges (n1 × tangent points into it); face2 stands over
    // that side at an inner corner.
    ++(cross.Dot(tangent) < 0.0 ? concave : convex);
  }
  if (concave + convex == 0)
    return Kind::Unknown;
  if (concave > 0 && convex > 0)
    return Kind::Mixed;
  return concave > 0 ? Kind::Concave : Kind::Convex;
}

EdgeType DihedralReference::AsEdgeType(Kind kind)
{
  if (kind == Kind::Concave)
    return EdgeType::Concave;
  return kind == Kind::Convex ? EdgeType::Convex : EdgeType::Unknown;
}
