// Helpers for the header parser tests: a parameter record whose every field
// holds a value no parser writes, a field-by-field comparison, and the frame
// duration in thousandths of a tick.
#pragma once

#include <cstdint>
#include <tuple>

#include "core/audio_params.h"

namespace corvane::test {

inline CAudioStreamParameters SentinelParameters() {
  CAudioStreamParameters params;
  params.alternateFlag = 7101;
  params.streamType = static_cast<AUDIO_STREAM_TYPE>(7102);
  params.frameSize = 7103;
  params.frameDurationTicks = 7104;
  params.frameDurationFraction = 7105;
  params.bitRate = 7106;
  params.samplingRate = 7107;
  params.mpegVersion = 7108;
  params.mpegLayer = 7109;
  params.protectionBit = 7110;
  params.bitRateCode = 7111;
  params.lastHeaderBytes = 7112;
  params.alternateChannels = 7113;
  params.channels = 7114;
  params.lfe = 7115;
  params.bitsPerSample = 7116;
  params.aacDoubleRate = 7117;
  return params;
}

inline auto Fields(const CAudioStreamParameters& p) {
  return std::tie(p.alternateFlag, p.streamType, p.frameSize, p.frameDurationTicks, p.frameDurationFraction,
                  p.bitRate, p.samplingRate, p.mpegVersion, p.mpegLayer, p.protectionBit, p.bitRateCode,
                  p.lastHeaderBytes, p.alternateChannels, p.channels, p.lfe, p.bitsPerSample, p.aacDoubleRate);
}

inline bool SameParameters(const CAudioStreamParameters& a, const CAudioStreamParameters& b) {
  return Fields(a) == Fields(b);
}

inline uint64_t MilliTicks(const CAudioStreamParameters& p) {
  return uint64_t{p.frameDurationTicks} * 1000 + p.frameDurationFraction;
}

}  // namespace corvane::test
