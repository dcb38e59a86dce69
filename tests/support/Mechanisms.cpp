#include "Mechanisms.h"

#include "Solids.h"

#include <gp_Ax1.hxx>

namespace
{
JointDefinition Joint(const char* name, JointType type, gp_Vec offset, double turnY, double lower, double upper,
                TopoDS_Shape body)
{
  JointDefinition joint;
  joint.name = name;
  joint.type = type;
  joint.offset = offset;
  joint.turnY = turnY;
  joint.lower = lower;
  joint.upper = upper;
  joint.body = body;
  return joint;
}

// A box centred on the link frame's Z axis, running from z0 to z0 + length.
TopoDS_Shape Beam(double width, double z0, double length)
{
  return Solids::Moved(Solids::Box(width, width, length),
                       [&] {
                         gp_Trsf t;
                         t.SetTranslation(gp_Vec(-width / 2, -width / 2, z0));
                         return t;
                       }());
}
} // namespace

std::vector<JointDefinition> Mechanisms::SixAxisRobot()
{
  // The wrist frame (link 4 on) is turned a quarter about Y, so its Z runs along the forearm (+X).
  return {
    Joint("base", JointType::LinearZ, gp_Vec(0, 0, 0), 0, -1, 1, Solids::Cylinder(150, 250)),
    Joint("turret", JointType::RotaryZ, gp_Vec(0, 0, 250), 0, -170, 170, Beam(260, 0, 200)),
    Joint("lower arm", JointType::RotaryY, gp_Vec(150, 0, 200), 0, -90, 150, Beam(120, 0, 600)),
    Joint("elbow", JointType::RotaryY, gp_Vec(0, 0, 600), 0, -170, 80, Beam(140, 0, 120)),
    Joint("forearm", JointType::RotaryZ, gp_Vec(150, 0, 120), 90, -190, 190, Beam(100, 0, 500)),
    Joint("wrist", JointType::RotaryY, gp_Vec(0, 0, 500), 0, -120, 120, Beam(80, 0, 100)),
    Joint("flange", JointType::RotaryZ, gp_Vec(0, 0, 100), 0, -360, 360, Solids::Cylinder(40, 20)),
  };
}

std::vector<JointDefinition> Mechanisms::TwoAxisPositioner()
{
  return {
    Joint("pedestal", JointType::LinearZ, gp_Vec(0, 0, 0), 0, -1, 1, Beam(400, 0, 700)),
    Joint("tilt", JointType::RotaryX, gp_Vec(0, 0, 700), 0, -135, 135, Beam(500, 0, 150)),
    Joint("table", JointType::RotaryZ, gp_Vec(0, 0, 150), 0, -360, 360, Solids::Cylinder(300, 40)),
  };
}

gp_Trsf Mechanisms::RobotFlange()
{
  gp_Trsf t;
  t.SetTranslation(gp_Vec(0, 0, 20));
  return t;
}

gp_Trsf Mechanisms::PositionerFlange()
{
  gp_Trsf t;
  t.SetTranslation(gp_Vec(0, 0, 40));
  return t;
}

std::unique_ptr<FixtureMechanism> Mechanisms::BuildRobot()
{
  const std::vector<JointDefinition> chain = SixAxisRobot();
  auto robot = std::make_unique<FixtureMechanism>("robot", chain);
  // A flange is held in the entity frame at the zero pose, like a link's axis.
  const gp_Trsf lastAtZero = LinkFrames(chain, std::vector<double>(chain.size(), 0.0)).back();
  robot->AddFlange(robot->GetLinkRods().back()->GetLinkHashIndex(), lastAtZero * RobotFlange());
  return robot;
}

std::unique_ptr<FixtureMechanism> Mechanisms::BuildPositioner()
{
  const std::vector<JointDefinition> chain = TwoAxisPositioner();
  auto positioner = std::make_unique<FixtureMechanism>("positioner", chain);
  const gp_Trsf tableAtZero = LinkFrames(chain, std::vector<double>(chain.size(), 0.0)).back();
  positioner->AddFlange(positioner->GetLinkRods().back()->GetLinkHashIndex(), tableAtZero * PositionerFlange());
  return positioner;
}

std::unique_ptr<FixtureMechanism> Mechanisms::BuildTool()
{
  auto tool = std::make_unique<FixtureMechanism>("torch", std::vector<JointDefinition>{});
  tool->AddFixPart(Solids::Cylinder(15, 300));
  return tool;
}

std::unique_ptr<FixtureMechanism> Mechanisms::BuildPart()
{
  auto part = std::make_unique<FixtureMechanism>("part", std::vector<JointDefinition>{});
  part->AddFixPart(Solids::Box(400, 200, 100));
  return part;
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
