// Per-sample arithmetic on the lanes of one channel (double) or of two
// channels side by side (ChannelPair, SSE2, which every x86-64 has). Lanes
// never mix, and each operation is the IEEE operation the scalar code does
// (the baseline has no fused multiply-add to contract into), so a channel run
// in a pair gives the same doubles as the channel run alone. Recursive
// filters and ballistics are serial within a channel but independent across
// channels, which is what the pairs exploit.
#pragma once

#include <emmintrin.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <type_traits>

namespace sample_lanes {

// Two channels' values at one sample index, the first channel in lane 0.
// GCC's and Clang's vector arithmetic applies to it; a scalar operand is
// broadcast to both lanes.
using ChannelPair = __m128d;

template <typename V>
constexpr unsigned kLaneCount = sizeof(V) / sizeof(double);

// The lanes' values, valueOf(lane) for each lane.
template <typename V, typename F>
V LanesOf(F valueOf) {
  if constexpr (std::is_same_v<V, double>) {
    return valueOf(0u);
  } else {
    return _mm_set_pd(valueOf(1u), valueOf(0u));
  }
}

inline double Lane(double v, unsigned /*lane*/) { return v; }
inline double Lane(ChannelPair v, unsigned lane) { return v[lane]; }

inline double Magnitude(double x) { return std::fabs(x); }
inline float Magnitude(float x) { return std::fabs(x); }
inline ChannelPair Magnitude(ChannelPair x) { return _mm_andnot_pd(_mm_set1_pd(-0.0), x); }
inline __m128 Magnitude(__m128 x) { return _mm_andnot_ps(_mm_set1_ps(-0.0f), x); }

// std::max(a, b) in every lane: b where a < b, else a, so a NaN in b is
// passed over.
inline double Larger(double a, double b) { return std::max(a, b); }
inline float Larger(float a, float b) { return std::max(a, b); }
inline ChannelPair Larger(ChannelPair a, ChannelPair b) { return _mm_max_pd(b, a); }
inline __m128 Larger(__m128 a, __m128 b) { return _mm_max_ps(b, a); }

// Whether a > b in any lane.
inline bool AnyGreater(double a, double b) { return a > b; }
inline bool AnyGreater(ChannelPair a, ChannelPair b) { return _mm_movemask_pd(_mm_cmpgt_pd(a, b)) != 0; }

// `then` in the lanes where a > b, `otherwise` in the others.
inline double IfGreater(double a, double b, double then, double otherwise) { return a > b ? then : otherwise; }
inline ChannelPair IfGreater(ChannelPair a, ChannelPair b, ChannelPair then, ChannelPair otherwise) {
  const ChannelPair mask = _mm_cmpgt_pd(a, b);
  return _mm_or_pd(_mm_and_pd(mask, then), _mm_andnot_pd(mask, otherwise));
}

// Calls visit(V{}, first) for groups of the channels below `count`: a pair
// where pairable(first) says that channels first and first + 1 may run side
// by side, a single channel (V double) otherwise and for an odd last one.
template <typename Pairable, typename Visit>
void ForEachLaneGroup(unsigned count, Pairable pairable, Visit visit) {
  unsigned c = 0;
  while (c < count) {
    if (c + 1 < count && pairable(c)) {
      visit(ChannelPair{}, c);
      c += 2;
    } else {
      visit(0.0, c);
      ++c;
    }
  }
}

inline __m128d LoadVector(const double* p) { return _mm_loadu_pd(p); }
inline __m128 LoadVector(const float* p) { return _mm_loadu_ps(p); }
inline __m128d SplatVector(double v) { return _mm_set1_pd(v); }
inline __m128 SplatVector(float v) { return _mm_set1_ps(v); }

// What peak = std::max(peak, |x[i]|) for i from 0 to n - 1 gives, starting
// from `peak`. The maximum of a set does not depend on the order its values
// are met in (values that compare equal are equal here, as a magnitude is
// never -0.0, and a NaN is passed over wherever it comes), so each lane keeps
// its own and the lanes are joined at the end.
template <typename T>
T LargestMagnitude(const T* x, size_t n, T peak) {
  using Vector = decltype(SplatVector(peak));
  constexpr size_t kWidth = sizeof(Vector) / sizeof(T);
  // Two accumulators, so that one maximum need not wait for the one before.
  Vector a = SplatVector(peak);
  Vector b = a;
  size_t i = 0;
  for (; i + 2 * kWidth <= n; i += 2 * kWidth) {
    a = Larger(a, Magnitude(LoadVector(x + i)));
    b = Larger(b, Magnitude(LoadVector(x + i + kWidth)));
  }
  const Vector joined = Larger(a, b);
  for (size_t lane = 0; lane < kWidth; ++lane) peak = Larger(peak, joined[lane]);
  for (; i < n; ++i) peak = Larger(peak, Magnitude(x[i]));
  return peak;
}

}  // namespace sample_lanes
