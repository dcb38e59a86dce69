#include <entity/IntEdgeFaceSeg.h>
#include <entity/SeamExtractor.h>

#include <cadtools/DataHandle.h>

#include <BRepTools.hxx>
#include <IFSelect_ReturnStatus.hxx>
#include <IGESControl_Controller.hxx>
#include <IGESControl_Writer.hxx>
#include <Message.hxx>
#include <Message_PrinterOStream.hxx>
#include <STEPControl_Reader.hxx>

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace
{
namespace fs = std::filesystem;

struct CliRun
{
  int code;
  std::string out;
  std::string err;
};

// Returns a fresh scratch folder for one test.
fs::path Scratch(const std::string& name)
{
  const fs::path dir = fs::temp_directory_path() / ("workpiece_cli_" + name);
  fs::remove_all(dir);
  fs::create_directories(dir);
  return dir;
}

std::string ReadText(const fs::path& path)
{
  std::ifstream in(path);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

// Runs the command-line tool with `args`, capturing its exit code and both streams.
CliRun Cli(const std::string& args, const fs::path& dir)
{
  const fs::path out = dir / "stdout.txt", err = dir / "stderr.txt";
  const std::string command =
    std::string(WORKPIECE_CLI) + " " + args + " >" + out.string() + " 2>" + err.string() + " </dev/null";
  const int status = std::system(command.c_str());
  return {WEXITSTATUS(status), ReadText(out), ReadText(err)};
}

fs::path Examples()
{
  return fs::path(WORKPIECE_EXAMPLES_DIR);
}

// Returns the records the library gives for the STEP file, read in-process.
std::vector<IntEdgeFaceSeg> InProcess(const fs::path& step, SeamExtractor::Classifier classifier)
{
  Message::DefaultMessenger()->RemovePrinters(STANDARD_TYPE(Message_PrinterOStream));
  STEPControl_Reader reader;
  EXPECT_EQ(reader.ReadFile(step.string().c_str()), IFSelect_RetDone);
  reader.TransferRoots();
  SeamExtractor::Options options;
  options.classifier = classifier;
  std::vector<IntEdgeFaceSeg> records;
  for (const EdgeFaceSeg& seg : SeamExtractor(reader.OneShape()).Extract(options).segs)
    records.push_back(seg.GetIntSeg());
  return records;
}

std::vector<IntEdgeFaceSeg> FromJsonFile(const fs::path& path)
{
  const Json::Value json = DataHandle::LoadJson(path.string());
  EXPECT_TRUE(json.isArray());
  std::vector<IntEdgeFaceSeg> records;
  for (const Json::Value& item : json)
    records.emplace_back(item);
  return records;
}
} // namespace

TEST(SeamsCli, ExamplePartsPrintTheirSeamsAndJsonReadsBack)
{
  const fs::path dir = Scratch("examples");
  const CliRun t = Cli("seams " + (Examples() / "tjoint.step").string() + " --json " + (dir / "t.json").string(), dir);
  ASSERT_EQ(t.code, 0) << t.err;
  EXPECT_NE(t.out.find("24 seams: 2 concave, 22 convex, 0 unknown; concave length 200.00 mm"), std::string::npos)
    << t.out;
  EXPECT_EQ(t.out.find("Statistics"), std::string::npos) << "exchange statistics stay off the output";
  EXPECT_TRUE(t.err.empty()) << t.err;

  for (const auto classifier : {SeamExtractor::Classifier::Probe, SeamExtractor::Classifier::Planar,
                                SeamExtractor::Classifier::Orientation})
  {
    const std::string name = SeamExtractor::ClassifierName(classifier);
    const fs::path json = dir / ("l_" + name + ".json");
    const CliRun l = Cli("seams " + (Examples() / "lbracket.step").string() + " --classifier " + name + " --json " +
                        json.string(),
                      dir);
    ASSERT_EQ(l.code, 0) << l.err;
    EXPECT_NE(l.out.find("18 seams: 1 concave, 17 convex, 0 unknown; concave length 80.00 mm"), std::string::npos)
      << name << "\n" << l.out;
    const std::vector<IntEdgeFaceSeg> written = FromJsonFile(json);
    const std::vector<IntEdgeFaceSeg> expected = InProcess(Examples() / "lbracket.step", classifier);
    ASSERT_EQ(written.size(), expected.size());
    for (std::size_t i = 0; i < written.size(); ++i)
    {
      EXPECT_EQ(written[i], expected[i]);
      EXPECT_EQ(written[i].edgeType, expected[i].edgeType);
    }
  }

  const CliRun shortOnes = Cli("seams " + (Examples() / "lbracket.step").string() + " --min-length 55", dir);
  ASSERT_EQ(shortOnes.code, 0);
  EXPECT_NE(shortOnes.out.find("10 seams: 1 concave, 9 convex"), std::string::npos) << shortOnes.out;
  EXPECT_NE(shortOnes.out.find("8 shorter than the minimum length"), std::string::npos) << shortOnes.out;
}

TEST(SeamsCli, GeneratedExamplesMatchTheCommittedOnesInAllFormats)
{
  const fs::path dir = Scratch("generated");
  const CliRun generated = Cli("generate-examples " + (dir / "parts").string(), dir);
  ASSERT_EQ(generated.code, 0) << generated.err;
  for (const char* part : {"tjoint", "lbracket"})
  {
    const fs::path fresh = dir / "parts" / (std::string(part) + ".step");
    ASSERT_TRUE(fs::exists(fresh));
    EXPECT_LT(fs::file_size(fresh), 64u * 1024u) << "example parts are small";
    ASSERT_EQ(Cli("seams " + fresh.string() + " --json " + (dir / "fresh.json").string(), dir).code, 0);
    ASSERT_EQ(Cli("seams " + (Examples() / (std::string(part) + ".step")).string() + " --json " +
                    (dir / "committed.json").string(),
                  dir)
                .code,
              0);
    EXPECT_EQ(DataHandle::LoadJson((dir / "fresh.json").string()), DataHandle::LoadJson((dir / "committed.json").string()))
      << part;
  }

  // The same part as BREP and IGES gives the same seam kinds.
  STEPControl_Reader reader;
  ASSERT_EQ(reader.ReadFile((Examples() / "tjoint.step").string().c_str()), IFSelect_RetDone);
  reader.TransferRoots();
  const TopoDS_Shape shape = reader.OneShape();
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
  const CliRun missing = Cli("seams " + (dir / "nothing.step").string(), dir);
  EXPECT_EQ(missing.code, 1);
  EXPECT_NE(missing.err.find("no such file"), std::string::npos) << missing.err;

  std::ofstream(dir / "garbage.step") << "ISO-10303-21;\nthis is not a step file\n";
  const CliRun garbage = Cli("seams " + (dir / "garbage.step").string(), dir);
  EXPECT_EQ(garbage.code, 1);
  EXPECT_NE(garbage.err.find("unreadable"), std::string::npos) << garbage.err;

  std::ofstream(dir / "empty.brep");
  const CliRun empty = Cli("seams " + (dir / "empty.brep").string(), dir);
  EXPECT_EQ(empty.code, 1);
  EXPECT_TRUE(empty.out.empty()) << "the BREP reader's own complaint is not printed: " << empty.out;

  // A BREP cut off in the middle.
  std::ostringstream brep;
  STEPControl_Reader reader;
  ASSERT_EQ(reader.ReadFile((Examples() / "lbracket.step").string().c_str()), IFSelect_RetDone);
  reader.TransferRoots();
  BRepTools::Write(reader.OneShape(), brep);
  std::ofstream(dir / "cut.brep") << brep.str().substr(0, brep.str().size() / 2);
  const CliRun cut = Cli("seams " + (dir / "cut.brep").string(), dir);
  EXPECT_EQ(cut.code, 1) << cut.out;

  // A STEP file with a header and no shapes.
  std::ofstream(dir / "noshape.stp") << "ISO-10303-21;\nHEADER;\nFILE_DESCRIPTION(('x'),'2;1');\n"
                                        "FILE_NAME('x','',(''),(''),'','','');\nFILE_SCHEMA(('AUTOMOTIVE_DESIGN'));\n"
                                        "ENDSEC;\nDATA;\nENDSEC;\nEND-ISO-10303-21;\n";
  EXPECT_EQ(Cli("seams " + (dir / "noshape.stp").string(), dir).code, 1);

  std::ofstream(dir / "part.obj") << "v 0 0 0\n";
  const CliRun unsupported = Cli("seams " + (dir / "part.obj").string(), dir);
  EXPECT_EQ(unsupported.code, 1);
  EXPECT_NE(unsupported.err.find("unsupported file type"), std::string::npos);

  const CliRun unwritable = Cli("seams " + (Examples() / "lbracket.step").string() + " --json " + dir.string(), dir);
  EXPECT_EQ(unwritable.code, 1) << "a folder cannot be written as a file";

  EXPECT_EQ(Cli("seams", dir).code, 2);
  EXPECT_EQ(Cli("seams a.step b.step", dir).code, 2);
  const CliRun classifier = Cli("seams x.step --classifier guess", dir);
  EXPECT_EQ(classifier.code, 2);
  EXPECT_NE(classifier.err.find("unknown classifier 'guess'"), std::string::npos);
  EXPECT_EQ(Cli("seams x.step --min-length -1", dir).code, 2);
  EXPECT_EQ(Cli("seams x.step --min-length nan", dir).code, 2);
  EXPECT_EQ(Cli("seams x.step --json", dir).code, 2);
  EXPECT_EQ(Cli("frobnicate", dir).code, 2);

  const CliRun help = Cli("seams --help", dir);
  EXPECT_EQ(help.code, 0);
  for (const char* word : {"--json", "--classifier", "--min-length", "probe", "planar", "orientation", "exit codes"})
    EXPECT_NE(help.out.find(word), std::string::npos) << word;
  const CliRun demo = Cli("demo", dir);
  EXPECT_EQ(demo.code, 0);
  EXPECT_NE(demo.out.find("T-joint"), std::string::npos);
  EXPECT_NE(demo.out.find("24 seams: 2 concave, 22 convex, 0 unknown; concave length 200.00 mm"), std::string::npos);
  EXPECT_NE(demo.out.find("18 seams: 1 concave, 17 convex, 0 unknown; concave length 80.00 mm"), std::string::npos);
}
