#include <entity/IntEdgeFaceSeg.h>
#include <entity/SeamExtractor.h>

#include <cadtools/DataHandle.h>

#include <BRepTools.hxx>
#include <IGESControl_Controller.hxx>
#include <IGESControl_Writer.hxx>
#include <Message.hxx>
#include <Message_PrinterOStream.hxx>
#include <STEPControl_Reader.hxx>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

namespace
{
namespace fs = std::filesystem;
const fs::path Examples(WORKPIECE_EXAMPLES_DIR);

struct CliRun
{
  int code;
  std::string out, err;
};

fs::path Scratch(const std::string& name)
{
  const fs::path dir = fs::temp_directory_path() / ("workpiece_cli_" + name);
  fs::remove_all(dir);
  fs::create_directories(dir);
  return dir;
}

// Runs the command-line tool with `args`, capturing its exit code and both streams.
CliRun Cli(const std::string& args, const fs::path& dir)
{
  const fs::path out = dir / "stdout.txt", err = dir / "stderr.txt";
  const int status = std::system((std::string(WORKPIECE_CLI) + " " + args + " >" + out.string() + " 2>" +
                                  err.string() + " </dev/null")
                                   .c_str());
  std::stringstream outText, errText;
  outText << std::ifstream(out).rdbuf();
  errText << std::ifstream(err).rdbuf();
  return {WEXITSTATUS(status), outText.str(), errText.str()};
}

TopoDS_Shape ReadStep(const fs::path& step)
{
  Message::DefaultMessenger()->RemovePrinters(STANDARD_TYPE(Message_PrinterOStream));
  STEPControl_Reader reader;
  EXPECT_EQ(reader.ReadFile(step.string().c_str()), IFSelect_RetDone);
  reader.TransferRoots();
  return reader.OneShape();
}
} // namespace

TEST(SeamsCli, ExamplePartsPrintTheirSeamsAndTheJsonIsWhatTheLibraryGives)
{
  const fs::path dir = Scratch("examples");
  const CliRun t = Cli("seams " + (Examples / "tjoint.step").string(), dir);
  ASSERT_EQ(t.code, 0) << t.err;
  EXPECT_NE(t.out.find("24 seams: 2 concave, 22 convex, 0 unknown; concave length 200.00 mm"), std::string::npos) << t.out;
  EXPECT_EQ(t.out.find("Statistics"), std::string::npos) << "exchange statistics stay off the output";
  EXPECT_TRUE(t.err.empty()) << t.err;

  const TopoDS_Shape l = ReadStep(Examples / "lbracket.step");
  for (const auto classifier : {SeamExtractor::Classifier::Probe, SeamExtractor::Classifier::Planar,
                                SeamExtractor::Classifier::Orientation})
  {
    const std::string name = SeamExtractor::ClassifierName(classifier), json = (dir / (name + ".json")).string();
    const CliRun run = Cli("seams " + (Examples / "lbracket.step").string() + " --classifier " + name + " --json " + json, dir);
    ASSERT_EQ(run.code, 0) << run.err;
    EXPECT_NE(run.out.find("18 seams: 1 concave, 17 convex, 0 unknown; concave length 80.00 mm"), std::string::npos)
      << name << "\n" << run.out;
    SeamExtractor::Options options;
    options.classifier = classifier;
    Json::Value expected(Json::arrayValue);
    for (const EdgeFaceSeg& seg : SeamExtractor(l).Extract(options).segs)
      expected.append(seg.GetIntSeg().ToJson());
    Json::Value written(Json::arrayValue);
    for (const Json::Value& record : DataHandle::LoadJson(json))
      written.append(IntEdgeFaceSeg(record).ToJson());
    EXPECT_EQ(written, expected) << name;
  }
  const CliRun shortOnes = Cli("seams " + (Examples / "lbracket.step").string() + " --min-length 55", dir);
  EXPECT_NE(shortOnes.out.find("10 seams: 1 concave, 9 convex"), std::string::npos) << shortOnes.out;
  EXPECT_NE(shortOnes.out.find("8 shorter than the minimum length"), std::string::npos) << shortOnes.out;
}

