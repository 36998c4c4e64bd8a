// Colour conversions between packed RGB and planar YCbCr or analog YUV.
// Every primitive keeps its own constants: the sets differ in their last
// digits and in their rounding terms, and each one defines its output bytes.
#include <algorithm>
#include <bit>
#include <cstring>

#include "primitives/colour_weights.h"
#include "primitives/dispatch.h"
#include "primitives/plane_common.h"
#include "primitives/plane_kernels.h"
#include "primitives/prim_plane.h"

namespace {

using namespace prim_colour;
using prim_plane::AnyNull;
using prim_plane::AnyNullPlane;
using prim_plane::RowOf;
using prim_plane::SizeBelow;

static_assert(std::endian::native == std::endian::little, "pixel words are stored in little-endian order");

uint8_t Clip(int v) { return static_cast<uint8_t>(std::clamp(v, 0, 255)); }

// --- YCbCr to RGB ---

enum Channel { kRed, kGreen, kBlue };

// Where each channel goes within a stored 3-byte pixel.
struct ChannelOrder {
  Channel first, second, third;
};
constexpr ChannelOrder kRGBOrder = {kRed, kGreen, kBlue};
constexpr ChannelOrder kBGROrder = {kBlue, kGreen, kRed};

// The formula for one pixel, written out.
template <const YCbCrToRGBWeights& w, const ChannelOrder& order>
void StoreYCbCrPixel(int y, int cb, int cr, uint8_t* out) {
  const int b = cb - w.chromaBias;
  const int r = cr - w.chromaBias;
  uint8_t rgb[3];
  rgb[kRed] = Clip((w.y * y + w.crToR * r + w.offsetR) >> 16);
  rgb[kGreen] = Clip((w.y * y + w.cbToG * b + w.crToG * r + w.offsetG) >> 16);
  rgb[kBlue] = Clip((w.y * y + w.cbToB * b + w.offsetB) >> 16);
  out[0] = rgb[order.first];
  out[1] = rgb[order.second];
  out[2] = rgb[order.third];
}

// The planar conversions run the same formula on 16-bit halves of each
// 32-bit sum: value = hi * 65536 + lo. The baseline instruction set has no
// fast 32-bit multiply, but it multiplies eight 16-bit lanes at once and
// gives the high half of those products, so the vectoriser turns the loops
// below into 16-bit vector code whose results are those of the formula.
struct Halves {
  int16_t hi;
  uint16_t lo;
};

constexpr Halves Split(int32_t v) { return {static_cast<int16_t>(v >> 16), static_cast<uint16_t>(v)}; }

Halves Add(Halves a, Halves b) {
  const uint16_t lo = a.lo + b.lo;
  return {static_cast<int16_t>(a.hi + b.hi + (lo < a.lo)), lo};
}

Halves Sub(Halves a, Halves b) {
  return {static_cast<int16_t>(a.hi - b.hi - (a.lo < b.lo)), static_cast<uint16_t>(a.lo - b.lo)};
}

// x * k for a sample x and 0 <= k < 2^23, so that the high half fits.
Halves Product(uint8_t x, int32_t k) {
  const uint32_t kHi = static_cast<uint32_t>(k) >> 16;
  const uint32_t kLo = static_cast<uint32_t>(k) & 0xFFFF;
  return {static_cast<int16_t>(x * kHi + ((x * kLo) >> 16)), static_cast<uint16_t>(x * kLo)};
}

// sum + x * k for either sign of k (a constant, so the test folds away).
Halves Accumulate(Halves sum, uint8_t x, int32_t k) {
  return k < 0 ? Sub(sum, Product(x, -k)) : Add(sum, Product(x, k));
}

// Pixel pairs converted per pass: the row buffers stay in the first-level cache.
constexpr int kChunkPairs = 512;

// The chroma part of each channel's sum, one entry per chroma sample. The
// carry out of y.lo + lo is y.lo > ~lo, a single unsigned comparison; with
// hi + 1 stored, the comparison's outcome is subtracted:
// (y + chroma).hi = y.hi + hiPlusOne - (y.lo <= loComplement).
struct ChromaSums {
  int16_t hiPlusOne[3][kChunkPairs];
  uint16_t loComplement[3][kChunkPairs];
};

template <const YCbCrToRGBWeights& w>
void PrepareChromaSums(const uint8_t* cb, const uint8_t* cr, int count, ChromaSums& sums) {
  // Weighting the raw samples moves the bias into the constant.
  constexpr Halves kBaseR = Split(w.offsetR - w.crToR * w.chromaBias);
  constexpr Halves kBaseG = Split(w.offsetG - (w.cbToG + w.crToG) * w.chromaBias);
  constexpr Halves kBaseB = Split(w.offsetB - w.cbToB * w.chromaBias);
  for (int i = 0; i < count; ++i) {
    const Halves sum[3] = {Accumulate(kBaseR, cr[i], w.crToR),
                           Accumulate(Accumulate(kBaseG, cb[i], w.cbToG), cr[i], w.crToG),
                           Accumulate(kBaseB, cb[i], w.cbToB)};
    for (int c = 0; c < 3; ++c) {
      sums.hiPlusOne[c][i] = static_cast<int16_t>(sum[c].hi + 1);
      sums.loComplement[c][i] = static_cast<uint16_t>(~sum[c].lo);
    }
  }
}

uint16_t ChannelValue(Halves y, const ChromaSums& sums, int c, int i) {
  const int16_t value = y.hi + sums.hiPlusOne[c][i] - (y.lo <= sums.loComplement[c][i]);
  return static_cast<uint16_t>(std::clamp<int16_t>(value, 0, 255));
}

// Converted pairs, each in the low 6 bytes of a word.
struct PairWords {
  uint64_t pair[kChunkPairs];
};

template <const YCbCrToRGBWeights& w, const ChannelOrder& order>
void ConvertPairs(const uint8_t* luma, const ChromaSums& sums, int count, PairWords& words) {
  for (int i = 0; i < count; ++i) {
    const Halves y0 = Product(luma[2 * i], w.y);
    const Halves y1 = Product(luma[2 * i + 1], w.y);
    uint16_t p0[3], p1[3];
    for (int c = 0; c < 3; ++c) {
      p0[c] = ChannelValue(y0, sums, c, i);
      p1[c] = ChannelValue(y1, sums, c, i);
    }
    // Byte pairs first: 16-bit lanes are what the vectoriser packs cheaply.
    const auto bytePair = [](uint16_t low, uint16_t high) { return static_cast<uint16_t>(low | high << 8); };
    const uint32_t lead = bytePair(p0[order.first], p0[order.second]) |
                          static_cast<uint32_t>(bytePair(p0[order.third], p1[order.first])) << 16;
    words.pair[i] = lead | static_cast<uint64_t>(bytePair(p1[order.second], p1[order.third])) << 32;
  }
}

// One 8-byte store a pair: its last two bytes are overwritten by the next
// pair, and the last pair of a row stores its 6 bytes alone.
void StorePairs(const PairWords& words, int count, uint8_t* out, bool rowEnds) {
  const int overlapping = rowEnds ? count - 1 : count;
#pragma GCC unroll 4
  for (int i = 0; i < overlapping; ++i) std::memcpy(out + 6 * i, &words.pair[i], 8);
  if (rowEnds && count > 0) std::memcpy(out + 6 * (count - 1), &words.pair[count - 1], 6);
}

// Planar 4:2:x to packed pixels: each chroma row serves 1 << chromaRowShift
// luma rows, and the chroma sums of a chunk are made once for all of them. An
// odd last column takes the chroma sample of its pair.
template <const YCbCrToRGBWeights& w, const ChannelOrder& order>
void ConvertPlanarToPacked(const uint8_t* const src[3], const int srcStep[3], uint8_t* dst, int dstStep, int width,
                           int height, int chromaRowShift) {
  const int pairs = width / 2;
  ChromaSums sums;
  PairWords words;
  for (int row = 0; row < height; row += 1 << chromaRowShift) {
    const int rowsOfChroma = std::min(1 << chromaRowShift, height - row);
    const uint8_t* cb = RowOf(src[1], srcStep[1], row >> chromaRowShift);
    const uint8_t* cr = RowOf(src[2], srcStep[2], row >> chromaRowShift);
    for (int start = 0; start < pairs; start += kChunkPairs) {
      const int count = std::min(kChunkPairs, pairs - start);
      PrepareChromaSums<w>(cb + start, cr + start, count, sums);
      for (int k = 0; k < rowsOfChroma; ++k) {
        ConvertPairs<w, order>(RowOf(src[0], srcStep[0], row + k) + 2 * start, sums, count, words);
        StorePairs(words, count, RowOf(dst, dstStep, row + k) + 6 * start, start + count == pairs);
      }
    }
    if (width % 2 != 0) {
      for (int k = 0; k < rowsOfChroma; ++k) {
        StoreYCbCrPixel<w, order>(RowOf(src[0], srcStep[0], row + k)[width - 1], cb[pairs], cr[pairs],
                                  RowOf(dst, dstStep, row + k) + 3 * (width - 1));
      }
    }
  }
}

// --- RGB to YCbCr ---

// Byte offsets of R, G and B within a packed source pixel.
struct PixelLayout {
  int r, g, b;
};
constexpr PixelLayout kRGBLayout = {0, 1, 2};
constexpr PixelLayout kBGRLayout = {2, 1, 0};

uint8_t StudioLuma(int r, int g, int b) {
  return static_cast<uint8_t>((kStudioY.r * r + kStudioY.g * g + kStudioY.b * b + kStudioYOffset) >> 16);
}

uint8_t StudioChroma(StudioWeights w, int r, int g, int b, ChromaScale scale) {
  return static_cast<uint8_t>((w.r * r + w.g * g + w.b * b + scale.offset) >> scale.shift);
}

uint8_t StudioCb(int r, int g, int b, ChromaScale scale) { return StudioChroma(kStudioCb, r, g, b, scale); }

uint8_t StudioCr(int r, int g, int b, ChromaScale scale) { return StudioChroma(kStudioCr, r, g, b, scale); }

void RGBRowToYCbCr(const uint8_t* rgb, uint8_t* y, uint8_t* cb, uint8_t* cr, int width) {
  for (int x = 0; x < width; ++x) {
    const int r = rgb[3 * x], g = rgb[3 * x + 1], b = rgb[3 * x + 2];
    y[x] = StudioLuma(r, g, b);
    cb[x] = StudioCb(r, g, b, kChromaOfPixel);
    cr[x] = StudioCr(r, g, b, kChromaOfPixel);
  }
}

template <const PixelLayout& layout>
void RowToYCbCr422(const uint8_t* src, uint8_t* y, uint8_t* cb, uint8_t* cr, int width) {
  for (int i = 0; i < width / 2; ++i) {
    const uint8_t* p0 = src + 6 * i;
    const uint8_t* p1 = p0 + 3;
    y[2 * i] = StudioLuma(p0[layout.r], p0[layout.g], p0[layout.b]);
    y[2 * i + 1] = StudioLuma(p1[layout.r], p1[layout.g], p1[layout.b]);
    const int r2 = p0[layout.r] + p1[layout.r];
    const int g2 = p0[layout.g] + p1[layout.g];
    const int b2 = p0[layout.b] + p1[layout.b];
    cb[i] = StudioCb(r2, g2, b2, kChromaOfPair);
    cr[i] = StudioCr(r2, g2, b2, kChromaOfPair);
  }
}

// Two source rows to two luma rows and one chroma row; the squares span both
// rows whatever the content, as for a progressive picture.
template <const PixelLayout& layout>
void RowPairToYCbCr420(const uint8_t* top, const uint8_t* bottom, uint8_t* yTop, uint8_t* yBottom, uint8_t* cb,
                       uint8_t* cr, int width) {
  for (int i = 0; i < width / 2; ++i) {
    const uint8_t* p[4] = {top + 6 * i, top + 6 * i + 3, bottom + 6 * i, bottom + 6 * i + 3};
    yTop[2 * i] = StudioLuma(p[0][layout.r], p[0][layout.g], p[0][layout.b]);
    yTop[2 * i + 1] = StudioLuma(p[1][layout.r], p[1][layout.g], p[1][layout.b]);
    yBottom[2 * i] = StudioLuma(p[2][layout.r], p[2][layout.g], p[2][layout.b]);
    yBottom[2 * i + 1] = StudioLuma(p[3][layout.r], p[3][layout.g], p[3][layout.b]);
    const int r4 = p[0][layout.r] + p[1][layout.r] + p[2][layout.r] + p[3][layout.r];
    const int g4 = p[0][layout.g] + p[1][layout.g] + p[2][layout.g] + p[3][layout.g];
    const int b4 = p[0][layout.b] + p[1][layout.b] + p[2][layout.b] + p[3][layout.b];
    cb[i] = StudioCb(r4, g4, b4, kChromaOfSquare);
    cr[i] = StudioCr(r4, g4, b4, kChromaOfSquare);
  }
}

// --- RGB to analog YUV ---

void RGBRowToYUV(const uint8_t* rgb, uint8_t* y, uint8_t* u, uint8_t* v, int width) {
  for (int x = 0; x < width; ++x) {
    const int r = rgb[3 * x], g = rgb[3 * x + 1], b = rgb[3 * x + 2];
    const int s = kAnalogY.r * r + kAnalogY.g * g + kAnalogY.b * b;
    y[x] = static_cast<uint8_t>(s >> 16);
    u[x] = static_cast<uint8_t>(((((b << 16) - s + 32767) >> 16) * kAnalogU >> 16) + 128);
    v[x] = Clip(((((r << 16) - s + 32767) >> 16) * kAnalogV >> 16) + 128);
  }
}

// Twice the luma of a pixel, in 14 fraction bits.
int DoubleLuma(const uint8_t* p) {
  return (kAnalogDoubleY.r * p[0] + kAnalogDoubleY.g * p[1] + kAnalogDoubleY.b * p[2]) >> 14;
}

void RGBRowPairToYUV420(const uint8_t* top, const uint8_t* bottom, uint8_t* yTop, uint8_t* yBottom, uint8_t* u,
                        uint8_t* v, int width) {
  for (int i = 0; i < width / 2; ++i) {
    const uint8_t* p[4] = {top + 6 * i, top + 6 * i + 3, bottom + 6 * i, bottom + 6 * i + 3};
    const int t[4] = {DoubleLuma(p[0]), DoubleLuma(p[1]), DoubleLuma(p[2]), DoubleLuma(p[3])};
    yTop[2 * i] = static_cast<uint8_t>(t[0] >> 1);
    yTop[2 * i + 1] = static_cast<uint8_t>(t[1] >> 1);
    yBottom[2 * i] = static_cast<uint8_t>(t[2] >> 1);
    yBottom[2 * i + 1] = static_cast<uint8_t>(t[3] >> 1);
    const int d = (t[0] + t[1] + t[2] + t[3]) >> 2;
    const int r4 = p[0][0] + p[1][0] + p[2][0] + p[3][0];
    const int b4 = p[0][2] + p[1][2] + p[2][2] + p[3][2];
    u[i] = Clip((((b4 >> 1) - d) * kAnalogU420 >> 16) + 128);
    v[i] = Clip((((r4 >> 1) - d) * kAnalogV420 >> 16) + 128);
  }
}

// --- The portable implementations ---

void YCbCrRowToRGB(const uint8_t* in, uint8_t* out, int width) {
  for (int x = 0; x < width; ++x) {
    StoreYCbCrPixel<kYCbCrToRGBWeights, kRGBOrder>(in[3 * x], in[3 * x + 1], in[3 * x + 2], out + 3 * x);
  }
}

void YCbCr420PlaneToRGB(const uint8_t* const src[3], const int srcStep[3], uint8_t* dst, int dstStep, int width,
                        int height) {
  ConvertPlanarToPacked<kYCbCr420ToRGBWeights, kRGBOrder>(src, srcStep, dst, dstStep, width, height, 1);
}

void YCbCr422PlaneToRGB(const uint8_t* const src[3], const int srcStep[3], uint8_t* dst, int dstStep, int width,
                        int height) {
  ConvertPlanarToPacked<kYCbCr422ToRGBWeights, kRGBOrder>(src, srcStep, dst, dstStep, width, height, 0);
}

void YCbCr422PlaneToBGR(const uint8_t* const src[3], const int srcStep[3], uint8_t* dst, int dstStep, int width,
                        int height) {
  ConvertPlanarToPacked<kYCbCr422ToBGRWeights, kBGROrder>(src, srcStep, dst, dstStep, width, height, 0);
}

int ycbcr_to_rgb_c(const uint8_t* src, int srcStep, uint8_t* dst, int dstStep, int width, int height) {
  return prim_plane::YCbCrToRGB(YCbCrRowToRGB, src, srcStep, dst, dstStep, width, height);
}

int rgb_to_ycbcr_planar_c(const uint8_t* src, int srcStep, uint8_t* const dst[3], int dstStep, int width, int height) {
  return prim_plane::RGBToYCbCrPlanar(RGBRowToYCbCr, src, srcStep, dst, dstStep, width, height);
}

int ycbcr420_to_rgb_c(const uint8_t* const src[3], const int srcStep[3], uint8_t* dst, int dstStep, int width,
                      int height) {
  return prim_plane::YCbCr420ToRGB(YCbCr420PlaneToRGB, src, srcStep, dst, dstStep, width, height);
}

int ycbcr422_to_rgb_c(const uint8_t* const src[3], const int srcStep[3], uint8_t* dst, int dstStep, int width,
                      int height) {
  return prim_plane::YCbCr422ToRGB(YCbCr422PlaneToRGB, src, srcStep, dst, dstStep, width, height);
}

int ycbcr422_to_bgr_c(const uint8_t* const src[3], const int srcStep[3], uint8_t* dst, int dstStep, int width,
                      int height) {
  return prim_plane::YCbCr422ToBGR(YCbCr422PlaneToBGR, src, srcStep, dst, dstStep, width, height);
}

int rgb_to_yuv420_c(const uint8_t* src, int srcStep, uint8_t* const dst[3], const int dstStep[3], int width,
                    int height) {
  return prim_plane::RGBToYUV420(RGBRowPairToYUV420, src, srcStep, dst, dstStep, width, height);
}

int bgr_to_ycbcr420_c(const uint8_t* src, int srcStep, uint8_t* const dst[3], const int dstStep[3], int width,
                      int height) {
  return prim_plane::BGRToYCbCr420(RowPairToYCbCr420<kBGRLayout>, src, srcStep, dst, dstStep, width, height);
}

int bgr_to_ycbcr422_c(const uint8_t* src, int srcStep, uint8_t* const dst[3], const int dstStep[3], int width,
                      int height) {
  return prim_plane::BGRToYCbCr422(RowToYCbCr422<kBGRLayout>, src, srcStep, dst, dstStep, width, height);
}

int rgb_to_ycbcr420_c(const uint8_t* src, int srcStep, uint8_t* const dst[3], const int dstStep[3], int width,
                      int height) {
  return prim_plane::RGBToYCbCr420(RowPairToYCbCr420<kRGBLayout>, src, srcStep, dst, dstStep, width, height);
}

int rgb_to_ycbcr422_c(const uint8_t* src, int srcStep, uint8_t* const dst[3], const int dstStep[3], int width,
                      int height) {
  return prim_plane::RGBToYCbCr422(RowToYCbCr422<kRGBLayout>, src, srcStep, dst, dstStep, width, height);
}

int rgb_to_yuv_planar_c(const uint8_t* src, int srcStep, uint8_t* const dst[3], int dstStep, int width, int height) {
  return prim_plane::RGBToYUVPlanar(RGBRowToYUV, src, srcStep, dst, dstStep, width, height);
}

// --- Signatures and tables ---

constexpr auto kYCbCrToRGB = VectorSlots(ycbcr_to_rgb_c, ycbcr_to_rgb_sse41, ycbcr_to_rgb_avx);
constexpr auto kRGBToYCbCrPlanar =
    VectorSlots(rgb_to_ycbcr_planar_c, rgb_to_ycbcr_planar_sse41, rgb_to_ycbcr_planar_avx);
constexpr auto kYCbCr420ToRGB = VectorSlots(ycbcr420_to_rgb_c, ycbcr420_to_rgb_sse41, ycbcr420_to_rgb_avx);
constexpr auto kYCbCr422ToRGB = VectorSlots(ycbcr422_to_rgb_c, ycbcr422_to_rgb_sse41, ycbcr422_to_rgb_avx);
constexpr auto kYCbCr422ToBGR = VectorSlots(ycbcr422_to_bgr_c, ycbcr422_to_bgr_sse41, ycbcr422_to_bgr_avx);
constexpr auto kRGBToYUV420 = VectorSlots(rgb_to_yuv420_c, rgb_to_yuv420_sse41, rgb_to_yuv420_avx);
constexpr auto kBGRToYCbCr420 = VectorSlots(bgr_to_ycbcr420_c, bgr_to_ycbcr420_sse41, bgr_to_ycbcr420_avx);
constexpr auto kBGRToYCbCr422 = VectorSlots(bgr_to_ycbcr422_c, bgr_to_ycbcr422_sse41, bgr_to_ycbcr422_avx);
constexpr auto kRGBToYCbCr420 = VectorSlots(rgb_to_ycbcr420_c, rgb_to_ycbcr420_sse41, rgb_to_ycbcr420_avx);
constexpr auto kRGBToYCbCr422 = VectorSlots(rgb_to_ycbcr422_c, rgb_to_ycbcr422_sse41, rgb_to_ycbcr422_avx);
constexpr auto kRGBToYUVPlanar = VectorSlots(rgb_to_yuv_planar_c, rgb_to_yuv_planar_sse41, rgb_to_yuv_planar_avx);

}  // namespace

