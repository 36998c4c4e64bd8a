// `corvane limit`: the look-ahead limiter over an audio file.
#include <algorithm>
#include <cstdio>

#include "args.h"
#include "command.h"
#include "limiter_pass.h"
#include "output_file.h"
#include "progress.h"
#include "sound_file.h"

namespace corvane::tool {
namespace {

// Frames of 40 ms, the audio of one 25 Hz picture, but always longer than the
// attack so that a ramp has room, and two of them within the limiter's buffers.
size_t FrameSamples(int rate, int attackMs) {
  const size_t attack = static_cast<size_t>(rate) * static_cast<size_t>(attackMs) / 1000 + 1;
  return std::min<size_t>(std::max<size_t>(static_cast<size_t>(rate) / 25, attack),
                          CQBXAudioLimiter::kBufferSamples / 2);
}

int RunLimit(const std::vector<std::string>& arguments) {
  const Args args(arguments, {"ceiling", "threshold", "attack", "release"});
  args.ExpectPositional(2, "IN and OUT");
  const double ceiling = args.GetDouble("ceiling", -1.0, -60.0, 0.0);
  const double threshold = args.GetDouble("threshold", -6.0, -60.0, 0.0);
  const int attackMs = args.GetInt("attack", 5, 0, 100);
  const int releaseMs = args.GetInt("release", 200, 1, 5000);
  if (threshold > ceiling) throw ToolError("--threshold must not be above --ceiling");

  SoundFileReader in(args.Positional()[0]);
  if (in.Channels() != 1 && in.Channels() != 2) {
    throw ToolError(in.Path() + ": the limiter takes mono or stereo, not " + std::to_string(in.Channels()) +
                    " channels");
  }
  OutputFile outFile(args.Positional()[1]);
  SoundFileWriter out(outFile, in.Rate(), in.Channels(), in.Container() | SF_FORMAT_PCM_16);

  CQBXAudioLimiter limiter(ceiling, threshold, in.Rate(), attackMs, releaseMs, CQBXAudioLimiter::HARD_CLIPPER_OFF);
  LimiterPass pass(limiter, in.Channels(), in.Rate());
  const size_t frameSamples = FrameSamples(in.Rate(), attackMs);
  Progress progress("limit", static_cast<uint64_t>(std::max<int64_t>(in.Frames(), 0)));
  std::vector<int16_t> samples;
  std::vector<int16_t> limited;
  uint64_t done = 0;
  while (in.Read(samples, frameSamples) != 0) {
    limited.clear();
    pass.Feed(samples.data(), samples.size() / static_cast<size_t>(in.Channels()), limited);
    out.Write(limited.data(), limited.size() / static_cast<size_t>(in.Channels()));
    done += samples.size() / static_cast<size_t>(in.Channels());
    progress.Update(done);
  }
  limited.clear();
  pass.Flush(limited);
  out.Write(limited.data(), limited.size() / static_cast<size_t>(in.Channels()));
  out.Finish();

  int64_t total = 0;
  double peakDB = 0.0;
  limiter.GetProcessingStatistics(0, total, peakDB);
  const double share = total == 0 ? 0.0 : 100.0 * static_cast<double>(limiter.GetLimitedSamples()) / total;
  std::printf("%s: %lld samples a channel, %lld limited (%.2f%%), output peak %.2f dBFS\n",
              outFile.Path().c_str(), static_cast<long long>(total),
              static_cast<long long>(limiter.GetLimitedSamples()), share, peakDB);
  return 0;
}

const bool registered = RegisterCommand({
    "limit",
    "limit the peaks of an audio file with the look-ahead limiter",
    "usage: corvane limit IN OUT [--ceiling dB] [--threshold dB] [--attack ms] [--release ms]\n"
    "\n"
    "Runs the look-ahead peak limiter over a mono or stereo audio file (any\n"
    "format libsndfile reads) and writes the result as 16-bit PCM in the same\n"
    "container (WAV when that container cannot take it). Peaks above the\n"
    "threshold are compressed so that a full-scale peak comes out at the ceiling.\n"
    "\n"
    "  --ceiling dB     level of a full-scale peak after limiting (default -1)\n"
    "  --threshold dB   level where limiting starts, at most the ceiling (default -6)\n"
    "  --attack ms      time the envelope takes to rise 60 dB ahead of a peak (default 5)\n"
    "  --release ms     time it takes to fall 60 dB after one (default 200)\n"
    "\n"
    "Prints the samples limited and the peak of the output.\n",
    RunLimit,
});

}  // namespace
}  // namespace corvane::tool
