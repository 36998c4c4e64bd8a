// Limiter settings and frames found by fuzzing that once went wrong.
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "audioproc/audio_limiter.h"

namespace {

CAudioFrame StereoPcm(const std::vector<int16_t>& interleaved) {
  CAudioFrame frame;
  frame.audioType = AUDIO_FRAME_PCM;
  frame.channels = 2;
  for (int16_t sample : interleaved) {
    const uint8_t bytes[2] = {static_cast<uint8_t>(static_cast<uint16_t>(sample) >> 8),
                              static_cast<uint8_t>(sample & 0xFF)};
    frame.AppendData(bytes, 2);
  }
  return frame;
}

std::vector<int16_t> Samples(const CAudioFrame* frame) {
  std::vector<int16_t> samples;
  for (uint32_t i = 0; frame != nullptr && i + 1 < frame->payloadLength; i += 2) {
    samples.push_back(static_cast<int16_t>((frame->data[i] << 8) | frame->data[i + 1]));
  }
  return samples;
}

// Ceiling and threshold both at 0 dB once gave the gain exponent 1 - 1/(0/0),
// a NaN that the 16-bit output then converted. Equal levels mean exponent 1:
// -32768 lies just above full scale (32767) and comes out at the threshold.
TEST(LimiterHostileTest, CeilingEqualToThresholdAtZeroDecibelsLimitsToFullScale) {
  CQBXAudioLimiter limiter(0.0, 0.0, 48000, 5, 200, CQBXAudioLimiter::HARD_CLIPPER_OFF);
  const CAudioFrame first = StereoPcm({1000, -1000, -32768, -32768, 1000, -1000, 0, 0});
  const CAudioFrame second = StereoPcm({0, 0, 0, 0});
  EXPECT_EQ(limiter.ProcessAudioFrame(&first), nullptr);
  EXPECT_EQ(Samples(limiter.ProcessAudioFrame(&second)),
            (std::vector<int16_t>{1000, -1000, -32767, -32767, 1000, -1000, 0, 0}));
}

}  // namespace
