#include <entity/WorkpieceAnalysis.h>

#include "analysis/AnalysisTolerances.h"
#include "analysis/PlacementFrames.h"
#include "analysis/PlateAnalysis.h"
#include "analysis/PlateSet.h"

#include <entity/HBeamWorkpieceData.h>
#include <entity/Workpiece.h>

#include <cadtools/GeomHandle.h>
#include <cadtools/ModelUtils.h>
#include <cadtools/ShapeHandle.h>
#include <cadtools/gpHandle.h>

#include <BRepBndLib.hxx>
#include <Geom_Plane.hxx>
#include <TopExp_Explorer.hxx>
#include <TopoDS.hxx>

#include <algorithm>
#include <map>

namespace
{
using AnalysisTolerances::BoxTol;
using AnalysisTolerances::PlaneTol;
constexpr double HalfSizeFloor = 0.001;
constexpr double NormalTol = AnalysisTolerances::AngleTol;
// A part whose longest box side exceeds this many times its shortest only stands on its long sides.
constexpr double ElongatedRatio = 2.0;
// The walk over the faces stops at a face scoring more than this share of the box's largest face.
constexpr double GoodEnoughShare = 0.5;

using Placement = std::tuple<bool, gp_Trsf>;

Placement Failure()
{
  return {false, gp_Trsf()};
}

Placement FromOptional(const std::optional<gp_Trsf>& placement)
{
  return placement ? Placement{true, *placement} : Failure();
}

// The box's faces keyed by their area truncated to an integer, the first face of each key kept.
std::map<long long, TopoDS_Face> FacesByArea(const Bnd_OBB& box)
{
  std::map<long long, TopoDS_Face> faces;
  const TopoDS_Shape solid = ShapeHandle::BndOBBGetTopoShape(box);
  if (solid.IsNull())
    return faces;
  for (TopExp_Explorer face(solid, TopAbs_FACE); face.More(); face.Next())
    faces.emplace(static_cast<long long>(ShapeHandle::GetAreaOrVol(face.Current())), TopoDS::Face(face.Current()));
  return faces;
}
// The largest face area of the box, truncated: what FacesByArea gives as its last key, from the half
// sizes instead of a solid built and measured per face (the placement of a 2,000-edge part spent
// most of its time making and measuring those solids).
long long LargestSideArea(const Bnd_OBB& box)
{
  const double x = 2.0 * box.XHSize(), y = 2.0 * box.YHSize(), z = 2.0 * box.ZHSize();
  return static_cast<long long>(std::max({x * y, y * z, x * z}));
}
} // namespace

std::shared_ptr<WorkpieceData> WorkpieceAnalysis::AnalysisWorkpieceData(Workpiece* const)
{
  return nullptr;
}

Bnd_OBB WorkpieceAnalysis::MergeOBBList(std::vector<Bnd_OBB> boxes)
{
  // Adding to an oriented box keeps the axes of the first: the largest box goes first.
  std::sort(boxes.begin(), boxes.end(),
            [](const Bnd_OBB& a, const Bnd_OBB& b) { return a.SquareExtent() > b.SquareExtent(); });
  Bnd_OBB merged;
  for (const Bnd_OBB& box : boxes)
    merged.Add(box);
  return merged;
}

Bnd_OBB WorkpieceAnalysis::MergeOBBList(Workpiece* const workpiece, const std::vector<unsigned>& solids)
{
  return PlateAnalysis::MergeSolids(PlateSet(workpiece), solids);
}

Bnd_OBB WorkpieceAnalysis::ShrinkOBB(const Bnd_OBB& box, double amount)
{
  // A void box has no axes to shrink along.
  if (box.IsVoid())
    return box;
  Bnd_OBB shrunk = box;
  const double h = amount * 0.5;
  shrunk.SetXComponent(box.XDirection(), std::max(box.XHSize() - h, HalfSizeFloor));
  shrunk.SetYComponent(box.YDirection(), std::max(box.YHSize() - h, HalfSizeFloor));
  shrunk.SetZComponent(box.ZDirection(), std::max(box.ZHSize() - h, HalfSizeFloor));
  return shrunk;
}

Bnd_OBB WorkpieceAnalysis::ShrinkOBB(Workpiece* const workpiece, unsigned solid, double amount)
{
  return ShrinkOBB(PlateSet(workpiece).Box(solid), amount);
}

Bnd_OBB WorkpieceAnalysis::MergeMainBoardOBB(Workpiece* const workpiece, std::vector<unsigned> solids)
{
  return PlateAnalysis::MergeSolids(PlateSet(workpiece), solids);
}

bool WorkpieceAnalysis::JudgeBoardMerge(Workpiece* const workpiece,
                                        const std::pair<Bnd_OBB, std::vector<unsigned>>& board1,
                                        const std::pair<Bnd_OBB, std::vector<unsigned>>& board2)
{
  return PlateAnalysis::JudgeBoardMerge(PlateSet(workpiece), board1, board2);
}

