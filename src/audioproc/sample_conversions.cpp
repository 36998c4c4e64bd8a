// Moves between packed sample formats and channel vectors.
#include <cstddef>
#include <cstdint>

#include "audioparse/audio_support.h"
#include "primitives/prim_signal.h"

namespace {

// The interleaved conversions work on a scale of 32768, so that -32768 is
// exactly -1.0 and 1.0 wraps to -32768.
constexpr double kInterleavedScale = 32768.0;

int16_t ReadLittle16(const unsigned char* p) { return static_cast<int16_t>(p[0] | (p[1] << 8)); }

void WriteLittle16(int64_t value, unsigned char* p) {
  p[0] = static_cast<unsigned char>(value & 0xFF);
  p[1] = static_cast<unsigned char>((value >> 8) & 0xFF);
}

}  // namespace

void CAudioSupport::SwapBytes16(const unsigned char* source, unsigned char* destination, int words) {
  // The primitive's status is dropped: a count of 0 or below does nothing.
  const auto* sourceWords = reinterpret_cast<const uint16_t*>(source);
  auto* destinationWords = reinterpret_cast<uint16_t*>(destination);
  if (source == destination) {
    PrimSwapBytes16InPlace(destinationWords, words);
  } else {
    PrimSwapBytes16(sourceWords, destinationWords, words);
  }
}

void CAudioSupport::Convert24BigTo16BitsLittle(const unsigned char* source, unsigned char* destination,
                                               int groups) {
  // A group carries four samples: their high 16 bits big-endian in bytes 0 to
  // 7 and their low bytes in 8 to 11, which are dropped.
  for (int g = 0; g < groups; ++g, source += 12, destination += 8) SwapBytes16(source, destination, 4);
}

void CAudioSupport::ConvertStereo16BitInterleavedToDouble(const unsigned char* data, int bytes,
                                                          std::vector<std::vector<double>>& channels) {
  channels.clear();
  channels.resize(2);
  for (int offset = 0; offset + 4 <= bytes; offset += 4) {
    channels[0].push_back(ReadLittle16(data + offset) / kInterleavedScale);
    channels[1].push_back(ReadLittle16(data + offset + 2) / kInterleavedScale);
  }
}

void CAudioSupport::ConvertDoubleToStereo16BitInterleaved(const std::vector<std::vector<double>>& channels,
                                                          unsigned char* data, int /*capacity*/, int& bytes) {
  const size_t count = channels[0].size();
  for (size_t i = 0; i < count; ++i) {
    WriteLittle16(static_cast<int64_t>(channels[0][i] * kInterleavedScale), data + 4 * i);
    WriteLittle16(static_cast<int64_t>(channels[1][i] * kInterleavedScale), data + 4 * i + 2);
  }
  bytes = static_cast<int>(4 * count);
}
