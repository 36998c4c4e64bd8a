// `corvane deinterlace`: the bob or the smart field deinterlacer over a
// YUV4MPEG2 stream.
#include "deinterlace_command.h"

#include <cinttypes>
#include <cstdio>
#include <iterator>
#include <memory>

#include "args.h"
#include "command.h"
#include "corvane.h"
#include "output_file.h"
#include "progress.h"
#include "y4m.h"

namespace corvane::tool {
namespace {

constexpr int kMaxThreshold = 255 * 255;  // no comb product exceeds it
const char* const kSmartFlags[] = {"all", "use-chroma", "blend", "show-motion-map", "show-status", "log-status"};

struct Tally {
  uint64_t frames = 0;
  uint64_t progressive = 0;  // passed through untouched
  uint64_t combed = 0;
  uint64_t clean = 0;
  uint64_t deinterlaced = 0;  // by bob, or by the smart deinterlacer without its comb test
};

// The deinterlacer the options ask for; `smart` points at it when it is the
// smart one, so that its verdicts can be counted.
std::unique_ptr<CDeinterlacer> MakeDeinterlacer(const Args& args, CSmartFieldDeinterlacer*& smart) {
  const std::string method = args.Get("method", "smart");
  if (method == "bob") {
    for (const char* flag : kSmartFlags) {
      if (args.Has(flag)) throw ToolError(std::string("--") + flag + " applies to --method smart only");
    }
    if (args.Has("comb-threshold") || args.Has("motion-threshold")) {
      throw ToolError("the thresholds apply to --method smart only");
    }
    smart = nullptr;
    return std::make_unique<CBobDeinterlacer>();
  }
  if (method != "smart") throw ToolError("--method takes smart or bob, not '" + method + "'");
  auto deinterlacer = std::make_unique<CSmartFieldDeinterlacer>(
      args.Has("all"), args.Has("use-chroma"),
      static_cast<unsigned>(args.GetInt("comb-threshold", kDefaultCombThreshold, 0, kMaxThreshold)),
      static_cast<unsigned>(args.GetInt("motion-threshold", kDefaultMotionThreshold, 0, kMaxThreshold)),
      args.Has("blend"), args.Has("show-motion-map"), args.Has("show-status"), args.Has("log-status"));
  smart = deinterlacer.get();
  return deinterlacer;
}

// The frame's time in ticks of the 90 kHz clock, which the status line shows as PTS.
int64_t PresentationTime(uint64_t frameIndex, const Y4MFormat& format) {
  if (format.rateNumerator == 0) return 0;
  return static_cast<int64_t>(frameIndex * 90000u * static_cast<uint64_t>(format.rateDenominator) /
                              static_cast<uint64_t>(format.rateNumerator));
}

void Count(const CSmartFieldDeinterlacer* smart, Tally& tally) {
  if (smart == nullptr) {
    ++tally.deinterlaced;
    return;
  }
  switch (smart->LastFrameStatus()) {
    case CSmartFieldDeinterlacer::STATUS_COMBED: ++tally.combed; break;
    case CSmartFieldDeinterlacer::STATUS_CLEAN: ++tally.clean; break;
    default: ++tally.deinterlaced; break;
  }
}

// Streams often carry no interlace tag, or a wrong one: --field-order
// overrides what the stream says for every frame.
struct FieldOrder {
  bool forced = false;
  bool topFirst = true;
};

FieldOrder FieldOrderOption(const Args& args) {
  if (!args.Has("field-order")) return {};
  const std::string order = args.Get("field-order", "");
  if (order != "tff" && order != "bff") throw ToolError("--field-order takes tff or bff, not '" + order + "'");
  return {true, order == "tff"};
}

Tally Deinterlace(Y4MReader& reader, Y4MWriter& writer, CDeinterlacer& deinterlacer,
                  const CSmartFieldDeinterlacer* smart, FieldOrder order) {
  Progress progress("deinterlace", reader.ExpectedFrames());
  Tally tally;
  CYUVFrame frame;
  while (reader.ReadFrame(frame)) {
    frame.presentationTime = frame.stampA = PresentationTime(tally.frames, reader.Format());
    if (order.forced) {
      frame.progressive = false;
      frame.topFieldFirst = order.topFirst;
    }
    if (frame.progressive) {
      ++tally.progressive;
    } else {
      deinterlacer.DeinterlaceFrame(frame);
      Count(smart, tally);
    }
    writer.WriteFrame(frame);
    progress.Update(++tally.frames);
  }
  return tally;
}

void PrintSummary(const Tally& tally, bool smart, const std::string& output) {
  std::fprintf(stderr, "deinterlace: %" PRIu64 " frames", tally.frames);
  if (smart) {
    std::fprintf(stderr, ": %" PRIu64 " combed, %" PRIu64 " clean (untouched)", tally.combed, tally.clean);
    if (tally.deinterlaced != 0) {
      std::fprintf(stderr, ", %" PRIu64 " deinterlaced without the comb test", tally.deinterlaced);
    }
  } else {
    std::fprintf(stderr, ": %" PRIu64 " deinterlaced by bob", tally.deinterlaced);
  }
  std::fprintf(stderr, ", %" PRIu64 " progressive (passed through) -> %s\n", tally.progressive,
               output == "-" ? "standard output" : output.c_str());
}

int RunDeinterlace(const std::vector<std::string>& arguments) {
  const Args args(arguments, {"method", "comb-threshold", "motion-threshold", "field-order"},
                  {std::begin(kSmartFlags), std::end(kSmartFlags)});
  args.ExpectPositional(2, "IN.y4m and OUT.y4m");
  CSmartFieldDeinterlacer* smart = nullptr;
  const std::unique_ptr<CDeinterlacer> deinterlacer = MakeDeinterlacer(args, smart);
  const FieldOrder order = FieldOrderOption(args);

  Y4MReader reader(args.Positional()[0]);
  Y4MFormat format = reader.Format();
  format.interlace = 'p';
  OutputFile output(args.Positional()[1]);
  Y4MWriter writer(output, format);
  const Tally tally = Deinterlace(reader, writer, *deinterlacer, smart, order);
  output.Commit();
  PrintSummary(tally, smart != nullptr, args.Positional()[1]);
  return 0;
}

const bool registered = RegisterCommand({
    "deinterlace",
    "deinterlace a YUV4MPEG2 stream (smart field or bob deinterlacer)",
    "usage: corvane deinterlace [options] IN.y4m OUT.y4m\n"
    "\n"
    "Deinterlaces a YUV4MPEG2 stream in 4:2:0, 4:2:2 or 4:4:4 ('-' reads standard\n"
    "input or writes standard output). The stream's interlace tag (It, Ib, Im with\n"
    "per-frame tags) says which frames are interlaced; frames flagged progressive\n"
    "pass through untouched, and the output is flagged progressive. At the end a\n"
    "summary of combed and clean frames goes to standard error.\n"
    "\n"
    "  --method smart|bob      smart (default): find the combed frames and repair\n"
    "                          the moving pixels of their odd rows; bob: double the\n"
    "                          top field of every interlaced frame (luma only)\n"
    "  --field-order tff|bff   treat every frame as interlaced in this field order,\n"
    "                          whatever the stream's tag says\n"
    "\n"
    "Settings of the smart deinterlacer. The comb product of a pixel is\n"
    "(below - pixel) * (above - pixel): positive where the pixel stands off both\n"
    "rows of the other field in the same direction, at most 65025.\n"
    "  --comb-threshold N      a product above N counts as comb; a frame is combed\n"
    "                          when a block of 4x8 pixels holds more than 15 comb\n"
    "                          pixels with comb above and below (default 400: a row\n"
    "                          20 levels off both neighbours)\n"
    "  --motion-threshold N    a product above N marks a pixel for repair in a\n"
    "                          combed frame (default 100: 10 levels)\n"
    "  --all                   repair every frame by the motion map, no comb test\n"
    "                          (default off)\n"
    "  --use-chroma            let the chroma planes count in the comb test too\n"
    "                          (default off: chroma marks only pixels for repair)\n"
    "  --blend                 blend each marked row with its neighbours instead of\n"
    "                          replacing the odd rows (default off)\n"
    "  --show-motion-map       paint the pixels marked for repair instead of\n"
    "                          repairing them (default off)\n"
    "  --show-status           draw each frame's verdict into it at row 60 (off)\n"
    "  --log-status            log each frame's verdict to $CORVANE_LOG, or to\n"
    "                          standard error when it is unset (default off)\n",
    RunDeinterlace,
});

}  // namespace
}  // namespace corvane::tool