bool WorkpieceAnalysis::BoardSimilarFace(const std::vector<TopoDS_Shape>& group1,
                                         const std::vector<TopoDS_Shape>& group2, gp_Dir dir)
{
  return PlateAnalysis::BoardSimilarFace(group1, group2, dir);
}

std::vector<unsigned> WorkpieceAnalysis::SimilarToWholeOBBList(
  Workpiece* const workpiece, const std::vector<std::pair<Bnd_OBB, std::vector<unsigned>>>& boards, double areaRatio,
  double lengthRatio, double angleTolerance)
{
  return PlateAnalysis::SimilarToWholeOBBList(PlateSet(workpiece), boards, areaRatio, lengthRatio, angleTolerance);
}

double WorkpieceAnalysis::GetOBBSideAreaWithVerticalDir(const Bnd_OBB& box, const gp_Dir& dir, double angleTolerance)
{
  return PlateAnalysis::GetOBBSideAreaWithVerticalDir(box, dir, angleTolerance);
}

std::vector<std::vector<int>> WorkpieceAnalysis::GetSubPlnFaceIndexList(
  Workpiece* const workpiece, const std::vector<unsigned>& solids,
  const std::vector<std::pair<Bnd_OBB, std::vector<unsigned>>>& boards)
{
  return PlateAnalysis::GetSubPlnFaceIndexList(PlateSet(workpiece), solids, boards);
}

std::tuple<std::vector<std::vector<unsigned>>, std::pair<unsigned, unsigned>>
WorkpieceAnalysis::GetMinDistanceOppositeFace(Workpiece* const workpiece, const gp_Dir& dir,
                                              const std::vector<unsigned>& solids,
                                              const std::vector<std::vector<int>>& faceGroups, double angleTolerance,
                                              double maxDistance)
{
  return PlateAnalysis::GetMinDistanceOppositeFace(PlateSet(workpiece), dir, solids, faceGroups, angleTolerance,
                                                   maxDistance);
}

std::shared_ptr<TowerCornerWorkpieceData> WorkpieceAnalysis::AnalysisTowerCorner(Workpiece* const workpiece)
{
  return PlateAnalysis::AnalysisTowerCorner(PlateSet(workpiece));
}

std::tuple<bool, unsigned, unsigned, std::set<unsigned>> WorkpieceAnalysis::AnalysisTowerConerBottom(
  Workpiece* const workpiece)
{
  return PlateAnalysis::AnalysisTowerConerBottom(PlateSet(workpiece));
}

bool WorkpieceAnalysis::AnalysisTowerFlangePlates(Workpiece* const workpiece, const std::set<unsigned>& plates,
                                                  std::shared_ptr<TowerCornerWorkpieceData>& data)
{
  return PlateAnalysis::AnalysisTowerFlangePlates(PlateSet(workpiece), plates, data);
}

std::tuple<bool, gp_Trsf> WorkpieceAnalysis::OrgWorkpieceLocaitonTo(Workpiece* const workpiece, const gp_Trsf& target,
                                                                    const gp_Pnt& point, const gp_Dir& dir)
{
  if (workpiece == nullptr)
    return Failure();
  const std::shared_ptr<WorkpieceData> data = workpiece->GetWorkpieceDataPtr();
  if (!data || data->type == WorkpieceType::Ordinary)
    return OrdinaryWorkpieceLocaitonTo(workpiece, target, point, dir);
  switch (data->type)
  {
  case WorkpieceType::HBeam:
    return ExtraHBeamOrgWorkpieceLocaitonTo(workpiece, data, target, point, dir, false);
  case WorkpieceType::BoxColumn:
    return BoxColumnOrgWorkpieceLocaitonTo(workpiece, data, target, point, dir);
  case WorkpieceType::TowerCorner:
    return TowerCornerOrgWorkpieceLocaitonTo(workpiece, data, target);
  case WorkpieceType::Ordinary:
    break;
  }
  return Failure();
}

std::tuple<bool, gp_Trsf> WorkpieceAnalysis::OrgWorkpieceLocaitonByTrsf(Workpiece* const workpiece,
                                                                        const gp_Trsf& target, const gp_Pnt& point,
                                                                        const gp_Dir& dir)
{
  if (workpiece == nullptr)
    return Failure();
  const gp_Trsf root = workpiece->GetTransformation();
  const auto [ok, placement] =
    OrgWorkpieceLocaitonTo(workpiece, root * target, point.Transformed(root), dir.Transformed(root));
  if (!ok)
    return Failure();
  return {true, placement * root.Inverted()};
}

