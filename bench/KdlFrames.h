#pragma once

#include <gp_Trsf.hxx>
#include <kdl/frames.hpp>

// Conversions between the kernel's transforms and KDL's frames, for benchmarks against KDL.
class KdlFrames
{
public:
  static KDL::Frame ToKdl(const gp_Trsf& t);
  static gp_Trsf FromKdl(const KDL::Frame& f);
};
