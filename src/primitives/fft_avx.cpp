// The FFT pair and the product of packed spectra with AVX: the portable
// passes with four butterflies a step in 256-bit vectors, and the product
// two complex numbers a vector.
#include <immintrin.h>

#include "primitives/fft_passes.h"
#include "primitives/fft_variants.h"

namespace {

using Double4 = double __attribute__((vector_size(32)));

// As the SSE4.1 product (ar br - ai bi, ai br + ar bi), two numbers at once.
void MultiplySpectraAvx(const double* src, double* dst, int length) {
  int i = 0;
  for (; i + 2 <= length; i += 2) {
    const __m256d a = _mm256_loadu_pd(dst + 2 * i), b = _mm256_loadu_pd(src + 2 * i);
    const __m256d real = _mm256_mul_pd(a, _mm256_movedup_pd(b));
    const __m256d imaginary = _mm256_mul_pd(_mm256_permute_pd(a, 0x5), _mm256_permute_pd(b, 0xF));
    _mm256_storeu_pd(dst + 2 * i, _mm256_addsub_pd(real, imaginary));
  }
  if (i < length) mul_packed_spectrum_sse41(src + 2 * i, dst + 2 * i, length - i);
}

}  // namespace

int fft_forward_avx(const double* src, double* dst, const PrimFFTSpec* plan, uint8_t* buffer) {
  return FFTForwardWith(ForwardTransform<Double4>, src, dst, plan, buffer);
}

int fft_inverse_avx(const double* src, double* dst, const PrimFFTSpec* plan, uint8_t* buffer) {
  return FFTInverseWith(InverseTransform<Double4>, src, dst, plan, buffer);
}

int mul_packed_spectrum_avx(const double* src, double* dst, int length) {
  return MulPackedSpectrumWith(MultiplySpectraAvx, src, dst, length);
}
