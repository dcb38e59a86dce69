#include <cadtools/JsonText.h>
#include <cadtools/ThreadPool.h>

#include <gtest/gtest.h>
#include <json/json.h>

#include <cinttypes>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <initializer_list>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace
{
// Size from which a document is read in pieces on the pool.
constexpr std::size_t LargeDocumentSize = 300 * 1024;
// Depth of the deepest value jsoncpp's default reader takes, the root at depth 1.
constexpr int ReaderDepthLimit = 1000;
// Depth of the object holding a node's value in TreeDocument (root, list, child, list, node).
constexpr int NodeValueDepth = 5;

// Returns whether `a` and `b` are the same value, of the same types, doubles to the bit.
bool Identical(const Json::Value& a, const Json::Value& b)
{
  if (a.type() != b.type())
    return false;
  switch (a.type())
  {
  case Json::realValue:
  {
    const double x = a.asDouble();
    const double y = b.asDouble();
    return std::memcmp(&x, &y, sizeof(double)) == 0;
  }
  case Json::arrayValue:
    for (Json::ArrayIndex i = 0; i < a.size(); ++i)
      if (i >= b.size() || !Identical(a[i], b[i]))
        return false;
    return a.size() == b.size();
  case Json::objectValue:
  {
    const Json::Value::Members names = a.getMemberNames();
    if (names != b.getMemberNames())
      return false;
    for (const std::string& name : names)
      if (!Identical(*a.find(name.data(), name.data() + name.size()), *b.find(name.data(), name.data() + name.size())))
        return false;
    return true;
  }
  default:
    return a == b;
  }
}

// Returns what jsoncpp's default reader makes of `text`, or a null value when it fails.
Json::Value ReadByReader(const std::string& text)
{
  const Json::CharReaderBuilder builder;
  const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  Json::Value root;
  std::string errors;
  return reader->parse(text.data(), text.data() + text.size(), &root, &errors) ? root : Json::Value();
}

// Pools of one, two and three threads: no split, and splits shared two and three ways.
struct Pools
{
  ThreadPool one{1};
  ThreadPool two{2};
  ThreadPool three{3};
};

// Returns the number of failures of Parse to read `text` as the reader does on `pools`: the same
// value, or nothing where the reader throws.
int CountMismatches(std::initializer_list<ThreadPool*> pools, const std::string& text, const std::string& what)
{
  Json::Value expected;
  bool throws = false;
  try
  {
    expected = ReadByReader(text);
  }
  catch (const Json::RuntimeError&)
  {
    throws = true;
  }
  int mismatches = 0;
  for (ThreadPool* pool : pools)
  {
    const char* begin = text.data();
    if (throws)
    {
      EXPECT_TRUE(JsonText::Parse(begin, begin + text.size(), *pool).isNull()) << what;
      continue;
    }
    const Json::Value actual = JsonText::Parse(begin, begin + text.size(), *pool);
    if (!Identical(actual, expected))
    {
      ++mismatches;
      ADD_FAILURE() << what << " on " << pool->Size() << " threads: " << text.substr(0, 300);
    }
  }
  return mismatches;
}

// Returns the number of failures of Parse to read `text` as the reader does, on every pool.
int CountMismatches(Pools& pools, const std::string& text, const std::string& what)
{
  return CountMismatches({&pools.one, &pools.two, &pools.three}, text, what);
}

// Numbers around the integer limits, the double range and rounding.
const std::vector<std::string> NumberCases = {"0", "-0", "0.0", "-0.0", "1", "-1", "2147483647", "2147483648",
  "-2147483649", "4294967296", "9223372036854775806", "9223372036854775807", "9223372036854775808",
  "-9223372036854775807", "-9223372036854775808", "-9223372036854775809", "18446744073709551614",
  "18446744073709551615", "18446744073709551616", "-18446744073709551616", "99999999999999999999",
  "100000000000000000000000000000", "1e308", "1.7976931348623157e308", "1.7976931348623158e308", "5e-324",
  "4.9406564584124654e-324", "2.2250738585072014e-308", "2.2250738585072011e-308", "0.1", "0.30000000000000004",
  "1E+2", "1e-2", "-1.5E-3", "9007199254740993", "9007199254740993.0", "9007199254740993e0", "1e23",
  "3.141592653589793238462643383279502884197169399375105820974944592307816406286",
  "0.1000000000000000055511151231257827021181583404541015625", "123456789012345678901234567890e-10",
  "1e-300", "1e+0", "0e0", "-0e-0", "1.0e000000000000000000000000001"};

// Pieces of string text: plain, UTF-8, every escape, and unicode escapes, paired or not.
const std::vector<std::string> StringCases = {"plain", "", " ", "caf\xC3\xA9", "\xE2\x82\xAC", "\xF0\x9D\x84\x9E",
  "\\\"", "\\\\", "\\/", "\\b", "\\f", "\\n", "\\r", "\\t", "\\u0041", "\\u00e9", "\\u00E9", "\\u20AC", "\\u0000",
  "\\u001f", "\\u007F", "\\u0080", "\\u07FF", "\\u0800", "\\uFFFF", "\\uD834\\uDD1E", "\\udbff\\udfff",
  "\\uD800\\uDC00", "\\uDC00", "\\uDFFF", "\\uD800\\u0041", "\\uDBFF\\uD800", "\\\\u0041", "x\\\\\\\"y",
  "end\\\\", "]} ,[{:", "0123456789abcdef"};

// Returns a random string literal made of the string cases.
std::string RandomString(std::mt19937& random)
{
  std::string text = "\"";
  for (int i = std::uniform_int_distribution<int>(0, 6)(random); i > 0; --i)
    text += StringCases[random() % StringCases.size()];
  return text + "\"";
}

// Returns a random number: a case, a random double to 17 significant digits or fewer, a random
// integer, or a run of random digits with an exponent that keeps it finite.
std::string RandomNumber(std::mt19937_64& bits, std::mt19937& random)
{
  char buffer[64];
  switch (random() % 4)
  {
  case 0:
    return NumberCases[random() % NumberCases.size()];
  case 1:
  {
    const std::uint64_t pattern = bits();
    double value;
    std::memcpy(&value, &pattern, sizeof(double));
    if (!std::isfinite(value))
      return "1.5";
    std::snprintf(buffer, sizeof(buffer), "%.*g", static_cast<int>(1 + random() % 17), value);
    return buffer;
  }
  case 2:
    std::snprintf(buffer, sizeof(buffer), "%" PRId64, static_cast<std::int64_t>(bits()) >> (random() % 64));
    return buffer;
  default:
  {
    std::string digits = random() % 2 ? "-" : "";
    digits += static_cast<char>('1' + random() % 9);
    for (int i = static_cast<int>(random() % 30); i > 0; --i)
      digits += static_cast<char>('0' + random() % 10);
    if (random() % 2)
      digits += "." + std::to_string(random() % 1000);
    if (random() % 2)
      digits += "e" + std::to_string(static_cast<int>(random() % 560) - 300);
    return digits;
  }
  }
}

// Returns white space, mostly none.
std::string RandomSpace(std::mt19937& random)
{
  static const char* const spaces[] = {"", "", "", " ", "\n  ", "\t", "\r\n", " \n\t "};
  return spaces[random() % (sizeof(spaces) / sizeof(spaces[0]))];
}

// Returns a random value nested at most `depth` more levels, objects with repeated names now and
// then.
std::string RandomValue(std::mt19937_64& bits, std::mt19937& random, int depth)
{
  const unsigned kind = random() % (depth > 0 ? 8 : 6);
  switch (kind)
  {
  case 0:
    return "true";
  case 1:
    return random() % 2 ? "false" : "null";
  case 2:
  case 3:
    return RandomString(random);
  case 4:
  case 5:
    return RandomNumber(bits, random);
  case 6:
  {
    std::string text = "[" + RandomSpace(random);
    for (int i = std::uniform_int_distribution<int>(0, 5)(random); i > 0; --i)
      text += RandomValue(bits, random, depth - 1) + RandomSpace(random) + (i > 1 ? "," : "") + RandomSpace(random);
    return text + "]";
  }
  default:
  {
    std::string text = "{" + RandomSpace(random);
    for (int i = std::uniform_int_distribution<int>(0, 5)(random); i > 0; --i)
    {
      const std::string name = random() % 4 ? RandomString(random) : "\"same\"";
      text += name + RandomSpace(random) + ":" + RandomSpace(random) + RandomValue(bits, random, depth - 1) +
              RandomSpace(random) + (i > 1 ? "," : "") + RandomSpace(random);
    }
    return text + "}";
  }
  }
}

// Returns a display-tree-like document of at least `size` bytes whose nodes hold `leaf`: a root
// with children holding children, and a tail of root members.
std::string TreeDocument(std::size_t size, const std::string& leaf)
{
  std::string text = "{\"uuid\": \"root\", \"childs\": [";
  for (int child = 0; text.size() < size; ++child)
  {
    text += std::string(child == 0 ? "" : ",") + "\n {\"childs\": [";
    for (int node = 0; node < 40; ++node)
      text += std::string(node == 0 ? "" : ", ") +
              "{\"trsf\": [1.0, 0.5, -2e-3], \"data\": \"a\\nb\\\\\\\"[{\", \"v\": " +
              leaf + ", \"childs\": null}";
    text += "], \"color\": [0.25, 0.5, 1], \"ModelType\": " + std::to_string(child) + "}";
  }
  return text + "\n], \"MinGap\": 0.0, \"tail\": " + leaf + "}\n";
}
} // namespace

