#include "OutputFile.h"

#include <cerrno>
#include <cstring>
#include <filesystem>

#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace
{
// Returns the permissions a new file gets under the process's umask.
mode_t NewFileMode()
{
  const mode_t mask = ::umask(0);
  ::umask(mask);
  return 0666 & ~mask;
}
} // namespace

std::string OutputFile::Resolved(const std::string& path)
{
  std::error_code code;
  if (!fs::is_symlink(fs::symlink_status(path, code)))
    return path;
  const fs::path target = fs::canonical(path, code);
  return code ? std::string() : target.string();
}

std::string OutputFile::Refusal(const std::string& path, const std::vector<std::string>& inputs)
{
  const std::string target = Resolved(path);
  if (target.empty())
    return "it is a symbolic link to nothing";
  struct stat file{};
  if (::stat(target.c_str(), &file) != 0)
    return errno == ENOENT ? std::string() : std::strerror(errno);
  if (!S_ISREG(file.st_mode))
    return S_ISDIR(file.st_mode) ? "it is a folder" : "it is not a regular file";
  if (file.st_uid != ::geteuid())
    return "it belongs to another user";
  for (const std::string& input : inputs)
  {
    struct stat read{};
    if (::stat(input.c_str(), &read) == 0 && read.st_dev == file.st_dev && read.st_ino == file.st_ino)
      return "it is the input '" + input + "'";
  }
  return std::string();
}

std::string OutputFile::Write(const std::string& path, const std::vector<std::string>& inputs,
                              const std::function<bool(const std::string& temporary)>& write)
{
  if (std::string refusal = Refusal(path, inputs); !refusal.empty())
    return refusal;
  const fs::path target = Resolved(path);
  const std::string extension = target.extension().string();
  // Hidden and named after the target, so that one left by a killed process says whose it was.
  std::string name = (target.parent_path() / ("." + target.filename().string() + ".XXXXXX" + extension)).string();
  const int fd = ::mkstemps(name.data(), static_cast<int>(extension.size()));
  if (fd < 0)
    return std::string("cannot create a file beside it: ") + std::strerror(errno);
  ::close(fd);
  struct stat old{};
  const mode_t mode = ::stat(target.c_str(), &old) == 0 ? (old.st_mode & 07777) : NewFileMode();
  std::string failure;
  try
  {
    // The mode is set after writing: a writer may itself replace the temporary file.
    if (!write(name) || ::chmod(name.c_str(), mode) != 0)
      failure = "cannot write it";
    else if (::rename(name.c_str(), target.c_str()) != 0)
      failure = std::string("cannot replace it: ") + std::strerror(errno);
  }
  catch (...)
  {
    ::unlink(name.c_str());
    throw;
  }
  if (!failure.empty())
    ::unlink(name.c_str());
  return failure;
}
