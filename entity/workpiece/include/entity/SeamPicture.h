#pragma once

#include <entity/EdgeFaceSeg.h>

#include <view/SceneRenderer.h>

#include <TopoDS_Shape.hxx>

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

// Pictures of a part with its weld seams: concave seams as thick red lines and unknown ones as thick
// yellow lines, both kept visible where the part stands in front of them, convex seams as thin grey
// lines, and a legend with the counts and the concave length.
class SeamPicture
{
public:
  struct Summary
  {
    std::size_t concave = 0;
    std::size_t convex = 0;
    std::size_t unknown = 0;
    double concaveLength = 0.0; // mm
  };

  struct Options
  {
    int width = 1280;
    int height = 1024;
    SceneRenderer::Direction direction = SceneRenderer::Direction::Iso;
  };

  static const Quantity_Color& ConcaveColor();
  static const Quantity_Color& ConvexColor();
  static const Quantity_Color& UnknownColor();

  // Returns the counts by kind and the total concave length of the seams.
  static Summary Summarize(const std::vector<EdgeFaceSeg>& seams);

  // Draws the seams over what the scene shows and sets the legend.
  static void AddSeams(SceneRenderer& scene, const std::vector<EdgeFaceSeg>& seams);

  // Writes the picture of `part` to `path`, with `seams` over it unless null; returns the renderer,
  // whose camera is the one the picture was taken with. Throws WorkpieceError when no display can be
  // had or the picture cannot be written.
  static std::unique_ptr<SceneRenderer> Render(const TopoDS_Shape& part, const std::vector<EdgeFaceSeg>* seams,
                                               const Options& options, const std::string& path);
};
