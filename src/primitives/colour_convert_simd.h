// Vector kernels of the studio-range colour conversions, exact to the
// formulas of the portable kernels. Written with SSE4.1;
// colour_convert_sse41.cpp and colour_convert_avx.cpp both compile this
// source, each defining PRIM_VARIANT(name).
//
// YCbCr to RGB: every sum is 76284 Y + C with C the chroma part of a channel.
// Taken as 65536 (Y + H) + 10748 Y + L, where H is a small multiple of the
// chroma samples and L fits a signed 32-bit multiply-add of 16-bit values, the
// channel is Y + H + (L >> 16) + ((10748 Y + (L & 0xFFFF)) >> 16): the last
// term is the high half of a 16-bit product plus the carry of its low half,
// so eight pixels go through 16-bit lanes without losing a bit.
//
// RGB to YCbCr: the weights fit signed 16 bits (the green weight of luma
// split in two), so each sum is two multiply-adds over (R, G) and (B, G)
// word pairs; chroma of a pair or square adds the pixels' words first.
#pragma once

#include "primitives/colour_weights.h"
#include "primitives/plane_kernels.h"
#include "primitives/simd_rows.h"

namespace {

using namespace prim_colour;

// --- Between 48 packed bytes and three vectors of 16 samples ---

struct alignas(16) ShuffleMasks {
  int8_t m[3][3][16];
};

// [output vector][source channel]: byte j of the packed run is channel j % 3
// of pixel j / 3, and pixel p of a channel vector sits at byte p / 2 when even,
// 8 + p / 2 when odd (the order in which even and odd pixels are packed).
constexpr ShuffleMasks MakeInterleaveMasks() {
  ShuffleMasks s{};
  for (int k = 0; k < 3; ++k) {
    for (int c = 0; c < 3; ++c) {
      for (int i = 0; i < 16; ++i) {
        const int j = 16 * k + i, p = j / 3;
        s.m[k][c][i] = static_cast<int8_t>(j % 3 == c ? (p % 2) * 8 + p / 2 : -128);
      }
    }
  }
  return s;
}

// [channel][source vector]: sample i of channel c is packed byte 3 i + c.
constexpr ShuffleMasks MakeDeinterleaveMasks() {
  ShuffleMasks s{};
  for (int c = 0; c < 3; ++c) {
    for (int k = 0; k < 3; ++k) {
      for (int i = 0; i < 16; ++i) {
        const int j = 3 * i + c;
        s.m[c][k][i] = static_cast<int8_t>(j / 16 == k ? j % 16 : -128);
      }
    }
  }
  return s;
}

constexpr ShuffleMasks kInterleave = MakeInterleaveMasks();
constexpr ShuffleMasks kDeinterleave = MakeDeinterleaveMasks();

__m128i MaskOf(const int8_t (&m)[16]) { return _mm_load_si128(reinterpret_cast<const __m128i*>(m)); }

__m128i Gather3(const ShuffleMasks& masks, int k, __m128i a, __m128i b, __m128i c) {
  return _mm_or_si128(
      _mm_or_si128(_mm_shuffle_epi8(a, MaskOf(masks.m[k][0])), _mm_shuffle_epi8(b, MaskOf(masks.m[k][1]))),
      _mm_shuffle_epi8(c, MaskOf(masks.m[k][2])));
}

// Channel vectors in even-then-odd pixel order to packed pixels.
void StorePacked(__m128i first, __m128i second, __m128i third, uint8_t* out) {
  for (int k = 0; k < 3; ++k) Store(out + 16 * k, Gather3(kInterleave, k, first, second, third));
}

void LoadPacked(const uint8_t* in, __m128i planes[3]) {
  const __m128i v0 = Load(in), v1 = Load(in + 16), v2 = Load(in + 32);
  for (int c = 0; c < 3; ++c) planes[c] = Gather3(kDeinterleave, c, v0, v1, v2);
}

// --- YCbCr to RGB ---

// A weight as 65536 * Whole + Part, Part a signed 16-bit multiplier.
constexpr int32_t Whole(int32_t w) { return (w + 32768) >> 16; }
constexpr int32_t Part(int32_t w) { return w - Whole(w) * 65536; }

// The chroma part of one channel for eight chroma samples: H plus the high
// half of L in `high`, and the low half of L as the carry threshold of a
// signed comparison (see CarryInto).
struct ChannelTerms {
  __m128i high, threshold;
};

// Chroma samples as words, and as (Cb, Cr) word pairs for the multiply-adds.
struct ChromaWords {
  __m128i cb, cr, pairsLow, pairsHigh;
};

ChromaWords ChromaWordsOf(__m128i cb, __m128i cr) {
  return {cb, cr, _mm_unpacklo_epi16(cb, cr), _mm_unpackhi_epi16(cb, cr)};
}

// Whole * x for the small whole parts of the weights.
template <int32_t kWhole>
__m128i TimesWhole(__m128i x) {
  if constexpr (kWhole == 0) return _mm_setzero_si128();
  if constexpr (kWhole == 1) return x;
  if constexpr (kWhole == 2) return _mm_add_epi16(x, x);
  if constexpr (kWhole == -1) return _mm_sub_epi16(_mm_setzero_si128(), x);
  return _mm_mullo_epi16(x, _mm_set1_epi16(static_cast<int16_t>(kWhole)));
}

template <int32_t kCb, int32_t kCr, int32_t kBase>
ChannelTerms TermsOf(const ChromaWords& chroma) {
  static_assert(Whole(kCb) * 65536 + Part(kCb) == kCb && Whole(kCr) * 65536 + Part(kCr) == kCr);
  const __m128i parts = _mm_set1_epi32(static_cast<int32_t>(
      static_cast<uint16_t>(Part(kCb)) | static_cast<uint32_t>(static_cast<uint16_t>(Part(kCr))) << 16));
  const __m128i base = _mm_set1_epi32(kBase);
  const __m128i sumLow = _mm_add_epi32(_mm_madd_epi16(chroma.pairsLow, parts), base);
  const __m128i sumHigh = _mm_add_epi32(_mm_madd_epi16(chroma.pairsHigh, parts), base);
  const __m128i lowHalf = _mm_set1_epi32(0xFFFF);
  const __m128i high = _mm_packs_epi32(_mm_srai_epi32(sumLow, 16), _mm_srai_epi32(sumHigh, 16));
  const __m128i low = _mm_packus_epi32(_mm_and_si128(sumLow, lowHalf), _mm_and_si128(sumHigh, lowHalf));
  const __m128i whole = _mm_add_epi16(TimesWhole<Whole(kCb)>(chroma.cb), TimesWhole<Whole(kCr)>(chroma.cr));
  // A carry out of y.low + low happens when y.low > 0xFFFF - low; with both
  // sides' sign bits flipped, a signed comparison tells it.
  return {_mm_add_epi16(high, whole), _mm_xor_si128(low, _mm_set1_epi16(0x7FFF))};
}

template <const YCbCrToRGBWeights& w>
void ChromaTermsOf(const ChromaWords& chroma, ChannelTerms terms[3]) {
  terms[0] = TermsOf<0, w.crToR, w.offsetR - w.crToR * w.chromaBias>(chroma);
  terms[1] = TermsOf<w.cbToG, w.crToG, w.offsetG - (w.cbToG + w.crToG) * w.chromaBias>(chroma);
  terms[2] = TermsOf<w.cbToB, 0, w.offsetB - w.cbToB * w.chromaBias>(chroma);
}

// The luma part of eight pixels: Y + the high half of Part(wy) * Y, and the
// low half with its sign bit flipped.
struct LumaTerms {
  __m128i high, lowFlipped;
};

template <const YCbCrToRGBWeights& w>
LumaTerms LumaTermsOf(__m128i y) {
  static_assert(Whole(w.y) == 1 && Part(w.y) > 0, "the luma weight lies between 1 and 1.5");
  const __m128i part = _mm_set1_epi16(static_cast<int16_t>(Part(w.y)));
  return {_mm_add_epi16(y, _mm_mulhi_epu16(y, part)), _mm_xor_si128(_mm_mullo_epi16(y, part), _mm_set1_epi16(-32768))};
}

// One channel of eight pixels as words; packing to bytes clips it.
__m128i CarryInto(LumaTerms luma, const ChannelTerms& chroma) {
  return _mm_sub_epi16(_mm_add_epi16(luma.high, chroma.high), _mm_cmpgt_epi16(luma.lowFlipped, chroma.threshold));
}

// The even and odd bytes of 16 samples as two vectors of words: no
// shuffle, and each chroma sample of a pair lines up with both its pixels.
__m128i EvenWords(__m128i bytes) { return _mm_and_si128(bytes, _mm_set1_epi16(0xFF)); }
__m128i OddWords(__m128i bytes) { return _mm_srli_epi16(bytes, 8); }

// Sixteen pixels from their luma bytes and the chroma terms of their even
// and odd pixels, stored R first or B first.
template <const YCbCrToRGBWeights& w, bool kBlueFirst>
[[gnu::always_inline]] inline void StoreSixteen(__m128i y, const ChannelTerms even[3], const ChannelTerms odd[3],
                                                uint8_t* out) {
  const LumaTerms lumaEven = LumaTermsOf<w>(EvenWords(y));
  const LumaTerms lumaOdd = LumaTermsOf<w>(OddWords(y));
  __m128i bytes[3];
  for (int c = 0; c < 3; ++c) bytes[c] = _mm_packus_epi16(CarryInto(lumaEven, even[c]), CarryInto(lumaOdd, odd[c]));
  if (kBlueFirst) {
    StorePacked(bytes[2], bytes[1], bytes[0], out);
  } else {
    StorePacked(bytes[0], bytes[1], bytes[2], out);
  }
}

template <const YCbCrToRGBWeights& w>
void ChromaTermsOfBlock(const uint8_t* cb, const uint8_t* cr, ChannelTerms terms[3]) {
  ChromaTermsOf<w>(ChromaWordsOf(_mm_cvtepu8_epi16(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(cb))),
                                 _mm_cvtepu8_epi16(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(cr)))),
                   terms);
}

