#include "measurement/fft_filter.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>

#include "measurement/fft_filter_ex.h"
#include "platform/xml_node.h"
#include "signals.h"
#include "support/temp_folder.h"

namespace {

using namespace measurement_test;
using NS_AudioMeasurement::CFFTFilter;
using NS_AudioMeasurement::CFFTFilterEx;
using NS_AudioMeasurement::CFilterPoint;

constexpr int kSize = 16384;
constexpr int kHop = 12288;

CFFTFilterEx TestCurveFilter() {
  CFFTFilterEx filter;
  for (const CFilterPoint& point : NS_AudioMeasurement::kTestFilterCurve)
    filter.AddFilterPoint(point.frequency, point.gain);
  filter.BuildFilter(48000, kSize);
  return filter;
}

double BinGainDb(const CFFTFilterEx& filter, size_t bin) { return 20.0 * std::log10(filter.Response()[bin].real()); }

TEST(CFFTFilterTest, ResponseFollowsTheInterpolationFormulaAtChosenBins) {
  const CFFTFilterEx filter = TestCurveFilter();
  ASSERT_EQ(filter.Response().size(), static_cast<size_t>(kSize / 2 + 1));
  EXPECT_EQ(filter.Response()[0], filter.Response()[1]);  // DC takes the first bin's gain
  // Bin k lies at k·48000/16384 Hz; the gains were worked out from the points
  // around it: g0 + log10(max(1, f - f0)) / max(0.1, log10(f1 - f0)) · (g1 - g0).
  const std::pair<size_t, double> bins[] = {
      {1, -7.0},                    // below the first point: the inserted point at 0.001 Hz repeats its gain
      {60, 1.9915019569413372},     // 175.78 Hz between 160 (-1) and 200 (3)
      {290, 0.3044362443558928},    // 849.61 Hz between 800 (2) and 900 (0)
      {512, 4.5},                   // exactly on the point at 1500 Hz
      {683, 3.0},                   // 2000.98 Hz: within a hertz of 2000, the gain stays
      {700, 3.4264258467487467},    // 2050.78 Hz between 2000 (3) and 2100 (3.5)
      {3584, -2.4528435135832245},  // 10500 Hz between 10000 (0) and 12000 (-3)
      {8192, -3.0},                 // Nyquist: the appended point at 48000 Hz repeats -3
  };
  for (const auto& [bin, db] : bins) {
    EXPECT_NEAR(BinGainDb(filter, bin), db, 1e-12) << bin;  // a power and a logarithm apart
    EXPECT_EQ(filter.Response()[bin].imag(), 0.0);
  }
  // The curve now runs from 0.001 Hz to the sampling rate.
  EXPECT_EQ(filter.Points().size(), 51u);
  EXPECT_EQ(filter.Points().front().frequency, 0.001);
  EXPECT_EQ(filter.Points().back().frequency, 48000.0);
  EXPECT_EQ(filter.Points().back().gain, -3.0);
  EXPECT_EQ(filter.Hop(), kHop);
}

TEST(CFFTFilterTest, PointsThatDoNotRiseAreDropped) {
  CFFTFilterEx filter;
  filter.AddFilterPoint(0.0, -2.0);  // stored at 0.001 Hz: no point goes in front
  filter.AddFilterPoint(500.0, 1.0);
  filter.AddFilterPoint(500.0, 9.0);
  filter.AddFilterPoint(400.0, 9.0);
  filter.AddFilterPoint(60000.0, 4.0);  // above the rate: nothing is appended
  filter.BuildFilter(48000, 1024);
  ASSERT_EQ(filter.Points().size(), 3u);
  EXPECT_EQ(filter.Points()[0].frequency, 0.001);
  EXPECT_EQ(filter.Points()[1].gain, 1.0);
  EXPECT_EQ(filter.Points()[2].frequency, 60000.0);
}

// One point is a flat gain; a half in every bin halves the signal: the zero
// half of each frame stays zero, so the fed-back tail is silent.
TEST(CFFTFilterTest, OnePointHalvesEverySample) {
  CFFTFilterEx half;
  half.AddFilterPoint(1000.0, 20.0 * std::log10(0.5));
  half.BuildFilter(48000, 4096);
  const std::vector<double> input = WhiteNoise(3 * 3072 + 5, 0.8, 12);
  std::vector<double> output;
  ASSERT_EQ(half.ProcessSamples(input, output), 3 * 3072);
  for (size_t i = 0; i < output.size(); ++i) ASSERT_NEAR(output[i], 0.5 * input[i], 1e-12) << i;  // FFT rounding
}

TEST(CFFTFilterTest, OutputComesInWholeHops) {
  CFFTFilterEx filter = TestCurveFilter();
  std::vector<double> output(5, 1.0);
  EXPECT_EQ(filter.ProcessSamples(std::vector<double>(kHop - 1, 0.1), output), 0);
  EXPECT_TRUE(output.empty());
  EXPECT_EQ(filter.ProcessSamples(std::vector<double>(1, 0.1), output), kHop);
  EXPECT_EQ(filter.ProcessSamples(std::vector<double>(2 * kHop + 7, 0.1), output), 2 * kHop);
  // 7 samples wait: flushing pads them to one hop and leaves kHop - 7 zeros behind.
  EXPECT_EQ(filter.FlushFilter(output), kHop);
  EXPECT_EQ(filter.ProcessSamples(std::vector<double>(7, 0.0), output), kHop);
  // With nothing pending, a flush pushes out two frames.
  EXPECT_EQ(filter.FlushFilter(output), 2 * kHop);
}

TEST(CFFTFilterTest, ZerosAfterASignalDecay) {
  CFFTFilterEx filter = TestCurveFilter();
  std::vector<double> output;
  filter.ProcessSamples(WhiteNoise(kHop, 0.5, 4), output);
  double previous = INFINITY;
  for (int frame = 0; frame < 4; ++frame) {
    filter.ProcessSamples(std::vector<double>(kHop, 0.0), output);
    double energy = 0.0;
    for (double y : output) energy += y * y;
    EXPECT_GT(energy, 0.0) << frame;  // each frame re-filters the last tail
    EXPECT_LT(energy, previous) << frame;
    previous = energy;
  }
}

TEST(CFFTFilterTest, TonesComeOutWithTheCurvesGain) {
  // Tones on points of the curve, and one between two (10.5 kHz: -2.4528 dB).
  const std::pair<double, double> tones[] = {
      {1000.0, 0.0}, {2000.0, 3.0}, {3000.0, 10.0}, {5000.0, 9.0}, {10500.0, -2.4528435135832245}};
  for (const auto& [frequency, db] : tones) {
    CFFTFilterEx filter = TestCurveFilter();
    std::vector<double> output;
    filter.ProcessSamples(Sine(20 * kHop, 0.1, frequency), output);
    double energy = 0.0;
    for (size_t i = 10 * kHop; i < output.size(); ++i) energy += output[i] * output[i];
    const double rms = std::sqrt(energy / static_cast<double>(output.size() - 10 * kHop));
    // The frames are not windowed and the tail is filtered again, so the
    // response between bins and at frame edges is not the curve's exactly:
    // the tones' RMS stays within 0.15 dB of it, their peaks do not.
    EXPECT_NEAR(20.0 * std::log10(rms / (0.1 / std::sqrt(2.0))), db, 0.15) << frequency;
  }
}

TEST(CFFTFilterTest, CopiesAndAssignmentRunOnTheirOwn) {
  CFFTFilter source;
  source.BuildTestFilter();
  const std::vector<double> first = PinkNoise(kHop + 500, 0.3, 8);
  const std::vector<double> second = PinkNoise(2 * kHop, 0.3, 9);
  std::vector<double> expected, output;
  source.ProcessSamples(first, output);

  auto copy = std::make_unique<CFFTFilter>(source);
  CFFTFilter assigned;
  assigned = source;
  assigned = assigned;  // self-assignment changes nothing
  source.ProcessSamples(second, expected);
  copy->ProcessSamples(second, output);
  EXPECT_EQ(output, expected);
  assigned.ProcessSamples(second, output);
  EXPECT_EQ(output, expected);

  // The copy's transform is its own: it outlives the source's.
  CFFTFilter survivor(*copy);
  copy.reset();
  std::vector<double> again;
  source.ProcessSamples(second, expected);
  survivor.ProcessSamples(second, again);
  EXPECT_EQ(again, expected);
}

TEST(CFFTFilterTest, SaveResponseCurveToXmlWritesThePoints) {
  corvane::test::TempFolder folder;
  const std::string path = folder.Path() + "/response.xml";
  CFFTFilter filter;
  filter.AddFilterPoint(100.0, -3.5);
  filter.AddFilterPoint(1000.0, 2.25);
  filter.BuildFilter(48000, 2048);
  filter.SaveResponseCurveToXML(path);

  const XMLNode root = XMLNode::parseFile(path, "Filter", nullptr, 1);
  ASSERT_FALSE(root.isEmpty());
  const CFilterPoint expected[] = {{0.001, -3.5}, {100.0, -3.5}, {1000.0, 2.25}, {48000.0, 2.25}};
  int iterator = 0;
  for (const CFilterPoint& point : expected) {
    const XMLNode node = root.getChildNode("point", &iterator);
    ASSERT_FALSE(node.isEmpty());
    double frequency = 0.0, gain = 0.0;
    EXPECT_TRUE(node.GetAttribute("frequency", frequency));
    EXPECT_TRUE(node.GetAttribute("gain", gain));
    EXPECT_EQ(frequency, point.frequency);
    EXPECT_EQ(gain, point.gain);
  }
  EXPECT_TRUE(root.getChildNode("point", &iterator).isEmpty());
  const std::string saved = ReadWholeFile(path);
  EXPECT_NE(saved.find("gain=\"2.25\">3</point>"), std::string::npos) << saved;  // the index as text
  CFFTFilter::TestFilter();
}

}  // namespace
