// Vector kernels of the studio-range colour conversions, exact to the
// formulas of the portable kernels. Written with SSE4.1;
// colour_convert_sse41.cpp and colour_convert_avx.cpp both compile this
// source, each defining PRIM_VARIANT(name).
//
// YCbCr to RGB: a channel is (76284 Y + C) >> 16, C = 65536 H + L the chroma
// part with the offset. 76284 Y is 38142 times 2Y, an unsigned 16-bit
// product whose high half P and low half Q take one multiply each. The
// channel is P + H plus the carry out of Q + L, which a signed comparison of
// 16-bit values tells, so eight pixels go through 16-bit lanes without
// losing a bit. Even and odd pixels are kept apart, so that a chroma sample
// lines up with both pixels of its pair, and meet again in the store. Green's
// C is a multiply-add of both chroma samples; red's and blue's, which weigh
// one sample each, take a shorter route (see ProductForm).
//
// RGB to YCbCr: the weights fit signed 16 bits (the green weight of luma
// split in two), so luma is two multiply-adds over (R, G) and (B, G) word
// pairs; chroma, whose weights add up to zero, one over (B - R, B - G), and
// of a pair or square the pixels' words are added first.
#pragma once

#include "primitives/colour_weights.h"
#include "primitives/plane_kernels.h"
#include "primitives/simd_rows.h"

