// Picking one of the ready-made silent AC-3 frames for a stream.
#include <cstring>

#include "audioparse/audio_support.h"
#include "audioparse/silent_ac3_frames.h"

namespace {

// The name of the highest frame whose bit rate does not exceed the request.
// A request for five channels or more is never answered with fewer.
const char* SilentAC3FrameName(uint32_t channels, uint32_t bitRate) {
  if (channels >= 5) return bitRate >= 448000 ? "5.1_448" : "5.1_384";
  static constexpr struct {
    uint32_t bitRate;
    const char* name;
  } kStereoFrames[] = {
      {448000, "2.0_448"}, {384000, "2.0_384"}, {320000, "2.0_320"}, {256000, "2.0_256"},
      {224000, "2.0_224"}, {192000, "2.0_192"}, {160000, "2.0_160"},
  };
  for (const auto& frame : kStereoFrames) {
    if (bitRate >= frame.bitRate) return frame.name;
  }
  return "2.0_128";
}

}  // namespace

const SilentAC3FrameData* FindSilentAC3Frame(const char* name) {
  for (size_t i = 0; i < g_silentAC3FrameCount; ++i) {
    if (std::strcmp(g_silentAC3Frames[i].name, name) == 0) return &g_silentAC3Frames[i];
  }
  return nullptr;
}

HRESULT CAudioSupport::GetSilentAC3Frame(uint32_t channels, uint32_t bitRate, CAudioFrame& frame) {
  const SilentAC3FrameData* silent = FindSilentAC3Frame(SilentAC3FrameName(channels, bitRate));
  if (silent == nullptr) return E_FAIL;
  frame.payloadLength = 0;
  frame.AppendData(silent->bytes, silent->size);
  frame.frameSize = silent->size;
  return S_OK;
}
