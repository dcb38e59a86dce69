#pragma once

#include <ostream>
#include <string>
#include <vector>

// `workpiece generate-examples DIR`: writes the built-in parts as STEP files into DIR; returns the exit code.
int RunGenerateExamplesCommand(const std::vector<std::string>& args, std::ostream& out, std::ostream& err);
