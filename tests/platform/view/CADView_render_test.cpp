#include <view/CADView.h>
#include <view/ViewShape.h>

#include "support/Solids.h"
#include "support/ViewTrees.h"

#include <Image_AlienPixMap.hxx>

#include <gtest/gtest.h>

#include <filesystem>

TEST(CADView, RendersWhatItShowsToPng)
{
  const std::unique_ptr<CADView> view = CADView::CreateOffscreen(320, 240);
  if (!view)
    GTEST_SKIP() << "no X display can be opened (run under xvfb-run to render)";
  const Handle(ViewShape) box = new ViewShape(Solids::Box(10, 20, 30), Uuid::CreateUuid());
  box->SetCADView(view.get());
  box->SetColor(Quantity_Color(Quantity_NOC_RED));
  box->SetDisplayMode(AIS_Shaded);
  box->Display();

  const std::string path = ViewTrees::TempDir("render") + "box.png";
  Image_AlienPixMap image;
  ASSERT_TRUE(view->DumpImage(path) && image.Load(path.c_str()));
  std::filesystem::remove_all(std::filesystem::path(path).parent_path());
  ASSERT_TRUE(image.SizeX() == 320u && image.SizeY() == 240u);
  std::size_t red = 0, background = 0;
  for (int y = 0; y < 240; ++y)
    for (int x = 0; x < 320; ++x)
    {
      const NCollection_Vec4<float> c = image.PixelColor(x, y);
      background += c.r() > 0.99f && c.g() > 0.99f && c.b() > 0.99f;
      red += c.r() > c.g() + 0.1f && c.r() > c.b() + 0.1f;
    }
  EXPECT_GT(background, 1000u) << "the white background shows around the part";
  EXPECT_GT(red, 1000u) << "the red box covers part of the picture";
}
