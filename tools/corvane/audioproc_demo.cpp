// Demo step: the look-ahead limiter over a programme with peaks, and a SMPTE
// 302M round trip of its result.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <numbers>
#include <random>

#include "audioparse/audio_support.h"
#include "command.h"
#include "limiter_pass.h"
#include "output_file.h"
#include "s302m_units.h"
#include "sound_file.h"

namespace corvane::tool {
namespace {

constexpr int kRate = 48000;
constexpr size_t kFrameSamples = 1920;  // 40 ms

// Eight seconds of stereo: two tones at about -14 dBFS, a burst of noise at
// full scale every 1.5 s, and a few isolated full-scale clicks.
std::vector<int16_t> MakeProgramme() {
  const size_t frames = 8 * kRate;
  std::vector<int16_t> programme(2 * frames);
  std::mt19937 rng(50);
  std::uniform_int_distribution<int> noise(-32768, 32767);
  for (size_t i = 0; i < frames; ++i) {
    const double t = static_cast<double>(i) / kRate;
    const double bed = 6500.0 * std::sin(2.0 * std::numbers::pi * 220.0 * t);
    const bool burst = std::fmod(t, 1.5) > 1.0 && std::fmod(t, 1.5) < 1.03;
    for (int c = 0; c < 2; ++c) {
      const double tone = bed + 3000.0 * std::sin(2.0 * std::numbers::pi * (c == 0 ? 660.0 : 990.0) * t);
      programme[2 * i + c] = burst ? static_cast<int16_t>(noise(rng)) : static_cast<int16_t>(tone);
    }
    if (i % 70001 == 12345) programme[2 * i] = programme[2 * i + 1] = 32767;
  }
  return programme;
}

void WriteWav(const std::string& path, const std::vector<int16_t>& samples) {
  OutputFile file(path);
  SoundFileWriter writer(file, kRate, 2, SF_FORMAT_WAV | SF_FORMAT_PCM_16);
  writer.Write(samples.data(), samples.size() / 2);
  writer.Finish();
}

double PeakDB(const std::vector<int16_t>& samples) {
  int peak = 0;
  for (int16_t s : samples) peak = std::max(peak, std::abs(static_cast<int>(s)));
  return CAudioSupport::ConvertLevelToDB(static_cast<short>(std::min(peak, 32767)));
}

std::vector<int16_t> Limit(const std::vector<int16_t>& programme) {
  CQBXAudioLimiter limiter(-1.0, -6.0, kRate, 5, 200, CQBXAudioLimiter::HARD_CLIPPER_OFF);
  LimiterPass pass(limiter, 2, kRate);
  std::vector<int16_t> limited;
  for (size_t start = 0; start < programme.size() / 2; start += kFrameSamples) {
    pass.Feed(programme.data() + 2 * start, std::min(kFrameSamples, programme.size() / 2 - start), limited);
  }
  pass.Flush(limited);
  int64_t samples = 0;
  double peakDB = 0.0;
  limiter.GetProcessingStatistics(0, samples, peakDB);
  std::printf("limiter (threshold -6 dB, ceiling -1 dB, attack 5 ms, release 200 ms): %lld samples a channel, "
              "%lld limited, peak %.2f dBFS in, %.2f dBFS out\n",
              static_cast<long long>(samples), static_cast<long long>(limiter.GetLimitedSamples()),
              PeakDB(programme), peakDB);
  return limited;
}

void RoundTrip302M(const std::string& path, const std::vector<int16_t>& samples) {
  OutputFile file(path);
  CAudioFrame unit;
  std::vector<int32_t> wide(samples.begin(), samples.end());
  for (int32_t& s : wide) s *= 65536;  // 16-bit samples at 32-bit full scale
  for (size_t start = 0; start < wide.size() / 2; start += kFrameSamples) {
    Encode302MUnit(wide.data() + 2 * start, std::min(kFrameSamples, wide.size() / 2 - start), 2, unit);
    file.Write(unit.data, unit.payloadLength);
  }
  file.Commit();

  S302MUnitReader reader(path);
  CSMPTE302MDecode decoder;
  std::vector<uint8_t> bytes;
  std::vector<int32_t> decoded;
  while (reader.Next(bytes)) Decode302MUnit(decoder, bytes, decoded);
  size_t differing = std::max(decoded.size(), wide.size()) - std::min(decoded.size(), wide.size());
  for (size_t i = 0; i < std::min(decoded.size(), wide.size()); ++i) differing += decoded[i] != wide[i] ? 1 : 0;
  std::printf("SMPTE 302M: %llu units of 20-bit stereo written and read back; %zu of %zu samples differ\n",
              static_cast<unsigned long long>(reader.Units()), differing, wide.size());
}

void RunAudioProcessingDemo(const std::string& folder) {
  const std::vector<int16_t> programme = MakeProgramme();
  WriteWav(folder + "/programme.wav", programme);
  const std::vector<int16_t> limited = Limit(programme);
  WriteWav(folder + "/programme-limited.wav", limited);
  RoundTrip302M(folder + "/programme-limited.302m", limited);
  std::printf("wrote programme.wav, programme-limited.wav, programme-limited.302m\n");
}

const bool registered = RegisterDemoStep({50, "audio processing: limiter and SMPTE 302M", RunAudioProcessingDemo});

}  // namespace
}  // namespace corvane::tool
