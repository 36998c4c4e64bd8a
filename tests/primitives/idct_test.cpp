#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numbers>
#include <random>
#include <vector>

#include "primitives/prim.h"
#include "test_image.h"

namespace {

using prim_test::TestImage;

// The inverse DCT straight from its definition, one pixel at a time:
// 1/4 sum over u, v of C(u) C(v) F(8v + u) cos((2x+1)u pi/16) cos((2y+1)v pi/16).
double ReferencePixel(const int16_t* f, int x, int y) {
  double sum = 0;
  for (int v = 0; v < 8; ++v) {
    for (int u = 0; u < 8; ++u) {
      const double cu = u == 0 ? 1 / std::numbers::sqrt2 : 1.0, cv = v == 0 ? 1 / std::numbers::sqrt2 : 1.0;
      sum += cu * cv * f[8 * v + u] * std::cos((2 * x + 1) * u * std::numbers::pi / 16) *
             std::cos((2 * y + 1) * v * std::numbers::pi / 16);
    }
  }
  return sum / 4;
}

int ReferenceByte(const int16_t* f, int x, int y) {
  return static_cast<int>(std::clamp(std::round(ReferencePixel(f, x, y)), 0.0, 255.0));
}

// An 8 by 8 block written at a step of 13 into an image whose guards watch
// the bytes around it.
constexpr int kStep = 13;
TestImage Target() { return TestImage(8, 8, kStep - 8); }

TEST(PrimIDCT8x8Test, MatchesTheDefinitionWithinOne) {
  std::mt19937 random(5);
  std::uniform_int_distribution<int> dc(-200, 2200), ac(-300, 300);
  for (int block = 0; block < 200; ++block) {
    alignas(16) int16_t f[64];
    for (int i = 0; i < 64; ++i) f[i] = static_cast<int16_t>(i == 0 ? dc(random) : ac(random) / (1 + i / 8));
    TestImage t = Target();
    ASSERT_EQ(PrimIDCT8x8(f, t.data(), kStep, 64), PrimStsNoErr);
    for (int y = 0; y < 8; ++y) {
      for (int x = 0; x < 8; ++x) ASSERT_NEAR(t.at(x, y), ReferenceByte(f, x, y), 1) << "block " << block;
    }
    ASSERT_TRUE(t.GuardsIntact());
  }
}

TEST(PrimIDCT8x8Test, DcOnlyPath) {
  struct Case {
    int16_t dc;
    uint8_t pixel;
  };
  for (const Case c : {Case{1024, 128}, Case{4000, 255}, Case{-8, 0}, Case{7, 0}, Case{15, 1}}) {
    alignas(16) int16_t f[64];
    std::fill(f, f + 64, int16_t{999});  // not read
    f[0] = c.dc;
    TestImage t = Target();
    ASSERT_EQ(PrimIDCT8x8(f, t.data(), kStep, 0), PrimStsNoErr);
    for (int y = 0; y < 8; ++y) {
      for (int x = 0; x < 8; ++x) ASSERT_EQ(t.at(x, y), c.pixel) << "dc " << c.dc;
    }
    EXPECT_TRUE(t.GuardsIntact());
  }
}

TEST(PrimIDCT8x8Test, ShortScansReadTheUpperLeftSquare) {
  std::mt19937 random(6);
  std::uniform_int_distribution<int> value(-120, 120);
  alignas(16) int16_t f[64];
  for (int16_t& c : f) c = static_cast<int16_t>(value(random));
  f[0] = 900;
  alignas(16) int16_t square[64] = {};
  for (int v = 0; v < 4; ++v) {
    for (int u = 0; u < 4; ++u) square[8 * v + u] = f[8 * v + u];
  }
  for (int count : {1, 9}) {
    TestImage shortScan = Target(), full = Target();
    ASSERT_EQ(PrimIDCT8x8(f, shortScan.data(), kStep, count), PrimStsNoErr);
    ASSERT_EQ(PrimIDCT8x8(square, full.data(), kStep, 64), PrimStsNoErr);
    EXPECT_EQ(shortScan.Pixels(), full.Pixels()) << "count " << count;
  }
  // From 10 on, every coefficient counts.
  TestImage ten = Target(), zeroed = Target();
  ASSERT_EQ(PrimIDCT8x8(f, ten.data(), kStep, 10), PrimStsNoErr);
  ASSERT_EQ(PrimIDCT8x8(square, zeroed.data(), kStep, 10), PrimStsNoErr);
  EXPECT_NE(ten.Pixels(), zeroed.Pixels());
}

TEST(PrimIDCT8x8Test, StatusesAndExports) {
  alignas(16) int16_t f[64] = {};
  f[0] = 1024;
  TestImage t = Target();
  EXPECT_EQ(PrimIDCT8x8(nullptr, t.data(), 8, 64), PrimStsNullPtrErr);
  EXPECT_EQ(PrimIDCT8x8(f, nullptr, 0, 64), PrimStsNullPtrErr);  // pointers before the step
  EXPECT_EQ(PrimIDCT8x8(f, t.data(), 0, 64), PrimStsStepErr);
  EXPECT_EQ(t.Pixels(), std::vector<uint8_t>(64, 0xA5));

  EXPECT_EQ(IPP_IDCT(f, t.data(), kStep, 0), PrimStsNoErr);
  EXPECT_EQ(t.at(7, 7), 128);
  EXPECT_EQ(IPP_IDCT(f, nullptr, kStep, 0), PrimStsNullPtrErr);
  const std::vector<uint8_t> before = t.Pixels();
  EXPECT_EQ(IPP_IDCT8x8(), 0);
  EXPECT_EQ(t.Pixels(), before);
}

}  // namespace
