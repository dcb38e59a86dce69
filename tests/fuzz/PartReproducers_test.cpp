// Part files the fuzz target of the part readers found (fuzz/corpus/fuzz_part).
#include <cadtools/WorkpieceError.h>
#include <entity/PartFile.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include <unistd.h>

namespace
{
// Returns a copy of the corpus input as the part file the fuzz target makes of it: without the
// first byte, which only picks the format.
std::string CorpusFile(const std::string& name)
{
  const char* source = std::getenv("WORKPIECE_SOURCE_DIR");
  std::ifstream in(std::filesystem::path(source != nullptr ? source : ".") / "fuzz" / "corpus" / "fuzz_part" / name,
                   std::ios::binary);
  const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  const std::filesystem::path dir =
    std::filesystem::temp_directory_path() / ("workpiece_part_reproducers_" + std::to_string(::getpid()));
  std::filesystem::create_directories(dir);
  const std::string path = (dir / name).string();
  std::ofstream(path, std::ios::binary) << (bytes.empty() ? bytes : bytes.substr(1));
  return path;
}
} // namespace

TEST(PartReproducers, IgesFaceReadFromAnotherEntitysParametersIsRefusedBeforeTheKernelFaults)
{
  const std::string file = CorpusFile("iges-face-null-loop.iges");
  try
  {
    PartFile::Read(file);
    FAIL() << "read";
  }
  catch (const WorkpieceError& error)
  {
    EXPECT_EQ(std::string(error.what()), "cannot read the part '" + file +
                                           "': unreadable: its IGES entity 510 at directory line 37 has the "
                                           "parameters of an entity 514");
  }
  // The same entity pointing to no parameter line, and to a line past the parameter section.
  std::ifstream in(file);
  const std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  const std::string entry = "     510      20       0";
  ASSERT_NE(text.find(entry), std::string::npos);
  const std::string dir = (std::filesystem::temp_directory_path() / ("workpiece_iges_" + std::to_string(::getpid()))).string();
  std::filesystem::create_directories(dir);
  for (const std::string& pointer : {"       0", "     999"})
  {
    std::string moved = text;
    moved.replace(moved.find(entry) + 8, 8, pointer);
    const std::string path = dir + "/moved.iges";
    std::ofstream(path, std::ios::binary) << moved;
    try
    {
      PartFile::Read(path);
      ADD_FAILURE() << pointer;
    }
    catch (const WorkpieceError& error)
    {
      EXPECT_NE(std::string(error.what()).find("its IGES entity 510 at directory line 37 has no parameter lines of its own"),
                std::string::npos)
        << error.what();
    }
  }
  std::filesystem::remove_all(dir);
  // Faces, loops and shells whose parameter lines are their own read.
  for (const char* name : {"box.iges", "cylinder.iges"})
    EXPECT_FALSE(PartFile::Read(CorpusFile(name)).IsNull()) << name;
}

TEST(PartReproducers, IgesDirectoryFieldThatIsNotANumberIsRefused)
{
  const std::string file = CorpusFile("iges-directory-field-not-a-number.iges");
  try
  {
    PartFile::Read(file);
    FAIL() << "read";
  }
  catch (const WorkpieceError& error)
  {
    EXPECT_EQ(std::string(error.what()), "cannot read the part '" + file +
                                           "': unreadable: its IGES directory line 13 has '       =' where a "
                                           "number belongs");
  }
}

// Damaged STEP entities are refused before the transfer follows them: references that loop through
// entity numbers defined twice (the reader's cycle of handles is the kernel's to leak, scripts/lsan.supp),
// and entities a syntax error leaves read in part, on which the transfer faulted.
TEST(PartReproducers, DamagedStepEntitiesAreRefusedBeforeTheTransfer)
{
  const std::vector<std::pair<std::string, std::string>> cases{
    {"step-references-loop.step", "unreadable: "},
    {"step-direction-read-half.step", "unreadable: an entity the file does not give whole (Undefined Parsing"},
    {"step-face-read-half.step", "unreadable: an entity the file does not give whole (Undefined Parsing"}};
  for (const auto& [name, reason] : cases)
  {
    const std::string file = CorpusFile(name);
    try
    {
      PartFile::Read(file);
      ADD_FAILURE() << name << " was read";
    }
    catch (const WorkpieceError& error)
    {
      const std::string prefix = "cannot read the part '" + file + "': " + reason;
      EXPECT_EQ(std::string(error.what()).compare(0, prefix.size(), prefix), 0) << error.what();
    }
  }
}

TEST(PartReproducers, IgesShellWhoseFacePointerNamesAnotherEntityIsRefused)
{
  try
  {
    PartFile::Read(CorpusFile("iges-shell-face-pointer-to-other-entity.iges"));
    FAIL() << "read";
  }
  catch (const WorkpieceError& error)
  {
    EXPECT_NE(std::string(error.what()).find("where an entity 510 belongs"), std::string::npos) << error.what();
  }
}

// Entities the kernel's reader leaves half made and then faults on.
TEST(PartReproducers, IgesParametersTheReaderCannotTakeAreRefused)
{
  for (const auto& [name, problem] :
       {std::pair{"iges-face-on-surface-with-text-pointer.iges",
                  "its IGES entity 192 at directory line 7 has '9B_SPLINE_CURVE_WITH_KNOTS' for a parameter"},
        std::pair{"iges-parameter-line-names-no-entry.iges",
                  "its IGES parameter line 14 names directory line ' 0+00025', not 25"}})
  {
    try
    {
      PartFile::Read(CorpusFile(name));
      ADD_FAILURE() << name;
    }
    catch (const WorkpieceError& error)
    {
      EXPECT_NE(std::string(error.what()).find(problem), std::string::npos) << error.what();
    }
  }
}

// Without a global section the delimiters are the default ones; looking them up ended the process.
TEST(PartReproducers, IgesFileWithoutGlobalSectionEndsInAnError)
{
  EXPECT_THROW(PartFile::Read(CorpusFile("iges-without-global-section.iges")), WorkpieceError);
}
