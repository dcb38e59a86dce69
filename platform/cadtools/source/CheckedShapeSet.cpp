#include "CheckedShapeSet.h"

#include <GeomTools.hxx>
#include <GeomTools_Curve2dSet.hxx>
#include <GeomTools_CurveSet.hxx>
#include <GeomTools_SurfaceSet.hxx>
#include <Geom2d_OffsetCurve.hxx>
#include <Geom2d_TrimmedCurve.hxx>
#include <Geom_OffsetCurve.hxx>
#include <Geom_OffsetSurface.hxx>
#include <Geom_RectangularTrimmedSurface.hxx>
#include <Geom_SurfaceOfLinearExtrusion.hxx>
#include <Geom_SurfaceOfRevolution.hxx>
#include <Geom_TrimmedCurve.hxx>
#include <Standard_Failure.hxx>
#include <gp_Ax1.hxx>
#include <gp_Dir.hxx>
#include <gp_Pnt.hxx>

#include <algorithm>
#include <istream>
#include <string>

namespace
{
// The type numbers of the curves and surfaces built on a basis, as the kernel writes them.
constexpr int TrimmedCurve = 8;
constexpr int OffsetCurve = 9;
constexpr int ExtrusionSurface = 6;
constexpr int RevolutionSurface = 7;
constexpr int TrimmedSurface = 10;
constexpr int OffsetSurface = 11;

// The kernel reads section names into a buffer of 255 characters, without a bound.
constexpr std::size_t LongestSectionName = 254;

double Real(std::istream& in)
{
  double value = 0.0;
  GeomTools::GetReal(in, value);
  return value;
}

gp_Pnt Point(std::istream& in)
{
  const double x = Real(in);
  const double y = Real(in);
  const double z = Real(in);
  return gp_Pnt(x, y, z);
}

// Throws Standard_ConstructionError for a null vector, where the kernel's reader does.
gp_Dir Direction(std::istream& in)
{
  const double x = Real(in);
  const double y = Real(in);
  const double z = Real(in);
  gp_Dir dir;
  dir.SetCoord(x, y, z);
  return dir;
}

template <typename Handle>
const Handle& Basis(const Handle& basis)
{
  if (basis.IsNull())
    throw std::ios::failure("a curve or surface is built on a basis that cannot be read");
  return basis;
}

// Returns the section's name as the kernel compares it (a C string, which ends at a NUL byte the
// word may hold), refused when the kernel's buffer could not hold the word.
std::string SectionName(std::istream& in)
{
  std::string name;
  in >> name;
  if (name.size() > LongestSectionName)
    throw std::ios::failure("a section name is too long");
  return name.c_str();
}

// Checks the name of the section that comes next and leaves the stream where it was.
void PeekSectionName(std::istream& in)
{
  const std::streampos start = in.tellg();
  SectionName(in);
  in.seekg(start);
}

// Each Read below reads one entry as the kernel does, into the same handle or a null one, and so
// takes the same text. Entries of other types are read by the kernel itself.
Handle(Geom2d_Curve) ReadCurve2d(std::istream& in)
{
  const std::streampos start = in.tellg();
  int type = 0;
  in >> type;
  if (type != TrimmedCurve && type != OffsetCurve)
  {
    in.seekg(start);
    return GeomTools_Curve2dSet::ReadCurve2d(in);
  }
  try
  {
    if (type == TrimmedCurve)
    {
      const double first = Real(in);
      const double last = Real(in);
      return new Geom2d_TrimmedCurve(Basis(ReadCurve2d(in)), first, last);
    }
    const double offset = Real(in);
    return new Geom2d_OffsetCurve(Basis(ReadCurve2d(in)), offset);
  }
  catch (const Standard_Failure&)
  {
    return Handle(Geom2d_Curve)();
  }
}

Handle(Geom_Curve) ReadCurve(std::istream& in)
{
  const std::streampos start = in.tellg();
  int type = 0;
  in >> type;
  if (type != TrimmedCurve && type != OffsetCurve)
  {
    in.seekg(start);
    return GeomTools_CurveSet::ReadCurve(in);
  }
  try
  {
    if (type == TrimmedCurve)
    {
      const double first = Real(in);
      const double last = Real(in);
      return new Geom_TrimmedCurve(Basis(ReadCurve(in)), first, last);
    }
    const double offset = Real(in);
    const gp_Dir dir = Direction(in);
    return new Geom_OffsetCurve(Basis(ReadCurve(in)), offset, dir);
  }
  catch (const Standard_Failure&)
  {
    return Handle(Geom_Curve)();
  }
}

Handle(Geom_Surface) ReadSurface(std::istream& in)
{
  const std::streampos start = in.tellg();
  int type = 0;
  in >> type;
  if (type != ExtrusionSurface && type != RevolutionSurface && type != TrimmedSurface && type != OffsetSurface)
  {
    in.seekg(start);
    return GeomTools_SurfaceSet::ReadSurface(in);
  }
  try
  {
    if (type == ExtrusionSurface)
    {
      const gp_Dir dir = Direction(in);
      return new Geom_SurfaceOfLinearExtrusion(Basis(ReadCurve(in)), dir);
    }
    if (type == RevolutionSurface)
    {
      const gp_Pnt origin = Point(in);
      const gp_Dir dir = Direction(in);
      return new Geom_SurfaceOfRevolution(Basis(ReadCurve(in)), gp_Ax1(origin, dir));
    }
    if (type == TrimmedSurface)
    {
      const double u1 = Real(in);
      const double u2 = Real(in);
      const double v1 = Real(in);
      const double v2 = Real(in);
      return new Geom_RectangularTrimmedSurface(Basis(ReadSurface(in)), u1, u2, v1, v2);
    }
    const double offset = Real(in);
    return new Geom_OffsetSurface(Basis(ReadSurface(in)), offset, true);
  }
  catch (const Standard_Failure&)
  {
    return Handle(Geom_Surface)();
  }
}

// Skips the 3D polygons as the kernel reads them: per polygon its node count, whether it has
// parameters, its deflection, the nodes' coordinates and the parameters.
void SkipPolygon3D(std::istream& in)
{
  if (SectionName(in).find("Polygon3D") == std::string::npos)
    return;
  int count = 0;
  in >> count;
  for (int i = 0; i < count; ++i)
  {
    int nodes = 0, parameters = 0;
    in >> nodes >> parameters;
    Real(in);
    // The kernel reads nothing more at the end of the text, and fails to size the polygon first.
    for (long long j = 0; j < std::max(0, nodes) * (parameters != 0 ? 4LL : 3LL); ++j)
      if (Real(in); in.eof())
        throw std::ios::failure("the text ends within a polygon");
  }
}

// Skips the polygons on triangulations as the kernel reads them: per polygon its node count, the
// node indices, a marker, its deflection, whether it has parameters and the parameters.
void SkipPolygonsOnTriangulations(std::istream& in)
{
  if (SectionName(in).find("PolygonOnTriangulations") == std::string::npos)
    return;
  int count = 0;
  in >> count;
  for (int i = 0; i < count; ++i)
  {
    int nodes = 0, index = 0, parameters = 0;
    in >> nodes;
    for (int j = 0; j < nodes; ++j)
      in >> index;
    SectionName(in);
    Real(in);
    in >> parameters;
    for (int j = 0; parameters != 0 && j < nodes; ++j)
      if (Real(in); in.eof())
        throw std::ios::failure("the text ends within a polygon");
  }
}

// Reads a section of entries as the kernel does: a section of another name is skipped, its name
// read.
template <typename ReadEntry>
void CheckSection(std::istream& in, const char* name, ReadEntry read)
{
  if (SectionName(in) != name)
    return;
  int count = 0;
  in >> count;
  for (int i = 0; i < count; ++i)
    read(in);
}
} // namespace

void CheckedShapeSet::ReadGeometry(Standard_IStream& in, const Message_ProgressRange& range)
{
  const std::streampos start = in.tellg();
  if (start == std::streampos(-1))
    throw std::ios::failure("the text cannot be checked: its stream cannot be rewound");
  CheckSection(in, "Curve2ds", ReadCurve2d);
  CheckSection(in, "Curves", ReadCurve);
  SkipPolygon3D(in);
  SkipPolygonsOnTriangulations(in);
  CheckSection(in, "Surfaces", ReadSurface);
  PeekSectionName(in);
  in.seekg(start);
  BRepTools_ShapeSet::ReadGeometry(in, range);
  PeekSectionName(in);
}
