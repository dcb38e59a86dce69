#include <entity/PartRepair.h>

#include <BRepBndLib.hxx>
#include <BRepBuilderAPI_MakeSolid.hxx>
#include <BRepBuilderAPI_Sewing.hxx>
#include <BRepGProp.hxx>
#include <BRep_Builder.hxx>
#include <BRep_Tool.hxx>
#include <Bnd_Box.hxx>
#include <GProp_GProps.hxx>
#include <Precision.hxx>
#include <TopExp_Explorer.hxx>
#include <TopoDS.hxx>
#include <TopoDS_Compound.hxx>

#include <algorithm>
#include <cmath>

namespace
{
// Returns the diagonal of the shape's bounding box.
double Diagonal(const TopoDS_Shape& shape)
{
  Bnd_Box box;
  BRepBndLib::Add(shape, box, false);
  return box.IsVoid() ? 0.0 : std::sqrt(box.SquareExtent());
}

// Returns whether the shape has faces outside any shell.
bool HasLooseFaces(const TopoDS_Shape& shape)
{
  return TopExp_Explorer(shape, TopAbs_FACE, TopAbs_SHELL).More();
}

// Returns the loose faces sewn, closed shells made solids; the rest of the shape is kept as it was.
TopoDS_Shape Sewn(const TopoDS_Shape& shape, std::vector<std::string>& notes)
{
  BRepBuilderAPI_Sewing sewing(std::max(Precision::Confusion(), PartRepair::SewingFraction * Diagonal(shape)));
  for (TopExp_Explorer it(shape, TopAbs_FACE, TopAbs_SHELL); it.More(); it.Next())
    sewing.Add(it.Current());
  sewing.Perform();
  BRep_Builder builder;
  TopoDS_Compound result;
  builder.MakeCompound(result);
  for (TopExp_Explorer it(shape, TopAbs_SOLID); it.More(); it.Next())
    builder.Add(result, it.Current());
  for (TopExp_Explorer it(shape, TopAbs_SHELL, TopAbs_SOLID); it.More(); it.Next())
    builder.Add(result, it.Current());
  int solids = 0;
  for (TopExp_Explorer it(sewing.SewedShape(), TopAbs_SHELL); it.More(); it.Next())
  {
    const TopoDS_Shell& shell = TopoDS::Shell(it.Current());
    BRepBuilderAPI_MakeSolid solid(shell);
    if (BRep_Tool::IsClosed(shell) && solid.IsDone())
    {
      builder.Add(result, solid.Solid());
      ++solids;
    }
    else
      builder.Add(result, shell);
  }
  for (TopExp_Explorer it(sewing.SewedShape(), TopAbs_FACE, TopAbs_SHELL); it.More(); it.Next())
    builder.Add(result, it.Current());
  notes.push_back("sewed its loose faces into " + std::to_string(solids) + " solid(s); " +
                  std::to_string(sewing.NbFreeEdges()) + " free edge(s) remain");
  return result;
}
} // namespace

PartRepair::Result PartRepair::Repair(const TopoDS_Shape& input)
{
  Result result{input, {}};
  if (HasLooseFaces(input))
    result.shape = Sewn(input, result.notes);

  // A closed solid of negative volume has its faces pointing inwards: reversed, it points out.
  BRep_Builder builder;
  TopoDS_Compound oriented;
  builder.MakeCompound(oriented);
  int reversed = 0, open = 0;
  for (TopExp_Explorer it(result.shape, TopAbs_SOLID); it.More(); it.Next())
  {
    bool closed = true;
    for (TopExp_Explorer shell(it.Current(), TopAbs_SHELL); shell.More(); shell.Next())
      closed = closed && BRep_Tool::IsClosed(shell.Current());
    GProp_GProps props;
    BRepGProp::VolumeProperties(it.Current(), props);
    const bool insideOut = closed && props.Mass() < 0.0;
    reversed += insideOut ? 1 : 0;
    open += closed ? 0 : 1;
    builder.Add(oriented, insideOut ? it.Current().Reversed() : it.Current());
  }
  int outside = 0;
  for (TopExp_Explorer it(result.shape, TopAbs_SHELL, TopAbs_SOLID); it.More(); it.Next(), ++outside)
    builder.Add(oriented, it.Current());
  for (TopExp_Explorer it(result.shape, TopAbs_FACE, TopAbs_SHELL); it.More(); it.Next(), ++outside)
    builder.Add(oriented, it.Current());
  if (reversed > 0)
  {
    result.shape = oriented;
    result.notes.push_back("turned " + std::to_string(reversed) + " inside-out solid(s) outside out");
  }
  if (open + outside > 0)
    result.notes.push_back(std::to_string(open) + " open solid(s) and " + std::to_string(outside) +
                           " shell(s) or face(s) outside solids: their corners are judged by the faces' own "
                           "orientation, which nothing checks");
  return result;
}
