#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

#include "primitives/prim.h"
#include "test_image.h"

namespace {

using prim_test::TestImage;

// A plane of `width` bytes a row, `step` apart, filled with `fill`.
TestImage Image(int width, int height, int step, uint8_t fill = 0) {
  TestImage image(width, height, step - width);
  image.Fill(fill);
  return image;
}

TestImage RandomPlane(int width, int height, int step, uint32_t seed) {
  TestImage image(width, height, step - width);
  std::mt19937 random(seed);
  image.FillRandom(random);
  return image;
}

struct Call {
  PlaneRect srcRect, dstRect;
  double xFactor, yFactor, xShift = 0, yShift = 0;
  int code;
};

// Runs the resize with a work buffer of exactly the size asked for.
int Resize(const TestImage& src, TestImage& dst, const Call& c) {
  int32_t size = 0;
  EXPECT_EQ(PrimResizeGetBufferSize(c.srcRect, c.dstRect, 1, c.code, &size), PrimStsNoErr);
  std::vector<uint8_t> buffer(static_cast<size_t>(size));
  return PrimResizePlane(src.data(), src.rowBytes(), src.rows(), src.step(), c.srcRect, dst.data(), dst.step(),
                         c.dstRect, c.xFactor, c.yFactor, c.xShift, c.yShift, c.code, buffer.data());
}

Call Whole(const TestImage& src, const TestImage& dst, int code) {
  return {{0, 0, src.rowBytes(), src.rows()},
          {0, 0, dst.rowBytes(), dst.rows()},
          static_cast<double>(dst.rowBytes()) / src.rowBytes(),
          static_cast<double>(dst.rows()) / src.rows(),
          0,
          0,
          code};
}

// The cubic of the resize in double precision, straight from its definition.
double CubicWeight(double d) {
  if (d < 1) return 0.5 * d * d * d - d * d - 0.5 * d + 1;
  if (d < 2) return -d * d * d / 6 + d * d - 11 * d / 6 + 1;
  return 0;
}

double ReferenceCubic(const TestImage& src, int dx, int dy, const Call& c) {
  auto taps = [](double position, int length, int* index, double* weight) {
    const double floor = std::floor(position);
    const int base = std::clamp(static_cast<int>(floor), -1, length - 1);
    for (int k = 0; k < 4; ++k) {
      index[k] = std::clamp(base - 1 + k, 0, length - 1);
      weight[k] = CubicWeight(std::abs(k - 1 - (position - floor)));
    }
  };
  int xi[4], yi[4];
  double xw[4], yw[4];
  taps((dx + 0.5) / c.xFactor - c.xShift / c.xFactor - 0.5, src.rowBytes(), xi, xw);
  taps((dy + 0.5) / c.yFactor - c.yShift / c.yFactor - 0.5, src.rows(), yi, yw);
  double sum = 0;
  for (int j = 0; j < 4; ++j) {
    for (int k = 0; k < 4; ++k) sum += yw[j] * xw[k] * src.at(xi[k], yi[j]);
  }
  return sum;
}

// The mean of the source over the box of a destination pixel, by area, with
// the parts outside the source rectangle taking its edge pixels.
double ReferenceBoxMean(const TestImage& src, int dx, int dy, const Call& c) {
  struct Tap {
    int index;
    double weight;
  };
  auto cover = [](int d, double factor, int lo, int hi) {
    std::vector<Tap> taps;
    const double from = d / factor, to = (d + 1) / factor;
    for (int i = static_cast<int>(std::floor(from)); i < std::ceil(to); ++i) {
      taps.push_back({std::clamp(i, lo, hi - 1), std::min(to, i + 1.0) - std::max(from, 1.0 * i)});
    }
    return taps;
  };
  const std::vector<Tap> xs = cover(dx, c.xFactor, c.srcRect.x, c.srcRect.x + c.srcRect.width);
  const std::vector<Tap> ys = cover(dy, c.yFactor, c.srcRect.y, c.srcRect.y + c.srcRect.height);
  double sum = 0;
  for (const Tap& y : ys) {
    for (const Tap& x : xs) sum += y.weight * x.weight * src.at(x.index, y.index);
  }
  return sum * c.xFactor * c.yFactor;
}

// A destination pixel is the reference rounded half up and clipped; the
// float sums may fall on the other side of a half only when the reference
// lies within 1e-3 of it.
void ExpectPixel(int actual, double reference, int x, int y) {
  const double expected = std::clamp(std::floor(reference + 0.5), 0.0, 255.0);
  const double tolerance = std::abs(reference - std::floor(reference) - 0.5) < 1e-3 ? 1 : 0;
  ASSERT_NEAR(actual, expected, tolerance) << "at " << x << "," << y << ", reference " << reference;
}

template <typename Reference>
void ExpectMatchesReference(const TestImage& src, const TestImage& dst, const Call& c, Reference reference) {
  for (int y = 0; y < dst.rows(); ++y) {
    for (int x = 0; x < dst.rowBytes(); ++x) ExpectPixel(dst.at(x, y), reference(src, x, y, c), x, y);
  }
}

TEST(PrimResizePlaneTest, FactorOneReproducesTheSource) {
  const TestImage src = RandomPlane(37, 23, 41, 1);
  for (int code : {PrimInterCubic, PrimInterCatmullRom, PrimInterLanczos, PrimInterSuper, PrimInterNearest}) {
    TestImage dst = Image(37, 23, 40);
    ASSERT_EQ(Resize(src, dst, Whole(src, dst, code)), PrimStsNoErr);
    for (int y = 0; y < 23; ++y) EXPECT_EQ(dst.Row(y), src.Row(y)) << "code " << code << " row " << y;
  }
}

TEST(PrimResizePlaneTest, CubicWeightsAtHalfAndQuarter) {
  // At fraction 1/2 the taps weigh -1/16, 9/16, 9/16, -1/16: column 0 reads
  // columns 0, 0, 1, 2, the last one 4, 5, 5, 5, and 117.5 rounds up.
  TestImage src = Image(6, 4, 6);
  const uint8_t ramp[6] = {10, 20, 40, 80, 160, 240};
  for (int y = 0; y < 4; ++y) std::copy(ramp, ramp + 6, &src.at(0, y));
  TestImage dst = Image(6, 4, 6);
  ASSERT_EQ(Resize(src, dst, {{0, 0, 6, 4}, {0, 0, 6, 4}, 1.0, 1.0, -0.5, 0.0, PrimInterCubic}), PrimStsNoErr);
  for (int y = 0; y < 4; ++y) EXPECT_EQ(dst.Row(y), (std::vector<uint8_t>{14, 28, 56, 118, 205, 245})) << y;

  // The four-point cubic passes through every cubic polynomial: x^3 sampled
  // at x + 1/4 in the columns whose taps lie inside.
  TestImage cube = Image(7, 4, 7);
  for (int y = 0; y < 4; ++y) {
    for (int x = 0; x < 7; ++x) cube.at(x, y) = static_cast<uint8_t>(x * x * x);
  }
  TestImage out = Image(7, 4, 7);
  ASSERT_EQ(Resize(cube, out, {{0, 0, 7, 4}, {0, 0, 7, 4}, 1.0, 1.0, -0.25, 0.0, PrimInterCubic}), PrimStsNoErr);
  EXPECT_EQ(out.at(1, 2), 2);   // 1.953125
  EXPECT_EQ(out.at(2, 2), 11);  // 11.390625
  EXPECT_EQ(out.at(3, 2), 34);  // 34.328125
  EXPECT_EQ(out.at(4, 2), 77);  // 76.765625
}

TEST(PrimResizePlaneTest, CubicAndSupersamplingMatchTheirDefinitionsOnRandomPlanes) {
  struct Case {
    int code, sw, sh, dw, dh;
  };
  const Case cases[] = {{PrimInterCubic, 40, 30, 15, 11}, {PrimInterCubic, 13, 9, 40, 33},
                        {PrimInterCubic, 64, 7, 17, 20},  {PrimInterCubic, 5, 5, 12, 3},
                        {PrimInterSuper, 240, 135, 90, 60}, {PrimInterSuper, 29, 31, 13, 19},
                        {PrimInterSuper, 50, 9, 49, 4},   {PrimInterSuper, 7, 40, 3, 39},
                        {PrimInterSuper, 3, 1, 2, 1}};  // boxes [0, 1.5) and [1.5, 3)
  uint32_t seed = 10;
  for (const Case& k : cases) {
    SCOPED_TRACE(::testing::Message() << "code " << k.code << ", " << k.sw << "x" << k.sh << " to " << k.dw << "x"
                                      << k.dh);
    const TestImage src = RandomPlane(k.sw, k.sh, k.sw + 3, seed++);
    TestImage dst = Image(k.dw, k.dh, k.dw + 1);
    const Call c = Whole(src, dst, k.code);
    ASSERT_EQ(Resize(src, dst, c), PrimStsNoErr);
    ExpectMatchesReference(src, dst, c, k.code == PrimInterCubic ? ReferenceCubic : ReferenceBoxMean);
    EXPECT_TRUE(dst.GuardsIntact());
  }
}

TEST(PrimResizePlaneTest, NarrowSourcesInterpolateLinearly) {
  // Three columns: cubic gives way to two taps at the same positions.
  TestImage src = Image(3, 1, 3);
  src.at(0, 0) = 0;
  src.at(1, 0) = 100;
  src.at(2, 0) = 200;
  TestImage dst = Image(6, 2, 6);
  ASSERT_EQ(Resize(src, dst, Whole(src, dst, PrimInterCubic)), PrimStsNoErr);
  for (int y = 0; y < 2; ++y) EXPECT_EQ(dst.Row(y), (std::vector<uint8_t>{0, 25, 75, 125, 175, 200})) << y;
}

TEST(PrimResizePlaneTest, EnlargedEdgesKeepTheEdgeValue) {
  TestImage src = Image(8, 6, 8, 200);
  TestImage dst = Image(21, 17, 21, 0);
  for (int code : {PrimInterCubic, PrimInterLanczos, PrimInterCatmullRom}) {
    ASSERT_EQ(Resize(src, dst, Whole(src, dst, code)), PrimStsNoErr);
    for (int y = 0; y < 17; ++y) EXPECT_EQ(dst.Row(y), std::vector<uint8_t>(21, 200)) << code << " row " << y;
  }
}

TEST(PrimResizePlaneTest, SupersamplingByTwoAveragesFourPixels) {
  const TestImage src = RandomPlane(30, 18, 33, 3);
  TestImage dst = Image(15, 9, 15);
  ASSERT_EQ(Resize(src, dst, Whole(src, dst, PrimInterSuper)), PrimStsNoErr);
  for (int y = 0; y < 9; ++y) {
    for (int x = 0; x < 15; ++x) {
      const int sum = src.at(2 * x, 2 * y) + src.at(2 * x + 1, 2 * y) + src.at(2 * x, 2 * y + 1) +
                      src.at(2 * x + 1, 2 * y + 1);
      EXPECT_EQ(dst.at(x, y), (sum + 2) / 4) << x << "," << y;  // truncate(sum / 4 + 0.5)
    }
  }
}

TEST(PrimResizePlaneTest, SupersamplingKeepsToTheSourceRectangle) {
  // A 10-column rectangle inside a wider plane, reduced by 0.35: the last box
  // reaches past the rectangle and counts its edge column instead.
  const TestImage src = RandomPlane(16, 4, 16, 5);
  TestImage dst = Image(4, 4, 4);
  const Call c{{3, 0, 10, 4}, {0, 0, 4, 4}, 0.35, 1.0, 0, 0, PrimInterSuper};
  ASSERT_EQ(Resize(src, dst, c), PrimStsNoErr);
  // x0 * 0.35 = 1.05: destination columns 1 to 3; the first box starts
  // before the rectangle and counts its first column there.
  for (int y = 0; y < 4; ++y) {
    EXPECT_EQ(dst.at(0, y), 0);
    for (int x = 1; x < 4; ++x) ExpectPixel(dst.at(x, y), ReferenceBoxMean(src, x, y, c), x, y);
  }
}

TEST(PrimResizePlaneTest, WritesOnlyInsideTheDestinationRectangle) {
  const TestImage src = RandomPlane(20, 14, 20, 7);
  for (int code : {PrimInterCubic, PrimInterSuper, PrimInterLanczos}) {
    TestImage dst = Image(30, 20, 31, 0x5A);
    const Call c{{2, 3, 15, 10}, {4, 5, 9, 6}, 0.7, 0.5, 0, 0, code};
    ASSERT_EQ(Resize(src, dst, c), PrimStsNoErr);
    // The rectangle maps to [1.4, 11.9) across and [1.5, 6.5) down; inside the
    // destination rectangle [4, 13) by [5, 11) that is columns 4 to 11, rows 5 and 6.
    for (int y = 0; y < 20; ++y) {
      for (int x = 0; x < 30; ++x) {
        if (x >= 4 && x < 12 && y >= 5 && y < 7) continue;
        ASSERT_EQ(dst.at(x, y), 0x5A) << code << " at " << x << "," << y;
      }
    }
  }
}

TEST(PrimResizePlaneTest, ExtremeGeometryStaysInsideItsBuffers) {
  // Run under the sanitizers: tiny and huge factors, shifts that push the
  // picture off either side, boxes far wider than the source rectangle.
  const TestImage src = RandomPlane(9, 7, 9, 8);
  TestImage dst = Image(40, 30, 40, 0);
  int written = 0;
  const int codes[] = {PrimInterCubic, PrimInterLanczos, PrimInterNearest, PrimInterCubicBSpline, PrimInterSuper};
  for (int code : codes) {
    for (double factor : {1e-6, 0.013, 0.1, 0.5, 0.99, 3.7, 40.0}) {
      if (code == PrimInterSuper && factor > 1) continue;
      for (double shift : {-30.0, 0.0, 0.3, 0.45, 25.0}) {
        const Call c{{1, 2, 7, 5}, {0, 0, 30, 25}, factor, factor * 0.9, shift, -shift, code};
        const int status = Resize(src, dst, c);
        EXPECT_TRUE(status == PrimStsNoErr || status == PrimStsNoDestination) << status;
        written += status == PrimStsNoErr;
      }
    }
  }
  EXPECT_GT(written, 40);
}

TEST(PrimResizePlaneTest, OtherKernels) {
  // Nearest: each source pixel twice.
  const TestImage src = RandomPlane(5, 4, 5, 9);
  TestImage twice = Image(10, 8, 10);
  ASSERT_EQ(Resize(src, twice, Whole(src, twice, PrimInterNearest)), PrimStsNoErr);
  for (int y = 0; y < 8; ++y) {
    for (int x = 0; x < 10; ++x) EXPECT_EQ(twice.at(x, y), src.at(x / 2, y / 2)) << x << "," << y;
  }
  // The cubic B-spline smooths at factor 1 with weights 1/6, 4/6, 1/6.
  TestImage line = Image(9, 6, 9, 0);
  for (int y = 0; y < 6; ++y) line.at(4, y) = 240;
  TestImage smooth = Image(9, 6, 9);
  ASSERT_EQ(Resize(line, smooth, Whole(line, smooth, PrimInterCubicBSpline)), PrimStsNoErr);
  EXPECT_EQ(smooth.Row(3), (std::vector<uint8_t>{0, 0, 0, 40, 160, 40, 0, 0, 0}));
}

TEST(PrimResizePlaneTest, StatusesInTheirOrder) {
  const TestImage src = Image(8, 8, 8, 77);
  TestImage dst = Image(8, 8, 8, 9);
  std::vector<uint8_t> buffer(1 << 16);
  const PlaneRect whole{0, 0, 8, 8};
  auto resize = [&](const uint8_t* s, int width, PlaneRect srcRect, uint8_t* d, PlaneRect dstRect, double xf,
                    double xs, int code, uint8_t* b) {
    return PrimResizePlane(s, width, 8, 8, srcRect, d, 8, dstRect, xf, 1.0, xs, 0.0, code, b);
  };
  const uint8_t* s = src.data();
  uint8_t* d = dst.data();
  uint8_t* b = buffer.data();
  EXPECT_EQ(resize(nullptr, 8, whole, d, whole, 1, 0, 4, b), PrimStsNullPtrErr);
  EXPECT_EQ(resize(s, 8, whole, nullptr, whole, 1, 0, 4, b), PrimStsNullPtrErr);
  EXPECT_EQ(resize(s, 0, whole, d, whole, 1, 0, 4, nullptr), PrimStsNullPtrErr);  // pointers first
  EXPECT_EQ(resize(s, 0, whole, d, whole, 1, 0, 4, b), PrimStsSizeErr);
  EXPECT_EQ(resize(s, 8, {-1, 0, 8, 8}, d, whole, 1, 0, 4, b), PrimStsSizeErr);
  EXPECT_EQ(resize(s, 8, whole, d, {0, 0, 8, 0}, 1, 0, 4, b), PrimStsSizeErr);
  EXPECT_EQ(resize(s, 8, whole, d, whole, 0.0, 0, 99, b), PrimStsResizeFactorErr);  // factor before code
  EXPECT_EQ(resize(s, 8, whole, d, whole, 1, 0, 3, b), PrimStsInterpolationErr);
  EXPECT_EQ(resize(s, 8, whole, d, whole, 1, 0, static_cast<int>(0xC0000004u), b), PrimStsInterpolationErr);
  EXPECT_EQ(resize(s, 8, whole, d, whole, 1.5, 0, 8, b), PrimStsResizeFactorErr);
  EXPECT_EQ(resize(s, 8, {8, 0, 4, 4}, d, whole, 1, 0, 4, b), PrimStsNoSourceOverlap);
  EXPECT_EQ(resize(s, 8, {0, 8, 4, 4}, d, whole, 1, 0, 8, b), PrimStsNoSourceOverlap);
  EXPECT_EQ(resize(s, 8, whole, d, whole, 1, -100, 4, b), PrimStsNoDestination);
  EXPECT_EQ(resize(s, 8, whole, d, {4, 0, 4, 8}, 0.5, 0, 8, b), PrimStsNoDestination);
  EXPECT_EQ(dst.Pixels(), std::vector<uint8_t>(64, 9));  // none of them wrote
  EXPECT_EQ(resize(s, 8, whole, d, whole, 1, 0, static_cast<int>(0x40000004u), b), PrimStsNoErr);  // one flag
  EXPECT_EQ(dst.Pixels(), std::vector<uint8_t>(64, 77));
}

TEST(PrimResizeGetBufferSizeTest, StatusesAndSharedBuffers) {
  int32_t size = 0;
  const PlaneRect luma{0, 0, 1920, 1080}, target{0, 0, 720, 480};
  EXPECT_EQ(PrimResizeGetBufferSize(luma, target, 1, 4, nullptr), PrimStsNullPtrErr);
  EXPECT_EQ(PrimResizeGetBufferSize({0, -1, 4, 4}, target, 0, 99, &size), PrimStsSizeErr);
  EXPECT_EQ(PrimResizeGetBufferSize(luma, {0, 0, 0, 4}, 1, 4, &size), PrimStsSizeErr);
  EXPECT_EQ(PrimResizeGetBufferSize(luma, target, 2, 99, &size), PrimStsChannelCountErr);
  for (int channels : {1, 3, 4}) EXPECT_EQ(PrimResizeGetBufferSize(luma, target, channels, 4, &size), PrimStsNoErr);
  EXPECT_EQ(PrimResizeGetBufferSize(luma, target, 1, 3, &size), PrimStsInterpolationErr);
  for (uint32_t flags : {0xC0000000u, 0xA0000000u, 0x60000000u, 0xE0000000u}) {
    EXPECT_EQ(PrimResizeGetBufferSize(luma, target, 1, static_cast<int>(flags | 8), &size), PrimStsInterpolationErr);
  }
  for (uint32_t flag : {0x80000000u, 0x40000000u, 0x20000000u}) {
    EXPECT_EQ(PrimResizeGetBufferSize(luma, target, 1, static_cast<int>(flag | 8), &size), PrimStsNoErr);
  }

  // One buffer of the luma size serves the chroma planes of a 4:2:0 frame.
  for (int code : {PrimInterCubic, PrimInterSuper}) {
    ASSERT_EQ(PrimResizeGetBufferSize(luma, target, 1, code, &size), PrimStsNoErr);
    std::vector<uint8_t> buffer(static_cast<size_t>(size));
    for (int divisor : {1, 2}) {
      const TestImage src = RandomPlane(1920 / divisor, 1080 / divisor, 1920 / divisor, 30 + divisor);
      TestImage dst = Image(720 / divisor, 480 / divisor, 720 / divisor);
      const Call c = Whole(src, dst, code);
      EXPECT_EQ(PrimResizePlane(src.data(), src.rowBytes(), src.rows(), src.step(), c.srcRect, dst.data(),
                                dst.step(), c.dstRect, 0.375, 480.0 / 1080, 0, 0, code, buffer.data()),
                PrimStsNoErr);
    }
  }
}

}  // namespace
