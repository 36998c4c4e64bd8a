// The real FFT on doubles, and the product of packed spectra.
//
// A real transform of N = 2M samples runs as one complex transform of M
// points: the samples pair up as z[n] = x[2n] + i x[2n+1], and a split step
// separates the spectra of the even and the odd samples and joins them into
// the bins 0 to M (the inverse runs the same steps backwards). The complex
// transform is a radix-4 Stockham autosort, with one radix-2 stage when M is
// an odd power of 2: out of place between two buffers, results in natural
// order, real and imaginary parts in separate arrays so that every inner loop
// runs over consecutive doubles.
#include <cmath>
#include <cstring>
#include <memory>
#include <new>
#include <numbers>
#include <utility>
#include <vector>

#include "primitives/dispatch.h"
#include "primitives/prim_signal.h"

struct PrimFFTSpec {
  int32_t tag;  // first, so that a foreign object shows by its first word
  int32_t order;
  double forwardScale;
  double inverseScale;
  bool scaleForward;
  bool scaleInverse;
  // For each radix-4 stage of length n, largest first: w^p, w^2p, w^3p with
  // w = exp(-2 pi i / n), p below n/4, as six arrays: real 1, imaginary 1, real 2, ...
  std::vector<double> stageTwiddles;
  // exp(-2 pi i k / N) for k from 0 to M/2, real parts then imaginary parts.
  std::vector<double> splitTwiddles;
};

