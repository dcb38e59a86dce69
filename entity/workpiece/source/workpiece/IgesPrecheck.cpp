#include "workpiece/IgesPrecheck.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace
{
// IGES records are 80 columns: data in the first 72 (64 in the parameter section, then the
// entity's directory pointer), the section letter in column 73.
constexpr std::size_t SectionColumn = 72;
constexpr std::size_t ParameterColumns = 64;
// A directory entry is two lines of fields of 8 columns, the entity type first: the nine of the
// first line are numbers, and the five first of the second (the rest are reserved, a label and
// its subscript).
constexpr std::size_t DirectoryField = 8;
constexpr std::size_t FirstLineNumericFields = 9;
constexpr std::size_t SecondLineNumericFields = 5;

// The B-Rep entities: manifold solid, vertex list, edge list, loop, face, shell.
const std::set<long long> BRepTypes{186, 502, 504, 508, 510, 514};

// Positions of the counts among the parameters of the entities whose reader sizes arrays by them
// before reading the lists (the entity type is parameter 0): B-Rep manifold solid, vertex list,
// edge list, loop, face and shell, B-spline curve (upper index, degree) and surface.
const std::map<long long, std::vector<std::size_t>> CountPositions{
  {126, {1, 2}}, {128, {1, 2, 3, 4}}, {186, {3}}, {502, {1}}, {504, {1}}, {508, {1}}, {510, {2}}, {514, {1}}};

// Returns whether `text` is an integer (surrounding spaces allowed), setting `value`; one too
// large saturates, as good a count as any to refuse.
bool ToInteger(const std::string& text, long long& value)
{
  char* end = nullptr;
  value = std::strtoll(text.c_str(), &end, 10);
  return end != text.c_str() &&
         std::all_of(static_cast<const char*>(end), text.c_str() + text.size(), [](char c) { return c == ' '; });
}

// Splits one entity's parameter text at `delimiter` up to `end`, skipping over Hollerith strings
// ("nH" and n characters), which may hold either.
std::vector<std::string> Parameters(const std::string& text, char delimiter, char end)
{
  std::vector<std::string> parameters;
  std::string token;
  for (std::size_t i = 0; i < text.size(); ++i)
  {
    const char c = text[i];
    long long length = 0;
    if (c == 'H' && ToInteger(token, length) && length > 0)
    {
      const std::size_t taken = std::min<std::size_t>(static_cast<std::size_t>(length), text.size() - i - 1);
      token.append(text, i, taken + 1);
      i += taken;
    }
    else if (c == delimiter || c == end)
    {
      parameters.push_back(token);
      token.clear();
      if (c == end)
        return parameters;
    }
    else
      token += c;
  }
  parameters.push_back(token);
  return parameters;
}

// Returns the delimiter the global section names at `pos` ("1Hx"), or `fallback`; moves past it.
char Delimiter(const std::string& global, std::size_t& pos, char fallback)
{
  if (pos + 2 >= global.size() || global.compare(pos, 2, "1H") != 0)
    return fallback;
  pos += 3;
  return global[pos - 1];
}
// Returns the positions of the pointers of a B-Rep entity, which must point to a directory
// entry: the kernel's reader follows a null one in a loop's edge list and faults.
std::vector<std::size_t> PointerPositions(long long type, const std::vector<std::string>& parameters)
{
  std::vector<std::size_t> positions;
  long long count = 0;
  const auto number = [&](std::size_t i) { return i < parameters.size() && ToInteger(parameters[i], count) ? count : 0; };
  if (type == 508)
    // Per edge: type, edge list, index, orientation, K, then K pairs (isoparametric flag, curve).
    for (std::size_t i = 2, n = 0; n < static_cast<std::size_t>(std::max(0LL, number(1))) && i + 4 < parameters.size(); ++n)
    {
      positions.push_back(i + 1);
      const std::size_t curves = static_cast<std::size_t>(std::max(0LL, number(i + 4)));
      for (std::size_t k = 0; k < curves; ++k)
        positions.push_back(i + 6 + 2 * k);
      i += 5 + 2 * curves;
    }
  else if (type == 514)
    for (std::size_t i = 2; i < parameters.size(); i += 2)
      positions.push_back(i);
  else if (type == 510)
    for (std::size_t i = 1; i < parameters.size(); i = i == 1 ? 4 : i + 1)
      positions.push_back(i);
  else if (type == 186)
    for (std::size_t i = 1; i < parameters.size(); i = i == 1 ? 4 : i + 2)
      positions.push_back(i);
  return positions;
}

// Returns whether `text` is an IGES parameter: empty, a number (with an exponent marked E or D),
// or a string ("nH" and its characters).
bool IsParameter(const std::string& text)
{
  const std::size_t begin = text.find_first_not_of(' ');
  if (begin == std::string::npos)
    return true;
  const std::size_t end = text.find_last_not_of(' ') + 1;
  std::size_t i = begin;
  const auto digits = [&] {
    const std::size_t from = i;
    while (i < end && std::isdigit(static_cast<unsigned char>(text[i])) != 0)
      ++i;
    return i > from;
  };
  if (digits() && i < end && text[i] == 'H')
    return true;
  i = begin;
  if (text[i] == '+' || text[i] == '-')
    ++i;
  bool mantissa = digits();
  if (i < end && text[i] == '.')
  {
    ++i;
    mantissa = digits() || mantissa;
  }
  if (mantissa && i < end && std::string("EeDd").find(text[i]) != std::string::npos)
  {
    ++i;
    if (i < end && (text[i] == '+' || text[i] == '-'))
      ++i;
    mantissa = digits();
  }
  return mantissa && i == end;
}

// Returns the type the pointer at `position` of a B-Rep entity must name, 0 for any: a solid's
// shells, a shell's faces and a face's loops (its surface may be of any type). The reader takes
// what it finds for one of those and faults on it.
long long PointeeType(long long type, std::size_t position)
{
  if (type == 186)
    return 514;
  if (type == 514)
    return 510;
  if (type == 510 && position > 1)
    return 508;
  return 0;
}
} // namespace

