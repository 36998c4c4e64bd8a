// Plane operations on bytes and on 3-byte pixels: copy, fill, difference,
// scaled sum and product, thresholds, comparison, alpha composition, mirror.
#include <algorithm>
#include <cstring>
#include <utility>

#include "primitives/dispatch.h"
#include "primitives/plane_common.h"
#include "primitives/plane_kernels.h"
#include "primitives/prim_plane.h"

namespace {

using prim_plane::AnyNull;
using prim_plane::RowOf;
using prim_plane::SizeBelow;

// Rows that follow each other without a gap are one long row.
bool IsDense(int step, int widthBytes, int height) {
  return step == widthBytes && static_cast<int64_t>(widthBytes) * height <= INT32_MAX;
}

// Applies op(in, out, widthBytes) to each row of a source and a destination,
// or once when both are dense.
template <typename RowOp>
void ForEachRow(const uint8_t* src, int srcStep, uint8_t* dst, int dstStep, int widthBytes, int height, RowOp op) {
  if (srcStep == dstStep && IsDense(srcStep, widthBytes, height)) return op(src, dst, widthBytes * height);
  for (int row = 0; row < height; ++row) op(RowOf(src, srcStep, row), RowOf(dst, dstStep, row), widthBytes);
}

// a * b / 255 rounded down, for bytes a and b, without a division.
uint8_t ScaleBy255(int a, int b) {
  const int product = a * b;
  return static_cast<uint8_t>((product + 1 + (product >> 8)) >> 8);
}

// --- Copy and fill ---

int set_rgb_c(const uint8_t value[3], uint8_t* dst, int dstStep, int width, int height) {
  if (AnyNull({value, dst})) return PrimStsNullPtrErr;
  if (SizeBelow(width, height, 1, 1)) return PrimStsSizeErr;
  for (int row = 0; row < height; ++row) {
    uint8_t* out = RowOf(dst, dstStep, row);
    for (int x = 0; x < width; ++x) std::memcpy(out + 3 * x, value, 3);
  }
  return PrimStsNoErr;
}

// --- Arithmetic ---

void AbsDiffRow(const uint8_t* a, const uint8_t* b, uint8_t* out, int width) {
  for (int x = 0; x < width; ++x) out[x] = static_cast<uint8_t>(std::max(a[x], b[x]) - std::min(a[x], b[x]));
}

// A sum of two bytes scaled by 2^-scale: saturated at scale 0, rounded half
// to even for 1 to 9, shifted left and saturated for negative scales (a
// shift of 8 already saturates every nonzero sum), 0 above 9.
uint8_t ScaledSum(int sum, int scale) {
  if (scale == 0) return static_cast<uint8_t>(std::min(sum, 255));
  if (scale > 9) return 0;
  if (scale < 0) return static_cast<uint8_t>(std::min(sum << std::min(-scale, 8), 255));
  return static_cast<uint8_t>((sum + (1 << (scale - 1)) - 1 + ((sum >> scale) & 1)) >> scale);
}

void AddScaledRow(const uint8_t* a, const uint8_t* b, uint8_t* out, int width, int scale) {
  for (int x = 0; x < width; ++x) out[x] = ScaledSum(a[x] + b[x], scale);
}

void MulScaleRow(const uint8_t* in, uint8_t* out, int bytes, uint8_t value) {
  for (int x = 0; x < bytes; ++x) out[x] = ScaleBy255(in[x], value);
}

// --- Thresholds and comparison ---

void ThresholdLowRow(uint8_t* p, int width, uint8_t value) {
  for (int x = 0; x < width; ++x) p[x] = std::max(p[x], value);
}

void ThresholdHighRow(uint8_t* p, int width, uint8_t value) {
  for (int x = 0; x < width; ++x) p[x] = std::min(p[x], value);
}

template <typename Holds>
void CompareBytes(const uint8_t* in, uint8_t* out, int width, Holds holds) {
  for (int x = 0; x < width; ++x) out[x] = holds(in[x]) ? 255 : 0;
}

void CompareRow(const uint8_t* in, uint8_t* out, int width, uint8_t value, int op) {
  switch (op) {
    case PrimCmpLess:
      CompareBytes(in, out, width, [value](uint8_t b) { return b < value; });
      break;
    case PrimCmpLessEq:
      CompareBytes(in, out, width, [value](uint8_t b) { return b <= value; });
      break;
    case PrimCmpEq:
      CompareBytes(in, out, width, [value](uint8_t b) { return b == value; });
      break;
    case PrimCmpGreaterEq:
      CompareBytes(in, out, width, [value](uint8_t b) { return b >= value; });
      break;
    default:
      CompareBytes(in, out, width, [value](uint8_t b) { return b > value; });
      break;
  }
}

int copy_plane_c(const uint8_t* src, int srcStep, uint8_t* dst, int dstStep, int width, int height) {
  return prim_plane::CopyPlane(prim_plane::CopyRow, src, srcStep, dst, dstStep, width, height);
}

int set_plane_c(uint8_t value, uint8_t* dst, int dstStep, int width, int height) {
  return prim_plane::SetPlane(prim_plane::SetRow, value, dst, dstStep, width, height);
}

int abs_diff_c(const uint8_t* src1, int src1Step, const uint8_t* src2, int src2Step, uint8_t* dst, int dstStep,
               int width, int height) {
  return prim_plane::AbsDiff(AbsDiffRow, src1, src1Step, src2, src2Step, dst, dstStep, width, height);
}

int add_scaled_c(const uint8_t* src1, int src1Step, const uint8_t* src2, int src2Step, uint8_t* dst, int dstStep,
                 int width, int height, int scale) {
  return prim_plane::AddScaled(AddScaledRow, src1, src1Step, src2, src2Step, dst, dstStep, width, height, scale);
}

int mul_scale_rgb_c(const uint8_t* src, int srcStep, uint8_t value, uint8_t* dst, int dstStep, int width, int height) {
  return prim_plane::MulScaleRGB(MulScaleRow, src, srcStep, value, dst, dstStep, width, height);
}

int threshold_low_c(uint8_t* srcDst, int step, int width, int height, uint8_t value) {
  return prim_plane::Threshold(ThresholdLowRow, srcDst, step, width, height, value);
}

int threshold_high_c(uint8_t* srcDst, int step, int width, int height, uint8_t value) {
  return prim_plane::Threshold(ThresholdHighRow, srcDst, step, width, height, value);
}

int compare_const_c(const uint8_t* src, int srcStep, uint8_t value, uint8_t* dst, int dstStep, int width, int height,
                    int op) {
  return prim_plane::CompareConst(CompareRow, src, srcStep, value, dst, dstStep, width, height, op);
}

// --- Alpha composition ---

// result = min(255, M(M(src1, k1), f1) + M(M(src2, k2), f2)): k weights a
// source by its own alpha (255 when it is premultiplied already), f is the
// Porter-Duff factor of the type, made of the other source's alpha.
struct AlphaWeights {
  int k1, f1, k2, f2;
};

AlphaWeights WeightsOf(int type, int a1, int a2) {
  const bool premultiplied = type >= PrimAlphaOverPremul;
  const int k1 = premultiplied ? 255 : a1;
  const int k2 = premultiplied ? 255 : a2;
  switch (premultiplied ? type - PrimAlphaOverPremul : type) {
    case PrimAlphaOver:
      return {k1, 255, k2, 255 - a1};
    case PrimAlphaIn:
      return {k1, a2, k2, 0};
    case PrimAlphaOut:
      return {k1, 255 - a2, k2, 0};
    case PrimAlphaATop:
      return {k1, a2, k2, 255 - a1};
    case PrimAlphaXor:
      return {k1, 255 - a2, k2, 255 - a1};
    default:  // PrimAlphaPlus
      return {k1, 255, k2, 255};
  }
}

int alpha_comp_rgb_c(const uint8_t* src1, int src1Step, uint8_t alpha1, const uint8_t* src2, int src2Step,
                     uint8_t alpha2, uint8_t* dst, int dstStep, int width, int height, int type) {
  if (AnyNull({src1, src2, dst})) return PrimStsNullPtrErr;
  if (SizeBelow(width, height, 1, 1)) return PrimStsSizeErr;
  if (type < PrimAlphaOver || type > PrimAlphaPlusPremul) return PrimStsNoErr;
  const AlphaWeights w = WeightsOf(type, alpha1, alpha2);
  for (int row = 0; row < height; ++row) {
    const uint8_t* a = RowOf(src1, src1Step, row);
    const uint8_t* b = RowOf(src2, src2Step, row);
    uint8_t* out = RowOf(dst, dstStep, row);
    for (int x = 0; x < 3 * width; ++x) {
      const int sum = ScaleBy255(ScaleBy255(a[x], w.k1), w.f1) + ScaleBy255(ScaleBy255(b[x], w.k2), w.f2);
      out[x] = static_cast<uint8_t>(std::min(sum, 255));
    }
  }
  return PrimStsNoErr;
}

// --- Mirror ---

// The status of a mirror request; reversing an order needs two rows or two
// pixels to reverse.
int MirrorStatus(bool anyNull, int width, int height, int axis) {
  if (anyNull) return PrimStsNullPtrErr;
  if (SizeBelow(width, height, 1, 1)) return PrimStsSizeErr;
  if (axis != PrimMirrorRowOrder && axis != PrimMirrorPixelOrder && axis != PrimMirrorBoth) {
    return PrimStsMirrorAxisErr;
  }
  if (axis != PrimMirrorPixelOrder && height < 2) return PrimStsSizeErr;
  if (axis != PrimMirrorRowOrder && width < 2) return PrimStsSizeErr;
  return PrimStsNoErr;
}

// Copies the pixels of a row, of `bytes` bytes each, from last to first.
template <int bytes>
void CopyReversed(const uint8_t* in, uint8_t* out, int width) {
  for (int x = 0; x < width; ++x) std::memcpy(out + bytes * x, in + bytes * (width - 1 - x), bytes);
}

template <int bytes>
void ReverseInPlace(uint8_t* p, int width) {
  for (int x = 0; x < width / 2; ++x) {
    std::swap_ranges(p + bytes * x, p + bytes * (x + 1), p + bytes * (width - 1 - x));
  }
}

template <int bytes>
void MirrorCopy(const uint8_t* src, int srcStep, uint8_t* dst, int dstStep, int width, int height, int axis) {
  const bool rowOrder = axis != PrimMirrorPixelOrder;
  for (int row = 0; row < height; ++row) {
    const uint8_t* in = RowOf(src, srcStep, rowOrder ? height - 1 - row : row);
    uint8_t* out = RowOf(dst, dstStep, row);
    if (axis == PrimMirrorRowOrder) {
      std::memcpy(out, in, static_cast<size_t>(bytes) * width);
    } else {
      CopyReversed<bytes>(in, out, width);
    }
  }
}

template <int bytes>
void MirrorInPlace(uint8_t* p, int step, int width, int height, int axis) {
  if (axis != PrimMirrorPixelOrder) {
    for (int row = 0; row < height / 2; ++row) {
      uint8_t* top = RowOf(p, step, row);
      std::swap_ranges(top, top + bytes * width, RowOf(p, step, height - 1 - row));
    }
  }
  if (axis != PrimMirrorRowOrder) {
    for (int row = 0; row < height; ++row) ReverseInPlace<bytes>(RowOf(p, step, row), width);
  }
}

int mirror_copy_rgb_c(const uint8_t* src, int srcStep, uint8_t* dst, int dstStep, int width, int height, int axis) {
  if (const int status = MirrorStatus(AnyNull({src, dst}), width, height, axis); status != PrimStsNoErr) return status;
  MirrorCopy<3>(src, srcStep, dst, dstStep, width, height, axis);
  return PrimStsNoErr;
}

int mirror_rgb_c(uint8_t* srcDst, int step, int width, int height, int axis) {
  if (const int status = MirrorStatus(srcDst == nullptr, width, height, axis); status != PrimStsNoErr) return status;
  MirrorInPlace<3>(srcDst, step, width, height, axis);
  return PrimStsNoErr;
}

int mirror_plane_c(uint8_t* srcDst, int step, int width, int height, int axis) {
  if (const int status = MirrorStatus(srcDst == nullptr, width, height, axis); status != PrimStsNoErr) return status;
  MirrorInPlace<1>(srcDst, step, width, height, axis);
  return PrimStsNoErr;
}

// --- Signatures and tables ---

using SetRGBFn = int(const uint8_t[3], uint8_t*, int, int, int);
using AlphaCompRGBFn = int(const uint8_t*, int, uint8_t, const uint8_t*, int, uint8_t, uint8_t*, int, int, int, int);
using MirrorCopyFn = int(const uint8_t*, int, uint8_t*, int, int, int, int);
using MirrorInPlaceFn = int(uint8_t*, int, int, int, int);

constexpr auto kCopyPlane = VectorSlots(copy_plane_c, copy_plane_sse41, copy_plane_avx);
constexpr SetPlaneFn* kSetPlane[kPrimSlotCount] = {set_plane_c, set_plane_c, set_plane_c,
                                                   set_plane_c, set_plane_c, set_plane_c};
constexpr SetRGBFn* kSetRGB[kPrimSlotCount] = {set_rgb_c, set_rgb_c, set_rgb_c, set_rgb_c, set_rgb_c, set_rgb_c};
constexpr auto kAbsDiff = VectorSlots(abs_diff_c, abs_diff_sse41, abs_diff_avx);
constexpr auto kAddScaled = VectorSlots(add_scaled_c, add_scaled_sse41, add_scaled_avx);
constexpr auto kMulScaleRGB = VectorSlots(mul_scale_rgb_c, mul_scale_rgb_sse41, mul_scale_rgb_avx);
constexpr auto kThresholdLow = VectorSlots(threshold_low_c, threshold_low_sse41, threshold_low_avx);
constexpr auto kThresholdHigh = VectorSlots(threshold_high_c, threshold_high_sse41, threshold_high_avx);
constexpr auto kCompareConst = VectorSlots(compare_const_c, compare_const_sse41, compare_const_avx);
constexpr AlphaCompRGBFn* kAlphaCompRGB[kPrimSlotCount] = {alpha_comp_rgb_c, alpha_comp_rgb_c, alpha_comp_rgb_c,
                                                           alpha_comp_rgb_c, alpha_comp_rgb_c, alpha_comp_rgb_c};
constexpr MirrorCopyFn* kMirrorCopyRGB[kPrimSlotCount] = {mirror_copy_rgb_c, mirror_copy_rgb_c, mirror_copy_rgb_c,
                                                          mirror_copy_rgb_c, mirror_copy_rgb_c, mirror_copy_rgb_c};
constexpr MirrorInPlaceFn* kMirrorRGB[kPrimSlotCount] = {mirror_rgb_c, mirror_rgb_c, mirror_rgb_c,
                                                         mirror_rgb_c, mirror_rgb_c, mirror_rgb_c};
constexpr MirrorInPlaceFn* kMirrorPlane[kPrimSlotCount] = {mirror_plane_c, mirror_plane_c, mirror_plane_c,
                                                           mirror_plane_c, mirror_plane_c, mirror_plane_c};

}  // namespace

