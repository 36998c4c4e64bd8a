// The K-weighting runs two channels side by side where it can. Each channel
// of a multichannel measurement must give the very sub-blocks (counts,
// energies and peaks, bit for bit) that a one-channel measurement of the same
// samples gives, whatever the pieces the samples come in.
#include <gtest/gtest.h>

#include <bit>
#include <cstdint>
#include <memory>

#include "measurement/audio_bs1770_impl.h"
#include "signals.h"

namespace {

using namespace measurement_test;
using NS_AudioMeasurement::CAudioBS1770Impl;
using NS_AudioMeasurement::LoudnessBlock;

constexpr CAudioStreamParameters::CLKFSParameters kEbu = {400, 75, 0, -10.0, -70.0};

Block Channel(const Block& block, size_t c) { return Block{block[c]}; }

void ExpectSameBlocks(const std::vector<LoudnessBlock>& actual, const std::vector<LoudnessBlock>& expected,
                      size_t channel) {
  ASSERT_EQ(actual.size(), expected.size()) << "channel " << channel;
  for (size_t j = 0; j < actual.size(); ++j) {
    ASSERT_EQ(actual[j].sampleCount, expected[j].sampleCount) << "channel " << channel << " sub-block " << j;
    ASSERT_EQ(std::bit_cast<uint64_t>(actual[j].energy), std::bit_cast<uint64_t>(expected[j].energy))
        << "channel " << channel << " sub-block " << j << ": " << actual[j].energy << " vs " << expected[j].energy;
    ASSERT_EQ(std::bit_cast<uint64_t>(actual[j].peak), std::bit_cast<uint64_t>(expected[j].peak))
        << "channel " << channel << " sub-block " << j << ": " << actual[j].peak << " vs " << expected[j].peak;
  }
}

TEST(BS1770ChannelPairsTest, EveryChannelMatchesItsOneChannelMeasurement) {
  for (unsigned channels = 2; channels <= 5; ++channels) {
    Block programme;
    for (unsigned c = 0; c < channels; ++c) programme.push_back(MixedMaterial(7 * 48000 + 123, 100 * channels + c));
    CAudioBS1770Impl together(channels, 48000, kEbu);
    std::vector<std::unique_ptr<CAudioBS1770Impl>> alone;
    for (unsigned c = 0; c < channels; ++c) alone.push_back(std::make_unique<CAudioBS1770Impl>(1, 48000, kEbu));
    FeedInRandomPieces(programme, channels % 2 == 0 ? 5000 : 700, channels, [&](const Block& piece) {
      together.AddSamples(piece);
      for (unsigned c = 0; c < channels; ++c) alone[c]->AddSamples(Channel(piece, c));
    });
    for (unsigned c = 0; c < channels; ++c) {
      ExpectSameBlocks(together.ChannelBlocks(c), alone[c]->ChannelBlocks(0), c);
    }
  }
}

// Channel 1 is joined from a measurement that stopped inside a sub-block, so
// its sub-blocks end elsewhere than channel 0's; channels 2 and 3 keep in
// step. Every channel must still run exactly as alone.
TEST(BS1770ChannelPairsTest, ChannelsJoinedOutOfStepStayExact) {
  CAudioBS1770Impl earlier(1, 48000, kEbu);
  earlier.AddSamples(Block{MixedMaterial(1000, 7)});
  Block programme;
  for (unsigned c = 0; c < 4; ++c) programme.push_back(MixedMaterial(3 * 48000, 200 + c));
  CAudioBS1770Impl together(4, 48000, kEbu);
  together.CopyChannelBlocks(1, 0, earlier);
  std::vector<std::unique_ptr<CAudioBS1770Impl>> alone;
  for (unsigned c = 0; c < 4; ++c) alone.push_back(std::make_unique<CAudioBS1770Impl>(1, 48000, kEbu));
  alone[1]->CopyChannelBlocks(0, 0, earlier);
  FeedInRandomPieces(programme, 2000, 9, [&](const Block& piece) {
    together.AddSamples(piece);
    for (unsigned c = 0; c < 4; ++c) alone[c]->AddSamples(Channel(piece, c));
  });
  for (unsigned c = 0; c < 4; ++c) ExpectSameBlocks(together.ChannelBlocks(c), alone[c]->ChannelBlocks(0), c);
  EXPECT_NE(together.ChannelBlocks(1).back().sampleCount, together.ChannelBlocks(0).back().sampleCount);
}

}  // namespace
