#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "image/image_support.h"
#include "platform/bitmap.h"
#include "platform/global_memory.h"

namespace {

using Bytes = std::vector<int>;

CYUVFrame Filled(int width, int height, CHROMA chroma, uint8_t y, uint8_t u, uint8_t v) {
  CYUVFrame frame(width, height, chroma);
  std::memset(frame.y, y, static_cast<size_t>(frame.lumaPlaneSize));
  std::memset(frame.u, u, static_cast<size_t>(frame.chromaPlaneSize));
  std::memset(frame.v, v, static_cast<size_t>(frame.chromaPlaneSize));
  return frame;
}

TEST(ColourConversionTest, SinglePixelsBetweenWordsAndStudioRange) {
  EXPECT_EQ(CImageSupport::RGBFromYCbCr(16, 128, 128), 0x000000ul);
  // (76284 * 235 - 1220544) >> 16 = 254 in all three channels.
  EXPECT_EQ(CImageSupport::RGBFromYCbCr(235, 128, 128), 0xFEFEFEul);
  const auto ycbcr = [](unsigned long rgb) {
    unsigned char out[3];
    CImageSupport::YCbCrFromRGB(rgb, out);
    return Bytes(out, out + 3);
  };
  EXPECT_EQ(ycbcr(0xFFFFFF), (Bytes{235, 128, 128}));
  EXPECT_EQ(ycbcr(0x000000), (Bytes{16, 128, 128}));
  // Pure red: Y = (16843 * 255 + 0x108000) >> 16 = 82; Cr = (28770 * 255 + 0x808000) >> 16 = 240.
  EXPECT_EQ(ycbcr(0x0000FF)[0], 82);
  EXPECT_EQ(ycbcr(0x0000FF)[2], 240);
}

TEST(ColourConversionTest, RgbBufferToFrameStudioAndAnalogPaths) {
  const int width = 6, height = 4;
  std::vector<uint8_t> black(3 * width * height, 0);
  CYUVFrame studio(width, height, CHROMA_420);
  EXPECT_EQ(CImageSupport::ConvertRGBBuffer_to_YUVFrame(black.data(), studio), S_OK);
  EXPECT_EQ((Bytes{studio.y[0], studio.u[0]}), (Bytes{16, 128}));

  CYUVFrame analog;
  EXPECT_EQ(CImageSupport::ConvertRGBBuffer2YUV420Frame(black.data(), analog, width, height), S_OK);
  // The luma padding columns (from `width` on) were set to 16 before the conversion.
  EXPECT_EQ((Bytes{analog.y[0], analog.u[0], analog.y[analog.stride * (height - 1) + width - 1], analog.y[width]}),
            (Bytes{0, 128, 0, 16}));

  // A bottom-up buffer lands top-down, and odd sizes grow to even ones.
  std::vector<uint8_t> rgb(3 * 722 * 482, 0);
  std::memset(rgb.data() + 3 * 722 * 481, 255, 3 * 722);  // the buffer's last row, the picture's top: white
  CYUVFrame grown;
  CImageSupport::ConvertRGBBuffer2YUV420Frame(rgb.data(), grown, 721, 481);
  EXPECT_EQ((Bytes{grown.width, grown.height, grown.y[0], grown.y[grown.stride]}), (Bytes{722, 482, 255, 0}));
}

TEST(ColourConversionTest, FrameToRgbRefusesFourFourFourAndStartsAtTheAreasPixel) {
  CYUVFrame frame = Filled(8, 4, CHROMA_444, 16, 128, 128);
  std::vector<uint8_t> rgb(3 * 10 * 8, 7);
  EXPECT_EQ(CImageSupport::ConvertYUVFrame_to_RGBBuffer(rgb.data(), frame), S_FALSE);
  EXPECT_EQ(rgb[0], 7);
  CYUVFrame frame422 = Filled(8, 4, CHROMA_422, 16, 128, 128);
  EXPECT_EQ(CImageSupport::ConvertYUVFrame_to_RGBBuffer(rgb.data(), frame422), S_OK);
  EXPECT_EQ(rgb[0], 0);

  CYUVFrame frame420 = Filled(32, 16, CHROMA_420, 16, 128, 128);
  frame420.y[4 * frame420.stride + 6] = 235;  // top-left pixel of the area
  CImageSupport::ConvertYUVFrame_to_RGBBuffer(rgb.data(), frame420, CRect(6, 4, 16, 12));
  // PrimYCbCr420ToRGB has a rounding term: (76284 * 235 - 1187776) >> 16 = 255.
  EXPECT_EQ((Bytes{rgb[0], rgb[3]}), (Bytes{255, 0}));
}

TEST(ColourConversionTest, ConvertChromaFollowsThePairTable) {
  CYUVFrame source = Filled(16, 8, CHROMA_420, 100, 50, 200);
  source.stampB = 77;
  for (int row = 0; row < source.chromaHeight; ++row) {
    std::memset(source.u + row * source.chromaStride, 10 * row, static_cast<size_t>(source.chromaStride));
  }

  CYUVFrame target;
  source.progressive = true;
  ASSERT_EQ(CImageSupport::ConvertChroma(&source, &target, CHROMA_422), S_OK);
  // Progressive 4:2:0 to 4:2:2 doubles each chroma line.
  const int stride = target.chromaStride;
  EXPECT_EQ((Bytes{target.chroma, static_cast<int>(target.stampB), target.y[5]}), (Bytes{CHROMA_422, 77, 100}));
  EXPECT_EQ((Bytes{target.u[0], target.u[stride], target.u[2 * stride], target.u[3 * stride]}), (Bytes{0, 0, 10, 10}));

  // Interlaced: the field-wise filter gives (5 * 0 + 3 * 20 + 4) >> 3 = 8 on row 2.
  source.progressive = false;
  ASSERT_EQ(CImageSupport::ConvertChroma(&source, &target, CHROMA_422), S_OK);
  EXPECT_EQ(target.u[2 * target.chromaStride], 8);

  CYUVFrame back;
  ASSERT_EQ(CImageSupport::ConvertChroma(&target, &back, CHROMA_420), S_OK);
  EXPECT_EQ((Bytes{back.chroma, back.v[0]}), (Bytes{CHROMA_420, 200}));

  CYUVFrame same;
  ASSERT_EQ(CImageSupport::ConvertChroma(&source, &same, CHROMA_420), S_OK);
  EXPECT_EQ(0, std::memcmp(same.y, source.y, source.bufferSize));

  CYUVFrame refused;
  EXPECT_EQ(CImageSupport::ConvertChroma(&source, &refused, CHROMA_444), E_FAIL);
  EXPECT_EQ((Bytes{refused.chroma, static_cast<int>(refused.stampB), static_cast<int>(refused.bufferSize)}),
            (Bytes{CHROMA_444, 77, 3 * 16 * 16}));
  CYUVFrame source444 = Filled(16, 8, CHROMA_444, 1, 2, 3);
  EXPECT_EQ(CImageSupport::ConvertChroma(&source444, &refused, CHROMA_422), E_FAIL);
}

// The per-pixel formula in single precision, written out directly.
uint8_t ReferencePixel(int row, float y, float u, float v, float offset, float limit) {
  static const float m[3][3] = {{1.0f, 0.09931160f, 0.19169955f},
                                {0.0f, 0.98985380f, -0.11065251f},
                                {0.0f, -0.07245296f, 0.98339784f}};
  const float sum = m[row][0] * y + m[row][1] * u + m[row][2] * v;
  return static_cast<uint8_t>(static_cast<int>(std::min(sum + offset, limit)));
}

TEST(ColourConversionTest, ColourSpaceEqualsThePerPixelFormulaOnRandomFrames) {
  uint32_t seed = 12345;
  for (CHROMA chroma : {CHROMA_420, CHROMA_422, CHROMA_444}) {
    CYUVFrame source(37, 9, chroma);
    for (uint32_t i = 0; i < source.bufferSize; ++i) {
      seed = seed * 1664525u + 1013904223u;
      source.y[i] = static_cast<uint8_t>(seed >> 24);
    }
    CYUVFrame target;
    CImageSupport::ConvertColorSpace(CImageSupport::COLOR_SPACE_BT709_TO_BT601, source, target);
    const int lineDivisor = chroma == CHROMA_420 ? 2 : 1;
    const int columnDivisor = chroma == CHROMA_444 ? 1 : 2;
    for (int row = 0; row < source.height; ++row) {
      for (int x = 0; x < source.width; ++x) {
        const int c = x / columnDivisor;
        const int chromaAt = (row / lineDivisor) * source.chromaStride + c;
        const float y = static_cast<float>(source.y[row * source.stride + x] - 16);
        const float u = static_cast<float>(source.u[chromaAt] - 128);
        const float v = static_cast<float>(source.v[chromaAt] - 128);
        ASSERT_EQ(target.y[row * target.stride + x], ReferencePixel(0, y, u, v, 16.0f, 235.0f))
            << "chroma " << chroma << " row " << row << " x " << x;
        ASSERT_EQ(target.u[chromaAt], ReferencePixel(1, y, u, v, 128.0f, 240.0f)) << "row " << row << " x " << x;
        ASSERT_EQ(target.v[chromaAt], ReferencePixel(2, y, u, v, 128.0f, 240.0f)) << "row " << row << " x " << x;
      }
    }
  }
}

TEST(ColourConversionTest, Convert422To420KeepsEvenChromaLinesOnly) {
  const int width = 8, height = 4;
  std::vector<uint8_t> y(width * height, 50), u(width / 2 * height), v(width / 2 * height);
  for (int row = 0; row < height; ++row) {  // odd u lines 255, v lines their row number
    std::memset(u.data() + row * width / 2, row % 2 == 1 ? 255 : 0, width / 2);
    std::memset(v.data() + row * width / 2, row, width / 2);
  }
  std::vector<uint8_t> dy(width * height), du(width / 2 * height / 2), dv(width / 2 * height / 2);
  const unsigned char* src[3] = {y.data(), u.data(), v.data()};
  unsigned char* dst[3] = {dy.data(), du.data(), dv.data()};
  const unsigned steps[3] = {width, width / 2, width / 2};
  CImageSupport::Convert422To420(dst, src, width, height, steps, false);
  // The pattern on the odd chroma lines vanishes.
  for (uint8_t sample : du) EXPECT_EQ(sample, 0);
  EXPECT_EQ(dv[0], 0);
  EXPECT_EQ(dv[width / 2], 2);
}

TEST(ColourConversionTest, DibRoundTripThroughTheBitmapCalls) {
  // A 5x3 bitmap of distinct colours (B 40 x, G 100 row, R 200), rows from the top, padded to 4 bytes.
  const int width = 5, height = 3, rowBytes = 16;
  std::vector<uint8_t> bits(rowBytes * height, 0);
  for (int row = 0; row < height; ++row) {
    for (int x = 0; x < width; ++x) {
      uint8_t* pixel = &bits[row * rowBytes + 3 * x];
      pixel[0] = static_cast<uint8_t>(40 * x), pixel[1] = static_cast<uint8_t>(100 * row), pixel[2] = 200;
    }
  }
  CBitmap bitmap;
  ASSERT_TRUE(bitmap.CreateBitmap(width, height, bits.data()));
  void* dib = CImageSupport::DDBToDIB(&bitmap);
  ASSERT_NE(dib, nullptr);
  EXPECT_EQ(GlobalSize(static_cast<HGLOBAL>(dib)), 40u + rowBytes * height);

  CYUVFrame frame;
  CImageSupport::ConvertRGB_dib_bitmap_to_YUV(dib, frame, CHROMA_422);
  // Top-left pixel R 200, G 0, B 0: Y = (16843 * 200 + 0x108000) >> 16 = 67;
  // second line, G 100: Y = (16843 * 200 + 33030 * 100 + 0x108000) >> 16 = 118.
  EXPECT_EQ((Bytes{frame.width, frame.chroma, frame.y[0], frame.y[frame.stride]}), (Bytes{width, CHROMA_422, 67, 118}));
  GlobalFree(static_cast<HGLOBAL>(dib));
}

}  // namespace
