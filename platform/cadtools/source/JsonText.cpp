#include <cadtools/JsonText.h>
#include <cadtools/ThreadPool.h>

#include <json/json.h>

#include <algorithm>
#include <atomic>
#include <charconv>
#include <climits>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

namespace
{
// Documents from this size on are parsed in pieces on the thread pool.
constexpr std::size_t SplitParseMinSize = 256 * 1024;
// Levels of nesting a serial pass lays out before it leaves the values below to the pool: a
// display tree's root, its children and their own children's lists, so that the nodes, not only
// the root's few children, are shared among the threads.
constexpr int SplitLevels = 4;
// Parse tasks per pool worker, so that threads finishing early take more.
constexpr std::size_t ParseTasksPerWorker = 4;
// Depth of the deepest value the reader takes, the root at depth 1 (its default stackLimit); it
// throws beyond it, so deeper text is left to it.
constexpr int ReaderDepthLimit = 1000;
// Length from which the reader throws on a member name.
constexpr std::size_t ReaderKeyLengthLimit = std::size_t(1) << 30;
// Bytes tested at once when looking for the end of a run of plain string text or of white space
// and numbers.
constexpr std::size_t WordBytes = sizeof(std::uint64_t);
// The byte 0x01 in every byte of a word, and the top bit of every byte.
constexpr std::uint64_t LowBits = 0x0101010101010101ULL;
constexpr std::uint64_t HighBits = 0x8080808080808080ULL;
// The bits a bracket keeps under BracketMask, the same for all four.
constexpr std::uint64_t BracketMask = 0xD9;
constexpr std::uint64_t BracketBits = 0x59;
// Hexadecimal digits after "\u", and their base.
constexpr int UnicodeEscapeDigits = 4;
constexpr int HexBase = 16;
// The first and last high surrogate, the span of the payload of either half, and the first code
// point a pair stands for.
constexpr unsigned HighSurrogateFirst = 0xD800;
constexpr unsigned HighSurrogateLast = 0xDBFF;
constexpr unsigned SurrogatePayloadMask = 0x3FF;
constexpr int SurrogatePayloadBits = 10;
constexpr unsigned SupplementaryFirst = 0x10000;
// Largest code points of one, two and three byte UTF-8, the bits of a continuation byte, and the
// lead byte markers of the two to four byte forms.
constexpr unsigned Utf8OneByteLast = 0x7F;
constexpr unsigned Utf8TwoBytesLast = 0x7FF;
constexpr unsigned Utf8ThreeBytesLast = 0xFFFF;
constexpr int Utf8ContinuationBits = 6;
constexpr unsigned Utf8ContinuationMask = 0x3F;
constexpr unsigned Utf8ContinuationMark = 0x80;
constexpr unsigned Utf8TwoBytesMark = 0xC0;
constexpr unsigned Utf8ThreeBytesMark = 0xE0;
constexpr unsigned Utf8FourBytesMark = 0xF0;
// Bytes of the longest UTF-8 an escape decodes to, and the room one step of decoding writes in:
// a word of plain text, of which all but the escape's backslash is kept, then the escape.
constexpr std::size_t Utf8LongestBytes = 4;
constexpr std::size_t DecodeStepRoom = WordBytes + Utf8LongestBytes;
// Decimal digits of a magnitude that cannot overflow 64 bits, the base and the overflow bound.
constexpr int SafeDecimalDigits = std::numeric_limits<std::uint64_t>::digits10;
constexpr std::uint64_t DecimalBase = 10;
constexpr std::uint64_t UnsignedMax = std::numeric_limits<std::uint64_t>::max();
// The largest magnitude of a negative integer, that of the smallest 64-bit one.
constexpr std::uint64_t NegativeMagnitudeMax = std::uint64_t(1) << 63;

// A value of the document parsed on its own: its text, the slot it fills and its depth.
struct Piece
{
  const char* begin;
  const char* end;
  Json::Value* slot;
  int depth;
};

// The text being read and the scratch buffer of the string being decoded.
struct Cursor
{
  const char* p;
  const char* end;
  std::string decoded; // all of it room for decoded text, reused so that strings do not allocate
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

// Returns whether `c` is a decimal digit.
bool IsDigit(char c)
{
  return c >= '0' && c <= '9';
}

// Returns `p` moved past decimal digits.
const char* SkipDigits(const char* p, const char* end)
{
  while (p < end && IsDigit(*p))
    ++p;
  return p;
}

// Returns the word of the bytes from `p` on, the first in its lowest byte.
std::uint64_t LoadWord(const char* p)
{
  unsigned char bytes[WordBytes];
  std::memcpy(bytes, p, WordBytes);
  std::uint64_t word = 0;
  for (std::size_t i = 0; i < WordBytes; ++i)
    word |= static_cast<std::uint64_t>(bytes[i]) << (CHAR_BIT * i);
  return word;
}

// Returns the word with the top bit set of each byte that is a quote or a backslash, exact up to
// the lowest such byte (a byte equal to either turns to zero, whose top bit the borrow sets; the
// borrow may also mark bytes above it).
std::uint64_t QuoteOrBackslashBits(std::uint64_t word)
{
  const std::uint64_t quotes = word ^ (LowBits * '"');
  const std::uint64_t backslashes = word ^ (LowBits * '\\');
  return (((quotes - LowBits) & ~quotes) | ((backslashes - LowBits) & ~backslashes)) & HighBits;
}

// Returns the position in its word of the lowest byte marked in `bits`, which is not zero.
std::size_t FirstMarkedByte(std::uint64_t bits)
{
  return static_cast<std::size_t>(__builtin_ctzll(bits)) / CHAR_BIT;
}

// Returns the first quote or backslash from `p` on, or `end`. Every other byte is string content
// as the reader takes it, control characters and invalid UTF-8 included.
const char* PlainRunEnd(const char* p, const char* end)
{
  for (; static_cast<std::size_t>(end - p) >= WordBytes; p += WordBytes)
    if (const std::uint64_t bits = QuoteOrBackslashBits(LoadWord(p)); bits != 0)
      return p + FirstMarkedByte(bits);
  while (p < end && *p != '"' && *p != '\\')
    ++p;
  return p;
}

// Returns whether four hexadecimal digits start at `p`; reads them into `unit` and moves past.
bool ReadHexUnit(const char*& p, const char* end, unsigned& unit)
{
  if (end - p < UnicodeEscapeDigits)
    return false;
  const std::from_chars_result r = std::from_chars(p, p + UnicodeEscapeDigits, unit, HexBase);
  if (r.ec != std::errc() || r.ptr != p + UnicodeEscapeDigits)
    return false;
  p = r.ptr;
  return true;
}

// Returns `out` past the UTF-8 form of `codePoint` (at most U+10FFFF) written there, lone
// surrogates encoded as any other code point.
char* WriteUtf8(char* out, unsigned codePoint)
{
  const auto continuation = [codePoint](int shift) {
    return static_cast<char>(Utf8ContinuationMark | ((codePoint >> shift) & Utf8ContinuationMask));
  };
  if (codePoint <= Utf8OneByteLast)
    *out++ = static_cast<char>(codePoint);
  else if (codePoint <= Utf8TwoBytesLast)
  {
    *out++ = static_cast<char>(Utf8TwoBytesMark | (codePoint >> Utf8ContinuationBits));
    *out++ = continuation(0);
  }
  else if (codePoint <= Utf8ThreeBytesLast)
  {
    *out++ = static_cast<char>(Utf8ThreeBytesMark | (codePoint >> (2 * Utf8ContinuationBits)));
    *out++ = continuation(Utf8ContinuationBits);
    *out++ = continuation(0);
  }
  else
  {
    *out++ = static_cast<char>(Utf8FourBytesMark | (codePoint >> (3 * Utf8ContinuationBits)));
    *out++ = continuation(2 * Utf8ContinuationBits);
    *out++ = continuation(Utf8ContinuationBits);
    *out++ = continuation(0);
  }
  return out;
}

// Returns whether a "\u" escape, whose digits start at `p`, decodes; writes it at `out` and moves
// both past. A high surrogate takes the next escape as its pair whatever that escape holds, and a
// low surrogate alone stands for itself, both as the reader has it.
bool DecodeUnicodeEscape(const char*& p, const char* end, char*& out)
{
  unsigned codePoint;
  if (!ReadHexUnit(p, end, codePoint))
    return false;
  if (codePoint >= HighSurrogateFirst && codePoint <= HighSurrogateLast)
  {
    unsigned pair;
    if (end - p < 2 || p[0] != '\\' || p[1] != 'u')
      return false;
    p += 2;
    if (!ReadHexUnit(p, end, pair))
      return false;
    codePoint = SupplementaryFirst + ((codePoint & SurrogatePayloadMask) << SurrogatePayloadBits) +
                (pair & SurrogatePayloadMask);
  }
  out = WriteUtf8(out, codePoint);
  return true;
}

// Returns the character an escape letter other than 'u' stands for, or 0 when it is not one.
char EscapedChar(char letter)
{
  switch (letter)
  {
  case '"':
  case '\\':
  case '/':
    return letter;
  case 'b':
    return '\b';
  case 'f':
    return '\f';
  case 'n':
    return '\n';
  case 'r':
    return '\r';
  case 't':
    return '\t';
  default:
    return 0;
  }
}

// Returns whether the rest of a string with escapes, from the first escape at `p` on, decodes
// into the cursor's buffer after the `done` bytes already there; sets `decodedEnd` past the text
// and moves the cursor past the closing quote.
bool DecodeEscapedString(Cursor& c, const char* p, std::size_t done, std::size_t& decodedEnd)
{
  std::string& buffer = c.decoded;
  char* out = buffer.data() + done;
  while (true)
  {
    // Room for a word of plain text and the longest escape's UTF-8 after it.
    if (static_cast<std::size_t>(buffer.data() + buffer.size() - out) < DecodeStepRoom)
    {
      const std::size_t written = static_cast<std::size_t>(out - buffer.data());
      buffer.resize(2 * buffer.size() + DecodeStepRoom);
      out = buffer.data() + written;
    }
    if (static_cast<std::size_t>(c.end - p) < WordBytes)
    {
      const char* run = PlainRunEnd(p, c.end);
      std::memcpy(out, p, static_cast<std::size_t>(run - p));
      out += run - p;
      p = run;
      if (p == c.end)
        return false;
    }
    else
    {
      // The whole word is copied, and what follows the first quote or backslash overwritten.
      std::memcpy(out, p, WordBytes);
      const std::uint64_t bits = QuoteOrBackslashBits(LoadWord(p));
      const std::size_t plain = bits == 0 ? WordBytes : FirstMarkedByte(bits);
      out += plain;
      p += plain;
      if (bits == 0)
        continue;
    }
    if (*p++ == '"')
      break;
    if (p == c.end)
      return false;
    const char letter = *p++;
    if (letter == 'u')
    {
      if (!DecodeUnicodeEscape(p, c.end, out))
        return false;
    }
    else if (const char escaped = EscapedChar(letter); escaped != 0)
      *out++ = escaped;
    else
      return false;
  }
  decodedEnd = static_cast<std::size_t>(out - buffer.data());
  c.p = p;
  return true;
}

// Returns whether the string whose opening quote is at the cursor reads; sets [first, last) to its
// decoded text, which lies in the document itself when it has no escapes (no copy is made) and
// in the cursor's buffer otherwise, valid until the next string is read.
bool ReadString(Cursor& c, const char*& first, const char*& last)
{
  const char* const text = c.p + 1;
  const char* const run = PlainRunEnd(text, c.end);
  if (run == c.end)
    return false;
  if (*run == '"')
  {
    first = text;
    last = run;
    c.p = run + 1;
    return true;
  }
  const std::size_t done = static_cast<std::size_t>(run - text);
  if (c.decoded.size() < done)
    c.decoded.resize(done);
  std::memcpy(c.decoded.data(), text, done);
  std::size_t decodedEnd;
  if (!DecodeEscapedString(c, run, done, decodedEnd))
    return false;
  first = c.decoded.data();
  last = first + decodedEnd;
  return true;
}

// Returns whether the number at the cursor reads; sets `into` to it as the reader types it: an
// integer that fits 64 bits is a signed integer, or unsigned above the signed range ("-0" is the
// integer 0), anything else a double.
bool ReadNumber(Cursor& c, Json::Value& into)
{
  const char* const first = c.p;
  const char* p = first;
  const bool negative = *p == '-';
  if (negative)
    ++p;
  const char* const digits = p;
  if (p == c.end || !IsDigit(*p))
    return false;
  // Leading zeros are not JSON: the text after "0" fails as a separator and the reader decides.
  p = *p == '0' ? p + 1 : SkipDigits(p, c.end);
  const char* const integralEnd = p;
  if (p < c.end && *p == '.')
  {
    const char* fraction = p + 1;
    p = SkipDigits(fraction, c.end);
    if (p == fraction)
      return false;
  }
  if (p < c.end && (*p == 'e' || *p == 'E'))
  {
    const char* exponent = p + 1;
    if (exponent < c.end && (*exponent == '+' || *exponent == '-'))
      ++exponent;
    p = SkipDigits(exponent, c.end);
    if (p == exponent)
      return false;
  }
  c.p = p;

  if (p == integralEnd)
  {
    std::uint64_t magnitude = 0;
    bool fits = true;
    for (const char* d = digits; d < p && fits; ++d)
    {
      const auto digit = static_cast<std::uint64_t>(*d - '0');
      if (d - digits >= SafeDecimalDigits && magnitude > (UnsignedMax - digit) / DecimalBase)
        fits = false;
      else
        magnitude = magnitude * DecimalBase + digit;
    }
    if (fits && negative && magnitude <= NegativeMagnitudeMax)
    {
      // Two's complement negation, so that the smallest integer comes out without overflow.
      into = Json::Value(static_cast<Json::LargestInt>(0 - magnitude));
      return true;
    }
    if (fits && !negative)
    {
      if (magnitude <= static_cast<std::uint64_t>(Json::Value::maxLargestInt))
        into = Json::Value(static_cast<Json::LargestInt>(magnitude));
      else
        into = Json::Value(static_cast<Json::LargestUInt>(magnitude));
      return true;
    }
  }
  // Correctly rounded as the reader's stream extraction; out of range is left to the reader, which
  // fails on overflow and takes underflow as zero.
  double value;
  const std::from_chars_result result = std::from_chars(first, p, value);
  if (result.ec != std::errc() || result.ptr != p)
    return false;
  into = Json::Value(value);
  return true;
}

// Returns whether the literal `word` is at the cursor; moves past it.
bool ReadLiteral(Cursor& c, std::string_view word)
{
  if (static_cast<std::size_t>(c.end - c.p) < word.size() || std::memcmp(c.p, word.data(), word.size()) != 0)
    return false;
  c.p += word.size();
  return true;
}

bool ReadValue(Cursor& c, Json::Value& into, int depth);

// Returns whether the object whose brace is at the cursor reads into `into`. A repeated name keeps
// its last value.
bool ReadObject(Cursor& c, Json::Value& into, int depth)
{
  into = Json::Value(Json::objectValue);
  c.p = SkipSpace(c.p + 1, c.end);
  if (c.p < c.end && *c.p == '}')
  {
    ++c.p;
    return true;
  }
  while (true)
  {
    const char* name;
    const char* nameEnd;
    if (c.p == c.end || *c.p != '"' || !ReadString(c, name, nameEnd))
      return false;
    if (static_cast<std::size_t>(nameEnd - name) >= ReaderKeyLengthLimit)
      return false;
    c.p = SkipSpace(c.p, c.end);
    if (c.p == c.end || *c.p != ':')
      return false;
    ++c.p;
    if (!ReadValue(c, *into.demand(name, nameEnd), depth + 1))
      return false;
    c.p = SkipSpace(c.p, c.end);
    if (c.p == c.end)
      return false;
    const char separator = *c.p++;
    if (separator == '}')
      return true;
    if (separator != ',')
      return false;
    c.p = SkipSpace(c.p, c.end);
  }
}

// Returns whether the array whose bracket is at the cursor reads into `into`.
bool ReadArray(Cursor& c, Json::Value& into, int depth)
{
  into = Json::Value(Json::arrayValue);
  c.p = SkipSpace(c.p + 1, c.end);
  if (c.p < c.end && *c.p == ']')
  {
    ++c.p;
    return true;
  }
  while (true)
  {
    if (!ReadValue(c, into.append(Json::Value()), depth + 1))
      return false;
    c.p = SkipSpace(c.p, c.end);
    if (c.p == c.end)
      return false;
    const char separator = *c.p++;
    if (separator == ']')
      return true;
    if (separator != ',')
      return false;
  }
}

// Returns whether a value of plain JSON at nesting `depth` reads into `into` from the cursor.
// False for malformed text and for everything the reader takes in a way of its own (comments,
// trailing commas, leading zeros, numbers out of range, text nested too deep): the reader decides.
bool ReadValue(Cursor& c, Json::Value& into, int depth)
{
  if (depth > ReaderDepthLimit)
    return false;
  c.p = SkipSpace(c.p, c.end);
  if (c.p == c.end)
    return false;
  switch (*c.p)
  {
  case '{':
    return ReadObject(c, into, depth);
  case '[':
    return ReadArray(c, into, depth);
  case '"':
  {
    const char* first;
    const char* last;
    if (!ReadString(c, first, last))
      return false;
    into = Json::Value(first, last);
    return true;
  }
  case 't':
    if (!ReadLiteral(c, "true"))
      return false;
    into = Json::Value(true);
    return true;
  case 'f':
    if (!ReadLiteral(c, "false"))
      return false;
    into = Json::Value(false);
    return true;
  case 'n':
    if (!ReadLiteral(c, "null"))
      return false;
    into = Json::Value();
    return true;
  default:
    return ReadNumber(c, into);
  }
}

// Returns the end of the string whose opening quote is at `p`, or null when it is not closed. A
// quote closes it unless an odd run of backslashes precedes it; quotes are rare in the long
// strings, so looking for them alone beats stopping at every escape.
const char* StringEnd(const char* p, const char* end)
{
  const char* const text = p + 1;
  for (p = text; p < end; ++p)
  {
    p = static_cast<const char*>(std::memchr(p, '"', static_cast<std::size_t>(end - p)));
    if (p == nullptr)
      return nullptr;
    const char* escape = p;
    while (escape > text && escape[-1] == '\\')
      --escape;
    if ((p - escape) % 2 == 0)
      return p + 1;
  }
  return nullptr;
}

// Returns the word with the top bit set of each byte that is a quote or a bracket, exact up to the
// lowest such byte, and of some other bytes ('Y', 'y', '_' and DEL match the brackets' bits). With
// bits 0x20 and 0x06 cleared, '[', ']', '{' and '}' are all BracketBits.
std::uint64_t QuoteOrBracketBits(std::uint64_t word)
{
  const std::uint64_t quotes = word ^ (LowBits * '"');
  const std::uint64_t brackets = (word & (LowBits * BracketMask)) ^ (LowBits * BracketBits);
  return (((quotes - LowBits) & ~quotes) | ((brackets - LowBits) & ~brackets)) & HighBits;
}

// Returns the first quote or bracket from `p` on, or `end`.
const char* ScanStop(const char* p, const char* end)
{
  while (true)
  {
    for (; static_cast<std::size_t>(end - p) >= WordBytes; p += WordBytes)
      if (const std::uint64_t bits = QuoteOrBracketBits(LoadWord(p)); bits != 0)
      {
        p += FirstMarkedByte(bits);
        break;
      }
    if (p == end)
      return p;
    const char c = *p;
    if (c == '"' || c == '{' || c == '}' || c == '[' || c == ']')
      return p;
    ++p;
  }
}

// Returns the end of the value that starts at `p` as a quick scan sees it, or null when it finds
// no end. The scan only lays out pieces: each is then read strictly, so text the scan misjudges
// fails there.
const char* ValueEnd(const char* p, const char* end)
{
  if (*p == '"')
    return StringEnd(p, end);
  if (*p != '{' && *p != '[')
  {
    while (p < end && !IsJsonSpace(*p) && *p != ',' && *p != ']' && *p != '}')
      ++p;
    return p;
  }
  int depth = 0;
  while (true)
  {
    p = ScanStop(p, end);
    if (p == end)
      return nullptr;
    if (*p == '"')
    {
      p = StringEnd(p, end);
      if (p == nullptr)
        return nullptr;
      continue;
    }
    depth += *p == '{' || *p == '[' ? 1 : -1;
    ++p;
    if (depth == 0)
      return p;
  }
}

// Returns whether the value at the cursor, at nesting `depth`, reads as a skeleton: containers
// within `levels` of it are read here into `into`, and the values below them are laid out as
// pieces. False for malformed text and for a repeated name, which pieces could not keep last.
bool ReadSkeleton(Cursor& c, Json::Value& into, int depth, int levels, std::vector<Piece>& pieces)
{
  if (depth > ReaderDepthLimit)
    return false;
  c.p = SkipSpace(c.p, c.end);
  if (c.p == c.end)
    return false;
  const char open = *c.p;
  if (levels == 0 || (open != '{' && open != '['))
  {
    const char* valueEnd = ValueEnd(c.p, c.end);
    if (valueEnd == nullptr || valueEnd == c.p)
      return false;
    pieces.push_back({c.p, valueEnd, &into, depth});
    c.p = valueEnd;
    return true;
  }
  const bool isObject = open == '{';
  const char close = isObject ? '}' : ']';
  into = Json::Value(isObject ? Json::objectValue : Json::arrayValue);
  c.p = SkipSpace(c.p + 1, c.end);
  if (c.p < c.end && *c.p == close)
  {
    ++c.p;
    return true;
  }
  while (true)
  {
    Json::Value* slot;
    if (isObject)
    {
      const char* name;
      const char* nameEnd;
      if (c.p == c.end || *c.p != '"' || !ReadString(c, name, nameEnd))
        return false;
      c.p = SkipSpace(c.p, c.end);
      if (c.p == c.end || *c.p != ':' || static_cast<std::size_t>(nameEnd - name) >= ReaderKeyLengthLimit)
        return false;
      ++c.p;
      const Json::ArrayIndex members = into.size();
      slot = into.demand(name, nameEnd);
      if (into.size() == members)
        return false;
    }
    else
      slot = &into.append(Json::Value());
    if (!ReadSkeleton(c, *slot, depth + 1, levels - 1, pieces))
      return false;
    c.p = SkipSpace(c.p, c.end);
    if (c.p == c.end)
      return false;
    const char separator = *c.p++;
    if (separator == close)
      return true;
    if (separator != ',')
      return false;
    c.p = SkipSpace(c.p, c.end);
  }
}

// Returns whether the document reads as a skeleton whose pieces are read concurrently on the
// pool; sets `root` to it, the same value as the one-pass read.
bool ParseSplit(const char* begin, const char* end, ThreadPool& pool, Json::Value& root)
{
  Cursor skeleton{begin, end, std::string()};
  std::vector<Piece> pieces;
  if (!ReadSkeleton(skeleton, root, 1, SplitLevels, pieces) || SkipSpace(skeleton.p, end) != end)
    return false;

  // Tasks take contiguous runs of pieces of about equal text length.
  const std::size_t tasks = std::min(pieces.size(), ParseTasksPerWorker * pool.Size());
  std::vector<std::size_t> firsts{0};
  const std::size_t total = static_cast<std::size_t>(end - begin);
  for (std::size_t i = 1; i < pieces.size() && firsts.size() < tasks; ++i)
    if (static_cast<std::size_t>(pieces[i].begin - begin) >= total * firsts.size() / tasks)
      firsts.push_back(i);
  firsts.push_back(pieces.size());

  std::atomic<bool> parsed{true};
  pool.ParallelFor(firsts.size() - 1, 1, [&](std::size_t task, std::size_t) {
    Cursor c{nullptr, nullptr, std::string()};
    for (std::size_t i = firsts[task]; i < firsts[task + 1] && parsed; ++i)
    {
      c.p = pieces[i].begin;
      c.end = pieces[i].end;
      if (!ReadValue(c, *pieces[i].slot, pieces[i].depth) || c.p != c.end)
        parsed = false;
    }
  });
  return parsed;
}

// Returns the document parsed by jsoncpp's reader, or a null value when it is malformed or nested
// deeper than the reader goes (where it throws).
Json::Value ParseWithReader(const char* begin, const char* end)
{
  const Json::CharReaderBuilder builder;
  const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  Json::Value root;
  std::string errors;
  try
  {
    if (!reader->parse(begin, end, &root, &errors))
      return Json::Value();
  }
  catch (const Json::Exception&)
  {
    return Json::Value();
  }
  return root;
}
} // namespace

Json::Value JsonText::Parse(const char* begin, const char* end, ThreadPool& pool)
{
  // Text the split does not take (a repeated name at its levels, or anything malformed) is read in
  // one pass, and what that does not take goes to the reader, which decides.
  Json::Value root;
  if (static_cast<std::size_t>(end - begin) >= SplitParseMinSize && pool.Size() > 1 &&
      ParseSplit(begin, end, pool, root))
    return root;
  Cursor c{begin, end, std::string()};
  if (ReadValue(c, root, 1) && SkipSpace(c.p, end) == end)
    return root;
  return ParseWithReader(begin, end);
}
