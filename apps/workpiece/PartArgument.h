#pragma once

#include <ostream>
#include <string>

// The one part file a command reads, taken from the arguments none of its options claimed.
class PartArgument
{
public:
  // Takes `arg` as the part of `command`; returns false, with the usage error written to `err`, when
  // `arg` is an option the command does not know or a second part.
  static bool Take(const std::string& command, const std::string& arg, std::string& part, const char* usage,
                   std::ostream& err);
};
