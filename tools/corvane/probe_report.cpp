// The report of `corvane probe`: a few lines of text, or one JSON object.
#include <cinttypes>
#include <cstdio>

#include "audio_probe.h"

namespace corvane::tool {
namespace {

const char* DisplayName(const std::string& format) {
  if (format == "ac3") return "AC-3";
  if (format == "eac3") return "E-AC-3";
  if (format == "dts") return "DTS";
  if (format == "mpeg1-layer1") return "MPEG-1 Layer I";
  if (format == "mpeg1-layer2") return "MPEG-1 Layer II";
  if (format == "mpeg1-layer3") return "MPEG-1 Layer III";
  if (format == "aac-adts") return "AAC in ADTS";
  return "AAC in LOAS/LATM";
}

std::string TicksText(uint32_t ticks, uint32_t thousandths) {
  char text[32];
  if (thousandths == 0) {
    std::snprintf(text, sizeof(text), "%" PRIu32, ticks);
  } else {
    std::snprintf(text, sizeof(text), "%" PRIu32 ".%03" PRIu32, ticks, thousandths);
  }
  return text;
}

}  // namespace

void PrintProbeText(const std::string& name, const ProbeReport& report, bool listFrames) {
  std::printf("%s: %s, ", name.c_str(), DisplayName(report.format));
  if (report.sampleRate != 0) {
    std::printf("%" PRIu32 " Hz, %" PRId32 " channel%s, %s, ", report.sampleRate, report.channels,
                report.channels == 1 ? "" : "s", report.lfe ? "LFE" : "no LFE");
  } else {
    std::printf("rate and channels not given, ");
  }
  std::printf("%" PRIu32 " bit/s\n", report.bitRate);
  std::printf("  frames: %zu", report.frames.size());
  if (report.SmallestFrame() == report.LargestFrame()) {
    std::printf(" of %" PRIu32 " bytes", report.LargestFrame());
  } else {
    std::printf(" of %" PRIu32 " to %" PRIu32 " bytes", report.SmallestFrame(), report.LargestFrame());
  }
  std::printf(", %.6f s\n", report.DurationSeconds());
  if (report.skippedBytes != 0) {
    std::printf("  skipped: %" PRIu64 " bytes that are no frame, in %" PRIu32 " place%s\n", report.skippedBytes,
                report.skippedRuns, report.skippedRuns == 1 ? "" : "s");
  }
  if (report.cut) {
    std::printf("  cut: the last frame at offset %" PRIu64 " has %" PRIu32 " of its %" PRIu32
                " bytes; it is left out\n",
                report.cutOffset, report.cutAvailable, report.cutSize);
  }
  if (!listFrames) return;
  std::printf("  %8s %12s %6s %10s\n", "frame", "offset", "size", "ticks");
  for (size_t i = 0; i < report.frames.size(); ++i) {
    const ProbedFrame& frame = report.frames[i];
    std::printf("  %8zu %12" PRIu64 " %6" PRIu32 " %10s\n", i, frame.offset, frame.size,
                TicksText(frame.durationTicks, frame.durationFraction).c_str());
  }
}

void PrintProbeJson(const ProbeReport& report, bool listFrames) {
  std::printf("{\n");
  std::printf("  \"format\": \"%s\",\n", report.format.c_str());
  std::printf("  \"sample_rate\": %" PRIu32 ",\n", report.sampleRate);
  std::printf("  \"channels\": %" PRId32 ",\n", report.channels);
  std::printf("  \"lfe\": %" PRId32 ",\n", report.lfe);
  std::printf("  \"bit_rate\": %" PRIu32 ",\n", report.bitRate);
  std::printf("  \"frame_count\": %zu,\n", report.frames.size());
  std::printf("  \"duration_seconds\": %.6f,\n", report.DurationSeconds());
  std::printf("  \"frame_size_min\": %" PRIu32 ",\n", report.SmallestFrame());
  std::printf("  \"frame_size_max\": %" PRIu32 ",\n", report.LargestFrame());
  std::printf("  \"skipped_bytes\": %" PRIu64 ",\n", report.skippedBytes);
  std::printf("  \"cut_frame_bytes\": %" PRIu32 "%s\n", report.cut ? report.cutAvailable : 0, listFrames ? "," : "");
  if (listFrames) {
    std::printf("  \"frames\": [");
    for (size_t i = 0; i < report.frames.size(); ++i) {
      const ProbedFrame& frame = report.frames[i];
      std::printf("%s\n    {\"offset\": %" PRIu64 ", \"size\": %" PRIu32 ", \"duration_ticks\": %s}", i ? "," : "",
                  frame.offset, frame.size, TicksText(frame.durationTicks, frame.durationFraction).c_str());
    }
    std::printf("\n  ]\n");
  }
  std::printf("}\n");
}

}  // namespace corvane::tool
