#include "FkCommand.h"

#include <entity/GenericEntityConfig.h>

#include <cadtools/DataHandle.h>

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <sstream>

namespace
{
const char* Usage = R"(usage: workpiece fk MECHANISM.json [--joints J1,J2,...] [--json FILE]

Loads a mechanism (a robot, positioner or tool JSON with its display tree; paths inside the file
are relative to it), sets its joints and prints the world frame of every link and every flange as
x y z (mm) and rx ry rz (degrees, fixed axes, R = Rz·Ry·Rx). A link's frame is its joint frame.

options:
  --joints J1,J2,...  one value per link in file order: degrees for turning joints, millimetres
                      for sliding ones (default: all 0); a value outside its joint's limits is an
                      error, never clamped
  --json FILE         also write the frames to FILE as JSON
  --help              print this help
exit codes: 0 success, 1 the mechanism cannot be loaded or a value is out of range, 2 wrong arguments.
)";

constexpr double DegreesPerRadian = 180.0 / M_PI;
// Slack beyond a limit still accepted, in the units of the joint (rounding of printed values).
constexpr double LimitSlack = 1.0e-9;

struct Options
{
  std::string mechanism;
  std::string json;
  bool hasJoints = false;
  std::vector<double> joints;
};

// Parses "a,b,c" into numbers; false for an empty item or one that is not a number.
bool ParseList(const std::string& text, std::vector<double>& values)
{
  std::stringstream items(text);
  std::string item;
  while (std::getline(items, item, ','))
  {
    char* end = nullptr;
    const double v = std::strtod(item.c_str(), &end);
    if (item.empty() || end == item.c_str() || *end != '\0')
      return false;
    values.push_back(v);
  }
  return !values.empty();
}

// Returns 0 with the options filled, 2 (after the usage on `err`) for wrong arguments.
int Parse(const std::vector<std::string>& args, Options& options, std::ostream& err)
{
  for (size_t i = 0; i < args.size(); ++i)
  {
    const std::string& arg = args[i];
    if ((arg == "--joints" || arg == "--json") && i + 1 < args.size())
    {
      const std::string& value = args[++i];
      if (arg == "--json")
        options.json = value;
      else if (!(options.hasJoints = ParseList(value, options.joints)))
      {
        err << "workpiece fk: --joints wants numbers separated by commas, got '" << value << "'\n";
        return 2;
      }
    }
    else if (!arg.empty() && arg[0] != '-' && options.mechanism.empty())
      options.mechanism = arg;
    else
    {
      err << "workpiece fk: unexpected argument '" << arg << "'\n" << Usage;
      return 2;
    }
  }
  if (options.mechanism.empty())
  {
    err << Usage;
    return 2;
  }
  return 0;
}

std::string Number(double v)
{
  char text[32];
  std::snprintf(text, sizeof text, "%.3f", std::abs(v) < 5e-4 ? 0.0 : v);
  return text;
}

std::string Row(const std::string& label, const Json::Value& six)
{
  std::string row = label;
  row.resize(std::max<size_t>(row.size() + 1, 12), ' ');
  for (const Json::Value& v : six)
  {
    std::string cell = Number(v.asDouble());
    row += std::string(cell.size() < 10 ? 10 - cell.size() : 1, ' ') + cell;
  }
  return row;
}

// Rounds the six numbers as they are printed, so that the JSON and the table agree.
Json::Value Rounded(const Json::Value& six)
{
  Json::Value rounded(Json::arrayValue);
  for (const Json::Value& v : six)
    rounded.append(std::stod(Number(v.asDouble())));
  return rounded;
}
} // namespace

int RunFkCommand(const std::vector<std::string>& args, std::ostream& out, std::ostream& err)
{
  if (args.size() == 1 && (args[0] == "--help" || args[0] == "-h"))
  {
    out << Usage;
    return 0;
  }
  Options options;
  if (const int code = Parse(args, options, err); code != 0)
    return code;

  Json::Value json = DataHandle::LoadJson(options.mechanism);
  if (!json.isObject())
  {
    err << "workpiece fk: cannot read the mechanism '" << options.mechanism << "'\n";
    return 1;
  }
  const std::filesystem::path folder = std::filesystem::path(options.mechanism).parent_path();
  if (json["ShapeEntityPath"].isString())
    json["ShapeEntityPath"] = (folder / json["ShapeEntityPath"].asString()).string();
  GenericEntityConfig mechanism;
  mechanism.LoadFromJson(json);

  const auto& links = mechanism.GetLinkRods();
  std::vector<double> values(links.size(), 0.0);
  if (options.hasJoints)
  {
    if (options.joints.size() != links.size())
    {
      err << "workpiece fk: the mechanism has " << links.size() << " joints, --joints gives "
          << options.joints.size() << "\n";
      return 1;
    }
    for (size_t i = 0; i < links.size(); ++i)
    {
      const LinkRod& link = *links[i];
      const double toUi = link.GetJointType() == JointType::Rotary ? DegreesPerRadian : 1.0;
      const double lower = link.GetLimit().lower * toUi, upper = link.GetLimit().upper * toUi;
      const double value = options.joints[i];
      if (!(value >= lower - LimitSlack && value <= upper + LimitSlack))
      {
        err << "workpiece fk: joint '" << link.GetName() << "' value " << value << " is outside its range ["
            << lower << ", " << upper << "]\n";
        return 1;
      }
      values[i] = value / toUi;
    }
  }
  mechanism.ForwardTrsf(values, false, false);

  Json::Value report(Json::objectValue);
  report["mechanism"] = mechanism.GetName();
  report["links"] = Json::Value(Json::arrayValue);
  report["flanges"] = Json::Value(Json::arrayValue);
  out << "mechanism " << mechanism.GetName() << "\n"
      << Row("frame", Json::Value()) << "         x         y         z        rx        ry        rz\n";
  for (size_t i = 0; i < links.size(); ++i)
  {
    LinkRod* link = links[i].get();
    const gp_Trsf frame = link->GetWcs() * mechanism.GetFatherTrsf(link, true) * link->GetCenterTrsf();
    const Json::Value six = DataHandle::TrsfToJsonSix(frame);
    out << Row(link->GetName(), six) << "\n";
    Json::Value entry(Json::objectValue);
    entry["name"] = link->GetName();
    entry["value"] = options.hasJoints ? options.joints[i] : 0.0;
    entry["frame"] = Rounded(six);
    report["links"].append(entry);
  }
  for (size_t i = 0; i < mechanism.GetFlange().size(); ++i)
  {
    const Json::Value six = DataHandle::TrsfToJsonSix(mechanism.GetFlangeWCS(static_cast<int>(i)));
    out << Row("flange " + std::to_string(i), six) << "\n";
    Json::Value entry(Json::objectValue);
    entry["index"] = static_cast<Json::UInt>(i);
    entry["frame"] = Rounded(six);
    report["flanges"].append(entry);
  }
  if (!options.json.empty() && !DataHandle::SaveJson(report, options.json))
  {
    err << "workpiece fk: cannot write '" << options.json << "'\n";
    return 1;
  }
  return 0;
}
