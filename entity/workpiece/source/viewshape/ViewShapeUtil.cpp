#include <entity/ViewShapeUtil.h>

#include <cadtools/DataHandle.h>
#include <cadtools/LogUtils.h>
#include <cadtools/ShapeCheck.h>
#include <cadtools/ShapeHandle.h>
#include <cadtools/ThreadPool.h>

#include <BRepTools.hxx>
#include <Prs3d_ShadingAspect.hxx>
#include <Standard_ArrayStreamBuffer.hxx>
#include <Standard_Failure.hxx>
#include <TopExp_Explorer.hxx>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <atomic>
#include <istream>
#include <sstream>
#include <utility>
#include <vector>

namespace
{
// Sub-shape kinds with colour lists, in writing order, with the list names.
const std::pair<TopAbs_ShapeEnum, const char*> ColourLists[] = {{TopAbs_FACE, "FaceColorList"},
                                                                 {TopAbs_SHELL, "ShellColorList"},
                                                                 {TopAbs_SOLID, "SolidColorList"},
                                                                 {TopAbs_COMPSOLID, "CSolidColorList"},
                                                                 {TopAbs_COMPOUND, "CPSolidColorList"}};

constexpr std::uint64_t MixSeed = 0x9f6f16f96a7e407eULL;
constexpr std::uint64_t MixFactor = 0xc6a4a7935bd1e995ULL;
constexpr int MixShift = 47;
// Colours are told apart to a thousandth.
constexpr double ColourScale = 1000.0;
constexpr int ColourDecimals = 6;
// Nodes a thread builds at a time.
constexpr std::size_t NodesPerGrab = 8;
// Logged when a tree holds something that is no display-shape object.
constexpr const char* FormatError = "显示模型数据格式错误";
// Logged, followed by the node's id, when a node's data cannot be read.
constexpr const char* NodeError = "显示模型节点读取错误：";
// Message of a display-tree file that could not be written, before its path.
constexpr const char* SaveError = "模型实体保存错误：";

// Returns the colour index: the components to a thousandth, mixed into one 64-bit hash.
std::uint64_t ColourIndex(const Quantity_Color& colour)
{
  std::uint64_t h = MixSeed;
  for (const double component : {colour.Red(), colour.Green(), colour.Blue()})
  {
    std::uint64_t k = static_cast<std::uint64_t>(std::ceil(component * ColourScale));
    k *= MixFactor;
    k ^= k >> MixShift;
    k *= MixFactor;
    h = (h ^ k) * MixFactor;
  }
  h ^= h >> MixShift;
  h *= MixFactor;
  h ^= h >> MixShift;
  return h;
}

// Returns whether the display object has a custom aspect on some sub-shape of kind `kind`.
bool HasAspectOfKind(const ViewShape& shape, TopAbs_ShapeEnum kind)
{
  for (AIS_DataMapOfShapeDrawer::Iterator it(shape.CustomAspectsMap()); it.More(); it.Next())
    if (it.Key().ShapeType() == kind)
      return true;
  return false;
}

Json::Value ColourLayer(const ViewShape& shape, const TopoDS_Shape& written)
{
  Json::Value layer(Json::objectValue);
  Json::Value colours(Json::objectValue);
  for (const auto& [kind, name] : ColourLists)
  {
    Json::Value list(Json::objectValue);
    // Most parts carry no colours of their own: walking their shape would find nothing.
    if (!HasAspectOfKind(shape, kind))
    {
      layer[name] = std::move(list);
      continue;
    }
    int position = 0;
    for (TopExp_Explorer ex(written, kind); ex.More(); ex.Next(), ++position)
    {
      const Handle(AIS_ColoredDrawer)* drawer = shape.CustomAspectsMap().Seek(ex.Current());
      if (drawer == nullptr || (*drawer)->ShadingAspect().IsNull())
        continue;
      const Handle(Prs3d_ShadingAspect)& shading = (*drawer)->ShadingAspect();
      const Quantity_Color colour = shading->Color(Aspect_TOFM_FRONT_SIDE);
      const std::uint64_t index = ColourIndex(colour);
      Json::Value entry(Json::objectValue);
      entry["ColorIndex"] = Json::UInt64(index);
      entry["Transparency"] = shading->Transparency(Aspect_TOFM_FRONT_SIDE);
      entry["Material"] = static_cast<int>(shading->Material(Aspect_TOFM_FRONT_SIDE).RequestedName());
      list[std::to_string(position)] = std::move(entry);
      const std::string key = std::to_string(index);
      if (!colours.isMember(key))
        colours[key] =
          DataHandle::PntToJsonArr(gp_Pnt(colour.Red(), colour.Green(), colour.Blue()), ColourDecimals);
    }
    layer[name] = std::move(list);
  }
  layer["Colors"] = std::move(colours);
  return layer;
}

// Returns the number held in `value`, or `fallback` when it holds none.
double NumberOr(const Json::Value& value, double fallback)
{
  return value.isNumeric() && std::isfinite(value.asDouble()) ? value.asDouble() : fallback;
}

// Returns the colour of a [r, g, b] array, or false when it is no such array.
std::pair<bool, Quantity_Color> ReadColour(const Json::Value& value)
{
  if (!value.isArray() || value.size() != 3)
    return {false, Quantity_Color()};
  double rgb[3];
  for (Json::ArrayIndex i = 0; i < 3; ++i)
  {
    if (!value[i].isNumeric() || !std::isfinite(value[i].asDouble()))
      return {false, Quantity_Color()};
    rgb[i] = std::clamp(value[i].asDouble(), 0.0, 1.0);
  }
  return {true, Quantity_Color(rgb[0], rgb[1], rgb[2], Quantity_TOC_RGB)};
}

// Applies the colour lists of "ColorLayer" to the sub-shapes of the node's shape, by position.
void ApplyColourLayer(ShapeEntity& node, const Json::Value& layer)
{
  if (!layer.isObject())
    return;
  const Json::Value& colours = layer["Colors"];
  for (const auto& [kind, name] : ColourLists)
  {
    const Json::Value& list = layer[name];
    if (!list.isObject() || list.empty())
      continue;
    std::vector<TopoDS_Shape> subShapes;
    for (TopExp_Explorer ex(node.GetEntityShape(), kind); ex.More(); ex.Next())
      subShapes.push_back(ex.Current());
    for (const std::string& key : list.getMemberNames())
    {
      const Json::Value& entry = list[key];
      char* end = nullptr;
      const unsigned long position = std::strtoul(key.c_str(), &end, 10);
      if (end == key.c_str() || *end != '\0' || position >= subShapes.size() || !entry.isObject() ||
          !entry["ColorIndex"].isUInt64() || !colours.isObject())
        continue;
      const auto [found, colour] = ReadColour(colours[std::to_string(entry["ColorIndex"].asUInt64())]);
      if (!found)
        continue;
      const int material = entry["Material"].isInt() ? entry["Material"].asInt() : -1;
      node.SetSubShapeAspect(subShapes[position], colour, NumberOr(entry["Transparency"], 0.0), material);
    }
  }
}

// Returns the node built from one display-shape object (its children not attached), null when
// its data cannot be read.
Handle(ShapeEntity) BuildNode(const Json::Value& object)
{
  const Uuid id = Uuid::FromString(object["uuid"].asString());
  const int modelType = object["ModelType"].isInt() ? object["ModelType"].asInt() : ViewShape::BRepModel;
  const Json::Value& data = object["data"];
  Handle(ShapeEntity) node;
  if (modelType == ViewShape::MeshModel && data.isObject())
  {
    node = new ShapeEntity(TopoDS_Shape(), id);
    if (!node->CreateMeshData(data))
      return Handle(ShapeEntity)();
  }
  else if (modelType == ViewShape::CloudModel && data.isString() && !data.asString().empty())
  {
    node = new ShapeEntity(TopoDS_Shape(), id);
    if (!node->CreateCloudData(data))
      return Handle(ShapeEntity)();
  }
  else
  {
    if (!data.isString())
      return Handle(ShapeEntity)();
    const char* begin = nullptr;
    const char* end = nullptr;
    // A string value without text of its own leaves both null: an empty shape, as for "".
    data.getString(&begin, &end);
    TopoDS_Shape shape;
    if (begin != end)
    {
      // The text is read where the document holds it, without a copy per shape.
      Standard_ArrayStreamBuffer text(begin, static_cast<std::size_t>(end - begin));
      std::istream in(&text);
      shape = ShapeHandle::ReadBRep(in);
      // A face without surface would crash whatever computes on it later. The kernel's full check
      // is left to the part readers: it costs several times the read, for every node of a tree.
      if (shape.IsNull() || !ShapeCheck::MissingGeometry(shape).empty())
        return Handle(ShapeEntity)();
    }
    node = new ShapeEntity(shape, id);
    ApplyColourLayer(*node, object["ColorLayer"]);
  }
  node->SetModelType(modelType);
  node->SetLocalTransformation(DataHandle::JsonArrToTrsf(object["trsf"]));
  if (const auto [found, colour] = ReadColour(object["color"]); found)
    node->SetColor(colour);
  node->SetCollisionGap(NumberOr(object["MinGap"], 0.0));
  node->SetCollisionPart(!object["CollisionPart"].isBool() || object["CollisionPart"].asBool());
  node->SetDrawingPara(object["DrawingPara"].isBool() && object["DrawingPara"].asBool());
  return node;
}

// Returns whether `value` looks like a display-shape object.
bool IsNodeObject(const Json::Value& value)
{
  return value.isObject() && value["uuid"].isString();
}
// Returns the display-shape object of `shape` and its saved descendants.
Json::Value ExportNode(const Handle(ViewShape)& shape, bool clean)
{
  if (shape.IsNull())
    return Json::Value();
  Json::Value json(Json::objectValue);
  json["uuid"] = shape->GetId().ToString();
  json["data"] = "";
  json["trsf"] = DataHandle::TrsfToJsonArr(shape->LocalTransformation());
  const Quantity_Color colour = shape->GetColor();
  Json::Value rgb(Json::arrayValue);
  rgb.append(colour.Red());
  rgb.append(colour.Green());
  rgb.append(colour.Blue());
  json["color"] = std::move(rgb);
  json["childs"] = Json::Value();
  json["ModelType"] = shape->GetModelType();
  json["MinGap"] = shape->GetCollisionGap();
  if (const Handle(ShapeEntity) part = Handle(ShapeEntity)::DownCast(shape); !part.IsNull())
  {
    json["CollisionPart"] = part->IsCollisionPart();
    json["DrawingPara"] = part->IsDrawingPara();
  }

  if (shape->GetModelType() == ViewShape::MeshModel)
  {
    if (const Handle(mesh::AIS_Mesh) m = shape->GetMesh(); !m.IsNull())
    {
      json["data"] = m->ToJson();
      return json;
    }
  }
  if (shape->GetModelType() == ViewShape::CloudModel)
  {
    if (const Handle(CloudShape) cloud = shape->GetCloudShape(); !cloud.IsNull())
    {
      json["data"] = cloud->PCDToString();
      return json;
    }
  }
  if (shape->ChildCount() > 0)
  {
    Json::Value children(Json::arrayValue);
    for (const Handle(PrsMgr_PresentableObject)& child : shape->Children())
    {
      const Handle(ShapeEntity) part = Handle(ShapeEntity)::DownCast(child);
      if (!part.IsNull() && part->NeedSave())
        children.append(ExportNode(part, false));
    }
    json["childs"] = std::move(children);
  }
  TopoDS_Shape written = BaseViewShape::GetTopoDSFromShell(shape->GetEntityShape());
  if (clean && !written.IsNull())
  {
    BRepTools::CleanGeometry(written);
    BRepTools::RemoveUnusedPCurves(written);
  }
  if (!written.IsNull())
  {
    std::ostringstream text;
    ShapeHandle::WriteBRep(written, text);
    json["data"] = text.str();
  }
  json["ColorLayer"] = ColourLayer(*shape, written);
  return json;
}
} // namespace

