#include "FuzzInput.h"

#include <cadtools/DataHandle.h>
#include <cadtools/LogUtils.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace
{
// Removes the scratch folder when the process ends normally (libFuzzer's -runs, -max_total_time).
struct ScratchFolder
{
  ScratchFolder()
  {
    const char* base = std::getenv("TMPDIR");
    std::string pattern = std::string(base != nullptr && *base != '\0' ? base : "/tmp") + "/workpiece-fuzz-XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr)
      throw std::runtime_error("cannot create a scratch folder from " + pattern);
    path = pattern + "/";
  }
  ~ScratchFolder()
  {
    std::error_code ec;
    std::filesystem::remove_all(path, ec);
  }
  std::string path;
};
} // namespace

void FuzzInput::Quiet()
{
  LogUtils::Logger()->set_level(spdlog::level::off);
}

const std::string& FuzzInput::Folder()
{
  static const ScratchFolder folder;
  return folder.path;
}

std::string FuzzInput::WriteFile(const std::string& name, const std::uint8_t* data, std::size_t size)
{
  const std::string path = Folder() + name;
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
  if (!out)
    throw std::runtime_error("cannot write " + path);
  return path;
}

Json::Value FuzzInput::ReadJson(const std::uint8_t* data, std::size_t size)
{
  return DataHandle::LoadJson(WriteFile("input.json", data, size));
}

std::pair<std::string, std::string> FuzzInput::SplitAtNul(const std::uint8_t* data, std::size_t size)
{
  const std::string text(reinterpret_cast<const char*>(data), size);
  const std::size_t nul = text.find('\0');
  if (nul == std::string::npos)
    return {text, std::string()};
  return {text.substr(0, nul), text.substr(nul + 1)};
}

Json::Value FuzzInput::ReadObjectWithTree(const std::uint8_t* data, std::size_t size)
{
  const auto [object, tree] = SplitAtNul(data, size);
  Json::Value json = ReadJson(reinterpret_cast<const std::uint8_t*>(object.data()), object.size());
  if (json.isObject() && json["ShapeEntityPath"].isString())
    json["ShapeEntityPath"] = WriteFile("tree.json", reinterpret_cast<const std::uint8_t*>(tree.data()), tree.size());
  return json;
}
