#include "PartArgument.h"

bool PartArgument::Take(const std::string& command, const std::string& arg, std::string& part, const char* usage,
                        std::ostream& err)
{
  if (!arg.empty() && arg[0] == '-')
  {
    err << "workpiece " << command << ": unknown or incomplete option '" << arg << "'\n" << usage;
    return false;
  }
  if (!part.empty())
  {
    err << "workpiece " << command << ": only one part at a time ('" << arg << "' is extra)\n";
    return false;
  }
  part = arg;
  return true;
}
