#pragma once

// Process-wide settings of the CAD tools.
class CADParamConfig
{
public:
  // Returns the single instance.
  static CADParamConfig& GetInstance();

  // Slack (radians) within which a rotary joint value counts as inside its limits.
  double RotaryJointTolerance() const { return myRotaryTol; }
  void SetRotaryJointTolerance(double tol) { myRotaryTol = tol; }

  // Slack (millimetres) within which a linear joint value counts as inside its limits.
  double LinearJointTolerance() const { return myLinearTol; }
  void SetLinearJointTolerance(double tol) { myLinearTol = tol; }

private:
  CADParamConfig() = default;
  double myRotaryTol = 1.0e-6;
  double myLinearTol = 1.0e-6;
};
