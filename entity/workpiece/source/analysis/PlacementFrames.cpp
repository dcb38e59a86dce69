#include "analysis/PlacementFrames.h"

#include "analysis/AnalysisTolerances.h"
#include "analysis/PlateAnalysis.h"

#include <cadtools/ShapeHandle.h>
#include <cadtools/gpHandle.h>

#include <gp_Ax1.hxx>
#include <gp_Ax3.hxx>

#include <algorithm>
#include <limits>

namespace
{
using AnalysisTolerances::BoxTol;
constexpr double AlongTol = AnalysisTolerances::AngleTol;
// Below this the length direction of a record is taken as missing.
constexpr double MinDirLength = 1.0e-9;

// Turns the placed part about the vertical through `point` until `along` (placed) meets `dir`.
gp_Trsf TurnAlong(const gp_Trsf& placement, const gp_Dir& along, const gp_Pnt& point, const gp_Dir& dir)
{
  const gp_Dir placed = along.Transformed(placement);
  if (PlateAnalysis::IsParallel(placed, dir, AlongTol))
    return placement;
  return gpHandle::RotateToDirTrsf(placed, dir, gp_Ax1(point, gp::DZ())) * placement;
}

// The box's corners furthest along and least along `dir`, as offsets from its centre.
std::pair<double, double> Reach(const Bnd_OBB& box, const gp_Dir& dir)
{
  gp_Pnt corners[8];
  box.GetVertex(corners);
  double low = std::numeric_limits<double>::max(), high = -low;
  for (const gp_Pnt& corner : corners)
  {
    const double d = gp_Vec(gp_Pnt(box.Center()), corner).Dot(gp_Vec(dir));
    low = std::min(low, d);
    high = std::max(high, d);
  }
  return {low, high};
}
} // namespace

gp_Trsf PlacementFrames::PlaceOnFace(const TopoDS_Face& face, const opencascade::handle<ViewShape>& view,
                                     const gp_Dir& longest, const gp_Trsf& target, const gp_Pnt& point,
                                     const gp_Dir& dir)
{
  const gp_Trsf support = gpHandle::ReverseTrsfDirection(gpHandle::CalculateFaceNormalTrsf(face));
  const gp_Trsf placement = target * support.Inverted();
  return TurnAlong(placement, longest, point, dir) * view->Transformation().Inverted();
}

std::optional<gp_Trsf> PlacementFrames::PlaceByAxes(const TopoDS_Shape& shape, const gp_Dir& down, const gp_Dir& along,
                                                    const gp_Trsf& target, const gp_Pnt& point, const gp_Dir& dir)
{
  const Bnd_OBB box = ShapeHandle::GetTopoShapeBndOBB(shape, BoxTol);
  if (box.IsVoid() || PlateAnalysis::IsParallel(down, along, AlongTol))
    return std::nullopt;
  const gp_Pnt base = gp_Pnt(box.Center()).Translated(gp_Vec(down) * Reach(box, down).second);
  // The frame on the part that goes onto the target: Z up from the base, X along `along`.
  const gp_Vec level = gp_Vec(along) - gp_Vec(down) * gp_Vec(along).Dot(gp_Vec(down));
  const gp_Ax3 frame(base, down.Reversed(), gp_Dir(level));
  gp_Trsf onPart;
  onPart.SetTransformation(frame);
  // SetTransformation(frame) maps the frame to the standard one: target · that carries it onto the target.
  return TurnAlong(target * onPart, along, point, dir);
}

