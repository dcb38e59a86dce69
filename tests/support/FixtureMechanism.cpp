#include "FixtureMechanism.h"

#include "Mechanisms.h"

#include <cadtools/Uuid.h>

FixtureMechanism::FixtureMechanism(const std::string& name, const std::vector<JointDefinition>& chain)
{
  opencascade::handle<ViewShape> root = new ViewShape(TopoDS_Shape(), Uuid::CreateUuid());
  root->SetName(name);
  SetRootMdl(root);
  const std::vector<gp_Trsf> zeroFrames = Mechanisms::LinkFrames(chain, std::vector<double>(chain.size(), 0.0));
  FixtureLinkRod* parent = nullptr;
  for (size_t i = 0; i < chain.size(); ++i)
    parent = AddLink(chain[i], parent, zeroFrames[i]);
}

FixtureLinkRod* FixtureMechanism::AddLink(const JointDefinition& joint, FixtureLinkRod* parent, const gp_Trsf& zeroFrame)
{
  const opencascade::handle<ShapeEntity> part = new ShapeEntity(joint.body, Uuid::CreateUuid());
  part->SetTransformation(zeroFrame, false);
  part->SetName(joint.name);
  AddSubMdl(part);
  auto link = std::make_shared<FixtureLinkRod>(joint.type, AxisRange{joint.lower, joint.upper}, 0.0, gp_Ax1());
  link->SetRootEntity(this);
  link->SetCenterTrsf(joint.Center());
  link->UpdateLinkModelsAndInitTrsfByHash(ViewShape::HashIndexOf(Uuid::CreateUuid()), {part});
  if (parent != nullptr)
    parent->AddChildLink(link.get());
  else
    myRootLinkHashes.push_back(link->GetLinkHashIndex());
  link->UpdateToAx1();
  AddNewLink(link);
  return link.get();
}

void FixtureMechanism::AddFixPart(const TopoDS_Shape& body)
{
  const opencascade::handle<ShapeEntity> part = new ShapeEntity(body, Uuid::CreateUuid());
  AddSubMdl(part);
  part->UpdateInitState();
  myFixMdls.push_back(part);
}
