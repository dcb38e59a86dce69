#pragma once

#include <TopoDS_Shape.hxx>

#include <ostream>
#include <string>
#include <vector>

// Reads a part from a STEP, IGES or BREP file, with the exchange libraries' console chatter silenced,
// and repairs it (PartRepair).
class PartReader
{
public:
  struct Part
  {
    TopoDS_Shape shape; // null on failure
    std::string error;  // why reading failed, empty on success
    std::vector<std::string> notes; // what PartRepair did or could not do
  };

  // Returns the part in `path` (.step/.stp/.iges/.igs/.brep, any case), or the reason it could not be read.
  static Part Read(const std::string& path);

  // Returns the part in `path` as Read does, having written its notes and any error to `err` as lines
  // "workpiece COMMAND: ..."; the null shape when it cannot be read.
  static TopoDS_Shape ReadFor(const std::string& command, const std::string& path, std::ostream& err);

  // Returns whether the file's extension is one Read understands.
  static bool IsSupported(const std::string& path);

  // Removes OpenCASCADE's standard-output printers so that statistics do not mix with our output.
  static void SilenceKernelMessages();
};
