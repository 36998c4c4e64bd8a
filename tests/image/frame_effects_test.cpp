#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <vector>

#include "image/image_support.h"

namespace {

using Values = std::vector<int64_t>;

CYUVFrame Grey(int width, int height, CHROMA chroma, uint8_t luma) {
  CYUVFrame frame(width, height, chroma);
  std::memset(frame.y, luma, static_cast<size_t>(frame.lumaPlaneSize));
  std::memset(frame.u, 128, 2 * static_cast<size_t>(frame.chromaPlaneSize));
  return frame;
}

// The luma that a grey RGB level gives in studio range.
int StudioLuma(int level) { return (16843 * level + 33030 * level + 6423 * level + 0x108000) >> 16; }

TEST(FadeTest, LevelsRunLinearlyInEightBitSteps) {
  // Luma 235 converts to RGB 255 (the 4:2:0 path rounds), so each frame is
  // grey at the fade's level.
  const CYUVFrame source = Grey(16, 8, CHROMA_420, 235);
  std::vector<CYUVFrame> frames(255);
  CImageSupport::FadeToFromBlack(frames.data(), source, 255, CImageSupport::FADE_TO_BLACK);
  EXPECT_EQ((Values{frames[0].y[0], frames[1].y[0], frames[254].y[0]}),
            (Values{StudioLuma(255), StudioLuma(254), StudioLuma(1)}));
  CImageSupport::FadeToFromBlack(frames.data(), source, 255, CImageSupport::FADE_FROM_BLACK);
  EXPECT_EQ((Values{frames[0].y[0], frames[254].y[0]}), (Values{StudioLuma(1), StudioLuma(255)}));

  std::vector<CYUVFrame> one(1);
  CImageSupport::FadeToFromBlack(one.data(), source, 1, CImageSupport::FADE_FROM_BLACK);
  EXPECT_EQ(one[0].y[0], StudioLuma(1));

  const CYUVFrame full = Grey(16, 8, CHROMA_444, 100);
  CImageSupport::FadeToFromBlack(one.data(), full, 1, CImageSupport::FADE_TO_BLACK);
  EXPECT_EQ(0, std::memcmp(one[0].y, full.y, full.bufferSize));
}

CYUVFrame Striped(int width, int height, uint8_t even, uint8_t odd) {
  CYUVFrame frame(width, height, CHROMA_420);
  for (int row = 0; row < height; ++row) {
    std::memset(frame.y + row * frame.stride, row % 2 == 0 ? even : odd, static_cast<size_t>(frame.stride));
  }
  return frame;
}

// Bob doubles the kept field; merge weaves luma and averages chroma; the
// pattern puts black and white on opposite fields, and the swap exchanges them.
TEST(FieldOperationsTest, BobMergePatternAndSwap) {
  CYUVFrame frame = Striped(16, 8, 10, 200);
  CImageSupport::DeinterlaceFrameUsingBOB(frame, true);
  EXPECT_EQ(frame.y[frame.stride], 10);
  frame = Striped(16, 8, 10, 200);
  CImageSupport::DeinterlaceFrameUsingBOB(frame, false);
  EXPECT_EQ((Values{frame.y[0], frame.y[7 * frame.stride]}), (Values{200, 200}));

  CYUVFrame first = Grey(16, 8, CHROMA_420, 30);
  CYUVFrame second = Grey(16, 8, CHROMA_420, 90);
  std::memset(first.u, 2, static_cast<size_t>(first.chromaPlaneSize));
  std::memset(second.u, 5, static_cast<size_t>(second.chromaPlaneSize));
  CYUVFrame target;
  CImageSupport::MergeFields(target, true, first, second);
  // (2 + 5) / 2 rounds half to even.
  EXPECT_EQ((Values{target.y[0], target.y[target.stride], target.u[0]}), (Values{30, 90, 4}));
  CImageSupport::MergeFields(first, false, first, second);
  EXPECT_EQ((Values{first.y[0], first.y[first.stride]}), (Values{90, 30}));

  CYUVFrame pattern(16, 4, CHROMA_420);
  CImageSupport::CreateFieldTestPattern(&pattern);
  const uint8_t* y = pattern.y;
  const int stride = pattern.stride;
  EXPECT_EQ((Values{y[0], y[15], y[stride], y[stride + 15]}), (Values{0, 255, 255, 0}));
  CImageSupport::SwapFields(&pattern);
  EXPECT_EQ((Values{pattern.y[0], pattern.y[stride + 15]}), (Values{255, 255}));
}

TEST(SceneScannerTest, InclusiveBoundsAndAccumulatedSquares) {
  std::vector<uint8_t> plane(32 * 16);
  for (size_t i = 0; i < plane.size(); ++i) plane[i] = static_cast<uint8_t>(i % 251);
  unsigned sum, maximum, minimum, count;
  int64_t squares = 100;
  CImageSupport::SceneScannerWithoutHistogram(plane[0], 32, 10, 10, 5, 5, sum, maximum, minimum, count, squares);
  const unsigned sample = plane[10 * 32 + 5];
  EXPECT_EQ((Values{count, sum, maximum, minimum, squares}),
            (Values{1, sample, sample, sample, 100 + sample * sample}));

  std::vector<unsigned> histogram(256, 1);
  squares = 0;
  CImageSupport::SceneScannerWithHistogram(plane[0], 32, 0, 1, 0, 31, sum, maximum, minimum, count, squares,
                                           histogram[0]);
  EXPECT_EQ((Values{count, sum, minimum, maximum}), (Values{64, 63 * 64 / 2, 0, 63}));
  EXPECT_EQ((Values{histogram[5], histogram[64]}), (Values{2, 1})) << "not cleared: 1 + one sample";
}

TEST(PsnrTest, IdenticalFramesAndOneLevelApart) {
  const CYUVFrame a = Grey(64, 32, CHROMA_420, 100);
  const CYUVFrame b = Grey(64, 32, CHROMA_420, 101);
  double psnr = 0;
  int largest = -1;
  CImageSupport::ComputePSNR(a, a, CRect(0, 0, 64, 32), psnr, largest);
  EXPECT_TRUE(std::isinf(psnr) && psnr > 0);
  EXPECT_EQ(largest, 0);
  CImageSupport::ComputePSNR(a, b, CRect(0, 0, 64, 32), psnr, largest);
  EXPECT_NEAR(psnr, 20.0 * std::log10(255.0), 1e-9);  // ~48.13 dB
  EXPECT_EQ(largest, 1);
}

TEST(DifferenceFrameTest, MarksChangesAndRemembersThePicture) {
  CYUVFrame current = Grey(32, 16, CHROMA_420, 100);
  CYUVFrame previous;
  CYUVFrame difference;
  int count = -1;
  unsigned char maximum = 0;
  CImageSupport::CreateDifferenceFrame(current, previous, difference, CRect(), 10, count, maximum);
  EXPECT_EQ(count, 0);  // previous was assigned from current first
  current.y[3 * current.stride + 4] = 130;
  current.y[5 * current.stride + 6] = 105;
  current.y[0] = 0;  // held to 16: a difference of 84
  CImageSupport::CreateDifferenceFrame(current, previous, difference, CRect(), 10, count, maximum);
  EXPECT_EQ((Values{count, maximum, difference.y[3 * difference.stride + 4], difference.y[5 * difference.stride + 6],
                    difference.u[0], current.y[0], previous.y[3 * previous.stride + 4]}),
            (Values{2, 84, 255, 0, 128, 16, 130}));

  CImageSupport::CreateDifferenceFrame(current, previous, difference, CRect(0, 0, 8, 8), 0, count, maximum);
  EXPECT_EQ(count, 64);
}

TEST(SolidColourAndFlipTest, ColoursFlipsAndBlackWhite) {
  CYUVFrame frame;
  CImageSupport::BuildSolidColorYUVFrame(frame, 0xFFFFFF, CHROMA_422, 20, 10);
  EXPECT_EQ((Values{frame.y[0], frame.u[frame.chromaPlaneSize - 1]}), (Values{235, 128}));

  std::vector<uint8_t> rgb(3 * 4 * 2);
  CImageSupport::FillRGBBufferWithSolidColor(rgb.data(), 0x030201, 4, 2);
  EXPECT_EQ((Values{rgb[0], rgb[23]}), (Values{1, 3}));
  for (int i = 0; i < 4; ++i) rgb[3 * i] = static_cast<uint8_t>(i);
  CImageSupport::FlipRGBBuffer(rgb.data(), 4, 2, CImageSupport::FLIP_HORIZONTAL);
  EXPECT_EQ((Values{rgb[0], rgb[9], rgb[12]}), (Values{3, 0, 1})) << "the second line stays where it was";

  CYUVFrame striped = Striped(16, 4, 10, 200);
  CImageSupport::FlipYUVFrame(striped, CImageSupport::FLIP_VERTICAL);
  EXPECT_EQ(striped.y[0], 200);

  CYUVFrame bw;
  CImageSupport::ConvertFrametoBlackWhite(striped, bw, 0, CImageSupport::INVERT_BLACK_WHITE_OFF);
  EXPECT_EQ((Values{bw.y[0], bw.y[bw.lumaPlaneSize - 1]}), (Values{235, 235}));
  CImageSupport::ConvertFrametoBlackWhite(striped, bw, 100, CImageSupport::INVERT_BLACK_WHITE_ON);
  EXPECT_EQ((Values{bw.y[0], bw.y[bw.stride], bw.v[0]}), (Values{16, 235, 128}));
}

TEST(OverlayTest, AlphaOverComposition) {
  std::vector<uint8_t> under(3 * 4 * 4, 200), target(3 * 4 * 4, 0), overlay(3 * 2 * 2, 100);
  CImageSupport::MergeRGBBitmapsWithAlpha(target.data(), under.data(), 4, 4, 1, 1, overlay.data(), 2, 2, 0);
  // alpha 0: min(255, M(200, 0) + M(M(100, 255), 255)) = 100.
  EXPECT_EQ(target[3 * (4 * 1 + 1)], 100);
  EXPECT_EQ(target[0], 0);  // outside the overlay nothing is written
}

}  // namespace
