#include <cadtools/DataHandle.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace
{
namespace fs = std::filesystem;

struct CliRun
{
  int code;
  std::string out;
  std::string err;
};

fs::path Scratch(const std::string& name)
{
  const fs::path dir = fs::temp_directory_path() / ("workpiece_fk_" + name);
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

CliRun Cli(const std::string& args, const fs::path& dir)
{
  const fs::path out = dir / "stdout.txt", err = dir / "stderr.txt";
  const std::string command =
    std::string(WORKPIECE_CLI) + " " + args + " >" + out.string() + " 2>" + err.string() + " </dev/null";
  const int status = std::system(command.c_str());
  return {WEXITSTATUS(status), ReadText(out), ReadText(err)};
}

std::string Robot()
{
  return (fs::path(WORKPIECE_EXAMPLES_DIR) / "cell" / "robot.json").string();
}
} // namespace

TEST(FkCli, SampleRobotPosesMatchTheHandComputedFrames)
{
  const fs::path dir = Scratch("poses");
  // J2 -30° and J3 20° leave the forearm turned -10° about Y; J5 45° turns the wrist to 35°:
  // J3 = (150, 0, 675) + 700 (sin -30°, 0, cos 30°); J4 = J3 + Ry(-10°)(200, 0, 115);
  // J5 = J4 + Ry(-10°)(600, 0, 0); J6 = J5 + Ry(35°)(100, 0, 0); the flange is turned Ry(125°).
  const CliRun run = Cli("fk " + Robot() + " --joints 0,-30,20,0,45,0 --json " + (dir / "fk.json").string(), dir);
  ASSERT_EQ(run.code, 0) << run.err;
  for (const char* line : {"J2             150.000     0.000   675.000     0.000   -30.000     0.000",
                           "J3            -200.000     0.000  1281.218     0.000   -10.000     0.000",
                           "J4             -23.008     0.000  1429.200     0.000   -10.000     0.000",
                           "J5             567.877     0.000  1533.389     0.000    35.000     0.000",
                           "flange 0       649.792     0.000  1476.032   180.000    55.000   180.000"})
    EXPECT_NE(run.out.find(line), std::string::npos) << line << "\n" << run.out;

  const Json::Value json = DataHandle::LoadJson((dir / "fk.json").string());
  ASSERT_EQ(json["links"].size(), 6u);
  EXPECT_EQ(json["links"][4]["name"].asString(), "J5");
  EXPECT_DOUBLE_EQ(json["links"][4]["value"].asDouble(), 45.0);
  EXPECT_DOUBLE_EQ(json["flanges"][0]["frame"][0].asDouble(), 649.792);
  EXPECT_DOUBLE_EQ(json["flanges"][0]["frame"][2].asDouble(), 1476.032);

  // Without --joints every joint is at 0: the flange on the wrist's axis, 1490 mm up.
  const CliRun zero = Cli("fk " + Robot(), dir);
  ASSERT_EQ(zero.code, 0) << zero.err;
  EXPECT_NE(zero.out.find("flange 0      1050.000     0.000  1490.000     0.000    90.000     0.000"),
            std::string::npos)
    << zero.out;
  // Exactly on a limit is inside.
  EXPECT_EQ(Cli("fk " + Robot() + " --joints 170,-90,70,-185,125,350", dir).code, 0);
}

TEST(FkCli, RefusedInputNamesTheFaultAndExitCode)
{
  const fs::path dir = Scratch("refused");
  const CliRun beyond = Cli("fk " + Robot() + " --joints 0,135.5,0,0,0,0", dir);
  EXPECT_EQ(beyond.code, 1);
  EXPECT_NE(beyond.err.find("joint 'J2' value 135.5 is outside its range [-90, 135]"), std::string::npos)
    << beyond.err;
  EXPECT_TRUE(beyond.out.empty()) << "nothing is printed for a refused pose";

  const CliRun count = Cli("fk " + Robot() + " --joints 1,2", dir);
  EXPECT_EQ(count.code, 1);
  EXPECT_NE(count.err.find("the mechanism has 6 joints, --joints gives 2"), std::string::npos) << count.err;

  const CliRun missing = Cli("fk " + (dir / "none.json").string(), dir);
  EXPECT_EQ(missing.code, 1);
  EXPECT_NE(missing.err.find("cannot read the mechanism"), std::string::npos) << missing.err;

  // A mechanism whose display tree is gone fails as a whole, with the library's message.
  fs::copy_file(Robot(), dir / "robot.json");
  const CliRun noTree = Cli("fk " + (dir / "robot.json").string(), dir);
  EXPECT_EQ(noTree.code, 1);
  EXPECT_NE(noTree.err.find("模型实体加载错误"), std::string::npos) << noTree.err;

  EXPECT_EQ(Cli("fk", dir).code, 2);
  EXPECT_EQ(Cli("fk " + Robot() + " --joints 1,x,3", dir).code, 2);
  EXPECT_EQ(Cli("fk " + Robot() + " --frames", dir).code, 2);
  const CliRun help = Cli("fk --help", dir);
  EXPECT_EQ(help.code, 0);
  EXPECT_NE(help.out.find("--joints J1,J2,..."), std::string::npos);
}

TEST(FkCli, GeneratedCellMatchesTheCommittedFiles)
{
  const fs::path dir = Scratch("generated");
  ASSERT_EQ(Cli("generate-examples " + dir.string(), dir).code, 0);
  const fs::path committed = fs::path(WORKPIECE_EXAMPLES_DIR) / "cell";
  for (const auto& entry : fs::recursive_directory_iterator(committed))
  {
    if (!entry.is_regular_file())
      continue;
    const fs::path relative = fs::relative(entry.path(), committed);
    EXPECT_EQ(DataHandle::LoadJson((dir / "cell" / relative).string()), DataHandle::LoadJson(entry.path().string()))
      << relative;
  }
}
