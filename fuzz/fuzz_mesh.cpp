// Mesh JSON as mesh models carry it: a mesh that loads is saved and must load to the same JSON, and
// the mesh tools must take it.
#include "FuzzInput.h"

#include <mesh/AIS_Mesh.h>
#include <mesh/MeshProcessTools.h>

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
  const Json::Value document = FuzzInput::ReadJson(data, size);
  if (const std::shared_ptr<MeshData> single = MeshData::FromJson(document))
  {
    const std::shared_ptr<MeshData> again = MeshData::FromJson(single->ToJson());
    if (!again || again->ToJson() != single->ToJson())
      std::abort();
    MeshProcessTools::IsWatertight(*single);
    MeshProcessTools::Area(*single);
    MeshProcessTools::FaceRegions(*single, 0.5);
    MeshProcessTools::WeldVertices(*single, 1.0e-3);
  }
  const Handle(mesh::AIS_Mesh) layers = new mesh::AIS_Mesh();
  if (!layers->FromJson(document))
    return 0;
  const Handle(mesh::AIS_Mesh) again = new mesh::AIS_Mesh();
  if (!again->FromJson(layers->ToJson()) || again->ToJson() != layers->ToJson() ||
      again->NbTriangles() != layers->NbTriangles())
    std::abort();
  layers->GetEntireMesh();
  return 0;
}
