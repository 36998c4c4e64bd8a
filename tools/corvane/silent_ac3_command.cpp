// `corvane silent-ac3`: writes a stream of the library's ready-made silent
// AC-3 frames; the demo step writes one and probes it.
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "args.h"
#include "audio_probe.h"
#include "audioparse/audio_support.h"
#include "command.h"
#include "output_file.h"

namespace corvane::tool {
namespace {

constexpr int kMaxFrames = 1000000;

// A bit rate in bit/s, or in kbit/s with a trailing k ("192k").
uint32_t ParseBitRate(const std::string& text) {
  char* end = nullptr;
  errno = 0;
  const unsigned long value = std::strtoul(text.c_str(), &end, 10);
  const bool kilo = *end == 'k' && end[1] == '\0';
  if (errno != 0 || end == text.c_str() || (*end != '\0' && !kilo) || text[0] == '-' || value > 100000000ul) {
    throw ToolError("--bitrate takes a bit rate in bit/s, or in kbit/s as 192k, not '" + text + "'");
  }
  return static_cast<uint32_t>(kilo ? value * 1000 : value);
}

// Writes `frames` copies of the silent frame for the request; returns the
// frame's header as the parser reads it.
CAudioStreamParameters WriteSilentStream(OutputFile& output, uint32_t channels, uint32_t bitRate, int frames) {
  CAudioFrame frame;
  if (CAudioSupport::GetSilentAC3Frame(channels, bitRate, frame) != S_OK) {
    throw ToolError("the library has no silent AC-3 frame for this request");
  }
  CAudioStreamParameters params;
  CAudioSupport::ReadAC3Parameters(&params, frame.data);
  for (int i = 0; i < frames; ++i) output.Write(frame.data, frame.payloadLength);
  output.Commit();
  return params;
}

int RunSilentAC3(const std::vector<std::string>& arguments) {
  std::vector<std::string> words = arguments;
  for (std::string& word : words) {
    if (word == "-o") word = "--out";
  }
  const Args args(words, {"channels", "bitrate", "frames", "out"});
  args.ExpectPositional(0, "no positional arguments");
  if (!args.Has("channels") || !args.Has("bitrate") || !args.Has("out")) {
    throw ToolError("--channels, --bitrate and -o are required (see --help)");
  }
  const int channels = args.GetInt("channels", 2, 1, 8);
  const uint32_t bitRate = ParseBitRate(args.Get("bitrate", ""));
  const int frames = args.GetInt("frames", 1, 1, kMaxFrames);
  const std::string path = args.Get("out", "");
  OutputFile output(path);
  const CAudioStreamParameters params = WriteSilentStream(output, static_cast<uint32_t>(channels), bitRate, frames);
  std::fprintf(path == "-" ? stderr : stdout,
               "%s: %d silent AC-3 frame%s of %u bytes: %d channels%s, %u bit/s, %u Hz, %.3f s\n", path.c_str(),
               frames, frames == 1 ? "" : "s", params.frameSize, params.channels, params.lfe ? " and LFE" : "",
               params.bitRate, params.samplingRate, frames * (params.frameDurationTicks / 90000.0));
  return 0;
}

void SilentAC3Demo(const std::string& folder) {
  const std::string path = folder + "/silent-5.1.ac3";
  OutputFile output(path);
  WriteSilentStream(output, 6, 448000, 50);
  std::printf("wrote %s: 50 silent AC-3 frames for a 5.1 request at 448 kbit/s\n", path.c_str());
  FILE* stream = std::fopen(path.c_str(), "rb");
  if (stream == nullptr) throw ToolError(path + ": cannot open: " + std::strerror(errno));
  const ProbeReport report = ProbeAudioStream(stream, path);
  std::fclose(stream);
  PrintProbeText(path, report, false);
}

const bool registered = RegisterCommand({
    "silent-ac3",
    "write a stream of ready-made silent AC-3 frames",
    "usage: corvane silent-ac3 --channels N --bitrate B [--frames K] -o OUT.ac3\n"
    "\n"
    "Writes K (default 1) copies of the library's 48 kHz AC-3 frame of digital\n"
    "silence that fits the request: 3/2 with LFE for N of 5 or more, else 2/0,\n"
    "at the highest of its bit rates (2/0: 128 to 448 kbit/s, 5.1: 384 or 448)\n"
    "not above B. B is in bit/s, or in kbit/s with a k (192k). OUT may be - for\n"
    "standard output.\n",
    RunSilentAC3,
});

const bool demoRegistered = RegisterDemoStep({40, "silent AC-3 frames and the stream probe", SilentAC3Demo});

}  // namespace
}  // namespace corvane::tool
