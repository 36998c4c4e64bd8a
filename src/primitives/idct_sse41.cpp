// The inverse DCT with SSE4.1: the portable double-precision sums, two
// positions a vector, and the rounding with SSE4.1's floor.
#include <smmintrin.h>

#include "primitives/idct_variants.h"

namespace {

constexpr int kBlock = 8;
constexpr int kVectors = kBlock / 2;

// floor(value + 0.5) clipped to 0..255, two positions a vector; packed with
// the other six of the row into 8 bytes.
__m128i RoundToInt(__m128d value) {
  const __m128d rounded = _mm_floor_pd(_mm_add_pd(value, _mm_set1_pd(0.5)));
  return _mm_cvttpd_epi32(_mm_min_pd(_mm_max_pd(rounded, _mm_setzero_pd()), _mm_set1_pd(255)));
}

void StoreRow(const __m128d* sum, uint8_t* dst) {
  const __m128i low = _mm_unpacklo_epi64(RoundToInt(sum[0]), RoundToInt(sum[1]));
  const __m128i high = _mm_unpacklo_epi64(RoundToInt(sum[2]), RoundToInt(sum[3]));
  const __m128i bytes = _mm_packus_epi16(_mm_packs_epi32(low, high), _mm_setzero_si128());
  _mm_storel_epi64(reinterpret_cast<__m128i*>(dst), bytes);
}

void InverseTransformSse41(const int16_t* coefficients, int frequencies, uint8_t* dst, int dstStep) {
  const double* basis = IdctBasis();
  __m128d rows[kBlock][kVectors];  // [v][x / 2]: each coefficient row transformed along u
  for (int v = 0; v < frequencies; ++v) {
    for (__m128d& r : rows[v]) r = _mm_setzero_pd();
    for (int u = 0; u < frequencies; ++u) {
      const __m128d f = _mm_set1_pd(coefficients[kBlock * v + u]);
      for (int x = 0; x < kVectors; ++x) {
        rows[v][x] = _mm_add_pd(rows[v][x], _mm_mul_pd(_mm_loadu_pd(basis + kBlock * u + 2 * x), f));
      }
    }
  }
  for (int y = 0; y < kBlock; ++y) {
    __m128d sum[kVectors] = {_mm_setzero_pd(), _mm_setzero_pd(), _mm_setzero_pd(), _mm_setzero_pd()};
    for (int v = 0; v < frequencies; ++v) {
      const __m128d b = _mm_set1_pd(basis[kBlock * v + y]);
      for (int x = 0; x < kVectors; ++x) sum[x] = _mm_add_pd(sum[x], _mm_mul_pd(b, rows[v][x]));
    }
    StoreRow(sum, dst + y * dstStep);
  }
}

}  // namespace

int idct8x8_sse41(const int16_t* coefficients, uint8_t* dst, int dstStep, int count) {
  return IDCT8x8With(InverseTransformSse41, coefficients, dst, dstStep, count);
}