// Planar Y and half-width chroma to packed pixels, 16 a block; in: Y, Cb, Cr.
template <const YCbCrToRGBWeights& w, bool kBlueFirst>
void PlanarBlocks(const uint8_t* const* in, uint8_t* const* out, int width) {
  for (int x = 0; x < width; x += 16) {
    ChannelTerms terms[3];
    ChromaTermsOfBlock<w>(in[1] + x / 2, in[2] + x / 2, terms);
    StoreSixteen<w, kBlueFirst>(Load(in[0] + x), terms, terms, out[0] + 3 * x);
  }
}

// Two luma rows over one chroma row; in: Y top, Y bottom, Cb, Cr.
template <const YCbCrToRGBWeights& w>
void PlanarPairBlocks(const uint8_t* const* in, uint8_t* const* out, int width) {
  for (int x = 0; x < width; x += 16) {
    ChannelTerms terms[3];
    ChromaTermsOfBlock<w>(in[2] + x / 2, in[3] + x / 2, terms);
    StoreSixteen<w, false>(Load(in[0] + x), terms, terms, out[0] + 3 * x);
    StoreSixteen<w, false>(Load(in[1] + x), terms, terms, out[1] + 3 * x);
  }
}

template <const YCbCrToRGBWeights& w, bool kBlueFirst>
void PlanarRow(const uint8_t* y, const uint8_t* cb, const uint8_t* cr, uint8_t* out, int width) {
  RunRow<16>(PlanarBlocks<w, kBlueFirst>, {{y, kPlane}, {cb, kHalf}, {cr, kHalf}}, {{out, kPacked}}, width);
}

