// Material of the OCR tests: captions drawn with a real font, and how close
// a reading comes to the text drawn.
#pragma once

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "text_render.h"

namespace corvane::test {

// Letters, digits and hyphens, as channel names, clocks and dates show them.
inline const std::vector<std::string>& CaptionStrings() {
  static const std::vector<std::string> strings = {"BBC-ONE",    "Channel-4", "ZDF-info",   "RTL2",    "Sport-1",
                                                   "News24",     "20-15",     "07-45",      "CH-112",  "HD-Plus",
                                                   "Kanal-5",    "EPG-Guide", "Arte-HD",    "Movie-3", "TV-Guide",
                                                   "2024-11-08", "Euro-7",    "Live-Sport", "Prog-09", "Info-Kanal"};
  return strings;
}

// A caption as packed RGB, rows from the top: `text` with glyphs of
// `pixelSize` pixels (the font's em) in `ink` on a plain `ground`, with a
// margin of a quarter of the em around it.
struct RenderedCaption {
  std::vector<uint8_t> rgb;
  int width = 0;
  int height = 0;
};

inline RenderedCaption RenderCaption(const tool::TextRenderer& renderer, const std::string& text, int pixelSize,
                                     uint8_t ink, uint8_t ground) {
  const int margin = pixelSize / 4;
  RenderedCaption caption;
  caption.width = (renderer.Measure(text) + 2 * margin + 1) & ~1;
  caption.height = (pixelSize + pixelSize / 3 + 2 * margin + 1) & ~1;
  std::vector<uint8_t> grey(static_cast<size_t>(caption.width) * caption.height, ground);
  renderer.Draw(grey.data(), caption.width, caption.width, caption.height, margin, margin + pixelSize, text, ink);
  caption.rgb.resize(grey.size() * 3);
  for (size_t i = 0; i < grey.size(); ++i) std::fill_n(caption.rgb.begin() + 3 * i, 3, grey[i]);
  return caption;
}

// Edits (insertions, deletions, replacements) that turn `read` into `expected`.
inline size_t EditDistance(const std::string& expected, const std::string& read) {
  std::vector<size_t> previous(read.size() + 1);
  std::vector<size_t> current(read.size() + 1);
  for (size_t j = 0; j <= read.size(); ++j) previous[j] = j;
  for (size_t i = 1; i <= expected.size(); ++i) {
    current[0] = i;
    for (size_t j = 1; j <= read.size(); ++j) {
      const size_t replace = previous[j - 1] + (expected[i - 1] == read[j - 1] ? 0 : 1);
      current[j] = std::min({replace, previous[j] + 1, current[j - 1] + 1});
    }
    std::swap(previous, current);
  }
  return previous[read.size()];
}

}  // namespace corvane::test
