#include "Mechanisms.h"

#include "Solids.h"

#include <gp_Ax1.hxx>

namespace
{
// A box centred on the link frame's Z axis, running from z = 0 to `length`.
TopoDS_Shape Beam(double width, double length)
{
  gp_Trsf centred;
  centred.SetTranslation(gp_Vec(-width / 2, -width / 2, 0));
  return Solids::Moved(Solids::Box(width, width, length), centred);
}

// A mechanism of `chain` with flange 0 `lift` mm along its last link's Z. A flange is held in the
// entity frame at the zero pose, like a link's axis.
std::unique_ptr<FixtureMechanism> WithEndFlange(const char* name, const std::vector<JointDefinition>& chain, double lift)
{
  auto mechanism = std::make_unique<FixtureMechanism>(name, chain);
  gp_Trsf local;
  local.SetTranslation(gp_Vec(0, 0, lift));
  const gp_Trsf lastAtZero = Mechanisms::LinkFrames(chain, std::vector<double>(chain.size(), 0.0)).back();
  mechanism->AddFlange(mechanism->GetLinkRods().back()->GetLinkHashIndex(), lastAtZero * local);
  return mechanism;
}

} // namespace

std::vector<JointDefinition> Mechanisms::SixAxisRobot()
{
  // The wrist frame (link 4 on) is turned a quarter about Y, so its Z runs along the forearm (+X).
  return {
    {"base", JointType::LinearZ, gp_Vec(0, 0, 0), 0, -1, 1, Solids::Cylinder(150, 250)},
    {"turret", JointType::RotaryZ, gp_Vec(0, 0, 250), 0, -170, 170, Beam(260, 200)},
    {"lower arm", JointType::RotaryY, gp_Vec(150, 0, 200), 0, -90, 150, Beam(120, 600)},
    {"elbow", JointType::RotaryY, gp_Vec(0, 0, 600), 0, -170, 80, Beam(140, 120)},
    {"forearm", JointType::RotaryZ, gp_Vec(150, 0, 120), 90, -190, 190, Beam(100, 500)},
    {"wrist", JointType::RotaryY, gp_Vec(0, 0, 500), 0, -120, 120, Beam(80, 100)},
    {"flange", JointType::RotaryZ, gp_Vec(0, 0, 100), 0, -360, 360, Solids::Cylinder(40, 20)},
  };
}

std::vector<JointDefinition> Mechanisms::TwoAxisPositioner()
{
  return {
    {"pedestal", JointType::LinearZ, gp_Vec(0, 0, 0), 0, -1, 1, Beam(400, 700)},
    {"tilt", JointType::RotaryX, gp_Vec(0, 0, 700), 0, -135, 135, Beam(500, 150)},
    {"table", JointType::RotaryZ, gp_Vec(0, 0, 150), 0, -360, 360, Solids::Cylinder(300, 40)},
  };
}

std::unique_ptr<FixtureMechanism> Mechanisms::BuildRobot()
{
  return WithEndFlange("robot", SixAxisRobot(), 20);
}

std::unique_ptr<FixtureMechanism> Mechanisms::BuildPositioner()
{
  return WithEndFlange("positioner", TwoAxisPositioner(), 40);
}

std::unique_ptr<FixtureMechanism> Mechanisms::BuildTool()
{
  auto tool = std::make_unique<FixtureMechanism>("torch", std::vector<JointDefinition>{});
  tool->AddFixPart(Solids::Cylinder(15, 300));
  return tool;
}

std::vector<gp_Trsf> Mechanisms::LinkFrames(const std::vector<JointDefinition>& chain, const std::vector<double>& values)
{
  std::vector<gp_Trsf> frames;
  gp_Trsf frame;
  for (size_t i = 0; i < chain.size(); ++i)
  {
    const int type = static_cast<int>(chain[i].type);
    const gp_Dir axis = type % 3 == 0 ? gp::DX() : (type % 3 == 1 ? gp::DY() : gp::DZ());
    gp_Trsf motion;
    if (type >= static_cast<int>(JointType::RotaryX))
      motion.SetRotation(gp_Ax1(gp::Origin(), axis), values[i]);
    else
      motion.SetTranslation(gp_Vec(axis) * values[i]);
    frame = frame * chain[i].Center() * motion;
    frames.push_back(frame);
  }
  return frames;
}
