// Fades, field operations, solid colours, flips and overlays.
#include <algorithm>
#include <cstring>
#include <vector>

#include "image/image_support.h"
#include "platform/buffer_alloc.h"

namespace {

int AxisOf(CImageSupport::FLIP_TYPE type) {
  switch (type) {
    case CImageSupport::FLIP_HORIZONTAL: return 1;
    case CImageSupport::FLIP_VERTICAL: return 0;
    case CImageSupport::FLIP_BOTH: return 2;
    default: return static_cast<int>(type);
  }
}

}  // namespace

HRESULT CImageSupport::FadeToFromBlack(CYUVFrame* frames, const CYUVFrame& source, int count, FADE_TYPE type) {
  if (count <= 0) return S_OK;
  const bool toBlack = type == FADE_TO_BLACK;
  const double step = 255.0 / count;
  double level = toBlack ? 255.0 : 1.0;
  const int width = source.width;
  const int height = source.height;
  const size_t rgbBytes = 3 * static_cast<size_t>(width) * height;
  auto* original = static_cast<uint8_t*>(BufferMalloc(rgbBytes));
  auto* scaled = static_cast<uint8_t*>(BufferMalloc(rgbBytes));
  ConvertYUVFrame_to_RGBBuffer(original, source);
  for (int i = 0; i < count; ++i) {
    CYUVFrame& frame = frames[i];
    frame = source;
    PrimMulScaleRGB(original, 3 * width, static_cast<uint8_t>(static_cast<int>(level)), scaled, 3 * width, width,
                    height);
    uint8_t* const planes[3] = {frame.y, frame.u, frame.v};
    const int steps[3] = {frame.stride, frame.chromaStride, frame.chromaStride};
    if (frame.chroma == CHROMA_420) {
      PrimRGBToYCbCr420(scaled, 3 * width, planes, steps, width, height);
    } else if (frame.chroma == CHROMA_422) {
      PrimRGBToYCbCr422(scaled, 3 * width, planes, steps, width, height);
    }
    level = std::clamp(toBlack ? level - step : level + step, 1.0, 255.0);
  }
  BufferFree(original);
  BufferFree(scaled);
  return S_OK;
}

HRESULT CImageSupport::DeinterlaceFrameUsingBOB(CYUVFrame& frame, bool keepTopField) {
  uint8_t* top = frame.y;
  uint8_t* bottom = frame.y + frame.stride;
  if (keepTopField) {
    PrimCopyPlane(top, 2 * frame.stride, bottom, 2 * frame.stride, frame.width, frame.height / 2);
  } else {
    PrimCopyPlane(bottom, 2 * frame.stride, top, 2 * frame.stride, frame.width, frame.height / 2);
  }
  return S_OK;
}

HRESULT CImageSupport::MergeFields(CYUVFrame& target, bool firstOnTop, const CYUVFrame& first,
                                   const CYUVFrame& second) {
  // When target is first or second, its own lines already stand where they
  // belong and must not be overwritten before they are read.
  target.Reformat(first.width, first.height, first.chroma);
  const CYUVFrame& evenSource = firstOnTop ? first : second;
  const CYUVFrame& oddSource = firstOnTop ? second : first;
  const int width = first.width;
  const int halfHeight = first.height / 2;
  if (evenSource.y != target.y) {
    PrimCopyPlane(evenSource.y, 2 * evenSource.stride, target.y, 2 * target.stride, width, halfHeight);
  }
  if (oddSource.y != target.y) {
    PrimCopyPlane(oddSource.y + oddSource.stride, 2 * oddSource.stride, target.y + target.stride, 2 * target.stride,
                  width, halfHeight);
  }
  PrimAddScaled(first.u, first.chromaStride, second.u, second.chromaStride, target.u, target.chromaStride, width / 2,
                halfHeight, 1);
  PrimAddScaled(first.v, first.chromaStride, second.v, second.chromaStride, target.v, target.chromaStride, width / 2,
                halfHeight, 1);
  return S_OK;
}

