#pragma once

#include <AIS_InteractiveObject.hxx>
#include <gp_Pnt.hxx>

#include <string>
#include <vector>

// An interactive point cloud, read from and written to ASCII PCD 0.7 (fields x y z).
class CloudShape : public AIS_InteractiveObject
{
  DEFINE_STANDARD_RTTIEXT(CloudShape, AIS_InteractiveObject)
public:
  CloudShape() = default;

  // Replaces the points by those of a PCD text; returns false (points untouched) on malformed text.
  bool LoadPCDFromString(const std::string& text);

  // Returns the points as ASCII PCD 0.7 text.
  std::string PCDToString() const;

  const std::vector<gp_Pnt>& Points() const { return myPoints; }
  void SetPoints(const std::vector<gp_Pnt>& points);

  bool AcceptDisplayMode(const Standard_Integer mode) const override { return mode == 0; }

protected:
  void Compute(const Handle(PrsMgr_PresentationManager)& manager, const Handle(Prs3d_Presentation)& prs,
               const Standard_Integer mode) override;
  void ComputeSelection(const Handle(SelectMgr_Selection)& selection, const Standard_Integer mode) override;

private:
  std::vector<gp_Pnt> myPoints;
};
