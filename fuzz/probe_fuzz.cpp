// The tool's stream walker, as `corvane probe` runs it, on arbitrary bytes:
// it never reads outside the stream and accounts for every byte, in a frame,
// in skipped garbage or in a cut last frame.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "audio_probe.h"
#include "command.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  // The reports go to standard output; the fuzzer's own lines go to standard error.
  static FILE* const quiet = std::freopen("/dev/null", "w", stdout);
  if (quiet == nullptr || size == 0) return 0;
  FILE* in = fmemopen(const_cast<uint8_t*>(data), size, "rb");
  if (in == nullptr) std::abort();
  corvane::tool::ProbeReport report;
  try {
    report = corvane::tool::ProbeAudioStream(in, "fuzz input");
  } catch (const corvane::tool::ToolError&) {
    std::fclose(in);
    return 0;
  }
  std::fclose(in);

  uint64_t accounted = report.skippedBytes + (report.cut ? report.cutAvailable : 0);
  for (const corvane::tool::ProbedFrame& frame : report.frames) accounted += frame.size;
  if (report.streamBytes != size || accounted != size) std::abort();
  corvane::tool::PrintProbeText("fuzz input", report, true);
  corvane::tool::PrintProbeJson(report, true);
  return 0;
}
