#include "LogCapture.h"

#include <cadtools/LogUtils.h>

#include <algorithm>

class LogCapture::Sink : public spdlog::sinks::base_sink<std::mutex>
{
public:
  std::vector<LoggedMessage> Messages()
  {
    std::lock_guard<std::mutex> lock(mutex_);
    return myMessages;
  }

protected:
  void sink_it_(const spdlog::details::log_msg& msg) override
  {
    myMessages.push_back({static_cast<int>(msg.level), std::string(msg.payload.begin(), msg.payload.end()),
                          msg.source.funcname ? msg.source.funcname : ""});
  }
  void flush_() override {}

private:
  std::vector<LoggedMessage> myMessages;
};

LogCapture::LogCapture() : mySink(std::make_shared<Sink>())
{
  LogUtils::AddSink(mySink);
}

LogCapture::~LogCapture()
{
  LogUtils::RemoveSink(mySink);
}

std::vector<LoggedMessage> LogCapture::Messages() const
{
  return mySink->Messages();
}

bool LogCapture::Contains(int level, const std::string& text, const std::string& function) const
{
  const auto messages = Messages();
  return std::any_of(messages.begin(), messages.end(), [&](const LoggedMessage& m) {
    return m.level == level && m.text == text && m.function == function;
  });
}
