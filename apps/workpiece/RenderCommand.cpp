#include "RenderCommand.h"

#include "MechanismFile.h"
#include "OutputFile.h"
#include "PartReader.h"
#include "SeamsCommand.h"

#include <entity/MechanismPicture.h>
#include <entity/SeamExtractor.h>
#include <entity/SeamPicture.h>

#include <cadtools/DataHandle.h>
#include <cadtools/WorkpieceError.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <optional>

namespace
{
const char* Usage = R"(usage: workpiece render PART --out PICTURE [options]
       workpiece render MECHANISM.json --joints J1,J2,... --out PICTURE

Draws a part shaded in grey with its edges, the camera fitted to it, into PICTURE (.png, .jpg,
.bmp or .ppm). PART is a .step/.stp, .iges/.igs or .brep file. With --seams its weld seams are
drawn over it, the same seams `workpiece seams` prints: concave thick red, unknown thick yellow
(both visible through the part), convex thin grey, with a legend of the counts and the concave
length in the upper-left corner.

Needs an X server to draw on: the one in DISPLAY, else a private Xvfb started for the run
(install it with `apt-get install xvfb`).

The mechanism form draws a mechanism JSON (as `workpiece fk` reads it) at the --joints values
(degrees for turning joints, millimetres for sliding ones; default all 0, a value outside its
limits is an error), with the entities its flanges name that are described by another JSON file
in its folder mounted on them, and each flange frame as small axes.

options:
  --out FILE           the picture to write (required)
  --seams              draw the weld seams and their legend
  --classifier NAME    orientation (default), probe or planar, as for `workpiece seams`
  --min-length MM      leave out seams shorter than MM (default 0)
  --size WxH           picture size in pixels (default 1280x1024, at most 8192 a side)
  --view NAME          iso (default, from +X -Y +Z), top (from +Z), front (from -Y), right (from +X)
  --camera FILE        also write the camera as JSON: width, height, projection, eye, center, up,
                       scale (the height in mm the picture spans) and aspect
  --help               print this help

exit codes: 0 success, 1 the part cannot be read, no X display can be had or a file cannot be
written, 2 wrong arguments.
)";

struct Request
{
  std::string input, picture, camera, joints;
  bool seams = false;
  SeamExtractor::Options options;
  SeamPicture::Options look;
};

std::optional<SceneRenderer::Direction> ParseDirection(const std::string& name)
{
  if (name == "iso")
    return SceneRenderer::Direction::Iso;
  if (name == "top")
    return SceneRenderer::Direction::Top;
  if (name == "front")
    return SceneRenderer::Direction::Front;
  if (name == "right")
    return SceneRenderer::Direction::Right;
  return std::nullopt;
}

// Reads "WxH" into options; returns whether both sides are whole numbers within 1..MaxSide.
bool ParseSize(const std::string& text, SeamPicture::Options& options)
{
  int width = 0, height = 0;
  char extra = 0;
  if (std::sscanf(text.c_str(), "%dx%d%c", &width, &height, &extra) != 2)
    return false;
  if (width < 1 || height < 1 || width > SceneRenderer::MaxSide || height > SceneRenderer::MaxSide)
    return false;
  options.width = width;
  options.height = height;
  return true;
}

bool IsJson(const std::string& path)
{
  std::string ext = std::filesystem::path(path).extension().string();
  std::transform(ext.begin(), ext.end(), ext.begin(), [](unsigned char c) { return std::tolower(c); });
  return ext == ".json";
}

// Returns the exit code of parsing when the arguments are wrong or help was asked, else nothing.
std::optional<int> Parse(const std::vector<std::string>& args, Request& request, std::ostream& out, std::ostream& err)
{
  CommandOptions reader("render", Usage);
  reader.Flag("--seams", request.seams);
  reader.Text("--out", request.picture);
  reader.Text("--camera", request.camera);
  reader.Text("--joints", request.joints);
  AddSeamOptions(reader, request.options);
  reader.Value("--size", [&request](const std::string& text) {
    if (!ParseSize(text, request.look))
      return "--size needs WxH with whole numbers from 1 to " + std::to_string(SceneRenderer::MaxSide) + ", not '" +
             text + "'";
    return std::string();
  });
  reader.Value("--view", [&request](const std::string& name) {
    const auto direction = ParseDirection(name);
    if (!direction)
      return "unknown view '" + name + "' (use iso, top, front or right)";
    request.look.direction = *direction;
    return std::string();
  });
  if (const std::optional<int> code = reader.Parse(args, request.input, out, err))
    return code;
  if (request.picture.empty())
  {
    err << "workpiece render: no picture given (--out FILE)\n" << Usage;
    return 2;
  }
  return std::nullopt;
}

