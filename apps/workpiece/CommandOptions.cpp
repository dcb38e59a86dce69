#include "CommandOptions.h"

#include <utility>

CommandOptions::CommandOptions(const std::string& command, const char* usage) : myCommand(command), myUsage(usage) {}

void CommandOptions::Flag(const std::string& name, bool& on)
{
  myOptions[name] = {false, [&on](const std::string&) {
                       on = true;
                       return std::string();
                     }};
}

void CommandOptions::Text(const std::string& name, std::string& value)
{
  Value(name, [&value](const std::string& given) {
    value = given;
    return std::string();
  });
}

void CommandOptions::Value(const std::string& name, Reader read)
{
  myOptions[name] = {true, std::move(read)};
}

std::optional<int> CommandOptions::Parse(const std::vector<std::string>& args, std::string& part, std::ostream& out,
                                         std::ostream& err) const
{
  for (std::size_t i = 0; i < args.size(); ++i)
  {
    const std::string& arg = args[i];
    if (IsHelp(arg))
    {
      out << myUsage;
      return 0;
    }
    // An option missing its value is left to TakePart, which names it.
    const auto option = myOptions.find(arg);
    if (option != myOptions.end() && (!option->second.takesValue || i + 1 < args.size()))
    {
      const std::string wrong = option->second.read(option->second.takesValue ? args[++i] : std::string());
      if (!wrong.empty())
      {
        err << "workpiece " << myCommand << ": " << wrong << "\n";
        return 2;
      }
    }
    else if (!TakePart(arg, part, err))
      return 2;
  }
  if (part.empty())
  {
    err << "workpiece " << myCommand << ": no part given\n" << myUsage;
    return 2;
  }
  return std::nullopt;
}

bool CommandOptions::Help(const std::vector<std::string>& args, const char* usage, std::ostream& out)
{
  if (args.size() != 1 || !IsHelp(args[0]))
    return false;
  out << usage;
  return true;
}

bool CommandOptions::IsHelp(const std::string& arg)
{
  return arg == "--help" || arg == "-h";
}

bool CommandOptions::TakePart(const std::string& arg, std::string& part, std::ostream& err) const
{
  if (!arg.empty() && arg[0] == '-')
  {
    err << "workpiece " << myCommand << ": unknown or incomplete option '" << arg << "'\n" << myUsage;
    return false;
  }
  if (!part.empty())
  {
    err << "workpiece " << myCommand << ": only one part at a time ('" << arg << "' is extra)\n";
    return false;
  }
  part = arg;
  return true;
}
