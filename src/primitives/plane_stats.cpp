// Statistics over a plane of bytes: a count in a range, the maximum, and the
// L2 norm of a difference.
#include <algorithm>
#include <cmath>

#include "primitives/dispatch.h"
#include "primitives/plane_common.h"
#include "primitives/plane_kernels.h"
#include "primitives/prim_plane.h"

namespace {

using prim_plane::AnyNull;
using prim_plane::RowOf;
using prim_plane::SizeBelow;

int CountRow(const uint8_t* p, int width, uint8_t lower, uint8_t upper) {
  int total = 0;
  for (int x = 0; x < width; ++x) total += (p[x] >= lower && p[x] <= upper) ? 1 : 0;
  return total;
}

uint8_t MaxRow(const uint8_t* p, int width) {
  uint8_t largest = 0;
  for (int x = 0; x < width; ++x) largest = std::max(largest, p[x]);
  return largest;
}

int count_in_range_c(const uint8_t* src, int step, int width, int height, int* count, uint8_t lower, uint8_t upper) {
  return prim_plane::CountInRange(CountRow, src, step, width, height, count, lower, upper);
}

int max_c(const uint8_t* src, int step, int width, int height, uint8_t* max) {
  return prim_plane::Max(MaxRow, src, step, width, height, max);
}

int norm_diff_l2_c(const uint8_t* src1, int src1Step, const uint8_t* src2, int src2Step, int width, int height,
                   double* norm) {
  if (AnyNull({src1, src2, norm})) return PrimStsNullPtrErr;
  if (SizeBelow(width, height, 1, 1)) return PrimStsSizeErr;
  // The sum is exact in 64 bits; only the root is taken in floating point.
  int64_t sum = 0;
  for (int row = 0; row < height; ++row) {
    const uint8_t* a = RowOf(src1, src1Step, row);
    const uint8_t* b = RowOf(src2, src2Step, row);
    for (int x = 0; x < width; ++x) {
      const int d = a[x] - b[x];
      sum += d * d;
    }
  }
  *norm = std::sqrt(static_cast<double>(sum));
  return PrimStsNoErr;
}

using NormDiffL2Fn = int(const uint8_t*, int, const uint8_t*, int, int, int, double*);

constexpr auto kCountInRange = VectorSlots(count_in_range_c, count_in_range_sse41, count_in_range_avx);
constexpr auto kMax = VectorSlots(max_c, max_sse41, max_avx);
constexpr NormDiffL2Fn* kNormDiffL2[kPrimSlotCount] = {norm_diff_l2_c, norm_diff_l2_c, norm_diff_l2_c,
                                                       norm_diff_l2_c, norm_diff_l2_c, norm_diff_l2_c};

}  // namespace

namespace prim_plane {

int CountInRange(CountRowFn* row, const uint8_t* src, int step, int width, int height, int* count, uint8_t lower,
                 uint8_t upper) {
  if (AnyNull({src, count})) return PrimStsNullPtrErr;
  if (step < 1) return PrimStsStepErr;
  if (SizeBelow(width, height, 1, 1)) return PrimStsSizeErr;
  if (lower > upper) return PrimStsRangeErr;
  int total = 0;
  for (int y = 0; y < height; ++y) total += row(RowOf(src, step, y), width, lower, upper);
  *count = total;
  return PrimStsNoErr;
}

int Max(MaxRowFn* row, const uint8_t* src, int step, int width, int height, uint8_t* max) {
  if (AnyNull({src, max})) return PrimStsNullPtrErr;
  if (SizeBelow(width, height, 1, 1)) return PrimStsSizeErr;
  uint8_t largest = 0;
  for (int y = 0; y < height; ++y) largest = std::max(largest, row(RowOf(src, step, y), width));
  *max = largest;
  return PrimStsNoErr;
}

}  // namespace prim_plane

int PrimCountInRange(const uint8_t* src, int step, int width, int height, int* count, uint8_t lower, uint8_t upper) {
  return kCountInRange[g_primSlot](src, step, width, height, count, lower, upper);
}

int PrimMax(const uint8_t* src, int step, int width, int height, uint8_t* max) {
  return kMax[g_primSlot](src, step, width, height, max);
}

int PrimNormDiffL2(const uint8_t* src1, int src1Step, const uint8_t* src2, int src2Step, int width, int height,
                   double* norm) {
  return kNormDiffL2[g_primSlot](src1, src1Step, src2, src2Step, width, height, norm);
}
