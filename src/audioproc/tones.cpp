// Test tones for meters and self tests.
#include <cmath>

#include "audioparse/audio_support.h"

void CAudioSupport::CreateMonoTone(std::vector<double>& tone, double samplingRate, double seconds, double levelDB,
                                   double frequency) {
  tone.clear();
  const auto count = static_cast<int64_t>(samplingRate * seconds);
  const double amplitude = ConvertDBToFactor(levelDB);
  const double twoPi = 8.0 * std::atan(1.0);
  const double samplesPerCycle = samplingRate / frequency;
  for (int64_t i = 0; i < count; ++i) {
    tone.push_back(std::sin(static_cast<double>(i) * twoPi / samplesPerCycle) * amplitude);
  }
}

void CAudioSupport::CreateMultiChannelTone(std::vector<std::vector<double>>& tones, double samplingRate,
                                           double seconds, double levelDB, double frequency, int channelCount) {
  tones.clear();
  std::vector<double> tone;
  CreateMonoTone(tone, samplingRate, seconds, levelDB, frequency);
  // Every multichannel tone ends in a second of near-silence at the same
  // frequency, so a meter sees its release as well.
  std::vector<double> tail;
  CreateMonoTone(tail, samplingRate, 1.0, -96.0, frequency);
  tone.insert(tone.end(), tail.begin(), tail.end());
  for (int c = 0; c < channelCount; ++c) tones.push_back(tone);
}
