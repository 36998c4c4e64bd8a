#include "measurement/peak_level_true_peak.h"

#include <algorithm>
#include <cmath>

#include "audioproc/sample_lanes.h"

namespace NS_AudioMeasurement {

CPeakLevelTruePeak::CPeakLevelTruePeak(unsigned channelCount, int rate)
    : CAudioPeakLevelImpl(channelCount, rate), truePeaks(channelCount, 0.0f) {
  rateConverter.InitSamplingRateConvert(rate, rate * 4, channelCount);
}

double CPeakLevelTruePeak::ProcessBlock(const std::vector<std::vector<double>>& block) {
  double blockPeak = kBlockPeakFloor;
  for (size_t c = 0; c < block.size(); ++c) {
    input.assign(block[c].begin(), block[c].end());
    int used = 0;
    rateConverter.ResampleSingleChannel(input, used, output, static_cast<unsigned>(c));
    const float channelPeak = sample_lanes::LargestMagnitude(output.data(), output.size(), 0.0f);
    truePeaks[c] = std::max(truePeaks[c], channelPeak);
    blockPeak = std::max(blockPeak, static_cast<double>(channelPeak));
  }
  return 20.0 * std::log10(blockPeak);
}

double CPeakLevelTruePeak::GetPeakReading() {
  float highest = 0.0f;
  for (float peak : truePeaks) highest = std::max(highest, peak);
  return 20.0 * std::log10(static_cast<double>(highest));
}

double CPeakLevelTruePeak::SelfTest() {
  if (channels < 2) return GetPeakReading();
  std::vector<std::vector<double>> tone;
  CAudioSupport::CreateMultiChannelTone(tone, 48000, 0.1, -10.0, 5000.0, 2);
  ProcessBlock(tone);
  return GetPeakReading();
}

}  // namespace NS_AudioMeasurement
