#pragma once

#include <TopoDS_Shape.hxx>

#include <string>

// Checks a shape read from a file before anything computes on it: the readers can return faces
// without surfaces, edges without curves and shapes the kernel's own checker rejects.
class ShapeCheck
{
public:
  // Returns why the shape cannot be used, empty when it can: MissingGeometry, a coordinate beyond
  // CoordinateLimit, or BRepCheck_Analyzer's verdict (which costs several times the shape's read).
  static std::string Problem(const TopoDS_Shape& shape);

  // Returns what geometry the shape lacks (a face's surface, a 3D curve of an edge that is not
  // degenerated) or holds that is no finite number (at the vertices, the edges' ranges and middle
  // points, the faces' surfaces there, the mesh nodes), empty when nothing: the check that is cheap
  // next to reading the shape.
  static std::string MissingGeometry(const TopoDS_Shape& shape);

  // Largest coordinate, in mm, of a usable shape. Beyond it the geometry kernel's fixed tolerances
  // (1e-7 mm) fall below the spacing of doubles, and corners come out concave or convex depending
  // on where the part sits, not on its shape.
  static constexpr double CoordinateLimit = 1.0e7;
};
