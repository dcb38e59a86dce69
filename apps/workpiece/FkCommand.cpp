#include "FkCommand.h"

#include "CommandOptions.h"
#include "MechanismFile.h"

#include <entity/GenericEntityConfig.h>

#include <cadtools/DataHandle.h>
#include <cadtools/WorkpieceError.h>

#include <cmath>
#include <cstdio>
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

struct Options
{
  std::string mechanism;
  std::string json;
  bool hasJoints = false;
  std::vector<double> joints;
};

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
      else if (!(options.hasJoints = MechanismFile::ParseValues(value, options.joints)))
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
  if (CommandOptions::Help(args, Usage, out))
    return 0;
  Options options;
  if (const int code = Parse(args, options, err); code != 0)
    return code;

  std::unique_ptr<GenericEntityConfig> loaded;
  std::vector<double> values;
  try
  {
    loaded = MechanismFile::Load(options.mechanism);
    values = options.hasJoints ? MechanismFile::JointValues(*loaded, options.joints)
                               : std::vector<double>(loaded->GetLinkRods().size(), 0.0);
  }
  catch (const WorkpieceError& error)
  {
    err << "workpiece fk: " << error.what() << "\n";
    return 1;
  }
  GenericEntityConfig& mechanism = *loaded;
  const auto& links = mechanism.GetLinkRods();
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
