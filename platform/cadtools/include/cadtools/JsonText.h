#pragma once

#include <json/value.h>

class ThreadPool;

// Parsing of JSON text held in memory.
class JsonText
{
public:
  // Returns the document in [begin, end), or a null value when it is malformed. A large document
  // whose root is an object is parsed in pieces concurrently on `pool`, with the same result as
  // the one-piece parse.
  static Json::Value Parse(const char* begin, const char* end, ThreadPool& pool);
};
