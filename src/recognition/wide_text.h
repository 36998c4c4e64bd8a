// Conversions between the OCR engine's wide-character text and UTF-8. A
// wchar_t is 32 bits here, so wide text is UTF-32. Header-only, because the
// engine module, which does not link this library, uses the same pair.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

static_assert(sizeof(wchar_t) == 4, "wide text is UTF-32");

// Code points that UTF-8 cannot carry (surrogates, above U+10FFFF) become U+FFFD.
inline std::string WideToUtf8(std::wstring_view text) {
  std::string out;
  out.reserve(text.size());
  for (const wchar_t c : text) {
    uint32_t code = static_cast<uint32_t>(c);
    if (code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF)) code = 0xFFFD;
    if (code < 0x80) {
      out += static_cast<char>(code);
    } else if (code < 0x800) {
      out += static_cast<char>(0xC0 | (code >> 6));
      out += static_cast<char>(0x80 | (code & 0x3F));
    } else if (code < 0x10000) {
      out += static_cast<char>(0xE0 | (code >> 12));
      out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
      out += static_cast<char>(0x80 | (code & 0x3F));
    } else {
      out += static_cast<char>(0xF0 | (code >> 18));
      out += static_cast<char>(0x80 | ((code >> 12) & 0x3F));
      out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
      out += static_cast<char>(0x80 | (code & 0x3F));
    }
  }
  return out;
}

// A byte that does not start a well-formed sequence becomes U+FFFD, and
// decoding goes on with the next byte.
inline std::wstring Utf8ToWide(std::string_view text) {
  std::wstring out;
  out.reserve(text.size());
  size_t i = 0;
  while (i < text.size()) {
    const auto lead = static_cast<uint8_t>(text[i]);
    const size_t length = lead < 0x80           ? 1
                          : (lead >> 5) == 0x6  ? 2
                          : (lead >> 4) == 0xE  ? 3
                          : (lead >> 3) == 0x1E ? 4
                                                : 0;
    uint32_t code = length == 1 ? lead : length == 2 ? lead & 0x1F : length == 3 ? lead & 0x0F : lead & 0x07;
    bool wellFormed = length != 0 && i + length <= text.size();
    for (size_t k = 1; wellFormed && k < length; ++k) {
      const auto next = static_cast<uint8_t>(text[i + k]);
      wellFormed = (next & 0xC0) == 0x80;
      code = (code << 6) | (next & 0x3F);
    }
    static constexpr uint32_t kSmallest[5] = {0, 0, 0x80, 0x800, 0x10000};
    wellFormed = wellFormed && code >= kSmallest[length] && code <= 0x10FFFF && !(code >= 0xD800 && code <= 0xDFFF);
    out += static_cast<wchar_t>(wellFormed ? code : 0xFFFD);
    i += wellFormed ? length : 1;
  }
  return out;
}
