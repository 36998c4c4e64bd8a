#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "audioparse/audio_support.h"
#include "audioparse/bit_writer.h"

namespace {

using corvane::test::BitWriter;
using Config = CAudioSupport::CAAC_Config;
using LATMReader = CAudioSupport::CAAC_LATMReader;

int64_t BitsRead(const CBitReader& reader) { return int64_t{reader.byteIndex} * 8 + reader.bitIndex; }

// A buffer with slack behind the bits, so that an over-reading parser shows
// as a wrong position rather than a fault.
std::vector<uint8_t> Padded(const BitWriter& w) {
  std::vector<uint8_t> bytes = w.Bytes();
  bytes.resize(bytes.size() + 64, 0);
  return bytes;
}

// ---- ADTS ----

TEST(ADTSTest, ReadsEveryFieldAndTheCrcOnlyWhenPresent) {
  for (uint32_t protectionAbsent = 0; protectionAbsent < 2; ++protectionAbsent) {
    BitWriter w;
    w.Put(12, 0xFFF);             // syncword
    w.Put(1, 1);                  // ID
    w.Put(2, 0);                  // layer
    w.Put(1, protectionAbsent);   // protection_absent
    w.Put(2, 1);                  // profile
    w.Put(4, 3);                  // sampling_frequency_index
    w.Put(1, 1);                  // private_bit
    w.Put(3, 6);                  // channel_configuration
    w.Put(1, 0);                  // original_copy
    w.Put(1, 1);                  // home
    w.Put(1, 0);                  // copyright_identification_bit
    w.Put(1, 1);                  // copyright_identification_start
    w.Put(13, 1234);              // aac_frame_length
    w.Put(11, 0x7FF);             // adts_buffer_fullness
    w.Put(2, 2);                  // number_of_raw_data_blocks_in_frame
    if (protectionAbsent == 0) w.Put(16, 0xBEEF);  // crc_check
    const auto bytes = Padded(w);
    CBitReader reader(bytes.data());
    CAudioSupport::CADTS_Header header;
    header.crc_check = 77;
    ASSERT_EQ(CAudioSupport::CheckForADTSAACAudioHeader(&reader, &header), S_OK);
    EXPECT_EQ(BitsRead(reader), static_cast<int64_t>(w.BitCount()));
    EXPECT_EQ(header.ID, 1);
    EXPECT_EQ(header.layer, 0);
    EXPECT_EQ(header.protection_absent, static_cast<int32_t>(protectionAbsent));
    EXPECT_EQ(header.profile, 1);
    EXPECT_EQ(header.sampling_frequency_index, 3);
    EXPECT_EQ(header.private_bit, 1);
    EXPECT_EQ(header.channel_configuration, 6);
    EXPECT_EQ(header.original_copy, 0);
    EXPECT_EQ(header.home, 1);
    EXPECT_EQ(header.copyright_identification_bit, 0);
    EXPECT_EQ(header.copyright_identification_start, 1);
    EXPECT_EQ(header.aac_frame_length, 1234);
    EXPECT_EQ(header.adts_buffer_fullness, 0x7FF);
    EXPECT_EQ(header.number_of_raw_data_blocks_in_frame, 2);
    EXPECT_EQ(header.crc_check, protectionAbsent ? 77 : 0xBEEF);
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
  w.Put(11, 0x2B7);         // syncword
  w.Put(13, payloadBytes);  // audioMuxLengthBytes
  for (uint32_t i = 0; i < payloadBytes; ++i) w.Put(8, 0x20 + i % 0x30);
  out.insert(out.end(), w.Bytes().begin(), w.Bytes().end());
}

TEST(LOASTest, ShortBuffersAndAFrameEndingAtTheBufferEnd) {
  std::vector<uint8_t> nineteen;
  PutLOASFrame(nineteen, 16);
  int32_t frameLength = -5;
  EXPECT_EQ(CAudioSupport::FindAACLOASHeader(nineteen.data(), 19, frameLength), -1);
  EXPECT_EQ(frameLength, -5) << "below 20 bytes nothing is looked at";

  std::vector<uint8_t> twenty;
  PutLOASFrame(twenty, 17);
  EXPECT_EQ(CAudioSupport::FindAACLOASHeader(twenty.data(), 20, frameLength), 0);
  EXPECT_EQ(frameLength, 17);
}

TEST(LOASTest, TheNextSyncAtTheBufferEnd) {
  std::vector<uint8_t> data(7, 0x11);
  PutLOASFrame(data, 30);  // frame at 7, ends at 40
  PutLOASFrame(data, 30);  // the next one at 40
  int32_t frameLength = 0;
  // The next sync is wholly there: confirmed.
  EXPECT_EQ(CAudioSupport::FindAACLOASHeader(data.data(), 42, frameLength), 7);
  // Only its first byte is there: taken without seeing it.
  EXPECT_EQ(CAudioSupport::FindAACLOASHeader(data.data(), 41, frameLength), 7);
  // The frame itself runs past the end: the search ends.
  EXPECT_EQ(CAudioSupport::FindAACLOASHeader(data.data(), 39, frameLength), -1);
  EXPECT_EQ(frameLength, 30);
}

TEST(LOASTest, AFalseSyncWithoutASecondOneIsPassedOver) {
  std::vector<uint8_t> data(25, 0x42);
  data[2] = 0x56;  // a sync claiming a payload of 10 bytes, with no sync behind it
  data[3] = 0xE0;
  data[4] = 0x0A;
  const int32_t real = static_cast<int32_t>(data.size());
  PutLOASFrame(data, 40);
  PutLOASFrame(data, 40);
  int32_t frameLength = 0;
  EXPECT_EQ(CAudioSupport::FindAACLOASHeader(data.data(), static_cast<int32_t>(data.size()), frameLength), real);
  EXPECT_EQ(frameLength, 40);
}

TEST(LOASTest, FindsTheFirstFrameBehindRandomGarbage) {
  std::mt19937 random(77);
  for (int round = 0; round < 200; ++round) {
    std::vector<uint8_t> data;
    const size_t garbage = random() % 50;
    for (size_t i = 0; i < garbage; ++i) {
      uint8_t byte = static_cast<uint8_t>(random());
      data.push_back(byte == 0x56 ? 0x57 : byte);
    }
    const int frames = 1 + static_cast<int>(random() % 4);
    for (int i = 0; i < frames; ++i) PutLOASFrame(data, 17 + random() % 300);
    int32_t frameLength = 0;
    EXPECT_EQ(CAudioSupport::FindAACLOASHeader(data.data(), static_cast<int32_t>(data.size()), frameLength),
              static_cast<int32_t>(garbage));
  }
}

// ---- AudioSpecificConfig ----

void PutGASpecificConfig(BitWriter& w) {
  w.Put(1, 0);  // frameLengthFlag
  w.Put(1, 0);  // dependsOnCoreCoder
  w.Put(1, 0);  // extensionFlag
}

BitWriter AudioSpecificConfig(uint32_t objectType, uint32_t frequencyIndex, uint32_t channelConfiguration) {
  BitWriter w;
  w.Put(5, objectType);             // audioObjectType
  w.Put(4, frequencyIndex);         // samplingFrequencyIndex
  w.Put(4, channelConfiguration);   // channelConfiguration
  PutGASpecificConfig(w);
  return w;
}

struct ReadResult {
  Config config;
  uint32_t bits;
  int64_t position;
};

ReadResult ReadConfig(const BitWriter& w) {
  const auto bytes = Padded(w);
  CBitReader reader(bytes.data());
  ReadResult result;
  result.bits = result.config.Read(reader);
  result.position = BitsRead(reader);
  return result;
}

TEST(AudioSpecificConfigTest, PlainLowComplexity) {
  const ReadResult r = ReadConfig(AudioSpecificConfig(2, 3, 2));
  EXPECT_EQ(r.config.audioObjectType, 2);
  EXPECT_EQ(r.config.samplingFrequencyIndex, 3);
  EXPECT_EQ(r.config.samplingFrequency, 48000);
  EXPECT_EQ(r.config.channelConfiguration, 2);
  EXPECT_EQ(r.config.sbrPresentFlag, -1);
  EXPECT_EQ(r.bits, 16u);
  EXPECT_EQ(r.position, 16);
}

TEST(AudioSpecificConfigTest, EscapedObjectTypeAndExplicitFrequency) {
  BitWriter escaped;
  escaped.Put(5, 31);  // audioObjectType: escape
  escaped.Put(6, 10);  // audioObjectTypeExt
  escaped.Put(4, 4);   // samplingFrequencyIndex
  escaped.Put(4, 1);   // channelConfiguration
  ReadResult r = ReadConfig(escaped);
  EXPECT_EQ(r.config.audioObjectType, 42);
  EXPECT_EQ(r.config.samplingFrequency, 44100);
  EXPECT_EQ(r.bits, 19u) << "no GASpecificConfig for object type 42";

  BitWriter explicitRate;
  explicitRate.Put(5, 2);       // audioObjectType
  explicitRate.Put(4, 15);      // samplingFrequencyIndex: explicit
  explicitRate.Put(24, 37800);  // samplingFrequency
  explicitRate.Put(4, 2);       // channelConfiguration
  PutGASpecificConfig(explicitRate);
  r = ReadConfig(explicitRate);
  EXPECT_EQ(r.config.samplingFrequencyIndex, 15);
  EXPECT_EQ(r.config.samplingFrequency, 37800);
  EXPECT_EQ(r.config.sbrPresentFlag, -1);
  EXPECT_EQ(r.bits, 40u);
}

TEST(AudioSpecificConfigTest, ExplicitAndImplicitSBR) {
  BitWriter sbr;
  sbr.Put(5, 5);  // audioObjectType: SBR
  sbr.Put(4, 6);  // samplingFrequencyIndex: 24000
  sbr.Put(4, 2);  // channelConfiguration
  sbr.Put(4, 3);  // extensionSamplingFrequencyIndex: 48000
  ReadResult r = ReadConfig(sbr);
  EXPECT_EQ(r.config.audioObjectType, 5);
  EXPECT_EQ(r.config.samplingFrequency, 48000);
  EXPECT_EQ(r.config.sbrPresentFlag, 1);
  EXPECT_EQ(r.bits, 17u);

  r = ReadConfig(AudioSpecificConfig(2, 7, 2));  // 22050 Hz stereo
  EXPECT_EQ(r.config.samplingFrequency, 44100);
  EXPECT_EQ(r.config.sbrPresentFlag, 1);
  r = ReadConfig(AudioSpecificConfig(2, 7, 1));  // 22050 Hz mono
  EXPECT_EQ(r.config.samplingFrequency, 22050);
  EXPECT_EQ(r.config.sbrPresentFlag, -1);
  r = ReadConfig(AudioSpecificConfig(2, 6, 2));  // 24000 Hz is still low
  EXPECT_EQ(r.config.samplingFrequency, 48000);
  r = ReadConfig(AudioSpecificConfig(2, 12, 1));
  EXPECT_EQ(r.config.samplingFrequency, 0) << "index 12 has no rate here";
}

// 2 front elements (one single, one pair), a side pair, a back single, one
// LFE: 7 channels. The ASC starts 3 bits into the buffer, so byte_alignment
// must count from the ASC's start, not from the buffer's.
TEST(AudioSpecificConfigTest, ProgramConfigElement) {
  BitWriter asc;
  asc.Put(5, 2);    // audioObjectType
  asc.Put(4, 4);    // samplingFrequencyIndex: 44100
  asc.Put(4, 0);    // channelConfiguration: from the PCE
  asc.Put(1, 0);    // frameLengthFlag
  asc.Put(1, 1);    // dependsOnCoreCoder
  asc.Put(14, 0x3FFF);  // coreCoderDelay
  asc.Put(1, 0);    // extensionFlag
  asc.Put(4, 9);    // element_instance_tag
  asc.Put(2, 1);    // object_type
  asc.Put(4, 3);    // sampling_frequency_index
  asc.Put(4, 2);    // num_front_channel_elements
  asc.Put(4, 1);    // num_side_channel_elements
  asc.Put(4, 1);    // num_back_channel_elements
  asc.Put(2, 1);    // num_lfe_channel_elements
  asc.Put(3, 1);    // num_assoc_data_elements
  asc.Put(4, 1);    // num_valid_cc_elements
  asc.Put(1, 1);    // mono_mixdown_present
  asc.Put(4, 5);    // mono_mixdown_element_number
  asc.Put(1, 0);    // stereo_mixdown_present
  asc.Put(1, 1);    // matrix_mixdown_idx_present
  asc.Put(2, 3);    // matrix_mixdown_idx
  asc.Put(1, 1);    // pseudo_surround_enable
  asc.Put(1, 0);    // front_element_is_cpe
  asc.Put(4, 1);    // front_element_tag_select
  asc.Put(1, 1);    // front_element_is_cpe
  asc.Put(4, 2);    // front_element_tag_select
  asc.Put(1, 1);    // side_element_is_cpe
  asc.Put(4, 3);    // side_element_tag_select
  asc.Put(1, 0);    // back_element_is_cpe
  asc.Put(4, 4);    // back_element_tag_select
  asc.Put(4, 5);    // lfe_element_tag_select
  asc.Put(4, 6);    // assoc_data_element_tag_select
  asc.Put(1, 1);    // cc_element_is_ind_sw
  asc.Put(4, 7);    // valid_cc_element_tag_select
  asc.AlignToByte();  // byte_alignment
  asc.Put(8, 3);    // comment_field_bytes
  asc.Put(24, 0xFFFFFF);  // comment_field_data

  BitWriter buffer;
  buffer.Put(3, 0b101);
  buffer.Append(asc);
  buffer.Put(8, 0xC3);  // what follows the ASC
  const auto bytes = Padded(buffer);
  CBitReader reader(bytes.data());
  reader.bitIndex = 3;
  Config config;
  EXPECT_EQ(config.Read(reader), asc.BitCount());
  EXPECT_EQ(reader.ReadBits(8), 0xC3u);
  EXPECT_EQ(config.channelConfiguration, 7);
  EXPECT_EQ(config.audioObjectType, 1) << "the PCE's raw object_type";
  EXPECT_EQ(config.samplingFrequencyIndex, 3);
  EXPECT_EQ(config.samplingFrequency, 44100) << "the PCE's index does not change the rate";
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
  for (const auto& c : kCases) {
    BitWriter w;
    w.Put(1, 0);  // frameLengthFlag
    w.Put(1, 0);  // dependsOnCoreCoder
    w.Put(1, 1);  // extensionFlag
    w.Put(32, 0);
    const auto bytes = Padded(w);
    CBitReader reader(bytes.data());
    Config config;
    config.audioObjectType = c.objectType;
    config.channelConfiguration = 2;
    EXPECT_EQ(config.GASpecificConfig(reader), c.bits) << "object type " << c.objectType;
  }
}

// ---- LATM ----

// LatmGetValue() in as few bytes as the value needs.
void PutLatmValue(BitWriter& w, uint32_t value) {
  uint32_t bytes = 1;
  while (bytes < 4 && (value >> (8 * bytes)) != 0) ++bytes;
  w.Put(2, bytes - 1);         // bytesForValue
  w.Put(8 * bytes, value);     // valueTmp
}

// An AudioMuxElement of version 0: one program, one layer, AAC LC 48 kHz
// stereo, frameLengthType 0, then the payload length 255 + 255 + 10.
BitWriter SimpleMuxElement() {
  BitWriter w;
  w.Put(1, 0);   // useSameStreamMux
  w.Put(1, 0);   // audioMuxVersion
  w.Put(1, 1);   // allStreamsSameTimeFraming
  w.Put(6, 0);   // numSubFrames
  w.Put(4, 0);   // numProgram
  w.Put(3, 0);   // numLayer
  w.Append(AudioSpecificConfig(2, 3, 2));
  w.Put(3, 0);    // frameLengthType
  w.Put(8, 0xFF); // latmBufferFullness
  w.Put(1, 0);    // otherDataPresent
  w.Put(1, 0);    // crcCheckPresent
  w.Put(8, 255);  // tmp
  w.Put(8, 255);  // tmp
  w.Put(8, 10);   // tmp
  return w;
}

TEST(LATMTest, SimpleElementVersion0) {
  const BitWriter w = SimpleMuxElement();
  const auto bytes = Padded(w);
  CBitReader reader(bytes.data());
  LATMReader latm;
  EXPECT_FALSE(latm.configured);
  ASSERT_TRUE(latm.AudioMuxElement(reader, 1, 100));
  EXPECT_EQ(BitsRead(reader), static_cast<int64_t>(w.BitCount()));
  EXPECT_TRUE(latm.configured);
  EXPECT_EQ(latm.streamCnt, 1);
  EXPECT_EQ(latm.configs[0].samplingFrequency, 48000);
  EXPECT_EQ(latm.configs[0].channelConfiguration, 2);
  EXPECT_EQ(latm.frameLengthType[0], 0);
  EXPECT_EQ(latm.latmBufferFullness[0], 0xFF);
  EXPECT_EQ(latm.MuxSlotLengthBytes[0], 520);
  EXPECT_EQ(latm.otherDataPresent, 0);
}

TEST(LATMTest, ElementsThatGiveNothingNew) {
  const auto bytes = Padded(SimpleMuxElement());
  LATMReader latm;
  CBitReader outOfBand(bytes.data());
  EXPECT_FALSE(latm.AudioMuxElement(outOfBand, 0, 100));
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

TEST(LATMTest, LengthBoundsTheConfiguration) {
  const auto bytes = Padded(SimpleMuxElement());
  LATMReader refused;
  CBitReader a(bytes.data());
  a.ReadBit();  // useSameStreamMux
  EXPECT_FALSE(refused.StreamMuxConfig(a, 4));
  LATMReader accepted;
  CBitReader b(bytes.data());
  b.ReadBit();  // useSameStreamMux
  EXPECT_TRUE(accepted.StreamMuxConfig(b, 5));
}

TEST(LATMTest, Version1SkipsFillBitsToTheExactPosition) {
  BitWriter asc = AudioSpecificConfig(2, 4, 1);
  const uint32_t ascLen = static_cast<uint32_t>(asc.BitCount()) + 13;
  asc.Put(13, 0x1FFF);  // fillBits
  BitWriter w;
  w.Put(1, 1);             // audioMuxVersion
  w.Put(1, 0);             // audioMuxVersionA
  PutLatmValue(w, 0x1234); // taraBufferFullness
  w.Put(1, 0);             // allStreamsSameTimeFraming
  w.Put(6, 0);             // numSubFrames
  w.Put(4, 0);             // numProgram
  w.Put(3, 0);             // numLayer
  PutLatmValue(w, ascLen); // ascLen
  w.Append(asc);
  w.Put(3, 1);             // frameLengthType
  w.Put(9, 300);           // frameLength
  w.Put(1, 1);             // otherDataPresent
  PutLatmValue(w, 77);     // otherDataLenBits
  w.Put(1, 1);             // crcCheckPresent
  w.Put(8, 0xA5);          // crcCheckSum
  const auto bytes = Padded(w);
  CBitReader reader(bytes.data());
  LATMReader latm;
  ASSERT_TRUE(latm.StreamMuxConfig(reader, 5 * ascLen + 5));
  EXPECT_EQ(BitsRead(reader), static_cast<int64_t>(w.BitCount()));
  EXPECT_EQ(latm.audioMuxVersion, 1);
  EXPECT_EQ(latm.taraBufferFullness, 0x1234);
  EXPECT_EQ(latm.configs[0].samplingFrequency, 44100);
  EXPECT_EQ(latm.frameLengthType[0], 1);
  EXPECT_EQ(latm.frameLength[0], 300);
  EXPECT_EQ(latm.otherDataLenBits, 77);
  EXPECT_EQ(latm.crcCheckSum, 0xA5);

  LATMReader tooShort;
  CBitReader again(bytes.data());
  EXPECT_FALSE(tooShort.StreamMuxConfig(again, 5 * ascLen)) << "ascLen must lie below length / 5";
}

TEST(LATMTest, Version0OtherDataLengthIsEscaped) {
  BitWriter w;
  w.Put(1, 0);   // audioMuxVersion
  w.Put(1, 1);   // allStreamsSameTimeFraming
  w.Put(6, 0);   // numSubFrames
  w.Put(4, 0);   // numProgram
  w.Put(3, 0);   // numLayer
  w.Append(AudioSpecificConfig(2, 3, 2));
  w.Put(3, 2);   // frameLengthType: nothing follows
  w.Put(1, 1);   // otherDataPresent
  w.Put(1, 1);   // otherDataLenEsc
  w.Put(8, 1);   // otherDataLenTmp
  w.Put(1, 0);   // otherDataLenEsc
  w.Put(8, 2);   // otherDataLenTmp
  w.Put(1, 0);   // crcCheckPresent
  const auto bytes = Padded(w);
  CBitReader reader(bytes.data());
  LATMReader latm;
  ASSERT_TRUE(latm.StreamMuxConfig(reader, 100));
  EXPECT_EQ(BitsRead(reader), static_cast<int64_t>(w.BitCount()));
  EXPECT_EQ(latm.otherDataPresent, 0x0102);
  EXPECT_EQ(latm.otherDataLenBits, 0);
}

// Program 0 with two layers (the second reusing the first's configuration),
// program 1 with one; chunked payload lengths.
TEST(LATMTest, ProgramsLayersAndChunks) {
  BitWriter w;
  w.Put(1, 0);   // useSameStreamMux
  w.Put(1, 0);   // audioMuxVersion
  w.Put(1, 0);   // allStreamsSameTimeFraming
  w.Put(6, 0);   // numSubFrames
  w.Put(4, 1);   // numProgram
  w.Put(3, 1);   // numLayer, program 0
  w.Append(AudioSpecificConfig(2, 3, 2));
  w.Put(3, 0);   // frameLengthType, stream 0
  w.Put(8, 7);   // latmBufferFullness
  w.Put(1, 1);   // useSameConfig, layer 1
  w.Put(3, 1);   // frameLengthType, stream 1
  w.Put(9, 222); // frameLength
  w.Put(3, 0);   // numLayer, program 1
  w.Put(1, 0);   // useSameConfig
  w.Append(AudioSpecificConfig(2, 4, 1));
  w.Put(3, 0);   // frameLengthType, stream 2
  w.Put(8, 9);   // latmBufferFullness
  w.Put(1, 0);   // otherDataPresent
  w.Put(1, 0);   // crcCheckPresent
  w.Put(4, 1);   // numChunk
  w.Put(4, 2);   // streamIndx
  w.Put(8, 20);  // tmp
  w.Put(1, 1);   // AuEndFlag
  w.Put(4, 0);   // streamIndx
  w.Put(8, 255); // tmp
  w.Put(8, 3);   // tmp
  w.Put(1, 0);   // AuEndFlag
  const auto bytes = Padded(w);
  CBitReader reader(bytes.data());
  LATMReader latm;
  ASSERT_TRUE(latm.AudioMuxElement(reader, 1, 100));
  EXPECT_EQ(BitsRead(reader), static_cast<int64_t>(w.BitCount()));
  EXPECT_EQ(latm.streamCnt, 3);
  EXPECT_EQ(latm.streamID[0][1], 1);
  EXPECT_EQ(latm.streamID[1][0], 2);
  EXPECT_EQ(latm.progSIndx[2], 1);
  EXPECT_EQ(latm.laySIndx[1], 1);
  // Layer 0 of program 1 overwrote program 0's; layer 1 kept the copy.
  EXPECT_EQ(latm.configs[0].samplingFrequency, 44100);
  EXPECT_EQ(latm.configs[1].samplingFrequency, 48000);
  EXPECT_EQ(latm.frameLength[1], 222);
  EXPECT_EQ(latm.progCIndx[0], 1);
  EXPECT_EQ(latm.layCIndx[0], 0);
  EXPECT_EQ(latm.MuxSlotLengthBytes[2], 20);
  EXPECT_EQ(latm.AuEndFlag[2], 1);
  EXPECT_EQ(latm.MuxSlotLengthBytes[0], 258);
  EXPECT_EQ(latm.AuEndFlag[0], 0);
}

TEST(LATMTest, MoreThanSixteenStreamsAreRefused) {
  BitWriter w;
  w.Put(1, 0);    // audioMuxVersion
  w.Put(1, 1);    // allStreamsSameTimeFraming
  w.Put(6, 0);    // numSubFrames
  w.Put(4, 15);   // numProgram
  for (int prog = 0; prog < 16; ++prog) {
    w.Put(3, 7);  // numLayer
    for (int lay = 0; lay < 8; ++lay) {
      if (prog == 0 && lay == 0) {
        w.Append(AudioSpecificConfig(2, 3, 2));
      } else {
        w.Put(1, 1);  // useSameConfig
      }
      w.Put(3, 2);    // frameLengthType
    }
  }
  const auto bytes = Padded(w);
  CBitReader reader(bytes.data());
  LATMReader latm;
  EXPECT_FALSE(latm.StreamMuxConfig(reader, 100));
  EXPECT_EQ(latm.streamCnt, 16);
}

TEST(AACDurationTest, OneOrTwoThousandSamples) {
  CAudioStreamParameters params;
  params.samplingRate = 48000;
  CAudioSupport::ComputeAACAudioFrameDurationTicks(params);
  EXPECT_EQ(params.frameDurationTicks, 1920u);
  EXPECT_EQ(params.frameDurationFraction, 0u);
  params.samplingRate = 44100;
  CAudioSupport::ComputeAACAudioFrameDurationTicks(params);
  EXPECT_EQ(params.frameDurationTicks, 2089u);
  EXPECT_EQ(params.frameDurationFraction, 795u);
  params.aacDoubleRate = 1;
  params.samplingRate = 48000;
  CAudioSupport::ComputeAACAudioFrameDurationTicks(params);
  EXPECT_EQ(params.frameDurationTicks, 3840u);
}

}  // namespace
