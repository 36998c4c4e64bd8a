// The font of the status line that the smart deinterlacer draws into frames.
#pragma once

#include <array>
#include <cstdint>

// A fixed font of the printable ASCII characters, 32 to 126, in cells of 10
// by 20 pixels. Glyph c is 20 words, one per row from the top; bit 15 is the
// leftmost column of the cell and bits 15 to 6 are its ten columns. Glyph
// c + 1 follows glyph c, and glyph 32 (blank) comes first.
namespace status_font {

inline constexpr int kFirstChar = 32;
inline constexpr int kLastChar = 126;
inline constexpr int kCellWidth = 10;
inline constexpr int kCellHeight = 20;

inline constexpr int kGlyphCount = kLastChar - kFirstChar + 1;

using GlyphTable = std::array<uint16_t, kGlyphCount * kCellHeight>;
extern const GlyphTable kGlyphs;

// The 20 rows of a character's glyph; characters outside the table are blank.
const uint16_t* Glyph(char character);

// Whether column `column` (0 leftmost) of a glyph row is drawn.
inline bool IsSet(uint16_t glyphRow, int column) { return ((glyphRow >> (15 - column)) & 1) != 0; }

}  // namespace status_font
