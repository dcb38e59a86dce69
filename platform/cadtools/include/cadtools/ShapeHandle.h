#pragma once

#include <AIS_InteractiveObject.hxx>
#include <Bnd_OBB.hxx>
#include <TopoDS_Edge.hxx>
#include <TopoDS_Face.hxx>
#include <TopoDS_Shape.hxx>
#include <gp_Dir.hxx>
#include <gp_Pnt.hxx>

#include <istream>
#include <utility>
#include <vector>

// Shape measures and comparisons.
class ShapeHandle
{
public:
  // Returns the oriented bounding box of the shape, enlarged by tol (void for an empty shape).
  static Bnd_OBB GetTopoShapeBndOBB(const TopoDS_Shape& shape, double tol);

  // Returns the box as a solid (null for a void box).
  static TopoDS_Shape BndOBBGetTopoShape(const Bnd_OBB& obb);

  // Returns (true, outward unit normal) of a planar face, or of a curved face at its parametric centre.
  static std::pair<bool, gp_Dir> GetNormal(const TopoDS_Face& face);

  // Returns the face's centre of mass (area centroid).
  static gp_Pnt GetFaceCenter(const TopoDS_Face& face);

  // Returns whether the edges coincide: ends within distTol and tangents within angTol rad at three points.
  static bool IsTwoEdgeEqual(const TopoDS_Edge& e1, const TopoDS_Edge& e2, double distTol, double angTol);

  // Returns the curve length of the edge.
  static double GetLength(const TopoDS_Edge& edge);

  // Returns the volume of a solid shape, the area of a face or shell, the length of an edge or wire.
  static double GetAreaOrVol(const TopoDS_Shape& shape);

  // Returns the shape written as BRep text in the seekable stream `in`, or a null shape when the text
  // is malformed or truncated (the kernel's reader alone may loop on a truncated text) or builds a
  // curve or surface on a basis it does not define (the kernel's reader alone would fault).
  static TopoDS_Shape ReadBRep(std::istream& in);

  // Writes the shape as BRep text (format 3, with triangulations, without normals), as
  // BRepTools::Write does. The checked mark of every sub-shape is cleared first: the reader drops
  // it, so that a shape read back writes the same text.
  static void WriteBRep(const TopoDS_Shape& shape, std::ostream& out);

  // Returns the shapes of a display tree, each placed by its display transformation.
  static std::vector<TopoDS_Shape> GetShapes(const Handle(AIS_InteractiveObject)& object, bool recursive);
};
