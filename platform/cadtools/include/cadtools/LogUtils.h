#pragma once

#include <spdlog/common.h>
#include <spdlog/logger.h>
#include <spdlog/sinks/sink.h>

#include <memory>
#include <string>

// The library's log: one named spdlog logger that every layer writes through.
class LogUtils
{
public:
  // Writes `message` at `level` (0 trace … 5 critical, as spdlog) with the caller's location.
  static void LogWrite(const spdlog::source_loc& location, int level, const std::string& message);

  // Returns the shared logger, created on first use with a console sink.
  static std::shared_ptr<spdlog::logger> Logger();

  // Adds a sink (a capture in tests, a file in an application) to the shared logger.
  static void AddSink(const spdlog::sink_ptr& sink);

  // Removes a sink added by AddSink.
  static void RemoveSink(const spdlog::sink_ptr& sink);

  // Name of the shared logger.
  static constexpr const char* LoggerName = "workpiece";
};

// Source location naming the operation (its qualified name, e.g. "Entity::GetPart"), for LogUtils::LogWrite.
#define WORKPIECE_LOC(operation) spdlog::source_loc{__FILE__, __LINE__, operation}
