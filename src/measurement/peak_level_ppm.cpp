#include "measurement/peak_level_ppm.h"

#include <algorithm>
#include <cmath>

#include "audioparse/audio_support.h"
#include "audioproc/sample_lanes.h"

namespace NS_AudioMeasurement {

CPeakLevelPPMIIa::CPeakLevelPPMIIa(unsigned channelCount, int rate)
    : CAudioPeakLevelImpl(channelCount, rate),
      attack(4.2 * AttackBase()),
      decayDivisor(std::pow(10.0, (10.0 / rate) / 20.0)) {}

double CPeakLevelPPMIIa::AttackBase() const { return 1.0 - std::exp(-1.0 / (0.01 * samplingRate)); }

double CPeakLevelPPMIIa::ProcessBlock(const std::vector<std::vector<double>>& block) {
  double blockPeak = kBlockPeakFloor;
  sample_lanes::ForEachLaneGroup(
      static_cast<unsigned>(block.size()), [&](unsigned c) { return block[c].size() == block[c + 1].size(); },
      [&](auto lanes, unsigned first) {
        blockPeak = std::max(blockPeak, FollowChannels<decltype(lanes)>(block, first));
      });
  return 20.0 * std::log10(blockPeak);
}

// Runs the envelopes of the channels in V's lanes over their samples; the
// result is the highest envelope they reached, at least the block floor.
template <typename V>
double CPeakLevelPPMIIa::FollowChannels(const std::vector<std::vector<double>>& block, unsigned first) {
  using namespace sample_lanes;
  V e = LanesOf<V>([&](unsigned l) { return envelope[first + l]; });
  V channelPeak = LanesOf<V>([&](unsigned l) { return held[first + l]; });
  V blockPeak = LanesOf<V>([](unsigned) { return kBlockPeakFloor; });
  const size_t length = block[first].size();
  for (size_t i = 0; i < length; ++i) {
    e = e / decayDivisor;  // the decay runs on every sample, also during an attack
    const V a = Magnitude(LanesOf<V>([&](unsigned l) { return block[first + l][i]; }));
    // Most samples lie under the envelope: the branch keeps the rise, and
    // its wait for the comparison, off the chain from sample to sample.
    if (AnyGreater(a, e)) e = IfGreater(a, e, e + (a - e) * attack, e);
    blockPeak = Larger(blockPeak, e);
    channelPeak = Larger(channelPeak, e);
  }
  double highest = kBlockPeakFloor;
  for (unsigned l = 0; l < kLaneCount<V>; ++l) {
    envelope[first + l] = Lane(e, l);
    held[first + l] = Lane(channelPeak, l);
    highest = std::max(highest, Lane(blockPeak, l));
  }
  return highest;
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
