// The PPM, VU and simple meters run two channels side by side where they
// can, and the VU adds up its sub-blocks a stretch at a time. Against plain
// scalar models of their per-sample rules, one channel and one sample at a
// time, every block must read the same level and every channel must end
// with the same held peak and envelope, bit for bit.
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <random>

#include "measurement/peak_level_ppm.h"
#include "measurement/peak_level_simple.h"
#include "measurement/peak_level_vu.h"
#include "signals.h"

namespace {

using namespace measurement_test;

constexpr double kRate = 48000.0;
constexpr double kBlockFloor = 1.0 / 65535.0;

// A meter whose per-channel state the test may read.
template <typename Meter>
struct Exposed : Meter {
  using Meter::envelope;
  using Meter::held;
  using Meter::Meter;
};

// Each model measures one channel of a block: the highest value it gives the
// block (at least the floor), with its held peak and envelope kept.
struct SimpleModel {
  using Meter = NS_AudioMeasurement::CPeakLevelSimple;
  static constexpr double kOffset = 0.0;
  double held = 0.0, envelope = 0.0;
  double Measure(const std::vector<double>& samples) {
    double peak = kBlockFloor;
    for (double x : samples) {
      held = std::max(held, std::fabs(x));
      peak = std::max(peak, std::fabs(x));
    }
    return peak;
  }
};

struct PpmModel {
  using Meter = NS_AudioMeasurement::CPeakLevelPPMIIa;
  static constexpr double kOffset = 0.0;
  const double decay = std::pow(10.0, (10.0 / kRate) / 20.0);
  const double attack = 4.2 * (1.0 - std::exp(-1.0 / (0.01 * kRate)));
  double held = 0.0, envelope = 0.0;
  double Measure(const std::vector<double>& samples) {
    double peak = kBlockFloor;
    for (double x : samples) {
      envelope = envelope / decay;
      if (std::fabs(x) > envelope) envelope = envelope + (std::fabs(x) - envelope) * attack;
      held = std::max(held, envelope);
      peak = std::max(peak, envelope);
    }
    return peak;
  }
};

// A boxcar of 30 sub-blocks of 10 ms, moved at the end of each.
struct VuModel {
  using Meter = NS_AudioMeasurement::CPeakLevelVU;
  static constexpr double kOffset = 3.9;
  double held = 0.0, envelope = 0.0;
  std::vector<double> sums = std::vector<double>(30, 0.0);
  double sum = 0.0;
  int count = 0;
  double Measure(const std::vector<double>& samples) {
    double peak = kBlockFloor;
    for (double x : samples) {
      sum += std::fabs(x);
      if (++count < 480) continue;
      double total = 0.0;
      for (int j = 1; j < 30; ++j) total += sums[j];
      total += sum;
      sums.erase(sums.begin());
      sums.push_back(sum);
      const double mean = total / 14400.0;
      held = std::max(held, mean);
      peak = std::max(peak, mean);
      sum = 0.0;
      count = 0;
    }
    return peak;
  }
};

template <typename Model>
void ExpectSameState(const Exposed<typename Model::Meter>& meter, const std::vector<Model>& models, size_t block) {
  for (size_t c = 0; c < models.size(); ++c) {
    ASSERT_EQ(std::bit_cast<uint64_t>(meter.held[c]), std::bit_cast<uint64_t>(models[c].held))
        << "block " << block << ", channel " << c << ": " << meter.held[c] << " vs " << models[c].held;
    ASSERT_EQ(std::bit_cast<uint64_t>(meter.envelope[c]), std::bit_cast<uint64_t>(models[c].envelope))
        << "block " << block << ", channel " << c << ": " << meter.envelope[c] << " vs " << models[c].envelope;
  }
}

// Blocks of seeded random lengths, so that sub-blocks end anywhere in them;
// the last two blocks differ in length between channels, which puts the VU's
// channels out of step, and are louder than all before, so that their values
// become the held peaks.
template <typename Model>
void CheckAgainstModel(unsigned channels, uint32_t seed) {
  SCOPED_TRACE(testing::Message() << channels << " channels, seed " << seed);
  Block programme;
  for (unsigned c = 0; c < channels; ++c) programme.push_back(MixedMaterial(3 * 48000, seed + c));
  std::vector<Block> blocks;
  FeedInRandomPieces(programme, 6000, seed, [&](const Block& piece) { blocks.push_back(piece); });
  for (size_t extra : {1u, 0u}) {
    Block uneven;
    for (unsigned c = 0; c < channels; ++c) {
      uneven.push_back(WhiteNoise(4800 + (c % 2) * extra, 8.0 + static_cast<double>(extra + c), 3 * seed + c));
    }
    blocks.push_back(uneven);
  }
  Exposed<typename Model::Meter> meter(channels, 48000);
  std::vector<Model> models(channels);
  for (size_t b = 0; b < blocks.size(); ++b) {
    double peak = kBlockFloor;
    for (unsigned c = 0; c < channels; ++c) peak = std::max(peak, models[c].Measure(blocks[b][c]));
    ASSERT_EQ(meter.ProcessBlock(blocks[b]), 20.0 * std::log10(peak) + Model::kOffset) << "block " << b;
    ExpectSameState(meter, models, b);
  }
}

TEST(PeakLevelLanesTest, PpmFollowsTheScalarRules) {
  EXPECT_NEAR(PpmModel().attack, 0.0087409, 5e-8);  // the published figure has seven places
  for (unsigned channels : {1u, 2u, 3u, 5u}) CheckAgainstModel<PpmModel>(channels, 10 * channels);
}

TEST(PeakLevelLanesTest, VuFollowsTheScalarRules) {
  for (unsigned channels : {1u, 2u, 3u, 5u}) CheckAgainstModel<VuModel>(channels, 20 * channels);
}

TEST(PeakLevelLanesTest, SimpleMeterFollowsTheScalarRules) {
  for (unsigned channels : {1u, 2u, 3u, 5u}) CheckAgainstModel<SimpleModel>(channels, 30 * channels);
}

}  // namespace
