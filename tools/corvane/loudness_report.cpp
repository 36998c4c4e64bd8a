#include "loudness_report.h"

#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstdio>

#include "command.h"
#include "progress.h"
#include "sound_file.h"

namespace corvane::tool {
namespace {

using NS_AudioMeasurement::CAudioBS1770;
using NS_AudioMeasurement::CAudioPeakLevel;
using NS_AudioMeasurement::LoudnessPoint;

constexpr int kLfeChannel = 3;  // in the 5.1 order of WAV files
constexpr int kCurveStepMilliseconds = 100;
constexpr size_t kMostPlotPoints = 3000;

std::string Format(const char* format, ...) __attribute__((format(printf, 1, 2)));
std::string Format(const char* format, ...) {
  char buffer[512];
  va_list args;
  va_start(args, format);
  std::vsnprintf(buffer, sizeof buffer, format, args);
  va_end(args);
  return buffer;
}

std::string JsonNumber(double value, const char* format = "%.2f") {
  return std::isfinite(value) ? Format(format, value) : "null";
}

std::string XmlEscaped(const std::string& text) {
  std::string out;
  for (char ch : text) {
    switch (ch) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '"':
        out += "&quot;";
        break;
      default:
        out += ch;
    }
  }
  return out;
}

// A time step for axis ticks that gives at most ten ticks.
double TickSeconds(double duration) {
  for (double step : {1.0, 2.0, 5.0, 10.0, 15.0, 30.0, 60.0, 120.0, 300.0, 600.0, 1200.0, 1800.0, 3600.0}) {
    if (duration / step <= 10.0) return step;
  }
  return 7200.0;
}

std::string TimeLabel(double seconds) {
  const int whole = static_cast<int>(seconds);
  if (whole < 60) return Format("%d s", whole);
  if (whole < 3600) return Format("%d:%02d", whole / 60, whole % 60);
  return Format("%d:%02d:%02d", whole / 3600, whole / 60 % 60, whole % 60);
}

// Maps seconds and dB onto the drawing area of the plot.
struct PlotFrame {
  static constexpr double kWidth = 960, kHeight = 420, kLeft = 64, kRight = 24, kTop = 44, kBottom = 48;
  double duration, top, bottom;  // seconds; dB at the upper and lower edges

  double X(double seconds) const { return kLeft + seconds / duration * (kWidth - kLeft - kRight); }
  double Y(double db) const {
    const double clamped = std::clamp(db, bottom, top);
    return kTop + (top - clamped) / (top - bottom) * (kHeight - kTop - kBottom);
  }
};

std::string Polyline(const PlotFrame& frame, const std::vector<double>& values, double stepSeconds,
                     const char* colour) {
  std::string points;
  for (size_t i = 0; i < values.size(); ++i) {
    points += Format("%.1f,%.1f ", frame.X((static_cast<double>(i) + 0.5) * stepSeconds), frame.Y(values[i]));
  }
  return Format("<polyline fill=\"none\" stroke=\"%s\" stroke-width=\"1.5\" points=\"", colour) + points + "\"/>\n";
}

std::string Axes(const PlotFrame& frame) {
  std::string svg;
  for (double db = frame.bottom; db <= frame.top + 1e-9; db += 10.0) {
    svg += Format("<line x1=\"%.1f\" y1=\"%.1f\" x2=\"%.1f\" y2=\"%.1f\" stroke=\"#ddd\"/>\n", frame.X(0), frame.Y(db),
                  frame.X(frame.duration), frame.Y(db));
    svg += Format("<text x=\"%.1f\" y=\"%.1f\" text-anchor=\"end\">%.0f</text>\n", PlotFrame::kLeft - 6,
                  frame.Y(db) + 4, db);
  }
  const double tick = TickSeconds(frame.duration);
  for (double t = 0.0; t <= frame.duration + 1e-9; t += tick) {
    svg += Format("<line x1=\"%.1f\" y1=\"%.1f\" x2=\"%.1f\" y2=\"%.1f\" stroke=\"#ddd\"/>\n", frame.X(t),
                  frame.Y(frame.top), frame.X(t), frame.Y(frame.bottom));
    svg += Format("<text x=\"%.1f\" y=\"%.1f\" text-anchor=\"middle\">%s</text>\n", frame.X(t),
                  frame.Y(frame.bottom) + 18, TimeLabel(t).c_str());
  }
  svg +=
      Format("<text x=\"16\" y=\"%.1f\" transform=\"rotate(-90 16 %.1f)\" text-anchor=\"middle\">LKFS / dBFS</text>\n",
             frame.Y((frame.top + frame.bottom) / 2), frame.Y((frame.top + frame.bottom) / 2));
  return svg;
}

}  // namespace

