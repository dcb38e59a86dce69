#pragma once

#include <ostream>

// `workpiece demo`: builds a T-joint and an L-bracket and prints their seams; returns the exit code.
int RunDemoCommand(std::ostream& out);