// --- The primitives over their row kernels ---

namespace prim_plane {

// memmove, so that a destination that is the source itself stays legal.
void CopyRow(const uint8_t* src, uint8_t* dst, int bytes) { std::memmove(dst, src, static_cast<size_t>(bytes)); }

void SetRow(uint8_t value, uint8_t* dst, int bytes) { std::memset(dst, value, static_cast<size_t>(bytes)); }

int CopyPlane(CopyRowFn* row, const uint8_t* src, int srcStep, uint8_t* dst, int dstStep, int width, int height) {
  if (AnyNull({src, dst})) return PrimStsNullPtrErr;
  if (SizeBelow(width, height, 1, 1)) return PrimStsSizeErr;
  ForEachRow(src, srcStep, dst, dstStep, width, height, row);
  return PrimStsNoErr;
}

int SetPlane(SetRowFn* row, uint8_t value, uint8_t* dst, int dstStep, int width, int height) {
  if (AnyNull({dst})) return PrimStsNullPtrErr;
  if (SizeBelow(width, height, 1, 1)) return PrimStsSizeErr;
  if (IsDense(dstStep, width, height)) return row(value, dst, width * height), PrimStsNoErr;
  for (int y = 0; y < height; ++y) row(value, RowOf(dst, dstStep, y), width);
  return PrimStsNoErr;
}

int AbsDiff(AbsDiffRowFn* row, const uint8_t* src1, int src1Step, const uint8_t* src2, int src2Step, uint8_t* dst,
            int dstStep, int width, int height) {
  if (AnyNull({src1, src2, dst})) return PrimStsNullPtrErr;
  if (SizeBelow(width, height, 1, 1)) return PrimStsSizeErr;
  if (std::min({src1Step, src2Step, dstStep}) < width) return PrimStsStepErr;
  for (int y = 0; y < height; ++y) {
    row(RowOf(src1, src1Step, y), RowOf(src2, src2Step, y), RowOf(dst, dstStep, y), width);
  }
  return PrimStsNoErr;
}

int AddScaled(AddScaledRowFn* row, const uint8_t* src1, int src1Step, const uint8_t* src2, int src2Step, uint8_t* dst,
              int dstStep, int width, int height, int scale) {
  if (AnyNull({src1, src2, dst})) return PrimStsNullPtrErr;
  if (SizeBelow(width, height, 1, 1)) return PrimStsSizeErr;
  for (int y = 0; y < height; ++y) {
    row(RowOf(src1, src1Step, y), RowOf(src2, src2Step, y), RowOf(dst, dstStep, y), width, scale);
  }
  return PrimStsNoErr;
}

int MulScaleRGB(MulScaleRowFn* row, const uint8_t* src, int srcStep, uint8_t value, uint8_t* dst, int dstStep,
                int width, int height) {
  if (AnyNull({src, dst})) return PrimStsNullPtrErr;
  if (SizeBelow(width, height, 1, 1)) return PrimStsSizeErr;
  ForEachRow(src, srcStep, dst, dstStep, 3 * width, height,
             [row, value](const uint8_t* in, uint8_t* out, int n) { row(in, out, n, value); });
  return PrimStsNoErr;
}

int Threshold(ThresholdRowFn* row, uint8_t* srcDst, int step, int width, int height, uint8_t value) {
  if (AnyNull({srcDst})) return PrimStsNullPtrErr;
  if (SizeBelow(width, height, 1, 1)) return PrimStsSizeErr;
  if (IsDense(step, width, height)) return row(srcDst, width * height, value), PrimStsNoErr;
  for (int y = 0; y < height; ++y) row(RowOf(srcDst, step, y), width, value);
  return PrimStsNoErr;
}

int CompareConst(CompareRowFn* row, const uint8_t* src, int srcStep, uint8_t value, uint8_t* dst, int dstStep,
                 int width, int height, int op) {
  if (AnyNull({src, dst})) return PrimStsNullPtrErr;
  if (SizeBelow(width, height, 1, 1)) return PrimStsSizeErr;
  if (srcStep < 1 || dstStep < 1) return PrimStsStepErr;
  if (op < PrimCmpLess || op > PrimCmpGreater) return PrimStsNoErr;
  ForEachRow(src, srcStep, dst, dstStep, width, height,
             [row, value, op](const uint8_t* in, uint8_t* out, int n) { row(in, out, n, value, op); });
  return PrimStsNoErr;
}

}  // namespace prim_plane

