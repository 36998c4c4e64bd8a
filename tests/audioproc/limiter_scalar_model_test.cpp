// The limiter against a plain scalar model of its rules, one sample at a
// time, with the look-ahead ramp written as the recursion it is defined by.
// The limiter takes its levels two samples at a time and keeps its envelope
// in registers; every output byte, the count of limited samples and the peak
// must come out the same.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <random>
#include <utility>
#include <vector>

#include "audioparse/audio_support.h"
#include "audioproc/audio_limiter.h"
#include "pcm16_frames.h"

namespace {

using audioproc_test::PcmFrame;

constexpr int kRate = 48000;
constexpr double kFloor = 0.001;

// Stereo 16-bit PCM through the rules, sample by sample.
class ScalarLimiter {
 public:
  ScalarLimiter(double ceilingDB, double thresholdDB, int attackMs, int releaseMs)
      : threshold_(CAudioSupport::ConvertDBToAudioLevel(thresholdDB) / 32767.0),
        exponent_(1.0 - 1.0 / (thresholdDB / (thresholdDB - ceilingDB))),
        attack_(std::exp(-std::log(kFloor) / (kRate * attackMs / 1000.0 + 0.5))),
        release_(std::exp(std::log(kFloor) / (kRate * releaseMs / 1000.0 + 0.5))) {}

  // The bytes that go out for `interleaved` (none to flush).
  std::vector<uint8_t> Process(const std::vector<int16_t>* interleaved) {
    if (interleaved != nullptr) {
      for (size_t i = 0; i < interleaved->size(); i += 2) {
        left_.push_back((*interleaved)[i] / 32767.0);
        right_.push_back((*interleaved)[i + 1] / 32767.0);
        envelope_.push_back(0.0);
      }
      for (size_t i = ready_; i < left_.size(); ++i) Follow(i);
    }
    std::vector<uint8_t> out;
    if (ready_ == 0) {
      ready_ = left_.size();
      return out;
    }
    for (size_t i = 0; i < ready_; ++i) {
      if (threshold_ < envelope_[i]) {
        ++limited;
        const double gain = std::pow(threshold_ / envelope_[i], exponent_);
        left_[i] *= gain;
        right_[i] *= gain;
      }
      for (double sample : {left_[i], right_[i]}) {
        peak = std::max(peak, std::fabs(sample));
        const auto value = static_cast<int32_t>(sample * 32767.0);
        out.push_back(static_cast<uint8_t>((value >> 8) & 0xFF));
        out.push_back(static_cast<uint8_t>(value & 0xFF));
      }
    }
    for (auto* buffer : {&left_, &right_, &envelope_}) buffer->erase(buffer->begin(), buffer->begin() + ready_);
    ready_ = left_.size();
    return out;
  }

  int64_t limited = 0;
  double peak = 0.0;

 private:
  void Follow(size_t i) {
    const double level = std::max(std::fabs(left_[i]), std::fabs(right_[i]));
    const double previous = i == 0 ? level : envelope_[i - 1];
    const double falling = std::max(release_ * previous, kFloor);
    if (level < falling) {
      envelope_[i] = falling;
    } else if (previous * attack_ >= level) {
      envelope_[i] = level;
    } else {
      envelope_[i] = std::min(Ramp(i, level), level);
    }
  }

  // The value at `index` on a ramp that reaches `level` there.
  double Ramp(size_t index, double level) {
    if (index == 0) {
      if (ready_ == 0) envelope_[0] = level;
      return envelope_[0];
    }
    if (!(level > envelope_[index - 1] * attack_)) return std::max(level, kFloor);
    envelope_[index] = Ramp(index - 1, level / attack_) * attack_;
    return envelope_[index];
  }

  double threshold_, exponent_, attack_, release_;
  std::vector<double> left_, right_, envelope_;
  size_t ready_ = 0;
};

// Seeded stereo: noise whose level jumps now and then, silences, steep
// isolated peaks (some at -32768) and stretches of full scale.
std::vector<int16_t> Material(size_t frames, uint32_t seed) {
  std::mt19937 rng(seed);
  std::normal_distribution<double> noise(0.0, 1.0);
  std::uniform_real_distribution<double> uniform(0.0, 1.0);
  std::vector<int16_t> out(2 * frames);
  double level = 2000.0;
  for (size_t i = 0; i < frames; ++i) {
    if (uniform(rng) < 0.001) level = uniform(rng) < 0.2 ? 0.0 : 40000.0 * std::pow(uniform(rng), 2.0);
    for (int c = 0; c < 2; ++c) {
      double value = level * noise(rng);
      if (uniform(rng) < 0.0005) value = uniform(rng) < 0.5 ? -32768.0 : 32767.0;
      out[2 * i + c] = static_cast<int16_t>(std::clamp(value, -32768.0, 32767.0));
    }
  }
  return out;
}

// Frames of 1 to 9 samples, of 1 to 3000, and of 1920: longer than the
// attack, so that every ramp fits the look-ahead and no peak passes the ceiling.
TEST(LimiterScalarModelTest, EveryByteMatchesTheModelOnFramesOfRandomLength) {
  const std::pair<size_t, size_t> frameLengths[] = {{1, 9}, {1, 3000}, {1, 3000}, {1920, 1920}};
  for (uint32_t seed = 1; seed <= 4; ++seed) {
    const std::vector<int16_t> programme = Material(4 * kRate, seed);
    CQBXAudioLimiter limiter(-1.0, -6.0, kRate, 5, 200, CQBXAudioLimiter::HARD_CLIPPER_OFF);
    ScalarLimiter model(-1.0, -6.0, 5, 200);
    std::mt19937 rng(seed);
    std::uniform_int_distribution<size_t> length(frameLengths[seed - 1].first, frameLengths[seed - 1].second);
    size_t frame = 0;
    for (size_t start = 0; start <= programme.size() / 2; ++frame) {
      const size_t count = std::min(length(rng), programme.size() / 2 - start);
      const std::vector<int16_t> piece(programme.begin() + 2 * start, programme.begin() + 2 * (start + count));
      const bool flush = count == 0;
      const CAudioFrame input = PcmFrame(piece);
      const CAudioFrame* out = limiter.ProcessAudioFrame(flush ? nullptr : &input);
      const std::vector<uint8_t> expected = model.Process(flush ? nullptr : &piece);
      const std::vector<uint8_t> actual =
          out == nullptr ? std::vector<uint8_t>{} : std::vector<uint8_t>(out->data, out->data + out->payloadLength);
      ASSERT_EQ(actual, expected) << "seed " << seed << ", frame " << frame;
      start += flush ? 1 : count;
    }
    EXPECT_EQ(limiter.GetLimitedSamples(), model.limited) << seed;
    EXPECT_GT(model.limited, 0) << seed;
    int64_t samples = 0;
    double peakDB = 0.0;
    limiter.GetProcessingStatistics(0, samples, peakDB);
    EXPECT_EQ(peakDB,
              CAudioSupport::ConvertLevelToDB(static_cast<int16_t>(static_cast<int32_t>(model.peak * 32767.0))));
    if (frameLengths[seed - 1].first > 241) {
      // The ceiling, 10^(-1/20) of full scale, is 29203.3; a sample of -32768 may come out a little above it.
      EXPECT_LT(model.peak * 32767.0, 29205.0);
      EXPECT_GT(model.peak * 32767.0, 29000.0);
    }
  }
}

}  // namespace
