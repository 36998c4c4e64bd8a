#include "measurement/peak_level_vu.h"

#include <algorithm>
#include <cmath>

#include "audioproc/sample_lanes.h"

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
  // Without a sub-block (rates below 100 Hz) no mean is ever taken.
  if (subBlockLength == 0) return 20.0 * std::log10(blockPeak) + kOffset;
  sample_lanes::ForEachLaneGroup(
      static_cast<unsigned>(block.size()),
      [&](unsigned c) { return block[c].size() == block[c + 1].size() && records[c].count == records[c + 1].count; },
      [&](auto lanes, unsigned first) {
        blockPeak = std::max(blockPeak, AverageChannels<decltype(lanes)>(block, first));
      });
  return 20.0 * std::log10(blockPeak) + kOffset;
}

// Adds the magnitudes of the channels in V's lanes to their sub-blocks, one
// stretch up to the next sub-block's end at a time. The result is the
// highest mean of the sub-blocks closed, at least the block floor.
template <typename V>
double CPeakLevelVU::AverageChannels(const std::vector<std::vector<double>>& block, unsigned first) {
  using namespace sample_lanes;
  constexpr unsigned kLanes = kLaneCount<V>;
  double highest = kBlockPeakFloor;
  const size_t length = block[first].size();
  for (size_t i = 0; i < length;) {
    const size_t end = std::min<size_t>(length, i + (subBlockLength - records[first].count));
    V sum = LanesOf<V>([&](unsigned l) { return records[first + l].sum; });
    for (size_t k = i; k < end; ++k) sum += Magnitude(LanesOf<V>([&](unsigned l) { return block[first + l][k]; }));
    for (unsigned l = 0; l < kLanes; ++l) {
      CVUChannel& record = records[first + l];
      record.sum = Lane(sum, l);
      record.count += static_cast<uint32_t>(end - i);
      if (record.count < subBlockLength) continue;
      const double mean = CloseSubBlock(record);
      held[first + l] = std::max(held[first + l], mean);
      highest = std::max(highest, mean);
    }
    i = end;
  }
  return highest;
}

double CPeakLevelVU::GetPeakReading() { return 20.0 * std::log10(HighestHeld()) + kOffset; }

}  // namespace NS_AudioMeasurement
