// Display-tree files: the JSON tree with its embedded BRep text, meshes and point clouds. A tree that
// loads is exported and must load again.
#include "FuzzInput.h"

#include <entity/ViewShapeUtil.h>

#include <cadtools/WorkpieceError.h>

#include <cstdlib>

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
  FuzzInput::Quiet();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
  const Json::Value document = FuzzInput::ReadJson(data, size);
  if (document.isNull())
    return 0;
  try
  {
    const Handle(ShapeEntity) tree = ViewShapeUtil::LoadFromJson(document);
    if (tree.IsNull())
      return 0;
    const Handle(ShapeEntity) again = ViewShapeUtil::LoadFromJson(ViewShapeUtil::ExportToJson(tree, false));
    if (again.IsNull() || again->GetAllSubViewShapes().size() != tree->GetAllSubViewShapes().size())
      std::abort();
  }
  catch (const WorkpieceError&)
  {
  }
  return 0;
}
