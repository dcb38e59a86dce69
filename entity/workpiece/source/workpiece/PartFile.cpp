// The exchange readers dereference whatever a damaged file points to. With this defined,
// OCC_CATCH_SIGNALS turns the resulting access violation into a Standard_Failure at the reader
// (the Debian build of OpenCASCADE is built the same way, so its own handlers jump here too).
#define OCC_CONVERT_SIGNALS

#include <entity/PartFile.h>

#include "workpiece/IgesPrecheck.h"

#include <cadtools/ShapeCheck.h>
#include <cadtools/ShapeHandle.h>
#include <cadtools/WorkpieceError.h>

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
#include <OSD.hxx>
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
#include <cctype>
#include <filesystem>
#include <fstream>
#include <array>
#include <functional>
#include <iterator>
#include <mutex>
#include <iostream>
#include <sstream>
#include <new>
#include <type_traits>

#include <signal.h>
#include <stdlib.h>
#include <sys/resource.h>
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

// Selects the long-loop healing for one transfer and restores the reader's setting afterwards. The
// setting is process-wide: a STEP read on another thread meanwhile would heal the same way.
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

// Address space a read may take beyond what the process holds already: at least MinReadBudget,
// more for large files. A count of 2147483647 in an IGES B-spline made the reader allocate 17 GB
// before it found the file has no such knots; IgesPrecheck refuses the counts it knows, this cap
// bounds the rest (overcommitted memory would not stop them, the cap does, and the allocation then
// fails at once). Reading and checking the largest part of the test corpus (1.2 MB of STEP) grows
// the process by about 30 bytes per byte of file.
constexpr rlim_t MinReadBudget = rlim_t(2) << 30;
constexpr rlim_t ReadBudgetPerByte = 64;

// Returns the address space the process holds now, 0 when it cannot tell.
rlim_t AddressSpaceInUse()
{
  std::ifstream statm("/proc/self/statm");
  unsigned long long pages = 0;
  statm >> pages;
  return statm ? rlim_t(pages) * rlim_t(::sysconf(_SC_PAGESIZE)) : 0;
}

// Signals the kernel's handlers turn into exceptions while a file is read.
constexpr int FaultSignalList[] = {SIGSEGV, SIGBUS, SIGFPE, SIGILL};

// What the reads that are running now changed in the process, and how it was before the first.
struct ReadState
{
  std::mutex mutex;
  int readers = 0;
  struct sigaction handlers[NSIG] = {};
  rlimit limit{};
  bool limited = false;
};

ReadState& State()
{
  static ReadState state;
  return state;
}

// Guards the process while a file is read. The kernel's handlers turn faults into exceptions, so
// that a reader dereferencing what a damaged file points to fails with an error instead of ending
// the process; the host's handlers of those signals (a sanitizer's among them) are given back
// afterwards and other signals keep theirs throughout. The address space is capped to what the
// process holds plus the read's budget. Both are per process: reads on several threads share
// them, each widening the cap by its own budget, and the last to finish restores them.
class ReadGuard
{
public:
  explicit ReadGuard(std::uintmax_t fileSize)
  {
    ReadState& state = State();
    const std::lock_guard<std::mutex> lock(state.mutex);
    if (state.readers++ == 0)
    {
      for (int signal = 1; signal < NSIG; ++signal)
        ::sigaction(signal, nullptr, &state.handlers[signal]);
      OSD::SetSignal(OSD_SignalMode_Set, false);
      for (int signal = 1; signal < NSIG; ++signal)
        if (std::find(std::begin(FaultSignalList), std::end(FaultSignalList), signal) == std::end(FaultSignalList))
          ::sigaction(signal, &state.handlers[signal], nullptr);
      state.limited = ::getrlimit(RLIMIT_AS, &state.limit) == 0;
    }
    const rlim_t used = AddressSpaceInUse();
    rlimit current{};
    if (!state.limited || used == 0 || ::getrlimit(RLIMIT_AS, &current) != 0)
      return;
    rlim_t cap = used + std::max(MinReadBudget, ReadBudgetPerByte * rlim_t(fileSize));
    // A lower limit set by the user is kept.
    if (state.limit.rlim_cur != RLIM_INFINITY)
      cap = std::min(cap, state.limit.rlim_cur);
    if (current.rlim_cur == RLIM_INFINITY || current.rlim_cur < cap)
    {
      current.rlim_cur = cap;
      ::setrlimit(RLIMIT_AS, &current);
    }
  }
  ~ReadGuard()
  {
    ReadState& state = State();
    const std::lock_guard<std::mutex> lock(state.mutex);
    if (--state.readers > 0)
      return;
    for (const int signal : FaultSignalList)
      ::sigaction(signal, &state.handlers[signal], nullptr);
    if (state.limited)
      ::setrlimit(RLIMIT_AS, &state.limit);
  }
  ReadGuard(const ReadGuard&) = delete;
  ReadGuard& operator=(const ReadGuard&) = delete;
};

