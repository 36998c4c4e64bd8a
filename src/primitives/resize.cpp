// Plane resize: separable filters on float weights, row by row.
//
// Every kernel is reduced to the same form per axis: for each destination
// index, a window of `taps` consecutive source indices and their weights. A
// tap that falls outside the readable source is moved onto the nearest
// readable index (its weight added there), which replicates the edge and
// keeps every window inside the source.
//
// Interpolating kernels filter each source row horizontally once, into a ring
// of float rows; each destination row is then the weighted sum of its rows of
// the ring. Supersampling adds up the rows of a box column by column first,
// then the columns of each box: the same weighted pixels, summed with one
// horizontal pass per destination row rather than per source row. Either
// way the sum is scaled, rounded half up and clipped to a byte.
//
// The tables and rows live in the caller's work buffer, laid out by
// PlanBuffer from the two rectangles and the code alone, so that the size
// PrimResizeGetBufferSize reports is always enough.
#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <numbers>
#include <type_traits>

#include "primitives/dispatch.h"
#include "primitives/prim_resize.h"
#include "primitives/resize_rows.h"

namespace {

constexpr uint32_t kCodeMask = 0x1FFFFFFFu;
constexpr uint32_t kFlagMask = 0xE0000000u;

bool IsKnownCode(uint32_t code) {
  switch (code) {
    case PrimInterNearest:
    case PrimInterLinear:
    case PrimInterCubic:
    case PrimInterCubicBSpline:
    case PrimInterCatmullRom:
    case PrimInterCubicB05C03:
    case PrimInterSuper:
    case PrimInterLanczos:
      return true;
    default:
      return false;
  }
}

// The low code, or -1 when the word is refused: an unknown code, or two or
// three of the flag bits set.
int InterpolationCode(int interpolation) {
  const auto word = static_cast<uint32_t>(interpolation);
  if (!IsKnownCode(word & kCodeMask) || std::popcount(word & kFlagMask) > 1) return -1;
  return static_cast<int>(word & kCodeMask);
}

bool IsValidRect(const PlaneRect& r) { return r.x >= 0 && r.y >= 0 && r.width > 0 && r.height > 0; }

// Taps of the interpolating kernels, at offsets firstOffset, firstOffset + 1,
// ... from floor(source position).
int KernelTaps(int code) {
  switch (code) {
    case PrimInterNearest:
      return 1;
    case PrimInterLinear:
      return 2;
    case PrimInterLanczos:
      return 6;
    default:
      return 4;
  }
}

int KernelFirstOffset(int code) {
  switch (code) {
    case PrimInterNearest:
    case PrimInterLinear:
      return 0;
    case PrimInterLanczos:
      return -2;
    default:
      return -1;
  }
}

// The two-parameter cubic of Mitchell and Netravali at distance d.
double TwoParameterCubic(double d, double b, double c) {
  if (d < 1) return ((12 - 9 * b - 6 * c) * d * d * d + (-18 + 12 * b + 6 * c) * d * d + (6 - 2 * b)) / 6;
  if (d < 2) {
    return ((-b - 6 * c) * d * d * d + (6 * b + 30 * c) * d * d + (-12 * b - 48 * c) * d + (8 * b + 24 * c)) / 6;
  }
  return 0;
}

double Sinc(double x) { return x == 0 ? 1.0 : std::sin(std::numbers::pi * x) / (std::numbers::pi * x); }

// The weight of a tap at distance d from the source position, for every
// interpolating kernel but nearest neighbour, which has one tap.
double KernelWeight(int code, double d) {
  switch (code) {
    case PrimInterLinear:
      return 1 - d;
    case PrimInterCubic:
      // The interpolating cubic through four samples.
      if (d < 1) return 0.5 * d * d * d - d * d - 0.5 * d + 1;
      if (d < 2) return -d * d * d / 6 + d * d - 11 * d / 6 + 1;
      return 0;
    case PrimInterCubicBSpline:
      return TwoParameterCubic(d, 1, 0);
    case PrimInterCatmullRom:
      return TwoParameterCubic(d, 0, 0.5);
    case PrimInterCubicB05C03:
      return TwoParameterCubic(d, 0.5, 0.3);
    default:
      return d < 3 ? Sinc(d) * Sinc(d / 3) : 0;
  }
}

constexpr int kMaxKernelTaps = 6;

// The weights of the taps at offsets firstOffset, firstOffset + 1, ... from
// a source position `fraction` past a whole index. Lanczos weights do not
// quite sum to 1; they are scaled so that a flat picture stays flat.
void KernelWeights(int code, double fraction, double* weights) {
  const int taps = KernelTaps(code), firstOffset = KernelFirstOffset(code);
  double sum = 0;
  for (int k = 0; k < taps; ++k) {
    weights[k] = KernelWeight(code, std::abs(firstOffset + k - fraction));
    sum += weights[k];
  }
  if (code == PrimInterLanczos) {
    for (int k = 0; k < taps; ++k) weights[k] /= sum;
  }
}

// Narrow sources lack the samples of the wider kernels.
int SubstituteCode(int code, int srcWidth, int srcHeight) {
  const int narrowest = std::min(srcWidth, srcHeight);
  if (code == PrimInterLanczos && narrowest < 6) code = PrimInterCubic;
  const bool cubic = code == PrimInterCubic || code == PrimInterCubicBSpline || code == PrimInterCatmullRom ||
                     code == PrimInterCubicB05C03;
  if (cubic && narrowest < 4) code = PrimInterLinear;
  return code;
}

// The work buffer: its regions, in bytes from its start, for given
// rectangles and code. Weight capacities bound what the axis builders can
// need: an interpolating kernel has at most its taps per destination index; a
// box has, over all destination indices, at most 4 weights per source index
// plus 3, since n boxes of width r cover no more than n r + 2n indices and
// n <= (source length) / r + 1. The source row holds the source columns that
// a row of the destination reads: the source rectangle's width, plus the
// taps of the kernel that reach past its ends. Supersampling also keeps the
// bounds and windows of one axis's boxes while it builds that axis, and the
// interpolating kernels keep the byte shuffles of their source rows.
struct BufferPlan {
  size_t xStart, xWeight, yStart, yWeight, sourceRow, ring, accumulator, boxBounds, boxWindows, byteGathers;
  int64_t total;
  int ringRows;
};

int64_t WeightCapacity(int code, int srcLength, int dstLength) {
  return code == PrimInterSuper ? 5 * int64_t{srcLength} + 8 : int64_t{KernelTaps(code)} * dstLength;
}

constexpr int kSourceRowMargin = 16;

BufferPlan PlanBuffer(const PlaneRect& srcRect, const PlaneRect& dstRect, int code) {
  constexpr int64_t kAlign = 32;
  BufferPlan plan{};
  int64_t at = 0;
  auto take = [&at](int64_t bytes) {
    const int64_t start = at;
    at += (bytes + kAlign - 1) / kAlign * kAlign;
    return static_cast<size_t>(start);
  };
  plan.ringRows = code == PrimInterSuper ? 0 : KernelTaps(code);
  plan.xStart = take(4 * int64_t{dstRect.width});
  plan.xWeight = take(4 * WeightCapacity(code, srcRect.width, dstRect.width));
  plan.yStart = take(4 * int64_t{dstRect.height});
  plan.yWeight = take(4 * WeightCapacity(code, srcRect.height, dstRect.height));
  plan.sourceRow = take(4 * (int64_t{srcRect.width} + kSourceRowMargin));
  plan.ring = take(4 * int64_t{plan.ringRows} * dstRect.width);
  plan.accumulator = take(4 * int64_t{dstRect.width});
  if (code != PrimInterSuper) plan.byteGathers = take(int64_t{sizeof(ByteGather)} * (dstRect.width / 4));
  if (code == PrimInterSuper) {
    const int64_t longer = std::max(dstRect.width, dstRect.height);
    plan.boxBounds = take(8 * (longer + 1));
    plan.boxWindows = take(16 * longer);
  }
  plan.total = at;
  return plan;
}

// The destination indices [first, end) that a source span maps onto, inside
// the destination span.
struct Span {
  int64_t first;
  int64_t end;
};

Span DestinationSpan(int srcStart, int srcLength, double factor, double shift, int dstStart, int dstLength) {
  const double low = std::max(srcStart * factor + shift, static_cast<double>(dstStart));
  const double high =
      std::min((static_cast<double>(srcStart) + srcLength) * factor + shift, static_cast<double>(dstStart) + dstLength);
  return {static_cast<int64_t>(std::trunc(low + 0.4999999999)), static_cast<int64_t>(std::trunc(high + 0.5000000001))};
}

// One axis of the filter: destination index i (from the first written one)
// reads source indices start[i] to start[i] + taps - 1, tap k with weight
// weight[k * count + i] (tap after tap, so that a loop over i reads each
// tap's weights in a row).
struct AxisFilter {
  int count;
  int taps;
  int32_t* start;
  float* weight;
  float& Weight(int i, int k) const { return weight[static_cast<size_t>(k) * count + i]; }
};

// Adds the taps of one destination index, given by unclamped source index
// and weight, into its window: indices outside [lo, hi) move to the nearest
// end, and the window is the `taps` indices from `first` clamped so that it
// fits in [lo, hi). The window's weights start at zero.
template <typename TapSource>
void FillWindow(AxisFilter& axis, int i, int64_t first, int lo, int hi, const TapSource& forEachTap) {
  const int64_t start = std::clamp<int64_t>(first, lo, hi - axis.taps);
  forEachTap([&](int64_t index, double weight) {
    axis.Weight(i, static_cast<int>(std::clamp<int64_t>(index, lo, hi - 1) - start)) += static_cast<float>(weight);
  });
  axis.start[i] = static_cast<int32_t>(start);
}

// An interpolating kernel: destination index X samples the source at
// (X + 0.5) / factor - shift / factor - 0.5; the taps around it are clamped
// into the source [0, length).
void BuildKernelAxis(AxisFilter& axis, Span span, int code, double factor, double shift, int length) {
  const int kernelTaps = KernelTaps(code), firstOffset = KernelFirstOffset(code);
  axis.count = static_cast<int>(span.end - span.first);
  axis.taps = std::min(kernelTaps, length);
  std::fill_n(axis.weight, static_cast<size_t>(axis.count) * axis.taps, 0.0f);
  for (int i = 0; i < axis.count; ++i) {
    const double x = static_cast<double>(span.first + i);
    const double position = (x + 0.5) / factor - shift / factor - 0.5;
    if (code == PrimInterNearest) {
      const auto nearest = static_cast<int64_t>(std::floor(position + 0.5));
      FillWindow(axis, i, nearest, 0, length, [&](auto add) { add(nearest, 1.0); });
      continue;
    }
    // Beyond the ends the taps stay those of the outermost positions: for
    // cubic, columns 0, 0, 0, 1 on the left and w-2, w-1, w-1, w-1 on the right.
    const double floor = std::floor(position);
    const int64_t base = std::clamp<int64_t>(static_cast<int64_t>(floor), -1, length - 1);
    double weights[kMaxKernelTaps];
    KernelWeights(code, position - floor, weights);
    FillWindow(axis, i, base + firstOffset, 0, length, [&](auto add) {
      for (int k = 0; k < kernelTaps; ++k) add(base + firstOffset + k, weights[k]);
    });
  }
}

// Box bounds within 1e-10 of a whole number are that number.
double SnapToWhole(double x) {
  const double whole = std::round(x);
  return std::abs(x - whole) < 1e-10 ? whole : x;
}

// The source indices that the box of destination index X covers by more
// than 1e-7, and the covered fraction of each.
struct Box {
  double from, to;
  int64_t First() const { return static_cast<int64_t>(std::floor(from)); }
  int64_t End() const { return static_cast<int64_t>(std::ceil(to)); }
  double Cover(int64_t index) const {
    const double covered = std::min(to, index + 1.0) - std::max(from, static_cast<double>(index));
    return covered > 1e-7 ? covered : 0.0;
  }
};

// The indices that a box covers by more than 1e-7: its whole indices less
// the ones at either end that it only grazes.
struct Window {
  int64_t first, last;
};

Window CoveredIndices(const Box& box) {
  int64_t first = box.First(), last = box.End() - 1;
  while (first < last && box.Cover(first) == 0) ++first;
  while (last > first && box.Cover(last) == 0) --last;
  return {first, last};
}

// Supersampling: destination index X averages the source over
// [(X - shift) / factor, (X + 1 - shift) / factor); the parts of a box outside
// the clipped source rectangle [lo, hi) count as its nearest edge pixel.
// Neighbouring boxes share a bound, so the bounds are worked out once, into
// `bounds` (count + 1 of them), and the windows once, into `windows`.
void BuildBoxAxis(AxisFilter& axis, Span span, double factor, double shift, int lo, int hi, double* bounds,
                  Window* windows) {
  axis.count = static_cast<int>(span.end - span.first);
  for (int i = 0; i <= axis.count; ++i) bounds[i] = SnapToWhole((span.first + i - shift) / factor);
  int taps = 1;
  for (int i = 0; i < axis.count; ++i) {
    const Window w = CoveredIndices({bounds[i], bounds[i + 1]});
    windows[i] = w;
    const int64_t window = std::clamp<int64_t>(w.last, lo, hi - 1) - std::clamp<int64_t>(w.first, lo, hi - 1) + 1;
    taps = std::max(taps, static_cast<int>(window));
  }
  axis.taps = taps;
  std::fill_n(axis.weight, static_cast<size_t>(axis.count) * axis.taps, 0.0f);
  for (int i = 0; i < axis.count; ++i) {
    const Box box{bounds[i], bounds[i + 1]};
    const Window w = windows[i];
    if (lo <= w.first && w.last < hi && w.first <= hi - taps) {
      // The window lies inside the source and is its own: each index has its own weight.
      axis.start[i] = static_cast<int32_t>(w.first);
      for (int64_t index = w.first; index <= w.last; ++index) {
        axis.Weight(i, static_cast<int>(index - w.first)) = static_cast<float>(box.Cover(index));
      }
      continue;
    }
    FillWindow(axis, i, std::clamp<int64_t>(w.first, lo, hi - 1), lo, hi, [&](auto add) {
      for (int64_t index = w.first; index <= w.last; ++index) {
        if (const double cover = box.Cover(index); cover > 0) add(index, cover);
      }
    });
  }
}

// The columns of the source that a destination row reads: from the first
// window's start to the last window's end (windows move right with X).
struct ColumnSpan {
  int first;
  int length;
};

ColumnSpan ColumnsRead(const AxisFilter& x) {
  return {x.start[0], x.start[x.count - 1] + x.taps - x.start[0]};
}

void WidenRow(const uint8_t* __restrict row, float* __restrict out, int count) {
  for (int i = 0; i < count; ++i) out[i] = row[i];
}

template <int kTaps>
void FilterRowWith(const float* columns, int first, const int32_t* start, const float* weight, int stride, int count,
                   int runtimeTaps, float* __restrict out) {
  const int taps = kTaps != 0 ? kTaps : runtimeTaps;
  for (int i = 0; i < count; ++i) {
    const float* s = columns + (start[i] - first);
    float sum = 0;
    for (int k = 0; k < taps; ++k) sum += weight[static_cast<size_t>(k) * stride + i] * s[k];
    out[i] = sum;
  }
}

void FilterRow(const float* columns, int first, const int32_t* start, const float* weight, int stride, int count,
               int taps, float* out) {
  switch (taps) {
    case 2:
      FilterRowWith<2>(columns, first, start, weight, stride, count, taps, out);
      break;
    case 3:
      FilterRowWith<3>(columns, first, start, weight, stride, count, taps, out);
      break;
    case 4:
      FilterRowWith<4>(columns, first, start, weight, stride, count, taps, out);
      break;
    default:
      FilterRowWith<0>(columns, first, start, weight, stride, count, taps, out);
      break;
  }
}

// accumulator = (accumulator +) w0 row0 + w1 row1 + ..., kRows rows summed
// left to right in one pass; rows past kRows are not read.
template <int kRows, bool kAdd, typename T>
void AddWeightedRows(const T* const* rows, const float* w, float* __restrict accumulator, int count) {
  const T* __restrict r0 = rows[0];
  const T* __restrict r1 = rows[kRows > 1 ? 1 : 0];
  const T* __restrict r2 = rows[kRows > 2 ? 2 : 0];
  const T* __restrict r3 = rows[kRows > 3 ? 3 : 0];
  const float w0 = w[0], w1 = w[kRows > 1 ? 1 : 0], w2 = w[kRows > 2 ? 2 : 0], w3 = w[kRows > 3 ? 3 : 0];
  for (int i = 0; i < count; ++i) {
    float sum = kAdd ? accumulator[i] + w0 * r0[i] : w0 * r0[i];
    if constexpr (kRows > 1) sum += w1 * r1[i];
    if constexpr (kRows > 2) sum += w2 * r2[i];
    if constexpr (kRows > 3) sum += w3 * r3[i];
    accumulator[i] = sum;
  }
}

template <typename T>
void AddRows(const T* const* rows, const float* weights, int rowCount, bool add, float* accumulator, int count) {
  WithRowsAndAdd(rowCount, add, [&]<int kRows, bool kAdd>() {
    AddWeightedRows<kRows, kAdd>(rows, weights, accumulator, count);
  });
}

// Rounds half up and clips to a byte. The sums stay far inside the range of
// int (at most 255 times the sum of the weights' magnitudes), so clipping
// after the conversion is the same as before it, and vectorises.
void StoreRow(const float* __restrict accumulator, float scale, uint8_t* __restrict dst, int count) {
  for (int i = 0; i < count; ++i) {
    const int value = static_cast<int>(accumulator[i] * scale + 0.5f);
    dst[i] = static_cast<uint8_t>(std::clamp(value, 0, 255));
  }
}

// FilterRow and StoreRow a stretch of the row at a time.
void FilterAndStoreRow(const float* columns, int first, const int32_t* start, const float* weight, int stride,
                       int count, int taps, float scale, uint8_t* dst) {
  constexpr int kStretch = 256;
  float filtered[kStretch];
  for (int i = 0; i < count; i += kStretch) {
    const int n = std::min(kStretch, count - i);
    FilterRow(columns, first, start + i, weight + i, stride, n, taps, filtered);
    StoreRow(filtered, scale, dst + i, n);
  }
}

}  // namespace

