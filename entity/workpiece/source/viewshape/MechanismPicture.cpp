#include <entity/MechanismPicture.h>

#include <cadtools/WorkpieceError.h>

void MechanismPicture::AddMechanism(SceneRenderer& scene, const GenericEntity& mechanism, double frameSize)
{
  scene.AddTree(mechanism.GetRootMdl());
  for (std::size_t i = 0; i < mechanism.GetFlange().size(); ++i)
    scene.AddFrame(mechanism.GetFlangeWCS(static_cast<int>(i)), frameSize);
}

std::unique_ptr<SceneRenderer> MechanismPicture::Render(GenericEntity& mechanism, const std::vector<double>& joints,
                                                        const std::vector<const Entity*>& mounted,
                                                        const Options& options, const std::string& path)
{
  if (joints.size() != mechanism.GetLinkSize() || !mechanism.ForwardTrsf(joints, true, true))
    throw WorkpieceError("the mechanism cannot take the pose of " + std::to_string(joints.size()) +
                         " joint values (it has " + std::to_string(mechanism.GetLinkSize()) +
                         " links; values must lie within their limits)");
  std::unique_ptr<SceneRenderer> scene = SceneRenderer::Create(options.width, options.height);
  AddMechanism(*scene, mechanism, options.frameSize);
  for (const Entity* entity : mounted)
    if (entity != nullptr)
      scene->AddTree(entity->GetRootMdl());
  scene->FitCamera(options.direction);
  if (!scene->Write(path))
    throw WorkpieceError("cannot write the picture '" + path + "'");
  return scene;
}
