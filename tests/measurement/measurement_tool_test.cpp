// The loudness and meter commands end to end, on WAV files made here.
#include <gtest/gtest.h>
#include <sndfile.h>

#include <cstdlib>

#include "measurement/audio_bs1770.h"
#include "signals.h"
#include "support/run_process.h"
#include "support/temp_folder.h"

namespace {

using namespace measurement_test;
using corvane::test::ProcessResult;
using corvane::test::RunProcess;
using corvane::test::TempFolder;

// Writes planar samples as a 32-bit float WAV, so no quantisation stands
// between the file and the samples the test knows.
std::string WriteWav(const TempFolder& folder, const std::string& name, const Block& block, int rate = 48000) {
  const std::string path = folder.Path() + "/" + name;
  SF_INFO info{};
  info.samplerate = rate;
  info.channels = static_cast<int>(block.size());
  info.format = SF_FORMAT_WAV | SF_FORMAT_FLOAT;
  SNDFILE* file = sf_open(path.c_str(), SFM_WRITE, &info);
  const size_t frames = block[0].size();
  std::vector<double> interleaved(frames * block.size());
  for (size_t i = 0; i < frames; ++i) {
    for (size_t c = 0; c < block.size(); ++c) interleaved[i * block.size() + c] = block[c][i];
  }
  sf_writef_double(file, interleaved.data(), static_cast<sf_count_t>(frames));
  sf_close(file);
  return path;
}

ProcessResult Tool(const TempFolder& folder, const std::string& arguments) {
  return RunProcess("CORVANE_LOG='" + folder.Path() + "/log' '" + CORVANE_TOOL_PATH + "' " + arguments + " 2>&1");
}

// The number after "key": in a one-line JSON object.
double JsonValue(const std::string& json, const std::string& key) {
  const size_t at = json.find("\"" + key + "\": ");
  if (at == std::string::npos) return NAN;
  return std::strtod(json.c_str() + at + key.size() + 4, nullptr);
}

TEST(MeasurementToolTest, LoudnessJsonOfAStereoTone) {
  TempFolder folder;
  const Block tone = Copies(Sine(10 * 48000, DbToAmplitude(-23.0), 1000.0), 2);
  const std::string wav = WriteWav(folder, "tone.wav", tone);
  const ProcessResult result = Tool(folder, "loudness --json '" + wav + "'");
  ASSERT_EQ(result.exitStatus, 0) << result.output;

  NS_AudioMeasurement::CAudioBS1770 meter(2, 48000, {400, 75, 0, -10.0, -70.0});
  meter.AddSamples(tone);
  // Figures are printed with two decimals; the file holds the samples as floats.
  EXPECT_NEAR(JsonValue(result.output, "integrated_lkfs"), meter.GetLoudness(2), 0.006);
  EXPECT_NEAR(JsonValue(result.output, "integrated_lkfs"), -23.0, 0.05);
  EXPECT_NEAR(JsonValue(result.output, "momentary_max_lkfs"), meter.GetLoudness(0), 0.006);
  EXPECT_NEAR(JsonValue(result.output, "short_term_max_lkfs"), meter.GetLoudness(1), 0.006);
  EXPECT_NEAR(JsonValue(result.output, "sample_peak_db"), -23.0, 0.006);
  EXPECT_NEAR(JsonValue(result.output, "true_peak_db"), -23.0, 0.3);  // the tone's crests, oversampled
  EXPECT_NEAR(JsonValue(result.output, "vu_db"), -23.0, 0.05);        // a sine reads close to its peak
  EXPECT_EQ(JsonValue(result.output, "sample_rate"), 48000);
  EXPECT_EQ(JsonValue(result.output, "channels"), 2);
  EXPECT_EQ(JsonValue(result.output, "duration_seconds"), 10.0);
  for (const char* key : {"ppm", "chromatec_db"}) {
    EXPECT_TRUE(std::isfinite(JsonValue(result.output, key))) << key;
  }
}

TEST(MeasurementToolTest, GatingOptionsCurveAndPlot) {
  TempFolder folder;
  const std::string wav = WriteWav(folder, "noise.wav", Block{PinkNoise(5 * 48000 + 100, 0.1, 3)});
  const std::string curve = folder.Path() + "/curve.csv";
  const std::string plot = folder.Path() + "/plot.svg";
  const ProcessResult gated =
      Tool(folder, "loudness --json --curve '" + curve + "' --plot '" + plot + "' '" + wav + "'");
  ASSERT_EQ(gated.exitStatus, 0) << gated.output;
  const ProcessResult ungated = Tool(folder, "loudness --json --gate-ms 0 '" + wav + "'");
  EXPECT_NEAR(JsonValue(gated.output, "integrated_lkfs"), -20.0, 3.0);
  EXPECT_EQ(JsonValue(ungated.output, "integrated_lkfs"), -128.0);  // gating off: no gated figure

  const std::string text = ReadWholeFile(curve);
  EXPECT_EQ(text.rfind("sample, lkfs, peak\n0, -128.00, 0.00\n", 0), 0u);
  // 5.002 s make 251 sub-blocks of 20 ms, the last unfinished: 51 points of 100 ms.
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1 + 51);
  EXPECT_NE(text.find("\n50, -"), std::string::npos);

