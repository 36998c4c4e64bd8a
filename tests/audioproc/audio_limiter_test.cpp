#include "audioproc/audio_limiter.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "audioparse/audio_support.h"
#include "platform/buffer_alloc.h"

namespace {

using Samples = std::vector<int16_t>;

constexpr int kRate = 48000;
// 5 ms at 48 kHz: the envelope rises 60 dB over 240.5 samples.
const double kAttack = std::exp(std::log(1000.0) / 240.5);
// 200 ms: it falls 60 dB over 9600.5 samples.
const double kRelease = std::exp(std::log(0.001) / 9600.5);
const double kThreshold = std::pow(10.0, -6.0 / 20.0);

CAudioFrame PcmFrame(const Samples& interleaved, unsigned channels, int64_t stamp) {
  CAudioFrame frame;
  frame.audioType = AUDIO_FRAME_PCM;
  frame.channels = channels;
  frame.samplingRate = kRate;
  frame.stampA = stamp;
  frame.stampB = stamp + 1;
  frame.presentationTime = stamp * 100;
  for (int16_t sample : interleaved) {
    const uint8_t bytes[2] = {static_cast<uint8_t>(static_cast<uint16_t>(sample) >> 8),
                              static_cast<uint8_t>(sample & 0xFF)};
    frame.AppendData(bytes, 2);
  }
  return frame;
}

Samples PcmSamples(const CAudioFrame& frame) {
  Samples samples(frame.payloadLength / 2);
  for (size_t i = 0; i < samples.size(); ++i) {
    samples[i] = static_cast<int16_t>((frame.data[2 * i] << 8) | frame.data[2 * i + 1]);
  }
  return samples;
}

Samples Stereo(const std::vector<int16_t>& mono) {
  Samples stereo;
  for (int16_t s : mono) stereo.insert(stereo.end(), {s, s});
  return stereo;
}

// The gain of an envelope e above the threshold with threshold -6 dB and
// ceiling -1 dB: exponent 1 - 1 / 1.2.
double Gain(double envelope) { return envelope > kThreshold ? std::pow(kThreshold / envelope, 1.0 / 6.0) : 1.0; }

int16_t Limited(int16_t sample, double envelope) {
  return static_cast<int16_t>(static_cast<int32_t>(sample / 32767.0 * Gain(envelope) * 32767.0));
}

class AudioLimiterTest : public ::testing::Test {
 protected:
  void SetUp() override { blocks_ = BufferLiveBlocks(); }
  void TearDown() override { EXPECT_EQ(BufferLiveBlocks(), blocks_); }

  static std::unique_ptr<CQBXAudioLimiter> Make(double ceilingDB = -1.0, double thresholdDB = -6.0) {
    return std::make_unique<CQBXAudioLimiter>(ceilingDB, thresholdDB, kRate, 5, 200,
                                              CQBXAudioLimiter::HARD_CLIPPER_OFF);
  }

 private:
  int64_t blocks_ = 0;
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
  EXPECT_EQ(PcmSamples(*out), first);

  out = limiter->ProcessAudioFrame(nullptr);
  ASSERT_NE(out, nullptr);
  EXPECT_EQ(out->stampA, 22);
  EXPECT_EQ(out->presentationTime, 2200);
  EXPECT_EQ(PcmSamples(*out), second);
  EXPECT_EQ(limiter->ProcessAudioFrame(nullptr), nullptr);

  // After two flushes the limiter starts over: the next frame waits again.
  EXPECT_EQ(limiter->ProcessAudioFrame(&frame2), nullptr);
  out = limiter->ProcessAudioFrame(nullptr);
  ASSERT_NE(out, nullptr);
  EXPECT_EQ(out->stampA, 22);
  // A frame right after one flush gives nothing out: its block only waits.
  EXPECT_EQ(limiter->ProcessAudioFrame(&frame1), nullptr);

