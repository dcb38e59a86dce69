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
  ASSERT_TRUE(view->DumpImage(path));
  Image_AlienPixMap image;
  ASSERT_TRUE(image.Load(path.c_str()));
  EXPECT_EQ(image.SizeX(), 320u);
  EXPECT_EQ(image.SizeY(), 240u);
  std::size_t red = 0, background = 0;
  for (std::size_t y = 0; y < image.SizeY(); ++y)
    for (std::size_t x = 0; x < image.SizeX(); ++x)
    {
      const Quantity_ColorRGBA c = image.PixelColor(static_cast<int>(x), static_cast<int>(y));
      const NCollection_Vec4<float> v = c;
      if (v.r() > 0.99f && v.g() > 0.99f && v.b() > 0.99f)
        ++background;
      else if (v.r() > v.g() + 0.1f && v.r() > v.b() + 0.1f)
        ++red;
    }
  EXPECT_GT(background, 1000u) << "the white background shows around the part";
  EXPECT_GT(red, 1000u) << "the red box covers part of the picture";
  std::filesystem::remove_all(std::filesystem::path(path).parent_path());
}
