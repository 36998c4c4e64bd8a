// The inverse DCT with AVX: the portable double-precision sums, four
// positions a vector.
#include <immintrin.h>

#include "primitives/idct_variants.h"

namespace {

constexpr int kBlock = 8;

// floor(value + 0.5) clipped to 0..255, as four 32-bit integers.
__m128i RoundToInt(__m256d value) {
  const __m256d rounded = _mm256_floor_pd(_mm256_add_pd(value, _mm256_set1_pd(0.5)));
  return _mm256_cvttpd_epi32(_mm256_min_pd(_mm256_max_pd(rounded, _mm256_setzero_pd()), _mm256_set1_pd(255)));
}

void InverseTransformAvx(const int16_t* coefficients, int frequencies, uint8_t* dst, int dstStep) {
  const double* basis = IdctBasis();
  __m256d rows[kBlock][2];  // [v][x / 4]: each coefficient row transformed along u
  for (int v = 0; v < frequencies; ++v) {
    __m256d left = _mm256_setzero_pd(), right = _mm256_setzero_pd();
    for (int u = 0; u < frequencies; ++u) {
      const __m256d f = _mm256_set1_pd(coefficients[kBlock * v + u]);
      left = _mm256_add_pd(left, _mm256_mul_pd(_mm256_loadu_pd(basis + kBlock * u), f));
      right = _mm256_add_pd(right, _mm256_mul_pd(_mm256_loadu_pd(basis + kBlock * u + 4), f));
    }
    rows[v][0] = left;
    rows[v][1] = right;
  }
  for (int y = 0; y < kBlock; ++y) {
    __m256d left = _mm256_setzero_pd(), right = _mm256_setzero_pd();
    for (int v = 0; v < frequencies; ++v) {
      const __m256d b = _mm256_set1_pd(basis[kBlock * v + y]);
      left = _mm256_add_pd(left, _mm256_mul_pd(b, rows[v][0]));
      right = _mm256_add_pd(right, _mm256_mul_pd(b, rows[v][1]));
    }
    const __m128i bytes = _mm_packus_epi16(_mm_packs_epi32(RoundToInt(left), RoundToInt(right)), _mm_setzero_si128());
    _mm_storel_epi64(reinterpret_cast<__m128i*>(dst + y * dstStep), bytes);
  }
}

}  // namespace

int idct8x8_avx(const int16_t* coefficients, uint8_t* dst, int dstStep, int count) {
  return IDCT8x8With(InverseTransformAvx, coefficients, dst, dstStep, count);
}
