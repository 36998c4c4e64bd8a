#include "video_options.h"

#include <cstdio>
#include <cstdlib>

#include "command.h"

namespace corvane::tool {

CSize ParseSize(const std::string& text, const char* option, int minimum) {
  int width = 0, height = 0;
  char extra = 0;
  if (std::sscanf(text.c_str(), "%dx%d%c", &width, &height, &extra) != 2 || width < minimum || height < minimum ||
      width > 16384 || height > 16384) {
    throw ToolError(std::string("--") + option + " takes WIDTHxHEIGHT, each from " + std::to_string(minimum) +
                    " to 16384, not '" + text + "'");
  }
  return CSize(width, height);
}

unsigned long ParseColour(const std::string& text, const char* option) {
  char* end = nullptr;
  const unsigned long rgb = std::strtoul(text.c_str(), &end, 16);
  if (text.size() != 6 || *end != '\0') {
    throw ToolError(std::string("--") + option + " takes a colour as RRGGBB in hexadecimal, not '" + text + "'");
  }
  return ((rgb >> 16) & 0xFF) | (rgb & 0xFF00) | ((rgb & 0xFF) << 16);
}

CRect GetRect(const Args& args, const std::string& name, const CRect& fallback) {
  const std::vector<int> values =
      args.GetIntList(name, 4, {fallback.left, fallback.top, fallback.right, fallback.bottom});
  return CRect(values[0], values[1], values[2], values[3]);
}

}  // namespace corvane::tool
