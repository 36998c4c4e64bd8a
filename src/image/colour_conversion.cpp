// Conversions between planar YCbCr frames and packed RGB, between chroma
// formats, and from the BT.709 to the BT.601 colour matrix.
#include <algorithm>
#include <cstring>
#include <vector>

#include "image/image_support.h"
#include "platform/buffer_alloc.h"
#include "platform/global_memory.h"
#include "platform/bitmap.h"

namespace {

struct PlaneSet {
  uint8_t* planes[3];
  int steps[3];
};

PlaneSet FramePlanes(const CYUVFrame& frame) {
  return {{frame.y, frame.u, frame.v}, {frame.stride, frame.chromaStride, frame.chromaStride}};
}

void RgbBytesOf(unsigned long colour, uint8_t rgb[3]) {
  rgb[0] = static_cast<uint8_t>(colour);
  rgb[1] = static_cast<uint8_t>(colour >> 8);
  rgb[2] = static_cast<uint8_t>(colour >> 16);
}

uint8_t ClampLuma(uint8_t y) { return std::clamp<uint8_t>(y, 16, 235); }

// The header copy carries the source's chroma, while the block still has the
// target's own layout: the geometry comparison must see the latter.
void TakeHeaderAndGeometry(const CYUVFrame& source, CYUVFrame& target, CHROMA chroma) {
  const CHROMA blockChroma = target.chroma;
  CImageSupport::CopyFrameHeader(source, target);
  target.chroma = blockChroma;
  target.Reformat(source.width, source.height, chroma);
}

}  // namespace

unsigned long CImageSupport::RGBFromYCbCr(unsigned char y, unsigned char cb, unsigned char cr) {
  const uint8_t ycbcr[3] = {y, cb, cr};
  uint8_t rgb[3];
  PrimYCbCrToRGB(ycbcr, 3, rgb, 3, 1, 1);
  return rgb[0] | (static_cast<unsigned long>(rgb[1]) << 8) | (static_cast<unsigned long>(rgb[2]) << 16);
}

int CImageSupport::YCbCrFromRGB(unsigned long colour, unsigned char* const out) {
  uint8_t rgb[3];
  RgbBytesOf(colour, rgb);
  uint8_t* const planes[3] = {out, out + 1, out + 2};
  PrimRGBToYCbCrPlanar(rgb, 3, planes, 1, 1, 1);
  out[0] = ClampLuma(out[0]);
  return 0;
}

HRESULT CImageSupport::Convert422To420(unsigned char* const* dst, const unsigned char* const* src, int width,
                                       int height, const unsigned* const steps, bool) {
  PrimCopyPlane(src[0], static_cast<int>(steps[0]), dst[0], width, width, height);
  for (int plane = 1; plane < 3; ++plane) {
    PrimCopyPlane(src[plane], 2 * static_cast<int>(steps[plane]), dst[plane], width / 2, width / 2, height / 2);
  }
  return S_OK;
}

HRESULT CImageSupport::ConvertYUVFrame_to_RGBBuffer(unsigned char* rgb, const CYUVFrame& frame) {
  return ConvertYUVFrame_to_RGBBuffer(rgb, frame, CRect(0, 0, frame.width, frame.height));
}

HRESULT CImageSupport::ConvertYUVFrame_to_RGBBuffer(unsigned char* rgb, const CYUVFrame& frame, const CRect& area) {
  if (frame.chroma != CHROMA_420 && frame.chroma != CHROMA_422) return S_FALSE;
  const int chromaDivisor = frame.chroma == CHROMA_420 ? 2 : 1;
  const int chromaOffset = frame.chromaStride * area.top / chromaDivisor + area.left / 2;
  const uint8_t* const planes[3] = {frame.y + area.top * frame.stride + area.left, frame.u + chromaOffset,
                                    frame.v + chromaOffset};
  const int steps[3] = {frame.stride, frame.chromaStride, frame.chromaStride};
  const int width = area.Width();
  if (frame.chroma == CHROMA_420) {
    PrimYCbCr420ToRGB(planes, steps, rgb, 3 * width, width, area.Height());
  } else {
    PrimYCbCr422ToRGB(planes, steps, rgb, 3 * width, width, area.Height());
  }
  return S_OK;
}

HRESULT CImageSupport::ConvertYUV420Frame_to_RGBBuffer(unsigned char* rgb, const unsigned char* const* planes,
                                                       int* steps, int rgbStep, CSize size) {
  PrimYCbCr420ToRGB(planes, steps, rgb, rgbStep, size.cx, size.cy);
  return S_OK;
}

HRESULT CImageSupport::ConvertYUV422Frame_to_RGBBuffer(unsigned char* rgb, const unsigned char* const* planes,
                                                       int* steps, int rgbStep, CSize size) {
  PrimYCbCr422ToRGB(planes, steps, rgb, rgbStep, size.cx, size.cy);
  return S_OK;
}

