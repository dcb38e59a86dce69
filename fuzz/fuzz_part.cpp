// Part files through PartFile: the first byte picks the format (BREP, STEP, IGES), the rest is the file.
#include "FuzzInput.h"

#include <entity/PartFile.h>

#include <cadtools/WorkpieceError.h>

#include <array>

namespace
{
const std::array<const char*, 3> Names = {"part.brep", "part.step", "part.iges"};
} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
  FuzzInput::Quiet();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
  if (size == 0)
    return 0;
  const std::string path = FuzzInput::WriteFile(Names[data[0] % Names.size()], data + 1, size - 1);
  try
  {
    PartFile::ReadBodies(path);
  }
  catch (const WorkpieceError&)
  {
  }
  return 0;
}
