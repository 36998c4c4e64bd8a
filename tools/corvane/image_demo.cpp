// Demo step: the picture side of an editor's save. A 1080-line film clip of
// colour bars with a moving box is cropped and resized to 720x480 with bars,
// put through 3:2 pulldown, faded to black, and captured as a BMP.
#include <cstdio>
#include <vector>

#include "command.h"
#include "deinterlace/video_interlacer.h"
#include "image/image_support.h"
#include "output_file.h"
#include "platform/bitmap.h"
#include "platform/global_memory.h"
#include "y4m.h"

namespace corvane::tool {
namespace {

constexpr int kWidth = 1920, kHeight = 1080, kFilmFrames = 12;

// Seven vertical bars at 75% with a white box moving across them.
void PaintFilmFrame(CYUVFrame& frame, int index) {
  static const unsigned long kBars[7] = {0xBFBFBF, 0x00BFBF, 0xBFBF00, 0x00BF00, 0xBF00BF, 0x0000BF, 0xBF0000};
  std::vector<uint8_t> rgb(3 * static_cast<size_t>(kWidth) * kHeight);
  for (int bar = 0; bar < 7; ++bar) {
    const int left = bar * kWidth / 7, right = (bar + 1) * kWidth / 7;
    for (int row = 0; row < kHeight; ++row) {
      CImageSupport::FillRGBBufferWithSolidColor(&rgb[3 * (static_cast<size_t>(row) * kWidth + left)], kBars[bar],
                                                 right - left, 1);
    }
  }
  const int boxLeft = 100 + 120 * index, boxTop = 400;
  for (int row = boxTop; row < boxTop + 200; ++row) {
    CImageSupport::FillRGBBufferWithSolidColor(&rgb[3 * (static_cast<size_t>(row) * kWidth + boxLeft)], 0xFFFFFF,
                                               200, 1);
  }
  frame.Reformat(kWidth, kHeight, CHROMA_420);
  CImageSupport::ConvertRGBBuffer_to_YUVFrame(rgb.data(), frame);
  frame.progressive = true;
  frame.topFieldFirst = true;
}

Y4MFormat FormatOf(const CYUVFrame& frame, int rateNumerator, int rateDenominator, char interlace) {
  Y4MFormat format;
  format.width = frame.width;
  format.height = frame.height;
  format.chroma = frame.chroma;
  format.rateNumerator = rateNumerator;
  format.rateDenominator = rateDenominator;
  format.interlace = interlace;
  return format;
}

void RunImageDemo(const std::string& folder) {
  std::vector<CYUVFrame> film(kFilmFrames);
  for (int i = 0; i < kFilmFrames; ++i) PaintFilmFrame(film[i], i);

  // 16:9 into 4:3 NTSC: letterbox bars of 60 lines above and below.
  CCropResizeParams* params = nullptr;
  CImageSupport::CropResizeYUVInitialize(&params, CSize(kWidth, kHeight), CSize(720, 480),
                                         CRect(0, 0, kWidth, kHeight), CRect(0, 60, 0, 60), 0x000000, CHROMA_420, 0,
                                         CImageSupport::RESIZE_QUALITY_SUPERSAMPLE);
  std::vector<CYUVFrame> sd(kFilmFrames);
  for (int i = 0; i < kFilmFrames; ++i) CImageSupport::CropResizeYUV(sd[i], film[i], *params);
  std::printf("crop and resize: %d frames 1920x1080 -> 720x480 with 60-line bars (%.4f x %.4f, %s)\n", kFilmFrames,
              params->xFactor, params->yFactor, params->interpolation == 8 ? "supersampling" : "cubic");
  CImageSupport::CropResizeYUVReleaseParamBlock(params);

  const std::string interlacedPath = folder + "/film-pulldown-720x480.y4m";
  OutputFile interlacedFile(interlacedPath);
  Y4MWriter interlacedWriter(interlacedFile, FormatOf(sd[0], 30000, 1001, 't'));
  CVideoInterlacer interlacer(CVideoInterlacer::CADENCE_TOP_FIRST, 3754);
  static const bool kTopFirst[4] = {true, false, false, true}, kRepeat[4] = {true, false, true, false};
  int interlaced = 0;
  for (int i = 0; i < kFilmFrames; ++i) {
    sd[i].progressive = true;
    sd[i].topFieldFirst = kTopFirst[i % 4];
    sd[i].repeatFirstField = kRepeat[i % 4];
    if (interlacer.ProcessFrame(&sd[i]) != CVideoInterlacer::INTERLACE_FRAME_READY) continue;
    CYUVFrame* out = nullptr;
    while (interlacer.GetNextFrame(&out) == CVideoInterlacer::INTERLACE_FRAME_READY) {
      interlacedWriter.WriteFrame(*out);
      ++interlaced;
    }
  }
  interlacedFile.Commit();
  std::printf("3:2 pulldown: %d film frames -> %d interlaced frames, %s\n", kFilmFrames, interlaced,
              interlacedPath.c_str());

  const int fadeFrames = 10;
  std::vector<CYUVFrame> fade(fadeFrames);
  CImageSupport::FadeToFromBlack(fade.data(), sd.back(), fadeFrames, CImageSupport::FADE_TO_BLACK);
  const std::string fadePath = folder + "/fade-to-black-720x480.y4m";
  OutputFile fadeFile(fadePath);
  Y4MWriter fadeWriter(fadeFile, FormatOf(fade[0], 30000, 1001, 'p'));
  for (const CYUVFrame& frame : fade) fadeWriter.WriteFrame(frame);
  fadeFile.Commit();
  std::printf("fade to black: %d frames, luma at the centre %d -> %d, %s\n", fadeFrames,
              fade.front().y[240 * fade.front().stride + 360], fade.back().y[240 * fade.back().stride + 360],
              fadePath.c_str());

  CBitmap bitmap;
  CImageSupport::ConvertYUV2RGB(&bitmap, &sd[0], false, 0);
  HGLOBAL dib = static_cast<HGLOBAL>(CImageSupport::DDBToDIB(&bitmap));
  const std::string bmpPath = folder + "/snapshot-720x480.bmp";
  const int written = dib != nullptr ? CImageSupport::WriteDIB(bmpPath.c_str(), dib) : 0;
  GlobalFree(dib);
  std::printf("snapshot: %s %s\n", bmpPath.c_str(), written != 0 ? "written" : "FAILED");
}

const bool registered = RegisterDemoStep({30, "picture: crop and resize, pulldown, fade, snapshot", RunImageDemo});

}  // namespace
}  // namespace corvane::tool