template <const YCbCrToRGBWeights& w>
void PlanarRowPair(const uint8_t* yTop, const uint8_t* yBottom, const uint8_t* cb, const uint8_t* cr, uint8_t* top,
                   uint8_t* bottom, int width) {
  RunRow<16>(PlanarPairBlocks<w>, {{yTop, kPlane}, {yBottom, kPlane}, {cb, kHalf}, {cr, kHalf}},
             {{top, kPacked}, {bottom, kPacked}}, width);
}

// Packed Y, Cb, Cr to packed R, G, B, 16 pixels a block.
void PackedBlocks(const uint8_t* const* in, uint8_t* const* out, int width) {
  for (int x = 0; x < width; x += 16) {
    __m128i ycbcr[3];
    LoadPacked(in[0] + 3 * x, ycbcr);
    ChannelTerms even[3], odd[3];
    ChromaTermsOf<kYCbCrToRGBWeights>(ChromaWordsOf(EvenWords(ycbcr[1]), EvenWords(ycbcr[2])), even);
    ChromaTermsOf<kYCbCrToRGBWeights>(ChromaWordsOf(OddWords(ycbcr[1]), OddWords(ycbcr[2])), odd);
    StoreSixteen<kYCbCrToRGBWeights, false>(ycbcr[0], even, odd, out[0] + 3 * x);
  }
}

