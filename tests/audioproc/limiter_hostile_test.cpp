// Limiter settings and frames found by fuzzing that once went wrong.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <vector>

#include "audioproc/audio_limiter.h"
#include "pcm16_frames.h"

namespace {

using audioproc_test::PcmFrame;
using audioproc_test::PcmSamples;
using audioproc_test::Samples;

// Equal ceiling and threshold make the gain exponent 1: peaks come out at the
// threshold. At 0 dB the exponent was once 1 - 1/(0/0), a NaN that the 16-bit
// output then converted; -32768 lies just above full scale (32767).
TEST(LimiterHostileTest, CeilingEqualToThresholdPutsPeaksAtTheThreshold) {
  const auto atMinus6 = static_cast<int16_t>(-32767 * std::pow(10.0, -6.0 / 20.0));
  const struct {
    double levelDB;
    Samples in, out;
    int64_t limited;  // the look-ahead ramp and the release stay below the threshold around a lone peak
  } cases[] = {
      {0.0, {1000, -1000, -32768, -32768, 1000, -1000, 0, 0}, {1000, -1000, -32767, -32767, 1000, -1000, 0, 0}, 1},
      {-6.0, Samples(1000, -32767), Samples(1000, atMinus6), 500}};
  for (const auto& c : cases) {
    CQBXAudioLimiter limiter(c.levelDB, c.levelDB, 48000, 5, 200, CQBXAudioLimiter::HARD_CLIPPER_OFF);
    const CAudioFrame first = PcmFrame(c.in);
    const CAudioFrame second = PcmFrame({0, 0, 0, 0});
    EXPECT_EQ(limiter.ProcessAudioFrame(&first), nullptr);
    EXPECT_EQ(PcmSamples(limiter.ProcessAudioFrame(&second)), c.out) << c.levelDB;
    EXPECT_EQ(limiter.GetLimitedSamples(), c.limited) << c.levelDB;
  }
}

}  // namespace
