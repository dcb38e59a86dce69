#pragma once

#include <AIS_ColoredShape.hxx>
#include <Quantity_Color.hxx>
#include <TopoDS_Shape.hxx>
#include <gp_Trsf.hxx>

class CADView;

// A displayable shape with per-sub-shape colours, shown in a CADView (the process default unless set).
class BaseViewShape : public AIS_ColoredShape
{
  DEFINE_STANDARD_RTTIEXT(BaseViewShape, AIS_ColoredShape)
public:
  explicit BaseViewShape(const TopoDS_Shape& shape);

  // Returns the view this shape is shown in.
  CADView& GetCADView() const;
  CADView* GetCADViewPtr() const;
  // Uses `view` from now on (null: the default view); the caller keeps it alive.
  void SetCADView(CADView* view);

  void Display(bool update = false);
  // Hides the shape; it stays known to the view.
  void Hide(bool update = false);
  bool IsDisplayed() const;
  // Recomputes the presentation; a hidden shape is shown again unless `keepHidden`.
  void RedisplayShape(bool keepHidden, bool update);
  void RemoveFromView(bool update = false);

  // Returns the base colour of the whole shape (the default shading colour when none was set).
  Quantity_Color GetColor() const;

  // Moves the shape by `trsf` on the left of its local transformation; redisplays when `update`.
  void TransformedBy(const gp_Trsf& trsf, bool update);

  // Returns the shape to write and mesh for `shape`: a closed shell becomes its solid, anything else
  // is returned as it is.
  static TopoDS_Shape GetTopoDSFromShell(const TopoDS_Shape& shape);

  // Flag telling that the per-sub-shape colours changed and the presentation must follow.
  void SetUpdateLayerFlag(bool flag) { myUpdateLayer = flag; }
  bool GetUpdateLayerFlag() const { return myUpdateLayer; }

private:
  CADView* myView = nullptr;
  bool myUpdateLayer = false;
};
