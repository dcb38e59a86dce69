// Part files through PartFile: the first byte picks the format (BREP, STEP, IGES), the rest is the file.
#include "FuzzInput.h"

#include <entity/PartFile.h>

#include <cadtools/WorkpieceError.h>

#include <BRepPrimAPI_MakeBox.hxx>
#include <IGESControl_Writer.hxx>
#include <STEPControl_Writer.hxx>

#include <array>

// The exchange libraries keep registries for the life of the process, and they are built without
// frame pointers: only a full unwind of each allocation lets the leak suppressions recognise them.
extern "C" const char* __asan_default_options()
{
  return "fast_unwind_on_malloc=0";
}

namespace
{
const std::array<const char*, 3> Names = {"part.brep", "part.step", "part.iges"};
} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
  FuzzInput::Quiet();
  // The exchange libraries build their registries on the first file and keep them for the life of
  // the process; reading one file of each kind here keeps them out of the leak check of the inputs.
  const TopoDS_Shape box = BRepPrimAPI_MakeBox(10.0, 20.0, 30.0).Shape();
  STEPControl_Writer step;
  step.Transfer(box, STEPControl_AsIs);
  step.Write((FuzzInput::Folder() + "warm.step").c_str());
  IGESControl_Writer iges("MM", 1);
  iges.AddShape(box);
  iges.Write((FuzzInput::Folder() + "warm.iges").c_str());
  PartFile::Read(FuzzInput::Folder() + "warm.step");
  PartFile::Read(FuzzInput::Folder() + "warm.iges");
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
  if (size == 0)
    return 0;
  const std::string path = FuzzInput::WriteFile(Names[data[0] % Names.size()], data + 1, size - 1);
  try
  {
    PartFile::ReadBodies(path);
  }
  catch (const WorkpieceError&)
  {
  }
  return 0;
}
