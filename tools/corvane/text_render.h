// Text drawn with an outline font into a picture's luma plane, through
// FreeType: the demo's captions and the OCR tests' material.
#pragma once

#include <cstdint>
#include <string>

struct FT_LibraryRec_;
struct FT_FaceRec_;

namespace corvane::tool {

class TextRenderer {
 public:
  // DejaVu Sans Mono of the Debian package fonts-dejavu-core.
  static const char* DefaultFontPath();

  // Throws ToolError when the font file can't be opened.
  TextRenderer(const std::string& fontPath, int pixelSize);
  ~TextRenderer();
  TextRenderer(const TextRenderer&) = delete;
  TextRenderer& operator=(const TextRenderer&) = delete;

  // Width in pixels of the text as Draw lays it out.
  int Measure(const std::string& text) const;
  // Draws ASCII text with its baseline on line `baseline`, starting at column
  // `left`, blending `value` in by each glyph pixel's coverage. Glyph pixels
  // outside width by height are left out.
  void Draw(uint8_t* plane, int stride, int width, int height, int left, int baseline, const std::string& text,
            uint8_t value) const;

 private:
  FT_LibraryRec_* library_ = nullptr;
  FT_FaceRec_* face_ = nullptr;
};

}  // namespace corvane::tool
