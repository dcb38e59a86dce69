// Mechanism JSON through GenericEntityConfig: the input is the mechanism object, a NUL byte, then the
// display-tree file its "ShapeEntityPath" names. A mechanism that loads is saved and must load again.
#include "FuzzInput.h"

#include <entity/GenericEntityConfig.h>

#include <cadtools/WorkpieceError.h>

#include <cstdlib>
#include <filesystem>

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
  FuzzInput::Quiet();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
  const Json::Value json = FuzzInput::ReadObjectWithTree(data, size);
  Json::Value saved;
  try
  {
    GenericEntityConfig mechanism;
    mechanism.LoadFromJson(json);
    // Each input saves under the ids it names; the folder is emptied so that a long run keeps one file.
    const std::string folder = FuzzInput::Folder() + "saved/";
    std::filesystem::remove_all(folder);
    saved = mechanism.ToJson(folder);
    saved["ShapeEntityPath"] = folder + saved["ShapeEntityPath"].asString();
  }
  catch (const WorkpieceError&)
  {
    return 0;
  }
  try
  {
    GenericEntityConfig again;
    again.LoadFromJson(saved);
  }
  catch (const WorkpieceError&)
  {
    // What the library saved, it must read.
    std::abort();
  }
  return 0;
}
