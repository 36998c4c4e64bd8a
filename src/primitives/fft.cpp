// The real FFT on doubles, and the product of packed spectra.
//
// A real transform of N = 2M samples runs as one complex transform of M
// points: the samples pair up as z[n] = x[2n] + i x[2n+1], and a split step
// separates the spectra of the even and the odd samples and joins them into
// the bins 0 to M (the inverse runs the same steps backwards).
//
// The complex transform is a Stockham autosort of radix-4 passes, closed by
// one radix-2 pass when M is an odd power of 2: out of place between two
// buffers, in natural order, with real and imaginary parts in separate
// arrays so that the inner loops run over consecutive doubles. The first
// forward pass reads the interleaved samples and the last inverse pass writes
// them, scaled, so that no pass is spent on packing.
#include <bit>
#include <cmath>
#include <cstring>
#include <memory>
#include <new>
#include <numbers>
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
  // The twiddles of the passes of the complex transform (MakePassTwiddles).
  std::vector<double> passTwiddles;
  // exp(-2 pi i k / N) for k from 0 to M/2, real parts then imaginary parts.
  std::vector<double> splitTwiddles;
};

// Tells the vectoriser that the iterations of the next loop touch no common
// element: a pass reads one buffer and writes another, and the split steps
// write each element once, which the compiler cannot see through the
// run-time offsets.
#if defined(__clang__)
#define CORVANE_INDEPENDENT_ITERATIONS _Pragma("clang loop vectorize(assume_safety)")
#else
#define CORVANE_INDEPENDENT_ITERATIONS _Pragma("GCC ivdep")
#endif

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

// The radix of the pass that meets n points still to transform.
size_t PassRadix(size_t n) { return n >= 4 ? 4 : 2; }

int PassCount(size_t m) {
  int passes = 0;
  for (size_t n = m; n > 1; n /= PassRadix(n)) ++passes;
  return passes;
}

