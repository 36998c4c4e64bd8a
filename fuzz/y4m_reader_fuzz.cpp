// The tool's YUV4MPEG2 reader on arbitrary files: every input either reads as
// frames or ends in one ToolError, with nothing read out of bounds.
#include <cstddef>
#include <cstdint>

#include "command.h"
#include "core/frame.h"
#include "fuzz_input.h"
#include "y4m.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static corvane::fuzz::InputFile input(".y4m");
  const std::string& path = input.Write(data, size);
  try {
    corvane::tool::Y4MReader reader(path);
    CYUVFrame frame;
    while (reader.ReadFrame(frame)) {
    }
  } catch (const corvane::tool::ToolError&) {
  }
  return 0;
}