namespace {

using namespace prim_colour;

// --- Between 48 packed bytes and the pieces of pixel pairs ---

// Packed pixels are a stream of 2-byte pieces of three kinds, over and over:
// the first and second channel of an even pixel, the third of it with the
// first of the odd pixel after it, the second and third of that one. Eight
// pixel pairs (48 bytes, three stores) are eight pieces of each kind; a
// vector of one kind's pieces in pair order holds one channel of the pairs
// at its even bytes and another at its odd bytes. Word j of store k is
// stream word 8 k + j, so one shuffle of each kind's vector puts every piece
// in the word its store wants, and two word blends make a store.
constexpr int KindAt(int store, int word) { return (8 * store + word) % 3; }
constexpr int PieceAt(int store, int word) { return (8 * store + word) / 3; }

// The words of a store that hold pieces of a kind, as a blend mask.
constexpr int WordsOfKind(int store, int kind) {
  int mask = 0;
  for (int j = 0; j < 8; ++j) mask |= (KindAt(store, j) == kind ? 1 : 0) << j;
  return mask;
}

struct alignas(16) ShuffleMask {
  int8_t bytes[16];
};

// [kind]: puts each piece of a kind where its store wants it. The source has
// piece p split, at bytes p and 8 + p, as packing two vectors of words leaves it.
constexpr ShuffleMask StoreOrderMask(int kind) {
  ShuffleMask s{};
  for (int store = 0; store < 3; ++store) {
    for (int j = 0; j < 8; ++j) {
      if (KindAt(store, j) != kind) continue;
      s.bytes[2 * j] = static_cast<int8_t>(PieceAt(store, j));
      s.bytes[2 * j + 1] = static_cast<int8_t>(8 + PieceAt(store, j));
    }
  }
  return s;
}

// [kind]: the inverse for loads, from the stores' word order to piece order.
constexpr ShuffleMask PieceOrderMask(int kind) {
  ShuffleMask s{};
  for (int store = 0; store < 3; ++store) {
    for (int j = 0; j < 8; ++j) {
      if (KindAt(store, j) != kind) continue;
      s.bytes[2 * PieceAt(store, j)] = static_cast<int8_t>(2 * j);
      s.bytes[2 * PieceAt(store, j) + 1] = static_cast<int8_t>(2 * j + 1);
    }
  }
  return s;
}

constexpr ShuffleMask kStoreOrder[3] = {StoreOrderMask(0), StoreOrderMask(1), StoreOrderMask(2)};
constexpr ShuffleMask kPieceOrder[3] = {PieceOrderMask(0), PieceOrderMask(1), PieceOrderMask(2)};

__m128i MaskOf(const ShuffleMask& m) { return _mm_load_si128(reinterpret_cast<const __m128i*>(m.bytes)); }

// Store k from the three kinds' vectors in store order, and back. The masks
// are named constants, so that they are immediates without optimisation too.
template <int kStore>
__m128i StoreOf(const __m128i kinds[3]) {
  constexpr int kSecond = WordsOfKind(kStore, 1), kThird = WordsOfKind(kStore, 2);
  return _mm_blend_epi16(_mm_blend_epi16(kinds[0], kinds[1], kSecond), kinds[2], kThird);
}

template <int kKind>
__m128i KindOf(const __m128i stores[3]) {
  constexpr int kFromSecond = WordsOfKind(1, kKind), kFromThird = WordsOfKind(2, kKind);
  return _mm_blend_epi16(_mm_blend_epi16(stores[0], stores[1], kFromSecond), stores[2], kFromThird);
}

// Each channel's words, even pixels then odd ones, packed (and clipped) to 48
// bytes of pixels in the order first, second, third.
void StorePixels(const __m128i first[2], const __m128i second[2], const __m128i third[2], uint8_t* out) {
  const __m128i kinds[3] = {_mm_shuffle_epi8(_mm_packus_epi16(first[0], second[0]), MaskOf(kStoreOrder[0])),
                            _mm_shuffle_epi8(_mm_packus_epi16(third[0], first[1]), MaskOf(kStoreOrder[1])),
                            _mm_shuffle_epi8(_mm_packus_epi16(second[1], third[1]), MaskOf(kStoreOrder[2]))};
  Store(out, StoreOf<0>(kinds));
  Store(out + 16, StoreOf<1>(kinds));
  Store(out + 32, StoreOf<2>(kinds));
}

// 48 bytes of pixels as the pieces of their eight pairs, one vector a kind.
void LoadPieces(const uint8_t* in, __m128i kinds[3]) {
  const __m128i stores[3] = {Load(in), Load(in + 16), Load(in + 32)};
  kinds[0] = _mm_shuffle_epi8(KindOf<0>(stores), MaskOf(kPieceOrder[0]));
  kinds[1] = _mm_shuffle_epi8(KindOf<1>(stores), MaskOf(kPieceOrder[1]));
  kinds[2] = _mm_shuffle_epi8(KindOf<2>(stores), MaskOf(kPieceOrder[2]));
}

// The low and the high bytes of words, as words, or twice them (a
// multiply-add of the bytes with (2, 0) or (0, 2)).
__m128i LowBytes(__m128i words) { return _mm_and_si128(words, _mm_set1_epi16(0xFF)); }
__m128i HighBytes(__m128i words) { return _mm_srli_epi16(words, 8); }
__m128i TwiceLowBytes(__m128i words) { return _mm_maddubs_epi16(words, _mm_set1_epi16(2)); }
__m128i TwiceHighBytes(__m128i words) { return _mm_maddubs_epi16(words, _mm_set1_epi16(0x200)); }

// --- YCbCr to RGB ---

// A weight as 65536 * Whole + Part, Part a signed 16-bit multiplier.
constexpr int32_t Whole(int32_t w) { return (w + 32768) >> 16; }
constexpr int32_t Part(int32_t w) { return w - Whole(w) * 65536; }

// The chroma part C of one channel for eight chroma samples: its high half
// H, and its low half L as the carry threshold of a signed comparison (see
// CarryInto).
struct ChannelTerms {
  __m128i high, threshold;
};

// Chroma samples as words, and as (Cb, Cr) word pairs for the multiply-adds:
// the even samples' pairs in one vector, the odd ones' in the other, so that
// the halves of the sums interleave back into sample order with one blend.
struct ChromaWords {
  __m128i cb, cr, evenPairs, oddPairs;
};

ChromaWords ChromaWordsOf(__m128i cb, __m128i cr) {
  return {cb, cr, _mm_blend_epi16(cb, _mm_slli_epi32(cr, 16), 0xAA), _mm_blend_epi16(_mm_srli_epi32(cb, 16), cr, 0xAA)};
}

// The high and the low halves of 32-bit sums, in sample order, from the sums
// of the even and of the odd samples.
__m128i HighHalves(__m128i even, __m128i odd) { return _mm_blend_epi16(_mm_srli_epi32(even, 16), odd, 0xAA); }
__m128i LowHalves(__m128i even, __m128i odd) { return _mm_blend_epi16(even, _mm_slli_epi32(odd, 16), 0xAA); }

// high + whole * x for the small whole parts of the weights.
template <int32_t kWhole>
__m128i AddWhole(__m128i high, __m128i x) {
  static_assert(kWhole >= -1 && kWhole <= 2, "the whole parts of the chroma weights lie between -1 and 2");
  if constexpr (kWhole == -1) return _mm_sub_epi16(high, x);
  if constexpr (kWhole == 0) return high;
  if constexpr (kWhole == 1) return _mm_add_epi16(high, x);
  if constexpr (kWhole == 2) return _mm_add_epi16(high, _mm_add_epi16(x, x));
}

template <int32_t kCb, int32_t kCr, int32_t kBase>
ChannelTerms TermsOf(const ChromaWords& chroma) {
  static_assert(Whole(kCb) * 65536 + Part(kCb) == kCb && Whole(kCr) * 65536 + Part(kCr) == kCr);
  const __m128i parts = _mm_set1_epi32(static_cast<int32_t>(
      static_cast<uint16_t>(Part(kCb)) | static_cast<uint32_t>(static_cast<uint16_t>(Part(kCr))) << 16));
  const __m128i base = _mm_set1_epi32(kBase);
  const __m128i even = _mm_add_epi32(_mm_madd_epi16(chroma.evenPairs, parts), base);
  const __m128i odd = _mm_add_epi32(_mm_madd_epi16(chroma.oddPairs, parts), base);
  const __m128i high = AddWhole<Whole(kCr)>(AddWhole<Whole(kCb)>(HighHalves(even, odd), chroma.cb), chroma.cr);
  // A carry out of Q + L happens when Q > 0xFFFF - L; with both sides' sign
  // bits flipped, a signed comparison tells it.
  return {high, _mm_xor_si128(LowHalves(even, odd), _mm_set1_epi16(0x7FFF))};
}

// Red's chroma part weighs Cr alone and blue's Cb alone: W c + base with W
// above 65536. If W = M k with M odd and below 65536, one d below 65536 has
// M d = base + 65536 e (M is invertible modulo 65536), and if k c + d stays
// below 65536, W c + base = M (k c + d) - 65536 e: its high half is that of
// an unsigned 16-bit product, less e, with no carry to follow.
struct ProductForm {
  int32_t m, k, d, e;
  bool found;
};

// The inverse of an odd number modulo 65536; each step doubles the bits that are right.
constexpr uint32_t InverseOfOdd(uint32_t m) {
  uint32_t x = m;
  for (int i = 0; i < 4; ++i) x *= 2 - m * x;
  return x & 0xFFFF;
}

constexpr ProductForm ProductFormOf(int32_t weight, int32_t base) {
  for (int32_t k = 2; k < 256; ++k) {
    const int32_t m = weight / k;
    if (weight % k != 0 || m >= 65536 || m % 2 == 0) continue;
    const int32_t d = static_cast<int32_t>((static_cast<uint32_t>(base) * InverseOfOdd(m)) & 0xFFFF);
    if (d + 255 * k < 65536) return {m, k, d, static_cast<int32_t>((int64_t{m} * d - base) / 65536), true};
  }
  return {0, 0, 0, 0, false};
}

// The terms of W c + base in that form. The threshold is the low half of
// 0x7FFF - (W c + base), which is the low half of the sum with all but its
// sign bit flipped; 16-bit sums wrap, and the values they make fit.
template <int32_t kWeight, int32_t kBase>
ChannelTerms ProductTermsOf(__m128i c) {
  constexpr ProductForm f = ProductFormOf(kWeight, kBase);
  static_assert(f.found && int64_t{f.m} * f.d - int64_t{65536} * f.e == kBase);
  const auto words = [](int64_t v) { return _mm_set1_epi16(static_cast<int16_t>(v)); };
  const __m128i scaled = _mm_add_epi16(_mm_mullo_epi16(c, words(f.k)), words(f.d));
  return {_mm_sub_epi16(_mm_mulhi_epu16(scaled, words(f.m)), words(f.e)),
          _mm_add_epi16(_mm_mullo_epi16(c, words(-kWeight)), words(0x7FFF - int64_t{kBase}))};
}

// Red's or blue's terms: as a product where the weight has that form, else
// through the multiply-add as green's.
template <int32_t kWeight, int32_t kBase, bool kOfCr>
ChannelTerms SingleSampleTermsOf(const ChromaWords& chroma) {
  if constexpr (ProductFormOf(kWeight, kBase).found) {
    return ProductTermsOf<kWeight, kBase>(kOfCr ? chroma.cr : chroma.cb);
  } else if constexpr (kOfCr) {
    return TermsOf<0, kWeight, kBase>(chroma);
  } else {
    return TermsOf<kWeight, 0, kBase>(chroma);
  }
}

template <const YCbCrToRGBWeights& w>
void ChromaTermsOf(const ChromaWords& chroma, ChannelTerms terms[3]) {
  terms[0] = SingleSampleTermsOf<w.crToR, w.offsetR - w.crToR * w.chromaBias, true>(chroma);
  terms[1] = TermsOf<w.cbToG, w.crToG, w.offsetG - (w.cbToG + w.crToG) * w.chromaBias>(chroma);
  terms[2] = SingleSampleTermsOf<w.cbToB, w.offsetB - w.cbToB * w.chromaBias, false>(chroma);
}

// Twice the luma of sixteen pixels as words, of the even pixels and of the
// odd ones.
struct TwiceLuma {
  __m128i even, odd;
};

TwiceLuma TwiceLumaOf(__m128i y) { return {TwiceLowBytes(y), TwiceHighBytes(y)}; }

// The luma part of eight pixels: the high half of wy * Y, and the low half
// with its sign bit flipped, from half the weight (an unsigned 16-bit
// multiplier) times twice the luma.
struct LumaTerms {
  __m128i high, lowFlipped;
};

template <const YCbCrToRGBWeights& w>
LumaTerms LumaTermsOf(__m128i twiceY) {
  static_assert(w.y % 2 == 0 && w.y / 2 < 65536, "half the luma weight is a 16-bit multiplier");
  const __m128i half = _mm_set1_epi16(static_cast<int16_t>(w.y / 2));
  return {_mm_mulhi_epu16(twiceY, half), _mm_xor_si128(_mm_mullo_epi16(twiceY, half), _mm_set1_epi16(-32768))};
}

// One channel of eight pixels as words; packing to bytes clips it.
__m128i CarryInto(LumaTerms luma, const ChannelTerms& chroma) {
  return _mm_sub_epi16(_mm_add_epi16(luma.high, chroma.high), _mm_cmpgt_epi16(luma.lowFlipped, chroma.threshold));
}

// Sixteen pixels from twice their luma and the chroma terms of their even
// and odd pixels, stored R first or B first. Even and odd pixels keep apart
// up to the store: each chroma sample of a pair lines up with both pixels.
template <const YCbCrToRGBWeights& w, bool kBlueFirst>
[[gnu::always_inline]] inline void StoreSixteen(TwiceLuma y, const ChannelTerms even[3], const ChannelTerms odd[3],
                                                uint8_t* out) {
  const LumaTerms lumaEven = LumaTermsOf<w>(y.even);
  const LumaTerms lumaOdd = LumaTermsOf<w>(y.odd);
  __m128i words[3][2];
  for (int c = 0; c < 3; ++c) {
    words[c][0] = CarryInto(lumaEven, even[c]);
    words[c][1] = CarryInto(lumaOdd, odd[c]);
  }
  if (kBlueFirst) {
    StorePixels(words[2], words[1], words[0], out);
  } else {
    StorePixels(words[0], words[1], words[2], out);
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
  const uint8_t *y = in[0], *cb = in[1], *cr = in[2];
  uint8_t* pixels = out[0];
  for (int x = 0; x < width; x += 16) {
    ChannelTerms terms[3];
    ChromaTermsOfBlock<w>(cb + x / 2, cr + x / 2, terms);
    StoreSixteen<w, kBlueFirst>(TwiceLumaOf(Load(y + x)), terms, terms, pixels + 3 * x);
  }
}

// Two luma rows over one chroma row; in: Y top, Y bottom, Cb, Cr.
template <const YCbCrToRGBWeights& w>
void PlanarPairBlocks(const uint8_t* const* in, uint8_t* const* out, int width) {
  const uint8_t *yTop = in[0], *yBottom = in[1], *cb = in[2], *cr = in[3];
  uint8_t *top = out[0], *bottom = out[1];
  for (int x = 0; x < width; x += 16) {
    ChannelTerms terms[3];
    ChromaTermsOfBlock<w>(cb + x / 2, cr + x / 2, terms);
    StoreSixteen<w, false>(TwiceLumaOf(Load(yTop + x)), terms, terms, top + 3 * x);
    StoreSixteen<w, false>(TwiceLumaOf(Load(yBottom + x)), terms, terms, bottom + 3 * x);
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

// Packed Y, Cb, Cr to packed R, G, B, 16 pixels a block: the pieces hold
// (Y, Cb) of the even pixels, (Cr of them, Y of the odd), (Cb, Cr) of the odd.
void PackedBlocks(const uint8_t* const* in, uint8_t* const* out, int width) {
  const uint8_t* src = in[0];
  uint8_t* pixels = out[0];
  for (int x = 0; x < width; x += 16) {
    __m128i pieces[3];
    LoadPieces(src + 3 * x, pieces);
    const TwiceLuma y = {TwiceLowBytes(pieces[0]), TwiceHighBytes(pieces[1])};
    ChannelTerms even[3], odd[3];
    ChromaTermsOf<kYCbCrToRGBWeights>(ChromaWordsOf(HighBytes(pieces[0]), LowBytes(pieces[1])), even);
    ChromaTermsOf<kYCbCrToRGBWeights>(ChromaWordsOf(LowBytes(pieces[2]), HighBytes(pieces[2])), odd);
    StoreSixteen<kYCbCrToRGBWeights, false>(y, even, odd, pixels + 3 * x);
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

// Word pairs (first, second) of four pixels from the 16 loaded bytes, the
// pixels starting at byte `skip`.
constexpr ShuffleMask PairMask(int first, int second, int skip) {
  ShuffleMask s{};
  for (int i = 0; i < 4; ++i) {
    const int at = skip + 3 * i;
    s.bytes[4 * i] = static_cast<int8_t>(at + first);
    s.bytes[4 * i + 1] = -128;
    s.bytes[4 * i + 2] = static_cast<int8_t>(at + second);
    s.bytes[4 * i + 3] = -128;
  }
  return s;
}

template <const Layout& layout>
struct PairMasks {
  static constexpr ShuffleMask kRG[2] = {PairMask(layout.r, layout.g, 0), PairMask(layout.r, layout.g, 4)};
  static constexpr ShuffleMask kBG[2] = {PairMask(layout.b, layout.g, 0), PairMask(layout.b, layout.g, 4)};
};

// The (R, G) and (B, G) words of the four pixels of group g.
struct Pairs {
  __m128i rg, bg;
};

template <const Layout& layout>
Pairs PairsOf(const uint8_t* block, int g) {
  const __m128i v = Load(block + kGroups[g].start);
  const int skip = kGroups[g].skip / 4;
  return {_mm_shuffle_epi8(v, MaskOf(PairMasks<layout>::kRG[skip])),
          _mm_shuffle_epi8(v, MaskOf(PairMasks<layout>::kBG[skip]))};
}

Pairs Add(Pairs a, Pairs b) { return {_mm_add_epi16(a.rg, b.rg), _mm_add_epi16(a.bg, b.bg)}; }

// A vector of 16-bit weight pairs (first, second).
__m128i WeightPairs(int32_t first, int32_t second) {
  return _mm_set1_epi32(
      static_cast<int32_t>(static_cast<uint16_t>(first) | static_cast<uint32_t>(static_cast<uint16_t>(second)) << 16));
}

// w . (R, G, B) of each pixel (or pixel sum) as 32-bit lanes; the green
// weight is split across both pairs to fit 16 bits.
template <const StudioWeights& w>
__m128i Weigh(Pairs p) {
  constexpr int32_t g1 = w.g / 2, g2 = w.g - w.g / 2;
  return _mm_add_epi32(_mm_madd_epi16(p.rg, WeightPairs(w.r, g1)), _mm_madd_epi16(p.bg, WeightPairs(w.b, g2)));
}

// The chroma weights add up to zero, so Cb and Cr weigh the differences
// (B - R, B - G) alone: one multiply-add over those word pairs.
__m128i DifferencesOf(Pairs p) {
  const __m128i blueTwice = _mm_setr_epi8(0, 1, 0, 1, 4, 5, 4, 5, 8, 9, 8, 9, 12, 13, 12, 13);
  return _mm_sub_epi16(_mm_shuffle_epi8(p.bg, blueTwice), p.rg);
}

// Cb or Cr of pixels (or pixel sums) from their differences.
template <const StudioWeights& w>
__m128i ChromaOf(__m128i differences, ChromaScale scale) {
  static_assert(w.r + w.g + w.b == 0, "the chroma weights add up to zero");
  const __m128i sum = _mm_madd_epi16(differences, WeightPairs(-w.r, -w.g));
  return _mm_sra_epi32(_mm_add_epi32(sum, _mm_set1_epi32(scale.offset)), _mm_cvtsi32_si128(scale.shift));
}

// Sixteen 32-bit values in four vectors, each 0 to 255, to sixteen bytes.
__m128i PackBytes(__m128i a, __m128i b, __m128i c, __m128i d) {
  return _mm_packus_epi16(_mm_packs_epi32(a, b), _mm_packs_epi32(c, d));
}

// Eight 32-bit values to eight bytes stored.
void StoreEight(uint8_t* out, __m128i a, __m128i b) {
  _mm_storel_epi64(reinterpret_cast<__m128i*>(out), _mm_packus_epi16(_mm_packs_epi32(a, b), _mm_setzero_si128()));
}

// The luma of a block's four groups: the high halves of groups g and g + 1
// interleave with one blend, and one shuffle puts the bytes in pixel order.
void LumaOfBlock(const Pairs pairs[4], uint8_t* y) {
  __m128i halves[2];
  for (int h = 0; h < 2; ++h) {
    const __m128i first = _mm_add_epi32(Weigh<kStudioY>(pairs[2 * h]), _mm_set1_epi32(kStudioYOffset));
    const __m128i second = _mm_add_epi32(Weigh<kStudioY>(pairs[2 * h + 1]), _mm_set1_epi32(kStudioYOffset));
    halves[h] = _mm_blend_epi16(_mm_srli_epi32(first, 16), second, 0xAA);
  }
  const __m128i order = _mm_setr_epi8(0, 2, 4, 6, 1, 3, 5, 7, 8, 10, 12, 14, 9, 11, 13, 15);
  Store(y, _mm_shuffle_epi8(_mm_packus_epi16(halves[0], halves[1]), order));
}

// Reads the sixteen pixels of a block at `src` as the word pairs of its four
// groups, and stores their luma.
template <const Layout& layout>
void PairsAndLumaOfBlock(const uint8_t* src, Pairs pairs[4], uint8_t* y) {
  for (int g = 0; g < 4; ++g) pairs[g] = PairsOf<layout>(src, g);
  LumaOfBlock(pairs, y);
}

// The (R, G) and (B, G) pairs of adjacent pixels added, for the pixel pairs
// of groups g and g + 1: the sums of the low words stay far below 65536, so
// 32-bit adds keep each word to itself.
Pairs PairSums(Pairs a, Pairs b) { return {_mm_hadd_epi32(a.rg, b.rg), _mm_hadd_epi32(a.bg, b.bg)}; }

// Cb and Cr of the eight pixel pairs (or squares) of a block from their sums.
void StoreChroma(const Pairs sums[2], ChromaScale scale, uint8_t* cb, uint8_t* cr) {
  const __m128i first = DifferencesOf(sums[0]), second = DifferencesOf(sums[1]);
  const __m128i bytes =
      _mm_packus_epi16(_mm_packs_epi32(ChromaOf<kStudioCb>(first, scale), ChromaOf<kStudioCb>(second, scale)),
                       _mm_packs_epi32(ChromaOf<kStudioCr>(first, scale), ChromaOf<kStudioCr>(second, scale)));
  _mm_storel_epi64(reinterpret_cast<__m128i*>(cb), bytes);
  _mm_storeh_pi(reinterpret_cast<__m64*>(cr), _mm_castsi128_ps(bytes));
}

template <const Layout& layout>
void FullBlocks(const uint8_t* const* in, uint8_t* const* out, int width) {
  const uint8_t* src = in[0];
  uint8_t *y = out[0], *cb = out[1], *cr = out[2];
  for (int x = 0; x < width; x += 16) {
    Pairs pairs[4];
    PairsAndLumaOfBlock<layout>(src + 3 * x, pairs, y + x);
    __m128i cbOfGroup[4], crOfGroup[4];
    for (int g = 0; g < 4; ++g) {
      const __m128i differences = DifferencesOf(pairs[g]);
      cbOfGroup[g] = ChromaOf<kStudioCb>(differences, kChromaOfPixel);
      crOfGroup[g] = ChromaOf<kStudioCr>(differences, kChromaOfPixel);
    }
    Store(cb + x, PackBytes(cbOfGroup[0], cbOfGroup[1], cbOfGroup[2], cbOfGroup[3]));
    Store(cr + x, PackBytes(crOfGroup[0], crOfGroup[1], crOfGroup[2], crOfGroup[3]));
  }
}

template <const Layout& layout>
void Blocks422(const uint8_t* const* in, uint8_t* const* out, int width) {
  const uint8_t* src = in[0];
  uint8_t *y = out[0], *cb = out[1], *cr = out[2];
  for (int x = 0; x < width; x += 16) {
    Pairs pairs[4];
    PairsAndLumaOfBlock<layout>(src + 3 * x, pairs, y + x);
    const Pairs sums[2] = {PairSums(pairs[0], pairs[1]), PairSums(pairs[2], pairs[3])};
    StoreChroma(sums, kChromaOfPair, cb + x / 2, cr + x / 2);
  }
}

template <const Layout& layout>
void Blocks420(const uint8_t* const* in, uint8_t* const* out, int width) {
  const uint8_t *srcTop = in[0], *srcBottom = in[1];
  uint8_t *yTop = out[0], *yBottom = out[1], *cb = out[2], *cr = out[3];
  for (int x = 0; x < width; x += 16) {
    Pairs top[4], bottom[4];
    PairsAndLumaOfBlock<layout>(srcTop + 3 * x, top, yTop + x);
    PairsAndLumaOfBlock<layout>(srcBottom + 3 * x, bottom, yBottom + x);
    const Pairs sums[2] = {PairSums(Add(top[0], bottom[0]), Add(top[1], bottom[1])),
                           PairSums(Add(top[2], bottom[2]), Add(top[3], bottom[3]))};
    StoreChroma(sums, kChromaOfSquare, cb + x / 2, cr + x / 2);
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
