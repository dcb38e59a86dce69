#include <pointcloud/CloudShape.h>

#include <Bnd_Box.hxx>
#include <Graphic3d_ArrayOfPoints.hxx>
#include <Prs3d_PointAspect.hxx>
#include <Select3D_SensitiveBox.hxx>
#include <SelectMgr_EntityOwner.hxx>
#include <SelectMgr_Selection.hxx>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <string_view>

IMPLEMENT_STANDARD_RTTIEXT(CloudShape, AIS_InteractiveObject)

namespace
{
// Header keywords of PCD 0.7, in the order they are written.
const char* const HeaderKeys[] = {"VERSION", "FIELDS", "SIZE", "TYPE", "COUNT", "WIDTH", "HEIGHT", "VIEWPOINT", "POINTS"};

// Returns the words of `line`, split at blanks.
std::vector<std::string_view> Words(std::string_view line)
{
  std::vector<std::string_view> words;
  for (std::size_t at = 0;;)
  {
    at = line.find_first_not_of(" \t\r", at);
    if (at == std::string_view::npos)
      return words;
    const std::size_t end = std::min(line.find_first_of(" \t\r", at), line.size());
    words.push_back(line.substr(at, end - at));
    at = end;
  }
}

// Returns whether the whole of `word` is a number, stored in `value`. Numbers are read and written
// through <charconv>, whose text is the same under every locale.
template <typename Number> bool ReadNumber(std::string_view word, Number& value)
{
  const char* end = word.data() + word.size();
  const auto [stop, error] = std::from_chars(word.data(), end, value);
  return error == std::errc() && stop == end;
}

// Appends the shortest text of `value` that reads back to it.
void AppendExact(std::string& text, double value)
{
  char buffer[32];
  const auto [end, error] = std::to_chars(buffer, buffer + sizeof(buffer), value);
  text.append(buffer, error == std::errc() ? end : buffer);
}
} // namespace

bool CloudShape::LoadPCDFromString(const std::string& text)
{
  const std::string_view all(text);
  std::size_t at = 0;
  // Returns the next line, or false at the end of the text.
  const auto nextLine = [&all, &at](std::string_view& line) {
    if (at >= all.size())
      return false;
    const std::size_t end = std::min(all.find('\n', at), all.size());
    line = all.substr(at, end - at);
    at = end + 1;
    return true;
  };
  std::string_view line;
  std::size_t columns = 0;
  bool fields = false;
  int xCol = -1, yCol = -1, zCol = -1;
  long long declared = -1;
  bool ascii = false;
  while (nextLine(line))
  {
    if (line.empty() || line[0] == '#')
      continue;
    const std::vector<std::string_view> words = Words(line);
    if (words.empty())
      continue;
    if (words[0] == "FIELDS")
    {
      // The column positions of x, y and z belong to one FIELDS line: a second one would pair them
      // with rows of another width.
      if (fields)
        return false;
      fields = true;
      columns = words.size() - 1;
      for (std::size_t i = 1; i < words.size(); ++i)
      {
        const int column = static_cast<int>(i - 1);
        if (words[i] == "x")
          xCol = column;
        else if (words[i] == "y")
          yCol = column;
        else if (words[i] == "z")
          zCol = column;
      }
    }
    else if (words[0] == "POINTS")
    {
      if (words.size() < 2 || !ReadNumber(words[1], declared))
        return false;
    }
    else if (words[0] == "DATA")
    {
      ascii = words.size() > 1 && words[1] == "ascii";
      break;
    }
  }
  if (!ascii || xCol < 0 || yCol < 0 || zCol < 0 || declared < 0)
    return false;
  std::vector<gp_Pnt> points;
  std::vector<double> row;
  long long rows = 0;
  while (nextLine(line))
  {
    const std::vector<std::string_view> words = Words(line);
    if (words.empty())
      continue;
    if (words.size() != columns)
      return false;
    row.resize(columns);
    for (std::size_t i = 0; i < columns; ++i)
      if (!ReadNumber(words[i], row[i]))
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
  {
    AppendExact(text, p.X());
    text += ' ';
    AppendExact(text, p.Y());
    text += ' ';
    AppendExact(text, p.Z());
    text += '\n';
  }
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
