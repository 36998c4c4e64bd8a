#include <gtest/gtest.h>

#include <cmath>

#include "measurement/audio_peak_level.h"
#include "measurement/chromatec_meter.h"
#include "signals.h"

namespace {

using namespace measurement_test;
using NS_AudioMeasurement::CAudioPeakLevel;
using NS_AudioMeasurement::CChromatecMeter;
using NS_AudioMeasurement::MEASUREMENT_CHROMATEC;

constexpr size_t kHop = 12288;

TEST(ChromatecTest, FloorsBeforeAndAfterTheFirstStep) {
  CAudioPeakLevel meter(2, 48000, MEASUREMENT_CHROMATEC);
  EXPECT_EQ(meter.GetMeterName(), "Chromatec");
  EXPECT_EQ(meter.GetPeakReading(), -96.0);
  // Blocks 1 and 2 (9,600 samples) give the filter less than a hop: no level,
  // stored as the history's floor.
  meter.AddSamples(Copies(std::vector<double>(9600, 0.0), 2));
  EXPECT_EQ(History(meter), (std::vector<short>{-1200, -1200}));
  EXPECT_EQ(meter.GetPeakReading(), -96.0);
  // Block 3 completes a hop: five steps of silence read -96 + 2.42.
  meter.AddSamples(Copies(std::vector<double>(4800, 0.0), 2));
  EXPECT_EQ(History(meter).back(), -935);
  EXPECT_EQ(meter.GetPeakReading(), static_cast<float>(-96.0 + 2.42));
}

TEST(ChromatecTest, SteadyToneSettlesAtTheMixsRms) {
  // 1 kHz lies at 0 dB on the curve; one channel of amplitude 1.0 mixes to an
  // RMS of 0.707/√2 = 0.5. Frame edges and the fed-back tail leave a ripple.
  CChromatecMeter single;
  CChromatecMeter both;
  const std::vector<double> tone = Sine(8 * 48000, 1.0, 1000.0);
  const std::vector<double> silence(8 * 48000, 0.0);
  const double oneChannel = single.Process(Block{tone, silence});
  const double twoChannels = both.Process(Block{tone, tone});
  EXPECT_NEAR(oneChannel, 20.0 * std::log10(0.5) + 2.42, 0.2);
  // The mix adds the channels: twice the amplitude, 6 dB more.
  EXPECT_NEAR(twoChannels - oneChannel, 20.0 * std::log10(2.0), 0.05);
}

TEST(ChromatecTest, TheReadingIsAMaximumUntilReset) {
  CChromatecMeter meter;
  const double loud = meter.Process(Block{Sine(6 * 48000, 0.5, 1000.0)});
  // The filter lags by up to a hop: the tone's last part comes out with the silence.
  const double lag = meter.Process(Block{std::vector<double>(kHop, 0.0)});
  const double after = meter.Process(Block{std::vector<double>(10 * 48000, 0.0)});
  EXPECT_GE(lag, loud);
  EXPECT_EQ(after, lag);
  meter.Reset();
  EXPECT_EQ(meter.MaxLevel(), -96.0);
  // After a reset the filter holds nothing: one block short of a hop gives no level.
  EXPECT_EQ(meter.Process(Block{std::vector<double>(kHop - 1, 0.5)}), -INFINITY);
}

TEST(ChromatecTest, SelfTestReadsTheTonesLevel) {
  // Ten one-second tones at -22 dB in both channels, each followed by a second
  // of near-silence: the stereo mix has the RMS of the tone's amplitude.
  EXPECT_NEAR(CAudioPeakLevel::TestPeakLevel(MEASUREMENT_CHROMATEC), -22.1, 0.3);
}

}  // namespace
