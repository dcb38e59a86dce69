#include <entity/SeamExtractor.h>
#include <entity/SeamPicture.h>

#include <cadtools/WorkpieceError.h>

#include "support/Solids.h"
#include "support/ViewTrees.h"

#include <Image_AlienPixMap.hxx>

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>

namespace
{
// Returns the picture of `part` with `seams`, or null after recording why no X server could be had.
std::unique_ptr<SceneRenderer> RenderOrNull(const TopoDS_Shape& part, const std::vector<EdgeFaceSeg>& seams,
                                            const std::string& path, std::string& why)
{
  SeamPicture::Options options;
  options.width = 480;
  options.height = 360;
  try
  {
    return SeamPicture::Render(part, &seams, options, path);
  }
  catch (const WorkpieceError& error)
  {
    why = error.what();
    return nullptr;
  }
}
} // namespace

// The L solid's one concave edge runs along Z at (10, 10), hidden behind a leg from the iso
// direction: welded kinds show through the part in their colour, convex ones do not.
TEST(SeamPicture, EachKindIsDrawnInItsColourAtTheSeam)
{
  const TopoDS_Shape part = Solids::LSolid(60, 10, 80);
  const std::vector<EdgeFaceSeg> found = SeamExtractor(part).Extract({}).segs;
  const std::string dir = ViewTrees::TempDir("seam-picture");
  const struct
  {
    EdgeType type;
    bool shows;
    Quantity_Color color;
  } kinds[] = {{EdgeType::Concave, true, SeamPicture::ConcaveColor()},
               {EdgeType::Unknown, true, SeamPicture::UnknownColor()},
               {EdgeType::Convex, false, SeamPicture::ConvexColor()}};
  for (const auto& kind : kinds)
  {
    std::vector<EdgeFaceSeg> seams;
    for (const EdgeFaceSeg& seg : found)
      if (seg.GetEdgeType() == EdgeType::Concave)
      {
        seams.push_back(seg);
        seams.back().SetEdgeType(kind.type);
      }
    ASSERT_EQ(seams.size(), 1u);
    std::string why;
    const std::unique_ptr<SceneRenderer> scene = RenderOrNull(part, seams, dir + "l.png", why);
    if (!scene)
      GTEST_SKIP() << why;
    Image_AlienPixMap image;
    ASSERT_TRUE(image.Load((dir + "l.png").c_str()));
    const gp_Pnt2d at = scene->ToPixel(gp_Pnt(10, 10, 40));
    const NCollection_Vec4<float> pixel =
      image.PixelColor(static_cast<int>(std::lround(at.X())), static_cast<int>(std::lround(at.Y())));
    const Quantity_Color shown(pixel.r(), pixel.g(), pixel.b(), Quantity_TOC_sRGB);
    EXPECT_EQ(shown.Distance(kind.color) < 0.05, kind.shows) << static_cast<int>(kind.type);
  }

  try
  {
    SeamPicture::Render(part, &found, SeamPicture::Options(), dir + "missing/folder/l.png");
    ADD_FAILURE() << "a picture in a missing folder was written";
  }
  catch (const WorkpieceError& error)
  {
    EXPECT_EQ(std::string(error.what()), "cannot write the picture '" + dir + "missing/folder/l.png'");
  }
  std::filesystem::remove_all(dir);
}
