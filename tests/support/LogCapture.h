#pragma once

#include <spdlog/sinks/ringbuffer_sink.h>

#include <memory>
#include <string>
#include <vector>

// One message as the library logged it.
struct LoggedMessage
{
  int level;
  std::string text;
  std::string function;
};

// Captures what the library logs while it lives (the latest 4096 messages).
class LogCapture
{
public:
  LogCapture();
  ~LogCapture();
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  std::vector<LoggedMessage> Messages() const;
  // Returns whether a message with this level, text and source function was captured.
  bool Contains(int level, const std::string& text, const std::string& function) const;

private:
  std::shared_ptr<spdlog::sinks::ringbuffer_sink_mt> mySink;
};
