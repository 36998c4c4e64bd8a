// Agreement with libebur128 on the signals of EBU Tech 3341, made here.
#include <gtest/gtest.h>

#include <cmath>

#include "ebur128_oracle.h"
#include "measurement/audio_bs1770.h"
#include "measurement/audio_peak_level.h"
#include "signals.h"

namespace {

using namespace measurement_test;
using NS_AudioMeasurement::CAudioBS1770;

// The tolerances that EBU Tech 3341 allows: 0.1 LU for loudness; for true
// peak +0.2/-0.4 dB, of which both meters' interpolators use a part.
constexpr double kLoudnessTolerance = 0.1;
constexpr double kTruePeakTolerance = 0.3;

struct Readings {
  double integrated, momentaryMax, shortTermMax, truePeak;
};

Readings Ours(const Block& programme) {
  const unsigned channels = static_cast<unsigned>(programme.size());
  CAudioBS1770 meter(channels, 48000, {400, 75, 0, -10.0, -70.0});
  meter.AddSamples(programme);
  NS_AudioMeasurement::CAudioPeakLevel truePeak(channels, 48000, NS_AudioMeasurement::MEASUREMENT_TRUE_PEAK);
  truePeak.AddSamples(programme);
  return {meter.GetLoudness(NS_AudioMeasurement::LOUDNESS_GATED),
          meter.GetLoudness(NS_AudioMeasurement::LOUDNESS_MOMENTARY),
          meter.GetLoudness(NS_AudioMeasurement::LOUDNESS_SHORT_TERM), truePeak.GetPeakReading()};
}

Readings Theirs(const Block& programme) {
  Ebur128Oracle oracle(static_cast<unsigned>(programme.size()),
                       EBUR128_MODE_I | EBUR128_MODE_S | EBUR128_MODE_TRUE_PEAK);
  oracle.Add(programme);
  return {oracle.Integrated(), oracle.MomentaryMax(), oracle.ShortTermMax(), oracle.TruePeakDb()};
}

std::vector<double> Tone(double seconds, double dbfs) {
  return Sine(static_cast<size_t>(seconds * 48000), DbToAmplitude(dbfs), 1000.0);
}

// Steady tones, the gated sequence -36/-23/-36 and pink noise on two and five
// channels: the loudness by hand where the signal gives it, and libebur128's.
TEST(BS1770AgreementTest, Tech3341SignalsAndPinkNoise) {
  Block surround;
  for (uint32_t c = 0; c < 5; ++c) surround.push_back(PinkNoise(15 * 48000, 0.02 * (c + 1), 40 + c));
  const struct {
    Block programme;
    double integrated;  // NAN where only libebur128 knows it
  } cases[] = {
      {Copies(Tone(20.0, -23.0), 2), -23.0},
      {Copies(Tone(20.0, -33.0), 2), -33.0},
      {Copies(Concat({Tone(10.0, -36.0), Tone(60.0, -23.0), Tone(10.0, -36.0)}), 2), -23.0},
      {Block{PinkNoise(20 * 48000, 0.05, 31), PinkNoise(20 * 48000, 0.05, 32)}, NAN},
      {surround, NAN},
  };
  for (size_t i = 0; i < std::size(cases); ++i) {
    SCOPED_TRACE(i);
    const Readings ours = Ours(cases[i].programme);
    const Readings theirs = Theirs(cases[i].programme);
    if (!std::isnan(cases[i].integrated)) {
      EXPECT_NEAR(ours.integrated, cases[i].integrated, kLoudnessTolerance);
    }
    EXPECT_NEAR(ours.integrated, theirs.integrated, kLoudnessTolerance);
    EXPECT_NEAR(ours.momentaryMax, theirs.momentaryMax, kLoudnessTolerance);
    EXPECT_NEAR(ours.shortTermMax, theirs.shortTermMax, kLoudnessTolerance);
    EXPECT_NEAR(ours.truePeak, theirs.truePeak, kTruePeakTolerance);
  }
}

}  // namespace
