// The true peak meter, with libebur128's true peak as a second opinion.
#include <gtest/gtest.h>

#include <cmath>

#include "ebur128_oracle.h"
#include "measurement/audio_peak_level.h"
#include "signals.h"

namespace {

using namespace measurement_test;
using NS_AudioMeasurement::CAudioPeakLevel;
using NS_AudioMeasurement::MEASUREMENT_SIMPLE;
using NS_AudioMeasurement::MEASUREMENT_TRUE_PEAK;

// Four-fold oversampling finds a crest to within cos(π/8·f/(fs/4)) of it, and
// the interpolator's passband ripple adds a little: 0.3 dB covers both.
constexpr double kTruePeakTolerance = 0.3;

TEST(TruePeakTest, UnfedAndSilentMetersReadMinusInfinity) {
  CAudioPeakLevel unfed(2, 48000, MEASUREMENT_TRUE_PEAK);
  EXPECT_EQ(unfed.GetMeterName(), "True Peak");
  EXPECT_EQ(unfed.GetPeakReading(), -INFINITY);
  CAudioPeakLevel silent(2, 48000, MEASUREMENT_TRUE_PEAK);
  silent.AddSamples(Copies(std::vector<double>(9600, 0.0), 2));
  EXPECT_EQ(silent.GetPeakReading(), -INFINITY);
  EXPECT_EQ(History(silent), (std::vector<short>{-963, -963}));
  EXPECT_EQ(silent.ConvertReadingToDB(-3.5), -3.5);
}

TEST(TruePeakTest, FindsTheCrestsBetweenTheSamples) {
  // A quarter of the rate at 45 degrees: every sample sits at ±0.707 of the crest.
  const Block tone = Copies(Sine(48000, 1.0, 12000.0, 48000.0, M_PI / 4.0), 2);
  CAudioPeakLevel truePeak(2, 48000, MEASUREMENT_TRUE_PEAK);
  CAudioPeakLevel simple(2, 48000, MEASUREMENT_SIMPLE);
  truePeak.AddSamples(tone);
  simple.AddSamples(tone);
  EXPECT_NEAR(simple.GetPeakReading(), -3.01, 0.01);
  EXPECT_NEAR(truePeak.GetPeakReading(), 0.0, kTruePeakTolerance);

  // Nothing clips: a crest above full scale reads above 0 dB while no sample reaches it.
  CAudioPeakLevel hot(1, 48000, MEASUREMENT_TRUE_PEAK);
  hot.AddSamples(Block{Sine(48000, 1.3, 11000.0, 48000.0, 0.3)});
  EXPECT_NEAR(hot.GetPeakReading(), 20.0 * std::log10(1.3), kTruePeakTolerance);
  EXPECT_GT(hot.GetPeakReading(), 0.0);
}

TEST(TruePeakTest, ChannelsAreKeptApartAndBlocksTakeTheLouder) {
  CAudioPeakLevel meter(2, 48000, MEASUREMENT_TRUE_PEAK);
  Block block{Sine(4800, 0.5, 1000.0), Sine(4800, 0.05, 1000.0)};
  meter.AddSamples(block);
  std::swap(block[0], block[1]);
  meter.AddSamples(block);
  const std::vector<short> history = History(meter);
  ASSERT_EQ(history.size(), 2u);
  EXPECT_NEAR(history[0] / 10.0, -6.0, 0.15);  // tenths, truncated
  EXPECT_EQ(history[1], history[0]);
}

// EBU Tech 3341's true peak signals are tones at a quarter of the rate and
// near it, phased off the samples; libebur128 reads them too.
TEST(TruePeakTest, AgreesWithLibebur128OnTonesBetweenTheSamples) {
  const Block signals[] = {
      Copies(Sine(2 * 48000, DbToAmplitude(-6.0), 12000.0, 48000.0, M_PI / 4.0), 2),
      Block{Sine(2 * 48000, 0.9, 9970.0, 48000.0, 0.7), Sine(2 * 48000, 0.5, 997.0)},
  };
  for (const Block& signal : signals) {
    CAudioPeakLevel meter(2, 48000, MEASUREMENT_TRUE_PEAK);
    meter.AddSamples(signal);
    Ebur128Oracle oracle(2, EBUR128_MODE_TRUE_PEAK);
    oracle.Add(signal);
    EXPECT_NEAR(meter.GetPeakReading(), oracle.TruePeakDb(), kTruePeakTolerance);
  }
}

TEST(TruePeakTest, SelfTestReadsItsTone) {
  // A 5 kHz tone at -10 dB: its crests lie between the samples.
  EXPECT_NEAR(CAudioPeakLevel::TestPeakLevel(MEASUREMENT_TRUE_PEAK), -10.0, kTruePeakTolerance);
}

}  // namespace
