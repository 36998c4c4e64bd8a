// `corvane resample`: the sampling-rate converter over an audio file.
#include <algorithm>
#include <cstdio>
#include <memory>

#include "args.h"
#include "audioparse/audio_support.h"
#include "command.h"
#include "output_file.h"
#include "progress.h"
#include "sound_file.h"

namespace corvane::tool {
namespace {

constexpr size_t kBlockFrames = 4096;

// The converter works on stereo pairs, so a file's channels go through it two
// at a time; an odd last channel is fed as both channels of its pair.
class MultiChannelResampler {
 public:
  MultiChannelResampler(int channels, int inputRate, int outputRate) : channels_(channels) {
    for (int pair = 0; pair < (channels + 1) / 2; ++pair) {
      converters_.push_back(std::make_unique<CAudioSupport>(inputRate, outputRate));
    }
  }

  // Converts `frames` interleaved frames and appends the output to `out`.
  void Convert(const int16_t* samples, size_t frames, std::vector<int16_t>& out) {
    const size_t pairs = converters_.size();
    std::vector<std::vector<short>> pairInput(pairs, std::vector<short>(2 * frames));
    for (size_t f = 0; f < frames; ++f) {
      for (size_t p = 0; p < pairs; ++p) {
        const int left = static_cast<int>(2 * p);
        const int right = std::min(left + 1, channels_ - 1);
        pairInput[p][2 * f] = samples[f * channels_ + left];
        pairInput[p][2 * f + 1] = samples[f * channels_ + right];
      }
    }
    size_t offset = 0;
    while (offset < frames) {
      const int remaining = static_cast<int>(frames - offset);
      const int produced = ConvertPairs(pairInput, offset, remaining, out);
      if (used_ == 0 && produced == 0) break;
      offset += static_cast<size_t>(used_);
    }
  }

 private:
  // One call of every pair's converter on the same span; the pairs stay in
  // step because the converter's counts depend on the sizes alone.
  int ConvertPairs(const std::vector<std::vector<short>>& pairInput, size_t offset, int count,
                   std::vector<int16_t>& out) {
    const size_t pairs = converters_.size();
    std::vector<std::vector<short>> pairOutput(pairs, std::vector<short>(2 * (2 * count + 64)));
    int produced = 0;
    for (size_t p = 0; p < pairs; ++p) {
      int used = 0;
      int made = 0;
      converters_[p]->ResampleStereoData(pairInput[p].data() + 2 * offset, count, used, pairOutput[p].data(), made);
      if (made < 0) throw ToolError("the rate converter's internal buffer overflowed");
      if (p == 0) {
        used_ = used;
        produced = made;
      } else if (used != used_ || made != produced) {
        throw ToolError("the rate converter's channel pairs fell out of step");
      }
    }
    for (int i = 0; i < produced; ++i) {
      for (int c = 0; c < channels_; ++c) out.push_back(pairOutput[c / 2][2 * i + c % 2]);
    }
    return produced;
  }

  int channels_;
  int used_ = 0;
  std::vector<std::unique_ptr<CAudioSupport>> converters_;
};

int RunResample(const std::vector<std::string>& arguments) {
  const Args args(arguments, {"rate"});
  args.ExpectPositional(2, "IN and OUT");
  if (!args.Has("rate")) throw ToolError("--rate HZ is required (see --help)");
  const int outputRate = args.GetInt("rate", 0, 1000, 384000);

  SoundFileReader in(args.Positional()[0]);
  OutputFile outFile(args.Positional()[1]);
  SoundFileWriter out(outFile, outputRate, in.Channels(), in.Container() | SF_FORMAT_PCM_16);
  MultiChannelResampler resampler(in.Channels(), in.Rate(), outputRate);

  Progress progress("resample", static_cast<uint64_t>(std::max<int64_t>(in.Frames(), 0)));
  std::vector<int16_t> samples;
  std::vector<int16_t> converted;
  uint64_t inputFrames = 0;
  uint64_t outputFrames = 0;
  const auto channels = static_cast<size_t>(in.Channels());
  while (in.Read(samples, kBlockFrames) != 0) {
    converted.clear();
    resampler.Convert(samples.data(), samples.size() / channels, converted);
    out.Write(converted.data(), converted.size() / channels);
    inputFrames += samples.size() / channels;
    outputFrames += converted.size() / channels;
    progress.Update(inputFrames);
  }
  // The converter holds back what its filter still needs; silence behind the
  // input pushes it out, up to the length the input has at the new rate.
  const uint64_t expected = inputFrames * static_cast<uint64_t>(outputRate) / static_cast<uint64_t>(in.Rate());
  const std::vector<int16_t> silence(kBlockFrames * channels, 0);
  while (outputFrames < expected) {
    converted.clear();
    resampler.Convert(silence.data(), kBlockFrames, converted);
    const uint64_t take = std::min<uint64_t>(converted.size() / channels, expected - outputFrames);
    out.Write(converted.data(), take);
    outputFrames += take;
  }
  out.Finish();
  std::printf("%s: %llu samples a channel at %d Hz from %llu at %d Hz\n", outFile.Path().c_str(),
              static_cast<unsigned long long>(outputFrames), outputRate,
              static_cast<unsigned long long>(inputFrames), in.Rate());
  return 0;
}

const bool registered = RegisterCommand({
    "resample",
    "convert an audio file to another sampling rate",
    "usage: corvane resample IN OUT --rate HZ\n"
    "\n"
    "Converts an audio file (any format libsndfile reads) to HZ through the\n"
    "library's rate converter, libresample's high-quality filter, and writes\n"
    "16-bit PCM in the same container (WAV when that container cannot take it).\n"
    "The output has the input's duration. The converter does not clip: a\n"
    "signal whose filtered peaks overshoot full scale wraps around.\n",
    RunResample,
});

}  // namespace
}  // namespace corvane::tool
