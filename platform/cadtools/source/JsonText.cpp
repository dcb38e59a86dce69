#include <cadtools/JsonText.h>
#include <cadtools/ThreadPool.h>

#include <json/json.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace
{
// Documents from this size on are parsed in pieces on the thread pool.
constexpr std::size_t SplitParseMinSize = 256 * 1024;
// Parse tasks per pool worker.
constexpr std::size_t ParseTasksPerWorker = 4;
// Nesting depth beyond which the quick scan leaves the document to the one-piece parse, well inside
// the parser's own limit.
constexpr int ScanDepthLimit = 500;

// One value of a document's root object, or one element of an array that is such a value.
struct Piece
{
  std::size_t member; // position of the member in the root object
  const char* begin;
  const char* end;
};

// Returns whether `c` is white space between JSON tokens.
bool IsJsonSpace(char c)
{
  return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

// Returns `p` moved past white space.
const char* SkipSpace(const char* p, const char* end)
{
  while (p < end && IsJsonSpace(*p))
    ++p;
  return p;
}

// Returns the end of the string whose opening quote is at `p`, or null when it is not closed.
const char* StringEnd(const char* p, const char* end)
{
  for (++p; p < end; ++p)
  {
    if (*p == '\\')
      ++p;
    else if (*p == '"')
      return p + 1;
  }
  return nullptr;
}

// Returns the end of the value that starts at `p`, or null when the quick scan does not follow it
// (unclosed, too deep, or with comments): such text is left to the one-piece parse.
const char* ValueEnd(const char* p, const char* end)
{
  int depth = 0;
  while (p < end)
  {
    const char c = *p;
    if (c == '"')
    {
      p = StringEnd(p, end);
      if (p == nullptr || depth == 0)
        return p;
    }
    else if (c == '{' || c == '[')
    {
      if (++depth > ScanDepthLimit)
        return nullptr;
      ++p;
    }
    else if (c == '}' || c == ']')
    {
      if (--depth < 0)
        return nullptr;
      ++p;
      if (depth == 0)
        return p;
    }
    else if (c == '/')
      return nullptr;
    else if (depth == 0 && (c == ',' || c == ':' || IsJsonSpace(c)))
      return p;
    else
      ++p;
  }
  return depth == 0 ? p : nullptr;
}

// Returns whether the text is a plain object the scan follows; fills its members (key text with
// its quotes, and whether the value is an array split into its elements) and its pieces.
bool SplitRootObject(const char* p, const char* end, std::vector<std::pair<std::string, bool>>& members,
                     std::vector<Piece>& pieces)
{
  p = SkipSpace(p, end);
  if (p == end || *p != '{')
    return false;
  p = SkipSpace(p + 1, end);
  if (p < end && *p == '}')
    return SkipSpace(p + 1, end) == end;
  while (p < end && *p == '"')
  {
    const char* keyEnd = StringEnd(p, end);
    if (keyEnd == nullptr)
      return false;
    const std::size_t member = members.size();
    const char* value = SkipSpace(keyEnd, end);
    if (value == end || *value != ':')
      return false;
    value = SkipSpace(value + 1, end);
    if (value == end)
      return false;
    const bool isArray = *value == '[';
    members.emplace_back(std::string(p, keyEnd), isArray);
    if (isArray)
    {
      p = SkipSpace(value + 1, end);
      if (p < end && *p == ']')
        p = SkipSpace(p + 1, end);
      else
        while (true)
        {
          const char* elementEnd = ValueEnd(p, end);
          if (elementEnd == nullptr || elementEnd == p)
            return false;
          pieces.push_back({member, p, elementEnd});
          p = SkipSpace(elementEnd, end);
          if (p == end || (*p != ',' && *p != ']'))
            return false;
          const bool last = *p == ']';
          p = SkipSpace(p + 1, end);
          if (last)
            break;
        }
    }
    else
    {
      const char* valueEnd = ValueEnd(value, end);
      if (valueEnd == nullptr || valueEnd == value)
        return false;
      pieces.push_back({member, value, valueEnd});
      p = SkipSpace(valueEnd, end);
    }
    if (p == end)
      return false;
    if (*p == '}')
      return SkipSpace(p + 1, end) == end;
    if (*p != ',')
      return false;
    p = SkipSpace(p + 1, end);
  }
  return false;
}

// Returns the document parsed in one piece, or a null value when it is malformed.
Json::Value ParseWhole(const char* begin, const char* end)
{
  const Json::CharReaderBuilder builder;
  const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  Json::Value root;
  std::string errors;
  if (!reader->parse(begin, end, &root, &errors))
    return Json::Value();
  return root;
}

// Returns the document parsed as the pieces of its root object, the pieces concurrently on the
// thread pool; false when the text does not split or a piece does not parse.
std::pair<bool, Json::Value> ParseSplit(const char* begin, const char* end, ThreadPool& pool)
{
  std::vector<std::pair<std::string, bool>> members;
  std::vector<Piece> pieces;
  if (!SplitRootObject(begin, end, members, pieces))
    return {false, Json::Value()};

  const std::size_t tasks = std::min(pieces.size(), ParseTasksPerWorker * std::max<std::size_t>(1, pool.Size()));
  // Tasks take contiguous runs of pieces of about equal text length.
  std::vector<std::size_t> firsts{0};
  const std::size_t total = static_cast<std::size_t>(end - begin);
  for (std::size_t i = 1; i < pieces.size() && firsts.size() < tasks; ++i)
    if (static_cast<std::size_t>(pieces[i].begin - begin) >= total * firsts.size() / tasks)
      firsts.push_back(i);
  firsts.push_back(pieces.size());

  std::vector<Json::Value> values(pieces.size());
  std::atomic<bool> parsed{true};
  pool.ParallelFor(firsts.size() - 1, 1, [&](std::size_t task, std::size_t) {
    const Json::CharReaderBuilder builder;
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    std::string errors;
    for (std::size_t i = firsts[task]; i < firsts[task + 1] && parsed; ++i)
      if (!reader->parse(pieces[i].begin, pieces[i].end, &values[i], &errors))
        parsed = false;
  });
  if (!parsed)
    return {false, Json::Value()};

  std::vector<Json::Value> memberValues(members.size());
  for (std::size_t m = 0; m < members.size(); ++m)
    if (members[m].second)
      memberValues[m] = Json::Value(Json::arrayValue);
  for (std::size_t i = 0; i < pieces.size(); ++i)
  {
    Json::Value& target = memberValues[pieces[i].member];
    if (members[pieces[i].member].second)
      target.append(std::move(values[i]));
    else
      target = std::move(values[i]);
  }
  // Members are set in text order, so a repeated key keeps its last value as in the one-piece parse.
  Json::Value root(Json::objectValue);
  for (std::size_t m = 0; m < members.size(); ++m)
  {
    const std::string& key = members[m].first;
    const Json::Value name = ParseWhole(key.data(), key.data() + key.size());
    if (!name.isString())
      return {false, Json::Value()};
    root[name.asString()] = std::move(memberValues[m]);
  }
  return {true, std::move(root)};
}} // namespace

Json::Value JsonText::Parse(const char* begin, const char* end, ThreadPool& pool)
{
  // Anything the split does not follow, malformed text included, is parsed in one piece, which
  // decides what the document holds.
  if (static_cast<std::size_t>(end - begin) >= SplitParseMinSize)
    if (auto [split, root] = ParseSplit(begin, end, pool); split)
      return std::move(root);
  return ParseWhole(begin, end);
}
