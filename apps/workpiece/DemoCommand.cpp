#include "DemoCommand.h"

#include "DemoParts.h"
#include "SeamsCommand.h"

#include <entity/SeamExtractor.h>

#include <TopoDS_Shape.hxx>

#include <utility>

int RunDemoCommand(std::ostream& out)
{
  const std::pair<const char*, TopoDS_Shape> parts[] = {
    {"T-joint weldment (200 x 100 x 10 base plate, 10 mm web 60 mm high)", DemoParts::TJoint()},
    {"L-bracket (two 10 mm legs of 60 mm, 80 mm deep)", DemoParts::LBracket()}};
  bool first = true;
  for (const auto& [name, shape] : parts)
  {
    if (!first)
      out << "\n";
    first = false;
    out << name << "\n";
    PrintSeams(SeamExtractor(shape).Extract(SeamExtractor::Options()), out);
  }
  return 0;
}
