#pragma once

#include "FixtureLinkRod.h"
#include "JointDefinition.h"

#include <entity/GenericEntity.h>

#include <memory>
#include <string>
#include <vector>

// A mechanism built in code the way the configuration loader builds one: a root display node, one
// part per link placed at the link's frame in the zero pose, links chained parent to child with
// their axes derived from the center frames. The protected operations are open to the tests.
class FixtureMechanism : public GenericEntity
{
public:
  // A chain of links, each the child of the one before; `name` names the root display node.
  FixtureMechanism(const std::string& name, const std::vector<JointDefinition>& chain);

  using GenericEntity::AddNewLink;
  using GenericEntity::RemoveLinkRod;

  // Appends a link of `joint` under `parent` (a root link for null), carrying a part that shows
  // `joint.body` at `zeroFrame`; returns it.
  FixtureLinkRod* AddLink(const JointDefinition& joint, FixtureLinkRod* parent, const gp_Trsf& zeroFrame);
  // Adds a part that rides on no link, showing `body` in the entity's own frame.
  void AddFixPart(const TopoDS_Shape& body);
  FixtureLinkRod* Link(size_t position) const { return FixtureLinkRod::Of(GetLink(position)); }
  std::vector<unsigned long long>& RootLinkHashes() { return myRootLinkHashes; }
};
