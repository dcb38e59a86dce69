#include "support/CliRun.h"

#include <entity/IntEdgeFaceSeg.h>
#include <entity/PartFile.h>
#include <entity/SeamExtractor.h>

#include <cadtools/DataHandle.h>

#include <BRepTools.hxx>

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

namespace
{
namespace fs = std::filesystem;
const std::string Examples = WORKPIECE_EXAMPLES_DIR "/";
const std::string TSummary = "24 seams: 2 concave, 22 convex, 0 unknown; concave length 200.00 mm";
const std::string LSummary = "18 seams: 1 concave, 17 convex, 0 unknown; concave length 80.00 mm";
} // namespace

TEST(SeamsCli, ExamplePartsInEveryFormatTheirJsonAndBadInput)
{
  const std::string dir = CliRun::Scratch("seams").string() + "/";
  const auto cli = [&](const std::string& args) { return CliRun::Of(WORKPIECE_CLI, args, dir); };
  // Exchange statistics stay off the output.
  const CliRun t = cli("seams " + Examples + "tjoint.step");
  EXPECT_TRUE(t.code == 0 && t.out.find(TSummary) != std::string::npos && t.err.empty() &&
              t.out.find("Statistics") == std::string::npos) << t.out << t.err;
  // The JSON the tool writes is what the library finds with the classifier asked for.
  const CliRun run = cli("seams " + Examples + "lbracket.step --classifier planar --json " + dir + "l.json");
  EXPECT_TRUE(run.code == 0 && run.out.find(LSummary) != std::string::npos) << run.out << run.err;
  SeamExtractor::Options planar;
  planar.classifier = SeamExtractor::Classifier::Planar;
  Json::Value expected(Json::arrayValue), written(Json::arrayValue);
  for (const EdgeFaceSeg& seg : SeamExtractor(PartFile::Read(Examples + "lbracket.step")).Extract(planar).segs)
    expected.append(seg.GetIntSeg().ToJson());
  for (const Json::Value& record : DataHandle::LoadJson(dir + "l.json"))
    written.append(IntEdgeFaceSeg(record).ToJson());
  EXPECT_EQ(written, expected);
  const std::string shortOnes = cli("seams " + Examples + "lbracket.step --min-length 55").out;
  EXPECT_TRUE(shortOnes.find("10 seams: 1 concave, 9 convex") != std::string::npos &&
              shortOnes.find("8 shorter than the minimum length") != std::string::npos) << shortOnes;
  // The part as BREP inside out is turned and says so; the IGES part's loose faces are sewn into a solid.
  std::ostringstream brep, insideOut;
  const TopoDS_Shape tjoint = PartFile::Read(Examples + "tjoint.step");
  BRepTools::Write(tjoint, brep);
  BRepTools::Write(tjoint.Reversed(), insideOut);
  std::ofstream(dir + "cut.brep") << brep.str().substr(0, brep.str().size() / 2);
  std::ofstream(dir + "inside-out.brep") << insideOut.str();
  const CliRun turned = cli("seams " + dir + "inside-out.brep"), sewn = cli("seams " WORKPIECE_PARTS_DIR "/slab-loose-faces.igs");
  EXPECT_TRUE(turned.code == 0 && turned.out.find(TSummary) != std::string::npos &&
              turned.err.find("turned 1 inside-out solid(s) outside out") != std::string::npos) << turned.err;
  EXPECT_TRUE(sewn.out.find("68 seams: 5 concave, 63 convex") != std::string::npos &&
              sewn.err.find("sewed its loose faces into 1 solid(s); 0 free edge(s) remain") != std::string::npos)
    << sewn.out << sewn.err;
  // Cut short, and other bad input, gives a clear error and exit code.
  std::ofstream(dir + "garbage.step") << "ISO-10303-21;\nthis is not a step file\n";
  std::ofstream(dir + "empty.brep");
  std::ofstream(dir + "part.obj") << "v 0 0 0\n";
  std::ofstream(dir + "void.stp") << "ISO-10303-21;\nHEADER;\nFILE_DESCRIPTION(('x'),'2;1');\n"
                                     "FILE_NAME('x','',(''),(''),'','','');\nFILE_SCHEMA(('AUTOMOTIVE_DESIGN'));\n"
                                     "ENDSEC;\nDATA;\nENDSEC;\nEND-ISO-10303-21;\n";
  const std::vector<std::tuple<std::string, int, std::string>> cases{
    {"seams " + dir + "nothing.step", 1, "no such file"}, {"seams " + dir + "garbage.step", 1, "unreadable"},
    {"seams " + dir + "empty.brep", 1, ""}, {"seams " + dir + "cut.brep", 1, ""}, {"seams " + dir + "void.stp", 1, ""},
    {"seams " + dir + "part.obj", 1, "unsupported file type"}, {"seams", 2, ""}, {"seams a.step b.step", 2, ""},
    {"seams x.step --classifier guess", 2, "unknown classifier 'guess'"}, {"seams x.step --min-length -1", 2, ""},
    {"seams x.step --min-length nan", 2, ""}, {"seams x.step --json", 2, ""}, {"frobnicate", 2, ""}};
  for (const auto& [args, code, error] : cases)
  {
    const CliRun run = cli(args);
    // A reader's own complaint is not printed.
    EXPECT_TRUE(run.code == code && run.err.find(error) != std::string::npos && run.out.empty())
      << args << ": " << run.code << " " << run.err << run.out;
  }
  EXPECT_EQ(cli("seams " + Examples + "lbracket.step --json " + dir).code, 1) << "a folder as --json";
  fs::remove_all(dir);
}
