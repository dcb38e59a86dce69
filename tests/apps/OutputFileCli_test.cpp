#include "support/CliRun.h"

#include <cadtools/DataHandle.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace
{
const std::string Part = WORKPIECE_EXAMPLES_DIR "/lbracket.step";

// Returns the names in `dir` that start with a dot: temporary files left behind.
std::vector<std::string> Hidden(const fs::path& dir)
{
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(dir))
    if (entry.path().filename().string()[0] == '.')
      names.push_back(entry.path().filename().string());
  return names;
}
} // namespace

TEST(OutputFileCli, CommandsRefuseWhatTheyMustNotReplaceAndWriteThroughLinks)
{
  const fs::path dir = CliRun::Scratch("output");
  const auto seams = [&](const fs::path& json) { return CliRun::Of(WORKPIECE_CLI, "seams " + (dir / "part.step").string() + " --json " + json.string(), dir); };
  fs::copy_file(Part, dir / "part.step");
  const std::string part = CliRun::ReadText(dir / "part.step");
  ASSERT_EQ(::mkfifo((dir / "fifo").c_str(), 0600), 0);
  fs::create_symlink(dir / "fifo", dir / "to-fifo");
  fs::create_symlink(dir / "part.step", dir / "to-part.json");
  fs::create_hard_link(dir / "part.step", dir / "part-again.json");
  fs::create_symlink(dir / "nowhere", dir / "dangling.json");
  std::ofstream(dir / "theirs.json") << "[]";
  // Somebody else's file: the tool may be able to replace it, but must not.
  const bool root = ::geteuid() == 0;
  const fs::path theirs = root ? dir / "theirs.json" : fs::path("/etc/hostname");
  if (root)
  {
    ASSERT_EQ(::chown(theirs.c_str(), 65534, 65534), 0);
  }
  const std::vector<std::pair<fs::path, std::string>> refused{
    {dir / "fifo", "it is not a regular file"}, {dir / "to-fifo", "it is not a regular file"},
    {"/dev/null", "it is not a regular file"}, {dir, "it is a folder"},
    {dir / "part.step", "it is the input"}, {dir / "to-part.json", "it is the input"},
    {dir / "part-again.json", "it is the input"}, {dir / "dangling.json", "it is a symbolic link to nothing"},
    {theirs, "it belongs to another user"}};
  for (const auto& [json, reason] : refused)
  {
    const CliRun run = seams(json);
    EXPECT_TRUE(run.code == 1 && run.out.empty() &&
                run.err == "workpiece seams: cannot write '" + json.string() + "': " + reason +
                             (reason == "it is the input" ? " '" + (dir / "part.step").string() + "'" : "") + "\n")
      << json << ": " << run.code << " " << run.err;
  }
  EXPECT_TRUE(fs::is_fifo(dir / "fifo") && fs::is_symlink(dir / "to-fifo") && fs::is_character_file("/dev/null"));
  EXPECT_EQ(CliRun::ReadText(dir / "part.step"), part);

  // A new file, an own file (its permissions kept) and a link to one (the link kept, its target written).
  std::ofstream(dir / "old.json") << "old";
  fs::permissions(dir / "old.json", fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read);
  fs::create_symlink(dir / "old.json", dir / "link.json");
  ASSERT_EQ(seams(dir / "new.json").code, 0);
  const std::string written = CliRun::ReadText(dir / "new.json");
  EXPECT_EQ(DataHandle::LoadJson((dir / "new.json").string()).size(), 18u) << written;
  ASSERT_EQ(seams(dir / "link.json").code, 0);
  EXPECT_TRUE(fs::is_symlink(dir / "link.json"));
  EXPECT_EQ(CliRun::ReadText(dir / "old.json"), written);
  EXPECT_EQ(fs::status(dir / "old.json").permissions() & fs::perms::all,
            fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read);
  // A folder that does not exist fails without leaving anything behind.
  const CliRun missing = seams(dir / "no" / "s.json");
  EXPECT_EQ(missing.err.find("workpiece seams: cannot write '" + (dir / "no" / "s.json").string() +
                             "': cannot create a file beside it"), 0u) << missing.err;
  EXPECT_TRUE(Hidden(dir).empty());

  // The other commands writing files refuse their input and special files alike.
  const std::string input = (dir / "part.step").string(), fifo = (dir / "fifo").string(), mechanism = (dir / "robot.json").string();
  fs::copy_file(fs::path(WORKPIECE_EXAMPLES_DIR) / "cell" / "robot.json", mechanism);
  const std::vector<std::pair<std::string, std::string>> cases{
    {"render " + input + " --out " + input, "workpiece render: cannot write '" + input + "': it is the input '" + input + "'\n"},
    {"render " + input + " --out " + (dir / "x.png").string() + " --camera " + fifo,
     "workpiece render: cannot write '" + fifo + "': it is not a regular file\n"},
    {"pack " + mechanism + " " + fifo + " --force", "workpiece pack: cannot write '" + fifo + "': it is not a regular file\n"},
    {"pack " + mechanism + " " + mechanism + " --force",
     "workpiece pack: cannot write '" + mechanism + "': it is the input '" + mechanism + "'\n"}};
  for (const auto& [args, error] : cases)
  {
    const CliRun run = CliRun::Of(WORKPIECE_CLI, args, dir);
    EXPECT_TRUE(run.code == 1 && run.err == error) << args << ": " << run.code << " " << run.err;
  }
  EXPECT_TRUE(CliRun::ReadText(dir / "part.step") == part && fs::is_fifo(dir / "fifo") && fs::is_regular_file(mechanism));
  fs::remove_all(dir);
}
