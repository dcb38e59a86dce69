#pragma once

#include <Poly_Triangulation.hxx>
#include <TopoDS_Face.hxx>
#include <gp_Pnt.hxx>
#include <gp_Trsf.hxx>

// Tests of faces against a part's triangulated collision model.
class ModelUtils
{
public:
  // Returns true when no vertex of the model (placed by trsf) lies beyond the face's plane on its
  // outer side by more than a small tolerance: the part can rest on that face.
  static bool IsConvexFace(const TopoDS_Face& face, const Handle(Poly_Triangulation)& model, const gp_Trsf& trsf);

  // Returns a new mesh holding only the triangles whose front side faces `viewpoint`.
  static Handle(Poly_Triangulation) FilterBackFace(const Handle(Poly_Triangulation)& mesh, const gp_Pnt& viewpoint);
};
