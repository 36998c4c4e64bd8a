#include "deinterlace/bob_deinterlacer.h"

#include <cstddef>
#include <cstring>

HRESULT CBobDeinterlacer::DeinterlaceFrame(CYUVFrame& frame) {
  if (frame.progressive) return S_OK;
  frame.progressive = true;
  const size_t stride = static_cast<size_t>(frame.stride);
  for (int row = 0; row < frame.height; row += 2) {
    uint8_t* top = frame.y + static_cast<size_t>(row) * stride;
    std::memcpy(top + stride, top, static_cast<size_t>(frame.width));
  }
  return S_OK;
}
