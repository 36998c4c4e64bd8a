// Demo step: a short interlaced full HD clip, made here, through the smart
// field deinterlacer.
#include <cstdint>
#include <cstdio>
#include <string>

#include "command.h"
#include "corvane.h"
#include "deinterlace_command.h"
#include "output_file.h"
#include "y4m.h"

namespace corvane::tool {
namespace {

constexpr int kWidth = 1920;
constexpr int kHeight = 1080;
constexpr int kFrames = 12;
constexpr int kRate = 25;
constexpr int kTicksPerFrame = 90000 / kRate;
constexpr double kBallRadius = 120.0;
constexpr double kBallStepPerField = 40.0;

// The ball moves in frames 0-3 and 8-11 and holds still in frames 4-7, whose
// two fields therefore show the same instant.
bool BallMoves(int frame) { return frame < 4 || frame >= 8; }

// Where the ball stands in a field (0 top, 1 bottom): it advances one step
// for every moving field shown before this one.
double BallX(int frame, int field) {
  int movingFields = 0;
  for (int earlier = 0; earlier < frame; ++earlier) movingFields += BallMoves(earlier) ? 2 : 0;
  if (BallMoves(frame)) movingFields += field;
  return 300.0 + kBallStepPerField * movingFields;
}

struct Pixel {
  uint8_t y, u, v;
};

// A still background (a horizontal ramp with eight colour bars along the
// bottom, no detail that changes from one row to the next) and the ball.
Pixel ScenePixel(int x, int y, double ballX) {
  const double dx = x - ballX;
  const double dy = y - kHeight / 2.0;
  if (dx * dx + dy * dy <= kBallRadius * kBallRadius) return {210, 70, 190};
  if (y >= kHeight - 180) {
    static const Pixel kBars[8] = {{180, 128, 128}, {168, 44, 136}, {145, 147, 44}, {133, 63, 52},
                                   {63, 193, 204},  {51, 109, 212}, {28, 212, 120}, {16, 128, 128}};
    return kBars[x * 8 / kWidth];
  }
  return {static_cast<uint8_t>(40 + x * 120 / kWidth), 128, static_cast<uint8_t>(120 + y * 16 / kHeight)};
}

// Each field is drawn at its own instant: even rows (and, in 4:2:0, even
// chroma rows) belong to the top field, odd rows to the bottom one.
void RenderFrame(CYUVFrame& frame, int index) {
  for (int y = 0; y < kHeight; ++y) {
    const double ballX = BallX(index, y & 1);
    for (int x = 0; x < kWidth; ++x) frame.y[y * frame.stride + x] = ScenePixel(x, y, ballX).y;
  }
  for (int row = 0; row < kHeight / 2; ++row) {
    const double ballX = BallX(index, row & 1);
    for (int column = 0; column < kWidth / 2; ++column) {
      const Pixel pixel = ScenePixel(2 * column, 2 * row, ballX);
      frame.u[row * frame.chromaStride + column] = pixel.u;
      frame.v[row * frame.chromaStride + column] = pixel.v;
    }
  }
  frame.progressive = false;
  frame.topFieldFirst = true;
  frame.presentationTime = frame.stampA = int64_t{index} * kTicksPerFrame;
}

void RunDeinterlaceDemo(const std::string& folder) {
  const std::string path = folder + "/deinterlace.y4m";
  Y4MFormat format;
  format.width = kWidth;
  format.height = kHeight;
  format.rateNumerator = kRate;
  format.interlace = 'p';
  OutputFile output(path);
  Y4MWriter writer(output, format);
  // The verdict is drawn into each frame, so that the result shows it.
  CSmartFieldDeinterlacer deinterlacer(false, false, kDefaultCombThreshold, kDefaultMotionThreshold, false, false,
                                       true, false);
  CYUVFrame frame(kWidth, kHeight, CHROMA_420);
  int combed = 0;
  int clean = 0;
  std::string verdicts;
  for (int index = 0; index < kFrames; ++index) {
    RenderFrame(frame, index);
    deinterlacer.DeinterlaceFrame(frame);
    const bool isCombed = deinterlacer.LastFrameStatus() == CSmartFieldDeinterlacer::STATUS_COMBED;
    combed += isCombed;
    clean += !isCombed;
    verdicts += isCombed ? 'C' : '.';
    writer.WriteFrame(frame);
  }
  output.Commit();

  std::printf("made %d interlaced frames of %dx%d 4:2:0, top field first, %d/s: a ball that moves\n", kFrames,
              kWidth, kHeight, kRate);
  std::printf("%.0f pixels a field in frames 1-4 and 9-12 and holds still in frames 5-8\n", kBallStepPerField);
  std::printf("smart field deinterlacer (comb threshold %d, motion threshold %d, status line drawn):\n",
              kDefaultCombThreshold, kDefaultMotionThreshold);
  std::printf("  %d combed frames repaired, %d clean frames left untouched (frame by frame: %s)\n", combed, clean,
              verdicts.c_str());
  std::printf("  wrote %s (progressive YUV4MPEG2)\n", path.c_str());
}

const bool registered = RegisterDemoStep({20, "deinterlace", RunDeinterlaceDemo});

}  // namespace
}  // namespace corvane::tool
