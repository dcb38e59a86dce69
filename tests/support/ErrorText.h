#pragma once

#include <cadtools/WorkpieceError.h>

// Returns the text of the WorkpieceError that `call` throws, or an empty text when it returns.
template <class Call> std::string ErrorText(Call call)
{
  try
  {
    call();
  }
  catch (const WorkpieceError& error)
  {
    return error.what();
  }
  return std::string();
}
