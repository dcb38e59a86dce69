// Part files the fuzz target of the part readers found (fuzz/corpus/fuzz_part).
#include <cadtools/WorkpieceError.h>
#include <entity/PartFile.h>

#include "support/ErrorText.h"

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

// Damaged entries the kernel's readers faulted on, leaked a model after, or ended the process with
// are refused before the reader follows them; each expected text is part of the error.
TEST(PartReproducers, DamagedEntriesAreRefusedBeforeTheReaderFollowsThem)
{
  const std::vector<std::pair<std::string, std::string>> cases{
    {"iges-face-null-loop.iges", "unreadable: its IGES entity 510 at directory line 37 has the parameters of an entity 514"},
    {"iges-directory-field-not-a-number.iges", "unreadable: its IGES directory line 13 has '       =' where a number belongs"},
    {"iges-shell-face-pointer-to-other-entity.iges", "where an entity 510 belongs"},
    {"iges-face-on-surface-with-text-pointer.iges",
     "its IGES entity 192 at directory line 7 has '9B_SPLINE_CURVE_WITH_KNOTS' for a parameter"},
    {"iges-parameter-line-names-no-entry.iges", "its IGES parameter line 14 names directory line ' 0+00025', not 25"},
    // Without a global section the delimiters are the default ones; looking them up ended the process.
    {"iges-without-global-section.iges", "cannot read the part"},
    // References that loop through entity numbers defined twice: the reader's cycle of handles is the
    // kernel's to leak (scripts/lsan.supp).
    {"step-references-loop.step", "unreadable: "},
    {"step-direction-read-half.step", "unreadable: an entity the file does not give whole (Undefined Parsing"},
    {"step-face-read-half.step", "unreadable: an entity the file does not give whole (Undefined Parsing"}};
  for (const auto& [name, reason] : cases)
  {
    const std::string file = CorpusFile(name);
    EXPECT_NE(ErrorText([&] { PartFile::Read(file); }).find(reason), std::string::npos) << name;
  }
}

// The entity of iges-face-null-loop pointing to no parameter line, and to one past the section, is
// refused; faces, loops and shells whose parameter lines are their own read.
TEST(PartReproducers, IgesEntitiesReadOnlyFromTheirOwnParameterLines)
{
  std::ifstream in(CorpusFile("iges-face-null-loop.iges"));
  const std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  const std::string entry = "     510      20       0";
  ASSERT_NE(text.find(entry), std::string::npos);
  for (const std::string pointer : {"       0", "     999"})
  {
    std::string moved = text;
    moved.replace(moved.find(entry) + 8, 8, pointer);
    const std::string path = CorpusFile("box.iges") + ".moved.iges";
    std::ofstream(path, std::ios::binary) << moved;
    EXPECT_NE(ErrorText([&] { PartFile::Read(path); })
                .find("its IGES entity 510 at directory line 37 has no parameter lines of its own"),
              std::string::npos)
      << pointer;
  }
  for (const char* name : {"box.iges", "cylinder.iges"})
    EXPECT_FALSE(PartFile::Read(CorpusFile(name)).IsNull()) << name;
}
