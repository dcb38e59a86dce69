#pragma once

#include "FixtureMechanism.h"
#include "JointDefinition.h"

#include <gp_Trsf.hxx>

#include <memory>
#include <vector>

// The fixture mechanisms of the tests and benchmarks, as chains of simple solids.
class Mechanisms
{
public:
  // Base link (fixed slide) and the six axes of an arm of about 1.4 m reach.
  static std::vector<JointDefinition> SixAxisRobot();
  // Base link (fixed slide), a tilt axis about X and a turntable about the tilted Z.
  static std::vector<JointDefinition> TwoAxisPositioner();
  // The robot with flange 0 20 mm along its last link's Z.
  static std::unique_ptr<FixtureMechanism> BuildRobot();
  // The positioner with flange 0 40 mm along its table's Z.
  static std::unique_ptr<FixtureMechanism> BuildPositioner();
  // A welding torch without joints: a 300 mm cylinder along its own Z.
  static std::unique_ptr<FixtureMechanism> BuildTool();
  // Frame of every link at the given joint values (radians / mm, one per link), computed as the
  // product of center frames and joint motions in each link's own frame.
  static std::vector<gp_Trsf> LinkFrames(const std::vector<JointDefinition>& chain, const std::vector<double>& values);
};