int PrimCopyPlane(const uint8_t* src, int srcStep, uint8_t* dst, int dstStep, int width, int height) {
  return kCopyPlane[g_primSlot](src, srcStep, dst, dstStep, width, height);
}

int PrimSetPlane(uint8_t value, uint8_t* dst, int dstStep, int width, int height) {
  return kSetPlane[g_primSlot](value, dst, dstStep, width, height);
}

int PrimSetRGB(const uint8_t value[3], uint8_t* dst, int dstStep, int width, int height) {
  return kSetRGB[g_primSlot](value, dst, dstStep, width, height);
}

int PrimAbsDiff(const uint8_t* src1, int src1Step, const uint8_t* src2, int src2Step, uint8_t* dst, int dstStep,
                int width, int height) {
  return kAbsDiff[g_primSlot](src1, src1Step, src2, src2Step, dst, dstStep, width, height);
}

int PrimAddScaled(const uint8_t* src1, int src1Step, const uint8_t* src2, int src2Step, uint8_t* dst, int dstStep,
                  int width, int height, int scale) {
  return kAddScaled[g_primSlot](src1, src1Step, src2, src2Step, dst, dstStep, width, height, scale);
}

int PrimMulScaleRGB(const uint8_t* src, int srcStep, uint8_t value, uint8_t* dst, int dstStep, int width, int height) {
  return kMulScaleRGB[g_primSlot](src, srcStep, value, dst, dstStep, width, height);
}

