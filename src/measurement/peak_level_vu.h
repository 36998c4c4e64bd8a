// The VU meter: a moving average of the rectified signal.
#pragma once

#include "measurement/audio_peak_level_impl.h"

namespace NS_AudioMeasurement {

// A VU meter as a boxcar of 300 ms over |sample|, moved every 10 ms, with no
// exponential term. It reads 3.9 dB above the mean, so that a steady sine
// reads close to its peak level.
class CPeakLevelVU : public CAudioPeakLevelImpl {
 public:
  CPeakLevelVU(unsigned channels, int samplingRate);

  double ProcessBlock(const std::vector<std::vector<double>>& block) override;
  double GetPeakReading() override;
  CString GetMeterName() override { return "VU"; }
  double ConvertReadingToDB(double reading) override { return reading; }

 private:
  static constexpr double kOffset = 3.9;  // dB added to every level
  static constexpr size_t kMaxSubBlocks = 300;

  // The boxcar of one channel.
  struct CVUChannel {
    uint32_t count = 0;                                                  // samples in the current sub-block
    std::vector<double> sums = std::vector<double>(kMaxSubBlocks, 0.0);  // newest at subBlockCount - 1
    double sum = 0.0;                                                    // sum of |sample| in the current sub-block
  };

  // Closes the current sub-block of `record`; the result is the mean over the window.
  double CloseSubBlock(CVUChannel& record) const;
  template <typename V>
  double AverageChannels(const std::vector<std::vector<double>>& block, unsigned first);

  uint32_t subBlockLength;
  uint32_t windowLength;
  uint32_t subBlockCount;
  std::vector<CVUChannel> records;
};

}  // namespace NS_AudioMeasurement