LoudnessAnalysis::LoudnessAnalysis(int channels, int rate, const LoudnessSettings& settings)
    : channels_(channels), rate_(rate) {
  if (channels < 1 || channels > 6) {
    throw ToolError(Format("loudness is measured on 1 to 6 channels (5.1 at most), not %d", channels));
  }
  const CAudioStreamParameters::CLKFSParameters parameters = {settings.gateMilliseconds, settings.overlapPercent, 0,
                                                              settings.relativeGate, settings.absoluteGate};
  const unsigned loudnessChannels = channels == 6 ? 5 : static_cast<unsigned>(channels);
  loudness_ = std::make_unique<CAudioBS1770>(loudnessChannels, rate, parameters);
  if (channels == 6) lfe_ = std::make_unique<CAudioBS1770>(1, rate, parameters);
  const unsigned all = static_cast<unsigned>(channels);
  peak_ = std::make_unique<CAudioPeakLevel>(all, rate, NS_AudioMeasurement::MEASUREMENT_SIMPLE);
  truePeak_ = std::make_unique<CAudioPeakLevel>(all, rate, NS_AudioMeasurement::MEASUREMENT_TRUE_PEAK);
  ppm_ = std::make_unique<CAudioPeakLevel>(all, rate, NS_AudioMeasurement::MEASUREMENT_PPM_IIA);
  vu_ = std::make_unique<CAudioPeakLevel>(all, rate, NS_AudioMeasurement::MEASUREMENT_VU);
  chromatec_ = std::make_unique<CAudioPeakLevel>(all, rate, NS_AudioMeasurement::MEASUREMENT_CHROMATEC);
}

void LoudnessAnalysis::Add(const std::vector<std::vector<double>>& block) {
  if (block.empty() || block[0].empty()) return;
  frames_ += block[0].size();
  if (lfe_ != nullptr) {
    loudnessBlock_.resize(5);
    for (int c = 0, target = 0; c < 6; ++c) {
      if (c != kLfeChannel) loudnessBlock_[target++] = block[c];
    }
    loudness_->AddSamples(loudnessBlock_);
    lfe_->AddSamples({block[kLfeChannel]});
  } else {
    loudness_->AddSamples(block);
  }
  peak_->AddSamples(block);
  truePeak_->AddSamples(block);
  ppm_->AddSamples(block);
  vu_->AddSamples(block);
  chromatec_->AddSamples(block);
}

LoudnessFigures LoudnessAnalysis::Figures(const std::string& source) const {
  LoudnessFigures figures;
  figures.source = source;
  figures.rate = rate_;
  figures.channels = channels_;
  figures.durationSeconds = static_cast<double>(frames_) / rate_;
  figures.integrated = loudness_->GetLoudness(NS_AudioMeasurement::LOUDNESS_GATED);
  figures.momentaryMax = loudness_->GetLoudness(NS_AudioMeasurement::LOUDNESS_MOMENTARY);
  figures.shortTermMax = loudness_->GetLoudness(NS_AudioMeasurement::LOUDNESS_SHORT_TERM);
  figures.samplePeak = loudness_->GetPeak();
  if (lfe_ != nullptr) figures.samplePeak = std::max(figures.samplePeak, lfe_->GetPeak());
  figures.truePeak = truePeak_->GetPeakReading();
  figures.ppm = ppm_->GetPeakReading();
  figures.ppmDb = ppm_->ConvertReadingToDB(figures.ppm);
  figures.vuDb = vu_->GetPeakReading();
  figures.chromatecDb = chromatec_->GetPeakReading();
  return figures;
}

void LoudnessAnalysis::SaveCurve(const std::string& path) const {
  std::vector<LoudnessPoint> curve;
  loudness_->GetLoudnessCurve(kCurveStepMilliseconds, NS_AudioMeasurement::LOUDNESS_SHORT_TERM, curve);
  loudness_->SaveLoudnessCurve(path, curve);
}

std::string LoudnessAnalysis::Plot(const LoudnessFigures& figures) const {
  const int64_t durationMs = static_cast<int64_t>(figures.durationSeconds * 1000.0);
  const int64_t steps = std::max<int64_t>(1, durationMs / kCurveStepMilliseconds);
  const int stepMs = static_cast<int>(kCurveStepMilliseconds * ((steps + kMostPlotPoints - 1) / kMostPlotPoints));
  std::vector<LoudnessPoint> curve;
  loudness_->GetLoudnessCurve(stepMs, NS_AudioMeasurement::LOUDNESS_SHORT_TERM, curve);
  std::vector<short> history;
  peak_->GetLevelHistory(stepMs, history);
  std::vector<double> shortTerm, levels;
  for (const LoudnessPoint& point : curve) shortTerm.push_back(point.lkfs);
  for (short entry : history) levels.push_back(entry / 10.0);

  double lowest = -60.0;
  if (std::isfinite(figures.integrated) && figures.integrated > -120.0) {
    lowest = std::min(lowest, std::floor((figures.integrated - 20.0) / 10.0) * 10.0);
  }
  const double highest = figures.samplePeak > 0.0 ? std::ceil(figures.samplePeak / 10.0) * 10.0 : 0.0;
  const PlotFrame frame{std::max(figures.durationSeconds, 0.001), highest, std::max(lowest, -120.0)};
  const double stepSeconds = stepMs / 1000.0;

  std::string svg = Format(
      "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"%.0f\" height=\"%.0f\" font-family=\"sans-serif\" "
      "font-size=\"12\">\n<rect width=\"100%%\" height=\"100%%\" fill=\"white\"/>\n",
      PlotFrame::kWidth, PlotFrame::kHeight);
  svg += "<text x=\"64\" y=\"20\" font-size=\"15\">" + XmlEscaped(figures.source) +
         Format(": integrated %.1f LKFS, peak %.1f dBFS</text>\n", figures.integrated, figures.samplePeak);
  svg += Axes(frame);
  svg += Polyline(frame, levels, stepSeconds, "#e69f00");
  svg += Polyline(frame, shortTerm, stepSeconds, "#0072b2");
  svg += Format("<line x1=\"%.1f\" y1=\"%.1f\" x2=\"%.1f\" y2=\"%.1f\" stroke=\"#d55e00\" stroke-dasharray=\"6 4\"/>\n",
                frame.X(0), frame.Y(figures.integrated), frame.X(frame.duration), frame.Y(figures.integrated));
  svg += Format(
      "<text x=\"%.0f\" y=\"36\" fill=\"#0072b2\">short-term loudness</text>"
      "<text x=\"%.0f\" y=\"36\" fill=\"#e69f00\">peak level per %d ms</text>"
      "<text x=\"%.0f\" y=\"36\" fill=\"#d55e00\">integrated</text>\n</svg>\n",
      PlotFrame::kLeft, PlotFrame::kLeft + 150, stepMs, PlotFrame::kLeft + 320);
  return svg;
}

