#include <cadtools/JsonWriter.h>

#include <gtest/gtest.h>
#include <json/json.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <sstream>
#include <string>

namespace
{
// Returns the text jsoncpp's own stream writer gives with the layout the library's files use.
std::string ReferenceText(const Json::Value& json)
{
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "  ";
  builder["emitUTF8"] = true;
  return Json::writeString(builder, json);
}

// Returns a string of `length` bytes drawn from the whole byte range, NUL and controls included.
std::string AnyBytes(std::mt19937_64& random, std::size_t length)
{
  std::string text(length, '\0');
  for (char& c : text)
    c = static_cast<char>(random() & 0xFF);
  return text;
}

// Returns a double of some awkward kind: integral, tiny, huge, subnormal, negative zero or random bits.
double AwkwardDouble(std::mt19937_64& random)
{
  static const double picks[] = {0.0,    -0.0,   0.1,     1.0 / 3.0, 3.0,  -2.5,  1e21,   1e-7,
                                 1e308,  5e-324, 2.2e-308, 123456789012345678.0,
                                 9007199254740993.0, 1e16, 1e17,   0.000123};
  const std::uint64_t pick = random() % 20;
  if (pick < std::size(picks))
    return picks[pick];
  std::uint64_t bits = random();
  double value;
  std::memcpy(&value, &bits, sizeof(value));
  return std::isfinite(value) ? value : 7.25;
}

// Returns a random tree of every kind of value, `depth` levels deep at most.
Json::Value RandomValue(std::mt19937_64& random, int depth)
{
  switch (random() % (depth > 0 ? 11 : 7))
  {
  case 0:
    return Json::Value();
  case 1:
    return Json::Value(random() % 2 == 0);
  case 2:
    return Json::Value(static_cast<Json::Int64>(random()));
  case 3:
    return Json::Value(static_cast<Json::UInt64>(random()));
  case 4:
    return Json::Value(AwkwardDouble(random));
  case 5:
    return Json::Value(AnyBytes(random, random() % 12));
  case 6:
    return Json::Value(random() % 2 == 0 ? Json::arrayValue : Json::objectValue);
  case 7:
  case 8:
  {
    Json::Value array(Json::arrayValue);
    for (std::uint64_t n = random() % 5; n > 0; --n)
      array.append(RandomValue(random, depth - 1));
    return array;
  }
  default:
  {
    Json::Value object(Json::objectValue);
    for (std::uint64_t n = random() % 5; n > 0; --n)
      object[AnyBytes(random, random() % 4)] = RandomValue(random, depth - 1);
    return object;
  }
  }
}
// Returns what JsonWriter writes for `json`.
std::string WrittenText(const Json::Value& json)
{
  std::ostringstream out;
  JsonWriter::Write(json, out);
  return out.str();
}
} // namespace

TEST(JsonWriter, WritesWhatTheJsoncppStreamWriterWrites)
{
  // Scalars at the root and the edges of every number type.
  for (const Json::Value& scalar :
       {Json::Value(), Json::Value(true), Json::Value(false), Json::Value(std::numeric_limits<Json::Int64>::min()),
        Json::Value(std::numeric_limits<Json::Int64>::max()), Json::Value(std::numeric_limits<Json::UInt64>::max()),
        Json::Value(0), Json::Value(-1), Json::Value(0.0), Json::Value(-0.0), Json::Value(1e300 * 10),
        Json::Value(-1e300 * 1e10), Json::Value(std::nan("")), Json::Value(3.0), Json::Value(1e21),
        Json::Value(""), Json::Value(Json::stringValue), Json::Value(std::string("a\0b", 3)),
        Json::Value("\xE6\xA8\xA1\xE5\x9E\x8B \xF0\x9F\x94\xA9 \x7F \x80 \xFF"),
        Json::Value(Json::arrayValue), Json::Value(Json::objectValue)})
    EXPECT_EQ(WrittenText(scalar), ReferenceText(scalar)) << ReferenceText(scalar);

  // Every byte value, escaped or kept, in a string and in a key.
  Json::Value bytes(Json::objectValue);
  std::string all;
  for (int c = 1; c < 256; ++c)
    all += static_cast<char>(c);
  bytes[all] = all;
  EXPECT_EQ(WrittenText(bytes), ReferenceText(bytes));

  // Long texts are scanned a word at a time: each escaped byte at each place within a word.
  for (const char special : {'\n', '"', '\\', '\x1f', '\0'})
    for (std::size_t at = 0; at < 20; ++at)
    {
      std::string text(40, 'x');
      text[at] = special;
      text[at + 9] = '\x7f';
      const Json::Value line(text);
      ASSERT_EQ(WrittenText(line), ReferenceText(line)) << "byte " << int(special) << " at " << at;
    }

  // A document far larger than what the writer gathers before handing it on.
  Json::Value large(Json::arrayValue);
  for (int i = 0; i < 3000; ++i)
  {
    Json::Value part(Json::objectValue);
    part["data"] = std::string(90 + i % 7, 'a' + i % 26) + "\n" + std::to_string(i);
    part["trsf"].append(i * 0.1);
    large.append(part);
  }
  const std::string largeText = WrittenText(large);
  ASSERT_GT(largeText.size(), 256u * 1024u);
  EXPECT_EQ(largeText, ReferenceText(large));

  // Nesting of every kind: arrays in arrays, objects in arrays, empty containers among full ones.
  std::mt19937_64 random(20261121);
  for (int i = 0; i < 300; ++i)
  {
    const Json::Value tree = RandomValue(random, 6);
    ASSERT_EQ(WrittenText(tree), ReferenceText(tree)) << "tree " << i;
  }
}

TEST(JsonWriter, KeepsCommentsWhereTheJsoncppStreamWriterPutsThem)
{
  const std::string text = "// before the root\n"
                           "{\n"
                           "  // before a member\n"
                           "  // on two lines\n"
                           "  \"a\" : 1, // after on the same line\n"
                           "  \"b\" : [\n"
                           "    /* before an element */ 2,\n"
                           "    {\"c\" : null} // after an object\n"
                           "  ],\n"
                           "  \"d\" : {}\n"
                           "  // after the last member\n"
                           "}\n"
                           "// after the root\n";
  Json::CharReaderBuilder builder;
  Json::Value root;
  std::string errors;
  std::istringstream in(text);
  ASSERT_TRUE(Json::parseFromStream(builder, in, &root, &errors)) << errors;
  ASSERT_TRUE(root["a"].hasComment(Json::commentBefore));
  EXPECT_EQ(WrittenText(root), ReferenceText(root));
}
