// The exchange readers dereference whatever a damaged file points to. With this defined,
// OCC_CATCH_SIGNALS turns the resulting access violation into a Standard_Failure at the reader
// (the Debian build of OpenCASCADE is built the same way, so its own handlers jump here too).
#ifndef OCC_CONVERT_SIGNALS
#define OCC_CONVERT_SIGNALS
#endif

#include <entity/PartFile.h>

#include "workpiece/IgesPrecheck.h"

#include <cadtools/ChildProcess.h>
#include <cadtools/ShapeCheck.h>
#include <cadtools/ShapeHandle.h>
#include <cadtools/WorkpieceError.h>

#include <BinTools.hxx>
#include <IFSelect_ReturnStatus.hxx>
#include <IGESControl_Reader.hxx>
#include <IGESData_IGESEntity.hxx>
#include <Interface_Check.hxx>
#include <Interface_CheckIterator.hxx>
#include <Interface_InterfaceModel.hxx>
#include <Interface_Static.hxx>
#include <Message.hxx>
#include <Message_Messenger.hxx>
#include <Message_PrinterOStream.hxx>
#include <STEPControl_Reader.hxx>
#include <Standard_ErrorHandler.hxx>
#include <Standard_Failure.hxx>
#include <Standard_OutOfMemory.hxx>
#include <StepRepr_RepresentationItem.hxx>
#include <StepShape_EdgeLoop.hxx>
#include <TCollection_HAsciiString.hxx>
#include <TopExp_Explorer.hxx>
#include <Transfer_TransientProcess.hxx>
#include <XSControl_TransferReader.hxx>
#include <XSControl_WorkSession.hxx>

#include <algorithm>
#include <array>
#include <cctype>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <new>
#include <sstream>
#include <type_traits>

#include <stdlib.h>
#include <unistd.h>

namespace
{
// Returns the file's extension in lower case, without the dot.
std::string Extension(const std::string& path)
{
  std::string ext = std::filesystem::path(path).extension().string();
  if (!ext.empty())
    ext.erase(0, 1);
  std::transform(ext.begin(), ext.end(), ext.begin(), [](unsigned char c) { return std::tolower(c); });
  return ext;
}

// Sends std::cout to nowhere while it lives: the BREP reader reports format problems there, and
// our own error says it instead.
struct ConsoleSilencer
{
  std::ostringstream sink;
  std::streambuf* const saved = std::cout.rdbuf(sink.rdbuf());
  ~ConsoleSilencer() { std::cout.rdbuf(saved); }
};

// Address space a read may add in its child: at least MinReadBudget, more for large files. A count of
// 2147483647 in an IGES B-spline made the reader allocate 17 GB before it found the file has no such
// knots; IgesPrecheck refuses the counts it knows, this cap bounds the rest (overcommitted memory
// would not stop them, the cap does, and the allocation then fails at once). Reading and checking the
// largest part of the test corpus (1.2 MB of STEP) grows the process by about 30 bytes per byte of file.
constexpr std::size_t MinReadBudget = std::size_t(2) << 30;
constexpr std::size_t ReadBudgetPerByte = 64;

// Time a read may take before its child is stopped. The largest corpus part reads and checks in
// about a second; a reader caught in a loop on a damaged file would otherwise never return.
constexpr double MinReadSeconds = 30.0;
constexpr double ReadSecondsPerMiB = 60.0;

constexpr const char* OutOfMemory = "unreadable: it asks for more memory than a part of its size can need";

[[noreturn]] void Fail(const std::string& path, const std::string& reason)
{
  throw WorkpieceError("cannot read the part '" + path + "': " + reason);
}

// Returns the name the exchange file gives the entity a shape was made from, empty when none.
std::string NameOf(const Handle(Standard_Transient)& entity)
{
  if (const auto item = Handle(StepRepr_RepresentationItem)::DownCast(entity); !item.IsNull() && !item->Name().IsNull())
    return item->Name()->ToCString();
  if (const auto iges = Handle(IGESData_IGESEntity)::DownCast(entity); !iges.IsNull() && iges->HasName())
    return iges->NameValue()->ToCString();
  return std::string();
}

// Wires of more edges than this are not checked for self-intersection when a STEP file is read:
// the healing compares every pair of edges and finds each edge by walking a list, so a comb face
// of 3,600 edges took 96 s (a tenth of that without the check), and its shape is valid without it.
constexpr Standard_Integer LongLoopEdges = 500;

// The STEP healing of the kernel's own resource, but for the self-intersection check of wires.
constexpr const char* LongLoopResourceName = "WorkpieceLongLoopSTEP";
constexpr const char* LongLoopResource = R"(FromSTEP.exec.op : FixShape
FromSTEP.FixShape.Tolerance3d : &Runtime.Tolerance
FromSTEP.FixShape.MaxTolerance3d : &Runtime.MaxTolerance
FromSTEP.FixShape.MinTolerance3d : 1.e-7
FromSTEP.FixShape.CreateOpenSolidMode : 0
FromSTEP.FixShape.AutoCorrectPrecisionMode : 1
FromSTEP.FixShape.ModifyTopologyMode : 0
FromSTEP.FixShape.ModifyGeometryMode : 1
FromSTEP.FixShape.ClosedWireMode : 1
FromSTEP.FixShape.PreferencePCurveMode : 1
FromSTEP.FixShape.FixEdgeSameParameterMode : 0
FromSTEP.FixShape.FixTailMode : 0
FromSTEP.FixShape.MaxTailAngle : 0
FromSTEP.FixShape.MaxTailWidth : -1
FromSTEP.FixShape.FixVertexPositionMode : 0
FromSTEP.FixShape.FixSelfIntersectionMode : 0
)";

