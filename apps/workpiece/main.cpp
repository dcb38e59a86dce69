#include "DemoCommand.h"

#include <entity/Version.h>

#include <iostream>
#include <string>

namespace
{
const char* Usage = R"(usage: workpiece <command> [options]

Robot welding and painting cell model: workpieces, seams and mechanisms.

commands:
  demo        run the built-in example (no input file needed)

options:
  --version   print the library version
  --help      print this help
)";
} // namespace

int main(int argc, char** argv)
{
  if (argc < 2)
  {
    std::cerr << Usage;
    return 2;
  }
  const std::string command = argv[1];
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
  std::cerr << "workpiece: unknown command '" << command << "'\n" << Usage;
  return 2;
}