// Writes the camera when asked and says what was written; returns the exit code.
int Finish(const Request& request, const SceneRenderer& scene, std::ostream& out, std::ostream& err)
{
  if (!request.camera.empty())
  {
    const Json::Value camera = scene.CameraToJson();
    const std::string failure = OutputFile::Write(
      request.camera, {request.input}, [&camera](const std::string& temporary) { return DataHandle::SaveJson(camera, temporary); });
    if (!failure.empty())
    {
      err << "workpiece render: cannot write '" << request.camera << "': " << failure << "\n";
      return 1;
    }
  }
  out << "wrote " << request.picture << " (" << scene.Width() << "x" << scene.Height() << ")";
  return 0;
}

// Writes the picture through OutputFile with `render`, which writes to the path it is given;
// returns the exit code, 0 when written.
int WritePicture(const Request& request, std::ostream& err, const std::function<void(const std::string&)>& render)
{
  const std::string failure = OutputFile::Write(request.picture, {request.input}, [&render](const std::string& temporary) {
    render(temporary);
    return true;
  });
  if (failure.empty())
    return 0;
  err << "workpiece render: cannot write the picture '" << request.picture << "': " << failure << "\n";
  return 1;
}

int RenderMechanism(const Request& request, std::ostream& out, std::ostream& err)
{
  std::vector<double> values;
  if (!request.joints.empty() && !MechanismFile::ParseValues(request.joints, values))
  {
    err << "workpiece render: --joints wants numbers separated by commas, got '" << request.joints << "'\n";
    return 2;
  }
  std::unique_ptr<SceneRenderer> scene;
  try
  {
    const std::unique_ptr<GenericEntityConfig> mechanism = MechanismFile::Load(request.input);
    const auto mounted = MechanismFile::LoadMounted(*mechanism, request.input);
    const std::vector<double> joints = request.joints.empty()
                                           ? std::vector<double>(mechanism->GetLinkRods().size(), 0.0)
                                           : MechanismFile::JointValues(*mechanism, values);
    MechanismPicture::Options look;
    look.width = request.look.width;
    look.height = request.look.height;
    look.direction = request.look.direction;
    std::vector<const Entity*> drawn;
    for (const auto& entity : mounted)
      drawn.push_back(entity.get());
    if (const int code = WritePicture(request, err, [&](const std::string& path) {
          scene = MechanismPicture::Render(*mechanism, joints, drawn, look, path);
        }))
      return code;
  }
  catch (const WorkpieceError& error)
  {
    err << "workpiece render: " << error.what() << "\n";
    return 1;
  }
  const int code = Finish(request, *scene, out, err);
  if (code == 0)
    out << "\n";
  return code;
}

int RenderPart(const Request& request, std::ostream& out, std::ostream& err)
{
  const TopoDS_Shape shape = PartReader::ReadFor("render", request.input, err);
  if (shape.IsNull())
    return 1;
  SeamExtractor::Result seams;
  std::unique_ptr<SceneRenderer> scene;
  try
  {
    if (request.seams)
      seams = SeamExtractor(shape).Extract(request.options);
    if (const int code = WritePicture(request, err, [&](const std::string& path) {
          scene = SeamPicture::Render(shape, request.seams ? &seams.segs : nullptr, request.look, path);
        }))
      return code;
  }
  catch (const WorkpieceError& error)
  {
    err << "workpiece render: " << error.what() << "\n";
    return 1;
  }
  if (const int code = Finish(request, *scene, out, err); code != 0)
    return code;
  if (request.seams)
  {
    const SeamPicture::Summary summary = SeamPicture::Summarize(seams.segs);
    char length[32];
    std::snprintf(length, sizeof length, "%.2f", summary.concaveLength);
    out << ": " << seams.segs.size() << " seams: " << summary.concave << " concave, " << summary.convex
        << " convex, " << summary.unknown << " unknown; concave length " << length << " mm";
  }
  out << "\n";
  return 0;
}
} // namespace

int RunRenderCommand(const std::vector<std::string>& args, std::ostream& out, std::ostream& err)
{
  Request request;
  if (const std::optional<int> code = Parse(args, request, out, err))
    return *code;
  // Refused before the work, which a large part makes long.
  for (const std::string* path : {&request.picture, &request.camera})
    if (const std::string refusal = path->empty() ? std::string() : OutputFile::Refusal(*path, {request.input});
        !refusal.empty())
    {
      err << "workpiece render: cannot write '" << *path << "': " << refusal << "\n";
      return 1;
    }
  if (!request.joints.empty() || IsJson(request.input))
    return RenderMechanism(request, out, err);
  return RenderPart(request, out, err);
}
