#include <view/SceneRenderer.h>

#include <view/CADView.h>
#include <view/VirtualDisplay.h>

#include <cadtools/WorkpieceError.h>

#include <AIS_Shape.hxx>
#include <AIS_TextLabel.hxx>
#include <AIS_Trihedron.hxx>
#include <BRepBuilderAPI_MakeEdge.hxx>
#include <Font_NameOfFont.hxx>
#include <Geom_Axis2Placement.hxx>
#include <Graphic3d_TransformPers.hxx>
#include <Prs3d_DatumAspect.hxx>
#include <Prs3d_LineAspect.hxx>
#include <TopoDS_Edge.hxx>
#include <V3d_AmbientLight.hxx>
#include <V3d_DirectionalLight.hxx>
#include <V3d_View.hxx>
#include <gp_Ax2.hxx>

#include <utility>

namespace
{
// The neutral colour of parts and the colour of their edges.
const Quantity_Color PartColor(0.78, 0.80, 0.82, Quantity_TOC_sRGB);
const Quantity_Color EdgeColor(0.20, 0.20, 0.22, Quantity_TOC_sRGB);
const Quantity_Color TextColor(0.10, 0.10, 0.10, Quantity_TOC_sRGB);
constexpr double EdgeWidth = 1.0;
constexpr double FrameWidth = 3.0;
// Light intensities: the key light from above, in front and to the right, a weaker fill from the left.
constexpr float AmbientIntensity = 0.35f;
constexpr float KeyIntensity = 0.6f;
constexpr float FillIntensity = 0.3f;
constexpr double MatteSpecular = 0.05;
// Free space around the scene when the camera is fitted, as a share of the picture.
constexpr double FitMargin = 0.08;
// Legend layout in pixels: distance from the corner, text height, line pitch, swatch length, gap.
constexpr int LegendInset = 16;
constexpr double LegendTextHeight = 18.0;
constexpr double LegendPitch = 26.0;
constexpr double SwatchLength = 28.0;
constexpr double SwatchGap = 10.0;

// Returns a material without a strong highlight: under fixed lights a glossy face seen straight on
// would turn white and lose its colour.
Graphic3d_MaterialAspect Matte()
{
  Graphic3d_MaterialAspect material(Graphic3d_NameOfMaterial_Plastified);
  material.SetSpecularColor(Quantity_Color(MatteSpecular, MatteSpecular, MatteSpecular, Quantity_TOC_RGB));
  return material;
}

V3d_TypeOfOrientation Orientation(SceneRenderer::Direction direction)
{
  switch (direction)
  {
  case SceneRenderer::Direction::Top:
    return V3d_Zpos;
  case SceneRenderer::Direction::Front:
    return V3d_Yneg;
  case SceneRenderer::Direction::Right:
    return V3d_Xpos;
  case SceneRenderer::Direction::Iso:
    break;
  }
  return V3d_XposYnegZpos;
}

Json::Value Triple(const gp_XYZ& xyz)
{
  Json::Value triple(Json::arrayValue);
  triple.append(xyz.X());
  triple.append(xyz.Y());
  triple.append(xyz.Z());
  return triple;
}

// Returns a presentation of `shape` shaded in `color` with its face boundaries.
Handle(AIS_Shape) Shaded(const TopoDS_Shape& shape, const Quantity_Color& color)
{
  Handle(AIS_Shape) shaded = new AIS_Shape(shape);
  shaded->SetColor(color);
  shaded->SetMaterial(Matte());
  shaded->Attributes()->SetFaceBoundaryDraw(true);
  shaded->Attributes()->SetFaceBoundaryAspect(new Prs3d_LineAspect(EdgeColor, Aspect_TOL_SOLID, EdgeWidth));
  return shaded;
}

// Returns `object` pinned to the upper-left corner of the picture, in pixel units, over everything.
Handle(AIS_InteractiveObject) InLegend(const Handle(AIS_InteractiveObject)& object)
{
  object->SetTransformPersistence(
    new Graphic3d_TransformPers(Graphic3d_TMF_2d, Aspect_TOTP_LEFT_UPPER, Graphic3d_Vec2i(LegendInset, LegendInset)));
  object->SetZLayer(Graphic3d_ZLayerId_TopOSD);
  return object;
}
} // namespace