// Returns what `call` returns. A fault in the kernel below jumps back here and is raised as a
// Standard_Failure, so that the caller's objects are released by the usual unwinding, not skipped
// by the jump: a reader skipped so would keep its whole model.
template <typename Call>
auto Guarded(Call call)
{
  OCC_CATCH_SIGNALS
  return call();
}

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

// Reads a STEP or IGES file; `name` then gives the file's name of a transferred shape.
template <typename Reader>
TopoDS_Shape ReadExchange(const std::string& path, std::function<std::string(const TopoDS_Shape&)>& name)
{
  auto reader = std::make_shared<Reader>();
  if (!Guarded([&] { return reader->ReadFile(path.c_str()) == IFSelect_RetDone; }))
    return TopoDS_Shape();
  if constexpr (std::is_same_v<Reader, STEPControl_Reader>)
    if (const std::string damage = Guarded([&] { return DamagedEntity(reader->WS()); }); !damage.empty())
      Fail(path, "unreadable: " + damage);
  const LongLoopHealing healing(std::is_same_v<Reader, STEPControl_Reader> && HasLongLoop(reader->Model()));
  if (!Guarded([&] { return reader->TransferRoots() > 0; }))
    return TopoDS_Shape();
  name = [reader](const TopoDS_Shape& shape) {
    const Handle(XSControl_TransferReader) transfer = reader->WS()->TransferReader();
    Handle(Standard_Transient) entity = transfer->EntityFromShapeResult(shape, 1);
    if (entity.IsNull())
      entity = transfer->EntityFromShapeResult(shape, -1);
    return NameOf(entity);
  };
  return reader->OneShape();
}

// Reads the file; `name` is set for exchange formats that name their shapes.
TopoDS_Shape ReadShape(const std::string& path, std::function<std::string(const TopoDS_Shape&)>& name)
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

  // The exchange readers print their statistics on standard output, mixing with the host's own.
  Message::DefaultMessenger()->RemovePrinters(STANDARD_TYPE(Message_PrinterOStream));
  const std::string ext = Extension(path);
  if (ext == "iges" || ext == "igs")
  {
    std::ifstream text(path, std::ios::binary);
    if (const std::string problem = IgesPrecheck::Problem(text); !problem.empty())
      Fail(path, "unreadable: " + problem);
  }
  const std::uintmax_t size = std::filesystem::file_size(path, code);
  const ReadGuard guard(code ? 0 : size);
  TopoDS_Shape shape;
  std::string problem;
  try
  {
    OCC_CATCH_SIGNALS
    if (ext == "step" || ext == "stp")
      shape = ReadExchange<STEPControl_Reader>(path, name);
    else if (ext == "iges" || ext == "igs")
      shape = ReadExchange<IGESControl_Reader>(path, name);
    else
    {
      const ConsoleSilencer silencer;
      std::ifstream in(path, std::ios::binary);
      shape = ShapeHandle::ReadBRep(in);
    }
    // Checked here, where a fault on what the reader returned is caught as well.
    problem = ShapeCheck::Problem(shape);
  }
  catch (const Standard_OutOfMemory&)
  {
    Fail(path, "unreadable: it asks for more memory than a part of its size can need");
  }
  catch (const std::bad_alloc&)
  {
    Fail(path, "unreadable: it asks for more memory than a part of its size can need");
  }
  catch (const Standard_Failure& failure)
  {
    Fail(path, std::string("unreadable: ") + failure.GetMessageString());
  }
  if (shape.IsNull())
    Fail(path, "unreadable: no shape could be read from it");
  if (!TopExp_Explorer(shape, TopAbs_FACE).More())
    Fail(path, "the part is empty: it has no faces");
  if (!problem.empty())
    Fail(path, "unusable: " + problem);
  return shape;
}
} // namespace

bool PartFile::IsSupported(const std::string& path)
{
  const std::string ext = Extension(path);
  return ext == "step" || ext == "stp" || ext == "iges" || ext == "igs" || ext == "brep";
}

TopoDS_Shape PartFile::Read(const std::string& path)
{
  std::function<std::string(const TopoDS_Shape&)> name;
  return ReadShape(path, name);
}

std::vector<PartFile::Body> PartFile::ReadBodies(const std::string& path)
{
  std::function<std::string(const TopoDS_Shape&)> name;
  const TopoDS_Shape shape = ReadShape(path, name);
  std::vector<Body> bodies;
  for (TopExp_Explorer it(shape, TopAbs_SOLID); it.More(); it.Next())
    bodies.push_back({it.Current(), name ? name(it.Current()) : std::string()});
  if (bodies.empty())
    bodies.push_back({shape, std::string()});
  return bodies;
}
