#include "support/CliRun.h"

#include <cadtools/DataHandle.h>

#include <Graphic3d_Camera.hxx>
#include <Image_AlienPixMap.hxx>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace
{
namespace fs = std::filesystem;
const std::string Examples = WORKPIECE_EXAMPLES_DIR "/";

CliRun Render(const std::string& args, const fs::path& dir, const std::string& env = std::string())
{
  return CliRun::Of(WORKPIECE_CLI, "render " + args, dir, env);
}

// The message under which rendering tests skip: the tool could neither reach nor start an X server.
bool NoDisplay(const CliRun& run)
{
  return run.code == 1 && run.err.find("no X display answers") != std::string::npos;
}

// Rebuilds the camera the tool wrote and returns where `point` shows, in pixels from the upper left.
gp_Pnt2d Project(const Json::Value& camera, const gp_Pnt& point)
{
  Handle(Graphic3d_Camera) rebuilt = new Graphic3d_Camera();
  rebuilt->SetProjectionType(camera["projection"].asString() == "orthographic"
                               ? Graphic3d_Camera::Projection_Orthographic
                               : Graphic3d_Camera::Projection_Perspective);
  const auto xyz = [&](const char* k) {
    return gp_XYZ(camera[k][0].asDouble(), camera[k][1].asDouble(), camera[k][2].asDouble());
  };
  rebuilt->SetEyeAndCenter(gp_Pnt(xyz("eye")), gp_Pnt(xyz("center")));
  rebuilt->SetUp(gp_Dir(xyz("up")));
  rebuilt->SetScale(camera["scale"].asDouble());
  rebuilt->SetAspect(camera["aspect"].asDouble());
  const gp_Pnt device = rebuilt->Project(point);
  return gp_Pnt2d((device.X() + 1.0) / 2.0 * camera["width"].asDouble(),
                  (1.0 - device.Y()) / 2.0 * camera["height"].asDouble());
}

// Counts the red pixels within `radius` of `centre`, or in the whole picture when `radius` is negative.
std::size_t RedPixels(const Image_AlienPixMap& image, const gp_Pnt2d& centre = gp_Pnt2d(), int radius = -1)
{
  std::size_t red = 0;
  for (int y = 0; y < int(image.SizeY()); ++y)
    for (int x = 0; x < int(image.SizeX()); ++x)
    {
      const NCollection_Vec4<float> c = image.PixelColor(x, y);
      red += (radius < 0 || std::max(std::abs(x - std::lround(centre.X())), std::abs(y - std::lround(centre.Y()))) <=
                              radius) && c.r() > 0.8f && c.g() < 0.25f && c.b() < 0.25f;
    }
  return red;
}
} // namespace

// The T-joint's concave seams run along Y at the foot of the web, x = 95 and x = 105, z = 10.
TEST(RenderCli, SeamsShowRedWhereTheyProjectAndPartsAreCentredOrPosed)
{
  const fs::path dir = CliRun::Scratch("render_tjoint");
  const std::string args = Examples + "tjoint.step --size 800x600 --out " + (dir / "t.png").string();
  const CliRun seams = Render(args + " --seams --camera " + (dir / "t.json").string(), dir);
  if (NoDisplay(seams))
    GTEST_SKIP() << "no X server can be reached or started: " << seams.err;
  ASSERT_EQ(seams.code, 0) << seams.err;
  Image_AlienPixMap picture, unmarked;
  ASSERT_TRUE(picture.Load((dir / "t.png").string().c_str()));
  const Json::Value camera = DataHandle::LoadJson((dir / "t.json").string());
  for (const gp_Pnt& midpoint : {gp_Pnt(95, 50, 10), gp_Pnt(105, 50, 10)})
    EXPECT_GT(RedPixels(picture, Project(camera, midpoint), 2), 0u) << "seam midpoint " << midpoint.X();
  // Away from the seams the part is grey: the middle of the base plate's top, and the web's top.
  for (const gp_Pnt& plain : {gp_Pnt(40, 50, 10), gp_Pnt(170, 50, 10), gp_Pnt(100, 50, 70)})
    EXPECT_EQ(RedPixels(picture, Project(camera, plain), 2), 0u) << plain.X() << " " << plain.Z();
  EXPECT_GT(RedPixels(picture), 400u) << "two 5-pixel lines over 100 mm each";

  ASSERT_EQ(Render(args, dir).code, 0);
  ASSERT_TRUE(unmarked.Load((dir / "t.png").string().c_str()));
  EXPECT_EQ(RedPixels(unmarked), 0u);

  // The bracket is centred in the picture when there is no legend; a mechanism takes its pose (the
  // picture of each pose is the library's to check).
  for (const std::string views : {"lbracket.step --view front", "cell/robot.json --joints 0,-30,20,0,45,0"})
  {
    const CliRun run = Render(Examples + views + " --size 320x240 --out " + (dir / "p.png").string() + " --camera " +
                                (dir / "p.json").string(), dir);
    ASSERT_EQ(run.code, 0) << views << ": " << run.err;
    EXPECT_EQ(run.out, "wrote " + (dir / "p.png").string() + " (320x240)\n");
    // The bracket's box is 60 x 60 x 80.
    const gp_Pnt2d centre = Project(DataHandle::LoadJson((dir / "p.json").string()), gp_Pnt(30, 30, 40));
    EXPECT_TRUE(views[0] != 'l' || (std::abs(centre.X() - 160.0) < 1.0 && std::abs(centre.Y() - 120.0) < 1.0)) << centre.X() << centre.Y();
  }
  fs::remove_all(dir);
}

