// The tool's limit, resample and s302m commands, run as a user runs them.
#include <sndfile.h>

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <numbers>
#include <string>
#include <vector>

#include "limiter_pass.h"
#include "support/run_process.h"
#include "support/temp_folder.h"

namespace {

using corvane::test::ProcessResult;
using Bytes = std::vector<uint8_t>;

ProcessResult RunTool(const std::string& arguments) {
  return corvane::test::RunProcess(std::string(CORVANE_TOOL_PATH) + " " + arguments + " 2>&1");
}

struct Sound {
  int rate = 48000;
  int channels = 2;
  std::vector<int32_t> samples;  // interleaved, 32-bit full scale
  size_t Frames() const { return samples.size() / static_cast<size_t>(channels); }
};

void WriteSound(const std::string& path, const Sound& sound, int encoding = SF_FORMAT_PCM_16) {
  SF_INFO info{};
  info.samplerate = sound.rate;
  info.channels = sound.channels;
  info.format = SF_FORMAT_WAV | encoding;
  SNDFILE* file = sf_open(path.c_str(), SFM_WRITE, &info);
  ASSERT_NE(file, nullptr) << path;
  sf_writef_int(file, sound.samples.data(), static_cast<sf_count_t>(sound.Frames()));
  sf_close(file);
}

Sound ReadSound(const std::string& path, int* encoding = nullptr) {
  SF_INFO info{};
  SNDFILE* file = sf_open(path.c_str(), SFM_READ, &info);
  Sound sound;
  EXPECT_NE(file, nullptr) << path;
  if (file == nullptr) return sound;
  sound.rate = info.samplerate;
  sound.channels = info.channels;
  sound.samples.resize(static_cast<size_t>(info.frames * info.channels));
  sf_readf_int(file, sound.samples.data(), info.frames);
  sf_close(file);
  if (encoding != nullptr) *encoding = info.format & SF_FORMAT_SUBMASK;
  return sound;
}

Sound Tones(int rate, const std::vector<double>& frequencies, size_t frames, double amplitude) {
  Sound sound;
  sound.rate = rate;
  sound.channels = static_cast<int>(frequencies.size());
  for (size_t i = 0; i < frames; ++i) {
    for (double f : frequencies) {
      const double value = amplitude * std::sin(2.0 * std::numbers::pi * f * static_cast<double>(i) / rate);
      sound.samples.push_back(static_cast<int32_t>(std::lround(value * 32767.0)) * 65536);
    }
  }
  return sound;
}

void WriteBytes(const std::string& path, const std::vector<uint8_t>& bytes) {
  std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(bytes.data()),
                                              static_cast<std::streamsize>(bytes.size()));
}

class AudioCommandsTest : public ::testing::Test {
 protected:
  std::string Path(const std::string& name) const { return folder_.Path() + "/" + name; }

 private:
  corvane::test::TempFolder folder_;
};

TEST_F(AudioCommandsTest, LimitWritesWhatTheLimiterGives) {
  // A tone at -12 dBFS with a full-scale square burst in the middle.
  Sound in = Tones(48000, {440.0, 550.0}, 48000, 0.25);
  for (size_t i = 20000; i < 22000; ++i) {
    in.samples[2 * i] = (i / 50) % 2 ? 32767 * 65536 : -32767 * 65536;
    in.samples[2 * i + 1] = -in.samples[2 * i];
  }
  WriteSound(Path("in.wav"), in);
  const ProcessResult result = RunTool("limit " + Path("in.wav") + " " + Path("out.wav"));
  ASSERT_EQ(result.exitStatus, 0) << result.output;
  EXPECT_NE(result.output.find("48000 samples a channel"), std::string::npos) << result.output;
  EXPECT_NE(result.output.find("output peak -1.00 dBFS"), std::string::npos) << result.output;

  // The same frames of 1920 through the library directly.
  std::vector<int16_t> pcm;
  for (int32_t s : in.samples) pcm.push_back(static_cast<int16_t>(s >> 16));
  CQBXAudioLimiter limiter(-1.0, -6.0, 48000, 5, 200, CQBXAudioLimiter::HARD_CLIPPER_OFF);
  corvane::tool::LimiterPass pass(limiter, 2, 48000);
  std::vector<int16_t> expected;
  for (size_t start = 0; start < 48000; start += 1920) pass.Feed(pcm.data() + 2 * start, 1920, expected);
  pass.Flush(expected);

  const Sound out = ReadSound(Path("out.wav"));
  ASSERT_EQ(out.samples.size(), expected.size());
  for (size_t i = 0; i < expected.size(); ++i) ASSERT_EQ(out.samples[i] >> 16, expected[i]) << "at " << i;
}

