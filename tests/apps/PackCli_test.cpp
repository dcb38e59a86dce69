#include "support/ViewTrees.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace
{
namespace fs = std::filesystem;

// Runs the tool with `args` in `dir`; returns the exit code and standard output then error.
std::pair<int, std::string> Cli(const std::string& args, const fs::path& dir)
{
  const fs::path out = dir / "out.txt";
  const int status = std::system(("cd " + dir.string() + " && " WORKPIECE_CLI " " + args + " >" + out.string() +
                                  " 2>&1 </dev/null").c_str());
  std::stringstream text;
  text << std::ifstream(out).rdbuf();
  return {WEXITSTATUS(status), text.str()};
}
} // namespace

TEST(PackCli, PacksTheSampleRobotOnceAndUnpacksItsSummary)
{
  const fs::path dir = ViewTrees::TempDir("workpiece-pack-cli");
  const std::string robot = (fs::path(WORKPIECE_EXAMPLES_DIR) / "cell" / "robot.json").string();
  EXPECT_EQ(Cli("pack " + robot + " robot.7z", dir).first, 0);
  const auto again = Cli("pack " + robot + " robot.7z", dir);
  EXPECT_EQ(again.first, 1);
  EXPECT_NE(again.second.find("'robot.7z' exists; not overwritten"), std::string::npos) << again.second;
  EXPECT_EQ(Cli("pack " + robot + " robot.7z --force", dir).first, 0);

  const auto unpacked = Cli("unpack robot.7z here", dir);
  ASSERT_EQ(unpacked.first, 0) << unpacked.second;
  EXPECT_TRUE(fs::is_regular_file(dir / "here" / "robot" / "context.layout"));
  for (const char* line : {"mechanism robot (type 1)\n", "  link J2: turning Y, -90 to 135 deg\n",
                           "  flange 0 on J6: nothing mounted\n"})
    EXPECT_NE(unpacked.second.find(line), std::string::npos) << line << " in\n" << unpacked.second;
  EXPECT_EQ(Cli("unpack", dir).first, 2);
}
