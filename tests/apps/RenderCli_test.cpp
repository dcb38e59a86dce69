#include <cadtools/DataHandle.h>

#include <Graphic3d_Camera.hxx>
#include <Image_AlienPixMap.hxx>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <unistd.h>

namespace
{
namespace fs = std::filesystem;

struct CliRun
{
  int code;
  std::string out;
  std::string err;
};

// Returns a fresh scratch folder for one test, private to this process: several builds of the suite
// may run at once on one machine.
fs::path Scratch(const std::string& name)
{
  const fs::path dir = fs::temp_directory_path() / ("workpiece_render_cli_" + name + "_" + std::to_string(getpid()));
  fs::remove_all(dir);
  fs::create_directories(dir);
  return dir;
}

std::string ReadText(const fs::path& path)
{
  std::ifstream in(path);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

// Runs the tool as `env ENV workpiece ARGS`, capturing its exit code and both streams.
CliRun Cli(const std::string& args, const fs::path& dir, const std::string& env = std::string())
{
  const fs::path out = dir / "stdout.txt", err = dir / "stderr.txt";
  const std::string command = (env.empty() ? std::string() : "env " + env + " ") + WORKPIECE_CLI + " " + args +
                              " >" + out.string() + " 2>" + err.string() + " </dev/null";
  const int status = std::system(command.c_str());
  return {WEXITSTATUS(status), ReadText(out), ReadText(err)};
}

std::string Example(const std::string& name)
{
  return (fs::path(WORKPIECE_EXAMPLES_DIR) / name).string();
}

// The message under which rendering tests skip: the tool could neither reach nor start an X server.
bool NoDisplay(const CliRun& run)
{
  return run.code == 1 && run.err.find("no X display answers") != std::string::npos;
}

gp_XYZ Triple(const Json::Value& json)
{
  return gp_XYZ(json[0].asDouble(), json[1].asDouble(), json[2].asDouble());
}

// Rebuilds the camera the tool wrote and returns where `point` shows, in pixels from the upper left.
gp_Pnt2d Project(const Json::Value& camera, const gp_Pnt& point)
{
  Handle(Graphic3d_Camera) rebuilt = new Graphic3d_Camera();
  rebuilt->SetProjectionType(camera["projection"].asString() == "orthographic"
                               ? Graphic3d_Camera::Projection_Orthographic
                               : Graphic3d_Camera::Projection_Perspective);
  rebuilt->SetEyeAndCenter(gp_Pnt(Triple(camera["eye"])), gp_Pnt(Triple(camera["center"])));
  rebuilt->SetUp(gp_Dir(Triple(camera["up"])));
  rebuilt->SetScale(camera["scale"].asDouble());
  rebuilt->SetAspect(camera["aspect"].asDouble());
  const gp_Pnt device = rebuilt->Project(point);
  return gp_Pnt2d((device.X() + 1.0) / 2.0 * camera["width"].asDouble(),
                  (1.0 - device.Y()) / 2.0 * camera["height"].asDouble());
}

bool IsRed(const Image_AlienPixMap& image, int x, int y)
{
  const NCollection_Vec4<float> c = image.PixelColor(x, y);
  return c.r() > 0.8f && c.g() < 0.25f && c.b() < 0.25f;
}

// Returns whether a pixel within `radius` of (x, y) is red.
bool RedNear(const Image_AlienPixMap& image, const gp_Pnt2d& pixel, int radius)
{
  const int cx = static_cast<int>(std::lround(pixel.X())), cy = static_cast<int>(std::lround(pixel.Y()));
  for (int y = cy - radius; y <= cy + radius; ++y)
    for (int x = cx - radius; x <= cx + radius; ++x)
      if (x >= 0 && y >= 0 && x < static_cast<int>(image.SizeX()) && y < static_cast<int>(image.SizeY()) &&
          IsRed(image, x, y))
        return true;
  return false;
}

std::size_t RedPixels(const Image_AlienPixMap& image)
{
  std::size_t red = 0;
  for (std::size_t y = 0; y < image.SizeY(); ++y)
    for (std::size_t x = 0; x < image.SizeX(); ++x)
      red += IsRed(image, static_cast<int>(x), static_cast<int>(y)) ? 1 : 0;
  return red;
}

// Returns the line of `text` that holds `marker`, from it to the end of the line.
std::string LineFrom(const std::string& text, const std::string& marker)
{
  const std::size_t at = text.find(marker);
  return at == std::string::npos ? std::string() : text.substr(at, text.find('\n', at) - at);
}
} // namespace

// The T-joint's concave seams run along Y at the foot of the web, x = 95 and x = 105, z = 10.
TEST(RenderCli, TJointSeamsShowRedWhereTheConcaveSeamsProjectAndNowhereWithoutSeams)
{
  const fs::path dir = Scratch("tjoint");
  const CliRun seams = Cli("render " + Example("tjoint.step") + " --seams --size 800x600 --out " +
                             (dir / "seams.png").string() + " --camera " + (dir / "seams.json").string(),
                           dir);
  if (NoDisplay(seams))
    GTEST_SKIP() << "no X server can be reached or started: " << seams.err;
  ASSERT_EQ(seams.code, 0) << seams.err;

  const CliRun printed = Cli("seams " + Example("tjoint.step"), dir);
  ASSERT_EQ(printed.code, 0) << printed.err;
  const std::string summary = LineFrom(printed.out, "24 seams:");
  ASSERT_FALSE(summary.empty()) << printed.out;
  EXPECT_EQ(LineFrom(seams.out, "24 seams:"), summary) << "the picture shows the seams `seams` prints";

  Image_AlienPixMap picture;
  ASSERT_TRUE(picture.Load((dir / "seams.png").string().c_str()));
  EXPECT_EQ(picture.SizeX(), 800u);
  EXPECT_EQ(picture.SizeY(), 600u);
  const Json::Value camera = DataHandle::LoadJson((dir / "seams.json").string());
  ASSERT_TRUE(camera.isObject());
  EXPECT_EQ(camera["width"].asInt(), 800);
  EXPECT_EQ(camera["height"].asInt(), 600);
  for (const gp_Pnt& midpoint : {gp_Pnt(95, 50, 10), gp_Pnt(105, 50, 10)})
    EXPECT_TRUE(RedNear(picture, Project(camera, midpoint), 2))
      << "seam midpoint " << midpoint.X() << " shows at " << Project(camera, midpoint).X() << ", "
      << Project(camera, midpoint).Y();
  // Away from the seams the part is grey: the middle of the base plate's top, and the web's top.
  for (const gp_Pnt& plain : {gp_Pnt(40, 50, 10), gp_Pnt(170, 50, 10), gp_Pnt(100, 50, 70)})
    EXPECT_FALSE(RedNear(picture, Project(camera, plain), 2)) << plain.X() << " " << plain.Z();

  const CliRun plain = Cli("render " + Example("tjoint.step") + " --size 800x600 --out " +
                             (dir / "plain.png").string() + " --camera " + (dir / "plain.json").string(),
                           dir);
  ASSERT_EQ(plain.code, 0) << plain.err;
  EXPECT_EQ(plain.out, "wrote " + (dir / "plain.png").string() + " (800x600)\n");
  Image_AlienPixMap unmarked;
  ASSERT_TRUE(unmarked.Load((dir / "plain.png").string().c_str()));
  EXPECT_EQ(RedPixels(unmarked), 0u);
  EXPECT_GT(RedPixels(picture), 400u) << "two 5-pixel lines over 100 mm each";
  fs::remove_all(dir);
}

TEST(RenderCli, EachViewLooksAlongItsDirectionWithThePartInTheMiddle)
{
  const fs::path dir = Scratch("views");
  const struct
  {
    const char* name;
    gp_Dir look; // from the eye to the centre
  } views[] = {{"iso", gp_Dir(-1, 1, -1)}, {"top", gp_Dir(0, 0, -1)}, {"front", gp_Dir(0, 1, 0)},
               {"right", gp_Dir(-1, 0, 0)}};
  for (const auto& view : views)
  {
    const fs::path camera = dir / (std::string(view.name) + ".json");
    const CliRun run = Cli("render " + Example("lbracket.step") + " --size 320x240 --view " + view.name + " --out " +
                             (dir / "l.png").string() + " --camera " + camera.string(),
                           dir);
    if (NoDisplay(run))
      GTEST_SKIP() << "no X server can be reached or started: " << run.err;
    ASSERT_EQ(run.code, 0) << view.name << ": " << run.err;
    const Json::Value json = DataHandle::LoadJson(camera.string());
    const gp_Vec look(gp_Pnt(Triple(json["eye"])), gp_Pnt(Triple(json["center"])));
    EXPECT_TRUE(gp_Dir(look).IsEqual(view.look, 1e-6)) << view.name;
    // The bracket's box (60 x 60 x 80) is centred in the picture when there is no legend.
    const gp_Pnt2d centre = Project(json, gp_Pnt(30, 30, 40));
    EXPECT_NEAR(centre.X(), 160.0, 1.0) << view.name;
    EXPECT_NEAR(centre.Y(), 120.0, 1.0) << view.name;
  }
  fs::remove_all(dir);
}

// With no DISPLAY the tool starts its own Xvfb; with no Xvfb either it says how to get one.
TEST(RenderCli, WithoutADisplayItStartsXvfbOrSaysHowToGetOne)
{
  const fs::path dir = Scratch("display");
  const std::string args = "render " + Example("tjoint.step") + " --size 64x48 --out " + (dir / "t.png").string();
  const CliRun own = Cli(args, dir, "-u DISPLAY");
  if (NoDisplay(own))
    GTEST_SKIP() << "Xvfb cannot be started here: " << own.err;
  ASSERT_EQ(own.code, 0) << own.err;
  Image_AlienPixMap picture;
  ASSERT_TRUE(picture.Load((dir / "t.png").string().c_str()));
  EXPECT_EQ(picture.SizeX(), 64u);

  fs::remove(dir / "t.png");
  const CliRun none = Cli(args, dir, "-u DISPLAY PATH=" + dir.string());
  EXPECT_EQ(none.code, 1);
  EXPECT_NE(none.err.find("apt-get install xvfb"), std::string::npos) << none.err;
  EXPECT_NE(none.err.find("xvfb-run"), std::string::npos) << none.err;
  EXPECT_EQ(std::count(none.err.begin(), none.err.end(), '\n'), 1) << "one line: " << none.err;
  EXPECT_FALSE(fs::exists(dir / "t.png")) << "no picture rather than a black one";
  fs::remove_all(dir);
}

TEST(RenderCli, WrongArgumentsAndUnreadableInputsAreRefused)
{
  const fs::path dir = Scratch("errors");
  const std::string part = Example("tjoint.step"), out = " --out " + (dir / "x.png").string();
  const struct
  {
    std::string args;
    int code;
    std::string message;
  } cases[] = {
    {part, 2, "no picture given (--out FILE)"},
    {out.substr(1), 2, "no part given"},
    {part + out + " --size 0x10", 2, "--size needs WxH with whole numbers from 1 to 8192, not '0x10'"},
    {part + out + " --size 8193x10", 2, "not '8193x10'"},
    {part + out + " --size 10x8193", 2, "not '10x8193'"},
    {part + out + " --size 640x", 2, "not '640x'"},
    {part + out + " --size 640x480px", 2, "not '640x480px'"},
    {part + out + " --view back", 2, "unknown view 'back' (use iso, top, front or right)"},
    {part + out + " --classifier guess", 2, "unknown classifier 'guess'"},
    {part + out + " --min-length -1", 2, "--min-length needs a non-negative number, not '-1'"},
    {part + out + " --colour red", 2, "unknown or incomplete option '--colour'"},
    {part + out + " " + part, 2, "only one part at a time"},
    {(dir / "missing.step").string() + out, 1, "cannot read '" + (dir / "missing.step").string() + "': no such file"},
    {(dir / "robot.json").string() + out, 1, "cannot read the mechanism '" + (dir / "robot.json").string() + "'"},
    {part + " --joints 0,0,0" + out, 1, "cannot read the mechanism '" + part + "'"},
    {Example("cell/robot.json") + " --joints 0,0,0,0,125.5,0" + out, 1, "joint 'J5' value 125.5 is outside its range [-125, 125]"},
    {Example("cell/robot.json") + " --joints 0,0" + out, 1, "the mechanism has 6 joints, --joints gives 2"},
    {Example("cell/robot.json") + " --joints 0,,0" + out, 2, "--joints wants numbers separated by commas, got '0,,0'"},
    {part + " --out " + (dir / "no" / "such" / "x.png").string(), 1, "cannot write the picture"},
  };
  for (const auto& c : cases)
  {
    const CliRun run = Cli("render " + c.args, dir);
    if (NoDisplay(run))
      GTEST_SKIP() << "no X server can be reached or started: " << run.err;
    EXPECT_EQ(run.code, c.code) << c.args << "\n" << run.err;
    EXPECT_NE(run.err.find(c.message), std::string::npos) << c.args << "\n" << run.err;
    EXPECT_TRUE(run.out.empty()) << c.args << "\n" << run.out;
  }
  EXPECT_EQ(Cli("render --help", dir).code, 0);
  fs::remove_all(dir);
}

TEST(RenderCli, AMechanismInTwoPosesGivesTwoPictures)
{
  const fs::path dir = Scratch("mechanism");
  std::string pictures[2];
  const char* poses[2] = {"0,-30,20,0,45,0", "90,0,0,0,-120,0"};
  for (int i = 0; i < 2; ++i)
  {
    const fs::path picture = dir / ("robot" + std::to_string(i) + ".png");
    const CliRun run = Cli("render " + Example("cell/robot.json") + " --joints " + poses[i] + " --size 320x240 --out " +
                             picture.string(), dir);
    if (NoDisplay(run))
      GTEST_SKIP() << "no X server can be reached or started: " << run.err;
    ASSERT_EQ(run.code, 0) << run.err;
    EXPECT_EQ(run.out, "wrote " + picture.string() + " (320x240)\n");
    pictures[i] = ReadText(picture);
  }
  EXPECT_FALSE(pictures[0].empty());
  EXPECT_NE(pictures[0], pictures[1]);
  fs::remove_all(dir);
}