const ResizeRowKernels kResizeRowsC = {WidenRow, FilterRow,         AddRows<uint8_t>, AddRows<float>,
                                       StoreRow, FilterAndStoreRow, nullptr,          nullptr};

namespace {

void FilterRow(const ResizeRowKernels& kernels, const float* columns, int first, const AxisFilter& x, float* out) {
  kernels.filter(columns, first, x.start, x.weight, x.count, x.count, x.taps, out);
}

// Up to four weighted rows, added in one pass.
template <typename T>
class RowGroup {
 public:
  bool Full() const { return size_ == 4; }
  bool Empty() const { return size_ == 0; }
  void Push(const T* row, float weight) {
    rows_[size_] = row;
    weights_[size_++] = weight;
  }
  // Adds the group into the accumulator, or starts it when `add` is false.
  void AddTo(const ResizeRowKernels& kernels, float* accumulator, int count, bool add) {
    if constexpr (std::is_same_v<T, uint8_t>) {
      kernels.addByteRows(rows_, weights_, size_, add, accumulator, count);
    } else {
      kernels.addFloatRows(rows_, weights_, size_, add, accumulator, count);
    }
    size_ = 0;
  }

 private:
  const T* rows_[4] = {};
  float weights_[4] = {};
  int size_ = 0;
};

// accumulator = sum over the taps of destination row i of weight times row,
// left to right; rows with weight 0 are not read. Every destination row has
// a tap of nonzero weight: kernel weights sum to 1, and a box is at least
// one pixel wide.
template <typename RowSource>
void SumRows(const ResizeRowKernels& kernels, const AxisFilter& y, int i, const RowSource& rowOf, float* accumulator,
             int count) {
  using Element = std::remove_cv_t<std::remove_pointer_t<decltype(rowOf(0))>>;
  RowGroup<Element> group;
  bool started = false;
  for (int k = 0; k < y.taps; ++k) {
    const float weight = y.Weight(i, k);
    if (weight == 0) continue;
    group.Push(rowOf(y.start[i] + k), weight);
    if (group.Full()) {
      group.AddTo(kernels, accumulator, count, started);
      started = true;
    }
  }
  if (!group.Empty()) group.AddTo(kernels, accumulator, count, started);
}

// The byte shuffles of filterBytes for the whole groups of four pixels of
// the axis, or false when a group's windows do not fit in 16 bytes of a
// source row `width` bytes long.
bool BuildByteGathers(const AxisFilter& x, int width, ByteGather* gathers) {
  constexpr int kGroupBytes = 16;
  if (x.taps > 4 || width < kGroupBytes) return false;
  for (int g = 0; g < x.count / 4; ++g) {
    const int32_t* start = x.start + 4 * g;
    const int32_t offset = std::min(start[0], width - kGroupBytes);
    if (start[3] + x.taps - offset > kGroupBytes) return false;
    gathers[g].offset = offset;
    for (int k = 0; k < 4; ++k) {
      for (int lane = 0; lane < 4; ++lane) {
        uint8_t* mask = gathers[g].masks[k] + 4 * lane;
        mask[0] = static_cast<uint8_t>(std::min(start[lane] + k - offset, kGroupBytes - 1));
        mask[1] = mask[2] = mask[3] = 0x80;  // a set high bit makes a zero
      }
    }
  }
  return true;
}

// The horizontally filtered source rows: row r lives in slot r mod the
// number of slots, which holds every row of one destination row at once.
// Rows are filtered from their bytes through byte gathers where the kernels
// have them and the windows fit, else widened to floats first.
class RowRing {
 public:
  RowRing(const ResizeRowKernels& kernels, float* rows, int slots, float* sourceRow, const uint8_t* src, int srcStep,
          int srcWidth, const AxisFilter& x, ByteGather* gathers)
      : kernels_(kernels), rows_(rows), slots_(slots), sourceRow_(sourceRow), columns_(ColumnsRead(x)), src_(src),
        srcStep_(srcStep), x_(x), filter_{columns_.first, x.start, x.weight, x.count, x.count, x.taps},
        gathers_(kernels.filterBytes != nullptr && BuildByteGathers(x, srcWidth, gathers) ? gathers : nullptr) {
    std::fill_n(held_, slots, -1);
  }
  const float* Row(int r) {
    const int slot = r % slots_;
    float* row = rows_ + static_cast<size_t>(slot) * x_.count;
    if (held_[slot] != r) {
      const uint8_t* bytes = src_ + static_cast<ptrdiff_t>(r) * srcStep_;
      if (gathers_ != nullptr) {
        kernels_.filterBytes(bytes, filter_, gathers_, sourceRow_, row);
      } else {
        kernels_.widen(bytes + columns_.first, sourceRow_, columns_.length);
        FilterRow(kernels_, sourceRow_, columns_.first, x_, row);
      }
      held_[slot] = r;
    }
    return row;
  }

