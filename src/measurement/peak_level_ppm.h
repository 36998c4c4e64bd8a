// The peak programme meter of type IIa (IEC 60268-10): fast attack, a decay
// of 10 dB per second, read on a scale of marks.
#pragma once

#include "measurement/audio_peak_level_impl.h"

namespace NS_AudioMeasurement {

// A PPM type IIa. The envelope of each channel rises towards |sample| by
// `attack` of the distance per sample and falls by `decayDivisor` per
// sample; a block reads its highest envelope. The reading is in marks: 4 dB
// a mark, mark 8.5 at full scale, mark 4 at -18 dB.
class CPeakLevelPPMIIa : public CAudioPeakLevelImpl {
 public:
  CPeakLevelPPMIIa(unsigned channels, int samplingRate);

  double ProcessBlock(const std::vector<std::vector<double>>& block) override;
  double GetPeakReading() override;
  CString GetMeterName() override { return "PPMIIa"; }
  double ConvertReadingToDB(double reading) override { return (reading - 8.5) * 4.0; }
  // Sweeps the attack from 1.0 to 1.95 times its base over bursts of a 5 kHz
  // tone at -10 dB of 1.5, 5, 10 and 100 ms, and gives the last reading. The
  // meter keeps the last attack. A meter of fewer than two channels runs no
  // test and gives its reading.
  double SelfTest() override;

 private:
  // The attack factor for a time constant of 10 ms, before its gain.
  double AttackBase() const;
  template <typename V>
  double FollowChannels(const std::vector<std::vector<double>>& block, unsigned first);

  double attack;
  double decayDivisor;
};

}  // namespace NS_AudioMeasurement
