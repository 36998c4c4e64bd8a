#include "measurement/audio_bs1770_impl.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace NS_AudioMeasurement {
namespace {

// ITU-R BS.1770 K-weighting at 48 kHz: a high shelf, then a high pass.
constexpr BiquadCoefficients kShelf = {-1.69065929318241, 0.73248077421585, 1.53512485958697, -2.69169618940638,
                                       1.19839281085285};
constexpr BiquadCoefficients kHighPass = {-1.99004745483398, 0.99007225036621, 1.0, -2.0, 1.0};

// L, R, C, Ls, Rs. The surround weight is 1.41, not 1.413.
constexpr double kChannelWeights[CAudioBS1770Impl::kMaxChannels] = {1.0, 1.0, 1.0, 1.41, 1.41};

constexpr double kNoWindow = -128.0;      // no window was evaluated
constexpr double kNothingGated = -120.0;  // no value passed the gate, or no peak
constexpr double kNoGate = 100.0;         // a gate level that picks every value
constexpr size_t kInitialBlocks = 3000;   // one minute of sub-blocks

double LoudnessOf(double meanSquare) { return 10.0 * std::log10(meanSquare) - 0.691; }

// Loudness of the mean of the values above `gate` (LKFS); a gate of 0 or
// more picks every value.
double GatedLoudness(const std::vector<double>& meanSquares, double gate) {
  const double limit = std::pow(10.0, (gate + 0.691) / 10.0);
  double sum = 0.0;
  size_t picked = 0;
  for (double z : meanSquares) {
    if (gate >= 0.0 || z > limit) {
      sum += z;
      ++picked;
    }
  }
  return picked == 0 ? kNothingGated : LoudnessOf(sum / static_cast<double>(picked));
}

// A silent input leaves the recursion ringing down into subnormal numbers,
// which cost many times the usual time per sample. Memory below 1e-200 can no
// longer change any result: its square underflows to zero, and beside any
// real signal it lies far below the last place. It is cleared at sub-block
// boundaries, the same points of the stream however the stream is cut.
void ClearNegligibleMemory(BiquadState& state) {
  constexpr double kNegligible = 1e-200;
  if (std::fabs(state.x1) < kNegligible && std::fabs(state.x2) < kNegligible && std::fabs(state.y1) < kNegligible &&
      std::fabs(state.y2) < kNegligible) {
    state = {};
  }
}

// Runs `count` samples through both K-weighting stages of one channel and
// adds them to one sub-block. Everything lives in locals so that the loop
// keeps its state in registers.
void KWeightRun(const double* input, size_t count, const BiquadCoefficients& shelf, const BiquadCoefficients& highPass,
                BiquadState& shelfState, BiquadState& highPassState, LoudnessBlock& block) {
  const BiquadCoefficients s = shelf;
  const BiquadCoefficients h = highPass;
  BiquadState a = shelfState;
  BiquadState b = highPassState;
  double energy = block.energy;
  double peak = block.peak;
  for (size_t k = 0; k < count; ++k) {
    const double x = input[k];
    const double t = s.b0 * x + s.b1 * a.x1 + s.b2 * a.x2 - s.a1 * a.y1 - s.a2 * a.y2;
    a.x2 = a.x1;
    a.x1 = x;
    a.y2 = a.y1;
    a.y1 = t;
    const double u = h.b0 * t + h.b1 * b.x1 + h.b2 * b.x2 - h.a1 * b.y1 - h.a2 * b.y2;
    b.x2 = b.x1;
    b.x1 = t;
    b.y2 = b.y1;
    b.y1 = u;
    energy += u * u;
    peak = std::max(peak, std::fabs(x));
  }
  shelfState = a;
  highPassState = b;
  block.energy = energy;
  block.peak = peak;
  block.sampleCount += static_cast<uint32_t>(count);
}

}  // namespace

