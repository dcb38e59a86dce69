#pragma once

#include <entity/GenericEntity.h>

#include <view/SceneRenderer.h>

#include <memory>
#include <string>
#include <vector>

// Pictures of a mechanism in a pose: its display tree, the entities mounted on its flanges, and each
// flange frame as small axes, with the look of SceneRenderer.
class MechanismPicture
{
public:
  struct Options
  {
    int width = 1280;
    int height = 1024;
    SceneRenderer::Direction direction = SceneRenderer::Direction::Iso;
    double frameSize = 100.0; // length of the flange axes, mm
  };

  // Draws the mechanism as it stands and its flange frames.
  static void AddMechanism(SceneRenderer& scene, const GenericEntity& mechanism, double frameSize);

  // Moves the mechanism (and what is mounted on it) to `joints`, as GenericEntity::ForwardTrsf takes
  // them, and writes its picture with the `mounted` entities to `path`; returns the renderer, whose
  // camera is the one the picture was taken with. Throws WorkpieceError when the pose is refused, no
  // display can be had or the picture cannot be written.
  static std::unique_ptr<SceneRenderer> Render(GenericEntity& mechanism, const std::vector<double>& joints,
                                               const std::vector<const Entity*>& mounted, const Options& options,
                                               const std::string& path);
};
