#pragma once

#include "CommandOptions.h"

#include <entity/SeamExtractor.h>

#include <ostream>
#include <string>
#include <vector>

// `workpiece seams PART [options]`: prints the classified seams of a part; returns the exit code.
int RunSeamsCommand(const std::vector<std::string>& args, std::ostream& out, std::ostream& err);

// Prints the seam table (index, kind, length, faces) and the summary of one extraction.
void PrintSeams(const SeamExtractor::Result& result, std::ostream& out);

// Adds --classifier and --min-length, read into `options`.
void AddSeamOptions(CommandOptions& reader, SeamExtractor::Options& options);
