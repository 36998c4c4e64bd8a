// The LATM reader and CAAC_Config::Read on arbitrary bits. The first byte
// picks the work, the rest are the bits. The parsers have no notion of the
// end of their data: the caller bounds a configuration by its length, which
// the harness gives as the real byte count, and guarantees the bytes behind
// it; the padding here is zeros, which end every escape and length loop.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "audioparse/audio_support.h"
#include "fuzz_input.h"

namespace {

// Far more than any configuration can read: 16 streams of an
// AudioSpecificConfig with a program_config_element, fill bits bounded by
// length / 5, and the longest value and escape fields.
constexpr size_t kPadding = 64 * 1024;

void CheckConfig(const CAudioSupport::CAAC_Config& config) {
  if (config.sbrPresentFlag != -1 && config.sbrPresentFlag != 1) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  corvane::fuzz::InputBytes input(data, size);
  const uint8_t mode = input.Byte();
  const size_t bitsSize = input.RestSize();
  const std::vector<uint8_t> bits = corvane::fuzz::Padded(input.Rest(), bitsSize, bitsSize + kPadding);
  CBitReader reader(bits.data());

  if (mode & 1) {
    CAudioSupport::CAAC_Config config;
    const uint32_t used = config.Read(reader);
    const int64_t position = int64_t{reader.byteIndex} * 8 + reader.bitIndex;
    if (position != used) std::abort();
    CheckConfig(config);
    return 0;
  }
  // A stream of AudioMuxElements through one reader, as a LOAS walk feeds them.
  CAudioSupport::CAAC_LATMReader latm;
  const uint32_t length = static_cast<uint32_t>(bitsSize);
  for (int element = 0; element < 4 && static_cast<size_t>(reader.byteIndex) < bitsSize; ++element) {
    latm.AudioMuxElement(reader, (mode >> 1) & 1, length);
    if (latm.streamCnt > 16) std::abort();
    for (const CAudioSupport::CAAC_Config& config : latm.configs) CheckConfig(config);
  }
  return 0;
}
