#include <entity/SeamExtractor.h>
#include <entity/SeamPicture.h>

#include "support/ErrorText.h"
#include "support/Solids.h"
#include "support/ViewTrees.h"

#include <Image_AlienPixMap.hxx>

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>

// The L solid's one concave edge runs along Z at (10, 10), hidden behind a leg from the iso
// direction: welded kinds show through the part in their colour, convex ones do not.
TEST(SeamPicture, EachKindIsDrawnInItsColourAtTheSeam)
{
  const TopoDS_Shape part = Solids::LSolid(60, 10, 80);
  const std::vector<EdgeFaceSeg> found = SeamExtractor(part).Extract({}).segs;
  const std::string dir = ViewTrees::TempDir("seam-picture");
  for (const auto& [type, shows, color] : {std::tuple{EdgeType::Concave, true, SeamPicture::ConcaveColor()},
                                           {EdgeType::Unknown, true, SeamPicture::UnknownColor()},
                                           {EdgeType::Convex, false, SeamPicture::ConvexColor()}})
  {
    std::vector<EdgeFaceSeg> seams;
    for (const EdgeFaceSeg& seg : found)
      if (seg.GetEdgeType() == EdgeType::Concave)
      {
        seams.push_back(seg);
        seams.back().SetEdgeType(type);
      }
    ASSERT_EQ(seams.size(), 1u);
    std::unique_ptr<SceneRenderer> scene;
    const std::string why = ErrorText([&] { scene = SeamPicture::Render(part, &seams, {}, dir + "l.png"); });
    if (!scene)
      GTEST_SKIP() << why;
    Image_AlienPixMap image;
    ASSERT_TRUE(image.Load((dir + "l.png").c_str()));
    const gp_Pnt2d at = scene->ToPixel(gp_Pnt(10, 10, 40));
    const NCollection_Vec4<float> c = image.PixelColor(int(std::lround(at.X())), int(std::lround(at.Y())));
    EXPECT_EQ(Quantity_Color(c.r(), c.g(), c.b(), Quantity_TOC_sRGB).Distance(color) < 0.05, shows) << int(type);
  }
  EXPECT_EQ(ErrorText([&] { SeamPicture::Render(part, &found, {}, dir + "missing/folder/l.png"); }),
            "cannot write the picture '" + dir + "missing/folder/l.png'");
  std::filesystem::remove_all(dir);
}
