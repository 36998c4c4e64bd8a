// The row kernels of the plane resize, four floats at a time with SSE4.1.
// Each lane does the portable kernel's arithmetic for its pixel, in the same
// order; the last partial vector of a row is left to the portable kernel.
#include <smmintrin.h>

#include <cstddef>
#include <cstring>

#include "primitives/resize_rows.h"

namespace {

constexpr int kLanes = 4;

__m128 WidenFour(const uint8_t* row) {
  int32_t word;
  std::memcpy(&word, row, sizeof word);
  return _mm_cvtepi32_ps(_mm_cvtepu8_epi32(_mm_cvtsi32_si128(word)));
}

void WidenRowSse41(const uint8_t* row, float* out, int count) {
  int i = 0;
  for (; i + kLanes <= count; i += kLanes) _mm_storeu_ps(out + i, WidenFour(row + i));
  kResizeRowsC.widen(row + i, out + i, count - i);
}

// Taps k to k + 3 of pixels i to i + 3, one tap a vector: the windows
// loaded four taps at a time and transposed.
[[gnu::always_inline]] inline void LoadTaps(const float* base, const int32_t* start, int k, __m128* tap) {
  tap[0] = _mm_loadu_ps(base + start[0] + k);
  tap[1] = _mm_loadu_ps(base + start[1] + k);
  tap[2] = _mm_loadu_ps(base + start[2] + k);
  tap[3] = _mm_loadu_ps(base + start[3] + k);
  _MM_TRANSPOSE4_PS(tap[0], tap[1], tap[2], tap[3]);
}

// kTaps fixes the number of taps at compile time (0: `runtimeTaps`).
template <int kTaps>
void FilterRowWithSse41(const float* columns, int first, const int32_t* start, const float* weight, int stride,
                      int count, int runtimeTaps, float* out) {
  const int taps = kTaps != 0 ? kTaps : runtimeTaps;
  const float* base = columns - first;
  int i = 0;
  for (; i + kLanes <= count; i += kLanes) {
    __m128 sum = _mm_setzero_ps();
    for (int k = 0; k < taps; k += 4) {
      __m128 tap[4];
      LoadTaps(base, start + i, k, tap);
      const int group = taps - k < 4 ? taps - k : 4;
      for (int j = 0; j < group; ++j) {
        sum = _mm_add_ps(sum, _mm_mul_ps(_mm_loadu_ps(weight + static_cast<ptrdiff_t>(k + j) * stride + i), tap[j]));
      }
    }
    _mm_storeu_ps(out + i, sum);
  }
  kResizeRowsC.filter(columns, first, start + i, weight + i, stride, count - i, taps, out + i);
}

void FilterRowSse41(const float* columns, int first, const int32_t* start, const float* weight, int stride,
                    int count, int taps, float* out) {
  switch (taps) {
    case 2:
      FilterRowWithSse41<2>(columns, first, start, weight, stride, count, taps, out);
      break;
    case 3:
      FilterRowWithSse41<3>(columns, first, start, weight, stride, count, taps, out);
      break;
    case 4:
      FilterRowWithSse41<4>(columns, first, start, weight, stride, count, taps, out);
      break;
    default:
      FilterRowWithSse41<0>(columns, first, start, weight, stride, count, taps, out);
      break;
  }
}

__m128 LoadFour(const uint8_t* row) { return WidenFour(row); }
__m128 LoadFour(const float* row) { return _mm_loadu_ps(row); }

template <int kRows, bool kAdd, typename T>
void AddWeightedRowsSse41(const T* const* rows, const float* weights, float* accumulator, int count) {
  __m128 w[kRows];
  for (int r = 0; r < kRows; ++r) w[r] = _mm_set1_ps(weights[r]);
  // The row pointers in registers: the stores to the accumulator cannot alias them.
  const T* r[kRows];
  for (int k = 0; k < kRows; ++k) r[k] = rows[k];
  int i = 0;
  for (; i + kLanes <= count; i += kLanes) {
    __m128 sum = _mm_mul_ps(w[0], LoadFour(r[0] + i));
    if constexpr (kAdd) sum = _mm_add_ps(_mm_loadu_ps(accumulator + i), sum);
    for (int k = 1; k < kRows; ++k) sum = _mm_add_ps(sum, _mm_mul_ps(w[k], LoadFour(r[k] + i)));
    _mm_storeu_ps(accumulator + i, sum);
  }
  const T* tails[kRows];
  for (int r = 0; r < kRows; ++r) tails[r] = rows[r] + i;
  if constexpr (sizeof(T) == 1) {
    kResizeRowsC.addByteRows(tails, weights, kRows, kAdd, accumulator + i, count - i);
  } else {
    kResizeRowsC.addFloatRows(tails, weights, kRows, kAdd, accumulator + i, count - i);
  }
}

template <typename T>
void AddRowsSse41(const T* const* rows, const float* weights, int rowCount, bool add, float* accumulator, int count) {
  switch (rowCount * 2 + (add ? 1 : 0)) {
    case 2: AddWeightedRowsSse41<1, false>(rows, weights, accumulator, count); break;
    case 3: AddWeightedRowsSse41<1, true>(rows, weights, accumulator, count); break;
    case 4: AddWeightedRowsSse41<2, false>(rows, weights, accumulator, count); break;
    case 5: AddWeightedRowsSse41<2, true>(rows, weights, accumulator, count); break;
    case 6: AddWeightedRowsSse41<3, false>(rows, weights, accumulator, count); break;
    case 7: AddWeightedRowsSse41<3, true>(rows, weights, accumulator, count); break;
    case 8: AddWeightedRowsSse41<4, false>(rows, weights, accumulator, count); break;
    default: AddWeightedRowsSse41<4, true>(rows, weights, accumulator, count); break;
  }
}

// Packing with signed then unsigned saturation clips to 0..255, as the
// portable clamp does.
void StoreRowSse41(const float* accumulator, float scale, uint8_t* dst, int count) {
  const __m128 s = _mm_set1_ps(scale), half = _mm_set1_ps(0.5f);
  auto four = [&](int at) { return _mm_cvttps_epi32(_mm_add_ps(_mm_mul_ps(_mm_loadu_ps(accumulator + at), s), half)); };
  int i = 0;
  for (; i + 16 <= count; i += 16) {
    const __m128i low = _mm_packs_epi32(four(i), four(i + 4)), high = _mm_packs_epi32(four(i + 8), four(i + 12));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + i), _mm_packus_epi16(low, high));
  }
  kResizeRowsC.store(accumulator + i, scale, dst + i, count - i);
}

constexpr ResizeRowKernels kResizeRowsSse41 = {WidenRowSse41, FilterRowSse41, AddRowsSse41<uint8_t>,
                                               AddRowsSse41<float>, StoreRowSse41};

}  // namespace

int resize_plane_sse41(const uint8_t* src, int srcWidth, int srcHeight, int srcStep, PlaneRect srcRect, uint8_t* dst,
                       int dstStep, PlaneRect dstRect, double xFactor, double yFactor, double xShift, double yShift,
                       int interpolation, uint8_t* buffer) {
  return ResizePlaneWith(kResizeRowsSse41, src, srcWidth, srcHeight, srcStep, srcRect, dst, dstStep, dstRect, xFactor,
                         yFactor, xShift, yShift, interpolation, buffer);
}
