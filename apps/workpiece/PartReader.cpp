#include "PartReader.h"

#include <entity/PartFile.h>
#include <entity/PartRepair.h>

#include <cadtools/WorkpieceError.h>

#include <Message.hxx>
#include <Message_Messenger.hxx>
#include <Message_PrinterOStream.hxx>

bool PartReader::IsSupported(const std::string& path)
{
  return PartFile::IsSupported(path);
}

void PartReader::SilenceKernelMessages()
{
  Message::DefaultMessenger()->RemovePrinters(STANDARD_TYPE(Message_PrinterOStream));
}

PartReader::Part PartReader::Read(const std::string& path)
{
  try
  {
    PartRepair::Result repaired = PartRepair::Repair(PartFile::Read(path));
    return {repaired.shape, std::string(), std::move(repaired.notes)};
  }
  catch (const WorkpieceError& error)
  {
    // The commands name the file themselves and give the reason alone.
    const std::string text = error.what(), named = "cannot read the part '" + path + "': ";
    return {TopoDS_Shape(), text.compare(0, named.size(), named) == 0 ? text.substr(named.size()) : text, {}};
  }
}

TopoDS_Shape PartReader::ReadFor(const std::string& command, const std::string& path, std::ostream& err)
{
  const Part read = Read(path);
  if (read.shape.IsNull())
    err << "workpiece " << command << ": cannot read '" << path << "': " << read.error << "\n";
  for (const std::string& note : read.notes)
    err << "workpiece " << command << ": " << path << ": " << note << "\n";
  return read.shape;
}
