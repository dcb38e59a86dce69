#include <entity/AutoWeldSeamAlgUtils.h>
#include <entity/FaceProximity.h>
#include <entity/SeamExtractor.h>

#include <cadtools/ThreadPool.h>

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
#include <atomic>
#include <functional>
#include <memory>
#include <future>
#include <set>
#include <stdexcept>
#include <utility>

namespace
{
// Batches per pool thread: enough to even out uneven edges, few enough to keep hand-over cheap.
constexpr std::size_t BatchesPerThread = 8;

// Returns the kind of one candidate, its faces seen through their prepared proximities.
template <typename Candidate>
EdgeType ClassifyPrepared(const Candidate& c, const SeamExtractor::Options& options,
                          const std::vector<std::unique_ptr<FaceProximity>>& faces)
{
  const FaceProximity& face1 = *faces[c.faceSlot1];
  const FaceProximity& face2 = *faces[c.faceSlot2];
  switch (options.classifier)
  {
  case SeamExtractor::Classifier::Probe:
    return AutoWeldSeamAlgUtils::CalcEdgeType(c.edge, face1, face2, options.fuzzyValue, options.probeParameter);
  case SeamExtractor::Classifier::Planar:
    return AutoWeldSeamAlgUtils::CalcEdgeType(c.edge, face1, face2, options.planarStep);
  case SeamExtractor::Classifier::Orientation:
    break;
  }
  return AutoWeldSeamAlgUtils::IsConcave(c.edgeAsInFace1, face1, face2, options.fuzzyValue);
}

// Returns the seams of candidates [begin, end) of one block, classified; counts kernel failures.
template <typename Candidates>
std::vector<EdgeFaceSeg> ClassifyRange(const Candidates& candidates, std::size_t begin, std::size_t end,
                                       const SeamExtractor::Options& options,
                                       const std::vector<std::unique_ptr<FaceProximity>>& faces,
                                       std::size_t& tooShort, std::size_t& failed)
{
  std::vector<EdgeFaceSeg> segs;
  segs.reserve(end - begin);
  // Counted here and handed over once, so that threads do not write beside each other's results.
  std::size_t shortHere = 0, failedHere = 0;
  for (std::size_t i = begin; i < end; ++i)
  {
    const auto& candidate = candidates[i];
    EdgeFaceSeg seg;
    seg.SetEdge(candidate.edge);
    if (seg.GetSegLength() < options.minLength)
    {
      ++shortHere;
      continue;
    }
    seg.SetFace1(candidate.face1);
    seg.SetFace2(candidate.face2);
    EdgeType type = EdgeType::Unknown;
    try
    {
      type = ClassifyPrepared(candidate, options, faces);
    }
    catch (const Standard_Failure&)
    {
      ++failedHere;
    }
    seg.SetIntSeg(IntEdgeFaceSeg(candidate.edgeIndex, candidate.faceIndex1, candidate.faceIndex2,
                                 options.fuzzyValue, type));
    segs.push_back(std::move(seg));
  }
  tooShort = shortHere;
  failed = failedHere;
  return segs;
}

// Consecutive items a pool thread takes at a time: neighbours share topology, which then stays on one core.
constexpr std::size_t ItemsPerGrab = 8;

// Runs job(i) for i in [0, count): on the pool, each thread taking the next few items, or here.
void ForEach(std::size_t count, std::size_t threads, const std::function<void(std::size_t)>& job)
{
  if (threads <= 1)
  {
    for (std::size_t i = 0; i < count; ++i)
      job(i);
    return;
  }
  std::atomic<std::size_t> next{0};
  std::vector<std::future<void>> pending;
  for (std::size_t slice = 0; slice < threads; ++slice)
    pending.push_back(GetThreadPool().Submit([&] {
      for (std::size_t begin = next.fetch_add(ItemsPerGrab); begin < count; begin = next.fetch_add(ItemsPerGrab))
        for (std::size_t i = begin; i < std::min(begin + ItemsPerGrab, count); ++i)
          job(i);
    }));
  for (std::future<void>& f : pending)
    f.get();
}
} // namespace

SeamExtractor::SeamExtractor(const TopoDS_Shape& shape)
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
    throw std::length_error("SeamExtractor: the part has more than 2048 solids");
  for (int i = 1; i <= solids.Extent(); ++i)
    AddBlock(solids(i));
  if (hasLooseFaces)
    AddBlock(looseFaces);
}

