// `corvane loudness`: BS.1770 loudness and the level meters' readings of an
// audio file, as text or JSON, with the loudness curve and a plot on request.
// The demo step of the measurement subsystem lives here too.
#include <cmath>
#include <cstdio>
#include <cstring>
#include <random>

#include "args.h"
#include "audioparse/audio_support.h"
#include "command.h"
#include "loudness_report.h"
#include "output_file.h"
#include "sound_file.h"

namespace corvane::tool {
namespace {

void WriteText(const std::string& path, const std::string& text) {
  OutputFile output(path);
  output.Write(text.data(), text.size());
  output.Commit();
}

void WriteCurve(const LoudnessAnalysis& analysis, const std::string& path) {
  OutputFile output(path);
  analysis.SaveCurve(output.WorkingPath());
  output.Commit();
}

int RunLoudness(const std::vector<std::string>& arguments) {
  const Args args(arguments, {"gate-ms", "overlap", "relative", "absolute", "curve", "plot"}, {"json"});
  args.ExpectPositional(1, "one audio file");
  LoudnessSettings settings;
  settings.gateMilliseconds = args.GetInt("gate-ms", 400, 0, 60000);
  settings.overlapPercent = args.GetInt("overlap", 75, 0, 99);
  settings.relativeGate = args.GetDouble("relative", -10.0, -100.0, 0.0);
  settings.absoluteGate = args.GetDouble("absolute", -70.0, -200.0, 0.0);
  const std::string& path = args.Positional()[0];

  const auto analysis = AnalyseFile(path, settings);
  const LoudnessFigures figures = analysis->Figures(path);
  if (args.Has("curve")) WriteCurve(*analysis, args.Get("curve", ""));
  if (args.Has("plot")) WriteText(args.Get("plot", ""), analysis->Plot(figures));
  const std::string report = args.Has("json") ? FormatJson(figures) : FormatReport(figures);
  std::fputs(report.c_str(), stdout);
  return 0;
}

// A programme of 40 s in scenes of different loudness: speech-like bursts of
// noise, a held chord, a quiet passage, a loud passage and a fade to silence.
std::vector<std::vector<double>> DemoProgramme(int rate) {
  const size_t sceneLength = static_cast<size_t>(rate) * 8;
  std::vector<std::vector<double>> programme(2, std::vector<double>(sceneLength * 5, 0.0));
  std::mt19937 generator(60);
  std::normal_distribution<double> noise(0.0, 1.0);
  double lowPassed = 0.0;
  for (size_t i = 0; i < programme[0].size(); ++i) {
    const double t = static_cast<double>(i) / rate;
    const size_t scene = i / sceneLength;
    lowPassed += 0.2 * (noise(generator) - lowPassed);
    double left = 0.0;
    double right = 0.0;
    if (scene == 0) {  // syllables of filtered noise, about four a second
      const double envelope = std::pow(std::max(0.0, std::sin(2.0 * M_PI * 3.7 * t)), 2.0);
      left = right = 0.12 * envelope * lowPassed;
    } else if (scene == 1) {  // an A major chord, spread across the two channels
      left = 0.10 * std::sin(2.0 * M_PI * 220.0 * t) + 0.07 * std::sin(2.0 * M_PI * 277.18 * t);
      right = 0.10 * std::sin(2.0 * M_PI * 329.63 * t) + 0.07 * std::sin(2.0 * M_PI * 440.0 * t);
    } else if (scene == 2) {  // a quiet passage
      left = right = 0.01 * std::sin(2.0 * M_PI * 1000.0 * t);
    } else {  // loud noise, then a linear fade to silence over the last scene
      const double fade = scene == 3 ? 1.0 : 1.0 - static_cast<double>(i - 4 * sceneLength) / sceneLength;
      left = 0.25 * fade * lowPassed;
      right = 0.25 * fade * noise(generator) * 0.3;
    }
    programme[0][i] = left;
    programme[1][i] = right;
  }
  return programme;
}

void RunDemoStep(const std::string& folder) {
  const int rate = 48000;
  const std::string wav = folder + "/programme.wav";
  {
    // The library's own 16-bit packing; the programme stays well below full scale.
    const std::vector<std::vector<double>> programme = DemoProgramme(rate);
    std::vector<unsigned char> bytes(programme[0].size() * 4);
    int byteCount = 0;
    CAudioSupport::ConvertDoubleToStereo16BitInterleaved(programme, bytes.data(), static_cast<int>(bytes.size()),
                                                         byteCount);
    std::vector<int16_t> samples(bytes.size() / 2);
    std::memcpy(samples.data(), bytes.data(), bytes.size());  // little-endian, as the host
    OutputFile output(wav);
    SoundFileWriter writer(output, rate, 2, SF_FORMAT_WAV | SF_FORMAT_PCM_16);
    writer.Write(samples.data(), programme[0].size());
    writer.Finish();
  }
  std::printf("generated %s: 40 s of stereo at 48 kHz in five scenes\n", wav.c_str());
  const auto analysis = AnalyseFile(wav, LoudnessSettings{});
  const LoudnessFigures figures = analysis->Figures(wav);
  std::fputs(FormatReport(figures).c_str(), stdout);
  WriteText(folder + "/loudness.json", FormatJson(figures));
  WriteText(folder + "/loudness.svg", analysis->Plot(figures));
  WriteCurve(*analysis, folder + "/loudness_curve.csv");
  std::printf("wrote loudness.json, loudness.svg (open it in a browser) and loudness_curve.csv\n");
}

const bool registered = RegisterCommand({
    "loudness",
    "measure BS.1770 loudness, peaks and meter readings of an audio file",
    "usage: corvane loudness FILE [--gate-ms 400] [--overlap 75] [--relative -10] [--absolute -70]\n"
    "                        [--curve OUT.csv] [--plot OUT.svg] [--json]\n"
    "\n"
    "Measures an audio file that libsndfile reads (WAV, FLAC, AIFF, ...): the gated\n"
    "(integrated) loudness, the highest momentary and short-term loudness, the sample\n"
    "peak, the true peak and the readings of the PPM type IIa, VU and Chromatec meters. Up to five channels are\n"
    "taken as L, R, C, Ls, Rs; six as 5.1 (L, R, C, LFE, Ls, Rs) with the LFE left\n"
    "out of the loudness. The filter and windows are those of 48 kHz.\n"
    "\n"
    "  --gate-ms MS     gating block length, 0 turns gating off (default 400)\n"
    "  --overlap PCT    overlap of gating blocks in percent (default 75)\n"
    "  --relative LU    relative gate (default -10)\n"
    "  --absolute LKFS  absolute gate (default -70)\n"
    "  --curve OUT.csv  the short-term loudness every 100 ms: index, lkfs, peak (0.00)\n"
    "  --plot OUT.svg   short-term loudness and peak level against time, for a browser\n"
    "  --json           print the figures as one JSON object\n",
    RunLoudness,
});

const bool demoRegistered = RegisterDemoStep({60, "loudness report of a generated programme", RunDemoStep});

}  // namespace
}  // namespace corvane::tool