// The channel-weighted energy and the sample count (channel 0's) of every
// complete sub-block, from which any window's mean square follows.
class CAudioBS1770Impl::WindowSums {
 public:
  explicit WindowSums(const CAudioBS1770Impl& meter) {
    if (meter.blocks.empty()) return;
    const std::vector<LoudnessBlock>& first = meter.blocks[0];
    size_t complete = first.size();
    if (complete != 0 && first.back().sampleCount < kSubBlockSamples) --complete;
    energies_.assign(complete, 0.0);
    counts_.resize(complete);
    for (size_t j = 0; j < complete; ++j) counts_[j] = first[j].sampleCount;
    for (size_t c = 0; c < meter.blocks.size(); ++c) {
      // A channel joined from a shorter measurement adds nothing where it ends.
      const size_t available = std::min(complete, meter.blocks[c].size());
      for (size_t j = 0; j < available; ++j) energies_[j] += kChannelWeights[c] * meter.blocks[c][j].energy;
    }
  }

  int64_t Count() const { return static_cast<int64_t>(energies_.size()); }

  // Mean square of the window of `length` sub-blocks that ends at `last`.
  double MeanSquare(int64_t last, int64_t length) const {
    double energy = 0.0;
    uint64_t samples = 0;
    for (int64_t j = last - length + 1; j <= last; ++j) {
      energy += energies_[j];
      samples += counts_[j];
    }
    return energy / static_cast<double>(samples);
  }

 private:
  std::vector<double> energies_;
  std::vector<uint32_t> counts_;
};

CAudioBS1770Impl::CAudioBS1770Impl(unsigned channelCount, int rate, CAudioStreamParameters::CLKFSParameters settings)
    : shelf(kShelf),
      highPass(kHighPass),
      channels(std::min(channelCount, kMaxChannels)),
      samplingRate(rate),
      parameters(settings),
      blocks(channels),
      shelfState(channels, BiquadState{}),
      highPassState(channels, BiquadState{}) {
  for (std::vector<LoudnessBlock>& list : blocks) list.reserve(kInitialBlocks);
}

void CAudioBS1770Impl::AddSamples(const std::vector<std::vector<double>>& samples) {
  if (channels == 0 || samples.empty()) return;
  const size_t length = samples[0].size();
  for (unsigned c = 0; c < channels; ++c) FilterChannel(samples[c].data(), length, c);
}

// Channels are independent, so each runs through the whole block on its own;
// the sample-by-sample order within a channel is what fixes the results.
void CAudioBS1770Impl::FilterChannel(const double* input, size_t length, unsigned channel) {
  std::vector<LoudnessBlock>& list = blocks[channel];
  size_t done = 0;
  while (done < length) {
    if (list.empty() || list.back().sampleCount >= kSubBlockSamples) list.push_back({0, 0.0, 0.0});
    LoudnessBlock& block = list.back();
    const size_t run = std::min<size_t>(length - done, kSubBlockSamples - block.sampleCount);
    KWeightRun(input + done, run, shelf, highPass, shelfState[channel], highPassState[channel], block);
    done += run;
    if (block.sampleCount == kSubBlockSamples) {
      ClearNegligibleMemory(shelfState[channel]);
      ClearNegligibleMemory(highPassState[channel]);
    }
  }
}

double CAudioBS1770Impl::TwoStageGate(const std::vector<double>& meanSquares) const {
  const double relativeLimit = GatedLoudness(meanSquares, parameters.absoluteGate) + parameters.relativeGate;
  return GatedLoudness(meanSquares, relativeLimit);
}

double CAudioBS1770Impl::GetLoudness(int mode) const {
  const WindowSums sums(*this);
  const int64_t n = sums.Count();
  int64_t window = 0;
  int64_t hop = 1;
  switch (mode) {
    case LOUDNESS_MOMENTARY:
      window = 20;
      break;
    case LOUDNESS_SHORT_TERM:
      window = 150;
      break;
    case LOUDNESS_BLOCKWISE:
      window = 1;
      break;
    case LOUDNESS_GATED: {
      window = parameters.gatingBlockMilliseconds / 20;
      const int64_t overlap = (parameters.gatingOverlapPercent * window) / 100;
      hop = std::max<int64_t>(1, window - overlap);
      if (window <= 0) window = n;
      break;
    }
    default:
      return kNoWindow;
  }
  const bool slidingMaximum = mode == LOUDNESS_MOMENTARY || mode == LOUDNESS_SHORT_TERM;
  double best = kNoWindow;
  std::vector<double> meanSquares;
  // The window that ends first is passed over: evaluation starts one hop later.
  for (int64_t last = window - 1 + hop; last < n; last += hop) {
    const double z = sums.MeanSquare(last, window);
    if (slidingMaximum) {
      const double loudness = LoudnessOf(z);
      if (loudness >= best) best = loudness;
    } else {
      meanSquares.push_back(z);
    }
  }
  if (slidingMaximum) return best;
  if (GatingOn()) return TwoStageGate(meanSquares);
  return mode == LOUDNESS_BLOCKWISE ? GatedLoudness(meanSquares, kNoGate) : kNoWindow;
}

