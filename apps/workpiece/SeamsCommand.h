#pragma once

#include <entity/SeamExtractor.h>

#include <optional>
#include <ostream>
#include <string>
#include <vector>

// `workpiece seams PART [options]`: prints the classified seams of a part; returns the exit code.
int RunSeamsCommand(const std::vector<std::string>& args, std::ostream& out, std::ostream& err);

// Prints the seam table (index, kind, length, faces) and the summary of one extraction.
void PrintSeams(const SeamExtractor::Result& result, std::ostream& out);

// Returns the classifier named `name` ("probe", "planar", "orientation"), or nothing.
std::optional<SeamExtractor::Classifier> ParseClassifier(const std::string& name);

// Returns the non-negative number in `text`, or nothing.
std::optional<double> ParseLength(const std::string& text);
