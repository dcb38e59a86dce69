#pragma once

#include <Bnd_OBB.hxx>
#include <TopTools_IndexedMapOfShape.hxx>
#include <TopoDS_Face.hxx>
#include <TopoDS_Shape.hxx>

#include <cstdint>
#include <map>
#include <vector>

class Workpiece;

// The solids of a workpiece by index, with their oriented boxes and faces: what the plate analyses
// reason on. Taken from a workpiece it holds what the workpiece exposes; built from a list of solids
// it numbers them from 0.
class PlateSet
{
public:
  explicit PlateSet(Workpiece* const workpiece);
  explicit PlateSet(const std::vector<TopoDS_Shape>& solids);

  // Solid indices, ascending.
  const std::vector<std::uint32_t>& Indices() const { return myIndices; }
  // Null when the index is unknown.
  TopoDS_Shape Shape(unsigned solid) const;
  // Void when the index is unknown.
  Bnd_OBB Box(unsigned solid) const;
  // The face of a face index (solid in the bits from 17, 1-based face within the solid below), null if none.
  TopoDS_Face Face(int faceIndex) const;
  // The faces of a solid in exploration order, the first numbered 1.
  const TopTools_IndexedMapOfShape& Faces(unsigned solid) const;

  static int FaceIndex(unsigned solid, int face) { return static_cast<int>(solid << SolidShift) | face; }

private:
  static constexpr unsigned SolidShift = 17;

  struct Solid
  {
    TopoDS_Shape shape;
    Bnd_OBB box;
    TopTools_IndexedMapOfShape faces;
  };

  void Add(unsigned index, const TopoDS_Shape& shape, const Bnd_OBB& box);

  std::vector<std::uint32_t> myIndices;
  std::map<unsigned, Solid> mySolids;
};
