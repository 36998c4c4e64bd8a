#include "measurement/peak_level_ppm.h"

#include <algorithm>
#include <cmath>

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

}  // namespace NS_AudioMeasurement
