#pragma once

#include <mesh/MeshData.h>

#include <AIS_InteractiveObject.hxx>
#include <json/value.h>

#include <map>
#include <memory>

namespace mesh
{
// An interactive object showing triangle meshes by layer (shaded, one layer per graphic group).
class AIS_Mesh : public AIS_InteractiveObject
{
  DEFINE_STANDARD_RTTIEXT(AIS_Mesh, AIS_InteractiveObject)
public:
  AIS_Mesh();

  // Appends `mesh` to `layer` (creating the layer); an empty mesh is ignored.
  void AddMesh(const std::shared_ptr<MeshData>& mesh, int layer = 0);

  // Replaces `layer` with a copy of `mesh`; an empty mesh removes the layer.
  void SetTriangles(const std::shared_ptr<MeshData>& mesh, int layer = 0);

  // Returns the mesh of a layer, null when absent.
  std::shared_ptr<MeshData> GetLayer(int layer) const;

  const std::map<int, std::shared_ptr<MeshData>>& GetLayers() const { return myLayers; }

  // Returns all layers merged into one mesh in the object's own frame (empty mesh when none).
  std::shared_ptr<MeshData> GetEntireMesh() const;

  int NbTriangles() const;

  // Returns {"Layers": [{"Layer": n, "Mesh": MeshData::ToJson}, ...]}.
  Json::Value ToJson() const;

  // Replaces the layers by those of `json`; returns false (layers untouched) when it is malformed.
  bool FromJson(const Json::Value& json);

  bool AcceptDisplayMode(const Standard_Integer mode) const override { return mode == 0; }

protected:
  void Compute(const Handle(PrsMgr_PresentationManager)& manager, const Handle(Prs3d_Presentation)& prs,
               const Standard_Integer mode) override;
  void ComputeSelection(const Handle(SelectMgr_Selection)& selection, const Standard_Integer mode) override;

private:
  std::map<int, std::shared_ptr<MeshData>> myLayers;
};
} // namespace mesh
