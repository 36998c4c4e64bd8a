// Hot spot files from outside: the loader on arbitrary files, then, as
// `corvane hotspot match` does, every check area that lies inside the
// reference compared with the reference itself.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "area_option.h"
#include "command.h"
#include "fuzz_input.h"
#include "recognition/image_hot_spot.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static corvane::fuzz::InputFile input(".xml");
  CImageHotSpot spot;
  if (!spot.LoadHotSpotDataFromFile(input.Write(data, size))) return 0;
  if (spot.m_ocrAreas.size() != spot.m_checkAreas.size()) std::abort();
  CYUVFrame frame(spot.m_referenceFrame);
  CYUVFrame difference;
  for (size_t area = 0; area < spot.m_checkAreas.size() && area < 64; ++area) {
    try {
      corvane::tool::CheckAreaInside(spot.m_checkAreas[area], frame.width, frame.height, "check area");
    } catch (const corvane::tool::ToolError&) {
      continue;
    }
    int count = 0;
    unsigned char maximum = 0;
    spot.CountDiff(static_cast<int>(area), frame, difference, 0, count, maximum);
    const CRect& rect = spot.m_checkAreas[area];
    if (count != rect.Width() * rect.Height()) std::abort();  // threshold 0: every pixel counts
  }
  return 0;
}
