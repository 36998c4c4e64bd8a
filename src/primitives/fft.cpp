// The real FFT on doubles, and the product of packed spectra.
//
// A real transform of N = 2M samples runs as one complex transform of M
// points: the samples pair up as z[n] = x[2n] + i x[2n+1], and a split step
// separates the spectra of the even and the odd samples and joins them into
// the bins 0 to M (the inverse runs the same steps backwards).
//
// The complex transform is a Stockham autosort of radix-4 and radix-2 passes
// (PassRadix), a radix-4 pass and the radix-2 pass after it sharing one sweep
// over memory: out of place between two buffers, in natural order, with real
// and imaginary parts in separate arrays so that the inner loops run over
// consecutive doubles. The first forward pass reads the interleaved samples
// and the last inverse pass writes them, scaled, so that no pass is spent on
// packing; the inverse's split runs in the sweep of its first pass.
#include <cmath>
#include <cstring>
#include <memory>
#include <new>
#include <numbers>
#include <vector>

#include "primitives/dispatch.h"
#include "primitives/fft_passes.h"
#include "primitives/fft_variants.h"
#include "primitives/prim_signal.h"

struct PrimFFTSpec {
  int32_t tag;  // first, so that a foreign object shows by its first word
  int32_t order;
  double forwardScale;
  double inverseScale;
  bool scaleForward;
  bool scaleInverse;
  // The twiddles of the passes of the complex transform (MakePassTwiddles).
  std::vector<double> passTwiddles;
  // exp(-2 pi i k / N) for k from 0 to M/2, real parts then imaginary parts.
  std::vector<double> splitTwiddles;
};

namespace {

constexpr int32_t kFFTSpecTag = 9;
constexpr int kMaxOrder = 28;

bool IsTransformObject(const PrimFFTSpec* plan) {
  int32_t tag;
  std::memcpy(&tag, plan, sizeof tag);
  return tag == kFFTSpecTag;
}

// For each pass of length n and radix r, in order: w^(kp) with
// w = exp(-2 pi i / n), for k from 1 to r - 1 and p below n / r, as 2(r - 1)
// arrays: real parts for k = 1, imaginary parts for k = 1, real for k = 2, ...
std::vector<double> MakePassTwiddles(size_t m) {
  std::vector<double> table;
  for (size_t n = m; n > 1; n /= PassRadix(m, n)) {
    const size_t radix = PassRadix(m, n), columns = n / radix;
    size_t at = table.size();
    table.resize(at + 2 * (radix - 1) * columns);
    for (size_t k = 1; k < radix; ++k, at += 2 * columns) {
      for (size_t p = 0; p < columns; ++p) {
        const double angle = 2 * std::numbers::pi * static_cast<double>(k * p) / static_cast<double>(n);
        table[at + p] = std::cos(angle);
        table[at + columns + p] = -std::sin(angle);
      }
    }
  }
  return table;
}

// exp(-2 pi i k / N) for k from 0 to M/2, real parts then imaginary parts.
std::vector<double> MakeSplitTwiddles(size_t n) {
  const size_t count = n / 4 + 1;
  std::vector<double> table(2 * count);
  for (size_t k = 0; k < count; ++k) {
    const double angle = 2 * std::numbers::pi * static_cast<double>(k) / static_cast<double>(n);
    table[k] = std::cos(angle);
    table[count + k] = -std::sin(angle);
  }
  return table;
}

// The buffers of a transform's passes: the caller's work buffer and the
// destination, or two of our own for the length of the call. Ours keep a
// line-sized gap after each array, so that the real and imaginary parts of
// an element, and the two buffers, do not fall a multiple of 4 KiB apart,
// where the passes with long strides would crowd one set of the data cache.
class PassBuffers {
 public:
  PassBuffers(uint8_t* given, double* dst, size_t m) {
    if (given != nullptr) {
      double* work = reinterpret_cast<double*>(given);
      buffers_ = {work, work + m, dst, dst + m};
      return;
    }
    const size_t array = m + kGap;
    owned_.reset(new (std::nothrow) double[4 * array + kLineDoubles]);
    if (owned_ == nullptr) return;
    double* own = LineAligned(owned_.get());
    buffers_ = {own, own + array, own + 2 * array + kGap, own + 3 * array + kGap};
  }
  bool Valid() const { return buffers_.workRe != nullptr; }
  const FFTPassBuffers& Get() const { return buffers_; }

