// Turns a packed RGB picture into the grey picture that Tesseract reads best:
// dark text on a light ground, scaled up when it is low, with a margin.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

struct Pix;

struct PixDeleter {
  void operator()(Pix* pix) const;
};
using PixPointer = std::unique_ptr<Pix, PixDeleter>;

// `rgb` holds width * height pixels of R, G, B, rows from the top. A picture
// lower than `captionHeight` is scaled up by the whole factor (at most 8) that
// brings it closest to that height without passing it.
PixPointer PrepareCaptionPicture(const std::vector<uint8_t>& rgb, int width, int height, int captionHeight);
