#pragma once

#include <istream>
#include <string>

// Checks the list counts of an IGES file's B-Rep entities (manifold solid 186, vertex list 502,
// edge list 504, loop 508, face 510, shell 514) against the parameters each holds. The kernel's
// reader sizes its arrays by such a count before it reads the list, so a count of 2147483647 in
// a file of a few kilobytes asks for tens of gigabytes; no list can have more items than its
// entity has parameters.
class IgesCounts
{
public:
  // Returns why the IGES text cannot hold what its counts say, empty when it can (or is no IGES
  // text this check understands, which the reader then judges).
  static std::string Problem(std::istream& in);
};
