#include "analysis/PlateAnalysis.h"

#include "analysis/AnalysisTolerances.h"
#include "core/EntityLog.h"

#include <entity/WorkpieceAnalysis.h>

#include <cadtools/GeomHandle.h>
#include <cadtools/LogUtils.h>
#include <cadtools/ShapeHandle.h>
#include <cadtools/gpHandle.h>

#include <Bnd_Box.hxx>
#include <TopExp_Explorer.hxx>
#include <TopoDS.hxx>
#include <TopoDS_Builder.hxx>
#include <TopoDS_Compound.hxx>
#include <spdlog/fmt/fmt.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace
{
using AnalysisTolerances::BoxTol;
using AnalysisTolerances::PlaneTol;
// Two boards whose thickness directions differ by more than this are never one plate.
constexpr double BoardAngleTol = 0.5235987755982988;
constexpr double FaceAngleTol = AnalysisTolerances::AngleTol;
constexpr double LongestStart = 0.0;
constexpr double ShortestStart = 32767.0;
constexpr double ShortestEdgeGap = 20.0;
constexpr double LongestEdgeGap = 80.0;
constexpr double FaceAreaRatio = 5.0;
// Tower corners: a flange thicker than twice this half size is not a plate.
constexpr double MaxPlateHalfThickness = 50.0;
// Standing plates with at least this share of the largest one's area compete for the main flange.
constexpr double MainFlangeShare = 0.8;
constexpr std::size_t MinStandingPlates = 2;
constexpr std::size_t MinTowerSolids = 4;
constexpr double TouchTol = 0.001;

using Sides = std::vector<std::pair<double, gp_Dir>>;

// A void box has no axes: it reads as three sides of length 0 along X, Y and Z.
Sides SidesOf(const Bnd_OBB& box)
{
  if (box.IsVoid())
    return {{0.0, gp::DX()}, {0.0, gp::DY()}, {0.0, gp::DZ()}};
  return gpHandle::GetOBBlengthAndDir(box);
}

double FaceArea(const Sides& s)
{
  return s[2].first * s[1].first;
}

// Whether `d1` is within `tolerance` of being perpendicular to `d2`.
bool IsPerpendicular(const gp_Dir& d1, const gp_Dir& d2, double tolerance)
{
  return std::abs(M_PI / 2.0 - d1.Angle(d2)) <= tolerance;
}

std::vector<TopoDS_Shape> ShapesOf(const PlateSet& plates, const std::vector<unsigned>& solids)
{
  std::vector<TopoDS_Shape> shapes;
  for (const unsigned solid : solids)
    shapes.push_back(plates.Shape(solid));
  return shapes;
}

std::vector<TopoDS_Face> FacesOf(const std::vector<TopoDS_Shape>& group)
{
  std::vector<TopoDS_Face> faces;
  for (const TopoDS_Shape& shape : group)
    if (!shape.IsNull())
      for (TopExp_Explorer face(shape, TopAbs_FACE); face.More(); face.Next())
        faces.push_back(TopoDS::Face(face.Current()));
  return faces;
}

// The longest and the shortest edge of a face.
std::pair<double, double> EdgeExtremes(const TopoDS_Face& face)
{
  double longest = LongestStart, shortest = ShortestStart;
  for (TopExp_Explorer edge(face, TopAbs_EDGE); edge.More(); edge.Next())
  {
    const double length = ShapeHandle::GetLength(TopoDS::Edge(edge.Current()));
    longest = std::max(longest, length);
    shortest = std::min(shortest, length);
  }
  return {longest, shortest};
}

// Signed offset of the box's centre from `origin` along `dir`.
double Offset(const Bnd_OBB& box, const gp_Pnt& origin, const gp_Dir& dir)
{
  return gp_Vec(origin, gp_Pnt(box.Center())).Dot(gp_Vec(dir));
}
} // namespace

bool PlateAnalysis::IsParallel(const gp_Dir& d1, const gp_Dir& d2, double tolerance)
{
  const double angle = d1.Angle(d2);
  return angle <= tolerance || M_PI - angle <= tolerance;
}

