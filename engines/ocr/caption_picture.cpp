#include "caption_picture.h"

#include <leptonica/allheaders.h>

#include <algorithm>

namespace {

constexpr int kMaxScale = 8;
// Grey levels that compression noise spans on a plain ground; a picture
// within them holds no text, and stretching it would only magnify the noise.
constexpr int kMinimumContrast = 32;

// BT.601 luma weights in 1/256ths, the same for every pixel of the caption.
uint8_t Luma(const uint8_t* pixel) {
  return static_cast<uint8_t>((77 * pixel[0] + 150 * pixel[1] + 29 * pixel[2] + 128) >> 8);
}

PixPointer GreyPicture(const std::vector<uint8_t>& rgb, int width, int height) {
  PixPointer grey(pixCreate(width, height, 8));
  if (!grey) return grey;
  l_uint32* data = pixGetData(grey.get());
  const int wordsPerLine = pixGetWpl(grey.get());
  for (int row = 0; row < height; ++row) {
    l_uint32* line = data + static_cast<size_t>(row) * wordsPerLine;
    const uint8_t* source = rgb.data() + static_cast<size_t>(row) * width * 3;
    for (int column = 0; column < width; ++column) SET_DATA_BYTE(line, column, Luma(source + 3 * column));
  }
  return grey;
}

// The ground of a caption touches its edges, text seldom does: the mean of
// the outermost pixels is the ground's level.
int GroundLevel(Pix* grey) {
  const int width = static_cast<int>(pixGetWidth(grey));
  const int height = static_cast<int>(pixGetHeight(grey));
  const l_uint32* data = pixGetData(grey);
  const int wordsPerLine = pixGetWpl(grey);
  auto at = [&](int column, int row) {
    return static_cast<long>(GET_DATA_BYTE(data + static_cast<size_t>(row) * wordsPerLine, column));
  };
  long sum = 0;
  for (int column = 0; column < width; ++column) sum += at(column, 0) + at(column, height - 1);
  for (int row = 0; row < height; ++row) sum += at(0, row) + at(width - 1, row);
  return static_cast<int>(sum / (2L * (width + height)));
}

// Maps the darkest level to 0 and the lightest to 255, so that the
// binarisation inside Tesseract sees the same contrast whatever the caption's
// colours were. False, with nothing changed, for a picture without contrast.
bool StretchContrast(Pix* grey) {
  l_int32 darkest = 0;
  l_int32 lightest = 0;
  if (pixGetExtremeValue(grey, 1, L_SELECT_MIN, nullptr, nullptr, nullptr, &darkest) != 0 ||
      pixGetExtremeValue(grey, 1, L_SELECT_MAX, nullptr, nullptr, nullptr, &lightest) != 0 ||
      lightest - darkest < kMinimumContrast) {
    return false;
  }
  l_uint32* data = pixGetData(grey);
  const int wordsPerLine = pixGetWpl(grey);
  const int width = static_cast<int>(pixGetWidth(grey));
  const int height = static_cast<int>(pixGetHeight(grey));
  const int range = lightest - darkest;
  for (int row = 0; row < height; ++row) {
    l_uint32* line = data + static_cast<size_t>(row) * wordsPerLine;
    for (int column = 0; column < width; ++column) {
      const int level = static_cast<int>(GET_DATA_BYTE(line, column));
      SET_DATA_BYTE(line, column, ((level - darkest) * 255 + range / 2) / range);
    }
  }
  return true;
}

int ScaleFor(int height, int captionHeight) {
  if (height >= captionHeight) return 1;
  return std::clamp(captionHeight / height, 1, kMaxScale);
}

}  // namespace

void PixDeleter::operator()(Pix* pix) const { pixDestroy(&pix); }

CaptionPicture PrepareCaptionPicture(const std::vector<uint8_t>& rgb, int width, int height, int captionHeight) {
  CaptionPicture picture;
  picture.pix = GreyPicture(rgb, width, height);
  if (!picture.pix) return picture;
  if (GroundLevel(picture.pix.get()) < 128) pixInvert(picture.pix.get(), picture.pix.get());
  picture.blank = !StretchContrast(picture.pix.get());
  if (picture.blank) return picture;
  const int scale = ScaleFor(height, captionHeight);
  if (scale > 1) {
    const auto factor = static_cast<l_float32>(scale);
    picture.pix.reset(pixScaleGrayLI(picture.pix.get(), factor, factor));
    if (!picture.pix) return picture;
  }
  // Tesseract finds lines poorly when the glyphs touch the picture's edge.
  const int margin = std::max(8, static_cast<int>(pixGetHeight(picture.pix.get())) / 4);
  const int ground = GroundLevel(picture.pix.get());
  picture.pix.reset(pixAddBorder(picture.pix.get(), margin, static_cast<l_uint32>(ground)));
  return picture;
}