// Returns whether the parsed STEP model has an edge loop longer than LongLoopEdges.
bool HasLongLoop(const Handle(Interface_InterfaceModel)& model)
{
  for (Standard_Integer i = 1; !model.IsNull() && i <= model->NbEntities(); ++i)
    if (const auto loop = Handle(StepShape_EdgeLoop)::DownCast(model->Value(i));
        !loop.IsNull() && loop->NbEdgeList() > LongLoopEdges)
      return true;
  return false;
}

// Writes the long-loop resource once and names its folder where the kernel's resource manager looks.
bool InstallLongLoopResource()
{
  static const bool installed = [] {
    std::error_code code;
    const std::filesystem::path dir = std::filesystem::temp_directory_path(code) / "workpiece-step-resource";
    std::filesystem::create_directories(dir, code);
    // Written aside and renamed, so that a process reading it meanwhile never sees half a file.
    const std::filesystem::path file = dir / LongLoopResourceName;
    const std::filesystem::path aside = dir / (std::string(LongLoopResourceName) + "." + std::to_string(::getpid()));
    std::ofstream(aside) << LongLoopResource;
    std::filesystem::rename(aside, file, code);
    const std::string variable = std::string("CSF_") + LongLoopResourceName + "Defaults";
    return !code && ::setenv(variable.c_str(), dir.c_str(), 1) == 0;
  }();
  return installed;
}

// Selects the long-loop healing for one transfer and restores the reader's setting afterwards (the
// setting is process-wide, and the child process that reads holds no other reader).
class LongLoopHealing
{
public:
  explicit LongLoopHealing(bool use)
  {
    const char* current = Interface_Static::CVal(Key);
    mySaved = current != nullptr ? current : "";
    myActive = use && InstallLongLoopResource() && Interface_Static::SetCVal(Key, LongLoopResourceName);
  }
  ~LongLoopHealing()
  {
    if (myActive)
      Interface_Static::SetCVal(Key, mySaved.c_str());
  }
  LongLoopHealing(const LongLoopHealing&) = delete;
  LongLoopHealing& operator=(const LongLoopHealing&) = delete;

private:
  static constexpr const char* Key = "read.step.resource.name";
  std::string mySaved;
  bool myActive = false;
};