void SeamExtractor::AddBlock(const TopoDS_Shape& shape)
{
  const std::uint32_t base = static_cast<std::uint32_t>(myBlocks.size()) << SubShapeBits;
  Block block;
  block.shape = shape;
  TopTools_IndexedMapOfShape faces;
  TopExp::MapShapes(shape, TopAbs_FACE, faces);
  TopTools_IndexedDataMapOfShapeListOfShape edgeFaces;
  TopExp::MapShapesAndUniqueAncestors(shape, TopAbs_EDGE, TopAbs_FACE, edgeFaces);
  if (1u + faces.Extent() + edgeFaces.Extent() > MaxSubShapes)
    throw std::length_error("SeamExtractor: a solid has more faces and edges than 131070");

  const auto number = [&](const TopoDS_Shape& sub) {
    block.subShapes.push_back(sub);
    if (!myIndices.IsBound(sub))
      myIndices.Bind(sub, base + static_cast<std::uint32_t>(block.subShapes.size()));
  };
  myEdges += static_cast<std::size_t>(edgeFaces.Extent());
  number(shape);
  const std::size_t firstSlot = myFaces.size();
  // (face, edge) pairs where the face holds the edge with the orientation of its key in edgeFaces.
  std::set<std::pair<int, int>> heldAsKeyed;
  for (int i = 1; i <= faces.Extent(); ++i)
  {
    number(faces(i));
    myFaces.push_back(TopoDS::Face(faces(i)));
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
      block.candidates.push_back({edge, face1, face2, firstSlot + faceNumber1 - 1, firstSlot + faceNumber2 - 1,
                                  asInFace1 ? edge : TopoDS::Edge(edge.Reversed()), IndexOf(edge), IndexOf(face1),
                                  IndexOf(face2)});
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
  result.manyFaces = myManyFaces;
  result.degenerated = myDegenerated;
  result.edges = myEdges;

  // Batches never straddle blocks, so each is a slice of one candidate list.
  struct Batch
  {
    const Block* block;
    std::size_t begin, end;
  };
  std::size_t total = 0;
  for (const Block& block : myBlocks)
    total += block.candidates.size();
  const std::size_t threads = options.parallel ? GetThreadPool().Size() : 1;
  const std::size_t batchSize = std::max<std::size_t>(1, total / (threads * BatchesPerThread));
  std::vector<Batch> batches;
  for (const Block& block : myBlocks)
    for (std::size_t begin = 0; begin < block.candidates.size(); begin += batchSize)
      batches.push_back({&block, begin, std::min(begin + batchSize, block.candidates.size())});

  struct BatchResult
  {
    std::vector<EdgeFaceSeg> segs;
    std::size_t tooShort = 0;
    std::size_t failed = 0;
    bool ran = false;
  };
  std::vector<BatchResult> results(batches.size());

  // Each face is prepared once, so that no edge walks a large face's topology or copies its shared
  // handles again: the threads would contend for their reference counts.
  std::vector<std::unique_ptr<FaceProximity>> faces(myFaces.size());
  const FaceProximity::Preparation preparation = options.classifier == Classifier::Orientation
                                                   ? FaceProximity::Preparation::Orientation
                                                   : FaceProximity::Preparation::Distances;
  ForEach(myFaces.size(), threads,
          [&](std::size_t i) { faces[i] = std::make_unique<FaceProximity>(myFaces[i], preparation); });

  Message_ProgressScope scope(progress, "Classifying edges", static_cast<double>(std::max<std::size_t>(1, batches.size())));
  const auto run = [&](std::size_t i, Message_ProgressRange range) {
    if (range.UserBreak())
      return;
    BatchResult& out = results[i];
    out.segs = ClassifyRange(batches[i].block->candidates, batches[i].begin, batches[i].end, options, faces,
                             out.tooShort, out.failed);
    out.ran = true;
    range.Close();
  };
  if (threads > 1)
  {
    std::vector<std::future<void>> pending;
    pending.reserve(batches.size());
    for (std::size_t i = 0; i < batches.size(); ++i)
      pending.push_back(GetThreadPool().Submit([&run, i, range = scope.Next()]() { run(i, range); }));
    for (std::future<void>& f : pending)
      f.get();
  }
  else
  {
    for (std::size_t i = 0; i < batches.size(); ++i)
      run(i, scope.Next());
  }

  std::size_t kept = 0;
  for (const BatchResult& batch : results)
    kept += batch.segs.size();
  result.segs.reserve(kept);
  for (BatchResult& batch : results)
  {
    result.cancelled = result.cancelled || !batch.ran;
    result.tooShort += batch.tooShort;
    result.failed += batch.failed;
    std::move(batch.segs.begin(), batch.segs.end(), std::back_inserter(result.segs));
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