HRESULT CImageSupport::ConvertRGBBuffer2YUV420Frame(unsigned char* rgb, CYUVFrame& frame, int width, int height) {
  width += width & 1;
  height += height & 1;
  const int rgbStep = 3 * width;
  // The buffer's rows run from the bottom; the work copy runs from the top.
  uint8_t* topDown = nullptr;
  const uint8_t* source = rgb;
  if (height > 0) {
    topDown = static_cast<uint8_t*>(BufferMalloc(static_cast<size_t>(rgbStep) * height));
    PrimMirrorCopyRGB(rgb, rgbStep, topDown, rgbStep, width, height, 0);
    source = topDown;
  }
  frame.Reformat(width, height, CHROMA_420);
  PrimSetPlane(16, frame.y, frame.stride, frame.stride, height);
  const PlaneSet target = FramePlanes(frame);
  PrimRGBToYUV420(source, rgbStep, target.planes, target.steps, width, height);
  BufferFree(topDown);
  return S_OK;
}

HRESULT CImageSupport::ConvertRGB_dib_bitmap_to_YUV(void* dib, CYUVFrame& frame, CHROMA chroma) {
  auto* handle = static_cast<HGLOBAL>(dib);
  auto* bytes = static_cast<uint8_t*>(GlobalLock(handle));
  BITMAPINFOHEADER header;
  std::memcpy(&header, bytes, sizeof header);
  const int width = header.biWidth;
  const int height = header.biHeight;
  const int rgbStep = 3 * width;
  uint8_t* topDown = nullptr;
  const uint8_t* source = bytes + sizeof header;
  if (height > 0) {
    const int bitmapRowBytes = (rgbStep + 3) & ~3;
    topDown = static_cast<uint8_t*>(BufferMalloc(static_cast<size_t>(rgbStep) * height));
    PrimMirrorCopyRGB(source, bitmapRowBytes, topDown, rgbStep, width, height, 0);
    source = topDown;
  }
  frame.Reformat(width, height, chroma);
  const PlaneSet target = FramePlanes(frame);
  if (chroma == CHROMA_420) {
    PrimBGRToYCbCr420(source, rgbStep, target.planes, target.steps, width, height);
  } else if (chroma == CHROMA_422) {
    PrimBGRToYCbCr422(source, rgbStep, target.planes, target.steps, width, height);
  }
  GlobalUnlock(handle);
  BufferFree(topDown);
  return S_OK;
}

HRESULT CImageSupport::ConvertRGBBuffer_to_YUVFrame(const unsigned char* rgb, CYUVFrame& frame) {
  const PlaneSet target = FramePlanes(frame);
  if (frame.chroma == CHROMA_420) {
    PrimRGBToYCbCr420(rgb, 3 * frame.width, target.planes, target.steps, frame.width, frame.height);
  } else if (frame.chroma == CHROMA_422) {
    PrimRGBToYCbCr422(rgb, 3 * frame.width, target.planes, target.steps, frame.width, frame.height);
  } else {
    return S_FALSE;
  }
  return S_OK;
}

void CImageSupport::CopyFrameHeader(const CYUVFrame& source, CYUVFrame& target) {
  target.stampA = source.stampA;
  target.stampB = source.stampB;
  target.presentationTime = source.presentationTime;
  target.stampC = source.stampC;
  target.stampD = source.stampD;
  target.headerWordA = source.headerWordA;
  target.headerWordB = source.headerWordB;
  target.headerFlagA = source.headerFlagA;
  target.headerFlagB = source.headerFlagB;
  target.headerFlagC = source.headerFlagC;
  target.frameWordA = source.frameWordA;
  target.frameWordB = source.frameWordB;
  target.chroma = source.chroma;
  target.progressive = source.progressive;
  target.repeatFirstField = source.repeatFirstField;
  target.topFieldFirst = source.topFieldFirst;
  target.frameWordC = source.frameWordC;
  target.frameCodeA = source.frameCodeA;
  target.frameCodeB = source.frameCodeB;
  target.captions = source.captions;
}

HRESULT CImageSupport::ConvertChroma(CYUVFrame* source, CYUVFrame* target, int chroma) {
  const auto requested = static_cast<CHROMA>(chroma);
  TakeHeaderAndGeometry(*source, *target, requested);

  if (source->chroma == requested) {
    *target = *source;
    return S_OK;
  }
  const PlaneSet from = FramePlanes(*source);
  const PlaneSet to = FramePlanes(*target);
  const int width = source->stride;
  const int height = source->paddedHeight;
  if (source->chroma == CHROMA_422 && requested == CHROMA_420) {
    PrimYCbCr422To420(from.planes, from.steps, to.planes, to.steps, width, height);
  } else if (source->chroma == CHROMA_420 && requested == CHROMA_422 && source->progressive) {
    PrimYCbCr420To422(from.planes, from.steps, to.planes, to.steps, width, height);
  } else if (source->chroma == CHROMA_420 && requested == CHROMA_422) {
    PrimYCbCr420To422Interlaced(from.planes, from.steps, to.planes, to.steps, width, height);
  } else {
    return E_FAIL;
  }
  return S_OK;
}

