#include "measurement/peak_level_simple.h"

#include <algorithm>
#include <cmath>

#include "audioproc/sample_lanes.h"

namespace NS_AudioMeasurement {

double CPeakLevelSimple::ProcessBlock(const std::vector<std::vector<double>>& block) {
  double blockPeak = kBlockPeakFloor;
  for (size_t c = 0; c < block.size(); ++c) {
    // A maximum does not depend on where it starts from: the channel's
    // largest magnitude joins the held peak and the block's alike.
    const double channelPeak = sample_lanes::LargestMagnitude(block[c].data(), block[c].size(), -HUGE_VAL);
    held[c] = std::max(held[c], channelPeak);
    blockPeak = std::max(blockPeak, channelPeak);
  }
  return 20.0 * std::log10(blockPeak);
}

double CPeakLevelSimple::GetPeakReading() { return 20.0 * std::log10(HighestHeld()); }

}  // namespace NS_AudioMeasurement
