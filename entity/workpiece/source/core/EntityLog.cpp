#include "EntityLog.h"

#include <cadtools/DataHandle.h>
#include <cadtools/LogUtils.h>
#include <cadtools/WorkpieceError.h>

const char* const EntityLog::KeyError = "map传入key错误，数据不在范围内";
const char* const EntityLog::IndexError = "vector传入index错误，数据不在范围内";

void EntityLog::Write(const spdlog::source_loc& location, int level, const std::string& message)
{
  LogUtils::LogWrite(location, level, DataHandle::StringToUTF8string(message));
}

void EntityLog::Fail(const spdlog::source_loc& location, const std::string& message, const std::string& tag)
{
  const std::string text = DataHandle::StringToUTF8string(message);
  LogUtils::LogWrite(location, SPDLOG_LEVEL_CRITICAL, text);
  throw WorkpieceError(tag + location.funcname + text);
}