void PackedRow(const uint8_t* in, uint8_t* out, int width) {
  RunRow<16>(PackedBlocks, {{in, kPacked}}, {{out, kPacked}}, width);
}

template <const YCbCrToRGBWeights& w, bool kBlueFirst>
void Picture422(const uint8_t* const src[3], const int srcStep[3], uint8_t* dst, int dstStep, int width, int height) {
  prim_plane::ConvertPlanarRows(PlanarRow<w, kBlueFirst>, 0, src, srcStep, dst, dstStep, width, height);
}

template <const YCbCrToRGBWeights& w>
void Picture420(const uint8_t* const src[3], const int srcStep[3], uint8_t* dst, int dstStep, int width, int height) {
  prim_plane::ConvertPlanarRowPairs(PlanarRowPair<w>, src, srcStep, dst, dstStep, width, height);
}

// --- RGB to YCbCr ---

// Byte offsets of R, G and B within a packed source pixel.
struct Layout {
  int r, g, b;
};
constexpr Layout kRGB = {0, 1, 2};
constexpr Layout kBGR = {2, 1, 0};

// Four pixels of a block, loaded from byte `start` of the block at
// byte `skip` of the load: the last group is loaded from byte 32, so that
// no load passes the end of the block.
struct Group {
  int start, skip;
};
constexpr Group kGroups[4] = {{0, 0}, {12, 0}, {24, 0}, {32, 4}};

// Word pairs (first, second) of four pixels from the 16 loaded bytes.
constexpr ShuffleMasks MakePairMasks(int first, int second) {
  ShuffleMasks s{};
  for (int skip = 0; skip < 2; ++skip) {
    for (int i = 0; i < 4; ++i) {
      const int at = 4 * skip + 3 * i;
      s.m[skip][0][4 * i] = static_cast<int8_t>(at + first);
      s.m[skip][0][4 * i + 1] = -128;
      s.m[skip][0][4 * i + 2] = static_cast<int8_t>(at + second);
      s.m[skip][0][4 * i + 3] = -128;
    }
  }
  return s;
}

template <const Layout& layout>
struct PairMasks {
  static constexpr ShuffleMasks kRG = MakePairMasks(layout.r, layout.g);
  static constexpr ShuffleMasks kBG = MakePairMasks(layout.b, layout.g);
};

// The (R, G) and (B, G) words of the four pixels of group g.
struct Pairs {
  __m128i rg, bg;
};

template <const Layout& layout>
Pairs PairsOf(const uint8_t* block, int g) {
  const __m128i v = Load(block + kGroups[g].start);
  const int skip = kGroups[g].skip / 4;
  return {_mm_shuffle_epi8(v, MaskOf(PairMasks<layout>::kRG.m[skip][0])),
          _mm_shuffle_epi8(v, MaskOf(PairMasks<layout>::kBG.m[skip][0]))};
}

Pairs Add(Pairs a, Pairs b) { return {_mm_add_epi16(a.rg, b.rg), _mm_add_epi16(a.bg, b.bg)}; }

// w . (R, G, B) of each pixel (or pixel sum) as 32-bit lanes; the green
// weight is split across both pairs to fit 16 bits.
template <const StudioWeights& w>
__m128i Weigh(Pairs p) {
  constexpr int32_t g1 = w.g / 2, g2 = w.g - w.g / 2;
  const __m128i rg = _mm_set1_epi32(
      static_cast<int32_t>(static_cast<uint16_t>(w.r) | static_cast<uint32_t>(static_cast<uint16_t>(g1)) << 16));
  const __m128i bg = _mm_set1_epi32(
      static_cast<int32_t>(static_cast<uint16_t>(w.b) | static_cast<uint32_t>(static_cast<uint16_t>(g2)) << 16));
  return _mm_add_epi32(_mm_madd_epi16(p.rg, rg), _mm_madd_epi16(p.bg, bg));
}

__m128i ScaleSum(__m128i sum, int32_t offset, int shift) {
  return _mm_sra_epi32(_mm_add_epi32(sum, _mm_set1_epi32(offset)), _mm_cvtsi32_si128(shift));
}

// Sixteen 32-bit values in four vectors, each 0 to 255, to sixteen bytes.
__m128i PackBytes(__m128i a, __m128i b, __m128i c, __m128i d) {
  return _mm_packus_epi16(_mm_packs_epi32(a, b), _mm_packs_epi32(c, d));
}

