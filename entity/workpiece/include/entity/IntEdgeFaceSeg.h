#pragma once

#include <entity/EdgeType.h>

#include <json/value.h>

#include <cstdint>

// Index form of a seam: the numbers of an edge and its two faces among a workpiece's indexed sub-shapes.
class IntEdgeFaceSeg
{
public:
  // The "not set" value of an index.
  static constexpr std::uint32_t NoIndex = 0x7FFFFFFF;
  // Fuzzy values closer than this are the same seam.
  static constexpr double FuzzySlack = 0.01;
  // Differences within this of the slack are the slack itself: 0.11 - 0.1 is 0.01, not just below it.
  static constexpr double FuzzyRoundOff = 1e-12;

  IntEdgeFaceSeg() = default;
  IntEdgeFaceSeg(std::uint32_t edge, std::uint32_t face1, std::uint32_t face2, double fuzzy, EdgeType type);
  // Builds the defaults, then reads `json` as FromJson does.
  explicit IntEdgeFaceSeg(const Json::Value& json);

  // Orders by edge index, then by the (wrapping) sum of the face indices.
  bool operator<(const IntEdgeFaceSeg& other) const;
  // Same edge, same faces in either order, fuzzy values strictly closer than FuzzySlack (up to round-off).
  bool operator==(const IntEdgeFaceSeg& other) const;
  bool operator!=(const IntEdgeFaceSeg& other) const { return !(*this == other); }

  // Returns whether both records name the same two faces, in either order.
  bool HasSameFaceWith(const IntEdgeFaceSeg& other) const;

  // Replaces the algorithm tag (top four bits) of the three indices with `offset`.
  void UpdateIntDataWithAlgoOffset(std::uint32_t offset);

  // Returns the eight-element array [edge, face1, face2, fuzzy, type, aux flag, need-view-convex, aux number].
  Json::Value ToJson() const;
  // Reads a five-, seven- or eight-element array; members beyond its length keep their values. A value
  // that is not an array changes nothing; an element of the wrong kind throws Json::LogicError.
  void FromJson(const Json::Value& json);

  std::uint32_t edgeIndex = NoIndex;
  std::uint32_t face1Index = NoIndex;
  std::uint32_t face2Index = NoIndex;
  double fuzzyValue = 0.1;
  EdgeType edgeType = EdgeType::Unknown;
  bool auxFlag = true;
  bool needViewConvex = true;
  std::int32_t auxNumber = 1;
};
