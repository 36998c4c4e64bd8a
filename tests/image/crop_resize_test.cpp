#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "image/image_support.h"
#include "support/library_checks.h"

namespace {

using Quality = CImageSupport::RESIZE_QUALITY;
using Values = std::vector<int>;
constexpr Quality kStandard = CImageSupport::RESIZE_QUALITY_STANDARD;
constexpr Quality kSuper = CImageSupport::RESIZE_QUALITY_SUPERSAMPLE;
const CRect kNoMargins(0, 0, 0, 0);

// Owns a parameter block for the length of a test.
struct Block {
  CCropResizeParams* params = nullptr;
  Block(CSize source, CSize target, CRect area, CRect margins = kNoMargins, CHROMA chroma = CHROMA_420,
        Quality quality = kStandard, int keepTopLines = 0, unsigned long fill = 0) {
    CImageSupport::CropResizeYUVInitialize(&params, source, target, area, margins, fill, chroma, keepTopLines,
                                           quality);
  }
  ~Block() { CImageSupport::CropResizeYUVReleaseParamBlock(params); }
  const CCropResizeParams& operator*() const { return *params; }
  const CCropResizeParams* operator->() const { return params; }
};

TEST(CropResizeInitTest, FactorsAndInterpolationThresholds) {
  const CSize hd(1920, 1080), sd(720, 480);
  const CRect all(0, 0, 1920, 1080);
  Block super(hd, sd, all, kNoMargins, CHROMA_420, kSuper);
  EXPECT_DOUBLE_EQ(super->xFactor, 0.375);
  EXPECT_DOUBLE_EQ(super->yFactor, 480.0 / 1080.0);
  EXPECT_EQ((Values{super->interpolation, super->fillBackground, super->copyArea}), (Values{8, false, false}));
  EXPECT_EQ(Block(hd, sd, all, kNoMargins, CHROMA_422)->interpolation, 8);
  EXPECT_EQ(Block(hd, sd, all)->interpolation, 4);
  EXPECT_GT(super->scratchSize, 0);
  for (uint8_t* scratch : super->scratch) EXPECT_NE(scratch, nullptr);

  double x = 0, y = 0;
  CImageSupport::CropResizeGetXYFactor(hd, sd, all, kNoMargins, x, y);
  EXPECT_DOUBLE_EQ(x, super->xFactor);
  EXPECT_DOUBLE_EQ(y, super->yFactor);

  const CSize pal(720, 576), vga(640, 480);
  const CRect palArea(0, 0, 720, 576);
  EXPECT_EQ(Block(pal, vga, palArea, kNoMargins, CHROMA_420, kSuper)->interpolation, 8);
  // 0.889 and 0.833 are above 0.6, so 4:2:2 keeps cubic.
  EXPECT_EQ(Block(pal, vga, palArea, kNoMargins, CHROMA_422)->interpolation, 4);
  // Exactly 0.9 counts as small enough; an enlargement is always cubic.
  const CSize square(1000, 1000);
  const CRect whole(0, 0, 1000, 1000);
  EXPECT_EQ(Block(square, CSize(900, 900), whole, kNoMargins, CHROMA_420, kSuper)->interpolation, 8);
  EXPECT_EQ(Block(square, CSize(1100, 500), whole, kNoMargins, CHROMA_420, kSuper)->interpolation, 4);
}

TEST(CropResizeInitTest, SourceAreaOutsideTheSourceAndMarginsBecomeBars) {
  Block b(CSize(720, 576), CSize(720, 576), CRect(-100, 0, 820, 576));
  EXPECT_EQ((Values{b->fillBackground, b->copyWhole, b->lumaSourceArea.width, b->lumaTargetArea.width,
                    b->lumaTargetOffset, b->chromaTargetOffset}),
            (Values{true, false, 720, 520, 100, 50}));
  EXPECT_DOUBLE_EQ(b->xFactor, 520.0 / 720.0);
  EXPECT_DOUBLE_EQ(b->yFactor, 1.0);
  EXPECT_EQ((Values{b->fillY, b->fillU, b->fillV}), (Values{0, 128, 128})) << "black bars in analog YUV";

  // Margins that leave 481 lines move the image down one line, 480 high.
  Block odd(CSize(720, 576), CSize(720, 576), CRect(0, 0, 720, 576), CRect(0, 0, 0, 95));
  EXPECT_EQ((Values{odd->lumaTargetArea.height, odd->lumaTargetOffset, odd->fillBackground}), (Values{480, 720, true}));
}

TEST(CropResizeInitTest, OffsetsAndFieldAreasOfACrop) {
  Block b(CSize(720, 576), CSize(352, 288), CRect(16, 9, 720 - 16, 576 - 9));
  EXPECT_EQ((Values{b->lumaSourceOffset, b->lumaBottomFieldOffset, b->chromaSourceOffset, b->chromaBottomFieldOffset}),
            (Values{9 * 720 + 16, 9 * 720 + 16 + 720, 4 * 360 + 8, 4 * 360 + 8 + 360}));
  EXPECT_EQ((Values{b->fieldLumaSourceArea.height, b->fieldLumaTargetArea.height, b->fieldChromaSourceArea.height,
                    b->fieldChromaTargetArea.height}),
            (Values{(558 + 1) / 2, 144, (279 + 1) / 2, 72}));
  EXPECT_EQ((Values{b->chromaTargetBottomFieldOffset, b->lumaTargetSize, b->chromaTargetSize}),
            (Values{176, 352 * 288, 352 * 288 / 4}));
}

TEST(CropResizeTest, KeepTopLinesCopiesFromTheSourceAndProgressiveRepaintsLuma) {
  const CSize size(720, 512);
  Block block(size, size, CRect(0, 0, 720, 512), CRect(0, 32, 0, 0), CHROMA_420, kStandard, 1);
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
  EXPECT_FALSE(Block(size, size, CRect(0, 0, 720, 512), CRect(0, 32, 0, 0))->keepTopLines);
}

TEST(CropResizeTest, SameSizeCopiesWholeIncludingPadding) {
  const CSize size(1920, 1080);
  Block block(size, size, CRect(0, 0, 1920, 1080));
  ASSERT_TRUE(block->copyWhole);
  CYUVFrame source(1920, 1080, CHROMA_420);
  source.y[1085 * source.stride] = 42;  // a padding line
  CYUVFrame target;
  CImageSupport::CropResizeYUV(target, source, *block);
  EXPECT_EQ(target.y[1085 * target.stride], 42);
}

TEST(CropResizeTest, InterlacedSourceKeepsItsFieldsApart) {
  const CSize source(64, 64), target(32, 32);
  Block block(source, target, CRect(0, 0, 64, 64));
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
  Block block(CSize(64, 32), CSize(64, 32), CRect(-16, 0, 80, 32), kNoMargins, CHROMA_420, kStandard, 0, 0x0000FF);
  CYUVFrame source(64, 32, CHROMA_420);
  std::memset(source.y, 120, source.bufferSize);
  source.progressive = true;
  CYUVFrame target;
  CImageSupport::CropResizeYUV(target, source, *block);
  // Red in analog YUV: Y = (19595 * 255) >> 16 = 76.
  const uint8_t* line = target.y + 5 * target.stride;
  EXPECT_EQ((Values{line[2], line[32], line[62]}), (Values{76, 120, 76}));
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
  EXPECT_EQ((Values{target.width, target.height, target.y[0], target.y[1], target.u[0]}), (Values{4, 2, 7, 0, 200}));
}

using CropResizeLeakTest = corvane::test::LeakCheckedTest;

TEST_F(CropResizeLeakTest, ParameterBlocksAndRepeatedResizesGiveBackTheirBuffers) {
  Block block(CSize(64, 64), CSize(48, 36), CRect(0, 0, 64, 64), kNoMargins, CHROMA_422, kSuper);
  CYUVFrame source(64, 64, CHROMA_422), target;
  for (int i = 0; i < 3; ++i) CImageSupport::CropResizeYUV(target, source, *block);
  EXPECT_EQ(target.width, 48);
}

}  // namespace
