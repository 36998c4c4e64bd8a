#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <random>

#include "primitives/prim.h"
#include "test_image.h"

namespace {

using prim_test::ForEachSlot;
using prim_test::TestImage;
using prim_test::TestPlanes;

// The formulas again, written from their tables with floating-point floor
// division instead of shifts; every value involved is exact in a double.
int FloorDiv(int64_t n, int shift) { return static_cast<int>(std::floor(static_cast<double>(n) / (1 << shift))); }
int Clamp(int v) { return v < 0 ? 0 : (v > 255 ? 255 : v); }

struct Pixel {
  int c0, c1, c2;  // in stored order
};

Pixel ExpectedYCbCrToRGB(int y, int cb, int cr) {
  const int b = cb - 128, r = cr - 128;
  return {Clamp(FloorDiv(76284 * y + 104595 * r - 1220544, 16)),
          Clamp(FloorDiv(76284 * y - 25690 * b - 53281 * r - 1220544, 16)),
          Clamp(FloorDiv(76284 * y + 132186 * b - 1220544, 16))};
}

Pixel Expected420ToRGB(int y, int cb, int cr) {
  const int b = cb - 128, r = cr - 128;
  return {Clamp(FloorDiv(76284 * y + 104595 * r - 1187776, 16)),
          Clamp(FloorDiv(76284 * y - 25690 * b - 53281 * r - 1187776, 16)),
          Clamp(FloorDiv(76284 * y + 132186 * b - 1187776, 16))};
}

Pixel Expected422ToRGB(int y, int cb, int cr) {
  const int b = cb - 128, r = cr - 128;
  return {Clamp(FloorDiv(76282 * y + 104593 * r - 1220512, 16)),
          Clamp(FloorDiv(76282 * y - 25689 * b - 53279 * r - 1220512, 16)),
          Clamp(FloorDiv(76282 * y + 132184 * b - 1220512, 16))};
}

Pixel Expected422ToBGR(int y, int cb, int cr) {
  return {Clamp(FloorDiv(76284 * y + 132186 * cb - 18140365, 16)),
          Clamp(FloorDiv(76284 * y - 25690 * cb - 53281 * cr + 8887730, 16)),
          Clamp(FloorDiv(76284 * y + 104595 * cr - 14608761, 16))};
}

int ExpectedLuma(int r, int g, int b) { return FloorDiv(16843 * r + 33030 * g + 6423 * b + 0x108000, 16); }
// Chroma of sums over 2^n pixels (n = 0, 1, 2), with each count's own offset.
int ExpectedCb(int r, int g, int b, int n) {
  const int offsets[] = {0x808000, 0x1004000, 0x2008000};
  return FloorDiv(-9699 * r - 19071 * g + 28770 * b + offsets[n], 16 + n) & 0xFF;
}
int ExpectedCr(int r, int g, int b, int n) {
  const int offsets[] = {0x808000, 0x1004000, 0x2008000};
  return FloorDiv(28770 * r - 24117 * g - 4653 * b + offsets[n], 16 + n) & 0xFF;
}

Pixel ExpectedYUV(int r, int g, int b) {
  const int s = 19595 * r + 38470 * g + 7471 * b;
  const int u = FloorDiv(FloorDiv(b * 65536 - s + 32767, 16) * 32244, 16) + 128;
  const int v = FloorDiv(FloorDiv(r * 65536 - s + 32767, 16) * 57475, 16) + 128;
  return {FloorDiv(s, 16), u & 0xFF, Clamp(v)};
}

::testing::AssertionResult PixelIs(const uint8_t* p, Pixel expected, int x, int y) {
  if (p[0] == expected.c0 && p[1] == expected.c1 && p[2] == expected.c2) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << "pixel " << x << "," << y << " is " << int{p[0]} << " " << int{p[1]} << " "
                                       << int{p[2]} << ", expected " << expected.c0 << " " << expected.c1 << " "
                                       << expected.c2;
}

// --- Hand-worked values ---

TEST(ColourConvertTest, YCbCrToRGBOnBlackWhiteGreyAndSaturatedColours) {
  struct Case {
    uint8_t ycbcr[3];
    uint8_t rgb[3];
  };
  const Case cases[] = {
      {{16, 128, 128}, {0, 0, 0}},         // 76284 * 16 - 1220544 = 0
      {{235, 128, 128}, {254, 254, 254}},  // 17926740 - 1220544 = 16706196, >> 16 = 254
      {{126, 128, 128}, {128, 128, 128}},  // 9611784 - 1220544 = 8391240, >> 16 = 128
      // red: R (6179004 + 104595 * 112 - 1220544) >> 16 = 254; G and B -1 clipped
      {{81, 90, 240}, {254, 0, 0}},
      // blue: B (3127644 + 132186 * 112 - 1220544) >> 16 = 255
      {{41, 240, 110}, {0, 0, 255}},
  };
  for (const Case& c : cases) {
    uint8_t rgb[3] = {};
    ASSERT_EQ(PrimYCbCrToRGB(c.ycbcr, 3, rgb, 3, 1, 1), PrimStsNoErr);
    EXPECT_EQ(rgb[0], c.rgb[0]);
    EXPECT_EQ(rgb[1], c.rgb[1]);
    EXPECT_EQ(rgb[2], c.rgb[2]);
  }
}

// One 2x2 picture of uniform samples through a planar conversion.
std::array<uint8_t, 3> ConvertUniform(int (*convert)(const uint8_t* const[3], const int[3], uint8_t*, int, int, int),
                                      uint8_t y, uint8_t cb, uint8_t cr) {
  const uint8_t luma[4] = {y, y, y, y};
  const uint8_t* planes[3] = {luma, &cb, &cr};
  const int steps[3] = {2, 1, 1};
  uint8_t out[12] = {};
  EXPECT_EQ(convert(planes, steps, out, 6, 2, convert == PrimYCbCr420ToRGB ? 2 : 1), PrimStsNoErr);
  return {out[0], out[1], out[2]};
}

TEST(ColourConvertTest, PlanarToPackedKeepTheirOwnConstants) {
  using Bytes = std::array<uint8_t, 3>;
  // 4:2:0 has the rounding term 1187776: black (1220544 - 1187776) >> 16 = 0,
  // white 16738964 >> 16 = 255, grey (9611784 - 1187776) >> 16 = 128.
  EXPECT_EQ(ConvertUniform(PrimYCbCr420ToRGB, 16, 128, 128), (Bytes{0, 0, 0}));
  EXPECT_EQ(ConvertUniform(PrimYCbCr420ToRGB, 235, 128, 128), (Bytes{255, 255, 255}));
  EXPECT_EQ(ConvertUniform(PrimYCbCr420ToRGB, 126, 128, 128), (Bytes{128, 128, 128}));
  // Red: G (6179004 + 976220 - 5967472 - 1187776) = -24 gives -1, clipped.
  EXPECT_EQ(ConvertUniform(PrimYCbCr420ToRGB, 81, 90, 240), (Bytes{254, 0, 0}));
  // 4:2:2: 76282 * 235 - 1220512 = 16705758, >> 16 = 254.
  EXPECT_EQ(ConvertUniform(PrimYCbCr422ToRGB, 235, 128, 128), (Bytes{254, 254, 254}));
  EXPECT_EQ(ConvertUniform(PrimYCbCr422ToRGB, 16, 128, 128), (Bytes{0, 0, 0}));
  // BGR on raw samples, blue stored first: black R 1220544 + 13388160 -
  // 14608761 = -57 gives 0; white B 17926740 + 16919808 - 18140365 =
  // 16706183, >> 16 = 254.
  EXPECT_EQ(ConvertUniform(PrimYCbCr422ToBGR, 16, 128, 128), (Bytes{0, 0, 0}));
  EXPECT_EQ(ConvertUniform(PrimYCbCr422ToBGR, 235, 128, 128), (Bytes{254, 254, 254}));
  // Blue: B (3127644 + 31724640 - 18140365) >> 16 = 255, stored first.
  EXPECT_EQ(ConvertUniform(PrimYCbCr422ToBGR, 41, 240, 110), (Bytes{255, 0, 0}));
}

TEST(ColourConvertTest, RGBToYCbCrAndYUVOnBlackWhiteAndRed) {
  const uint8_t black[3] = {0, 0, 0}, white[3] = {255, 255, 255}, red[3] = {255, 0, 0};
  uint8_t y = 0, cb = 0, cr = 0;
  uint8_t* planes[3] = {&y, &cb, &cr};
  // Black: 0x108000 >> 16 = 16, 0x808000 >> 16 = 128.
  ASSERT_EQ(PrimRGBToYCbCrPlanar(black, 3, planes, 1, 1, 1), PrimStsNoErr);
  EXPECT_EQ((std::array<int, 3>{y, cb, cr}), (std::array<int, 3>{16, 128, 128}));
  // White: (56296 * 255 + 0x108000) >> 16 = 235; the chroma weights sum to 0.
  ASSERT_EQ(PrimRGBToYCbCrPlanar(white, 3, planes, 1, 1, 1), PrimStsNoErr);
  EXPECT_EQ((std::array<int, 3>{y, cb, cr}), (std::array<int, 3>{235, 128, 128}));
  // Red: Y 5376309 >> 16 = 82, Cb 5948131 >> 16 = 90, Cr 15757726 >> 16 = 240.
  ASSERT_EQ(PrimRGBToYCbCrPlanar(red, 3, planes, 1, 1, 1), PrimStsNoErr);
  EXPECT_EQ((std::array<int, 3>{y, cb, cr}), (std::array<int, 3>{82, 90, 240}));

  // Analog YUV: black 0, 128, 128; white 255, 128, 128; red Y 4996725 >> 16 =
  // 76, U ((-4963958 >> 16) * 32244 >> 16) + 128 = -38 + 128 = 90, V 284 clipped.
  ASSERT_EQ(PrimRGBToYUVPlanar(black, 3, planes, 1, 1, 1), PrimStsNoErr);
  EXPECT_EQ((std::array<int, 3>{y, cb, cr}), (std::array<int, 3>{0, 128, 128}));
  ASSERT_EQ(PrimRGBToYUVPlanar(white, 3, planes, 1, 1, 1), PrimStsNoErr);
  EXPECT_EQ((std::array<int, 3>{y, cb, cr}), (std::array<int, 3>{255, 128, 128}));
  ASSERT_EQ(PrimRGBToYUVPlanar(red, 3, planes, 1, 1, 1), PrimStsNoErr);
  EXPECT_EQ((std::array<int, 3>{y, cb, cr}), (std::array<int, 3>{76, 90, 255}));
}

TEST(ColourConvertTest, SubsampledRGBToYUVOnUniformSquares) {
  const int steps[3] = {2, 1, 1};
  uint8_t y[4], u, v;
  uint8_t* planes[3] = {y, &u, &v};
  const auto square = [](uint8_t r, uint8_t g, uint8_t b) {
    return std::array<uint8_t, 12>{r, g, b, r, g, b, r, g, b, r, g, b};
  };
  // Blue: T = 3736 * 255 >> 14 = 58, Y = 29; U = ((510 - 58) * 16121 >> 16)
  // + 128 = 239; V = ((0 - 58) * 28737 >> 16) + 128 = -26 + 128 = 102.
  ASSERT_EQ(PrimRGBToYUV420(square(0, 0, 255).data(), 6, planes, steps, 2, 2), PrimStsNoErr);
  EXPECT_EQ((std::array<int, 4>{y[0], y[3], u, v}), (std::array<int, 4>{29, 29, 239, 102}));
  // White: T = 32769 * 255 >> 14 = 510, Y = 255, chroma neutral.
  ASSERT_EQ(PrimRGBToYUV420(square(255, 255, 255).data(), 6, planes, steps, 2, 2), PrimStsNoErr);
  EXPECT_EQ((std::array<int, 4>{y[0], y[3], u, v}), (std::array<int, 4>{255, 255, 128, 128}));
  // Studio 4:2:0 of black: 0x2008000 >> 18 = 128. BGR reads blue first: a
  // square of bytes 255, 0, 0 is blue, Y = (6423 * 255 + 0x108000) >> 16 = 41,
  // Cb = (28770 * 1020 + 0x2008000) >> 18 = 240.
  ASSERT_EQ(PrimRGBToYCbCr420(square(0, 0, 0).data(), 6, planes, steps, 2, 2), PrimStsNoErr);
  EXPECT_EQ((std::array<int, 4>{y[0], y[3], u, v}), (std::array<int, 4>{16, 16, 128, 128}));
  ASSERT_EQ(PrimBGRToYCbCr420(square(255, 0, 0).data(), 6, planes, steps, 2, 2), PrimStsNoErr);
  EXPECT_EQ((std::array<int, 2>{y[0], u}), (std::array<int, 2>{41, 240}));
}

// --- Random pictures against the formulas ---

struct RandomCase {
  int width, height, padding;
};
const RandomCase kRandomCases[] = {{1, 1, 0},  {2, 2, 0},  {3, 5, 7},    {7, 3, 1},   {16, 4, 0},
                                   {33, 7, 5}, {64, 2, 3}, {1030, 3, 0}, {2051, 2, 9}};

using PlanarToPacked = int (*)(const uint8_t* const[3], const int[3], uint8_t*, int, int, int);

// Converts a random picture and checks every byte of the destination: the
// processed part against `expected`, the rest unchanged.
void CheckPlanarToPacked(PlanarToPacked convert, Pixel (*expected)(int, int, int), int chromaRowShift,
                         bool evenPartOnly, int minWidth) {
  std::mt19937 random(4201);
  for (const RandomCase& c : kRandomCases) {
    if (c.width < minWidth) continue;
    SCOPED_TRACE(::testing::Message() << c.width << "x" << c.height << " padding " << c.padding);
    const int doneWidth = evenPartOnly ? c.width & ~1 : c.width;
    const int doneHeight = evenPartOnly ? c.height & ~1 : c.height;
    const int chromaWidth = std::max(1, (doneWidth + 1) / 2);
    const int chromaHeight = std::max(1, doneHeight >> chromaRowShift);
    TestPlanes src(c.width, c.height, chromaWidth, chromaHeight, c.padding);
    src.FillRandom(random);
    TestImage dst(3 * c.width, c.height, c.padding);
    dst.FillRandom(random);
    const TestImage before = [&] {
      TestImage copy(3 * c.width, c.height, c.padding);
      for (int y = 0; y < c.height; ++y) std::copy_n(&dst.at(0, y), 3 * c.width, &copy.at(0, y));
      return copy;
    }();
    const bool odd = doneWidth != c.width || doneHeight != c.height;
    ForEachSlot([&] {
      ASSERT_EQ(convert(src.pointers, src.steps, dst.data(), dst.step(), c.width, c.height),
                odd ? PrimStsOddSize : PrimStsNoErr);
      for (int y = 0; y < c.height; ++y) {
        for (int x = 0; x < c.width; ++x) {
          if (x < doneWidth && y < doneHeight) {
            const int cy = y >> chromaRowShift;
            const Pixel want =
                expected(src.planes[0].at(x, y), src.planes[1].at(x / 2, cy), src.planes[2].at(x / 2, cy));
            ASSERT_TRUE(PixelIs(&dst.at(3 * x, y), want, x, y));
          } else {
            const Pixel unchanged{before.at(3 * x, y), before.at(3 * x + 1, y), before.at(3 * x + 2, y)};
            ASSERT_TRUE(PixelIs(&dst.at(3 * x, y), unchanged, x, y));
          }
        }
      }
      EXPECT_TRUE(dst.GuardsIntact());
      EXPECT_TRUE(src.GuardsIntact());
    });
  }
}

TEST(ColourConvertTest, YCbCr420ToRGBMatchesFormulaOnRandomPictures) {
  CheckPlanarToPacked(PrimYCbCr420ToRGB, Expected420ToRGB, 1, true, 1);
}

TEST(ColourConvertTest, YCbCr422ToRGBMatchesFormulaOnRandomPictures) {
  CheckPlanarToPacked(PrimYCbCr422ToRGB, Expected422ToRGB, 0, false, 1);
}

TEST(ColourConvertTest, YCbCr422ToBGRMatchesFormulaOnRandomPictures) {
  CheckPlanarToPacked(PrimYCbCr422ToBGR, Expected422ToBGR, 0, false, 2);
}

// Every combination of the three samples, so that each carry of the halves
// arithmetic is met: chroma sample i has Cr = i, and over 64 calls its four
// pixels take every luma value.
void CheckEverySampleTriple(PlanarToPacked convert, Pixel (*expected)(int, int, int), int chromaRows) {
  TestPlanes src(512, 2, 256, chromaRows);
  TestImage dst(3 * 512, 2);
  const auto luma = [](int x, int row, int k) { return (4 * k + 2 * row + x % 2 + x / 2) & 0xFF; };
  for (int cb = 0; cb < 256; ++cb) {
    for (int row = 0; row < chromaRows; ++row) {
      for (int i = 0; i < 256; ++i) {
        src.planes[1].at(i, row) = static_cast<uint8_t>(cb);
        src.planes[2].at(i, row) = static_cast<uint8_t>(i);
      }
    }
    for (int k = 0; k < 64; ++k) {
      for (int row = 0; row < 2; ++row) {
        for (int x = 0; x < 512; ++x) src.planes[0].at(x, row) = static_cast<uint8_t>(luma(x, row, k));
      }
      ASSERT_EQ(convert(src.pointers, src.steps, dst.data(), dst.step(), 512, 2), PrimStsNoErr);
      for (int row = 0; row < 2; ++row) {
        for (int x = 0; x < 512; ++x) {
          ASSERT_TRUE(PixelIs(&dst.at(3 * x, row), expected(luma(x, row, k), cb, x / 2), x, row));
        }
      }
    }
  }
}

TEST(ColourConvertTest, PlanarToPackedMatchFormulaForEverySampleTriple) {
  CheckEverySampleTriple(PrimYCbCr420ToRGB, Expected420ToRGB, 1);
  CheckEverySampleTriple(PrimYCbCr422ToRGB, Expected422ToRGB, 2);
  CheckEverySampleTriple(PrimYCbCr422ToBGR, Expected422ToBGR, 2);
}

TEST(ColourConvertTest, PackedYCbCrToRGBMatchesFormulaOnRandomPictures) {
  std::mt19937 random(4202);
  for (const RandomCase& c : kRandomCases) {
    TestImage src(3 * c.width, c.height, c.padding), dst(3 * c.width, c.height, c.padding);
    src.FillRandom(random);
    ASSERT_EQ(PrimYCbCrToRGB(src.data(), src.step(), dst.data(), dst.step(), c.width, c.height), PrimStsNoErr);
    for (int y = 0; y < c.height; ++y) {
      for (int x = 0; x < c.width; ++x) {
        const uint8_t* p = &src.at(3 * x, y);
        ASSERT_TRUE(PixelIs(&dst.at(3 * x, y), ExpectedYCbCrToRGB(p[0], p[1], p[2]), x, y));
      }
    }
    EXPECT_TRUE(dst.GuardsIntact());
  }
}

TEST(ColourConvertTest, PackedToFullPlanesMatchFormulaOnRandomPictures) {
  std::mt19937 random(4203);
  for (const RandomCase& c : kRandomCases) {
    SCOPED_TRACE(::testing::Message() << c.width << "x" << c.height);
    TestImage src(3 * c.width, c.height, c.padding);
    src.FillRandom(random);
    // Both conversions take one step for the three planes.
    TestImage planes[3] = {TestImage(c.width, c.height, c.padding), TestImage(c.width, c.height, c.padding),
                           TestImage(c.width, c.height, c.padding)};
    uint8_t* dst[3] = {planes[0].data(), planes[1].data(), planes[2].data()};
    ForEachSlot([&] {
      ASSERT_EQ(PrimRGBToYCbCrPlanar(src.data(), src.step(), dst, planes[0].step(), c.width, c.height), 0);
      for (int y = 0; y < c.height; ++y) {
        for (int x = 0; x < c.width; ++x) {
          const uint8_t* p = &src.at(3 * x, y);
          ASSERT_EQ(planes[0].at(x, y), ExpectedLuma(p[0], p[1], p[2])) << x << "," << y;
          ASSERT_EQ(planes[1].at(x, y), ExpectedCb(p[0], p[1], p[2], 0)) << x << "," << y;
          ASSERT_EQ(planes[2].at(x, y), ExpectedCr(p[0], p[1], p[2], 0)) << x << "," << y;
        }
      }
      ASSERT_EQ(PrimRGBToYUVPlanar(src.data(), src.step(), dst, planes[0].step(), c.width, c.height), 0);
      for (int y = 0; y < c.height; ++y) {
        for (int x = 0; x < c.width; ++x) {
          const uint8_t* p = &src.at(3 * x, y);
          const Pixel expected = ExpectedYUV(p[0], p[1], p[2]);
          ASSERT_EQ(planes[0].at(x, y), expected.c0) << x << "," << y;
          ASSERT_EQ(planes[1].at(x, y), expected.c1) << x << "," << y;
          ASSERT_EQ(planes[2].at(x, y), expected.c2) << x << "," << y;
        }
      }
      for (const TestImage& plane : planes) EXPECT_TRUE(plane.GuardsIntact());
    });
  }
}

using PackedToSubsampled = int (*)(const uint8_t*, int, uint8_t* const[3], const int[3], int, int);

// The sums over the 2 columns and `rows` rows that chroma sample (cx, cy) covers.
struct BlockSums {
  int r, g, b;
};
BlockSums SumsOf(const TestImage& src, int cx, int cy, int rows, bool bgr) {
  BlockSums s{0, 0, 0};
  for (int dy = 0; dy < rows; ++dy) {
    for (int dx = 0; dx < 2; ++dx) {
      const uint8_t* p = &src.at(3 * (2 * cx + dx), rows * cy + dy);
      s.r += p[bgr ? 2 : 0];
      s.g += p[1];
      s.b += p[bgr ? 0 : 2];
    }
  }
  return s;
}

// Studio-range subsampling on random pictures (of 0 and 255 only with
// `extremes`). Only whole pairs or squares are written; the luma and chroma
// bytes beyond them must stay as they were.
void CheckSubsampledYCbCr(PackedToSubsampled convert, int rows, bool bgr, int minWidth, int minHeight,
                          bool oddWidthWarns, bool extremes = false) {
  std::mt19937 random(4204);
  for (const RandomCase& c : kRandomCases) {
    if (c.width < minWidth || c.height < minHeight) continue;
    SCOPED_TRACE(::testing::Message() << c.width << "x" << c.height);
    TestImage src(3 * c.width, c.height, c.padding);
    if (extremes) {
      src.FillExtremes(random);
    } else {
      src.FillRandom(random);
    }
    const int pairs = c.width / 2;
    const int chromaRows = c.height / rows;
    TestPlanes dst(c.width, c.height, std::max(1, pairs), std::max(1, chromaRows), c.padding);
    dst.FillRandom(random);
    const uint8_t untouchedLuma = dst.planes[0].at(c.width - 1, c.height - 1);
    const bool odd = oddWidthWarns && (c.width % 2 != 0 || c.height % rows != 0);
    ASSERT_EQ(convert(src.data(), src.step(), dst.pointers, dst.steps, c.width, c.height),
              odd ? PrimStsOddSize : PrimStsNoErr);
    for (int cy = 0; cy < chromaRows; ++cy) {
      for (int cx = 0; cx < pairs; ++cx) {
        const BlockSums s = SumsOf(src, cx, cy, rows, bgr);
        ASSERT_EQ(dst.planes[1].at(cx, cy), ExpectedCb(s.r, s.g, s.b, rows)) << cx << "," << cy;
        ASSERT_EQ(dst.planes[2].at(cx, cy), ExpectedCr(s.r, s.g, s.b, rows)) << cx << "," << cy;
        for (int dy = 0; dy < rows; ++dy) {
          for (int dx = 0; dx < 2; ++dx) {
            const uint8_t* p = &src.at(3 * (2 * cx + dx), rows * cy + dy);
            const int luma = bgr ? ExpectedLuma(p[2], p[1], p[0]) : ExpectedLuma(p[0], p[1], p[2]);
            ASSERT_EQ(dst.planes[0].at(2 * cx + dx, rows * cy + dy), luma);
          }
        }
      }
    }
    if (c.width % 2 != 0) {
      EXPECT_EQ(dst.planes[0].at(c.width - 1, c.height - 1), untouchedLuma);
    }
    EXPECT_TRUE(dst.GuardsIntact());
  }
}

TEST(ColourConvertTest, SubsampledStudioConversionsMatchFormulaOnRandomPictures) {
  {
    SCOPED_TRACE("RGB 4:2:2");
    CheckSubsampledYCbCr(PrimRGBToYCbCr422, 1, false, 2, 1, true);
  }
  {
    SCOPED_TRACE("BGR 4:2:2");
    CheckSubsampledYCbCr(PrimBGRToYCbCr422, 1, true, 2, 1, false);
  }
  {
    SCOPED_TRACE("RGB 4:2:0");
    CheckSubsampledYCbCr(PrimRGBToYCbCr420, 2, false, 1, 1, true);
  }
  {
    SCOPED_TRACE("BGR 4:2:0");
    CheckSubsampledYCbCr(PrimBGRToYCbCr420, 2, true, 2, 2, true);
  }
}

// Pair and square sums (and their differences) at the ends of their range,
// where a vector path's words would overflow first; in every slot.
TEST(ColourConvertTest, SubsampledStudioConversionsMatchFormulaOnPicturesOfExtremes) {
  ForEachSlot([] {
    CheckSubsampledYCbCr(PrimRGBToYCbCr422, 1, false, 2, 1, true, true);
    CheckSubsampledYCbCr(PrimBGRToYCbCr422, 1, true, 2, 1, false, true);
    CheckSubsampledYCbCr(PrimRGBToYCbCr420, 2, false, 1, 1, true, true);
    CheckSubsampledYCbCr(PrimBGRToYCbCr420, 2, true, 2, 2, true, true);
  });
}

TEST(ColourConvertTest, RGBToYUV420MatchesFormulaOnRandomPictures) {
  std::mt19937 random(4205);
  for (const RandomCase& c : kRandomCases) {
    SCOPED_TRACE(::testing::Message() << c.width << "x" << c.height);
    TestImage src(3 * c.width, c.height, c.padding);
    src.FillRandom(random);
    TestPlanes dst(c.width, c.height, std::max(1, c.width / 2), std::max(1, c.height / 2), c.padding);
    const bool odd = c.width % 2 != 0 || c.height % 2 != 0;
    ASSERT_EQ(PrimRGBToYUV420(src.data(), src.step(), dst.pointers, dst.steps, c.width, c.height),
              odd ? PrimStsOddSize : PrimStsNoErr);
    for (int cy = 0; cy < c.height / 2; ++cy) {
      for (int cx = 0; cx < c.width / 2; ++cx) {
        int t[4], r4 = 0, b4 = 0;
        for (int k = 0; k < 4; ++k) {
          const uint8_t* p = &src.at(3 * (2 * cx + k % 2), 2 * cy + k / 2);
          t[k] = FloorDiv(9798 * p[0] + 19235 * p[1] + 3736 * p[2], 14);
          r4 += p[0];
          b4 += p[2];
          ASSERT_EQ(dst.planes[0].at(2 * cx + k % 2, 2 * cy + k / 2), t[k] / 2);
        }
        const int d = (t[0] + t[1] + t[2] + t[3]) / 4;
        ASSERT_EQ(dst.planes[1].at(cx, cy), Clamp(FloorDiv((b4 / 2 - d) * 16121, 16) + 128)) << cx << "," << cy;
        ASSERT_EQ(dst.planes[2].at(cx, cy), Clamp(FloorDiv((r4 / 2 - d) * 28737, 16) + 128)) << cx << "," << cy;
      }
    }
    EXPECT_TRUE(dst.GuardsIntact());
  }
}

// --- Statuses ---

TEST(ColourConvertTest, StatusesOfPlanarToPacked) {
  uint8_t luma[8] = {}, chroma[4] = {}, out[24];
  const uint8_t* planes[3] = {luma, chroma, chroma};
  const uint8_t* missing[3] = {luma, nullptr, chroma};
  const int steps[3] = {4, 2, 2};
  for (PlanarToPacked convert : {PrimYCbCr420ToRGB, PrimYCbCr422ToRGB, PrimYCbCr422ToBGR}) {
    EXPECT_EQ(convert(nullptr, steps, out, 12, 4, 2), PrimStsNullPtrErr);
    EXPECT_EQ(convert(missing, steps, out, 12, 4, 2), PrimStsNullPtrErr);
    EXPECT_EQ(convert(planes, nullptr, out, 12, 4, 2), PrimStsNullPtrErr);
    EXPECT_EQ(convert(planes, steps, nullptr, 12, 4, 2), PrimStsNullPtrErr);
    EXPECT_EQ(convert(planes, steps, nullptr, 12, 0, 2), PrimStsNullPtrErr);  // null is tested first
    EXPECT_EQ(convert(planes, steps, out, 12, 0, 2), PrimStsSizeErr);
    EXPECT_EQ(convert(planes, steps, out, 12, 4, 0), PrimStsSizeErr);
    EXPECT_EQ(convert(planes, steps, out, 12, 4, 2), PrimStsNoErr);
  }
  EXPECT_EQ(PrimYCbCr422ToBGR(planes, steps, out, 12, 1, 1), PrimStsSizeErr);
  EXPECT_EQ(PrimYCbCr422ToRGB(planes, steps, out, 12, 3, 1), PrimStsNoErr);
  EXPECT_EQ(PrimYCbCr420ToRGB(planes, steps, out, 12, 3, 2), PrimStsOddSize);
  EXPECT_EQ(PrimYCbCr420ToRGB(planes, steps, out, 12, 4, 1), PrimStsOddSize);
}

TEST(ColourConvertTest, StatusesOfPackedToPlanar) {
  uint8_t rgb[48] = {}, y[16], u[8], v[8];
  uint8_t* planes[3] = {y, u, v};
  uint8_t* missing[3] = {y, u, nullptr};
  const int steps[3] = {4, 2, 2};
  struct Case {
    PackedToSubsampled convert;
    int minWidth, minHeight;
    bool oddWidthWarns, oddHeightWarns;
  };
  const Case cases[] = {{PrimRGBToYUV420, 1, 1, true, true},
                        {PrimBGRToYCbCr420, 2, 2, true, true},
                        {PrimBGRToYCbCr422, 2, 1, false, false},
                        {PrimRGBToYCbCr420, 1, 1, true, true},
                        {PrimRGBToYCbCr422, 2, 1, true, false}};
  for (const Case& c : cases) {
    EXPECT_EQ(c.convert(nullptr, 12, planes, steps, 4, 2), PrimStsNullPtrErr);
    EXPECT_EQ(c.convert(rgb, 12, nullptr, steps, 4, 2), PrimStsNullPtrErr);
    EXPECT_EQ(c.convert(rgb, 12, missing, steps, 4, 2), PrimStsNullPtrErr);
    EXPECT_EQ(c.convert(rgb, 12, planes, nullptr, 4, 2), PrimStsNullPtrErr);
    EXPECT_EQ(c.convert(rgb, 12, missing, steps, 0, 0), PrimStsNullPtrErr);
    EXPECT_EQ(c.convert(rgb, 12, planes, steps, c.minWidth - 1, 2), PrimStsSizeErr);
    EXPECT_EQ(c.convert(rgb, 12, planes, steps, 4, c.minHeight - 1), PrimStsSizeErr);
    EXPECT_EQ(c.convert(rgb, 12, planes, steps, 3, 2), c.oddWidthWarns ? PrimStsOddSize : PrimStsNoErr);
    EXPECT_EQ(c.convert(rgb, 12, planes, steps, 4, 3), c.oddHeightWarns ? PrimStsOddSize : PrimStsNoErr);
    EXPECT_EQ(c.convert(rgb, 12, planes, steps, 4, 2), PrimStsNoErr);
  }
  for (auto convert : {PrimRGBToYCbCrPlanar, PrimRGBToYUVPlanar}) {
    EXPECT_EQ(convert(nullptr, 12, planes, 4, 4, 2), PrimStsNullPtrErr);
    EXPECT_EQ(convert(rgb, 12, missing, 4, 4, 2), PrimStsNullPtrErr);
    EXPECT_EQ(convert(rgb, 12, planes, 4, 4, 0), PrimStsSizeErr);
    EXPECT_EQ(convert(rgb, 12, planes, 4, 3, 1), PrimStsNoErr);
  }
  const uint8_t ycbcr[3] = {16, 128, 128};
  EXPECT_EQ(PrimYCbCrToRGB(nullptr, 3, y, 3, 1, 1), PrimStsNullPtrErr);
  EXPECT_EQ(PrimYCbCrToRGB(ycbcr, 3, nullptr, 3, 1, 1), PrimStsNullPtrErr);
  EXPECT_EQ(PrimYCbCrToRGB(ycbcr, 3, y, 3, 1, 0), PrimStsSizeErr);
}

}  // namespace