TEST(SeamsCli, GeneratedExamplesMatchTheCommittedOnesInEveryFormat)
{
  const fs::path dir = Scratch("generated");
  ASSERT_EQ(Cli("generate-examples " + (dir / "parts").string(), dir).code, 0);
  for (const std::string part : {"tjoint", "lbracket"})
  {
    const fs::path fresh = dir / "parts" / (part + ".step");
    EXPECT_LT(fs::file_size(fresh), 64u * 1024u) << "example parts are small";
    ASSERT_EQ(Cli("seams " + fresh.string() + " --json " + (dir / "fresh.json").string(), dir).code, 0);
    ASSERT_EQ(Cli("seams " + (Examples / (part + ".step")).string() + " --json " + (dir / "old.json").string(), dir).code, 0);
    EXPECT_EQ(DataHandle::LoadJson((dir / "fresh.json").string()), DataHandle::LoadJson((dir / "old.json").string())) << part;
  }
  // The same part as BREP and IGES gives the same seam kinds.
  const TopoDS_Shape shape = ReadStep(Examples / "tjoint.step");
  ASSERT_TRUE(BRepTools::Write(shape, (dir / "tjoint.brep").string().c_str()));
  IGESControl_Controller::Init();
  IGESControl_Writer iges("MM", 1);
  iges.AddShape(shape);
  ASSERT_TRUE(iges.Write((dir / "tjoint.IGS").string().c_str()));
  for (const char* file : {"tjoint.brep", "tjoint.IGS"})
  {
    const CliRun run = Cli(std::string("seams ") + (dir / file).string(), dir);
    EXPECT_EQ(run.code, 0) << file << ": " << run.err;
    EXPECT_NE(run.out.find("2 concave, 22 convex, 0 unknown"), std::string::npos) << file << "\n" << run.out;
  }
}

TEST(SeamsCli, BadInputGivesAClearErrorAndExitCode)
{
  const fs::path dir = Scratch("bad");
  std::ostringstream brep;
  BRepTools::Write(ReadStep(Examples / "lbracket.step"), brep);
  std::ofstream(dir / "cut.brep") << brep.str().substr(0, brep.str().size() / 2);
  std::ofstream(dir / "garbage.step") << "ISO-10303-21;\nthis is not a step file\n";
  std::ofstream(dir / "empty.brep");
  std::ofstream(dir / "part.obj") << "v 0 0 0\n";
  std::ofstream(dir / "noshape.stp") << "ISO-10303-21;\nHEADER;\nFILE_DESCRIPTION(('x'),'2;1');\n"
                                        "FILE_NAME('x','',(''),(''),'','','');\nFILE_SCHEMA(('AUTOMOTIVE_DESIGN'));\n"
                                        "ENDSEC;\nDATA;\nENDSEC;\nEND-ISO-10303-21;\n";
  const std::string d = dir.string() + "/";
  struct Case
  {
    std::string args;
    int code;
    std::string err;
  };
  for (const Case& c : std::vector<Case>{{"seams " + d + "nothing.step", 1, "no such file"},
                                         {"seams " + d + "garbage.step", 1, "unreadable"},
                                         {"seams " + d + "empty.brep", 1, ""},
                                         {"seams " + d + "cut.brep", 1, ""},
                                         {"seams " + d + "noshape.stp", 1, ""},
                                         {"seams " + d + "part.obj", 1, "unsupported file type"},
                                         {"seams", 2, ""},
                                         {"seams a.step b.step", 2, ""},
                                         {"seams x.step --classifier guess", 2, "unknown classifier 'guess'"},
                                         {"seams x.step --min-length -1", 2, ""},
                                         {"seams x.step --min-length nan", 2, ""},
                                         {"seams x.step --json", 2, ""},
                                         {"frobnicate", 2, ""}})
  {
    const CliRun run = Cli(c.args, dir);
    EXPECT_EQ(run.code, c.code) << c.args;
    EXPECT_NE(run.err.find(c.err), std::string::npos) << c.args << ": " << run.err;
    EXPECT_TRUE(run.out.empty()) << c.args << ": a reader's own complaint is not printed: " << run.out;
  }
  EXPECT_EQ(Cli("seams " + (Examples / "lbracket.step").string() + " --json " + d, dir).code, 1) << "a folder as --json";
  const CliRun help = Cli("seams --help", dir);
  EXPECT_EQ(help.code, 0);
  for (const char* word : {"--json", "--classifier", "--min-length", "probe", "planar", "orientation", "exit codes"})
    EXPECT_NE(help.out.find(word), std::string::npos) << word;
  const CliRun demo = Cli("demo", dir);
  EXPECT_EQ(demo.code, 0);
  for (const char* line : {"T-joint", "24 seams: 2 concave, 22 convex, 0 unknown; concave length 200.00 mm",
                           "18 seams: 1 concave, 17 convex, 0 unknown; concave length 80.00 mm"})
    EXPECT_NE(demo.out.find(line), std::string::npos) << line;
}
