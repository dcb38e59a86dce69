#include <entity/AutoWeldSeamAlgUtils.h>
#include <entity/FaceProximity.h>
#include <entity/SeamExtractor.h>

#include <cadtools/ThreadPool.h>
#include <cadtools/WorkpieceError.h>

#include <BRep_Builder.hxx>
#include <BRep_Tool.hxx>
#include <Message_ProgressScope.hxx>
#include <Standard_Failure.hxx>
#include <TopExp.hxx>
#include <TopExp_Explorer.hxx>
#include <TopTools_IndexedDataMapOfShapeListOfShape.hxx>
#include <TopTools_IndexedMapOfShape.hxx>
#include <TopoDS.hxx>
#include <TopoDS_Compound.hxx>

#include <algorithm>
#include <memory>
#include <set>
#include <tuple>
#include <utility>

namespace
{
// Batches per pool thread: enough to even out uneven edges, few enough to keep hand-over cheap.
constexpr std::size_t BatchesPerThread = 16;

// Returns the kind of one candidate, its faces seen through their prepared proximities, and whether
// its kind changes along it.
template <typename Candidate>
std::pair<EdgeType, bool> ClassifyPrepared(const Candidate& c, const SeamExtractor::Options& options,
                                           const std::vector<std::unique_ptr<const FaceProximity>>& faces)
{
  const FaceProximity& face1 = *faces[c.faceSlot1];
  const FaceProximity& face2 = *faces[c.faceSlot2];
  switch (options.classifier)
  {
  case SeamExtractor::Classifier::Probe:
    return {AutoWeldSeamAlgUtils::CalcEdgeType(c.seg.Edge(), face1, face2, options.fuzzyValue, options.probeParameter),
            false};
  case SeamExtractor::Classifier::Planar:
    return {AutoWeldSeamAlgUtils::CalcEdgeType(c.seg.Edge(), face1, face2, options.planarStep), false};
  case SeamExtractor::Classifier::Orientation:
    break;
  }
  return AutoWeldSeamAlgUtils::KindAlongEdge(c.edgeAsInFace1, face1, face2, options.fuzzyValue);
}

// Consecutive faces a pool thread prepares at a time: neighbours share topology, which then stays on one core.
constexpr std::size_t FacesPerGrab = 8;

// Returns the pool for a run, which stays on the calling thread unless `parallel`: a pool of one
// thread runs its loops there.
ThreadPool& PoolFor(bool parallel)
{
  static ThreadPool callerOnly(1);
  return parallel ? GetThreadPool() : callerOnly;
}
} // namespace

SeamExtractor::SeamExtractor(const TopoDS_Shape& shape, bool parallel)
{
  if (shape.IsNull())
    return;
  TopTools_IndexedMapOfShape solids;
  TopExp::MapShapes(shape, TopAbs_SOLID, solids);
  BRep_Builder builder;
  TopoDS_Compound looseFaces;
  builder.MakeCompound(looseFaces);
  bool hasLooseFaces = false;
  for (TopExp_Explorer it(shape, TopAbs_FACE, TopAbs_SOLID); it.More(); it.Next())
  {
    builder.Add(looseFaces, it.Current());
    hasLooseFaces = true;
  }
  if (solids.Extent() + (hasLooseFaces ? 1 : 0) > static_cast<int>(MaxBlocks))
    throw WorkpieceError("SeamExtractor: the part has more than 2048 solids");
  std::vector<TopoDS_Face> faces;
  for (int i = 1; i <= solids.Extent(); ++i)
    AddBlock(solids(i), faces);
  if (hasLooseFaces)
    AddBlock(looseFaces, faces);

  // Each face is prepared once for every later run, so that no edge walks a large face's topology
  // or copies its shared handles again: the threads would contend for their reference counts.
  myFaces.resize(faces.size());
  PoolFor(parallel).ParallelFor(faces.size(), FacesPerGrab, [&](std::size_t begin, std::size_t end) {
    for (std::size_t i = begin; i < end; ++i)
      myFaces[i] = std::make_unique<const FaceProximity>(faces[i]);
  });
}