SceneRenderer::SceneRenderer(std::unique_ptr<CADView> view, int width, int height)
  : myView(std::move(view)), myWidth(width), myHeight(height)
{
  // Lights fixed in the part's frame rather than the viewer's headlight: under a headlight the three
  // faces of a box seen from the iso direction get the same shade and the part looks flat.
  const Handle(V3d_View)& view3d = myView->View();
  view3d->SetLightOff();
  Handle(V3d_AmbientLight) ambient = new V3d_AmbientLight();
  ambient->SetIntensity(AmbientIntensity);
  Handle(V3d_DirectionalLight) key = new V3d_DirectionalLight(gp_Dir(-0.2, 0.5, -1.0));
  key->SetIntensity(KeyIntensity);
  Handle(V3d_DirectionalLight) fill = new V3d_DirectionalLight(gp_Dir(0.5, 0.5, -0.3));
  fill->SetIntensity(FillIntensity);
  view3d->SetLightOn(ambient);
  view3d->SetLightOn(key);
  view3d->SetLightOn(fill);
}

SceneRenderer::~SceneRenderer() = default;

std::unique_ptr<SceneRenderer> SceneRenderer::Create(int width, int height)
{
  if (width < 1 || height < 1 || width > MaxSide || height > MaxSide)
    throw WorkpieceError("picture size " + std::to_string(width) + "x" + std::to_string(height) +
                         " is outside 1x1 to " + std::to_string(MaxSide) + "x" + std::to_string(MaxSide));
  const std::string display = VirtualDisplay::Ensure(width, height);
  std::unique_ptr<CADView> view = CADView::CreateOffscreen(width, height);
  if (!view)
    throw WorkpieceError("cannot open an offscreen view on X display " + display);
  return std::unique_ptr<SceneRenderer>(new SceneRenderer(std::move(view), width, height));
}

void SceneRenderer::Show(const Handle(AIS_InteractiveObject)& object, int mode)
{
  // No selection mode: a picture is never picked from, and selection structures cost as much as drawing.
  myView->Context()->Display(object, mode, -1, false);
}

void SceneRenderer::AddPart(const TopoDS_Shape& part)
{
  if (part.IsNull())
    return;
  Show(Shaded(part, PartColor), AIS_Shaded);
}

void SceneRenderer::AddTree(const Handle(ViewShape)& root)
{
  if (root.IsNull())
    return;
  std::vector<Handle(ViewShape)> nodes = root->GetAllSubViewShapes();
  nodes.insert(nodes.begin(), root);
  // Copies, not the nodes themselves: a node may already be shown in another context, and an
  // interactive object belongs to one context at a time.
  for (const Handle(ViewShape)& node : nodes)
  {
    if (node->GetEntityShape().IsNull())
      continue;
    const Handle(AIS_Shape) shape = Shaded(node->GetEntityShape(), node->GetColor());
    shape->SetLocalTransformation(node->Transformation());
    Show(shape, AIS_Shaded);
  }
}

void SceneRenderer::AddLines(const TopoDS_Shape& edges, const Quantity_Color& color, double width, bool overParts)
{
  if (edges.IsNull())
    return;
  Handle(AIS_Shape) lines = new AIS_Shape(edges);
  lines->SetColor(color);
  lines->SetWidth(width);
  if (overParts)
    lines->SetZLayer(Graphic3d_ZLayerId_Topmost);
  Show(lines, AIS_WireFrame);
}

void SceneRenderer::AddFrame(const gp_Trsf& frame, double size)
{
  Handle(AIS_Trihedron) axes = new AIS_Trihedron(new Geom_Axis2Placement(gp_Ax2().Transformed(frame)));
  axes->SetSize(size);
  axes->SetDatumPartColor(Prs3d_DP_XAxis, Quantity_NOC_RED);
  axes->SetDatumPartColor(Prs3d_DP_YAxis, Quantity_NOC_GREEN);
  axes->SetDatumPartColor(Prs3d_DP_ZAxis, Quantity_NOC_BLUE);
  axes->Attributes()->DatumAspect()->SetDrawLabels(false);
  for (const Prs3d_DatumParts part : {Prs3d_DP_XAxis, Prs3d_DP_YAxis, Prs3d_DP_ZAxis})
    axes->Attributes()->DatumAspect()->LineAspect(part)->SetWidth(FrameWidth);
  axes->SetZLayer(Graphic3d_ZLayerId_Topmost);
  Show(axes, 0);
}

