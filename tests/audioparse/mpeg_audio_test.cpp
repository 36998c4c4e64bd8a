#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <tuple>
#include <vector>

#include "audioparse/audio_support.h"
#include "audioparse/bit_writer.h"
#include "audioparse/params_util.h"
#include "core/stream_exception.h"

namespace {

using corvane::test::BitWriter;
using corvane::test::MilliTicks;

// Layer codes, channel modes and sampling codes as the header carries them.
enum : uint32_t { kLayerIII = 1, kLayerII = 2, kLayerI = 3 };
enum : uint32_t { kStereo = 0, kMono = 3 };
enum : uint32_t { k44100 = 0, k48000 = 1, k32000 = 2 };

struct MPEGFields {
  uint32_t version = 3;
  uint32_t layer = kLayerII;
  uint32_t bitrateIndex = 8;  // 128 kbit/s in Layer II
  uint32_t samplingCode = k48000;
  uint32_t padding = 0;
  uint32_t mode = kStereo;
};

std::vector<uint8_t> MPEGHeader(const MPEGFields& f) {
  BitWriter w;
  // syncword, ID with the MPEG-2.5 extension, layer, protection_bit, bitrate_index, sampling_frequency
  w.Put(11, 0x7FF).Put(2, f.version).Put(2, f.layer).Put(1, 1).Put(4, f.bitrateIndex).Put(2, f.samplingCode);
  // padding_bit, private_bit, mode, mode_extension, copyright, original/copy, emphasis
  w.Put(1, f.padding).Put(1, 0).Put(2, f.mode).Put(2, 0).Put(4, 0);
  w.PadToSize(8);
  return w.Bytes();
}

int32_t Parse(CAudioStreamParameters& params, const MPEGFields& fields, bool ignorePadding = false) {
  return CAudioSupport::ParseMP2ADTSHeader(params, MPEGHeader(fields).data(), ignorePadding);
}

TEST(MPEGAudioTest, FirstHeaderWithPaddingThenTheShortWay) {
  CAudioStreamParameters params;
  MPEGFields fields{.samplingCode = k44100, .padding = 1};
  EXPECT_EQ(Parse(params, fields), 418);
  const CAudioStreamParameters& p = params;  // frameSize never holds the padding slot
  EXPECT_EQ(std::tie(p.frameSize, p.streamType, p.bitRate, p.samplingRate, p.mpegVersion, p.mpegLayer,
                     p.protectionBit, p.bitRateCode, p.channels, p.bitsPerSample),
            std::make_tuple(417u, AUDIO_STREAM_MPEG, 128000u, 44100u, 3, 2, 1, 8, 2, 16));
  std::vector<uint8_t> last(2);
  std::memcpy(last.data(), &params.lastHeaderBytes, 2);
  EXPECT_EQ(last, (std::vector<uint8_t>{0xFF, 0xFD}));

  EXPECT_EQ(Parse(params, fields), 418);
  // The short way answers from the record alone.
  params.frameSize = 500;
  EXPECT_EQ(Parse(params, fields), 501);
  EXPECT_EQ(Parse(params, fields, true), 500);
  fields.padding = 0;
  EXPECT_EQ(Parse(params, fields), 500);
}

TEST(MPEGAudioTest, FrameSizesAndDurations) {
  const struct {
    uint32_t layer, bitrateIndex, samplingCode, frameSize;
    uint64_t milliTicks;
  } kCases[] = {
      {kLayerII, 8, k48000, 384, 2160000},    // 128 kbit/s
      {kLayerII, 8, k44100, 417, 2351020},    // 128 kbit/s
      {kLayerII, 8, k32000, 576, 3240000},    // 128 kbit/s
      {kLayerI, 4, k48000, 128, 720000},      // 128 kbit/s
      {kLayerI, 14, k44100, 484, 783673},     // 448 kbit/s: 4 * 121
      {kLayerIII, 9, k44100, 417, 2351020},   // 128 kbit/s
      {kLayerIII, 14, k48000, 960, 2160000},  // 320 kbit/s
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(testing::Message() << "layer code " << c.layer << " index " << c.bitrateIndex);
    CAudioStreamParameters params;
    EXPECT_EQ(Parse(params, {.layer = c.layer, .bitrateIndex = c.bitrateIndex, .samplingCode = c.samplingCode}),
              static_cast<int32_t>(c.frameSize));
    EXPECT_EQ(MilliTicks(params), c.milliTicks);
  }
}

TEST(MPEGAudioTest, InvalidFieldsAndBitRatesNotAllowedInTheChannelMode) {
  CAudioStreamParameters params;
  EXPECT_EQ(Parse(params, {.bitrateIndex = 0}), -3);
  EXPECT_EQ(Parse(params, {.bitrateIndex = 15}), -3);
  EXPECT_EQ(Parse(params, {.layer = 0}), -3);
  EXPECT_EQ(Parse(params, {.samplingCode = 3}), -3);
  for (uint32_t index = 1; index < 15; ++index) {
    EXPECT_EQ(Parse(params, {.layer = kLayerIII, .bitrateIndex = index, .mode = kMono}), -3) << "index " << index;
  }
  EXPECT_EQ(params.streamType, AUDIO_STREAM_UNKNOWN);

  // Not in stereo: 32, 48, 56 and 80 kbit/s; not in mono: 224, 256, 320 and
  // 384 kbit/s, as bitrate_index per layer. Refused ones still store the bit rate.
  const struct {
    uint32_t layer, mode;
    std::vector<uint32_t> refused;
  } kCases[] = {
      {kLayerII, kStereo, {1, 2, 3, 5}},
      {kLayerII, kMono, {11, 12, 13, 14}},
      {kLayerI, kStereo, {1}},
      {kLayerI, kMono, {7, 8, 10, 12}},
      {kLayerIII, kStereo, {1, 3, 4, 6}},
  };
  for (const auto& c : kCases) {
    for (uint32_t index = 1; index < 15; ++index) {
      params = CAudioStreamParameters();
      const bool refused = std::find(c.refused.begin(), c.refused.end(), index) != c.refused.end();
      const int32_t result = Parse(params, {.layer = c.layer, .bitrateIndex = index, .mode = c.mode});
      EXPECT_EQ(result == -6, refused) << "layer code " << c.layer << " mode " << c.mode << " index " << index;
      EXPECT_EQ(params.bitRate, CAudioSupport::MPEG1AudioBitrates[c.layer - 1][index] * 1000);
      EXPECT_EQ(params.streamType, refused ? AUDIO_STREAM_UNKNOWN : AUDIO_STREAM_MPEG);
    }
  }
}

TEST(MPEGAudioTest, OtherVersionsAndStreamChanges) {
  const MPEGFields mpeg2{.version = 2};
  CAudioStreamParameters fresh;
  EXPECT_EQ(Parse(fresh, mpeg2), -4);

  CAudioStreamParameters known;
  ASSERT_EQ(Parse(known, {}), 384);
  EXPECT_EQ(Parse(known, mpeg2), -2);
  // With the last header's bytes and bit rate the short way answers, and it
  // does not look at the sampling code unless it is reserved.
  EXPECT_EQ(Parse(known, {.samplingCode = k32000}), 384);
  EXPECT_EQ(Parse(known, {.samplingCode = 3}), -1);
  EXPECT_EQ(Parse(known, {.bitrateIndex = 9, .samplingCode = k32000}), -2);
  EXPECT_EQ(Parse(known, {.bitrateIndex = 4, .mode = kMono}), -2);
  // A new bit rate in the same stream takes the long way and is accepted.
  EXPECT_EQ(Parse(known, {.bitrateIndex = 10}), 576);
  EXPECT_EQ(known.bitRateCode, 10);
}

TEST(MPEGAudioTest, MissingSyncwordThrowsCorruptFrameHeaderCode) {
  auto header = MPEGHeader(MPEGFields{});
  header[1] = 0xDF;
  CAudioStreamParameters params;
  try {
    CAudioSupport::ParseMP2ADTSHeader(params, header.data(), false);
    FAIL() << "no exception";
  } catch (const CStreamException& e) {
    EXPECT_EQ(e.code, 12);  // its text is checked with the other codes'
    EXPECT_EQ(e.detail[0], '\0');
  }
}

TEST(MPEGAudioTest, SamplingRateCodes) {
  const uint32_t mpeg[] = {44100, 48000, 32000, 0, 0};
  const uint32_t lpcm[] = {48000, 96000, 44100, 32000, 0};
  for (int32_t code = 0; code < 5; ++code) {
    EXPECT_EQ(CAudioSupport::GetMPEG1AudioSamplingRate(code), mpeg[code]);
    EXPECT_EQ(CAudioSupport::GetLPCMAudioSamplingRate(code), lpcm[code]);
    if (mpeg[code] != 0) {
      EXPECT_EQ(CAudioSupport::GetMPEG1SamplingIndexFromRate(mpeg[code]), code);
    }
    if (lpcm[code] != 0) {
      EXPECT_EQ(CAudioSupport::GetLPCMSamplingIndexFromRate(lpcm[code]), code);
    }
  }
  EXPECT_EQ(CAudioSupport::GetMPEG1AudioSamplingRate(-1), 0u);
  EXPECT_EQ(CAudioSupport::GetMPEG1SamplingIndexFromRate(22050), 4);
  EXPECT_EQ(CAudioSupport::GetMPEG1SamplingIndexFromRate(96000), 4);
  EXPECT_EQ(CAudioSupport::GetLPCMSamplingIndexFromRate(22050), 4);
}

}  // namespace
