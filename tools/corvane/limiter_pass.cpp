#include "limiter_pass.h"

namespace corvane::tool {

LimiterPass::LimiterPass(CQBXAudioLimiter& limiter, int channels, int rate)
    : limiter_(limiter), channels_(channels), rate_(rate) {
  frame_.audioType = AUDIO_FRAME_PCM;
  frame_.bitsPerSample = 16;
  frame_.channels = static_cast<uint32_t>(channels);
  frame_.samplingRate = static_cast<uint32_t>(rate);
}

void LimiterPass::Feed(const int16_t* samples, size_t frames, std::vector<int16_t>& out) {
  const size_t count = frames * static_cast<size_t>(channels_);
  std::vector<uint8_t> bytes(2 * count);
  for (size_t i = 0; i < count; ++i) {
    const auto word = static_cast<uint16_t>(samples[i]);
    bytes[2 * i] = static_cast<uint8_t>(word >> 8);
    bytes[2 * i + 1] = static_cast<uint8_t>(word & 0xFF);
  }
  frame_.payloadLength = 0;
  frame_.AppendData(bytes.data(), static_cast<unsigned>(bytes.size()));
  frame_.presentationTime = position_ * 90000 / rate_;
  position_ += static_cast<int64_t>(frames);
  Collect(limiter_.ProcessAudioFrame(&frame_), out);
}

void LimiterPass::Flush(std::vector<int16_t>& out) { Collect(limiter_.ProcessAudioFrame(nullptr), out); }

void LimiterPass::Collect(const CAudioFrame* block, std::vector<int16_t>& out) const {
  if (block == nullptr) return;
  for (uint32_t i = 0; i + 1 < block->payloadLength; i += 2) {
    out.push_back(static_cast<int16_t>((block->data[i] << 8) | block->data[i + 1]));
  }
}

}  // namespace corvane::tool
