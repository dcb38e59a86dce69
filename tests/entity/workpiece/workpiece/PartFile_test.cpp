#include <entity/PartFile.h>

#include "support/ErrorText.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include <unistd.h>


namespace fs = std::filesystem;

namespace
{
// Returns the source folder CTest names.
std::string SourceDir()
{
  const char* source = std::getenv("WORKPIECE_SOURCE_DIR");
  return source != nullptr ? source : ".";
}

std::string HostileDir()
{
  return SourceDir() + "/tests/data/hostile/";
}

// Returns the text of `path` with its first `old` replaced by `now`, padded or cut to the same length.
std::string Replaced(const std::string& path, const std::string& old, const std::string& now)
{
  std::stringstream text;
  text << std::ifstream(path).rdbuf();
  std::string all = text.str();
  all.replace(all.find(old), old.size(), now + std::string(old.size() > now.size() ? old.size() - now.size() : 0, ' '));
  return all;
}
} // namespace

TEST(PartFile, ARefusedReadLeavesTheNextOneWhole)
{
  // The transfer would fault on the dangling reference: it is refused before.
  const std::string file = HostileDir() + "dangling-reference.step";
  for (int i = 0; i < 2; ++i)
    EXPECT_EQ(ErrorText([&file] { PartFile::Read(file); }),
              "cannot read the part '" + file + "': unreadable: a reference to an entity the file does not define "
              "(Unresolved Reference, Ent.Id.#22 Param.n0 2 (Id.#99999))");
  // The solid comes back from the reading process with the name the file gives it.
  const std::vector<PartFile::Body> bodies = PartFile::ReadBodies(SourceDir() + "/tests/data/parts/bracket-4040-adapter.step");
  ASSERT_EQ(bodies.size(), 1u);
  EXPECT_EQ(bodies.front().shape.ShapeType(), TopAbs_SOLID);
  EXPECT_EQ(bodies.front().name, "SOARM100-4040-Adapter-V2");
}

TEST(PartFile, IgesListCountsUpToTheirEntitysParametersAreRead)
{
  const fs::path dir = fs::temp_directory_path() / ("workpiece_partfile_" + std::to_string(::getpid()));
  fs::create_directories(dir);
  // The loop entity holds 22 parameters: a count of 22 is the reader's to judge, 23 is refused at once.
  const std::string loop = "508,2147483647,0,17,1,0,0,0,17,2,1,0,0,17,3,1,0,0,17,4,0,0;";
  for (const auto& [count, refused] : std::vector<std::pair<int, bool>>{{4, false}, {22, false}, {23, true}})
  {
    const fs::path file = dir / ("loop" + std::to_string(count) + ".igs");
    std::ofstream(file) << Replaced(HostileDir() + "loop-count.igs", loop,
                                    "508," + std::to_string(count) + loop.substr(loop.find(',', 4)));
    const std::string error = ErrorText([&] { PartFile::Read(file.string()); });
    EXPECT_EQ(error.find("counts " + std::to_string(count) + " items but holds 22 parameters") != std::string::npos, refused)
      << count << ": " << error;
    EXPECT_TRUE(count != 4 || error.empty()) << "the undamaged box: " << error;
  }
  fs::remove_all(dir);
}
