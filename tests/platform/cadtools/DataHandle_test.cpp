#include <cadtools/DataHandle.h>
#include <cadtools/gpHandle.h>

#include "support/CliRun.h"
#include "support/LogCapture.h"
#include "support/ViewTrees.h"

#include <gtest/gtest.h>
#include <json/json.h>

#include <array>
#include <cstring>
#include <filesystem>
#include <iomanip>
#include <limits>
#include <fstream>
#include <random>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace
{
// A fresh folder under the temporary directory, removed afterwards.
struct TempDir
{
  const fs::path path = ViewTrees::TempDir("datahandle");
  ~TempDir()
  {
    std::error_code ec;
    fs::permissions(path, fs::perms::owner_all, fs::perm_options::add, ec);
    fs::remove_all(path, ec);
  }
};

// Returns what jsoncpp's reader makes of `text`; null when it fails or throws.
Json::Value ReadByReader(const std::string& text)
{
  const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
  Json::Value root;
  try
  {
    return reader->parse(text.data(), text.data() + text.size(), &root, nullptr) ? root : Json::Value();
  }
  catch (const Json::Exception&) // nested deeper than the reader goes
  {
    return Json::Value();
  }
}

// Returns whether `a` and `b` are the same value of the same types (jsoncpp's equality), doubles
// down to the sign of zero.
bool Identical(const Json::Value& a, const Json::Value& b)
{
  return a == b && a.toStyledString() == b.toStyledString();
}

// Returns a finite double of random bits.
double RandomDouble(std::mt19937_64& random)
{
  double value;
  const std::uint64_t bits = random();
  std::memcpy(&value, &bits, sizeof(value));
  return std::isfinite(value) ? value : 1.5;
}

// Returns a random JSON text nested at most `depth` deep: numbers near the integer and double
// limits, strings with every escape and UTF-8, repeated names, random spacing.
std::string RandomText(std::mt19937_64& random, int depth)
{
  static const char* const numbers[] = {"0", "-0", "-0.0", "2147483648", "9223372036854775807",
    "9223372036854775808", "-9223372036854775808", "-9223372036854775809", "18446744073709551615",
    "18446744073709551616", "1e308", "1.7976931348623158e308", "5e-324", "2.2250738585072011e-308", "1e-400",
    "0.1", "1E+2", "-1.5e-3", "9007199254740993", "3.14159265358979323846264338327950288", "1e400"};
  static const char* const strings[] = {"a", "caf\xC3\xA9", "\xF0\x9D\x84\x9E", "\\\"", "\\\\", "\\/",
    "\\b\\f\\n\\r\\t", "\\u0000", "\\u00e9", "\\uD834\\uDD1E", "\\uDC00", "]} ,[{:"};
  static const char* const spaces[] = {"", "", " ", "\n  ", "\t"};
  const auto pick = [&random](const auto& list) { return std::string(list[random() % std::size(list)]); };
  const unsigned kind = random() % (depth > 0 ? 6 : 4);
  if (kind == 0)
    return pick(std::array{"true", "false", "null"});
  if (kind == 1)
    return "\"" + pick(strings) + pick(strings) + "\"";
  if (kind == 2)
    return pick(numbers);
  std::ostringstream text;
  if (kind == 3)
    text << std::setprecision(static_cast<int>(1 + random() % 17)) << RandomDouble(random);
  const bool object = kind == 5;
  for (int i = kind > 3 ? static_cast<int>(random() % 5) : 0; i > 0; --i)
    text << pick(spaces) << (object ? "\"" + pick(std::array{"k", "k", "x\\u00e9"}) + "\":" : "")
         << RandomText(random, depth - 1) << (i > 1 ? "," : "") << pick(spaces);
  return kind == 3 ? text.str() : (object ? "{" : "[") + text.str() + (object ? "}" : "]");
}
} // namespace

