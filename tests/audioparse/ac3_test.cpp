#include <gtest/gtest.h>

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

struct AC3Fields {
  uint32_t fscod = 0, frmsizecod = 20, acmod = 2, lfeon = 0;
};

// syncinfo and bsi up to dialnorm. The optional mix fields and dialnorm hold
// the opposite of lfeon in every bit, so a reader that skips too few or too
// many bits before lfeon reads the wrong value.
std::vector<uint8_t> AC3Header(const AC3Fields& f) {
  const uint32_t notLfe = f.lfeon ? 0u : ~0u;
  BitWriter w;
  w.Put(16, 0x0B77).Put(16, 0xA5C3).Put(2, f.fscod).Put(6, f.frmsizecod);  // syncword, crc1, fscod, frmsizecod
  w.Put(5, 8).Put(3, 0).Put(3, f.acmod);                                   // bsid, bsmod, acmod
  if ((f.acmod & 1) != 0 && f.acmod != 1) w.Put(2, notLfe);                // cmixlev
  if ((f.acmod & 4) != 0) w.Put(2, notLfe);                                // surmixlev
  if (f.acmod == 2) w.Put(2, notLfe);                                      // dsurmod
  w.Put(1, f.lfeon).Put(5, notLfe);                                        // lfeon, dialnorm
  w.PadToSize(16);
  return w.Bytes();
}

struct EAC3Fields {
  uint32_t strmtyp = 0, frmsiz = 383, fscod = 0, numblkscod = 3, acmod = 2, lfeon = 0;
};

std::vector<uint8_t> EAC3Header(const EAC3Fields& f) {
  BitWriter w;
  w.Put(16, 0x0B77).Put(2, f.strmtyp).Put(3, 5).Put(11, f.frmsiz);  // syncword, strmtyp, substreamid, frmsiz
  w.Put(2, f.fscod).Put(2, f.numblkscod).Put(3, f.acmod);           // fscod, numblkscod, acmod
  w.Put(1, f.lfeon).Put(5, 16);                                     // lfeon, bsid
  w.PadToSize(16);
  return w.Bytes();
}

uint32_t ReadAC3(CAudioStreamParameters& params, const AC3Fields& f) {
  return CAudioSupport::ReadAC3Parameters(&params, AC3Header(f).data());
}

uint32_t ReadEAC3(CAudioStreamParameters& params, const EAC3Fields& f) {
  return CAudioSupport::ReadEAC3Parameters(&params, EAC3Header(f).data());
}

// ATSC A/52 frame size codes: two codes a bit rate. A syncframe holds 1536
// samples, so its size follows from rate and bit rate; at 44.1 kHz the odd
// code adds the word that keeps the average rate.
TEST(AC3Test, EveryFrameSizeCodeAtEveryRate) {
  constexpr uint32_t kKbps[19] = {32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 384, 448, 512, 576,
                                  640};
  constexpr uint32_t kRateOfFscod[3] = {48000, 44100, 32000};
  for (uint32_t code = 0; code < 38; ++code) {
    for (uint32_t fscod = 0; fscod < 3; ++fscod) {
      SCOPED_TRACE(testing::Message() << "frmsizecod " << code << " fscod " << fscod);
      const uint32_t kbps = kKbps[code / 2], rate = kRateOfFscod[fscod];
      const uint32_t bytes = 2 * (kbps * 96000 / rate + (rate == 44100 ? code & 1 : 0));
      CAudioStreamParameters p;
      EXPECT_EQ(ReadAC3(p, {fscod, code, 2, 0}), bytes);
      EXPECT_EQ(std::tie(p.frameSize, p.bitRate, p.bitRateCode, p.samplingRate),
                std::make_tuple(bytes, kbps * 1000, static_cast<int32_t>(code), rate));
      EXPECT_EQ(MilliTicks(p), 1536ull * 90000000 / rate);
    }
  }
}

