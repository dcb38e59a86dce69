#pragma once

#include <ostream>
#include <string>

// The sample welding cell: a six-axis robot with a spherical wrist, a two-axis tilt-and-turn
// positioner and a welding torch mounted on the robot's flange, each a mechanism JSON with its
// display-tree file. Ids and link hashes are fixed, so that the files are the same on every run.
class SampleCell
{
public:
  // Writes robot.json, positioner.json, torch.json and their entity/<id>.json display trees into
  // `folder` (created if missing), naming each file on `out`; returns false, after a line on
  // `err`, when a file cannot be written.
  static bool Write(const std::string& folder, std::ostream& out, std::ostream& err);
};
