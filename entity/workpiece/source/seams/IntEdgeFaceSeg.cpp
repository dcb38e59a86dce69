#include <entity/IntEdgeFaceSeg.h>

#include <cmath>

namespace
{
// Bits of an index below the algorithm tag.
constexpr std::uint32_t UntaggedMask = 0x0FFFFFFF;
// Array lengths from which the optional members are present.
constexpr Json::ArrayIndex FlagsLength = 7;
constexpr Json::ArrayIndex AuxNumberLength = 8;
} // namespace

IntEdgeFaceSeg::IntEdgeFaceSeg(std::uint32_t edge, std::uint32_t face1, std::uint32_t face2, double fuzzy,
                               EdgeType type)
  : edgeIndex(edge), face1Index(face1), face2Index(face2), fuzzyValue(fuzzy), edgeType(type)
{
}

IntEdgeFaceSeg::IntEdgeFaceSeg(const Json::Value& json)
{
  FromJson(json);
}

bool IntEdgeFaceSeg::operator<(const IntEdgeFaceSeg& other) const
{
  if (edgeIndex != other.edgeIndex)
    return edgeIndex < other.edgeIndex;
  // The sum wraps on purpose: it is only a grouping key for the face pair.
  const std::uint32_t sum = face1Index + face2Index;
  const std::uint32_t otherSum = other.face1Index + other.face2Index;
  return sum < otherSum;
}

bool IntEdgeFaceSeg::operator==(const IntEdgeFaceSeg& other) const
{
  return edgeIndex == other.edgeIndex && HasSameFaceWith(other) &&
         std::abs(fuzzyValue - other.fuzzyValue) < FuzzySlack - FuzzyRoundOff;
}

bool IntEdgeFaceSeg::HasSameFaceWith(const IntEdgeFaceSeg& other) const
{
  return (face1Index == other.face1Index && face2Index == other.face2Index) ||
         (face1Index == other.face2Index && face2Index == other.face1Index);
}

void IntEdgeFaceSeg::UpdateIntDataWithAlgoOffset(std::uint32_t offset)
{
  edgeIndex = (edgeIndex & UntaggedMask) | offset;
  face1Index = (face1Index & UntaggedMask) | offset;
  face2Index = (face2Index & UntaggedMask) | offset;
}

Json::Value IntEdgeFaceSeg::ToJson() const
{
  Json::Value json(Json::arrayValue);
  json.append(Json::UInt(edgeIndex));
  json.append(Json::UInt(face1Index));
  json.append(Json::UInt(face2Index));
  json.append(fuzzyValue);
  json.append(static_cast<Json::Int>(edgeType));
  json.append(auxFlag);
  json.append(needViewConvex);
  json.append(Json::Int(auxNumber));
  return json;
}

void IntEdgeFaceSeg::FromJson(const Json::Value& json)
{
  if (!json.isArray())
    return;
  edgeIndex = json[0].asUInt();
  face1Index = json[1].asUInt();
  face2Index = json[2].asUInt();
  fuzzyValue = json[3].asDouble();
  edgeType = static_cast<EdgeType>(json[4].asInt());
  if (json.size() >= FlagsLength)
  {
    auxFlag = json[5].asInt() != 0;
    needViewConvex = json[6].asBool();
  }
  if (json.size() >= AuxNumberLength)
    auxNumber = json[7].asInt();
}
