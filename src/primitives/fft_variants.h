// The FFT family's variants: the checks, scaling cases and work buffer are
// portable code shared by every slot (the ...With functions in fft.cpp);
// a variant supplies only the transform's passes or the product's loop.
#pragma once

#include <cstddef>
#include <cstdint>

#include "primitives/prim_signal.h"

// The two arrays of m complex numbers that the passes of a transform of
// N = 2m samples alternate between, each as real parts and imaginary parts.
struct FFTPassBuffers {
  double* workRe;
  double* workIm;
  double* otherRe;
  double* otherIm;
};

// The transform of N = 2m >= 4 samples (ForwardTransform or InverseTransform
// of fft_passes.h, compiled for one instruction set).
using FFTCoreFn = void (*)(const double* src, double* dst, const FFTPassBuffers& buffers, size_t m,
                           const double* passTwiddles, const double* splitTwiddles, double scale);
// dst = dst * src on `length` >= 1 complex numbers.
using SpectrumProductFn = void (*)(const double* src, double* dst, int length);

int FFTForwardWith(FFTCoreFn core, const double* src, double* dst, const PrimFFTSpec* plan, uint8_t* buffer);
int FFTInverseWith(FFTCoreFn core, const double* src, double* dst, const PrimFFTSpec* plan, uint8_t* buffer);
int MulPackedSpectrumWith(SpectrumProductFn product, const double* src, double* dst, int length);

int fft_forward_avx(const double* src, double* dst, const PrimFFTSpec* plan, uint8_t* buffer);
int fft_inverse_avx(const double* src, double* dst, const PrimFFTSpec* plan, uint8_t* buffer);
int mul_packed_spectrum_sse41(const double* src, double* dst, int length);
int mul_packed_spectrum_avx(const double* src, double* dst, int length);
