#include "support/CliRun.h"
#include "support/Solids.h"

#include <entity/PartFile.h>

#include <cadtools/DataHandle.h>

#include <BRepTools.hxx>

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>

namespace
{
namespace fs = std::filesystem;
const std::string Examples = WORKPIECE_EXAMPLES_DIR "/";
constexpr double Tol = 0.01;
} // namespace

TEST(PlaceCli, PartsStandOnTheirBaseAndJsonAndStepAgreeWithTheTransformOnATarget)
{
  const fs::path dir = CliRun::Scratch("place");
  const CliRun t = CliRun::Of(WORKPIECE_CLI, "place " + Examples + "tjoint.step --dir 0,1,0", dir);
  ASSERT_EQ(t.code, 0) << t.err;
  // The 200 × 100 base centred under the target's origin, the part's 200 mm along Y, 70 high: turned
  // a quarter either way, as the sense of its box's long axis falls.
  for (const char* line : {"stands on face 0x00000005: area 20000.00 mm2, normal 0.000 0.000 -1.000",
                           "placed box: min -50.000 -100.000 0.000, max 50.000 100.000 70.000"})
    EXPECT_NE(t.out.find(line), std::string::npos) << t.out;
  EXPECT_TRUE(t.out.find("(x y z mm, rx ry rz deg): 50.000 -100.000 0.000 0.000 0.000 90.000") != std::string::npos ||
              t.out.find("(x y z mm, rx ry rz deg): -50.000 100.000 0.000 0.000 0.000 -90.000") != std::string::npos) << t.out;

  const std::string json = (dir / "l.json").string(), step = (dir / "l.step").string();
  const CliRun run = CliRun::Of(WORKPIECE_CLI, "place " + Examples + "lbracket.step --target 10,20,30,0,0,45 --dir 1,1,0 --json " +
                                                 json + " --out " + step, dir);
  ASSERT_EQ(run.code, 0) << run.err;
  const Json::Value written = DataHandle::LoadJson(json);
  // The transform printed carries the part onto what the STEP file holds, resting on z = 30.
  const std::array<double, 6> moved =
    Solids::Bounds(PartFile::Read(Examples + "lbracket.step"), DataHandle::JsonSixToTrsf(written["transform"]));
  const std::array<double, 6> file = Solids::Bounds(PartFile::Read(step));
  for (std::size_t i = 0; i < 6; ++i)
    EXPECT_TRUE(std::abs(moved[i] - file[i]) < Tol &&
                std::abs(written["box"][i < 3 ? "min" : "max"][static_cast<int>(i % 3)].asDouble() - file[i]) < Tol) << i;
  EXPECT_NEAR(file[2], 30.0, Tol);
  // The L-bracket (60 × 60 × 80) is not elongated: it stands on an 80 × 60 outer face, on its back
  // (normal -X) or its bottom (normal -Y), numbered as the seams number the part's faces.
  const Json::Value& normal = written["face"]["normal"];
  EXPECT_NEAR(written["face"]["area"].asDouble(), 4800.0, Tol);
  EXPECT_TRUE(std::abs(normal[0].asDouble() + normal[1].asDouble() + 1.0) < 1e-9 && std::abs(normal[2].asDouble()) < 1e-9);
  const std::uint32_t index = written["face"]["index"].asUInt();
  EXPECT_TRUE(index >= 2 && index < 0x20000) << index;
  fs::remove_all(dir);
}

TEST(PlaceCli, PartsThatCannotStandAndBadArgumentsFail)
{
  const std::string dir = CliRun::Scratch("place_bad").string() + "/";
  BRepTools::Write(Solids::Cylinder(20, 100), (dir + "rod.brep").c_str());
  fs::copy_file(Examples + "tjoint.step", dir + "tjoint.step");
  const auto partSize = fs::file_size(dir + "tjoint.step");
  const std::vector<std::tuple<std::string, int, std::string>> cases{
    {"place " + dir + "rod.brep", 1, "has no face it can stand on"},
    {"place " + dir + "nothing.step", 1, "cannot read"},
    {"place " + Examples + "tjoint.step --json " + dir, 1, "cannot write"},
    {"place " + Examples + "tjoint.step --out " + dir + "no/such/folder.step", 1, "cannot write"},
    {"place " + dir + "tjoint.step --out " + dir + "tjoint.step", 1, "it is the input"},
    {"place " + dir + "tjoint.step --json " + dir + "tjoint.step", 1, "it is the input"},
    {"place", 2, "no part given"},
    {"place a.step --dir 0,0,0", 2, "--dir"},
    {"place a.step --target 1,2,3,4,5,x", 2, "--target"},
    {"place a.step --target 1,2,3,4,5,6,", 2, "--target"},
    {"place a.step b.step", 2, "extra"}};
  for (const auto& [args, code, error] : cases)
  {
    const CliRun run = CliRun::Of(WORKPIECE_CLI, args, dir);
    EXPECT_TRUE(run.code == code && run.err.find(error) != std::string::npos) << args << ": " << run.code << " " << run.err;
  }
  EXPECT_EQ(fs::file_size(dir + "tjoint.step"), partSize);
  fs::remove_all(dir);
}
