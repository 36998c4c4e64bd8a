#include "measurement/audio_peak_level_impl.h"

#include <algorithm>
#include <cmath>

namespace NS_AudioMeasurement {

CAudioPeakLevelImpl::CAudioPeakLevelImpl(unsigned channelCount, int rate)
    : samplingRate(rate),
      channels(channelCount),
      blockLength(rate * 100 / 1000),
      envelope(channelCount, 0.0),
      held(channelCount, 0.0),
      blockSamples(channelCount, std::vector<double>(static_cast<size_t>(std::max(blockLength, 0)))) {}

void CAudioPeakLevelImpl::AddSamples(const std::vector<std::vector<double>>& samples) {
  if (channels == 0 || samples.empty() || blockLength <= 0) return;
  const size_t length = samples[0].size();
  size_t done = 0;
  while (done < length) {
    const size_t run = std::min(length - done, static_cast<size_t>(blockLength) - blockFill);
    for (unsigned c = 0; c < channels; ++c) {
      std::copy_n(samples[c].begin() + static_cast<std::ptrdiff_t>(done), run, blockSamples[c].begin() + blockFill);
    }
    blockFill += static_cast<uint32_t>(run);
    done += run;
    if (blockFill == static_cast<uint32_t>(blockLength)) {
      history.push_back(HistoryEntry(ProcessBlock(blockSamples)));
      blockFill = 0;
    }
  }
}

int16_t CAudioPeakLevelImpl::HistoryEntry(double level) {
  if (!(level >= kHistoryFloor / 10.0)) return kHistoryFloor;
  // Finite levels of doubles stay below 6,200 dB; infinity is capped first.
  const int64_t tenths = static_cast<int64_t>(std::min(level, 1e6) * 10.0);
  return static_cast<int16_t>(static_cast<uint16_t>(tenths & 0xFFFF));
}

double CAudioPeakLevelImpl::HighestHeld() const {
  double highest = 1e-06;
  for (double value : held) highest = std::max(highest, value);
  return highest;
}

void CAudioPeakLevelImpl::GetLevelHistory(int millisecondsPerPoint, std::vector<short>& points) const {
  points.clear();
  if (millisecondsPerPoint <= 0) return;
  const double scale = millisecondsPerPoint / 100.0;  // history entries per point
  const size_t size = history.size();
  const size_t count = static_cast<size_t>(static_cast<double>(size) / scale);
  points.reserve(count);
  for (size_t i = 0; i < count; ++i) {
    const size_t start = static_cast<size_t>(static_cast<double>(i) * scale);
    size_t end = static_cast<size_t>(static_cast<double>(start) + scale);
    if (end == start) end = start + 1;
    end = std::min(end, size);
    short highest = kHistoryFloor;
    for (size_t j = start; j < end; ++j) highest = std::max<short>(highest, history[j]);
    points.push_back(highest);
  }
}

}  // namespace NS_AudioMeasurement
