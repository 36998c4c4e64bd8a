// A streaming filter of one channel whose frequency response is drawn as a
// list of (frequency, gain) points, applied frame by frame in the frequency
// domain.
#pragma once

#include <vector>

#include "core/types.h"

namespace NS_AudioMeasurement {

// One point of a response curve.
struct CFilterPoint {
  double frequency;  // Hz
  double gain;       // dB
};

class CFFTFilterEx;

// The filter: add the points of the curve in rising frequency, build it once
// for a sampling rate and a power-of-two transform size N, then feed any
// amount of audio. Output comes in whole hops of 3N/4 samples; the last N/4
// of every frame's output is fed back into the next frame's input.
class CFFTFilter {
 public:
  CFFTFilter();
  // The copy has all state of the source and a transform set-up of its own.
  CFFTFilter(const CFFTFilter& other);
  virtual ~CFFTFilter();

  // A frequency below 0.001 Hz counts as 0.001; a point that does not lie
  // above the last one is dropped.
  virtual void AddFilterPoint(double frequency, double gain);
  // Turns the points into a gain per bin. `fftSize` is a power of two, at
  // least one point exists, and this is called once.
  virtual void BuildFilter(int samplingRate, int fftSize);
  // Writes the points of the curve (with those BuildFilter added, not the
  // bins) as XML; failures are ignored.
  virtual void SaveResponseCurveToXML(CString fileName);
  virtual CFFTFilter& operator=(const CFFTFilter& other);
  // Empties `output`, then gives in it all that can now be filtered; the
  // result is its size, a multiple of the hop.
  virtual int ProcessSamples(const std::vector<double>& input, std::vector<double>& output);
  // As ProcessSamples, pushing out what the filter holds, padded with zeros.
  virtual int FlushFilter(std::vector<double>& output);
  // Builds the 49-point test curve at 48 kHz with N = 16,384.
  virtual void BuildTestFilter();

  // Filters 100 seconds of a 2 kHz tone through the test curve.
  static void TestFilter();

 private:
  CFFTFilterEx* impl;
};

}  // namespace NS_AudioMeasurement
