#include "LogCapture.h"

#include <cadtools/LogUtils.h>

#include <algorithm>

LogCapture::LogCapture() : mySink(std::make_shared<spdlog::sinks::ringbuffer_sink_mt>(4096))
{
  LogUtils::AddSink(mySink);
}

LogCapture::~LogCapture()
{
  LogUtils::RemoveSink(mySink);
}

std::vector<LoggedMessage> LogCapture::Messages() const
{
  std::vector<LoggedMessage> messages;
  for (const auto& m : mySink->last_raw())
    messages.push_back({static_cast<int>(m.level), std::string(m.payload.begin(), m.payload.end()),
                        m.source.funcname != nullptr ? m.source.funcname : ""});
  return messages;
}

bool LogCapture::Contains(int level, const std::string& text, const std::string& function) const
{
  const auto messages = Messages();
  return std::any_of(messages.begin(), messages.end(), [&](const LoggedMessage& m) {
    return m.level == level && m.text == text && m.function == function;
  });
}
