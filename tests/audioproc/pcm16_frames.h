// 16-bit big-endian PCM frames, the limiter's input and output, built from
// and read back into interleaved samples.
#pragma once

#include <cstdint>
#include <vector>

#include "core/frame.h"

namespace audioproc_test {

using Samples = std::vector<int16_t>;

inline CAudioFrame PcmFrame(const Samples& interleaved, unsigned channels = 2, int64_t stamp = 0) {
  CAudioFrame frame;
  frame.audioType = AUDIO_FRAME_PCM;
  frame.channels = channels;
  frame.samplingRate = 48000;
  frame.stampA = stamp;
  frame.stampB = stamp + 1;
  frame.presentationTime = stamp * 100;
  for (int16_t sample : interleaved) {
    const uint8_t bytes[2] = {static_cast<uint8_t>(static_cast<uint16_t>(sample) >> 8),
                              static_cast<uint8_t>(sample & 0xFF)};
    frame.AppendData(bytes, 2);
  }
  return frame;
}

// The frame's samples; none for no frame.
inline Samples PcmSamples(const CAudioFrame* frame) {
  Samples samples;
  for (uint32_t i = 0; frame != nullptr && i + 1 < frame->payloadLength; i += 2) {
    samples.push_back(static_cast<int16_t>((frame->data[i] << 8) | frame->data[i + 1]));
  }
  return samples;
}

}  // namespace audioproc_test