namespace {

// The BT.709 to BT.601 matrix for studio-range YCbCr, as single-precision
// values (bit patterns 0x3F800000 0x3DCB63E1 0x3E444CE3 / 0 0x3F7D670F
// 0xBDE29DC8 / 0 0xBD946238 0x3F7BBFF6).
constexpr float kBT709ToBT601[3][3] = {
    {1.0f, 0.09931160f, 0.19169955f},
    {0.0f, 0.98985380f, -0.11065251f},
    {0.0f, -0.07245296f, 0.98339784f},
};

// Truncates toward zero and keeps the low 8 bits, as a byte store of the
// converted value does: a negative luma wraps.
uint8_t StoreLow8(float value) { return static_cast<uint8_t>(static_cast<int>(value)); }

// Summed in the order of the matrix's columns, each step in single precision.
float MatrixRow(int row, float y, float u, float v) {
  return kBT709ToBT601[row][0] * y + kBT709ToBT601[row][1] * u + kBT709ToBT601[row][2] * v;
}

}  // namespace

namespace {

float Centred(uint8_t chroma) { return static_cast<float>(chroma - 128); }

// The chroma side of one line. m10 and m20 are 0, so a chroma output depends
// on its chroma sample alone and is worked out once per sample.
void ConvertChromaLine(const uint8_t* sourceU, const uint8_t* sourceV, uint8_t* targetU, uint8_t* targetV,
                       int samples) {
  for (int c = 0; c < samples; ++c) {
    const float u = Centred(sourceU[c]), v = Centred(sourceV[c]);
    targetU[c] = StoreLow8(std::min(MatrixRow(1, 0.0f, u, v) + 128.0f, 240.0f));
    targetV[c] = StoreLow8(std::min(MatrixRow(2, 0.0f, u, v) + 128.0f, 240.0f));
  }
}

// The luma rows' chroma terms m01·U and m02·V of a chroma line, spread to the
// columns they serve. kColumnsPerSample is fixed at compile time so that the
// loop runs on vectors.
template <int kColumnsPerSample>
void SpreadChromaTerms(const uint8_t* sourceU, const uint8_t* sourceV, int samples, float* uTerm, float* vTerm) {
  for (int c = 0; c < samples; ++c) {
    const float u = kBT709ToBT601[0][1] * Centred(sourceU[c]), v = kBT709ToBT601[0][2] * Centred(sourceV[c]);
    for (int k = 0; k < kColumnsPerSample; ++k) {
      uTerm[kColumnsPerSample * c + k] = u;
      vTerm[kColumnsPerSample * c + k] = v;
    }
  }
}

// The luma side: (m00·Y + m01·U) + m02·V in the matrix's order, m00 being 1.
void ConvertLumaLine(const uint8_t* sourceY, uint8_t* targetY, int width, const float* uTerm, const float* vTerm) {
  for (int x = 0; x < width; ++x) {
    const float y = static_cast<float>(sourceY[x] - 16);
    targetY[x] = StoreLow8(std::min((y + uTerm[x]) + vTerm[x] + 16.0f, 235.0f));
  }
}

}  // namespace

HRESULT CImageSupport::ConvertColorSpace(COLOR_SPACE_CONVERT, const CYUVFrame& source, CYUVFrame& target) {
  TakeHeaderAndGeometry(source, target, source.chroma);
  const int chromaLineDivisor = source.chroma == CHROMA_420 ? 2 : 1;
  // A 4:4:4 plane has a chroma sample for every column; chroma depends on
  // chroma alone, so its left half is what halved columns would give.
  const int columnsPerSample = source.chroma == CHROMA_444 ? 1 : 2;
  const int samples = (source.width + columnsPerSample - 1) / columnsPerSample;
  std::vector<float> uTerm(static_cast<size_t>(samples) * columnsPerSample);
  std::vector<float> vTerm(uTerm.size());
  for (int i = 0; i < source.height; ++i) {
    if (i % chromaLineDivisor == 0) {
      const size_t chromaLine = static_cast<size_t>(i / chromaLineDivisor) * source.chromaStride;
      const uint8_t *u = source.u + chromaLine, *v = source.v + chromaLine;
      ConvertChromaLine(u, v, target.u + chromaLine, target.v + chromaLine, samples);
      if (columnsPerSample == 1) {
        SpreadChromaTerms<1>(u, v, samples, uTerm.data(), vTerm.data());
      } else {
        SpreadChromaTerms<2>(u, v, samples, uTerm.data(), vTerm.data());
      }
    }
    ConvertLumaLine(source.y + static_cast<size_t>(i) * source.stride, target.y + static_cast<size_t>(i) * target.stride,
                    source.width, uTerm.data(), vTerm.data());
  }
  return S_OK;
}