 private:
  static constexpr size_t kGap = 64;
  // Vector loads that start on a cache line never straddle two.
  static constexpr size_t kLineDoubles = 8;
  static double* LineAligned(double* p) {
    const size_t misalignment = reinterpret_cast<uintptr_t>(p) / sizeof(double) % kLineDoubles;
    return misalignment == 0 ? p : p + (kLineDoubles - misalignment);
  }
  std::unique_ptr<double[]> owned_;
  FFTPassBuffers buffers_{};
};

int CheckTransformArguments(const double* src, const double* dst, const PrimFFTSpec* plan) {
  if (plan == nullptr) return PrimStsNullPtrErr;
  if (!IsTransformObject(plan)) return PrimStsContextMatchErr;
  if (src == nullptr || dst == nullptr) return PrimStsNullPtrErr;
  return PrimStsNoErr;
}

using FFTInitAllocFn = int (*)(PrimFFTSpec** plan, int order, int flag, int hint);

int fft_init_alloc_c(PrimFFTSpec** plan, int order, int flag, int /*hint*/) {
  if (plan == nullptr) return PrimStsNullPtrErr;
  if (order < 0 || order > kMaxOrder) return PrimStsFftOrderErr;
  if (flag != PrimFFTDivForwardByN && flag != PrimFFTDivInverseByN && flag != PrimFFTDivBySqrtN &&
      flag != PrimFFTNoDivByAny) {
    return PrimStsFftFlagErr;
  }
  const size_t n = size_t{1} << order;
  std::unique_ptr<PrimFFTSpec> made(new (std::nothrow) PrimFFTSpec{});
  if (made == nullptr) return PrimStsMemAllocErr;
  made->order = order;
  const double length = static_cast<double>(n);
  made->scaleForward = flag == PrimFFTDivForwardByN || flag == PrimFFTDivBySqrtN;
  made->scaleInverse = flag == PrimFFTDivInverseByN || flag == PrimFFTDivBySqrtN;
  const double divisor = flag == PrimFFTDivBySqrtN ? std::sqrt(length) : length;
  made->forwardScale = made->scaleForward ? 1 / divisor : 1.0;
  made->inverseScale = made->scaleInverse ? 1 / divisor : 1.0;
  if (order >= 2) {
    try {
      made->passTwiddles = MakePassTwiddles(n / 2);
      made->splitTwiddles = MakeSplitTwiddles(n);
    } catch (const std::bad_alloc&) {
      return PrimStsMemAllocErr;
    }
  }
  made->tag = kFFTSpecTag;
  *plan = made.release();
  return PrimStsNoErr;
}

constexpr FFTInitAllocFn kFFTInitAlloc[kPrimSlotCount] = {fft_init_alloc_c, fft_init_alloc_c, fft_init_alloc_c,
                                                          fft_init_alloc_c, fft_init_alloc_c, fft_init_alloc_c};

using FFTFreeSpecFn = int (*)(PrimFFTSpec* plan);

int fft_free_spec_c(PrimFFTSpec* plan) {
  if (plan == nullptr) return PrimStsNullPtrErr;
  if (!IsTransformObject(plan)) return PrimStsContextMatchErr;
  plan->tag = 0;
  delete plan;
  return PrimStsNoErr;
}

constexpr FFTFreeSpecFn kFFTFreeSpec[kPrimSlotCount] = {fft_free_spec_c, fft_free_spec_c, fft_free_spec_c,
                                                        fft_free_spec_c, fft_free_spec_c, fft_free_spec_c};

using FFTTransformFn = int (*)(const double* src, double* dst, const PrimFFTSpec* plan, uint8_t* buffer);

void MultiplySpectra(const double* src, double* dst, int length) {
  for (int i = 0; i < length; ++i) {
    const double ar = dst[2 * i], ai = dst[2 * i + 1], br = src[2 * i], bi = src[2 * i + 1];
    dst[2 * i] = ar * br - ai * bi;
    dst[2 * i + 1] = ar * bi + ai * br;
  }
}

int fft_forward_c(const double* src, double* dst, const PrimFFTSpec* plan, uint8_t* buffer) {
  return FFTForwardWith(ForwardTransform<double>, src, dst, plan, buffer);
}

int fft_inverse_c(const double* src, double* dst, const PrimFFTSpec* plan, uint8_t* buffer) {
  return FFTInverseWith(InverseTransform<double>, src, dst, plan, buffer);
}

int mul_packed_spectrum_c(const double* src, double* dst, int length) {
  return MulPackedSpectrumWith(MultiplySpectra, src, dst, length);
}

// SSE4.1 brings nothing to the transform's double arithmetic that the
// portable build (SSE2 vectors) lacks, so slot 4 keeps the portable transform.
constexpr FFTTransformFn kFFTForward[kPrimSlotCount] = {fft_forward_c, fft_forward_c, fft_forward_c,
                                                        fft_forward_c, fft_forward_c, fft_forward_avx};

constexpr FFTTransformFn kFFTInverse[kPrimSlotCount] = {fft_inverse_c, fft_inverse_c, fft_inverse_c,
                                                        fft_inverse_c, fft_inverse_c, fft_inverse_avx};

constexpr auto kMulPackedSpectrum =
    VectorSlots(mul_packed_spectrum_c, mul_packed_spectrum_sse41, mul_packed_spectrum_avx);

}  // namespace