TEST(JsonText, GeneratedDocumentsReadAsTheReaderReadsThem)
{
  Pools pools;
  std::mt19937 random(20240611);
  std::mt19937_64 bits(7);
  int mismatches = 0;
  for (int doc = 0; doc < 3000 && mismatches < 10; ++doc)
    mismatches += CountMismatches(pools, RandomSpace(random) + RandomValue(bits, random, 6) + RandomSpace(random),
                                  "document " + std::to_string(doc));
  for (const std::string& number : NumberCases)
    mismatches += CountMismatches(pools, "[" + number + "]", "number " + number);

  // Large documents are read in pieces; random values fill the nodes and the root's tail.
  std::string nodes = "[";
  for (int i = 0; i < 10; ++i)
    nodes += (i == 0 ? "" : ",") + RandomValue(bits, random, 3);
  nodes += "]";
  const std::string large = TreeDocument(LargeDocumentSize, nodes);
  ASSERT_GT(large.size(), LargeDocumentSize);
  mismatches += CountMismatches(pools, large, "large document");
  const Json::Value tree = JsonText::Parse(large.data(), large.data() + large.size(), pools.two);
  ASSERT_GT(tree["childs"].size(), 2u);
  EXPECT_EQ(tree["childs"][1]["childs"][3]["data"], "a\nb\\\"[{");

  // A repeated name keeps its last value at every level the split lays out.
  std::string repeatedRoot = large;
  repeatedRoot.insert(1, "\"tail\": 1, \"childs\": [], ");
  mismatches += CountMismatches(pools, repeatedRoot, "names repeated in the root");
  std::string repeatedInChild = large;
  repeatedInChild.insert(repeatedInChild.find("{\"childs\"", 10) + 1, "\"ModelType\": {\"a\": 1}, \"childs\": 0, ");
  mismatches += CountMismatches(pools, repeatedInChild, "names repeated in a child");
  EXPECT_EQ(mismatches, 0);
}

