#include <entity/EntityPackage.h>

#include "core/EntityLog.h"

#include <cadtools/DataHandle.h>
#include <cadtools/LogUtils.h>

#include <Message_ProgressScope.hxx>

#include <archive.h>
#include <archive_entry.h>

#include <filesystem>
#include <fstream>
#include <vector>

namespace fs = std::filesystem;

namespace
{
const char* const UnpackOperation = "EntityPackage::Unpack";
const char* const LoadOperation = "EntityPackage::Load";
const char* const LayoutName = "context.layout";
constexpr size_t BlockSize = 1 << 16;

[[noreturn]] void Refuse(const char* operation, const std::string& message)
{
  EntityLog::Fail(WORKPIECE_LOC(operation), message, "_package");
}

// Whether `name` stays inside the folder it is taken relative to: not absolute (no root, no
// drive), no ".." component, either separator counted.
bool IsInside(const std::string& name)
{
  if (name.empty() || name[0] == '/' || name[0] == '\\' || (name.size() > 1 && name[1] == ':'))
    return false;
  size_t start = 0;
  while (start <= name.size())
  {
    const size_t end = std::min(name.find_first_of("/\\", start), name.size());
    if (name.compare(start, end - start, "..") == 0 && end - start == 2)
      return false;
    start = end + 1;
  }
  return true;
}

// An archive opened for reading, freed on every way out.
class Reader
{
public:
  explicit Reader(const std::string& package) : myArchive(archive_read_new())
  {
    archive_read_support_format_7zip(myArchive);
    if (archive_read_open_filename(myArchive, package.c_str(), BlockSize) != ARCHIVE_OK)
    {
      archive_read_free(myArchive);
      Refuse(UnpackOperation, "实体包无法打开：" + package);
    }
  }
  ~Reader() { archive_read_free(myArchive); }
  Reader(const Reader&) = delete;
  Reader& operator=(const Reader&) = delete;

  // The next entry, null at the end; a damaged archive is refused.
  archive_entry* Next(const std::string& package)
  {
    archive_entry* entry = nullptr;
    const int status = archive_read_next_header(myArchive, &entry);
    if (status == ARCHIVE_EOF)
      return nullptr;
    if (status != ARCHIVE_OK)
      Refuse(UnpackOperation, "实体包已损坏：" + package);
    return entry;
  }
  archive* Get() const { return myArchive; }

private:
  archive* myArchive;
};

// Checks every entry of the package before anything is written; returns the package folder's
// name inside the archive ("" when the layout lies at the top) and the number of entries.
std::pair<std::string, size_t> Inspect(const std::string& package, std::uint64_t maxBytes)
{
  Reader reader(package);
  std::uint64_t total = 0;
  size_t count = 0;
  std::string top;
  bool layout = false;
  while (archive_entry* entry = reader.Next(package))
  {
    ++count;
    const std::string name = archive_entry_pathname(entry) != nullptr ? archive_entry_pathname(entry) : "";
    if (!IsInside(name))
      Refuse(UnpackOperation, "实体包条目路径不安全：" + name);
    const auto type = archive_entry_filetype(entry);
    if (type == AE_IFLNK || archive_entry_hardlink(entry) != nullptr)
      Refuse(UnpackOperation, "实体包条目是链接：" + name);
    if (type != AE_IFREG && type != AE_IFDIR)
      Refuse(UnpackOperation, "实体包条目不是文件或文件夹：" + name);
    total += archive_entry_size_is_set(entry) ? static_cast<std::uint64_t>(archive_entry_size(entry)) : 0;
    if (total > maxBytes)
      Refuse(UnpackOperation, "实体包解压后超过大小上限：" + std::to_string(maxBytes) + " 字节");
    const fs::path path = fs::path(name).lexically_normal();
    if (type == AE_IFREG && path.filename() == LayoutName && !layout && std::distance(path.begin(), path.end()) <= 2)
    {
      layout = true;
      top = path.has_parent_path() ? path.parent_path().string() : std::string();
    }
  }
  if (!layout)
    Refuse(UnpackOperation, std::string("实体包缺少") + LayoutName + "：" + package);
  return {top, count};
}

// Refuses a destination reached through a symbolic link already on disk below `target`.
void RequireNoLinkOnTheWay(const fs::path& target, const fs::path& relative, const std::string& name)
{
  fs::path at = target;
  for (const fs::path& part : relative)
  {
    at /= part;
    std::error_code ec;
    if (fs::is_symlink(fs::symlink_status(at, ec)))
      Refuse(UnpackOperation, "实体包条目会经由已有的链接写出：" + name);
  }
}
} // namespace

