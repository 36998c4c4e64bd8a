#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <random>

#include "primitives/prim.h"
#include "test_image.h"

namespace {

using prim_test::ForEachSlot;
using prim_test::TestImage;

struct Shape {
  int width, height, padding;
};
const Shape kShapes[] = {{1, 1, 0}, {3, 2, 5}, {17, 5, 0}, {64, 3, 7}, {255, 2, 1}};

// Applies `op` to two random sources and checks each destination byte
// against expected(a, b) and the guards.
template <typename Op, typename Expected>
void CheckBinaryOp(int bytesPerPixel, Op op, Expected expected) {
  std::mt19937 random(601);
  for (const Shape& s : kShapes) {
    SCOPED_TRACE(::testing::Message() << s.width << "x" << s.height);
    const int rowBytes = bytesPerPixel * s.width;
    TestImage a(rowBytes, s.height, s.padding), b(rowBytes, s.height, s.padding + 2), out(rowBytes, s.height, 3);
    a.FillRandom(random);
    b.FillRandom(random);
    ForEachSlot([&] {
      ASSERT_EQ(op(a, b, out, s.width, s.height), PrimStsNoErr);
      for (int y = 0; y < s.height; ++y) {
        for (int x = 0; x < rowBytes; ++x) {
          ASSERT_EQ(out.at(x, y), expected(a.at(x, y), b.at(x, y)))
              << x << "," << y << " of " << int(a.at(x, y)) << ", " << int(b.at(x, y));
        }
      }
      EXPECT_TRUE(out.GuardsIntact());
    });
  }
}

// --- Copy and fill ---

TEST(PlaneOpsTest, CopySetAndSetRGB) {
  CheckBinaryOp(
      1,
      [](const TestImage& a, const TestImage&, TestImage& out, int w, int h) {
        return PrimCopyPlane(a.data(), a.step(), out.data(), out.step(), w, h);
      },
      [](int a, int) { return a; });
  CheckBinaryOp(
      1,
      [](const TestImage&, const TestImage&, TestImage& out, int w, int h) {
        return PrimSetPlane(77, out.data(), out.step(), w, h);
      },
      [](int, int) { return 77; });
  const uint8_t colour[3] = {1, 2, 250};
  TestImage rgb(3 * 17, 3, 4);
  ASSERT_EQ(PrimSetRGB(colour, rgb.data(), rgb.step(), 17, 3), PrimStsNoErr);
  for (int y = 0; y < 3; ++y) {
    for (int x = 0; x < 3 * 17; ++x) ASSERT_EQ(rgb.at(x, y), colour[x % 3]) << x << "," << y;
  }
  EXPECT_TRUE(rgb.GuardsIntact());
}

TEST(PlaneOpsTest, CopyOntoItselfAndOntoInterleavedLines) {
  TestImage image(9, 6, 3);
  std::mt19937 random(602);
  image.FillRandom(random);
  const uint8_t top = image.at(4, 0), second = image.at(4, 2);
  ASSERT_EQ(PrimCopyPlane(image.data(), image.step(), image.data(), image.step(), 9, 6), PrimStsNoErr);
  EXPECT_EQ(image.at(4, 0), top);
  // Even lines onto odd lines, as a field doubler does.
  ASSERT_EQ(PrimCopyPlane(image.data(), 2 * image.step(), &image.at(0, 1), 2 * image.step(), 9, 3), PrimStsNoErr);
  EXPECT_EQ(image.at(4, 1), top);
  EXPECT_EQ(image.at(4, 3), second);
  EXPECT_TRUE(image.GuardsIntact());
}

// --- Arithmetic ---

TEST(PlaneOpsTest, AbsDiff) {
  CheckBinaryOp(
      1,
      [](const TestImage& a, const TestImage& b, TestImage& out, int w, int h) {
        return PrimAbsDiff(a.data(), a.step(), b.data(), b.step(), out.data(), out.step(), w, h);
      },
      [](int a, int b) { return std::abs(a - b); });
}

// The scaled sum as a quotient: round half to even (1.5 and 2.5 both to 2) is
// the default rounding mode of std::nearbyint.
int ExpectedScaledSum(int sum, int scale) {
  if (scale > 9) return 0;
  if (scale <= 0) return std::min(255.0, sum * std::ldexp(1.0, -scale));
  return static_cast<int>(std::nearbyint(sum * std::ldexp(1.0, -scale)));
}

TEST(PlaneOpsTest, AddScaledForEveryScale) {
  for (int scale = -10; scale <= 11; ++scale) {
    SCOPED_TRACE(::testing::Message() << "scale " << scale);
    CheckBinaryOp(
        1,
        [scale](const TestImage& a, const TestImage& b, TestImage& out, int w, int h) {
          return PrimAddScaled(a.data(), a.step(), b.data(), b.step(), out.data(), out.step(), w, h, scale);
        },
        [scale](int a, int b) { return ExpectedScaledSum(a + b, scale); });
  }
}

TEST(PlaneOpsTest, MulScaleRGB) {
  for (const int value : {0, 1, 128, 254, 255}) {
    CheckBinaryOp(
        3,
        [value](const TestImage& a, const TestImage&, TestImage& out, int w, int h) {
          return PrimMulScaleRGB(a.data(), a.step(), static_cast<uint8_t>(value), out.data(), out.step(), w, h);
        },
        // The product scaled by 255 and rounded down: 255 keeps, 0 clears.
        [value](int a, int) { return a * value / 255; });
  }
}

// --- Thresholds and comparison ---

TEST(PlaneOpsTest, ThresholdsClampInPlace) {
  std::mt19937 random(603);
  TestImage image(37, 4, 3);
  image.FillRandom(random);
  const TestImage before = image.Clone();
  ASSERT_EQ(PrimThresholdLow(image.data(), image.step(), 37, 4, 16), PrimStsNoErr);
  ASSERT_EQ(PrimThresholdHigh(image.data(), image.step(), 37, 4, 235), PrimStsNoErr);
  for (int y = 0; y < 4; ++y) {
    for (int x = 0; x < 37; ++x) ASSERT_EQ(image.at(x, y), std::clamp<int>(before.at(x, y), 16, 235));
  }
  EXPECT_TRUE(image.GuardsIntact());
}

TEST(PlaneOpsTest, CompareConstForEachCode) {
  using Holds = bool (*)(int, int);
  const Holds holds[] = {[](int b, int v) { return b < v; }, [](int b, int v) { return b <= v; },
                         [](int b, int v) { return b == v; }, [](int b, int v) { return b >= v; },
                         [](int b, int v) { return b > v; }};
  for (int op = 0; op < 5; ++op) {
    for (const int value : {0, 77, 255}) {
      SCOPED_TRACE(::testing::Message() << "op " << op << " value " << value);
      CheckBinaryOp(
          1,
          [op, value](const TestImage& a, const TestImage&, TestImage& out, int w, int h) {
            return PrimCompareConst(a.data(), a.step(), static_cast<uint8_t>(value), out.data(), out.step(), w, h, op);
          },
          [op, value, &holds](int a, int) { return holds[op](a, value) ? 255 : 0; });
    }
  }
  // A code above 4 leaves the destination as it was.
  const uint8_t src[2] = {0, 9};
  uint8_t dst[2] = {5, 6};
  EXPECT_EQ(PrimCompareConst(src, 2, 3, dst, 2, 2, 1, 5), PrimStsNoErr);
  EXPECT_EQ(dst[0], 5);
  EXPECT_EQ(dst[1], 6);
}

// --- Alpha composition ---

// Porter-Duff on the alphas alone: each type's result for colours of 255 is
// the composite alpha of its operator (scaled to 255 and rounded down).
TEST(PlaneOpsTest, AlphaTypesFollowPorterDuff) {
  const uint8_t white[3] = {255, 255, 255};
  const int a = 200, b = 100;
  const auto m = [](int x, int y) { return x * y / 255; };
  const int expected[] = {
      m(a, 255) + m(m(b, 255), 255 - a),  // over: A + B (1 - aA)
      m(m(255, a), b),                    // in: A aB
      m(m(255, a), 255 - b),              // out: A (1 - aB)
      m(m(255, a), b) + m(b, 255 - a),    // atop: A aB + B (1 - aA)
      m(a, 255 - b) + m(b, 255 - a),      // xor
      std::min(255, a + b),               // plus
  };
  for (int type = 0; type < 6; ++type) {
    uint8_t out[3];
    ASSERT_EQ(PrimAlphaCompRGB(white, 3, a, white, 3, b, out, 3, 1, 1, type), PrimStsNoErr);
    EXPECT_EQ(out[0], expected[type]) << "type " << type;
    // The premultiplied form of the same sources gives the same result.
    const uint8_t first[3] = {static_cast<uint8_t>(a), 0, 0}, second[3] = {static_cast<uint8_t>(b), 0, 0};
    ASSERT_EQ(PrimAlphaCompRGB(first, 3, a, second, 3, b, out, 3, 1, 1, type + PrimAlphaOverPremul), 0);
    EXPECT_EQ(out[0], expected[type]) << "premultiplied type " << type;
  }
  uint8_t untouched[3] = {1, 2, 3};
  EXPECT_EQ(PrimAlphaCompRGB(white, 3, a, white, 3, b, untouched, 3, 1, 1, 12), PrimStsNoErr);
  EXPECT_EQ(untouched[0], 1);
}

// M(a, b) = a * b / 255 rounded down; over with the second image opaque:
// M(a, alpha) + M(b, 255 - alpha), so alpha 255 hides the second image and 0 shows it.
TEST(PlaneOpsTest, AlphaOverOnRandomImages) {
  for (const int alpha : {0, 90, 255}) {
    CheckBinaryOp(
        3,
        [alpha](const TestImage& a, const TestImage& b, TestImage& out, int w, int h) {
          return PrimAlphaCompRGB(a.data(), a.step(), static_cast<uint8_t>(alpha), b.data(), b.step(), 255, out.data(),
                                  out.step(), w, h, PrimAlphaOver);
        },
        [alpha](int a, int b) { return std::min(255, a * alpha / 255 + b * (255 - alpha) / 255); });
  }
}

// --- Mirror ---

// Where pixel (x, y) of a mirrored image comes from.
std::array<int, 2> MirrorSource(int x, int y, int width, int height, int axis) {
  const bool rows = axis != PrimMirrorPixelOrder, pixels = axis != PrimMirrorRowOrder;
  return {pixels ? width - 1 - x : x, rows ? height - 1 - y : y};
}

TEST(PlaneOpsTest, MirrorCopyAndInPlaceAgree) {
  std::mt19937 random(604);
  for (const Shape& s : {Shape{2, 2, 0}, Shape{3, 5, 3}, Shape{8, 4, 1}, Shape{33, 7, 0}}) {
    for (int axis = 0; axis < 3; ++axis) {
      SCOPED_TRACE(::testing::Message() << s.width << "x" << s.height << " axis " << axis);
      TestImage src(3 * s.width, s.height, s.padding), copy(3 * s.width, s.height, 2);
      TestImage rgb(3 * s.width, s.height, s.padding), plane(s.width, s.height, s.padding);
      src.FillRandom(random);
      for (int y = 0; y < s.height; ++y) {
        std::copy_n(&src.at(0, y), 3 * s.width, &rgb.at(0, y));
        std::copy_n(&src.at(0, y), s.width, &plane.at(0, y));
      }
      ASSERT_EQ(PrimMirrorCopyRGB(src.data(), src.step(), copy.data(), copy.step(), s.width, s.height, axis), 0);
      ASSERT_EQ(PrimMirrorRGB(rgb.data(), rgb.step(), s.width, s.height, axis), 0);
      ASSERT_EQ(PrimMirrorPlane(plane.data(), plane.step(), s.width, s.height, axis), 0);
      for (int y = 0; y < s.height; ++y) {
        for (int x = 0; x < s.width; ++x) {
          const auto [sx, sy] = MirrorSource(x, y, s.width, s.height, axis);
          for (int c = 0; c < 3; ++c) {
            ASSERT_EQ(copy.at(3 * x + c, y), src.at(3 * sx + c, sy)) << x << "," << y;
            ASSERT_EQ(rgb.at(3 * x + c, y), src.at(3 * sx + c, sy)) << x << "," << y;
          }
          ASSERT_EQ(plane.at(x, y), src.at(sx, sy)) << x << "," << y;
        }
      }
      EXPECT_TRUE(copy.GuardsIntact() && rgb.GuardsIntact() && plane.GuardsIntact());
    }
  }
}

// --- Statuses ---

TEST(PlaneOpsTest, StatusesOfPlaneOperations) {
  uint8_t a[32] = {}, b[32] = {}, out[32] = {};
  const uint8_t colour[3] = {};
  // Each primitive with a null pointer, a zero width and a zero height.
  const std::function<int(const uint8_t*, uint8_t*, int, int)> calls[] = {
      [](const uint8_t* s, uint8_t* d, int w, int h) { return PrimCopyPlane(s, 4, d, 4, w, h); },
      [](const uint8_t*, uint8_t* d, int w, int h) { return PrimSetPlane(1, d, 4, w, h); },
      [&](const uint8_t*, uint8_t* d, int w, int h) { return PrimSetRGB(colour, d, 12, w, h); },
      [](const uint8_t*, uint8_t* d, int w, int h) { return PrimSetRGB(nullptr, d, 12, w, h); },
      [&](const uint8_t* s, uint8_t* d, int w, int h) { return PrimAbsDiff(s, 4, b, 4, d, 4, w, h); },
      [&](const uint8_t* s, uint8_t* d, int w, int h) { return PrimAddScaled(b, 4, s, 4, d, 4, w, h, 1); },
      [](const uint8_t* s, uint8_t* d, int w, int h) { return PrimMulScaleRGB(s, 12, 9, d, 12, w, h); },
      [](const uint8_t*, uint8_t* d, int w, int h) { return PrimThresholdLow(d, 4, w, h, 9); },
      [](const uint8_t*, uint8_t* d, int w, int h) { return PrimThresholdHigh(d, 4, w, h, 9); },
      [](const uint8_t* s, uint8_t* d, int w, int h) { return PrimCompareConst(s, 4, 9, d, 4, w, h, 0); },
      [&](const uint8_t* s, uint8_t* d, int w, int h) {
        return PrimAlphaCompRGB(b, 12, 9, s, 12, 9, d, 12, w, h, PrimAlphaOver);
      },
      [](const uint8_t* s, uint8_t* d, int w, int h) { return PrimMirrorCopyRGB(s, 12, d, 12, w, h, 2); },
      [](const uint8_t*, uint8_t* d, int w, int h) { return PrimMirrorRGB(d, 12, w, h, 2); },
      [](const uint8_t*, uint8_t* d, int w, int h) { return PrimMirrorPlane(d, 4, w, h, 2); },
  };
  for (size_t i = 0; i < std::size(calls); ++i) {
    SCOPED_TRACE(::testing::Message() << "call " << i);
    const int expectedValid = i == 3 ? PrimStsNullPtrErr : PrimStsNoErr;
    EXPECT_EQ(calls[i](a, out, 2, 2), expectedValid);
    EXPECT_EQ(calls[i](a, nullptr, 2, 2), PrimStsNullPtrErr);
    EXPECT_EQ(calls[i](a, nullptr, 0, 0), PrimStsNullPtrErr);  // null is tested before the size
    EXPECT_EQ(calls[i](a, out, 0, 2), i == 3 ? PrimStsNullPtrErr : PrimStsSizeErr);
    EXPECT_EQ(calls[i](a, out, 2, -1), i == 3 ? PrimStsNullPtrErr : PrimStsSizeErr);
  }
  EXPECT_EQ(PrimCopyPlane(nullptr, 4, out, 4, 2, 2), PrimStsNullPtrErr);
  EXPECT_EQ(PrimAbsDiff(a, 4, nullptr, 4, out, 4, 2, 2), PrimStsNullPtrErr);

  // Steps: below the width for AbsDiff, below 1 for CompareConst.
  EXPECT_EQ(PrimAbsDiff(a, 3, b, 4, out, 4, 4, 2), PrimStsStepErr);
  EXPECT_EQ(PrimAbsDiff(a, 4, b, 4, out, 3, 4, 2), PrimStsStepErr);
  EXPECT_EQ(PrimAbsDiff(a, 4, b, 4, out, 4, 4, 2), PrimStsNoErr);
  EXPECT_EQ(PrimCompareConst(a, 0, 1, out, 4, 2, 2, 0), PrimStsStepErr);
  EXPECT_EQ(PrimCompareConst(a, 1, 1, out, 0, 1, 2, 0), PrimStsStepErr);
  EXPECT_EQ(PrimCompareConst(a, 1, 1, out, 1, 0, 2, 0), PrimStsSizeErr);

  // Mirror axes, and the sizes each axis needs.
  EXPECT_EQ(PrimMirrorPlane(out, 4, 2, 2, 3), PrimStsMirrorAxisErr);
  EXPECT_EQ(PrimMirrorPlane(out, 4, 2, 2, -1), PrimStsMirrorAxisErr);
  EXPECT_EQ(PrimMirrorPlane(out, 4, 0, 2, 3), PrimStsSizeErr);
  EXPECT_EQ(PrimMirrorRGB(out, 3, 1, 1, 2), PrimStsSizeErr);
  EXPECT_EQ(PrimMirrorRGB(out, 3, 1, 2, 0), PrimStsNoErr);
  EXPECT_EQ(PrimMirrorRGB(out, 3, 1, 2, 1), PrimStsSizeErr);
  EXPECT_EQ(PrimMirrorRGB(out, 6, 2, 1, 1), PrimStsNoErr);
  EXPECT_EQ(PrimMirrorCopyRGB(a, 6, out, 6, 2, 1, 0), PrimStsSizeErr);
  EXPECT_EQ(PrimMirrorCopyRGB(a, 6, out, 6, 2, 1, 2), PrimStsSizeErr);
}

}  // namespace