Bnd_OBB PlateAnalysis::MergeSolids(const PlateSet& plates, const std::vector<unsigned>& solids)
{
  TopoDS_Compound compound;
  TopoDS_Builder builder;
  builder.MakeCompound(compound);
  for (const unsigned solid : solids)
  {
    const TopoDS_Shape shape = plates.Shape(solid);
    if (!shape.IsNull())
      builder.Add(compound, shape);
  }
  return ShapeHandle::GetTopoShapeBndOBB(compound, BoxTol);
}

bool PlateAnalysis::JudgeBoardMerge(const PlateSet& plates, const Board& board1, const Board& board2)
{
  const Sides s1 = SidesOf(board1.first), s2 = SidesOf(board2.first);
  // Twice the thinner board's thickness on every half size.
  const double amount = -std::min(4.0 * s1[0].first, 4.0 * s2[0].first);
  if (WorkpieceAnalysis::ShrinkOBB(board1.first, amount).IsOut(board2.first))
    return false;
  if (!IsParallel(s1[0].second, s2[0].second, BoardAngleTol))
    return false;
  const std::vector<TopoDS_Shape> g1 = ShapesOf(plates, board1.second), g2 = ShapesOf(plates, board2.second);
  return BoardSimilarFace(g1, g2, s1[2].second) || BoardSimilarFace(g1, g2, s1[1].second);
}

bool PlateAnalysis::BoardSimilarFace(const std::vector<TopoDS_Shape>& group1, const std::vector<TopoDS_Shape>& group2,
                                     const gp_Dir& dir)
{
  const std::vector<TopoDS_Face> faces1 = FacesOf(group1), faces2 = FacesOf(group2);
  // Each face's normal once, not once per pair.
  std::vector<std::pair<bool, gp_Dir>> normals2;
  for (const TopoDS_Face& f2 : faces2)
    normals2.push_back(ShapeHandle::GetNormal(f2));
  for (const TopoDS_Face& f1 : faces1)
  {
    const auto [ok1, n1] = ShapeHandle::GetNormal(f1);
    for (std::size_t j = 0; j < faces2.size(); ++j)
    {
      const TopoDS_Face& f2 = faces2[j];
      const auto& [ok2, n2] = normals2[j];
      if (!ok1 || !ok2 || M_PI - n1.Angle(n2) > FaceAngleTol)
        continue;
      if (!IsParallel(n1, dir, FaceAngleTol) && !IsParallel(n2, dir, FaceAngleTol))
        continue;
      const auto [longest1, shortest1] = EdgeExtremes(f1);
      const auto [longest2, shortest2] = EdgeExtremes(f2);
      if (std::abs(shortest1 - shortest2) > ShortestEdgeGap)
        continue;
      const double m = std::min(shortest1, shortest2);
      if (ShapeHandle::GetFaceCenter(f1).Distance(ShapeHandle::GetFaceCenter(f2)) > 2.0 * m)
        continue;
      const double a1 = ShapeHandle::GetAreaOrVol(f1), a2 = ShapeHandle::GetAreaOrVol(f2);
      if (std::max(a1, a2) / std::min(a1, a2) > FaceAreaRatio)
        continue;
      if (std::abs(longest1 - longest2) < LongestEdgeGap)
        return true;
    }
  }
  return false;
}

std::vector<unsigned> PlateAnalysis::SimilarToWholeOBBList(const PlateSet& plates, const std::vector<Board>& boards,
                                                           double areaRatio, double lengthRatio, double angleTolerance)
{
  if (boards.empty())
    return {};
  std::vector<unsigned> all;
  for (const Board& board : boards)
    all.insert(all.end(), board.second.begin(), board.second.end());
  const Sides w = SidesOf(MergeSolids(plates, all));
  std::vector<unsigned> candidates, main;
  for (unsigned i = 0; i < boards.size(); ++i)
  {
    const Sides s = SidesOf(boards[i].first);
    if (IsParallel(s[2].second, w[2].second, angleTolerance) && s[2].first > w[2].first / lengthRatio)
    {
      candidates.push_back(i);
      main.insert(main.end(), boards[i].second.begin(), boards[i].second.end());
    }
  }
  const Sides m = SidesOf(MergeSolids(plates, main));
  const double t1 = m[2].first * m[1].first / areaRatio;
  const double t0 = m[2].first * m[0].first / areaRatio;
  std::vector<unsigned> accepted;
  for (const unsigned i : candidates)
  {
    const Sides s = SidesOf(boards[i].first);
    const double area = FaceArea(s);
    if ((area > t1 && IsParallel(s[1].second, m[1].second, angleTolerance)) ||
        (area > t0 && IsParallel(s[1].second, m[0].second, angleTolerance)))
      accepted.push_back(i);
  }
  return accepted;
}

