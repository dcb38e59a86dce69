#include <entity/MechanismPicture.h>

#include "support/CliRun.h"
#include "support/ErrorText.h"
#include "support/Mechanisms.h"
#include "support/ViewTrees.h"

#include <Image_AlienPixMap.hxx>

#include <gtest/gtest.h>

#include <cmath>

// The fixture robot with a torch on its flange, at rest and with its arm raised and wrist bent: two
// different pictures, each with the flange's X axis (red, drawn over the parts) at its world place.
TEST(MechanismPicture, TwoPosesGiveTwoPicturesWithTheFlangeFrameWhereItStands)
{
  const std::unique_ptr<FixtureMechanism> robot = Mechanisms::BuildRobot(), torch = Mechanisms::BuildTool();
  robot->SetChildEntity(0, torch.get());
  const std::string dir = ViewTrees::TempDir("mechanism-picture");
  const std::vector<double> poses[] = {std::vector<double>(7, 0.0), {0.0, 0.6, 0.8, -0.5, 0.0, 0.9, 0.0}};
  for (int i = 0; i < 2; ++i)
  {
    const std::string path = dir + std::to_string(i) + ".png";
    std::unique_ptr<SceneRenderer> scene;
    const std::string why =
      ErrorText([&] { scene = MechanismPicture::Render(*robot, poses[i], {torch.get()}, {}, path); });
    if (!scene && i == 0)
      GTEST_SKIP() << why;
    ASSERT_TRUE(scene) << why;
    Image_AlienPixMap image;
    ASSERT_TRUE(image.Load(path.c_str()));
    robot->ForwardTrsf(poses[i], true, true);
    const gp_Pnt2d pixel = scene->ToPixel(gp_Pnt(60, 0, 0).Transformed(robot->GetFlangeWCS(0)));
    const NCollection_Vec4<float> c = image.PixelColor(int(std::lround(pixel.X())), int(std::lround(pixel.Y())));
    EXPECT_GT(c.r(), std::max(c.g(), c.b()) + 0.3f) << i << ": " << pixel.X() << ", " << pixel.Y();
  }
  EXPECT_NE(CliRun::ReadText(dir + "0.png"), CliRun::ReadText(dir + "1.png")) << "the arm moved in the picture";
  EXPECT_EQ(ErrorText([&] { MechanismPicture::Render(*robot, {0.0, 0.6}, {}, {}, dir + "short.png"); }),
            "the mechanism cannot take the pose of 2 joint values (it has 7 links; "
            "values must lie within their limits)");
  EXPECT_FALSE(std::filesystem::exists(dir + "short.png"));
  std::filesystem::remove_all(dir);
}
