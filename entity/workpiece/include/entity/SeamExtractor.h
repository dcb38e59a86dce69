#pragma once

#include <entity/EdgeFaceSeg.h>
#include <entity/FaceProximity.h>

#include <Message_ProgressRange.hxx>
#include <NCollection_DataMap.hxx>
#include <TopTools_ShapeMapHasher.hxx>
#include <TopoDS_Shape.hxx>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

// The weld-seam candidates of a whole part: indexes its solids, faces and edges, and classifies
// every edge shared by exactly two faces.
//
// Index layout: the block of a solid in bits 17 to 27, the sub-shape's number within it in the
// low 17 bits (the solid itself is number 1, then its faces, then its edges). Faces outside any
// solid form one more block after the solids.
class SeamExtractor
{
public:
  // An edge this much shorter than Options::minLength is still kept (its length as printed).
  static constexpr double MinLengthTol = 0.005;
  // Bits of the number within a block.
  static constexpr std::uint32_t SubShapeBits = 17;
  // Blocks that fit in bits 17 to 27.
  static constexpr std::uint32_t MaxBlocks = 1u << 11;
  // Numbers available within a block (1 is the block's solid).
  static constexpr std::uint32_t MaxSubShapes = (1u << SubShapeBits) - 1;

  enum class Classifier
  {
    Probe,      // AutoWeldSeamAlgUtils::CalcEdgeType by probe points
    Planar,     // AutoWeldSeamAlgUtils::CalcEdgeType by distances, planar faces only
    Orientation // AutoWeldSeamAlgUtils::IsConcave
  };

  struct Options
  {
    // The orientation classifier agrees best with the surfaces' dihedral angles on real parts.
    Classifier classifier = Classifier::Orientation;
    double fuzzyValue = 0.1;      // tol of the probe and orientation classifiers, stored in the records
    double probeParameter = 0.5;  // where along the edge the probe classifier samples
    int planarStep = 1;           // probe distance of the planar classifier
    double minLength = 0.0;       // edges shorter by more than MinLengthTol are left out
    bool parallel = true;         // classify on the shared thread pool
  };

  struct Result
  {
    std::vector<EdgeFaceSeg> segs; // in edge index order
    std::size_t edges = 0;         // distinct edges of the part
    std::size_t oneFace = 0;       // left out: bounding a single face (free edges)
    std::size_t closedFaceSeams = 0; // left out: the seam of a closed face (one face on both sides)
    std::size_t manyFaces = 0;     // left out: shared by more than two faces
    std::size_t degenerated = 0;   // left out: no extent (cone apices, sphere poles)
    std::size_t tooShort = 0;      // left out: shorter than Options::minLength
    std::size_t failed = 0;        // classified Unknown because the kernel raised an error
    std::size_t changing = 0;      // classified Unknown because their kind changes along them
    bool cancelled = false;        // the progress indicator asked to stop; segs is incomplete
  };

  // Indexes the shape and prepares each face once for every later Extract (on the shared pool when
  // parallel); throws WorkpieceError when it has more solids or sub-shapes than the layout holds.
  explicit SeamExtractor(const TopoDS_Shape& shape, bool parallel = true);

  // Returns the index of a solid, face or edge of the part (IntEdgeFaceSeg::NoIndex if it has none).
  std::uint32_t IndexOf(const TopoDS_Shape& subShape) const;
  // Returns the sub-shape of an index, or a null shape.
  TopoDS_Shape ShapeOf(std::uint32_t index) const;
  // Returns the number of index blocks (solids, plus one for faces outside solids).
  std::size_t NbBlocks() const { return myBlocks.size(); }
  // Returns the number of distinct edges of the part.
  std::size_t NbEdges() const { return myEdges; }

  // Returns the classified seams of the part; progress advances once per batch of edges. Every
  // classifier sees each face through its FaceProximity.
  Result Extract(const Options& options, const Message_ProgressRange& progress = Message_ProgressRange()) const;

  // Returns the kind of one seam by the chosen classifier.
  static EdgeType Classify(const EdgeFaceSeg& seg, const Options& options);

  // Returns the lower-case name of a classifier ("probe", "planar", "orientation").
  static std::string ClassifierName(Classifier classifier);

private:
  struct Candidate
  {
    EdgeFaceSeg seg;           // the edge, its faces and its length, measured once
    TopoDS_Edge edgeAsInFace1; // the edge as face1 holds it (reversed when face1 holds it only so)
    std::size_t faceSlot1;     // positions of the faces in myFaces
    std::size_t faceSlot2;
    std::uint32_t edgeIndex; // IndexOf the edge and faces, looked up once
    std::uint32_t faceIndex1;
    std::uint32_t faceIndex2;
  };
  struct Block
  {
    TopoDS_Shape shape;
    std::vector<TopoDS_Shape> subShapes; // number n at position n - 1
    std::vector<Candidate> candidates;
  };

  // Numbers the shape's faces and edges in a new block, collects its two-face edges and appends its
  // faces to allFaces (where the candidates' face slots point).
  void AddBlock(const TopoDS_Shape& shape, std::vector<TopoDS_Face>& allFaces);

  std::vector<Block> myBlocks;
  std::vector<std::unique_ptr<const FaceProximity>> myFaces; // every face of every block, in index order
  NCollection_DataMap<TopoDS_Shape, std::uint32_t, TopTools_ShapeMapHasher> myIndices;
  std::size_t myEdges = 0;
  std::size_t myOneFace = 0;
  std::size_t myClosedFaceSeams = 0;
  std::size_t myManyFaces = 0;
  std::size_t myDegenerated = 0;
};
