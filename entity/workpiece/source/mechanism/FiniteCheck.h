#pragma once

#include <entity/AxisRange.h>

#include <gp_Ax1.hxx>
#include <gp_Trsf.hxx>

#include <spdlog/common.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

// Guards the places where joint values, limits and transforms enter a mechanism: a NaN or an
// infinity let in there spreads through every later product and cannot be written to a file.
class FiniteCheck
{
public:
  // Whether the first `count` entries of `values` (all when there are fewer) are finite. Inline,
  // as it runs on every move of a mechanism.
  static bool Values(const std::vector<double>& values, std::size_t count)
  {
    const std::size_t end = std::min(count, values.size());
    for (std::size_t i = 0; i < end; ++i)
      if (!std::isfinite(values[i]))
        return false;
    return true;
  }
  static bool Trsf(const gp_Trsf& trsf)
  {
    const gp_Mat& m = trsf.HVectorialPart();
    const gp_XYZ& t = trsf.TranslationPart();
    // x * 0 is 0 for a finite x and NaN for a NaN or an infinity: one test covers all thirteen.
    double probe = (trsf.ScaleFactor() + t.X() * 0.0 + t.Y() * 0.0 + t.Z() * 0.0) * 0.0;
    for (int r = 1; r <= 3; ++r)
      for (int c = 1; c <= 3; ++c)
        probe += m(r, c) * 0.0;
    return probe == 0.0;
  }

  // Each logs at critical level from the operation of `location` and throws a WorkpieceError
  // tagged "_number" when its argument (the first `count` values) holds a NaN or an infinity.
  static void RequireTrsf(const spdlog::source_loc& location, const gp_Trsf& trsf);
  static void RequireAx1(const spdlog::source_loc& location, const gp_Ax1& axis);
  static void RequireRange(const spdlog::source_loc& location, const AxisRange& range);
  static void RequireValues(const spdlog::source_loc& location, const std::vector<double>& values, std::size_t count);
};
