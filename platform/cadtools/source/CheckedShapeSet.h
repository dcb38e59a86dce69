#pragma once

#include <BRepTools_ShapeSet.hxx>

// A BRep shape set whose geometry is checked before the kernel reads it. The kernel builds a
// trimmed, offset, extruded or revolved curve or surface on its basis as read, and a basis of an
// unknown type or one that fails to build is read as a null handle, which the constructor then
// dereferences: such a text is refused with std::ios::failure instead. The stream must be seekable.
class CheckedShapeSet : public BRepTools_ShapeSet
{
public:
  using BRepTools_ShapeSet::ReadGeometry;

  void ReadGeometry(Standard_IStream& in, const Message_ProgressRange& range = Message_ProgressRange()) override;
};
