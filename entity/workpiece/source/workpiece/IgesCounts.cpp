#include "workpiece/IgesCounts.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <map>
#include <vector>

namespace
{
// IGES records are 80 columns: data in the first 72 (64 in the parameter section, then the
// entity's directory pointer), the section letter in column 73.
constexpr std::size_t SectionColumn = 72;
constexpr std::size_t ParameterColumns = 64;

// Position of the list count among each B-Rep entity's parameters (the entity type is the first).
const std::map<long long, std::size_t> CountPosition{{186, 3}, {502, 1}, {504, 1}, {508, 1}, {510, 2}, {514, 1}};

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
  if (global.compare(pos, 2, "1H") != 0 || pos + 2 >= global.size())
    return fallback;
  pos += 3;
  return global[pos - 1];
}
} // namespace

std::string IgesCounts::Problem(std::istream& in)
{
  std::string global;
  std::vector<std::pair<std::string, std::string>> entities; // directory pointer, parameter text
  for (std::string line; std::getline(in, line);)
  {
    if (!line.empty() && line.back() == '\r')
      line.pop_back();
    if (line.size() <= SectionColumn)
      continue;
    if (line[SectionColumn] == 'G')
      global += line.substr(0, SectionColumn);
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
  for (const auto& [pointer, text] : entities)
  {
    const std::vector<std::string> parameters = Parameters(text, delimiter, end);
    long long type = 0, count = 0;
    if (!ToInteger(parameters[0], type))
      continue;
    const auto position = CountPosition.find(type);
    if (position == CountPosition.end() || position->second >= parameters.size() ||
        !ToInteger(parameters[position->second], count) || count <= static_cast<long long>(parameters.size()))
      continue;
    return "its IGES entity " + std::to_string(type) + " at directory line " + pointer + " counts " +
           std::to_string(count) + " items but holds " + std::to_string(parameters.size()) + " parameters";
  }
  return std::string();
}
