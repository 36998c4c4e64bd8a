#include "measurement/peak_level_vu.h"

#include <algorithm>
#include <cmath>

namespace NS_AudioMeasurement {

CPeakLevelVU::CPeakLevelVU(unsigned channelCount, int rate)
    : CAudioPeakLevelImpl(channelCount, rate),
      subBlockLength(static_cast<uint32_t>(rate * 10 / 1000)),
      windowLength(static_cast<uint32_t>(rate * 300 / 1000)),
      subBlockCount(subBlockLength == 0 ? 0 : std::min<uint32_t>(windowLength / subBlockLength, kMaxSubBlocks)),
      records(channelCount) {}

double CPeakLevelVU::CloseSubBlock(CVUChannel& record) const {
  // The oldest sub-block (entry 0) leaves the window as the current one joins it.
  double total = 0.0;
  for (uint32_t j = 1; j < subBlockCount; ++j) total += record.sums[j];
  total += record.sum;
  std::copy(record.sums.begin() + 1, record.sums.begin() + subBlockCount, record.sums.begin());
  record.sums[subBlockCount - 1] = record.sum;
  record.count = 0;
  record.sum = 0.0;
  // Divided by the window's length even where the sub-blocks fall a little short of it.
  return total / windowLength;
}

double CPeakLevelVU::ProcessBlock(const std::vector<std::vector<double>>& block) {
  double blockPeak = kBlockPeakFloor;
  for (size_t c = 0; c < block.size(); ++c) {
    CVUChannel& record = records[c];
    for (double x : block[c]) {
      ++record.count;
      record.sum += std::fabs(x);
      if (record.count == subBlockLength) {
        const double mean = CloseSubBlock(record);
        held[c] = std::max(held[c], mean);
        blockPeak = std::max(blockPeak, mean);
      }
    }
  }
  return 20.0 * std::log10(blockPeak) + kOffset;
}

double CPeakLevelVU::GetPeakReading() { return 20.0 * std::log10(HighestHeld()) + kOffset; }

}  // namespace NS_AudioMeasurement
