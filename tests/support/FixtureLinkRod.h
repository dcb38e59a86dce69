#pragma once

#include <entity/LinkRod.h>

// A link whose loader-side operations are open to fixtures and tests. Fixture mechanisms create
// every link as one, so a link of theirs may be viewed through Of().
class FixtureLinkRod : public LinkRod
{
public:
  using LinkRod::LinkRod;
  using LinkRod::AxisRangeValueToDegree;
  using LinkRod::GetFatherTrsf;
  using LinkRod::LoadFromJson;
  using LinkRod::ToJson;
  using LinkRod::UpdateLinkModels;
  using LinkRod::UpdateLinkModelsAndInitTrsfByHash;
  using LinkRod::UpdateToAx1;

  // Returns `link` as the fixture link it was created as.
  static FixtureLinkRod* Of(LinkRod* link) { return static_cast<FixtureLinkRod*>(link); }
};