HRESULT CImageSupport::CreateFieldTestPattern(CYUVFrame* frame) {
  const int width = frame->width;
  for (int line = 0; line < frame->height; ++line) {
    uint8_t* row = frame->y + static_cast<size_t>(line) * frame->stride;
    std::memset(row, 0, static_cast<size_t>(width));
    // Right half of even lines, left half of odd lines: a wrong field order
    // makes the halves trade places at every field.
    if (line % 2 == 0) {
      std::memset(row + width / 2, 255, static_cast<size_t>(width - width / 2));
    } else {
      std::memset(row, 255, static_cast<size_t>(width / 2));
    }
  }
  return S_OK;
}

HRESULT CImageSupport::SwapFields(CYUVFrame* frame) {
  // The line buffer is sized by the width, so any width is safe.
  std::vector<uint8_t> line(static_cast<size_t>(frame->width));
  for (int row = 0; row + 1 < frame->height; row += 2) {
    uint8_t* upper = frame->y + static_cast<size_t>(row) * frame->stride;
    uint8_t* lower = upper + frame->stride;
    std::memcpy(line.data(), upper, line.size());
    std::memcpy(upper, lower, line.size());
    std::memcpy(lower, line.data(), line.size());
  }
  return S_OK;
}

HRESULT CImageSupport::BuildSolidColorYUVFrame(CYUVFrame& frame, unsigned long colour, CHROMA chroma, int width,
                                               int height) {
  uint8_t ycbcr[3];
  YCbCrFromRGB(colour, ycbcr);
  frame.Reformat(width, height, chroma);
  std::memset(frame.y, ycbcr[0], static_cast<size_t>(frame.stride) * height);
  std::memset(frame.u, ycbcr[1], static_cast<size_t>(frame.chromaPlaneSize));
  std::memset(frame.v, ycbcr[2], static_cast<size_t>(frame.chromaPlaneSize));
  return S_OK;
}

HRESULT CImageSupport::FillRGBBufferWithSolidColor(unsigned char* rgb, unsigned long colour, int width, int height) {
  const uint8_t bytes[3] = {static_cast<uint8_t>(colour), static_cast<uint8_t>(colour >> 8),
                            static_cast<uint8_t>(colour >> 16)};
  PrimSetRGB(bytes, rgb, 3 * width, width, height);
  return S_OK;
}

HRESULT CImageSupport::MergeRGBBitmapsWithAlpha(unsigned char* target, const unsigned char* under, int width, int,
                                                int line, int column, const unsigned char* overlay, int overlayWidth,
                                                int overlayHeight, int alpha) {
  const size_t offset = 3 * (static_cast<size_t>(width) * line + column);
  PrimAlphaCompRGB(under + offset, 3 * width, static_cast<uint8_t>(alpha), overlay, 3 * overlayWidth, 255,
                   target + offset, 3 * width, overlayWidth, overlayHeight, 0);
  return S_OK;
}

HRESULT CImageSupport::FlipRGBBuffer(unsigned char* rgb, int width, int height, FLIP_TYPE type) {
  PrimMirrorRGB(rgb, 3 * width, width, height, AxisOf(type));
  return S_OK;
}

HRESULT CImageSupport::FlipYUVFrame(CYUVFrame& frame, FLIP_TYPE type) {
  const int axis = AxisOf(type);
  PrimMirrorPlane(frame.y, frame.stride, frame.stride, frame.height, axis);
  PrimMirrorPlane(frame.u, frame.chromaStride, frame.chromaStride, frame.chromaHeight, axis);
  PrimMirrorPlane(frame.v, frame.chromaStride, frame.chromaStride, frame.chromaHeight, axis);
  return S_OK;
}

void CImageSupport::ConvertFrametoBlackWhite(const CYUVFrame& source, CYUVFrame& target, unsigned char threshold,
                                             INVERT_BLACK_WHITE invert) {
  target = source;
  std::memset(target.u, 128, static_cast<size_t>(target.chromaPlaneSize));
  std::memset(target.v, 128, static_cast<size_t>(target.chromaPlaneSize));
  const uint8_t high = invert == INVERT_BLACK_WHITE_ON ? 16 : 235;
  const uint8_t low = invert == INVERT_BLACK_WHITE_ON ? 235 : 16;
  uint8_t* luma = target.y;
  const size_t samples = static_cast<size_t>(target.stride) * target.paddedHeight;
  for (size_t i = 0; i < samples; ++i) luma[i] = luma[i] >= threshold ? high : low;
}
