#include "DemoCommand.h"

#include <cadtools/DataHandle.h>
#include <cadtools/ShapeHandle.h>
#include <cadtools/gpHandle.h>

#include <BRepBuilderAPI_Transform.hxx>
#include <BRepPrimAPI_MakeBox.hxx>
#include <json/json.h>

#include <iomanip>

int RunDemoCommand(std::ostream& out)
{
  // A 40 × 20 × 10 plate turned off the axes: its oriented box must give back its sides.
  Json::Value six(Json::arrayValue);
  for (double v : {100.0, 50.0, 0.0, 30.0, 20.0, 45.0})
    six.append(v);
  const gp_Trsf placement = DataHandle::JsonSixToTrsf(six);
  const TopoDS_Shape plate =
    BRepBuilderAPI_Transform(BRepPrimAPI_MakeBox(40.0, 20.0, 10.0).Shape(), placement, true).Shape();
  const Bnd_OBB obb = ShapeHandle::GetTopoShapeBndOBB(plate, 0.0);
  out << "plate placed at " << Json::FastWriter().write(DataHandle::TrsfToJsonSix(placement));
  out << "oriented box sides (shortest first):\n";
  for (const auto& [length, dir] : gpHandle::GetOBBlengthAndDir(obb))
    out << std::fixed << std::setprecision(3) << "  " << std::setw(8) << length << " mm along (" << dir.X() << ", "
        << dir.Y() << ", " << dir.Z() << ")\n";
  out << "volume " << ShapeHandle::GetAreaOrVol(plate) << " mm3\n";
  return 0;
}
