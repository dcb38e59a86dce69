// Seam arrays as `workpiece seams --json` writes them: an array of IntEdgeFaceSeg arrays. Every
// record read must read back equal from its own array, and the records must sort.
#include "FuzzInput.h"

#include <entity/IntEdgeFaceSeg.h>

#include <json/value.h>

#include <algorithm>
#include <cstdlib>
#include <set>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
  const Json::Value document = FuzzInput::ReadJson(data, size);
  if (!document.isArray())
    return 0;
  std::vector<IntEdgeFaceSeg> seams;
  for (const Json::Value& element : document)
  {
    try
    {
      seams.emplace_back(element);
    }
    catch (const Json::LogicError&)
    {
      // An element of the wrong kind: the documented reaction of FromJson.
      continue;
    }
    const IntEdgeFaceSeg& seam = seams.back();
    if (!(IntEdgeFaceSeg(seam.ToJson()) == seam) || IntEdgeFaceSeg(seam.ToJson()).ToJson() != seam.ToJson())
      std::abort();
  }
  std::sort(seams.begin(), seams.end());
  // The ordering must be a strict weak one: every record finds itself in a set of them.
  const std::set<IntEdgeFaceSeg> unique(seams.begin(), seams.end());
  for (const IntEdgeFaceSeg& seam : seams)
    if (unique.count(seam) != 1)
      std::abort();
  for (IntEdgeFaceSeg& seam : seams)
  {
    seam.UpdateIntDataWithAlgoOffset(seam.face1Index >> 28);
    if (!seam.HasSameFaceWith(seam))
      std::abort();
  }
  return 0;
}
