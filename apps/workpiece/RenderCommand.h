#pragma once

#include <ostream>
#include <string>
#include <vector>

// `workpiece render PART --out PICTURE [options]`: writes a picture of a part, with its seams when
// asked; returns the exit code.
int RunRenderCommand(const std::vector<std::string>& args, std::ostream& out, std::ostream& err);
