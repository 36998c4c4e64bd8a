#include <gtest/gtest.h>

#include <cstring>

#include "image/image_support.h"
#include "support/library_checks.h"

namespace {

using Quality = CImageSupport::RESIZE_QUALITY;

// Owns a parameter block for the length of a test.
struct Block {
  CCropResizeParams* params = nullptr;
  Block(CSize source, CSize target, CRect area, CRect margins, CHROMA chroma, Quality quality, int keepTopLines = 0,
        unsigned long fill = 0) {
    CImageSupport::CropResizeYUVInitialize(&params, source, target, area, margins, fill, chroma, keepTopLines,
                                           quality);
  }
  ~Block() { CImageSupport::CropResizeYUVReleaseParamBlock(params); }
  const CCropResizeParams& operator*() const { return *params; }
  const CCropResizeParams* operator->() const { return params; }
};

const CRect kNoMargins(0, 0, 0, 0);

TEST(CropResizeInitTest, HdToSdFactorsAndInterpolation) {
  const CSize hd(1920, 1080), sd(720, 480);
  const CRect all(0, 0, 1920, 1080);
  Block super(hd, sd, all, kNoMargins, CHROMA_420, CImageSupport::RESIZE_QUALITY_SUPERSAMPLE);
  EXPECT_DOUBLE_EQ(super->xFactor, 0.375);
  EXPECT_DOUBLE_EQ(super->yFactor, 480.0 / 1080.0);
  EXPECT_EQ(super->interpolation, 8);
  EXPECT_FALSE(super->fillBackground);
  EXPECT_FALSE(super->copyArea);
  EXPECT_EQ(Block(hd, sd, all, kNoMargins, CHROMA_422, CImageSupport::RESIZE_QUALITY_STANDARD)->interpolation, 8);
  EXPECT_EQ(Block(hd, sd, all, kNoMargins, CHROMA_420, CImageSupport::RESIZE_QUALITY_STANDARD)->interpolation, 4);
  EXPECT_GT(super->scratchSize, 0);
  for (uint8_t* scratch : super->scratch) EXPECT_NE(scratch, nullptr);

  double x = 0, y = 0;
  CImageSupport::CropResizeGetXYFactor(hd, sd, all, kNoMargins, x, y);
  EXPECT_DOUBLE_EQ(x, super->xFactor);
  EXPECT_DOUBLE_EQ(y, super->yFactor);
}

TEST(CropResizeInitTest, InterpolationThresholds) {
  const CSize pal(720, 576), vga(640, 480);
  const CRect all(0, 0, 720, 576);
  EXPECT_EQ(Block(pal, vga, all, kNoMargins, CHROMA_420, CImageSupport::RESIZE_QUALITY_SUPERSAMPLE)->interpolation, 8);
  // 0.889 and 0.833 are above 0.6, so 4:2:2 keeps cubic.
  EXPECT_EQ(Block(pal, vga, all, kNoMargins, CHROMA_422, CImageSupport::RESIZE_QUALITY_STANDARD)->interpolation, 4);
  // Exactly 0.9 counts as small enough; an enlargement is always cubic.
  const CRect square(0, 0, 1000, 1000);
  EXPECT_EQ(Block(CSize(1000, 1000), CSize(900, 900), square, kNoMargins, CHROMA_420,
                  CImageSupport::RESIZE_QUALITY_SUPERSAMPLE)->interpolation,
            8);
  EXPECT_EQ(Block(CSize(1000, 1000), CSize(1100, 500), square, kNoMargins, CHROMA_420,
                  CImageSupport::RESIZE_QUALITY_SUPERSAMPLE)->interpolation,
            4);
}

TEST(CropResizeInitTest, SourceAreaOutsideTheSourceBecomesBars) {
  Block block(CSize(720, 576), CSize(720, 576), CRect(-100, 0, 820, 576), kNoMargins, CHROMA_420,
              CImageSupport::RESIZE_QUALITY_STANDARD);
  EXPECT_TRUE(block->fillBackground);
  EXPECT_EQ(block->lumaSourceArea.width, 720);
  EXPECT_EQ(block->lumaTargetArea.width, 520);
  EXPECT_EQ(block->lumaTargetOffset, 100);
  EXPECT_EQ(block->chromaTargetOffset, 50);
  EXPECT_DOUBLE_EQ(block->xFactor, 520.0 / 720.0);
  EXPECT_DOUBLE_EQ(block->yFactor, 1.0);
  // Black bars in analog YUV: luma 0, chroma 128.
  EXPECT_EQ(block->fillY, 0);
  EXPECT_EQ(block->fillU, 128);
  EXPECT_EQ(block->fillV, 128);
  EXPECT_FALSE(block->copyWhole);
}

TEST(CropResizeInitTest, OffsetsAndFieldAreasOfACrop) {
  Block block(CSize(720, 576), CSize(352, 288), CRect(16, 9, 720 - 16, 576 - 9), kNoMargins, CHROMA_420,
              CImageSupport::RESIZE_QUALITY_STANDARD);
  EXPECT_EQ(block->lumaSourceOffset, 9 * 720 + 16);
  EXPECT_EQ(block->lumaBottomFieldOffset, 9 * 720 + 16 + 720);
  EXPECT_EQ(block->chromaSourceOffset, 4 * 360 + 8);
  EXPECT_EQ(block->chromaBottomFieldOffset, 4 * 360 + 8 + 360);
  EXPECT_EQ(block->fieldLumaSourceArea.height, (558 + 1) / 2);
  EXPECT_EQ(block->fieldLumaTargetArea.height, 144);
  EXPECT_EQ(block->fieldChromaSourceArea.height, (279 + 1) / 2);
  EXPECT_EQ(block->fieldChromaTargetArea.height, 72);
  EXPECT_EQ(block->chromaTargetBottomFieldOffset, 176);
  EXPECT_EQ(block->lumaTargetSize, 352 * 288);
  EXPECT_EQ(block->chromaTargetSize, 352 * 288 / 4);
}

TEST(CropResizeInitTest, OddImageHeightStartsOneLineLower) {
  // Margins leave 481 lines: the image moves down one line and is 480 high.
  Block block(CSize(720, 576), CSize(720, 576), CRect(0, 0, 720, 576), CRect(0, 0, 0, 95), CHROMA_420,
              CImageSupport::RESIZE_QUALITY_STANDARD);
  EXPECT_EQ(block->lumaTargetArea.height, 480);
  EXPECT_EQ(block->lumaTargetOffset, 720);
  EXPECT_TRUE(block->fillBackground);
}

TEST(CropResizeTest, KeepTopLinesCopiesFromTheSourceAndProgressiveRepaintsLuma) {
  const CSize size(720, 512);
  Block block(size, size, CRect(0, 0, 720, 512), CRect(0, 32, 0, 0), CHROMA_420,
              CImageSupport::RESIZE_QUALITY_STANDARD, 1);
  ASSERT_TRUE(block->keepTopLines);
  CYUVFrame source(720, 512, CHROMA_420);
  std::memset(source.y, 90, source.bufferSize);
  CYUVFrame target;
  source.progressive = false;
  CImageSupport::CropResizeYUV(target, source, *block);
  EXPECT_EQ(target.y[10 * target.stride + 5], 90);
  EXPECT_EQ(target.u[31 * target.chromaStride], 90);
  source.progressive = true;
  CImageSupport::CropResizeYUV(target, source, *block);
  EXPECT_EQ(target.y[10 * target.stride + 5], 0);  // painted over with the fill
  EXPECT_EQ(target.u[31 * target.chromaStride], 90);
  EXPECT_FALSE(Block(size, size, CRect(0, 0, 720, 512), CRect(0, 32, 0, 0), CHROMA_420,
                     CImageSupport::RESIZE_QUALITY_STANDARD, 0)->keepTopLines);
}

TEST(CropResizeTest, SameSizeCopiesWholeIncludingPadding) {
  const CSize size(1920, 1080);
  Block block(size, size, CRect(0, 0, 1920, 1080), kNoMargins, CHROMA_420, CImageSupport::RESIZE_QUALITY_STANDARD);
  ASSERT_TRUE(block->copyWhole);
  CYUVFrame source(1920, 1080, CHROMA_420);
  source.y[1085 * source.stride] = 42;  // a padding line
  CYUVFrame target;
  CImageSupport::CropResizeYUV(target, source, *block);
  EXPECT_EQ(target.y[1085 * target.stride], 42);
}

TEST(CropResizeTest, InterlacedSourceKeepsItsFieldsApart) {
  const CSize source(64, 64), target(32, 32);
  Block block(source, target, CRect(0, 0, 64, 64), kNoMargins, CHROMA_420, CImageSupport::RESIZE_QUALITY_STANDARD);
  CYUVFrame frame(64, 64, CHROMA_420);
  for (int row = 0; row < 64; ++row) std::memset(frame.y + row * frame.stride, row % 2 == 0 ? 50 : 200, 64);
  for (int row = 0; row < 32; ++row) std::memset(frame.u + row * frame.chromaStride, row % 2 == 0 ? 60 : 180, 32);
  frame.progressive = false;
  CYUVFrame scaled;
  CImageSupport::CropResizeYUV(scaled, frame, *block);
  for (int row = 0; row < 32; ++row) {
    EXPECT_EQ(scaled.y[row * scaled.stride + 7], row % 2 == 0 ? 50 : 200) << "line " << row;
  }
  for (int row = 0; row < 16; ++row) {
    EXPECT_EQ(scaled.u[row * scaled.chromaStride + 3], row % 2 == 0 ? 60 : 180) << "chroma line " << row;
  }
  // Frame-wise scaling of the same picture mixes the two fields.
  frame.progressive = true;
  CImageSupport::CropResizeYUV(scaled, frame, *block);
  EXPECT_NE(scaled.y[3 * scaled.stride + 7], 50);
  EXPECT_NE(scaled.y[3 * scaled.stride + 7], 200);
}

TEST(CropResizeTest, BarsAreFilledAroundTheImage) {
  Block block(CSize(64, 32), CSize(64, 32), CRect(-16, 0, 80, 32), kNoMargins, CHROMA_420,
              CImageSupport::RESIZE_QUALITY_STANDARD, 0, 0x0000FF);
  CYUVFrame source(64, 32, CHROMA_420);
  std::memset(source.y, 120, source.bufferSize);
  source.progressive = true;
  CYUVFrame target;
  CImageSupport::CropResizeYUV(target, source, *block);
  // Red in analog YUV: Y = (19595 * 255) >> 16 = 76.
  EXPECT_EQ(target.y[5 * target.stride + 2], 76);
  EXPECT_EQ(target.y[5 * target.stride + 32], 120);
  EXPECT_EQ(target.y[5 * target.stride + 62], 76);
}

TEST(ResizeYuvTest, EqualFormatsCopyAndOthersScale) {
  CYUVFrame source(32, 16, CHROMA_420);
  std::memset(source.y, 77, source.bufferSize);
  source.stampC = 5;
  CYUVFrame same(32, 16, CHROMA_420);
  CImageSupport::ResizeYUV(same, source);
  EXPECT_EQ(same.stampC, 5);
  CYUVFrame half(16, 8, CHROMA_420);
  CImageSupport::ResizeYUV(half, source);
  EXPECT_EQ(half.y[3 * half.stride + 3], 77);
  EXPECT_EQ(half.u[2 * half.chromaStride + 2], 77);
  EXPECT_EQ(half.stampC, 0);
}

TEST(ResizeYuvTest, QuarterSizeBoxTruncates) {
  CYUVFrame source(16, 8, CHROMA_420);
  // One 4x4 box of luma holds 0..15: sum 120, 120 >> 4 = 7 (7.5 truncated).
  for (int row = 0; row < 4; ++row) {
    for (int x = 0; x < 4; ++x) source.y[row * source.stride + x] = static_cast<uint8_t>(4 * row + x);
  }
  std::memset(source.u, 200, static_cast<size_t>(source.chromaPlaneSize));
  CYUVFrame target;
  CImageSupport::ReduceYUVFrameSizeBy4(target, source);
  EXPECT_EQ(target.width, 4);
  EXPECT_EQ(target.height, 2);
  EXPECT_EQ(target.y[0], 7);
  EXPECT_EQ(target.y[1], 0);
  EXPECT_EQ(target.u[0], 200);
}

using CropResizeLeakTest = corvane::test::LeakCheckedTest;

TEST_F(CropResizeLeakTest, ParameterBlocksAndRepeatedResizesGiveBackTheirBuffers) {
  Block block(CSize(64, 64), CSize(48, 36), CRect(0, 0, 64, 64), kNoMargins, CHROMA_422,
              CImageSupport::RESIZE_QUALITY_SUPERSAMPLE);
  CYUVFrame source(64, 64, CHROMA_422), target;
  for (int i = 0; i < 3; ++i) CImageSupport::CropResizeYUV(target, source, *block);
  EXPECT_EQ(target.width, 48);
}

}  // namespace
