// The passes and joins of the real FFT (see fft.cpp), in an anonymous
// namespace: each file that includes this one compiles its own copy for its
// own instruction set, and the copies share nothing at link time. Only
// element-wise double arithmetic, no reordering, so every copy gives the same
// doubles as the portable one as long as no file contracts a product and a
// sum into a fused multiply-add (no slot's flags allow it).
#pragma once

#include <cstddef>
#include <cstring>

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

// The butterflies of a pass run on lanes of type V: one double, or a vector
// of doubles (GCC's vector extension) when a variant runs the butterflies of
// consecutive q at once; a lane's arithmetic is the same either way.
template <typename V>
constexpr int kLaneCount = sizeof(V) / sizeof(double);

// The lanes from p, p + kStride, ...
template <typename V, int kStride>
inline V LoadLanes(const double* p) {
  V v;
  if constexpr (kStride == 1) {
    std::memcpy(&v, p, sizeof v);
  } else {
    for (int l = 0; l < kLaneCount<V>; ++l) v[l] = p[l * kStride];
  }
  return v;
}

template <>
inline double LoadLanes<double, 2>(const double* p) {
  return *p;
}

template <typename V, int kStride>
inline void StoreLanes(double* p, V v) {
  if constexpr (kStride == 1) {
    std::memcpy(p, &v, sizeof v);
  } else {
    for (int l = 0; l < kLaneCount<V>; ++l) p[l * kStride] = v[l];
  }
}

template <>
inline void StoreLanes<double, 2>(double* p, double v) {
  *p = v;
}

