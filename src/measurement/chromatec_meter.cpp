#include "measurement/chromatec_meter.h"

#include <emmintrin.h>

#include <algorithm>
#include <cmath>

namespace NS_AudioMeasurement {
namespace {

// The weighting curve, frequency in Hz : gain in dB.
constexpr CFilterPoint kWeightingCurve[51] = {
    {100, -7},  {125, -7},   {160, -1},   {200, 3},    {250, 3},    {300, 4},    {315, 5},  {350, 6},   {400, 4.5},
    {450, 4},   {500, 3.5},  {600, 4.1},  {700, 4.5},  {800, 2},    {900, 0},    {1000, 0}, {1100, 2},  {1200, 3},
    {1300, 4},  {1400, 4.5}, {1500, 4.5}, {1600, 4},   {1700, 3.5}, {1800, 3},   {1900, 3}, {2000, 3},  {2100, 3.5},
    {2200, 4},  {2300, 5},   {2400, 6},   {2500, 7},   {2600, 8},   {2700, 8.5}, {2800, 9}, {2900, 10}, {3000, 10},
    {3100, 10}, {3200, 10},  {3300, 9},   {3400, 9},   {3500, 8},   {3600, 9},   {3700, 9}, {3800, 9},  {3900, 9},
    {4000, 9},  {5000, 9},   {6000, 6},   {7000, 1.5}, {9000, 0},   {20000, 0},
};

constexpr double kMixFactor = 0.707;  // for any number of channels: stereo is not halved
constexpr double kSinkDbPerSecond = 4.5;
constexpr double kReadingOffset = 2.42;  // dB
constexpr double kFloorDb = -96.0;
constexpr double kFloorFactor = 1.0 / 32767.0;

// The factor one step of a twentieth of a second may take off the level,
// computed in single precision as the meter always has.
double SinkFactor() {
  const float exponent = static_cast<float>(-(kSinkDbPerSecond / 20.0) / 20.0);
  return static_cast<double>(static_cast<float>(std::pow(10.0, static_cast<double>(exponent))));
}

double NarrowedSquare(double sample) {
  const double narrowed = static_cast<float>(sample);
  return narrowed * narrowed;
}

// `energy` plus the squares of `count` samples narrowed to single precision,
// added one by one in order. The sum lives in a local, not in the meter, so
// that no store and reload lies on its chain; the squares are made two at a
// time, by packed conversions that, unlike the scalar ones, do not wait for
// the last value of the register they write.
double AddNarrowedSquares(const double* samples, size_t count, double energy) {
  size_t i = 0;
  for (; i + 2 <= count; i += 2) {
    const __m128d narrowed = _mm_cvtps_pd(_mm_cvtpd_ps(_mm_loadu_pd(samples + i)));
    const __m128d squares = _mm_mul_pd(narrowed, narrowed);
    energy += _mm_cvtsd_f64(squares);
    energy += _mm_cvtsd_f64(_mm_unpackhi_pd(squares, squares));
  }
  for (; i < count; ++i) energy += NarrowedSquare(samples[i]);
  return energy;
}

}  // namespace

CChromatecMeter::CChromatecMeter() : sinkFactor(SinkFactor()) { Reset(); }

void CChromatecMeter::Reset() {
  maxLevel = kFloorDb;
  stepEnergy = 0.0;
  stepCount = 0;
  filter = std::make_shared<CFFTFilter>();
  for (const CFilterPoint& point : kWeightingCurve) filter->AddFilterPoint(point.frequency, point.gain);
  filter->BuildFilter(48000, 16384);
  window.assign(kWindowSteps, 0.0);
}

double CChromatecMeter::Process(const std::vector<std::vector<double>>& block) {
  if (block.empty()) return -INFINITY;
  std::vector<double> mix(block[0].size(), 0.0);
  for (const std::vector<double>& channel : block) {
    for (size_t i = 0; i < mix.size(); ++i) mix[i] += channel[i] * kMixFactor;
  }
  std::vector<double> filtered;
  if (filter->ProcessSamples(mix, filtered) == 0) return -INFINITY;
  for (size_t i = 0; i < filtered.size();) {
    const size_t run = std::min<size_t>(filtered.size() - i, kStepSamples - stepCount);
    stepEnergy = AddNarrowedSquares(filtered.data() + i, run, stepEnergy);
    stepCount += static_cast<int32_t>(run);
    i += run;
    if (stepCount == kStepSamples) {
      window.pop_front();
      window.push_back(std::sqrt(stepEnergy / kStepSamples));
      stepEnergy = 0.0;
      stepCount = 0;
      Integrate();
    }
  }
  return maxLevel;
}

// A value that lies more than one step's sink below what has been accumulated
// counts as that much instead.
void CChromatecMeter::Integrate() {
  const double n = static_cast<double>(window.size());
  double accumulated = 0.0;
  for (double value : window) {
    if (accumulated > value && sinkFactor * accumulated > value) value = sinkFactor * accumulated;
    accumulated += value / n;
  }
  const double level = (accumulated >= kFloorFactor ? 20.0 * std::log10(accumulated) : kFloorDb) + kReadingOffset;
  maxLevel = std::max(maxLevel, level);
}

}  // namespace NS_AudioMeasurement
