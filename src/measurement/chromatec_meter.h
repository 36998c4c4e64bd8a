// A weighted level meter: the channels mixed to one, shaped by a fixed
// frequency curve, measured as RMS every 50 ms and integrated over 5 s.
#pragma once

#include <deque>
#include <memory>
#include <vector>

#include "measurement/fft_filter.h"

namespace NS_AudioMeasurement {

// The meter behind the Chromatec reading. All its constants count samples at
// 48 kHz. Its level is the highest integrated level since the last Reset,
// plus 2.42 dB; the integration over the last 100 steps of 2,400 samples lets
// the level sink by at most 4.5 dB a second.
class CChromatecMeter {
 public:
  CChromatecMeter();
  virtual ~CChromatecMeter() = default;

  // Back to -96.0 dB, an empty window and a new filter with no held input.
  void Reset();
  // Filters the mix of the block's channels; the result is the highest level
  // so far in dB, or minus infinity when the filter gave no samples yet
  // (it works in hops of 12,288 samples).
  double Process(const std::vector<std::vector<double>>& block);
  double MaxLevel() const { return maxLevel; }

 private:
  static constexpr int kStepSamples = 2400;
  static constexpr size_t kWindowSteps = 100;

  void Integrate();

  double maxLevel = -96.0;
  double sinkFactor;
  std::shared_ptr<CFFTFilter> filter;
  std::deque<double> window;
  double stepEnergy = 0.0;
  int32_t stepCount = 0;
};

}  // namespace NS_AudioMeasurement
