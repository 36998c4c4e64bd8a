#include <gtest/gtest.h>

#include <vector>

#include "audioparse/audio_support.h"
#include "audioparse/bit_writer.h"
#include "audioparse/params_util.h"

namespace {

using corvane::test::BitWriter;
using corvane::test::SameParameters;
using corvane::test::SentinelParameters;

struct AC3Fields {
  uint32_t fscod = 0;
  uint32_t frmsizecod = 20;
  uint32_t acmod = 2;
  uint32_t lfeon = 0;
};

// syncinfo and bsi up to dialnorm. The optional mix fields and dialnorm hold
// the opposite of lfeon in every bit, so a reader that skips too few or too
// many bits before lfeon reads the wrong value.
std::vector<uint8_t> AC3Header(const AC3Fields& f) {
  const uint32_t notLfe = f.lfeon ? 0u : ~0u;
  BitWriter w;
  w.Put(16, 0x0B77);        // syncword
  w.Put(16, 0xA5C3);        // crc1
  w.Put(2, f.fscod);        // fscod
  w.Put(6, f.frmsizecod);   // frmsizecod
  w.Put(5, 8);              // bsid
  w.Put(3, 0);              // bsmod
  w.Put(3, f.acmod);        // acmod
  if ((f.acmod & 1) != 0 && f.acmod != 1) w.Put(2, notLfe);  // cmixlev
  if ((f.acmod & 4) != 0) w.Put(2, notLfe);                  // surmixlev
  if (f.acmod == 2) w.Put(2, notLfe);                        // dsurmod
  w.Put(1, f.lfeon);        // lfeon
  w.Put(5, notLfe);         // dialnorm
  w.PadToSize(16);
  return w.Bytes();
}

struct EAC3Fields {
  uint32_t strmtyp = 0;
  uint32_t frmsiz = 383;
  uint32_t fscod = 0;
  uint32_t numblkscod = 3;
  uint32_t acmod = 2;
  uint32_t lfeon = 0;
};

std::vector<uint8_t> EAC3Header(const EAC3Fields& f) {
  BitWriter w;
  w.Put(16, 0x0B77);        // syncword
  w.Put(2, f.strmtyp);      // strmtyp
  w.Put(3, 5);              // substreamid
  w.Put(11, f.frmsiz);      // frmsiz
  w.Put(2, f.fscod);        // fscod
  w.Put(2, f.numblkscod);   // numblkscod
  w.Put(3, f.acmod);        // acmod
  w.Put(1, f.lfeon);        // lfeon
  w.Put(5, 16);             // bsid
  w.PadToSize(16);
  return w.Bytes();
}

// ATSC A/52 frame size code table: 16-bit words per syncframe at 32, 44.1
// and 48 kHz, for frmsizecod 0 to 37.
constexpr uint32_t kWords[38][3] = {
    {96, 69, 64},      {96, 70, 64},      {120, 87, 80},     {120, 88, 80},     {144, 104, 96},
    {144, 105, 96},    {168, 121, 112},   {168, 122, 112},   {192, 139, 128},   {192, 140, 128},
    {240, 174, 160},   {240, 175, 160},   {288, 208, 192},   {288, 209, 192},   {336, 243, 224},
    {336, 244, 224},   {384, 278, 256},   {384, 279, 256},   {480, 348, 320},   {480, 349, 320},
    {576, 417, 384},   {576, 418, 384},   {672, 487, 448},   {672, 488, 448},   {768, 557, 512},
    {768, 558, 512},   {960, 696, 640},   {960, 697, 640},   {1152, 835, 768},  {1152, 836, 768},
    {1344, 975, 896},  {1344, 976, 896},  {1536, 1114, 1024}, {1536, 1115, 1024}, {1728, 1253, 1152},
    {1728, 1254, 1152}, {1920, 1393, 1280}, {1920, 1394, 1280},
};
constexpr uint32_t kKbps[19] = {32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 384, 448, 512, 576, 640};

TEST(AC3Test, EveryFrameSizeCodeAtEveryRate) {
  constexpr uint32_t kFscodOfColumn[3] = {2, 1, 0};  // 32, 44.1, 48 kHz
  constexpr uint32_t kRateOfColumn[3] = {32000, 44100, 48000};
  for (uint32_t code = 0; code < 38; ++code) {
    for (int column = 0; column < 3; ++column) {
      CAudioStreamParameters params;
      const auto header = AC3Header({kFscodOfColumn[column], code, 2, 0});
      EXPECT_EQ(CAudioSupport::ReadAC3Parameters(&params, header.data()), 2 * kWords[code][column])
          << "frmsizecod " << code << " at " << kRateOfColumn[column];
      EXPECT_EQ(params.frameSize, 2 * kWords[code][column]);
      EXPECT_EQ(params.bitRate, kKbps[code / 2] * 1000);
      EXPECT_EQ(params.bitRateCode, static_cast<int32_t>(code));
      EXPECT_EQ(params.samplingRate, kRateOfColumn[column]);
    }
  }
}

TEST(AC3Test, CodesAbove37AndRateCode3AreRefused) {
  for (uint32_t code = 38; code < 64; ++code) {
    CAudioStreamParameters params;
    params.bitRate = 1234;
    EXPECT_EQ(CAudioSupport::ReadAC3Parameters(&params, AC3Header({0, code, 2, 0}).data()), 0u);
    EXPECT_EQ(params.bitRate, 1234u) << "a failed size leaves bitRate as it was";
    EXPECT_EQ(params.streamType, AUDIO_STREAM_AC3);
  }
  CAudioStreamParameters params;
  params.samplingRate = 48000;
  EXPECT_EQ(CAudioSupport::ReadAC3Parameters(&params, AC3Header({3, 20, 2, 0}).data()), 0u);
  EXPECT_EQ(params.samplingRate, 0u);
  EXPECT_EQ(CAudioSupport::ComputeAC3AudioFrameSize(params, 20, 0), 0u);
}

TEST(AC3Test, WrongSyncwordLeavesParametersUntouched) {
  auto header = AC3Header({});
  header[1] = 0x78;
  CAudioStreamParameters params = SentinelParameters();
  EXPECT_EQ(CAudioSupport::ReadAC3Parameters(&params, header.data()), 0u);
  EXPECT_EQ(CAudioSupport::ReadEAC3Parameters(&params, header.data()), 0u);
  EXPECT_TRUE(SameParameters(params, SentinelParameters()));
}

TEST(AC3Test, ChannelsAndLfeForEveryCodingMode) {
  constexpr int32_t kChannels[8] = {2, 1, 2, 3, 3, 4, 4, 5};
  for (uint32_t acmod = 0; acmod < 8; ++acmod) {
    for (uint32_t lfeon = 0; lfeon < 2; ++lfeon) {
      CAudioStreamParameters params = SentinelParameters();
      const auto header = AC3Header({0, 20, acmod, lfeon});
      ASSERT_EQ(CAudioSupport::ReadAC3Parameters(&params, header.data()), 768u);
      EXPECT_EQ(params.channels, kChannels[acmod]) << "acmod " << acmod;
      EXPECT_EQ(params.lfe, static_cast<int32_t>(lfeon)) << "acmod " << acmod;
      EXPECT_EQ(CAudioSupport::GetNumberOfAC3Channels(header.data()), kChannels[acmod]);
      EXPECT_EQ(params.streamType, AUDIO_STREAM_AC3);
      EXPECT_EQ(params.bitsPerSample, 16);
      EXPECT_EQ(params.alternateFlag, 0);
      EXPECT_EQ(params.alternateChannels, 0);
    }
  }
}

TEST(AC3Test, DurationsAtTheThreeRates) {
  const struct {
    uint32_t fscod, ticks, fraction;
  } kCases[] = {{0, 2880, 0}, {1, 3134, 693}, {2, 4320, 0}};
  for (const auto& c : kCases) {
    CAudioStreamParameters params;
    ASSERT_NE(CAudioSupport::ReadAC3Parameters(&params, AC3Header({c.fscod, 20, 2, 0}).data()), 0u);
    EXPECT_EQ(params.frameDurationTicks, c.ticks);
    EXPECT_EQ(params.frameDurationFraction, c.fraction);
  }
  CAudioStreamParameters unset = SentinelParameters();
  unset.samplingRate = 0;
  CAudioSupport::ComputeAC3AudioFrameDurationTicks(unset);
  EXPECT_EQ(unset.frameDurationTicks, 7104u);
}

TEST(AC3Test, ThreeChannelsAt32kHzAboveTwoThousandBytesAreImplausible) {
  CAudioStreamParameters params;
  for (uint32_t acmod : {3u, 4u}) {
    EXPECT_EQ(CAudioSupport::ReadAC3Parameters(&params, AC3Header({2, 28, acmod, 0}).data()), 0u);
    EXPECT_EQ(params.frameSize, 2304u) << "the fields before the refusal stay written";
    EXPECT_EQ(CAudioSupport::ReadAC3Parameters(&params, AC3Header({2, 26, acmod, 0}).data()), 1920u);
  }
  EXPECT_EQ(CAudioSupport::ReadAC3Parameters(&params, AC3Header({2, 28, 2, 0}).data()), 2304u);
  EXPECT_EQ(CAudioSupport::ReadAC3Parameters(&params, AC3Header({0, 36, 3, 0}).data()), 2560u);
}

TEST(EAC3Test, FrameSizeAndBitRateByBlocks) {
  constexpr uint32_t kBitRates[4] = {1152000, 576000, 384000, 192000};  // 1, 2, 3, 6 blocks
  for (uint32_t numblkscod = 0; numblkscod < 4; ++numblkscod) {
    CAudioStreamParameters params = SentinelParameters();
    EAC3Fields fields;
    fields.numblkscod = numblkscod;
    EXPECT_EQ(CAudioSupport::ReadEAC3Parameters(&params, EAC3Header(fields).data()), 768u);
    EXPECT_EQ(params.bitRate, kBitRates[numblkscod]);
    // Timed as 1536 samples whatever the block count.
    EXPECT_EQ(params.frameDurationTicks, 2880u);
    EXPECT_EQ(params.frameDurationFraction, 0u);
    EXPECT_EQ(params.streamType, AUDIO_STREAM_EAC3);
    EXPECT_EQ(params.bitRateCode, 0);
    EXPECT_EQ(params.alternateFlag, 7101) << "the E-AC-3 reader leaves it";
    EXPECT_EQ(params.alternateChannels, 7113);
  }
  EAC3Fields at441;
  at441.fscod = 1;
  at441.frmsiz = 511;
  CAudioStreamParameters params;
  EXPECT_EQ(CAudioSupport::ReadEAC3Parameters(&params, EAC3Header(at441).data()), 1024u);
  // 1024 * 8 * 44100 / 1536 = 235200 exactly.
  EXPECT_EQ(params.bitRate, 235200u);
  EXPECT_EQ(params.frameDurationFraction, 693u);
}

TEST(EAC3Test, ShortFramesReducedRatesAndImplausibleFramesAreRefused) {
  CAudioStreamParameters params;
  EAC3Fields tiny;
  tiny.frmsiz = 3;
  EXPECT_EQ(CAudioSupport::ReadEAC3Parameters(&params, EAC3Header(tiny).data()), 0u);
  EXPECT_EQ(params.frameSize, 8u);
  tiny.frmsiz = 4;
  EXPECT_EQ(CAudioSupport::ReadEAC3Parameters(&params, EAC3Header(tiny).data()), 10u);

  EAC3Fields reduced;
  reduced.fscod = 3;
  EXPECT_EQ(CAudioSupport::ReadEAC3Parameters(&params, EAC3Header(reduced).data()), 0u);
  EXPECT_EQ(params.samplingRate, 0u);

  EAC3Fields crowded;
  crowded.fscod = 2;
  crowded.frmsiz = 1151;  // 2304 bytes
  crowded.acmod = 3;
  EXPECT_EQ(CAudioSupport::ReadEAC3Parameters(&params, EAC3Header(crowded).data()), 0u);
  crowded.acmod = 2;
  EXPECT_EQ(CAudioSupport::ReadEAC3Parameters(&params, EAC3Header(crowded).data()), 2304u);
}

TEST(EAC3Test, AccessorsAgreeWithTheReader) {
  for (uint32_t acmod = 0; acmod < 8; ++acmod) {
    for (uint32_t lfeon = 0; lfeon < 2; ++lfeon) {
      EAC3Fields fields;
      fields.acmod = acmod;
      fields.lfeon = lfeon;
      fields.frmsiz = 100 + 37 * acmod;
      const auto header = EAC3Header(fields);
      CAudioStreamParameters params;
      const uint32_t size = CAudioSupport::ReadEAC3Parameters(&params, header.data());
      EXPECT_EQ(CAudioSupport::GetNumberOfEAC3Channels(header.data()), params.channels + params.lfe);
      EXPECT_EQ(params.lfe, static_cast<int32_t>(lfeon));
      EXPECT_EQ(CAudioSupport::GetEAC3AudioFrameSize(header.data(), 4), size);
      EXPECT_EQ(CAudioSupport::GetEAC3AudioFrameSize(header.data(), 3), 0u);
    }
  }
}

}  // namespace
