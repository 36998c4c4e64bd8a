// Turns a packed RGB picture into the grey picture that Tesseract reads best:
// dark text on a light ground, stretched to full contrast, scaled up when it
// is low, with a margin of its ground.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

struct Pix;

struct PixDeleter {
  void operator()(Pix* pix) const;
};
using PixPointer = std::unique_ptr<Pix, PixDeleter>;

struct CaptionPicture {
  PixPointer pix;      // null when Leptonica ran out of memory
  bool blank = false;  // of nearly one grey level: nothing to read
};

// `rgb` holds width * height pixels of R, G, B, rows from the top. A picture
// lower than `captionHeight` is scaled up by the whole factor (at most 8) that
// brings it closest to that height without passing it.
CaptionPicture PrepareCaptionPicture(const std::vector<uint8_t>& rgb, int width, int height, int captionHeight);