  int64_t samples = 0;
  double peakDB = 0.0;
  limiter->GetProcessingStatistics(0, samples, peakDB);
  EXPECT_EQ(samples, 100 + 80 + 80 + 100);
  EXPECT_EQ(peakDB, CAudioSupport::ConvertLevelToDB(2000));
  EXPECT_EQ(limiter->GetLimitedSamples(), 0);
}

TEST_F(AudioLimiterTest, SignalBelowThresholdPassesThrough) {
  auto limiter = Make();
  std::mt19937 rng(17);
  std::uniform_int_distribution<int> sample(-16400, 16400);  // below 0.5012 of full scale
  Samples in;
  Samples out;
  for (int f = 0; f <= 20; ++f) {
    Samples block(2 * (500 + 37 * f));
    for (auto& s : block) s = static_cast<int16_t>(sample(rng));
    const CAudioFrame frame = PcmFrame(block, 2, f);
    const CAudioFrame* result = limiter->ProcessAudioFrame(f < 20 ? &frame : nullptr);
    if (f < 20) in.insert(in.end(), block.begin(), block.end());
    if (result != nullptr) {
      const Samples got = PcmSamples(*result);
      out.insert(out.end(), got.begin(), got.end());
    }
  }
  ASSERT_EQ(out.size(), in.size());
  // The way through doubles may bring a sample one step nearer to zero.
  for (size_t i = 0; i < in.size(); ++i) {
    ASSERT_TRUE(out[i] == in[i] || out[i] == in[i] - (in[i] > 0 ? 1 : -1)) << i << ": " << in[i] << " " << out[i];
  }
  EXPECT_EQ(limiter->GetLimitedSamples(), 0);
}

TEST_F(AudioLimiterTest, HeldFullScaleComesOutAtTheCeiling) {
  // Threshold -6 dB, ceiling -1 dB: a full-scale envelope gives 10^(-1/20).
  const auto atCeiling = static_cast<int16_t>(32767 * 0.891251);
  ASSERT_EQ(atCeiling, 29203);
  auto limiter = Make();
  const CAudioFrame loud = PcmFrame(Stereo(Samples(1000, 32767)), 2, 1);
  limiter->ProcessAudioFrame(&loud);
  const CAudioFrame* out = limiter->ProcessAudioFrame(&loud);
  ASSERT_NE(out, nullptr);
  EXPECT_EQ(PcmSamples(*out), Stereo(Samples(1000, atCeiling)));
  EXPECT_EQ(limiter->GetLimitedSamples(), 1000);

  // A ceiling equal to the threshold puts every peak at the threshold.
  auto flat = Make(-6.0, -6.0);
  const CAudioFrame negative = PcmFrame(Stereo(Samples(500, -32767)), 2, 1);
  flat->ProcessAudioFrame(&negative);
  out = flat->ProcessAudioFrame(nullptr);
  ASSERT_NE(out, nullptr);
  EXPECT_EQ(PcmSamples(*out), Stereo(Samples(500, static_cast<int16_t>(-32767 * kThreshold))));
}

TEST_F(AudioLimiterTest, EnvelopeRampsUpBeforeAnIsolatedPeakAndReleasesAfter) {
  // A steady 0.25 of full scale with one full-scale sample 10 samples into the
  // second frame: the ramp reaches back into the first, waiting block.
  constexpr int kFrame = 480;
  constexpr int kPeak = kFrame + 10;
  constexpr int16_t kBed = 8192;
  Samples mono(3 * kFrame, kBed);
  mono[kPeak] = 32767;
  auto limiter = Make();
  Samples out;
  std::vector<CAudioFrame> frames;
  for (int f = 0; f < 3; ++f) {
    frames.push_back(PcmFrame(Stereo(Samples(mono.begin() + f * kFrame, mono.begin() + (f + 1) * kFrame)), 2, f));
  }
  for (int f = 0; f <= 3; ++f) {
    const CAudioFrame* result = limiter->ProcessAudioFrame(f < 3 ? &frames[f] : nullptr);
    if (result != nullptr) {
      const Samples got = PcmSamples(*result);
      out.insert(out.end(), got.begin(), got.end());
    }
  }
  ASSERT_EQ(out.size(), 2u * mono.size());

  // Expected envelope: 1/attack^j at j samples before the peak, for as long
  // as that is above what the bed can reach in one step; then the bed.
  std::vector<double> envelope(mono.size(), kBed / 32767.0);
  for (int j = 0; std::pow(kAttack, -j) > envelope[0] * kAttack; ++j) envelope[kPeak - j] = std::pow(kAttack, -j);
  for (size_t i = kPeak + 1; i < mono.size(); ++i) envelope[i] = std::max(envelope[i - 1] * kRelease, envelope[0]);
  int64_t limited = 0;
  for (size_t i = 0; i < mono.size(); ++i) {
    limited += envelope[i] > kThreshold ? 1 : 0;
    // pow against the library's successive products: one step at most.
    ASSERT_NEAR(out[2 * i], Limited(mono[i], envelope[i]), 1) << "at " << i;
    ASSERT_EQ(out[2 * i], out[2 * i + 1]);
  }
  EXPECT_LT(out[2 * (kPeak - 20)], kBed);      // in the first frame's block
  EXPECT_EQ(out[2 * (kPeak - 30)], kBed);  // the ramp is below the threshold there
  EXPECT_NEAR(out[2 * kPeak], 29203, 1);
  EXPECT_NEAR(limiter->GetLimitedSamples(), limited, 2);  // samples right at the threshold may go either way
}

TEST_F(AudioLimiterTest, NothingAboveTheCeilingOnALongProgrammeWithPeaks) {
  // Ten seconds of noise at changing levels with bursts and isolated peaks
  // (some at -32768), fed in frames longer than the attack time.
  std::mt19937 rng(2024);
  std::normal_distribution<double> noise(0.0, 1.0);
  std::uniform_real_distribution<double> uniform(0.0, 1.0);
  const size_t total = 10 * kRate;
  Samples programme(2 * total);
  double level = 3000.0;
  for (size_t i = 0; i < total; ++i) {
    if (i % 4800 == 0) level = 500.0 + 20000.0 * uniform(rng);
    for (int c = 0; c < 2; ++c) {
      double value = level * noise(rng);
      if (uniform(rng) < 0.0005) value = uniform(rng) < 0.5 ? -32768.0 : 32767.0;
      programme[2 * i + c] = static_cast<int16_t>(std::clamp(value, -32768.0, 32767.0));
    }
  }
  auto limiter = Make();
  constexpr size_t kFrame = 1920;
  int16_t peak = 0;
  size_t outSamples = 0;
  for (size_t start = 0; start <= total; start += kFrame) {
    const size_t end = std::min(start + kFrame, total);
    const CAudioFrame frame = PcmFrame(Samples(programme.begin() + 2 * start, programme.begin() + 2 * end), 2, 0);
    const CAudioFrame* result = limiter->ProcessAudioFrame(start < total ? &frame : nullptr);
    if (result == nullptr) continue;
    for (int16_t s : PcmSamples(*result)) peak = std::max<int16_t>(peak, static_cast<int16_t>(std::abs(s)));
    outSamples += result->payloadLength / 4;
  }
  EXPECT_EQ(outSamples, total);
  EXPECT_LE(peak, 29203 + 1);
  EXPECT_GT(peak, 29000);
  int64_t samples = 0;
  double peakDB = 0.0;
  limiter->GetProcessingStatistics(0, samples, peakDB);
  EXPECT_EQ(samples, static_cast<int64_t>(total));
  EXPECT_EQ(peakDB, CAudioSupport::ConvertLevelToDB(peak));
  EXPECT_GT(limiter->GetLimitedSamples(), 0);
}

TEST_F(AudioLimiterTest, MonoStaysMonoAndMoreChannelsBecomeStereo) {
  auto limiter = Make();
  const CAudioFrame mono = PcmFrame(Samples(300, 32767), 1, 1);
  limiter->ProcessAudioFrame(&mono);
  const CAudioFrame* out = limiter->ProcessAudioFrame(nullptr);
  ASSERT_NE(out, nullptr);
  EXPECT_EQ(out->channels, 1u);
  EXPECT_EQ(PcmSamples(*out), Samples(300, 29203));

  // Four channels: the first two are limited and go out as stereo.
  Samples quad;
  for (int i = 0; i < 200; ++i) quad.insert(quad.end(), {100, -200, 32767, 32767});
  const CAudioFrame frame = PcmFrame(quad, 4, 2);
  limiter->ProcessAudioFrame(&frame);
  out = limiter->ProcessAudioFrame(nullptr);
  ASSERT_NE(out, nullptr);
  EXPECT_EQ(out->channels, 2u);
  Samples expected;
  for (int i = 0; i < 200; ++i) expected.insert(expected.end(), {100, -200});
  EXPECT_EQ(PcmSamples(*out), expected);

  // No channels, and a type the limiter does not read: no samples at all.
  CAudioFrame empty = PcmFrame(Samples(8, 1), 0, 3);
  CAudioFrame other = PcmFrame(Samples(8, 1), 2, 4);
  other.audioType = AUDIO_FRAME_UNKNOWN;
  EXPECT_EQ(limiter->ProcessAudioFrame(&empty), nullptr);
  EXPECT_EQ(limiter->ProcessAudioFrame(&other), nullptr);
  EXPECT_EQ(limiter->ProcessAudioFrame(nullptr), nullptr);
  int64_t samples = 0;
  double peakDB = 0.0;
  limiter->GetProcessingStatistics(0, samples, peakDB);
  EXPECT_EQ(samples, 500);
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
    EXPECT_EQ(PcmSamples(*out), Stereo(Samples(20000, static_cast<int16_t>(1000 + f - 1))));
  }
  // A frame larger than the buffers is refused whole.
  const CAudioFrame huge = PcmFrame(Stereo(Samples(40000, 5)), 2, 9);
  const CAudioFrame* out = limiter->ProcessAudioFrame(&huge);
  ASSERT_NE(out, nullptr);
  EXPECT_EQ(out->stampA, 2);
  EXPECT_EQ(limiter->ProcessAudioFrame(nullptr), nullptr);
  int64_t samples = 0;
  double peakDB = 0.0;
  limiter->GetProcessingStatistics(0, samples, peakDB);
  EXPECT_EQ(samples, 60000);
}

