#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <random>
#include <vector>

#include "audioparse/audio_support.h"

struct CAudioSupportTestAccess {
  static int GCD(int a, int b) { return CAudioSupport::getGCD(a, b); }
};

namespace {

// Results of log10 and pow: a few ulps of a value near 100 at most.
constexpr double kLogTolerance = 1e-9;

TEST(LevelConversions, SixteenBitLevelsAndTheirFloors) {
  EXPECT_EQ(CAudioSupport::ConvertDBToAudioLevel(0.0), 32767.0);
  EXPECT_EQ(CAudioSupport::ConvertDBToAudioLevel(-95.0), 0.0);
  EXPECT_EQ(CAudioSupport::ConvertDBToAudioLevel(-120.0), 0.0);
  // 32767 * 10^(-94.99 / 20) = 0.583360...
  EXPECT_NEAR(CAudioSupport::ConvertDBToAudioLevel(-94.99), 0.583360, 1e-6);
  EXPECT_NEAR(CAudioSupport::ConvertDBToAudioLevel(-6.0), 16422.402, 0.001);

  EXPECT_EQ(CAudioSupport::ConvertLevelToDB(32767), 0.0);
  EXPECT_EQ(CAudioSupport::ConvertLevelToDB(-32767), 0.0);
  EXPECT_EQ(CAudioSupport::ConvertLevelToDB(0), -96.0);
  EXPECT_EQ(CAudioSupport::ConvertLevelToDB(1), -96.0);
  EXPECT_EQ(CAudioSupport::ConvertLevelToDB(-1), -96.0);
  // 20 log10(2 / 32767)
  EXPECT_NEAR(CAudioSupport::ConvertLevelToDB(2), -84.2881, 1e-4);
  // The magnitude of -32768 does not fit 16 bits and reads as the floor.
  EXPECT_EQ(CAudioSupport::ConvertLevelToDB(-32768), -96.0);
}

TEST(LevelConversions, ThirtyTwoBitLevelsAndTheirFloors) {
  EXPECT_EQ(CAudioSupport::ConvertDBToAudioLevel32(0.0), 2147483647.0);
  EXPECT_EQ(CAudioSupport::ConvertDBToAudioLevel32(-185.0), 0.0);
  EXPECT_GT(CAudioSupport::ConvertDBToAudioLevel32(-184.9), 1.0);
  EXPECT_EQ(CAudioSupport::ConvertLevel32ToDB(INT_MAX), 0.0);
  EXPECT_EQ(CAudioSupport::ConvertLevel32ToDB(-INT_MAX), 0.0);
  EXPECT_EQ(CAudioSupport::ConvertLevel32ToDB(1), -185.0);
  EXPECT_EQ(CAudioSupport::ConvertLevel32ToDB(-1), -185.0);
  EXPECT_EQ(CAudioSupport::ConvertLevel32ToDB(INT_MIN), -185.0);
  // 20 log10(2 / 2147483647)
  EXPECT_NEAR(CAudioSupport::ConvertLevel32ToDB(2), -180.6180, 1e-4);
}

TEST(LevelConversions, FactorsFloorBelowOneSixteenBitStep) {
  const double oneStep = 3.051850947599719e-05;
  EXPECT_EQ(oneStep, 1.0 / 32767.0);
  EXPECT_EQ(CAudioSupport::ConvertFactorToDB(1.0), 0.0);
  EXPECT_NEAR(CAudioSupport::ConvertFactorToDB(oneStep), -90.3087, 1e-4);
  EXPECT_EQ(CAudioSupport::ConvertFactorToDB(std::nextafter(oneStep, 0.0)), -96.0);
  EXPECT_EQ(CAudioSupport::ConvertFactorToDB(0.0), -96.0);
  EXPECT_NEAR(CAudioSupport::ConvertFactorToDB(2.0), 6.0206, 1e-4);
  // No floor the other way.
  EXPECT_NEAR(CAudioSupport::ConvertDBToFactor(-200.0), 1e-10, 1e-20);
  EXPECT_NEAR(CAudioSupport::ConvertDBToFactor(20.0), 10.0, kLogTolerance);
}

TEST(LevelConversions, LevelOfAnyDecibelValueReadsBackWithinOneStep) {
  // A level rounded to a 16-bit sample reads back within the dB width of the
  // step it was rounded in.
  std::mt19937 rng(99);
  std::uniform_real_distribution<double> dB(-80.0, 0.0);
  for (int i = 0; i < 1000; ++i) {
    const double value = dB(rng);
    const double level = CAudioSupport::ConvertDBToAudioLevel(value);
    const auto sample = static_cast<short>(std::lround(level));
    const double stepDB = 20.0 * std::log10(level / (level - 0.5));
    EXPECT_NEAR(CAudioSupport::ConvertLevelToDB(sample), value, stepDB) << "at " << value << " dB";
  }
}

TEST(LevelConversions, AverageIsOfAmplitudes) {
  EXPECT_NEAR(CAudioSupport::AverageDBForMultipleChannels({-6.0206, -6.0206}), -6.0206, kLogTolerance);
  // (1 + 10^(-96/20)) / 2 = 0.5000079: about -6.02 dB, not -48 dB.
  EXPECT_NEAR(CAudioSupport::AverageDBForMultipleChannels({0.0, -96.0}), -6.02046, 1e-5);
  // (1 + 0.1) / 2: amplitudes, not powers (which would give -2.97 dB).
  EXPECT_NEAR(CAudioSupport::AverageDBForMultipleChannels({0.0, -20.0}), 20.0 * std::log10(0.55), kLogTolerance);
  EXPECT_EQ(CAudioSupport::AverageDBForMultipleChannels({-100.0, -120.0}), -96.0);
  EXPECT_EQ(CAudioSupport::AverageDBForMultipleChannels({}), -96.0);
}

TEST(LevelConversions, GreatestCommonDivisor) {
  EXPECT_EQ(CAudioSupportTestAccess::GCD(48000, 44100), 300);
  EXPECT_EQ(CAudioSupportTestAccess::GCD(44100, 48000), 300);
  EXPECT_EQ(CAudioSupportTestAccess::GCD(32000, 48000), 16000);
  EXPECT_EQ(CAudioSupportTestAccess::GCD(7, 7), 7);
  EXPECT_EQ(CAudioSupportTestAccess::GCD(13, 7), 1);
  EXPECT_EQ(CAudioSupportTestAccess::GCD(0, 7), 1);
  EXPECT_EQ(CAudioSupportTestAccess::GCD(-4, 8), 1);
}

}  // namespace
