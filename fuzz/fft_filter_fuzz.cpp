// The FFT filter's point list and response build on arbitrary points
// (including infinities and NaNs), sampling rates and transform sizes, then a
// little audio through the filter. The caller's promises are kept: at least
// one usable point, a power-of-two size and a positive rate.
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "fuzz_input.h"
#include "measurement/fft_filter.h"

namespace {

double Double(corvane::fuzz::InputBytes& input) {
  const uint64_t bits = (uint64_t{input.Word()} << 32) | input.Word();
  double value;
  std::memcpy(&value, &bits, sizeof value);
  return value;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  corvane::fuzz::InputBytes input(data, size);
  const int fftSize = 1 << (1 + input.Byte() % 14);
  const int rate = 1 + static_cast<int>(input.Word() % 384000);
  const size_t pointCount = 1 + input.Byte() % 64;

  NS_AudioMeasurement::CFFTFilter filter;
  for (size_t i = 0; i < pointCount; ++i) {
    // Small steps in whole hertz, or any bit pattern at all; the first point is
    // finite, so that one point exists whatever the rest are.
    const bool raw = (input.Byte() & 1) != 0 && i > 0;
    const double frequency = raw ? Double(input) : input.Word() % 100000;
    const double gain = raw ? Double(input) : static_cast<int8_t>(input.Byte());
    filter.AddFilterPoint(frequency, gain);
  }
  filter.BuildFilter(rate, fftSize);

  std::vector<double> samples(input.Word() % (2 * static_cast<uint32_t>(fftSize) + 1));
  for (double& sample : samples) sample = static_cast<int8_t>(input.Byte()) / 128.0;
  std::vector<double> output;
  const size_t hop = static_cast<size_t>(fftSize - fftSize / 4);
  if (filter.ProcessSamples(samples, output) % hop != 0 || output.size() % hop != 0) std::abort();
  NS_AudioMeasurement::CFFTFilter copy(filter);
  if (copy.FlushFilter(output) == 0) std::abort();
  filter.FlushFilter(output);
  return 0;
}
