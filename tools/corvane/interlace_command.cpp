// `corvane interlace`: turns a stream with field flags (or plain film with a
// 3:2 pulldown pattern applied) into interlaced video of one field order.
#include <cstdio>

#include "args.h"
#include "command.h"
#include "deinterlace/video_interlacer.h"
#include "output_file.h"
#include "progress.h"
#include "y4m.h"

namespace corvane::tool {
namespace {

// The repeat-first-field pattern of 3:2 pulldown over four film frames:
// top first with repeat, bottom first, bottom first with repeat, top first.
void FlagPulldown(CYUVFrame& frame, uint64_t index) {
  static const bool kTopFirst[4] = {true, false, false, true};
  static const bool kRepeat[4] = {true, false, true, false};
  frame.progressive = true;
  frame.topFieldFirst = kTopFirst[index % 4];
  frame.repeatFirstField = kRepeat[index % 4];
}

int RunInterlace(const std::vector<std::string>& arguments) {
  const Args args(arguments, {"cadence", "pulldown"});
  args.ExpectPositional(2, "IN and OUT");
  const std::string cadenceText = args.Get("cadence", "tff");
  if (cadenceText != "tff" && cadenceText != "bff") throw ToolError("--cadence takes tff or bff");
  const bool pulldown = args.Has("pulldown");
  if (pulldown && args.Get("pulldown", "") != "3:2") throw ToolError("--pulldown takes 3:2");
  const auto cadence = cadenceText == "tff" ? CVideoInterlacer::CADENCE_TOP_FIRST : CVideoInterlacer::CADENCE_BOTTOM_FIRST;

  Y4MReader reader(args.Positional()[0]);
  Y4MFormat format = reader.Format();
  if (format.rateNumerator <= 0 || format.rateDenominator <= 0) {
    throw ToolError(args.Positional()[0] + ": the stream has no frame rate");
  }
  const int64_t frameDuration = 90000LL * format.rateDenominator / format.rateNumerator;
  if (pulldown) {  // four film frames make five
    format.rateNumerator *= 5;
    format.rateDenominator *= 4;
  }
  format.interlace = cadence == CVideoInterlacer::CADENCE_TOP_FIRST ? 't' : 'b';

  OutputFile output(args.Positional()[1]);
  Y4MWriter writer(output, format);
  Progress progress("interlace", reader.ExpectedFrames());
  CVideoInterlacer interlacer(cadence, frameDuration);
  CYUVFrame input;
  uint64_t framesIn = 0, framesOut = 0;
  while (reader.ReadFrame(input)) {
    input.presentationTime = static_cast<int64_t>(framesIn) * frameDuration;
    if (pulldown) FlagPulldown(input, framesIn);
    ++framesIn;
    if (interlacer.ProcessFrame(&input) != CVideoInterlacer::INTERLACE_FRAME_READY) continue;
    CYUVFrame* out = nullptr;
    while (interlacer.GetNextFrame(&out) == CVideoInterlacer::INTERLACE_FRAME_READY) {
      writer.WriteFrame(*out);
      ++framesOut;
    }
    progress.Update(framesIn);
  }
  output.Commit();
  std::fprintf(stderr, "interlace: %llu frames in, %llu interlaced frames out (%s)\n",
               static_cast<unsigned long long>(framesIn), static_cast<unsigned long long>(framesOut),
               cadenceText.c_str());
  return 0;
}

const bool registered = RegisterCommand({
    "interlace",
    "make interlaced video of one field order from flagged frames or film",
    "usage: corvane interlace IN.y4m OUT.y4m [--cadence tff|bff] [--pulldown 3:2]\n"
    "\n"
    "  --cadence tff|bff   field order of the output (default tff)\n"
    "  --pulldown 3:2      flag the input as progressive film with the 3:2 repeat-\n"
    "                      first-field pattern, so 24 frames become 30\n"
    "Without --pulldown the field flags come from the stream (y4m Ip/It/Ib, or per\n"
    "frame with Im).\n",
    RunInterlace,
});

}  // namespace
}  // namespace corvane::tool
