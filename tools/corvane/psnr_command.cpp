// `corvane psnr`: luma PSNR of two YUV4MPEG2 streams, frame by frame.
#include <cmath>
#include <cstdio>

#include "args.h"
#include "command.h"
#include "image/image_support.h"
#include "video_options.h"
#include "y4m.h"

namespace corvane::tool {
namespace {

int RunPsnr(const std::vector<std::string>& arguments) {
  const Args args(arguments, {"area"});
  args.ExpectPositional(2, "two streams A and B");
  Y4MReader a(args.Positional()[0]);
  Y4MReader b(args.Positional()[1]);
  const Y4MFormat& format = a.Format();
  if (format.width != b.Format().width || format.height != b.Format().height) {
    throw ToolError("the two streams differ in picture size");
  }
  const CRect area = GetRect(args, "area", CRect(0, 0, format.width, format.height));
  if (area.left < 0 || area.top < 0 || area.right > format.width || area.bottom > format.height ||
      area.Width() <= 0 || area.Height() <= 0) {
    throw ToolError("--area must lie inside the " + std::to_string(format.width) + "x" +
                    std::to_string(format.height) + " picture");
  }
  CYUVFrame frameA, frameB;
  uint64_t frames = 0, identical = 0;
  double sum = 0.0;
  int largest = 0;
  while (true) {
    const bool moreA = a.ReadFrame(frameA);
    const bool moreB = b.ReadFrame(frameB);
    if (moreA != moreB) throw ToolError("the two streams differ in length after " + std::to_string(frames) + " frames");
    if (!moreA) break;
    double psnr = 0.0;
    int difference = 0;
    CImageSupport::ComputePSNR(frameA, frameB, area, psnr, difference);
    largest = std::max(largest, difference);
    if (std::isinf(psnr)) {
      ++identical;
      std::printf("frame %llu: identical\n", static_cast<unsigned long long>(frames));
    } else {
      sum += psnr;
      std::printf("frame %llu: %.3f dB, largest difference %d\n", static_cast<unsigned long long>(frames), psnr,
                  difference);
    }
    ++frames;
  }
  if (frames == identical) {
    std::printf("average: identical (%llu frames)\n", static_cast<unsigned long long>(frames));
  } else {
    std::printf("average: %.3f dB over %llu differing frames (%llu identical), largest difference %d\n",
                sum / static_cast<double>(frames - identical), static_cast<unsigned long long>(frames - identical),
                static_cast<unsigned long long>(identical), largest);
  }
  return 0;
}

const bool registered = RegisterCommand({
    "psnr",
    "luma PSNR of two YUV4MPEG2 streams, per frame and on average",
    "usage: corvane psnr A.y4m B.y4m [--area l,t,r,b]\n"
    "\n"
    "Prints the luma PSNR (peak 255) and the largest sample difference of each frame\n"
    "pair, then the average over the frames that differ. --area limits the largest\n"
    "difference and the sample count to a rectangle (left, top, right, bottom).\n",
    RunPsnr,
});

}  // namespace
}  // namespace corvane::tool
