#pragma once

#include <spdlog/common.h>

#include <string>

// The entity classes' log: UTF-8 messages from a named operation, and the critical failures
// that reach the host as a WorkpieceError.
class EntityLog
{
public:
  // Message of a lookup by key (hash index, id) that found nothing.
  static const char* const KeyError;
  // Message of a lookup by position outside its list.
  static const char* const IndexError;

  // Writes `message` at `level` from the operation named in `location`.
  static void Write(const spdlog::source_loc& location, int level, const std::string& message);

  // Logs `message` at critical level, then throws a WorkpieceError of `tag` + the operation's name
  // + `message`.
  [[noreturn]] static void Fail(const spdlog::source_loc& location, const std::string& message,
                                const std::string& tag = std::string());
};
