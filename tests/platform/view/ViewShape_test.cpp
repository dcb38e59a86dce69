#include <view/CADView.h>
#include <view/ViewShape.h>

#include <cadtools/gpHandle.h>

#include "support/Solids.h"
#include "support/ViewTrees.h"

#include <BRepBndLib.hxx>
#include <BRepBuilderAPI_Sewing.hxx>
#include <BRepCheck_Analyzer.hxx>
#include <Bnd_Box.hxx>
#include <Prs3d_ShadingAspect.hxx>
#include <TopExp_Explorer.hxx>
#include <TopoDS.hxx>

#include <cadtools/ShapeHandle.h>

#include <gtest/gtest.h>

namespace
{
constexpr double Tol = 1e-9;

// FNV-1a over the bytes of `text`, written out for the test.
unsigned long long Fnv1a(const std::string& text)
{
  unsigned long long h = 0xcbf29ce484222325ULL;
  for (unsigned char c : text)
    h = (h ^ c) * 0x100000001b3ULL;
  return h;
}

Handle(ViewShape) Node(const TopoDS_Shape& shape = TopoDS_Shape())
{
  return new ViewShape(shape, Uuid::CreateUuid());
}
} // namespace

TEST(ViewShape, HashIndexIsFnv1aOfTheIdText)
{
  // Published FNV-1a 64 test vectors pin the helper before it checks the view library.
  ASSERT_EQ(Fnv1a("a"), 0xaf63dc4c8601ec8cULL);
  ASSERT_EQ(Fnv1a("foobar"), 0x85944171f73967e8ULL);
  const Uuid id = Uuid::FromString("0123abcd-4567-89ab-cdef-0123456789ab");
  const Handle(ViewShape) node = new ViewShape(TopoDS_Shape(), id);
  EXPECT_EQ(node->GetHashIndex(), Fnv1a("0123abcd-4567-89ab-cdef-0123456789ab"));
  EXPECT_EQ(ViewShape::HashIndexOf(Uuid()), Fnv1a("00000000-0000-0000-0000-000000000000"));
  node->SetHashIndex(7);
  EXPECT_EQ(node->GetHashIndex(), 7u);
  node->SetPrimitiveProperty("robot", id);
  EXPECT_EQ(node->GetPrimitiveName(), "robot");
  EXPECT_EQ(node->GetPrimitiveId(), id);
}

TEST(ViewShape, TreeWalkLookupAndPlacements)
{
  const Handle(ViewShape) root = Node();
  const Handle(ViewShape) a = Node(Solids::Box(1, 1, 1));
  const Handle(ViewShape) b = Node(Solids::Box(2, 2, 2));
  const Handle(ViewShape) a1 = Node(Solids::Box(3, 3, 3));
  const gp_Trsf r = ViewTrees::Placement(10, 0, 0, 90);
  const gp_Trsf t = ViewTrees::Placement(0, 5, 0, 0);
  root->SetLocalTransformation(r);
  a->SetLocalTransformation(t);
  a1->SetLocalTransformation(t);
  a->AddShapeListToAISChilde({a1});
  root->AddShapeListToAISChilde({a, Handle(ViewShape)(), b});
  EXPECT_EQ(root->ChildCount(), 2);
  EXPECT_EQ(a->ChildCount(), 1);
  const std::vector<Handle(ViewShape)> all = root->GetAllSubViewShapes();
  ASSERT_EQ(all.size(), 3u);
  EXPECT_EQ(all[0], a);
  EXPECT_EQ(all[1], a1);
  EXPECT_EQ(all[2], b);
  EXPECT_EQ(root->GetChildById(a1->GetId()), a1);
  EXPECT_TRUE(root->GetChildById(Uuid::CreateUuid()).IsNull());
  EXPECT_EQ(a1->Parent(), a.get());

  // Local transformations are kept; world placements compose parent on the left.
  EXPECT_TRUE(gpHandle::IsSameTrsf(a->LocalTransformation(), t, Tol));
  EXPECT_TRUE(gpHandle::IsSameTrsf(a1->Transformation(), r * t * t, Tol));
  a1->UpdateInitState();
  EXPECT_TRUE(gpHandle::IsSameTrsf(a1->GetInitTrsf(), r * t * t, Tol));
  EXPECT_TRUE(gpHandle::IsSameTrsf(a1->GetCollisionTrsf(), r * t * t, Tol));

  const std::vector<TopoDS_Shape> placed = ShapeHandle::GetShapes(root, true);
  ASSERT_EQ(placed.size(), 3u);
  Bnd_Box box;
  BRepBndLib::Add(placed[1], box);
  const gp_Pnt corner = gp_Pnt(3, 3, 3).Transformed(r * t * t);
  EXPECT_TRUE(box.IsOut(corner.Translated(gp_Vec(0, 0, 1))));
  EXPECT_FALSE(box.IsOut(corner));

  b->TransformedBy(t, false);
  b->TransformedBy(t, false);
  EXPECT_TRUE(gpHandle::IsSameTrsf(b->LocalTransformation(), t * t, Tol));
  b->SetTransformation(r, false);
  EXPECT_TRUE(gpHandle::IsSameTrsf(b->LocalTransformation(), r, Tol));
}

