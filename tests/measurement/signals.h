// Test signals for the meters: tones, noise and pink noise, made here so that
// the tests depend on nothing but the meter under test.
#pragma once

#include <cmath>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "measurement/audio_peak_level.h"
#include "support/temp_folder.h"

namespace measurement_test {

using Block = std::vector<std::vector<double>>;

inline double DbToAmplitude(double db) { return std::pow(10.0, db / 20.0); }

// `count` samples of amplitude·sin(2π·frequency·i/rate + phase).
inline std::vector<double> Sine(size_t count, double amplitude, double frequency, double rate = 48000.0,
                                double phase = 0.0) {
  std::vector<double> out(count);
  const double step = 2.0 * M_PI * frequency / rate;
  for (size_t i = 0; i < count; ++i) out[i] = amplitude * std::sin(step * static_cast<double>(i) + phase);
  return out;
}

// Uniform white noise in [-amplitude, amplitude), seeded.
inline std::vector<double> WhiteNoise(size_t count, double amplitude, uint32_t seed) {
  std::mt19937 generator(seed);
  std::uniform_real_distribution<double> uniform(-amplitude, amplitude);
  std::vector<double> out(count);
  for (double& v : out) v = uniform(generator);
  return out;
}

// Pink noise (-3 dB per octave) from white noise through Paul Kellett's
// economy filter, scaled so that its RMS is `rms`.
inline std::vector<double> PinkNoise(size_t count, double rms, uint32_t seed) {
  const std::vector<double> white = WhiteNoise(count, 1.0, seed);
  std::vector<double> out(count);
  double b0 = 0.0, b1 = 0.0, b2 = 0.0;
  double power = 0.0;
  for (size_t i = 0; i < count; ++i) {
    b0 = 0.99765 * b0 + white[i] * 0.0990460;
    b1 = 0.96300 * b1 + white[i] * 0.2965164;
    b2 = 0.57000 * b2 + white[i] * 1.0526913;
    out[i] = b0 + b1 + b2 + white[i] * 0.1848;
    power += out[i] * out[i];
  }
  const double scale = rms / std::sqrt(power / static_cast<double>(count));
  for (double& v : out) v *= scale;
  return out;
}

inline std::vector<double> Concat(std::initializer_list<std::vector<double>> parts) {
  std::vector<double> out;
  for (const auto& part : parts) out.insert(out.end(), part.begin(), part.end());
  return out;
}

// Seeded material that tries every path of a meter: noise bursts of random
// level and length, digital silence (some stretches long enough for filter
// memory to ring down and be cleared), subnormal samples and full-scale clicks.
inline std::vector<double> MixedMaterial(size_t count, uint32_t seed) {
  std::mt19937 generator(seed);
  std::uniform_real_distribution<double> unit(0.0, 1.0);
  std::normal_distribution<double> noise(0.0, 1.0);
  std::vector<double> out;
  while (out.size() < count) {
    const double draw = unit(generator);
    const size_t length = draw < 0.1 ? 2 * 48000 : 1 + generator() % 30000;
    const double level = draw < 0.3 ? 0.0 : std::pow(10.0, -8.0 * unit(generator));
    for (size_t i = 0; i < length; ++i) out.push_back(level * noise(generator));
  }
  out.resize(count);
  for (int k = 0; k < 20; ++k) out[generator() % count] = k % 2 == 0 ? 4.9e-320 : -1.0;
  return out;
}

// `channels` copies of one signal.
inline Block Copies(const std::vector<double>& signal, size_t channels) { return Block(channels, signal); }

// Samples [begin, begin + count) of every channel.
inline Block Slice(const Block& block, size_t begin, size_t count) {
  Block out(block.size());
  for (size_t c = 0; c < block.size(); ++c) {
    out[c].assign(block[c].begin() + static_cast<std::ptrdiff_t>(begin),
                  block[c].begin() + static_cast<std::ptrdiff_t>(begin + count));
  }
  return out;
}

// Calls `feed` with consecutive pieces of `block` of seeded random lengths
// from 1 to `longest` samples.
template <typename Feed>
void FeedInRandomPieces(const Block& block, size_t longest, uint32_t seed, Feed feed) {
  std::mt19937 generator(seed);
  std::uniform_int_distribution<size_t> length(1, longest);
  const size_t total = block[0].size();
  for (size_t begin = 0; begin < total;) {
    const size_t count = std::min(length(generator), total - begin);
    feed(Slice(block, begin, count));
    begin += count;
  }
}

// A meter's level history at `milliseconds` a point.
inline std::vector<short> History(NS_AudioMeasurement::CAudioPeakLevel& meter, int milliseconds = 100) {
  std::vector<short> points;
  meter.GetLevelHistory(milliseconds, points);
  return points;
}

// The whole of a text file the code under test wrote.
using corvane::test::ReadWholeFile;

}  // namespace measurement_test