namespace {

constexpr int32_t kFFTSpecTag = 9;
constexpr int kMaxOrder = 28;

bool IsTransformObject(const PrimFFTSpec* spec) {
  int32_t tag;
  std::memcpy(&tag, spec, sizeof tag);
  return tag == kFFTSpecTag;
}

// A complex vector as separate real and imaginary arrays.
struct Split {
  double* re;
  double* im;
};

// Number of passes of the complex transform of m points: radix 4 while at
// least 4 points remain, then radix 2 for the odd factor 2.
int StageCount(size_t m) {
  int stages = 0;
  for (; m >= 4; m /= 4) ++stages;
  return stages + (m == 2 ? 1 : 0);
}

std::vector<double> MakeStageTwiddles(size_t m) {
  std::vector<double> table;
  for (size_t n = m; n >= 4; n /= 4) {
    const size_t quarter = n / 4;
    const size_t base = table.size();
    table.resize(base + 6 * quarter);
    for (int k = 1; k <= 3; ++k) {
      double* re = table.data() + base + 2 * (k - 1) * quarter;
      double* im = re + quarter;
      for (size_t p = 0; p < quarter; ++p) {
        const double angle = 2 * std::numbers::pi * static_cast<double>(k * p) / static_cast<double>(n);
        re[p] = std::cos(angle);
        im[p] = -std::sin(angle);
      }
    }
  }
  return table;
}

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

// One radix-4 pass of length n and stride s from x to y:
//   y[q + s(4p + k)] = w^(kp) * sum over j of x[q + s(p + j n/4)] * (-i)^(jk)
// (with +i and the conjugate twiddles for the inverse). The loop over q runs
// innermost when there is more than one q, else the loop over p.
template <bool kInverse>
void Radix4Pass(Split x, Split y, size_t n, size_t s, const double* twiddles) {
  const size_t quarter = n / 4;
  const double* __restrict w1r = twiddles;
  const double* __restrict w1i = w1r + quarter;
  const double* __restrict w2r = w1i + quarter;
  const double* __restrict w2i = w2r + quarter;
  const double* __restrict w3r = w2i + quarter;
  const double* __restrict w3i = w3r + quarter;
  const double* __restrict xr = x.re;
  const double* __restrict xi = x.im;
  double* __restrict yr = y.re;
  double* __restrict yi = y.im;
  const double sign = kInverse ? -1.0 : 1.0;  // conjugates the twiddles

  auto butterfly = [&](size_t p, size_t q) {
    const size_t in = q + s * p, step = s * quarter, out = q + s * 4 * p;
    const double ar = xr[in], ai = xi[in];
    const double br = xr[in + step], bi = xi[in + step];
    const double cr = xr[in + 2 * step], ci = xi[in + 2 * step];
    const double dr = xr[in + 3 * step], di = xi[in + 3 * step];
    const double apcR = ar + cr, apcI = ai + ci, amcR = ar - cr, amcI = ai - ci;
    const double bpdR = br + dr, bpdI = bi + di, bmdR = br - dr, bmdI = bi - di;
    // amc - i(b - d) for the forward pass, amc + i(b - d) for the inverse.
    const double t1r = kInverse ? amcR - bmdI : amcR + bmdI, t1i = kInverse ? amcI + bmdR : amcI - bmdR;
    const double t3r = kInverse ? amcR + bmdI : amcR - bmdI, t3i = kInverse ? amcI - bmdR : amcI + bmdR;
    const double t2r = apcR - bpdR, t2i = apcI - bpdI;
    const double c1r = w1r[p], c1i = sign * w1i[p];
    const double c2r = w2r[p], c2i = sign * w2i[p];
    const double c3r = w3r[p], c3i = sign * w3i[p];
    yr[out] = apcR + bpdR;
    yi[out] = apcI + bpdI;
    yr[out + s] = t1r * c1r - t1i * c1i;
    yi[out + s] = t1r * c1i + t1i * c1r;
    yr[out + 2 * s] = t2r * c2r - t2i * c2i;
    yi[out + 2 * s] = t2r * c2i + t2i * c2r;
    yr[out + 3 * s] = t3r * c3r - t3i * c3i;
    yi[out + 3 * s] = t3r * c3i + t3i * c3r;
  };

  if (s == 1) {
    for (size_t p = 0; p < quarter; ++p) butterfly(p, 0);
  } else {
    for (size_t p = 0; p < quarter; ++p) {
      for (size_t q = 0; q < s; ++q) butterfly(p, q);
    }
  }
}

// The closing radix-2 pass of length 2 and stride s: sum and difference.
void Radix2Pass(Split x, Split y, size_t s) {
  const double* __restrict xr = x.re;
  const double* __restrict xi = x.im;
  double* __restrict yr = y.re;
  double* __restrict yi = y.im;
  for (size_t q = 0; q < s; ++q) {
    const double ar = xr[q], ai = xi[q], br = xr[q + s], bi = xi[q + s];
    yr[q] = ar + br;
    yi[q] = ai + bi;
    yr[q + s] = ar - br;
    yi[q + s] = ai - bi;
  }
}

// Unscaled complex transform of m points from `a`, using `b` as the other
// buffer; returns the one that holds the result.
template <bool kInverse>
Split ComplexTransform(Split a, Split b, size_t m, const double* twiddles) {
  size_t n = m, s = 1;
  for (; n >= 4; n /= 4, s *= 4) {
    Radix4Pass<kInverse>(a, b, n, s, twiddles);
    twiddles += 6 * (n / 4);
    std::swap(a, b);
  }
  if (n == 2) {
    Radix2Pass(a, b, s);
    std::swap(a, b);
  }
  return a;
}

void Deinterleave(const double* src, Split dst, size_t m) {
  for (size_t i = 0; i < m; ++i) {
    dst.re[i] = src[2 * i];
    dst.im[i] = src[2 * i + 1];
  }
}

void Interleave(Split src, double* dst, size_t m, double scale) {
  for (size_t i = 0; i < m; ++i) {
    dst[2 * i] = src.re[i] * scale;
    dst[2 * i + 1] = src.im[i] * scale;
  }
}

// From Z, the transform of z[n] = x[2n] + i x[2n+1], to the bins 0 to M of x:
// with E = (Z[k] + conj Z[M-k]) / 2 and O = (Z[k] - conj Z[M-k]) / 2i, the
// spectra of the even and the odd samples, X[k] = E + W^k O and
// X[M-k] = conj(E - W^k O), W = exp(-2 pi i / N).
void JoinHalves(Split z, double* dst, size_t m, const double* wr, const double* wi, double scale) {
  const double half = scale / 2;
  dst[0] = (z.re[0] + z.im[0]) * scale;
  dst[1] = 0;
  dst[2 * m] = (z.re[0] - z.im[0]) * scale;
  dst[2 * m + 1] = 0;
  for (size_t k = 1; k <= m / 2; ++k) {
    const double a = z.re[k], b = z.im[k], c = z.re[m - k], d = z.im[m - k];
    const double er = a + c, ei = b - d, or_ = b + d, oi = c - a;  // 2E and 2O
    const double wor = wr[k] * or_ - wi[k] * oi, woi = wr[k] * oi + wi[k] * or_;
    dst[2 * k] = (er + wor) * half;
    dst[2 * k + 1] = (ei + woi) * half;
    dst[2 * (m - k)] = (er - wor) * half;
    dst[2 * (m - k) + 1] = (woi - ei) * half;
  }
}

// The inverse of JoinHalves without its 1/2: Z[k] = (X[k] + conj X[M-k]) +
// i (X[k] - conj X[M-k]) conj(W^k), whose unscaled inverse transform is N z.
// The imaginary parts of bins 0 and M are not read.
void SplitHalves(const double* src, Split z, size_t m, const double* wr, const double* wi) {
  z.re[0] = src[0] + src[2 * m];
  z.im[0] = src[0] - src[2 * m];
  for (size_t k = 1; k <= m / 2; ++k) {
    const double p = src[2 * k], q = src[2 * k + 1], r = src[2 * (m - k)], s = src[2 * (m - k) + 1];
    const double sr = p + r, si = q - s, dr = p - r, di = q + s;
    const double tr = dr * wr[k] + di * wi[k], ti = di * wr[k] - dr * wi[k];
    z.re[k] = sr - ti;
    z.im[k] = si + tr;
    z.re[m - k] = sr + ti;
    z.im[m - k] = tr - si;
  }
}

// The caller's work buffer, or one of our own for the length of the call.
class WorkBuffer {
 public:
  WorkBuffer(uint8_t* given, size_t doubles)
      : owned_(given == nullptr ? new (std::nothrow) double[doubles] : nullptr),
        data_(given == nullptr ? owned_.get() : reinterpret_cast<double*>(given)) {}
  double* data() const { return data_; }

