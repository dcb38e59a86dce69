// Inputs the fuzz targets found (fuzz/corpus), fed to the library as those targets feed them.
#include <support/LogCapture.h>
#include <support/ViewTrees.h>

#include <cadtools/DataHandle.h>
#include <cadtools/ShapeCheck.h>
#include <cadtools/ShapeHandle.h>
#include <cadtools/WorkpieceError.h>
#include <entity/Entity.h>
#include <entity/GenericEntityConfig.h>
#include <entity/ViewShapeUtil.h>

#include <TopExp_Explorer.hxx>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include <unistd.h>

namespace fs = std::filesystem;

namespace
{
fs::path CorpusFile(const std::string& target, const std::string& name)
{
  const char* source = std::getenv("WORKPIECE_SOURCE_DIR");
  return fs::path(source != nullptr ? source : ".") / "fuzz" / "corpus" / target / name;
}

// A scratch folder of the test's own, removed with it.
struct Scratch
{
  const fs::path path = fs::temp_directory_path() / ("workpiece_reproducers_" + std::to_string(::getpid()));
  Scratch() { fs::create_directories(path); }
  ~Scratch()
  {
    std::error_code code;
    fs::remove_all(path, code);
  }
};

// Returns the object of an input of two parts (a JSON object, a NUL byte, a display-tree file), its
// "ShapeEntityPath" pointed at the tree written into `folder`.
Json::Value ObjectWithTree(const fs::path& input, const fs::path& folder)
{
  std::ifstream in(input, std::ios::binary);
  const std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  const std::size_t nul = text.find('\0');
  EXPECT_NE(nul, std::string::npos) << input;
  std::ofstream(folder / "object.json", std::ios::binary) << text.substr(0, nul);
  std::ofstream(folder / "tree.json", std::ios::binary) << text.substr(nul + 1);
  Json::Value object = DataHandle::LoadJson((folder / "object.json").string());
  object["ShapeEntityPath"] = (folder / "tree.json").string();
  return object;
}

bool LoggedError(const LogCapture& log, const std::string& start)
{
  const std::vector<LoggedMessage> messages = log.Messages();
  return std::any_of(messages.begin(), messages.end(), [&](const LoggedMessage& message) {
    return message.level == SPDLOG_LEVEL_ERROR && message.text.rfind(start, 0) == 0;
  });
}
} // namespace

TEST(FuzzReproducers, DisplayTreesOfBRepOnAMissingBasisAreRefused)
{
  // A display tree alone: its node fails, named. In the second, the name of the section holding the
  // offset curve goes on in NUL bytes, which end it for the kernel's reader; in the third, a line's
  // direction is infinite, and the kernel's projection of it onto a plane never ended.
  for (const char* name :
       {"brep-offset-curve-without-basis.json", "brep-section-name-with-nul.json", "brep-line-direction-infinite.json"})
  {
    LogCapture log;
    const Json::Value tree = DataHandle::LoadJson(CorpusFile("fuzz_viewshape", name).string());
    ASSERT_TRUE(tree.isObject()) << name;
    EXPECT_TRUE(ViewShapeUtil::LoadFromJson(tree).IsNull()) << name;
    EXPECT_TRUE(LoggedError(log, "显示模型节点读取错误：")) << name;
  }
  const Scratch scratch;
  // An entity taking the tree over keeps the one it had. The second tree holds a plane whose normal
  // is infinite, onto which the kernel projected an edge without end.
  for (const char* name : {"brep-revolution-without-basis.bin", "brep-plane-axis-infinite.bin"})
  {
    LogCapture log;
    Entity entity;
    const Handle(ShapeEntity) before = ViewTrees::BoxTree(2);
    entity.SetRootMdl(before);
    entity.LoadFromJson(ObjectWithTree(CorpusFile("fuzz_entity", name), scratch.path));
    EXPECT_EQ(entity.GetRootMdl(), before) << name;
    EXPECT_TRUE(LoggedError(log, "模型实体加载错误")) << name;
  }
  // A mechanism fails to load; so it does when a vertex lies at an infinite coordinate (its
  // collision model was built on it).
  for (const char* name : {"brep-trimmed-surface-without-basis.bin", "brep-vertex-coordinate-infinite.bin"})
  {
    GenericEntityConfig mechanism;
    EXPECT_THROW(mechanism.LoadFromJson(ObjectWithTree(CorpusFile("fuzz_mechanism", name), scratch.path)), WorkpieceError)
      << name;
  }
}

