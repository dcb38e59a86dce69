#include <entity/PartFile.h>

#include <cadtools/ShapeHandle.h>
#include <cadtools/WorkpieceError.h>

#include <IFSelect_ReturnStatus.hxx>
#include <IGESControl_Reader.hxx>
#include <IGESData_IGESEntity.hxx>
#include <Message.hxx>
#include <Message_Messenger.hxx>
#include <Message_PrinterOStream.hxx>
#include <STEPControl_Reader.hxx>
#include <Standard_Failure.hxx>
#include <StepRepr_RepresentationItem.hxx>
#include <TCollection_HAsciiString.hxx>
#include <TopExp_Explorer.hxx>
#include <Transfer_TransientProcess.hxx>
#include <XSControl_TransferReader.hxx>
#include <XSControl_WorkSession.hxx>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <sstream>

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

// Reads a STEP or IGES file; `name` then gives the file's name of a transferred shape.
template <typename Reader>
TopoDS_Shape ReadExchange(const std::string& path, std::function<std::string(const TopoDS_Shape&)>& name)
{
  auto reader = std::make_shared<Reader>();
  if (reader->ReadFile(path.c_str()) != IFSelect_RetDone)
    return TopoDS_Shape();
  if (reader->TransferRoots() == 0)
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
  TopoDS_Shape shape;
  try
  {
    const std::string ext = Extension(path);
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
  }
  catch (const Standard_Failure& failure)
  {
    Fail(path, std::string("unreadable: ") + failure.GetMessageString());
  }
  if (shape.IsNull())
    Fail(path, "unreadable: no shape could be read from it");
  if (!TopExp_Explorer(shape, TopAbs_FACE).More())
    Fail(path, "the part is empty: it has no faces");
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