void SeamExtractor::AddBlock(const TopoDS_Shape& shape, std::vector<TopoDS_Face>& allFaces)
{
  const std::uint32_t base = static_cast<std::uint32_t>(myBlocks.size()) << SubShapeBits;
  Block block;
  block.shape = shape;
  TopTools_IndexedMapOfShape faces;
  TopExp::MapShapes(shape, TopAbs_FACE, faces);
  TopTools_IndexedDataMapOfShapeListOfShape edgeFaces;
  TopExp::MapShapesAndUniqueAncestors(shape, TopAbs_EDGE, TopAbs_FACE, edgeFaces);
  if (1u + faces.Extent() + edgeFaces.Extent() > MaxSubShapes)
    throw WorkpieceError("SeamExtractor: a solid has more faces and edges than 131070");

  const auto number = [&](const TopoDS_Shape& sub) {
    block.subShapes.push_back(sub);
    if (!myIndices.IsBound(sub))
      myIndices.Bind(sub, base + static_cast<std::uint32_t>(block.subShapes.size()));
  };
  myEdges += static_cast<std::size_t>(edgeFaces.Extent());
  number(shape);
  const std::size_t firstSlot = allFaces.size();
  // (face, edge) pairs where the face holds the edge with the orientation of its key in edgeFaces.
  std::set<std::pair<int, int>> heldAsKeyed;
  for (int i = 1; i <= faces.Extent(); ++i)
  {
    number(faces(i));
    allFaces.push_back(TopoDS::Face(faces(i)));
    for (TopExp_Explorer it(faces(i), TopAbs_EDGE); it.More(); it.Next())
    {
      const int edgeNumber = edgeFaces.FindIndex(it.Current());
      if (edgeNumber > 0 && it.Current().IsEqual(edgeFaces.FindKey(edgeNumber)))
        heldAsKeyed.emplace(i, edgeNumber);
    }
  }
  for (int i = 1; i <= edgeFaces.Extent(); ++i)
  {
    const TopoDS_Edge& edge = TopoDS::Edge(edgeFaces.FindKey(i));
    number(edge);
    const TopTools_ListOfShape& adjacent = edgeFaces(i);
    if (BRep_Tool::Degenerated(edge))
      ++myDegenerated;
    else if (adjacent.Extent() == 1 && BRep_Tool::IsClosed(edge, TopoDS::Face(adjacent.First())))
      ++myClosedFaceSeams;
    else if (adjacent.Extent() < 2)
      ++myOneFace;
    else if (adjacent.Extent() > 2)
      ++myManyFaces;
    else
    {
      const TopoDS_Face& face1 = TopoDS::Face(adjacent.First());
      const TopoDS_Face& face2 = TopoDS::Face(adjacent.Last());
      const int faceNumber1 = faces.FindIndex(face1);
      const int faceNumber2 = faces.FindIndex(face2);
      const bool asInFace1 = heldAsKeyed.count({faceNumber1, i}) > 0;
      Candidate candidate{EdgeFaceSeg(),
                          asInFace1 ? edge : TopoDS::Edge(edge.Reversed()),
                          firstSlot + faceNumber1 - 1,
                          firstSlot + faceNumber2 - 1,
                          IndexOf(edge),
                          IndexOf(face1),
                          IndexOf(face2)};
      candidate.seg.SetEdge(edge);
      candidate.seg.SetFace1(face1);
      candidate.seg.SetFace2(face2);
      block.candidates.push_back(std::move(candidate));
    }
  }
  myBlocks.push_back(std::move(block));
}

std::uint32_t SeamExtractor::IndexOf(const TopoDS_Shape& subShape) const
{
  const std::uint32_t* index = myIndices.Seek(subShape);
  return index ? *index : IntEdgeFaceSeg::NoIndex;
}

