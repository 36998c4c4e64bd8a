// The plain sample peak meter.
#pragma once

#include "measurement/audio_peak_level_impl.h"

namespace NS_AudioMeasurement {

// Highest |sample| per block and per channel, in dB; no ballistics.
class CPeakLevelSimple : public CAudioPeakLevelImpl {
 public:
  using CAudioPeakLevelImpl::CAudioPeakLevelImpl;

  double ProcessBlock(const std::vector<std::vector<double>>& block) override;
  double GetPeakReading() override;
  CString GetMeterName() override { return "Simple"; }
  double ConvertReadingToDB(double reading) override { return reading; }
};

}  // namespace NS_AudioMeasurement
