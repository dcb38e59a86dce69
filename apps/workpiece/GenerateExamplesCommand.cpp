#include "GenerateExamplesCommand.h"

#include "CommandOptions.h"
#include "DemoParts.h"
#include "PartReader.h"
#include "SampleCell.h"

#include <IFSelect_ReturnStatus.hxx>
#include <STEPControl_Writer.hxx>

#include <filesystem>
#include <utility>

namespace
{
const char* Usage = R"(usage: workpiece generate-examples DIR

Writes the demo's parts as STEP files into DIR (created if missing):
  tjoint.step     T-joint weldment, two concave seams of 100 mm
  lbracket.step   L-bracket, one concave seam of 80 mm
  cell/           a six-axis robot, a tilt-and-turn positioner and a welding torch: mechanism
                  JSON files (robot.json, positioner.json, torch.json) with their display trees
exit codes: 0 success, 1 a file cannot be written, 2 wrong arguments.
)";

// Returns whether the shape was written to `path` as STEP.
bool WriteStep(const TopoDS_Shape& shape, const std::string& path)
{
  STEPControl_Writer writer;
  if (writer.Transfer(shape, STEPControl_AsIs) != IFSelect_RetDone)
    return false;
  return writer.Write(path.c_str()) == IFSelect_RetDone;
}
} // namespace

int RunGenerateExamplesCommand(const std::vector<std::string>& args, std::ostream& out, std::ostream& err)
{
  if (CommandOptions::Help(args, Usage, out))
    return 0;
  if (args.size() != 1)
  {
    err << Usage;
    return 2;
  }
  const std::filesystem::path folder(args[0]);
  std::error_code code;
  std::filesystem::create_directories(folder, code);
  PartReader::SilenceKernelMessages();
  const std::pair<const char*, TopoDS_Shape> parts[] = {{"tjoint.step", DemoParts::TJoint()},
                                                        {"lbracket.step", DemoParts::LBracket()}};
  for (const auto& [name, shape] : parts)
  {
    const std::string path = (folder / name).string();
    if (!WriteStep(shape, path))
    {
      err << "workpiece generate-examples: cannot write '" << path << "'\n";
      return 1;
    }
    out << "wrote " << path << "\n";
  }
  return SampleCell::Write((folder / "cell").string(), out, err) ? 0 : 1;
}