// With no DISPLAY the tool starts its own Xvfb; with no Xvfb either it says how to get one.
TEST(RenderCli, WithoutADisplayItStartsXvfbOrSaysHowToGetOne)
{
  const fs::path dir = CliRun::Scratch("render_display");
  const std::string args = Examples + "tjoint.step --size 64x48 --out " + (dir / "t.png").string();
  const CliRun own = Render(args, dir, "-u DISPLAY");
  if (NoDisplay(own))
    GTEST_SKIP() << "Xvfb cannot be started here: " << own.err;
  EXPECT_TRUE(own.code == 0 && own.out == "wrote " + (dir / "t.png").string() + " (64x48)\n") << own.err;
  ASSERT_TRUE(fs::remove(dir / "t.png"));
  const CliRun none = Render(args, dir, "-u DISPLAY PATH=" + dir.string());
  EXPECT_TRUE(none.code == 1 && none.err.find("apt-get install xvfb") != std::string::npos &&
              none.err.find("xvfb-run") != std::string::npos && std::count(none.err.begin(), none.err.end(), '\n') == 1)
    << "one line: " << none.err;
  EXPECT_FALSE(fs::exists(dir / "t.png")) << "no picture rather than a black one";
  fs::remove_all(dir);
}

TEST(RenderCli, WrongArgumentsAndUnreadableInputsAreRefused)
{
  const fs::path dir = CliRun::Scratch("render_errors");
  const std::string part = Examples + "tjoint.step", out = " --out " + (dir / "x.png").string(),
                    robot = Examples + "cell/robot.json", missing = (dir / "missing.step").string();
  const std::tuple<std::string, int, std::string> cases[] = {
    {part, 2, "no picture given (--out FILE)"}, {out.substr(1), 2, "no part given"},
    {part + out + " --size 0x10", 2, "--size needs WxH with whole numbers from 1 to 8192, not '0x10'"},
    {part + out + " --size 8193x10", 2, "not '8193x10'"}, {part + out + " --size 10x8193", 2, "not '10x8193'"},
    {part + out + " --view back", 2, "unknown view 'back' (use iso, top, front or right)"},
    {missing + out, 1, "cannot read '" + missing + "': no such file"},
    {part + " --joints 0,0,0" + out, 1, "cannot read the mechanism '" + part + "'"},
    {robot + " --joints 0,0,0,0,125.5,0" + out, 1, "joint 'J5' value 125.5 is outside its range [-125, 125]"},
    {robot + " --joints 0,,0" + out, 2, "--joints wants numbers separated by commas, got '0,,0'"},
    {part + " --out " + (dir / "no" / "such" / "x.png").string(), 1, "cannot write the picture"}};
  for (const auto& [args, code, message] : cases)
  {
    const CliRun run = Render(args, dir);
    if (NoDisplay(run))
      GTEST_SKIP() << "no X server can be reached or started: " << run.err;
    EXPECT_TRUE(run.code == code && run.err.find(message) != std::string::npos && run.out.empty())
      << args << ": " << run.code << "\n" << run.err << run.out;
  }
  fs::remove_all(dir);
}
