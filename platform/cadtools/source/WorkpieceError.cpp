#include <cadtools/WorkpieceError.h>

WorkpieceError::WorkpieceError(const std::string& text)
  : std::runtime_error(text)
{
}
