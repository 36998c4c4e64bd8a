// The Chromatec meter behind MEASUREMENT_CHROMATEC.
#pragma once

#include "measurement/audio_peak_level_impl.h"
#include "measurement/chromatec_meter.h"

namespace NS_AudioMeasurement {

// Wraps a CChromatecMeter. A block reads the meter's highest level so far;
// most blocks give the filter too little for a hop and read minus infinity,
// which the history stores as its floor.
class CPeakLevelChromaTec : public CAudioPeakLevelImpl {
 public:
  using CAudioPeakLevelImpl::CAudioPeakLevelImpl;

  double ProcessBlock(const std::vector<std::vector<double>>& block) override { return meter.Process(block); }
  // The highest level since the last reset, in single precision.
  double GetPeakReading() override { return static_cast<float>(meter.MaxLevel()); }
  CString GetMeterName() override { return "Chromatec"; }
  // Resets, then feeds ten one-second tones of 1 kHz at -22 dB (each followed
  // by a second of near-silence) and gives the last reading.
  double SelfTest() override;

 private:
  CChromatecMeter meter;
};

}  // namespace NS_AudioMeasurement
