// Generated programme material for long runs: an endless, seeded sequence of
// stereo segments (silence, tones, noise, speech-like bursts, chords, clicks
// and square waves at full scale) at levels from -50 dBFS to 0 dBFS, handed
// out in blocks of any size. The same seed gives the same samples however
// the stream is cut into blocks.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

namespace corvane::test {

class ProgrammeMaterial {
 public:
  explicit ProgrammeMaterial(uint32_t seed, int samplingRate = 48000) : random_(seed), rate_(samplingRate) {}

  // The next `frames` samples of each of the two channels.
  std::vector<std::vector<double>> Next(size_t frames) {
    std::vector<std::vector<double>> block(2, std::vector<double>(frames));
    for (size_t i = 0; i < frames; ++i) {
      if (left_ == 0) StartSegment();
      const double t = static_cast<double>(position_++) / rate_;
      --left_;
      block[0][i] = Sample(t, 0);
      block[1][i] = Sample(t, 1);
    }
    return block;
  }

 private:
  enum Kind { kSilence, kTone, kNoise, kSpeech, kChord, kClicks, kSquare, kKinds };

  void StartSegment() {
    kind_ = static_cast<Kind>(std::uniform_int_distribution<int>(0, kKinds - 1)(random_));
    left_ = static_cast<uint64_t>(std::uniform_real_distribution<double>(0.2, 15.0)(random_) * rate_);
    amplitude_ = std::pow(10.0, std::uniform_real_distribution<double>(-50.0, 0.0)(random_) / 20.0);
    frequency_ = std::uniform_real_distribution<double>(40.0, 12000.0)(random_);
    balance_ = std::uniform_real_distribution<double>(0.3, 1.0)(random_);
    if (kind_ == kSquare) amplitude_ = 1.0;
  }

  double Noise() { return std::uniform_real_distribution<double>(-1.0, 1.0)(random_); }

  double Sample(double t, int channel) {
    constexpr double kTwoPi = 6.283185307179586;
    const double gain = amplitude_ * (channel == 0 ? 1.0 : balance_);
    switch (kind_) {
      case kTone: return gain * std::sin(kTwoPi * frequency_ * t + channel);
      case kNoise: return gain * Noise();
      case kSpeech: return gain * Noise() * std::max(0.0, std::sin(kTwoPi * 4.0 * t));
      case kChord:
        return gain / 3.0 *
               (std::sin(kTwoPi * 220.0 * t) + std::sin(kTwoPi * 277.2 * t) + std::sin(kTwoPi * 329.6 * t)) *
               (0.75 + 0.25 * std::sin(kTwoPi * 5.0 * t));
      case kClicks: return (position_ % 4801 == 0) ? (channel == 0 ? 1.0 : -1.0) : gain * 0.01 * Noise();
      case kSquare: return std::sin(kTwoPi * frequency_ * t) >= 0.0 ? gain : -gain;
      default: return 0.0;
    }
  }

  std::mt19937_64 random_;
  int rate_;
  uint64_t position_ = 0;
  uint64_t left_ = 0;
  Kind kind_ = kSilence;
  double amplitude_ = 0.0;
  double frequency_ = 1000.0;
  double balance_ = 1.0;
};

}  // namespace corvane::test
