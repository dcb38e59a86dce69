#include "SampleCell.h"

#include <entity/ShapeEntity.h>
#include <entity/ViewShapeUtil.h>

#include <cadtools/DataHandle.h>
#include <cadtools/Uuid.h>

#include <BRepBuilderAPI_Transform.hxx>
#include <BRepPrimAPI_MakeBox.hxx>
#include <BRepPrimAPI_MakeCylinder.hxx>
#include <Quantity_Color.hxx>
#include <gp_Ax2.hxx>

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <vector>

namespace
{
// Mechanism types as the cell uses them: 1 robot, 2 positioner, 3 tool.
constexpr int RobotType = 1;
constexpr int PositionerType = 2;
constexpr int ToolType = 3;
// "InvType" of a six-axis arm with a spherical wrist.
constexpr int SphericalWristInv = 1;
constexpr int RotaryX = 3;
constexpr int RotaryY = 4;
constexpr int RotaryZ = 5;

TopoDS_Shape Box(double x0, double y0, double z0, double x1, double y1, double z1)
{
  return BRepPrimAPI_MakeBox(gp_Pnt(x0, y0, z0), gp_Pnt(x1, y1, z1)).Shape();
}

// A cylinder of `radius` from `base` along `axis` for `length`.
TopoDS_Shape Cylinder(const gp_Pnt& base, const gp_Dir& axis, double radius, double length)
{
  return BRepPrimAPI_MakeCylinder(gp_Ax2(base, axis), radius, length).Shape();
}

// The id of a node: one fixed prefix per mechanism, the node's number at the end.
Uuid Id(const char* prefix, int node)
{
  char text[40];
  std::snprintf(text, sizeof text, "%s-0000-4000-8000-%012d", prefix, node);
  return Uuid::FromString(text);
}

struct Part
{
  const char* name;
  TopoDS_Shape body;
  Quantity_Color colour;
};

struct Link
{
  const char* name;
  unsigned long long hash;
  unsigned long long parent;
  int type;
  // Link frame on the parent's frame (no rotation), mm.
  double x, y, z;
  double lower, upper;
  Part part;
};

struct FlangeSpec
{
  unsigned long long link;
  Json::Value six;
};

struct Mechanism
{
  const char* file;
  const char* name;
  const char* idPrefix;
  int type;
  int invType;
  std::vector<Part> fixed;
  std::vector<Link> links;
  std::vector<FlangeSpec> flanges;
  // Id of the entity mounted on flange 0 ("" when none).
  std::string mounted;
};

Json::Value Six(double x, double y, double z, double rx, double ry, double rz)
{
  Json::Value six(Json::arrayValue);
  for (const double v : {x, y, z, rx, ry, rz})
    six.append(v);
  return six;
}

const Quantity_Color RobotOrange(0.95, 0.45, 0.05, Quantity_TOC_RGB);
const Quantity_Color Graphite(0.2, 0.2, 0.22, Quantity_TOC_RGB);
const Quantity_Color Steel(0.6, 0.62, 0.65, Quantity_TOC_RGB);
const Quantity_Color Copper(0.72, 0.45, 0.2, Quantity_TOC_RGB);

// Wrist centre of the robot: where the axes of joints 4, 5 and 6 meet.
constexpr double WristX = 950.0;
constexpr double WristZ = 1490.0;

Mechanism Robot()
{
  Mechanism robot{"robot.json", "robot", "ce11a000", RobotType, SphericalWristInv, {}, {}, {}, {}};
  robot.fixed = {{"base", Cylinder(gp::Origin(), gp::DZ(), 200, 400), Graphite}};
  robot.links = {
    {"J1", 101, 0, RotaryZ, 0, 0, 400, -170, 170, {"turret", Box(-150, -140, 400, 300, 140, 650), RobotOrange}},
    {"J2", 102, 101, RotaryY, 150, 0, 275, -90, 135, {"upper arm", Box(90, -80, 600, 210, 80, 1420), RobotOrange}},
    {"J3", 103, 102, RotaryY, 0, 0, 700, -170, 70, {"elbow", Box(100, -100, 1330, 350, 100, 1560), RobotOrange}},
    {"J4", 104, 103, RotaryX, 200, 0, 115, -185, 185,
     {"forearm", Cylinder(gp_Pnt(350, 0, WristZ), gp::DX(), 70, 550), RobotOrange}},
    {"J5", 105, 104, RotaryY, 600, 0, 0, -125, 125,
     {"wrist", Box(WristX - 50, -60, WristZ - 50, WristX + 50, 60, WristZ + 50), RobotOrange}},
    {"J6", 106, 105, RotaryX, 100, 0, 0, -350, 350,
     {"flange", Cylinder(gp_Pnt(1000, 0, WristZ), gp::DX(), 40, 50), Graphite}},
  };
  // The tool flange on the face of link 6, its Z pointing out of the wrist (+X at the zero pose).
  robot.flanges = {{106, Six(1050, 0, WristZ, 0, 90, 0)}};
  robot.mounted = Id("ce11c000", 0).ToString();
  return robot;
}

Mechanism Positioner()
{
  Mechanism positioner{"positioner.json", "positioner", "ce11b000", PositionerType, 0, {}, {}, {}, {}};
  positioner.fixed = {{"pedestal", Box(-300, -650, 0, 300, 650, 700), Graphite}};
  positioner.links = {
    {"tilt", 201, 0, RotaryX, 0, 0, 800, -135, 135, {"cradle", Box(-450, -450, 760, 450, 450, 860), Steel}},
    {"turn", 202, 201, RotaryZ, 0, 0, 100, -360, 360,
     {"table", Cylinder(gp_Pnt(0, 0, 860), gp::DZ(), 400, 40), Steel}},
  };
  // The table top, on the turning link.
  positioner.flanges = {{202, Six(0, 0, 900, 0, 0, 0)}};
  return positioner;
}

// The torch's tip: 75 mm aside and 379.9 mm up its body axis, its neck bent 30° about Y.
constexpr double NeckDegrees = 30.0;
constexpr double NeckLength = 150.0;
constexpr double BodyLength = 250.0;

Mechanism Torch()
{
  Mechanism torch{"torch.json", "torch", "ce11c000", ToolType, 0, {}, {}, {}, {}};
  const double bend = NeckDegrees * M_PI / 180.0;
  const gp_Dir neck(std::sin(bend), 0, std::cos(bend));
  torch.fixed = {{"body", Cylinder(gp::Origin(), gp::DZ(), 25, BodyLength), Graphite},
                 {"neck", Cylinder(gp_Pnt(0, 0, BodyLength), neck, 12, NeckLength), Copper}};
  // The tool centre point: the tip of the neck, Z along the wire.
  torch.flanges = {
    {0, Six(NeckLength * std::sin(bend), 0, BodyLength + NeckLength * std::cos(bend), 0, NeckDegrees, 0)}};
  return torch;
}

Handle(ShapeEntity) Node(const Part& part, const Uuid& id)
{
  Handle(ShapeEntity) node = new ShapeEntity(part.body, id);
  node->SetName(part.name);
  node->SetColor(part.colour);
  return node;
}

// Writes the mechanism's display tree and JSON; returns false when a file cannot be written.
bool WriteMechanism(const Mechanism& m, const std::filesystem::path& folder, std::ostream& out, std::ostream& err)
{
  const Uuid rootId = Id(m.idPrefix, 0);
  Handle(ShapeEntity) root = new ShapeEntity(TopoDS_Shape(), rootId);
  root->SetName(m.name);
  std::vector<Handle(ViewShape)> children;
  int node = 1;
  for (const Part& part : m.fixed)
    children.push_back(Node(part, Id(m.idPrefix, node++)));

  Json::Value links(Json::arrayValue);
  for (const Link& link : m.links)
  {
    const Uuid partId = Id(m.idPrefix, node++);
    children.push_back(Node(link.part, partId));
    Json::Value json(Json::objectValue);
    json["name"] = link.name;
    json["link_hash"] = static_cast<Json::UInt64>(link.hash);
    json["parent_link_hash"] = static_cast<Json::UInt64>(link.parent);
    json["joint_type"] = link.type;
    json["joint_value"] = 0.0;
    json["axis_min"] = link.lower;
    json["axis_max"] = link.upper;
    json["center_trsf"] = Six(link.x, link.y, link.z, 0, 0, 0);
    json["axis_models"].append(partId.ToString());
    for (const Link& child : m.links)
      if (child.parent == link.hash)
        json["sub_links"].append(static_cast<Json::UInt64>(child.hash));
    links.append(json);
  }
  root->AddShapeListToAISChilde(children);

  Json::Value flanges(Json::arrayValue);
  for (size_t i = 0; i < m.flanges.size(); ++i)
  {
    Json::Value json(Json::objectValue);
    json["link_rod_index"] = static_cast<Json::UInt64>(m.flanges[i].link);
    json["flange_ocs"] = m.flanges[i].six;
    json["child_entity"] = i == 0 ? m.mounted : std::string();
    flanges.append(json);
  }

  const std::string tree = "entity/" + rootId.ToString() + ".json";
  Json::Value json(Json::objectValue);
  json["Name"] = m.name;
  json["ID"] = rootId.ToString();
  json["Primitive_Name"] = m.name;
  json["Primitive_ID"] = rootId.ToString();
  json["ModelType"] = 0;
  json["ShapeEntityPath"] = tree;
  json["type"] = m.type;
  json["InvType"] = m.invType;
  json["LinkRod"] = links;
  json["ChildEntity"] = flanges;
  json["CouplingAxes"] = Json::Value(Json::arrayValue);

  const std::filesystem::path treePath = folder / tree;
  const std::filesystem::path jsonPath = folder / m.file;
  ViewShapeUtil::ExportToFile(root, treePath.string(), false);
  if (!std::filesystem::exists(treePath) || !DataHandle::SaveJson(json, jsonPath.string()))
  {
    err << "workpiece generate-examples: cannot write '" << jsonPath.string() << "'\n";
    return false;
  }
  out << "wrote " << jsonPath.string() << "\n";
  return true;
}
} // namespace

bool SampleCell::Write(const std::string& folder, std::ostream& out, std::ostream& err)
{
  for (const Mechanism& mechanism : {Robot(), Positioner(), Torch()})
    if (!WriteMechanism(mechanism, folder, out, err))
      return false;
  return true;
}
