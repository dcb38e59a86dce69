// The project's JSON reader on any bytes; a document it reads must survive a save and a second read.
#include "FuzzInput.h"

#include <cadtools/DataHandle.h>

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
  const Json::Value document = FuzzInput::ReadJson(data, size);
  if (document.isNull())
    return 0;
  const std::string saved = FuzzInput::Folder() + "saved.json";
  if (DataHandle::SaveJson(document, saved) && !(DataHandle::LoadJson(saved) == document))
    std::abort();
  return 0;
}
