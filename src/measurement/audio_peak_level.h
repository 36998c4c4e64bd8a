// Level meters behind one facade: PPM type IIa, VU, true peak, a weighted
// (Chromatec) meter and a plain sample peak meter.
#pragma once

#include <vector>

#include "core/types.h"

namespace NS_AudioMeasurement {

enum AUDIO_MEAUREMENT_TYPE {
  MEASUREMENT_PPM_IIA = 1,
  MEASUREMENT_VU = 2,
  MEASUREMENT_TRUE_PEAK = 3,
  MEASUREMENT_CHROMATEC = 4,
  MEASUREMENT_SIMPLE = 5,
};

class CAudioPeakLevelImpl;

// One level meter of the chosen type. Feed it per-channel blocks of any
// length (full scale at 1.0); it measures every 100 ms block, keeps the block
// levels as a history in tenths of a dB, and keeps an overall reading since
// construction. There is no reset.
class CAudioPeakLevel {
 public:
  // `type` must be one of the five values.
  CAudioPeakLevel(unsigned int channels, int samplingRate, AUDIO_MEAUREMENT_TYPE type);
  virtual ~CAudioPeakLevel();
  CAudioPeakLevel(const CAudioPeakLevel&) = delete;
  CAudioPeakLevel& operator=(const CAudioPeakLevel&) = delete;

  // `samples` holds at least `channels` vectors of equal length.
  virtual void AddSamples(const std::vector<std::vector<double>>& samples);
  // The overall reading since construction, in the meter's own scale (dB,
  // or PPM marks for the PPM).
  virtual double GetPeakReading();
  virtual double ConvertReadingToDB(double reading);
  virtual double SelfTest();
  virtual CString GetMeterName();
  // Empties `points`, then gives one point per `millisecondsPerPoint` of
  // history: the highest block level it spans, in tenths of a dB.
  virtual void GetLevelHistory(int millisecondsPerPoint, std::vector<short>& points);
  virtual AUDIO_MEAUREMENT_TYPE GetMeasurementType();

  // Runs the self test of a two-channel 48 kHz meter of `type`.
  static double TestPeakLevel(AUDIO_MEAUREMENT_TYPE type);

 private:
  CAudioPeakLevelImpl* meter;
  AUDIO_MEAUREMENT_TYPE type;
};

}  // namespace NS_AudioMeasurement
