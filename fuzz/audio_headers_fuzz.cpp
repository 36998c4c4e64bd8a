// Every audio header parser and accessor of CAudioSupport on arbitrary bytes.
// They have no length and trust their caller for a fixed header size, so the
// harness copies the input into a buffer padded past the furthest field any
// of them reads; AddressSanitizer reports a read beyond it.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "audioparse/audio_support.h"
#include "core/stream_exception.h"
#include "fuzz_input.h"

namespace {

// DTS reads the most: 15 bytes. ADTS with crc_check reads 9.
constexpr size_t kLongestHeader = 15;

void ParseAll(const uint8_t* header, uint32_t available, CAudioStreamParameters& mpegStream) {
  CAudioStreamParameters params;
  CAudioSupport::ReadAC3Parameters(&params, header);
  CAudioSupport::GetNumberOfAC3Channels(header);
  CAudioSupport::ReadEAC3Parameters(&params, header);
  CAudioSupport::GetEAC3AudioFrameSize(header, available);
  CAudioSupport::GetNumberOfEAC3Channels(header);
  CAudioSupport::ReadDTSParameters(&params, header);
  CAudioSupport::GetDTSFrameSize(header);
  CAudioSupport::GetDTSSamplingRate(header);
  CAudioSupport::GetNumberOfDTSChannels(header);
  try {
    // The same record for every header of the input: the parser's stream memory.
    CAudioSupport::ParseMP2ADTSHeader(mpegStream, header, (header[3] & 1) != 0);
  } catch (const CStreamException& fault) {
    if (fault.code != 12) std::abort();
  }
  CBitReader reader(header);
  CAudioSupport::CADTS_Header adts;
  if (CAudioSupport::CheckForADTSAACAudioHeader(&reader, &adts) == S_OK && reader.byteIndex > 9) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  // Each byte offset of the input is a header candidate, as in a sync search.
  const std::vector<uint8_t> padded = corvane::fuzz::Padded(data, size, size + kLongestHeader);
  CAudioStreamParameters mpegStream;
  for (size_t offset = 0; offset < size; ++offset) {
    ParseAll(padded.data() + offset, static_cast<uint32_t>(size - offset), mpegStream);
  }
  int32_t frameLength = 0;
  const std::vector<uint8_t> exact(data, data + size);
  const int32_t found = CAudioSupport::FindAACLOASHeader(exact.data(), static_cast<int32_t>(size), frameLength);
  if (found >= static_cast<int32_t>(size)) std::abort();
  return 0;
}
