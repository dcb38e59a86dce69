#pragma once

#include <ostream>

// `workpiece demo`: runs the built-in example with no input file; returns the exit code.
int RunDemoCommand(std::ostream& out);
