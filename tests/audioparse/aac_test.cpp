#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "audioparse/audio_support.h"
#include "audioparse/bit_writer.h"
#include "audioparse/params_util.h"

namespace {

using corvane::test::BitWriter;
using corvane::test::MilliTicks;
using Config = CAudioSupport::CAAC_Config;
using LATMReader = CAudioSupport::CAAC_LATMReader;

using Values = std::vector<int64_t>;

int64_t BitsRead(const CBitReader& reader) { return int64_t{reader.byteIndex} * 8 + reader.bitIndex; }

// A reader over the bits with slack behind them, so that an over-reading
// parser shows as a negative Unread() rather than a fault.
struct Input {
  explicit Input(const BitWriter& w) : bytes(w.Bytes()), reader(nullptr), bits(w.BitCount()) {
    bytes.resize(bytes.size() + 64, 0);
    reader = CBitReader(bytes.data());
  }
  int64_t Unread() const { return bits - BitsRead(reader); }
  std::vector<uint8_t> bytes;
  CBitReader reader;
  int64_t bits;
};

// ---- ADTS ----

TEST(ADTSTest, ReadsEveryFieldAndTheCrcOnlyWhenPresent) {
  for (uint32_t protectionAbsent = 0; protectionAbsent < 2; ++protectionAbsent) {
    BitWriter w;
    w.Put(12, 0xFFF).Put(1, 1).Put(2, 0).Put(1, protectionAbsent);  // syncword, ID, layer, protection_absent
    w.Put(2, 1).Put(4, 3).Put(1, 1).Put(3, 6);  // profile, sampling_frequency_index, private_bit, channel_config
    w.Put(1, 0).Put(1, 1).Put(1, 0).Put(1, 1);  // original_copy, home, copyright_identification_bit/_start
    w.Put(13, 1234).Put(11, 0x7FF).Put(2, 2);   // aac_frame_length, adts_buffer_fullness, raw data blocks
    if (protectionAbsent == 0) w.Put(16, 0xBEEF);  // crc_check
    Input in(w);
    CAudioSupport::CADTS_Header h;
    h.crc_check = 77;
    ASSERT_EQ(CAudioSupport::CheckForADTSAACAudioHeader(&in.reader, &h), S_OK);
    EXPECT_EQ(in.Unread(), 0);
    const Values read = {h.ID, h.layer, h.protection_absent, h.profile, h.sampling_frequency_index, h.private_bit,
                         h.channel_configuration, h.original_copy, h.home, h.copyright_identification_bit,
                         h.copyright_identification_start, h.aac_frame_length, h.adts_buffer_fullness,
                         h.number_of_raw_data_blocks_in_frame, h.crc_check};
    const int64_t crc = protectionAbsent ? 77 : 0xBEEF;
    EXPECT_EQ(read, (Values{1, 0, protectionAbsent, 1, 3, 1, 6, 0, 1, 0, 1, 1234, 0x7FF, 2, crc}));
  }
}

TEST(ADTSTest, WrongSyncOrLayerFails) {
  const uint8_t noSync[9] = {0xFF, 0xE1, 0x50, 0x80, 0x2E, 0x7F, 0xFC, 0, 0};
  CBitReader reader(noSync);
  CAudioSupport::CADTS_Header header;
  EXPECT_EQ(CAudioSupport::CheckForADTSAACAudioHeader(&reader, &header), E_FAIL);
  EXPECT_EQ(header.ID, -1);

  const uint8_t layer1[9] = {0xFF, 0xF3, 0x50, 0x80, 0x2E, 0x7F, 0xFC, 0, 0};
  CBitReader layerReader(layer1);
  EXPECT_EQ(CAudioSupport::CheckForADTSAACAudioHeader(&layerReader, &header), E_FAIL);
  EXPECT_EQ(header.ID, 0);
  EXPECT_EQ(header.layer, 1);
}

// ---- LOAS sync search ----

// A LOAS frame: the sync, audioMuxLengthBytes, then that many payload bytes
// (none of them 0x56).
void PutLOASFrame(std::vector<uint8_t>& out, uint32_t payloadBytes) {
  BitWriter w;
  w.Put(11, 0x2B7).Put(13, payloadBytes);  // syncword, audioMuxLengthBytes
  for (uint32_t i = 0; i < payloadBytes; ++i) w.Put(8, 0x20 + i % 0x30);
  out.insert(out.end(), w.Bytes().begin(), w.Bytes().end());
}

int32_t FindLOAS(const std::vector<uint8_t>& data, size_t length, int32_t& frameLength) {
  return CAudioSupport::FindAACLOASHeader(data.data(), static_cast<int32_t>(length), frameLength);
}

TEST(LOASTest, EdgesOfTheBufferAndFalseSyncs) {
  std::vector<uint8_t> nineteen;
  PutLOASFrame(nineteen, 16);
  int32_t frameLength = -5;
  EXPECT_EQ(FindLOAS(nineteen, 19, frameLength), -1);
  EXPECT_EQ(frameLength, -5) << "below 20 bytes nothing is looked at";
  std::vector<uint8_t> twenty;
  PutLOASFrame(twenty, 17);
  EXPECT_EQ(FindLOAS(twenty, 20, frameLength), 0) << "a frame ending at the buffer end";
  EXPECT_EQ(frameLength, 17);

  std::vector<uint8_t> two(7, 0x11);
  PutLOASFrame(two, 30);  // frame at 7, ends at 40
  PutLOASFrame(two, 30);  // the next one at 40
  EXPECT_EQ(FindLOAS(two, 42, frameLength), 7) << "the next sync wholly there";
  EXPECT_EQ(FindLOAS(two, 41, frameLength), 7) << "only its first byte there: taken unseen";
  EXPECT_EQ(FindLOAS(two, 39, frameLength), -1) << "the frame runs past the end";
  EXPECT_EQ(frameLength, 30);

  std::vector<uint8_t> falseSync(25, 0x42);
  falseSync[2] = 0x56;  // a sync claiming a payload of 10 bytes, with no sync behind it
  falseSync[3] = 0xE0;
  falseSync[4] = 0x0A;
  PutLOASFrame(falseSync, 40);
  PutLOASFrame(falseSync, 40);
  EXPECT_EQ(FindLOAS(falseSync, falseSync.size(), frameLength), 25);
  EXPECT_EQ(frameLength, 40);
}

TEST(LOASTest, FindsTheFirstFrameBehindRandomGarbage) {
  std::mt19937 random(77);
  for (int round = 0; round < 200; ++round) {
    std::vector<uint8_t> data;
    const size_t garbage = random() % 50;
    for (size_t i = 0; i < garbage; ++i) {
      const auto byte = static_cast<uint8_t>(random());
      data.push_back(byte == 0x56 ? 0x57 : byte);
    }
    const int frames = 1 + static_cast<int>(random() % 4);
    for (int i = 0; i < frames; ++i) PutLOASFrame(data, 17 + random() % 300);
    int32_t frameLength = 0;
    EXPECT_EQ(FindLOAS(data, data.size(), frameLength), static_cast<int32_t>(garbage));
  }
}

// ---- AudioSpecificConfig ----

// frameLengthFlag, dependsOnCoreCoder, extensionFlag
void PutGASpecificConfig(BitWriter& w) { w.Put(3, 0); }

BitWriter AudioSpecificConfig(uint32_t objectType, uint32_t frequencyIndex, uint32_t channelConfiguration) {
  BitWriter w;
  w.Put(5, objectType).Put(4, frequencyIndex).Put(4, channelConfiguration);
  PutGASpecificConfig(w);
  return w;
}

// Reads an AudioSpecificConfig: object type, frequency index, frequency,
// channels, SBR flag, the bits Read() reports and the bits it consumed.
Values ReadConfig(const BitWriter& w) {
  Input in(w);
  Config c;
  const uint32_t bits = c.Read(in.reader);
  return {c.audioObjectType, c.samplingFrequencyIndex, c.samplingFrequency, c.channelConfiguration,
          c.sbrPresentFlag, bits, in.bits - in.Unread()};
}

TEST(AudioSpecificConfigTest, RatesOfTheIndexAndImplicitSBR) {
  const struct {
    uint32_t index, channels, rate;
    int32_t sbr;
  } kCases[] = {
      {3, 2, 48000, -1},
      {7, 2, 44100, 1},   // 22050 Hz stereo
      {7, 1, 22050, -1},  // 22050 Hz mono
      {6, 2, 48000, 1},   // 24000 Hz is still low
      {12, 1, 0, -1},     // index 12 has no rate here
  };
  for (const auto& c : kCases) {
    EXPECT_EQ(ReadConfig(AudioSpecificConfig(2, c.index, c.channels)),
              (Values{2, c.index, c.rate, c.channels, c.sbr, 16, 16}));
  }
}

TEST(AudioSpecificConfigTest, EscapedObjectTypeExplicitFrequencyAndExplicitSBR) {
  BitWriter escaped;
  escaped.Put(5, 31).Put(6, 10).Put(4, 4).Put(4, 1);  // escape, audioObjectTypeExt, frequency index, channels
  EXPECT_EQ(ReadConfig(escaped), (Values{42, 4, 44100, 1, -1, 19, 19})) << "no GASpecificConfig for object type 42";

  BitWriter explicitRate;
  explicitRate.Put(5, 2).Put(4, 15).Put(24, 37800).Put(4, 2);  // type, index: explicit, samplingFrequency, channels
  PutGASpecificConfig(explicitRate);
  EXPECT_EQ(ReadConfig(explicitRate), (Values{2, 15, 37800, 2, -1, 40, 40}));

  BitWriter sbr;
  sbr.Put(5, 5).Put(4, 6).Put(4, 2).Put(4, 3);  // type: SBR, 24000 Hz, channels, extension index: 48000 Hz
  EXPECT_EQ(ReadConfig(sbr), (Values{5, 6, 48000, 2, 1, 17, 17}));
}

// 2 front elements (one single, one pair), a side pair, a back single, one
// LFE: 7 channels. The ASC starts 3 bits into the buffer, so byte_alignment
// must count from the ASC's start, not from the buffer's.
TEST(AudioSpecificConfigTest, ProgramConfigElement) {
  BitWriter asc;
  asc.Put(5, 2).Put(4, 4).Put(4, 0);            // audioObjectType, 44100 Hz, channels from the PCE
  asc.Put(1, 0).Put(1, 1).Put(14, 0x3FFF).Put(1, 0);  // frameLengthFlag, dependsOnCoreCoder, delay, extension
  asc.Put(4, 9).Put(2, 1).Put(4, 3);            // element_instance_tag, object_type, sampling_frequency_index
  asc.Put(4, 2).Put(4, 1).Put(4, 1).Put(2, 1);  // num_front, num_side, num_back, num_lfe channel elements
  asc.Put(3, 1).Put(4, 1);                      // num_assoc_data_elements, num_valid_cc_elements
  asc.Put(1, 1).Put(4, 5).Put(1, 0);            // mono_mixdown_present, its element, stereo_mixdown_present
  asc.Put(1, 1).Put(2, 3).Put(1, 1);            // matrix_mixdown_idx_present, idx, pseudo_surround_enable
  asc.Put(1, 0).Put(4, 1).Put(1, 1).Put(4, 2);  // front elements: is_cpe, tag_select
  asc.Put(1, 1).Put(4, 3).Put(1, 0).Put(4, 4);  // side element, back element
  asc.Put(4, 5).Put(4, 6).Put(1, 1).Put(4, 7);  // lfe tag, assoc data tag, cc_element_is_ind_sw, cc tag
  asc.AlignToByte();                            // byte_alignment
  asc.Put(8, 3).Put(24, 0xFFFFFF);              // comment_field_bytes, comment_field_data

  BitWriter buffer;
  buffer.Put(3, 0b101).Append(asc);
  buffer.Put(8, 0xC3);  // what follows the ASC
  Input in(buffer);
  in.reader.bitIndex = 3;
  Config c;
  EXPECT_EQ(c.Read(in.reader), asc.BitCount());
  EXPECT_EQ(in.reader.ReadBits(8), 0xC3u);
  // The PCE's raw object_type and index are kept; its index does not change the rate.
  EXPECT_EQ((Values{c.channelConfiguration, c.audioObjectType, c.samplingFrequencyIndex, c.samplingFrequency}),
            (Values{7, 1, 3, 44100}));
}

TEST(AudioSpecificConfigTest, GASpecificConfigExtensions) {
  const struct {
    int32_t objectType;
    uint32_t bits;  // frameLengthFlag, dependsOnCoreCoder, extensionFlag = 1, then these
  } kCases[] = {
      {2, 3 + 1},            // extensionFlag3
      {6, 3 + 3 + 1},        // layerNr, extensionFlag3
      {17, 3 + 3 + 1},       // three resilience flags, extensionFlag3
      {20, 3 + 3 + 3 + 1},   // layerNr, resilience flags, extensionFlag3
      {22, 3 + 5 + 11 + 1},  // numOfSubFrame, layer_length, extensionFlag3
  };
  BitWriter w;
  w.Put(3, 1).Put(32, 0);  // frameLengthFlag, dependsOnCoreCoder, extensionFlag; then zeros
  for (const auto& c : kCases) {
    Input in(w);
    Config config;
    config.audioObjectType = c.objectType;
    config.channelConfiguration = 2;
    EXPECT_EQ(config.GASpecificConfig(in.reader), c.bits) << "object type " << c.objectType;
  }
}

// ---- LATM ----

// LatmGetValue() in as few bytes as the value needs: bytesForValue, valueTmp.
void PutLatmValue(BitWriter& w, uint32_t value) {
  uint32_t bytes = 1;
  while (bytes < 4 && (value >> (8 * bytes)) != 0) ++bytes;
  w.Put(2, bytes - 1).Put(8 * bytes, value);
}

// StreamMuxConfig of version 0 up to numLayer of program 0.
BitWriter Version0Start(bool sameTimeFraming, uint32_t numProgram, uint32_t numLayer) {
  BitWriter w;
  // audioMuxVersion, allStreamsSameTimeFraming, numSubFrames, numProgram, numLayer
  w.Put(1, 0).Put(1, sameTimeFraming).Put(6, 0).Put(4, numProgram).Put(3, numLayer);
  return w;
}

// An AudioMuxElement of version 0: one program, one layer, AAC LC 48 kHz
// stereo, frameLengthType 0, then the payload length 255 + 255 + 10.
BitWriter SimpleMuxElement() {
  BitWriter w;
  w.Put(1, 0).Append(Version0Start(true, 0, 0)).Append(AudioSpecificConfig(2, 3, 2));  // useSameStreamMux first
  w.Put(3, 0).Put(8, 0xFF);    // frameLengthType, latmBufferFullness
  w.Put(1, 0).Put(1, 0);       // otherDataPresent, crcCheckPresent
  w.Put(8, 255).Put(8, 255).Put(8, 10);  // PayloadLengthInfo
  return w;
}

TEST(LATMTest, SimpleElementVersion0) {
  const BitWriter w = SimpleMuxElement();
  Input in(w);
  LATMReader latm;
  EXPECT_FALSE(latm.configured);
  ASSERT_TRUE(latm.AudioMuxElement(in.reader, 1, 100));
  EXPECT_EQ(in.Unread(), 0);
  EXPECT_EQ((Values{latm.configured, latm.streamCnt, latm.configs[0].samplingFrequency,
                    latm.configs[0].channelConfiguration, latm.frameLengthType[0], latm.latmBufferFullness[0],
                    latm.MuxSlotLengthBytes[0], latm.otherDataPresent}),
            (Values{1, 1, 48000, 2, 0, 0xFF, 520, 0}));
}

TEST(LATMTest, ElementsThatGiveNothingNew) {
  Input outOfBand(SimpleMuxElement());
  LATMReader latm;
  EXPECT_FALSE(latm.AudioMuxElement(outOfBand.reader, 0, 100));
  EXPECT_FALSE(latm.configured);

  const uint8_t sameMux[4] = {0x80, 0, 0, 0};
  CBitReader repeat(sameMux);
  EXPECT_FALSE(latm.AudioMuxElement(repeat, 1, 100));
  EXPECT_TRUE(latm.useSameStreamMux);
  EXPECT_FALSE(latm.configured);

  // Version 1 with audioMuxVersionA 1: configured, the rest is left unread.
  const uint8_t versionA[4] = {0x60, 0, 0, 0};
  CBitReader future(versionA);
  EXPECT_FALSE(latm.AudioMuxElement(future, 1, 100));
  EXPECT_TRUE(latm.configured);
  EXPECT_EQ(BitsRead(future), 3);
}

TEST(LATMTest, Version1SkipsFillBitsToTheExactPosition) {
  BitWriter asc = AudioSpecificConfig(2, 4, 1);
  const uint32_t ascLen = static_cast<uint32_t>(asc.BitCount()) + 13;
  asc.Put(13, 0x1FFF);  // fillBits
  BitWriter w;
  w.Put(1, 1).Put(1, 0);  // audioMuxVersion, audioMuxVersionA
  PutLatmValue(w, 0x1234);  // taraBufferFullness
  w.Put(1, 0).Put(6, 0).Put(4, 0).Put(3, 0);  // allStreamsSameTimeFraming, numSubFrames, numProgram, numLayer
  PutLatmValue(w, ascLen);
  w.Append(asc).Put(3, 1).Put(9, 300).Put(1, 1);  // frameLengthType, frameLength, otherDataPresent
  PutLatmValue(w, 77);                            // otherDataLenBits
  w.Put(1, 1).Put(8, 0xA5);                       // crcCheckPresent, crcCheckSum
  Input in(w);
  LATMReader latm;
  ASSERT_TRUE(latm.StreamMuxConfig(in.reader, 5 * ascLen + 5));
  EXPECT_EQ(in.Unread(), 0);
  EXPECT_EQ((Values{latm.audioMuxVersion, latm.taraBufferFullness, latm.configs[0].samplingFrequency,
                    latm.frameLengthType[0], latm.frameLength[0], latm.otherDataLenBits, latm.crcCheckSum}),
            (Values{1, 0x1234, 44100, 1, 300, 77, 0xA5}));

  LATMReader tooShort;
  CBitReader again(in.bytes.data());
  EXPECT_FALSE(tooShort.StreamMuxConfig(again, 5 * ascLen)) << "ascLen must lie below length / 5";
}

TEST(LATMTest, Version0OtherDataLengthIsEscaped) {
  BitWriter w = Version0Start(true, 0, 0);
  w.Append(AudioSpecificConfig(2, 3, 2)).Put(3, 2).Put(1, 1);  // frameLengthType: nothing follows; otherDataPresent
  w.Put(1, 1).Put(8, 1).Put(1, 0).Put(8, 2);  // otherDataLenEsc, otherDataLenTmp, twice
  w.Put(1, 0);                                // crcCheckPresent
  Input in(w);
  LATMReader latm;
  ASSERT_TRUE(latm.StreamMuxConfig(in.reader, 100));
  EXPECT_EQ(in.Unread(), 0);
  EXPECT_EQ(latm.otherDataPresent, 0x0102);
  EXPECT_EQ(latm.otherDataLenBits, 0);
}

// Program 0 with two layers (the second reusing the first's configuration),
// program 1 with one; chunked payload lengths.
TEST(LATMTest, ProgramsLayersAndChunks) {
  BitWriter w;
  w.Put(1, 0).Append(Version0Start(false, 1, 1));  // useSameStreamMux, then 2 programs, 2 layers in program 0
  w.Append(AudioSpecificConfig(2, 3, 2)).Put(3, 0).Put(8, 7);  // frameLengthType, latmBufferFullness: stream 0
  w.Put(1, 1).Put(3, 1).Put(9, 222);  // layer 1: useSameConfig, frameLengthType, frameLength
  w.Put(3, 0).Put(1, 0);              // program 1: numLayer, useSameConfig
  w.Append(AudioSpecificConfig(2, 4, 1)).Put(3, 0).Put(8, 9);  // stream 2
  w.Put(1, 0).Put(1, 0).Put(4, 1);    // otherDataPresent, crcCheckPresent, numChunk
  w.Put(4, 2).Put(8, 20).Put(1, 1);   // streamIndx, tmp, AuEndFlag
  w.Put(4, 0).Put(8, 255).Put(8, 3).Put(1, 0);
  Input in(w);
  LATMReader latm;
  ASSERT_TRUE(latm.AudioMuxElement(in.reader, 1, 100));
  EXPECT_EQ(in.Unread(), 0);
  EXPECT_EQ((Values{latm.streamCnt, latm.streamID[0][1], latm.streamID[1][0], latm.progSIndx[2], latm.laySIndx[1]}),
            (Values{3, 1, 2, 1, 1}));
  // Layer 0 of program 1 overwrote program 0's configuration; layer 1 kept the copy.
  EXPECT_EQ((Values{latm.configs[0].samplingFrequency, latm.configs[1].samplingFrequency, latm.frameLength[1]}),
            (Values{44100, 48000, 222}));
  // The chunks: stream 2 first, then stream 0.
  EXPECT_EQ((Values{latm.progCIndx[0], latm.layCIndx[0], latm.MuxSlotLengthBytes[2], latm.AuEndFlag[2],
                    latm.MuxSlotLengthBytes[0], latm.AuEndFlag[0]}),
            (Values{1, 0, 20, 1, 258, 0}));
}

TEST(LATMTest, MoreThanSixteenStreamsAreRefused) {
  BitWriter w = Version0Start(true, 15, 7);
  for (int prog = 0; prog < 16; ++prog) {
    if (prog > 0) w.Put(3, 7);  // numLayer
    for (int lay = 0; lay < 8; ++lay) {
      if (prog == 0 && lay == 0) {
        w.Append(AudioSpecificConfig(2, 3, 2));
      } else {
        w.Put(1, 1);  // useSameConfig
      }
      w.Put(3, 2);  // frameLengthType
    }
  }
  Input in(w);
  LATMReader latm;
  EXPECT_FALSE(latm.StreamMuxConfig(in.reader, 100));
  EXPECT_EQ(latm.streamCnt, 16);
}

TEST(AACDurationTest, OneOrTwoThousandSamples) {
  CAudioStreamParameters params;
  params.samplingRate = 48000;
  CAudioSupport::ComputeAACAudioFrameDurationTicks(params);
  EXPECT_EQ(MilliTicks(params), 1920000u);
  params.samplingRate = 44100;
  CAudioSupport::ComputeAACAudioFrameDurationTicks(params);
  EXPECT_EQ(MilliTicks(params), 2089795u);
  params.aacDoubleRate = 1;
  CAudioSupport::ComputeAACAudioFrameDurationTicks(params);
  EXPECT_EQ(MilliTicks(params), 4179591u);
}

}  // namespace
