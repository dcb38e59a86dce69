#pragma once

#include <filesystem>
#include <string>

// One run of the command-line tool: its exit code and both streams.
struct CliRun
{
  int code = 0;
  std::string out, err;

  // Runs `tool args` with no input (under `env ENV` when `env` is given), its streams kept in `dir`.
  static CliRun Of(const std::string& tool, const std::string& args, const std::filesystem::path& dir,
                   const std::string& env = std::string());
  // Returns an empty folder named with the process id: several runs of the suites may share a machine.
  static std::filesystem::path Scratch(const std::string& name);
  static std::string ReadText(const std::filesystem::path& path);
};