Json::Value ViewShapeUtil::ExportToJson(const Handle(ViewShape)& shape, bool clean)
{
  return ExportNode(shape, clean);
}

bool ViewShapeUtil::ExportToFile(const Handle(ViewShape)& shape, const std::string& path, bool clean)
{
  // Callers save whole projects and go on whatever one file answered, so the answer stays true; a
  // file that cannot be written is logged and leaves the one saved before in place.
  DataHandle::CheckOrCreateDir(path);
  if (!DataHandle::SaveJson(ExportToJson(shape, clean), path))
    LogUtils::LogWrite(WORKPIECE_LOC("ViewShapeUtil::ExportToFile"), SPDLOG_LEVEL_ERROR, SaveError + path);
  return true;
}

Handle(ShapeEntity) ViewShapeUtil::LoadFromJson(const Json::Value& json)
{
  return LoadFromJson(json, GetThreadPool());
}

Handle(ShapeEntity) ViewShapeUtil::LoadFromJson(const Json::Value& json, ThreadPool& pool)
{
  if (!IsNodeObject(json))
  {
    LogUtils::LogWrite(WORKPIECE_LOC("ViewShapeUtil::LoadFromJson"), SPDLOG_LEVEL_ERROR, FormatError);
    return Handle(ShapeEntity)();
  }
  // Collect every object of the tree with the position of its parent (-1 for the root).
  std::vector<std::pair<const Json::Value*, int>> objects{{&json, -1}};
  for (std::size_t i = 0; i < objects.size(); ++i)
  {
    const Json::Value& children = (*objects[i].first)["childs"];
    if (!children.isArray())
      continue;
    for (const Json::Value& child : children)
    {
      if (!IsNodeObject(child))
      {
        LogUtils::LogWrite(WORKPIECE_LOC("ViewShapeUtil::LoadFromJson"), SPDLOG_LEVEL_ERROR, FormatError);
        return Handle(ShapeEntity)();
      }
      objects.emplace_back(&child, static_cast<int>(i));
    }
  }

  // Nodes are built a few at a time, by the caller and the pool's workers: one task per node
  // would spend more on handing over than on reading small shapes. A node that cannot be read
  // stops the rest.
  std::vector<Handle(ShapeEntity)> nodes(objects.size());
  std::atomic<bool> complete{true};
  pool.ParallelFor(objects.size(), NodesPerGrab, [&](std::size_t first, std::size_t last) {
    for (std::size_t i = first; i < last && complete; ++i)
    {
      try
      {
        nodes[i] = BuildNode(*objects[i].first);
      }
      catch (const Standard_Failure&)
      {
      }
      catch (const std::exception&)
      {
      }
      if (nodes[i].IsNull() && complete.exchange(false))
        LogUtils::LogWrite(WORKPIECE_LOC("ViewShapeUtil::LoadFromJson"), SPDLOG_LEVEL_ERROR,
                           NodeError + (*objects[i].first)["uuid"].asString());
    }
  });
  if (!complete)
    return Handle(ShapeEntity)();

  std::vector<std::vector<Handle(ViewShape)>> children(objects.size());
  for (std::size_t i = 1; i < objects.size(); ++i)
    children[objects[i].second].push_back(nodes[i]);
  for (std::size_t i = 0; i < objects.size(); ++i)
    if (!children[i].empty())
      nodes[i]->AddShapeListToAISChilde(children[i]);
  const Handle(ShapeEntity)& root = nodes.front();
  root->SetUpdateLayerFlag(true);
  root->SetFaceBoundary();
  return root;
}

bool ViewShapeUtil::CheckShapeValid(Handle(ShapeEntity) shape)
{
  const bool valid = !shape.IsNull() && (!shape->GetEntityShape().IsNull() || shape->ChildCount() > 0);
  shape.Nullify();
  return valid;
}
