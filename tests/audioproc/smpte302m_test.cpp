#include "audioproc/smpte302m.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "support/library_checks.h"
#include "support/temp_folder.h"

namespace {

using Bytes = std::vector<unsigned char>;

// A header: audio_packet_size, then number_channels, channel_identification,
// bits_per_sample and alignment_bits (0) packed into 16 bits.
Bytes Header(unsigned packetSize, unsigned channelsCode, unsigned identification, unsigned bitsCode) {
  const unsigned low = (channelsCode << 14) | (identification << 6) | (bitsCode << 4);
  return {static_cast<unsigned char>(packetSize >> 8), static_cast<unsigned char>(packetSize),
          static_cast<unsigned char>(low >> 8), static_cast<unsigned char>(low)};
}

Bytes Unit(const Bytes& header, const Bytes& pairs) {
  Bytes unit = header;
  unit.insert(unit.end(), pairs.begin(), pairs.end());
  return unit;
}

TEST(SMPTE302MDecode, HeaderFieldsAndDuration) {
  const struct {
    Bytes header;
    int ticks;  // 90 kHz ticks of the samples, truncated
    unsigned size, channels, identification, bits, samples;
  } cases[] = {
      // 1536 bytes of 6-byte pairs: 256 samples a channel, 256 / 48000 s.
      {{0x06, 0x00, 0x00, 0x10}, 480, 1536, 2, 0, 20, 256},
      {Header(2688, 1, 0xA5, 2), 360, 2688, 4, 0xA5, 24, 192},  // 2688 / 7 = 384 pairs
      {Header(1000, 3, 0, 0), 93, 1000, 8, 0, 16, 50},          // 200 pairs; 93.75 ticks
  };
  CSMPTE302MDecode decoder;
  for (const auto& c : cases) {
    EXPECT_EQ(decoder.ReadHeader(c.header.data()), c.ticks) << c.size;
    EXPECT_EQ(decoder.audioPacketSize, c.size);
    EXPECT_EQ(decoder.numberChannels, c.channels);
    EXPECT_EQ(decoder.channelIdentification, c.identification);
    EXPECT_EQ(decoder.bitsPerSample, c.bits);
    EXPECT_EQ(decoder.samplesPerChannel, c.samples);
  }
}

// One pair a sample size; each byte goes on the wire bit-reversed (R), with
// stray bits beside the top nibbles.
TEST(SMPTE302MDecode, HandBuiltPairsAtEachSampleSize) {
  const struct {
    unsigned bitsCode;
    Bytes pair;
    int32_t lower, upper;  // at 24 bits
  } cases[] = {
      // Lower 0x1234: R(0x34) = 0x2C, R(0x12) = 0x48; upper 0xABCD: D, BC, A
      // with stray 5 and 3: R(0xD5) = 0xAB, R(0xBC) = 0x3D, R(0x3A) = 0x5C.
      {0, {0x2C, 0x48, 0xAB, 0x3D, 0x5C}, 0x123400, 0xABCD00 - 0x1000000},
      // Lower 0x9ABCD (negative): R(0xCD) = 0xB3, R(0xAB) = 0xD5, R(0x69) = 0x96
      // (stray 6 above the 9); upper 0x12345: R(0x45) = 0xA2, R(0x23) = 0xC4, R(0x01) = 0x80.
      {1, {0xB3, 0xD5, 0x96, 0xA2, 0xC4, 0x80}, 0x9ABCD0 - 0x1000000, 0x123450},
      // Lower 0x800001: R(0x01) = 0x80, R(0x80) = 0x01; upper 0x7FFFFE: its low
      // nibble E from R(0xE3) = 0xC7, its top 7 from R(0x57) = 0xEA (stray 5).
      {2, {0x80, 0x00, 0x01, 0xC7, 0xFF, 0xFF, 0xEA}, -8388607, 0x7FFFFE},
  };
  CSMPTE302MDecode decoder;
  for (const auto& c : cases) {
    const Bytes unit = Unit(Header(static_cast<unsigned>(c.pair.size()), 0, 0, c.bitsCode), c.pair);
    ASSERT_EQ(decoder.DecodeFrame(unit.data()), 1u) << c.bitsCode;
    EXPECT_EQ(decoder.channelSamples[0][0], c.lower) << c.bitsCode;
    EXPECT_EQ(decoder.channelSamples[1][0], c.upper) << c.bitsCode;
  }
  std::vector<std::vector<double>> channels;
  EXPECT_EQ(decoder.GetSamples(channels), 1u);
  ASSERT_EQ(channels.size(), 2u);
  EXPECT_EQ(channels[0][0], -1.0);
  EXPECT_EQ(channels[1][0], 8388606.0 / 8388607.0);
}

TEST(SMPTE302MDecode, ReservedSampleSizeReadsNothing) {
  CSMPTE302MDecode decoder;
  decoder.channelSamples[0][0] = 77;
  const Bytes unit = Unit(Header(8, 0, 0, 3), Bytes(8, 0xFF));
  EXPECT_EQ(decoder.DecodeFrame(unit.data()), 0u);
  EXPECT_EQ(decoder.bitsPerSample, 28u);
  EXPECT_EQ(decoder.channelSamples[0][0], 77);
}

// Every frame the writer fills gives its buffer blocks back.
class SMPTE302MEncode : public corvane::test::LeakCheckedTest {};

TEST_F(SMPTE302MEncode, ByteLayoutOfTheWriter) {
  CAudioFrame frame;
  frame.audioWordA = 9;
  std::vector<std::vector<double>> channels = {{0.5, 1.0}, {-1.0, 0.0}};
  CSMPTE302MDecode::EncodeFrame(channels, 2, 1.0, &frame);
  // 0.5 * 524287 = 262143.5 -> 0x3FFFF; -1.0 -> -524287 = 0x80001 in 20 bits;
  // 1.0 -> 0x7FFFF. Bytes low, middle, top nibble, each bit-reversed.
  const Bytes expected = {0x00, 0x0C, 0x00, 0x10,              // 12 bytes, 2 ch, 20 bits
                          0xFF, 0xFF, 0xC0, 0x80, 0x00, 0x10,  // 0x3FFFF, 0x80001
                          0xFF, 0xFF, 0xE0, 0x00, 0x00, 0x00};  // 0x7FFFF, 0
  EXPECT_EQ(Bytes(frame.data, frame.data + frame.payloadLength), expected);
  EXPECT_EQ(frame.audioType, AUDIO_FRAME_SMPTE302M);
  EXPECT_EQ(frame.audioWordA, 0u);
  EXPECT_EQ(frame.channels, 2u);
  EXPECT_EQ(frame.bitsPerSample, 20u);
  EXPECT_EQ(frame.samplingRate, 48000u);
}

TEST_F(SMPTE302MEncode, DecodeOfEncodeGivesTheTwentyBitValues) {
  std::mt19937 rng(302);
  std::uniform_real_distribution<double> sample(-1.0, 1.0);
  std::vector<std::vector<double>> channels(2, std::vector<double>(1000));
  for (auto& channel : channels) {
    for (double& value : channel) value = sample(rng);
  }
  channels[0][0] = 1.0;
  channels[1][0] = -1.0;
  channels[0][1] = 1.5;  // beyond full scale: truncated to its low 20 bits
  CAudioFrame frame;
  CSMPTE302MDecode decoder;
  for (double gain : {1.0, 1.005, 0.5}) {
    CSMPTE302MDecode::EncodeFrame(channels, 1000, gain, &frame);
    ASSERT_EQ(decoder.DecodeFrame(frame.data), 1000u);
    EXPECT_EQ(decoder.bitsPerSample, 20u);
    const double applied = gain == 0.5 ? 0.5 : 1.0;
    for (unsigned c = 0; c < 2; ++c) {
      for (unsigned i = 0; i < 1000; ++i) {
        int32_t value = static_cast<int32_t>(channels[c][i] * applied * 524287.0);
        value = ((value & 0xFFFFF) ^ 0x80000) - 0x80000;
        ASSERT_EQ(decoder.channelSamples[c][i], value * 16) << "gain " << gain << " channel " << c << " at " << i;
      }
    }
  }
  CSMPTE302MDecode::EncodeFrame(channels, 1, 1.0, &frame);
  decoder.DecodeFrame(frame.data);
  std::vector<std::vector<double>> decoded;
  decoder.GetSamples(decoded);
  EXPECT_EQ(decoded[0][0], 8388592.0 / 8388607.0);
  EXPECT_EQ(decoded[1][0], -8388592.0 / 8388607.0);
}

TEST_F(SMPTE302MEncode, LongBlocksBecomeSeveralUnits) {
  std::vector<std::vector<double>> channels(2, std::vector<double>(12000, 0.25));
  CAudioFrame frame;
  CSMPTE302MDecode::EncodeFrame(channels, 12000, 1.0, &frame);
  ASSERT_EQ(frame.payloadLength, 4u + 10922u * 6 + 4u + 1078u * 6);
  CSMPTE302MDecode decoder;
  EXPECT_EQ(decoder.DecodeFrame(frame.data), 10922u);
  EXPECT_EQ(decoder.DecodeFrame(frame.data + 4 + 10922 * 6), 1078u);
  EXPECT_EQ(decoder.channelSamples[1][1077], static_cast<int32_t>(0.25 * 524287.0) * 16);
}

// FFmpeg's s302m encoder made these units and its decoder the reference
// samples (see tests/data/README.md): 16-bit samples as s16, 20- and 24-bit
// ones at the top of s32.
template <typename Reference>
void ExpectFFmpegDecoding(const std::string& stem, const char* referenceExtension, unsigned bits, unsigned channels,
                          unsigned samples) {
  const std::string path = std::string(CORVANE_TEST_DATA) + "/" + stem;
  const Bytes units = corvane::test::ReadWholeFile<Bytes>(path + ".302m");
  const Bytes referenceBytes = corvane::test::ReadWholeFile<Bytes>(path + referenceExtension);
  std::vector<Reference> reference(referenceBytes.size() / sizeof(Reference));
  std::memcpy(reference.data(), referenceBytes.data(), reference.size() * sizeof(Reference));
  ASSERT_EQ(reference.size(), channels * samples);

  CSMPTE302MDecode decoder;
  size_t offset = 0;
  size_t decoded = 0;
  while (offset < units.size()) {
    const unsigned count = decoder.DecodeFrame(units.data() + offset);
    ASSERT_EQ(decoder.bitsPerSample, bits);
    ASSERT_EQ(decoder.numberChannels, channels);
    for (unsigned i = 0; i < count; ++i, ++decoded) {
      for (unsigned c = 0; c < channels; ++c) {
        const int64_t ours = decoder.channelSamples[c][i];
        const int64_t theirs = reference[decoded * channels + c];
        ASSERT_EQ(sizeof(Reference) == 2 ? ours : ours * 256, sizeof(Reference) == 2 ? theirs * 256 : theirs)
            << stem << " channel " << c << " sample " << decoded;
      }
    }
    offset += 4 + decoder.audioPacketSize;
  }
  EXPECT_EQ(offset, units.size());
  EXPECT_EQ(decoded, samples);
}

TEST(SMPTE302MDecode, MatchesFFmpegOnItsOwnStreams) {
  ExpectFFmpegDecoding<int16_t>("s302m_ffmpeg_16bit_stereo", ".s16le", 16, 2, 960);
  ExpectFFmpegDecoding<int32_t>("s302m_ffmpeg_20bit_stereo", ".s32le", 20, 2, 240);
  ExpectFFmpegDecoding<int32_t>("s302m_ffmpeg_24bit_quad", ".s32le", 24, 4, 240);
}

}  // namespace
