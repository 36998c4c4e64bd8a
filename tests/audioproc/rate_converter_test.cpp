#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <numbers>
#include <vector>

#include "audioparse/audio_support.h"

namespace {

// libresample's high-quality filter works in 32-bit floats: against an ideal
// tone of amplitude 16000 its error stays within a few 16-bit steps.
constexpr int kToneTolerance = 8;
// The filter's first samples see the zeros before time 0.
constexpr size_t kFilterEdge = 64;

double Tone(double frequency, double rate, size_t index) {
  return std::sin(2.0 * std::numbers::pi * frequency * static_cast<double>(index) / rate);
}

// Left: a tone of amplitude 16000; right: the same at -0.5 times.
std::vector<short> StereoTone(int samples, double rate, double frequency) {
  std::vector<short> pcm(2 * samples);
  for (int i = 0; i < samples; ++i) {
    const double value = 16000.0 * Tone(frequency, rate, i);
    pcm[2 * i] = static_cast<short>(std::lround(value));
    pcm[2 * i + 1] = static_cast<short>(std::lround(-0.5 * value));
  }
  return pcm;
}

// Feeds `input` in blocks of the given sizes (cycled) and collects the output.
std::vector<short> Convert(CAudioSupport& converter, const std::vector<short>& input, const std::vector<int>& blocks) {
  std::vector<short> output;
  const int total = static_cast<int>(input.size() / 2);
  for (int done = 0, b = 0; done < total; ++b) {
    const int size = std::min(blocks[b % blocks.size()], total - done);
    std::vector<short> out(2 * (2 * size + 2));
    int used = -1, produced = -1;
    EXPECT_EQ(converter.ResampleStereoData(input.data() + 2 * done, size, used, out.data(), produced), 0);
    EXPECT_GE(produced, 0);
    EXPECT_GT(used, 0);
    output.insert(output.end(), out.begin(), out.begin() + 2 * produced);
    done += used;
  }
  return output;
}

void ExpectStereoTone(const std::vector<short>& output, double rate, double frequency) {
  for (size_t k = kFilterEdge; k < output.size() / 2; ++k) {
    const double expected = 16000.0 * Tone(frequency, rate, k);
    ASSERT_NEAR(output[2 * k], expected, kToneTolerance) << "left sample " << k;
    ASSERT_NEAR(output[2 * k + 1], -0.5 * expected, kToneTolerance) << "right sample " << k;
  }
}

// Down to 44.1 kHz and at a ratio of one, whole or in blocks of any size.
TEST(RateConverter, ConvertsAToneInBlocksOfAnySize) {
  const auto input = StereoTone(48000, 48000.0, 997.0);
  for (const int rate : {44100, 48000}) {
    CAudioSupport whole(48000, rate);
    CAudioSupport pieces(48000, rate);
    const auto a = Convert(whole, input, {48000});
    const auto b = Convert(pieces, input, {100, 1777, 3, 4096, 1, 250});
    // The filter holds back its last few samples: lastFlag is never set here.
    EXPECT_LE(a.size() / 2, static_cast<size_t>(rate));
    EXPECT_GT(a.size() / 2, rate - 100u);
    ASSERT_EQ(a.size(), b.size());
    // Float rounding differs with the block edges, within the filter's accuracy.
    for (size_t i = 0; i < a.size(); ++i) ASSERT_NEAR(a[i], b[i], kToneTolerance) << "at " << i;
    ExpectStereoTone(a, rate, 997.0);
    ExpectStereoTone(b, rate, 997.0);
  }
}

TEST(RateConverter, EmptyBlockAndHeldBackSamples) {
  CAudioSupport converter(48000, 96000);
  short nothing[2] = {0, 0};
  short out[2] = {7, 7};
  int used = -1, produced = -1;
  converter.ResampleStereoData(nothing, 0, used, out, produced);
  EXPECT_EQ(used, 0);
  EXPECT_EQ(produced, 0);
  EXPECT_EQ(out[0], 7);
  // A first block gives less than inputSamples * factor: the filter keeps
  // what it still needs until later blocks come.
  const auto input = StereoTone(1000, 48000.0, 1000.0);
  std::vector<short> output(2 * 2001);
  converter.ResampleStereoData(input.data(), 1000, used, output.data(), produced);
  EXPECT_EQ(used, 1000);
  EXPECT_LT(produced, 2000);
  EXPECT_GT(produced, 1900);
}

TEST(RateConverter, CopiesGetTheirOwnHandlesWithTheirHistory) {
  const auto input = StereoTone(8000, 48000.0, 440.0);
  const std::vector<short> firstHalf(input.begin(), input.begin() + 8000);
  const std::vector<short> secondHalf(input.begin() + 8000, input.end());
  CAudioSupport original(48000, 44100);
  Convert(original, firstHalf, {4000});
  const auto copy = std::make_unique<CAudioSupport>(original);
  const auto fromCopy = Convert(*copy, secondHalf, {4000});
  EXPECT_EQ(fromCopy, Convert(original, secondHalf, {4000}));
  EXPECT_EQ(copy->GetCurrentInputSamplingRate(), 48000);
  // Assignment closes the target's handles and takes duplicates; either object
  // may then go on or be destroyed alone (the sanitizer build checks both).
  CAudioSupport assigned(32000, 48000);
  assigned = *copy;
  EXPECT_EQ(assigned.GetCurrentInputSamplingRate(), 48000);
  Convert(assigned, secondHalf, {1000});
  Convert(*copy, secondHalf, {1000});
}

TEST(RateConverter, SingleChannelIsTheEndOfItsInput) {
  CAudioSupport converter;
  EXPECT_EQ(converter.GetCurrentInputSamplingRate(), 0);
  EXPECT_EQ(converter.InitSamplingRateConvert(48000, 24000, 1), 0);
  EXPECT_EQ(converter.GetCurrentInputSamplingRate(), 48000);
  std::vector<float> input(1000), output;
  for (size_t i = 0; i < input.size(); ++i) input[i] = static_cast<float>(Tone(1000.0, 48000.0, i));
  int used = 0;
  // lastFlag 1 zero-pads behind the block, so it all comes out at once.
  EXPECT_EQ(converter.ResampleSingleChannel(input, used, output, 0), 500);
  EXPECT_EQ(used, 1000);
  ASSERT_EQ(output.size(), 500u);
  // Float filter on a full-scale tone, away from both zero-padded edges.
  for (size_t k = kFilterEdge; k < 500 - kFilterEdge; ++k) {
    ASSERT_NEAR(output[k], Tone(1000.0, 24000.0, k), 1e-3) << "at " << k;
  }
}

TEST(RateConverter, LaterInitAppendsHandlesAndMovesTheRatio) {
  CAudioSupport converter(48000, 44100);
  converter.InitSamplingRateConvert(48000, 96000, 1);
  EXPECT_EQ(converter.GetCurrentInputSamplingRate(), 48000);
  std::vector<float> input(1000, 0.25f), output;
  int used = 0;
  EXPECT_EQ(converter.ResampleSingleChannel(input, used, output, 2), 2000);
  // The first handles were opened for 44.1/48 only; libresample refuses the
  // new ratio on them, and the output is left empty.
  output.assign(5, 1.0f);
  EXPECT_EQ(converter.ResampleSingleChannel(input, used, output, 0), -1);
  EXPECT_TRUE(output.empty());
}

}  // namespace