// --- The primitives over their kernels ---

namespace prim_plane {

namespace {

// The status of a subsampled conversion once the even part is done.
int OddSizeStatus(bool odd) { return odd ? PrimStsOddSize : PrimStsNoErr; }

bool AnyNullPackedToPlanes(const uint8_t* src, uint8_t* const dst[3]) { return AnyNull({src}) || AnyNullPlane(dst); }

bool AnyNullPlanarToPacked(const uint8_t* const src[3], const int srcStep[3], const uint8_t* dst) {
  return AnyNullPlane(src) || AnyNull({srcStep, dst});
}

bool AnyNullPackedToSubsampled(const uint8_t* src, uint8_t* const dst[3], const int dstStep[3]) {
  return AnyNull({src, dstStep}) || AnyNullPlane(dst);
}

void ConvertTo422(PackedToPlanesRowFn* row, const uint8_t* src, int srcStep, uint8_t* const dst[3],
                  const int dstStep[3], int width, int height) {
  for (int y = 0; y < height; ++y) {
    row(RowOf(src, srcStep, y), RowOf(dst[0], dstStep[0], y), RowOf(dst[1], dstStep[1], y),
        RowOf(dst[2], dstStep[2], y), width & ~1);
  }
}

// Whole squares only: the odd last row and column are left.
void ConvertTo420(RowPairTo420Fn* row, const uint8_t* src, int srcStep, uint8_t* const dst[3], const int dstStep[3],
                  int width, int height) {
  for (int i = 0; i < height / 2; ++i) {
    row(RowOf(src, srcStep, 2 * i), RowOf(src, srcStep, 2 * i + 1), RowOf(dst[0], dstStep[0], 2 * i),
        RowOf(dst[0], dstStep[0], 2 * i + 1), RowOf(dst[1], dstStep[1], i), RowOf(dst[2], dstStep[2], i), width & ~1);
  }
}

void ConvertToFullPlanes(PackedToPlanesRowFn* row, const uint8_t* src, int srcStep, uint8_t* const dst[3], int dstStep,
                         int width, int height) {
  for (int y = 0; y < height; ++y) {
    row(RowOf(src, srcStep, y), RowOf(dst[0], dstStep, y), RowOf(dst[1], dstStep, y), RowOf(dst[2], dstStep, y), width);
  }
}

}  // namespace

void ConvertPlanarRows(PlanarToPackedRowFn* row, int chromaRowShift, const uint8_t* const src[3], const int srcStep[3],
                       uint8_t* dst, int dstStep, int width, int height) {
  for (int y = 0; y < height; ++y) {
    row(RowOf(src[0], srcStep[0], y), RowOf(src[1], srcStep[1], y >> chromaRowShift),
        RowOf(src[2], srcStep[2], y >> chromaRowShift), RowOf(dst, dstStep, y), width);
  }
}

void ConvertPlanarRowPairs(PlanarRowPairToPackedFn* rows, const uint8_t* const src[3], const int srcStep[3],
                           uint8_t* dst, int dstStep, int width, int height) {
  for (int y = 0; y + 1 < height; y += 2) {
    rows(RowOf(src[0], srcStep[0], y), RowOf(src[0], srcStep[0], y + 1), RowOf(src[1], srcStep[1], y / 2),
         RowOf(src[2], srcStep[2], y / 2), RowOf(dst, dstStep, y), RowOf(dst, dstStep, y + 1), width);
  }
}

int YCbCrToRGB(PackedRowFn* row, const uint8_t* src, int srcStep, uint8_t* dst, int dstStep, int width, int height) {
  if (AnyNull({src, dst})) return PrimStsNullPtrErr;
  if (SizeBelow(width, height, 1, 1)) return PrimStsSizeErr;
  for (int y = 0; y < height; ++y) row(RowOf(src, srcStep, y), RowOf(dst, dstStep, y), width);
  return PrimStsNoErr;
}

int RGBToYCbCrPlanar(PackedToPlanesRowFn* row, const uint8_t* src, int srcStep, uint8_t* const dst[3], int dstStep,
                     int width, int height) {
  if (AnyNullPackedToPlanes(src, dst)) return PrimStsNullPtrErr;
  if (SizeBelow(width, height, 1, 1)) return PrimStsSizeErr;
  ConvertToFullPlanes(row, src, srcStep, dst, dstStep, width, height);
  return PrimStsNoErr;
}

int YCbCr420ToRGB(PlanarToPackedPlaneFn* convert, const uint8_t* const src[3], const int srcStep[3], uint8_t* dst,
                  int dstStep, int width, int height) {
  if (AnyNullPlanarToPacked(src, srcStep, dst)) return PrimStsNullPtrErr;
  if (SizeBelow(width, height, 1, 1)) return PrimStsSizeErr;
  convert(src, srcStep, dst, dstStep, width & ~1, height & ~1);
  return OddSizeStatus(width % 2 != 0 || height % 2 != 0);
}

int YCbCr422ToRGB(PlanarToPackedPlaneFn* convert, const uint8_t* const src[3], const int srcStep[3], uint8_t* dst,
                  int dstStep, int width, int height) {
  if (AnyNullPlanarToPacked(src, srcStep, dst)) return PrimStsNullPtrErr;
  if (SizeBelow(width, height, 1, 1)) return PrimStsSizeErr;
  convert(src, srcStep, dst, dstStep, width, height);
  return PrimStsNoErr;
}

int YCbCr422ToBGR(PlanarToPackedPlaneFn* convert, const uint8_t* const src[3], const int srcStep[3], uint8_t* dst,
                  int dstStep, int width, int height) {
  if (AnyNullPlanarToPacked(src, srcStep, dst)) return PrimStsNullPtrErr;
  if (SizeBelow(width, height, 2, 1)) return PrimStsSizeErr;
  convert(src, srcStep, dst, dstStep, width, height);
  return PrimStsNoErr;
}

int RGBToYUV420(RowPairTo420Fn* row, const uint8_t* src, int srcStep, uint8_t* const dst[3], const int dstStep[3],
                int width, int height) {
  if (AnyNullPackedToSubsampled(src, dst, dstStep)) return PrimStsNullPtrErr;
  if (SizeBelow(width, height, 1, 1)) return PrimStsSizeErr;
  ConvertTo420(row, src, srcStep, dst, dstStep, width, height);
  return OddSizeStatus(width % 2 != 0 || height % 2 != 0);
}

int BGRToYCbCr420(RowPairTo420Fn* row, const uint8_t* src, int srcStep, uint8_t* const dst[3], const int dstStep[3],
                  int width, int height) {
  if (AnyNullPackedToSubsampled(src, dst, dstStep)) return PrimStsNullPtrErr;
  if (SizeBelow(width, height, 2, 2)) return PrimStsSizeErr;
  ConvertTo420(row, src, srcStep, dst, dstStep, width, height);
  return OddSizeStatus(width % 2 != 0 || height % 2 != 0);
}

int BGRToYCbCr422(PackedToPlanesRowFn* row, const uint8_t* src, int srcStep, uint8_t* const dst[3],
                  const int dstStep[3], int width, int height) {
  if (AnyNullPackedToSubsampled(src, dst, dstStep)) return PrimStsNullPtrErr;
  if (SizeBelow(width, height, 2, 1)) return PrimStsSizeErr;
  ConvertTo422(row, src, srcStep, dst, dstStep, width, height);
  return PrimStsNoErr;
}

int RGBToYCbCr420(RowPairTo420Fn* row, const uint8_t* src, int srcStep, uint8_t* const dst[3], const int dstStep[3],
                  int width, int height) {
  if (AnyNullPackedToSubsampled(src, dst, dstStep)) return PrimStsNullPtrErr;
  if (SizeBelow(width, height, 1, 1)) return PrimStsSizeErr;
  ConvertTo420(row, src, srcStep, dst, dstStep, width, height);
  return OddSizeStatus(width % 2 != 0 || height % 2 != 0);
}

int RGBToYCbCr422(PackedToPlanesRowFn* row, const uint8_t* src, int srcStep, uint8_t* const dst[3],
                  const int dstStep[3], int width, int height) {
  if (AnyNullPackedToSubsampled(src, dst, dstStep)) return PrimStsNullPtrErr;
  if (SizeBelow(width, height, 2, 1)) return PrimStsSizeErr;
  ConvertTo422(row, src, srcStep, dst, dstStep, width, height);
  return OddSizeStatus(width % 2 != 0);
}

int RGBToYUVPlanar(PackedToPlanesRowFn* row, const uint8_t* src, int srcStep, uint8_t* const dst[3], int dstStep,
                   int width, int height) {
  if (AnyNullPackedToPlanes(src, dst)) return PrimStsNullPtrErr;
  if (SizeBelow(width, height, 1, 1)) return PrimStsSizeErr;
  ConvertToFullPlanes(row, src, srcStep, dst, dstStep, width, height);
  return PrimStsNoErr;
}

}  // namespace prim_plane

