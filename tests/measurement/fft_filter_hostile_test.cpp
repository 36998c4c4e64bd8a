// FFT filter curves found by fuzzing that once went wrong.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "measurement/fft_filter.h"

namespace {

// A NaN frequency as the first point used to stay in the list alone, and the
// response build read a second point past its end. It is dropped now, so
// (1000 Hz, -6 dB) is the whole curve: -6 dB in every bin, a plain gain.
TEST(FFTFilterHostileTest, NaNFrequencyIsDroppedAndTheRestOfTheCurveHolds) {
  NS_AudioMeasurement::CFFTFilter filter;
  filter.AddFilterPoint(std::numeric_limits<double>::quiet_NaN(), 20.0);
  filter.AddFilterPoint(1000.0, -6.0);
  filter.BuildFilter(48000, 64);
  std::vector<double> input(48), output;
  for (size_t i = 0; i < input.size(); ++i) input[i] = std::sin(0.3 * static_cast<double>(i));
  ASSERT_EQ(filter.ProcessSamples(input, output), 48);
  const double gain = std::pow(10.0, -6.0 / 20.0);
  for (size_t i = 0; i < input.size(); ++i) {
    // Tolerance: a 64-point transform pair in doubles.
    EXPECT_NEAR(output[i], gain * input[i], 1e-12) << "sample " << i;
  }
}

}  // namespace
