#pragma once

#include <spdlog/sinks/base_sink.h>

#include <memory>
#include <mutex>
#include <string>
#include <vector>

// One message as the library logged it.
struct LoggedMessage
{
  int level;
  std::string text;
  std::string function;
};

// Captures what the library logs while it lives.
class LogCapture
{
public:
  LogCapture();
  ~LogCapture();
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  // Returns every message captured so far.
  std::vector<LoggedMessage> Messages() const;

  // Returns whether a message with this level, text and source function was captured.
  bool Contains(int level, const std::string& text, const std::string& function) const;

private:
  class Sink;
  std::shared_ptr<Sink> mySink;
};
