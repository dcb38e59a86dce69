#include <cadtools/DataHandle.h>
#include <cadtools/ThreadPool.h>
#include <cadtools/gpHandle.h>

#include <gtest/gtest.h>
#include <json/json.h>

#include <cctype>
#include <cmath>
#include <ctime>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace
{
constexpr double MatrixTol = 1.0e-9;

// A fresh folder under the test temporary directory, removed afterwards.
class TempDir
{
public:
  TempDir()
  {
    const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
    myPath = fs::temp_directory_path() / ("workpiece_" + std::string(info->name()) + std::to_string(::getpid()));
    fs::remove_all(myPath);
    fs::create_directories(myPath);
  }
  ~TempDir()
  {
    std::error_code ec;
    fs::permissions(myPath, fs::perms::owner_all, ec);
    fs::remove_all(myPath, ec);
  }
  const fs::path& Path() const { return myPath; }

private:
  fs::path myPath;
};

// Returns the whole content of a file.
std::string ReadAll(const fs::path& path)
{
  std::ifstream in(path, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

// Returns a rigid transform with the given fixed-axis angles (radians) built from single rotations.
gp_Trsf FromAngles(double rx, double ry, double rz, const gp_Vec& t)
{
  gp_Trsf x, y, z, move;
  x.SetRotation(gp::OX(), rx);
  y.SetRotation(gp::OY(), ry);
  z.SetRotation(gp::OZ(), rz);
  move.SetTranslation(t);
  return move * z * y * x;
}

// Returns the largest difference between the 3×4 matrices of two transforms.
double MaxDifference(const gp_Trsf& a, const gp_Trsf& b)
{
  double worst = 0.0;
  for (int r = 1; r <= 3; ++r)
    for (int c = 1; c <= 4; ++c)
      worst = std::max(worst, std::abs(a.Value(r, c) - b.Value(r, c)));
  return worst;
}
} // namespace

TEST(DataHandle, TransformsRoundTripThroughBothJsonForms)
{
  std::mt19937 engine(7);
  std::uniform_real_distribution<double> angle(-M_PI, M_PI);
  std::uniform_real_distribution<double> length(-2000.0, 2000.0);
  const double quarter = M_PI / 2.0;
  std::vector<double> pitches;
  for (int i = 0; i < 200; ++i)
    pitches.push_back(angle(engine) / 2.0);
  for (double near : {0.0, 1e-12, 1e-9, 1e-7, 1e-5})
  {
    pitches.push_back(quarter - near);
    pitches.push_back(-quarter + near);
  }
  for (double pitch : pitches)
  {
    const gp_Trsf trsf = FromAngles(angle(engine), pitch, angle(engine), gp_Vec(length(engine), length(engine), length(engine)));
    const Json::Value six = DataHandle::TrsfToJsonSix(trsf);
    ASSERT_EQ(six.size(), 6u);
    EXPECT_LT(MaxDifference(DataHandle::JsonSixToTrsf(six), trsf), MatrixTol) << "pitch " << pitch;
    const Json::Value arr = DataHandle::TrsfToJsonArr(trsf);
    ASSERT_EQ(arr.size(), 12u);
    const gp_Trsf back = DataHandle::JsonArrToTrsf(arr);
    EXPECT_LT(MaxDifference(back, trsf), MatrixTol);
    EXPECT_NEAR(back.ScaleFactor(), 1.0, 1e-15);
  }

  // Angles are the fixed-axis degrees of R = Rz·Ry·Rx.
  const Json::Value six = DataHandle::TrsfToJsonSix(FromAngles(0.1, 0.2, 0.3, gp_Vec(1, 2, 3)));
  const double toDeg = 180.0 / M_PI;
  EXPECT_NEAR(six[0].asDouble(), 1.0, 1e-12);
  EXPECT_NEAR(six[2].asDouble(), 3.0, 1e-12);
  EXPECT_NEAR(six[3].asDouble(), 0.1 * toDeg, 1e-9);
  EXPECT_NEAR(six[4].asDouble(), 0.2 * toDeg, 1e-9);
  EXPECT_NEAR(six[5].asDouble(), 0.3 * toDeg, 1e-9);

  // The 3×4 array is the matrix row by row.
  const Json::Value arr = DataHandle::TrsfToJsonArr(FromAngles(0, 0, M_PI / 2, gp_Vec(5, 6, 7)));
  const double expected[12] = {0, -1, 0, 5, 1, 0, 0, 6, 0, 0, 1, 7};
  for (Json::ArrayIndex i = 0; i < 12; ++i)
    EXPECT_NEAR(arr[i].asDouble(), expected[i], 1e-12) << i;

  // Three rows of four read as the same transform.
  Json::Value rows(Json::arrayValue);
  for (int r = 0; r < 3; ++r)
  {
    Json::Value row(Json::arrayValue);
    for (int c = 0; c < 4; ++c)
      row.append(expected[r * 4 + c]);
    rows.append(row);
  }
  EXPECT_LT(MaxDifference(gpHandle::jsonArr3x4_2Trsf(rows), DataHandle::JsonArrToTrsf(arr)), 1e-12);
}

TEST(DataHandle, MalformedTransformsReadAsIdentity)
{
  const gp_Trsf identity;
  Json::Value shortArr(Json::arrayValue);
  for (int i = 0; i < 5; ++i)
    shortArr.append(1.0);
  Json::Value withText = shortArr;
  withText.append("x");
  Json::Value withNaN = shortArr;
  withNaN.append(std::nan(""));
  for (const Json::Value& bad : {Json::Value(), shortArr, withText, withNaN, Json::Value("abc")})
  {
    EXPECT_LT(MaxDifference(DataHandle::JsonSixToTrsf(bad), identity), 1e-15);
    EXPECT_LT(MaxDifference(DataHandle::JsonArrToTrsf(bad), identity), 1e-15);
    EXPECT_LT(MaxDifference(gpHandle::jsonArr3x4_2Trsf(bad), identity), 1e-15);
  }
}

TEST(DataHandle, JsonFilesLoadAndSave)
{
  TempDir dir;
  const fs::path file = dir.Path() / "doc.json";
  EXPECT_TRUE(DataHandle::LoadJson(file.string()).isNull());

  Json::Value doc;
  doc["name"] = "焊缝";
  doc["hash"] = Json::UInt64(18446744073709551557ULL);
  ASSERT_TRUE(DataHandle::SaveJson(doc, file.string()));
  const Json::Value back = DataHandle::LoadJson(file.string());
  EXPECT_EQ(back, doc);
  EXPECT_NE(ReadAll(file).find("焊缝"), std::string::npos) << "text is written as UTF-8, not escaped";
  EXPECT_EQ(std::distance(fs::directory_iterator(dir.Path()), fs::directory_iterator()), 1) << "no temporary left";

  std::ofstream(dir.Path() / "truncated.json") << "{\"a\": [1, 2";
  EXPECT_TRUE(DataHandle::LoadJson((dir.Path() / "truncated.json").string()).isNull());
  EXPECT_TRUE(DataHandle::LoadJson(dir.Path().string()).isNull()) << "a folder is not a document";
  EXPECT_FALSE(DataHandle::SaveJson(doc, (dir.Path() / "missing" / "doc.json").string()));
}

TEST(DataHandle, FailedSaveKeepsThePreviousFile)
{
  TempDir dir;
  const fs::path file = dir.Path() / "doc.json";
  Json::Value old;
  old["version"] = 1;
  ASSERT_TRUE(DataHandle::SaveJson(old, file.string()));
  const std::string before = ReadAll(file);
  fs::permissions(dir.Path(), fs::perms::owner_read | fs::perms::owner_exec | fs::perms::group_read |
                                fs::perms::group_exec | fs::perms::others_read | fs::perms::others_exec);

  // Root writes through permissions, so the save is tried by an unprivileged child process.
  const pid_t child = ::fork();
  ASSERT_GE(child, 0);
  if (child == 0)
  {
    if (::geteuid() == 0 && (::setgid(65534) != 0 || ::setuid(65534) != 0))
      ::_exit(3);
    Json::Value fresh;
    fresh["version"] = 2;
    ::_exit(DataHandle::SaveJson(fresh, file.string()) ? 1 : 0);
  }
  int status = 0;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0) << "the save into a read-only folder must report failure";
  EXPECT_EQ(ReadAll(file), before);
}

TEST(DataHandle, SmallHelpers)
{
  const Json::Value p = DataHandle::PntToJsonArr(gp_Pnt(0.1234567, -2.0000004, 3.5), 6);
  EXPECT_DOUBLE_EQ(p[0].asDouble(), 0.123457);
  EXPECT_DOUBLE_EQ(p[1].asDouble(), -2.0);
  EXPECT_DOUBLE_EQ(p[2].asDouble(), 3.5);

  const std::string now = DataHandle::GetNowTime();
  const std::string shape = "dddd-dd-dd dd:dd:dd";
  ASSERT_EQ(now.size(), shape.size()) << now;
  for (std::size_t i = 0; i < shape.size(); ++i)
    EXPECT_EQ(shape[i] == 'd', std::isdigit(static_cast<unsigned char>(now[i])) != 0) << now;
  std::tm local{};
  ASSERT_NE(::strptime(now.c_str(), "%Y-%m-%d %H:%M:%S", &local), nullptr) << now;
  local.tm_isdst = -1;
  EXPECT_LE(std::abs(std::difftime(std::mktime(&local), std::time(nullptr))), 5.0) << "local time of now: " << now;
  EXPECT_EQ(DataHandle::StringToUTF8string("数据打包失败"), "数据打包失败");

  TempDir dir;
  EXPECT_TRUE(DataHandle::CheckOrCreateDir((dir.Path() / "a" / "b" / "file.json").string()));
  EXPECT_TRUE(fs::is_directory(dir.Path() / "a" / "b"));
  EXPECT_FALSE(fs::exists(dir.Path() / "a" / "b" / "file.json"));
  EXPECT_TRUE(DataHandle::CheckOrCreateDir((dir.Path() / "c" / "d").string() + "/"));
  EXPECT_TRUE(fs::is_directory(dir.Path() / "c" / "d"));
  std::ofstream(dir.Path() / "plain") << "x";
  EXPECT_FALSE(DataHandle::CheckOrCreateDir((dir.Path() / "plain" / "x.json").string()));
}

TEST(DataHandle, Compress7ZUnpacksToTheSameFolder)
{
  TempDir dir;
  const fs::path package = dir.Path() / "robot";
  fs::create_directories(package / "models" / "empty");
  std::ofstream(package / "context.layout") << "{\"name\": \"机器人\"}\n";
  {
    std::mt19937 engine(3);
    std::ofstream big(package / "models" / "link1.brep", std::ios::binary);
    for (int i = 0; i < 300000; ++i)
      big.put(static_cast<char>(engine() % 7 + 'a'));
  }
  const fs::path archive = dir.Path() / "out" / "robot.7z";
  ASSERT_TRUE(DataHandle::Compress7Z((package.string() + "/"), archive.string(), true));
  EXPECT_GT(fs::file_size(archive), 0u);
  EXPECT_LT(fs::file_size(archive), 200000u) << "the data is compressed";
  EXPECT_FALSE(DataHandle::Compress7Z(package.string(), archive.string(), false)) << "kept when not overwriting";
  EXPECT_FALSE(DataHandle::Compress7Z((dir.Path() / "nothing").string(), (dir.Path() / "n.7z").string(), true));
  EXPECT_FALSE(fs::exists(dir.Path() / "n.7z"));

  const fs::path listing = dir.Path() / "listing.txt";
  const std::string list = "bsdtar -tf '" + archive.string() + "' > '" + listing.string() + "'";
  ASSERT_EQ(std::system(list.c_str()), 0);
  const std::string names = ReadAll(listing);
  for (const char* name : {"robot/context.layout", "robot/models/link1.brep", "robot/models/empty/"})
    EXPECT_NE(names.find(name), std::string::npos) << name << " in\n" << names;

  const fs::path unpacked = dir.Path() / "unpacked";
  fs::create_directories(unpacked);
  const std::string extract = "bsdtar -xf '" + archive.string() + "' -C '" + unpacked.string() + "'";
  ASSERT_EQ(std::system(extract.c_str()), 0);
  for (const char* name : {"context.layout", "models/link1.brep"})
    EXPECT_EQ(ReadAll(unpacked / "robot" / name), ReadAll(package / name)) << name;
  EXPECT_TRUE(fs::is_directory(unpacked / "robot" / "models" / "empty"));
}

namespace
{
// Returns a document of about 600 KB whose strings hold quotes, backslashes, brackets and commas,
// with an empty array, a repeated key and an escaped key.
std::string LargeDocument()
{
  std::string text = "{\n  \"head\" : {\"k\\u00e9y\": [1.5, -2, 1e3, 18446744073709551615]},\n  \"parts\" : [";
  for (int i = 0; i < 2000; ++i)
  {
    text += i == 0 ? "\n" : ",\n";
    text += "    {\"id\": " + std::to_string(i) + ", \"data\": \"line\\nquote\\\" back\\\\\\\\\\\" ] } , [ {\\t";
    text += std::string(250, 'x') + "\", \"trsf\": [1.0, 0.0, 0.25, " + std::to_string(i) + ".5], \"empty\": []}";
  }
  text += "\n  ],\n  \"dup\" : 1,\n  \"none\" : [ ],\n  \"flag\" : true, \"dup\" : \"second\", \"nil\" : null\n}\n";
  return text;
}

// Returns what the parser makes of `text` read from a stream, or a null value when it fails.
Json::Value ParsedFromStream(const std::string& text)
{
  std::istringstream in(text);
  Json::CharReaderBuilder builder;
  Json::Value root;
  std::string errors;
  return Json::parseFromStream(builder, in, &root, &errors) ? root : Json::Value();
}
} // namespace

TEST(DataHandle, LargeDocumentsReadAsTheParserReadsThem)
{
  TempDir dir;
  const fs::path file = dir.Path() / "large.json";
  ThreadPool one(1);
  ThreadPool three(3);
  const auto loadsAsReference = [&](const std::string& text, const std::string& what) {
    std::ofstream(file, std::ios::binary | std::ios::trunc) << text;
    const Json::Value reference = ParsedFromStream(text);
    EXPECT_EQ(DataHandle::LoadJson(file.string()), reference) << what;
    EXPECT_EQ(DataHandle::LoadJson(file.string(), one), reference) << what;
    EXPECT_EQ(DataHandle::LoadJson(file.string(), three), reference) << what;
    return reference;
  };

  const std::string text = LargeDocument();
  ASSERT_GT(text.size(), 512u * 1024u);
  const Json::Value doc = loadsAsReference(text, "plain document");
  ASSERT_TRUE(doc.isObject());
  ASSERT_EQ(doc["parts"].size(), 2000u);
  EXPECT_EQ(doc["parts"][1999]["id"].asInt(), 1999);
  EXPECT_EQ(doc["parts"][7]["data"].asString().substr(0, 26), "line\nquote\" back\\\\\" ] } , ");
  EXPECT_EQ(doc["parts"][3]["trsf"][3].asDouble(), 3.5);
  EXPECT_TRUE(doc["parts"][3]["empty"].isArray());
  EXPECT_TRUE(doc["none"].isArray());
  EXPECT_EQ(doc["none"].size(), 0u);
  EXPECT_EQ(doc["dup"].asString(), "second") << "a repeated key keeps its last value";
  EXPECT_EQ(doc["head"]["k\xC3\xA9y"][3].asUInt64(), 18446744073709551615ULL);
  EXPECT_TRUE(doc["nil"].isNull());
  EXPECT_TRUE(doc.isMember("nil"));

  // Texts the quick split does not follow go to the one-piece parse.
  std::string commented = text;
  commented.insert(text.find("\"dup\""), "// a comment\n  ");
  EXPECT_TRUE(loadsAsReference(commented, "comment").isObject());
  std::string trailingComma = text;
  trailingComma.insert(text.find("\n  ],"), ",");
  loadsAsReference(trailingComma, "trailing comma");
  loadsAsReference("[" + text + "]", "root array");
  loadsAsReference(text + " trailing words", "text after the root");

  // Malformed large documents read as nothing.
  EXPECT_TRUE(loadsAsReference(text.substr(0, text.size() / 2), "truncated").isNull());
  std::string mismatched = text;
  mismatched.replace(text.find("\"empty\": []"), 11, "\"empty\": [}");
  EXPECT_TRUE(loadsAsReference(mismatched, "mismatched bracket").isNull());
  std::string badNumber = text;
  badNumber.replace(text.find("1.0, 0.0"), 3, "1.x");
  EXPECT_TRUE(loadsAsReference(badNumber, "bad number").isNull());
}
