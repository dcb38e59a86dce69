#include "SeamsCommand.h"

#include "OutputFile.h"
#include "PartReader.h"
#include "ProgressBar.h"

#include <cadtools/DataHandle.h>

#include <Message_ProgressScope.hxx>
#include <json/json.h>

#include <cstdio>
#include <iomanip>
#include <optional>
#include <unistd.h>

namespace
{
// Parts with at least this many edges show a progress bar on a terminal.
constexpr std::size_t ProgressBarEdges = 500;

const char* Usage = R"(usage: workpiece seams PART [options]

Finds the weld seams of a part: every edge shared by exactly two faces, classified as
concave (an inner corner, the seam that is welded), convex (an outer corner or a smooth
transition) or unknown. PART is a .step/.stp, .iges/.igs or .brep file.

Prints one line per seam (edge index, kind, length in mm, the two face indices; indices
carry the solid in bits 17-27 and the sub-shape within it in the low 17 bits), then a
summary: how many concave, convex and unknown seams, the total concave length, and the
edges left out (bounding one face, seams of closed faces, shared by more than two faces,
degenerated, too short). Loose faces (IGES) are sewn into solids first and inside-out solids
turned; what was done, and what could not be checked, is noted on the standard error.

options:
  --json FILE          also write the seams to FILE as a JSON array of IntEdgeFaceSeg arrays
                       [edge, face1, face2, fuzzy, type, aux flag, need-view-convex, aux number]
                       (type 0 unknown, 1 concave, 2 convex); FILE must be new or a regular
                       file of your own other than PART (a link writes the file it points to)
  --classifier NAME    orientation (default): direction of the normals' cross product
                       along the edge, at several points of it;
                       probe: probe points up to 1.1 mm into each face;
                       planar: probe distances, planar faces only (others are unknown)
  --min-length MM      leave out edges shorter than MM (to the printed 0.01; default 0)
  --help               print this help

exit codes: 0 success, 1 the part is missing, unreadable or empty, or FILE cannot be
written, 2 wrong arguments.
)";

// Returns the printed name of a seam kind.
const char* KindName(EdgeType type)
{
  switch (type)
  {
  case EdgeType::Concave:
    return "concave";
  case EdgeType::Convex:
    return "convex";
  case EdgeType::Unknown:
    break;
  }
  return "unknown";
}

// Returns the index as 0x-prefixed, eight hex digits.
std::string Hex(std::uint32_t index)
{
  char text[11];
  std::snprintf(text, sizeof text, "0x%08X", index);
  return text;
}

} // namespace

void AddSeamOptions(CommandOptions& reader, SeamExtractor::Options& options)
{
  reader.Value("--classifier", [&options](const std::string& name) {
    for (const auto c : {SeamExtractor::Classifier::Probe, SeamExtractor::Classifier::Planar,
                         SeamExtractor::Classifier::Orientation})
      if (SeamExtractor::ClassifierName(c) == name)
      {
        options.classifier = c;
        return std::string();
      }
    return "unknown classifier '" + name + "' (use probe, planar or orientation)";
  });
  reader.Value("--min-length", [&options](const std::string& text) {
    const std::string wrong = "--min-length needs a non-negative number, not '" + text + "'";
    try
    {
      std::size_t used = 0;
      const double value = std::stod(text, &used);
      if (used != text.size() || !(value >= 0.0))
        return wrong;
      options.minLength = value;
      return std::string();
    }
    catch (const std::exception&)
    {
      return wrong;
    }
  });
}

void PrintSeams(const SeamExtractor::Result& result, std::ostream& out)
{
  out << "  #  edge        kind      length mm  face1       face2\n";
  std::size_t concave = 0, convex = 0, unknown = 0;
  double concaveLength = 0.0;
  for (std::size_t i = 0; i < result.segs.size(); ++i)
  {
    const EdgeFaceSeg& seg = result.segs[i];
    out << std::setw(3) << i + 1 << "  " << Hex(seg.Edge_Index()) << "  " << std::left << std::setw(8)
        << KindName(seg.GetEdgeType()) << std::right << std::fixed << std::setprecision(2) << std::setw(11)
        << seg.GetSegLength() << "  " << Hex(seg.Face1_Index()) << "  " << Hex(seg.Face2_Index()) << "\n";
    switch (seg.GetEdgeType())
    {
    case EdgeType::Concave:
      ++concave;
      concaveLength += seg.GetSegLength();
      break;
    case EdgeType::Convex:
      ++convex;
      break;
    case EdgeType::Unknown:
      ++unknown;
      break;
    }
  }
  out << result.segs.size() << " seams: " << concave << " concave, " << convex << " convex, " << unknown
      << " unknown; concave length " << std::fixed << std::setprecision(2) << concaveLength << " mm\n";
  out << result.edges << " edges; left out: " << result.oneFace << " bounding one face, " << result.closedFaceSeams
      << " seams of closed faces, " << result.manyFaces
      << " shared by more than two faces, " << result.degenerated << " degenerated, " << result.tooShort
      << " shorter than the minimum length";
  if (result.failed > 0)
    out << "; " << result.failed << " unknown because the geometry kernel failed on them";
  if (result.changing > 0)
    out << "; " << result.changing << " unknown because they change from concave to convex along their length";
  out << "\n";
}

int RunSeamsCommand(const std::vector<std::string>& args, std::ostream& out, std::ostream& err)
{
  std::string part, jsonPath;
  SeamExtractor::Options options;
  CommandOptions reader("seams", Usage);
  reader.Text("--json", jsonPath);
  AddSeamOptions(reader, options);
  if (const std::optional<int> code = reader.Parse(args, part, out, err))
    return *code;

  // Refused before the work, which a large part makes long.
  if (const std::string refusal = jsonPath.empty() ? std::string() : OutputFile::Refusal(jsonPath, {part});
      !refusal.empty())
  {
    err << "workpiece seams: cannot write '" << jsonPath << "': " << refusal << "\n";
    return 1;
  }
  const TopoDS_Shape shape = PartReader::ReadFor("seams", part, err);
  if (shape.IsNull())
    return 1;
  SeamExtractor::Result result;
  try
  {
    const SeamExtractor extractor(shape);
    Handle(ProgressBar) bar;
    if (isatty(STDERR_FILENO) && extractor.NbEdges() >= ProgressBarEdges)
      bar = new ProgressBar(err);
    result = extractor.Extract(options, bar.IsNull() ? Message_ProgressRange() : bar->Start());
  }
  catch (const std::length_error& tooLarge)
  {
    err << "workpiece seams: cannot index '" << part << "': " << tooLarge.what() << "\n";
    return 1;
  }

  out << part << " (" << SeamExtractor::ClassifierName(options.classifier) << " classifier)\n";
  PrintSeams(result, out);

  if (!jsonPath.empty())
  {
    Json::Value seams(Json::arrayValue);
    for (const EdgeFaceSeg& seg : result.segs)
      seams.append(seg.GetIntSeg().ToJson());
    const std::string failure = OutputFile::Write(
      jsonPath, {part}, [&seams](const std::string& temporary) { return DataHandle::SaveJson(seams, temporary); });
    if (!failure.empty())
    {
      err << "workpiece seams: cannot write '" << jsonPath << "': " << failure << "\n";
      return 1;
    }
  }
  return 0;
}