void SceneRenderer::SetLegend(const std::vector<LegendLine>& lines)
{
  for (const Handle(AIS_InteractiveObject)& object : myLegend)
    myView->Context()->Remove(object, false);
  myLegend.clear();
  double row = -LegendTextHeight / 2.0;
  for (const LegendLine& line : lines)
  {
    BRepBuilderAPI_MakeEdge segment(gp_Pnt(0.0, row, 0.0), gp_Pnt(SwatchLength, row, 0.0));
    if (!segment.IsDone())
      throw WorkpieceError("SceneRenderer: the legend's swatch could not be made");
    Handle(AIS_Shape) swatch = new AIS_Shape(segment.Edge());
    swatch->SetColor(line.swatch);
    swatch->SetWidth(line.swatchWidth);
    myLegend.push_back(InLegend(swatch));

    Handle(AIS_TextLabel) text = new AIS_TextLabel();
    text->SetText(TCollection_ExtendedString(line.text.c_str(), true));
    text->SetPosition(gp_Pnt(SwatchLength + SwatchGap, row, 0.0));
    text->SetHeight(LegendTextHeight);
    text->SetColor(TextColor);
    text->SetFont(Font_NOF_SANS_SERIF);
    text->SetHJustification(Graphic3d_HTA_LEFT);
    text->SetVJustification(Graphic3d_VTA_CENTER);
    myLegend.push_back(InLegend(text));
    row -= LegendPitch;
  }
  for (const Handle(AIS_InteractiveObject)& object : myLegend)
    Show(object, 0);
  myLegendLines = lines.size();
}

void SceneRenderer::FitCamera(Direction direction)
{
  const Handle(V3d_View)& view = myView->View();
  view->SetProj(Orientation(direction), false);
  view->FitAll(FitMargin, false);
  if (myLegendLines == 0)
    return;
  // Fit the scene into the band below the legend: widen the camera by the legend's share of the
  // height and move the scene down by half of it.
  const double legend = LegendInset + LegendPitch * static_cast<double>(myLegendLines);
  if (legend >= myHeight)
    return;
  const Handle(Graphic3d_Camera)& camera = view->Camera();
  camera->SetScale(camera->Scale() * myHeight / (myHeight - legend));
  const gp_Vec shift = gp_Vec(camera->Up()) * (legend / 2.0 * camera->Scale() / myHeight);
  camera->SetEyeAndCenter(camera->Eye().Translated(shift), camera->Center().Translated(shift));
}

bool SceneRenderer::Write(const std::string& path)
{
  // Dump draws the scene afresh into an offscreen buffer of the picture's size.
  return myView->View()->Dump(path.c_str());
}

const Handle(Graphic3d_Camera)& SceneRenderer::Camera() const
{
  return myView->View()->Camera();
}

gp_Pnt2d SceneRenderer::ToPixel(const gp_Pnt& point) const
{
  const gp_Pnt device = Camera()->Project(point);
  return gp_Pnt2d((device.X() + 1.0) / 2.0 * myWidth, (1.0 - device.Y()) / 2.0 * myHeight);
}

Json::Value SceneRenderer::CameraToJson() const
{
  const Handle(Graphic3d_Camera)& camera = Camera();
  Json::Value json(Json::objectValue);
  json["width"] = myWidth;
  json["height"] = myHeight;
  json["projection"] = camera->IsOrthographic() ? "orthographic" : "perspective";
  json["eye"] = Triple(camera->Eye().XYZ());
  json["center"] = Triple(camera->Center().XYZ());
  json["up"] = Triple(camera->Up().XYZ());
  json["scale"] = camera->Scale();
  json["aspect"] = camera->Aspect();
  return json;
}
