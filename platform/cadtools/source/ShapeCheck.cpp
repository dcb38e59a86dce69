#include <cadtools/ShapeCheck.h>

#include <BRepBndLib.hxx>
#include <BRepCheck_Analyzer.hxx>
#include <BRep_Tool.hxx>
#include <Bnd_Box.hxx>
#include <Geom2d_Curve.hxx>
#include <Geom_Conic.hxx>
#include <Geom_Curve.hxx>
#include <Geom_Line.hxx>
#include <Geom_ElementarySurface.hxx>
#include <Geom_Surface.hxx>
#include <Poly_Triangulation.hxx>
#include <Standard_Failure.hxx>
#include <TopExp_Explorer.hxx>
#include <TopoDS.hxx>
#include <TopoDS_Edge.hxx>
#include <TopoDS_Face.hxx>
#include <TopoDS_Vertex.hxx>
#include <gp_Pnt2d.hxx>

#include <algorithm>
#include <cmath>
#include <iomanip>
#include <limits>
#include <sstream>

namespace
{
constexpr const char* NotFinite = "it has coordinates that are not finite numbers";

// Returns the farthest any of the shape's bounds lies from the origin along an axis, NaN when a
// bound is no finite number.
double Reach(const TopoDS_Shape& shape)
{
  Bnd_Box box;
  BRepBndLib::Add(shape, box, false);
  if (box.IsVoid())
    return 0.0;
  // The gap is the shapes' tolerance, not where they are: a part exactly on the limit is inside it.
  box.SetGap(0.0);
  double xmin = 0.0, ymin = 0.0, zmin = 0.0, xmax = 0.0, ymax = 0.0, zmax = 0.0;
  box.Get(xmin, ymin, zmin, xmax, ymax, zmax);
  double reach = 0.0;
  for (const double c : {xmin, ymin, zmin, xmax, ymax, zmax})
  {
    if (!std::isfinite(c))
      return std::numeric_limits<double>::quiet_NaN();
    reach = std::max(reach, std::abs(c));
  }
  return reach;
}

// Returns what MissingGeometry answers; the evaluations may throw.
std::string MissingOrNotFinite(const TopoDS_Shape& shape)
{
  // The text readers take "nan" and "inf" for numbers, and an overflowing exponent for an infinity;
  // meshes and bounding volumes built on them fault. What the vertices, the edges' ranges, middle
  // points and lines' or conics' axes, the surfaces at those points and the meshes read hold is
  // checked, the edges before the faces: the kernel's projection of an edge onto a plane (the pcurve
  // asked for below) never ends on a curve or a plane placed on axes that are no finite numbers.
  bool finite = true;
  const auto check = [&finite](const gp_XYZ& p) { finite = finite && std::isfinite(p.X()) && std::isfinite(p.Y()) && std::isfinite(p.Z()); };
  for (TopExp_Explorer it(shape, TopAbs_EDGE); it.More() && finite; it.Next())
  {
    const TopoDS_Edge& edge = TopoDS::Edge(it.Current());
    if (!BRep_Tool::Degenerated(edge) && !BRep_Tool::IsGeometric(edge))
      return "an edge has no curve";
    double first = 0.0, last = 0.0;
    TopLoc_Location location;
    const Handle(Geom_Curve) curve = BRep_Tool::Curve(edge, location, first, last);
    finite = std::isfinite(first) && std::isfinite(last);
    if (finite && !curve.IsNull())
      check(curve->Value(0.5 * (first + last)).XYZ());
    if (const auto line = Handle(Geom_Line)::DownCast(curve); !line.IsNull())
      for (const gp_XYZ& p : {line->Position().Location().XYZ(), line->Position().Direction().XYZ()})
        check(p);
    if (const auto conic = Handle(Geom_Conic)::DownCast(curve); !conic.IsNull())
      for (const gp_XYZ& p : {conic->Position().Location().XYZ(), conic->Position().Direction().XYZ(),
                              conic->Position().XDirection().XYZ()})
        check(p);
  }
  for (TopExp_Explorer it(shape, TopAbs_VERTEX); it.More() && finite; it.Next())
    check(BRep_Tool::Pnt(TopoDS::Vertex(it.Current())).XYZ());
  for (TopExp_Explorer it(shape, TopAbs_FACE); it.More() && finite; it.Next())
  {
    const TopoDS_Face& face = TopoDS::Face(it.Current());
    TopLoc_Location location;
    const Handle(Geom_Surface) surface = BRep_Tool::Surface(face, location);
    if (surface.IsNull())
      return "a face has no surface";
    if (const auto placed = Handle(Geom_ElementarySurface)::DownCast(surface); !placed.IsNull())
    {
      const gp_Ax3& axes = placed->Position();
      for (const gp_XYZ& p : {axes.Location().XYZ(), axes.Direction().XYZ(), axes.XDirection().XYZ(), axes.YDirection().XYZ()})
        check(p);
    }
    if (const Handle(Poly_Triangulation) mesh = BRep_Tool::Triangulation(face, location); !mesh.IsNull())
      for (Standard_Integer i = 1; i <= mesh->NbNodes() && finite; ++i)
        check(mesh->Node(i).XYZ());
    for (TopExp_Explorer edges(face, TopAbs_EDGE); edges.More() && finite; edges.Next())
    {
      double first = 0.0, last = 0.0;
      const Handle(Geom2d_Curve) pcurve = BRep_Tool::CurveOnSurface(TopoDS::Edge(edges.Current()), face, first, last);
      if (pcurve.IsNull() || !std::isfinite(first) || !std::isfinite(last))
        continue;
      const gp_Pnt2d uv = pcurve->Value(0.5 * (first + last));
      finite = std::isfinite(uv.X()) && std::isfinite(uv.Y());
      if (finite)
        check(surface->Value(uv.X(), uv.Y()).XYZ());
    }
  }
  return finite ? std::string() : NotFinite;
}
} // namespace

std::string ShapeCheck::Problem(const TopoDS_Shape& shape)
{
  if (shape.IsNull())
    return "no shape";
  try
  {
    if (const std::string missing = MissingGeometry(shape); !missing.empty())
      return missing;
    const double reach = Reach(shape);
    if (!std::isfinite(reach))
      return NotFinite;
    if (reach > CoordinateLimit)
    {
      std::ostringstream text;
      text << std::fixed << std::setprecision(0) << "it lies beyond " << CoordinateLimit
           << " mm of the origin, where corners cannot be told apart";
      return text.str();
    }
    // After the reach: far out, the kernel's check fails too, but for a reason it cannot name.
    if (!BRepCheck_Analyzer(shape).IsValid())
      return "its geometry and topology do not agree (the kernel's shape check fails)";
  }
  catch (const Standard_Failure& failure)
  {
    const std::string message = failure.GetMessageString();
    return std::string("the kernel failed checking it: ") + (message.empty() ? failure.DynamicType()->Name() : message);
  }
  return std::string();
}

std::string ShapeCheck::MissingGeometry(const TopoDS_Shape& shape)
{
  try
  {
    return MissingOrNotFinite(shape);
  }
  catch (const Standard_Failure&)
  {
    return "a curve or surface cannot be evaluated";
  }
}

