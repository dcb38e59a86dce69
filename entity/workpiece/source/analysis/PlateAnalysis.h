#pragma once

#include "analysis/PlateSet.h"

#include <entity/TowerCornerWorkpieceData.h>

#include <Bnd_OBB.hxx>
#include <TopoDS_Shape.hxx>
#include <gp_Dir.hxx>

#include <memory>
#include <set>
#include <tuple>
#include <utility>
#include <vector>

// The board-box reasoning and the tower-corner recognition on a set of solids. A board is an
// oriented box with the indices of the solids that form one plate.
class PlateAnalysis
{
public:
  using Board = std::pair<Bnd_OBB, std::vector<unsigned>>;

  // Two directions are parallel within `tolerance` (rad) whatever their sense.
  static bool IsParallel(const gp_Dir& d1, const gp_Dir& d2, double tolerance);

  // The oriented box of the listed solids taken together, in the order given.
  static Bnd_OBB MergeSolids(const PlateSet& plates, const std::vector<unsigned>& solids);
  // Whether two boards are parts of one plate.
  static bool JudgeBoardMerge(const PlateSet& plates, const Board& board1, const Board& board2);
  // Whether the groups hold a pair of facing faces of similar size with normals along `dir`.
  static bool BoardSimilarFace(const std::vector<TopoDS_Shape>& group1, const std::vector<TopoDS_Shape>& group2,
                               const gp_Dir& dir);
  // Indices of the boards that run along the whole set.
  static std::vector<unsigned> SimilarToWholeOBBList(const PlateSet& plates, const std::vector<Board>& boards,
                                                     double areaRatio, double lengthRatio, double angleTolerance);
  // Area of the box face that stands upright when `dir` is vertical (0.0 unless two sides are kept).
  static double GetOBBSideAreaWithVerticalDir(const Bnd_OBB& box, const gp_Dir& dir, double angleTolerance);
  // Per board, the face indices of the planar faces of those of `solids` that belong to it.
  static std::vector<std::vector<int>> GetSubPlnFaceIndexList(const PlateSet& plates, const std::vector<unsigned>& solids,
                                                             const std::vector<Board>& boards);
  // Per group, the faces of `solids` whose normal is along `dir`; and the pair of opposite such faces
  // (the first facing along dir) whose planes are closest, no farther than maxDistance; (0, 0) if none.
  static std::tuple<std::vector<std::vector<unsigned>>, std::pair<unsigned, unsigned>> GetMinDistanceOppositeFace(
    const PlateSet& plates, const gp_Dir& dir, const std::vector<unsigned>& solids,
    const std::vector<std::vector<int>>& faceGroups, double angleTolerance, double maxDistance);

  // The record of a tower corner, or an empty pointer (with a debug message when it fails late).
  static std::shared_ptr<TowerCornerWorkpieceData> AnalysisTowerCorner(const PlateSet& plates);
  // The bottom plate (its solid twice when it is one solid) and the plates standing on it.
  static std::tuple<bool, unsigned, unsigned, std::set<unsigned>> AnalysisTowerConerBottom(const PlateSet& plates);
  // Checks the standing plates and fills the flange part of the record.
  static bool AnalysisTowerFlangePlates(const PlateSet& plates, const std::set<unsigned>& standing,
                                        std::shared_ptr<TowerCornerWorkpieceData>& data);
};