  const std::string svg = ReadWholeFile(plot);
  EXPECT_EQ(svg.rfind("<svg xmlns=\"http://www.w3.org/2000/svg\"", 0), 0u);
  EXPECT_EQ(svg.substr(svg.size() - 7), "</svg>\n");
  size_t polylines = 0;
  for (size_t at = svg.find("<polyline"); at != std::string::npos; at = svg.find("<polyline", at + 1)) ++polylines;
  EXPECT_EQ(polylines, 2u);
}

TEST(MeasurementToolTest, FiveOneLeavesTheLfeOutOfTheLoudness) {
  TempFolder folder;
  Block surround = Copies(std::vector<double>(3 * 48000, 0.0), 6);
  surround[3] = Sine(3 * 48000, 0.5, 60.0);  // LFE only
  const ProcessResult result = Tool(folder, "loudness --json '" + WriteWav(folder, "lfe.wav", surround) + "'");
  ASSERT_EQ(result.exitStatus, 0) << result.output;
  EXPECT_EQ(JsonValue(result.output, "integrated_lkfs"), -120.0);
  EXPECT_NEAR(JsonValue(result.output, "sample_peak_db"), -6.02, 0.006);
  EXPECT_EQ(JsonValue(result.output, "channels"), 6);
}

TEST(MeasurementToolTest, MeterHistory) {
  TempFolder folder;
  const Block steps{Concat({std::vector<double>(48000, 0.5), std::vector<double>(48000, 0.05)})};
  const ProcessResult result =
      Tool(folder, "meter --type simple --history 500 '" + WriteWav(folder, "steps.wav", steps) + "'");
  ASSERT_EQ(result.exitStatus, 0) << result.output;
  EXPECT_NE(result.output.find("meter    Simple\nreading  -6.02 (-6.02 dB)\n"), std::string::npos) << result.output;
  EXPECT_NE(result.output.find("4 points"), std::string::npos);
  EXPECT_NE(result.output.find("     0.500    -6.0\n     1.000   -26.0\n"), std::string::npos) << result.output;
}

TEST(MeasurementToolTest, SelfTestPrintsEveryTest) {
  TempFolder folder;
  const ProcessResult result = Tool(folder, "selftest");
  ASSERT_EQ(result.exitStatus, 0) << result.output;
  for (const char* name : {"PPMIIa", "VU", "True Peak", "Chromatec", "Simple"}) {
    EXPECT_NE(result.output.find(std::string("TestPeakLevel ") + name), std::string::npos) << name;
  }
  // Ten one-second tones at -22 dB in both channels, each followed by a second
  // of near-silence: the stereo mix has the RMS of the tone's amplitude.
  EXPECT_NE(result.output.find("Chromatec   -22.10"), std::string::npos) << result.output;
  EXPECT_NE(result.output.find("TestCAudioBS1770"), std::string::npos);
  EXPECT_NE(result.output.find("TestFilter"), std::string::npos);
}

TEST(MeasurementToolTest, FilesThatCannotBeMeasured) {
  TempFolder folder;
  const std::string notes = folder.Write("notes.wav", "these are not samples\n");
  const std::string empty = WriteWav(folder, "empty.wav", Block{std::vector<double>()});
  const std::string wide = WriteWav(folder, "wide.wav", Copies(std::vector<double>(100, 0.0), 7));
  const std::string slow = WriteWav(folder, "slow.wav", Block{std::vector<double>(800, 0.1)}, 800);
  const std::pair<std::string, std::string> cases[] = {
      {"loudness '" + notes + "'", "corvane loudness: " + notes + ": "},
      {"meter --type vu '" + empty + "'", empty + ": holds no audio samples"},
      {"loudness '" + wide + "'", wide + ": loudness is measured on 1 to 6 channels"},
      {"meter --type ppm '" + slow + "'", slow + ": a sampling rate of 800 Hz is too low"},
      {"loudness '" + folder.Path() + "/missing.wav'", "/missing.wav"},
      {"meter --type nine '" + empty + "'", "--type takes"},
  };
  for (const auto& [arguments, message] : cases) {
    const ProcessResult result = Tool(folder, arguments);
    EXPECT_EQ(result.exitStatus, 1) << arguments;
    EXPECT_NE(result.output.find(message), std::string::npos) << result.output;
  }
}

}  // namespace
