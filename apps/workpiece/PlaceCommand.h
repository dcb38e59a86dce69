#pragma once

#include <ostream>
#include <string>
#include <vector>

// `workpiece place PART [options]`: stands a part on a face at a target frame and prints the
// transform; returns the exit code.
int RunPlaceCommand(const std::vector<std::string>& args, std::ostream& out, std::ostream& err);
