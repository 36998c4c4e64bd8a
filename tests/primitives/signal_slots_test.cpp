// Every slot this processor supports against slot 0, for the resize, the FFT
// pair, the spectrum product and the inverse DCT: the same seeded inputs
// through both, and the outputs compared byte for byte (doubles bit for bit).
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "primitives/prim.h"
#include "test_image.h"

namespace {

using prim_test::TestImage;

class SignalSlotTest : public ::testing::TestWithParam<int> {
 protected:
  void SetUp() override {
    if (GetParam() > PrimHighestSupportedSlot()) GTEST_SKIP() << "this processor cannot run slot " << GetParam();
  }
  void TearDown() override { PrimInit(); }

  // Runs `work` in slot 0, then in the slot under test, checking that the
  // slot was really selected.
  template <typename Work>
  void InBothSlots(const Work& work) {
    ASSERT_TRUE(PrimForceSlot(0));
    work(0);
    ASSERT_TRUE(PrimForceSlot(GetParam()));
    ASSERT_EQ(g_primSlot, GetParam());
    work(1);
  }
};

struct ResizeCase {
  int srcWidth, srcHeight, srcPadding, dstWidth, dstHeight, dstPadding;
  PlaneRect srcRect, dstRect;
  double xFactor, yFactor, xShift, yShift;
  int code;
};

std::string Describe(const ResizeCase& c) {
  return "code " + std::to_string(c.code) + ", source " + std::to_string(c.srcWidth) + "x" +
         std::to_string(c.srcHeight) + " + " + std::to_string(c.srcPadding) + ", rect " + std::to_string(c.srcRect.x) +
         "," + std::to_string(c.srcRect.y) + " " + std::to_string(c.srcRect.width) + "x" +
         std::to_string(c.srcRect.height) + ", destination " + std::to_string(c.dstWidth) + "x" +
         std::to_string(c.dstHeight) + ", factors " + std::to_string(c.xFactor) + " " + std::to_string(c.yFactor);
}

// Factors and shifts whose boxes start and end on halves, quarters, ... of a
// pixel, as 1080 to 480 lines does: the variants sum such rows in integers.
// Up to 16 rows of at most 257 units in all go that way (1/16, and 64/65 in
// 64ths), more rows (1/17) the general way.
constexpr double kWholeUnitFactors[] = {0.5,     0.25, 480.0 / 1080, 576.0 / 1080, 2.0 / 3,     0.8,
                                        1.0 / 3, 1.0,  1.0 / 16,     1.0 / 17,     64.0 / 65};
constexpr double kWholeUnitShifts[] = {0, 0, 0.5, -0.25, 1};

// Random geometry: widths up to 2000 (mostly small, to keep the sanitizer
// run short), odd sizes, padded and unpadded strides (an odd padding puts
// every row but the first off alignment), rectangles inside and across the
// planes' edges, sub-pixel shifts, and factors of whole units in a third of
// the cases.
ResizeCase RandomResizeCase(std::mt19937& random, int code) {
  auto uniform = [&random](int low, int high) { return std::uniform_int_distribution<int>(low, high)(random); };
  auto real = [&random](double low, double high) { return std::uniform_real_distribution<double>(low, high)(random); };
  auto pick = [&uniform](const auto& values) { return values[uniform(0, static_cast<int>(std::size(values)) - 1)]; };
  ResizeCase c{};
  c.code = code;
  c.srcWidth = uniform(0, 9) == 0 ? uniform(1, 2000) : uniform(1, 300);
  c.srcHeight = uniform(1, 24);
  c.srcPadding = uniform(0, 2) == 0 ? 0 : uniform(1, 37);
  c.srcRect = {uniform(0, c.srcWidth / 4), uniform(0, c.srcHeight / 4), uniform(1, c.srcWidth + 3),
               uniform(1, c.srcHeight + 2)};
  if (uniform(0, 2) == 0) {
    c.xFactor = pick(kWholeUnitFactors);
    c.yFactor = pick(kWholeUnitFactors);
    c.xShift = pick(kWholeUnitShifts);
    c.yShift = pick(kWholeUnitShifts);
  } else {
    const bool reduce = code == PrimInterSuper || uniform(0, 1) == 0;
    c.xFactor = reduce ? real(0.05, 1.0) : real(1.0, 3.0);
    c.yFactor = reduce ? real(0.1, 1.0) : real(1.0, 3.0);
    if (uniform(0, 3) == 0) {
      c.xShift = real(-2, 2);
      c.yShift = real(-2, 2);
    }
  }
  c.dstWidth = std::max(1, static_cast<int>(c.srcWidth * c.xFactor) + uniform(0, 5));
  c.dstHeight = std::max(1, static_cast<int>(c.srcHeight * c.yFactor) + uniform(0, 3));
  c.dstPadding = uniform(0, 2) == 0 ? 0 : uniform(1, 19);
  c.dstRect = {uniform(0, 3), uniform(0, 2), c.dstWidth, c.dstHeight};
  // The destination plane holds its rectangle.
  c.dstWidth += c.dstRect.x;
  c.dstHeight += c.dstRect.y;
  return c;
}

// A resize work buffer of exactly the size asked for.
std::vector<uint8_t> WorkBuffer(PlaneRect srcRect, PlaneRect dstRect, int code) {
  int32_t size = 0;
  EXPECT_EQ(PrimResizeGetBufferSize(srcRect, dstRect, 1, code, &size), PrimStsNoErr);
  return std::vector<uint8_t>(static_cast<size_t>(size));
}

TEST_P(SignalSlotTest, ResizePlaneGivesTheSameBytes) {
  std::mt19937 random(1000 + GetParam());
  const int codes[] = {PrimInterCubic, PrimInterSuper, PrimInterLinear, PrimInterLanczos, PrimInterCatmullRom};
  for (int trial = 0; trial < 400; ++trial) {
    const ResizeCase c = RandomResizeCase(random, codes[trial % 5]);
    SCOPED_TRACE(Describe(c));
    TestImage src(c.srcWidth, c.srcHeight, c.srcPadding);
    src.FillRandom(random);
    TestImage dst[2] = {{c.dstWidth, c.dstHeight, c.dstPadding}, {c.dstWidth, c.dstHeight, c.dstPadding}};
    int status[2];
    InBothSlots([&](int run) {
      std::vector<uint8_t> buffer = WorkBuffer(c.srcRect, c.dstRect, c.code);
      status[run] = PrimResizePlane(src.data(), c.srcWidth, c.srcHeight, src.step(), c.srcRect, dst[run].data(),
                                    dst[run].step(), c.dstRect, c.xFactor, c.yFactor, c.xShift, c.yShift, c.code,
                                    buffer.data());
    });
    ASSERT_EQ(status[0], status[1]);
    ASSERT_TRUE(dst[0].Pixels() == dst[1].Pixels());
    ASSERT_TRUE(dst[1].GuardsIntact());
  }
}

// Boxes of many small units: 257/32 rows weigh 257 units of 1/32, the most
// whose sums of bright pixels 16 bits still hold; 259/32 rows are two units
// over, which the variants must sum the general way. Bright pictures make an
// overflow show, and their means stay bright.
TEST_P(SignalSlotTest, ResizeOfBrightPicturesInManyUnits) {
  std::mt19937 random(5);
  TestImage src(101, 40, 3);
  for (int y = 0; y < src.rows(); ++y) {
    for (int x = 0; x < src.rowBytes(); ++x) src.at(x, y) = static_cast<uint8_t>(240 + random() % 16);
  }
  for (const double boxRows : {257.0 / 32, 259.0 / 32}) {
    SCOPED_TRACE(boxRows);
    const PlaneRect srcRect{0, 0, 101, 40}, dstRect{0, 0, 50, 4};
    std::vector<uint8_t> out[2];
    InBothSlots([&](int run) {
      std::vector<uint8_t> buffer = WorkBuffer(srcRect, dstRect, PrimInterSuper);
      out[run].assign(50 * 4, 0);
      ASSERT_EQ(PrimResizePlane(src.data(), 101, 40, src.step(), srcRect, out[run].data(), 50, dstRect, 0.5,
                                1 / boxRows, 0, 0, PrimInterSuper, buffer.data()),
                PrimStsNoErr);
    });
    EXPECT_EQ(out[1], out[0]);
    EXPECT_GE(*std::min_element(out[1].begin(), out[1].end()), 240);
  }
}

// The 1920 by 1080 to 720 by 480 resize of the benchmarks, whose rows fill
// whole vectors, beside the random geometry above: the frame, one of its
// fields (every other row, as the crop-and-resize scales interlaced
// pictures) and a 4:2:0 chroma plane of the field.
TEST_P(SignalSlotTest, ResizeOfAFrameGivesTheSameBytes) {
  std::mt19937 random(77);
  TestImage src(1920, 1080);
  src.FillRandom(random);
  struct Plane {
    int width, height, step, targetWidth, targetHeight;
  };
  const Plane planes[] = {{1920, 1080, src.step(), 720, 480},
                          {1920, 540, 2 * src.step(), 720, 240},
                          {960, 270, 2 * src.step(), 360, 120}};
  for (const Plane& p : planes) {
    for (const int code : {PrimInterCubic, PrimInterSuper}) {
      std::vector<uint8_t> out[2];
      InBothSlots([&](int run) {
        const PlaneRect srcRect{0, 0, p.width, p.height}, dstRect{0, 0, p.targetWidth, p.targetHeight};
        std::vector<uint8_t> buffer = WorkBuffer(srcRect, dstRect, code);
        out[run].assign(static_cast<size_t>(p.targetWidth) * p.targetHeight, 0);
        ASSERT_EQ(PrimResizePlane(src.data(), p.width, p.height, p.step, srcRect, out[run].data(), p.targetWidth,
                                  dstRect, static_cast<double>(p.targetWidth) / p.width,
                                  static_cast<double>(p.targetHeight) / p.height, 0, 0, code, buffer.data()),
                  PrimStsNoErr);
      });
      EXPECT_EQ(out[1], out[0]) << p.width << "x" << p.height << ", code " << code;
    }
  }
}

std::vector<double> RandomSignal(std::mt19937& random, size_t length) {
  std::normal_distribution<double> normal(0, 1000);
  std::vector<double> signal(length);
  for (double& s : signal) s = normal(random);
  return signal;
}

// The variants keep the portable order of operations and use no fused
// multiply-add, so the doubles agree to the bit.
TEST_P(SignalSlotTest, FFTPairGivesTheSameDoubles) {
  std::mt19937 random(2000 + GetParam());
  const int flags[] = {PrimFFTDivForwardByN, PrimFFTDivInverseByN, PrimFFTDivBySqrtN, PrimFFTNoDivByAny};
  for (int order = 0; order <= 15; ++order) {
    SCOPED_TRACE("order " + std::to_string(order));
    const size_t n = size_t{1} << order;
    const std::vector<double> signal = RandomSignal(random, n);
    const int flag = flags[order % 4];
    std::vector<double> spectrum[2], back[2];
    InBothSlots([&](int run) {
      PrimFFTSpec* plan = nullptr;
      ASSERT_EQ(PrimFFTInitAlloc(&plan, order, flag, 0), PrimStsNoErr);
      // An odd run lends its own work buffer, an even one lets the transform allocate.
      std::vector<double> work(n + 1);
      auto* buffer = order % 2 == 1 ? reinterpret_cast<uint8_t*>(work.data()) : nullptr;
      spectrum[run].assign(n + 2, -1);
      back[run].assign(n, -1);
      EXPECT_EQ(PrimFFTForward(signal.data(), spectrum[run].data(), plan, buffer), PrimStsNoErr);
      EXPECT_EQ(PrimFFTInverse(spectrum[run].data(), back[run].data(), plan, buffer), PrimStsNoErr);
      PrimFFTFreeSpec(plan);
    });
    EXPECT_EQ(std::memcmp(spectrum[0].data(), spectrum[1].data(), spectrum[0].size() * sizeof(double)), 0);
    EXPECT_EQ(std::memcmp(back[0].data(), back[1].data(), back[0].size() * sizeof(double)), 0);
  }
}

TEST_P(SignalSlotTest, MulPackedSpectrumGivesTheSameDoubles) {
  std::mt19937 random(3000 + GetParam());
  for (int length : {1, 2, 3, 5, 8, 17, 1000, 1001, 8193}) {
    const std::vector<double> factor = RandomSignal(random, 2 * length + 1);
    const std::vector<double> start = RandomSignal(random, 2 * length + 1);
    std::vector<double> product[2];
    InBothSlots([&](int run) {
      // The arrays start one double past a 16-byte boundary when length is odd.
      product[run] = start;
      const size_t offset = length % 2;
      EXPECT_EQ(PrimMulPackedSpectrum(factor.data() + offset, product[run].data() + offset, length), PrimStsNoErr);
    });
    EXPECT_EQ(std::memcmp(product[0].data(), product[1].data(), product[0].size() * sizeof(double)), 0)
        << "length " << length;
  }
}

TEST_P(SignalSlotTest, IDCT8x8GivesTheSameBytes) {
  std::mt19937 random(4000 + GetParam());
  std::uniform_int_distribution<int> small(-300, 300), large(-32768, 32767);
  for (int trial = 0; trial < 400; ++trial) {
    int16_t coefficients[64];
    for (int16_t& c : coefficients) c = static_cast<int16_t>(trial % 3 == 0 ? large(random) : small(random));
    coefficients[0] = static_cast<int16_t>(trial % 3 == 0 ? large(random) : small(random) * 8 + 1024);
    const int count = trial % 64 - 1;
    const int step = 8 + trial % 5;
    TestImage out[2] = {{8, 8, step - 8}, {8, 8, step - 8}};
    out[0].Fill(0x11);
    out[1].Fill(0x77);
    InBothSlots([&](int run) { EXPECT_EQ(PrimIDCT8x8(coefficients, out[run].data(), step, count), PrimStsNoErr); });
    ASSERT_EQ(out[0].Pixels(), out[1].Pixels()) << "trial " << trial;
    ASSERT_TRUE(out[1].GuardsIntact());
  }
}

INSTANTIATE_TEST_SUITE_P(EverySlot, SignalSlotTest, ::testing::Range(1, kPrimSlotCount),
                         [](const ::testing::TestParamInfo<int>& info) { return "Slot" + std::to_string(info.param); });

}  // namespace
