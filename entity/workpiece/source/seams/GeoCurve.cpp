#include <entity/GeoCurve.h>

#include <BRep_Tool.hxx>

GeoCurve::GeoCurve(const TopoDS_Edge& edge) : myOriEdge(edge)
{
  if (!edge.IsNull())
    myCurve = BRep_Tool::Curve(edge, myFirst, myLast);
}

gp_Pnt GeoCurve::GetStartPt() const
{
  return myCurve.IsNull() ? gp_Pnt() : myCurve->Value(myFirst);
}
