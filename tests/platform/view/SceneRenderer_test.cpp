#include <view/SceneRenderer.h>
#include <view/ViewShape.h>

#include <cadtools/WorkpieceError.h>

#include "support/Solids.h"
#include "support/ViewTrees.h"

#include <Image_AlienPixMap.hxx>
#include <gp_Trsf.hxx>

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <functional>

namespace
{
using Rgb = NCollection_Vec4<float>;

// Returns a renderer, or null after recording why no X server could be had.
std::unique_ptr<SceneRenderer> RendererOrNull(int width, int height, std::string& why)
{
  try
  {
    return SceneRenderer::Create(width, height);
  }
  catch (const WorkpieceError& error)
  {
    why = error.what();
    return nullptr;
  }
}

gp_Trsf Translation(double x, double y, double z)
{
  gp_Trsf trsf;
  trsf.SetTranslation(gp_Vec(x, y, z));
  return trsf;
}

Rgb PixelAt(const Image_AlienPixMap& image, const gp_Pnt2d& pixel)
{
  const long x = std::lround(pixel.X()), y = std::lround(pixel.Y());
  if (x < 0 || y < 0 || x >= static_cast<long>(image.SizeX()) || y >= static_cast<long>(image.SizeY()))
  {
    ADD_FAILURE() << "pixel " << x << ", " << y << " lies outside the picture";
    return Rgb(0.0f, 0.0f, 0.0f, 1.0f);
  }
  return image.PixelColor(static_cast<int>(x), static_cast<int>(y));
}

bool Dominant(const Rgb& c, int channel)
{
  const float others = channel == 0 ? std::max(c.g(), c.b()) : channel == 1 ? std::max(c.r(), c.b())
                                                                             : std::max(c.r(), c.g());
  return c[channel] > others + 0.3f;
}

bool White(const Rgb& c)
{
  return c.r() > 0.97f && c.g() > 0.97f && c.b() > 0.97f;
}

// Writes the scene and loads the picture back into `image`.
void Picture(SceneRenderer& scene, const std::string& dir, Image_AlienPixMap& image)
{
  ASSERT_TRUE(scene.Write(dir + "scene.png"));
  ASSERT_TRUE(image.Load((dir + "scene.png").c_str()));
}
} // namespace

// A blue root box placed at y = 50 with a red child box 100 mm along its X; seen from the top.
TEST(SceneRenderer, TreesFramesAndLegendShowWhereTheCameraProjectsThem)
{
  std::string why;
  const std::unique_ptr<SceneRenderer> scene = RendererOrNull(400, 300, why);
  if (!scene)
    GTEST_SKIP() << why;
  const std::string dir = ViewTrees::TempDir("scene");

  const Handle(ViewShape) root = new ViewShape(Solids::Box(20, 20, 20), Uuid::CreateUuid());
  const Handle(ViewShape) child = new ViewShape(Solids::Box(20, 20, 20), Uuid::CreateUuid());
  root->SetColor(Quantity_NOC_BLUE1);
  child->SetColor(Quantity_NOC_RED);
  root->AddShapeListToAISChilde({child});
  child->SetLocalTransformation(Translation(100, 0, 0));
  root->SetLocalTransformation(Translation(0, 50, 0));
  // Shown elsewhere already: the renderer draws copies, the tree stays where it is.
  root->Display();
  scene->AddTree(root);
  scene->AddFrame(Translation(60, 60, 0), 30);
  scene->FitCamera(SceneRenderer::Direction::Top);
  Image_AlienPixMap image;
  Picture(*scene, dir, image);
  ASSERT_EQ(image.SizeX(), 400u);
  ASSERT_EQ(image.SizeY(), 300u);

  EXPECT_TRUE(Dominant(PixelAt(image, scene->ToPixel(gp_Pnt(110, 60, 20))), 0)) << "the child at its world place";
  EXPECT_TRUE(Dominant(PixelAt(image, scene->ToPixel(gp_Pnt(10, 60, 20))), 2)) << "the root at its place";
  EXPECT_TRUE(White(PixelAt(image, scene->ToPixel(gp_Pnt(10, 25, 20))))) << "nothing where the root was built";
  EXPECT_TRUE(Dominant(PixelAt(image, scene->ToPixel(gp_Pnt(75, 60, 0))), 0)) << "the frame's X axis";
  EXPECT_TRUE(Dominant(PixelAt(image, scene->ToPixel(gp_Pnt(60, 75, 0))), 1)) << "the frame's Y axis";
  EXPECT_TRUE(root->IsDisplayed()) << "the tree is still shown in its own view";

  // A legend of three lines: the swatches at the upper left, the text after them, the scene below.
  scene->SetLegend({{"first", Quantity_NOC_RED, 5.0}, {"second", Quantity_NOC_GREEN, 5.0},
                    {"third", Quantity_NOC_BLUE1, 5.0}});
  scene->FitCamera(SceneRenderer::Direction::Top);
  Image_AlienPixMap legend;
  Picture(*scene, dir, legend);
  const int swatchRows[] = {25, 51, 77};
  for (int channel = 0; channel < 3; ++channel)
    EXPECT_TRUE(Dominant(legend.PixelColor(30, swatchRows[channel]), channel)) << "swatch " << channel;
  std::size_t ink = 0;
  for (int y = 16; y < 90; ++y)
    for (int x = 54; x < 150; ++x)
      ink += Rgb(legend.PixelColor(x, y)).r() < 0.5f ? 1 : 0;
  EXPECT_GT(ink, 100u) << "the legend's text is drawn (a font was found)";
  for (const gp_Pnt& corner : {gp_Pnt(0, 70, 20), gp_Pnt(120, 70, 20), gp_Pnt(0, 50, 20), gp_Pnt(120, 50, 0)})
    EXPECT_GT(scene->ToPixel(corner).Y(), 16.0 + 3 * 26.0) << "the scene stays below the legend";

  root->RemoveFromView();
  std::filesystem::remove_all(dir);
}

TEST(SceneRenderer, PictureSizesOutsideOneToMaxSideAreRefused)
{
  const struct
  {
    int width, height;
  } refused[] = {{0, 10}, {10, 0}, {-1, 10}, {SceneRenderer::MaxSide + 1, 10}, {10, SceneRenderer::MaxSide + 1}};
  for (const auto& size : refused)
  {
    try
    {
      SceneRenderer::Create(size.width, size.height);
      ADD_FAILURE() << size.width << "x" << size.height << " was accepted";
    }
    catch (const WorkpieceError& error)
    {
      EXPECT_EQ(std::string(error.what()), "picture size " + std::to_string(size.width) + "x" +
                                             std::to_string(size.height) + " is outside 1x1 to 8192x8192");
    }
  }

  std::string why;
  const std::unique_ptr<SceneRenderer> smallest = RendererOrNull(1, 1, why);
  if (!smallest)
    GTEST_SKIP() << why;
  const std::string dir = ViewTrees::TempDir("scene-small");
  smallest->AddPart(Solids::Box(10, 10, 10));
  smallest->FitCamera(SceneRenderer::Direction::Iso);
  Image_AlienPixMap image;
  Picture(*smallest, dir, image);
  EXPECT_EQ(image.SizeX(), 1u);
  EXPECT_EQ(image.SizeY(), 1u);
  std::filesystem::remove_all(dir);
}