// In-place DFT of kRadix points (exp(-2 pi i jk / r), +i for the inverse),
// outputs in natural order.
template <int kRadix, bool kInverse, typename V>
inline void SmallDft(V* re, V* im) {
  if constexpr (kRadix == 2) {
    const V r = re[0], i = im[0];
    re[0] = r + re[1];
    im[0] = i + im[1];
    re[1] = r - re[1];
    im[1] = i - im[1];
  } else {
    const V t0r = re[0] + re[2], t0i = im[0] + im[2], t1r = re[0] - re[2], t1i = im[0] - im[2];
    const V t2r = re[1] + re[3], t2i = im[1] + im[3];
    // (b - d) times -i, or +i for the inverse.
    const V dr = re[1] - re[3], di = im[1] - im[3];
    const V t3r = kInverse ? -di : di, t3i = kInverse ? dr : -dr;
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
// inverse transform and takes the scale. With vector lanes, the butterflies
// of elements in, in + 1, ... (out, out + 1, ...) share their twiddles.
template <typename V, int kRadix, bool kInverse, int kInStride, int kOutStride>
inline void Butterfly(const double* xr, const double* xi, size_t in, size_t inStep, double* yr, double* yi,
                      size_t out, size_t outStep, const double* twiddles, size_t twiddleStride, double scale) {
  V re[kRadix], im[kRadix];
  for (int j = 0; j < kRadix; ++j) {
    re[j] = LoadLanes<V, kInStride>(xr + (in + j * inStep) * kInStride);
    im[j] = LoadLanes<V, kInStride>(xi + (in + j * inStep) * kInStride);
  }
  SmallDft<kRadix, kInverse>(re, im);
  for (int k = 1; k < kRadix; ++k) {
    const double wr = twiddles[(2 * k - 2) * twiddleStride], wi = twiddles[(2 * k - 1) * twiddleStride];
    const V r = re[k];
    re[k] = kInverse ? r * wr + im[k] * wi : r * wr - im[k] * wi;
    im[k] = kInverse ? im[k] * wr - r * wi : im[k] * wr + r * wi;
  }
  for (int k = 0; k < kRadix; ++k) {
    const size_t at = (out + k * outStep) * kOutStride;
    StoreLanes<V, kOutStride>(yr + at, kOutStride == 2 ? re[k] * scale : re[k]);
    StoreLanes<V, kOutStride>(yi + at, kOutStride == 2 ? im[k] * scale : im[k]);
  }
}

// One Stockham pass of length n, radix r and stride s:
//   y[q + s(rp + k)] = w^(kp) * sum over j of x[q + s(p + jn/r)] exp(-+2 pi i jk / r)
// for p below n/r and q below s. The first pass (s = 1) loops along p, the
// others along q, so that the inner loop reads consecutive elements; kStride,
// when not 0, fixes s at compile time so that a short loop along q unrolls.
template <typename V, int kRadix, bool kInverse, int kInStride, int kOutStride, size_t kStride>
void Pass(const double* xr, const double* xi, double* yr, double* yi, size_t n, size_t runtimeStride,
          const double* twiddles, double scale) {
  const size_t columns = n / kRadix, s = kStride != 0 ? kStride : runtimeStride;
  if (s == 1) {
    CORVANE_INDEPENDENT_ITERATIONS
    for (size_t p = 0; p < columns; ++p) {
      Butterfly<double, kRadix, kInverse, kInStride, kOutStride>(xr, xi, p, columns, yr, yi, kRadix * p, 1,
                                                                 twiddles + p,
                                                         columns, scale);
    }
    return;
  }
  for (size_t p = 0; p < columns; ++p) {
    double w[2 * kRadix - 2];
    for (int k = 0; k < 2 * kRadix - 2; ++k) w[k] = twiddles[k * columns + p];
    const size_t in = s * p, out = s * kRadix * p;
    if (s % kLaneCount<V> == 0) {
      for (size_t q = 0; q < s; q += kLaneCount<V>) {
        Butterfly<V, kRadix, kInverse, kInStride, kOutStride>(xr, xi, in + q, s * columns, yr, yi, out + q, s, w, 1,
                                                              scale);
      }
      continue;
    }
    CORVANE_INDEPENDENT_ITERATIONS
    for (size_t q = 0; q < s; ++q) {
      Butterfly<double, kRadix, kInverse, kInStride, kOutStride>(xr, xi, in + q, s * columns, yr, yi, out + q, s, w,
                                                                 1, scale);
    }
  }
}

template <typename V, bool kInverse, int kInStride, int kOutStride>
void RunPass(const double* xr, const double* xi, double* yr, double* yi, size_t n, size_t s, const double* twiddles,
             double scale = 1.0) {
  if (PassRadix(n) == 2) {
    Pass<V, 2, kInverse, kInStride, kOutStride, 0>(xr, xi, yr, yi, n, s, twiddles, scale);
  } else if (s == 4) {
    Pass<V, 4, kInverse, kInStride, kOutStride, 4>(xr, xi, yr, yi, n, s, twiddles, scale);
  } else {
    Pass<V, 4, kInverse, kInStride, kOutStride, 0>(xr, xi, yr, yi, n, s, twiddles, scale);
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
template <typename V>
void ForwardRadix4Passes(const double* src, Split result, Split other, size_t m, const double* twiddles) {
  int passes = 0;
  for (size_t n = m; n >= 4; n /= 4) ++passes;
  // Pass i (from 1) writes buffer (passes - i) % 2, so the last writes `result`.
  const Split buffers[2] = {result, other};
  PassCursor pass{m, 1, twiddles};
  Split out = buffers[(passes - 1) % 2];
  RunPass<V, false, 2, 1>(src, src + 1, out.re, out.im, pass.n, pass.s, pass.twiddles);
  for (int i = 2; i <= passes; ++i) {
    pass.Next();
    const Split in = out;
    out = buffers[(passes - i) % 2];
    RunPass<V, false, 1, 1>(in.re, in.im, out.re, out.im, pass.n, pass.s, pass.twiddles);
  }
}

// The buffer that the inverse transform starts from, so that its passes
// alternate into `work` for the last one.
Split InverseStart(Split work, Split other, size_t m) { return PassCount(m) % 2 == 1 ? work : other; }

// Inverse complex transform of `start` (see InverseStart) into the m pairs of
// `dst`, scaled.
template <typename V>
void InverseComplex(Split start, Split work, Split other, double* dst, size_t m, const double* twiddles,
                    double scale) {
  const int passes = PassCount(m);
  const Split buffers[2] = {work, other};
  PassCursor pass{m, 1, twiddles};
  Split in = start;
  for (int i = 1; i < passes; ++i, pass.Next()) {
    const Split out = buffers[(passes - 1 - i) % 2];
    RunPass<V, true, 1, 1>(in.re, in.im, out.re, out.im, pass.n, pass.s, pass.twiddles);
    in = out;
  }
  RunPass<V, true, 1, 2>(in.re, in.im, dst, dst + 1, pass.n, pass.s, pass.twiddles, scale);
}

// The joins and splits below pair bin k with bin M - k: with vector lanes,
// bins k, k + 1, ... meet bins M - k, M - k - 1, ..., whose lanes they load and
// store reversed. Each bin's arithmetic is the same for every lane type.

// The lanes in reverse order.
template <typename V>
inline V Reversed(V v) {
  if constexpr (kLaneCount<V> == 1) {
    return v;
  } else {
    static_assert(kLaneCount<V> == 4);
    return __builtin_shufflevector(v, v, 3, 2, 1, 0);
  }
}

// The lanes of elements i, i - 1, ...: element j at index j * kStride.
template <typename V, int kStride>
inline V LoadLanesDown(const double* array, size_t i) {
  return Reversed(LoadLanes<V, kStride>(array + (i + 1 - kLaneCount<V>) * kStride));
}

// Complex numbers as interleaved pairs: re[0], im[0], re[1], im[1], ...
template <typename V>
inline void StorePairs(double* p, V re, V im) {
  if constexpr (kLaneCount<V> == 1) {
    p[0] = re;
    p[1] = im;
  } else {
    const V low = __builtin_shufflevector(re, im, 0, 4, 1, 5), high = __builtin_shufflevector(re, im, 2, 6, 3, 7);
    std::memcpy(p, &low, sizeof low);
    std::memcpy(p + 4, &high, sizeof high);
  }
}

template <typename V>
inline void LoadPairs(const double* p, V& re, V& im) {
  if constexpr (kLaneCount<V> == 1) {
    re = p[0];
    im = p[1];
  } else {
    V low, high;
    std::memcpy(&low, p, sizeof low);
    std::memcpy(&high, p + 4, sizeof high);
    re = __builtin_shufflevector(low, high, 0, 2, 4, 6);
    im = __builtin_shufflevector(low, high, 1, 3, 5, 7);
  }
}

// Runs step.template operator()<V>(k) on k, k + lanes, ... from `begin` while
// all lanes stay below `end`, then one bin at a time up to `end`.
template <typename V, typename Step>
inline void ForEachBin(size_t begin, size_t end, Step step) {
  size_t k = begin;
  for (; k + kLaneCount<V> <= end; k += kLaneCount<V>) step.template operator()<V>(k);
  CORVANE_INDEPENDENT_ITERATIONS
  for (; k < end; ++k) step.template operator()<double>(k);
}

// From Z, the transform of z[n] = x[2n] + i x[2n+1], to the bins 0 to M of x:
// with E = (Z[k] + conj Z[M-k]) / 2 and O = (Z[k] - conj Z[M-k]) / 2i, the
// spectra of the even and the odd samples, X[k] = E + W^k O and
// X[M-k] = conj(E - W^k O), W = exp(-2 pi i / N). `half` is the scale / 2.
// Z[M-k] comes in the lanes of k (the lanes of M - k, reversed).
template <typename V>
inline void JoinBins(V zkr, V zki, V zmr, V zmi, size_t k, size_t m, const double* wr, const double* wi,
                     double half, double* dst) {
  const V wkr = LoadLanes<V, 1>(wr + k), wki = LoadLanes<V, 1>(wi + k);
  const V er = zkr + zmr, ei = zki - zmi, or_ = zki + zmi, oi = zmr - zkr;  // 2E and 2O
  const V wor = wkr * or_ - wki * oi, woi = wkr * oi + wki * or_;
  StorePairs<V>(dst + 2 * k, (er + wor) * half, (ei + woi) * half);
  StorePairs<V>(dst + 2 * (m + 1 - k - kLaneCount<V>), Reversed((er - wor) * half), Reversed((woi - ei) * half));
}

// Bins 0 and M, which are real.
void JoinOuterBins(double z0r, double z0i, double* dst, size_t m, double scale) {
  dst[0] = (z0r + z0i) * scale;
  dst[1] = 0;
  dst[2 * m] = (z0r - z0i) * scale;
  dst[2 * m + 1] = 0;
}

// The join of a complex transform that ended with a radix-4 pass. Bin M/2
// meets itself, so it is left out of the lanes.
template <typename V>
void JoinHalves(Split z, double* dst, size_t m, const double* wr, const double* wi, double scale) {
  JoinOuterBins(z.re[0], z.im[0], dst, m, scale);
  ForEachBin<V>(1, m / 2, [&]<typename W>(size_t k) {
    JoinBins<W>(LoadLanes<W, 1>(z.re + k), LoadLanes<W, 1>(z.im + k), LoadLanesDown<W, 1>(z.re, m - k),
                LoadLanesDown<W, 1>(z.im, m - k), k, m, wr, wi, scale / 2, dst);
  });
  JoinBins<double>(z.re[m / 2], z.im[m / 2], z.re[m / 2], z.im[m / 2], m / 2, m, wr, wi, scale / 2, dst);
}

// The join with the closing radix-2 pass of the complex transform folded
// in: y holds the halves whose sum and difference are Z,
// Z[k] = y[k] + y[k + M/2] and Z[k + M/2] = y[k] - y[k + M/2]. Element i of y
// sits at index i * kStride.
template <typename V, int kStride>
void JoinHalvesOfLastPass(const double* yr, const double* yi, double* dst, size_t m, const double* wr,
                          const double* wi, double scale) {
  const size_t h = m / 2;
  auto re = [yr](size_t i) { return yr[i * kStride]; };
  auto im = [yi](size_t i) { return yi[i * kStride]; };
  JoinOuterBins(re(0) + re(h), im(0) + im(h), dst, m, scale);
  ForEachBin<V>(1, h, [&]<typename W>(size_t k) {
    const W zkr = LoadLanes<W, kStride>(yr + k * kStride) + LoadLanes<W, kStride>(yr + (k + h) * kStride);
    const W zki = LoadLanes<W, kStride>(yi + k * kStride) + LoadLanes<W, kStride>(yi + (k + h) * kStride);
    const W zmr = LoadLanesDown<W, kStride>(yr, h - k) - LoadLanesDown<W, kStride>(yr, m - k);
    const W zmi = LoadLanesDown<W, kStride>(yi, h - k) - LoadLanesDown<W, kStride>(yi, m - k);
    JoinBins<W>(zkr, zki, zmr, zmi, k, m, wr, wi, scale / 2, dst);
  });
  const double middleR = re(0) - re(h), middleI = im(0) - im(h);
  JoinBins<double>(middleR, middleI, middleR, middleI, h, m, wr, wi, scale / 2, dst);
}

// The inverse of JoinHalves without its 1/2: Z[k] = (X[k] + conj X[M-k]) +
// i (X[k] - conj X[M-k]) conj(W^k), whose unscaled inverse transform is N z.
// The imaginary parts of bins 0 and M are not read.
template <typename V>
inline void SplitBins(const double* src, Split z, size_t k, size_t m, const double* wr, const double* wi) {
  V p, q, r, s;
  LoadPairs<V>(src + 2 * k, p, q);
  LoadPairs<V>(src + 2 * (m + 1 - k - kLaneCount<V>), r, s);
  r = Reversed(r);
  s = Reversed(s);
  const V wkr = LoadLanes<V, 1>(wr + k), wki = LoadLanes<V, 1>(wi + k);
  const V sr = p + r, si = q - s, dr = p - r, di = q + s;
  const V tr = dr * wkr + di * wki, ti = di * wkr - dr * wki;
  const size_t down = m + 1 - k - kLaneCount<V>;
  StoreLanes<V, 1>(z.re + k, sr - ti);
  StoreLanes<V, 1>(z.im + k, si + tr);
  StoreLanes<V, 1>(z.re + down, Reversed(sr + ti));
  StoreLanes<V, 1>(z.im + down, Reversed(tr - si));
}

// Bin M/2 meets itself, so it is left out of the lanes.
template <typename V>
void SplitHalves(const double* src, Split z, size_t m, const double* wr, const double* wi) {
  z.re[0] = src[0] + src[2 * m];
  z.im[0] = src[0] - src[2 * m];
  ForEachBin<V>(1, m / 2, [&]<typename W>(size_t k) { SplitBins<W>(src, z, k, m, wr, wi); });
  SplitBins<double>(src, z, m / 2, m, wr, wi);
}

// The forward transform of N = 2m >= 4 reals into the packed spectrum.
// `work` holds N doubles (unused when m is 2). `splitTwiddles` is
// exp(-2 pi i k / N) for k from 0 to m/2, real parts then imaginary parts.
template <typename V>
void ForwardTransform(const double* src, double* dst, double* work, size_t m, const double* passTwiddles,
                      const double* splitTwiddles, double scale) {
  const double* wr = splitTwiddles;
  const double* wi = wr + m / 2 + 1;
  if (m == 2) {
    JoinHalvesOfLastPass<V, 2>(src, src + 1, dst, m, wr, wi, scale);
    return;
  }
  // The join writes dst, so the complex result goes to the work buffer.
  const Split z{work, work + m};
  ForwardRadix4Passes<V>(src, z, Split{dst, dst + m}, m, passTwiddles);
  const bool oddPowerOfTwo = (m & 0xAAAAAAAAAAAAAAAAull) != 0;
  if (oddPowerOfTwo) {
    JoinHalvesOfLastPass<V, 1>(z.re, z.im, dst, m, wr, wi, scale);
  } else {
    JoinHalves<V>(z, dst, m, wr, wi, scale);
  }
}

// The inverse transform of a packed spectrum into N = 2m >= 4 reals; `work`
// holds N doubles.
template <typename V>
void InverseTransform(const double* src, double* dst, double* work, size_t m, const double* passTwiddles,
                      const double* splitTwiddles, double scale) {
  const Split inWork{work, work + m}, inDst{dst, dst + m};
  const Split start = InverseStart(inWork, inDst, m);
  SplitHalves<V>(src, start, m, splitTwiddles, splitTwiddles + m / 2 + 1);
  InverseComplex<V>(start, inWork, inDst, dst, m, passTwiddles, scale);
}

}  // namespace
