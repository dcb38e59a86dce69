#include <cadtools/LogUtils.h>

#include <spdlog/logger.h>
#include <spdlog/sinks/dist_sink.h>
#include <spdlog/sinks/stdout_color_sinks.h>
#include <spdlog/spdlog.h>

#include <algorithm>

namespace
{
// The logger writes into one distributing sink so that sinks can be added and removed while
// other threads log.
std::shared_ptr<spdlog::sinks::dist_sink_mt> Distributor()
{
  static const auto dist = [] {
    auto d = std::make_shared<spdlog::sinks::dist_sink_mt>();
    d->add_sink(std::make_shared<spdlog::sinks::stderr_color_sink_mt>());
    return d;
  }();
  return dist;
}
} // namespace

std::shared_ptr<spdlog::logger> LogUtils::Logger()
{
  static const auto logger = [] {
    auto l = std::make_shared<spdlog::logger>(LoggerName, Distributor());
    l->set_level(spdlog::level::trace);
    l->set_pattern("[%Y-%m-%d %H:%M:%S.%e] [%n] [%l] [%s:%# %!] %v");
    return l;
  }();
  return logger;
}

void LogUtils::LogWrite(const spdlog::source_loc& location, int level, const std::string& message)
{
  const int clamped = std::clamp(level, static_cast<int>(spdlog::level::trace),
                                 static_cast<int>(spdlog::level::critical));
  Logger()->log(location, static_cast<spdlog::level::level_enum>(clamped), message);
}

void LogUtils::AddSink(const spdlog::sink_ptr& sink)
{
  Logger();
  Distributor()->add_sink(sink);
}

void LogUtils::RemoveSink(const spdlog::sink_ptr& sink)
{
  Distributor()->remove_sink(sink);
}
