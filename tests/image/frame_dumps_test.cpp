#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "image/image_support.h"
#include "platform/bitmap.h"
#include "platform/global_memory.h"
#include "support/library_checks.h"
#include "support/temp_folder.h"

namespace {

namespace fs = std::filesystem;

class FrameDumpTest : public ::testing::Test {
 protected:
  std::string Path(const std::string& name) const { return folder_.Path() + "/" + name; }
  static std::string Read(const std::string& path) { return corvane::test::ReadWholeFile(path); }

  corvane::test::TempFolder folder_;
};

TEST_F(FrameDumpTest, HdFrameDropsThePaddingLines) {
  CYUVFrame frame(1920, 1080, CHROMA_420);
  CImageSupport::WriteYUVFrames(Path("hd").c_str(), &frame, 1, 0);
  EXPECT_EQ(fs::file_size(Path("hd.YUV")), 1920u * 1080 + 2u * 960 * 540);
  EXPECT_EQ(Read(Path("hd.YUV.header")), "YUV420\nInterlaced\n1920\n1080\n");

  CYUVFrame padded(720, 1088, CHROMA_422);
  padded.progressive = true;
  CImageSupport::WriteYUVFrames(Path("tall").c_str(), &padded, 1, 0);
  EXPECT_EQ(fs::file_size(Path("tall.YUV")), 720u * 1080 + 2u * 360 * 1080);
  EXPECT_EQ(Read(Path("tall.YUV.header")), "YUV422\nProgressive\n720\n1080\n");
}

TEST_F(FrameDumpTest, NumberedFilesAndOneGrowingFile) {
  std::vector<CYUVFrame> frames(2);
  for (CYUVFrame& frame : frames) frame.SetFormat(720, 576, CHROMA_420);
  std::memset(frames[1].y, 9, 16);
  CImageSupport::WriteYUVFrames(Path("shot%03d").c_str(), frames.data(), 2, 10);
  const uintmax_t frameBytes = static_cast<uintmax_t>(frames[0].lumaPlaneSize) + 2 * frames[0].chromaPlaneSize;
  EXPECT_EQ(fs::file_size(Path("shot010.YUV")), frameBytes);
  EXPECT_EQ(fs::file_size(Path("shot011.YUV")), frameBytes);
  EXPECT_TRUE(fs::exists(Path("shot011.YUV.header")));
  EXPECT_EQ(Read(Path("shot011.YUV"))[0], 9);

  // A plain name with firstNumber 0 replaces the file with each frame...
  CImageSupport::WriteYUVFrames(Path("one").c_str(), frames.data(), 2, 0);
  EXPECT_EQ(fs::file_size(Path("one.YUV")), frameBytes);
  // ...and later calls with a growing number append.
  CImageSupport::WriteYUVFrames(Path("one").c_str(), &frames[1], 1, 1);
  CImageSupport::WriteYUVFrames(Path("one").c_str(), &frames[1], 1, 2);
  EXPECT_EQ(fs::file_size(Path("one.YUV")), 3 * frameBytes);
}

TEST_F(FrameDumpTest, BmpFileOpensInAnImageViewer) {
  CYUVFrame frame(40, 30, CHROMA_420);
  std::memset(frame.y, 235, static_cast<size_t>(frame.lumaPlaneSize));
  std::memset(frame.u, 128, 2 * static_cast<size_t>(frame.chromaPlaneSize));
  CBitmap bitmap;
  CImageSupport::ConvertYUV2RGB(&bitmap, &frame, false, 0);
  ASSERT_NE(bitmap.GetSafeHandle(), nullptr);
  void* dib = CImageSupport::DDBToDIB(&bitmap);
  ASSERT_NE(dib, nullptr);
  const std::string path = Path("frame.bmp");
  EXPECT_EQ(CImageSupport::WriteDIB(path.c_str(), dib), 1);
  GlobalFree(static_cast<HGLOBAL>(dib));

  const std::string bytes = Read(path);
  ASSERT_EQ(bytes.size(), 14u + 40 + 120u * 30);
  EXPECT_EQ(bytes.substr(0, 2), "BM");
  EXPECT_EQ(static_cast<uint8_t>(bytes[10]), 54);  // pixel offset = 40 + 14
  EXPECT_EQ(static_cast<uint8_t>(bytes[54]), 254);  // (76284 * 235 - 14608761 + 132186 * 128) >> 16

  if (std::system("command -v identify >/dev/null 2>&1") != 0) GTEST_SKIP() << "ImageMagick identify is not installed";
  const std::string command = "identify -format '%m %w %h' " + path + " > " + Path("identify.txt") + " 2>&1";
  ASSERT_EQ(std::system(command.c_str()), 0) << Read(Path("identify.txt"));
  // ImageMagick names a BMP with a 40-byte info header "BMP3".
  EXPECT_EQ(Read(Path("identify.txt")), "BMP3 40 30");
}

TEST_F(FrameDumpTest, FailuresAreLoggedAndReportedAsZero) {
  EXPECT_EQ(CImageSupport::WriteDIB(Path("none.bmp").c_str(), nullptr), 0);
  EXPECT_FALSE(fs::exists(Path("none.bmp")));

  corvane::test::LogCapture log;
  HGLOBAL block = GlobalAlloc(GMEM_FIXED, 60);
  const std::string missing = Path("no/such/folder.bmp");
  EXPECT_EQ(CImageSupport::WriteDIB(missing.c_str(), block), 0);
  GlobalFree(block);
  ASSERT_EQ(log.lines.size(), 1u);
  EXPECT_EQ(log.lines[0], "0:BMP frame capture file: " + missing + ", open error:2");
}

TEST_F(FrameDumpTest, BitmapLinesRepeatAndLumaOffsetStopsAtWhite) {
  CYUVFrame frame(8, 4, CHROMA_422);
  for (int row = 0; row < 4; ++row) std::memset(frame.y + row * frame.stride, 60 * row + 20, 8);
  std::memset(frame.u, 128, 2 * static_cast<size_t>(frame.chromaPlaneSize));
  CBitmap bitmap;
  CImageSupport::ConvertYUV2RGB(&bitmap, &frame, true, 0);
  BITMAPINFO info{};
  info.bmiHeader = {40, 8, 4, 1, 24, BI_RGB, 0, 0, 0, 0, 0};
  std::vector<uint8_t> pixels(24 * 4);
  ASSERT_EQ(GetDIBits(GetDC(nullptr), bitmap, 0, 4, pixels.data(), &info, DIB_RGB_COLORS), 4);
  // Bottom-up: rows 3 and 2 of the bitmap are picture lines 0 and 1, equal.
  EXPECT_EQ(0, std::memcmp(&pixels[3 * 24], &pixels[2 * 24], 24));
  EXPECT_NE(0, std::memcmp(&pixels[2 * 24], &pixels[1 * 24], 24));

  for (int row = 0; row < 4; ++row) std::memset(frame.y + row * frame.stride, 220, 8);
  CImageSupport::ConvertYUV2RGB(&bitmap, &frame, false, 20);
  ASSERT_EQ(GetDIBits(GetDC(nullptr), bitmap, 0, 4, pixels.data(), &info, DIB_RGB_COLORS), 4);
  // 220 + 20 is held at 235, which gives 254, not the 255 of 240.
  EXPECT_EQ(pixels[0], 254);
}

}  // namespace
