// The tool's limit, resample and s302m commands, run as a user runs them.
#include <sndfile.h>

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <numbers>
#include <string>
#include <vector>

#include "limiter_pass.h"
#include "support/run_process.h"
#include "support/temp_folder.h"

namespace {

using Bytes = std::vector<uint8_t>;

struct Sound {
  int rate = 48000;
  int channels = 2;
  std::vector<int32_t> samples;  // interleaved, 32-bit full scale
};

// One tone a channel, rounded to 16 bits.
Sound Tones(int rate, const std::vector<double>& frequencies, size_t frames, double amplitude) {
  Sound sound{rate, static_cast<int>(frequencies.size()), {}};
  for (size_t i = 0; i < frames; ++i) {
    for (double f : frequencies) {
      const double value = amplitude * std::sin(2.0 * std::numbers::pi * f * static_cast<double>(i) / rate);
      sound.samples.push_back(static_cast<int32_t>(std::lround(value * 32767.0)) * 65536);
    }
  }
  return sound;
}

// Runs the tool inside a folder of its own, so that file names stand alone.
class AudioCommandsTest : public ::testing::Test {
 protected:
  std::string Path(const std::string& name) const { return folder_.Path() + "/" + name; }

  corvane::test::ProcessResult Run(const std::string& arguments) const {
    return corvane::test::RunProcess("cd '" + folder_.Path() + "' && " + CORVANE_TOOL_PATH + " " + arguments + " 2>&1");
  }

  // The command fails with `message` and leaves no `output` behind.
  void ExpectRefusal(const std::string& arguments, const std::string& message,
                     const std::string& output = "out.wav") const {
    const corvane::test::ProcessResult result = Run(arguments);
    EXPECT_EQ(result.exitStatus, 1) << arguments;
    EXPECT_NE(result.output.find(message), std::string::npos) << result.output;
    EXPECT_FALSE(std::filesystem::exists(Path(output))) << arguments;
  }

  void Write(const std::string& name, const Sound& sound, int encoding = SF_FORMAT_PCM_16) const {
    SF_INFO info{};
    info.samplerate = sound.rate;
    info.channels = sound.channels;
    info.format = SF_FORMAT_WAV | encoding;
    SNDFILE* file = sf_open(Path(name).c_str(), SFM_WRITE, &info);
    ASSERT_NE(file, nullptr) << name;
    sf_writef_int(file, sound.samples.data(), static_cast<sf_count_t>(sound.samples.size() / sound.channels));
    sf_close(file);
  }

  Sound Read(const std::string& name, int* encoding = nullptr) const {
    SF_INFO info{};
    SNDFILE* file = sf_open(Path(name).c_str(), SFM_READ, &info);
    EXPECT_NE(file, nullptr) << name;
    if (file == nullptr) return {};
    Sound sound{info.samplerate, info.channels, std::vector<int32_t>(static_cast<size_t>(info.frames * info.channels))};
    sf_readf_int(file, sound.samples.data(), info.frames);
    sf_close(file);
    if (encoding != nullptr) *encoding = info.format & SF_FORMAT_SUBMASK;
    return sound;
  }