TEST(JsonText, TextOutsidePlainJsonReadsAsTheReaderReadsIt)
{
  const std::vector<std::string> cases = {"", " ", "// only a comment", "/* c */ 1", "1 // c", "[1 /* c */, 2]",
    "{\"a\" /* c */ : 1}", "{\"a\": 1 // c\n}", "[1, /* unterminated", "/", "[1,]", "[1,,2]", "[,]", "{\"a\":1,}",
    "{\"\":1,}", "{,}", "{} x", "1 2", "[]]", "{}}", "1x", "\"s\"\"t\"", "NaN", "Infinity", "-Infinity", "[nan]",
    "\"tab\tin\"", "\"nl\nin\"", "\"\x01\x1F\"", "\"\xFF\xFE\xC3\"", "\"\xED\xA0\x80\"", "-", "-x", "[-]", "01", "-01",
    "00", "1.", "1.e5", ".5", "1e", "1e+", "1E-", "+1", "0x10", "1.5.5", "1e5e5", "--1", "1e400", "-1e400",
    "1e-400", "2.4703282292062327e-324", "2.4703282292062328e-324", "\xEF\xBB\xBF{\"bom\": 1}", "\xEF\xBB\xBF",
    "'single'", "{'a': 1}", "{a: 1}", "{\"a\" 1}", "{\"a\": 1 \"b\": 2}", "[1 2]", "{1: 2}", "tru", "nul",
    "fals", "True", "nulll", "[true false]", "\"\\x\"", "\"\\u12\"", "\"\\u12G4\"", "\"\\uD800\"",
    "\"\\uD800x\"", "\"\\uD800\\u\"", "\"\\uD800\\uZZZZ\"", "\"\\uD800\\n\"", "\"\\uD800abcdef\"", "\"\\",
    "\"\\\"", "\"abc", std::string("[1, 2]\0 3", 9), std::string("\"a\0b\"", 5), std::string("\0", 1), "[1]\n\n\n",
    std::string(10000, '1'), "[" + std::string(400, '9') + ".5e-400]"};
  Pools pools;
  const std::string large = TreeDocument(LargeDocumentSize, "0");
  const std::size_t slot = large.rfind("\"tail\": 0") + std::strlen("\"tail\": ");
  const std::size_t nodeSlot = large.find("\"v\": 0", large.size() / 2) + std::strlen("\"v\": ");
  int mismatches = 0;
  for (const std::string& text : cases)
  {
    mismatches += CountMismatches(pools, text, "root " + text);
    mismatches += CountMismatches(pools, "[" + text + "]", "element " + text);
    mismatches += CountMismatches(pools, "{\"k\": " + text + "}", "member " + text);
    // Large documents are split on pools of more than one thread.
    const std::string inRoot = large.substr(0, slot) + text + large.substr(slot + 1);
    const std::string inNode = large.substr(0, nodeSlot) + text + large.substr(nodeSlot + 1);
    mismatches += CountMismatches({&pools.two}, inRoot, "large root " + text);
    mismatches += CountMismatches({&pools.two}, inNode, "large node " + text);
  }
  EXPECT_EQ(mismatches, 0);
  EXPECT_TRUE(JsonText::Parse(cases[1].data(), cases[1].data() + cases[1].size(), pools.two).isNull());
}