// Eight 32-bit values to eight bytes stored.
void StoreEight(uint8_t* out, __m128i a, __m128i b) {
  _mm_storel_epi64(reinterpret_cast<__m128i*>(out), _mm_packus_epi16(_mm_packs_epi32(a, b), _mm_setzero_si128()));
}

void LumaOfBlock(const Pairs pairs[4], uint8_t* y) {
  __m128i luma[4];
  for (int g = 0; g < 4; ++g) luma[g] = ScaleSum(Weigh<kStudioY>(pairs[g]), kStudioYOffset, 16);
  Store(y, PackBytes(luma[0], luma[1], luma[2], luma[3]));
}

// Chroma of the pixel pairs of a block from its (summed) pairs: adjacent
// pixels' weighted sums are added horizontally.
template <const StudioWeights& w>
void ChromaOfPairs(const Pairs sums[4], ChromaScale scale, uint8_t* out) {
  const __m128i first = _mm_hadd_epi32(Weigh<w>(sums[0]), Weigh<w>(sums[1]));
  const __m128i second = _mm_hadd_epi32(Weigh<w>(sums[2]), Weigh<w>(sums[3]));
  StoreEight(out, ScaleSum(first, scale.offset, scale.shift), ScaleSum(second, scale.offset, scale.shift));
}

template <const Layout& layout>
void FullBlocks(const uint8_t* const* in, uint8_t* const* out, int width) {
  for (int x = 0; x < width; x += 16) {
    Pairs pairs[4];
    for (int g = 0; g < 4; ++g) pairs[g] = PairsOf<layout>(in[0] + 3 * x, g);
    LumaOfBlock(pairs, out[0] + x);
    __m128i cb[4], cr[4];
    for (int g = 0; g < 4; ++g) {
      cb[g] = ScaleSum(Weigh<kStudioCb>(pairs[g]), kChromaOfPixel.offset, kChromaOfPixel.shift);
      cr[g] = ScaleSum(Weigh<kStudioCr>(pairs[g]), kChromaOfPixel.offset, kChromaOfPixel.shift);
    }
    Store(out[1] + x, PackBytes(cb[0], cb[1], cb[2], cb[3]));
    Store(out[2] + x, PackBytes(cr[0], cr[1], cr[2], cr[3]));
  }
}

template <const Layout& layout>
void Blocks422(const uint8_t* const* in, uint8_t* const* out, int width) {
  for (int x = 0; x < width; x += 16) {
    Pairs pairs[4];
    for (int g = 0; g < 4; ++g) pairs[g] = PairsOf<layout>(in[0] + 3 * x, g);
    LumaOfBlock(pairs, out[0] + x);
    ChromaOfPairs<kStudioCb>(pairs, kChromaOfPair, out[1] + x / 2);
    ChromaOfPairs<kStudioCr>(pairs, kChromaOfPair, out[2] + x / 2);
  }
}

template <const Layout& layout>
void Blocks420(const uint8_t* const* in, uint8_t* const* out, int width) {
  for (int x = 0; x < width; x += 16) {
    Pairs top[4], bottom[4], sums[4];
    for (int g = 0; g < 4; ++g) {
      top[g] = PairsOf<layout>(in[0] + 3 * x, g);
      bottom[g] = PairsOf<layout>(in[1] + 3 * x, g);
      sums[g] = Add(top[g], bottom[g]);
    }
    LumaOfBlock(top, out[0] + x);
    LumaOfBlock(bottom, out[1] + x);
    ChromaOfPairs<kStudioCb>(sums, kChromaOfSquare, out[2] + x / 2);
    ChromaOfPairs<kStudioCr>(sums, kChromaOfSquare, out[3] + x / 2);
  }
}

// --- RGB to analog YUV ---

// The low words of a vector of word pairs, as 32-bit lanes: R of (R, G), B of (B, G).
__m128i FirstOfPairs(__m128i pairs) { return _mm_and_si128(pairs, _mm_set1_epi32(0xFFFF)); }

// (difference * weight >> 16) + 128 of 32-bit lanes.
__m128i Centred(__m128i difference, int32_t weight) {
  return _mm_add_epi32(_mm_srai_epi32(_mm_mullo_epi32(difference, _mm_set1_epi32(weight)), 16), _mm_set1_epi32(128));
}

