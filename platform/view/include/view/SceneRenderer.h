#pragma once

#include <view/ViewShape.h>

#include <Graphic3d_Camera.hxx>
#include <Quantity_Color.hxx>
#include <TopoDS_Shape.hxx>
#include <gp_Pnt.hxx>
#include <gp_Pnt2d.hxx>
#include <gp_Trsf.hxx>
#include <json/value.h>

#include <memory>
#include <string>
#include <vector>

class CADView;

// Draws parts, display trees, marked edges, frames and a legend offscreen into a picture, always
// with the same look: parts shaded in a neutral grey with dark edges on a white ground, the camera
// looking along one of four directions and fitted to everything shown.
class SceneRenderer
{
public:
  enum class Direction
  {
    Iso,   // from +X, -Y, +Z
    Top,   // from +Z
    Front, // from -Y
    Right  // from +X
  };

  struct LegendLine
  {
    std::string text;
    Quantity_Color swatch; // colour of the short line drawn before the text
    double swatchWidth;    // its width in pixels
  };

  // Largest side of a picture, in pixels.
  static constexpr int MaxSide = 8192;

  // Returns a renderer of width × height pixels on the X display, starting a private Xvfb when
  // none answers. Throws WorkpieceError when a side is outside 1..MaxSide or no display can be had.
  static std::unique_ptr<SceneRenderer> Create(int width, int height);
  ~SceneRenderer();
  SceneRenderer(const SceneRenderer&) = delete;
  SceneRenderer& operator=(const SceneRenderer&) = delete;

  // Shows a part shaded in the neutral colour with its face boundaries.
  void AddPart(const TopoDS_Shape& part);
  // Shows every shape of a display tree (root included) at its world placement, in its own colour.
  void AddTree(const Handle(ViewShape)& root);
  // Draws the edges of `edges` as lines `width` pixels wide; `overParts` keeps them visible where
  // parts stand in front of them.
  void AddLines(const TopoDS_Shape& edges, const Quantity_Color& color, double width, bool overParts);
  // Draws a frame as three axes `size` mm long, X red, Y green, Z blue, visible through parts. The
  // camera fit leaves frames out: they mark places on what is shown.
  void AddFrame(const gp_Trsf& frame, double size);
  // Writes these lines in the upper-left corner, each after a short line of its swatch colour.
  void SetLegend(const std::vector<LegendLine>& lines);

  // Points the camera along `direction` and fits it to everything shown, below the legend.
  void FitCamera(Direction direction);
  // Writes the picture (format from the extension: .png, .jpg, .bmp, .ppm) with the camera as it
  // stands; returns false when it cannot be written.
  bool Write(const std::string& path);

  int Width() const { return myWidth; }
  int Height() const { return myHeight; }
  // Returns the camera of the view.
  const Handle(Graphic3d_Camera)& Camera() const;
  // Returns where `point` shows in the picture: column and row in pixels from the upper-left corner.
  gp_Pnt2d ToPixel(const gp_Pnt& point) const;
  // Returns the camera as JSON: "width", "height", "projection" ("orthographic" or "perspective"),
  // "eye", "center", "up" ([x, y, z], mm), "scale" (the height in mm the picture spans) and "aspect".
  Json::Value CameraToJson() const;

private:
  SceneRenderer(std::unique_ptr<CADView> view, int width, int height);

  void Show(const Handle(AIS_InteractiveObject)& object, int mode);

  std::unique_ptr<CADView> myView;
  std::vector<Handle(AIS_InteractiveObject)> myLegend;
  std::size_t myLegendLines = 0;
  int myWidth;
  int myHeight;
};
