// The passes and joins of the real FFT (see fft.cpp), in an anonymous
// namespace: each file that includes this one compiles its own copy for its
// own instruction set, and the copies share nothing at link time. Only
// element-wise double arithmetic, no reordering, so every copy gives the same
// doubles as the portable one as long as no file contracts a product and a
// sum into a fused multiply-add (no slot's flags allow it).
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <immintrin.h>

#include "primitives/fft_variants.h"

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

// The radix of the pass of a transform of m points that meets n points still
// to transform: a radix-4 pass first, then radix-4 and radix-2 passes in
// turn, which run two to a sweep over memory (FusedPasses). When the bits
// after the first pass leave 2 over, a radix-4 pass closes; when they leave
// 1, a radix-2 pass. The forward transform leaves a closing pass to its join
// (ClosingRadix).
size_t PassRadix(size_t m, size_t n) {
  if (n < 4) return 2;
  if (n == m) return 4;
  const int done = std::countr_zero(m) - std::countr_zero(n) - 2;
  return done % 3 == 0 ? 4 : 2;
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

// The lanes to p, p + 1, ...
template <typename V>
inline void StoreLanes(double* p, V v) {
  std::memcpy(p, &v, sizeof v);
}

// The shuffles of four-lane vectors, written as AVX instructions: without
// AVX2, GCC lowers its generic two-vector shuffles to moves through scalars.
// Only the AVX variant instantiates them.
template <typename V>
inline V Reversed(V v) {
  if constexpr (kLaneCount<V> == 1) {
    return v;
  } else {
    static_assert(kLaneCount<V> == 4);
    return _mm256_permute_pd(_mm256_permute2f128_pd(v, v, 1), 0x5);
  }
}

// Row l of the result is lane l of v[0], v[1], v[2], v[3].
template <typename V>
inline void Transpose(V* v) {
  const V even01 = _mm256_unpacklo_pd(v[0], v[1]), odd01 = _mm256_unpackhi_pd(v[0], v[1]);
  const V even23 = _mm256_unpacklo_pd(v[2], v[3]), odd23 = _mm256_unpackhi_pd(v[2], v[3]);
  v[0] = _mm256_permute2f128_pd(even01, even23, 0x20);
  v[1] = _mm256_permute2f128_pd(odd01, odd23, 0x20);
  v[2] = _mm256_permute2f128_pd(even01, even23, 0x31);
  v[3] = _mm256_permute2f128_pd(odd01, odd23, 0x31);
}

// Complex numbers as interleaved pairs: re[0], im[0], re[1], im[1], ...; with
// kReversed, the lanes' pairs in reverse order. Four lanes move as 128-bit
// pairs: these never straddle a cache line of a 16-byte aligned array, and
// they need no shuffle across the vector's halves.
template <typename V, bool kReversed = false>
inline void StorePairs(double* p, V re, V im) {
  if constexpr (kLaneCount<V> == 1) {
    p[0] = re;
    p[1] = im;
  } else {
    static_assert(kLaneCount<V> == 4);
    const V evens = _mm256_unpacklo_pd(re, im), odds = _mm256_unpackhi_pd(re, im);  // pairs 0, 2 and 1, 3
    const __m128d pairs[4] = {_mm256_castpd256_pd128(evens), _mm256_castpd256_pd128(odds),
                              _mm256_extractf128_pd(evens, 1), _mm256_extractf128_pd(odds, 1)};
    for (int i = 0; i < 4; ++i) _mm_storeu_pd(p + 2 * (kReversed ? 3 - i : i), pairs[i]);
  }
}

template <typename V, bool kReversed = false>
inline void LoadPairs(const double* p, V& re, V& im) {
  if constexpr (kLaneCount<V> == 1) {
    re = p[0];
    im = p[1];
  } else {
    static_assert(kLaneCount<V> == 4);
    auto pair = [p](int i) { return _mm_loadu_pd(p + 2 * (kReversed ? 3 - i : i)); };
    const V evens = _mm256_insertf128_pd(_mm256_castpd128_pd256(pair(0)), pair(2), 1);
    const V odds = _mm256_insertf128_pd(_mm256_castpd128_pd256(pair(1)), pair(3), 1);
    re = _mm256_unpacklo_pd(evens, odds);
    im = _mm256_unpackhi_pd(evens, odds);
  }
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

// The DFT of kRadix elements in place, times the twiddles w^(kp) (conjugated
// for the inverse), the real part of w^(kp) at twiddles[(2k - 2) * stride] and
// the imaginary part at twiddles[(2k - 1) * stride]: one twiddle for all lanes
// (W = double), or consecutive twiddles for consecutive lanes (W = V).
template <int kRadix, bool kInverse, typename V, typename W = double>
inline void TwiddledDft(V* re, V* im, const double* twiddles, size_t twiddleStride) {
  SmallDft<kRadix, kInverse>(re, im);
  for (int k = 1; k < kRadix; ++k) {
    const W wr = LoadLanes<W, 1>(twiddles + (2 * k - 2) * twiddleStride);
    const W wi = LoadLanes<W, 1>(twiddles + (2 * k - 1) * twiddleStride);
    const V r = re[k];
    re[k] = kInverse ? r * wr + im[k] * wi : r * wr - im[k] * wi;
    im[k] = kInverse ? im[k] * wr - r * wi : im[k] * wr + r * wi;
  }
}

// kRadix elements `step` elements apart from `at`; element i sits at index
// i * kStride of its arrays: 1 for split arrays, 2 for interleaved pairs
// (xi = xr + 1).
template <typename V, int kRadix, int kStride>
inline void LoadElements(const double* xr, const double* xi, size_t at, size_t step, V* re, V* im) {
  for (int j = 0; j < kRadix; ++j) {
    if constexpr (kStride == 2) {
      LoadPairs<V>(xr + (at + j * step) * 2, re[j], im[j]);
    } else {
      re[j] = LoadLanes<V, 1>(xr + at + j * step);
      im[j] = LoadLanes<V, 1>(xi + at + j * step);
    }
  }
}

// The counterpart of LoadElements; interleaved output is the end of the
// inverse transform and takes the scale.
template <typename V, int kRadix, int kStride>
inline void StoreElements(const V* re, const V* im, double* yr, double* yi, size_t at, size_t step, double scale) {
  for (int k = 0; k < kRadix; ++k) {
    if constexpr (kStride == 2) {
      StorePairs<V>(yr + (at + k * step) * 2, re[k] * scale, im[k] * scale);
    } else {
      StoreLanes<V>(yr + at + k * step, re[k]);
      StoreLanes<V>(yi + at + k * step, im[k]);
    }
  }
}

// One butterfly of a pass: kRadix inputs `inStep` elements apart, their
// twiddled DFT written `outStep` elements apart. With vector lanes, the
// butterflies of elements in, in + 1, ... (out, out + 1, ...) share their
// twiddles.
template <typename V, int kRadix, bool kInverse, int kInStride, int kOutStride>
inline void Butterfly(const double* xr, const double* xi, size_t in, size_t inStep, double* yr, double* yi,
                      size_t out, size_t outStep, const double* twiddles, size_t twiddleStride, double scale) {
  V re[kRadix], im[kRadix];
  LoadElements<V, kRadix, kInStride>(xr, xi, in, inStep, re, im);
  TwiddledDft<kRadix, kInverse>(re, im, twiddles, twiddleStride);
  StoreElements<V, kRadix, kOutStride>(re, im, yr, yi, out, outStep, scale);
}

// Stores the lanes of kRadix vectors transposed: lane l of v[k] to y[kRadix l + k].
template <typename V, int kRadix>
inline void StoreTransposed(double* y, const V* v) {
  if constexpr (kLaneCount<V> == 1) {
    for (int k = 0; k < kRadix; ++k) y[k] = v[k];
  } else if constexpr (kRadix == 2) {
    StorePairs<V>(y, v[0], v[1]);
  } else {
    static_assert(kRadix == 4);
    V rows[4] = {v[0], v[1], v[2], v[3]};
    Transpose(rows);
    StoreLanes<V>(y, rows[0]);
    StoreLanes<V>(y + 4, rows[1]);
    StoreLanes<V>(y + 8, rows[2]);
    StoreLanes<V>(y + 12, rows[3]);
  }
}

// The pass at s = 1, where q is always 0: vector lanes run along p instead,
// the butterflies of p, p + 1, ... reading consecutive elements and twiddles
// and writing one run of kRadix times the lane count elements, transposed.
// Single lanes, and what the vectors leave over, run one p at a time.
template <typename V, int kRadix, bool kInverse, int kInStride, int kOutStride>
void FirstPass(const double* xr, const double* xi, double* yr, double* yi, size_t n, const double* twiddles,
               double scale) {
  const size_t columns = n / kRadix;
  size_t p = 0;
  if constexpr (kOutStride == 1 && kLaneCount<V> > 1) {
    for (; p + kLaneCount<V> <= columns; p += kLaneCount<V>) {
      V re[kRadix], im[kRadix];
      LoadElements<V, kRadix, kInStride>(xr, xi, p, columns, re, im);
      TwiddledDft<kRadix, kInverse, V, V>(re, im, twiddles + p, columns);
      StoreTransposed<V, kRadix>(yr + kRadix * p, re);
      StoreTransposed<V, kRadix>(yi + kRadix * p, im);
    }
  }
  CORVANE_INDEPENDENT_ITERATIONS
  for (; p < columns; ++p) {
    Butterfly<double, kRadix, kInverse, kInStride, kOutStride>(xr, xi, p, columns, yr, yi, kRadix * p, 1,
                                                               twiddles + p, columns, scale);
  }
}

// The interleaved pairs to write one at a time from `pairs` on so that the
// vectors of pairs after them start on a cache line: a caller's array may
// start anywhere, and a vector's pairs stored across two lines cost about
// twice as much as in one.
template <typename V>
size_t PairsBeforeLine(const double* pairs) {
  if constexpr (kLaneCount<V> == 1) {
    return 0;
  } else {
    constexpr size_t kPairBytes = 2 * sizeof(double), kLineBytes = 64;
    const size_t misalignment = reinterpret_cast<uintptr_t>(pairs) % kLineBytes / kPairBytes;
    return (kLineBytes / kPairBytes - misalignment) % (kLineBytes / kPairBytes);
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
    FirstPass<V, kRadix, kInverse, kInStride, kOutStride>(xr, xi, yr, yi, n, twiddles, scale);
    return;
  }
  for (size_t p = 0; p < columns; ++p) {
    double w[2 * kRadix - 2];
    for (int k = 0; k < 2 * kRadix - 2; ++k) w[k] = twiddles[k * columns + p];
    const size_t in = s * p, out = s * kRadix * p;
    auto single = [&](size_t q) {
      Butterfly<double, kRadix, kInverse, kInStride, kOutStride>(xr, xi, in + q, s * columns, yr, yi, out + q, s, w,
                                                                 1, scale);
    };
    if (s % kLaneCount<V> == 0) {
      const size_t lead = kOutStride == 2 ? PairsBeforeLine<V>(yr + 2 * out) : 0;
      size_t q = 0;
      for (; q < lead; ++q) single(q);
      for (; q + kLaneCount<V> <= s; q += kLaneCount<V>) {
        Butterfly<V, kRadix, kInverse, kInStride, kOutStride>(xr, xi, in + q, s * columns, yr, yi, out + q, s, w, 1,
                                                              scale);
      }
      for (; q < s; ++q) single(q);
      continue;
    }
    CORVANE_INDEPENDENT_ITERATIONS
    for (size_t q = 0; q < s; ++q) single(q);
  }
}

// The passes of one transform, walked in order: length still to transform,
// stride and twiddles of the current pass.
struct PassCursor {
  size_t m;
  size_t n;
  size_t s;
  const double* twiddles;
  size_t Radix() const { return PassRadix(m, n); }
  void Next() {
    const size_t radix = Radix();
    twiddles += 2 * (radix - 1) * (n / radix);
    n /= radix;
    s *= radix;
  }
};

template <typename V, bool kInverse, int kInStride, int kOutStride>
void RunPass(const double* xr, const double* xi, double* yr, double* yi, const PassCursor& pass,
             double scale = 1.0) {
  if (pass.Radix() == 2) {
    Pass<V, 2, kInverse, kInStride, kOutStride, 0>(xr, xi, yr, yi, pass.n, pass.s, pass.twiddles, scale);
  } else if (pass.s == 4) {
    Pass<V, 4, kInverse, kInStride, kOutStride, 4>(xr, xi, yr, yi, pass.n, pass.s, pass.twiddles, scale);
  } else {
    Pass<V, 4, kInverse, kInStride, kOutStride, 0>(xr, xi, yr, yi, pass.n, pass.s, pass.twiddles, scale);
  }
}

// A radix-4 pass and the radix-2 pass after it in one sweep over memory: the
// radix-4 pass of length n and stride s, then the radix-2 pass of length n/4
// and stride 4s, whose butterflies take their inputs from the first pass's
// straight from registers. Each butterfly is the one the pass runs alone, so
// the sweep gives the doubles of the two passes. Lanes run along q: s must be
// a multiple of the lane count, which holds for every pass but a transform's
// first (s = 1), run alone. kStride, when not 0, fixes s at compile time, as
// for Pass.
template <typename V, bool kInverse, int kOutStride, size_t kStride = 0>
void FusedPasses(const double* xr, const double* xi, double* yr, double* yi, const PassCursor& first,
                 const PassCursor& second, double scale) {
  const size_t s = kStride != 0 ? kStride : first.s, columns1 = first.n / 4, columns2 = columns1 / 2;
  for (size_t p = 0; p < columns2; ++p) {
    // The first pass's butterflies j run at p + j columns2.
    double w1[2][6], w2[2];
    for (int j = 0; j < 2; ++j) {
      for (int k = 0; k < 6; ++k) w1[j][k] = first.twiddles[k * columns1 + p + j * columns2];
    }
    for (int k = 0; k < 2; ++k) w2[k] = second.twiddles[k * columns2 + p];
    for (size_t q = 0; q < s; q += kLaneCount<V>) {
      // Output k of the first pass's butterfly j is input j of the second's butterfly k.
      V tr[4][2], ti[4][2];
      for (int j = 0; j < 2; ++j) {
        V re[4], im[4];
        LoadElements<V, 4, 1>(xr, xi, q + s * (p + j * columns2), s * columns1, re, im);
        TwiddledDft<4, kInverse>(re, im, w1[j], 1);
        for (int k = 0; k < 4; ++k) {
          tr[k][j] = re[k];
          ti[k][j] = im[k];
        }
      }
      for (int k = 0; k < 4; ++k) {
        TwiddledDft<2, kInverse>(tr[k], ti[k], w2, 1);
        StoreElements<V, 2, kOutStride>(tr[k], ti[k], yr, yi, q + s * k + 8 * s * p, 4 * s, scale);
      }
    }
  }
}

// Whether the pass at `pass` and the next run as one sweep: a radix-4 pass
// but the first, followed by a radix-2 pass before `end` (see ForEachSweep).
bool FusesWithNext(const PassCursor& pass, size_t end) {
  return pass.s > 1 && pass.Radix() == 4 && pass.n / 4 > end && PassRadix(pass.m, pass.n / 4) == 2;
}

// Calls visit(pass, width) for each sweep of the passes from `first` on
// while more than `end` points are left to transform (1, or 2 when the
// closing radix-2 pass is left to the join): width 2 for a fused pair.
template <typename Visit>
void ForEachSweep(PassCursor pass, size_t end, Visit visit) {
  while (pass.n > end) {
    const int width = FusesWithNext(pass, end) ? 2 : 1;
    visit(pass, width);
    for (int i = 0; i < width; ++i) pass.Next();
  }
}

int SweepCount(const PassCursor& first, size_t end) {
  int sweeps = 0;
  ForEachSweep(first, end, [&sweeps](const PassCursor&, int) { ++sweeps; });
  return sweeps;
}

// One sweep of `width` passes from `pass` on, not the transform's first.
template <typename V, bool kInverse, int kOutStride>
void RunSweep(Split in, double* yr, double* yi, const PassCursor& pass, int width, double scale = 1.0) {
  if (width == 1) {
    RunPass<V, kInverse, 1, kOutStride>(in.re, in.im, yr, yi, pass, scale);
    return;
  }
  PassCursor second = pass;
  second.Next();
  if (pass.s == 4) {
    FusedPasses<V, kInverse, kOutStride, 4>(in.re, in.im, yr, yi, pass, second, scale);
  } else {
    FusedPasses<V, kInverse, kOutStride>(in.re, in.im, yr, yi, pass, second, scale);
  }
}

// The radix of the pass that the forward transform leaves to its join: a
// last pass that runs alone and is not the first; 1 when there is none.
size_t ClosingRadix(size_t m) {
  PassCursor last{m, m, 1, nullptr};
  int lastWidth = 1;
  ForEachSweep(last, 1, [&](const PassCursor& pass, int width) {
    last = pass;
    lastWidth = width;
  });
  return lastWidth == 1 && last.s > 1 ? last.n : 1;
}

// The forward complex transform of the m pairs of `src` into `result`, with
// `other` as the second buffer, unscaled; at least one pass. A closing pass
// is left to the join (ClosingRadix).
template <typename V>
void ForwardPasses(const double* src, Split result, Split other, size_t m, const double* twiddles) {
  const PassCursor first{m, m, 1, twiddles};
  const size_t end = ClosingRadix(m);
  const int sweeps = SweepCount(first, end);
  // Sweep i (from 1) writes buffer (sweeps - i) % 2, so the last writes `result`.
  const Split buffers[2] = {result, other};
  int i = 0;
  Split in{};
  ForEachSweep(first, end, [&](const PassCursor& pass, int width) {
    const Split out = buffers[(sweeps - ++i) % 2];
    if (i == 1) {
      RunPass<V, false, 2, 1>(src, src + 1, out.re, out.im, pass);
    } else {
      RunSweep<V, false, 1>(in, out.re, out.im, pass, width);
    }
    in = out;
  });
}

// The joins and splits below pair bin k with bin M - k: with vector lanes,
// bins k, k + 1, ... meet bins M - k, M - k - 1, ..., whose lanes they load and
// store reversed. Each bin's arithmetic is the same for every lane type.

// The lanes of elements i, i - 1, ...: element j at index j * kStride.
template <typename V, int kStride>
inline V LoadLanesDown(const double* array, size_t i) {
  return Reversed(LoadLanes<V, kStride>(array + (i + 1 - kLaneCount<V>) * kStride));
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
  StorePairs<V, true>(dst + 2 * (m + 1 - k - kLaneCount<V>), (er - wor) * half, (woi - ei) * half);
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

// The join with the closing radix-4 pass of the complex transform folded
// in: its butterfly q (q below c = M/4, no twiddles) gives Z[q + ck], k below
// 4, from y[q + cj], and bin q + ck meets bin M - q - ck = (c - q) + c(3 - k),
// an output of butterfly c - q. The two butterflies run together, with
// vector lanes q, q + 1, ... and c - q - lanes + 1, ..., c - q, and their
// outputs meet pairwise; butterflies 0 and c/2 meet themselves.
template <typename V>
void JoinQuartersOfLastPass(Split y, double* dst, size_t m, const double* wr, const double* wi, double scale) {
  const size_t c = m / 4;
  auto butterfly = [&]<typename W>(size_t q, W* re, W* im) {
    LoadElements<W, 4, 1>(y.re, y.im, q, c, re, im);
    SmallDft<4, false>(re, im);
  };
  auto joinPair = [&]<typename W>(size_t q) {
    const size_t partner = c - q - (kLaneCount<W> - 1);
    W ar[4], ai[4], br[4], bi[4];
    butterfly(q, ar, ai);
    butterfly(partner, br, bi);
    for (size_t k = 0; k < 2; ++k) {
      JoinBins<W>(ar[k], ai[k], Reversed(br[3 - k]), Reversed(bi[3 - k]), q + c * k, m, wr, wi, scale / 2, dst);
      JoinBins<W>(br[k], bi[k], Reversed(ar[3 - k]), Reversed(ai[3 - k]), partner + c * k, m, wr, wi, scale / 2,
                  dst);
    }
  };
  double re[4], im[4];
  butterfly(0, re, im);
  JoinOuterBins(re[0], im[0], dst, m, scale);
  JoinBins<double>(re[1], im[1], re[3], im[3], c, m, wr, wi, scale / 2, dst);
  JoinBins<double>(re[2], im[2], re[2], im[2], 2 * c, m, wr, wi, scale / 2, dst);
  size_t q = 1;
  for (const size_t lead = 1 + PairsBeforeLine<V>(dst + 2); q < lead && 2 * q < c; ++q) {
    joinPair.template operator()<double>(q);
  }
  for (; 2 * (q + kLaneCount<V> - 1) < c; q += kLaneCount<V>) joinPair.template operator()<V>(q);
  for (; 2 * q < c; ++q) joinPair.template operator()<double>(q);
  butterfly(c / 2, re, im);
  JoinBins<double>(re[0], im[0], re[3], im[3], c / 2, m, wr, wi, scale / 2, dst);
  JoinBins<double>(re[1], im[1], re[2], im[2], c / 2 + c, m, wr, wi, scale / 2, dst);
}

// The bins of Z that SplitBins gives from bins k, k + 1, ... of X, all in
// ascending lanes.
template <typename V>
struct SplitPair {
  V upRe, upIm;      // Z[k], Z[k + 1], ...
  V downRe, downIm;  // Z[M + 1 - k - lanes], ..., Z[M - k]
};

// The inverse of JoinHalves without its 1/2: Z[k] = (X[k] + conj X[M-k]) +
// i (X[k] - conj X[M-k]) conj(W^k), whose unscaled inverse transform is N z.
// The imaginary parts of bins 0 and M are not read.
template <typename V>
inline SplitPair<V> SplitBins(const double* src, size_t k, size_t m, const double* wr, const double* wi) {
  V p, q, r, s;
  LoadPairs<V>(src + 2 * k, p, q);
  LoadPairs<V, true>(src + 2 * (m + 1 - k - kLaneCount<V>), r, s);
  const V wkr = LoadLanes<V, 1>(wr + k), wki = LoadLanes<V, 1>(wi + k);
  const V sr = p + r, si = q - s, dr = p - r, di = q + s;
  const V tr = dr * wkr + di * wki, ti = di * wkr - dr * wki;
  return {sr - ti, si + tr, Reversed(sr + ti), Reversed(tr - si)};
}

// Bin M/2 meets itself, so it is left out of the lanes.
template <typename V>
void SplitHalves(const double* src, Split z, size_t m, const double* wr, const double* wi) {
  z.re[0] = src[0] + src[2 * m];
  z.im[0] = src[0] - src[2 * m];
  auto splitBins = [&]<typename W>(size_t k) {
    const SplitPair<W> pair = SplitBins<W>(src, k, m, wr, wi);
    const size_t down = m + 1 - k - kLaneCount<W>;
    StoreLanes<W>(z.re + k, pair.upRe);
    StoreLanes<W>(z.im + k, pair.upIm);
    StoreLanes<W>(z.re + down, pair.downRe);
    StoreLanes<W>(z.im + down, pair.downIm);
  };
  ForEachBin<V>(1, m / 2, splitBins);
  splitBins.template operator()<double>(m / 2);
}

// Z[b] as SplitHalves leaves it.
inline void SplitBin(const double* src, size_t b, size_t m, const double* wr, const double* wi, double& re,
                     double& im) {
  if (b == 0) {
    re = src[0] + src[2 * m];
    im = src[0] - src[2 * m];
    return;
  }
  const bool up = b < m / 2;
  const SplitPair<double> pair = SplitBins<double>(src, up ? b : m - b, m, wr, wi);
  re = up ? pair.upRe : pair.downRe;
  im = up ? pair.upIm : pair.downIm;
}

// The split and the inverse transform's first pass (radix 4, s = 1) in one
// sweep, which spares the split's sweep over memory. Butterfly p of the pass
// reads Z[p + jc], c = M/4, j below 4, whose mirrors M - p - jc are the
// inputs of butterfly c - p: the two run together from the four bin pairs
// of p, p + c, c - p and 2c - p, with vector lanes p, p + 1, ... and
// c - p - lanes + 1, ..., c - p. Each value is the one of SplitHalves and
// the pass run apart.
template <typename V>
void SplitFirstPass(const double* src, Split y, size_t m, const double* twiddles, const double* wr,
                    const double* wi) {
  constexpr size_t kLanes = kLaneCount<V>;
  const size_t c = m / 4;
  auto singleButterfly = [&](size_t p) {
    double re[4], im[4];
    for (size_t j = 0; j < 4; ++j) SplitBin(src, p + j * c, m, wr, wi, re[j], im[j]);
    TwiddledDft<4, true>(re, im, twiddles + p, c);
    StoreElements<double, 4, 1>(re, im, y.re, y.im, 4 * p, 1, 1.0);
  };
  singleButterfly(0);
  size_t p = 1;
  for (; 2 * (p + kLanes - 1) < c; p += kLanes) {
    const size_t partner = c - p - (kLanes - 1);
    V ar[4], ai[4], br[4], bi[4];
    for (size_t j = 0; j < 2; ++j) {
      const SplitPair<V> mine = SplitBins<V>(src, p + j * c, m, wr, wi);
      const SplitPair<V> theirs = SplitBins<V>(src, partner + j * c, m, wr, wi);
      ar[j] = mine.upRe;
      ai[j] = mine.upIm;
      br[3 - j] = mine.downRe;
      bi[3 - j] = mine.downIm;
      br[j] = theirs.upRe;
      bi[j] = theirs.upIm;
      ar[3 - j] = theirs.downRe;
      ai[3 - j] = theirs.downIm;
    }
    TwiddledDft<4, true, V, V>(ar, ai, twiddles + p, c);
    TwiddledDft<4, true, V, V>(br, bi, twiddles + partner, c);
    StoreTransposed<V, 4>(y.re + 4 * p, ar);
    StoreTransposed<V, 4>(y.im + 4 * p, ai);
    StoreTransposed<V, 4>(y.re + 4 * partner, br);
    StoreTransposed<V, 4>(y.im + 4 * partner, bi);
  }
  // The butterflies from p to c - p are left.
  for (size_t last = c - p; p <= last; ++p) singleButterfly(p);
}

// The forward transform of N = 2m >= 4 reals into the packed spectrum, the
// passes alternating between `buffers` (unused when m is 2), neither of which
// is dst. `splitTwiddles` is exp(-2 pi i k / N) for k from 0 to m/2, real
// parts then imaginary parts.
template <typename V>
void ForwardTransform(const double* src, double* dst, const FFTPassBuffers& buffers, size_t m,
                      const double* passTwiddles, const double* splitTwiddles, double scale) {
  const double* wr = splitTwiddles;
  const double* wi = wr + m / 2 + 1;
  if (m == 2) {
    JoinHalvesOfLastPass<V, 2>(src, src + 1, dst, m, wr, wi, scale);
    return;
  }
  // The join writes dst, so the complex result goes to the work buffer.
  const Split z{buffers.workRe, buffers.workIm};
  ForwardPasses<V>(src, z, Split{buffers.otherRe, buffers.otherIm}, m, passTwiddles);
  const size_t closing = ClosingRadix(m);
  if (closing == 4) {
    JoinQuartersOfLastPass<V>(z, dst, m, wr, wi, scale);
  } else if (closing == 2) {
    JoinHalvesOfLastPass<V, 1>(z.re, z.im, dst, m, wr, wi, scale);
  } else {
    JoinHalves<V>(z, dst, m, wr, wi, scale);
  }
}

// The inverse transform of a packed spectrum into N = 2m >= 4 reals, the
// passes alternating between `buffers`, of which only the second may be dst.
template <typename V>
void InverseTransform(const double* src, double* dst, const FFTPassBuffers& buffers, size_t m,
                      const double* passTwiddles, const double* splitTwiddles, double scale) {
  const double* wr = splitTwiddles;
  const double* wi = wr + m / 2 + 1;
  const PassCursor first{m, m, 1, passTwiddles};
  const int sweeps = SweepCount(first, 1);
  // Sweep i (from 1) but the last writes buffer (sweeps - 1 - i) % 2; the
  // last writes dst. A transform of one sweep starts from the split alone.
  const Split halves[2] = {{buffers.workRe, buffers.workIm}, {buffers.otherRe, buffers.otherIm}};
  Split in = halves[(sweeps - 1) % 2];
  if (sweeps == 1) SplitHalves<V>(src, in, m, wr, wi);
  int i = 0;
  ForEachSweep(first, 1, [&](const PassCursor& pass, int width) {
    if (++i == sweeps) {
      RunSweep<V, true, 2>(in, dst, dst + 1, pass, width, scale);
      return;
    }
    const Split out = halves[(sweeps - 1 - i) % 2];
    if (i == 1) {
      SplitFirstPass<V>(src, out, m, pass.twiddles, wr, wi);
    } else {
      RunSweep<V, true, 1>(in, out.re, out.im, pass, width);
    }
    in = out;
  });
}

}  // namespace