TEST(DataHandle, TransformsRoundTripThroughBothJsonForms)
{
  std::mt19937 engine(7);
  std::uniform_real_distribution<double> angle(-M_PI, M_PI);
  const std::array<double, 5> nearGimbal{M_PI_2, -M_PI_2, M_PI_2 - 1e-9, 1e-7 - M_PI_2, M_PI_2 - 1e-5};
  for (int i = 0; i < 205; ++i)
  {
    const double pitch = i < 200 ? angle(engine) / 2.0 : nearGimbal[i - 200];
    gp_Trsf x, y, z, trsf;
    x.SetRotation(gp::OX(), angle(engine));
    y.SetRotation(gp::OY(), pitch);
    z.SetRotation(gp::OZ(), angle(engine));
    trsf.SetTranslation(gp_Vec(angle(engine) * 500, angle(engine) * 500, angle(engine) * 500));
    trsf = trsf * z * y * x;
    const gp_Trsf back = DataHandle::JsonArrToTrsf(DataHandle::TrsfToJsonArr(trsf));
    EXPECT_TRUE(gpHandle::IsSameTrsf(DataHandle::JsonSixToTrsf(DataHandle::TrsfToJsonSix(trsf)), trsf, 1e-9) &&
                gpHandle::IsSameTrsf(back, trsf, 1e-9) && std::abs(back.ScaleFactor() - 1.0) < 1e-15) << pitch;
  }
  // Six numbers: millimetres, then the fixed-axis degrees of R = Rz·Ry·Rx; twelve: the matrix by rows.
  const Json::Value arr = DataHandle::TrsfToJsonArr(DataHandle::JsonSixToTrsf(ReadByReader("[5, 6, 7, 0, 0, 90]")));
  const double expected[12] = {0, -1, 0, 5, 1, 0, 0, 6, 0, 0, 1, 7};
  for (Json::ArrayIndex i = 0; i < 12; ++i)
    EXPECT_NEAR(arr[i].asDouble(), expected[i], 1e-12) << i;
  // Null, short, textual and NaN arrays read as the identity.
  for (const char* bad : {"null", "[1, 2, 3, 4, 5]", "[1, 2, 3, 4, 5, \"x\"]", "[1, 2, 3, 4, 5, 1e400]", "\"abc\""})
    EXPECT_TRUE(gpHandle::IsSameTrsf(DataHandle::JsonSixToTrsf(ReadByReader(bad)), gp_Trsf(), 0.0) &&
                gpHandle::IsSameTrsf(DataHandle::JsonArrToTrsf(ReadByReader(bad)), gp_Trsf(), 0.0)) << bad;
  // So do singular matrices, all zeros among them, whatever their translation; a mirror is kept.
  for (const char* bad : {"[0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0]", "[0, 0, 0, 5, 0, 0, 0, 6, 0, 0, 0, 7]",
                          "[1, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0]", "[1e-300, 0, 0, 0, 0, 1e-300, 0, 0, 0, 0, 1e-300, 0]"})
    EXPECT_TRUE(gpHandle::IsSameTrsf(DataHandle::JsonArrToTrsf(ReadByReader(bad)), gp_Trsf(), 0.0)) << bad;
  const gp_Trsf mirrored = DataHandle::JsonArrToTrsf(ReadByReader("[-1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0]"));
  EXPECT_NEAR(mirrored.VectorialPart().Determinant(), -1.0, 1e-12);
}

TEST(DataHandle, JsonFilesRoundTripAndFailedSavesKeepThePreviousFile)
{
  TempDir dir;
  const std::string file = (dir.path / "doc.json").string();
  EXPECT_TRUE(DataHandle::LoadJson(file).isNull());
  Json::Value doc = ReadByReader("{\"name\": \"焊缝 \\\"q\\\"\\n\\t\\\\ \\u0001\", \"hash\": 18446744073709551557, "
                                  "\"signed\": -9223372036854775808, \"empty\": {}, \"list\": [[], null, true]}");
  ASSERT_EQ(doc.size(), 5u);
  std::mt19937_64 random(3);
  for (int i = 0; i < 2000; ++i)
    doc["doubles"].append(RandomDouble(random));
  ASSERT_TRUE(DataHandle::SaveJson(doc, file));
  const std::string before = CliRun::ReadText(file);
  EXPECT_TRUE(Identical(DataHandle::LoadJson(file), doc)) << "doubles to the bit, integers of their kinds";
  EXPECT_TRUE(Identical(ReadByReader(before), doc)) << "jsoncpp reads the file alike";
  EXPECT_NE(before.find("焊缝"), std::string::npos) << "text is written as UTF-8, not escaped";
  EXPECT_EQ(std::distance(fs::directory_iterator(dir.path), fs::directory_iterator()), 1) << "no temporary left";
  EXPECT_TRUE(DataHandle::LoadJson(dir.path.string()).isNull()) << "a folder is not a document";
  EXPECT_FALSE(DataHandle::SaveJson(doc, (dir.path / "missing" / "doc.json").string()));
  // Non-finite numbers are never saved: the file keeps what it had.
  for (const double bad : {HUGE_VAL, -HUGE_VAL, std::numeric_limits<double>::quiet_NaN()})
  {
    Json::Value hostile = doc;
    hostile["deep"]["list"].append(0.25);
    hostile["deep"]["list"].append(bad);
    const LogCapture log;
    EXPECT_FALSE(DataHandle::SaveJson(hostile, file)) << bad;
    EXPECT_TRUE(log.Contains(4, "JSON文档含非有限数值，未保存：" + file, "DataHandle::SaveJson")) << bad;
    EXPECT_TRUE(CliRun::ReadText(file) == before && std::distance(fs::directory_iterator(dir.path), fs::directory_iterator()) == 1) << bad;
  }
  // A file another writer left with an out-of-range number reads as nothing, and says why.
  const std::string other = (dir.path / "other.json").string();
  std::ofstream(other, std::ios::binary) << "{\"joint\": 1e+9999}";
  {
    const LogCapture log;
    EXPECT_TRUE(DataHandle::LoadJson(other).isNull());
    const auto messages = log.Messages();
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_EQ(messages[0].function, "DataHandle::LoadJson");
    EXPECT_TRUE(messages[0].text.rfind("JSON文件无法读取：" + other, 0) == 0 && messages[0].text.find("1e+9999") != std::string::npos)
      << messages[0].text;
  }
  fs::permissions(dir.path, fs::perms::owner_write | fs::perms::group_write | fs::perms::others_write,
                  fs::perm_options::remove);
  // Root writes through permissions, so the save is tried by an unprivileged child process.
  const pid_t child = ::fork();
  ASSERT_GE(child, 0);
  if (child == 0)
  {
    if (::geteuid() == 0 && (::setgid(65534) != 0 || ::setuid(65534) != 0))
      ::_exit(3);
    ::_exit(DataHandle::SaveJson(Json::Value(2), file) ? 1 : 0);
  }
  int status = 0;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "a save into a read-only folder reports failure";
  EXPECT_EQ(CliRun::ReadText(file), before);
}

