// Conversions between decibels, 16- and 32-bit sample levels and linear
// factors, with the floors that the meters and the limiter rely on.
#include <climits>
#include <cmath>
#include <cstdint>

#include "audioparse/audio_support.h"

namespace {

constexpr double kFullScale16 = 32767.0;
constexpr double kFullScale32 = 2147483647.0;
constexpr double kFloor16DB = -96.0;
constexpr double kFloor32DB = -185.0;
// Levels at or below these dB values are taken as digital silence.
constexpr double kSilence16DB = -95.0;
constexpr double kSilence32DB = -185.0;
// One step of a 16-bit sample as a factor: anything smaller reads as the floor.
constexpr double kSmallestFactor = 1.0 / 32767.0;

}  // namespace

double CAudioSupport::ConvertDBToAudioLevel(double dB) {
  if (dB <= kSilence16DB) return 0.0;
  return kFullScale16 * std::pow(10.0, dB / 20.0);
}

double CAudioSupport::ConvertLevelToDB(short level) {
  // The magnitude is taken in 16 bits: -32768 stays negative and so reads as
  // the floor, like silence.
  const auto magnitude = static_cast<int16_t>(level < 0 ? -level : level);
  if (magnitude <= 1) return kFloor16DB;
  return 20.0 * std::log10(magnitude / kFullScale16);
}

double CAudioSupport::ConvertDBToAudioLevel32(double dB) {
  if (dB <= kSilence32DB) return 0.0;
  return kFullScale32 * std::pow(10.0, dB / 20.0);
}

double CAudioSupport::ConvertLevel32ToDB(int level) {
  if (level == INT_MIN) return kFloor32DB;
  const int magnitude = level < 0 ? -level : level;
  if (magnitude <= 1) return kFloor32DB;
  return 20.0 * std::log10(magnitude / kFullScale32);
}

double CAudioSupport::ConvertFactorToDB(double factor) {
  if (factor < kSmallestFactor) return kFloor16DB;
  return 20.0 * std::log10(factor);
}

double CAudioSupport::ConvertDBToFactor(double dB) { return std::pow(10.0, dB / 20.0); }

double CAudioSupport::AverageDBForMultipleChannels(std::vector<double> channelsDB) {
  if (channelsDB.empty()) return kFloor16DB;
  double sum = 0.0;
  for (double dB : channelsDB) sum += ConvertDBToFactor(dB);
  return ConvertFactorToDB(sum / static_cast<double>(channelsDB.size()));
}
