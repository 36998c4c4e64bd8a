#include "measurement/peak_level_chromatec.h"

#include "audioparse/audio_support.h"

namespace NS_AudioMeasurement {

double CPeakLevelChromaTec::SelfTest() {
  meter.Reset();
  double reading = 0.0;
  for (int i = 0; i < 10; ++i) {
    std::vector<std::vector<double>> tone;
    CAudioSupport::CreateMultiChannelTone(tone, 48000, 1.0, -22.0, 1000.0, 2);
    ProcessBlock(tone);
    reading = GetPeakReading();
  }
  return reading;
}

}  // namespace NS_AudioMeasurement
