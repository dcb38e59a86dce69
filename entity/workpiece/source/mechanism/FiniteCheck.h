#pragma once

#include <entity/AxisRange.h>

#include <gp_Ax1.hxx>
#include <gp_Trsf.hxx>

#include <spdlog/common.h>

#include <cstddef>
#include <vector>

// Guards the places where joint values, limits and transforms enter a mechanism: a NaN or an
// infinity let in there spreads through every later product and cannot be written to a file.
class FiniteCheck
{
public:
  // Whether the first `count` entries of `values` (all when there are fewer) are finite.
  static bool Values(const std::vector<double>& values, std::size_t count);
  static bool Trsf(const gp_Trsf& trsf);

  // Each logs at critical level from the operation of `location` and throws a WorkpieceError
  // tagged "_number" when its argument (the first `count` values) holds a NaN or an infinity.
  static void RequireTrsf(const spdlog::source_loc& location, const gp_Trsf& trsf);
  static void RequireAx1(const spdlog::source_loc& location, const gp_Ax1& axis);
  static void RequireRange(const spdlog::source_loc& location, const AxisRange& range);
  static void RequireValues(const spdlog::source_loc& location, const std::vector<double>& values, std::size_t count);
};
