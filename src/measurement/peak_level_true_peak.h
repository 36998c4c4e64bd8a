// The true peak meter behind MEASUREMENT_TRUE_PEAK.
#pragma once

#include "audioparse/audio_support.h"
#include "measurement/audio_peak_level_impl.h"

namespace NS_AudioMeasurement {

// Finds the peaks between the samples: each channel is converted to four
// times its rate by the library's rate converter (libresample, high quality)
// and the highest magnitude of the result is taken. The reading is in dB
// with no floor; nothing clips the oversampled values, so it may exceed 0 dB.
class CPeakLevelTruePeak : public CAudioPeakLevelImpl {
 public:
  CPeakLevelTruePeak(unsigned channels, int samplingRate);

  double ProcessBlock(const std::vector<std::vector<double>>& block) override;
  // Minus infinity before any non-zero sample.
  double GetPeakReading() override;
  CString GetMeterName() override { return "True Peak"; }
  // Measures 0.1 s of a stereo 5 kHz tone at -10 dB in one block; a meter of
  // fewer than two channels runs no test and gives its reading.
  double SelfTest() override;

 private:
  std::vector<float> truePeaks;
  CAudioSupport rateConverter;
  std::vector<float> input;   // one channel of a block, narrowed
  std::vector<float> output;  // its four-fold conversion
};

}  // namespace NS_AudioMeasurement