// B - Y or R - Y of one pixel in 16 fraction bits, rounded as the portable formula: ((x << 16) - S + 32767) >> 16.
__m128i AnalogDifference(__m128i x, __m128i s) {
  return _mm_srai_epi32(_mm_add_epi32(_mm_sub_epi32(_mm_slli_epi32(x, 16), s), _mm_set1_epi32(32767)), 16);
}

void YUVBlocks(const uint8_t* const* in, uint8_t* const* out, int width) {
  for (int x = 0; x < width; x += 16) {
    __m128i y[4], u[4], v[4];
    for (int g = 0; g < 4; ++g) {
      const Pairs pairs = PairsOf<kRGB>(in[0] + 3 * x, g);
      const __m128i s = Weigh<kAnalogY>(pairs);
      y[g] = _mm_srai_epi32(s, 16);
      u[g] = Centred(AnalogDifference(FirstOfPairs(pairs.bg), s), kAnalogU);
      v[g] = Centred(AnalogDifference(FirstOfPairs(pairs.rg), s), kAnalogV);
    }
    Store(out[0] + x, PackBytes(y[0], y[1], y[2], y[3]));
    Store(out[1] + x, PackBytes(u[0], u[1], u[2], u[3]));
    Store(out[2] + x, PackBytes(v[0], v[1], v[2], v[3]));
  }
}

// Twice the luma of each pixel of a square, their sum, and the colour
// differences of the squares' sums.
void YUV420Blocks(const uint8_t* const* in, uint8_t* const* out, int width) {
  for (int x = 0; x < width; x += 16) {
    __m128i yTop[4], yBottom[4], squares[4];
    Pairs sums[4];
    for (int g = 0; g < 4; ++g) {
      const Pairs top = PairsOf<kRGB>(in[0] + 3 * x, g), bottom = PairsOf<kRGB>(in[1] + 3 * x, g);
      const __m128i tTop = _mm_srai_epi32(Weigh<kAnalogDoubleY>(top), 14);
      const __m128i tBottom = _mm_srai_epi32(Weigh<kAnalogDoubleY>(bottom), 14);
      yTop[g] = _mm_srai_epi32(tTop, 1);
      yBottom[g] = _mm_srai_epi32(tBottom, 1);
      squares[g] = _mm_add_epi32(tTop, tBottom);
      sums[g] = Add(top, bottom);
    }
    Store(out[0] + x, PackBytes(yTop[0], yTop[1], yTop[2], yTop[3]));
    Store(out[1] + x, PackBytes(yBottom[0], yBottom[1], yBottom[2], yBottom[3]));
    __m128i u[2], v[2];
    for (int h = 0; h < 2; ++h) {
      const __m128i d = _mm_srai_epi32(_mm_hadd_epi32(squares[2 * h], squares[2 * h + 1]), 2);
      const __m128i b4 = _mm_hadd_epi32(FirstOfPairs(sums[2 * h].bg), FirstOfPairs(sums[2 * h + 1].bg));
      const __m128i r4 = _mm_hadd_epi32(FirstOfPairs(sums[2 * h].rg), FirstOfPairs(sums[2 * h + 1].rg));
      u[h] = Centred(_mm_sub_epi32(_mm_srai_epi32(b4, 1), d), kAnalogU420);
      v[h] = Centred(_mm_sub_epi32(_mm_srai_epi32(r4, 1), d), kAnalogV420);
    }
    StoreEight(out[2] + x / 2, u[0], u[1]);
    StoreEight(out[3] + x / 2, v[0], v[1]);
  }
}

void YUVRow(const uint8_t* in, uint8_t* y, uint8_t* u, uint8_t* v, int width) {
  RunRow<16>(YUVBlocks, {{in, kPacked}}, {{y, kPlane}, {u, kPlane}, {v, kPlane}}, width);
}

void YUVRowPair420(const uint8_t* top, const uint8_t* bottom, uint8_t* yTop, uint8_t* yBottom, uint8_t* u, uint8_t* v,
                   int width) {
  RunRow<16>(YUV420Blocks, {{top, kPacked}, {bottom, kPacked}},
             {{yTop, kPlane}, {yBottom, kPlane}, {u, kHalf}, {v, kHalf}}, width);
}

template <const Layout& layout>
void FullRow(const uint8_t* in, uint8_t* y, uint8_t* cb, uint8_t* cr, int width) {
  RunRow<16>(FullBlocks<layout>, {{in, kPacked}}, {{y, kPlane}, {cb, kPlane}, {cr, kPlane}}, width);
}