std::tuple<bool, gp_Trsf> WorkpieceAnalysis::OrdinaryWorkpieceLocaitonTo(Workpiece* const workpiece,
                                                                          const gp_Trsf& target, const gp_Pnt& point,
                                                                          const gp_Dir& dir)
{
  const TopoDS_Shape entire = workpiece->GetEntireShape();
  Bnd_OBB box;
  if (!entire.IsNull())
    BRepBndLib::AddOBB(entire, box, true, false, true);
  if (box.XHSize() < 0.0 || box.YHSize() < 0.0 || box.ZHSize() < 0.0)
    return Failure();
  auto sides = gpHandle::GetOBBlengthAndDir(box);
  std::sort(sides.begin(), sides.end(), [](const auto& a, const auto& b) { return a.first > b.first; });
  const bool elongated = sides.front().first > ElongatedRatio * sides.back().first;

  const std::map<long long, TopoDS_Face> boxFaces = FacesByArea(box);
  if (boxFaces.empty())
    return Failure();
  const long long largest = boxFaces.rbegin()->first;
  const gp_Dir reference = gp::DZ().Transformed(gpHandle::CalculateFaceNormalTrsf(boxFaces.rbegin()->second));

  const opencascade::handle<ViewShape> view = workpiece->GetEntireViewShape();
  const Handle(Poly_Triangulation)& collision = view->GetCollision();
  const gp_Trsf viewTrsf = view->Transformation();
  long long best = 0;
  TopoDS_Face chosen;
  for (TopExp_Explorer explorer(entire, TopAbs_FACE); explorer.More(); explorer.Next())
  {
    const TopoDS_Face face = TopoDS::Face(explorer.Current());
    const Handle(Geom_Plane) plane = GeomHandle::ConvertToPlane(face, PlaneTol);
    if (plane.IsNull())
      continue;
    // The test takes either sense, so the plane's axis stands for the face's normal: measuring the
    // face for its outward normal made a third of the walk over a large part's faces.
    if (elongated && !PlateAnalysis::IsParallel(plane->Axis().Direction(), reference, NormalTol))
      continue;
    const Bnd_OBB faceBox = ShapeHandle::GetTopoShapeBndOBB(face, BoxTol);
    if (faceBox.IsVoid())
      continue;
    const long long score = LargestSideArea(faceBox);
    if (score <= best || !ModelUtils::IsConvexFace(face, collision, viewTrsf))
      continue;
    chosen = face;
    best = score;
    if (static_cast<double>(best) > static_cast<double>(largest) * GoodEnoughShare)
      break;
  }
  if (chosen.IsNull())
    return Failure();
  // The display shape holds the entire shape untransformed, so the box of step 1 is its own box:
  // measuring it again with the optimal fit took 4 to 6 times as long as the rest of the placement.
  return {true, PlacementFrames::PlaceOnFace(chosen, view, sides.front().second, target, point, dir)};
}

std::tuple<bool, gp_Trsf> WorkpieceAnalysis::HBeamOrgWorkpieceLocaitonTo(Workpiece* const workpiece,
                                                                          std::shared_ptr<WorkpieceData> data,
                                                                          const gp_Trsf& target, const gp_Pnt& point,
                                                                          const gp_Dir& dir, bool turnOver)
{
  const auto beam = std::dynamic_pointer_cast<HBeamWorkpieceData>(data);
  if (!beam)
    return Failure();
  return FromOptional(
    PlacementFrames::HBeam(PlateSet(workpiece), workpiece->GetEntireShape(), *beam, target, point, dir, turnOver));
}

std::tuple<bool, gp_Trsf> WorkpieceAnalysis::ExtraHBeamOrgWorkpieceLocaitonTo(Workpiece* const workpiece,
                                                                               std::shared_ptr<WorkpieceData> data,
                                                                               const gp_Trsf& target,
                                                                               const gp_Pnt& point, const gp_Dir& dir,
                                                                               bool turnOver)
{
  const auto [ok, placement] = HBeamOrgWorkpieceLocaitonTo(workpiece, data, target, point, dir, turnOver);
  if (!ok)
    return Failure();
  return {true, PlacementFrames::StartAtPoint(workpiece->GetEntireShape(), placement, point, dir)};
}

std::tuple<bool, gp_Trsf> WorkpieceAnalysis::BoxColumnOrgWorkpieceLocaitonTo(Workpiece* const workpiece,
                                                                              std::shared_ptr<WorkpieceData> data,
                                                                              const gp_Trsf& target,
                                                                              const gp_Pnt& point, const gp_Dir& dir)
{
  if (!data || data->type != WorkpieceType::BoxColumn)
    return Failure();
  return FromOptional(PlacementFrames::BoxColumn(workpiece->GetEntireShape(), target, point, dir));
}

std::tuple<bool, gp_Trsf> WorkpieceAnalysis::TowerCornerOrgWorkpieceLocaitonTo(Workpiece* const workpiece,
                                                                                std::shared_ptr<WorkpieceData> data,
                                                                                const gp_Trsf& target)
{
  const auto corner = std::dynamic_pointer_cast<TowerCornerWorkpieceData>(data);
  if (!corner)
    return Failure();
  return FromOptional(PlacementFrames::TowerCorner(PlateSet(workpiece), workpiece->GetEntireShape(), *corner, target));
}
