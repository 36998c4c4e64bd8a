#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <vector>

#include "image/image_support.h"

namespace {

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
  EXPECT_EQ(frames[0].y[0], StudioLuma(255));
  EXPECT_EQ(frames[1].y[0], StudioLuma(254));
  EXPECT_EQ(frames[254].y[0], StudioLuma(1));
  CImageSupport::FadeToFromBlack(frames.data(), source, 255, CImageSupport::FADE_FROM_BLACK);
  EXPECT_EQ(frames[0].y[0], StudioLuma(1));
  EXPECT_EQ(frames[254].y[0], StudioLuma(255));

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

TEST(FieldOperationsTest, BobDoublesTheKeptField) {
  CYUVFrame frame = Striped(16, 8, 10, 200);
  CImageSupport::DeinterlaceFrameUsingBOB(frame, true);
  EXPECT_EQ(frame.y[frame.stride], 10);
  frame = Striped(16, 8, 10, 200);
  CImageSupport::DeinterlaceFrameUsingBOB(frame, false);
  EXPECT_EQ(frame.y[0], 200);
  EXPECT_EQ(frame.y[7 * frame.stride], 200);
}

TEST(FieldOperationsTest, MergeWeavesLumaAndAveragesChroma) {
  CYUVFrame first = Grey(16, 8, CHROMA_420, 30);
  CYUVFrame second = Grey(16, 8, CHROMA_420, 90);
  std::memset(first.u, 2, static_cast<size_t>(first.chromaPlaneSize));
  std::memset(second.u, 5, static_cast<size_t>(second.chromaPlaneSize));
  CYUVFrame target;
  CImageSupport::MergeFields(target, true, first, second);
  EXPECT_EQ(target.y[0], 30);
  EXPECT_EQ(target.y[target.stride], 90);
  EXPECT_EQ(target.u[0], 4);  // (2 + 5) / 2 rounds half to even
  CImageSupport::MergeFields(first, false, first, second);
  EXPECT_EQ(first.y[0], 90);
  EXPECT_EQ(first.y[first.stride], 30);
}

TEST(FieldOperationsTest, PatternAndSwap) {
  CYUVFrame frame(16, 4, CHROMA_420);
  CImageSupport::CreateFieldTestPattern(&frame);
  EXPECT_EQ(frame.y[0], 0);
  EXPECT_EQ(frame.y[15], 255);
  EXPECT_EQ(frame.y[frame.stride], 255);
  EXPECT_EQ(frame.y[frame.stride + 15], 0);
  CImageSupport::SwapFields(&frame);
  EXPECT_EQ(frame.y[0], 255);
  EXPECT_EQ(frame.y[frame.stride + 15], 255);
}

TEST(SceneScannerTest, InclusiveBoundsAndAccumulatedSquares) {
  std::vector<uint8_t> plane(32 * 16);
  for (size_t i = 0; i < plane.size(); ++i) plane[i] = static_cast<uint8_t>(i % 251);
  unsigned sum, maximum, minimum, count;
  int64_t squares = 100;
  CImageSupport::SceneScannerWithoutHistogram(plane[0], 32, 10, 10, 5, 5, sum, maximum, minimum, count, squares);
  const unsigned sample = plane[10 * 32 + 5];
  EXPECT_EQ(count, 1u);
  EXPECT_EQ(sum, sample);
  EXPECT_EQ(maximum, sample);
  EXPECT_EQ(minimum, sample);
  EXPECT_EQ(squares, 100 + static_cast<int64_t>(sample * sample));

  std::vector<unsigned> histogram(256, 1);
  squares = 0;
  CImageSupport::SceneScannerWithHistogram(plane[0], 32, 0, 1, 0, 31, sum, maximum, minimum, count, squares,
                                           histogram[0]);
  EXPECT_EQ(count, 64u);
  EXPECT_EQ(sum, 63u * 64 / 2);
  EXPECT_EQ(minimum, 0u);
  EXPECT_EQ(maximum, 63u);
  EXPECT_EQ(histogram[5], 2u);  // not cleared: 1 + one sample
  EXPECT_EQ(histogram[64], 1u);
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
  EXPECT_EQ(count, 2);
  EXPECT_EQ(maximum, 84);
  EXPECT_EQ(difference.y[3 * difference.stride + 4], 255);
  EXPECT_EQ(difference.y[5 * difference.stride + 6], 0);
  EXPECT_EQ(difference.u[0], 128);
  EXPECT_EQ(current.y[0], 16);
  EXPECT_EQ(previous.y[3 * previous.stride + 4], 130);

  CImageSupport::CreateDifferenceFrame(current, previous, difference, CRect(0, 0, 8, 8), 0, count, maximum);
  EXPECT_EQ(count, 64);
}

TEST(SolidColourAndFlipTest, ColoursFlipsAndBlackWhite) {
  CYUVFrame frame;
  CImageSupport::BuildSolidColorYUVFrame(frame, 0xFFFFFF, CHROMA_422, 20, 10);
  EXPECT_EQ(frame.y[0], 235);
  EXPECT_EQ(frame.u[frame.chromaPlaneSize - 1], 128);

  std::vector<uint8_t> rgb(3 * 4 * 2);
  CImageSupport::FillRGBBufferWithSolidColor(rgb.data(), 0x030201, 4, 2);
  EXPECT_EQ(rgb[0], 1);
  EXPECT_EQ(rgb[23], 3);
  for (int i = 0; i < 4; ++i) rgb[3 * i] = static_cast<uint8_t>(i);
  CImageSupport::FlipRGBBuffer(rgb.data(), 4, 2, CImageSupport::FLIP_HORIZONTAL);
  EXPECT_EQ(rgb[0], 3);
  EXPECT_EQ(rgb[9], 0);
  EXPECT_EQ(rgb[12], 1);  // the second line stays where it was

  CYUVFrame striped = Striped(16, 4, 10, 200);
  CImageSupport::FlipYUVFrame(striped, CImageSupport::FLIP_VERTICAL);
  EXPECT_EQ(striped.y[0], 200);

  CYUVFrame bw;
  CImageSupport::ConvertFrametoBlackWhite(striped, bw, 0, CImageSupport::INVERT_BLACK_WHITE_OFF);
  EXPECT_EQ(bw.y[0], 235);
  EXPECT_EQ(bw.y[bw.lumaPlaneSize - 1], 235);
  CImageSupport::ConvertFrametoBlackWhite(striped, bw, 100, CImageSupport::INVERT_BLACK_WHITE_ON);
  EXPECT_EQ(bw.y[0], 16);
  EXPECT_EQ(bw.y[bw.stride], 235);
  EXPECT_EQ(bw.v[0], 128);
}

TEST(OverlayTest, AlphaOverComposition) {
  std::vector<uint8_t> under(3 * 4 * 4, 200), target(3 * 4 * 4, 0), overlay(3 * 2 * 2, 100);
  CImageSupport::MergeRGBBitmapsWithAlpha(target.data(), under.data(), 4, 4, 1, 1, overlay.data(), 2, 2, 0);
  // alpha 0: min(255, M(200, 0) + M(M(100, 255), 255)) = 100.
  EXPECT_EQ(target[3 * (4 * 1 + 1)], 100);
  EXPECT_EQ(target[0], 0);  // outside the overlay nothing is written
}

}  // namespace
