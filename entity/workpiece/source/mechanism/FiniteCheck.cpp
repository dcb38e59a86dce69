#include "mechanism/FiniteCheck.h"

#include "core/EntityLog.h"

#include <algorithm>
#include <cmath>

namespace
{
constexpr const char* Tag = "_number";

bool IsFinite(const gp_XYZ& xyz)
{
  return std::isfinite(xyz.X()) && std::isfinite(xyz.Y()) && std::isfinite(xyz.Z());
}
} // namespace

void FiniteCheck::RequireTrsf(const spdlog::source_loc& location, const gp_Trsf& trsf)
{
  if (!Trsf(trsf))
    EntityLog::Fail(location, "变换含非有限数值", Tag);
}

void FiniteCheck::RequireAx1(const spdlog::source_loc& location, const gp_Ax1& axis)
{
  if (!IsFinite(axis.Location().XYZ()) || !IsFinite(axis.Direction().XYZ()))
    EntityLog::Fail(location, "关节轴含非有限数值", Tag);
}

void FiniteCheck::RequireRange(const spdlog::source_loc& location, const AxisRange& range)
{
  if (!std::isfinite(range.lower) || !std::isfinite(range.upper))
    EntityLog::Fail(location, "限位含非有限数值", Tag);
}

void FiniteCheck::RequireValues(const spdlog::source_loc& location, const std::vector<double>& values,
                                std::size_t count)
{
  if (!Values(values, count))
    EntityLog::Fail(location, "关节值含非有限数值", Tag);
}