// Refused headers: what the reader wrote before it refused stays written; a
// wrong syncword leaves everything untouched.
TEST(AC3Test, RefusedSyncCodesRatesAndImplausibleFrames) {
  auto noSync = AC3Header({});
  noSync[1] = 0x78;
  CAudioStreamParameters untouched = SentinelParameters();
  EXPECT_EQ(CAudioSupport::ReadAC3Parameters(&untouched, noSync.data()), 0u);
  EXPECT_EQ(CAudioSupport::ReadEAC3Parameters(&untouched, noSync.data()), 0u);
  EXPECT_TRUE(SameParameters(untouched, SentinelParameters()));
  for (uint32_t code = 38; code < 64; ++code) {
    CAudioStreamParameters params;
    params.bitRate = 1234;
    EXPECT_EQ(ReadAC3(params, {0, code, 2, 0}), 0u);
    EXPECT_EQ(params.bitRate, 1234u) << "a failed size leaves bitRate as it was";
    EXPECT_EQ(params.streamType, AUDIO_STREAM_AC3);
  }
  CAudioStreamParameters params;
  params.samplingRate = 48000;
  EXPECT_EQ(ReadAC3(params, {3, 20, 2, 0}), 0u);
  EXPECT_EQ(params.samplingRate, 0u);
  EXPECT_EQ(CAudioSupport::ComputeAC3AudioFrameSize(params, 20, 0), 0u);
  CAudioStreamParameters unset = SentinelParameters();
  unset.samplingRate = 0;
  CAudioSupport::ComputeAC3AudioFrameDurationTicks(unset);
  EXPECT_EQ(MilliTicks(unset), MilliTicks(SentinelParameters())) << "no rate, no duration";

  // Three channels at 32 kHz above 2000 bytes are implausible, in both formats; two are not.
  for (uint32_t acmod : {3u, 4u}) {
    EXPECT_EQ(ReadAC3(params, {2, 28, acmod, 0}), 0u);
    EXPECT_EQ(params.frameSize, 2304u);
    EXPECT_EQ(ReadAC3(params, {2, 26, acmod, 0}), 1920u);
  }
  EXPECT_EQ(ReadAC3(params, {2, 28, 2, 0}), 2304u);
  EXPECT_EQ(ReadAC3(params, {0, 36, 3, 0}), 2560u);
  EXPECT_EQ(ReadEAC3(params, {.frmsiz = 1151, .fscod = 2, .acmod = 3}), 0u);
  EXPECT_EQ(ReadEAC3(params, {.frmsiz = 1151, .fscod = 2, .acmod = 2}), 2304u);

  EXPECT_EQ(ReadEAC3(params, {.frmsiz = 3}), 0u);  // below 10 bytes
  EXPECT_EQ(params.frameSize, 8u);
  EXPECT_EQ(ReadEAC3(params, {.frmsiz = 4}), 10u);
  EXPECT_EQ(ReadEAC3(params, {.fscod = 3}), 0u);  // reduced rates
  EXPECT_EQ(params.samplingRate, 0u);
}

// Both formats share acmod; the E-AC-3 accessors agree with its reader.
TEST(AC3Test, ChannelsAndLfeForEveryCodingModeInBothFormats) {
  constexpr int32_t kChannels[8] = {2, 1, 2, 3, 3, 4, 4, 5};
  for (uint32_t acmod = 0; acmod < 8; ++acmod) {
    for (uint32_t lfeon = 0; lfeon < 2; ++lfeon) {
      SCOPED_TRACE(testing::Message() << "acmod " << acmod << " lfeon " << lfeon);
      const int32_t lfe = static_cast<int32_t>(lfeon);
      CAudioStreamParameters p = SentinelParameters();
      const auto header = AC3Header({0, 20, acmod, lfeon});
      ASSERT_EQ(CAudioSupport::ReadAC3Parameters(&p, header.data()), 768u);
      EXPECT_EQ(std::tie(p.channels, p.lfe, p.streamType, p.bitsPerSample, p.alternateFlag, p.alternateChannels),
                std::make_tuple(kChannels[acmod], lfe, AUDIO_STREAM_AC3, 16, 0, 0));
      EXPECT_EQ(CAudioSupport::GetNumberOfAC3Channels(header.data()), kChannels[acmod]);

      const auto eac3 = EAC3Header({.frmsiz = 100 + 37 * acmod, .acmod = acmod, .lfeon = lfeon});
      const uint32_t size = CAudioSupport::ReadEAC3Parameters(&p, eac3.data());
      EXPECT_EQ(std::tie(p.channels, p.lfe), std::make_tuple(kChannels[acmod], lfe));
      EXPECT_EQ(CAudioSupport::GetNumberOfEAC3Channels(eac3.data()), p.channels + p.lfe);
      EXPECT_EQ(CAudioSupport::GetEAC3AudioFrameSize(eac3.data(), 4), size);
      EXPECT_EQ(CAudioSupport::GetEAC3AudioFrameSize(eac3.data(), 3), 0u);
    }
  }
}

TEST(EAC3Test, FrameSizeAndBitRateByBlocks) {
  constexpr uint32_t kBitRates[4] = {1152000, 576000, 384000, 192000};  // 1, 2, 3, 6 blocks
  for (uint32_t numblkscod = 0; numblkscod < 4; ++numblkscod) {
    CAudioStreamParameters p = SentinelParameters();
    EXPECT_EQ(ReadEAC3(p, {.numblkscod = numblkscod}), 768u);
    EXPECT_EQ(MilliTicks(p), 2880000u) << "timed as 1536 samples whatever the block count";
    // The E-AC-3 reader leaves alternateFlag and alternateChannels.
    EXPECT_EQ(std::tie(p.bitRate, p.streamType, p.bitRateCode, p.alternateFlag, p.alternateChannels),
              std::make_tuple(kBitRates[numblkscod], AUDIO_STREAM_EAC3, 0, 7101, 7113));
  }
  CAudioStreamParameters params;
  EXPECT_EQ(ReadEAC3(params, {.frmsiz = 511, .fscod = 1}), 1024u);
  EXPECT_EQ(params.bitRate, 235200u);  // 1024 * 8 * 44100 / 1536 exactly
  EXPECT_EQ(MilliTicks(params), 3134693u);
}

}  // namespace
