// Helpers for the header parser tests: a parameter record whose every field
// holds a value no parser writes, a field-by-field comparison, and the frame
// duration in thousandths of a tick.
#pragma once

#include <cstdint>
#include <tuple>
#include <type_traits>

#include "core/audio_params.h"

namespace corvane::test {

template <typename Params>
auto Fields(Params& p) {
  return std::tie(p.alternateFlag, p.streamType, p.frameSize, p.frameDurationTicks, p.frameDurationFraction,
                  p.bitRate, p.samplingRate, p.mpegVersion, p.mpegLayer, p.protectionBit, p.bitRateCode,
                  p.lastHeaderBytes, p.alternateChannels, p.channels, p.lfe, p.bitsPerSample, p.aacDoubleRate);
}

// The fields hold 7101, 7102, ... in the order of Fields().
inline CAudioStreamParameters SentinelParameters() {
  CAudioStreamParameters params;
  int next = 7101;
  const auto fill = [&next](auto&... field) {
    ((field = static_cast<std::remove_reference_t<decltype(field)>>(next++)), ...);
  };
  std::apply(fill, Fields(params));
  return params;
}

inline bool SameParameters(const CAudioStreamParameters& a, const CAudioStreamParameters& b) {
  return Fields(a) == Fields(b);
}

inline uint64_t MilliTicks(const CAudioStreamParameters& p) {
  return uint64_t{p.frameDurationTicks} * 1000 + p.frameDurationFraction;
}

}  // namespace corvane::test
