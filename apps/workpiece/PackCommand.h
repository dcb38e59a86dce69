#pragma once

#include <ostream>
#include <string>
#include <vector>

// `workpiece pack MECHANISM.json PACKAGE.7z [--force]`: exports a mechanism as an entity package;
// returns the exit code.
int RunPackCommand(const std::vector<std::string>& args, std::ostream& out, std::ostream& err);

// `workpiece unpack PACKAGE.7z [FOLDER]`: reads an entity package back and prints its summary;
// returns the exit code.
int RunUnpackCommand(const std::vector<std::string>& args, std::ostream& out, std::ostream& err);
