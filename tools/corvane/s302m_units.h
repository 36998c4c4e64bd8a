// Files of SMPTE 302M units, one behind the other, each as long as its own
// header says: 4 header bytes plus audio_packet_size.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "audioproc/smpte302m.h"
#include "core/frame.h"

namespace corvane::tool {

class S302MUnitReader {
 public:
  explicit S302MUnitReader(const std::string& path);
  ~S302MUnitReader();
  S302MUnitReader(const S302MUnitReader&) = delete;
  S302MUnitReader& operator=(const S302MUnitReader&) = delete;

  // The next whole unit, header included. False at the end of the file;
  // throws on a unit that claims more bytes than remain.
  bool Next(std::vector<uint8_t>& unit);
  uint64_t Units() const { return units_; }

 private:
  std::string path_;
  FILE* file_ = nullptr;
  uint64_t size_ = 0;
  uint64_t offset_ = 0;
  uint64_t units_ = 0;
};

// Packs `frames` interleaved samples at 32-bit full scale into one 20-bit
// stereo unit; a mono input goes to both channels. A sample keeps its top 20
// bits exactly.
void Encode302MUnit(const int32_t* samples, size_t frames, int channels, CAudioFrame& unit);

// Decodes one unit and appends its samples, interleaved at 32-bit full scale
// (the 24-bit value << 8), to `out`. Returns the samples a channel.
size_t Decode302MUnit(CSMPTE302MDecode& decoder, const std::vector<uint8_t>& unit, std::vector<int32_t>& out);

}  // namespace corvane::tool
