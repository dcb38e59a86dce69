#include "TextReadBuffer.h"

TextReadBuffer::TextReadBuffer(const char* begin, const char* end)
{
  // The get area never writes through its pointers; std::streambuf just has no const form of them.
  char* first = const_cast<char*>(begin);
  setg(first, first, const_cast<char*>(end));
}
