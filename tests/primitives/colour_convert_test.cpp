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

// A conversion to RGB on centred chroma: its weights and its offset.
struct ToRGBWeights {
  int y, rv, gu, gv, bu, offset;
};
constexpr ToRGBWeights kPackedWeights{76284, 104595, 25690, 53281, 132186, 1220544};
constexpr ToRGBWeights k420Weights{76284, 104595, 25690, 53281, 132186, 1187776};
constexpr ToRGBWeights k422Weights{76282, 104593, 25689, 53279, 132184, 1220512};
template <const ToRGBWeights& k>
Pixel ExpectedToRGB(int y, int cb, int cr) {
  const int b = cb - 128, r = cr - 128;
  return {Clamp(FloorDiv(k.y * y + k.rv * r - k.offset, 16)),
          Clamp(FloorDiv(k.y * y - k.gu * b - k.gv * r - k.offset, 16)),
          Clamp(FloorDiv(k.y * y + k.bu * b - k.offset, 16))};
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

Pixel ExpectedYCbCr(int r, int g, int b) {
  return {ExpectedLuma(r, g, b), ExpectedCb(r, g, b, 0), ExpectedCr(r, g, b, 0)};
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

using PlanarToPacked = int (*)(const uint8_t* const[3], const int[3], uint8_t*, int, int, int);
using PackedToSubsampled = int (*)(const uint8_t*, int, uint8_t* const[3], const int[3], int, int);
using Triple = std::array<int, 3>;

// --- Hand-worked anchors of each formula (the random and exhaustive tests cover the ranges) ---

// The first pixel of a 2x2 picture of uniform samples through a planar conversion.
Triple ConvertUniform(PlanarToPacked convert, uint8_t y, uint8_t cb, uint8_t cr) {
  const uint8_t luma[4] = {y, y, y, y}, blue[2] = {cb, cb}, red[2] = {cr, cr};
  const uint8_t* planes[3] = {luma, blue, red};
  const int steps[3] = {2, 1, 1};
  uint8_t out[12] = {};
  EXPECT_EQ(convert(planes, steps, out, 6, 2, 2), PrimStsNoErr);
  return {out[0], out[1], out[2]};
}

TEST(ColourConvertTest, ToRGBOnWhiteAndSaturatedColours) {
  struct Case {
    PlanarToPacked convert;
    uint8_t y, cb, cr;
    Triple out;
  };
  const Case cases[] = {
      // 4:2:0 rounds with 1187776: white 17926740 - 1187776 = 16738964, >> 16 = 255.
      {PrimYCbCr420ToRGB, 235, 128, 128, {255, 255, 255}},
      // Red: G (6179004 + 976220 - 5967472 - 1187776) = -24 gives -1, clipped.
      {PrimYCbCr420ToRGB, 81, 90, 240, {254, 0, 0}},
      // 4:2:2: 76282 * 235 - 1220512 = 16705758, >> 16 = 254.
      {PrimYCbCr422ToRGB, 235, 128, 128, {254, 254, 254}},
      // BGR on raw samples, blue stored first: B (3127644 + 31724640 - 18140365) >> 16 = 255.
      {PrimYCbCr422ToBGR, 41, 240, 110, {255, 0, 0}},
      // Black: R 1220544 + 13388160 - 14608761 = -57 gives 0.
      {PrimYCbCr422ToBGR, 16, 128, 128, {0, 0, 0}},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(ConvertUniform(c.convert, c.y, c.cb, c.cr), c.out) << int{c.y} << " " << int{c.cb} << " " << int{c.cr};
  }
  // Packed: white 17926740 - 1220544 = 16706196, >> 16 = 254; red R
  // (6179004 + 104595 * 112 - 1220544) >> 16 = 254, G and B -1 clipped.
  const uint8_t ycbcr[6] = {235, 128, 128, 81, 90, 240};
  uint8_t rgb[6] = {};
  ASSERT_EQ(PrimYCbCrToRGB(ycbcr, 6, rgb, 6, 2, 1), PrimStsNoErr);
  EXPECT_EQ((std::array<int, 6>{rgb[0], rgb[1], rgb[2], rgb[3], rgb[4], rgb[5]}),
            (std::array<int, 6>{254, 254, 254, 254, 0, 0}));
}

int ToYCbCrPlanar(const uint8_t* src, int srcStep, uint8_t* const dst[3], const int steps[3], int w, int h) {
  return PrimRGBToYCbCrPlanar(src, srcStep, dst, steps[0], w, h);
}
int ToYUVPlanar(const uint8_t* src, int srcStep, uint8_t* const dst[3], const int steps[3], int w, int h) {
  return PrimRGBToYUVPlanar(src, srcStep, dst, steps[0], w, h);
}

TEST(ColourConvertTest, FromRGBOnWhiteAndSaturatedColours) {
  struct Case {
    PackedToSubsampled convert;
    uint8_t r, g, b;  // in stored order
    Triple out;       // the first luma and chroma samples
  };
  const Case cases[] = {
      // White: (56296 * 255 + 0x108000) >> 16 = 235; the chroma weights sum to 0.
      {ToYCbCrPlanar, 255, 255, 255, {235, 128, 128}},
      // Red: Y 5376309 >> 16 = 82, Cb 5948131 >> 16 = 90, Cr 15757726 >> 16 = 240.
      {ToYCbCrPlanar, 255, 0, 0, {82, 90, 240}},
      // Analog red: Y 4996725 >> 16 = 76, U ((-4963958 >> 16) * 32244 >> 16) + 128 = 90, V 284 clipped.
      {ToYUVPlanar, 255, 0, 0, {76, 90, 255}},
      {ToYUVPlanar, 255, 255, 255, {255, 128, 128}},
      // Blue: T = 3736 * 255 >> 14 = 58, Y = 29; U = ((510 - 58) * 16121 >> 16)
      // + 128 = 239; V = ((0 - 58) * 28737 >> 16) + 128 = 102.
      {PrimRGBToYUV420, 0, 0, 255, {29, 239, 102}},
      // Studio 4:2:0 of black: 0x2008000 >> 18 = 128.
      {PrimRGBToYCbCr420, 0, 0, 0, {16, 128, 128}},
      // BGR reads blue first: Y (6423 * 255 + 0x108000) >> 16 = 41, Cb (28770 *
      // 1020 + 0x2008000) >> 18 = 240, Cr (-4653 * 1020 + 0x2008000) >> 18 = 110.
      {PrimBGRToYCbCr420, 255, 0, 0, {41, 240, 110}},
  };
  for (const Case& c : cases) {
    const uint8_t square[12] = {c.r, c.g, c.b, c.r, c.g, c.b, c.r, c.g, c.b, c.r, c.g, c.b};
    uint8_t y[4], u[4], v[4];
    uint8_t* planes[3] = {y, u, v};
    const int steps[3] = {2, 2, 2};
    ASSERT_EQ(c.convert(square, 6, planes, steps, 2, 2), PrimStsNoErr);
    EXPECT_EQ((Triple{y[0], u[0], v[0]}), c.out) << int{c.r} << " " << int{c.g} << " " << int{c.b};
    EXPECT_EQ(y[3], y[0]);
  }
}

// --- Random pictures against the formulas ---

struct RandomCase {
  int width, height, padding;
};
const RandomCase kRandomCases[] = {{1, 1, 0},  {2, 2, 0},  {3, 5, 7},    {7, 3, 1},   {16, 4, 0},
                                   {33, 7, 5}, {64, 2, 3}, {1030, 3, 0}, {2051, 2, 9}};

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
    const TestImage before = dst.Clone();
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

TEST(ColourConvertTest, PlanarToPackedMatchFormulaOnRandomPictures) {
  CheckPlanarToPacked(PrimYCbCr420ToRGB, ExpectedToRGB<k420Weights>, 1, true, 1);
  CheckPlanarToPacked(PrimYCbCr422ToRGB, ExpectedToRGB<k422Weights>, 0, false, 1);
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
  CheckEverySampleTriple(PrimYCbCr420ToRGB, ExpectedToRGB<k420Weights>, 1);
  CheckEverySampleTriple(PrimYCbCr422ToRGB, ExpectedToRGB<k422Weights>, 2);
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
        ASSERT_TRUE(PixelIs(&dst.at(3 * x, y), ExpectedToRGB<kPackedWeights>(p[0], p[1], p[2]), x, y));
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
    const int steps[3] = {planes[0].step(), planes[0].step(), planes[0].step()};
    const auto check = [&](PackedToSubsampled convert, Pixel (*expected)(int, int, int)) {
      ASSERT_EQ(convert(src.data(), src.step(), dst, steps, c.width, c.height), PrimStsNoErr);
      for (int y = 0; y < c.height; ++y) {
        for (int x = 0; x < c.width; ++x) {
          const uint8_t* p = &src.at(3 * x, y);
          const Pixel want = expected(p[0], p[1], p[2]);
          const Triple got{planes[0].at(x, y), planes[1].at(x, y), planes[2].at(x, y)};
          ASSERT_EQ(got, (Triple{want.c0, want.c1, want.c2})) << x << "," << y;
        }
      }
    };
    ForEachSlot([&] {
      check(ToYCbCrPlanar, ExpectedYCbCr);
      check(ToYUVPlanar, ExpectedYUV);
      for (const TestImage& plane : planes) EXPECT_TRUE(plane.GuardsIntact());
    });
  }
}

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
                          bool oddWidthWarns, bool extremes) {
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

// On pictures of 0 and 255 only, the pair and square sums (and their
// differences) reach the ends of their range, where a vector path's words
// would overflow first; in every slot.
TEST(ColourConvertTest, SubsampledStudioConversionsMatchFormulaOnRandomPictures) {
  ForEachSlot([] {
    for (const bool extremes : {false, true}) {
      SCOPED_TRACE(extremes ? "extremes" : "random");
      CheckSubsampledYCbCr(PrimRGBToYCbCr422, 1, false, 2, 1, true, extremes);
      CheckSubsampledYCbCr(PrimBGRToYCbCr422, 1, true, 2, 1, false, extremes);
      CheckSubsampledYCbCr(PrimRGBToYCbCr420, 2, false, 1, 1, true, extremes);
      CheckSubsampledYCbCr(PrimBGRToYCbCr420, 2, true, 2, 2, true, extremes);
    }
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