template <const Layout& layout>
void Row422(const uint8_t* in, uint8_t* y, uint8_t* cb, uint8_t* cr, int width) {
  RunRow<16>(Blocks422<layout>, {{in, kPacked}}, {{y, kPlane}, {cb, kHalf}, {cr, kHalf}}, width);
}

template <const Layout& layout>
void RowPair420(const uint8_t* top, const uint8_t* bottom, uint8_t* yTop, uint8_t* yBottom, uint8_t* cb, uint8_t* cr,
                int width) {
  RunRow<16>(Blocks420<layout>, {{top, kPacked}, {bottom, kPacked}},
             {{yTop, kPlane}, {yBottom, kPlane}, {cb, kHalf}, {cr, kHalf}}, width);
}

}  // namespace

int PRIM_VARIANT(ycbcr_to_rgb)(const uint8_t* src, int srcStep, uint8_t* dst, int dstStep, int width, int height) {
  return prim_plane::YCbCrToRGB(PackedRow, src, srcStep, dst, dstStep, width, height);
}

int PRIM_VARIANT(rgb_to_ycbcr_planar)(const uint8_t* src, int srcStep, uint8_t* const dst[3], int dstStep, int width,
                                      int height) {
  return prim_plane::RGBToYCbCrPlanar(FullRow<kRGB>, src, srcStep, dst, dstStep, width, height);
}

int PRIM_VARIANT(ycbcr420_to_rgb)(const uint8_t* const src[3], const int srcStep[3], uint8_t* dst, int dstStep,
                                  int width, int height) {
  return prim_plane::YCbCr420ToRGB(Picture420<kYCbCr420ToRGBWeights>, src, srcStep, dst, dstStep, width, height);
}

int PRIM_VARIANT(ycbcr422_to_rgb)(const uint8_t* const src[3], const int srcStep[3], uint8_t* dst, int dstStep,
                                  int width, int height) {
  return prim_plane::YCbCr422ToRGB(Picture422<kYCbCr422ToRGBWeights, false>, src, srcStep, dst, dstStep, width, height);
}

int PRIM_VARIANT(ycbcr422_to_bgr)(const uint8_t* const src[3], const int srcStep[3], uint8_t* dst, int dstStep,
                                  int width, int height) {
  return prim_plane::YCbCr422ToBGR(Picture422<kYCbCr422ToBGRWeights, true>, src, srcStep, dst, dstStep, width, height);
}

int PRIM_VARIANT(rgb_to_yuv420)(const uint8_t* src, int srcStep, uint8_t* const dst[3], const int dstStep[3], int width,
                                int height) {
  return prim_plane::RGBToYUV420(YUVRowPair420, src, srcStep, dst, dstStep, width, height);
}

int PRIM_VARIANT(rgb_to_yuv_planar)(const uint8_t* src, int srcStep, uint8_t* const dst[3], int dstStep, int width,
                                    int height) {
  return prim_plane::RGBToYUVPlanar(YUVRow, src, srcStep, dst, dstStep, width, height);
}

int PRIM_VARIANT(bgr_to_ycbcr420)(const uint8_t* src, int srcStep, uint8_t* const dst[3], const int dstStep[3],
                                  int width, int height) {
  return prim_plane::BGRToYCbCr420(RowPair420<kBGR>, src, srcStep, dst, dstStep, width, height);
}

int PRIM_VARIANT(bgr_to_ycbcr422)(const uint8_t* src, int srcStep, uint8_t* const dst[3], const int dstStep[3],
                                  int width, int height) {
  return prim_plane::BGRToYCbCr422(Row422<kBGR>, src, srcStep, dst, dstStep, width, height);
}

int PRIM_VARIANT(rgb_to_ycbcr420)(const uint8_t* src, int srcStep, uint8_t* const dst[3], const int dstStep[3],
                                  int width, int height) {
  return prim_plane::RGBToYCbCr420(RowPair420<kRGB>, src, srcStep, dst, dstStep, width, height);
}

int PRIM_VARIANT(rgb_to_ycbcr422)(const uint8_t* src, int srcStep, uint8_t* const dst[3], const int dstStep[3],
                                  int width, int height) {
  return prim_plane::RGBToYCbCr422(Row422<kRGB>, src, srcStep, dst, dstStep, width, height);
}
