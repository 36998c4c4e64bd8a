// The row kernels of the plane resize: the loops over a row's pixels, which
// the faster variants replace. The geometry (axis tables, row order) is
// computed once, in portable code, by ResizePlaneWith; each variant supplies
// only these loops, and every one of them gives the same floats as the
// portable kernel: the same products and sums, in the same order, in single
// precision, with no fused multiply-add. The optional kernels have no
// portable counterpart; their comments say why the bytes come out the same
// where ResizePlaneWith uses them.
#pragma once

#include <cstdint>

#include "primitives/prim_resize.h"

// The horizontal filter of a destination row, as ResizeRowKernels::filter takes it.
struct ColumnFilter {
  int first;
  const int32_t* start;
  const float* weight;
  int stride, count, taps;
};

// Four destination pixels whose windows (of at most 4 taps) lie in the 16
// bytes of a source row from column `offset`: masks[k] is the byte shuffle
// that puts each pixel's tap k into the low byte of its 32-bit lane and
// zeros above it.
struct alignas(16) ByteGather {
  uint8_t masks[4][16];
  int32_t offset;
};

struct ResizeRowKernels {
  // out[i] = row[i].
  void (*widen)(const uint8_t* row, float* out, int count);
  // out[i] = 0 + weight[0 * stride + i] * c[start[i]] + weight[1 * stride + i] * c[start[i] + 1] + ...,
  // `taps` terms summed left to right, where c[n] is columns[n - first].
  // The kernel may read up to 3 floats past the last window.
  void (*filter)(const float* columns, int first, const int32_t* start, const float* weight, int stride, int count,
                 int taps, float* out);
  // accumulator[i] = (accumulator[i] +) weights[0] * rows[0][i] + weights[1] * rows[1][i] + ..., `rowCount`
  // rows (1 to 4) summed left to right; the accumulator is read only when `add` is set.
  void (*addByteRows)(const uint8_t* const* rows, const float* weights, int rowCount, bool add, float* accumulator,
                      int count);
  void (*addFloatRows)(const float* const* rows, const float* weights, int rowCount, bool add, float* accumulator,
                       int count);
  // dst[i] = the int of accumulator[i] * scale + 0.5 (towards zero), clipped to 0..255.
  void (*store)(const float* accumulator, float scale, uint8_t* dst, int count);
  // filter, then store of its out[i], in one pass.
  void (*filterAndStore)(const float* columns, int first, const int32_t* start, const float* weight, int stride,
                         int count, int taps, float scale, uint8_t* dst);
  // filter on the bytes of a source row (row[n] for columns[n - first], the same floats as widened) through
  // gathers[i / 4] for the pixels of whole groups of four; the others' windows may be widened into `scratch`,
  // which holds a float for every column the windows cover. Optional (null in the portable set).
  void (*filterBytes)(const uint8_t* row, const ColumnFilter& x, const ByteGather* gathers, float* scratch,
                      float* out);
  // accumulator[i] = units[0] * rows[0][i] + ... + units[rowCount - 1] * rows[rowCount - 1][i], the sum taken in
  // integers, for whole units of 1 to 64 that add up to at most 257 (so that the sum stays below 2^16).
  // Optional (null in the portable set): see RowsInUnits in resize.cpp for where it stands in for addByteRows.
  void (*addByteRowsInUnits)(const uint8_t* const* rows, const int8_t* units, int rowCount, float* accumulator,
                             int count);
};

// Bounds of addByteRowsInUnits.
inline constexpr int kMaxUnitsPerWeight = 64;
inline constexpr int kMaxUnitsPerSum = 257;
inline constexpr int kMaxRowsInUnits = 16;

namespace {

// Calls kernel.template operator()<kRows, kAdd>() for rowCount (1 to 4) and
// add fixed at compile time, as the weighted-row kernels want them. (Internal
// linkage: each instruction-set file compiles its own.)
template <typename Kernel>
void WithRowsAndAdd(int rowCount, bool add, const Kernel& kernel) {
  switch (rowCount * 2 + (add ? 1 : 0)) {
    case 2: kernel.template operator()<1, false>(); break;
    case 3: kernel.template operator()<1, true>(); break;
    case 4: kernel.template operator()<2, false>(); break;
    case 5: kernel.template operator()<2, true>(); break;
    case 6: kernel.template operator()<3, false>(); break;
    case 7: kernel.template operator()<3, true>(); break;
    case 8: kernel.template operator()<4, false>(); break;
    default: kernel.template operator()<4, true>(); break;
  }
}

}  // namespace

// The portable kernels; the variants finish their rows' last partial vectors with them.
extern const ResizeRowKernels kResizeRowsC;

// PrimResizePlane over the given row kernels.
int ResizePlaneWith(const ResizeRowKernels& kernels, const uint8_t* src, int srcWidth, int srcHeight, int srcStep,
                    PlaneRect srcRect, uint8_t* dst, int dstStep, PlaneRect dstRect, double xFactor, double yFactor,
                    double xShift, double yShift, int interpolation, uint8_t* buffer);

int resize_plane_sse41(const uint8_t* src, int srcWidth, int srcHeight, int srcStep, PlaneRect srcRect, uint8_t* dst,
                       int dstStep, PlaneRect dstRect, double xFactor, double yFactor, double xShift, double yShift,
                       int interpolation, uint8_t* buffer);
int resize_plane_avx(const uint8_t* src, int srcWidth, int srcHeight, int srcStep, PlaneRect srcRect, uint8_t* dst,
                     int dstStep, PlaneRect dstRect, double xFactor, double yFactor, double xShift, double yShift,
                     int interpolation, uint8_t* buffer);
