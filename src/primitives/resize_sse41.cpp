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

// Four pixels: the windows of pixels i to i + 3 are loaded four taps at a
// time and transposed, so that each vector holds one tap of the four pixels.
void FilterRowSse41(const float* columns, int first, const int32_t* start, const float* weight, int stride, int count,
                    int taps, float* out) {
  int i = 0;
  for (; i + kLanes <= count; i += kLanes) {
    const float* s[kLanes];
    for (int j = 0; j < kLanes; ++j) s[j] = columns + (start[i + j] - first);
    __m128 sum = _mm_setzero_ps();
    for (int k = 0; k < taps; k += 4) {
      __m128 t0 = _mm_loadu_ps(s[0] + k), t1 = _mm_loadu_ps(s[1] + k);
      __m128 t2 = _mm_loadu_ps(s[2] + k), t3 = _mm_loadu_ps(s[3] + k);
      _MM_TRANSPOSE4_PS(t0, t1, t2, t3);
      const __m128 tap[4] = {t0, t1, t2, t3};
      for (int j = 0; j < 4 && k + j < taps; ++j) {
        const __m128 w = _mm_loadu_ps(weight + static_cast<ptrdiff_t>(k + j) * stride + i);
        sum = _mm_add_ps(sum, _mm_mul_ps(w, tap[j]));
      }
    }
    _mm_storeu_ps(out + i, sum);
  }
  kResizeRowsC.filter(columns, first, start + i, weight + i, stride, count - i, taps, out + i);
}

__m128 LoadFour(const uint8_t* row) { return WidenFour(row); }
__m128 LoadFour(const float* row) { return _mm_loadu_ps(row); }

template <typename T>
void AddRowsSse41(const T* const* rows, const float* weights, int rowCount, bool add, float* accumulator, int count) {
  __m128 w[4];
  for (int r = 0; r < rowCount; ++r) w[r] = _mm_set1_ps(weights[r]);
  int i = 0;
  for (; i + kLanes <= count; i += kLanes) {
    __m128 sum = _mm_mul_ps(w[0], LoadFour(rows[0] + i));
    if (add) sum = _mm_add_ps(_mm_loadu_ps(accumulator + i), sum);
    for (int r = 1; r < rowCount; ++r) sum = _mm_add_ps(sum, _mm_mul_ps(w[r], LoadFour(rows[r] + i)));
    _mm_storeu_ps(accumulator + i, sum);
  }
  const T* tails[4];
  for (int r = 0; r < rowCount; ++r) tails[r] = rows[r] + i;
  if constexpr (sizeof(T) == 1) {
    kResizeRowsC.addByteRows(tails, weights, rowCount, add, accumulator + i, count - i);
  } else {
    kResizeRowsC.addFloatRows(tails, weights, rowCount, add, accumulator + i, count - i);
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
