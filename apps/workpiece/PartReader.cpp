#include "PartReader.h"
#include "PartRepair.h"

#include <cadtools/ShapeHandle.h>

#include <IFSelect_ReturnStatus.hxx>
#include <IGESControl_Reader.hxx>
#include <Message.hxx>
#include <Message_Messenger.hxx>
#include <Message_PrinterOStream.hxx>
#include <STEPControl_Reader.hxx>
#include <Standard_Failure.hxx>
#include <TopExp_Explorer.hxx>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
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
// our own error message says it instead.
struct ConsoleSilencer
{
  std::ostringstream sink;
  std::streambuf* const saved = std::cout.rdbuf(sink.rdbuf());
  ~ConsoleSilencer() { std::cout.rdbuf(saved); }
};

// Returns the shape read by a STEP or IGES reader, or null.
template <typename Reader>
TopoDS_Shape ReadExchange(const std::string& path)
{
  Reader reader;
  if (reader.ReadFile(path.c_str()) != IFSelect_RetDone)
    return TopoDS_Shape();
  if (reader.TransferRoots() == 0)
    return TopoDS_Shape();
  return reader.OneShape();
}
} // namespace

bool PartReader::IsSupported(const std::string& path)
{
  const std::string ext = Extension(path);
  return ext == "step" || ext == "stp" || ext == "iges" || ext == "igs" || ext == "brep";
}

void PartReader::SilenceKernelMessages()
{
  Message::DefaultMessenger()->RemovePrinters(STANDARD_TYPE(Message_PrinterOStream));
}

PartReader::Part PartReader::Read(const std::string& path)
{
  std::error_code code;
  if (!std::filesystem::exists(path, code))
    return {TopoDS_Shape(), "no such file", {}};
  if (std::filesystem::is_directory(path, code))
    return {TopoDS_Shape(), "is a folder, not a part file", {}};
  if (!std::ifstream(path).good())
    return {TopoDS_Shape(), "cannot be opened for reading", {}};
  if (!IsSupported(path))
    return {TopoDS_Shape(), "unsupported file type (use .step, .stp, .iges, .igs or .brep)", {}};

  SilenceKernelMessages();
  TopoDS_Shape shape;
  std::vector<std::string> notes;
  try
  {
    const std::string ext = Extension(path);
    if (ext == "step" || ext == "stp")
      shape = ReadExchange<STEPControl_Reader>(path);
    else if (ext == "iges" || ext == "igs")
      shape = ReadExchange<IGESControl_Reader>(path);
    else
    {
      const ConsoleSilencer silencer;
      std::ifstream in(path, std::ios::binary);
      shape = ShapeHandle::ReadBRep(in);
    }
    if (!shape.IsNull() && TopExp_Explorer(shape, TopAbs_FACE).More())
    {
      PartRepair::Result repaired = PartRepair::Repair(shape);
      shape = repaired.shape;
      notes = std::move(repaired.notes);
    }
  }
  catch (const Standard_Failure& failure)
  {
    return {TopoDS_Shape(), std::string("unreadable: ") + failure.GetMessageString(), {}};
  }
  if (shape.IsNull())
    return {TopoDS_Shape(), "unreadable: no shape could be read from it", {}};
  if (!TopExp_Explorer(shape, TopAbs_FACE).More())
    return {TopoDS_Shape(), "the part is empty: it has no faces", {}};
  return {shape, std::string(), notes};
}
