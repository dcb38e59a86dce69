#pragma once

// The tolerances every workpiece analysis shares, so that a board, a face and a placement are
// judged alike.
namespace AnalysisTolerances
{
// Enlargement given to the oriented box of a solid or a face.
constexpr double BoxTol = 0.001;
// How far a face may stray from a plane and still count as planar.
constexpr double PlaneTol = 1.0;
// Two directions closer than this angle (10°) count as parallel.
constexpr double AngleTol = 0.17453292519943295;
} // namespace AnalysisTolerances
