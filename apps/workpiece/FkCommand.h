#pragma once

#include <ostream>
#include <string>
#include <vector>

// `workpiece fk MECHANISM.json [--joints J1,J2,...] [--json FILE]`: prints the world frame of
// every link and flange of a mechanism at the given joint values; returns the exit code.
int RunFkCommand(const std::vector<std::string>& args, std::ostream& out, std::ostream& err);
