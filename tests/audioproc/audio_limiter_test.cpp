// The limiter's framing, its channel handling and its SMPTE 302M path; the
// scalar model test holds its gain rules on stereo PCM.
#include "audioproc/audio_limiter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "audioparse/audio_support.h"
#include "pcm16_frames.h"
#include "support/library_checks.h"
#include "support/temp_folder.h"

namespace {

using namespace audioproc_test;

Samples Stereo(const Samples& mono) {
  Samples stereo;
  for (int16_t s : mono) stereo.insert(stereo.end(), {s, s});
  return stereo;
}

class AudioLimiterTest : public corvane::test::LeakCheckedTest {
 protected:
  static std::unique_ptr<CQBXAudioLimiter> Make(double ceilingDB = -1.0, double thresholdDB = -6.0) {
    return std::make_unique<CQBXAudioLimiter>(ceilingDB, thresholdDB, 48000, 5, 200,
                                              CQBXAudioLimiter::HARD_CLIPPER_OFF);
  }
  // The samples counted and the output peak in dB.
  static std::pair<int64_t, double> Statistics(const CQBXAudioLimiter& limiter) {
    std::pair<int64_t, double> statistics{0, 0.0};
    limiter.GetProcessingStatistics(0, statistics.first, statistics.second);
    return statistics;
  }
};

TEST_F(AudioLimiterTest, FramesComeOutOneBehindWithTheirOwnHeaders) {
  auto limiter = Make();
  EXPECT_EQ(limiter->ProcessAudioFrame(nullptr), nullptr);  // a flush before any frame
  const Samples first = Stereo(Samples(100, 1000));
  const Samples second = Stereo(Samples(80, -2000));
  const CAudioFrame frame1 = PcmFrame(first, 2, 11);
  const CAudioFrame frame2 = PcmFrame(second, 2, 22);
  EXPECT_EQ(limiter->ProcessAudioFrame(&frame1), nullptr);
  const CAudioFrame* out = limiter->ProcessAudioFrame(&frame2);
  ASSERT_NE(out, nullptr);
  EXPECT_EQ(out->stampA, 11);
  EXPECT_EQ(out->presentationTime, 1100);
  EXPECT_EQ(out->stampB, 0);  // not part of the header copy
  EXPECT_EQ(out->audioType, AUDIO_FRAME_PCM);
  EXPECT_EQ(out->channels, 2u);
  EXPECT_EQ(out->bitsPerSample, 16u);
  EXPECT_EQ(PcmSamples(out), first);
  out = limiter->ProcessAudioFrame(nullptr);
  ASSERT_NE(out, nullptr);
  EXPECT_EQ(out->presentationTime, 2200);
  EXPECT_EQ(PcmSamples(out), second);
  EXPECT_EQ(limiter->ProcessAudioFrame(nullptr), nullptr);

  // After two flushes the limiter starts over: the next frame waits again,
  // and so does a frame right after one flush.
  EXPECT_EQ(limiter->ProcessAudioFrame(&frame2), nullptr);
  out = limiter->ProcessAudioFrame(nullptr);
  ASSERT_NE(out, nullptr);
  EXPECT_EQ(out->stampA, 22);
  EXPECT_EQ(limiter->ProcessAudioFrame(&frame1), nullptr);
  EXPECT_EQ(Statistics(*limiter), std::make_pair(int64_t{100 + 80 + 80 + 100}, CAudioSupport::ConvertLevelToDB(2000)));
  EXPECT_EQ(limiter->GetLimitedSamples(), 0);
}

TEST_F(AudioLimiterTest, MonoStaysMonoAndMoreChannelsBecomeStereo) {
  auto limiter = Make();
  const CAudioFrame mono = PcmFrame(Samples(300, 32767), 1, 1);
  limiter->ProcessAudioFrame(&mono);
  const CAudioFrame* out = limiter->ProcessAudioFrame(nullptr);
  ASSERT_NE(out, nullptr);
  EXPECT_EQ(out->channels, 1u);
  EXPECT_EQ(PcmSamples(out), Samples(300, 29203));  // the ceiling, 10^(-1/20) of full scale

  // Four channels: the first two are limited and go out as stereo.
  Samples quad, expected;
  for (int i = 0; i < 200; ++i) {
    quad.insert(quad.end(), {100, -200, 32767, 32767});
    expected.insert(expected.end(), {100, -200});
  }
  const CAudioFrame frame = PcmFrame(quad, 4, 2);
  limiter->ProcessAudioFrame(&frame);
  out = limiter->ProcessAudioFrame(nullptr);
  ASSERT_NE(out, nullptr);
  EXPECT_EQ(out->channels, 2u);
  EXPECT_EQ(PcmSamples(out), expected);

  // No channels, and a type the limiter does not read: no samples at all.
  CAudioFrame empty = PcmFrame(Samples(8, 1), 0, 3);
  CAudioFrame other = PcmFrame(Samples(8, 1), 2, 4);
  other.audioType = AUDIO_FRAME_UNKNOWN;
  EXPECT_EQ(limiter->ProcessAudioFrame(&empty), nullptr);
  EXPECT_EQ(limiter->ProcessAudioFrame(&other), nullptr);
  EXPECT_EQ(limiter->ProcessAudioFrame(nullptr), nullptr);
  EXPECT_EQ(Statistics(*limiter).first, 500);
}

TEST_F(AudioLimiterTest, FramesThatDoNotFitNeverOverflow) {
  auto limiter = Make();
  std::vector<CAudioFrame> frames;
  for (int f = 0; f < 3; ++f) frames.push_back(PcmFrame(Stereo(Samples(20000, static_cast<int16_t>(1000 + f))), 2, f));
  EXPECT_EQ(limiter->ProcessAudioFrame(&frames[0]), nullptr);
  // 20000 + 20000 do not fit 32768: the waiting block goes out first.
  for (int f = 1; f < 3; ++f) {
    const CAudioFrame* out = limiter->ProcessAudioFrame(&frames[f]);
    ASSERT_NE(out, nullptr);
    EXPECT_EQ(out->stampA, f - 1);
    EXPECT_EQ(PcmSamples(out), Stereo(Samples(20000, static_cast<int16_t>(1000 + f - 1))));
  }
  // A frame larger than the buffers is refused whole.
  const CAudioFrame huge = PcmFrame(Stereo(Samples(40000, 5)), 2, 9);
  const CAudioFrame* out = limiter->ProcessAudioFrame(&huge);
  ASSERT_NE(out, nullptr);
  EXPECT_EQ(out->stampA, 2);
  EXPECT_EQ(limiter->ProcessAudioFrame(nullptr), nullptr);
  EXPECT_EQ(Statistics(*limiter).first, 60000);
}

TEST_F(AudioLimiterTest, SMPTE302MFramesAreLimitedAndRewrittenAt20Bits) {
  std::vector<std::vector<double>> loud(2, std::vector<double>(256, 1.0));  // full scale in the writer's own unit
  CAudioFrame encoded;
  CSMPTE302MDecode::EncodeFrame(loud, 256, 1.0, &encoded);
  encoded.stampA = 5;
  auto limiter = Make();
  EXPECT_EQ(limiter->ProcessAudioFrame(&encoded), nullptr);
  const CAudioFrame* out = limiter->ProcessAudioFrame(nullptr);
  ASSERT_NE(out, nullptr);
  EXPECT_EQ(out->audioType, AUDIO_FRAME_SMPTE302M);
  EXPECT_EQ(out->stampA, 5);
  EXPECT_EQ(out->bitsPerSample, 20u);
  EXPECT_EQ(out->payloadLength, 4u + 256 * 6);
  CSMPTE302MDecode decoder;
  ASSERT_EQ(decoder.DecodeFrame(out->data), 256u);
  // Input 524287 << 4 at 24 bits; the envelope sits on it. Gain above the
  // threshold t: (t / envelope)^(1 - 1 / 1.2) for ceiling -1 dB, threshold -6 dB.
  const double in = 8388592.0 / 8388607.0;
  const double threshold = std::pow(10.0, -6.0 / 20.0);
  const auto expected = static_cast<int32_t>(in * std::pow(threshold / in, 1.0 / 6.0) * 524287.0) * 16;
  for (unsigned c = 0; c < 2; ++c) {
    for (unsigned i = 0; i < 256; ++i) ASSERT_EQ(decoder.channelSamples[c][i], expected) << c << " " << i;
  }
}

TEST_F(AudioLimiterTest, FirstTwoOfFour302MChannelsGoOutAsStereo) {
  // FFmpeg's 24-bit unit of pink noise at gains 1, -0.5, 0.25 and -1.
  const auto unit = corvane::test::ReadWholeFile<std::vector<uint8_t>>(std::string(CORVANE_TEST_DATA) +
                                                                       "/s302m_ffmpeg_24bit_quad.302m");
  ASSERT_EQ(unit.size(), 3364u);
  CAudioFrame frame;
  frame.AppendData(unit.data(), static_cast<unsigned>(unit.size()));
  frame.audioType = AUDIO_FRAME_SMPTE302M;
  frame.channels = 4;
  frame.bitsPerSample = 24;
  auto limiter = Make(-20.0, -30.0);
  limiter->ProcessAudioFrame(&frame);
  const CAudioFrame* out = limiter->ProcessAudioFrame(nullptr);
  ASSERT_NE(out, nullptr);
  EXPECT_EQ(out->channels, 2u);
  EXPECT_EQ(out->payloadLength, 4u + 240 * 6);
  CSMPTE302MDecode decoder;
  ASSERT_EQ(decoder.DecodeFrame(out->data), 240u);
  int32_t peak = 0;
  for (unsigned i = 0; i < 240; ++i) {
    const int32_t left = decoder.channelSamples[0][i];
    // One gain for both: the right channel stays -0.5 times the left, within
    // the truncation of each to 20 bits.
    ASSERT_NEAR(decoder.channelSamples[1][i], -0.5 * left, 32.0) << "at " << i;
    peak = std::max(peak, std::abs(left));
  }
  EXPECT_LE(peak, static_cast<int32_t>(0.1 * 524287.0 + 1) * 16);
  EXPECT_GT(limiter->GetLimitedSamples(), 0);
}

TEST_F(AudioLimiterTest, CopiesRunOnTheirOwn) {
  auto limiter = Make();
  const CAudioFrame first = PcmFrame(Stereo(Samples(400, 30000)), 2, 1);
  const CAudioFrame second = PcmFrame(Stereo(Samples(400, -12000)), 2, 2);
  limiter->ProcessAudioFrame(&first);
  auto copy = std::make_unique<CQBXAudioLimiter>(*limiter);
  const CAudioFrame* fromOriginal = limiter->ProcessAudioFrame(&second);
  const CAudioFrame* fromCopy = copy->ProcessAudioFrame(&second);
  ASSERT_NE(fromOriginal, nullptr);
  ASSERT_NE(fromCopy, nullptr);
  EXPECT_NE(fromOriginal, fromCopy);
  EXPECT_EQ(PcmSamples(fromOriginal), PcmSamples(fromCopy));
  copy.reset();
  EXPECT_NE(limiter->ProcessAudioFrame(nullptr), nullptr);
}

}  // namespace
