#include <entity/SeamPicture.h>

#include <cadtools/WorkpieceError.h>

#include <BRep_Builder.hxx>
#include <TopoDS_Compound.hxx>

#include <cstdio>

namespace
{
// Line widths in pixels: the seams to weld stand out, convex ones only trace the part's corners.
constexpr double WeldWidth = 5.0;
constexpr double ConvexWidth = 2.0;

// Returns a compound of the edges of the seams of one kind, empty when there are none.
TopoDS_Shape EdgesOf(const std::vector<EdgeFaceSeg>& seams, EdgeType type)
{
  BRep_Builder builder;
  TopoDS_Compound edges;
  bool any = false;
  for (const EdgeFaceSeg& seg : seams)
    if (seg.GetEdgeType() == type && !seg.Edge().IsNull())
    {
      if (!any)
        builder.MakeCompound(edges);
      builder.Add(edges, seg.Edge());
      any = true;
    }
  return edges;
}

std::string Count(std::size_t count, const char* kind)
{
  return std::to_string(count) + " " + kind;
}
} // namespace

const Quantity_Color& SeamPicture::ConcaveColor()
{
  static const Quantity_Color color(Quantity_NOC_RED);
  return color;
}

const Quantity_Color& SeamPicture::ConvexColor()
{
  static const Quantity_Color color(0.45, 0.45, 0.47, Quantity_TOC_sRGB);
  return color;
}

const Quantity_Color& SeamPicture::UnknownColor()
{
  static const Quantity_Color color(1.0, 0.82, 0.0, Quantity_TOC_sRGB);
  return color;
}

SeamPicture::Summary SeamPicture::Summarize(const std::vector<EdgeFaceSeg>& seams)
{
  Summary summary;
  for (const EdgeFaceSeg& seg : seams)
    switch (seg.GetEdgeType())
    {
    case EdgeType::Concave:
      ++summary.concave;
      summary.concaveLength += seg.GetSegLength();
      break;
    case EdgeType::Convex:
      ++summary.convex;
      break;
    case EdgeType::Unknown:
      ++summary.unknown;
      break;
    }
  return summary;
}

void SeamPicture::AddSeams(SceneRenderer& scene, const std::vector<EdgeFaceSeg>& seams)
{
  scene.AddLines(EdgesOf(seams, EdgeType::Convex), ConvexColor(), ConvexWidth, false);
  scene.AddLines(EdgesOf(seams, EdgeType::Unknown), UnknownColor(), WeldWidth, true);
  scene.AddLines(EdgesOf(seams, EdgeType::Concave), ConcaveColor(), WeldWidth, true);

  const Summary summary = Summarize(seams);
  char length[32];
  std::snprintf(length, sizeof length, ", %.1f mm", summary.concaveLength);
  scene.SetLegend({{Count(summary.concave, "concave") + length, ConcaveColor(), WeldWidth},
                   {Count(summary.convex, "convex"), ConvexColor(), ConvexWidth},
                   {Count(summary.unknown, "unknown"), UnknownColor(), WeldWidth}});
}

std::unique_ptr<SceneRenderer> SeamPicture::Render(const TopoDS_Shape& part, const std::vector<EdgeFaceSeg>* seams,
                                                   const Options& options, const std::string& path)
{
  std::unique_ptr<SceneRenderer> scene = SceneRenderer::Create(options.width, options.height);
  scene->AddPart(part);
  if (seams != nullptr)
    AddSeams(*scene, *seams);
  scene->FitCamera(options.direction);
  if (!scene->Write(path))
    throw WorkpieceError("cannot write the picture '" + path + "'");
  return scene;
}
