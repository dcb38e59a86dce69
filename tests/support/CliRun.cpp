#include "support/CliRun.h"

#include <cstdlib>
#include <fstream>
#include <sstream>

#include <unistd.h>

namespace fs = std::filesystem;

CliRun CliRun::Of(const std::string& tool, const std::string& args, const fs::path& dir, const std::string& env)
{
  const fs::path out = dir / "stdout.txt", err = dir / "stderr.txt";
  const std::string command = (env.empty() ? std::string() : "env " + env + " ") + tool + " " + args + " >" +
                              out.string() + " 2>" + err.string() + " </dev/null";
  const int status = std::system(command.c_str());
  return {WEXITSTATUS(status), ReadText(out), ReadText(err)};
}

fs::path CliRun::Scratch(const std::string& name)
{
  const fs::path dir = fs::temp_directory_path() / ("workpiece_cli_" + name + "_" + std::to_string(::getpid()));
  fs::remove_all(dir);
  fs::create_directories(dir);
  return dir;
}

std::string CliRun::ReadText(const fs::path& path)
{
  std::stringstream text;
  text << std::ifstream(path).rdbuf();
  return text.str();
}