TEST_F(AudioCommandsTest, LimitRefusesBadSettingsAndChannelCounts) {
  WriteSound(Path("stereo.wav"), Tones(48000, {440.0, 440.0}, 100, 0.5));
  ProcessResult result =
      RunTool("limit " + Path("stereo.wav") + " " + Path("out.wav") + " --threshold -1 --ceiling -3");
  EXPECT_EQ(result.exitStatus, 1);
  EXPECT_NE(result.output.find("--threshold must not be above --ceiling"), std::string::npos) << result.output;
  WriteSound(Path("three.wav"), Tones(48000, {440.0, 440.0, 440.0}, 100, 0.5));
  result = RunTool("limit " + Path("three.wav") + " " + Path("out.wav"));
  EXPECT_EQ(result.exitStatus, 1);
  EXPECT_NE(result.output.find("three.wav: the limiter takes mono or stereo, not 3 channels"), std::string::npos)
      << result.output;
  EXPECT_FALSE(std::filesystem::exists(Path("out.wav")));
}

TEST_F(AudioCommandsTest, ResampleKeepsDurationAndEachChannelsTone) {
  // Three channels: a pair and an odd one, each its own tone.
  const std::vector<double> frequencies = {500.0, 1000.0, 1500.0};
  WriteSound(Path("in.wav"), Tones(48000, frequencies, 48000, 0.5));
  const ProcessResult result = RunTool("resample " + Path("in.wav") + " " + Path("out.wav") + " --rate 44100");
  ASSERT_EQ(result.exitStatus, 0) << result.output;
  const Sound out = ReadSound(Path("out.wav"));
  EXPECT_EQ(out.rate, 44100);
  ASSERT_EQ(out.channels, 3);
  ASSERT_EQ(out.Frames(), 44100u);
  // libresample's float filter against an ideal tone: a few 16-bit steps; its
  // first and last samples see the edges of the signal.
  for (size_t i = 64; i < 44100 - 64; ++i) {
    for (int c = 0; c < 3; ++c) {
      const double ideal = 0.5 * 32767.0 * std::sin(2.0 * std::numbers::pi * frequencies[c] * i / 44100.0);
      ASSERT_NEAR(out.samples[3 * i + c] >> 16, ideal, 8.0) << "channel " << c << " at " << i;
    }
  }
  EXPECT_EQ(RunTool("resample " + Path("in.wav") + " " + Path("x.wav")).exitStatus, 1);
}

