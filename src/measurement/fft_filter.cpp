#include "measurement/fft_filter.h"

#include "audioparse/audio_support.h"
#include "measurement/fft_filter_ex.h"

namespace NS_AudioMeasurement {
namespace {

void AddTestCurve(CFFTFilterEx& filter) {
  for (const CFilterPoint& point : kTestFilterCurve) filter.AddFilterPoint(point.frequency, point.gain);
}

}  // namespace

CFFTFilter::CFFTFilter() : impl(new CFFTFilterEx) {}

CFFTFilter::CFFTFilter(const CFFTFilter& other) : impl(new CFFTFilterEx(*other.impl)) {}

CFFTFilter::~CFFTFilter() { delete impl; }

void CFFTFilter::AddFilterPoint(double frequency, double gain) { impl->AddFilterPoint(frequency, gain); }

void CFFTFilter::BuildFilter(int samplingRate, int fftSize) { impl->BuildFilter(samplingRate, fftSize); }

void CFFTFilter::SaveResponseCurveToXML(CString fileName) { impl->SaveResponseCurveToXML(fileName); }

CFFTFilter& CFFTFilter::operator=(const CFFTFilter& other) {
  *impl = *other.impl;
  return *this;
}

int CFFTFilter::ProcessSamples(const std::vector<double>& input, std::vector<double>& output) {
  return impl->ProcessSamples(input, output);
}

int CFFTFilter::FlushFilter(std::vector<double>& output) { return impl->FlushFilter(output); }

void CFFTFilter::BuildTestFilter() {
  AddTestCurve(*impl);
  impl->BuildFilter(48000, 16384);
}

void CFFTFilter::TestFilter() {
  CFFTFilterEx filter;
  AddTestCurve(filter);
  filter.BuildFilter(48000, 16384);
  std::vector<double> tone;
  CAudioSupport::CreateMonoTone(tone, 48000, 1.0, 0.0, 2000.0);
  std::vector<double> output;
  for (int i = 0; i < 100; ++i) filter.ProcessSamples(tone, output);
}

}  // namespace NS_AudioMeasurement
