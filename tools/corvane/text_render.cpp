#include "text_render.h"

#include <ft2build.h>
#include FT_FREETYPE_H

#include "command.h"

namespace corvane::tool {

const char* TextRenderer::DefaultFontPath() { return "/usr/share/fonts/truetype/dejavu/DejaVuSansMono.ttf"; }

TextRenderer::TextRenderer(const std::string& fontPath, int pixelSize) {
  if (FT_Init_FreeType(&library_) != 0) throw ToolError("FreeType could not be started");
  if (FT_New_Face(library_, fontPath.c_str(), 0, &face_) != 0 || FT_Set_Pixel_Sizes(face_, 0, pixelSize) != 0) {
    FT_Done_FreeType(library_);
    throw ToolError(fontPath + ": not a usable font (install fonts-dejavu-core)");
  }
}

TextRenderer::~TextRenderer() {
  FT_Done_Face(face_);
  FT_Done_FreeType(library_);
}

int TextRenderer::Measure(const std::string& text) const {
  long advance = 0;
  for (const char c : text) {
    if (FT_Load_Char(face_, static_cast<unsigned char>(c), FT_LOAD_DEFAULT) == 0) advance += face_->glyph->advance.x;
  }
  return static_cast<int>(advance >> 6);  // 26.6 fixed point
}

void TextRenderer::Draw(uint8_t* plane, int stride, int width, int height, int left, int baseline,
                        const std::string& text, uint8_t value) const {
  long penX = static_cast<long>(left) << 6;
  for (const char c : text) {
    if (FT_Load_Char(face_, static_cast<unsigned char>(c), FT_LOAD_RENDER) != 0) continue;
    const FT_GlyphSlot glyph = face_->glyph;
    const FT_Bitmap& bitmap = glyph->bitmap;
    const int x0 = static_cast<int>(penX >> 6) + glyph->bitmap_left;
    const int y0 = baseline - glyph->bitmap_top;
    for (unsigned row = 0; row < bitmap.rows; ++row) {
      const int y = y0 + static_cast<int>(row);
      if (y < 0 || y >= height) continue;
      for (unsigned column = 0; column < bitmap.width; ++column) {
        const int x = x0 + static_cast<int>(column);
        if (x < 0 || x >= width) continue;
        const int coverage = bitmap.buffer[row * bitmap.pitch + column];
        uint8_t& pixel = plane[y * stride + x];
        pixel = static_cast<uint8_t>(pixel + ((value - pixel) * coverage + 127) / 255);
      }
    }
    penX += glyph->advance.x;
  }
}

}  // namespace corvane::tool
