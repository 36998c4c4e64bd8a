// libebur128 as an independent reference: the same planar blocks that our
// meters take, fed to it interleaved.
#pragma once

#include <ebur128.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "signals.h"

namespace measurement_test {

class Ebur128Oracle {
 public:
  Ebur128Oracle(unsigned channels, int mode) : channels_(channels) {
    state_ = ebur128_init(channels, 48000, mode);
    // Our five channels are L, R, C, Ls, Rs with no LFE among them.
    if (channels >= 5) {
      ebur128_set_channel(state_, 3, EBUR128_LEFT_SURROUND);
      ebur128_set_channel(state_, 4, EBUR128_RIGHT_SURROUND);
    }
  }
  ~Ebur128Oracle() { ebur128_destroy(&state_); }
  Ebur128Oracle(const Ebur128Oracle&) = delete;
  Ebur128Oracle& operator=(const Ebur128Oracle&) = delete;

  // Feeds the block in pieces of 100 ms, noting the highest momentary and
  // short-term loudness after each.
  void Add(const Block& block) {
    const size_t frames = block[0].size();
    std::vector<double> interleaved(frames * channels_);
    for (size_t i = 0; i < frames; ++i) {
      for (unsigned c = 0; c < channels_; ++c) interleaved[i * channels_ + c] = block[c][i];
    }
    for (size_t begin = 0; begin < frames; begin += 4800) {
      const size_t count = std::min<size_t>(4800, frames - begin);
      ebur128_add_frames_double(state_, interleaved.data() + begin * channels_, count);
      double value = -HUGE_VAL;
      if ((state_->mode & EBUR128_MODE_M) == EBUR128_MODE_M && ebur128_loudness_momentary(state_, &value) == 0) {
        momentaryMax_ = std::max(momentaryMax_, value);
      }
      if ((state_->mode & EBUR128_MODE_S) == EBUR128_MODE_S && ebur128_loudness_shortterm(state_, &value) == 0) {
        shortTermMax_ = std::max(shortTermMax_, value);
      }
    }
  }

  double Integrated() {
    double value = -HUGE_VAL;
    ebur128_loudness_global(state_, &value);
    return value;
  }
  double MomentaryMax() const { return momentaryMax_; }
  double ShortTermMax() const { return shortTermMax_; }

  // Highest true peak over the channels, in dB.
  double TruePeakDb() {
    double highest = 0.0;
    for (unsigned c = 0; c < channels_; ++c) {
      double peak = 0.0;
      ebur128_true_peak(state_, c, &peak);
      highest = std::max(highest, peak);
    }
    return 20.0 * std::log10(highest);
  }

 private:
  ebur128_state* state_;
  unsigned channels_;
  double momentaryMax_ = -HUGE_VAL;
  double shortTermMax_ = -HUGE_VAL;
};

}  // namespace measurement_test