std::string IgesPrecheck::Problem(std::istream& in)
{
  std::string global;
  std::vector<std::pair<std::string, std::string>> entities; // directory pointer, parameter text
  struct DirectoryEntry
  {
    std::string pointer;
    long long type;
    long long parameters; // the line of the parameter section its parameters start on
    long long lines = 1;  // how many lines they take
  };
  std::vector<DirectoryEntry> directory;
  // The kernel's reader takes a line without a section letter in its column for one more line of
  // the section it reads; it finds an entity's parameters by their line number in the section.
  std::vector<std::string> parameterLines;
  std::vector<std::string> parameterOwners; // the directory line each names, empty on a continuation
  char section = 'S';
  bool secondDirectoryLine = false;
  for (std::string line; std::getline(in, line);)
  {
    if (!line.empty() && line.back() == '\r')
      line.pop_back();
    if (line.size() > SectionColumn && std::string("SGDPT").find(line[SectionColumn]) != std::string::npos)
      section = line[SectionColumn];
    if (section == 'P')
    {
      parameterLines.push_back(line.substr(0, ParameterColumns));
      parameterOwners.push_back(line.size() > SectionColumn && line[SectionColumn] == 'P'
                                  ? line.substr(ParameterColumns, SectionColumn - ParameterColumns)
                                  : std::string());
    }
    if (line.size() <= SectionColumn)
      continue;
    if (line[SectionColumn] == 'G')
      global += line.substr(0, SectionColumn);
    else if (line[SectionColumn] == 'D')
    {
      // The kernel's reader recovers from a field that is not a number by an entity of its own
      // that it never releases.
      const std::size_t numericFields = secondDirectoryLine ? SecondLineNumericFields : FirstLineNumericFields;
      for (std::size_t field = 0; field < numericFields; ++field)
      {
        const std::string text = line.substr(field * DirectoryField, DirectoryField);
        long long number = 0;
        if (text.find_first_not_of(' ') != std::string::npos && !ToInteger(text, number))
        {
          std::string sequence = line.substr(SectionColumn + 1);
          sequence.erase(0, sequence.find_first_not_of(" 0"));
          return "its IGES directory line " + sequence + " has '" + text + "' where a number belongs";
        }
      }
      long long type = 0, parameters = 0, lines = 0;
      if (secondDirectoryLine && !directory.empty() && ToInteger(line.substr(3 * DirectoryField, DirectoryField), lines))
        directory.back().lines = std::max(1LL, lines);
      if (!secondDirectoryLine && ToInteger(line.substr(0, DirectoryField), type) &&
          ToInteger(line.substr(DirectoryField, DirectoryField), parameters))
      {
        std::string pointer = line.substr(SectionColumn + 1);
        pointer.erase(0, pointer.find_first_not_of(" 0"));
        directory.push_back({pointer, type, parameters});
      }
      secondDirectoryLine = !secondDirectoryLine;
    }
    else if (line[SectionColumn] == 'P')
    {
      std::string pointer = line.substr(ParameterColumns, SectionColumn - ParameterColumns);
      pointer.erase(0, pointer.find_first_not_of(" 0"));
      if (entities.empty() || entities.back().first != pointer)
        entities.emplace_back(pointer, std::string());
      entities.back().second += line.substr(0, ParameterColumns);
    }
  }
  std::size_t pos = 0;
  const char delimiter = Delimiter(global, pos, ',');
  ++pos;
  const char end = Delimiter(global, pos, ';');
  // The kernel reads an entity as its directory entry types it, from the parameter lines it points
  // to, whatever they hold: a face read from another entity's parameters, or on a surface read so,
  // leaves its loop list unset and the reader faults on it. (A file cut before its parameter
  // section reads as empty; other entities without parameters read as undefined ones.)
  for (const auto& [pointer, type, parameters, lines] : directory)
  {
    const std::string where = "its IGES entity " + std::to_string(type) + " at directory line " + pointer;
    if (parameterLines.empty())
      break;
    if (parameters < 1 || parameters > static_cast<long long>(parameterLines.size()))
    {
      if (BRepTypes.count(type) > 0)
        return where + " has no parameter lines of its own";
      continue;
    }
    long long parameterType = 0;
    const std::string& first = parameterLines[static_cast<std::size_t>(parameters - 1)];
    if (ToInteger(first.substr(0, first.find_first_of(std::string(1, delimiter) + end)), parameterType) &&
        parameterType != type)
      return where + " has the parameters of an entity " + std::to_string(parameterType);
  }
  std::map<std::string, long long> typeOf;
  for (const auto& entry : directory)
    typeOf.emplace(entry.pointer, entry.type);
  // Each entity's parameters as the kernel reads them, from the lines its directory entry names: a
  // parameter it cannot read leaves the entity half made, and the reader faults on it when another
  // entity uses it.
  for (const auto& entry : directory)
  {
    if (entry.parameters < 1 || entry.parameters > static_cast<long long>(parameterLines.size()))
      continue;
    std::string own;
    for (long long k = entry.parameters - 1; k < std::min<long long>(entry.parameters - 1 + entry.lines, parameterLines.size()); ++k)
    {
      // The kernel also follows the directory line each parameter line names.
      const std::string& owner = parameterOwners[static_cast<std::size_t>(k)];
      long long named = 0;
      if (!owner.empty() && (!ToInteger(owner, named) || std::to_string(named) != entry.pointer))
        return "its IGES parameter line " + std::to_string(k + 1) + " names directory line '" + owner + "', not " +
               entry.pointer;
      own += parameterLines[static_cast<std::size_t>(k)];
    }
    const std::vector<std::string> parameters = Parameters(own, delimiter, end);
    if (const auto odd = std::find_if(parameters.begin(), parameters.end(), [](const std::string& p) { return !IsParameter(p); });
        odd != parameters.end())
      return "its IGES entity " + std::to_string(entry.type) + " at directory line " + entry.pointer + " has '" + *odd +
             "' for a parameter";
  }
  for (const auto& [pointer, text] : entities)
  {
    const std::vector<std::string> parameters = Parameters(text, delimiter, end);
    long long type = 0, value = 0;
    if (!ToInteger(parameters[0], type))
      continue;
    const std::string entity = "its IGES entity " + std::to_string(type) + " at directory line " + pointer;
    const long long held = static_cast<long long>(parameters.size());
    if (const auto counts = CountPositions.find(type); counts != CountPositions.end())
      for (const std::size_t position : counts->second)
        if (position < parameters.size() && ToInteger(parameters[position], value) && value > held)
          return entity + " counts " + std::to_string(value) + " items but holds " + std::to_string(held) + " parameters";
    for (const std::size_t position : PointerPositions(type, parameters))
    {
      if (position >= parameters.size() || !ToInteger(parameters[position], value))
        continue;
      if (value <= 0)
        return entity + " points to no entity (parameter " + std::to_string(position) + " is " + std::to_string(value) + ")";
      const auto pointee = typeOf.find(std::to_string(value));
      if (const long long expected = PointeeType(type, position);
          expected != 0 && (pointee == typeOf.end() || pointee->second != expected))
        return entity + " points to " +
               (pointee == typeOf.end() ? "no entity" : "an entity " + std::to_string(pointee->second)) +
               " where an entity " + std::to_string(expected) + " belongs (parameter " + std::to_string(position) + ")";
    }
  }
  return std::string();
}
