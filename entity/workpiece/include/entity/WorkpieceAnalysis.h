#pragma once

#include <entity/TowerCornerWorkpieceData.h>
#include <entity/WorkpieceData.h>

#include <Bnd_OBB.hxx>
#include <TopoDS_Shape.hxx>
#include <gp_Dir.hxx>
#include <gp_Pnt.hxx>
#include <gp_Trsf.hxx>

#include <memory>
#include <set>
#include <tuple>
#include <utility>
#include <vector>

class Workpiece;

// Reasoning on a workpiece's plates (boards: an oriented box with the solid indices that form one
// plate), recognition of its kind and its placement at a working position. Every operation returns
// its failure through its result and leaves the workpiece where it is.
class WorkpieceAnalysis
{
public:
  // The record of the workpiece's kind; this library classifies nothing and returns an empty pointer.
  static std::shared_ptr<WorkpieceData> AnalysisWorkpieceData(Workpiece* const workpiece);

  // One box around all boxes, with the axes of the largest (a void box for none).
  static Bnd_OBB MergeOBBList(std::vector<Bnd_OBB> boxes);
  // The oriented box of the listed solids taken together.
  static Bnd_OBB MergeOBBList(Workpiece* const workpiece, const std::vector<unsigned>& solids);
  // The box with every half size reduced by amount/2 (grown when negative), never below 0.001.
  static Bnd_OBB ShrinkOBB(const Bnd_OBB& box, double amount);
  static Bnd_OBB ShrinkOBB(Workpiece* const workpiece, unsigned solid, double amount);

  // The transform that carries the workpiece onto the target frame's XY plane, its long side along
  // `dir`, by the placement of its kind.
  static std::tuple<bool, gp_Trsf> OrgWorkpieceLocaitonTo(Workpiece* const workpiece, const gp_Trsf& target,
                                                          const gp_Pnt& point, const gp_Dir& dir);
  // The same with target, point and dir given in the workpiece's present frame; returns the change
  // to apply on top of its present placement.
  static std::tuple<bool, gp_Trsf> OrgWorkpieceLocaitonByTrsf(Workpiece* const workpiece, const gp_Trsf& target,
                                                              const gp_Pnt& point, const gp_Dir& dir);

private:
  // The plate reasoning works on the solids the workpiece exposes (GetAllSolidIndices,
  // GetShapeByIndex, GetSubShapeOBB); the comments of analysis/PlateAnalysis.h say what each answers.
  static Bnd_OBB MergeMainBoardOBB(Workpiece* const workpiece, std::vector<unsigned> solids);
  static bool JudgeBoardMerge(Workpiece* const workpiece, const std::pair<Bnd_OBB, std::vector<unsigned>>& board1,
                              const std::pair<Bnd_OBB, std::vector<unsigned>>& board2);
  static bool BoardSimilarFace(const std::vector<TopoDS_Shape>& group1, const std::vector<TopoDS_Shape>& group2,
                               gp_Dir dir);
  static std::vector<unsigned> SimilarToWholeOBBList(
    Workpiece* const workpiece, const std::vector<std::pair<Bnd_OBB, std::vector<unsigned>>>& boards,
    double areaRatio, double lengthRatio, double angleTolerance);
  static double GetOBBSideAreaWithVerticalDir(const Bnd_OBB& box, const gp_Dir& dir, double angleTolerance);
  static std::vector<std::vector<int>> GetSubPlnFaceIndexList(
    Workpiece* const workpiece, const std::vector<unsigned>& solids,
    const std::vector<std::pair<Bnd_OBB, std::vector<unsigned>>>& boards);
  static std::tuple<std::vector<std::vector<unsigned>>, std::pair<unsigned, unsigned>> GetMinDistanceOppositeFace(
    Workpiece* const workpiece, const gp_Dir& dir, const std::vector<unsigned>& solids,
    const std::vector<std::vector<int>>& faceGroups, double angleTolerance, double maxDistance);

  static std::shared_ptr<TowerCornerWorkpieceData> AnalysisTowerCorner(Workpiece* const workpiece);
  static std::tuple<bool, unsigned, unsigned, std::set<unsigned>> AnalysisTowerConerBottom(Workpiece* const workpiece);
  static bool AnalysisTowerFlangePlates(Workpiece* const workpiece, const std::set<unsigned>& plates,
                                        std::shared_ptr<TowerCornerWorkpieceData>& data);

  // Stands the part on a large face it can rest on, its long side along dir.
  static std::tuple<bool, gp_Trsf> OrdinaryWorkpieceLocaitonTo(Workpiece* const workpiece, const gp_Trsf& target,
                                                               const gp_Pnt& point, const gp_Dir& dir);
  // An H-beam lying on a flange with its web upright and its length along dir, centred under the
  // point; turned over, on the other flange.
  static std::tuple<bool, gp_Trsf> HBeamOrgWorkpieceLocaitonTo(Workpiece* const workpiece,
                                                               std::shared_ptr<WorkpieceData> data,
                                                               const gp_Trsf& target, const gp_Pnt& point,
                                                               const gp_Dir& dir, bool turnOver);
  // The same with the beam's rear end (along dir) brought to the point.
  static std::tuple<bool, gp_Trsf> ExtraHBeamOrgWorkpieceLocaitonTo(Workpiece* const workpiece,
                                                                    std::shared_ptr<WorkpieceData> data,
                                                                    const gp_Trsf& target, const gp_Pnt& point,
                                                                    const gp_Dir& dir, bool turnOver);
  // A box column lying on its widest side face, its length along dir.
  static std::tuple<bool, gp_Trsf> BoxColumnOrgWorkpieceLocaitonTo(Workpiece* const workpiece,
                                                                   std::shared_ptr<WorkpieceData> data,
                                                                   const gp_Trsf& target, const gp_Pnt& point,
                                                                   const gp_Dir& dir);
  // A tower corner on its bottom plate at the target's origin, its main flange along the target's X.
  static std::tuple<bool, gp_Trsf> TowerCornerOrgWorkpieceLocaitonTo(Workpiece* const workpiece,
                                                                     std::shared_ptr<WorkpieceData> data,
                                                                     const gp_Trsf& target);
};