TEST(ViewShape, DisplayHideAndSelectionInAHeadlessView)
{
  CADView view;
  const Handle(ViewShape) node = Node(Solids::Box(5, 5, 5));
  node->SetCADView(&view);
  EXPECT_EQ(node->GetCADViewPtr(), &view);
  EXPECT_FALSE(node->IsDisplayed());
  node->RedisplayShape(true, false);
  EXPECT_FALSE(node->IsDisplayed()) << "keepHidden leaves a hidden shape hidden";
  node->Display();
  EXPECT_TRUE(node->IsDisplayed());
  node->Hide();
  EXPECT_FALSE(node->IsDisplayed());
  node->RedisplayShape(false, false);
  EXPECT_TRUE(node->IsDisplayed());

  EXPECT_FALSE(node->IsSelected());
  node->AddOrRemoveSelected(false);
  EXPECT_TRUE(node->IsSelected());
  node->SetSelectedState(true);
  EXPECT_TRUE(node->IsSelected());
  node->SetSelectedState(false);
  EXPECT_FALSE(node->IsSelected());
  node->RecomputeSelectionOnly();
  node->UpdateView(false);

  const unsigned long long moved = view.MovedCount();
  node->UpdateEntityInUnity();
  EXPECT_EQ(view.MovedCount(), moved + 1);
  node->RemoveFromView();
  EXPECT_FALSE(node->IsDisplayed());
  node->SetCADView(nullptr);
  EXPECT_EQ(&node->GetCADView(), &CADView::Default());
}

TEST(ViewShape, CollisionModelOfABox)
{
  const Handle(ViewShape) node = Node(Solids::Box(10, 20, 30));
  EXPECT_TRUE(node->GetCollision().IsNull());
  ASSERT_TRUE(node->CreateBVHMdl(false));
  ASSERT_FALSE(node->GetCollision().IsNull());
  EXPECT_EQ(node->GetCollision()->NbTriangles(), 12);
  const auto& bvh = node->GetCollisionBVH();
  ASSERT_FALSE(bvh.IsNull());
  EXPECT_NEAR(bvh->MaxPoint(0).y(), 20.0, Tol);
  EXPECT_NEAR(bvh->MaxPoint(0).z(), 30.0, Tol);
  // Every leaf's triangles lie inside the leaf's box: the model follows the hierarchy's order.
  for (int n = 0; n < bvh->Length(); ++n)
  {
    if (!bvh->IsOuter(n))
      continue;
    for (int t = bvh->BegPrimitive(n); t <= bvh->EndPrimitive(n); ++t)
    {
      int ids[3];
      node->GetCollision()->Triangle(t + 1).Get(ids[0], ids[1], ids[2]);
      for (int id : ids)
      {
        const gp_Pnt p = node->GetCollision()->Node(id);
        EXPECT_LE(p.X(), bvh->MaxPoint(n).x() + Tol);
        EXPECT_GE(p.X(), bvh->MinPoint(n).x() - Tol);
      }
    }
  }

  const Handle(ViewShape) empty = Node();
  EXPECT_FALSE(empty->CreateBVHMdl(true));
  EXPECT_FALSE(empty->CreateEntireMeshBVHMdl({}, true));
  Handle(mesh::AIS_Mesh) m = new mesh::AIS_Mesh();
  m->AddMesh(MeshData::FromTriangulation(node->GetCollision(), gp_Trsf()));
  EXPECT_TRUE(empty->CreateEntireMeshBVHMdl({m}, true));
  EXPECT_EQ(empty->GetCollision()->NbTriangles(), 12);

  node->SetCollisionGap(2.5);
  node->SetCollisionActive(true);
  empty->CopyBy(*node);
  EXPECT_EQ(empty->GetCollision(), node->GetCollision());
  EXPECT_DOUBLE_EQ(empty->GetCollisionGap(), 2.5);
  EXPECT_TRUE(empty->IsCollisionActive());
}

