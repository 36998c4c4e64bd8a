// Limiter settings and frames found by fuzzing that once went wrong.
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "audioproc/audio_limiter.h"
#include "pcm16_frames.h"

namespace {

using audioproc_test::PcmFrame;
using audioproc_test::PcmSamples;

// Ceiling and threshold both at 0 dB once gave the gain exponent 1 - 1/(0/0),
// a NaN that the 16-bit output then converted. Equal levels mean exponent 1:
// -32768 lies just above full scale (32767) and comes out at the threshold.
TEST(LimiterHostileTest, CeilingEqualToThresholdAtZeroDecibelsLimitsToFullScale) {
  CQBXAudioLimiter limiter(0.0, 0.0, 48000, 5, 200, CQBXAudioLimiter::HARD_CLIPPER_OFF);
  const CAudioFrame first = PcmFrame({1000, -1000, -32768, -32768, 1000, -1000, 0, 0});
  const CAudioFrame second = PcmFrame({0, 0, 0, 0});
  EXPECT_EQ(limiter.ProcessAudioFrame(&first), nullptr);
  EXPECT_EQ(PcmSamples(limiter.ProcessAudioFrame(&second)),
            (std::vector<int16_t>{1000, -1000, -32767, -32767, 1000, -1000, 0, 0}));
}

}  // namespace
