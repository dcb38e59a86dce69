#include <entity/ShapeEntity.h>

#include <mesh/MeshProcessTools.h>

#include "support/Solids.h"

#include <gtest/gtest.h>

TEST(ShapeEntity, CopiesTakeShapeIdAndDisplayStateOfAPartOnTheStack)
{
  // A copy must leave its source to its owner, here the stack.
  ShapeEntity source(Solids::Box(1, 2, 3), Uuid::CreateUuid());
  source.SetName("copied"), source.SetColor(Quantity_Color(Quantity_NOC_BLUE));
  source.SetHashIndex(77), source.SetNeedSave(false);
  Handle(ShapeEntity) assigned = new ShapeEntity(TopoDS_Shape(), Uuid::CreateUuid());
  *assigned = source;
  for (const Handle(ShapeEntity)& copy : {Handle(ShapeEntity)(new ShapeEntity(source)), assigned})
  {
    EXPECT_TRUE(copy->GetId() == source.GetId() && copy->GetName() == "copied" && copy->GetHashIndex() == 77u);
    EXPECT_TRUE(!copy->NeedSave() && copy->GetColor().IsEqual(source.GetColor()) && copy->GetEntityShape().IsSame(source.GetEntityShape()));
  }
}

TEST(ShapeEntity, MeshAndCloudModels)
{
  Handle(ShapeEntity) part = new ShapeEntity(TopoDS_Shape(), Uuid::CreateUuid());
  Handle(mesh::AIS_Mesh) source = new mesh::AIS_Mesh();
  source->AddMesh(MeshProcessTools::CreateWatertightMesh(Solids::Box(1, 1, 1), 0.1));
  EXPECT_TRUE(part->CreateMeshData(source->ToJson()) && part->GetModelType() == 1);
  EXPECT_EQ(part->GetMesh()->ToJson(), source->ToJson());
  EXPECT_FALSE(part->CreateMeshData(Json::Value("no mesh")));
  // A cloud is found below a part's display children too; the collision hierarchy's success sets the flag.
  Handle(ShapeEntity) cloudPart = new ShapeEntity(TopoDS_Shape(), Uuid::CreateUuid());
  Handle(CloudShape) cloud = new CloudShape();
  cloud->SetPoints({gp_Pnt(1, 2, 3), gp_Pnt(4, 5, 6)});
  EXPECT_TRUE(cloudPart->CreateCloudData(Json::Value(cloud->PCDToString())) && cloudPart->GetModelType() == 3);
  EXPECT_FALSE(cloudPart->CreateCloudData(Json::Value(Json::objectValue)));
  part->AddShapeListToAISChilde({cloudPart});
  ASSERT_TRUE(!part->GetCollisionCloud().IsNull() && part->GetCollisionCloud() == cloudPart->GetCollisionCloud());
  cloudPart->CreateEntireCloudsBVHMdl({cloudPart->GetCollisionCloud()}, false);
  EXPECT_TRUE(cloudPart->IsCollisionActive());
  cloudPart->CreateEntireCloudsBVHMdl({}, true);
  EXPECT_FALSE(cloudPart->IsCollisionActive());
}