  corvane::test::TempFolder folder_;
};

// The file holds what the library's limiter gives for frames of 1920.
TEST_F(AudioCommandsTest, LimitWritesWhatTheLimiterGives) {
  Sound in = Tones(48000, {440.0, 550.0}, 48000, 0.25);  // -12 dBFS, with a full-scale square burst
  for (size_t i = 20000; i < 22000; ++i) {
    in.samples[2 * i] = (i / 50) % 2 ? 32767 * 65536 : -32767 * 65536;
    in.samples[2 * i + 1] = -in.samples[2 * i];
  }
  Write("in.wav", in);
  const corvane::test::ProcessResult result = Run("limit in.wav out.wav");
  ASSERT_EQ(result.exitStatus, 0) << result.output;
  EXPECT_NE(result.output.find("48000 samples a channel"), std::string::npos) << result.output;
  EXPECT_NE(result.output.find("output peak -1.00 dBFS"), std::string::npos) << result.output;

  std::vector<int16_t> pcm, expected;
  for (int32_t s : in.samples) pcm.push_back(static_cast<int16_t>(s >> 16));
  CQBXAudioLimiter limiter(-1.0, -6.0, 48000, 5, 200, CQBXAudioLimiter::HARD_CLIPPER_OFF);
  corvane::tool::LimiterPass pass(limiter, 2, 48000);
  for (size_t start = 0; start < 48000; start += 1920) pass.Feed(pcm.data() + 2 * start, 1920, expected);
  pass.Flush(expected);
  const Sound out = Read("out.wav");
  ASSERT_EQ(out.samples.size(), expected.size());
  for (size_t i = 0; i < expected.size(); ++i) ASSERT_EQ(out.samples[i] >> 16, expected[i]) << "at " << i;
}

TEST_F(AudioCommandsTest, RefusalsNameTheirReasonAndLeaveNoFile) {
  Write("stereo.wav", Tones(48000, {440.0, 440.0}, 100, 0.5));
  Write("three.wav", Tones(48000, {440.0, 440.0, 440.0}, 100, 0.5));
  Write("44k.wav", Tones(44100, {440.0}, 100, 0.5));
  ExpectRefusal("limit stereo.wav out.wav --threshold -1 --ceiling -3", "--threshold must not be above --ceiling");
  ExpectRefusal("limit three.wav out.wav", "three.wav: the limiter takes mono or stereo, not 3 channels");
  ExpectRefusal("resample stereo.wav out.wav", "--rate HZ is required");
  ExpectRefusal("s302m encode 44k.wav out.302m", "44k.wav: SMPTE 302M carries 48000 Hz audio, not 44100", "out.302m");
}

TEST_F(AudioCommandsTest, ResampleKeepsDurationAndEachChannelsTone) {
  const std::vector<double> frequencies = {500.0, 1000.0, 1500.0};  // a pair and an odd channel
  Write("in.wav", Tones(48000, frequencies, 48000, 0.5));
  const corvane::test::ProcessResult result = Run("resample in.wav out.wav --rate 44100");
  ASSERT_EQ(result.exitStatus, 0) << result.output;
  const Sound out = Read("out.wav");
  EXPECT_EQ(out.rate, 44100);
  ASSERT_EQ(out.channels, 3);
  ASSERT_EQ(out.samples.size(), 3 * 44100u);
  // libresample's float filter against an ideal tone: a few 16-bit steps; the
  // first and last samples see the edges of the signal.
  for (size_t i = 64; i < 44100 - 64; ++i) {
    for (int c = 0; c < 3; ++c) {
      const double ideal = 0.5 * 32767.0 * std::sin(2.0 * std::numbers::pi * frequencies[c] * i / 44100.0);
      ASSERT_NEAR(out.samples[3 * i + c] >> 16, ideal, 8.0) << "channel " << c << " at " << i;
    }
  }
}

TEST_F(AudioCommandsTest, S302MRoundTripKeepsTheTopTwentyBits) {
  Sound in = Tones(48000, {440.0, 660.0}, 5000, 0.9);
  for (size_t i = 0; i < in.samples.size(); i += 7) in.samples[i] += 0x1234 * 16;  // bits below 20 matter
  Write("in.wav", in, SF_FORMAT_PCM_24);
  ASSERT_EQ(Run("s302m encode in.wav units.302m").exitStatus, 0);
  // Units of 1920, 1920 and 1160 samples, 6 bytes a stereo sample.
  EXPECT_EQ(corvane::test::ReadWholeFile<Bytes>(Path("units.302m")).size(), 3 * 4 + 5000u * 6);
  const corvane::test::ProcessResult result = Run("s302m decode units.302m back.wav");
  ASSERT_EQ(result.exitStatus, 0) << result.output;
  EXPECT_NE(result.output.find("3 units, 2 channels of 20 bits, 5000 samples a channel"), std::string::npos)
      << result.output;
  int encoding = 0;
  const Sound back = Read("back.wav", &encoding);
  EXPECT_EQ(encoding, SF_FORMAT_PCM_24);
  ASSERT_EQ(back.samples.size(), in.samples.size());
  for (size_t i = 0; i < in.samples.size(); ++i) ASSERT_EQ(back.samples[i], in.samples[i] & ~0xFFF) << "at " << i;

  // Mono goes to both channels.
  Write("mono.wav", Tones(48000, {440.0}, 100, 0.5));
  ASSERT_EQ(Run("s302m encode mono.wav mono.302m").exitStatus, 0);
  ASSERT_EQ(Run("s302m decode mono.302m m.wav").exitStatus, 0);
  const Sound monoBack = Read("m.wav");
  ASSERT_EQ(monoBack.channels, 2);
  for (size_t i = 0; i < 100; ++i) ASSERT_EQ(monoBack.samples[2 * i], monoBack.samples[2 * i + 1]);
}

TEST_F(AudioCommandsTest, S302MDecodeOfFFmpegUnitsAndOfDamagedFiles) {
  const std::string stem = std::string(CORVANE_TEST_DATA) + "/s302m_ffmpeg_16bit_stereo";
  const std::string unit = corvane::test::ReadWholeFile(stem + ".302m");
  const Bytes reference = corvane::test::ReadWholeFile<Bytes>(stem + ".s16le");
  folder_.Write("twice.302m", unit + unit);
  ASSERT_EQ(Run("s302m decode twice.302m twice.wav").exitStatus, 0);
  int encoding = 0;
  const Sound decoded = Read("twice.wav", &encoding);
  EXPECT_EQ(encoding, SF_FORMAT_PCM_16);
  ASSERT_EQ(decoded.samples.size(), reference.size());  // 2 x 960 stereo samples, 2 bytes each in the reference
  for (size_t i = 0; i < decoded.samples.size(); ++i) {
    const size_t r = 2 * (i % (reference.size() / 2));
    ASSERT_EQ(decoded.samples[i] >> 16, static_cast<int16_t>(reference[r] | (reference[r + 1] << 8))) << "at " << i;
  }

  // A unit that claims more than is left, a stray tail behind a unit, nothing at all.
  folder_.Write("cut.302m", unit.substr(0, 1000));
  folder_.Write("tail.302m", unit + std::string("\x00\x10", 2));
  folder_.Write("empty.302m", "");
  ExpectRefusal("s302m decode cut.302m out.wav", "cut.302m: unit 1 at byte 0: claims 4804 bytes but only 1000 remain");
  ExpectRefusal("s302m decode tail.302m out.wav", "unit 2 at byte 4804: 2 bytes left, too few for a header");
  ExpectRefusal("s302m decode empty.302m out.wav", "empty.302m: no SMPTE 302M units");
}

}  // namespace