// Returns why the STEP reader left an entity unusable, in our words and its own, empty when none:
// the transfer would follow a reference into a null entity, or fault on an entity read only in part
// (a syntax error, a parameter of the wrong type or count). Other failures the reader records, such
// as a dimension that is not an entity in the NIST test parts, leave the geometry whole and pass.
std::string DamagedEntity(const Handle(XSControl_WorkSession)& session)
{
  static const std::array<std::pair<const char*, const char*>, 4> Damages = {{
    {"Unresolved Reference", "a reference to an entity the file does not define"},
    {"Undefined Parsing", "an entity the file does not give whole"},
    {"Count of Parameters is not", "an entity the file does not give whole"},
    {"Entity has illegal type", "an entity the file does not give whole"},
  }};
  Interface_CheckIterator checks = session->ModelCheckList();
  for (checks.Start(); checks.More(); checks.Next())
    for (Standard_Integer i = 1; i <= checks.Value()->NbFails(); ++i)
    {
      const std::string fail = checks.Value()->CFail(i);
      for (const auto& [pattern, wording] : Damages)
        if (fail.find(pattern) != std::string::npos)
          return std::string(wording) + " (" + fail + ")";
    }
  return std::string();
}

// A read's result as the child passes it back: the names of the solids, in the order TopExp_Explorer
// visits them, then the shape in the kernel's binary format, which keeps every double exactly.
struct ReadResult
{
  TopoDS_Shape shape;
  std::vector<std::string> names;
};

// Returns `count` as four bytes.
std::string CountBytes(std::size_t count)
{
  const std::uint32_t value = static_cast<std::uint32_t>(count);
  return std::string(reinterpret_cast<const char*>(&value), sizeof value);
}

// Returns the count at the stream's position.
std::size_t ReadCount(std::istream& in)
{
  std::uint32_t value = 0;
  in.read(reinterpret_cast<char*>(&value), sizeof value);
  return in ? value : 0;
}

std::string Encode(const ReadResult& result)
{
  std::ostringstream out(std::ios::binary);
  out << CountBytes(result.names.size());
  for (const std::string& name : result.names)
    out << CountBytes(name.size()) << name;
  BinTools::Write(result.shape, out, false, false, BinTools_FormatVersion_CURRENT);
  return out.str();
}

ReadResult Decode(const std::string& bytes)
{
  std::istringstream in(bytes, std::ios::binary);
  ReadResult result;
  result.names.resize(ReadCount(in));
  for (std::string& name : result.names)
  {
    name.resize(ReadCount(in));
    in.read(name.data(), static_cast<std::streamsize>(name.size()));
  }
  BinTools::Read(result.shape, in);
  return result;
}

// Reads a STEP or IGES file, naming its solids.
template <typename Reader>
ReadResult ReadExchange(const std::string& path)
{
  Reader reader;
  if (reader.ReadFile(path.c_str()) != IFSelect_RetDone)
    return {};
  if constexpr (std::is_same_v<Reader, STEPControl_Reader>)
    if (const std::string damage = DamagedEntity(reader.WS()); !damage.empty())
      Fail(path, "unreadable: " + damage);
  const LongLoopHealing healing(std::is_same_v<Reader, STEPControl_Reader> && HasLongLoop(reader.Model()));
  if (reader.TransferRoots() <= 0)
    return {};
  ReadResult result{reader.OneShape(), {}};
  const Handle(XSControl_TransferReader) transfer = reader.WS()->TransferReader();
  for (TopExp_Explorer it(result.shape, TopAbs_SOLID); it.More(); it.Next())
  {
    Handle(Standard_Transient) entity = transfer->EntityFromShapeResult(it.Current(), 1);
    if (entity.IsNull())
      entity = transfer->EntityFromShapeResult(it.Current(), -1);
    result.names.push_back(NameOf(entity));
  }
  return result;
}

