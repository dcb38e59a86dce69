#pragma once

#include <istream>
#include <string>

// Checks an IGES file for what the kernel's reader would act on before finding it wrong: a list
// count larger than the parameters its entity holds (the reader sizes its arrays by the count
// first, so 2147483647 in a file of a few kilobytes asks for tens of gigabytes; no list can have
// more items than its entity has parameters), and a B-Rep entity pointing to no entity (the reader
// follows it and faults).
class IgesPrecheck
{
public:
  // Returns why the IGES text cannot be read as it says, empty when it can (or is no IGES text this
  // check understands, which the reader then judges).
  static std::string Problem(std::istream& in);
};
