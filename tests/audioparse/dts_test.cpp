#include <gtest/gtest.h>

#include <random>
#include <tuple>
#include <vector>

#include "audioparse/audio_support.h"
#include "audioparse/bit_writer.h"
#include "audioparse/params_util.h"

namespace {

using corvane::test::BitWriter;
using corvane::test::MilliTicks;
using corvane::test::SameParameters;
using corvane::test::SentinelParameters;

struct DTSFields {
  uint32_t cpf = 0, nblks = 15, fsize = 1023, amode = 2, sfreq = 13, rate = 15, lff = 0, hcrc = 0, pcmr = 0;
};

// The core frame header; the skipped flags are all ones so that a reader
// that miscounts them lands on wrong values.
std::vector<uint8_t> DTSHeader(const DTSFields& f) {
  BitWriter w;
  w.Put(32, 0x7FFE8001).Put(1, 1).Put(5, 31).Put(1, f.cpf);          // SYNC, FTYPE, SHORT, CPF
  w.Put(7, f.nblks).Put(14, f.fsize).Put(6, f.amode).Put(4, f.sfreq);  // NBLKS, FSIZE, AMODE, SFREQ
  w.Put(5, f.rate).Put(1, 0).Put(1, 1).Put(1, 1).Put(1, 1);            // RATE, FixedBit, DYNF, TIMEF, AUXF
  w.Put(1, 1).Put(3, 7).Put(1, 1).Put(1, 1);                           // HDCD, EXT_AUDIO_ID, EXT_AUDIO, ASPF
  w.Put(2, f.lff).Put(1, 1);                                           // LFF, HFLAG
  if (f.cpf) w.Put(16, f.hcrc);                                        // HCRC
  w.Put(1, 1).Put(4, 15).Put(2, 3).Put(3, f.pcmr).Put(1, 1);           // FILTS, VERNUM, CHIST, PCMR, SUMF
  w.PadToSize(16);
  return w.Bytes();
}

TEST(DTSTest, ReadsACommonHeader) {
  CAudioStreamParameters p = SentinelParameters();
  EXPECT_EQ(CAudioSupport::ReadDTSParameters(&p, DTSHeader({}).data()), 1024u);
  // AMODE other than 0 counts as LFE, LFF notwithstanding; alternateFlag is left.
  EXPECT_EQ(std::tie(p.frameSize, p.samplingRate, p.bitRate, p.channels, p.lfe, p.bitsPerSample, p.streamType,
                     p.bitRateCode, p.alternateFlag),
            std::make_tuple(1024u, 48000u, 768000u, 2, 1, 16, AUDIO_STREAM_DTS, 0, 7101));
  EXPECT_EQ(MilliTicks(p), 960000u);  // 512 samples
  for (uint32_t rate = 29; rate < 32; ++rate) {
    EXPECT_EQ(CAudioSupport::ReadDTSParameters(&p, DTSHeader({.rate = rate}).data()), 1024u);
    EXPECT_EQ(p.bitRate, 0u) << "open bit rates are accepted as zero";
  }
}

// A short frame, a wrong sync or no rate leave the record untouched; a
// refused rate stores only the rate.
TEST(DTSTest, RefusalsLeaveParametersUntouched) {
  CAudioStreamParameters params = SentinelParameters();
  EXPECT_EQ(CAudioSupport::ReadDTSParameters(&params, DTSHeader({.fsize = 94}).data()), 0u);
  EXPECT_EQ(CAudioSupport::GetDTSFrameSize(DTSHeader({.fsize = 94}).data()), 0);
  auto noSync = DTSHeader({});
  noSync[3] = 0x00;
  EXPECT_EQ(CAudioSupport::ReadDTSParameters(&params, noSync.data()), 0u);
  EXPECT_TRUE(SameParameters(params, SentinelParameters()));
  params.samplingRate = 0;
  CAudioSupport::ComputeDTSAudioFrameDurationTicks(params, 15);
  params.samplingRate = 7107;
  EXPECT_TRUE(SameParameters(params, SentinelParameters()));

  EXPECT_EQ(CAudioSupport::ReadDTSParameters(&params, DTSHeader({.sfreq = 9}).data()), 0u);
  EXPECT_EQ(params.samplingRate, 0u);
  params.samplingRate = 7107;
  EXPECT_TRUE(SameParameters(params, SentinelParameters()));
  EXPECT_EQ(CAudioSupport::ReadDTSParameters(&params, DTSHeader({.fsize = 95}).data()), 96u);
}

TEST(DTSTest, HeaderCrcMovesThePcmResolution) {
  constexpr int32_t kBits[7] = {16, 16, 20, 20, 0, 24, 24};
  for (uint32_t pcmr = 0; pcmr < 7; ++pcmr) {
    // A reader that ignores CPF takes bits 7 to 9 of HCRC for PCMR.
    const uint32_t hcrc = ((~pcmr) & 7) << 6;
    CAudioStreamParameters a;
    CAudioStreamParameters b;
    ASSERT_EQ(CAudioSupport::ReadDTSParameters(&a, DTSHeader({.pcmr = pcmr}).data()), 1024u);
    ASSERT_EQ(CAudioSupport::ReadDTSParameters(&b, DTSHeader({.cpf = 1, .hcrc = hcrc, .pcmr = pcmr}).data()), 1024u);
    EXPECT_EQ(a.bitsPerSample, kBits[pcmr]) << "PCMR " << pcmr;
    EXPECT_EQ(b.bitsPerSample, kBits[pcmr]) << "PCMR " << pcmr << " with CPF 1";
  }
}

TEST(DTSTest, AccessorsAgreeWithTheReaderOnRandomHeaders) {
  std::mt19937 random(1234);
  for (int i = 0; i < 500; ++i) {
    const auto below = [&random](uint32_t bound) { return static_cast<uint32_t>(random() % bound); };
    const DTSFields fields{below(2), below(128), 95 + below(16384 - 95), below(64), below(16), below(32), below(4),
                           below(65536), below(8)};  // in the order of the fields
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
    EXPECT_EQ(MilliTicks(params), 32ull * (fields.nblks + 1) * 90000000 / params.samplingRate);
  }
}

}  // namespace
