#pragma once

#include <functional>
#include <map>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

// The arguments of a command that reads one part: --help, the options it knows, and the part itself
// (the one argument no option claims).
class CommandOptions
{
public:
  // Checks and keeps an option's value; returns what is wrong with it, "" when it is taken.
  using Reader = std::function<std::string(const std::string& value)>;

  CommandOptions(const std::string& command, const char* usage);

  // An option without a value, which sets `on`.
  void Flag(const std::string& name, bool& on);
  // An option whose value is kept as it stands in `value`.
  void Text(const std::string& name, std::string& value);
  // An option whose value `read` checks and keeps.
  void Value(const std::string& name, Reader read);

  // Reads `args` into the options and `part`. Returns the exit code when the command is not to run:
  // 0 after the usage on `out` for --help, 2 after the error on `err` for wrong arguments or no part.
  std::optional<int> Parse(const std::vector<std::string>& args, std::string& part, std::ostream& out,
                           std::ostream& err) const;

  // Writes `usage` to `out` and returns true when `args` is --help alone.
  static bool Help(const std::vector<std::string>& args, const char* usage, std::ostream& out);

private:
  struct Option
  {
    bool takesValue;
    Reader read;
  };

  // Whether `arg` asks for the usage.
  static bool IsHelp(const std::string& arg);
  // Takes `arg` as the part; false, with the error on `err`, for an unknown option or a second part.
  bool TakePart(const std::string& arg, std::string& part, std::ostream& err) const;

  std::string myCommand;
  const char* myUsage;
  std::map<std::string, Option> myOptions;
};
