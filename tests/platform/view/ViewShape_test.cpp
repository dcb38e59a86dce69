#include <view/ViewShape.h>

#include <cadtools/ShapeHandle.h>
#include <cadtools/gpHandle.h>

#include "support/Solids.h"
#include "support/ViewTrees.h"

#include <BRepBuilderAPI_Sewing.hxx>
#include <BRepCheck_Analyzer.hxx>
#include <Prs3d_ShadingAspect.hxx>
#include <TopExp_Explorer.hxx>

#include <gtest/gtest.h>

#include <cmath>

namespace
{
constexpr double Tol = 1e-9;

Handle(ViewShape) Node(const TopoDS_Shape& shape = TopoDS_Shape())
{
  return new ViewShape(shape, Uuid::CreateUuid());
}
} // namespace

TEST(ViewShape, HashIndexIsFnv1aOfTheIdText)
{
  const auto fnv1a = [](const std::string& text) {
    unsigned long long h = 0xcbf29ce484222325ULL;
    for (unsigned char c : text)
      h = (h ^ c) * 0x100000001b3ULL;
    return h;
  };
  ASSERT_EQ(fnv1a("foobar"), 0x85944171f73967e8ULL) << "the published test vector pins the helper";
  const char* const text = "0123abcd-4567-89ab-cdef-0123456789ab";
  EXPECT_EQ(Handle(ViewShape)(new ViewShape(TopoDS_Shape(), Uuid::FromString(text)))->GetHashIndex(), fnv1a(text));
  EXPECT_EQ(ViewShape::HashIndexOf(Uuid()), fnv1a("00000000-0000-0000-0000-000000000000"));
}

TEST(ViewShape, TreeWalkLookupAndPlacements)
{
  const Handle(ViewShape) root = Node(), a = Node(Solids::Box(1, 1, 1)), b = Node(), a1 = Node(Solids::Box(3, 3, 3));
  const gp_Trsf r = ViewTrees::Placement(10, 0, 0, 90), t = ViewTrees::Placement(0, 5, 0, 0);
  root->SetLocalTransformation(r), a->SetLocalTransformation(t), a1->SetLocalTransformation(t);
  a->AddShapeListToAISChilde({a1});
  root->AddShapeListToAISChilde({a, Handle(ViewShape)(), b});
  EXPECT_EQ(root->ChildCount(), 2) << "null children are skipped";
  EXPECT_EQ(root->GetAllSubViewShapes(), (std::vector<Handle(ViewShape)>{a, a1, b})) << "depth first";

  // World placements compose the parent on the left.
  EXPECT_TRUE(gpHandle::IsSameTrsf(a1->Transformation(), r * t * t, Tol));
  a1->UpdateInitState();
  EXPECT_TRUE(gpHandle::IsSameTrsf(a1->GetInitTrsf(), r * t * t, Tol));
  b->TransformedBy(t, false), b->TransformedBy(r, false);
  EXPECT_TRUE(gpHandle::IsSameTrsf(b->LocalTransformation(), r * t, Tol));
}

TEST(ViewShape, ColoursCopiesAndShapeReplacement)
{
  const TopoDS_Shape box = Solids::Box(1, 2, 3);
  const Handle(ViewShape) node = Node(box);
  node->SetSubShapeAspect(ViewTrees::Face(box, 2), Quantity_Color(1, 0, 0, Quantity_TOC_RGB), 0.5,
                          Graphic3d_NameOfMaterial_Steel);
  node->SetLocalTransformation(ViewTrees::Placement(1, 2, 3, 30));
  const Handle(ViewShape) copy = Node(box);
  copy->CopyFrom(node);
  EXPECT_TRUE(copy->GetId() != node->GetId() && gpHandle::IsSameTrsf(copy->LocalTransformation(), node->LocalTransformation(), Tol));
  const Handle(AIS_ColoredDrawer)* drawer = copy->CustomAspectsMap().Seek(ViewTrees::Face(box, 2));
  ASSERT_NE(drawer, nullptr);
  const Handle(Prs3d_ShadingAspect)& shading = (*drawer)->ShadingAspect();
  EXPECT_TRUE(shading->Color(Aspect_TOFM_FRONT_SIDE).IsEqual(Quantity_Color(1, 0, 0, Quantity_TOC_RGB)) &&
              shading->Material(Aspect_TOFM_FRONT_SIDE).RequestedName() == Graphic3d_NameOfMaterial_Steel);

  // A same-structured replacement shape takes the colours by position.
  const TopoDS_Shape other = Solids::Box(4, 5, 6);
  node->SetEntityShape(other);
  EXPECT_TRUE(node->CustomAspectsMap().Seek(ViewTrees::Face(other, 2)) != nullptr &&
              node->CustomAspectsMap().Seek(ViewTrees::Face(box, 2)) == nullptr);
}

TEST(BaseViewShape, ClosedShellsBecomeSolids)
{
  const TopoDS_Shape box = Solids::Box(2, 3, 4);
  const TopoDS_Shape solid = BaseViewShape::GetTopoDSFromShell(TopExp_Explorer(box, TopAbs_SHELL).Current());
  EXPECT_TRUE(solid.ShapeType() == TopAbs_SOLID && BRepCheck_Analyzer(solid).IsValid() && std::abs(ShapeHandle::GetAreaOrVol(solid) - 24.0) < 1e-9);
  BRepBuilderAPI_Sewing sewing;
  for (int i = 0; i < 5; ++i)
    sewing.Add(ViewTrees::Face(box, i));
  sewing.Perform();
  const TopoDS_Shape open = sewing.SewedShape();
  ASSERT_EQ(open.ShapeType(), TopAbs_SHELL);
  for (const TopoDS_Shape& kept : {open, box, TopoDS_Shape()})
    EXPECT_TRUE(BaseViewShape::GetTopoDSFromShell(kept).IsEqual(kept));
}
