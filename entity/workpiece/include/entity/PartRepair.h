#pragma once

#include <TopoDS_Shape.hxx>

#include <string>
#include <vector>

// Makes a part read from a file fit for judging its corners: loose faces (as IGES files carry
// them) are sewn into shells and closed shells into solids, and solids whose faces point inwards
// are turned outside out. What cannot be made right is said in the notes.
class PartRepair
{
public:
  struct Result
  {
    TopoDS_Shape shape;
    std::vector<std::string> notes; // one line each, for the standard error
  };

  // Returns the repaired part; a part that needs nothing comes back as it was.
  static Result Repair(const TopoDS_Shape& shape);

  // Sewing joins face borders closer than this fraction of the part's bounding-box diagonal.
  static constexpr double SewingFraction = 1e-5;
};
