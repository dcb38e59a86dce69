#pragma once

#include <json/value.h>

class ThreadPool;

// Parsing of JSON text held in memory.
class JsonText
{
public:
  // Returns the document in [begin, end), or a null value when it is malformed or nested deeper
  // than jsoncpp's default reader goes: otherwise the value that reader makes of it. Plain JSON is
  // read directly into the value; text outside it (comments, trailing commas, text after the root,
  // ...) is left to the reader. A large document is read in pieces concurrently on `pool`.
  static Json::Value Parse(const char* begin, const char* end, ThreadPool& pool);
};
