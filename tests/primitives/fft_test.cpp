#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdint>
#include <numbers>
#include <random>
#include <string>
#include <vector>

#include "primitives/prim.h"

namespace {

// Owns a transform object for one test.
class Transform {
 public:
  Transform(int order, int flag) { EXPECT_EQ(PrimFFTInitAlloc(&spec_, order, flag, 0), PrimStsNoErr); }
  ~Transform() { EXPECT_EQ(PrimFFTFreeSpec(spec_), PrimStsNoErr); }
  Transform(const Transform&) = delete;
  Transform& operator=(const Transform&) = delete;
  const PrimFFTSpec* get() const { return spec_; }

 private:
  PrimFFTSpec* spec_ = nullptr;
};

std::vector<double> RandomSignal(size_t n, uint32_t seed) {
  std::mt19937 random(seed);
  std::uniform_real_distribution<double> value(-1.0, 1.0);
  std::vector<double> x(n);
  for (double& v : x) v = value(random);
  return x;
}

// Bins 0 to N/2 as (real, imaginary) pairs: N + 2 doubles, 2 for N = 1.
size_t PackedLength(size_t n) { return 2 * (n / 2 + 1); }

std::vector<double> Forward(const std::vector<double>& x, const Transform& t, uint8_t* buffer = nullptr) {
  std::vector<double> spectrum(PackedLength(x.size()), 1e300);  // every slot must be written
  EXPECT_EQ(PrimFFTForward(x.data(), spectrum.data(), t.get(), buffer), PrimStsNoErr);
  return spectrum;
}

std::vector<double> Inverse(const std::vector<double>& spectrum, const Transform& t) {
  std::vector<double> x(spectrum.size() == 2 ? 1 : spectrum.size() - 2, 1e300);
  EXPECT_EQ(PrimFFTInverse(spectrum.data(), x.data(), t.get(), nullptr), PrimStsNoErr);
  return x;
}

// exp(2 pi i j / n) for j below n, in long double.
std::vector<std::complex<long double>> UnitRoots(size_t n) {
  std::vector<std::complex<long double>> roots(n);
  for (size_t j = 0; j < n; ++j) {
    roots[j] = std::polar(1.0L, 2 * std::numbers::pi_v<long double> * static_cast<long double>(j) / n);
  }
  return roots;
}

// The bins 0 to N/2 by the defining sum, in long double.
std::vector<double> DirectDft(const std::vector<double>& x) {
  const size_t n = x.size();
  const auto roots = UnitRoots(n);
  std::vector<double> bins(PackedLength(n));
  for (size_t k = 0; k <= n / 2; ++k) {
    long double re = 0, im = 0;
    for (size_t i = 0; i < n; ++i) {
      re += x[i] * roots[(k * i) % n].real();
      im -= x[i] * roots[(k * i) % n].imag();
    }
    bins[2 * k] = static_cast<double>(re);
    bins[2 * k + 1] = static_cast<double>(im);
  }
  return bins;
}

void ExpectNear(const std::vector<double>& actual, const std::vector<double>& expected, double tolerance) {
  ASSERT_EQ(actual.size(), expected.size());
  for (size_t i = 0; i < actual.size(); ++i) {
    ASSERT_NEAR(actual[i], expected[i], tolerance) << "index " << i << " of " << actual.size();
  }
}

TEST(PrimFFTTest, ForwardMatchesTheDefiningSum) {
  for (int order = 0; order <= 12; ++order) {
    const size_t n = size_t{1} << order;
    const Transform t(order, PrimFFTNoDivByAny);
    const std::vector<double> x = RandomSignal(n, 100 + order);
    // Inputs within +-1: the FFT's rounding error grows with log N, far below 1e-11 here.
    ExpectNear(Forward(x, t), DirectDft(x), 1e-11);
  }
}

TEST(PrimFFTTest, InverseMatchesTheDefiningSumWithConjugateSymmetry) {
  for (int order : {0, 1, 2, 3, 4, 5, 6, 7, 9, 10}) {
    const size_t n = size_t{1} << order;
    const Transform t(order, PrimFFTNoDivByAny);
    const auto roots = UnitRoots(n);
    std::vector<double> spectrum = RandomSignal(PackedLength(n), 200 + order);
    spectrum[1] = spectrum[spectrum.size() - 1] = 0;
    // x[i] = X[0] + (-1)^i X[N/2] + 2 Re(sum over 0 < k < N/2 of X[k] exp(2 pi i k i / N)).
    std::vector<double> expected(n);
    for (size_t i = 0; i < n; ++i) {
      long double sum = n == 1 ? spectrum[0] : spectrum[0] + spectrum[n] * ((i % 2) ? -1.0L : 1.0L);
      for (size_t k = 1; k < n / 2; ++k) {
        const auto root = roots[(k * i) % n];
        sum += 2 * (spectrum[2 * k] * root.real() - spectrum[2 * k + 1] * root.imag());
      }
      expected[i] = static_cast<double>(sum);
    }
    // As above: bins within +-1, error far below 1e-11.
    ExpectNear(Inverse(spectrum, t), expected, 1e-11);
  }
}

TEST(PrimFFTTest, RoundTripWithInverseScaling) {
  for (int order : {1, 2, 3, 4, 5, 12, 13, 16}) {
    const Transform t(order, PrimFFTDivInverseByN);
    const std::vector<double> x = RandomSignal(size_t{1} << order, 300 + order);
    // Double rounding over log N passes: a few ulps of the largest value.
    ExpectNear(Inverse(Forward(x, t), t), x, 1e-13);
  }
}

TEST(PrimFFTTest, EachScalingFlag) {
  constexpr int kOrder = 6;
  constexpr double kN = 64;
  struct Case {
    int flag;
    double forwardGain, roundTripGain;
  };
  const Case cases[] = {{PrimFFTDivForwardByN, 1 / kN, 1},
                        {PrimFFTDivInverseByN, 1, 1},
                        {PrimFFTDivBySqrtN, 1 / std::sqrt(kN), 1},
                        {PrimFFTNoDivByAny, 1, kN}};
  for (const Case& c : cases) {
    const Transform t(kOrder, c.flag);
    // A delta of 3 at x[0] has the flat spectrum 3 in every bin.
    std::vector<double> delta(64, 0.0);
    delta[0] = 3;
    const std::vector<double> spectrum = Forward(delta, t);
    for (size_t k = 0; k <= 32; ++k) {
      EXPECT_NEAR(spectrum[2 * k], 3 * c.forwardGain, 1e-14) << "flag " << c.flag << " bin " << k;
      EXPECT_EQ(spectrum[2 * k + 1], 0.0) << "flag " << c.flag << " bin " << k;
    }
    const std::vector<double> x = RandomSignal(64, 400 + c.flag);
    std::vector<double> expected = x;
    for (double& v : expected) v *= c.roundTripGain;
    // Round trip: a few ulps of the largest value, times the gain.
    ExpectNear(Inverse(Forward(x, t), t), expected, 1e-13 * c.roundTripGain);
  }
}

TEST(PrimFFTTest, SmallOrdersAndSpecialSpectra) {
  {
    const Transform t(0, PrimFFTDivInverseByN);
    EXPECT_EQ(Forward({-2.5}, t), (std::vector<double>{-2.5, 0.0}));
    EXPECT_EQ(Inverse({4.0, 0.0}, t), (std::vector<double>{4.0}));
  }
  {
    const Transform t(1, PrimFFTNoDivByAny);
    EXPECT_EQ(Forward({5.0, 2.0}, t), (std::vector<double>{7.0, 0.0, 3.0, 0.0}));
    EXPECT_EQ(Inverse({7.0, 0.0, 3.0, 0.0}, t), (std::vector<double>{10.0, 4.0}));
  }
  const Transform t(10, PrimFFTDivInverseByN);
  EXPECT_EQ(Inverse(std::vector<double>(1026, 0.0), t), std::vector<double>(1024, 0.0));
  // The imaginary parts of bins 0 and N/2 are not read.
  std::vector<double> spectrum = Forward(RandomSignal(1024, 7), t);
  const std::vector<double> clean = Inverse(spectrum, t);
  spectrum[1] = 5;
  spectrum[1025] = -5;
  EXPECT_EQ(Inverse(spectrum, t), clean);
}

TEST(PrimFFTTest, CallersWorkBufferGivesTheSameResult) {
  const Transform t(9, PrimFFTDivInverseByN);
  const std::vector<double> x = RandomSignal(512, 9);
  std::vector<double> work(512);
  EXPECT_EQ(Forward(x, t, reinterpret_cast<uint8_t*>(work.data())), Forward(x, t));
}

// The first double of a cache line in `storage`, which has 8 doubles to spare.
double* LineStart(std::vector<double>& storage) {
  double* at = storage.data();
  while (reinterpret_cast<uintptr_t>(at) % 64 != 0) ++at;
  return at;
}

TEST(PrimFFTTest, WhereTheArraysStartInACacheLineChangesNoDouble) {
  // Orders whose last inverse pass runs alone (radix 2, radix 4) and one that
  // ends with a pair of passes; arrays from 0 to 56 bytes into a line.
  for (int order : {12, 13, 14}) {
    const size_t n = size_t{1} << order;
    const Transform t(order, PrimFFTDivInverseByN);
    const std::vector<double> x = RandomSignal(n, 500 + order);
    const std::vector<double> spectrum = Forward(x, t);
    const std::vector<double> back = Inverse(spectrum, t);
    std::vector<double> inStorage(n + 2 + 16), outStorage(n + 2 + 16);
    for (size_t start = 0; start < 8; ++start) {
      SCOPED_TRACE("order " + std::to_string(order) + ", start " + std::to_string(start));
      double* in = LineStart(inStorage) + start;
      double* out = LineStart(outStorage) + start;
      std::copy(x.begin(), x.end(), in);
      ASSERT_EQ(PrimFFTForward(in, out, t.get(), nullptr), PrimStsNoErr);
      EXPECT_TRUE(std::equal(spectrum.begin(), spectrum.end(), out));
      std::copy(spectrum.begin(), spectrum.end(), in);
      ASSERT_EQ(PrimFFTInverse(in, out, t.get(), nullptr), PrimStsNoErr);
      EXPECT_TRUE(std::equal(back.begin(), back.end(), out));
    }
  }
}

TEST(PrimFFTTest, Statuses) {
  PrimFFTSpec* plan = nullptr;
  EXPECT_EQ(PrimFFTInitAlloc(nullptr, 3, 2, 0), PrimStsNullPtrErr);
  EXPECT_EQ(PrimFFTInitAlloc(&plan, -1, 2, 0), PrimStsFftOrderErr);
  EXPECT_EQ(PrimFFTInitAlloc(&plan, 29, 2, 0), PrimStsFftOrderErr);
  EXPECT_EQ(PrimFFTInitAlloc(&plan, 29, 3, 0), PrimStsFftOrderErr);  // the order is tested first
  for (int flag : {0, 3, 16, -1}) EXPECT_EQ(PrimFFTInitAlloc(&plan, 3, flag, 0), PrimStsFftFlagErr) << flag;
  EXPECT_EQ(plan, nullptr);

  // Anything whose first word is not the tag is refused.
  alignas(PrimFFTSpec*) int32_t foreign[32] = {};
  auto* impostor = reinterpret_cast<PrimFFTSpec*>(foreign);
  double in[8] = {}, out[10] = {};
  EXPECT_EQ(PrimFFTFreeSpec(nullptr), PrimStsNullPtrErr);
  EXPECT_EQ(PrimFFTFreeSpec(impostor), PrimStsContextMatchErr);
  EXPECT_EQ(PrimFFTForward(in, out, nullptr, nullptr), PrimStsNullPtrErr);
  EXPECT_EQ(PrimFFTForward(nullptr, out, impostor, nullptr), PrimStsContextMatchErr);
  EXPECT_EQ(PrimFFTInverse(in, out, impostor, nullptr), PrimStsContextMatchErr);

  const Transform t(3, PrimFFTDivInverseByN);
  EXPECT_EQ(PrimFFTForward(nullptr, out, t.get(), nullptr), PrimStsNullPtrErr);
  EXPECT_EQ(PrimFFTForward(in, nullptr, t.get(), nullptr), PrimStsNullPtrErr);
  EXPECT_EQ(PrimFFTInverse(nullptr, in, t.get(), nullptr), PrimStsNullPtrErr);
  EXPECT_EQ(PrimFFTInverse(out, nullptr, t.get(), nullptr), PrimStsNullPtrErr);
}

TEST(PrimMulPackedSpectrumTest, ComplexProductInPlace) {
  const double src[6] = {2, 0, 1, -1, 0.5, 0};
  double dst[6] = {3, 0, 2, 3, -4, 0};
  ASSERT_EQ(PrimMulPackedSpectrum(src, dst, 3), PrimStsNoErr);
  // (2)(3) = 6; (2 + 3i)(1 - i) = 5 + i; (-4)(0.5) = -2 with the real bins staying real.
  const double expected[6] = {6, 0, 5, 1, -2, 0};
  for (int i = 0; i < 6; ++i) EXPECT_EQ(dst[i], expected[i]) << i;
  EXPECT_EQ(PrimMulPackedSpectrum(nullptr, dst, 3), PrimStsNullPtrErr);
  EXPECT_EQ(PrimMulPackedSpectrum(src, nullptr, 3), PrimStsNullPtrErr);
  EXPECT_EQ(PrimMulPackedSpectrum(src, dst, 0), PrimStsSizeErr);
}

TEST(PrimMulPackedSpectrumTest, ProductOfSpectraIsCircularConvolution) {
  const Transform t(5, PrimFFTDivInverseByN);
  const std::vector<double> a = RandomSignal(32, 11), b = RandomSignal(32, 12);
  std::vector<double> expected(32, 0.0);
  for (size_t i = 0; i < 32; ++i) {
    for (size_t j = 0; j < 32; ++j) expected[(i + j) % 32] += a[i] * b[j];
  }
  const std::vector<double> sa = Forward(a, t);
  std::vector<double> sb = Forward(b, t);
  ASSERT_EQ(PrimMulPackedSpectrum(sa.data(), sb.data(), 17), PrimStsNoErr);
  // 32 products of values within +-1: rounding far below 1e-12.
  ExpectNear(Inverse(sb, t), expected, 1e-12);
}

TEST(PrimSwapBytesTest, SwapsEachWord) {
  const uint16_t words[3] = {0x1234, 0xFF00, 0x00AB};
  uint16_t swapped[4] = {0, 0, 0, 0x5555};
  ASSERT_EQ(PrimSwapBytes16(words, swapped, 3), PrimStsNoErr);
  EXPECT_EQ(swapped[0], 0x3412);
  EXPECT_EQ(swapped[1], 0x00FF);
  EXPECT_EQ(swapped[2], 0xAB00);
  EXPECT_EQ(swapped[3], 0x5555);  // beyond the length
  ASSERT_EQ(PrimSwapBytes16InPlace(swapped, 3), PrimStsNoErr);
  EXPECT_TRUE(std::equal(words, words + 3, swapped));

  EXPECT_EQ(PrimSwapBytes16(nullptr, swapped, 1), PrimStsNullPtrErr);
  EXPECT_EQ(PrimSwapBytes16(words, nullptr, 1), PrimStsNullPtrErr);
  EXPECT_EQ(PrimSwapBytes16(words, swapped, 0), PrimStsSizeErr);
  EXPECT_EQ(PrimSwapBytes16InPlace(nullptr, 1), PrimStsNullPtrErr);
  EXPECT_EQ(PrimSwapBytes16InPlace(swapped, -1), PrimStsSizeErr);
}

}  // namespace
