#include "area_option.h"

#include <cerrno>
#include <cstdlib>

#include "command.h"

namespace corvane::tool {
namespace {

bool ParseRectangle(const std::string& text, CRect& area) {
  int32_t values[4] = {};
  const char* p = text.c_str();
  for (int i = 0; i < 4; ++i) {
    char* end = nullptr;
    errno = 0;
    const long value = std::strtol(p, &end, 10);
    if (errno != 0 || end == p || value < -1000000 || value > 1000000) return false;
    values[i] = static_cast<int32_t>(value);
    if (*end != (i < 3 ? ',' : '\0')) return false;
    p = end + 1;
  }
  area = CRect(values[0], values[1], values[2], values[3]);
  return true;
}

}  // namespace

AreaOption ParseAreaOption(const std::string& text, bool allowPartner) {
  const size_t colon = allowPartner ? text.find(':') : std::string::npos;
  AreaOption option;
  bool valid = ParseRectangle(text.substr(0, colon), option.check);
  option.ocr = option.check;
  if (valid && colon != std::string::npos) valid = ParseRectangle(text.substr(colon + 1), option.ocr);
  if (!valid) {
    throw ToolError("--area takes left,top,right,bottom" + std::string(allowPartner ? "[:left,top,right,bottom]" : "") +
                    ", not '" + text + "'");
  }
  return option;
}

void CheckAreaInside(const CRect& area, int width, int height, const std::string& what) {
  if (area.left < 0 || area.top < 0 || area.right > width || area.bottom > height || area.Width() <= 0 ||
      area.Height() <= 0) {
    throw ToolError(what + " " + std::to_string(area.left) + "," + std::to_string(area.top) + "," +
                    std::to_string(area.right) + "," + std::to_string(area.bottom) + " is empty or not inside the " +
                    std::to_string(width) + "x" + std::to_string(height) + " picture");
  }
}

}  // namespace corvane::tool
