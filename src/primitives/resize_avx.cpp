// The row kernels of the plane resize, eight floats at a time with AVX (and
// no AVX2: integer work stays in 128-bit halves). Each lane does the portable
// kernel's arithmetic for its pixel, in the same order; the last partial
// vector of a row is left to the portable kernel.
#include <immintrin.h>

#include <cstddef>
#include <cstring>

#include "primitives/resize_rows.h"

namespace {

constexpr int kLanes = 8;

__m128i WidenFourToInt(const uint8_t* row) {
  int32_t word;
  std::memcpy(&word, row, sizeof word);
  return _mm_cvtepu8_epi32(_mm_cvtsi32_si128(word));
}

__m256 WidenEight(const uint8_t* row) {
  const __m256i low = _mm256_castsi128_si256(WidenFourToInt(row));
  return _mm256_cvtepi32_ps(_mm256_insertf128_si256(low, WidenFourToInt(row + 4), 1));
}

void WidenRowAvx(const uint8_t* row, float* out, int count) {
  int i = 0;
  for (; i + kLanes <= count; i += kLanes) _mm256_storeu_ps(out + i, WidenEight(row + i));
  kResizeRowsC.widen(row + i, out + i, count - i);
}

// Pixels i to i + 3 go to the low halves, i + 4 to i + 7 to the high halves;
// the transpose within each half leaves one tap of the eight pixels a vector.
__m256 LoadPair(const float* low, const float* high) {
  return _mm256_insertf128_ps(_mm256_castps128_ps256(_mm_loadu_ps(low)), _mm_loadu_ps(high), 1);
}

void FilterRowAvx(const float* columns, int first, const int32_t* start, const float* weight, int stride, int count,
                  int taps, float* out) {
  int i = 0;
  for (; i + kLanes <= count; i += kLanes) {
    const float* s[kLanes];
    for (int j = 0; j < kLanes; ++j) s[j] = columns + (start[i + j] - first);
    __m256 sum = _mm256_setzero_ps();
    for (int k = 0; k < taps; k += 4) {
      const __m256 v0 = LoadPair(s[0] + k, s[4] + k), v1 = LoadPair(s[1] + k, s[5] + k);
      const __m256 v2 = LoadPair(s[2] + k, s[6] + k), v3 = LoadPair(s[3] + k, s[7] + k);
      const __m256 lo01 = _mm256_unpacklo_ps(v0, v1), lo23 = _mm256_unpacklo_ps(v2, v3);
      const __m256 hi01 = _mm256_unpackhi_ps(v0, v1), hi23 = _mm256_unpackhi_ps(v2, v3);
      const __m256 tap[4] = {_mm256_shuffle_ps(lo01, lo23, 0x44), _mm256_shuffle_ps(lo01, lo23, 0xEE),
                             _mm256_shuffle_ps(hi01, hi23, 0x44), _mm256_shuffle_ps(hi01, hi23, 0xEE)};
      for (int j = 0; j < 4 && k + j < taps; ++j) {
        const __m256 w = _mm256_loadu_ps(weight + static_cast<ptrdiff_t>(k + j) * stride + i);
        sum = _mm256_add_ps(sum, _mm256_mul_ps(w, tap[j]));
      }
    }
    _mm256_storeu_ps(out + i, sum);
  }
  kResizeRowsC.filter(columns, first, start + i, weight + i, stride, count - i, taps, out + i);
}

__m256 LoadEight(const uint8_t* row) { return WidenEight(row); }
__m256 LoadEight(const float* row) { return _mm256_loadu_ps(row); }

template <typename T>
void AddRowsAvx(const T* const* rows, const float* weights, int rowCount, bool add, float* accumulator, int count) {
  __m256 w[4];
  for (int r = 0; r < rowCount; ++r) w[r] = _mm256_set1_ps(weights[r]);
  int i = 0;
  for (; i + kLanes <= count; i += kLanes) {
    __m256 sum = _mm256_mul_ps(w[0], LoadEight(rows[0] + i));
    if (add) sum = _mm256_add_ps(_mm256_loadu_ps(accumulator + i), sum);
    for (int r = 1; r < rowCount; ++r) sum = _mm256_add_ps(sum, _mm256_mul_ps(w[r], LoadEight(rows[r] + i)));
    _mm256_storeu_ps(accumulator + i, sum);
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
void StoreRowAvx(const float* accumulator, float scale, uint8_t* dst, int count) {
  const __m256 s = _mm256_set1_ps(scale), half = _mm256_set1_ps(0.5f);
  auto eight = [&](int at) {
    const __m256i v = _mm256_cvttps_epi32(_mm256_add_ps(_mm256_mul_ps(_mm256_loadu_ps(accumulator + at), s), half));
    return _mm_packs_epi32(_mm256_castsi256_si128(v), _mm256_extractf128_si256(v, 1));
  };
  int i = 0;
  for (; i + 16 <= count; i += 16) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + i), _mm_packus_epi16(eight(i), eight(i + 8)));
  }
  kResizeRowsC.store(accumulator + i, scale, dst + i, count - i);
}

constexpr ResizeRowKernels kResizeRowsAvx = {WidenRowAvx, FilterRowAvx, AddRowsAvx<uint8_t>, AddRowsAvx<float>,
                                             StoreRowAvx};

}  // namespace

int resize_plane_avx(const uint8_t* src, int srcWidth, int srcHeight, int srcStep, PlaneRect srcRect, uint8_t* dst,
                     int dstStep, PlaneRect dstRect, double xFactor, double yFactor, double xShift, double yShift,
                     int interpolation, uint8_t* buffer) {
  return ResizePlaneWith(kResizeRowsAvx, src, srcWidth, srcHeight, srcStep, srcRect, dst, dstStep, dstRect, xFactor,
                         yFactor, xShift, yShift, interpolation, buffer);
}
