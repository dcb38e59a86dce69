#include <entity/EdgeFaceSeg.h>

#include <BRepAdaptor_Curve.hxx>
#include <GCPnts_AbscissaPoint.hxx>
#include <TopLoc_Location.hxx>

namespace
{
// Places `shape` by `trsf` after its current transformation; a null shape stays as it is.
template <typename Shape>
void MoveAfter(Shape& shape, const gp_Trsf& trsf)
{
  if (shape.IsNull())
    return;
  shape.Location(TopLoc_Location(trsf * shape.Location().Transformation()));
}
} // namespace

void EdgeFaceSeg::SetEdge(const TopoDS_Edge& edge)
{
  if (edge.IsNull())
    return;
  const BRepAdaptor_Curve curve(edge);
  myLength = GCPnts_AbscissaPoint::Length(curve, curve.FirstParameter(), curve.LastParameter());
  myEdge = edge;
}

void EdgeFaceSeg::Transform(const gp_Trsf& trsf)
{
  MoveAfter(myEdge, trsf);
  MoveAfter(myFace1, trsf);
  MoveAfter(myFace2, trsf);
}

bool EdgeFaceSeg::operator==(const EdgeFaceSeg& other) const
{
  return myEdge.IsEqual(other.myEdge) && myFace1.IsEqual(other.myFace1) && myFace2.IsEqual(other.myFace2);
}
