#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "audio_probe.h"
#include "support/run_process.h"
#include "support/temp_folder.h"

namespace {

using corvane::test::RunProcess;
using corvane::test::TempFolder;
using corvane::tool::ProbeAudioStream;
using corvane::tool::ProbeReport;

const std::string kAudioData = CORVANE_TEST_DATA "/audio/";

std::string ReadFile(const std::string& path) {
  const std::string bytes = corvane::test::ReadWholeFile(path);
  EXPECT_FALSE(bytes.empty()) << path;
  return bytes;
}

ProbeReport Probe(const std::string& bytes) {
  FILE* stream = std::tmpfile();
  std::fwrite(bytes.data(), 1, bytes.size(), stream);
  std::rewind(stream);
  ProbeReport report = ProbeAudioStream(stream, "test stream");
  std::fclose(stream);
  return report;
}

// Runs the tool through the shell; standard error joins the output.
corvane::test::ProcessResult RunTool(const std::string& arguments) {
  return RunProcess(std::string(CORVANE_TOOL_PATH) + " " + arguments + " 2>&1");
}

// What the encoder wrote, as ffprobe counted it when the files were made
// (tests/data/README.md).
struct EncodedStream {
  const char* file;
  const char* format;
  uint32_t sampleRate;
  int32_t channels;
  uint32_t bitRate;  // 0 where the headers give none (AAC)
  size_t frames;
  uint32_t smallest;
  uint32_t largest;
};

constexpr EncodedStream kStreams[] = {
    {"ac3_48k_stereo_192k.ac3", "ac3", 48000, 2, 192000, 16, 768, 768},
    {"ac3_44k1_5.1_384k.ac3", "ac3", 44100, 5, 384000, 9, 1670, 1672},
    {"eac3_48k_stereo_192k.eac3", "eac3", 48000, 2, 192000, 16, 768, 768},
    {"dts_48k_stereo_768k.dts", "dts", 48000, 2, 768000, 15, 1024, 1024},
    {"mp2_44k1_stereo_128k.mp2", "mpeg1-layer2", 44100, 2, 128000, 20, 417, 418},
    {"mp3_48k_stereo_128k.mp3", "mpeg1-layer3", 48000, 2, 128000, 22, 384, 384},
    {"aac_48k_stereo_128k.adts", "aac-adts", 48000, 2, 0, 25, 295, 408},
    {"aac_48k_stereo_128k.latm", "aac-latm", 48000, 2, 0, 25, 299, 407},
};

TEST(ProbeTest, FindsWhatTheEncoderWrote) {
  for (const EncodedStream& expected : kStreams) {
    const std::string bytes = ReadFile(kAudioData + expected.file);
    const ProbeReport report = Probe(bytes);
    EXPECT_EQ(report.format, expected.format) << expected.file;
    EXPECT_EQ(report.sampleRate, expected.sampleRate) << expected.file;
    EXPECT_EQ(report.channels, expected.channels) << expected.file;
    EXPECT_EQ(report.frames.size(), expected.frames) << expected.file;
    EXPECT_EQ(report.SmallestFrame(), expected.smallest) << expected.file;
    EXPECT_EQ(report.LargestFrame(), expected.largest) << expected.file;
    if (expected.bitRate != 0) {
      EXPECT_EQ(report.bitRate, expected.bitRate) << expected.file;
    }
    EXPECT_EQ(report.skippedBytes, 0u) << expected.file;
    EXPECT_FALSE(report.cut) << expected.file;
    uint64_t next = 0;
    for (const auto& frame : report.frames) {
      EXPECT_EQ(frame.offset, next) << expected.file;
      next += frame.size;
    }
    EXPECT_EQ(next, bytes.size()) << expected.file << ": the frames tile the file";
  }
}

TEST(ProbeTest, FrameSizesMatchFFprobe) {
  if (std::system("command -v ffprobe >/dev/null 2>&1") != 0) GTEST_SKIP() << "ffprobe is not installed";
  for (const EncodedStream& expected : kStreams) {
    const std::string path = kAudioData + expected.file;
    std::istringstream listed(RunProcess("ffprobe -v error -show_entries packet=size -of csv=p=0 '" + path + "'").output);
    const std::vector<uint32_t> theirs{std::istream_iterator<uint32_t>(listed), std::istream_iterator<uint32_t>()};
    std::vector<uint32_t> ours;
    for (const auto& frame : Probe(ReadFile(path)).frames) ours.push_back(frame.size);
    EXPECT_EQ(ours, theirs) << expected.file;
  }
}

TEST(ProbeTest, DurationsAddUp) {
  const ProbeReport ac3 = Probe(ReadFile(kAudioData + "ac3_44k1_5.1_384k.ac3"));
  ASSERT_EQ(ac3.frames.size(), 9u);
  EXPECT_EQ(ac3.frames[0].durationTicks, 3134u);
  EXPECT_EQ(ac3.frames[0].durationFraction, 693u);
  EXPECT_EQ(ac3.durationMilliTicks, 9u * 3134693);
  EXPECT_EQ(ac3.lfe, 1);
  const ProbeReport latm = Probe(ReadFile(kAudioData + "aac_48k_stereo_128k.latm"));
  EXPECT_EQ(latm.durationMilliTicks, 25u * 1920000);  // 1024 samples a frame
  EXPECT_NEAR(latm.DurationSeconds(), 25 * 1024 / 48000.0, 1e-9) << "exact ticks, printed as double";
}

TEST(ProbeTest, ResynchronisesAfterGarbage) {
  const std::string clean = ReadFile(kAudioData + "ac3_48k_stereo_192k.ac3");
  std::mt19937 random(5);
  auto garbage = [&random](size_t count) {
    std::string bytes(count, '\0');
    for (char& byte : bytes) byte = static_cast<char>(random() % 0x0B);  // no AC-3 sync can form
    return bytes;
  };
  std::string damaged = garbage(200) + clean.substr(0, 5 * 768);
  damaged += garbage(1000) + clean.substr(5 * 768);
  damaged += garbage(30);

  const ProbeReport report = Probe(damaged);
  EXPECT_EQ(report.format, "ac3");
  EXPECT_EQ(report.frames.size(), 16u);
  EXPECT_EQ(report.skippedBytes, 1230u);
  EXPECT_EQ(report.skippedRuns, 3u);
  EXPECT_EQ(report.frames[0].offset, 200u);
  EXPECT_EQ(report.frames[5].offset, 200u + 5 * 768 + 1000);
  EXPECT_FALSE(report.cut);
}

// Every prefix of the first frames of each stream: the frames found are the
// full stream's, and every byte is in a frame, skipped, or in the cut frame.
TEST(ProbeTest, EveryPrefixIsAccountedFor) {
  for (const EncodedStream& stream : kStreams) {
    const std::string bytes = ReadFile(kAudioData + stream.file);
    const ProbeReport full = Probe(bytes);
    ASSERT_GE(full.frames.size(), 4u);
    const size_t limit = full.frames[3].offset + 20;
    size_t cuts = 0;
    for (size_t length = 0; length <= limit; length += 5) {
      const ProbeReport report = Probe(bytes.substr(0, length));
      size_t complete = 0;
      while (complete < full.frames.size() && full.frames[complete].offset + full.frames[complete].size <= length) {
        ++complete;
      }
      uint64_t covered = report.skippedBytes + (report.cut ? report.cutAvailable : 0);
      for (size_t i = 0; i < report.frames.size(); ++i) {
        covered += report.frames[i].size;
        EXPECT_EQ(report.frames[i].offset, full.frames[i].offset) << stream.file << " prefix " << length;
      }
      EXPECT_EQ(covered, length) << stream.file << " prefix " << length;
      EXPECT_LE(report.frames.size(), complete) << stream.file << " prefix " << length;
      if (complete >= 2) {
        EXPECT_EQ(report.frames.size(), complete) << stream.file << " prefix " << length;
      }
      if (report.cut) {
        EXPECT_EQ(report.cutOffset, full.frames[report.frames.size()].offset) << stream.file << " prefix " << length;
        ++cuts;
      }
    }
    EXPECT_GT(cuts, limit / 10) << stream.file << ": most prefixes end inside a frame";
  }
}

TEST(ProbeTest, RandomBytesHoldNoStream) {
  std::mt19937 random(2024);
  std::string bytes(200000, '\0');
  for (char& byte : bytes) byte = static_cast<char>(random());
  const ProbeReport report = Probe(bytes);
  EXPECT_TRUE(report.frames.empty());
  EXPECT_EQ(report.skippedBytes, bytes.size());

  const TempFolder folder;
  const std::string path = folder.Write("random.bin", bytes);
  const auto run = RunTool("probe '" + path + "'");
  EXPECT_EQ(run.exitStatus, 1);
  EXPECT_EQ(run.output, "corvane probe: " + path +
                         ": no AC-3, E-AC-3, DTS, MPEG-1 audio, ADTS or LOAS/LATM stream found in 200000 bytes\n");
}

TEST(ProbeTest, EmptyAndMissingInputs) {
  const TempFolder folder;
  const std::string path = folder.Write("empty.ac3", "");
  auto run = RunTool("probe '" + path + "'");
  EXPECT_EQ(run.exitStatus, 1);
  EXPECT_EQ(run.output, "corvane probe: " + path + ": empty input\n");
  run = RunTool("probe /nonexistent/corvane.ac3");
  EXPECT_EQ(run.exitStatus, 1);
  EXPECT_NE(run.output.find("/nonexistent/corvane.ac3: cannot open"), std::string::npos);
  run = RunTool("probe - < /dev/null");
  EXPECT_EQ(run.exitStatus, 1);
  EXPECT_EQ(run.output, "corvane probe: standard input: empty input\n");
}

TEST(ProbeTest, StreamCutInTheMiddleOfAFrame) {
  const TempFolder folder;
  const std::string whole = ReadFile(kAudioData + "dts_48k_stereo_768k.dts");
  const std::string path = folder.Write("cut.dts", whole.substr(0, 5 * 1024 + 300));
  auto run = RunTool("probe '" + path + "'");
  EXPECT_EQ(run.exitStatus, 0);
  EXPECT_NE(run.output.find("frames: 5 of 1024 bytes"), std::string::npos) << run.output;
  EXPECT_NE(run.output.find("cut: the last frame at offset 5120 has 300 of its 1024 bytes; it is left out"),
            std::string::npos)
      << run.output;
  run = RunTool("probe --json '" + path + "'");
  EXPECT_NE(run.output.find("\"frame_count\": 5,"), std::string::npos) << run.output;
  EXPECT_NE(run.output.find("\"cut_frame_bytes\": 300\n"), std::string::npos) << run.output;
}

TEST(ProbeTest, JsonWithFramesFromStandardInput) {
  const auto run = RunTool("probe --json --frames - < '" + kAudioData + "ac3_44k1_5.1_384k.ac3'");
  EXPECT_EQ(run.exitStatus, 0);
  const char* kExpectedStart =
      "{\n"
      "  \"format\": \"ac3\",\n"
      "  \"sample_rate\": 44100,\n"
      "  \"channels\": 5,\n"
      "  \"lfe\": 1,\n"
      "  \"bit_rate\": 384000,\n"
      "  \"frame_count\": 9,\n"
      "  \"duration_seconds\": 0.313469,\n";
  EXPECT_EQ(run.output.compare(0, std::strlen(kExpectedStart), kExpectedStart), 0) << run.output;
  EXPECT_NE(run.output.find("\"frames\": [\n    {\"offset\": 0, \"size\": 1670, \"duration_ticks\": 3134.693},\n"
                         "    {\"offset\": 1670, \"size\": 1672, \"duration_ticks\": 3134.693},"),
            std::string::npos)
      << run.output;
  EXPECT_EQ(run.output.substr(run.output.size() - 7), "\n  ]\n}\n");
}

TEST(SilentAC3CommandTest, WritesFramesThatProbeFinds) {
  const TempFolder folder;
  const std::string path = folder.Path() + "/silent.ac3";
  auto run = RunTool("silent-ac3 --channels 6 --bitrate 500k --frames 12 -o '" + path + "'");
  EXPECT_EQ(run.exitStatus, 0) << run.output;
  const ProbeReport report = Probe(ReadFile(path));
  EXPECT_EQ(report.frames.size(), 12u);
  EXPECT_EQ(report.LargestFrame(), 1792u);
  EXPECT_EQ(report.channels, 5);
  EXPECT_EQ(report.lfe, 1);
  EXPECT_EQ(report.bitRate, 448000u);
  std::filesystem::remove(path);

  run = RunTool("silent-ac3 --channels 2 --bitrate 160000 -o - | wc -c");
  EXPECT_EQ(run.exitStatus, 0);
  EXPECT_EQ(std::stoi(run.output), 640);

  run = RunTool("silent-ac3 --channels 2 --bitrate fast -o '" + path + "'");
  EXPECT_EQ(run.exitStatus, 1);
  EXPECT_NE(run.output.find("--bitrate takes"), std::string::npos);
  run = RunTool("silent-ac3 --channels 2 --bitrate 192k");
  EXPECT_EQ(run.exitStatus, 1);
  EXPECT_NE(run.output.find("required"), std::string::npos);
  EXPECT_FALSE(std::filesystem::exists(path)) << "no output is left by a failed run";
}

}  // namespace
