#include "measurement/audio_bs1770.h"

#include <gtest/gtest.h>

#include <chrono>
#include <complex>
#include <filesystem>

#include "signals.h"
#include "support/temp_folder.h"

namespace {

using namespace measurement_test;
using NS_AudioMeasurement::CAudioBS1770;
using NS_AudioMeasurement::LoudnessPoint;
using Parameters = CAudioStreamParameters::CLKFSParameters;

constexpr Parameters kEbu = {400, 75, 0, -10.0, -70.0};
constexpr Parameters kUngated = {0, 75, 0, -10.0, -70.0};
constexpr size_t kSubBlock = 960;

// Power gain of the two K-weighting stages at `frequency` (48 kHz), from
// their transfer functions: the route that the sample loop does not take.
double KWeightingPowerGain(double frequency) {
  const std::complex<double> zInverse = std::polar(1.0, -2.0 * M_PI * frequency / 48000.0);
  auto stage = [&](double b0, double b1, double b2, double a1, double a2) {
    return (b0 + zInverse * (b1 + zInverse * b2)) / (1.0 + zInverse * (a1 + zInverse * a2));
  };
  const auto shelf = stage(1.53512485958697, -2.69169618940638, 1.19839281085285, -1.69065929318241, 0.73248077421585);
  const auto highPass = stage(1.0, -2.0, 1.0, -1.99004745483398, 0.99007225036621);
  return std::norm(shelf * highPass);
}

// Steady-state loudness of a sine of `amplitude` at 1 kHz on one front channel.
double ToneLoudness(double amplitude) {
  return 10.0 * std::log10(amplitude * amplitude / 2.0 * KWeightingPowerGain(1000.0)) - 0.691;
}

// Amplitude of a 1 kHz sine that measures `lkfs` on one front channel.
double AmplitudeForLoudness(double lkfs) {
  return std::sqrt(2.0 * std::pow(10.0, (lkfs + 0.691) / 10.0) / KWeightingPowerGain(1000.0));
}

Block MonoTone(size_t samples, double amplitude) { return Block{Sine(samples, amplitude, 1000.0)}; }

TEST(CAudioBS1770Test, SelfTestToneOnOneTwoAndFiveChannels) {
  const Parameters parameters = {400, 0, 0, -10.0, -70.0};
  CAudioBS1770 mono(1, 48000, parameters);
  mono.AddSamples(MonoTone(48000, 1.0));
  const double one = mono.GetLoudness(NS_AudioMeasurement::LOUDNESS_GATED);
  // The published figure has four decimals.
  EXPECT_NEAR(one, -3.0036, 5e-5);
  // The one window evaluated (sub-blocks 20 to 39) is in steady state and holds
  // whole periods, so only rounding separates it from the transfer function.
  EXPECT_NEAR(one, ToneLoudness(1.0), 1e-9);

  CAudioBS1770 stereo(2, 48000, parameters);
  CAudioBS1770 surround(5, 48000, parameters);
  for (unsigned c = 0; c < 2; ++c) stereo.CopyChannelBlocks(c, 0, mono);
  for (unsigned c = 0; c < 5; ++c) surround.CopyChannelBlocks(c, 0, mono);
  const double two = stereo.GetLoudness(NS_AudioMeasurement::LOUDNESS_GATED);
  const double five = surround.GetLoudness(NS_AudioMeasurement::LOUDNESS_GATED);
  // Joined channels add energy by their weights, 2 and 1+1+1+1.41+1.41: with
  // the figure above, within the published 0.01 and 4.65.
  EXPECT_NEAR(two - one, 10.0 * std::log10(2.0), 1e-9);
  EXPECT_NEAR(five - one, 10.0 * std::log10(5.82), 1e-9);

  CAudioBS1770::TestCAudioBS1770();
}

TEST(CAudioBS1770Test, UnfedAndSilentStreamsShowTheFloors) {
  CAudioBS1770 unfed(2, 48000, kEbu);
  CAudioBS1770 silent(2, 48000, kEbu);
  silent.AddSamples(Copies(std::vector<double>(10 * 48000, 0.0), 2));
  for (const CAudioBS1770* meter : {&unfed, &silent}) {
    const double floors[] = {-128.0, -128.0, -120.0, -120.0};  // by mode
    for (int mode = 0; mode < 4; ++mode) EXPECT_EQ(meter->GetLoudness(mode), floors[mode]) << mode;
    EXPECT_EQ(meter->GetPeak(), -120.0);
  }
  std::vector<LoudnessPoint> curve(3, {1.0, 1.0});
  unfed.GetLoudnessCurve(100, 0, curve);
  EXPECT_TRUE(curve.empty());
  silent.GetLoudnessCurve(1000, 0, curve);
  ASSERT_EQ(curve.size(), 10u);
  EXPECT_EQ(curve[9].lkfs, -128.0);
  EXPECT_EQ(curve[9].peak, 0.0);
}

TEST(CAudioBS1770Test, OnlyCompleteSubBlocksCountAndTheFirstWindowIsPassedOver) {
  const Block tone = MonoTone(21 * kSubBlock + 1, 0.5);
  CAudioBS1770 meter(1, 48000, kEbu);
  meter.AddSamples(Slice(tone, 0, 20 * kSubBlock + 959));
  // Twenty complete sub-blocks hold one momentary window, the one passed over.
  EXPECT_EQ(meter.GetLoudness(0), -128.0);
  meter.AddSamples(Slice(tone, 20 * kSubBlock + 959, 1));
  // The window of sub-blocks 1 to 20; the onset transient has died down by then.
  EXPECT_NEAR(meter.GetLoudness(0), ToneLoudness(0.5), 0.01);

  std::vector<LoudnessPoint> curve;
  meter.GetLoudnessCurve(20, 3, curve);
  EXPECT_EQ(curve.size(), 21u);
  meter.AddSamples(Slice(tone, 21 * kSubBlock, 1));  // the 961st of its sub-block opens the next
  meter.GetLoudnessCurve(20, 3, curve);
  EXPECT_EQ(curve.size(), 22u);
}

TEST(CAudioBS1770Test, GatedLoudnessNeedsAWindowPlusAHop) {
  const double amplitude = AmplitudeForLoudness(-23.0);
  CAudioBS1770 meter(1, 48000, kEbu);
  meter.AddSamples(MonoTone(24 * kSubBlock, amplitude));
  EXPECT_EQ(meter.GetLoudness(2), -120.0);
  meter.AddSamples(MonoTone(kSubBlock, amplitude));  // a sub-block holds whole periods: the phase runs on
  EXPECT_NEAR(meter.GetLoudness(2), -23.0, 0.01);    // steady state, onset transient far behind

  // Gating blocks of 1 to 19 ms round to no window at all.
  CAudioBS1770 shortBlocks(1, 48000, {19, 0, 0, -10.0, -70.0});
  shortBlocks.AddSamples(MonoTone(48000, amplitude));
  EXPECT_EQ(shortBlocks.GetLoudness(2), -120.0);
}

TEST(CAudioBS1770Test, TwoStageGate) {
  const std::vector<double> loud = Sine(10 * 48000, AmplitudeForLoudness(-20.0), 1000.0);
  const std::vector<double> soft = Sine(10 * 48000, AmplitudeForLoudness(-35.0), 1000.0);
  const std::vector<double> quiet = Sine(10 * 48000, AmplitudeForLoudness(-75.0), 1000.0);
  const struct {
    double relativeGate;
    std::vector<double> programme;
    double expected, tolerance;  // 0.1 where three gating blocks straddle a step
  } cases[] = {
      // Nothing passes the absolute gate: the relative limit becomes -130 and
      // the second stage, which does not test the absolute gate, takes it all.
      {-10.0, quiet, -75.0, 0.01},
      {-10.0, Concat({loud, soft}), -20.0, 0.1},  // the relative gate keeps the loud half
      {-20.0, Concat({loud, soft}), -20.0 + 10.0 * std::log10((1.0 + std::pow(10.0, -1.5)) / 2.0), 0.1},  // both
      {-10.0, Concat({loud, quiet}), -20.0, 0.1},  // the absolute gate drops the -75 half
  };
  for (const auto& [relativeGate, programme, expected, tolerance] : cases) {
    CAudioBS1770 meter(1, 48000, {400, 75, 0, relativeGate, -70.0});
    meter.AddSamples(Block{programme});
    EXPECT_NEAR(meter.GetLoudness(2), expected, tolerance) << expected;
  }
}

TEST(CAudioBS1770Test, ModesWithoutGating) {
  const double amplitude = AmplitudeForLoudness(-18.0);
  CAudioBS1770 gated(1, 48000, kEbu);
  CAudioBS1770 ungated(1, 48000, kUngated);
  const Block tone = MonoTone(5 * 48000, amplitude);
  gated.AddSamples(tone);
  ungated.AddSamples(tone);
  EXPECT_EQ(ungated.GetLoudness(0), gated.GetLoudness(0));
  EXPECT_EQ(ungated.GetLoudness(1), gated.GetLoudness(1));
  EXPECT_EQ(ungated.GetLoudness(2), -128.0);
  // Blockwise without a gate is the plain mean over the sub-blocks; the
  // onset sub-block is the one passed over.
  EXPECT_NEAR(ungated.GetLoudness(3), -18.0, 0.01);

  CAudioBS1770 silent(1, 48000, kUngated);
  silent.AddSamples(Block{std::vector<double>(48000, 0.0)});
  EXPECT_EQ(silent.GetLoudness(3), -INFINITY);  // the plain mean of zeros
}

TEST(CAudioBS1770Test, MeasuredLoudnessFollowsMeasureMilliseconds) {
  const Block programme = Copies(Concat({PinkNoise(4 * 48000, 0.2, 1), PinkNoise(8 * 48000, 0.02, 2)}), 2);
  const std::pair<int, int> choices[] = {{400, 0}, {3000, 1}, {10000, 3}, {0, 2}, {1000, 2}};
  for (const auto& [milliseconds, mode] : choices) {
    CAudioBS1770 meter(2, 48000, {400, 75, milliseconds, -10.0, -70.0});
    meter.AddSamples(programme);
    EXPECT_EQ(meter.GetMeasuredLoudness(), meter.GetLoudness(mode)) << milliseconds;
  }
}

TEST(CAudioBS1770Test, RandomPiecesGiveTheSameResultsAsOneBlock) {
  const Block programme{Concat({PinkNoise(3 * 48000, 0.3, 7), std::vector<double>(48000, 0.0)}),
                        Concat({WhiteNoise(2 * 48000, 0.1, 8), PinkNoise(2 * 48000 + 123, 0.05, 9)})};
  CAudioBS1770 whole(2, 48000, kEbu);
  whole.AddSamples(programme);
  for (uint32_t seed : {1u, 2u, 3u}) {
    CAudioBS1770 pieces(2, 48000, kEbu);
    FeedInRandomPieces(programme, seed == 1 ? 7 : 3000, seed, [&](const Block& piece) { pieces.AddSamples(piece); });
    for (int mode = 0; mode < 4; ++mode) EXPECT_EQ(pieces.GetLoudness(mode), whole.GetLoudness(mode)) << mode;
    EXPECT_EQ(pieces.GetPeak(), whole.GetPeak());
    std::vector<LoudnessPoint> a, b;
    pieces.GetLoudnessCurve(500, 1, a);
    whole.GetLoudnessCurve(500, 1, b);
    ASSERT_EQ(a.size(), b.size());
    for (size_t i = 0; i < a.size(); ++i) EXPECT_EQ(a[i].lkfs, b[i].lkfs) << i;
  }
}

// After a signal stops, the filter memory would ring down through subnormal
// numbers, a hundred times slower per sample, unless it is cleared.
TEST(CAudioBS1770Test, SilenceAfterASignalCostsNoMoreThanTheSignal) {
  const Block loud{WhiteNoise(48000, 0.5, 1), WhiteNoise(48000, 0.5, 2)};
  const Block noise{WhiteNoise(20 * 48000, 0.5, 3), WhiteNoise(20 * 48000, 0.5, 4)};
  const Block silence = Copies(std::vector<double>(20 * 48000, 0.0), 2);
  auto fastest = [&](const Block& tail) {
    double best = 1e9;
    for (int run = 0; run < 3; ++run) {
      CAudioBS1770 meter(2, 48000, kEbu);
      meter.AddSamples(loud);
      const auto start = std::chrono::steady_clock::now();
      meter.AddSamples(tail);
      best = std::min(best, std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    }
    return best;
  };
  EXPECT_LT(fastest(silence), 3.0 * fastest(noise));
}

TEST(CAudioBS1770Test, PeakCountsTheUnfinishedSubBlock) {
  std::vector<double> samples(kSubBlock + 1, 0.0);
  samples[kSubBlock] = -0.5;
  CAudioBS1770 meter(1, 48000, kEbu);
  meter.AddSamples(Block{samples});
  EXPECT_NEAR(meter.GetPeak(), 20.0 * std::log10(0.5), 1e-12);  // only the logarithm rounds
}

TEST(CAudioBS1770Test, LoudnessCurves) {
  const double amplitude = AmplitudeForLoudness(-20.0);
  CAudioBS1770 meter(1, 48000, kEbu);
  meter.AddSamples(MonoTone(12 * 48000 + 100, amplitude));
  std::vector<LoudnessPoint> curve;

  meter.GetLoudnessCurve(1000, 0, curve);
  ASSERT_EQ(curve.size(), 13u);  // the unfinished sub-block counts for the length
  // Unlike GetLoudness, a range evaluates its first window (sub-blocks 0 to 19).
  for (size_t i = 0; i < 12; ++i) EXPECT_NEAR(curve[i].lkfs, -20.0, 0.01) << i;
  EXPECT_EQ(curve[12].lkfs, -128.0);

  meter.GetLoudnessCurve(1000, 1, curve);
  EXPECT_EQ(curve[1].lkfs, -128.0);  // short-term windows end at sub-block 149 at the earliest
  EXPECT_NEAR(curve[2].lkfs, -20.0, 0.01);

  meter.GetLoudnessCurve(1000, 3, curve);
  EXPECT_EQ(curve[8].lkfs, -128.0);  // ten-second windows
  EXPECT_NEAR(curve[9].lkfs, -20.0, 0.01);

  meter.GetLoudnessCurve(1000, 2, curve);
  EXPECT_NEAR(curve[5].lkfs, -20.0, 0.01);

  CAudioBS1770 ungated(1, 48000, kUngated);
  ungated.AddSamples(MonoTone(3 * 48000, amplitude));
  ungated.GetLoudnessCurve(1000, 2, curve);
  ASSERT_EQ(curve.size(), 3u);
  EXPECT_NEAR(curve[2].lkfs, -20.0, 0.01);  // the last window of the stretch

  // Steps below one sub-block give empty ranges.
  meter.GetLoudnessCurve(19, 0, curve);
  EXPECT_EQ(curve[5].lkfs, -128.0);
  meter.GetLoudnessCurve(19, 2, curve);
  EXPECT_EQ(curve[5].lkfs, -120.0);
}

TEST(CAudioBS1770Test, SaveLoudnessCurveWritesTheTextFile) {
  const corvane::test::TempFolder folder;
  const std::string path = folder.Path() + "/curve.txt";
  CAudioBS1770 meter(1, 48000, kEbu);
  meter.SaveLoudnessCurve(path, {{-23.456, 0.0}, {-128.0, 0.0}, {-0.004, 0.0}});
  EXPECT_EQ(ReadWholeFile(path), "sample, lkfs, peak\n0, -23.46, 0.00\n1, -128.00, 0.00\n2, -0.00, 0.00\n");
  const std::string unreachable = folder.Path() + "/no-such-folder/curve.txt";
  meter.SaveLoudnessCurve(unreachable, {{-23.0, 0.0}});
  EXPECT_FALSE(std::filesystem::exists(unreachable));
}

}  // namespace
