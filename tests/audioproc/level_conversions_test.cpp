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

using S = CAudioSupport;

// Hand-worked values of the conversions and their floors; tolerance 0 means
// exact, the others cover the four decimals given or a few ulps of log10/pow.
TEST(LevelConversions, HandWorkedValuesAndFloors) {
  const double oneStep = 1.0 / 32767.0;
  const struct {
    double actual, expected, tolerance;
  } cases[] = {
      {S::ConvertDBToAudioLevel(0.0), 32767.0, 0},
      {S::ConvertDBToAudioLevel(-95.0), 0.0, 0},
      {S::ConvertDBToAudioLevel(-120.0), 0.0, 0},
      {S::ConvertDBToAudioLevel(-94.99), 0.583360, 1e-6},  // 32767 * 10^(-94.99 / 20)
      {S::ConvertDBToAudioLevel(-6.0), 16422.402, 0.001},
      {S::ConvertLevelToDB(32767), 0.0, 0},
      {S::ConvertLevelToDB(-32767), 0.0, 0},
      {S::ConvertLevelToDB(0), -96.0, 0},
      {S::ConvertLevelToDB(1), -96.0, 0},
      {S::ConvertLevelToDB(-1), -96.0, 0},
      {S::ConvertLevelToDB(2), -84.2881, 1e-4},  // 20 log10(2 / 32767)
      {S::ConvertLevelToDB(-32768), -96.0, 0},   // its magnitude does not fit 16 bits
      {S::ConvertDBToAudioLevel32(0.0), 2147483647.0, 0},
      {S::ConvertDBToAudioLevel32(-185.0), 0.0, 0},
      {S::ConvertLevel32ToDB(INT_MAX), 0.0, 0},
      {S::ConvertLevel32ToDB(-INT_MAX), 0.0, 0},
      {S::ConvertLevel32ToDB(1), -185.0, 0},
      {S::ConvertLevel32ToDB(-1), -185.0, 0},
      {S::ConvertLevel32ToDB(INT_MIN), -185.0, 0},
      {S::ConvertLevel32ToDB(2), -180.6180, 1e-4},  // 20 log10(2 / 2147483647)
      {S::ConvertFactorToDB(1.0), 0.0, 0},
      {S::ConvertFactorToDB(oneStep), -90.3087, 1e-4},
      {S::ConvertFactorToDB(std::nextafter(oneStep, 0.0)), -96.0, 0},  // below one 16-bit step
      {S::ConvertFactorToDB(0.0), -96.0, 0},
      {S::ConvertFactorToDB(2.0), 6.0206, 1e-4},
      {S::ConvertDBToFactor(-200.0), 1e-10, 1e-20},  // no floor this way
      {S::ConvertDBToFactor(20.0), 10.0, 1e-9},
      {S::AverageDBForMultipleChannels({-6.0206, -6.0206}), -6.0206, 1e-9},
      {S::AverageDBForMultipleChannels({0.0, -96.0}), -6.02046, 1e-5},  // (1 + 10^(-96/20)) / 2, not -48 dB
      // (1 + 0.1) / 2: amplitudes, not powers (which would give -2.97 dB).
      {S::AverageDBForMultipleChannels({0.0, -20.0}), 20.0 * std::log10(0.55), 1e-9},
      {S::AverageDBForMultipleChannels({-100.0, -120.0}), -96.0, 0},
      {S::AverageDBForMultipleChannels({}), -96.0, 0},
  };
  for (size_t i = 0; i < std::size(cases); ++i) {
    EXPECT_NEAR(cases[i].actual, cases[i].expected, cases[i].tolerance) << "row " << i;
  }
  EXPECT_GT(S::ConvertDBToAudioLevel32(-184.9), 1.0);
}

TEST(LevelConversions, LevelOfAnyDecibelValueReadsBackWithinOneStep) {
  // A level rounded to a 16-bit sample reads back within the dB width of the
  // step it was rounded in.
  std::mt19937 rng(99);
  std::uniform_real_distribution<double> dB(-80.0, 0.0);
  for (int i = 0; i < 1000; ++i) {
    const double value = dB(rng);
    const double level = S::ConvertDBToAudioLevel(value);
    const double stepDB = 20.0 * std::log10(level / (level - 0.5));
    EXPECT_NEAR(S::ConvertLevelToDB(static_cast<short>(std::lround(level))), value, stepDB) << "at " << value << " dB";
  }
}

TEST(LevelConversions, GreatestCommonDivisor) {
  const int cases[][3] = {{48000, 44100, 300}, {44100, 48000, 300}, {32000, 48000, 16000}, {7, 7, 7}, {13, 7, 1},
                          {0, 7, 1},           {-4, 8, 1}};
  for (const auto& [a, b, gcd] : cases) EXPECT_EQ(CAudioSupportTestAccess::GCD(a, b), gcd) << a << ", " << b;
}

}  // namespace
