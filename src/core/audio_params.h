// What an audio header parser found about a stream, and the settings of a
// loudness measurement.
#pragma once

#include <cstdint>

enum AUDIO_STREAM_TYPE : int32_t {
  AUDIO_STREAM_UNKNOWN = 0,
  AUDIO_STREAM_MPEG = 2,
  AUDIO_STREAM_AC3 = 3,
  AUDIO_STREAM_EAC3 = 8,
  AUDIO_STREAM_DTS = 10,
};

// Filled by the parsers of CAudioSupport. Durations are in ticks of the
// 90 kHz stream clock: whole ticks, plus thousandths of a tick.
struct CAudioStreamParameters {
  // Settings of a BS.1770 measurement, passed by value to CAudioBS1770.
  struct CLKFSParameters {
    int32_t gatingBlockMilliseconds;
    int32_t gatingOverlapPercent;
    int32_t measureMilliseconds;
    double relativeGate;
    double absoluteGate;
  };

  int32_t alternateFlag = 0;
  AUDIO_STREAM_TYPE streamType = AUDIO_STREAM_UNKNOWN;
  uint32_t frameSize = 0;
  uint32_t frameDurationTicks = 0;
  uint32_t frameDurationFraction = 0;
  uint32_t bitRate = 0;
  uint32_t samplingRate = 0;
  int32_t mpegVersion = 0;  // 3 is MPEG-1
  int32_t mpegLayer = 0;
  int32_t protectionBit = 0;
  int32_t bitRateCode = 0;
  uint16_t lastHeaderBytes = 0;  // first two header bytes in stream order in memory
  int32_t alternateChannels = 0;
  int32_t channels = 0;
  int32_t lfe = 0;
  int32_t bitsPerSample = 0;
  int32_t aacDoubleRate = 0;

  // Stores the duration of `samples` samples at `samplingRate` Hz as whole
  // ticks and thousandths of a tick, truncating.
  void SetFrameDuration(uint64_t samples, uint32_t rate) {
    const uint64_t milliTicks = rate == 0 ? 0 : samples * 90000000ull / rate;
    frameDurationTicks = static_cast<uint32_t>(milliTicks / 1000);
    frameDurationFraction = static_cast<uint32_t>(milliTicks % 1000);
  }
};
