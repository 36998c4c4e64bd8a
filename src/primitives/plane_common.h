// Row addressing and argument checks shared by the plane and colour
// primitives. Internal to the primitives.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <initializer_list>

namespace prim_plane {

// Row y of an image: steps may be negative, so the offset is computed wide.
template <typename T>
T* RowOf(T* first, int step, int y) {
  return first + static_cast<ptrdiff_t>(step) * y;
}

// memmove, so that a destination that is the source itself stays legal.
inline void CopyRows(const uint8_t* src, int srcStep, uint8_t* dst, int dstStep, int widthBytes, int height) {
  for (int row = 0; row < height; ++row) {
    std::memmove(RowOf(dst, dstStep, row), RowOf(src, srcStep, row), static_cast<size_t>(widthBytes));
  }
}

inline bool AnyNull(std::initializer_list<const void*> pointers) {
  for (const void* p : pointers) {
    if (p == nullptr) return true;
  }
  return false;
}

// A plane set is missing when the array or any of its three planes is.
inline bool AnyNullPlane(const uint8_t* const planes[3]) {
  return planes == nullptr || AnyNull({planes[0], planes[1], planes[2]});
}

inline bool SizeBelow(int width, int height, int minWidth, int minHeight) {
  return width < minWidth || height < minHeight;
}

}  // namespace prim_plane
