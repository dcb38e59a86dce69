#pragma once

#include <functional>
#include <string>
#include <vector>

// A file the user names on the command line for the tool to write. It is written only when it is
// new, or a regular file of the user's own that is none of the command's inputs, so that a device,
// a FIFO, someone else's file or the part being read is never replaced; and it is written aside
// and renamed over the target, so that a failed write leaves the old file whole.
class OutputFile
{
public:
  // Returns the file a symbolic link ends at, `path` itself when it is none; empty for a dangling link.
  static std::string Resolved(const std::string& path);

  // Returns why `path` may not be written, empty when it may. A symbolic link is judged by the
  // file it points to; `inputs` are the files the command reads.
  static std::string Refusal(const std::string& path, const std::vector<std::string>& inputs);

  // Writes `path` by calling `write` with a temporary file in the target's folder (same extension)
  // and renaming that over the target, which keeps its permissions; a symbolic link keeps pointing
  // to the file written. Returns why it could not, empty on success.
  static std::string Write(const std::string& path, const std::vector<std::string>& inputs,
                           const std::function<bool(const std::string& temporary)>& write);
};
