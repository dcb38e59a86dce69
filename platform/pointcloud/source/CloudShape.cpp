#include <pointcloud/CloudShape.h>

#include <Bnd_Box.hxx>
#include <Graphic3d_ArrayOfPoints.hxx>
#include <Prs3d_PointAspect.hxx>
#include <Select3D_SensitiveBox.hxx>
#include <SelectMgr_EntityOwner.hxx>
#include <SelectMgr_Selection.hxx>

#include <cmath>
#include <cstdio>
#include <sstream>

IMPLEMENT_STANDARD_RTTIEXT(CloudShape, AIS_InteractiveObject)

namespace
{
// Header keywords of PCD 0.7, in the order they are written.
const char* const HeaderKeys[] = {"VERSION", "FIELDS", "SIZE", "TYPE", "COUNT", "WIDTH", "HEIGHT", "VIEWPOINT", "POINTS"};

// Returns the text of a double that reads back to the same value.
std::string Exact(double value)
{
  char buffer[32];
  std::snprintf(buffer, sizeof(buffer), "%.17g", value);
  return buffer;
}
} // namespace

bool CloudShape::LoadPCDFromString(const std::string& text)
{
  std::istringstream in(text);
  std::string line;
  int columns = 0;
  int xCol = -1, yCol = -1, zCol = -1;
  long long declared = -1;
  bool ascii = false;
  while (std::getline(in, line))
  {
    if (line.empty() || line[0] == '#')
      continue;
    std::istringstream words(line);
    std::string key;
    words >> key;
    if (key == "FIELDS")
    {
      std::string field;
      for (columns = 0; words >> field; ++columns)
      {
        if (field == "x")
          xCol = columns;
        else if (field == "y")
          yCol = columns;
        else if (field == "z")
          zCol = columns;
      }
    }
    else if (key == "POINTS")
    {
      if (!(words >> declared))
        return false;
    }
    else if (key == "DATA")
    {
      std::string kind;
      words >> kind;
      ascii = kind == "ascii";
      break;
    }
  }
  if (!ascii || xCol < 0 || yCol < 0 || zCol < 0 || declared < 0)
    return false;
  std::vector<gp_Pnt> points;
  long long rows = 0;
  while (std::getline(in, line))
  {
    std::istringstream values(line);
    std::vector<double> row;
    std::string word;
    while (values >> word)
    {
      char* end = nullptr;
      const double v = std::strtod(word.c_str(), &end);
      if (end == word.c_str() || *end != '\0')
        return false;
      row.push_back(v);
    }
    if (row.empty())
      continue;
    if (static_cast<int>(row.size()) != columns)
      return false;
    ++rows;
    // PCD marks points without a measurement by NaN coordinates; they carry no position.
    if (std::isfinite(row[xCol]) && std::isfinite(row[yCol]) && std::isfinite(row[zCol]))
      points.emplace_back(row[xCol], row[yCol], row[zCol]);
  }
  if (rows != declared)
    return false;
  SetPoints(points);
  return true;
}

std::string CloudShape::PCDToString() const
{
  const std::string count = std::to_string(myPoints.size());
  const std::string values[] = {"0.7", "x y z", "8 8 8", "F F F", "1 1 1", count, "1", "0 0 0 1 0 0 0", count};
  std::string text = "# .PCD v0.7 - Point Cloud Data file format\n";
  for (std::size_t i = 0; i < std::size(HeaderKeys); ++i)
    text += std::string(HeaderKeys[i]) + " " + values[i] + "\n";
  text += "DATA ascii\n";
  for (const gp_Pnt& p : myPoints)
    text += Exact(p.X()) + " " + Exact(p.Y()) + " " + Exact(p.Z()) + "\n";
  return text;
}

void CloudShape::SetPoints(const std::vector<gp_Pnt>& points)
{
  myPoints = points;
  SetToUpdate();
}

void CloudShape::Compute(const Handle(PrsMgr_PresentationManager)&, const Handle(Prs3d_Presentation)& prs,
                         const Standard_Integer mode)
{
  if (mode != 0 || myPoints.empty())
    return;
  Handle(Graphic3d_ArrayOfPoints) array = new Graphic3d_ArrayOfPoints(static_cast<int>(myPoints.size()));
  for (const gp_Pnt& p : myPoints)
    array->AddVertex(p);
  Handle(Graphic3d_Group) group = prs->NewGroup();
  group->SetGroupPrimitivesAspect(myDrawer->PointAspect()->Aspect());
  group->AddPrimitiveArray(array);
}

void CloudShape::ComputeSelection(const Handle(SelectMgr_Selection)& selection, const Standard_Integer mode)
{
  if (mode != 0 || myPoints.empty())
    return;
  Bnd_Box box;
  for (const gp_Pnt& p : myPoints)
    box.Add(p);
  selection->Add(new Select3D_SensitiveBox(new SelectMgr_EntityOwner(this), box));
}