TEST_F(AudioLimiterTest, SMPTE302MFramesAreLimitedAndRewrittenAt20Bits) {
  // A unit of the writer's own holding full scale in both channels.
  std::vector<std::vector<double>> loud(2, std::vector<double>(256, 1.0));
  CAudioFrame encoded;
  CSMPTE302MDecode::EncodeFrame(loud, 256, 1.0, &encoded);
  encoded.stampA = 5;
  encoded.channels = 2;
  auto limiter = Make();
  EXPECT_EQ(limiter->ProcessAudioFrame(&encoded), nullptr);
  const CAudioFrame* out = limiter->ProcessAudioFrame(nullptr);
  ASSERT_NE(out, nullptr);
  EXPECT_EQ(out->audioType, AUDIO_FRAME_SMPTE302M);
  EXPECT_EQ(out->stampA, 5);
  EXPECT_EQ(out->bitsPerSample, 20u);
  EXPECT_EQ(out->samplingRate, 48000u);
  EXPECT_EQ(out->payloadLength, 4u + 256 * 6);
  CSMPTE302MDecode decoder;
  ASSERT_EQ(decoder.DecodeFrame(out->data), 256u);
  // Input 524287 << 4 at 24 bits; the envelope sits on it.
  const double in = 8388592.0 / 8388607.0;
  const auto expected = static_cast<int32_t>(in * Gain(in) * 524287.0) * 16;
  for (unsigned c = 0; c < 2; ++c) {
    for (unsigned i = 0; i < 256; ++i) ASSERT_EQ(decoder.channelSamples[c][i], expected) << c << " " << i;
  }
}

TEST_F(AudioLimiterTest, FirstTwoOfFour302MChannelsGoOutAsStereo) {
  // FFmpeg's 24-bit unit of pink noise at gains 1, -0.5, 0.25 and -1.
  std::ifstream in(std::string(CORVANE_TEST_DATA) + "/s302m_ffmpeg_24bit_quad.302m", std::ios::binary);
  const std::vector<uint8_t> unit((std::istreambuf_iterator<char>(in)), {});
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
    const int32_t right = decoder.channelSamples[1][i];
    // One gain for both: the right channel stays -0.5 times the left, within
    // the truncation of each to 20 bits.
    ASSERT_NEAR(right, -0.5 * left, 32.0) << "at " << i;
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
  EXPECT_EQ(PcmSamples(*fromOriginal), PcmSamples(*fromCopy));
  copy.reset();
  EXPECT_NE(limiter->ProcessAudioFrame(nullptr), nullptr);
}

}  // namespace
