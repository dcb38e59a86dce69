#include <view/BaseViewShape.h>
#include <view/CADView.h>

#include <BRepBuilderAPI_MakeSolid.hxx>
#include <BRep_Tool.hxx>
#include <Prs3d_ShadingAspect.hxx>
#include <TopoDS.hxx>

IMPLEMENT_STANDARD_RTTIEXT(BaseViewShape, AIS_ColoredShape)

BaseViewShape::BaseViewShape(const TopoDS_Shape& shape) : AIS_ColoredShape(shape) {}

CADView& BaseViewShape::GetCADView() const
{
  return myView != nullptr ? *myView : CADView::Default();
}

CADView* BaseViewShape::GetCADViewPtr() const
{
  return &GetCADView();
}

void BaseViewShape::SetCADView(CADView* view)
{
  myView = view;
}

void BaseViewShape::Display(bool update)
{
  const Handle(BaseViewShape) self(this);
  GetCADView().Display(self, update);
}

void BaseViewShape::Hide(bool update)
{
  const Handle(BaseViewShape) self(this);
  GetCADView().Erase(self, update);
}

bool BaseViewShape::IsDisplayed() const
{
  const Handle(BaseViewShape) self(this);
  return GetCADView().IsDisplayed(self);
}

void BaseViewShape::RedisplayShape(bool keepHidden, bool update)
{
  const Handle(BaseViewShape) self(this);
  if (IsDisplayed())
    GetCADView().Redisplay(self, update, true);
  else if (!keepHidden)
    GetCADView().Display(self, update);
  else
    SetToUpdate();
}

void BaseViewShape::RemoveFromView(bool update)
{
  const Handle(BaseViewShape) self(this);
  GetCADView().Remove(self, update);
}

Quantity_Color BaseViewShape::GetColor() const
{
  Quantity_Color color;
  if (HasColor())
    Color(color);
  else if (const Handle(Prs3d_ShadingAspect)& shading = myDrawer->ShadingAspect(); !shading.IsNull())
    color = shading->Color(Aspect_TOFM_FRONT_SIDE);
  return color;
}

void BaseViewShape::TransformedBy(const gp_Trsf& trsf, bool update)
{
  SetLocalTransformation(trsf.Multiplied(LocalTransformation()));
  if (update)
    GetCADView().Redraw();
}

TopoDS_Shape BaseViewShape::GetTopoDSFromShell(const TopoDS_Shape& shape)
{
  if (shape.IsNull() || shape.ShapeType() != TopAbs_SHELL || !BRep_Tool::IsClosed(shape))
    return shape;
  BRepBuilderAPI_MakeSolid maker(TopoDS::Shell(shape));
  return maker.IsDone() ? maker.Shape() : shape;
}
