#pragma once

#include <entity/EdgeFaceSeg.h>
#include <entity/GenericEntityConfig.h>
#include <entity/SeamExtractor.h>
#include <entity/WorkpieceData.h>
#include <entity/WorkpieceType.h>

#include <mesh/AIS_Mesh.h>
#include <mesh/MeshData.h>
#include <view/BaseViewShape.h>
#include <view/ViewShape.h>

#include <Bnd_OBB.hxx>
#include <TopoDS_Shape.hxx>
#include <gp_Pnt.hxx>
#include <gp_Trsf.hxx>

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

// A part the cell welds or paints: a configured entity without joints that rests on a bench or a
// positioner table, keeps one compound of its shapes in its own frame, carries the work paths
// planned on it and the painted model of the spray simulation.
//
// Placement: R is the root transform, A the assembly transform, P the parent's assembly transform.
// UpdateRootTrsf(T) sets R = T·A, so a parent that passes its own frame carries the workpiece along.
class Workpiece : public GenericEntityConfig
{
public:
  Workpiece();
  // Takes over the display tree and builds the collision model.
  explicit Workpiece(const opencascade::handle<ViewShape>& shape);

  // Reads a STEP, IGES or BREP file into a workpiece with one sub-model per solid, named as the
  // file names them; throws WorkpieceError when the file cannot be read or holds no face.
  static std::unique_ptr<Workpiece> FromPartFile(const std::string& path);

  // The entity's JSON object plus "EntityTrsf", "Bench" and "AssemblT".
  Json::Value ToJson(const std::string& dir) override;
  // Restores the entity, its placement and its assembly transform; the work paths are cleared.
  void LoadFromJson(const Json::Value& json) override;
  // Takes over the display tree, draws face boundaries and builds the collision model.
  void SetEntityShape(const opencascade::handle<ViewShape>& shape) override;
  // Sets the root and draws face boundaries; builds no collision model.
  void SetRootMdl(const opencascade::handle<ViewShape>& root) override;
  ~Workpiece() override;

  // Sets R = trsf·A and moves every work path by the change of R.
  void UpdateRootTrsf(const gp_Trsf& trsf, bool updateView) override;
  // UpdateRootTrsf(trsf·R): note that A is applied again on the right.
  void TransformedBy(const gp_Trsf& trsf) override;
  // Places the workpiece at `trsf` in the world and keeps it there relative to its parent.
  void UpdatePlacementTrsf(const gp_Trsf& trsf);
  // Takes the present placement relative to the parent as the assembly transform (A = P⁻¹·R).
  void UpdateWorkpieceAssemble();

  // The root display shape alone.
  std::vector<opencascade::handle<ShapeEntity>> GetFixMdls() const override;
  std::vector<opencascade::handle<ShapeEntity>> GetCollisionFixMdls() const override;
  std::vector<opencascade::handle<ShapeEntity>> GetSubCollisionParts() const override;
  // Builds the collision model of the entire shape (or of the meshes of a mesh model) once until
  // it is marked outdated again; models of kinds 2 and 3 get none.
  void CreateCollisionMdl() override;
  // Rebuilds the entire shape from the display tree.
  void UpdateEntireShp();

  // The record's type, Ordinary without a record.
  WorkpieceType GetType() const;
  std::shared_ptr<WorkpieceData> GetWorkpieceDataPtr() const { return myWorkpieceData; }
  // The entity the workpiece rests on (not owned), null when none.
  void SetBench(Entity* bench) { myBench = bench; }
  Entity* GetBench() const { return myBench; }
  gp_Trsf GetTransformation() const { return GetRootMdlTrsf(); }
  // Compound of every shape of the display tree in the workpiece's own frame.
  TopoDS_Shape GetEntireShape() const { return myEntireShape; }
  // A new display shape of the entire shape, sharing the root's mesh side.
  opencascade::handle<ViewShape> GetEntireViewShape() const;
  // For a model of kind 2, the first sub-model built from drawing parameters, placed.
  std::optional<TopoDS_Shape> GetDwgParaMdl() const;
  // The whole mesh, its transform set to the root transform.
  std::shared_ptr<MeshData> GetEntireMeshData();

  // Answers the analyses rely on: a workpiece of this library exposes no solid indices.
  TopoDS_Shape GetShapeByIndex(unsigned index);
  std::vector<std::uint32_t> GetAllSolidIndices();
  // A void box.
  Bnd_OBB GetSubShapeOBB(unsigned index);
  double GetSubShapeMass(unsigned index) const;
  bool GetCurComplex() { return true; }
  bool IsWeldExtract() { return true; }
  // Always empty: seams come from ExtractSeams.
  const std::vector<EdgeFaceSeg> GetWeldableSegs() const;

  // Runs the seam extractor over the entire shape and places the seams' edges and faces where the
  // workpiece stands now (world coordinates).
  SeamExtractor::Result ExtractSeams(const SeamExtractor::Options& options = SeamExtractor::Options()) const;

  // Adds the triangles of `mesh` that face `viewpoint` to the painted model (created on first use).
  void AddPaintModel(const std::shared_ptr<MeshData>& mesh, const gp_Pnt& viewpoint);
  // Detaches the painted model from the display tree and the view and drops it.
  void ClearPaintModel();
  // Shows the painted model, or redraws it when shown.
  void UpdatePaintModel();
  // Rebuilds the painted workpiece's watertight mesh, unless one is still being built.
  void UpdatePaintedModel();
  // Marks the workpiece as painted; becoming painted builds its watertight mesh in the background.
  void SetPaintedWorkpiece(bool painted);
  const opencascade::handle<mesh::AIS_Mesh>& GetPaintModel() const { return myPaintModel; }
  // Share (0 to 1) of the workpiece's surface area that the painted model covers; a triangle
  // sprayed several times counts once.
  double GetPaintedShare();

  // Index 0 is ignored; an index already present gets the new path.
  void AddWorkPath(unsigned long long index, const opencascade::handle<BaseViewShape>& path);
  // Erases the entry of `index`; `path` is not looked at.
  void DeleteWorkPath(unsigned long long index, const opencascade::handle<BaseViewShape>& path);
  const std::map<unsigned long long, opencascade::handle<BaseViewShape>>& GetWorkPath() const { return myWorkPaths; }

private:
  // Entity::SetEntityShape, then face boundaries on the new root.
  void TakeOver(const opencascade::handle<ViewShape>& shape);
  // Compound of the display tree's shapes with the root at the identity.
  TopoDS_Shape GetEntireShapeMdlForCollision();
  void ClearPaths() { myWorkPaths.clear(); }

  TopoDS_Shape myEntireShape;
  std::map<unsigned long long, opencascade::handle<BaseViewShape>> myWorkPaths;
  Entity* myBench = nullptr;
  opencascade::handle<mesh::AIS_Mesh> myPaintModel;
  bool myPaintModelFlag = true;
  std::shared_ptr<WorkpieceData> myWorkpieceData;
  // Whether the entity's mesh was built with the root at the identity and not yet used.
  bool myOwnFrameMesh = false;
};