// Reads and checks the file; meant to run in a child process, which a fault or a leak of the kernel's
// readers on a damaged file cannot outlive.
ReadResult ReadChecked(const std::string& path, const std::string& ext)
{
  // The exchange readers print their statistics on standard output, mixing with the host's own.
  Message::DefaultMessenger()->RemovePrinters(STANDARD_TYPE(Message_PrinterOStream));
  ReadResult result;
  std::string problem;
  try
  {
    OCC_CATCH_SIGNALS
    if (ext == "step" || ext == "stp")
      result = ReadExchange<STEPControl_Reader>(path);
    else if (ext == "iges" || ext == "igs")
      result = ReadExchange<IGESControl_Reader>(path);
    else
    {
      const ConsoleSilencer silencer;
      std::ifstream in(path, std::ios::binary);
      result.shape = ShapeHandle::ReadBRep(in);
    }
    // Checked here, where a fault on what the reader returned is caught as well.
    problem = ShapeCheck::Problem(result.shape);
  }
  catch (const Standard_OutOfMemory&)
  {
    Fail(path, OutOfMemory);
  }
  catch (const std::bad_alloc&)
  {
    Fail(path, OutOfMemory);
  }
  catch (const Standard_Failure& failure)
  {
    Fail(path, std::string("unreadable: ") + failure.GetMessageString());
  }
  if (result.shape.IsNull())
    Fail(path, "unreadable: no shape could be read from it");
  if (!TopExp_Explorer(result.shape, TopAbs_FACE).More())
    Fail(path, "the part is empty: it has no faces");
  if (!problem.empty())
    Fail(path, "unusable: " + problem);
  return result;
}

// Returns the bounds of reading a file of `size` bytes in a child.
ChildProcess::Limits ReadLimits(std::uintmax_t size)
{
  const double mebibytes = double(size) / double(1 << 20);
  return {std::chrono::milliseconds(static_cast<long long>(1000.0 * (MinReadSeconds + ReadSecondsPerMiB * mebibytes))),
          std::max<std::size_t>(MinReadBudget, ReadBudgetPerByte * std::size_t(size))};
}

// Reads the file in a child process, after the checks that need no reader.
ReadResult ReadShape(const std::string& path)
{
  std::error_code code;
  if (!std::filesystem::exists(path, code))
    Fail(path, "no such file");
  if (std::filesystem::is_directory(path, code))
    Fail(path, "is a folder, not a part file");
  if (!std::ifstream(path).good())
    Fail(path, "cannot be opened for reading");
  if (!PartFile::IsSupported(path))
    Fail(path, "unsupported file type (use .step, .stp, .iges, .igs or .brep)");

  const std::string ext = Extension(path);
  if (ext == "iges" || ext == "igs")
  {
    std::ifstream text(path, std::ios::binary);
    if (const std::string problem = IgesPrecheck::Problem(text); !problem.empty())
      Fail(path, "unreadable: " + problem);
  }
  const std::uintmax_t size = std::filesystem::file_size(path, code);
  const ChildProcess::Outcome outcome = ChildProcess::Run([&] { return Encode(ReadChecked(path, ext)); }, ReadLimits(code ? 0 : size));
  if (outcome.end == ChildProcess::End::Threw)
    throw WorkpieceError(outcome.text);
  if (outcome.end == ChildProcess::End::Failed)
    Fail(path, "unreadable: the reader failed on it: " + outcome.text);
  ReadResult result = Decode(outcome.text);
  if (result.shape.IsNull())
    Fail(path, "unreadable: the reader's result could not be passed back");
  return result;
}
} // namespace

bool PartFile::IsSupported(const std::string& path)
{
  const std::string ext = Extension(path);
  return ext == "step" || ext == "stp" || ext == "iges" || ext == "igs" || ext == "brep";
}

TopoDS_Shape PartFile::Read(const std::string& path)
{
  return ReadShape(path).shape;
}

std::vector<PartFile::Body> PartFile::ReadBodies(const std::string& path)
{
  const ReadResult result = ReadShape(path);
  std::vector<Body> bodies;
  for (TopExp_Explorer it(result.shape, TopAbs_SOLID); it.More(); it.Next())
    bodies.push_back({it.Current(), bodies.size() < result.names.size() ? result.names[bodies.size()] : std::string()});
  if (bodies.empty())
    bodies.push_back({result.shape, std::string()});
  return bodies;
}
