// The loudness report of the `loudness` command and the demo: a file streams
// through the BS.1770 meter and the level meters block by block, and the
// figures come out as text, as JSON, or as an SVG plot against time.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "measurement/audio_bs1770.h"
#include "measurement/audio_peak_level.h"

namespace corvane::tool {

struct LoudnessSettings {
  int gateMilliseconds = 400;
  int overlapPercent = 75;
  double relativeGate = -10.0;
  double absoluteGate = -70.0;
};

struct LoudnessFigures {
  std::string source;
  int rate = 0;
  int channels = 0;
  double durationSeconds = 0.0;
  double integrated = 0.0;    // LKFS
  double momentaryMax = 0.0;  // LKFS
  double shortTermMax = 0.0;  // LKFS
  double samplePeak = 0.0;    // dB
  double truePeak = 0.0;      // dB
  double ppm = 0.0;           // PPM marks
  double ppmDb = 0.0;
  double vuDb = 0.0;
  double chromatecDb = 0.0;
};

// The meters of one report, fed block by block. Up to five channels are
// measured as L, R, C, Ls, Rs; six are read as 5.1 (L, R, C, LFE, Ls, Rs), the
// LFE left out of the loudness but not of the peaks.
class LoudnessAnalysis {
 public:
  LoudnessAnalysis(int channels, int rate, const LoudnessSettings& settings);

  void Add(const std::vector<std::vector<double>>& block);
  LoudnessFigures Figures(const std::string& source) const;
  // The short-term loudness every 100 ms, written by the meter's own curve file.
  void SaveCurve(const std::string& path) const;
  // An SVG plot: the short-term loudness and the peak level per step, and the
  // integrated loudness, against time; the step keeps the plot to a few
  // thousand points however long the programme is.
  std::string Plot(const LoudnessFigures& figures) const;

 private:
  int channels_;
  int rate_;
  uint64_t frames_ = 0;
  std::vector<std::vector<double>> loudnessBlock_;
  std::unique_ptr<NS_AudioMeasurement::CAudioBS1770> loudness_;
  std::unique_ptr<NS_AudioMeasurement::CAudioBS1770> lfe_;  // its peak only
  std::unique_ptr<NS_AudioMeasurement::CAudioPeakLevel> peak_;
  std::unique_ptr<NS_AudioMeasurement::CAudioPeakLevel> truePeak_;
  std::unique_ptr<NS_AudioMeasurement::CAudioPeakLevel> ppm_;
  std::unique_ptr<NS_AudioMeasurement::CAudioPeakLevel> vu_;
  std::unique_ptr<NS_AudioMeasurement::CAudioPeakLevel> chromatec_;
};

class SoundFileReader;

// Throws ToolError naming the file when it holds no samples, or when its
// sampling rate is too low for the level meters, whose 100 ms blocks and
// 10 ms sub-blocks count whole samples.
void CheckMeasurable(const SoundFileReader& reader);

// Reads the rest of the file in blocks of 48,000 frames and hands each to
// `feed`, with a progress line labelled `label` on a terminal.
void FeedAllBlocks(SoundFileReader& reader, const std::string& label,
                   const std::function<void(const std::vector<std::vector<double>>&)>& feed);

// Streams a whole file through a LoudnessAnalysis, with a progress line.
// Throws ToolError for files that can't be measured.
std::unique_ptr<LoudnessAnalysis> AnalyseFile(const std::string& path, const LoudnessSettings& settings);

std::string FormatReport(const LoudnessFigures& figures);
// One JSON object; figures with no value (minus infinity) are null.
std::string FormatJson(const LoudnessFigures& figures);

}  // namespace corvane::tool
