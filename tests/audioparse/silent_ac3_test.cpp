#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

#include "audioparse/audio_support.h"
#include "audioparse/silent_ac3_frames.h"
#include "support/library_checks.h"
#include "support/run_process.h"
#include "support/temp_folder.h"

namespace {

using corvane::test::RunProcess;
using Values = std::vector<int64_t>;

// The remainder of the frame's bits, read as a polynomial most significant
// bit first, divided by ATSC A/52's generator x^16 + x^15 + x^2 + 1: plain
// bit-serial long division. A region that ends in its CRC gives 0.
uint32_t CrcRemainder(const uint8_t* bytes, size_t count) {
  uint32_t remainder = 0;
  for (size_t i = 0; i < 8 * count; ++i) {
    remainder = (remainder << 1) | ((bytes[i / 8] >> (7 - i % 8)) & 1u);
    if (remainder & 0x10000u) remainder ^= 0x18005u;
  }
  return remainder;
}

struct Expected {
  uint32_t kbps;
  bool surround;
};

Expected ExpectedOf(const std::string& name) {
  return {static_cast<uint32_t>(std::stoul(name.substr(4))), name.compare(0, 3, "5.1") == 0};
}

// Ten frames, each with both CRCs valid and the header its name says.
TEST(SilentAC3Test, TenFramesWithBothCrcsValidAndTheirHeadersReadBack) {
  ASSERT_EQ(g_silentAC3FrameCount, 10u);
  for (size_t i = 0; i < g_silentAC3FrameCount; ++i) {
    const SilentAC3FrameData& frame = g_silentAC3Frames[i];
    const Expected expected = ExpectedOf(frame.name);
    SCOPED_TRACE(frame.name);
    ASSERT_EQ(frame.size, expected.kbps * 4);  // 1536 samples at 48 kHz
    const size_t words = frame.size / 2;
    const size_t fiveEighths = 2 * ((words >> 1) + (words >> 3));
    EXPECT_EQ(CrcRemainder(frame.bytes + 2, fiveEighths - 2), 0u) << "crc1";
    EXPECT_EQ(CrcRemainder(frame.bytes + 2, frame.size - 2), 0u) << "crc2";
    EXPECT_EQ(CrcRemainder(frame.bytes + fiveEighths, frame.size - fiveEighths), 0u);
    std::vector<uint8_t> damaged(frame.bytes, frame.bytes + frame.size);
    damaged[fiveEighths - 7] ^= 0x02;
    EXPECT_NE(CrcRemainder(damaged.data() + 2, fiveEighths - 2), 0u);

    CAudioStreamParameters params;
    EXPECT_EQ(CAudioSupport::ReadAC3Parameters(&params, frame.bytes), frame.size);
    EXPECT_EQ((Values{params.samplingRate, params.bitRate, params.frameDurationTicks, params.channels, params.lfe}),
              (Values{48000, expected.kbps * 1000, 2880, expected.surround ? 5 : 2, expected.surround}));

    // bsi from fscod to timecod1e; frmsizecod is the code the reader took.
    const bool s51 = expected.surround;
    const Values widths = {2, 6, 5, 3, 3, s51 ? 4 : 2, 1, 5, 1, 8, 1, 1, 1, 1, 1};
    CBitReader reader(frame.bytes);
    reader.ReadBits(32);  // syncword, crc1
    Values read;
    for (int64_t width : widths) read.push_back(reader.ReadBits(static_cast<int>(width)));
    // fscod, frmsizecod, bsid, bsmod, acmod, mix levels, lfeon, dialnorm, compre, compr, langcode, audprodie,
    // copyrightb, origbs, timecod1e
    EXPECT_EQ(read, (Values{0, params.bitRateCode, 4, 0, s51 ? 7 : 2, 0, s51, 31, 1, 255, 0, 0, 0, 1, 0}));
  }
}

using SilentAC3RequestTest = corvane::test::LeakCheckedTest;

TEST_F(SilentAC3RequestTest, PicksTheHighestFrameNotAboveTheRate) {
  const struct {
    uint32_t channels, bitRate, size;
    int32_t frameChannels;
  } kCases[] = {
      {2, 192000, 768, 2},  {2, 191999, 640, 2},   {6, 640000, 1792, 5}, {6, 128000, 1536, 5},
      {2, 0, 512, 2},       {1, 448000, 1792, 2},  {4, 4000000, 1792, 2}, {5, 447999, 1536, 5},
      {3, 384000, 1536, 2}, {2, 255999, 896, 2},
  };
  for (const auto& c : kCases) {
    CAudioFrame frame;
    frame.samplingRate = 44100;
    frame.audioType = AUDIO_FRAME_PCM;
    frame.stampA = 99;
    ASSERT_EQ(CAudioSupport::GetSilentAC3Frame(c.channels, c.bitRate, frame), S_OK);
    SCOPED_TRACE(testing::Message() << c.channels << " channels at " << c.bitRate);
    EXPECT_EQ((Values{frame.payloadLength, frame.frameSize, frame.bufferSize,
                      CAudioSupport::GetNumberOfAC3Channels(frame.data)}),
              (Values{c.size, c.size, c.size > 1600 ? c.size + 4 : 1600, c.frameChannels}));
    // The caller's fields stay.
    EXPECT_EQ((Values{frame.samplingRate, frame.audioType, frame.stampA}), (Values{44100, AUDIO_FRAME_PCM, 99}));
    // A second call replaces the payload rather than appending to it.
    ASSERT_EQ(CAudioSupport::GetSilentAC3Frame(c.channels, c.bitRate, frame), S_OK);
    EXPECT_EQ(frame.payloadLength, c.size);
  }
}

TEST(SilentAC3Test, CheckedInTableIsTheGeneratorsOutput) {
  const auto generated = RunProcess(CORVANE_BUILD_DIR "/bin/corvane_ac3gen");
  ASSERT_EQ(generated.exitStatus, 0);
  const std::string checkedIn =
      corvane::test::ReadWholeFile(CORVANE_TEST_DATA "/../../src/audioparse/silent_ac3_frames.cpp");
  EXPECT_TRUE(generated.output == checkedIn)
      << "regenerate with: build/bin/corvane_ac3gen src/audioparse/silent_ac3_frames.cpp";
}

struct Decoded {
  std::string pcm;
  std::string errors;
};

// Decodes an AC-3 stream with FFmpeg, CRCs checked, into 16-bit PCM.
Decoded DecodeWithFFmpeg(const std::string& stream) {
  const corvane::test::TempFolder folder;
  const std::string input = folder.Write("in.ac3", stream);
  const std::string errors = folder.Path() + "/errors";
  const auto decoded = RunProcess("ffmpeg -nostdin -hide_banner -v error -err_detect crccheck+explode -f ac3 -i '" +
                                  input + "' -f s16le - 2>'" + errors + "'");
  return {decoded.output, corvane::test::ReadWholeFile(errors)};
}

TEST(SilentAC3Test, FFmpegDecodesEveryFrameAsSilence) {
  if (std::system("command -v ffmpeg >/dev/null 2>&1") != 0) GTEST_SKIP() << "ffmpeg is not installed";
  constexpr int kCopies = 3;
  for (size_t i = 0; i < g_silentAC3FrameCount; ++i) {
    const SilentAC3FrameData& frame = g_silentAC3Frames[i];
    std::string stream;
    for (int copy = 0; copy < kCopies; ++copy) stream.append(frame.bytes, frame.bytes + frame.size);
    const Decoded decoded = DecodeWithFFmpeg(stream);
    EXPECT_EQ(decoded.errors, "") << frame.name;
    const size_t channels = ExpectedOf(frame.name).surround ? 6 : 2;
    EXPECT_EQ(decoded.pcm.size(), kCopies * 1536 * channels * 2) << frame.name;
    EXPECT_EQ(std::count(decoded.pcm.begin(), decoded.pcm.end(), '\0'), static_cast<long>(decoded.pcm.size()))
        << frame.name << " decodes to something other than digital silence";

    // The oracle notices a damaged frame: one flipped bit in the zero fill.
    stream[frame.size + frame.size / 2] ^= 0x10;
    EXPECT_NE(DecodeWithFFmpeg(stream).errors, "") << frame.name;
  }
}

}  // namespace