 private:
  const ResizeRowKernels& kernels_;
  float* rows_;
  int slots_;
  float* sourceRow_;
  ColumnSpan columns_;
  const uint8_t* src_;
  int srcStep_;
  const AxisFilter& x_;
  ColumnFilter filter_;
  const ByteGather* gathers_;
  int held_[6];  // the source row in each slot, -1 for none
};

// Destination row after row: the ring's rows weighted vertically.
void ResizeByKernel(const ResizeRowKernels& kernels, const uint8_t* src, int srcStep, int srcWidth,
                    const AxisFilter& x, const AxisFilter& y, uint8_t* dst, int dstStep, uint8_t* buffer,
                    const BufferPlan& plan) {
  RowRing ring(kernels, reinterpret_cast<float*>(buffer + plan.ring), plan.ringRows,
               reinterpret_cast<float*>(buffer + plan.sourceRow), src, srcStep, srcWidth, x,
               reinterpret_cast<ByteGather*>(buffer + plan.byteGathers));
  float* accumulator = reinterpret_cast<float*>(buffer + plan.accumulator);
  for (int i = 0; i < y.count; ++i) {
    SumRows(kernels, y, i, [&ring](int r) { return ring.Row(r); }, accumulator, x.count);
    kernels.store(accumulator, 1.0f, dst + static_cast<ptrdiff_t>(i) * dstStep, x.count);
  }
}

// The taps of a destination row with nonzero weight, as whole units of the
// power of two `unit`, when they are that: the weights of boxes whose bounds
// fall on halves, quarters, ... of a source row (a factor of 4/9 gives
// weights 1/4, 1/2, 3/4 and 1). Then every product and partial sum of bytes
// and weights is a multiple of the unit below 2^24 units, which single
// precision holds exactly, so the rows' sum comes out the same in any order
// and may be taken in integers, as a count of units. The horizontal pass and
// the store then run on sums 1 / unit times as large, with the scale times
// unit: scaling by a power of two changes no rounding of a product or a sum
// of normal numbers, and the scaled sum times the scaled scale is the same
// real number as before, so every byte comes out as from the weighted rows.
struct RowsInUnits {
  const uint8_t* rows[kMaxRowsInUnits];
  int8_t units[kMaxRowsInUnits];
  int count = 0;
  float unit = 1.0f;
};

template <typename RowSource>
bool InUnits(const AxisFilter& y, int i, const RowSource& rowOf, RowsInUnits& out) {
  float weights[kMaxRowsInUnits];
  for (int k = 0; k < y.taps; ++k) {
    const float weight = y.Weight(i, k);
    if (weight == 0) continue;
    if (out.count == kMaxRowsInUnits || !(weight > 0)) return false;
    weights[out.count] = weight;
    out.rows[out.count++] = rowOf(y.start[i] + k);
  }
  // The coarsest unit first: 1, 1/2, ..., 1/64.
  for (float perWeight = 1; perWeight <= kMaxUnitsPerWeight; perWeight *= 2) {
    int total = 0, k = 0;
    for (; k < out.count; ++k) {
      const float units = weights[k] * perWeight;
      if (!(units <= kMaxUnitsPerWeight) || units != static_cast<float>(static_cast<int>(units))) break;
      out.units[k] = static_cast<int8_t>(units);
      total += out.units[k];
    }
    if (k == out.count && total <= kMaxUnitsPerSum) {
      out.unit = 1 / perWeight;
      return true;
    }
  }
  return false;
}

// Destination row after row: the box's rows summed column by column, then
// the columns of each box, times the product of the factors.
void ResizeBySupersampling(const ResizeRowKernels& kernels, const uint8_t* src, int srcStep, const AxisFilter& x,
                           const AxisFilter& y, uint8_t* dst, int dstStep, float scale, uint8_t* buffer,
                           const BufferPlan& plan) {
  const ColumnSpan span = ColumnsRead(x);
  float* columns = reinterpret_cast<float*>(buffer + plan.sourceRow);
  const uint8_t* first = src + span.first;
  const auto rowOf = [first, srcStep](int r) { return first + static_cast<ptrdiff_t>(r) * srcStep; };
  for (int i = 0; i < y.count; ++i) {
    RowsInUnits inUnits;
    if (kernels.addByteRowsInUnits != nullptr && InUnits(y, i, rowOf, inUnits)) {
      kernels.addByteRowsInUnits(inUnits.rows, inUnits.units, inUnits.count, columns, span.length);
    } else {
      SumRows(kernels, y, i, rowOf, columns, span.length);
    }
    kernels.filterAndStore(columns, span.first, x.start, x.weight, x.count, x.count, x.taps, scale * inUnits.unit,
                           dst + static_cast<ptrdiff_t>(i) * dstStep);
  }
}

using ResizeGetBufferSizeFn = int (*)(PlaneRect srcRect, PlaneRect dstRect, int channels, int interpolation,
                                      int32_t* size);

int resize_get_buffer_size_c(PlaneRect srcRect, PlaneRect dstRect, int channels, int interpolation, int32_t* size) {
  if (size == nullptr) return PrimStsNullPtrErr;
  if (!IsValidRect(srcRect) || !IsValidRect(dstRect)) return PrimStsSizeErr;
  if (channels != 1 && channels != 3 && channels != 4) return PrimStsChannelCountErr;
  const int code = InterpolationCode(interpolation);
  if (code < 0) return PrimStsInterpolationErr;
  const int64_t total = PlanBuffer(srcRect, dstRect, code).total;
  // Rectangles so large that the buffer's size overflows its 32-bit word.
  if (total > std::numeric_limits<int32_t>::max()) return PrimStsMemAllocErr;
  *size = static_cast<int32_t>(total);
  return PrimStsNoErr;
}

constexpr ResizeGetBufferSizeFn kResizeGetBufferSize[kPrimSlotCount] = {
    resize_get_buffer_size_c, resize_get_buffer_size_c, resize_get_buffer_size_c,
    resize_get_buffer_size_c, resize_get_buffer_size_c, resize_get_buffer_size_c};

int resize_plane_c(const uint8_t* src, int srcWidth, int srcHeight, int srcStep, PlaneRect srcRect, uint8_t* dst,
                   int dstStep, PlaneRect dstRect, double xFactor, double yFactor, double xShift, double yShift,
                   int interpolation, uint8_t* buffer) {
  return ResizePlaneWith(kResizeRowsC, src, srcWidth, srcHeight, srcStep, srcRect, dst, dstStep, dstRect, xFactor,
                         yFactor, xShift, yShift, interpolation, buffer);
}

constexpr auto kResizePlane = VectorSlots(resize_plane_c, resize_plane_sse41, resize_plane_avx);

}  // namespace

