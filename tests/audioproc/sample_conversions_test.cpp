#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <numeric>
#include <random>
#include <vector>

#include "audioparse/audio_support.h"

namespace {

using Channels = std::vector<std::vector<double>>;

TEST(SampleConversions, SwapBytes16InPlaceAndBetweenBuffers) {
  std::vector<unsigned char> source = {0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0xEE};
  std::vector<unsigned char> destination(7, 0xEE);
  CAudioSupport::SwapBytes16(source.data(), destination.data(), 3);
  EXPECT_EQ(destination, (std::vector<unsigned char>{0x02, 0x01, 0x04, 0x03, 0x06, 0x05, 0xEE}));
  CAudioSupport::SwapBytes16(source.data(), source.data(), 3);
  EXPECT_EQ(source, destination);
  CAudioSupport::SwapBytes16(source.data(), source.data(), 0);
  CAudioSupport::SwapBytes16(source.data(), source.data(), -2);
  EXPECT_EQ(source, destination);
}

TEST(SampleConversions, TwentyFourBitGroupsKeepTheirHighWordsLittleEndian) {
  // Two groups: four high words big-endian, then four low bytes.
  const std::vector<unsigned char> source = {0x12, 0x34, 0x56, 0x78, 0x9A, 0xBC, 0xDE, 0xF0, 1, 2, 3, 4,
                                             0x80, 0x00, 0x7F, 0xFF, 0x00, 0x01, 0xFF, 0xFE, 5, 6, 7, 8};
  std::vector<unsigned char> destination(18, 0xAA);
  CAudioSupport::Convert24BigTo16BitsLittle(source.data(), destination.data(), 2);
  EXPECT_EQ(destination, (std::vector<unsigned char>{0x34, 0x12, 0x78, 0x56, 0xBC, 0x9A, 0xF0, 0xDE, 0x00, 0x80,
                                                      0xFF, 0x7F, 0x01, 0x00, 0xFE, 0xFF, 0xAA, 0xAA}));
  std::vector<unsigned char> untouched(8, 0xAA);
  CAudioSupport::Convert24BigTo16BitsLittle(source.data(), untouched.data(), 0);
  EXPECT_EQ(untouched, std::vector<unsigned char>(8, 0xAA));
}

TEST(SampleConversions, InterleavedToDoubleUsesThe32768Scale) {
  const std::vector<unsigned char> data = {0x00, 0x80, 0xFF, 0x7F, 0x00, 0x40, 0xFF, 0xFF, 0x01, 0x00};
  Channels channels = {{9.0}, {9.0}, {9.0}};
  // 10 bytes: two whole pairs; the two bytes behind them are not a pair.
  CAudioSupport::ConvertStereo16BitInterleavedToDouble(data.data(), 10, channels);
  ASSERT_EQ(channels.size(), 2u);
  EXPECT_EQ(channels[0], (std::vector<double>{-1.0, 0.5}));
  EXPECT_EQ(channels[1], (std::vector<double>{32767.0 / 32768.0, -1.0 / 32768.0}));
}

TEST(SampleConversions, DoubleToInterleavedTruncatesAndWraps) {
  const Channels channels = {{1.0, 0.5, -0.00001, 0.99999, -1.0}, {-0.5, 1.5, 0.00004, -0.99999, 0.0}};
  std::vector<unsigned char> data(24, 0xEE);
  int bytes = 0;
  CAudioSupport::ConvertDoubleToStereo16BitInterleaved(channels, data.data(), 0, bytes);
  EXPECT_EQ(bytes, 20);
  // 1.0 -> 32768 -> low 16 bits 0x8000; 1.5 -> 49152 -> 0xC000; -0.00001 * 32768
  // truncates to 0; 0.00004 * 32768 = 1.3 -> 1; 0.99999 -> 32767.67 -> 32767.
  EXPECT_EQ(data, (std::vector<unsigned char>{0x00, 0x80, 0x00, 0xC0, 0x00, 0x40, 0x00, 0xC0, 0x00, 0x00, 0x01,
                                               0x00, 0xFF, 0x7F, 0x01, 0x80, 0x00, 0x80, 0x00, 0x00, 0xEE, 0xEE,
                                               0xEE, 0xEE}));
}

TEST(SampleConversions, InterleavedRoundTripIsByteExactForEveryValue) {
  // Every 16-bit value in both channels, in a shuffled order.
  std::vector<unsigned char> data(4 * 65536);
  std::vector<int> order(65536);
  std::iota(order.begin(), order.end(), 0);
  std::shuffle(order.begin(), order.end(), std::mt19937(5));
  for (int i = 0; i < 65536; ++i) {
    data[4 * i] = static_cast<unsigned char>(i & 0xFF);
    data[4 * i + 1] = static_cast<unsigned char>(i >> 8);
    data[4 * i + 2] = static_cast<unsigned char>(order[i] & 0xFF);
    data[4 * i + 3] = static_cast<unsigned char>(order[i] >> 8);
  }
  Channels channels;
  CAudioSupport::ConvertStereo16BitInterleavedToDouble(data.data(), static_cast<int>(data.size()), channels);
  ASSERT_EQ(channels[0].size(), 65536u);
  std::vector<unsigned char> back(data.size());
  int bytes = 0;
  CAudioSupport::ConvertDoubleToStereo16BitInterleaved(channels, back.data(), static_cast<int>(back.size()), bytes);
  EXPECT_EQ(bytes, static_cast<int>(data.size()));
  EXPECT_EQ(back, data);
}

TEST(Tones, MonoToneLengthPhaseAndLevel) {
  std::vector<double> tone = {7.0};
  CAudioSupport::CreateMonoTone(tone, 48000.0, 1.0, 0.0, 1000.0);
  ASSERT_EQ(tone.size(), 48000u);
  EXPECT_EQ(tone[0], 0.0);
  // 48 samples a cycle: sample 12 is the crest, 36 the trough (sin to 1e-15).
  EXPECT_NEAR(tone[12], 1.0, 1e-12);
  EXPECT_NEAR(tone[36], -1.0, 1e-12);

  CAudioSupport::CreateMonoTone(tone, 44100.0, 0.5, -20.0, 441.0);
  ASSERT_EQ(tone.size(), 22050u);
  EXPECT_NEAR(tone[25], 0.1, 1e-12);  // a quarter of the 100-sample cycle, at -20 dB
  // 48000 * 0.00001 = 0.48 truncates to no sample at all.
  CAudioSupport::CreateMonoTone(tone, 48000.0, 0.00001, 0.0, 1000.0);
  EXPECT_TRUE(tone.empty());
}

TEST(Tones, MultiChannelToneEndsInASecondOfNearSilence) {
  std::vector<std::vector<double>> tones = {{1.0}};
  CAudioSupport::CreateMultiChannelTone(tones, 48000.0, 1.0, -6.0, 1000.0, 3);
  ASSERT_EQ(tones.size(), 3u);
  std::vector<double> mono;
  CAudioSupport::CreateMonoTone(mono, 48000.0, 1.0, -6.0, 1000.0);
  for (const auto& channel : tones) {
    ASSERT_EQ(channel.size(), 96000u);
    EXPECT_TRUE(std::equal(mono.begin(), mono.end(), channel.begin()));
    // The tail restarts at phase 0, at 10^(-96/20).
    EXPECT_EQ(channel[48000], 0.0);
    EXPECT_NEAR(channel[48012], 1.5848931924611e-05, 1e-17);
  }
  CAudioSupport::CreateMultiChannelTone(tones, 48000.0, 1.0, -6.0, 1000.0, 0);
  EXPECT_TRUE(tones.empty());
}

}  // namespace
