#pragma once

#include <view/BaseViewShape.h>
#include <view/MeshShape.h>

#include <cadtools/Uuid.h>
#include <mesh/AIS_Mesh.h>
#include <mesh/MeshData.h>
#include <pointcloud/CloudShape.h>

#include <memory>
#include <string>
#include <vector>

// A node of a display-shape tree: identity, model type, hash index, placements and collision side.
// Children are display children (PrsMgr_PresentableObject); a child knows its parent only by the
// plain pointer the presentation layer keeps.
class ViewShape : public BaseViewShape, public MeshShape
{
  DEFINE_STANDARD_RTTIEXT(ViewShape, BaseViewShape)
public:
  // Model types.
  static constexpr int BRepModel = 0;
  static constexpr int MeshModel = 1;
  static constexpr int CloudModel = 3;

  // A node showing `shape` (may be null) named by `id`; its hash index is HashIndexOf(id).
  ViewShape(const TopoDS_Shape& shape, const Uuid& id);

  // Returns the 64-bit FNV-1a hash of the id's text form.
  static unsigned long long HashIndexOf(const Uuid& id);

  const Uuid& GetId() const { return myId; }
  void SetId(const Uuid& id) { myId = id; }
  const std::string& GetName() const { return myName; }
  void SetName(const std::string& name) { myName = name; }
  const std::string& GetPrimitiveName() const { return myPrimitiveName; }
  const Uuid& GetPrimitiveId() const { return myPrimitiveId; }
  void SetPrimitiveProperty(const std::string& name, const Uuid& id);
  int GetModelType() const { return myModelType; }
  void SetModelType(int type) { myModelType = type; }
  unsigned long long GetHashIndex() const { return myHashIndex; }
  void SetHashIndex(unsigned long long index) { myHashIndex = index; }

  // Placement of the node when its mechanism is at rest.
  const gp_Trsf& GetInitTrsf() const { return myInitTrsf; }
  void SetInitTrsf(const gp_Trsf& trsf) { myInitTrsf = trsf; }
  // Takes the present world placement as the initial and the collision placement.
  void UpdateInitState();

  // Returns the topological shape shown (null when the node only groups children).
  const TopoDS_Shape& GetEntityShape() const { return Shape(); }
  // Shows `shape` instead, keeping colours of sub-shapes it still contains.
  void SetEntityShape(const TopoDS_Shape& shape);

  // Returns every ViewShape below this node, depth first, parents before their children.
  std::vector<Handle(ViewShape)> GetAllSubViewShapes() const;
  // Returns the ViewShape below this node with that id, null when none.
  Handle(ViewShape) GetChildById(const Uuid& id) const;
  // Returns the number of direct display children.
  int ChildCount() const;
  // Adds the shapes as display children keeping their local transformations.
  void AddShapeListToAISChilde(const std::vector<Handle(ViewShape)>& children);

  // Gives the sub-shape its own colour, transparency and material (a Graphic3d_NameOfMaterial number;
  // out of range: the present material).
  void SetSubShapeAspect(const TopoDS_Shape& subShape, const Quantity_Color& color, double transparency, int material);

  // Draws face boundaries (dark grey, solid, 1.2 wide) on this node and every node below.
  void SetFaceBoundary();
  // Brings the presentation up to date with changed sub-shape colours when the layer flag is set.
  void UpdateMdlColorLayer();
  // Tells the view that the entity moved.
  void UpdateEntityInUnity() const;

  // Returns the first mesh among the display children, null when none.
  Handle(mesh::AIS_Mesh) GetMesh() const;
  // Returns the first point cloud among the display children, null when none.
  Handle(CloudShape) GetCloudShape() const;
  // Returns the node's mesh (its mesh child's layers, or its shape's watertight mesh) in world placement.
  std::shared_ptr<MeshData> GetEntireMeshData() const;

  // Copies the display state of `other`: names, primitive, model type, colours, sub-shape aspects
  // (those on sub-shapes this node shows), placements and collision side; not its id or hash index.
  void CopyFrom(const Handle(ViewShape)& other);
  void CopyFrom(const ViewShape& other);

  using MeshShape::CreateBVHMdl;
  // Builds the collision model from the node's own shape.
  bool CreateBVHMdl(bool force);

  // Sets the local transformation; redisplays when `update`.
  virtual void SetTrsf(const gp_Trsf& trsf, bool update);
  // Places the node: here the same as SetTrsf; parts of an entity take a world placement.
  virtual void SetTransformation(const gp_Trsf& trsf, bool update);
  virtual bool IsSelected() const;
  virtual void SetSelectedState(bool selected) const;
  virtual void UpdateView(bool updateViewer) const;
  virtual void AddOrRemoveSelected(bool update) const;
  virtual void RecomputeSelectionOnly() const;
  // Re-applies the base colour and the face boundary after a highlight.
  virtual void RestoreFaceColor();

  // Colour and style of face boundaries.
  static constexpr double FaceBoundaryGrey = 5.0 / 255.0;
  static constexpr double FaceBoundaryWidth = 1.2;

private:
  Uuid myId;
  std::string myName;
  std::string myPrimitiveName;
  Uuid myPrimitiveId;
  int myModelType = BRepModel;
  unsigned long long myHashIndex = 0;
  gp_Trsf myInitTrsf;
};
