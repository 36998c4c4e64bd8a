#include <gtest/gtest.h>

#include <array>
#include <random>

#include "primitives/prim.h"
#include "test_image.h"

namespace {

using prim_test::ForEachSlot;
using prim_test::TestImage;
using prim_test::TestPlanes;

using ResampleFn = int (*)(const uint8_t* const[3], const int[3], uint8_t* const[3], const int[3], int, int);

// The destination luma: the processed part a copy of the source, the rest as
// it was.
void ExpectLumaCopied(const TestPlanes& src, const TestPlanes& dst, const TestImage& before, int doneWidth,
                      int doneHeight) {
  for (int y = 0; y < dst.planes[0].rows(); ++y) {
    for (int x = 0; x < dst.planes[0].rowBytes(); ++x) {
      const bool done = x < doneWidth && y < doneHeight;
      ASSERT_EQ(dst.planes[0].at(x, y), done ? src.planes[0].at(x, y) : before.at(x, y)) << x << "," << y;
    }
  }
}

struct Size {
  int width, height;
};

// 4:2:2 to 4:2:0 keeps the even chroma rows; 4:2:0 to 4:2:2 doubles each row.
TEST(ChromaResampleTest, ProgressiveConversionsCopyChromaRows) {
  std::mt19937 random(501);
  for (const bool down : {true, false}) {
    const ResampleFn resample = down ? PrimYCbCr422To420 : PrimYCbCr420To422;
    for (const Size size : {Size{2, 2}, Size{3, 3}, Size{5, 3}, Size{16, 6}, Size{35, 9}}) {
      SCOPED_TRACE(::testing::Message() << (down ? "422 to 420 " : "420 to 422 ") << size.width << "x" << size.height);
      const int cw = size.width / 2, full = size.height & ~1, half = size.height / 2;
      TestPlanes src(size.width, size.height, cw, down ? full : half, 3);
      TestPlanes dst(size.width, size.height, cw, down ? half : full, 1);
      src.FillRandom(random);
      dst.FillRandom(random);
      const TestImage lumaBefore = dst.planes[0].Clone();
      ForEachSlot([&] {
        ASSERT_EQ(resample(src.pointers, src.steps, dst.pointers, dst.steps, size.width, size.height), PrimStsNoErr);
        ExpectLumaCopied(src, dst, lumaBefore, size.width & ~1, full);
        for (int c = 1; c < 3; ++c) {
          for (int y = 0; y < (down ? half : full); ++y) {
            for (int x = 0; x < cw; ++x) ASSERT_EQ(dst.planes[c].at(x, y), src.planes[c].at(x, down ? 2 * y : y / 2));
          }
        }
        EXPECT_TRUE(dst.GuardsIntact());
      });
    }
  }
}

// The interlaced upsampling seen as a filter on each field: field f of the
// destination (rows of parity f) takes its row m from position m / 2 - 1/8 -
// f / 4 of the source field, in eighths of a row, held at the field's first
// and last rows, linearly interpolated with rounding in between.
int ExpectedInterlacedChroma(const TestImage& plane, int x, int row, int height) {
  const int field = row % 2;
  const int fieldRows = height / 4;
  const int position = 4 * (row / 2) - 1 - 2 * field;  // eighths of a source field row
  const auto fieldRow = [&](int j) { return plane.at(x, 2 * j + field); };
  if (position <= 0) return fieldRow(0);
  if (position >= 8 * (fieldRows - 1)) return fieldRow(fieldRows - 1);
  const int j = position / 8, w = position % 8;
  return ((8 - w) * fieldRow(j) + w * fieldRow(j + 1) + 4) >> 3;
}

TEST(ChromaResampleTest, From420To422InterlacedFiltersEachField) {
  std::mt19937 random(503);
  for (const Size size : {Size{2, 4}, Size{4, 8}, Size{6, 12}, Size{33, 22}, Size{64, 36}}) {
    SCOPED_TRACE(::testing::Message() << size.width << "x" << size.height);
    const int cw = size.width / 2, h = size.height & ~3;
    TestPlanes src(size.width, size.height, cw, h / 2, 1);
    TestPlanes dst(size.width, size.height, cw, h, 4);
    src.FillRandom(random);
    const bool odd = size.width % 2 != 0 || size.height % 4 != 0;
    ForEachSlot([&] {
      ASSERT_EQ(PrimYCbCr420To422Interlaced(src.pointers, src.steps, dst.pointers, dst.steps, size.width, size.height),
                odd ? PrimStsOddSize : PrimStsNoErr);
      for (int c = 1; c < 3; ++c) {
        for (int y = 0; y < h; ++y) {
          for (int x = 0; x < cw; ++x) {
            ASSERT_EQ(dst.planes[c].at(x, y), ExpectedInterlacedChroma(src.planes[c], x, y, h)) << x << "," << y;
          }
        }
      }
      EXPECT_TRUE(dst.GuardsIntact());
    });
  }
}

// Anchors the field filter above: with h = 8 the first filtered rows are
// (5 * 10 + 3 * 50 + 4) >> 3 = 25 and (7 * 20 + 60 + 4) >> 3 = 25 when the
// next field rows hold 50 and 60; then (10 + 7 * 50 + 4) >> 3 = 45 and
// (3 * 20 + 5 * 60 + 4) >> 3 = 45.
TEST(ChromaResampleTest, InterlacedFilterByHand) {
  const uint8_t luma[16] = {}, chroma[4] = {10, 20, 50, 60};
  const uint8_t* src[3] = {luma, chroma, chroma};
  uint8_t y[16], u[8], v[8];
  uint8_t* dst[3] = {y, u, v};
  const int steps[3] = {2, 1, 1};
  ASSERT_EQ(PrimYCbCr420To422Interlaced(src, steps, dst, steps, 2, 8), PrimStsNoErr);
  EXPECT_EQ((std::array<int, 8>{u[0], u[1], u[2], u[3], u[4], u[5], u[6], u[7]}),
            (std::array<int, 8>{10, 20, 25, 25, 45, 45, 50, 60}));
}

TEST(ChromaResampleTest, Statuses) {
  uint8_t luma[32] = {}, chroma[16] = {};
  uint8_t* planes[3] = {luma, chroma, chroma + 8};
  uint8_t* missing[3] = {luma, chroma, nullptr};
  const int steps[3] = {4, 2, 2};
  for (ResampleFn resample : {PrimYCbCr422To420, PrimYCbCr420To422, PrimYCbCr420To422Interlaced}) {
    EXPECT_EQ(resample(nullptr, steps, planes, steps, 4, 4), PrimStsNullPtrErr);
    EXPECT_EQ(resample(planes, nullptr, planes, steps, 4, 4), PrimStsNullPtrErr);
    EXPECT_EQ(resample(planes, steps, missing, steps, 4, 4), PrimStsNullPtrErr);
    EXPECT_EQ(resample(planes, steps, planes, nullptr, 4, 4), PrimStsNullPtrErr);
    EXPECT_EQ(resample(planes, steps, missing, steps, 1, 1), PrimStsNullPtrErr);
    EXPECT_EQ(resample(planes, steps, planes, steps, 1, 4), PrimStsSizeErr);
    EXPECT_EQ(resample(planes, steps, planes, steps, 4, 1), PrimStsSizeErr);
    EXPECT_EQ(resample(planes, steps, planes, steps, 4, 4), PrimStsNoErr);
  }
  // Odd parts are dropped without a warning, except by the interlaced one.
  EXPECT_EQ(PrimYCbCr422To420(planes, steps, planes, steps, 3, 3), PrimStsNoErr);
  EXPECT_EQ(PrimYCbCr420To422(planes, steps, planes, steps, 3, 3), PrimStsNoErr);
  EXPECT_EQ(PrimYCbCr420To422Interlaced(planes, steps, planes, steps, 4, 3), PrimStsSizeErr);
  EXPECT_EQ(PrimYCbCr420To422Interlaced(planes, steps, planes, steps, 3, 4), PrimStsOddSize);
  EXPECT_EQ(PrimYCbCr420To422Interlaced(planes, steps, planes, steps, 4, 6), PrimStsOddSize);
}

}  // namespace
