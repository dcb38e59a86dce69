// An entity's JSON object and the display-tree file it names: the input is the object, a NUL byte,
// then the file; whatever string the object gives as "ShapeEntityPath" is pointed at that file.
#include "FuzzInput.h"

#include <entity/Entity.h>

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
  try
  {
    Entity entity;
    entity.LoadFromJson(json);
    if (entity.GetRootMdl().IsNull())
      return 0;
    // What an entity saves, another entity reads back with the same identity.
    // Each input saves under the ids it names; the folder is emptied so that a long run keeps one file.
    const std::string folder = FuzzInput::Folder() + "saved/";
    std::filesystem::remove_all(folder);
    Json::Value saved = entity.ToJson(folder);
    saved["ShapeEntityPath"] = folder + saved["ShapeEntityPath"].asString();
    Entity again;
    again.LoadFromJson(saved);
    if (again.GetRootMdl().IsNull() || again.GetRootMdlID() != entity.GetRootMdlID() ||
        again.GetName() != entity.GetName())
      std::abort();
  }
  catch (const WorkpieceError&)
  {
  }
  return 0;
}