double PlateAnalysis::GetOBBSideAreaWithVerticalDir(const Bnd_OBB& box, const gp_Dir& dir, double angleTolerance)
{
  std::vector<double> kept;
  for (const auto& [length, side] : SidesOf(box))
    if (!IsParallel(side, dir, angleTolerance))
      kept.push_back(length);
  return kept.size() < 2 ? 0.0 : kept[0] * kept[1];
}

std::vector<std::vector<int>> PlateAnalysis::GetSubPlnFaceIndexList(const PlateSet& plates,
                                                                   const std::vector<unsigned>& solids,
                                                                   const std::vector<Board>& boards)
{
  std::vector<std::vector<int>> groups;
  for (const Board& board : boards)
  {
    std::vector<int>& group = groups.emplace_back();
    for (const unsigned solid : solids)
    {
      if (std::find(board.second.begin(), board.second.end(), solid) == board.second.end())
        continue;
      const TopTools_IndexedMapOfShape& faces = plates.Faces(solid);
      for (int i = 1; i <= faces.Extent(); ++i)
        if (!GeomHandle::ConvertToPlane(faces(i), PlaneTol).IsNull())
          group.push_back(PlateSet::FaceIndex(solid, i));
    }
  }
  return groups;
}

std::tuple<std::vector<std::vector<unsigned>>, std::pair<unsigned, unsigned>> PlateAnalysis::GetMinDistanceOppositeFace(
  const PlateSet& plates, const gp_Dir& dir, const std::vector<unsigned>& solids,
  const std::vector<std::vector<int>>& faceGroups, double angleTolerance, double maxDistance)
{
  struct Along
  {
    unsigned index;
    gp_Pnt centre;
    bool forward;
  };
  std::vector<std::vector<unsigned>> groups;
  std::vector<Along> along;
  for (const std::vector<int>& faceGroup : faceGroups)
  {
    std::vector<unsigned>& group = groups.emplace_back();
    for (const int index : faceGroup)
    {
      const TopoDS_Face face = plates.Face(index);
      if (face.IsNull() || std::find(solids.begin(), solids.end(), static_cast<unsigned>(index) >> 17) == solids.end())
        continue;
      const auto [ok, normal] = ShapeHandle::GetNormal(face);
      if (!ok || !IsParallel(normal, dir, angleTolerance))
        continue;
      group.push_back(static_cast<unsigned>(index));
      along.push_back({static_cast<unsigned>(index), ShapeHandle::GetFaceCenter(face), normal.Angle(dir) <= angleTolerance});
    }
  }
  std::pair<unsigned, unsigned> closest(0, 0);
  double best = std::numeric_limits<double>::max();
  for (const Along& a : along)
    for (const Along& b : along)
    {
      if (!a.forward || b.forward)
        continue;
      const double distance = std::abs(gp_Vec(a.centre, b.centre).Dot(gp_Vec(dir)));
      if (distance <= maxDistance && distance < best)
      {
        best = distance;
        closest = {a.index, b.index};
      }
    }
  return {groups, closest};
}

