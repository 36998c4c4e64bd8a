// Walks a raw compressed audio stream frame by frame with the library's header
// parsers: AC-3, E-AC-3, DTS, MPEG-1 audio, AAC in ADTS or in LOAS/LATM. The
// walker alone does the framing (sync search, resynchronisation after
// garbage, length checks); each format brings its sync word, the bytes its
// parser reads and the parser.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace corvane::tool {

class Progress;

struct ProbedFrame {
  uint64_t offset = 0;
  uint32_t size = 0;
  uint32_t durationTicks = 0;     // whole ticks of the 90 kHz clock
  uint32_t durationFraction = 0;  // thousandths of a tick
};

struct ProbeReport {
  // "ac3", "eac3", "dts", "mpeg1-layer1", "mpeg1-layer2", "mpeg1-layer3",
  // "aac-adts" or "aac-latm"; empty when no stream was recognised.
  std::string format;
  uint32_t sampleRate = 0;  // 0 when the stream never says (LATM without a configuration)
  int32_t channels = 0;     // full-range channels
  int32_t lfe = 0;
  uint32_t bitRate = 0;  // the headers' rate when every frame gives the same, else the average
  std::vector<ProbedFrame> frames;
  uint64_t streamBytes = 0;
  uint64_t skippedBytes = 0;  // bytes in no frame: before, between or after them
  uint32_t skippedRuns = 0;   // places where garbage was skipped
  // A last frame that the stream cuts off: left out of `frames`.
  bool cut = false;
  uint64_t cutOffset = 0;
  uint32_t cutSize = 0;
  uint32_t cutAvailable = 0;
  uint64_t durationMilliTicks = 0;  // of all frames, in thousandths of a tick

  double DurationSeconds() const { return static_cast<double>(durationMilliTicks) / 90000000.0; }
  uint32_t SmallestFrame() const;
  uint32_t LargestFrame() const;
};

// Reads the whole stream (closing nothing); `name` appears in error
// messages, `progress` (may be null) is told the bytes read.
ProbeReport ProbeAudioStream(FILE* in, const std::string& name, Progress* progress = nullptr);

// The report as `corvane probe` prints it on standard output: a few lines of
// text headed by `name`, or one JSON object; listFrames adds every frame.
void PrintProbeText(const std::string& name, const ProbeReport& report, bool listFrames);
void PrintProbeJson(const ProbeReport& report, bool listFrames);

}  // namespace corvane::tool