TopoDS_Shape SeamExtractor::ShapeOf(std::uint32_t index) const
{
  const std::size_t block = index >> SubShapeBits;
  const std::size_t number = index & MaxSubShapes;
  if (block >= myBlocks.size() || number == 0 || number > myBlocks[block].subShapes.size())
    return TopoDS_Shape();
  return myBlocks[block].subShapes[number - 1];
}

SeamExtractor::Result SeamExtractor::Extract(const Options& options, const Message_ProgressRange& progress) const
{
  Result result;
  result.oneFace = myOneFace;
  result.closedFaceSeams = myClosedFaceSeams;
  result.manyFaces = myManyFaces;
  result.degenerated = myDegenerated;
  result.edges = myEdges;

  // The kept candidates are known from their lengths before any is classified, so every seam is
  // written straight to its place in the result, by whichever thread classifies it.
  std::vector<const Candidate*> kept;
  for (const Block& block : myBlocks)
    for (const Candidate& candidate : block.candidates)
    {
      if (candidate.seg.GetSegLength() < options.minLength - MinLengthTol)
        ++result.tooShort;
      else
        kept.push_back(&candidate);
    }
  result.segs.resize(kept.size());

  ThreadPool& pool = PoolFor(options.parallel);
  const std::size_t batchSize = std::max<std::size_t>(1, kept.size() / (pool.Size() * BatchesPerThread));
  const std::size_t batches = (kept.size() + batchSize - 1) / batchSize;
  // Counted per batch and added up afterwards, so that threads write only to their own batches.
  std::vector<std::size_t> failed(batches, 0), changing(batches, 0);
  std::vector<char> ran(batches, 0);

  Message_ProgressScope scope(progress, "Classifying edges", 1);
  pool.ParallelFor(
    kept.size(), batchSize,
    [&](std::size_t begin, std::size_t end) {
      const std::size_t batch = begin / batchSize;
      for (std::size_t i = begin; i < end; ++i)
      {
        const Candidate& candidate = *kept[i];
        EdgeType type = EdgeType::Unknown;
        try
        {
          bool changes = false;
          std::tie(type, changes) = ClassifyPrepared(candidate, options, myFaces);
          changing[batch] += changes ? 1 : 0;
        }
        catch (const Standard_Failure&)
        {
          ++failed[batch];
        }
        EdgeFaceSeg& seg = result.segs[i];
        seg = candidate.seg;
        seg.SetIntSeg(IntEdgeFaceSeg(candidate.edgeIndex, candidate.faceIndex1, candidate.faceIndex2,
                                     options.fuzzyValue, type));
      }
      ran[batch] = 1;
    },
    scope.Next());

  for (std::size_t batch = batches; batch-- > 0;)
  {
    result.failed += failed[batch];
    result.changing += changing[batch];
    if (ran[batch])
      continue;
    // Cancelled: the batches that did not run leave no unclassified records behind.
    result.cancelled = true;
    const std::size_t begin = batch * batchSize;
    result.segs.erase(result.segs.begin() + begin, result.segs.begin() + std::min(kept.size(), begin + batchSize));
  }
  return result;
}

EdgeType SeamExtractor::Classify(const EdgeFaceSeg& seg, const Options& options)
{
  switch (options.classifier)
  {
  case Classifier::Probe:
    return AutoWeldSeamAlgUtils::CalcEdgeType(seg, options.fuzzyValue, options.probeParameter);
  case Classifier::Planar:
    return AutoWeldSeamAlgUtils::CalcEdgeType(seg.Edge(), seg.Face1(), seg.Face2(), options.planarStep);
  case Classifier::Orientation:
    return AutoWeldSeamAlgUtils::IsConcave(seg, options.fuzzyValue);
  }
  return EdgeType::Unknown;
}

std::string SeamExtractor::ClassifierName(Classifier classifier)
{
  switch (classifier)
  {
  case Classifier::Probe:
    return "probe";
  case Classifier::Planar:
    return "planar";
  case Classifier::Orientation:
    return "orientation";
  }
  return "probe";
}
