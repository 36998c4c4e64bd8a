#include "measurement/peak_level_simple.h"

#include <algorithm>
#include <cmath>

namespace NS_AudioMeasurement {

double CPeakLevelSimple::ProcessBlock(const std::vector<std::vector<double>>& block) {
  double blockPeak = kBlockPeakFloor;
  for (size_t c = 0; c < block.size(); ++c) {
    double channelPeak = held[c];
    for (double x : block[c]) {
      const double a = std::fabs(x);
      channelPeak = std::max(channelPeak, a);
      blockPeak = std::max(blockPeak, a);
    }
    held[c] = channelPeak;
  }
  return 20.0 * std::log10(blockPeak);
}

double CPeakLevelSimple::GetPeakReading() { return 20.0 * std::log10(HighestHeld()); }

}  // namespace NS_AudioMeasurement