std::string EntityPackage::Unpack(const std::string& package, const std::string& folder, std::uint64_t maxBytes,
                                  const Message_ProgressRange& range)
{
  const auto [top, count] = Inspect(package, maxBytes);
  fs::path target = folder.empty() ? fs::path(package).parent_path() : fs::path(folder);
  if (target.empty())
    target = ".";
  std::error_code ec;
  fs::create_directories(target, ec);
  if (!fs::is_directory(target, ec))
    Refuse(UnpackOperation, "无法创建解压文件夹：" + target.string());

  Reader reader(package);
  Message_ProgressScope scope(range, "unpack", static_cast<Standard_Real>(count));
  std::uint64_t total = 0;
  std::vector<char> block(BlockSize);
  while (archive_entry* entry = reader.Next(package))
  {
    const std::string name = archive_entry_pathname(entry);
    const fs::path relative = fs::path(name).lexically_normal();
    RequireNoLinkOnTheWay(target, relative, name);
    const fs::path destination = target / relative;
    if (archive_entry_filetype(entry) == AE_IFDIR)
    {
      fs::create_directories(destination, ec);
      scope.Next();
      continue;
    }
    fs::create_directories(destination.parent_path(), ec);
    std::ofstream out(destination, std::ios::binary | std::ios::trunc);
    if (!out)
      Refuse(UnpackOperation, "无法写出实体包条目：" + destination.string());
    la_ssize_t read = 0;
    while ((read = archive_read_data(reader.Get(), block.data(), block.size())) > 0)
    {
      // The sizes in the headers were checked; the data is counted too, for entries without one.
      total += static_cast<std::uint64_t>(read);
      if (total > maxBytes)
      {
        out.close();
        fs::remove(destination, ec);
        Refuse(UnpackOperation, "实体包解压后超过大小上限：" + std::to_string(maxBytes) + " 字节");
      }
      out.write(block.data(), read);
    }
    if (read < 0 || !out)
      Refuse(UnpackOperation, "实体包条目无法解压：" + name);
    scope.Next();
  }
  return (top.empty() ? target : target / top).string() + "/";
}

std::unique_ptr<GenericEntityConfig> EntityPackage::Load(const std::string& packageFolder)
{
  const std::string layoutPath = packageFolder + LayoutName;
  std::error_code ec;
  if (!fs::is_regular_file(layoutPath, ec))
    Refuse(LoadOperation, std::string("实体包缺少") + LayoutName + "：" + layoutPath);
  Json::Value layout = DataHandle::LoadJson(layoutPath);
  if (!layout.isObject() || !layout["GenericEntity"].isObject())
    Refuse(LoadOperation, std::string(LayoutName) + "不是实体布局的JSON对象：" + layoutPath);
  Json::Value& data = layout["GenericEntity"];
  if (data.isMember("ShapeEntityPath"))
  {
    const std::string tree = data["ShapeEntityPath"].isString() ? data["ShapeEntityPath"].asString() : std::string();
    if (!IsInside(tree))
      Refuse(LoadOperation, "显示树文件路径不在实体包内：" + tree);
    if (!fs::is_regular_file(packageFolder + tree, ec))
      Refuse(LoadOperation, "实体包缺少显示树文件：" + tree);
    data["ShapeEntityPath"] = packageFolder + tree;
  }
  auto entity = std::make_unique<GenericEntityConfig>();
  entity->LoadFromJson(data);
  return entity;
}

std::unique_ptr<GenericEntityConfig> EntityPackage::Read(const std::string& package, const std::string& folder,
                                                         std::uint64_t maxBytes, const Message_ProgressRange& range)
{
  return Load(Unpack(package, folder, maxBytes, range));
}
