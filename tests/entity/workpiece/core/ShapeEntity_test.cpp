#include <entity/ShapeEntity.h>

#include <cadtools/gpHandle.h>
#include <view/CADView.h>

#include "support/Solids.h"
#include "support/ViewTrees.h"

#include <Prs3d_LineAspect.hxx>

#include <gtest/gtest.h>

namespace
{
constexpr double Tol = 1e-9;
}

TEST(ShapeEntity, RunTimeTypeAndNeedSave)
{
  Handle(ShapeEntity) part = new ShapeEntity(Solids::Box(1, 1, 1), Uuid::CreateUuid());
  EXPECT_STREQ(part->DynamicType()->Name(), "ShapeEntity");
  EXPECT_STREQ(ShapeEntity::get_type_name(), "ShapeEntity");
  const Handle(AIS_InteractiveObject) object = part;
  EXPECT_TRUE(object->IsKind(STANDARD_TYPE(ViewShape)));
  EXPECT_FALSE(Handle(ShapeEntity)::DownCast(object).IsNull());
  EXPECT_TRUE(part->NeedSave());
  part->SetNeedSave(false);
  EXPECT_FALSE(part->NeedSave());

  part->SetName("copied");
  part->SetColor(Quantity_Color(Quantity_NOC_BLUE));
  Handle(ShapeEntity) copy = new ShapeEntity(*part);
  EXPECT_EQ(copy->GetId(), part->GetId());
  EXPECT_EQ(copy->GetName(), "copied");
  EXPECT_FALSE(copy->NeedSave());
  EXPECT_TRUE(copy->GetColor().IsEqual(part->GetColor()));
  Handle(ShapeEntity) assigned = new ShapeEntity(TopoDS_Shape(), Uuid::CreateUuid());
  *assigned = *part;
  EXPECT_EQ(assigned->GetHashIndex(), part->GetHashIndex());
  EXPECT_TRUE(assigned->GetEntityShape().IsSame(part->GetEntityShape()));
}

TEST(ShapeEntity, WorldPlacementUnderAMovedRoot)
{
  Handle(ShapeEntity) root = ViewTrees::BoxTree(1);
  Handle(ShapeEntity) part = Handle(ShapeEntity)::DownCast(root->GetAllSubViewShapes()[0]);
  const gp_Trsf r = ViewTrees::Placement(100, 50, 0, 40);
  const gp_Trsf t = ViewTrees::Placement(-3, 8, 12, -75);
  root->SetTransformation(r, false);
  part->SetTransformation(t, false);
  EXPECT_TRUE(gpHandle::IsSameTrsf(part->Transformation(), t, Tol));
  EXPECT_TRUE(gpHandle::IsSameTrsf(part->LocalTransformation(), r.Inverted() * t, Tol));
  Handle(ShapeEntity) loose = new ShapeEntity(Solids::Box(1, 1, 1), Uuid::CreateUuid());
  loose->SetTransformation(t, false);
  EXPECT_TRUE(gpHandle::IsSameTrsf(loose->LocalTransformation(), t, Tol));
}

TEST(ShapeEntity, MeshAndCloudModels)
{
  Handle(ShapeEntity) part = new ShapeEntity(TopoDS_Shape(), Uuid::CreateUuid());
  EXPECT_TRUE(part->GetCollisionCloud().IsNull());
  Handle(mesh::AIS_Mesh) source = new mesh::AIS_Mesh();
  auto tri = std::make_shared<MeshData>();
  tri->Vertices = {gp_XYZ(0, 0, 0), gp_XYZ(1, 0, 0), gp_XYZ(0, 1, 0)};
  tri->Triangles = {{0, 1, 2}};
  source->AddMesh(tri);
  EXPECT_TRUE(part->CreateMeshData(source->ToJson()));
  EXPECT_EQ(part->GetModelType(), 1);
  EXPECT_EQ(part->ChildCount(), 1);
  EXPECT_EQ(part->GetMesh()->ToJson(), source->ToJson());

  Handle(ShapeEntity) cloudPart = new ShapeEntity(TopoDS_Shape(), Uuid::CreateUuid());
  Handle(CloudShape) cloud = new CloudShape();
  cloud->SetPoints({gp_Pnt(1, 2, 3), gp_Pnt(4, 5, 6)});
  EXPECT_TRUE(cloudPart->CreateCloudData(Json::Value(cloud->PCDToString())));
  EXPECT_EQ(cloudPart->GetModelType(), 3);
  EXPECT_EQ(cloudPart->ChildCount(), 1);
  ASSERT_FALSE(cloudPart->GetCollisionCloud().IsNull());
  EXPECT_EQ(cloudPart->GetCollisionCloud()->Points().size(), 2u);
  // A cloud deeper down is found too.
  Handle(ShapeEntity) holder = new ShapeEntity(TopoDS_Shape(), Uuid::CreateUuid());
  holder->AddShapeListToAISChilde({cloudPart});
  EXPECT_EQ(holder->GetCollisionCloud(), cloudPart->GetCollisionCloud());

  cloudPart->CreateEntireCloudsBVHMdl({cloudPart->GetCollisionCloud()}, false);
  EXPECT_TRUE(cloudPart->IsCollisionActive());
  EXPECT_FALSE(cloudPart->GetCollisionBVH().IsNull());
  cloudPart->CreateEntireCloudsBVHMdl({}, true);
  EXPECT_FALSE(cloudPart->IsCollisionActive());

  EXPECT_FALSE(part->CreateMeshData(Json::Value("no mesh")));
  EXPECT_FALSE(cloudPart->CreateCloudData(Json::Value(Json::objectValue)));
}

TEST(ShapeEntity, SelectionAndFaceColourRestore)
{
  CADView view;
  Handle(ShapeEntity) root = ViewTrees::BoxTree(2);
  root->SetCADView(&view);
  const auto parts = root->GetAllSubViewShapes();
  for (const auto& p : parts)
    p->SetCADView(&view);
  Handle(ShapeEntity) part = Handle(ShapeEntity)::DownCast(parts[1]);
  part->Display();
  part->SetSelectedState(true);
  EXPECT_TRUE(part->IsSelected());
  part->AddOrRemoveSelected(false);
  EXPECT_FALSE(part->IsSelected());
  part->RecomputeSelectionOnly();
  part->UpdateView(false);

  part->SetColor(Quantity_Color(Quantity_NOC_YELLOW));
  root->RestoreFaceColor();
  for (const auto& p : parts)
  {
    const Handle(Prs3d_LineAspect)& boundary = p->Attributes()->FaceBoundaryAspect();
    ASSERT_FALSE(boundary.IsNull());
    const Quantity_Color grey(5.0 / 255.0, 5.0 / 255.0, 5.0 / 255.0, Quantity_TOC_RGB);
    EXPECT_LT(boundary->Aspect()->Color().Distance(grey), 1e-6);
    EXPECT_NEAR(boundary->Aspect()->Width(), 1.2, 1e-6);
    EXPECT_EQ(boundary->Aspect()->Type(), Aspect_TOL_SOLID);
  }
  EXPECT_TRUE(part->GetColor().IsEqual(Quantity_Color(Quantity_NOC_YELLOW)));
  EXPECT_TRUE(part->IsDisplayed());
  EXPECT_FALSE(parts[0]->IsDisplayed()) << "restoring colours shows nothing new";
  part->RemoveFromView();
}
