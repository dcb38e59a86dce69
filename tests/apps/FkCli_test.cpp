#include "support/CliRun.h"

#include <cadtools/DataHandle.h>

#include <gtest/gtest.h>

namespace
{
namespace fs = std::filesystem;
const std::string Robot = WORKPIECE_EXAMPLES_DIR "/cell/robot.json";
} // namespace

TEST(FkCli, SampleRobotPosesMatchTheHandComputedFramesAndBadInputIsRefused)
{
  const fs::path dir = CliRun::Scratch("fk");
  // J2 -30° and J3 20° leave the forearm turned -10° about Y; J5 45° turns the wrist to 35°:
  // J3 = (150, 0, 675) + 700 (sin -30°, 0, cos 30°); J4 = J3 + Ry(-10°)(200, 0, 115);
  // J5 = J4 + Ry(-10°)(600, 0, 0); J6 = J5 + Ry(35°)(100, 0, 0); the flange is turned Ry(125°).
  // Without --joints every joint is at 0: the flange on the wrist's axis, 1490 mm up.
  const std::pair<std::string, std::vector<const char*>> poses[] = {
    {" --joints 0,-30,20,0,45,0 --json " + (dir / "fk.json").string(),
     {"J2             150.000     0.000   675.000     0.000   -30.000     0.000",
      "J3            -200.000     0.000  1281.218     0.000   -10.000     0.000",
      "J4             -23.008     0.000  1429.200     0.000   -10.000     0.000",
      "J5             567.877     0.000  1533.389     0.000    35.000     0.000",
      "flange 0       649.792     0.000  1476.032   180.000    55.000   180.000"}},
    {"", {"flange 0      1050.000     0.000  1490.000     0.000    90.000     0.000"}},
    {" --joints 170,-90,70,-185,125,350", {"flange 0"}}}; // exactly on the limits is inside
  for (const auto& [args, lines] : poses)
  {
    const CliRun run = CliRun::Of(WORKPIECE_CLI, "fk " + Robot + args, dir);
    ASSERT_EQ(run.code, 0) << args << "\n" << run.err;
    for (const char* line : lines)
      EXPECT_NE(run.out.find(line), std::string::npos) << line << "\n" << run.out;
  }
  const Json::Value json = DataHandle::LoadJson((dir / "fk.json").string());
  EXPECT_TRUE(json["links"].size() == 6 && json["links"][4]["name"] == "J5" && json["links"][4]["value"] == 45.0 &&
              json["flanges"][0]["frame"][0] == 649.792 && json["flanges"][0]["frame"][2] == 1476.032)
    << json.toStyledString();
  // Refused input names the fault; a mechanism whose display tree is gone fails with the library's message.
  fs::copy_file(Robot, dir / "robot.json");
  const std::tuple<std::string, int, std::string> cases[] = {
    {Robot + " --joints 0,135.5,0,0,0,0", 1, "joint 'J2' value 135.5 is outside its range [-90, 135]"},
    {Robot + " --joints 1,2", 1, "the mechanism has 6 joints, --joints gives 2"},
    {(dir / "none.json").string(), 1, "cannot read the mechanism"},
    {(dir / "robot.json").string(), 1, "模型实体加载错误"},
    {"", 2, ""}, {Robot + " --joints 1,x,3", 2, ""}, {Robot + " --frames", 2, ""}};
  for (const auto& [args, code, message] : cases)
  {
    const CliRun run = CliRun::Of(WORKPIECE_CLI, "fk " + args, dir);
    EXPECT_TRUE(run.code == code && run.err.find(message) != std::string::npos && run.out.empty())
      << args << ": " << run.code << "\n" << run.err << run.out;
  }
  fs::remove_all(dir);
}