std::shared_ptr<TowerCornerWorkpieceData> PlateAnalysis::AnalysisTowerCorner(const PlateSet& plates)
{
  if (plates.Indices().size() < MinTowerSolids)
    return nullptr;
  const auto [found, bottom1, bottom2, standing] = AnalysisTowerConerBottom(plates);
  if (!found)
  {
    EntityLog::Write(WORKPIECE_LOC("WorkpieceAnalysis::AnalysisTowerCorner"), SPDLOG_LEVEL_DEBUG,
                     "tower corner analysis :  fail to find bottom plate");
    return nullptr;
  }
  auto data = std::make_shared<TowerCornerWorkpieceData>();
  data->bottomPlate1 = bottom1;
  data->bottomPlate2 = bottom2;
  if (AnalysisTowerFlangePlates(plates, standing, data))
    return data;
  EntityLog::Write(WORKPIECE_LOC("WorkpieceAnalysis::AnalysisTowerCorner"), SPDLOG_LEVEL_DEBUG,
                   "tower corner analysis :  fail to distinguish the flange of tower corner");
  return nullptr;
}

std::tuple<bool, unsigned, unsigned, std::set<unsigned>> PlateAnalysis::AnalysisTowerConerBottom(const PlateSet& plates)
{
  // The bottom plate is the plate with the largest face that most plates stand on.
  std::vector<unsigned> byArea = plates.Indices();
  std::stable_sort(byArea.begin(), byArea.end(), [&](unsigned a, unsigned b) {
    return FaceArea(SidesOf(plates.Box(a))) > FaceArea(SidesOf(plates.Box(b)));
  });
  for (const unsigned bottom : byArea)
  {
    const Bnd_OBB box = plates.Box(bottom);
    if (box.IsVoid())
      continue;
    const Sides b = SidesOf(box);
    const gp_Dir normal = b[0].second;
    const double halfThickness = b[0].first * 0.5;
    const Bnd_OBB reach = WorkpieceAnalysis::ShrinkOBB(box, -2.0 * TouchTol);
    const gp_Pnt centre(box.Center());
    unsigned second = bottom;
    std::set<unsigned> above, below;
    for (const unsigned other : plates.Indices())
    {
      const Bnd_OBB otherBox = plates.Box(other);
      if (other == bottom || otherBox.IsVoid() || reach.IsOut(otherBox))
        continue;
      const Sides s = SidesOf(otherBox);
      const double offset = Offset(otherBox, centre, normal);
      if (IsParallel(s[0].second, normal, FaceAngleTol) && std::abs(offset) <= halfThickness)
      {
        if (second == bottom)
          second = other;
      }
      else if (IsPerpendicular(s[0].second, normal, FaceAngleTol) && std::abs(offset) > halfThickness)
        (offset > 0.0 ? above : below).insert(other);
    }
    std::set<unsigned>& standing = above.size() >= below.size() ? above : below;
    if (standing.size() >= MinStandingPlates)
      return {true, bottom, second, standing};
  }
  return {false, 0, 0, {}};
}

bool PlateAnalysis::AnalysisTowerFlangePlates(const PlateSet& plates, const std::set<unsigned>& standing,
                                              std::shared_ptr<TowerCornerWorkpieceData>& data)
{
  double largest = 0.0;
  for (const unsigned plate : standing)
  {
    const Bnd_OBB box = plates.Box(plate);
    const double half = std::min({box.XHSize(), box.YHSize(), box.ZHSize()});
    if (half > MaxPlateHalfThickness)
    {
      EntityLog::Write(
        WORKPIECE_LOC("WorkpieceAnalysis::AnalysisTowerFlangePlates"), SPDLOG_LEVEL_DEBUG,
        fmt::format("tower corner analysis : min_obb_dimension of plate is more than 100mm, this exception is up to {}mm",
                    2.0 * half));
      return false;
    }
    largest = std::max(largest, FaceArea(SidesOf(box)));
  }
  std::vector<unsigned> candidates;
  for (const unsigned plate : standing)
    if (FaceArea(SidesOf(plates.Box(plate))) >= MainFlangeShare * largest)
      candidates.push_back(plate);
  if (candidates.size() != 1)
  {
    EntityLog::Write(WORKPIECE_LOC("WorkpieceAnalysis::AnalysisTowerFlangePlates"), SPDLOG_LEVEL_DEBUG,
                     fmt::format("tower corner analysis : candidates_of_main_flange.size()  = {} is error ,expected size is 1",
                                 candidates.size()));
    return false;
  }
  data->mainFlange = candidates.front();
  data->stiffeners = static_cast<std::uint32_t>(standing.size() - 1);
  return true;
}
