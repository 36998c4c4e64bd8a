// The implementation of CFFTFilter: overlap-add style filtering with the
// processor-dispatched real FFT.
#pragma once

#include <complex>
#include <cstdint>
#include <vector>

#include "measurement/fft_filter.h"
#include "primitives/prim_signal.h"

namespace NS_AudioMeasurement {

// The points of the test curve of CFFTFilter, frequency in Hz : gain in dB.
extern const CFilterPoint kTestFilterCurve[49];

// The state of one filter: the response per bin, the transform buffers, the
// input waiting for a full hop and the fed-back tail of the last frame.
class CFFTFilterEx {
 public:
  CFFTFilterEx() = default;
  CFFTFilterEx(const CFFTFilterEx& other);
  CFFTFilterEx& operator=(const CFFTFilterEx& other);
  virtual ~CFFTFilterEx();

  void AddFilterPoint(double frequency, double gain);
  void BuildFilter(int samplingRate, int fftSize);
  // Writes the points as XML: a "Filter" element with one "point" child a
  // point (its index as text, frequency and gain as attributes).
  void SaveResponseCurveToXML(const CString& fileName) const;
  int ProcessSamples(const std::vector<double>& input, std::vector<double>& output);
  int FlushFilter(std::vector<double>& output);

  // New samples per frame: N - N/4.
  int Hop() const { return fftSize - tailLength; }
  const std::vector<std::complex<double>>& Response() const { return response; }
  const std::vector<CFilterPoint>& Points() const { return points; }

 private:
  // The gain in dB at `frequency` on the curve, interpolated logarithmically
  // in the distance from the point below.
  double CurveGain(double frequency) const;
  void MakeTransform();
  void FreeTransform();

  std::vector<std::complex<double>> response;
  std::vector<std::complex<double>> spectrum;
  std::vector<double> pending;
  std::vector<double> tail;
  std::vector<double> frame;
  int32_t samplingRate = 0;
  int32_t fftSize = 0;
  int32_t fftOrder = 0;
  int32_t tailLength = 0;
  PrimFFTSpec* fftSpec = nullptr;
  std::vector<CFilterPoint> points;
};

}  // namespace NS_AudioMeasurement
