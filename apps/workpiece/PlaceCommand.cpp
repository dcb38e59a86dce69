#include "PlaceCommand.h"

#include "CommandOptions.h"
#include "OutputFile.h"
#include "PartReader.h"

#include <entity/IntEdgeFaceSeg.h>
#include <entity/SeamExtractor.h>
#include <entity/ShapeEntity.h>
#include <entity/Workpiece.h>
#include <entity/WorkpieceAnalysis.h>

#include <cadtools/DataHandle.h>
#include <cadtools/GeomHandle.h>
#include <cadtools/ShapeHandle.h>
#include <cadtools/Uuid.h>

#include <BRepBndLib.hxx>
#include <Bnd_Box.hxx>
#include <STEPControl_Writer.hxx>
#include <TopExp.hxx>
#include <TopTools_IndexedMapOfShape.hxx>
#include <TopoDS.hxx>
#include <json/json.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <iomanip>
#include <optional>
#include <sstream>

namespace
{
const char* Usage = R"(usage: workpiece place PART [options]

Stands a part on a large flat face it can rest on (no part of it below that face's plane),
laid onto the XY plane of a target frame, and turns it about the vertical through the
target's origin until its longest side runs along a direction. A part more than twice as
long as it is thick only stands on faces along its length. PART is a .step/.stp, .iges/.igs
or .brep file.

Prints the transform that carries the part there as six numbers, X Y Z RX RY RZ:
millimetres, then fixed-axis angles in degrees, R = Rz(RZ)·Ry(RY)·Rx(RX), the convention
of --target; then the face it stands on (its index as `workpiece seams` prints face
indices, its area in mm2 and its outward normal in the part's own coordinates) and the
placed part's bounding box in mm.

options:
  --target X,Y,Z,RX,RY,RZ   the frame to stand on, same convention (default 0,0,0,0,0,0)
  --dir DX,DY,DZ            the direction of the longest side (default 1,0,0)
  --out PLACED.step         also write the placed part as STEP
  --json FILE               also write what is printed as JSON
  --help                    print this help

exit codes: 0 success, 1 the part is missing, unreadable or has no face it can stand on,
or a file cannot be written, 2 wrong arguments.
)";

// Faces whose plane lies within this distance (mm) of the target plane touch it.
constexpr double ContactTol = 0.01;
// A support face's normal is within this angle (rad) of straight down.
constexpr double DownTol = 1e-6;

struct Support
{
  std::uint32_t index = IntEdgeFaceSeg::NoIndex;
  double area = 0.0;
  gp_Dir normal;
};

struct Placed
{
  gp_Trsf trsf;
  Support face;
  Bnd_Box box;
  TopoDS_Shape shape;
};

// Returns the numbers of a comma-separated list of exactly `count` finite numbers, or nothing.
std::optional<std::vector<double>> ParseNumbers(const std::string& text, std::size_t count)
{
  std::vector<double> numbers;
  std::stringstream items(text);
  std::string item;
  while (std::getline(items, item, ','))
  {
    try
    {
      std::size_t used = 0;
      const double value = std::stod(item, &used);
      if (used != item.size() || !std::isfinite(value))
        return std::nullopt;
      numbers.push_back(value);
    }
    catch (const std::exception&)
    {
      return std::nullopt;
    }
  }
  if (numbers.size() != count || (!text.empty() && text.back() == ','))
    return std::nullopt;
  return numbers;
}

// The largest planar face of the placed part lying on the target plane with its normal down.
Support FindSupport(const TopoDS_Shape& shape, const gp_Trsf& trsf, const gp_Trsf& target)
{
  const gp_Dir down = gp::DZ().Transformed(target).Reversed();
  const gp_Pln plane(gp::Origin().Transformed(target), down);
  TopTools_IndexedMapOfShape faces;
  TopExp::MapShapes(shape, TopAbs_FACE, faces);
  Support best;
  TopoDS_Face support;
  for (int i = 1; i <= faces.Extent(); ++i)
  {
    const TopoDS_Face face = TopoDS::Face(faces(i));
    const auto [ok, normal] = ShapeHandle::GetNormal(face);
    if (!ok || GeomHandle::ConvertToPlane(face, 1.0).IsNull() || normal.Transformed(trsf).Angle(down) > DownTol ||
        plane.Distance(ShapeHandle::GetFaceCenter(face).Transformed(trsf)) > ContactTol)
      continue;
    const double area = ShapeHandle::GetAreaOrVol(face);
    if (area > best.area)
    {
      best = {best.index, area, normal};
      support = face;
    }
  }
  // Numbered as `workpiece seams` numbers faces.
  if (!support.IsNull())
    best.index = SeamExtractor(shape).IndexOf(support);
  return best;
}

Json::Value Triple(double x, double y, double z)
{
  Json::Value triple(Json::arrayValue);
  for (const double v : {x, y, z})
    triple.append(v);
  return triple;
}

Json::Value ToJson(const std::string& part, const Placed& placed)
{
  double x0, y0, z0, x1, y1, z1;
  placed.box.Get(x0, y0, z0, x1, y1, z1);
  Json::Value json(Json::objectValue);
  json["part"] = part;
  json["transform"] = DataHandle::TrsfToJsonSix(placed.trsf);
  json["face"]["index"] = Json::UInt(placed.face.index);
  json["face"]["area"] = placed.face.area;
  json["face"]["normal"] = Triple(placed.face.normal.X(), placed.face.normal.Y(), placed.face.normal.Z());
  json["box"]["min"] = Triple(x0, y0, z0);
  json["box"]["max"] = Triple(x1, y1, z1);
  return json;
}

void Print(const Json::Value& json, std::ostream& out)
{
  const auto numbers = [&](const Json::Value& list) {
    std::string text;
    for (const Json::Value& v : list)
    {
      std::ostringstream number;
      number << std::fixed << std::setprecision(3) << (std::abs(v.asDouble()) < 5e-4 ? 0.0 : v.asDouble());
      text += (text.empty() ? "" : " ") + number.str();
    }
    return text;
  };
  out << json["part"].asString() << " placed\n";
  out << "transform (x y z mm, rx ry rz deg): " << numbers(json["transform"]) << "\n";
  char index[11];
  std::snprintf(index, sizeof index, "0x%08X", json["face"]["index"].asUInt());
  out << "stands on face " << index << ": area " << std::fixed << std::setprecision(2)
      << json["face"]["area"].asDouble() << " mm2, normal " << numbers(json["face"]["normal"]) << "\n";
  out << "placed box: min " << numbers(json["box"]["min"]) << ", max " << numbers(json["box"]["max"]) << "\n";
}

// Writes the placed part as STEP and the answer as JSON, each through OutputFile so that neither
// replaces the part read nor anything but a regular file; returns the failure message, empty on success.
std::string WriteOutputs(const Json::Value& json, const TopoDS_Shape& placed, const std::string& part,
                         const std::string& jsonPath, const std::string& stepPath)
{
  if (!stepPath.empty())
  {
    const std::string failure = OutputFile::Write(stepPath, {part}, [&placed](const std::string& temporary) {
      STEPControl_Writer writer;
      return writer.Transfer(placed, STEPControl_AsIs) == IFSelect_RetDone &&
             writer.Write(temporary.c_str()) == IFSelect_RetDone;
    });
    if (!failure.empty())
      return "cannot write '" + stepPath + "': " + failure;
  }
  if (!jsonPath.empty())
  {
    const std::string failure = OutputFile::Write(
      jsonPath, {part}, [&json](const std::string& temporary) { return DataHandle::SaveJson(json, temporary); });
    if (!failure.empty())
      return "cannot write '" + jsonPath + "': " + failure;
  }
  return {};
}
} // namespace

int RunPlaceCommand(const std::vector<std::string>& args, std::ostream& out, std::ostream& err)
{
  std::string part, jsonPath, stepPath;
  gp_Trsf target;
  gp_Dir dir = gp::DX();
  CommandOptions reader("place", Usage);
  reader.Text("--json", jsonPath);
  reader.Text("--out", stepPath);
  reader.Value("--target", [&target](const std::string& text) {
    const auto six = ParseNumbers(text, 6);
    if (!six)
      return "--target needs six numbers X,Y,Z,RX,RY,RZ, not '" + text + "'";
    Json::Value list(Json::arrayValue);
    for (const double v : *six)
      list.append(v);
    target = DataHandle::JsonSixToTrsf(list);
    return std::string();
  });
  reader.Value("--dir", [&dir](const std::string& text) {
    const auto three = ParseNumbers(text, 3);
    const gp_Vec v = three ? gp_Vec((*three)[0], (*three)[1], (*three)[2]) : gp_Vec();
    if (!three || v.Magnitude() < gp::Resolution())
      return "--dir needs three numbers DX,DY,DZ, not all zero, not '" + text + "'";
    dir = gp_Dir(v);
    return std::string();
  });
  if (const std::optional<int> code = reader.Parse(args, part, out, err))
    return *code;

  const TopoDS_Shape shape = PartReader::ReadFor("place", part, err);
  if (shape.IsNull())
    return 1;

  const Handle(ShapeEntity) root = new ShapeEntity(shape, Uuid::CreateUuid());
  Workpiece workpiece(root);
  const gp_Pnt point = gp::Origin().Transformed(target);
  const auto [ok, trsf] = WorkpieceAnalysis::OrgWorkpieceLocaitonTo(&workpiece, target, point, dir);
  if (!ok)
  {
    err << "workpiece place: '" << part << "' has no face it can stand on\n";
    return 1;
  }
  Placed placed;
  placed.trsf = trsf;
  placed.face = FindSupport(workpiece.GetEntireShape(), trsf, target);
  placed.shape = workpiece.GetEntireShape().Moved(TopLoc_Location(trsf));
  BRepBndLib::AddOptimal(placed.shape, placed.box, false, false);
  const Json::Value json = ToJson(part, placed);
  Print(json, out);
  if (const std::string failure = WriteOutputs(json, placed.shape, part, jsonPath, stepPath); !failure.empty())
  {
    err << "workpiece place: " << failure << "\n";
    return 1;
  }
  return 0;
}
