#include "support/CliRun.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

namespace fs = std::filesystem;

TEST(PackCli, PacksTheSampleRobotOnceAndUnpacksItsSummary)
{
  const fs::path dir = CliRun::Scratch("pack");
  const auto cli = [&dir](const std::string& args) { return CliRun::Of(WORKPIECE_CLI, args, dir); };
  const std::string robot = (fs::path(WORKPIECE_EXAMPLES_DIR) / "cell" / "robot.json").string();
  const std::string package = (dir / "robot.7z").string();
  EXPECT_EQ(cli("pack " + robot + " " + package).code, 0);
  const CliRun again = cli("pack " + robot + " " + package);
  EXPECT_TRUE(again.code == 1 && again.err.find("'" + package + "' exists; not overwritten") != std::string::npos) << again.err;
  EXPECT_EQ(cli("pack " + robot + " " + package + " --force").code, 0);

  const CliRun unpacked = cli("unpack " + package + " " + (dir / "here").string());
  ASSERT_TRUE(unpacked.code == 0 && fs::is_regular_file(dir / "here" / "robot" / "context.layout")) << unpacked.err;
  for (const char* line : {"mechanism robot (type 1)\n", "  link J2: turning Y, -90 to 135 deg\n",
                           "  flange 0 on J6: nothing mounted\n"})
    EXPECT_NE(unpacked.out.find(line), std::string::npos) << line << " in\n" << unpacked.out;
  EXPECT_EQ(cli("unpack").code, 2);
  fs::remove_all(dir);
}
