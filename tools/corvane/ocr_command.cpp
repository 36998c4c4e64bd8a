// `corvane ocr`: reads the text of fixed areas of a video's frames, each time
// the picture in one of them changes.
#include <cinttypes>
#include <cstdio>
#include <string>
#include <vector>

#include "area_option.h"
#include "args.h"
#include "command.h"
#include "recognition/ocr_support.h"
#include "y4m.h"

namespace corvane::tool {
namespace {

// Luma steps that compression noise seldom reaches and new text does.
constexpr int kDefaultThreshold = 24;

int RunOCR(const std::vector<std::string>& arguments) {
  const Args args(arguments, {"area", "threshold"});
  args.ExpectPositional(1, "IN.y4m");
  const std::string input = args.Positional()[0];
  const int threshold = args.GetInt("threshold", kDefaultThreshold, 0, 255);
  const std::vector<std::string> areaTexts = args.GetAll("area");
  if (areaTexts.empty()) throw ToolError("ocr needs at least one --area");

  Y4MReader reader(input);
  COCRSupport ocr;
  for (const std::string& text : areaTexts) {
    const CRect area = ParseAreaOption(text, false).check;
    CheckAreaInside(area, reader.Format().width, reader.Format().height, "area");
    ocr.AddOCRArea(area, COCRSupport::TEXT_TYPE_UNSPECIFIED);
  }
  if (FAILED(ocr.Initialize())) {
    throw ToolError(
        "the OCR engine could not be started: it is OCR/libNSOCR.so beside libcorvane.so (or the file named "
        "by CORVANE_OCR_ENGINE), with its Config.dat");
  }

  CYUVFrame frame;
  for (uint64_t index = 0; reader.ReadFrame(frame); ++index) {
    // The first frame has nothing to differ from, so it is always read.
    const bool changed = ocr.IsImageDifferent(frame, threshold);
    if (index != 0 && !changed) continue;
    if (FAILED(ocr.DoOCR(frame))) throw ToolError(input + ": frame " + std::to_string(index) + ": the engine failed");
    std::printf("frame %" PRIu64 ":", index);
    for (size_t area = 0; area < areaTexts.size(); ++area) {
      std::printf(" \"%s\"", ocr.GetText(static_cast<int>(area)).c_str());
    }
    std::printf("\n");
  }
  return 0;
}

const bool registered = RegisterCommand({
    "ocr",
    "read the text of areas of a video's frames when they change",
    "usage: corvane ocr IN.y4m --area L,T,R,B [--area L,T,R,B ...] [--threshold T]\n"
    "\n"
    "Reads the text in each area (left,top,right,bottom, right and bottom one\n"
    "past the last column and line) of the first frame and of every frame in\n"
    "which one of the areas changed: some luma step from the frame before is\n"
    "above T (default 24). Prints the frame number (from 0) and, per area in\n"
    "the order given, the letters, digits and hyphens read. Areas lose an odd\n"
    "last column or row. Needs the OCR engine module OCR/libNSOCR.so beside\n"
    "libcorvane.so, or the file named by CORVANE_OCR_ENGINE.\n",
    RunOCR,
});

}  // namespace
}  // namespace corvane::tool