TEST(ViewShape, ColoursCopiesAndShapeReplacement)
{
  const TopoDS_Shape box = Solids::Box(1, 2, 3);
  const Handle(ViewShape) node = Node(box);
  node->SetName("part");
  node->SetModelType(5);
  node->SetColor(Quantity_Color(0.2, 0.4, 0.6, Quantity_TOC_RGB));
  node->SetSubShapeAspect(ViewTrees::Face(box, 2), Quantity_Color(1, 0, 0, Quantity_TOC_RGB), 0.5,
                          Graphic3d_NameOfMaterial_Steel);
  node->SetLocalTransformation(ViewTrees::Placement(1, 2, 3, 30));
  EXPECT_TRUE(node->GetColor().IsEqual(Quantity_Color(0.2, 0.4, 0.6, Quantity_TOC_RGB)));

  const Handle(ViewShape) copy = Node(box);
  copy->CopyFrom(node);
  EXPECT_NE(copy->GetId(), node->GetId());
  EXPECT_EQ(copy->GetName(), "part");
  EXPECT_EQ(copy->GetModelType(), 5);
  EXPECT_TRUE(copy->GetColor().IsEqual(node->GetColor()));
  EXPECT_TRUE(gpHandle::IsSameTrsf(copy->LocalTransformation(), node->LocalTransformation(), Tol));
  const Handle(AIS_ColoredDrawer)* drawer = copy->CustomAspectsMap().Seek(ViewTrees::Face(box, 2));
  ASSERT_NE(drawer, nullptr);
  const Handle(Prs3d_ShadingAspect)& shading = (*drawer)->ShadingAspect();
  EXPECT_TRUE(shading->Color(Aspect_TOFM_FRONT_SIDE).IsEqual(Quantity_Color(1, 0, 0, Quantity_TOC_RGB)));
  EXPECT_NEAR(shading->Transparency(Aspect_TOFM_FRONT_SIDE), 0.5, 1e-6);
  EXPECT_EQ(shading->Material(Aspect_TOFM_FRONT_SIDE).RequestedName(), Graphic3d_NameOfMaterial_Steel);

  // A same-structured replacement shape takes the colours by position.
  const TopoDS_Shape other = Solids::Box(4, 5, 6);
  node->SetEntityShape(other);
  EXPECT_TRUE(node->GetEntityShape().IsSame(other));
  EXPECT_NE(node->CustomAspectsMap().Seek(ViewTrees::Face(other, 2)), nullptr);
  EXPECT_EQ(node->CustomAspectsMap().Seek(ViewTrees::Face(box, 2)), nullptr);
}

TEST(BaseViewShape, ClosedShellsBecomeSolids)
{
  const TopoDS_Shape box = Solids::Box(2, 3, 4);
  const TopoDS_Shape shell = TopExp_Explorer(box, TopAbs_SHELL).Current();
  const TopoDS_Shape solid = BaseViewShape::GetTopoDSFromShell(shell);
  ASSERT_EQ(solid.ShapeType(), TopAbs_SOLID);
  EXPECT_TRUE(BRepCheck_Analyzer(solid).IsValid());
  EXPECT_NEAR(ShapeHandle::GetAreaOrVol(solid), 24.0, 1e-9);

  BRepBuilderAPI_Sewing sewing;
  int i = 0;
  for (TopExp_Explorer ex(box, TopAbs_FACE); ex.More() && i < 5; ex.Next(), ++i)
    sewing.Add(ex.Current());
  sewing.Perform();
  const TopoDS_Shape open = sewing.SewedShape();
  ASSERT_EQ(open.ShapeType(), TopAbs_SHELL);
  EXPECT_TRUE(BaseViewShape::GetTopoDSFromShell(open).IsSame(open));
  EXPECT_TRUE(BaseViewShape::GetTopoDSFromShell(box).IsSame(box));
  EXPECT_TRUE(BaseViewShape::GetTopoDSFromShell(TopoDS_Shape()).IsNull());
}