 private:
  std::unique_ptr<double[]> owned_;
  double* data_;
};

int CheckTransformArguments(const double* src, const double* dst, const PrimFFTSpec* spec) {
  if (spec == nullptr) return PrimStsNullPtrErr;
  if (!IsTransformObject(spec)) return PrimStsContextMatchErr;
  if (src == nullptr || dst == nullptr) return PrimStsNullPtrErr;
  return PrimStsNoErr;
}

using FFTInitAllocFn = int (*)(PrimFFTSpec** spec, int order, int flag, int hint);

int fft_init_alloc_c(PrimFFTSpec** spec, int order, int flag, int /*hint*/) {
  if (spec == nullptr) return PrimStsNullPtrErr;
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
      made->stageTwiddles = MakeStageTwiddles(n / 2);
      made->splitTwiddles = MakeSplitTwiddles(n);
    } catch (const std::bad_alloc&) {
      return PrimStsMemAllocErr;
    }
  }
  made->tag = kFFTSpecTag;
  *spec = made.release();
  return PrimStsNoErr;
}

constexpr FFTInitAllocFn kFFTInitAlloc[kPrimSlotCount] = {fft_init_alloc_c, fft_init_alloc_c, fft_init_alloc_c,
                                                          fft_init_alloc_c, fft_init_alloc_c, fft_init_alloc_c};

using FFTFreeSpecFn = int (*)(PrimFFTSpec* spec);

int fft_free_spec_c(PrimFFTSpec* spec) {
  if (spec == nullptr) return PrimStsNullPtrErr;
  if (!IsTransformObject(spec)) return PrimStsContextMatchErr;
  spec->tag = 0;
  delete spec;
  return PrimStsNoErr;
}

constexpr FFTFreeSpecFn kFFTFreeSpec[kPrimSlotCount] = {fft_free_spec_c, fft_free_spec_c, fft_free_spec_c,
                                                        fft_free_spec_c, fft_free_spec_c, fft_free_spec_c};

using FFTTransformFn = int (*)(const double* src, double* dst, const PrimFFTSpec* spec, uint8_t* buffer);

