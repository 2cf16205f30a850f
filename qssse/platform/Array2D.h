#pragma once
#include "qssse/platform/Field2D.h"

// A plain 2-D array of T, row-major with x fastest: the one-channel field under a type of its own, so
// functions can be overloaded on the two. Same contract as DmField2D<T, 1>; not convertible to it.
template <class T>
class DmArray2D : private DmField2D<T, 1> {
  using Field = DmField2D<T, 1>;

 public:
  // 0 x 0, or sizeX by sizeY zeros; negative sizes throw CInvalidArgumentException.
  using Field::Field;

  using Field::GetSizeX;
  using Field::GetSizeY;
  // Element (x, y); indices are not checked.
  T& operator()(int x, int y) { return Field::operator()(x, y); }
  const T& operator()(int x, int y) const { return Field::operator()(x, y); }
  using Field::GetData;
};
