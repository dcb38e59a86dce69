#include "PackCommand.h"

#include "CommandOptions.h"
#include "MechanismFile.h"
#include "OutputFile.h"
#include "ProgressBar.h"

#include <entity/EntityPackage.h>

#include <cadtools/WorkpieceError.h>

#include <Message_ProgressScope.hxx>

#include <unistd.h>

#include <cmath>
#include <filesystem>

namespace fs = std::filesystem;

namespace
{
const char* PackUsage = R"(usage: workpiece pack MECHANISM.json PACKAGE.7z [--force]

Loads a mechanism as `workpiece fk` does and exports it at its home pose as an entity package:
the folder beside PACKAGE named after its stem (context.layout and the display tree) compressed
to PACKAGE in 7z form. An existing PACKAGE is left alone unless --force is given, which removes
it first; PACKAGE must be new or a regular file of your own (a link writes the file it points to).
exit codes: 0 success, 1 the mechanism cannot be loaded or the package cannot be written,
2 wrong arguments.
)";

const char* UnpackUsage = R"(usage: workpiece unpack PACKAGE.7z [FOLDER]

Unpacks an entity package into FOLDER (default: the package's own folder), loads the mechanism
and prints its name, its links with joint types and ranges, and its flanges with what they carry.
Entries that would land outside FOLDER, links, and more than 1 GiB unpacked are refused.
exit codes: 0 success, 1 the package is refused or cannot be read, 2 wrong arguments.
)";

const char* const JointNames[] = {"sliding X", "sliding Y", "sliding Z", "turning X", "turning Y", "turning Z"};

// Splits the arguments into positional ones and the --force flag; false for an unknown option.
bool Split(const std::vector<std::string>& args, std::vector<std::string>& positional, bool& force)
{
  for (const std::string& arg : args)
  {
    if (arg == "--force")
      force = true;
    else if (!arg.empty() && arg[0] == '-')
      return false;
    else
      positional.push_back(arg);
  }
  return true;
}

// A progress bar on a terminal, none otherwise.
Handle(ProgressBar) Bar(std::ostream& err)
{
  return isatty(STDERR_FILENO) ? new ProgressBar(err) : Handle(ProgressBar)();
}
} // namespace

int RunPackCommand(const std::vector<std::string>& args, std::ostream& out, std::ostream& err)
{
  if (CommandOptions::Help(args, PackUsage, out))
    return 0;
  std::vector<std::string> files;
  bool force = false;
  if (!Split(args, files, force) || files.size() != 2)
  {
    err << PackUsage;
    return 2;
  }
  const std::string& mechanismPath = files[0];
  // The package's folder is named after it, beside it: it is written in place, not aside and
  // renamed, and a link is written through to the file it points to.
  if (const std::string refusal = OutputFile::Refusal(files[1], {mechanismPath}); !refusal.empty())
  {
    err << "workpiece pack: cannot write '" << files[1] << "': " << refusal << "\n";
    return 1;
  }
  const std::string package = OutputFile::Resolved(files[1]);
  std::error_code ec;
  if (fs::exists(fs::symlink_status(package, ec)))
  {
    if (!force)
    {
      err << "workpiece pack: '" << files[1] << "' exists; not overwritten (use --force to replace it)\n";
      return 1;
    }
    if (!fs::remove(package, ec))
    {
      err << "workpiece pack: cannot remove '" << package << "'\n";
      return 1;
    }
  }
  Handle(ProgressBar) bar = Bar(err);
  Message_ProgressScope scope(bar.IsNull() ? Message_ProgressRange() : bar->Start(), "pack", 2);
  std::unique_ptr<GenericEntityConfig> loaded;
  try
  {
    loaded = MechanismFile::Load(mechanismPath);
  }
  catch (const WorkpieceError& error)
  {
    err << "workpiece pack: " << error.what() << "\n";
    return 1;
  }
  GenericEntityConfig& mechanism = *loaded;
  scope.Next();
  const bool written = GenericEntityConfig::ExportEntityPkg(&mechanism, package);
  scope.Next();
  if (!written)
  {
    err << "workpiece pack: cannot write the package '" << files[1] << "'\n";
    return 1;
  }
  out << "packed " << mechanism.GetName() << " (links: " << mechanism.GetLinkSize()
      << ", flanges: " << mechanism.GetFlange().size() << ") into " << files[1] << "\n";
  return 0;
}

int RunUnpackCommand(const std::vector<std::string>& args, std::ostream& out, std::ostream& err)
{
  if (CommandOptions::Help(args, UnpackUsage, out))
    return 0;
  std::vector<std::string> files;
  bool force = false;
  if (!Split(args, files, force) || force || files.empty() || files.size() > 2)
  {
    err << UnpackUsage;
    return 2;
  }
  std::error_code ec;
  if (!fs::is_regular_file(files[0], ec))
  {
    err << "workpiece unpack: no package '" << files[0] << "'\n";
    return 1;
  }
  Handle(ProgressBar) bar = Bar(err);
  const std::unique_ptr<GenericEntityConfig> mechanism =
    EntityPackage::Read(files[0], files.size() > 1 ? files[1] : std::string(), EntityPackage::DefaultMaxBytes,
                        bar.IsNull() ? Message_ProgressRange() : bar->Start());
  bar.Nullify();
  out << "mechanism " << mechanism->GetName() << " (type " << mechanism->GetMechanismType() << ")\n";
  for (const auto& link : mechanism->GetLinkRods())
  {
    const int type = static_cast<int>(link->GetConfigJointType());
    const bool turning = link->GetJointType() == JointType::Rotary;
    const double toUi = turning ? 180.0 / M_PI : 1.0;
    out << "  link " << link->GetName() << ": " << (type >= 0 && type < 6 ? JointNames[type] : "fixed") << ", "
        << link->GetLimit().lower * toUi << " to " << link->GetLimit().upper * toUi << (turning ? " deg" : " mm")
        << "\n";
  }
  for (size_t i = 0; i < mechanism->GetFlange().size(); ++i)
  {
    const Flange& flange = *mechanism->GetFlange()[i];
    const Uuid& carried = flange.GetChildEntityId();
    out << "  flange " << i << " on " << (flange.GetLinkRod() != nullptr ? flange.GetLinkRod()->GetName() : "the base")
        << ": " << (carried.IsNil() ? "nothing mounted" : "carries entity " + carried.ToString()) << "\n";
  }
  return 0;
}