TEST(JsonText, TruncatedTextReadsAsTheReaderReadsIt)
{
  // Every cut of a small document, and cuts all through a large one: most read as nothing.
  Pools pools;
  std::mt19937 random(5);
  std::mt19937_64 bits(11);
  const std::string small =
    "{\"a\": [1, -2.5e3, \"x\\u00e9\\uD834\\uDD1E\\n\", true, null, {}], \"b\": {\"c\": false}}";
  int mismatches = 0;
  for (std::size_t cut = 0; cut < small.size(); ++cut)
    mismatches += CountMismatches(pools, small.substr(0, cut), "cut at " + std::to_string(cut));
  for (int doc = 0; doc < 100; ++doc)
  {
    const std::string text = RandomValue(bits, random, 4);
    mismatches += CountMismatches(pools, text.substr(0, random() % (text.size() + 1)), "random cut");
  }
  const std::string large = TreeDocument(LargeDocumentSize, "[\"\\u20AC\", 12345678901234567890, 0.125]");
  for (std::size_t cut = 1; cut < large.size(); cut += 1 + random() % (large.size() / 60))
    mismatches += CountMismatches({&pools.two}, large.substr(0, cut), "large cut at " + std::to_string(cut));
  EXPECT_EQ(mismatches, 0);
  EXPECT_TRUE(JsonText::Parse(large.data(), large.data() + large.size() / 2, pools.two).isNull());
}

TEST(JsonText, NestingToTheReaderLimitReadsAndBeyondItReadsAsNothing)
{
  Pools pools;
  int mismatches = 0;
  for (int depth = ReaderDepthLimit - 2; depth <= ReaderDepthLimit + 2; ++depth)
  {
    const std::string arrays(depth, '[');
    const std::string closes(depth, ']');
    std::string objects;
    for (int i = 0; i < depth; ++i)
      objects += "{\"k\":";
    const std::string what = " at depth " + std::to_string(depth);
    mismatches += CountMismatches(pools, arrays + closes, "empty arrays" + what);
    mismatches += CountMismatches(pools, arrays + "1" + closes, "number in arrays" + what);
    mismatches += CountMismatches(pools, objects + "{}" + std::string(depth, '}'), "empty objects" + what);
    mismatches += CountMismatches(pools, objects + "\"s\"" + std::string(depth, '}'), "string in objects" + what);
    // In a large document the nest sits in the nodes, below the levels the split lays out: its
    // depth counts from the root all the same.
    const std::string tree = TreeDocument(LargeDocumentSize, std::string(depth - NodeValueDepth, '[') +
                                                               std::string(depth - NodeValueDepth, ']'));
    mismatches += CountMismatches(pools, tree, "in a large document" + what);
  }
  EXPECT_EQ(mismatches, 0);

  const std::string limit = std::string(ReaderDepthLimit, '[') + std::string(ReaderDepthLimit, ']');
  EXPECT_EQ(JsonText::Parse(limit.data(), limit.data() + limit.size(), pools.two).size(), 1u);
}