int ResizePlaneWith(const ResizeRowKernels& kernels, const uint8_t* src, int srcWidth, int srcHeight, int srcStep,
                    PlaneRect srcRect, uint8_t* dst, int dstStep, PlaneRect dstRect, double xFactor, double yFactor,
                    double xShift, double yShift, int interpolation, uint8_t* buffer) {
  if (src == nullptr || dst == nullptr || buffer == nullptr) return PrimStsNullPtrErr;
  if (srcWidth <= 0 || srcHeight <= 0 || !IsValidRect(srcRect) || !IsValidRect(dstRect)) return PrimStsSizeErr;
  if (!(xFactor > 0) || !(yFactor > 0)) return PrimStsResizeFactorErr;
  const int requested = InterpolationCode(interpolation);
  if (requested < 0) return PrimStsInterpolationErr;
  if (requested == PrimInterSuper && (xFactor > 1 || yFactor > 1)) return PrimStsResizeFactorErr;
  if (srcRect.x >= srcWidth || srcRect.y >= srcHeight) return PrimStsNoSourceOverlap;

  const int clippedWidth = std::min(srcWidth - srcRect.x, srcRect.width);
  const int clippedHeight = std::min(srcHeight - srcRect.y, srcRect.height);
  const Span columns = DestinationSpan(srcRect.x, clippedWidth, xFactor, xShift, dstRect.x, dstRect.width);
  const Span rows = DestinationSpan(srcRect.y, clippedHeight, yFactor, yShift, dstRect.y, dstRect.height);
  if (columns.first >= columns.end || rows.first >= rows.end) return PrimStsNoDestination;

  const BufferPlan plan = PlanBuffer(srcRect, dstRect, requested);
  AxisFilter x{0, 0, reinterpret_cast<int32_t*>(buffer + plan.xStart), reinterpret_cast<float*>(buffer + plan.xWeight)};
  AxisFilter y{0, 0, reinterpret_cast<int32_t*>(buffer + plan.yStart), reinterpret_cast<float*>(buffer + plan.yWeight)};
  uint8_t* target = dst + rows.first * static_cast<ptrdiff_t>(dstStep) + columns.first;
  if (requested == PrimInterSuper) {
    auto* bounds = reinterpret_cast<double*>(buffer + plan.boxBounds);
    auto* windows = reinterpret_cast<Window*>(buffer + plan.boxWindows);
    BuildBoxAxis(x, columns, xFactor, xShift, srcRect.x, srcRect.x + clippedWidth, bounds, windows);
    BuildBoxAxis(y, rows, yFactor, yShift, srcRect.y, srcRect.y + clippedHeight, bounds, windows);
    const auto scale = static_cast<float>(xFactor * yFactor);
    ResizeBySupersampling(kernels, src, srcStep, x, y, target, dstStep, scale, buffer, plan);
  } else {
    const int code = SubstituteCode(requested, srcWidth, srcHeight);
    BuildKernelAxis(x, columns, code, xFactor, xShift, srcWidth);
    BuildKernelAxis(y, rows, code, yFactor, yShift, srcHeight);
    ResizeByKernel(kernels, src, srcStep, srcWidth, x, y, target, dstStep, buffer, plan);
  }
  return PrimStsNoErr;
}

int PrimResizeGetBufferSize(PlaneRect srcRect, PlaneRect dstRect, int channels, int interpolation, int32_t* size) {
  return kResizeGetBufferSize[g_primSlot](srcRect, dstRect, channels, interpolation, size);
}

int PrimResizePlane(const uint8_t* src, int srcWidth, int srcHeight, int srcStep, PlaneRect srcRect, uint8_t* dst,
                    int dstStep, PlaneRect dstRect, double xFactor, double yFactor, double xShift, double yShift,
                    int interpolation, uint8_t* buffer) {
  return kResizePlane[g_primSlot](src, srcWidth, srcHeight, srcStep, srcRect, dst, dstStep, dstRect, xFactor,
                                  yFactor, xShift, yShift, interpolation, buffer);
}
