// Drives a CQBXAudioLimiter over interleaved 16-bit samples, as a host does:
// frames of big-endian PCM in, the limited block of the frame before out.
#pragma once

#include <cstdint>
#include <vector>

#include "audioproc/audio_limiter.h"
#include "core/frame.h"

namespace corvane::tool {

class LimiterPass {
 public:
  // The limiter reads mono and stereo PCM; `channels` is 1 or 2.
  LimiterPass(CQBXAudioLimiter& limiter, int channels, int rate);

  // Feeds one frame of interleaved samples and appends the block that comes
  // out, if any, to `out`.
  void Feed(const int16_t* samples, size_t frames, std::vector<int16_t>& out);
  // Appends the last waiting block to `out`.
  void Flush(std::vector<int16_t>& out);

 private:
  void Collect(const CAudioFrame* block, std::vector<int16_t>& out) const;

  CQBXAudioLimiter& limiter_;
  int channels_;
  int rate_;
  int64_t position_ = 0;  // samples a channel fed so far
  CAudioFrame frame_;
};

}  // namespace corvane::tool