TEST_F(AudioCommandsTest, S302MRoundTripKeepsTheTopTwentyBits) {
  Sound in = Tones(48000, {440.0, 660.0}, 5000, 0.9);
  for (size_t i = 0; i < in.samples.size(); i += 7) in.samples[i] += 0x1234 * 16;  // bits below 20 matter
  WriteSound(Path("in.wav"), in, SF_FORMAT_PCM_24);
  ASSERT_EQ(RunTool("s302m encode " + Path("in.wav") + " " + Path("units.302m")).exitStatus, 0);
  // 5000 samples: two units of 1920 and one of 1160, 6 bytes a sample each.
  EXPECT_EQ(corvane::test::ReadWholeFile<Bytes>(Path("units.302m")).size(), 3 * 4 + 5000u * 6);
  const ProcessResult result = RunTool("s302m decode " + Path("units.302m") + " " + Path("back.wav"));
  ASSERT_EQ(result.exitStatus, 0) << result.output;
  EXPECT_NE(result.output.find("3 units, 2 channels of 20 bits, 5000 samples a channel"), std::string::npos)
      << result.output;
  int encoding = 0;
  const Sound back = ReadSound(Path("back.wav"), &encoding);
  EXPECT_EQ(encoding, SF_FORMAT_PCM_24);
  ASSERT_EQ(back.samples.size(), in.samples.size());
  for (size_t i = 0; i < in.samples.size(); ++i) {
    ASSERT_EQ(back.samples[i], in.samples[i] & ~0xFFF) << "at " << i;
  }

  // Mono goes to both channels.
  WriteSound(Path("mono.wav"), Tones(48000, {440.0}, 100, 0.5));
  ASSERT_EQ(RunTool("s302m encode " + Path("mono.wav") + " " + Path("mono.302m")).exitStatus, 0);
  ASSERT_EQ(RunTool("s302m decode " + Path("mono.302m") + " " + Path("mono-back.wav")).exitStatus, 0);
  const Sound monoBack = ReadSound(Path("mono-back.wav"));
  ASSERT_EQ(monoBack.channels, 2);
  for (size_t i = 0; i < 100; ++i) ASSERT_EQ(monoBack.samples[2 * i], monoBack.samples[2 * i + 1]);

  WriteSound(Path("44k.wav"), Tones(44100, {440.0}, 100, 0.5));
  EXPECT_EQ(RunTool("s302m encode " + Path("44k.wav") + " " + Path("x.302m")).exitStatus, 1);
}

TEST_F(AudioCommandsTest, S302MDecodeOfFFmpegUnitsAndOfDamagedFiles) {
  const std::string stem = std::string(CORVANE_TEST_DATA) + "/s302m_ffmpeg_16bit_stereo";
  const Bytes unit = corvane::test::ReadWholeFile<Bytes>(stem + ".302m");
  const Bytes reference = corvane::test::ReadWholeFile<Bytes>(stem + ".s16le");
  std::vector<uint8_t> twice = unit;
  twice.insert(twice.end(), unit.begin(), unit.end());
  WriteBytes(Path("twice.302m"), twice);
  ASSERT_EQ(RunTool("s302m decode " + Path("twice.302m") + " " + Path("twice.wav")).exitStatus, 0);
  int encoding = 0;
  const Sound decoded = ReadSound(Path("twice.wav"), &encoding);
  EXPECT_EQ(encoding, SF_FORMAT_PCM_16);
  ASSERT_EQ(decoded.samples.size(), reference.size());  // 2 x 960 stereo samples, 2 bytes each in the reference
  for (size_t i = 0; i < decoded.samples.size(); ++i) {
    const size_t r = 2 * (i % (reference.size() / 2));
    const auto expected = static_cast<int16_t>(reference[r] | (reference[r + 1] << 8));
    ASSERT_EQ(decoded.samples[i] >> 16, expected) << "at " << i;
  }

  // A unit that claims more than is left, and a stray tail behind a unit.
  WriteBytes(Path("cut.302m"), std::vector<uint8_t>(unit.begin(), unit.begin() + 1000));
  ProcessResult result = RunTool("s302m decode " + Path("cut.302m") + " " + Path("cut.wav"));
  EXPECT_EQ(result.exitStatus, 1);
  EXPECT_NE(result.output.find("cut.302m: unit 1 at byte 0: claims 4804 bytes but only 1000 remain"),
            std::string::npos)
      << result.output;
  EXPECT_FALSE(std::filesystem::exists(Path("cut.wav")));
  std::vector<uint8_t> tail = unit;
  tail.insert(tail.end(), {0x00, 0x10});
  WriteBytes(Path("tail.302m"), tail);
  result = RunTool("s302m decode " + Path("tail.302m") + " " + Path("tail.wav"));
  EXPECT_EQ(result.exitStatus, 1);
  EXPECT_NE(result.output.find("unit 2 at byte 4804: 2 bytes left, too few for a header"), std::string::npos)
      << result.output;
  EXPECT_FALSE(std::filesystem::exists(Path("tail.wav")));
  WriteBytes(Path("empty.302m"), {});
  EXPECT_EQ(RunTool("s302m decode " + Path("empty.302m") + " " + Path("empty.wav")).exitStatus, 1);
}

}  // namespace