TEST(FuzzReproducers, TreeWhoseBoundingBoxThrowsLeavesTheEntityAsItWas)
{
  const Scratch scratch;
  const Json::Value object =
    ObjectWithTree(CorpusFile("fuzz_mechanism", "brep-bounding-box-throws.bin"), scratch.path);
  LogCapture log;
  Entity entity;
  const Handle(ShapeEntity) before = ViewTrees::BoxTree(2);
  entity.SetRootMdl(before);
  entity.LoadFromJson(object);
  EXPECT_EQ(entity.GetRootMdl(), before);
  EXPECT_EQ(entity.GetSubMdls().size(), 2u);
  EXPECT_TRUE(LoggedError(log, "模型实体加载错误"));
  GenericEntityConfig mechanism;
  EXPECT_THROW(mechanism.LoadFromJson(object), WorkpieceError);
}

TEST(FuzzReproducers, MechanismWhoseRootHoldsAShapeSavesWhatItReadsBack)
{
  const Scratch scratch;
  GenericEntityConfig mechanism;
  mechanism.LoadFromJson(ObjectWithTree(CorpusFile("fuzz_mechanism", "welder-range-error.bin"), scratch.path));
  const TopoDS_Shape root = mechanism.GetRootMdl()->GetEntityShape();
  ASSERT_TRUE(TopExp_Explorer(root, TopAbs_FACE).More());
  const fs::path saved = scratch.path / "saved";
  Json::Value json = mechanism.ToJson(saved.string() + "/");
  EXPECT_EQ(ShapeCheck::MissingGeometry(root), "") << "saving leaves the root's shape whole";
  json["ShapeEntityPath"] = (saved / json["ShapeEntityPath"].asString()).string();
  GenericEntityConfig again;
  EXPECT_NO_THROW(again.LoadFromJson(json));
  ASSERT_FALSE(again.GetRootMdl().IsNull());
  EXPECT_NEAR(ShapeHandle::GetAreaOrVol(again.GetRootMdl()->GetEntityShape()), ShapeHandle::GetAreaOrVol(root),
              1e-9 * ShapeHandle::GetAreaOrVol(root));
}

TEST(FuzzReproducers, MechanismsWithFacesTheMesherCannotFinishLoadAndSave)
{
  // A skewed plane keeps the kernel's mesher busy for seconds, a damaged face makes it run long, and
  // a pcurve section shifted by a stray character makes it fault (which ended the process): the
  // mechanism still loads, within the mesher's time limit, and saves what it reads back.
  for (const char* name : {"mesher-slow-on-skewed-plane.bin", "take-over-mesh-slow.bin", "mesher-fault-after-pcurve-text-shift.bin"})
  {
    const Scratch scratch;
    GenericEntityConfig mechanism;
    ASSERT_NO_THROW(mechanism.LoadFromJson(ObjectWithTree(CorpusFile("fuzz_mechanism", name), scratch.path))) << name;
    ASSERT_FALSE(mechanism.GetRootMdl().IsNull()) << name;
    Json::Value json = mechanism.ToJson((scratch.path / "saved").string() + "/");
    json["ShapeEntityPath"] = (scratch.path / "saved" / json["ShapeEntityPath"].asString()).string();
    GenericEntityConfig again;
    EXPECT_NO_THROW(again.LoadFromJson(json)) << name;
  }
}
