// MPEG-1 audio frame headers (ISO/IEC 11172-3) and the LPCM rate codes.
#include <cstring>

#include "audioparse/audio_support.h"
#include "core/stream_exception.h"

namespace {

constexpr uint32_t kMPEGSyncWord = 0x7FF;
constexpr int32_t kMPEG1Version = 3;
constexpr int32_t kLayerI = 3;
constexpr uint32_t kReservedSamplingCode = 3;
constexpr uint32_t kMonoMode = 3;
constexpr int32_t kCorruptFrameHeader = 12;

constexpr int32_t kReservedSamplingResult = -1;
constexpr int32_t kStreamChanged = -2;
constexpr int32_t kInvalidField = -3;
constexpr int32_t kNotMPEG1 = -4;
constexpr int32_t kBitRateNotAllowed = -6;

// The bit rates that ISO/IEC 11172-3 does not allow with the channel mode:
// the lowest ones in the stereo modes, the highest ones in mono.
bool IsBitRateAllowed(int32_t channels, uint32_t bitRate) {
  if (channels == 2) return bitRate != 32000 && bitRate != 48000 && bitRate != 56000 && bitRate != 80000;
  return bitRate != 224000 && bitRate != 256000 && bitRate != 320000 && bitRate != 384000;
}

}  // namespace

int32_t CAudioSupport::ParseMP2ADTSHeader(CAudioStreamParameters& params, const uint8_t* data, bool ignorePadding) {
  CBitReader reader(data);
  if (reader.ReadBits(11) != kMPEGSyncWord) throw CStreamException(kCorruptFrameHeader);  // syncword

  // The short way: the first two bytes (version, layer, protection) and the
  // bit rate are those of the last header, so the record already knows the frame.
  if (std::memcmp(&params.lastHeaderBytes, data, 2) == 0) {
    CBitReader known(data + 2);
    const uint32_t bitrateIndex = known.ReadBits(4);  // bitrate_index
    const uint32_t samplingCode = known.ReadBits(2);  // sampling_frequency
    const uint32_t padding = known.ReadBit();         // padding_bit
    if (static_cast<int32_t>(bitrateIndex) == params.bitRateCode) {
      if (samplingCode == kReservedSamplingCode) return kReservedSamplingResult;
      return static_cast<int32_t>(params.frameSize + (ignorePadding ? 0 : padding));
    }
  }

  const int32_t version = static_cast<int32_t>(reader.ReadBits(2));  // ID, two bits with the MPEG-2.5 extension
  const int32_t layer = static_cast<int32_t>(reader.ReadBits(2));    // layer
  const int32_t protection = static_cast<int32_t>(reader.ReadBit());  // protection_bit
  const uint32_t bitrateIndex = reader.ReadBits(4);                  // bitrate_index
  const uint32_t samplingCode = reader.ReadBits(2);                  // sampling_frequency
  const uint32_t paddingBit = reader.ReadBit();                      // padding_bit
  reader.ReadBit();                                                  // private_bit
  const uint32_t mode = reader.ReadBits(2);                          // mode
  const int32_t channels = mode == kMonoMode ? 1 : 2;
  const uint32_t padding = ignorePadding ? 0 : paddingBit;

  if (bitrateIndex == 15 || bitrateIndex == 0 || layer == 0 || samplingCode == kReservedSamplingCode ||
      (layer == 1 && channels == 1)) {
    return kInvalidField;
  }
  const uint32_t samplingRate = GetMPEG1AudioSamplingRate(static_cast<int32_t>(samplingCode));
  if (params.streamType != AUDIO_STREAM_UNKNOWN &&
      (version != params.mpegVersion || samplingRate != params.samplingRate || channels != params.channels)) {
    return kStreamChanged;
  }
  if (version != kMPEG1Version) return kNotMPEG1;

  params.mpegLayer = layer;
  params.protectionBit = protection;
  params.bitRateCode = static_cast<int32_t>(bitrateIndex);
  params.mpegVersion = kMPEG1Version;
  params.bitsPerSample = 16;
  params.channels = channels;
  params.bitRate = MPEG1AudioBitrates[layer - 1][bitrateIndex] * 1000;
  params.samplingRate = samplingRate;
  if (!IsBitRateAllowed(channels, params.bitRate)) return kBitRateNotAllowed;

  params.streamType = AUDIO_STREAM_MPEG;
  ComputeMpegAudioFrameDurationTicks(params);
  std::memcpy(&params.lastHeaderBytes, data, 2);
  return static_cast<int32_t>(params.frameSize + padding);
}

void CAudioSupport::ComputeMpegAudioFrameDurationTicks(CAudioStreamParameters& params) {
  uint64_t samples = 1152;
  if (params.mpegLayer == kLayerI) {
    // Layer I counts its frame in slots of 4 bytes.
    params.frameSize = 4 * (12 * params.bitRate / params.samplingRate);
    samples = 384;
  } else {
    params.frameSize = 144 * params.bitRate / params.samplingRate;
  }
  params.SetFrameDuration(samples, params.samplingRate);
}

uint32_t CAudioSupport::GetMPEG1AudioSamplingRate(int32_t code) {
  switch (code) {
    case 0: return 44100;
    case 1: return 48000;
    case 2: return 32000;
    default: return 0;
  }
}

int32_t CAudioSupport::GetMPEG1SamplingIndexFromRate(uint32_t rate) {
  switch (rate) {
    case 44100: return 0;
    case 48000: return 1;
    case 32000: return 2;
    default: return 4;
  }
}

uint32_t CAudioSupport::GetLPCMAudioSamplingRate(int32_t code) {
  switch (code) {
    case 0: return 48000;
    case 1: return 96000;
    case 2: return 44100;
    case 3: return 32000;
    default: return 0;
  }
}

int32_t CAudioSupport::GetLPCMSamplingIndexFromRate(uint32_t rate) {
  switch (rate) {
    case 48000: return 0;
    case 96000: return 1;
    case 44100: return 2;
    case 32000: return 3;
    default: return 4;
  }
}
