// Entity packages (7z) through EntityPackage::Read: nothing may be written outside the folder the
// package is unpacked into.
#include "FuzzInput.h"

#include <entity/EntityPackage.h>

#include <cadtools/WorkpieceError.h>

#include <cstdlib>
#include <filesystem>

namespace fs = std::filesystem;

namespace
{
// Unpacked bytes allowed per input: enough for the seed packages, small beside the RSS limit.
constexpr std::uint64_t MaxBytes = std::uint64_t(64) << 20;
} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
  FuzzInput::Quiet();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
  const std::string package = FuzzInput::WriteFile("package.7z", data, size);
  const fs::path target = FuzzInput::Folder() + "unpacked";
  try
  {
    EntityPackage::Read(package, target.string() + "/", MaxBytes);
  }
  catch (const WorkpieceError&)
  {
  }
  for (const fs::directory_entry& entry : fs::directory_iterator(FuzzInput::Folder()))
    if (entry.path().filename() != "package.7z" && entry.path() != target)
      std::abort();
  fs::remove_all(target);
  return 0;
}