int PrimYCbCrToRGB(const uint8_t* src, int srcStep, uint8_t* dst, int dstStep, int width, int height) {
  return kYCbCrToRGB[g_primSlot](src, srcStep, dst, dstStep, width, height);
}

int PrimRGBToYCbCrPlanar(const uint8_t* src, int srcStep, uint8_t* const dst[3], int dstStep, int width, int height) {
  return kRGBToYCbCrPlanar[g_primSlot](src, srcStep, dst, dstStep, width, height);
}

int PrimYCbCr420ToRGB(const uint8_t* const src[3], const int srcStep[3], uint8_t* dst, int dstStep, int width,
                      int height) {
  return kYCbCr420ToRGB[g_primSlot](src, srcStep, dst, dstStep, width, height);
}

int PrimYCbCr422ToRGB(const uint8_t* const src[3], const int srcStep[3], uint8_t* dst, int dstStep, int width,
                      int height) {
  return kYCbCr422ToRGB[g_primSlot](src, srcStep, dst, dstStep, width, height);
}

int PrimYCbCr422ToBGR(const uint8_t* const src[3], const int srcStep[3], uint8_t* dst, int dstStep, int width,
                      int height) {
  return kYCbCr422ToBGR[g_primSlot](src, srcStep, dst, dstStep, width, height);
}

