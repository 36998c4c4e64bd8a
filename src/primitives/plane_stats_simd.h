// Vector kernels of the plane statistics: the count in a range and the
// maximum. Written with SSE4.1; plane_stats_sse41.cpp and plane_stats_avx.cpp
// both compile this source, each defining PRIM_VARIANT(name).
#pragma once

#include "primitives/plane_kernels.h"
#include "primitives/simd_rows.h"

namespace {

// Byte counters are folded into the total before they can wrap.
constexpr int kBlocksPerFold = 255;

int CountBlocks(const uint8_t* p, int width, uint8_t lower, uint8_t upper) {
  // b is in range exactly when b - lower, taken modulo 256, is at most upper - lower.
  const __m128i low = _mm_set1_epi8(static_cast<char>(lower));
  const __m128i span = _mm_set1_epi8(static_cast<char>(upper - lower));
  __m128i total = _mm_setzero_si128();
  for (int start = 0; start < width; start += 16 * kBlocksPerFold) {
    const int end = start + 16 * kBlocksPerFold < width ? start + 16 * kBlocksPerFold : width;
    __m128i counters = _mm_setzero_si128();
    for (int x = start; x < end; x += 16) {
      const __m128i offset = _mm_sub_epi8(Load(p + x), low);
      counters = _mm_sub_epi8(counters, _mm_cmpeq_epi8(_mm_min_epu8(offset, span), offset));
    }
    total = _mm_add_epi64(total, _mm_sad_epu8(counters, _mm_setzero_si128()));
  }
  return _mm_cvtsi128_si32(total) + _mm_extract_epi32(total, 2);
}

int CountRowSimd(const uint8_t* p, int width, uint8_t lower, uint8_t upper) {
  if (lower == 0 && upper == 255) return width;
  // The padding must fall outside the range.
  const uint8_t pad = upper < 255 ? static_cast<uint8_t>(upper + 1) : static_cast<uint8_t>(lower - 1);
  return ReduceRow<16>([lower, upper](const uint8_t* q, int n) { return CountBlocks(q, n, lower, upper); },
                       [](int a, int b) { return a + b; }, p, width, pad);
}

uint8_t MaxBlocks(const uint8_t* p, int width) {
  __m128i largest = _mm_setzero_si128();
  for (int x = 0; x < width; x += 16) largest = _mm_max_epu8(largest, Load(p + x));
  largest = _mm_max_epu8(largest, _mm_srli_si128(largest, 8));
  largest = _mm_max_epu8(largest, _mm_srli_si128(largest, 4));
  largest = _mm_max_epu8(largest, _mm_srli_si128(largest, 2));
  largest = _mm_max_epu8(largest, _mm_srli_si128(largest, 1));
  return static_cast<uint8_t>(_mm_cvtsi128_si32(largest));
}

uint8_t MaxRowSimd(const uint8_t* p, int width) {
  return ReduceRow<16>(
      MaxBlocks, [](uint8_t a, uint8_t b) { return a > b ? a : b; }, p, width, 0);
}

}  // namespace

int PRIM_VARIANT(count_in_range)(const uint8_t* src, int step, int width, int height, int* count, uint8_t lower,
                                 uint8_t upper) {
  return prim_plane::CountInRange(CountRowSimd, src, step, width, height, count, lower, upper);
}

int PRIM_VARIANT(max)(const uint8_t* src, int step, int width, int height, uint8_t* max) {
  return prim_plane::Max(MaxRowSimd, src, step, width, height, max);
}