int FFTForwardWith(FFTCoreFn core, const double* src, double* dst, const PrimFFTSpec* plan, uint8_t* buffer) {
  if (const int status = CheckTransformArguments(src, dst, plan); status != PrimStsNoErr) return status;
  const double scale = plan->forwardScale;
  if (plan->order == 0) {
    dst[0] = src[0] * scale;
    dst[1] = 0;
    return PrimStsNoErr;
  }
  const size_t n = size_t{1} << plan->order, m = n / 2;
  if (plan->order == 1) {
    dst[0] = (src[0] + src[1]) * scale;
    dst[2] = (src[0] - src[1]) * scale;
    dst[1] = dst[3] = 0;
    return PrimStsNoErr;
  }
  if (m == 2) {
    // Four samples need no work buffer.
    core(src, dst, FFTPassBuffers{}, m, plan->passTwiddles.data(), plan->splitTwiddles.data(), scale);
    return PrimStsNoErr;
  }
  const PassBuffers buffers(buffer, dst, m);
  if (!buffers.Valid()) return PrimStsMemAllocErr;
  core(src, dst, buffers.Get(), m, plan->passTwiddles.data(), plan->splitTwiddles.data(), scale);
  return PrimStsNoErr;
}

int FFTInverseWith(FFTCoreFn core, const double* src, double* dst, const PrimFFTSpec* plan, uint8_t* buffer) {
  if (const int status = CheckTransformArguments(src, dst, plan); status != PrimStsNoErr) return status;
  const double scale = plan->inverseScale;
  if (plan->order == 0) {
    dst[0] = src[0] * scale;
    return PrimStsNoErr;
  }
  const size_t n = size_t{1} << plan->order, m = n / 2;
  if (plan->order == 1) {
    const double sum = (src[0] + src[2]) * scale, difference = (src[0] - src[2]) * scale;
    dst[0] = sum;
    dst[1] = difference;
    return PrimStsNoErr;
  }
  const PassBuffers buffers(buffer, dst, m);
  if (!buffers.Valid()) return PrimStsMemAllocErr;
  core(src, dst, buffers.Get(), m, plan->passTwiddles.data(), plan->splitTwiddles.data(), scale);
  return PrimStsNoErr;
}

int MulPackedSpectrumWith(SpectrumProductFn product, const double* src, double* dst, int length) {
  if (src == nullptr || dst == nullptr) return PrimStsNullPtrErr;
  if (length < 1) return PrimStsSizeErr;
  product(src, dst, length);
  return PrimStsNoErr;
}

int PrimFFTInitAlloc(PrimFFTSpec** plan, int order, int flag, int hint) {
  return kFFTInitAlloc[g_primSlot](plan, order, flag, hint);
}

int PrimFFTFreeSpec(PrimFFTSpec* plan) { return kFFTFreeSpec[g_primSlot](plan); }

int PrimFFTForward(const double* src, double* dst, const PrimFFTSpec* plan, uint8_t* buffer) {
  return kFFTForward[g_primSlot](src, dst, plan, buffer);
}

int PrimFFTInverse(const double* src, double* dst, const PrimFFTSpec* plan, uint8_t* buffer) {
  return kFFTInverse[g_primSlot](src, dst, plan, buffer);
}

int PrimMulPackedSpectrum(const double* src, double* dst, int length) {
  return kMulPackedSpectrum[g_primSlot](src, dst, length);
}
