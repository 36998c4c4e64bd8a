#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <deque>

#include "measurement/audio_peak_level.h"
#include "measurement/chromatec_meter.h"
#include "measurement/fft_filter_ex.h"
#include "signals.h"

namespace {

using namespace measurement_test;
using NS_AudioMeasurement::CAudioPeakLevel;
using NS_AudioMeasurement::CChromatecMeter;
using NS_AudioMeasurement::kTestFilterCurve;
using NS_AudioMeasurement::MEASUREMENT_CHROMATEC;

constexpr size_t kHop = 12288;

TEST(ChromatecTest, FloorsBeforeAndAfterTheFirstStep) {
  CAudioPeakLevel meter(2, 48000, MEASUREMENT_CHROMATEC);
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

TEST(ChromatecTest, ResetForgetsTheReadingAndTheFiltersInput) {
  CChromatecMeter meter;
  EXPECT_GT(meter.Process(Block{Sine(6 * 48000, 0.5, 1000.0)}), -20.0);
  meter.Reset();
  EXPECT_EQ(meter.MaxLevel(), -96.0);
  // One block short of a hop would complete one if the filter still held input.
  EXPECT_EQ(meter.Process(Block{std::vector<double>(kHop - 1, 0.5)}), -INFINITY);
}

// The meter's rules one sample at a time, on a filter of its own built from
// the weighting curve: the meter squares its filtered samples two at a time.
class ScalarChromatec {
 public:
  ScalarChromatec() {
    // The test filter's curve up to 5 kHz, then a top of its own.
    const NS_AudioMeasurement::CFilterPoint top[] = {{6000, 6}, {7000, 1.5}, {9000, 0}, {20000, 0}};
    for (size_t i = 0; i < 47; ++i) filter_.AddFilterPoint(kTestFilterCurve[i].frequency, kTestFilterCurve[i].gain);
    for (const auto& point : top) filter_.AddFilterPoint(point.frequency, point.gain);
    filter_.BuildFilter(48000, 16384);
  }

  double Process(const Block& block) {
    std::vector<double> mix(block[0].size(), 0.0);
    for (const auto& channel : block) {
      for (size_t i = 0; i < mix.size(); ++i) mix[i] += channel[i] * 0.707;
    }
    std::vector<double> filtered;
    if (filter_.ProcessSamples(mix, filtered) == 0) return -INFINITY;
    for (double y : filtered) {
      const double narrowed = static_cast<float>(y);
      energy_ += narrowed * narrowed;
      if (++count_ < 2400) continue;
      window_.pop_front();
      window_.push_back(std::sqrt(energy_ / 2400));
      energy_ = 0.0;
      count_ = 0;
      Integrate();
    }
    return maxLevel_;
  }

 private:
  void Integrate() {
    const double sink =
        static_cast<float>(std::pow(10.0, static_cast<double>(static_cast<float>(-(4.5 / 20.0) / 20.0))));
    double accumulated = 0.0;
    for (double value : window_) {
      if (accumulated > value && sink * accumulated > value) value = sink * accumulated;
      accumulated += value / 100.0;
    }
    const double level = accumulated >= 1.0 / 32767.0 ? 20.0 * std::log10(accumulated) : -96.0;
    maxLevel_ = std::max(maxLevel_, level + 2.42);
  }

  NS_AudioMeasurement::CFFTFilter filter_;
  std::deque<double> window_ = std::deque<double>(100, 0.0);
  double energy_ = 0.0;
  int count_ = 0;
  double maxLevel_ = -96.0;
};

// A crescendo of seeded noise, so that the level keeps setting new highs and
// every step shows in the reading, fed in pieces of random length.
TEST(ChromatecTest, FollowsTheScalarRulesOnRandomPieces) {
  Block programme{MixedMaterial(40 * 48000, 5), MixedMaterial(40 * 48000, 6)};
  for (auto& channel : programme) {
    const double length = static_cast<double>(channel.size());
    for (size_t i = 0; i < channel.size(); ++i) channel[i] *= 1e-4 * std::pow(1e4, static_cast<double>(i) / length);
  }
  CChromatecMeter meter;
  ScalarChromatec model;
  size_t piece = 0;
  std::vector<double> readings;
  FeedInRandomPieces(programme, 20000, 7, [&](const Block& block) {
    const double expected = model.Process(block);
    ASSERT_EQ(meter.Process(block), expected) << "piece " << piece++;
    if (readings.empty() || readings.back() != expected) readings.push_back(expected);
  });
  EXPECT_GT(readings.size(), 100u);
}

}  // namespace