int PrimRGBToYUV420(const uint8_t* src, int srcStep, uint8_t* const dst[3], const int dstStep[3], int width,
                    int height) {
  return kRGBToYUV420[g_primSlot](src, srcStep, dst, dstStep, width, height);
}

int PrimBGRToYCbCr420(const uint8_t* src, int srcStep, uint8_t* const dst[3], const int dstStep[3], int width,
                      int height) {
  return kBGRToYCbCr420[g_primSlot](src, srcStep, dst, dstStep, width, height);
}

int PrimBGRToYCbCr422(const uint8_t* src, int srcStep, uint8_t* const dst[3], const int dstStep[3], int width,
                      int height) {
  return kBGRToYCbCr422[g_primSlot](src, srcStep, dst, dstStep, width, height);
}

int PrimRGBToYCbCr420(const uint8_t* src, int srcStep, uint8_t* const dst[3], const int dstStep[3], int width,
                      int height) {
  return kRGBToYCbCr420[g_primSlot](src, srcStep, dst, dstStep, width, height);
}

int PrimRGBToYCbCr422(const uint8_t* src, int srcStep, uint8_t* const dst[3], const int dstStep[3], int width,
                      int height) {
  return kRGBToYCbCr422[g_primSlot](src, srcStep, dst, dstStep, width, height);
}

int PrimRGBToYUVPlanar(const uint8_t* src, int srcStep, uint8_t* const dst[3], int dstStep, int width, int height) {
  return kRGBToYUVPlanar[g_primSlot](src, srcStep, dst, dstStep, width, height);
}