double CAudioBS1770Impl::GetMeasuredLoudness() const {
  switch (parameters.measureMilliseconds) {
    case 400:
      return GetLoudness(LOUDNESS_MOMENTARY);
    case 3000:
      return GetLoudness(LOUDNESS_SHORT_TERM);
    case 10000:
      return GetLoudness(LOUDNESS_BLOCKWISE);
    default:
      return GetLoudness(LOUDNESS_GATED);
  }
}

double CAudioBS1770Impl::GetPeak() const {
  double peak = 0.0;
  for (const std::vector<LoudnessBlock>& list : blocks) {
    for (const LoudnessBlock& block : list) peak = std::max(peak, block.peak);
  }
  return peak > 0.0 ? 20.0 * std::log10(peak) : kNothingGated;
}

void CAudioBS1770Impl::CopyChannelBlocks(unsigned targetChannel, unsigned sourceChannel,
                                         const CAudioBS1770Impl& source) {
  blocks[targetChannel] = source.blocks[sourceChannel];
}

// Unlike GetLoudness, a range evaluates the first window that fits.
double CAudioBS1770Impl::RangeLoudness(const WindowSums& sums, int mode, int64_t position, int stepMilliseconds) const {
  const int64_t n = sums.Count();
  const int64_t first = position / 20;
  const int64_t length = stepMilliseconds / 20;
  const int64_t end = std::min(first + length, n);
  int64_t window = 0;
  switch (mode) {
    case LOUDNESS_MOMENTARY:
      window = 20;
      break;
    case LOUDNESS_SHORT_TERM:
      window = 150;
      break;
    case LOUDNESS_BLOCKWISE:
      window = 500;
      break;
    case LOUDNESS_GATED:
      window = length == 0 ? n : length;
      break;
    default:
      return kNoWindow;
  }
  double best = kNoWindow;
  double z = 0.0;
  std::vector<double> meanSquares;
  for (int64_t last = std::max(first, window - 1); last < end; ++last) {
    z = sums.MeanSquare(last, window);
    if (mode == LOUDNESS_GATED) {
      meanSquares.push_back(z);
    } else {
      const double loudness = LoudnessOf(z);
      if (loudness >= best) best = loudness;
    }
  }
  if (mode != LOUDNESS_GATED) return best;
  // Without gating the stretch reads as its last window (minus infinity when it has none).
  return GatingOn() ? TwoStageGate(meanSquares) : LoudnessOf(z);
}

void CAudioBS1770Impl::GetLoudnessCurve(int stepMilliseconds, int mode, std::vector<LoudnessPoint>& curve) const {
  curve.clear();
  if (stepMilliseconds <= 0 || blocks.empty()) return;
  const WindowSums sums(*this);
  const int64_t total = 20 * static_cast<int64_t>(blocks[0].size());
  for (int64_t position = 0; position < total; position += stepMilliseconds) {
    curve.push_back({RangeLoudness(sums, mode, position, stepMilliseconds), 0.0});
  }
}

void CAudioBS1770Impl::SaveLoudnessCurve(const CString& fileName, const std::vector<LoudnessPoint>& curve) {
  FILE* file = std::fopen(fileName.c_str(), "w");
  if (file == nullptr) return;
  std::fputs("sample, lkfs, peak\n", file);
  for (size_t i = 0; i < curve.size(); ++i) {
    std::fprintf(file, "%i, %.2f, %.2f\n", static_cast<int>(i), curve[i].lkfs, curve[i].peak);
  }
  std::fclose(file);
}

}  // namespace NS_AudioMeasurement
