#pragma once

#include <entity/ShapeEntity.h>

#include <cadtools/Uuid.h>
#include <mesh/AIS_Mesh.h>
#include <mesh/MeshData.h>
#include <view/ViewShape.h>

#include <AIS_ColoredDrawer.hxx>
#include <NCollection_DataMap.hxx>
#include <TopTools_ShapeMapHasher.hxx>
#include <gp_Trsf.hxx>
#include <json/value.h>

#include <future>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

// A placeable object of the cell: one root display tree whose parts are indexed by hash index.
class Entity
{
public:
  Entity();
  Entity(const Entity&) = delete;
  Entity& operator=(const Entity&) = delete;

  // Does nothing here; mechanisms release their links.
  virtual void Delete();
  // Toggles the visibility of a part (and its taking part in collision checks).
  virtual void Hide(unsigned long long hashIndex);
  // Returns the entity's JSON object; a non-empty `dir` (ending with a separator) also writes the
  // display tree, in the entity's own frame, to dir + "entity/<id>.json".
  virtual Json::Value ToJson(const std::string& dir);
  // Restores the display tree from the file the object names, then the identity.
  virtual void LoadFromJson(const Json::Value& json);
  // Takes over a display tree: removes small bodies, builds the whole mesh, registers every part.
  virtual void SetEntityShape(const opencascade::handle<ViewShape>& shape);
  // Sets the root and registers its parts, keeping earlier registrations.
  virtual void SetRootMdl(const opencascade::handle<ViewShape>& root);
  virtual void SetRootMdlTrsf(const gp_Trsf& trsf);

protected:
  virtual void UpdateCollisionMdlState();

public:
  virtual ~Entity();

  const opencascade::handle<ViewShape>& GetRootMdl() const { return myRootMdl; }
  const Uuid& GetRootMdlID() const;
  const Uuid& GetRootMdlPrimitiveID() const;
  std::string GetName() const;

  // Returns the entity's hash index, computed from the root's id on first use.
  unsigned long long GetHashIndex() const;
  // Stores the hash index here and in the root.
  void SetHashIndex(unsigned long long index);

  void AddSubMdl(const opencascade::handle<ShapeEntity>& part);
  // Detaches and returns a part; an unknown index throws as GetPart does.
  opencascade::handle<ShapeEntity> RemoveSubMdl(unsigned long long hashIndex);
  // Returns the part (0: the root); an unknown index logs a critical message and throws a std::string.
  opencascade::handle<ShapeEntity> GetPart(unsigned long long hashIndex) const;
  const std::map<unsigned long long, opencascade::handle<ShapeEntity>>& GetSubMdls() const { return mySubMdls; }

  // Sets the collision gap of every part.
  void SetCheckCollisionGap(double gap);

  // Returns the sub-shape colours of all parts (a later part wins on a shared sub-shape).
  NCollection_DataMap<TopoDS_Shape, opencascade::handle<AIS_ColoredDrawer>, TopTools_ShapeMapHasher>
  GetAllSubModelsColors() const;

  // Returns the meshes among the display leaves below `object` (the object itself when it is a leaf).
  static std::vector<opencascade::handle<mesh::AIS_Mesh>> GetMeshSubModels(
    const opencascade::handle<AIS_InteractiveObject>& object);

  // Returns the entity's whole mesh (world placement), waiting for a build in progress.
  std::shared_ptr<MeshData> GetMeshPtr() const;
  // Returns the entity's whole mesh, or the watertight mesh of `shape` when one is given.
  std::shared_ptr<MeshData> GetEntireMeshData(const TopoDS_Shape& shape = TopoDS_Shape()) const;
  // Rebuilds the entity's whole mesh from `shape` on the thread pool, registering it when
  // `registerMesh`; waits for it when `wait` (else IsLoadMeshModel is true until it is done).
  void UpdateWatertightMeshModel(const TopoDS_Shape& shape, bool registerMesh = true, bool wait = true);
  // Returns whether the shape is a small body: a solid whose volume is within the small-body volume.
  bool IsSmallEntitys(const TopoDS_Shape& shape) const;
  // Sets the volume (mm³) up to which a solid counts as a small body and is dropped when the entity
  // takes over a display tree; 0 (the default) drops only solids without volume.
  void SetSmallBodyVolume(double volume) { mySmallBodyVolume = volume; }
  // Sets the linear deflection (mm) of the entity's meshes; 0 (the default) takes a per-mille of
  // the meshed shape's bounding diagonal.
  void SetMeshDeflection(double deflection) { myMeshDeflection = deflection; }

  void UpdateEntityInUnity() const;

  // Whether the entity is painted: its watertight mesh is what the painting simulation sprays.
  bool IsPaintedEntity() const { return myPainted; }
  void SetPaintedEntity(bool painted) { myPainted = painted; }
  // Held while the entity's display models change, so that no other thread draws them halfway.
  std::mutex& GetModelMutex() const { return myModelMutex; }

  // Returns the process-wide context map (filled by its users).
  static std::map<std::string, opencascade::handle<ViewShape>>& ChangeContextEntity();
  // Returns the whole mesh registered under an entity's hash index, null when none.
  static std::shared_ptr<MeshData> GetRegisteredMesh(unsigned long long hashIndex);

protected:
  // Returns whether a mesh model is still being built.
  bool IsLoadMeshModel() const;
  // Gives a deep copy of its shape to every part that shares a shape body with an earlier part.
  void CheckSameShps() const;
  void CheckSubMdlHasLayer();
  // Forgets every registered part (the display tree is left as it is).
  void ClearSubMdls() { mySubMdls.clear(); }
  // The take-over of a new display tree in two steps, so that a subclass changes its own state only
  // once the tree is known to be good. The first cleans the tree's small bodies and builds its whole
  // mesh, changing nothing of the entity (a WorkpieceError when the kernel refuses the tree); the
  // second makes the tree the root with that mesh. Both do nothing for a null tree.
  std::shared_ptr<MeshData> PrepareEntityShape(const opencascade::handle<ViewShape>& shape) const;
  void CommitEntityShape(const opencascade::handle<ViewShape>& shape, std::shared_ptr<MeshData> mesh);

private:
  // Returns the shape without its small bodies (logs and returns it unchanged on failure).
  TopoDS_Shape RemoveSmallBodies(const TopoDS_Shape& shape) const;
  // Returns the linear deflection used to mesh the tree under `root`.
  double MeshDeflection(const opencascade::handle<ViewShape>& root) const;

  opencascade::handle<ViewShape> myRootMdl;
  mutable std::shared_ptr<MeshData> myMesh;
  // Display-tree take-over settings.
  double myMeshDeflection = 0.0;   // absolute deflection in mm; 0: a per-mille of the tree's size
  double mySmallBodyVolume = 0.0;  // solids at or below this volume (mm³) count as small bodies
  std::map<unsigned long long, opencascade::handle<ShapeEntity>> mySubMdls;
  mutable unsigned long long myHashIndex = 0;
  mutable bool myLoadMeshModel = false;
  // The mesh being built in the background, and whether to register it when it is taken.
  mutable std::future<std::shared_ptr<MeshData>> myPendingMesh;
  mutable bool myRegisterPending = false;
  bool myPainted = false;
  mutable std::mutex myModelMutex;

  // Takes the background mesh into myMesh when it is ready (or waits for it when `wait`).
  void CollectPendingMesh(bool wait) const;
};
