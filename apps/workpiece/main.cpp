#include "DemoCommand.h"
#include "FkCommand.h"
#include "GenerateExamplesCommand.h"
#include "PackCommand.h"
#include "PlaceCommand.h"
#include "RenderCommand.h"
#include "SeamsCommand.h"

#include <entity/Version.h>

#include <Standard_Failure.hxx>

#include <algorithm>
#include <iostream>
#include <string>
#include <vector>

namespace
{
const char* Usage = R"(usage: workpiece <command> [options]

Robot welding and painting cell model: workpieces, seams and mechanisms.

commands:
  demo               build a T-joint and an L-bracket and print their weld seams
                     (no input file needed)
  seams PART         print the weld seams of a STEP, IGES or BREP part; see
                     `workpiece seams --help` for --json, --classifier and --min-length
  place PART         stand a part on a face at a target frame, its long side along a
                     direction, and print the transform; see `workpiece place --help`
  fk MECHANISM.json  print the world frames of a mechanism's links and flanges at the joint
                     values of --joints; see `workpiece fk --help`
  pack MECHANISM.json PACKAGE.7z
                     export a mechanism as an entity package; see `workpiece pack --help`
  unpack PACKAGE.7z [FOLDER]
                     read an entity package back and print its links and flanges
  render PART --out PICTURE
                     draw a part, with --seams its weld seams, into a PNG; see
                     `workpiece render --help`
  generate-examples DIR
                     write the demo's parts as STEP files and the sample cell into DIR

options:
  --version   print the library version
  --help      print this help
)";

int Run(int argc, char** argv)
{
  if (argc < 2)
  {
    std::cerr << Usage;
    return 2;
  }
  const std::string command = argv[1];
  const std::vector<std::string> args(argv + 2, argv + argc);
  if (command == "--version")
  {
    std::cout << "workpiece " << Version::Text() << "\n";
    return 0;
  }
  if (command == "--help" || command == "-h")
  {
    std::cout << Usage;
    return 0;
  }
  if (command == "demo")
    return RunDemoCommand(std::cout);
  if (command == "seams")
    return RunSeamsCommand(args, std::cout, std::cerr);
  if (command == "place")
    return RunPlaceCommand(args, std::cout, std::cerr);
  if (command == "fk")
    return RunFkCommand(args, std::cout, std::cerr);
  if (command == "pack")
    return RunPackCommand(args, std::cout, std::cerr);
  if (command == "unpack")
    return RunUnpackCommand(args, std::cout, std::cerr);
  if (command == "render")
    return RunRenderCommand(args, std::cout, std::cerr);
  if (command == "generate-examples")
    return RunGenerateExamplesCommand(args, std::cout, std::cerr);
  std::cerr << "workpiece: unknown command '" << command << "'\n" << Usage;
  return 2;
}

// One line on standard error for any failure that escapes a command, the kernel's included.
int ReportFailure(const std::string& what)
{
  std::string line = what;
  std::replace(line.begin(), line.end(), '\n', ' ');
  std::cerr << "workpiece: error: " << line << "\n";
  return 1;
}
} // namespace

int main(int argc, char** argv)
{
  try
  {
    return Run(argc, argv);
  }
  catch (const std::exception& error)
  {
    return ReportFailure(error.what());
  }
  catch (const Standard_Failure& failure)
  {
    return ReportFailure(std::string(failure.DynamicType()->Name()) + ": " + failure.GetMessageString());
  }
  catch (...)
  {
    return ReportFailure("unknown exception");
  }
}
