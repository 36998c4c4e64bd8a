#include "measurement/audio_bs1770_impl.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "audioproc/sample_lanes.h"

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
// Windows in 20 ms sub-blocks.
constexpr int64_t kSubBlockMilliseconds = 20;
constexpr int64_t kMomentaryWindow = 400 / kSubBlockMilliseconds;
constexpr int64_t kShortTermWindow = 3000 / kSubBlockMilliseconds;

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

// Memory of one biquad stage of the channels in V's lanes.
template <typename V>
struct BiquadLanes {
  V x1, x2, y1, y2;
};

template <typename V>
BiquadLanes<V> LoadMemory(const BiquadState* states) {
  using sample_lanes::LanesOf;
  return {LanesOf<V>([&](unsigned l) { return states[l].x1; }), LanesOf<V>([&](unsigned l) { return states[l].x2; }),
          LanesOf<V>([&](unsigned l) { return states[l].y1; }), LanesOf<V>([&](unsigned l) { return states[l].y2; })};
}

template <typename V>
void StoreMemory(const BiquadLanes<V>& memory, BiquadState* states) {
  using sample_lanes::Lane;
  for (unsigned l = 0; l < sample_lanes::kLaneCount<V>; ++l) {
    states[l] = {Lane(memory.x1, l), Lane(memory.x2, l), Lane(memory.y1, l), Lane(memory.y2, l)};
  }
}

// One sample through one biquad stage; the sum runs left to right.
template <typename V>
V Biquad(const BiquadCoefficients& c, BiquadLanes<V>& m, V x) {
  const V y = c.b0 * x + c.b1 * m.x1 + c.b2 * m.x2 - c.a1 * m.y1 - c.a2 * m.y2;
  m = {x, m.x1, y, m.y1};
  return y;
}

// Runs `count` samples of the channels in V's lanes (inputs[lane]) through
// both K-weighting stages and adds them to one sub-block of each
// (targets[lane]). Everything lives in locals so that the loop keeps its
// state in registers.
template <typename V>
void KWeightRun(const double* const* inputs, size_t count, const BiquadCoefficients& shelf,
                const BiquadCoefficients& highPass, BiquadState* shelfStates, BiquadState* highPassStates,
                LoudnessBlock* const* targets) {
  using sample_lanes::LanesOf;
  const BiquadCoefficients s = shelf;
  const BiquadCoefficients h = highPass;
  BiquadLanes<V> a = LoadMemory<V>(shelfStates);
  BiquadLanes<V> b = LoadMemory<V>(highPassStates);
  V energy = LanesOf<V>([&](unsigned l) { return targets[l]->energy; });
  V peak = LanesOf<V>([&](unsigned l) { return targets[l]->peak; });
  for (size_t k = 0; k < count; ++k) {
    const V x = LanesOf<V>([&](unsigned l) { return inputs[l][k]; });
    const V u = Biquad(h, b, Biquad(s, a, x));
    energy += u * u;
    peak = sample_lanes::Larger(peak, sample_lanes::Magnitude(x));
  }
  StoreMemory(a, shelfStates);
  StoreMemory(b, highPassStates);
  for (unsigned l = 0; l < sample_lanes::kLaneCount<V>; ++l) {
    targets[l]->energy = sample_lanes::Lane(energy, l);
    targets[l]->peak = sample_lanes::Lane(peak, l);
    targets[l]->sampleCount += static_cast<uint32_t>(count);
  }
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
  sample_lanes::ForEachLaneGroup(
      channels, [&](unsigned c) { return SubBlockFill(c) == SubBlockFill(c + 1); },
      [&](auto lanes, unsigned first) { FilterChannels<decltype(lanes)>(samples, first, length); });
}

uint32_t CAudioBS1770Impl::SubBlockFill(unsigned channel) const {
  const std::vector<LoudnessBlock>& list = blocks[channel];
  return list.empty() ? 0 : list.back().sampleCount % kSubBlockSamples;
}

LoudnessBlock& CAudioBS1770Impl::OpenSubBlock(unsigned channel) {
  std::vector<LoudnessBlock>& list = blocks[channel];
  if (list.empty() || list.back().sampleCount >= kSubBlockSamples) list.push_back({0, 0.0, 0.0});
  return list.back();
}

// Channels are independent: each runs through the whole block, in V's lanes
// beside another whose sub-blocks end at the same samples (channels joined
// from other measurements may not), or alone. The sample-by-sample order
// within a channel is what fixes the results.
template <typename V>
void CAudioBS1770Impl::FilterChannels(const std::vector<std::vector<double>>& samples, unsigned first, size_t length) {
  constexpr unsigned kLanes = sample_lanes::kLaneCount<V>;
  size_t done = 0;
  while (done < length) {
    LoudnessBlock* targets[kLanes];
    const double* inputs[kLanes];
    for (unsigned l = 0; l < kLanes; ++l) {
      targets[l] = &OpenSubBlock(first + l);
      inputs[l] = samples[first + l].data() + done;
    }
    const size_t run = std::min<size_t>(length - done, kSubBlockSamples - targets[0]->sampleCount);
    KWeightRun<V>(inputs, run, shelf, highPass, &shelfState[first], &highPassState[first], targets);
    done += run;
    if (targets[0]->sampleCount < kSubBlockSamples) continue;
    for (unsigned c = first; c < first + kLanes; ++c) {
      ClearNegligibleMemory(shelfState[c]);
      ClearNegligibleMemory(highPassState[c]);
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
      window = kMomentaryWindow;
      break;
    case LOUDNESS_SHORT_TERM:
      window = kShortTermWindow;
      break;
    case LOUDNESS_BLOCKWISE:
      window = 1;
      break;
    case LOUDNESS_GATED: {
      window = parameters.gatingBlockMilliseconds / kSubBlockMilliseconds;
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
  const int64_t first = position / kSubBlockMilliseconds;
  const int64_t length = stepMilliseconds / kSubBlockMilliseconds;
  const int64_t end = std::min(first + length, n);
  int64_t window = 0;
  switch (mode) {
    case LOUDNESS_MOMENTARY:
      window = kMomentaryWindow;
      break;
    case LOUDNESS_SHORT_TERM:
      window = kShortTermWindow;
      break;
    case LOUDNESS_BLOCKWISE:
      window = 10000 / kSubBlockMilliseconds;
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