// For each pass of length n and radix r, in order: w^(kp) with
// w = exp(-2 pi i / n), for k from 1 to r - 1 and p below n / r, as 2(r - 1)
// arrays: real parts for k = 1, imaginary parts for k = 1, real for k = 2, ...
std::vector<double> MakePassTwiddles(size_t m) {
  std::vector<double> table;
  for (size_t n = m; n > 1; n /= PassRadix(n)) {
    const size_t radix = PassRadix(n), columns = n / radix;
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

// In-place DFT of kRadix points (exp(-2 pi i jk / r), +i for the inverse),
// outputs in natural order.
template <int kRadix, bool kInverse>
inline void SmallDft(double* re, double* im) {
  if constexpr (kRadix == 2) {
    const double r = re[0], i = im[0];
    re[0] = r + re[1];
    im[0] = i + im[1];
    re[1] = r - re[1];
    im[1] = i - im[1];
  } else {
    const double t0r = re[0] + re[2], t0i = im[0] + im[2], t1r = re[0] - re[2], t1i = im[0] - im[2];
    const double t2r = re[1] + re[3], t2i = im[1] + im[3];
    // (b - d) times -i, or +i for the inverse.
    const double dr = re[1] - re[3], di = im[1] - im[3];
    const double t3r = kInverse ? -di : di, t3i = kInverse ? dr : -dr;
    re[0] = t0r + t2r;
    im[0] = t0i + t2i;
    re[1] = t1r + t3r;
    im[1] = t1i + t3i;
    re[2] = t0r - t2r;
    im[2] = t0i - t2i;
    re[3] = t1r - t3r;
    im[3] = t1i - t3i;
  }
}

// One butterfly of a pass: kRadix inputs `inStep` elements apart, their DFT
// times the twiddles w^(kp) (conjugated for the inverse), written `outStep`
// elements apart. Element i sits at index i * kStride of its arrays: 1 for
// split arrays, 2 for interleaved pairs. Interleaved output is the end of the
// inverse transform and takes the scale.
template <int kRadix, bool kInverse, int kInStride, int kOutStride>
inline void Butterfly(const double* xr, const double* xi, size_t in, size_t inStep, double* yr, double* yi,
                      size_t out, size_t outStep, const double* twiddles, size_t twiddleStride, double scale) {
  double re[kRadix], im[kRadix];
  for (int j = 0; j < kRadix; ++j) {
    re[j] = xr[(in + j * inStep) * kInStride];
    im[j] = xi[(in + j * inStep) * kInStride];
  }
  SmallDft<kRadix, kInverse>(re, im);
  for (int k = 1; k < kRadix; ++k) {
    const double wr = twiddles[(2 * k - 2) * twiddleStride], wi = twiddles[(2 * k - 1) * twiddleStride];
    const double r = re[k];
    re[k] = kInverse ? r * wr + im[k] * wi : r * wr - im[k] * wi;
    im[k] = kInverse ? im[k] * wr - r * wi : im[k] * wr + r * wi;
  }
  for (int k = 0; k < kRadix; ++k) {
    const size_t at = (out + k * outStep) * kOutStride;
    yr[at] = kOutStride == 2 ? re[k] * scale : re[k];
    yi[at] = kOutStride == 2 ? im[k] * scale : im[k];
  }
}

// One Stockham pass of length n, radix r and stride s:
//   y[q + s(rp + k)] = w^(kp) * sum over j of x[q + s(p + jn/r)] exp(-+2 pi i jk / r)
// for p below n/r and q below s. The first pass (s = 1) loops along p, the
// others along q, so that the inner loop reads consecutive elements; kStride,
// when not 0, fixes s at compile time so that a short loop along q unrolls.
template <int kRadix, bool kInverse, int kInStride, int kOutStride, size_t kStride>
void Pass(const double* xr, const double* xi, double* yr, double* yi, size_t n, size_t runtimeStride,
          const double* twiddles, double scale) {
  const size_t columns = n / kRadix, s = kStride != 0 ? kStride : runtimeStride;
  if (s == 1) {
    CORVANE_INDEPENDENT_ITERATIONS
    for (size_t p = 0; p < columns; ++p) {
      Butterfly<kRadix, kInverse, kInStride, kOutStride>(xr, xi, p, columns, yr, yi, kRadix * p, 1, twiddles + p,
                                                         columns, scale);
    }
    return;
  }
  for (size_t p = 0; p < columns; ++p) {
    double w[2 * kRadix - 2];
    for (int k = 0; k < 2 * kRadix - 2; ++k) w[k] = twiddles[k * columns + p];
    const size_t in = s * p, out = s * kRadix * p;
    CORVANE_INDEPENDENT_ITERATIONS
    for (size_t q = 0; q < s; ++q) {
      Butterfly<kRadix, kInverse, kInStride, kOutStride>(xr, xi, in + q, s * columns, yr, yi, out + q, s, w, 1,
                                                         scale);
    }
  }
}

template <bool kInverse, int kInStride, int kOutStride>
void RunPass(const double* xr, const double* xi, double* yr, double* yi, size_t n, size_t s, const double* twiddles,
             double scale = 1.0) {
  if (PassRadix(n) == 2) {
    Pass<2, kInverse, kInStride, kOutStride, 0>(xr, xi, yr, yi, n, s, twiddles, scale);
  } else if (s == 4) {
    Pass<4, kInverse, kInStride, kOutStride, 4>(xr, xi, yr, yi, n, s, twiddles, scale);
  } else {
    Pass<4, kInverse, kInStride, kOutStride, 0>(xr, xi, yr, yi, n, s, twiddles, scale);
  }
}

// The passes of one transform, walked in order: length still to transform,
// stride and twiddles of the current pass.
struct PassCursor {
  size_t n;
  size_t s;
  const double* twiddles;
  void Next() {
    const size_t radix = PassRadix(n);
    twiddles += 2 * (radix - 1) * (n / radix);
    n /= radix;
    s *= radix;
  }
};

// The radix-4 passes of the unscaled forward complex transform of the m
// pairs of `src` into `result`, with `other` as the second buffer; at least
// one. A closing radix-2 pass, when m needs one, is left to the join.
void ForwardRadix4Passes(const double* src, Split result, Split other, size_t m, const double* twiddles) {
  int passes = 0;
  for (size_t n = m; n >= 4; n /= 4) ++passes;
  // Pass i (from 1) writes buffer (passes - i) % 2, so the last writes `result`.
  const Split buffers[2] = {result, other};
  PassCursor pass{m, 1, twiddles};
  Split out = buffers[(passes - 1) % 2];
  RunPass<false, 2, 1>(src, src + 1, out.re, out.im, pass.n, pass.s, pass.twiddles);
  for (int i = 2; i <= passes; ++i) {
    pass.Next();
    const Split in = out;
    out = buffers[(passes - i) % 2];
    RunPass<false, 1, 1>(in.re, in.im, out.re, out.im, pass.n, pass.s, pass.twiddles);
  }
}

// The buffer that the inverse transform starts from, so that its passes
// alternate into `work` for the last one.
Split InverseStart(Split work, Split other, size_t m) { return PassCount(m) % 2 == 1 ? work : other; }

// Inverse complex transform of `start` (see InverseStart) into the m pairs of
// `dst`, scaled.
void InverseComplex(Split start, Split work, Split other, double* dst, size_t m, const double* twiddles,
                    double scale) {
  const int passes = PassCount(m);
  const Split buffers[2] = {work, other};
  PassCursor pass{m, 1, twiddles};
  Split in = start;
  for (int i = 1; i < passes; ++i, pass.Next()) {
    const Split out = buffers[(passes - 1 - i) % 2];
    RunPass<true, 1, 1>(in.re, in.im, out.re, out.im, pass.n, pass.s, pass.twiddles);
    in = out;
  }
  RunPass<true, 1, 2>(in.re, in.im, dst, dst + 1, pass.n, pass.s, pass.twiddles, scale);
}

// From Z, the transform of z[n] = x[2n] + i x[2n+1], to the bins 0 to M of x:
// with E = (Z[k] + conj Z[M-k]) / 2 and O = (Z[k] - conj Z[M-k]) / 2i, the
// spectra of the even and the odd samples, X[k] = E + W^k O and
// X[M-k] = conj(E - W^k O), W = exp(-2 pi i / N). `half` is the scale / 2.
inline void JoinBins(double zkr, double zki, double zmr, double zmi, size_t k, size_t m, const double* wr,
                     const double* wi, double half, double* dst) {
  const double er = zkr + zmr, ei = zki - zmi, or_ = zki + zmi, oi = zmr - zkr;  // 2E and 2O
  const double wor = wr[k] * or_ - wi[k] * oi, woi = wr[k] * oi + wi[k] * or_;
  dst[2 * k] = (er + wor) * half;
  dst[2 * k + 1] = (ei + woi) * half;
  dst[2 * (m - k)] = (er - wor) * half;
  dst[2 * (m - k) + 1] = (woi - ei) * half;
}

// Bins 0 and M, which are real.
void JoinOuterBins(double z0r, double z0i, double* dst, size_t m, double scale) {
  dst[0] = (z0r + z0i) * scale;
  dst[1] = 0;
  dst[2 * m] = (z0r - z0i) * scale;
  dst[2 * m + 1] = 0;
}

// The join of a complex transform that ended with a radix-4 pass.
void JoinHalves(Split z, double* dst, size_t m, const double* wr, const double* wi, double scale) {
  JoinOuterBins(z.re[0], z.im[0], dst, m, scale);
  CORVANE_INDEPENDENT_ITERATIONS
  for (size_t k = 1; k <= m / 2; ++k) {
    JoinBins(z.re[k], z.im[k], z.re[m - k], z.im[m - k], k, m, wr, wi, scale / 2, dst);
  }
}

// The join with the closing radix-2 pass of the complex transform folded
// in: y holds the halves whose sum and difference are Z,
// Z[k] = y[k] + y[k + M/2] and Z[k + M/2] = y[k] - y[k + M/2]. Element i of y
// sits at index i * kStride.
template <int kStride>
void JoinHalvesOfLastPass(const double* yr, const double* yi, double* dst, size_t m, const double* wr,
                          const double* wi, double scale) {
  const size_t h = m / 2;
  auto re = [yr](size_t i) { return yr[i * kStride]; };
  auto im = [yi](size_t i) { return yi[i * kStride]; };
  JoinOuterBins(re(0) + re(h), im(0) + im(h), dst, m, scale);
  CORVANE_INDEPENDENT_ITERATIONS
  for (size_t k = 1; k < h; ++k) {
    JoinBins(re(k) + re(k + h), im(k) + im(k + h), re(h - k) - re(m - k), im(h - k) - im(m - k), k, m, wr, wi,
             scale / 2, dst);
  }
  const double middleR = re(0) - re(h), middleI = im(0) - im(h);
  JoinBins(middleR, middleI, middleR, middleI, h, m, wr, wi, scale / 2, dst);
}

// The inverse of JoinHalves without its 1/2: Z[k] = (X[k] + conj X[M-k]) +
// i (X[k] - conj X[M-k]) conj(W^k), whose unscaled inverse transform is N z.
// The imaginary parts of bins 0 and M are not read.
void SplitHalves(const double* src, Split z, size_t m, const double* wr, const double* wi) {
  z.re[0] = src[0] + src[2 * m];
  z.im[0] = src[0] - src[2 * m];
  CORVANE_INDEPENDENT_ITERATIONS
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
      made->passTwiddles = MakePassTwiddles(n / 2);
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
  const double* wr = spec->splitTwiddles.data();
  const double* wi = wr + m / 2 + 1;
  if (m == 2) {
    JoinHalvesOfLastPass<2>(src, src + 1, dst, m, wr, wi, scale);
    return PrimStsNoErr;
  }
  const WorkBuffer work(buffer, n);
  if (work.data() == nullptr) return PrimStsMemAllocErr;
  // The join writes dst, so the complex result goes to the work buffer.
  const Split z{work.data(), work.data() + m};
  ForwardRadix4Passes(src, z, Split{dst, dst + m}, m, spec->passTwiddles.data());
  if (std::countr_zero(m) % 2 == 1) {
    JoinHalvesOfLastPass<1>(z.re, z.im, dst, m, wr, wi, scale);
  } else {
    JoinHalves(z, dst, m, wr, wi, scale);
  }
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
  const Split inWork{work.data(), work.data() + m}, inDst{dst, dst + m};
  const Split start = InverseStart(inWork, inDst, m);
  const double* wr = spec->splitTwiddles.data();
  SplitHalves(src, start, m, wr, wr + m / 2 + 1);
  InverseComplex(start, inWork, inDst, dst, m, spec->passTwiddles.data(), scale);
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
