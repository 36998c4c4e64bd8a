// The product of packed spectra, one complex number a vector with SSE4.1
// (whose slot includes SSE3's add-subtract).
#include <pmmintrin.h>

#include "primitives/fft_variants.h"

namespace {

// (ar + i ai)(br + i bi): the products ar br, ai br and ai bi, ar bi, then
// ar br - ai bi and ai br + ar bi, the portable sums (addition commutes).
__m128d MultiplyOne(__m128d a, __m128d b) {
  const __m128d real = _mm_mul_pd(a, _mm_movedup_pd(b));
  const __m128d imaginary = _mm_mul_pd(_mm_shuffle_pd(a, a, 1), _mm_unpackhi_pd(b, b));
  return _mm_addsub_pd(real, imaginary);
}

void MultiplySpectraSse41(const double* src, double* dst, int length) {
  for (int i = 0; i < length; ++i) {
    _mm_storeu_pd(dst + 2 * i, MultiplyOne(_mm_loadu_pd(dst + 2 * i), _mm_loadu_pd(src + 2 * i)));
  }
}

}  // namespace

int mul_packed_spectrum_sse41(const double* src, double* dst, int length) {
  return MulPackedSpectrumWith(MultiplySpectraSse41, src, dst, length);
}
