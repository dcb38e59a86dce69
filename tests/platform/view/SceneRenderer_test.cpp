#include <view/SceneRenderer.h>
#include <view/ViewShape.h>

#include "support/ErrorText.h"
#include "support/Solids.h"
#include "support/Transforms.h"
#include "support/ViewTrees.h"

#include <Image_AlienPixMap.hxx>

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>

namespace
{
using Rgb = NCollection_Vec4<float>;

// Writes the scene and returns the colour of the pixel where `point` shows (black when outside).
Rgb PixelAt(SceneRenderer& scene, const std::string& path, const gp_Pnt& point)
{
  Image_AlienPixMap image;
  EXPECT_TRUE(scene.Write(path) && image.Load(path.c_str()));
  const gp_Pnt2d pixel = scene.ToPixel(point);
  const long x = std::lround(pixel.X()), y = std::lround(pixel.Y());
  const bool inside = x >= 0 && y >= 0 && x < long(image.SizeX()) && y < long(image.SizeY());
  EXPECT_TRUE(inside) << "pixel " << x << ", " << y << " lies outside the picture";
  return inside ? image.PixelColor(int(x), int(y)) : Rgb(0.0f, 0.0f, 0.0f, 1.0f);
}

bool Dominant(const Rgb& c, int channel)
{
  return c[channel] > std::max(c[(channel + 1) % 3], c[(channel + 2) % 3]) + 0.3f;
}
} // namespace

// A blue root box placed at y = 50 with a red child box 100 mm along its X; seen from the top.
TEST(SceneRenderer, TreesFramesAndLegendShowWhereTheCameraProjectsThem)
{
  std::unique_ptr<SceneRenderer> scene;
  const std::string why = ErrorText([&] { scene = SceneRenderer::Create(400, 300); });
  if (!scene)
    GTEST_SKIP() << why;
  const std::string dir = ViewTrees::TempDir("scene"), path = dir + "scene.png";

  const Handle(ViewShape) root = new ViewShape(Solids::Box(20, 20, 20), Uuid::CreateUuid()),
                          child = new ViewShape(Solids::Box(20, 20, 20), Uuid::CreateUuid());
  root->SetColor(Quantity_NOC_BLUE1), child->SetColor(Quantity_NOC_RED);
  root->AddShapeListToAISChilde({child});
  child->SetLocalTransformation(Transforms::Translation(100, 0, 0));
  root->SetLocalTransformation(Transforms::Translation(0, 50, 0));
  // Shown elsewhere already: the renderer draws copies, the tree stays where it is.
  root->Display();
  scene->AddTree(root);
  scene->AddFrame(Transforms::Translation(60, 60, 0), 30);
  scene->FitCamera(SceneRenderer::Direction::Top);
  EXPECT_TRUE(Dominant(PixelAt(*scene, path, gp_Pnt(110, 60, 20)), 0)) << "the child at its world place";
  EXPECT_TRUE(Dominant(PixelAt(*scene, path, gp_Pnt(10, 60, 20)), 2)) << "the root at its place";
  const Rgb unbuilt = PixelAt(*scene, path, gp_Pnt(10, 25, 20));
  EXPECT_TRUE(unbuilt.r() > 0.97f && unbuilt.g() > 0.97f && unbuilt.b() > 0.97f) << "nothing where it was built";
  EXPECT_TRUE(Dominant(PixelAt(*scene, path, gp_Pnt(75, 60, 0)), 0)) << "the frame's X axis";
  EXPECT_TRUE(Dominant(PixelAt(*scene, path, gp_Pnt(60, 75, 0)), 1)) << "the frame's Y axis";
  EXPECT_TRUE(root->IsDisplayed()) << "the tree is still shown in its own view";

  // A legend of three lines: the text after the swatches at the upper left, the scene below.
  scene->SetLegend({{"first", Quantity_NOC_RED, 5.0}, {"second", Quantity_NOC_GREEN, 5.0},
                    {"third", Quantity_NOC_BLUE1, 5.0}});
  scene->FitCamera(SceneRenderer::Direction::Top);
  Image_AlienPixMap legend;
  ASSERT_TRUE(scene->Write(path) && legend.Load(path.c_str()));
  std::size_t ink = 0;
  for (int y = 16; y < 90; ++y)
    for (int x = 54; x < 150; ++x)
      ink += Rgb(legend.PixelColor(x, y)).r() < 0.5f ? 1 : 0;
  EXPECT_GT(ink, 100u) << "the legend's text is drawn (a font was found)";
  EXPECT_GT(scene->ToPixel(gp_Pnt(0, 70, 20)).Y(), 16.0 + 3 * 26.0) << "the scene stays below the legend";
  root->RemoveFromView();
  std::filesystem::remove_all(dir);
}

TEST(SceneRenderer, PictureSizesOutsideOneToMaxSideAreRefused)
{
  const int max = SceneRenderer::MaxSide;
  for (const auto& [width, height] : {std::pair{0, 10}, {10, 0}, {-1, 10}, {max + 1, 10}, {10, max + 1}})
    EXPECT_EQ(ErrorText([&] { SceneRenderer::Create(width, height); }),
              "picture size " + std::to_string(width) + "x" + std::to_string(height) + " is outside 1x1 to 8192x8192");
}
