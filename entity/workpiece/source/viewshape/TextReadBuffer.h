#pragma once

#include <streambuf>

// A read-only stream buffer over text owned elsewhere, so that a large text can be read through an
// istream without copying it first. The text must outlive the buffer.
class TextReadBuffer : public std::streambuf
{
public:
  TextReadBuffer(const char* begin, const char* end);
};