TEST(DataHandle, DocumentsReadAsJsoncppReadsThem)
{
  TempDir dir;
  const std::string file = (dir.path / "doc.json").string();
  int mismatches = 0;
  const auto check = [&](const std::string& text, const std::string& what) {
    std::ofstream(file, std::ios::binary | std::ios::trunc) << text;
    if (!Identical(DataHandle::LoadJson(file), ReadByReader(text)) && ++mismatches < 10)
      ADD_FAILURE() << what << ": " << text.substr(0, 200);
  };
  std::mt19937_64 random(20240611);
  for (int i = 0; i < 2000; ++i)
    check(RandomText(random, 6), "generated");
  // Beside strict JSON: comments, trailing commas, text after the root, malformed text.
  for (const char* text : {"", " ", "{\"a\": [1, 2", "/* c */ [1, // c\n 2]", "[1,]", "{\"a\":1,}", "[1,,2]",
                           "{} x", "1 2", "[]]", "\"\xFF\xFE\"", "\"tab\tin\"", "\xEF\xBB\xBF{\"bom\": 1}", "NaN",
                           "{a: 1}", "01", "1.", "+1", "[1 2]", "\"\\uD800\"", "\"\\u12\"", "\"abc", "tru",
                           "[1e400, -1e400]"})
    check(text, "lenient or malformed");
  // Nesting to jsoncpp's limit of 1000 reads; beyond it, and far beyond, reads as nothing.
  for (int depth : {999, 1000, 1001, 1024, 1025, 100000})
    for (const char* inner : {"", "1", "{\"k\": {}}"})
      check(std::string(depth, '[') + inner + std::string(depth, ']'), "depth " + std::to_string(depth));
  EXPECT_EQ(mismatches, 0);
  EXPECT_TRUE(ReadByReader(std::string(1001, '[') + std::string(1001, ']')).isNull());
}

TEST(DataHandle, Compress7ZUnpacksToTheSameFolder)
{
  TempDir dir;
  const fs::path package = dir.path / "robot";
  fs::create_directories(package / "models" / "empty");
  std::ofstream(package / "context.layout") << "{\"name\": \"机器人\"}\n";
  std::string big;
  for (int i = 0; i < 300000; ++i)
    big += static_cast<char>('a' + i % 7 * (i % 3));
  std::ofstream(package / "models" / "link1.brep", std::ios::binary) << big;
  const fs::path archive = dir.path / "out" / "robot.7z";
  ASSERT_TRUE(DataHandle::Compress7Z((package.string() + "/"), archive.string(), true));
  EXPECT_LT(fs::file_size(archive), 200000u) << "the data is compressed";
  EXPECT_FALSE(DataHandle::Compress7Z(package.string(), archive.string(), false)) << "kept when not overwriting";
  EXPECT_FALSE(DataHandle::Compress7Z((dir.path / "none").string(), (dir.path / "n.7z").string(), true) ||
               fs::exists(dir.path / "n.7z"));

  const fs::path unpacked = dir.path / "unpacked";
  const std::string extract = "mkdir '" + unpacked.string() + "' && bsdtar -xf '" + archive.string() + "' -C '" +
                              unpacked.string() + "'";
  ASSERT_EQ(std::system(extract.c_str()), 0);
  for (const char* name : {"context.layout", "models/link1.brep"})
    EXPECT_EQ(CliRun::ReadText(unpacked / "robot" / name), CliRun::ReadText(package / name)) << name;
  EXPECT_TRUE(fs::is_directory(unpacked / "robot" / "models" / "empty"));
}