void CheckMeasurable(const SoundFileReader& reader) {
  constexpr int kLowestRate = 1000;
  if (reader.Frames() <= 0) throw ToolError(reader.Path() + ": holds no audio samples");
  if (reader.Rate() < kLowestRate) {
    throw ToolError(reader.Path() + Format(": a sampling rate of %d Hz is too low to measure", reader.Rate()));
  }
}

void FeedAllBlocks(SoundFileReader& reader, const std::string& label,
                   const std::function<void(const std::vector<std::vector<double>>&)>& feed) {
  constexpr size_t kBlockFrames = 48000;
  Progress progress(label, static_cast<uint64_t>(reader.Frames()));
  std::vector<std::vector<double>> block;
  uint64_t done = 0;
  while (const size_t count = reader.Read(block, kBlockFrames)) {
    feed(block);
    done += count;
    progress.Update(done);
  }
}

std::unique_ptr<LoudnessAnalysis> AnalyseFile(const std::string& path, const LoudnessSettings& settings) {
  SoundFileReader reader(path);
  CheckMeasurable(reader);
  std::unique_ptr<LoudnessAnalysis> analysis;
  try {
    analysis = std::make_unique<LoudnessAnalysis>(reader.Channels(), reader.Rate(), settings);
  } catch (const ToolError& error) {
    throw ToolError(path + ": " + error.what());
  }
  FeedAllBlocks(reader, "measuring " + path,
                [&](const std::vector<std::vector<double>>& block) { analysis->Add(block); });
  return analysis;
}

std::string FormatReport(const LoudnessFigures& f) {
  std::string text;
  text += Format("file               %s\n", f.source.c_str());
  text += Format("format             %d Hz, %d channel%s, %.3f s\n", f.rate, f.channels, f.channels == 1 ? "" : "s",
                 f.durationSeconds);
  text += Format("integrated         %.1f LKFS\n", f.integrated);
  text += Format("momentary max      %.1f LKFS\n", f.momentaryMax);
  text += Format("short-term max     %.1f LKFS\n", f.shortTermMax);
  text += Format("sample peak        %.1f dBFS\n", f.samplePeak);
  text += Format("true peak          %.1f dBTP\n", f.truePeak);
  text += Format("PPM type IIa       %.2f (%.1f dB)\n", f.ppm, f.ppmDb);
  text += Format("VU                 %.1f dB\n", f.vuDb);
  text += Format("Chromatec          %.1f dB\n", f.chromatecDb);
  return text;
}

std::string FormatJson(const LoudnessFigures& f) {
  const std::pair<const char*, std::string> fields[] = {
      {"integrated_lkfs", JsonNumber(f.integrated)},
      {"momentary_max_lkfs", JsonNumber(f.momentaryMax)},
      {"short_term_max_lkfs", JsonNumber(f.shortTermMax)},
      {"sample_peak_db", JsonNumber(f.samplePeak)},
      {"true_peak_db", JsonNumber(f.truePeak)},
      {"ppm", JsonNumber(f.ppm)},
      {"vu_db", JsonNumber(f.vuDb)},
      {"chromatec_db", JsonNumber(f.chromatecDb)},
      {"sample_rate", std::to_string(f.rate)},
      {"channels", std::to_string(f.channels)},
      {"duration_seconds", JsonNumber(f.durationSeconds, "%.3f")},
  };
  std::string json = "{";
  for (const auto& [key, value] : fields) json += (json.size() > 1 ? ", \"" : "\"") + std::string(key) + "\": " + value;
  return json + "}\n";
}

}  // namespace corvane::tool
