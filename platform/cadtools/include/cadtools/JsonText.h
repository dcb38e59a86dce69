#pragma once

#include <json/value.h>

class ThreadPool;

// Parsing of JSON text held in memory.
class JsonText
{
public:
  // Returns the document in [begin, end), or a null value when it is malformed: the value jsoncpp's
  // default reader makes of it, whatever the text. Plain JSON is read directly into the value; text
  // outside it (comments, trailing commas, text after the root, ...) is left to the reader, which
  // also throws its Json::RuntimeError on text nested deeper than its limit. A large document is
  // read in pieces concurrently on `pool`.
  static Json::Value Parse(const char* begin, const char* end, ThreadPool& pool);
};