int PrimThresholdLow(uint8_t* srcDst, int step, int width, int height, uint8_t value) {
  return kThresholdLow[g_primSlot](srcDst, step, width, height, value);
}

int PrimThresholdHigh(uint8_t* srcDst, int step, int width, int height, uint8_t value) {
  return kThresholdHigh[g_primSlot](srcDst, step, width, height, value);
}

int PrimCompareConst(const uint8_t* src, int srcStep, uint8_t value, uint8_t* dst, int dstStep, int width, int height,
                     int op) {
  return kCompareConst[g_primSlot](src, srcStep, value, dst, dstStep, width, height, op);
}

int PrimAlphaCompRGB(const uint8_t* src1, int src1Step, uint8_t alpha1, const uint8_t* src2, int src2Step,
                     uint8_t alpha2, uint8_t* dst, int dstStep, int width, int height, int type) {
  return kAlphaCompRGB[g_primSlot](src1, src1Step, alpha1, src2, src2Step, alpha2, dst, dstStep, width, height, type);
}

int PrimMirrorCopyRGB(const uint8_t* src, int srcStep, uint8_t* dst, int dstStep, int width, int height, int axis) {
  return kMirrorCopyRGB[g_primSlot](src, srcStep, dst, dstStep, width, height, axis);
}

int PrimMirrorRGB(uint8_t* srcDst, int step, int width, int height, int axis) {
  return kMirrorRGB[g_primSlot](srcDst, step, width, height, axis);
}

int PrimMirrorPlane(uint8_t* srcDst, int step, int width, int height, int axis) {
  return kMirrorPlane[g_primSlot](srcDst, step, width, height, axis);
}