std::optional<gp_Trsf> PlacementFrames::HBeam(const PlateSet& plates, const TopoDS_Shape& shape,
                                              const HBeamWorkpieceData& data, const gp_Trsf& target,
                                              const gp_Pnt& point, const gp_Dir& dir, bool turnOver)
{
  const gp_Vec length(data.lengthX, data.lengthY, data.lengthZ);
  if (length.Magnitude() < MinDirLength)
    return std::nullopt;
  const gp_Dir along(length);
  std::optional<gp_Dir> web;
  if (!data.webSolids.empty())
  {
    const Bnd_OBB webBox = PlateAnalysis::MergeSolids(plates, data.webSolids);
    if (!webBox.IsVoid())
      web = gpHandle::GetOBBlengthAndDir(webBox).front().second;
  }
  if (!web)
  {
    // Without the web's solids: of the two cross sides the flange width is the narrower one, and
    // the web's normal runs along it.
    const Bnd_OBB box = ShapeHandle::GetTopoShapeBndOBB(shape, BoxTol);
    if (box.IsVoid())
      return std::nullopt;
    for (const auto& side : gpHandle::GetOBBlengthAndDir(box))
      if (!PlateAnalysis::IsParallel(side.second, along, AlongTol))
      {
        web = side.second;
        break;
      }
  }
  if (!web || PlateAnalysis::IsParallel(*web, along, AlongTol))
    return std::nullopt;
  const gp_Dir down = turnOver ? gp_Dir(gp_Vec(along).Crossed(gp_Vec(*web))).Reversed()
                               : gp_Dir(gp_Vec(along).Crossed(gp_Vec(*web)));
  return PlaceByAxes(shape, down, along, target, point, dir);
}

std::optional<gp_Trsf> PlacementFrames::BoxColumn(const TopoDS_Shape& shape, const gp_Trsf& target, const gp_Pnt& point,
                                                  const gp_Dir& dir)
{
  const Bnd_OBB box = ShapeHandle::GetTopoShapeBndOBB(shape, BoxTol);
  if (box.IsVoid())
    return std::nullopt;
  const auto sides = gpHandle::GetOBBlengthAndDir(box);
  // Lying on the side whose face is the largest: its normal runs along the shortest side.
  return PlaceByAxes(shape, sides[0].second.Reversed(), sides[2].second, target, point, dir);
}

std::optional<gp_Trsf> PlacementFrames::TowerCorner(const PlateSet& plates, const TopoDS_Shape& shape,
                                                    const TowerCornerWorkpieceData& data, const gp_Trsf& target)
{
  const Bnd_OBB bottom = PlateAnalysis::MergeSolids(plates, {data.bottomPlate1, data.bottomPlate2});
  const Bnd_OBB whole = ShapeHandle::GetTopoShapeBndOBB(shape, BoxTol);
  if (bottom.IsVoid() || whole.IsVoid())
    return std::nullopt;
  const auto sides = gpHandle::GetOBBlengthAndDir(bottom);
  gp_Dir down = sides[0].second;
  // The flanges stand on the side of the bottom plate where the whole part's centre lies.
  if (gp_Vec(gp_Pnt(bottom.Center()), gp_Pnt(whole.Center())).Dot(gp_Vec(down)) > 0.0)
    down.Reverse();
  const Bnd_OBB flange = plates.Box(data.mainFlange);
  gp_Dir along = flange.IsVoid() ? sides[2].second : gpHandle::GetOBBlengthAndDir(flange).back().second;
  if (PlateAnalysis::IsParallel(along, down, AlongTol))
    along = sides[2].second;
  const gp_Ax3 onTarget = gp_Ax3(gp::XOY()).Transformed(target);
  return PlaceByAxes(shape, down, along, target, onTarget.Location(), onTarget.XDirection());
}

gp_Trsf PlacementFrames::StartAtPoint(const TopoDS_Shape& shape, const gp_Trsf& placement, const gp_Pnt& point,
                                      const gp_Dir& dir)
{
  const Bnd_OBB placed = ShapeHandle::GetTopoShapeBndOBB(shape.Moved(TopLoc_Location(placement)), BoxTol);
  if (placed.IsVoid())
    return placement;
  const double rear = gp_Vec(point, gp_Pnt(placed.Center())).Dot(gp_Vec(dir)) + Reach(placed, dir).first;
  gp_Trsf shift;
  shift.SetTranslation(gp_Vec(dir) * -rear);
  return shift * placement;
}
