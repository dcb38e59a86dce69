#pragma once

#include <view/ViewShape.h>

#include <cadtools/Uuid.h>
#include <pointcloud/CloudShape.h>

#include <json/value.h>

#include <vector>

// One displayable part of an entity: a display shape placed by world transforms, tied to the host
// view for selection and redraw, optionally carrying a mesh or a point cloud as display child.
class ShapeEntity : public ViewShape
{
  DEFINE_STANDARD_RTTIEXT(ShapeEntity, ViewShape)
public:
  ShapeEntity(const TopoDS_Shape& shape, Uuid id);
  // A new display object with the same shape, id, display state and need-save flag.
  ShapeEntity(const ShapeEntity& other);
  // Takes the shape, id, hash index, display state and need-save flag of `other`.
  ShapeEntity& operator=(const ShapeEntity& other);

  // Whether the part is written when its entity is saved.
  bool NeedSave() const { return myNeedSave; }
  void SetNeedSave(bool needSave) { myNeedSave = needSave; }
  // Whether the part takes part in collision checks ("CollisionPart" of its display-tree node).
  bool IsCollisionPart() const { return myCollisionPart; }
  void SetCollisionPart(bool collisionPart) { myCollisionPart = collisionPart; }
  // Whether the part was built from drawing parameters ("DrawingPara" of its display-tree node).
  bool IsDrawingPara() const { return myDrawingPara; }
  void SetDrawingPara(bool drawingPara) { myDrawingPara = drawingPara; }

  // Places the part at the world transform `world`, taking out its display parent's placement.
  void SetTransformation(const gp_Trsf& world, bool update) override;
  bool IsSelected() const override;
  void SetSelectedState(bool selected) const override;
  void UpdateView(bool updateViewer) const override;
  void AddOrRemoveSelected(bool update) const override;
  void RecomputeSelectionOnly() const override;
  // Restores colours and face boundaries of the part and of its sub-tree after a highlight.
  void RestoreFaceColor() override;

  // Makes the part a mesh model from the mesh JSON form; returns whether the form was read.
  bool CreateMeshData(const Json::Value& json);
  // Makes the part a point-cloud model from a JSON string holding PCD text; returns whether it was read.
  bool CreateCloudData(const Json::Value& json);
  // Builds the collision hierarchy over the clouds; its success becomes the collision-active flag.
  // The hierarchy is always rebuilt, so the second argument (a forced rebuild) changes nothing.
  void CreateEntireCloudsBVHMdl(const std::vector<Handle(CloudShape)>& clouds, bool);
  // Returns the first point cloud among the part's display descendants, null when none.
  Handle(CloudShape) GetCollisionCloud() const;

private:
  bool myNeedSave = true;
  bool myCollisionPart = true;
  bool myDrawingPara = false;
};
