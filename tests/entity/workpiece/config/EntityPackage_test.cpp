#include "support/ErrorText.h"
#include "support/MechanismJson.h"
#include "support/ViewTrees.h"

#include <entity/EntityPackage.h>

#include <cadtools/DataHandle.h>
#include <cadtools/WorkpieceError.h>
#include <cadtools/gpHandle.h>

#include <archive.h>
#include <archive_entry.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>

namespace fs = std::filesystem;

namespace
{
const std::vector<double> Pose = {0.3, -0.4, 0.2, 0.7, 0.5, -1.0};

// Every regular file below `folder` with its bytes, by relative path.
std::map<std::string, std::string> Files(const fs::path& folder)
{
  std::map<std::string, std::string> files;
  for (const auto& entry : fs::recursive_directory_iterator(folder))
    if (entry.is_regular_file())
      files[fs::relative(entry.path(), folder).generic_string()] = (std::stringstream() << std::ifstream(entry.path()).rdbuf()).str();
  return files;
}

// Writes a 7z package of (name, data) entries; data starting with "->" makes a symbolic link.
void WritePackage(const std::string& path, const std::vector<std::pair<std::string, std::string>>& entries)
{
  archive* a = archive_write_new();
  archive_write_set_format_7zip(a);
  archive_write_open_filename(a, path.c_str());
  for (const auto& [name, data] : entries)
  {
    archive_entry* entry = archive_entry_new();
    archive_entry_set_pathname(entry, name.c_str());
    archive_entry_set_perm(entry, 0644);
    const bool link = data.rfind("->", 0) == 0;
    archive_entry_set_filetype(entry, link ? AE_IFLNK : AE_IFREG);
    if (link)
      archive_entry_set_symlink(entry, data.c_str() + 2);
    archive_entry_set_size(entry, link ? 0 : static_cast<la_int64_t>(data.size()));
    archive_write_header(a, entry);
    archive_write_data(a, data.data(), link ? 0 : data.size());
    archive_entry_free(entry);
  }
  archive_write_close(a);
  archive_write_free(a);
}
} // namespace

TEST(EntityPackage, SampleRobotRoundTripsThroughJsonPackagesAndCopies)
{
  GenericEntityConfig robot;
  MechanismJson::LoadCell(robot, "robot.json");
  // The JSON form loads back to the same JSON form.
  const std::string dir = ViewTrees::TempDir("entity-json");
  const Json::Value saved = robot.ToJson(dir);
  Json::Value again = saved;
  again["ShapeEntityPath"] = dir + saved["ShapeEntityPath"].asString();
  GenericEntityConfig reloaded;
  reloaded.LoadFromJson(again);
  EXPECT_EQ(reloaded.ToJson(dir), saved);

  // A package is written at the home pose, the joints come back after it, and it reads back to the
  // same mechanism; a second export to the same path touches nothing.
  ASSERT_TRUE(robot.ForwardTrsf(Pose, false, true));
  const std::string package = dir + "out/robot.pkg";
  ASSERT_TRUE(GenericEntityConfig::ExportEntityPkg(&robot, package));
  EXPECT_EQ(robot.GetCurrentValue(0), Pose);
  const Json::Value layout = DataHandle::LoadJson(dir + "out/robot/context.layout");
  EXPECT_TRUE(layout["Head"] == "" && layout["version"] == 0 && layout["time"].isString() &&
              layout["GenericEntity"]["LinkRod"][1]["joint_value"].asDouble() == 0.0) << layout.toStyledString();
  const auto written = fs::last_write_time(package);
  const auto files = Files(dir + "out");
  ASSERT_TRUE(GenericEntityConfig::ExportEntityPkg(&robot, package));
  EXPECT_TRUE(fs::last_write_time(package) == written && Files(dir + "out") == files);

  const std::unique_ptr<GenericEntityConfig> read = EntityPackage::Read(package, dir + "read");
  ASSERT_TRUE(read->ForwardTrsf(Pose, false, true));
  EXPECT_TRUE(read->DataToJson("") == robot.DataToJson("") && gpHandle::IsSameTrsf(read->GetFlangeWCS(0), robot.GetFlangeWCS(0), 1e-9));

  // bsdtar and 7z unpack the package to the same files as the reader.
  fs::create_directories(dir + "tar");
  ASSERT_EQ(std::system(("bsdtar -xf " + package + " -C " + dir + "tar && 7z x -y -bd -o" + dir + "7z " + package +
                         " > /dev/null").c_str()), 0);
  EXPECT_TRUE(Files(dir + "tar") == Files(dir + "read") && Files(dir + "7z") == Files(dir + "read") && Files(dir + "tar").size() == 2u);

  // A copy has parts, links and ids of its own: moving it leaves the robot where it is.
  GenericEntityConfig copy;
  copy.CopyFrom(&robot);
  ASSERT_EQ(copy.GetLinkSize(), 6u);
  EXPECT_TRUE(copy.GetId() != robot.GetId() && gpHandle::IsSameTrsf(copy.GetFlangeWCS(0), robot.GetFlangeWCS(0), 1e-9));
  const gp_Trsf part = robot.GetLink(5)->GetSubMdls()[0]->Transformation();
  ASSERT_TRUE(copy.ForwardTrsf(std::vector<double>(6, 0.0), false, true));
  EXPECT_TRUE(copy.GetLink(5)->GetSubMdls()[0] != robot.GetLink(5)->GetSubMdls()[0] &&
              gpHandle::IsSameTrsf(robot.GetLink(5)->GetSubMdls()[0]->Transformation(), part, 0.0) &&
              !gpHandle::IsSameTrsf(copy.GetFlangeWCS(0), robot.GetFlangeWCS(0), 1e-3));
}

