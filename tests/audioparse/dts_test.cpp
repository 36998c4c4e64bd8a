#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "audioparse/audio_support.h"
#include "audioparse/bit_writer.h"
#include "audioparse/params_util.h"

namespace {

using corvane::test::BitWriter;
using corvane::test::SameParameters;
using corvane::test::SentinelParameters;

struct DTSFields {
  uint32_t cpf = 0;
  uint32_t nblks = 15;
  uint32_t fsize = 1023;
  uint32_t amode = 2;
  uint32_t sfreq = 13;
  uint32_t rate = 15;
  uint32_t lff = 0;
  uint32_t hcrc = 0;
  uint32_t pcmr = 0;
};

// The core frame header; the skipped flags are all ones so that a reader
// that miscounts them lands on wrong values.
std::vector<uint8_t> DTSHeader(const DTSFields& f) {
  BitWriter w;
  w.Put(32, 0x7FFE8001);  // SYNC
  w.Put(1, 1);            // FTYPE
  w.Put(5, 31);           // SHORT
  w.Put(1, f.cpf);        // CPF
  w.Put(7, f.nblks);      // NBLKS
  w.Put(14, f.fsize);     // FSIZE
  w.Put(6, f.amode);      // AMODE
  w.Put(4, f.sfreq);      // SFREQ
  w.Put(5, f.rate);       // RATE
  w.Put(1, 0);            // FixedBit
  w.Put(1, 1);            // DYNF
  w.Put(1, 1);            // TIMEF
  w.Put(1, 1);            // AUXF
  w.Put(1, 1);            // HDCD
  w.Put(3, 7);            // EXT_AUDIO_ID
  w.Put(1, 1);            // EXT_AUDIO
  w.Put(1, 1);            // ASPF
  w.Put(2, f.lff);        // LFF
  w.Put(1, 1);            // HFLAG
  if (f.cpf) w.Put(16, f.hcrc);  // HCRC
  w.Put(1, 1);            // FILTS
  w.Put(4, 15);           // VERNUM
  w.Put(2, 3);            // CHIST
  w.Put(3, f.pcmr);       // PCMR
  w.Put(1, 1);            // SUMF
  w.PadToSize(16);
  return w.Bytes();
}

TEST(DTSTest, ReadsACommonHeader) {
  CAudioStreamParameters params = SentinelParameters();
  const auto header = DTSHeader({});
  EXPECT_EQ(CAudioSupport::ReadDTSParameters(&params, header.data()), 1024u);
  EXPECT_EQ(params.frameSize, 1024u);
  EXPECT_EQ(params.samplingRate, 48000u);
  EXPECT_EQ(params.bitRate, 768000u);
  EXPECT_EQ(params.channels, 2);
  EXPECT_EQ(params.lfe, 1) << "AMODE other than 0 counts as LFE, LFF notwithstanding";
  EXPECT_EQ(params.bitsPerSample, 16);
  EXPECT_EQ(params.streamType, AUDIO_STREAM_DTS);
  EXPECT_EQ(params.bitRateCode, 0);
  EXPECT_EQ(params.frameDurationTicks, 960u);  // 512 samples
  EXPECT_EQ(params.frameDurationFraction, 0u);
  EXPECT_EQ(params.alternateFlag, 7101);
}

TEST(DTSTest, ShortFrameAndWrongSyncLeaveParametersUntouched) {
  CAudioStreamParameters params = SentinelParameters();
  DTSFields fields;
  fields.fsize = 94;
  EXPECT_EQ(CAudioSupport::ReadDTSParameters(&params, DTSHeader(fields).data()), 0u);
  EXPECT_EQ(CAudioSupport::GetDTSFrameSize(DTSHeader(fields).data()), 0);
  auto noSync = DTSHeader({});
  noSync[3] = 0x00;
  EXPECT_EQ(CAudioSupport::ReadDTSParameters(&params, noSync.data()), 0u);
  EXPECT_TRUE(SameParameters(params, SentinelParameters()));

  fields.fsize = 95;
  EXPECT_EQ(CAudioSupport::ReadDTSParameters(&params, DTSHeader(fields).data()), 96u);
}

TEST(DTSTest, RefusedRateStoresOnlyTheRate) {
  CAudioStreamParameters params = SentinelParameters();
  DTSFields fields;
  fields.sfreq = 9;
  EXPECT_EQ(CAudioSupport::ReadDTSParameters(&params, DTSHeader(fields).data()), 0u);
  CAudioStreamParameters expected = SentinelParameters();
  expected.samplingRate = 0;
  EXPECT_TRUE(SameParameters(params, expected));
}

TEST(DTSTest, OpenBitRatesAreAcceptedAsZero) {
  for (uint32_t rate = 29; rate < 32; ++rate) {
    CAudioStreamParameters params;
    DTSFields fields;
    fields.rate = rate;
    EXPECT_EQ(CAudioSupport::ReadDTSParameters(&params, DTSHeader(fields).data()), 1024u);
    EXPECT_EQ(params.bitRate, 0u);
  }
}

TEST(DTSTest, HeaderCrcMovesThePcmResolution) {
  constexpr int32_t kBits[7] = {16, 16, 20, 20, 0, 24, 24};
  for (uint32_t pcmr = 0; pcmr < 7; ++pcmr) {
    DTSFields plain;
    plain.pcmr = pcmr;
    DTSFields withCrc = plain;
    withCrc.cpf = 1;
    // A reader that ignores CPF takes bits 7 to 9 of HCRC for PCMR.
    withCrc.hcrc = ((~pcmr) & 7) << 6;
    CAudioStreamParameters a;
    CAudioStreamParameters b;
    ASSERT_EQ(CAudioSupport::ReadDTSParameters(&a, DTSHeader(plain).data()), 1024u);
    ASSERT_EQ(CAudioSupport::ReadDTSParameters(&b, DTSHeader(withCrc).data()), 1024u);
    EXPECT_EQ(a.bitsPerSample, kBits[pcmr]) << "PCMR " << pcmr;
    EXPECT_EQ(b.bitsPerSample, kBits[pcmr]) << "PCMR " << pcmr << " with CPF 1";
  }
}

TEST(DTSTest, DurationsFromTheBlockCount) {
  CAudioStreamParameters params;
  params.samplingRate = 48000;
  CAudioSupport::ComputeDTSAudioFrameDurationTicks(params, 7);  // 256 samples
  EXPECT_EQ(params.frameDurationTicks, 480u);
  EXPECT_EQ(params.frameDurationFraction, 0u);
  params.samplingRate = 44100;
  CAudioSupport::ComputeDTSAudioFrameDurationTicks(params, 15);  // 512 samples
  EXPECT_EQ(params.frameDurationTicks, 1044u);
  EXPECT_EQ(params.frameDurationFraction, 897u);
  params.samplingRate = 0;
  CAudioSupport::ComputeDTSAudioFrameDurationTicks(params, 15);
  EXPECT_EQ(params.frameDurationTicks, 1044u) << "a rate of 0 changes nothing";
}

TEST(DTSTest, AccessorsAgreeWithTheReaderOnRandomHeaders) {
  std::mt19937 random(1234);
  for (int i = 0; i < 500; ++i) {
    DTSFields fields;
    fields.cpf = random() % 2;
    fields.nblks = random() % 128;
    fields.fsize = 95 + random() % (16384 - 95);
    fields.amode = random() % 64;
    fields.sfreq = random() % 16;
    fields.rate = random() % 32;
    fields.lff = random() % 4;
    fields.hcrc = random() % 65536;
    fields.pcmr = random() % 8;
    const auto header = DTSHeader(fields);
    CAudioStreamParameters params;
    const uint32_t size = CAudioSupport::ReadDTSParameters(&params, header.data());
    EXPECT_EQ(CAudioSupport::GetDTSSamplingRate(header.data()), static_cast<int32_t>(params.samplingRate));
    EXPECT_EQ(CAudioSupport::GetDTSFrameSize(header.data()), static_cast<int32_t>(fields.fsize + 1));
    if (size == 0) continue;
    EXPECT_EQ(size, fields.fsize + 1);
    EXPECT_EQ(CAudioSupport::GetNumberOfDTSChannels(header.data()), params.channels);
    if (fields.amode > 15) {
      EXPECT_EQ(params.channels, 0);
    }
    if (fields.pcmr == 7) {
      EXPECT_EQ(params.bitsPerSample, 0);
    }
    // 32 samples a block: the duration follows from NBLKS.
    EXPECT_EQ(uint64_t{params.frameDurationTicks} * 1000 + params.frameDurationFraction,
              32ull * (fields.nblks + 1) * 90000000 / params.samplingRate);
  }
}

}  // namespace
