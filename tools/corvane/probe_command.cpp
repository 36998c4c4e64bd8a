// `corvane probe FILE|-`: recognises a raw compressed audio stream and walks
// it frame by frame with the library's header parsers.
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "args.h"
#include "audio_probe.h"
#include "command.h"
#include "progress.h"

namespace corvane::tool {
namespace {

struct InputFile {
  FILE* stream;
  uint64_t size;  // 0 when not known
};

InputFile OpenInput(const std::string& path) {
  if (path == "-") return {stdin, 0};
  FILE* stream = std::fopen(path.c_str(), "rb");
  if (stream == nullptr) throw ToolError(path + ": cannot open: " + std::strerror(errno));
  struct stat info {};
  const bool regular = fstat(fileno(stream), &info) == 0 && S_ISREG(info.st_mode);
  return {stream, regular ? static_cast<uint64_t>(info.st_size) : 0};
}

int RunProbe(const std::vector<std::string>& arguments) {
  const Args args(arguments, {}, {"frames", "json"});
  args.ExpectPositional(1, "one input file, or - for standard input");
  const std::string path = args.Positional()[0];
  const std::string name = path == "-" ? "standard input" : path;
  const InputFile input = OpenInput(path);
  const std::unique_ptr<FILE, int (*)(FILE*)> closer(input.stream == stdin ? nullptr : input.stream, std::fclose);
  ProbeReport report;
  {
    Progress progress("probe", input.size);
    report = ProbeAudioStream(input.stream, name, &progress);
  }
  if (report.streamBytes == 0) throw ToolError(name + ": empty input");
  if (report.frames.empty()) {
    throw ToolError(name + ": no AC-3, E-AC-3, DTS, MPEG-1 audio, ADTS or LOAS/LATM stream found in " +
                    std::to_string(report.streamBytes) + " bytes");
  }
  if (args.Has("json")) {
    PrintProbeJson(report, args.Has("frames"));
  } else {
    PrintProbeText(name, report, args.Has("frames"));
  }
  return 0;
}

const bool registered = RegisterCommand({
    "probe",
    "recognise a compressed audio stream and walk it frame by frame",
    "usage: corvane probe FILE|- [--frames] [--json]\n"
    "\n"
    "Recognises a raw AC-3, E-AC-3, DTS (16-bit big-endian), MPEG-1 audio, AAC\n"
    "ADTS or AAC LOAS/LATM stream and walks it frame by frame, finding the next\n"
    "frame again after bytes that are no frame. Prints the format, sampling rate,\n"
    "full-range channels and LFE, bit rate (the headers' when constant, else the\n"
    "average), frame sizes, frame count and total duration, then any skipped\n"
    "bytes and a last frame that the stream cuts off (left out of the count).\n"
    "\n"
    "  --frames   list every frame: index, offset, size, duration in 90 kHz ticks\n"
    "  --json     print one JSON object: format (ac3, eac3, dts, mpeg1-layer1|2|3,\n"
    "             aac-adts, aac-latm), sample_rate, channels, lfe, bit_rate,\n"
    "             frame_count, duration_seconds, frame_size_min, frame_size_max,\n"
    "             skipped_bytes, cut_frame_bytes, and with --frames an array\n"
    "             frames of {offset, size, duration_ticks}\n"
    "\n"
    "Exit status: 0 when a stream was found (skipped bytes and a cut last frame\n"
    "are reported, not failed); 1 for an input that cannot be read, is empty or\n"
    "holds no stream of these formats.\n",
    RunProbe,
});

}  // namespace
}  // namespace corvane::tool
