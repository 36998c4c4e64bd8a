// SMPTE 302M units as `corvane s302m decode` reads them: the tool's unit
// reader checks each unit's length against the file, and the decoder, which
// trusts its caller, unpacks what passed. Nothing may be read outside a unit.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "command.h"
#include "fuzz_input.h"
#include "s302m_units.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static corvane::fuzz::InputFile input(".302m");
  const std::string& path = input.Write(data, size);
  CSMPTE302MDecode decoder;
  std::vector<uint8_t> unit;
  std::vector<int32_t> samples;
  try {
    corvane::tool::S302MUnitReader reader(path);
    while (reader.Next(unit)) {
      samples.clear();
      const size_t frames = corvane::tool::Decode302MUnit(decoder, unit, samples);
      if (frames > CSMPTE302MDecode::kMaxSamplesPerChannel || samples.size() != frames * decoder.numberChannels) {
        std::abort();
      }
    }
  } catch (const corvane::tool::ToolError&) {
  }
  return 0;
}