int fft_forward_c(const double* src, double* dst, const PrimFFTSpec* spec, uint8_t* buffer) {
  if (const int status = CheckTransformArguments(src, dst, spec); status != PrimStsNoErr) return status;
  const double scale = spec->forwardScale;
  if (spec->order == 0) {
    dst[0] = src[0] * scale;
    dst[1] = 0;
    return PrimStsNoErr;
  }
  const size_t n = size_t{1} << spec->order, m = n / 2;
  if (spec->order == 1) {
    dst[0] = (src[0] + src[1]) * scale;
    dst[2] = (src[0] - src[1]) * scale;
    dst[1] = dst[3] = 0;
    return PrimStsNoErr;
  }
  const WorkBuffer work(buffer, n);
  if (work.data() == nullptr) return PrimStsMemAllocErr;
  // The passes alternate between dst and the work buffer; start where the
  // last pass lands in the work buffer, since the join writes dst.
  const Split inWork{work.data(), work.data() + m}, inDst{dst, dst + m};
  const bool even = StageCount(m) % 2 == 0;
  Deinterleave(src, even ? inWork : inDst, m);
  const Split z = ComplexTransform<false>(even ? inWork : inDst, even ? inDst : inWork, m, spec->stageTwiddles.data());
  const double* wr = spec->splitTwiddles.data();
  JoinHalves(z, dst, m, wr, wr + m / 2 + 1, scale);
  return PrimStsNoErr;
}

constexpr FFTTransformFn kFFTForward[kPrimSlotCount] = {fft_forward_c, fft_forward_c, fft_forward_c,
                                                        fft_forward_c, fft_forward_c, fft_forward_c};

int fft_inverse_c(const double* src, double* dst, const PrimFFTSpec* spec, uint8_t* buffer) {
  if (const int status = CheckTransformArguments(src, dst, spec); status != PrimStsNoErr) return status;
  const double scale = spec->inverseScale;
  if (spec->order == 0) {
    dst[0] = src[0] * scale;
    return PrimStsNoErr;
  }
  const size_t n = size_t{1} << spec->order, m = n / 2;
  if (spec->order == 1) {
    const double sum = (src[0] + src[2]) * scale, difference = (src[0] - src[2]) * scale;
    dst[0] = sum;
    dst[1] = difference;
    return PrimStsNoErr;
  }
  const WorkBuffer work(buffer, n);
  if (work.data() == nullptr) return PrimStsMemAllocErr;
  // As forward: the last pass lands in the work buffer, and the final
  // interleave writes dst.
  const Split inWork{work.data(), work.data() + m}, inDst{dst, dst + m};
  const bool even = StageCount(m) % 2 == 0;
  const double* wr = spec->splitTwiddles.data();
  SplitHalves(src, even ? inWork : inDst, m, wr, wr + m / 2 + 1);
  const Split z = ComplexTransform<true>(even ? inWork : inDst, even ? inDst : inWork, m, spec->stageTwiddles.data());
  Interleave(z, dst, m, scale);
  return PrimStsNoErr;
}

constexpr FFTTransformFn kFFTInverse[kPrimSlotCount] = {fft_inverse_c, fft_inverse_c, fft_inverse_c,
                                                        fft_inverse_c, fft_inverse_c, fft_inverse_c};

using MulPackedSpectrumFn = int (*)(const double* src, double* dst, int length);

int mul_packed_spectrum_c(const double* src, double* dst, int length) {
  if (src == nullptr || dst == nullptr) return PrimStsNullPtrErr;
  if (length < 1) return PrimStsSizeErr;
  for (int i = 0; i < length; ++i) {
    const double ar = dst[2 * i], ai = dst[2 * i + 1], br = src[2 * i], bi = src[2 * i + 1];
    dst[2 * i] = ar * br - ai * bi;
    dst[2 * i + 1] = ar * bi + ai * br;
  }
  return PrimStsNoErr;
}

constexpr MulPackedSpectrumFn kMulPackedSpectrum[kPrimSlotCount] = {
    mul_packed_spectrum_c, mul_packed_spectrum_c, mul_packed_spectrum_c,
    mul_packed_spectrum_c, mul_packed_spectrum_c, mul_packed_spectrum_c};

}  // namespace

int PrimFFTInitAlloc(PrimFFTSpec** spec, int order, int flag, int hint) {
  return kFFTInitAlloc[g_primSlot](spec, order, flag, hint);
}

int PrimFFTFreeSpec(PrimFFTSpec* spec) { return kFFTFreeSpec[g_primSlot](spec); }

int PrimFFTForward(const double* src, double* dst, const PrimFFTSpec* spec, uint8_t* buffer) {
  return kFFTForward[g_primSlot](src, dst, spec, buffer);
}

int PrimFFTInverse(const double* src, double* dst, const PrimFFTSpec* spec, uint8_t* buffer) {
  return kFFTInverse[g_primSlot](src, dst, spec, buffer);
}

int PrimMulPackedSpectrum(const double* src, double* dst, int length) {
  return kMulPackedSpectrum[g_primSlot](src, dst, length);
}
