#pragma once

#include <TopoDS_Shape.hxx>

#include <string>
#include <vector>

// Reads a part from a STEP, IGES or BREP file, with the exchange libraries' console chatter silenced.
class PartFile
{
public:
  // One solid of a part, with the name the file gives it (empty when it gives none).
  struct Body
  {
    TopoDS_Shape shape;
    std::string name;
  };

  // Returns the part in `path` (.step/.stp/.iges/.igs/.brep, any case); throws WorkpieceError naming
  // the file and the reason when it cannot be read or holds no face.
  static TopoDS_Shape Read(const std::string& path);

  // Returns the part's solids with their names, or the whole part as one body when it has no solid;
  // throws as Read.
  static std::vector<Body> ReadBodies(const std::string& path);

  // Returns whether the file's extension is one Read understands.
  static bool IsSupported(const std::string& path);
};
