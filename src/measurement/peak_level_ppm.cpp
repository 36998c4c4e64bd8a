#include "measurement/peak_level_ppm.h"

#include <algorithm>
#include <cmath>

#include "audioparse/audio_support.h"

namespace NS_AudioMeasurement {

CPeakLevelPPMIIa::CPeakLevelPPMIIa(unsigned channelCount, int rate)
    : CAudioPeakLevelImpl(channelCount, rate),
      attack(4.2 * AttackBase()),
      decayDivisor(std::pow(10.0, (10.0 / rate) / 20.0)) {}

double CPeakLevelPPMIIa::AttackBase() const { return 1.0 - std::exp(-1.0 / (0.01 * samplingRate)); }

double CPeakLevelPPMIIa::ProcessBlock(const std::vector<std::vector<double>>& block) {
  double blockPeak = kBlockPeakFloor;
  for (size_t c = 0; c < block.size(); ++c) {
    double e = envelope[c];
    double channelPeak = held[c];
    for (double x : block[c]) {
      e = e / decayDivisor;  // the decay runs on every sample, also during an attack
      const double a = std::fabs(x);
      if (a > e) e = e + (a - e) * attack;
      blockPeak = std::max(blockPeak, e);
      channelPeak = std::max(channelPeak, e);
    }
    envelope[c] = e;
    held[c] = channelPeak;
  }
  return 20.0 * std::log10(blockPeak);
}

double CPeakLevelPPMIIa::GetPeakReading() { return 20.0 * std::log10(HighestHeld()) * 0.25 + 8.5; }

double CPeakLevelPPMIIa::SelfTest() {
  if (channels < 2) return GetPeakReading();
  const double base = AttackBase();
  double reading = GetPeakReading();
  // Twenty passes: the twenty-first sum of the steps lies just above 2.0.
  for (double m = 1.0; m <= 2.0; m += 0.05) {
    attack = m * base;
    held[0] = held[1] = -120.0;
    envelope[0] = envelope[1] = 0.0;
    for (double seconds : {0.0015, 0.005, 0.01, 0.1}) {
      std::vector<std::vector<double>> tone;
      CAudioSupport::CreateMultiChannelTone(tone, 48000, seconds, -10.0, 5000.0, 2);
      ProcessBlock(tone);
      reading = GetPeakReading();
    }
  }
  return reading;
}

}  // namespace NS_AudioMeasurement
