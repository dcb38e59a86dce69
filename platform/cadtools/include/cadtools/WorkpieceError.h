#pragma once

#include <stdexcept>
#include <string>

// The one exception type the library throws; what() is the failure's text exactly as logged.
class WorkpieceError : public std::runtime_error
{
public:
  explicit WorkpieceError(const std::string& text);
};
