// Chroma resampling between 4:2:2 and 4:2:0. Luma is copied; chroma rows are
// dropped, doubled, or for interlaced pictures filtered within each field.
#include "primitives/dispatch.h"
#include "primitives/plane_common.h"
#include "primitives/plane_kernels.h"
#include "primitives/prim_plane.h"

namespace {

using prim_plane::AnyNull;
using prim_plane::AnyNullPlane;
using prim_plane::CopyRows;
using prim_plane::RowOf;
using prim_plane::SizeBelow;

bool AnyNullArgument(const uint8_t* const src[3], const int srcStep[3], uint8_t* const dst[3], const int dstStep[3]) {
  return AnyNullPlane(src) || AnyNullPlane(dst) || AnyNull({srcStep, dstStep});
}

void CopyLuma(const uint8_t* const src[3], const int srcStep[3], uint8_t* const dst[3], const int dstStep[3], int width,
              int height) {
  CopyRows(src[0], srcStep[0], dst[0], dstStep[0], width, height);
}

// One row of the field filter: (wa * a + wb * b + 4) >> 3 with wa + wb = 8.
void BlendRow(const uint8_t* a, int wa, const uint8_t* b, int wb, uint8_t* out, int width) {
  for (int x = 0; x < width; ++x) out[x] = static_cast<uint8_t>((wa * a[x] + wb * b[x] + 4) >> 3);
}

// Source chroma rows s and s+1 are the two fields' rows at one height, s+2
// and s+3 the next ones; each field's new rows lie 1/4 and 3/4 of the way.
void UpsampleFieldsOfPlane(prim_plane::BlendRowFn* blend, const uint8_t* src, int srcStep, uint8_t* dst, int dstStep,
                           int width, int height) {
  const auto in = [&](int row) { return RowOf(src, srcStep, row); };
  const auto out = [&](int row) { return RowOf(dst, dstStep, row); };
  CopyRows(src, srcStep, dst, dstStep, width, 2);
  int s = 0;
  int d = 2;
  for (int round = 0; round < (height - 1) / 4; ++round, s += 2, d += 4) {
    blend(in(s), 5, in(s + 2), 3, out(d), width);
    blend(in(s + 1), 7, in(s + 3), 1, out(d + 1), width);
    blend(in(s), 1, in(s + 2), 7, out(d + 2), width);
    blend(in(s + 1), 3, in(s + 3), 5, out(d + 3), width);
  }
  CopyRows(in(s), srcStep, out(d), dstStep, width, 2);
}

int ycbcr422_to_420_c(const uint8_t* const src[3], const int srcStep[3], uint8_t* const dst[3], const int dstStep[3],
                      int width, int height) {
  if (AnyNullArgument(src, srcStep, dst, dstStep)) return PrimStsNullPtrErr;
  if (SizeBelow(width, height, 2, 2)) return PrimStsSizeErr;
  width &= ~1;
  height &= ~1;
  CopyLuma(src, srcStep, dst, dstStep, width, height);
  for (int c = 1; c < 3; ++c) CopyRows(src[c], 2 * srcStep[c], dst[c], dstStep[c], width / 2, height / 2);
  return PrimStsNoErr;
}

int ycbcr420_to_422_c(const uint8_t* const src[3], const int srcStep[3], uint8_t* const dst[3], const int dstStep[3],
                      int width, int height) {
  if (AnyNullArgument(src, srcStep, dst, dstStep)) return PrimStsNullPtrErr;
  if (SizeBelow(width, height, 2, 2)) return PrimStsSizeErr;
  width &= ~1;
  height &= ~1;
  CopyLuma(src, srcStep, dst, dstStep, width, height);
  for (int c = 1; c < 3; ++c) {
    CopyRows(src[c], srcStep[c], dst[c], 2 * dstStep[c], width / 2, height / 2);
    CopyRows(src[c], srcStep[c], RowOf(dst[c], dstStep[c], 1), 2 * dstStep[c], width / 2, height / 2);
  }
  return PrimStsNoErr;
}

int ycbcr420_to_422_interlaced_c(const uint8_t* const src[3], const int srcStep[3], uint8_t* const dst[3],
                                 const int dstStep[3], int width, int height) {
  return prim_plane::YCbCr420To422Interlaced(BlendRow, src, srcStep, dst, dstStep, width, height);
}

constexpr ResampleFn* kYCbCr422To420[kPrimSlotCount] = {ycbcr422_to_420_c, ycbcr422_to_420_c, ycbcr422_to_420_c,
                                                        ycbcr422_to_420_c, ycbcr422_to_420_c, ycbcr422_to_420_c};
constexpr ResampleFn* kYCbCr420To422[kPrimSlotCount] = {ycbcr420_to_422_c, ycbcr420_to_422_c, ycbcr420_to_422_c,
                                                        ycbcr420_to_422_c, ycbcr420_to_422_c, ycbcr420_to_422_c};
constexpr auto kYCbCr420To422Interlaced =
    VectorSlots(ycbcr420_to_422_interlaced_c, ycbcr420_to_422_interlaced_sse41, ycbcr420_to_422_interlaced_avx);

}  // namespace

int prim_plane::YCbCr420To422Interlaced(BlendRowFn* blend, const uint8_t* const src[3], const int srcStep[3],
                                        uint8_t* const dst[3], const int dstStep[3], int width, int height) {
  if (AnyNullArgument(src, srcStep, dst, dstStep)) return PrimStsNullPtrErr;
  if (SizeBelow(width, height, 2, 4)) return PrimStsSizeErr;
  const bool odd = width % 2 != 0 || height % 4 != 0;
  width &= ~1;
  height &= ~3;
  CopyLuma(src, srcStep, dst, dstStep, width, height);
  for (int c = 1; c < 3; ++c) UpsampleFieldsOfPlane(blend, src[c], srcStep[c], dst[c], dstStep[c], width / 2, height);
  return odd ? PrimStsOddSize : PrimStsNoErr;
}

int PrimYCbCr422To420(const uint8_t* const src[3], const int srcStep[3], uint8_t* const dst[3], const int dstStep[3],
                      int width, int height) {
  return kYCbCr422To420[g_primSlot](src, srcStep, dst, dstStep, width, height);
}

int PrimYCbCr420To422(const uint8_t* const src[3], const int srcStep[3], uint8_t* const dst[3], const int dstStep[3],
                      int width, int height) {
  return kYCbCr420To422[g_primSlot](src, srcStep, dst, dstStep, width, height);
}

int PrimYCbCr420To422Interlaced(const uint8_t* const src[3], const int srcStep[3], uint8_t* const dst[3],
                                const int dstStep[3], int width, int height) {
  return kYCbCr420To422Interlaced[g_primSlot](src, srcStep, dst, dstStep, width, height);
}
