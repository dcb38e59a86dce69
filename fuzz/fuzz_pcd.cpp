// PCD text as point-cloud models carry it; a cloud that loads is written and must read back the same.
#include <pointcloud/CloudShape.h>

#include <cstdint>
#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
  const Handle(CloudShape) cloud = new CloudShape();
  if (!cloud->LoadPCDFromString(std::string(reinterpret_cast<const char*>(data), size)))
    return 0;
  const Handle(CloudShape) again = new CloudShape();
  if (!again->LoadPCDFromString(cloud->PCDToString()) || again->Points().size() != cloud->Points().size())
    std::abort();
  for (std::size_t i = 0; i < cloud->Points().size(); ++i)
    if (!(again->Points()[i].XYZ() - cloud->Points()[i].XYZ()).IsEqual(gp_XYZ(), 0.0))
      std::abort();
  return 0;
}
