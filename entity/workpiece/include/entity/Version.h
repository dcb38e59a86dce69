#pragma once

#include <string>

// The library's release, as the build was configured.
class Version
{
public:
  // Returns "MAJOR.MINOR.PATCH".
  static std::string Text();
};
