// The level meters' shared framing and history, the VU's and PPM's own
// rules, and the true peak meter with libebur128's as a second opinion.
#include <gtest/gtest.h>

#include <cmath>

#include "ebur128_oracle.h"
#include "measurement/audio_peak_level.h"
#include "measurement/audio_peak_level_impl.h"
#include "signals.h"

namespace {

using namespace measurement_test;
using NS_AudioMeasurement::AUDIO_MEAUREMENT_TYPE;
using NS_AudioMeasurement::CAudioPeakLevel;
using NS_AudioMeasurement::CAudioPeakLevelImpl;
using NS_AudioMeasurement::MEASUREMENT_CHROMATEC;
using NS_AudioMeasurement::MEASUREMENT_PPM_IIA;
using NS_AudioMeasurement::MEASUREMENT_SIMPLE;
using NS_AudioMeasurement::MEASUREMENT_TRUE_PEAK;
using NS_AudioMeasurement::MEASUREMENT_VU;

// Four-fold oversampling finds a crest to within cos(π/8·f/(fs/4)) of it, and
// the interpolator's passband ripple adds a little: 0.3 dB covers both.
constexpr double kTruePeakTolerance = 0.3;

TEST(PeakLevelTest, NamesTypesAndUnfedReadings) {
  const std::pair<AUDIO_MEAUREMENT_TYPE, const char*> names[] = {{MEASUREMENT_PPM_IIA, "PPMIIa"},
                                                                 {MEASUREMENT_VU, "VU"},
                                                                 {MEASUREMENT_SIMPLE, "Simple"},
                                                                 {MEASUREMENT_TRUE_PEAK, "True Peak"},
                                                                 {MEASUREMENT_CHROMATEC, "Chromatec"}};
  for (const auto& [type, name] : names) {
    CAudioPeakLevel meter(2, 48000, type);
    EXPECT_EQ(meter.GetMeterName(), name);
    std::vector<short> points(4, 7);
    meter.GetLevelHistory(100, points);
    EXPECT_TRUE(points.empty()) << name;
  }
  // Every reading starts from the 1e-06 (-120 dB) floor of `held`; tolerance: one logarithm's rounding.
  CAudioPeakLevel simple(2, 48000, MEASUREMENT_SIMPLE);
  CAudioPeakLevel vu(2, 48000, MEASUREMENT_VU);
  CAudioPeakLevel ppm(2, 48000, MEASUREMENT_PPM_IIA);
  CAudioPeakLevel truePeak(2, 48000, MEASUREMENT_TRUE_PEAK);
  EXPECT_EQ(truePeak.GetPeakReading(), -INFINITY);
  EXPECT_NEAR(simple.GetPeakReading(), -120.0, 1e-12);
  EXPECT_NEAR(vu.GetPeakReading(), -116.1, 1e-12);
  EXPECT_NEAR(ppm.GetPeakReading(), -21.5, 1e-12);
  EXPECT_EQ(ppm.ConvertReadingToDB(8.5), 0.0);
  EXPECT_EQ(ppm.ConvertReadingToDB(4.0), -18.0);
  EXPECT_EQ(vu.ConvertReadingToDB(-7.25), -7.25);
  EXPECT_EQ(truePeak.ConvertReadingToDB(-3.5), -3.5);
}

TEST(PeakLevelTest, OneEntryPer100MillisecondsAndSilenceFloors) {
  const std::pair<AUDIO_MEAUREMENT_TYPE, short> floors[] = {
      {MEASUREMENT_PPM_IIA, -963}, {MEASUREMENT_VU, -924}, {MEASUREMENT_SIMPLE, -963}, {MEASUREMENT_TRUE_PEAK, -963}};
  for (const auto& [type, floor] : floors) {
    CAudioPeakLevel meter(2, 48000, type);
    meter.AddSamples(Copies(std::vector<double>(4799, 0.0), 2));
    EXPECT_TRUE(History(meter).empty());
    meter.AddSamples(Copies(std::vector<double>(1, 0.0), 2));
    EXPECT_EQ(History(meter), std::vector<short>{floor});
    meter.AddSamples(Copies(std::vector<double>(4800 * 3 + 17, 0.0), 2));
    EXPECT_EQ(History(meter).size(), 4u);
    if (type == MEASUREMENT_TRUE_PEAK) {
      EXPECT_EQ(meter.GetPeakReading(), -INFINITY);
    }
  }
  // 44.1 kHz blocks are 4,410 samples.
  CAudioPeakLevel meter(1, 44100, MEASUREMENT_SIMPLE);
  meter.AddSamples(Block{std::vector<double>(4410 * 2 - 1, 0.0)});
  EXPECT_EQ(History(meter).size(), 1u);
}

TEST(PeakLevelTest, HistoryEntriesTruncateTowardZeroAndKeepSixteenBits) {
  EXPECT_EQ(CAudioPeakLevelImpl::HistoryEntry(-12.34), -123);
  EXPECT_EQ(CAudioPeakLevelImpl::HistoryEntry(-0.09), 0);
  EXPECT_EQ(CAudioPeakLevelImpl::HistoryEntry(6.02), 60);
  EXPECT_EQ(CAudioPeakLevelImpl::HistoryEntry(-119.99), -1199);
  EXPECT_EQ(CAudioPeakLevelImpl::HistoryEntry(3300.0), 33000 - 65536);
  // No level, or one below the history's floor, stores the floor.
  EXPECT_EQ(CAudioPeakLevelImpl::HistoryEntry(-INFINITY), -1200);
  EXPECT_EQ(CAudioPeakLevelImpl::HistoryEntry(NAN), -1200);
  EXPECT_EQ(CAudioPeakLevelImpl::HistoryEntry(-150.0), -1200);
}

TEST(PeakLevelTest, VuDividesByTheWindowEvenWhereSubBlocksFallShort) {
  // At 22,050 Hz: sub-blocks of 220, a window of 6,615, 30 sub-blocks = 6,600 samples.
  CAudioPeakLevel meter(1, 22050, MEASUREMENT_VU);
  meter.AddSamples(Block{std::vector<double>(22050, 0.5)});
  EXPECT_NEAR(meter.GetPeakReading(), 20.0 * std::log10(0.5 * 6600.0 / 6615.0) + 3.9, 1e-12);
}

TEST(PeakLevelTest, VuReadsASteadySineCloseToItsPeak) {
  CAudioPeakLevel meter(2, 48000, MEASUREMENT_VU);
  const double amplitude = 0.25;
  meter.AddSamples(Copies(Sine(48000, amplitude, 1000.0), 2));
  // A sub-block holds 10 whole periods of 48 samples, whose mean |sin| is cot(π/48)/24.
  const double mean = amplitude * (1.0 / std::tan(M_PI / 48.0)) / 24.0;
  EXPECT_NEAR(meter.GetPeakReading(), 20.0 * std::log10(mean) + 3.9, 1e-9);  // sums of 14,400 terms
  EXPECT_NEAR(meter.GetPeakReading(), 20.0 * std::log10(amplitude), 0.05);
}

TEST(PeakLevelTest, LevelHistoryResampling) {
  // Ten blocks whose levels give these entries.
  const std::vector<short> entries = {-30, -10, -50, -20, -5, -45, -60, -35, -25, -15};
  CAudioPeakLevel meter(1, 48000, MEASUREMENT_SIMPLE);
  for (short entry : entries) meter.AddSamples(Block{std::vector<double>(4800, DbToAmplitude(entry / 10.0 - 0.05))});
  EXPECT_EQ(History(meter, 100), entries);

  std::vector<short> doubled;
  for (short entry : entries) doubled.insert(doubled.end(), 2, entry);
  EXPECT_EQ(History(meter, 50), doubled);
  // Scale 2.5: entries 0-1, 2-3, 5-6, 7-8; entries 4 and 9 belong to no point.
  EXPECT_EQ(History(meter, 250), (std::vector<short>{-10, -20, -45, -25}));
  EXPECT_EQ(History(meter, 300), (std::vector<short>{-10, -5, -25}));
  EXPECT_EQ(History(meter, 1000), std::vector<short>{-5});
  EXPECT_TRUE(History(meter, 1100).empty());

  for (int milliseconds : {0, -100}) {
    std::vector<short> points(3, 1);
    meter.GetLevelHistory(milliseconds, points);
    EXPECT_TRUE(points.empty()) << milliseconds;
  }
}

TEST(PeakLevelTest, RandomPiecesGiveTheSameHistoryAsOneBlock) {
  const Block programme{PinkNoise(3 * 48000 + 77, 0.2, 5),
                        Concat({Sine(48000, 0.7, 997.0), WhiteNoise(2 * 48000 + 77, 0.3, 6)})};
  for (AUDIO_MEAUREMENT_TYPE type :
       {MEASUREMENT_PPM_IIA, MEASUREMENT_VU, MEASUREMENT_SIMPLE, MEASUREMENT_CHROMATEC, MEASUREMENT_TRUE_PEAK}) {
    CAudioPeakLevel whole(2, 48000, type);
    CAudioPeakLevel pieces(2, 48000, type);
    whole.AddSamples(programme);
    FeedInRandomPieces(programme, 6000, 11, [&](const Block& piece) { pieces.AddSamples(piece); });
    EXPECT_EQ(History(pieces), History(whole)) << type;
    EXPECT_EQ(pieces.GetPeakReading(), whole.GetPeakReading()) << type;
  }
}

TEST(PeakLevelTest, SelfTests) {
  EXPECT_EQ(CAudioPeakLevel::TestPeakLevel(MEASUREMENT_SIMPLE), 0.0);
  EXPECT_EQ(CAudioPeakLevel::TestPeakLevel(MEASUREMENT_VU), 0.0);
  // A 5 kHz tone at -10 dB: its crests lie between the samples.
  EXPECT_NEAR(CAudioPeakLevel::TestPeakLevel(MEASUREMENT_TRUE_PEAK), -10.0, kTruePeakTolerance);
  // The last pass holds the highest envelope of four bursts of a -10 dB tone,
  // the longest of 100 ms: with the slowest attack of the sweep the envelope
  // settles a little below the crests.
  CAudioPeakLevel ppm(2, 48000, MEASUREMENT_PPM_IIA);
  const double marks = ppm.SelfTest();
  EXPECT_GT(ppm.ConvertReadingToDB(marks), -12.0);
  EXPECT_LT(ppm.ConvertReadingToDB(marks), -10.0);
  EXPECT_EQ(CAudioPeakLevel::TestPeakLevel(MEASUREMENT_PPM_IIA), marks);
  // The meter keeps the sweep's last attack, 1.95 of its base instead of 4.2:
  // a click now raises the envelope by that much less.
  // Ten seconds of silence first let the sweep's envelope fall by 100 dB.
  std::vector<double> clickAfterSilence(10 * 48000 + 4800, 0.0);
  clickAfterSilence[10 * 48000] = 1.0;
  ppm.AddSamples(Copies(clickAfterSilence, 2));
  const double base = 1.0 - std::exp(-1.0 / 480.0);
  const std::vector<short> history = History(ppm);
  ASSERT_EQ(history.size(), 101u);
  EXPECT_NEAR(history.back() / 10.0, 20.0 * std::log10(1.95 * base), 0.15);  // tenths, truncated
}

// Tones at a quarter of the rate and near it, phased off the samples as EBU
// Tech 3341's true peak signals are: the crest worked out, and libebur128's reading.
TEST(PeakLevelTest, TruePeakFindsTheCrestsBetweenTheSamples) {
  const struct {
    Block signal;
    double crestDb;
  } cases[] = {
      {Copies(Sine(48000, 1.0, 12000.0, 48000.0, M_PI / 4.0), 2), 0.0},          // every sample at ±0.707 of the crest
      {Block{Sine(48000, 1.3, 11000.0, 48000.0, 0.3)}, 20.0 * std::log10(1.3)},  // above full scale: nothing clips
      {Block{Sine(2 * 48000, 0.9, 9970.0, 48000.0, 0.7), Sine(2 * 48000, 0.5, 997.0)}, 20.0 * std::log10(0.9)},
  };
  for (const auto& [signal, crestDb] : cases) {
    const auto channels = static_cast<unsigned>(signal.size());
    CAudioPeakLevel meter(channels, 48000, MEASUREMENT_TRUE_PEAK);
    meter.AddSamples(signal);
    Ebur128Oracle oracle(channels, EBUR128_MODE_TRUE_PEAK);
    oracle.Add(signal);
    EXPECT_NEAR(meter.GetPeakReading(), crestDb, kTruePeakTolerance) << crestDb;
    EXPECT_NEAR(meter.GetPeakReading(), oracle.TruePeakDb(), kTruePeakTolerance) << crestDb;
  }
  CAudioPeakLevel simple(2, 48000, MEASUREMENT_SIMPLE);
  simple.AddSamples(cases[0].signal);
  EXPECT_NEAR(simple.GetPeakReading(), -3.01, 0.01);
}

TEST(PeakLevelTest, TruePeakChannelsAreKeptApartAndBlocksTakeTheLouder) {
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

}  // namespace
