#include "analysis/PlateSet.h"

#include "analysis/AnalysisTolerances.h"

#include <entity/Workpiece.h>

#include <cadtools/ShapeHandle.h>

#include <Bnd_Box.hxx>
#include <TopExp.hxx>
#include <TopoDS.hxx>

#include <algorithm>

namespace
{
using AnalysisTolerances::BoxTol;
constexpr int FaceMask = (1 << 17) - 1;
} // namespace

PlateSet::PlateSet(Workpiece* const workpiece)
{
  if (workpiece == nullptr)
    return;
  for (const std::uint32_t index : workpiece->GetAllSolidIndices())
    Add(index, workpiece->GetShapeByIndex(index), workpiece->GetSubShapeOBB(index));
}

PlateSet::PlateSet(const std::vector<TopoDS_Shape>& solids)
{
  for (std::size_t i = 0; i < solids.size(); ++i)
    Add(static_cast<unsigned>(i), solids[i], ShapeHandle::GetTopoShapeBndOBB(solids[i], BoxTol));
}

void PlateSet::Add(unsigned index, const TopoDS_Shape& shape, const Bnd_OBB& box)
{
  if (mySolids.count(index) != 0)
    return;
  Solid& solid = mySolids[index];
  solid.shape = shape;
  solid.box = box;
  if (!shape.IsNull())
    TopExp::MapShapes(shape, TopAbs_FACE, solid.faces);
  myIndices.insert(std::upper_bound(myIndices.begin(), myIndices.end(), index), index);
}

TopoDS_Shape PlateSet::Shape(unsigned solid) const
{
  const auto found = mySolids.find(solid);
  return found == mySolids.end() ? TopoDS_Shape() : found->second.shape;
}

Bnd_OBB PlateSet::Box(unsigned solid) const
{
  const auto found = mySolids.find(solid);
  return found == mySolids.end() ? Bnd_OBB(Bnd_Box()) : found->second.box;
}

const TopTools_IndexedMapOfShape& PlateSet::Faces(unsigned solid) const
{
  static const TopTools_IndexedMapOfShape none;
  const auto found = mySolids.find(solid);
  return found == mySolids.end() ? none : found->second.faces;
}

TopoDS_Face PlateSet::Face(int faceIndex) const
{
  if (faceIndex < 0)
    return TopoDS_Face();
  const TopTools_IndexedMapOfShape& faces = Faces(static_cast<unsigned>(faceIndex) >> SolidShift);
  const int face = faceIndex & FaceMask;
  if (face < 1 || face > faces.Extent())
    return TopoDS_Face();
  return TopoDS::Face(faces(face));
}
