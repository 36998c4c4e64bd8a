#include "measurement/audio_peak_level.h"

#include "measurement/audio_peak_level_impl.h"
#include "measurement/peak_level_chromatec.h"
#include "measurement/peak_level_ppm.h"
#include "measurement/peak_level_simple.h"
#include "measurement/peak_level_true_peak.h"
#include "measurement/peak_level_vu.h"

namespace NS_AudioMeasurement {
namespace {

CAudioPeakLevelImpl* MakeMeter(unsigned channels, int samplingRate, AUDIO_MEAUREMENT_TYPE type) {
  switch (type) {
    case MEASUREMENT_PPM_IIA:
      return new CPeakLevelPPMIIa(channels, samplingRate);
    case MEASUREMENT_VU:
      return new CPeakLevelVU(channels, samplingRate);
    case MEASUREMENT_TRUE_PEAK:
      return new CPeakLevelTruePeak(channels, samplingRate);
    case MEASUREMENT_CHROMATEC:
      return new CPeakLevelChromaTec(channels, samplingRate);
    case MEASUREMENT_SIMPLE:
      return new CPeakLevelSimple(channels, samplingRate);
    default:
      return nullptr;
  }
}

}  // namespace

CAudioPeakLevel::CAudioPeakLevel(unsigned int channels, int samplingRate, AUDIO_MEAUREMENT_TYPE measurementType)
    : meter(MakeMeter(channels, samplingRate, measurementType)), type(measurementType) {}

CAudioPeakLevel::~CAudioPeakLevel() { delete meter; }

void CAudioPeakLevel::AddSamples(const std::vector<std::vector<double>>& samples) { meter->AddSamples(samples); }

double CAudioPeakLevel::GetPeakReading() { return meter->GetPeakReading(); }

double CAudioPeakLevel::ConvertReadingToDB(double reading) { return meter->ConvertReadingToDB(reading); }

double CAudioPeakLevel::SelfTest() { return meter->SelfTest(); }

CString CAudioPeakLevel::GetMeterName() { return meter->GetMeterName(); }

void CAudioPeakLevel::GetLevelHistory(int millisecondsPerPoint, std::vector<short>& points) {
  meter->GetLevelHistory(millisecondsPerPoint, points);
}

AUDIO_MEAUREMENT_TYPE CAudioPeakLevel::GetMeasurementType() { return type; }

double CAudioPeakLevel::TestPeakLevel(AUDIO_MEAUREMENT_TYPE type) {
  CAudioPeakLevel level(2, 48000, type);
  return level.SelfTest();
}

}  // namespace NS_AudioMeasurement
