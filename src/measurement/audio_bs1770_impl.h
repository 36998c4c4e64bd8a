// The state and the arithmetic behind CAudioBS1770.
#pragma once

#include <cstdint>
#include <vector>

#include "core/audio_params.h"
#include "core/types.h"
#include "measurement/audio_bs1770.h"

namespace NS_AudioMeasurement {

// One 20 ms sub-block of one channel.
struct LoudnessBlock {
  uint32_t sampleCount;  // at most 960
  double energy;         // sum of the squares of the K-weighted samples
  double peak;           // largest |sample| of the input before weighting
};

// Coefficients of one biquad stage; the recursion is direct form I.
struct BiquadCoefficients {
  double a1, a2, b0, b1, b2;
};

// Memory of one biquad stage of one channel.
struct BiquadState {
  double x1, x2, y1, y2;
};

// The implementation of CAudioBS1770: the K-weighting filter of each channel
// feeds a list of sub-blocks, and every result is computed from those lists.
class CAudioBS1770Impl {
 public:
  static constexpr uint32_t kSubBlockSamples = 960;  // 20 ms at 48 kHz, whatever the rate
  static constexpr unsigned kMaxChannels = 5;

  CAudioBS1770Impl(unsigned channels, int samplingRate, CAudioStreamParameters::CLKFSParameters parameters);

  void AddSamples(const std::vector<std::vector<double>>& samples);
  double GetLoudness(int mode) const;
  double GetMeasuredLoudness() const;
  double GetPeak() const;
  void CopyChannelBlocks(unsigned targetChannel, unsigned sourceChannel, const CAudioBS1770Impl& source);
  void GetLoudnessCurve(int stepMilliseconds, int mode, std::vector<LoudnessPoint>& curve) const;
  static void SaveLoudnessCurve(const CString& fileName, const std::vector<LoudnessPoint>& curve);
  // The sub-blocks of `channel` so far, the last one possibly unfinished.
  const std::vector<LoudnessBlock>& ChannelBlocks(unsigned channel) const { return blocks[channel]; }

 private:
  class WindowSums;

  // Samples already in the sub-block that the next sample of `channel` joins
  // (0 where it opens a new one).
  uint32_t SubBlockFill(unsigned channel) const;
  LoudnessBlock& OpenSubBlock(unsigned channel);
  template <typename V>
  void FilterChannels(const std::vector<std::vector<double>>& samples, unsigned first, size_t length);
  bool GatingOn() const { return parameters.gatingBlockMilliseconds != 0; }
  double TwoStageGate(const std::vector<double>& meanSquares) const;
  double RangeLoudness(const WindowSums& sums, int mode, int64_t position, int stepMilliseconds) const;

  BiquadCoefficients shelf;
  BiquadCoefficients highPass;
  uint32_t channels;
  int32_t samplingRate;
  CAudioStreamParameters::CLKFSParameters parameters;
  std::vector<std::vector<LoudnessBlock>> blocks;
  std::vector<BiquadState> shelfState;
  std::vector<BiquadState> highPassState;
};

}  // namespace NS_AudioMeasurement
