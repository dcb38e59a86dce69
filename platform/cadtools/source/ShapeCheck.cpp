#include <cadtools/ShapeCheck.h>

#include <BRepBndLib.hxx>
#include <BRepCheck_Analyzer.hxx>
#include <BRep_Tool.hxx>
#include <Bnd_Box.hxx>
#include <Standard_Failure.hxx>
#include <TopExp_Explorer.hxx>
#include <TopoDS.hxx>

#include <algorithm>
#include <cmath>
#include <iomanip>
#include <limits>
#include <sstream>

namespace
{
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
      return "it has coordinates that are not finite numbers";
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
  for (TopExp_Explorer it(shape, TopAbs_FACE); it.More(); it.Next())
  {
    TopLoc_Location location;
    if (BRep_Tool::Surface(TopoDS::Face(it.Current()), location).IsNull())
      return "a face has no surface";
  }
  for (TopExp_Explorer it(shape, TopAbs_EDGE); it.More(); it.Next())
  {
    const TopoDS_Edge& edge = TopoDS::Edge(it.Current());
    if (!BRep_Tool::Degenerated(edge) && !BRep_Tool::IsGeometric(edge))
      return "an edge has no curve";
  }
  return std::string();
}
