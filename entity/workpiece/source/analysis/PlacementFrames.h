#pragma once

#include "analysis/PlateSet.h"

#include <entity/HBeamWorkpieceData.h>
#include <entity/TowerCornerWorkpieceData.h>

#include <view/ViewShape.h>

#include <TopoDS_Face.hxx>
#include <TopoDS_Shape.hxx>
#include <gp_Dir.hxx>
#include <gp_Pnt.hxx>
#include <gp_Trsf.hxx>

#include <optional>

// Transforms that lay a part onto a target frame's XY plane and turn it about the vertical through
// a point until a chosen direction of the part meets a given one.
class PlacementFrames
{
public:
  // Lays `face` of the display shape onto the target plane and turns `longest` (the direction of
  // the longest side of the display shape's own box) along `dir`.
  static gp_Trsf PlaceOnFace(const TopoDS_Face& face, const opencascade::handle<ViewShape>& view,
                             const gp_Dir& longest, const gp_Trsf& target, const gp_Pnt& point, const gp_Dir& dir);
  // Sets `shape` down along `down` (its lowest point onto the target plane, under its box centre)
  // and turns `along` to `dir`; nothing when the two directions are parallel.
  static std::optional<gp_Trsf> PlaceByAxes(const TopoDS_Shape& shape, const gp_Dir& down, const gp_Dir& along,
                                            const gp_Trsf& target, const gp_Pnt& point, const gp_Dir& dir);

  // An H-beam with its web upright (on the outer face of a flange, the other one when turned over)
  // and its length along `dir`.
  static std::optional<gp_Trsf> HBeam(const PlateSet& plates, const TopoDS_Shape& shape, const HBeamWorkpieceData& data,
                                      const gp_Trsf& target, const gp_Pnt& point, const gp_Dir& dir, bool turnOver);
  // A box column lying on its widest side face, its length along `dir`.
  static std::optional<gp_Trsf> BoxColumn(const TopoDS_Shape& shape, const gp_Trsf& target, const gp_Pnt& point,
                                          const gp_Dir& dir);
  // A tower corner standing on its bottom plate at the target's origin, its main flange along the target's X.
  static std::optional<gp_Trsf> TowerCorner(const PlateSet& plates, const TopoDS_Shape& shape,
                                            const TowerCornerWorkpieceData& data, const gp_Trsf& target);
  // `placement` followed by the shift along `dir` that brings the placed shape's rear end to `point`.
  static gp_Trsf StartAtPoint(const TopoDS_Shape& shape, const gp_Trsf& placement, const gp_Pnt& point,
                              const gp_Dir& dir);
};
