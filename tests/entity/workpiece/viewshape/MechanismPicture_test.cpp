#include <entity/MechanismPicture.h>

#include <cadtools/WorkpieceError.h>

#include "support/Mechanisms.h"
#include "support/ViewTrees.h"

#include <Image_AlienPixMap.hxx>

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>

namespace
{
// Writes the robot's picture at `pose` to `path` and loads it into `image`; null after recording
// why when no X server could be had.
std::unique_ptr<SceneRenderer> Picture(GenericEntity& robot, const GenericEntity& torch, const std::vector<double>& pose,
                                       const std::string& path, Image_AlienPixMap& image, std::string& why)
{
  MechanismPicture::Options options;
  options.width = 320;
  options.height = 240;
  std::unique_ptr<SceneRenderer> scene;
  try
  {
    scene = MechanismPicture::Render(robot, pose, {&torch}, options, path);
  }
  catch (const WorkpieceError& error)
  {
    why = error.what();
    return nullptr;
  }
  EXPECT_TRUE(image.Load(path.c_str()));
  return scene;
}
} // namespace

// The fixture robot with a torch on its flange, at rest and with its arm raised and wrist bent.
TEST(MechanismPicture, TwoPosesGiveTwoPicturesWithTheFlangeFrameWhereItStands)
{
  const std::unique_ptr<FixtureMechanism> robot = Mechanisms::BuildRobot();
  const std::unique_ptr<FixtureMechanism> torch = Mechanisms::BuildTool();
  robot->SetChildEntity(0, torch.get());
  const std::string dir = ViewTrees::TempDir("mechanism-picture");
  const std::vector<double> rest(robot->GetLinkSize(), 0.0);
  const std::vector<double> raised{0.0, 0.6, 0.8, -0.5, 0.0, 0.9, 0.0};

  Image_AlienPixMap atRest, atRaised;
  std::string why;
  const std::unique_ptr<SceneRenderer> first = Picture(*robot, *torch, rest, dir + "rest.png", atRest, why);
  if (!first)
    GTEST_SKIP() << why;
  const std::unique_ptr<SceneRenderer> second = Picture(*robot, *torch, raised, dir + "raised.png", atRaised, why);
  ASSERT_TRUE(second) << why;

  ASSERT_EQ(atRest.SizeX(), atRaised.SizeX());
  ASSERT_EQ(atRest.SizeY(), atRaised.SizeY());
  std::size_t differing = 0;
  for (std::size_t y = 0; y < atRest.SizeY(); ++y)
    for (std::size_t x = 0; x < atRest.SizeX(); ++x)
    {
      const NCollection_Vec4<float> a = atRest.PixelColor(int(x), int(y)), b = atRaised.PixelColor(int(x), int(y));
      differing += std::abs(a.r() - b.r()) + std::abs(a.g() - b.g()) + std::abs(a.b() - b.b()) > 0.1f ? 1 : 0;
    }
  EXPECT_GT(differing, 2000u) << "the arm moved in the picture";

  // The flange's X axis (red, drawn over the parts) at its world place in each pose.
  for (const auto& [scene, image] : {std::pair{first.get(), &atRest}, std::pair{second.get(), &atRaised}})
  {
    robot->ForwardTrsf(scene == first.get() ? rest : raised, true, true);
    const gp_Pnt onX = gp_Pnt(60, 0, 0).Transformed(robot->GetFlangeWCS(0));
    const gp_Pnt2d pixel = scene->ToPixel(onX);
    const NCollection_Vec4<float> c =
      image->PixelColor(static_cast<int>(std::lround(pixel.X())), static_cast<int>(std::lround(pixel.Y())));
    EXPECT_GT(c.r(), std::max(c.g(), c.b()) + 0.3f) << pixel.X() << ", " << pixel.Y();
  }

  try
  {
    MechanismPicture::Render(*robot, {0.0, 0.6}, {}, MechanismPicture::Options(), dir + "short.png");
    ADD_FAILURE() << "a pose of two values was taken";
  }
  catch (const WorkpieceError& error)
  {
    EXPECT_EQ(std::string(error.what()), "the mechanism cannot take the pose of 2 joint values (it has 7 links; "
                                         "values must lie within their limits)");
  }
  EXPECT_FALSE(std::filesystem::exists(dir + "short.png"));
  std::filesystem::remove_all(dir);
}