TEST(EntityPackage, AMechanismWithoutFlangesRootsOrCouplingsWritesNoneOfThem)
{
  GenericEntityConfig part(ViewTrees::BoxTree(1));
  Json::Value json;
  json["type"] = 5;
  part.LoadFromJson(json);
  const Json::Value written = part.ToJson("");
  for (const char* key : {"ChildEntity", "child_root", "CouplingAxes", "ShapeEntityPath"})
    EXPECT_FALSE(written.isMember(key)) << key;
  EXPECT_TRUE(written["LinkRod"].isNull() && written.isMember("LinkRod") && written["type"] == 5 && part.LinkToJson(nullptr).isNull());
}

TEST(EntityPackage, HostilePackagesAreRefusedWithoutWritingOutsideTheTarget)
{
  const std::string dir = ViewTrees::TempDir("entity-hostile");
  const std::string layout = R"({"GenericEntity": {"type": 5, "ShapeEntityPath": "entity/tree.json"}})";
  const std::string big(4096, 'x');
  const struct
  {
    const char* what;
    std::vector<std::pair<std::string, std::string>> entries;
    std::string message;
  } cases[] = {
    {"absolute path", {{"p/context.layout", layout}, {dir + "escaped", "x"}}, "实体包条目路径不安全：" + dir + "escaped"},
    {"parent folder", {{"p/context.layout", layout}, {"p/../../escaped", "x"}}, "实体包条目路径不安全：p/../../escaped"},
    {"symbolic link", {{"p/context.layout", layout}, {"p/entity", "->" + dir}}, "实体包条目是链接：p/entity"},
    {"no layout", {{"p/readme", "x"}}, "实体包缺少context.layout：" + dir + "case.7z"},
    {"too large", {{"p/context.layout", layout}, {"p/a", big}, {"p/b", big}}, "实体包解压后超过大小上限：8192 字节"},
    {"layout not JSON", {{"p/context.layout", "{\"GenericEntity\": "}},
     "context.layout不是实体布局的JSON对象：" + dir + "target/p/context.layout"},
    {"display tree absent", {{"p/context.layout", layout}}, "实体包缺少显示树文件：entity/tree.json"},
  };
  for (const auto& c : cases)
  {
    fs::remove_all(dir);
    fs::create_directories(dir);
    WritePackage(dir + "case.7z", c.entries);
    const std::string error = ErrorText([&] { EntityPackage::Read(dir + "case.7z", dir + "target", 8192); });
    EXPECT_TRUE(error.find(c.message) != std::string::npos && error.rfind("_package", 0) == 0u) << c.what << ": " << error;
    // Nothing besides the package and the target folder, and nothing at all for a refused entry.
    for (const auto& entry : fs::directory_iterator(dir))
      EXPECT_TRUE(entry.path().filename() == "case.7z" || entry.path().filename() == "target") << entry.path();
    EXPECT_FALSE(fs::exists(dir + "../escaped")) << c.what;
  }
}
