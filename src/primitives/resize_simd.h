// The row kernels of the plane resize in vectors of floats: four lanes with
// SSE4.1, eight with AVX (and no AVX2: integer work stays in 128-bit halves).
// resize_sse41.cpp and resize_avx.cpp both compile this source, each defining
// PRIM_VARIANT(name) to append its instruction set to the entry point's name.
//
// Each lane does the portable kernel's arithmetic for its pixel, in the same
// order, and single-precision sums and products are written as the vector
// types' operators, which no slot's flags contract into fused multiply-adds.
// The last partial vector of a row is left to the portable kernels.
#pragma once

#include <immintrin.h>

#include <cstddef>
#include <cstring>

#include "primitives/resize_rows.h"

namespace {

// --- What differs between the instruction sets ---

__m128i WidenFourToInts(const uint8_t* row) {
  int32_t word;
  std::memcpy(&word, row, sizeof word);
  return _mm_cvtepu8_epi32(_mm_cvtsi32_si128(word));
}

inline __m128i LoadBytes(const uint8_t* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); }

#ifdef __AVX__
using Floats = __m256;
constexpr int kLanes = 8;

inline Floats LoadFloats(const float* p) { return _mm256_loadu_ps(p); }
inline void StoreFloats(float* p, Floats v) { _mm256_storeu_ps(p, v); }
inline Floats Broadcast(float x) { return _mm256_set1_ps(x); }

inline Floats WidenBytes(const uint8_t* row) {
  const __m256i low = _mm256_castsi128_si256(WidenFourToInts(row));
  return _mm256_cvtepi32_ps(_mm256_insertf128_si256(low, WidenFourToInts(row + 4), 1));
}

// out[0..7] = the eight 16-bit words, unsigned.
inline void StoreWordsAsFloats(__m128i words, float* out) {
  const __m256i ints = _mm256_insertf128_si256(_mm256_castsi128_si256(_mm_cvtepu16_epi32(words)),
                                               _mm_unpackhi_epi16(words, _mm_setzero_si128()), 1);
  StoreFloats(out, _mm256_cvtepi32_ps(ints));
}

// Transposes the 4 by 4 blocks of the low halves and of the high halves.
[[gnu::always_inline]] inline void TransposeQuarters(Floats& a, Floats& b, Floats& c, Floats& d) {
  const __m256 lo01 = _mm256_unpacklo_ps(a, b), lo23 = _mm256_unpacklo_ps(c, d);
  const __m256 hi01 = _mm256_unpackhi_ps(a, b), hi23 = _mm256_unpackhi_ps(c, d);
  a = _mm256_shuffle_ps(lo01, lo23, 0x44);
  b = _mm256_shuffle_ps(lo01, lo23, 0xEE);
  c = _mm256_shuffle_ps(hi01, hi23, 0x44);
  d = _mm256_shuffle_ps(hi01, hi23, 0xEE);
}

// The four floats at p[j] in the low half and at p[j + 4] in the high half of v[j].
[[gnu::always_inline]] inline void LoadQuarters(const float* const* p, Floats* v) {
  for (int j = 0; j < 4; ++j) {
    v[j] = _mm256_insertf128_ps(_mm256_castps128_ps256(_mm_loadu_ps(p[j])), _mm_loadu_ps(p[j + 4]), 1);
  }
}

// Tap k of the pixels of gathers[0] (low half) and gathers[1] (high half),
// from their 16 bytes each.
inline Floats GatheredTap(const __m128i* bytes, const ByteGather* gathers, int k) {
  auto tap = [&](int g) { return _mm_shuffle_epi8(bytes[g], LoadBytes(gathers[g].masks[k])); };
  return _mm256_cvtepi32_ps(_mm256_insertf128_si256(_mm256_castsi128_si256(tap(0)), tap(1), 1));
}

// The ints of sixteen sums times scale plus one half, packed with signed then
// unsigned saturation, which clips to 0..255 as the portable clamp does.
inline __m128i RoundSixteen(const Floats* sums, Floats scale) {
  auto eight = [&](Floats sum) {
    const __m256i v = _mm256_cvttps_epi32(sum * scale + Broadcast(0.5f));
    return _mm_packs_epi32(_mm256_castsi256_si128(v), _mm256_extractf128_si256(v, 1));
  };
  return _mm_packus_epi16(eight(sums[0]), eight(sums[1]));
}

// The same for the lanes of one vector, to dst[0..7].
inline void StoreRoundedLanes(Floats sum, Floats scale, uint8_t* dst) {
  const __m256i v = _mm256_cvttps_epi32(sum * scale + Broadcast(0.5f));
  const __m128i words = _mm_packs_epi32(_mm256_castsi256_si128(v), _mm256_extractf128_si256(v, 1));
  _mm_storel_epi64(reinterpret_cast<__m128i*>(dst), _mm_packus_epi16(words, words));
}

// Byte rows 32 pixels at a time without shuffles, which AVX has on one port
// only (with SSE4.1 the 4 by 4 transposes cost more than they save). A block
// is read as eight 32-bit words; masking byte q of every word and converting
// gives pixels q, q + 4, ..., q + 28 times 2^(8q), exactly, and the weight
// takes the 2^(-8q) instead, which leaves every product as it was: scaling
// by a power of two changes no rounding while weight and product stay normal
// numbers. Byte 3 is read as byte 1 of words two bytes on, so that no word is
// negative. The block's sums stay in that order until its rows are done, then
// go back to pixel order.
constexpr int kBlockPixels = 32;

inline Floats LoadWords(const uint8_t* p) { return _mm256_loadu_ps(reinterpret_cast<const float*>(p)); }

inline Floats MaskedByte(Floats words, int mask) {
  return _mm256_cvtepi32_ps(_mm256_castps_si256(_mm256_and_ps(words, _mm256_castsi256_ps(_mm256_set1_epi32(mask)))));
}

// Whether the scaled weights stay normal: true for any weight above 2^-100.
bool SuitBlocks(const float* weights, int rows) {
  for (int r = 0; r < rows; ++r) {
    if (!(weights[r] > 1e-30f || weights[r] < -1e-30f)) return false;
  }
  return true;
}

// The weight for each byte of a word.
void BlockWeights(float weight, Floats* w) {
  w[0] = Broadcast(weight);
  w[1] = w[3] = Broadcast(weight * 0x1p-8f);
  w[2] = Broadcast(weight * 0x1p-16f);
}

// sum[q] = (sum[q] +) weight times pixels q, q + 4, ... of the block; reads
// kBlockPixels + 2 bytes.
template <bool kAdd>
[[gnu::always_inline]] inline void AddByteBlock(const uint8_t* block, const Floats* w, Floats* sum) {
  const Floats words = LoadWords(block), shifted = LoadWords(block + 2);
  const Floats pixels[4] = {MaskedByte(words, 0xFF), MaskedByte(words, 0xFF00), MaskedByte(words, 0xFF0000),
                            MaskedByte(shifted, 0xFF00)};
  for (int q = 0; q < 4; ++q) sum[q] = kAdd ? sum[q] + w[q] * pixels[q] : w[q] * pixels[q];
}

// Pixel order to the order of the block's sums, and back.
inline void ScatterBlock(const float* natural, Floats* sum) {
  const __m256 n0 = _mm256_loadu_ps(natural), n1 = _mm256_loadu_ps(natural + 8);
  const __m256 n2 = _mm256_loadu_ps(natural + 16), n3 = _mm256_loadu_ps(natural + 24);
  sum[0] = _mm256_permute2f128_ps(n0, n2, 0x20);
  sum[1] = _mm256_permute2f128_ps(n0, n2, 0x31);
  sum[2] = _mm256_permute2f128_ps(n1, n3, 0x20);
  sum[3] = _mm256_permute2f128_ps(n1, n3, 0x31);
  TransposeQuarters(sum[0], sum[1], sum[2], sum[3]);
}

inline void GatherBlock(Floats* sum, float* natural) {
  TransposeQuarters(sum[0], sum[1], sum[2], sum[3]);
  _mm256_storeu_ps(natural, _mm256_permute2f128_ps(sum[0], sum[1], 0x20));
  _mm256_storeu_ps(natural + 8, _mm256_permute2f128_ps(sum[2], sum[3], 0x20));
  _mm256_storeu_ps(natural + 16, _mm256_permute2f128_ps(sum[0], sum[1], 0x31));
  _mm256_storeu_ps(natural + 24, _mm256_permute2f128_ps(sum[2], sum[3], 0x31));
}

// The whole blocks of AddWeightedRowsSimd on byte rows; returns the pixels done.
template <int kRows, bool kAdd>
int AddByteBlocks(const uint8_t* const* r, const float* weights, float* accumulator, int count) {
  if (!SuitBlocks(weights, kRows)) return 0;
  Floats w[kRows][4];
  for (int k = 0; k < kRows; ++k) BlockWeights(weights[k], w[k]);
  int i = 0;
  for (; i + kBlockPixels + 2 <= count; i += kBlockPixels) {
    Floats sum[4];
    if constexpr (kAdd) ScatterBlock(accumulator + i, sum);
    AddByteBlock<kAdd>(r[0] + i, w[0], sum);
    for (int k = 1; k < kRows; ++k) AddByteBlock<true>(r[k] + i, w[k], sum);
    GatherBlock(sum, accumulator + i);
  }
  return i;
}
#else
using Floats = __m128;
constexpr int kLanes = 4;

inline Floats LoadFloats(const float* p) { return _mm_loadu_ps(p); }
inline void StoreFloats(float* p, Floats v) { _mm_storeu_ps(p, v); }
inline Floats Broadcast(float x) { return _mm_set1_ps(x); }

inline Floats WidenBytes(const uint8_t* row) { return _mm_cvtepi32_ps(WidenFourToInts(row)); }

inline void StoreWordsAsFloats(__m128i words, float* out) {
  StoreFloats(out, _mm_cvtepi32_ps(_mm_cvtepu16_epi32(words)));
  StoreFloats(out + 4, _mm_cvtepi32_ps(_mm_unpackhi_epi16(words, _mm_setzero_si128())));
}

[[gnu::always_inline]] inline void TransposeQuarters(Floats& a, Floats& b, Floats& c, Floats& d) {
  _MM_TRANSPOSE4_PS(a, b, c, d);
}

[[gnu::always_inline]] inline void LoadQuarters(const float* const* p, Floats* v) {
  for (int j = 0; j < 4; ++j) v[j] = _mm_loadu_ps(p[j]);
}

inline Floats GatheredTap(const __m128i* bytes, const ByteGather* gathers, int k) {
  return _mm_cvtepi32_ps(_mm_shuffle_epi8(bytes[0], LoadBytes(gathers[0].masks[k])));
}

inline __m128i RoundSixteen(const Floats* sums, Floats scale) {
  auto four = [&](Floats sum) { return _mm_cvttps_epi32(sum * scale + Broadcast(0.5f)); };
  const __m128i low = _mm_packs_epi32(four(sums[0]), four(sums[1]));
  const __m128i high = _mm_packs_epi32(four(sums[2]), four(sums[3]));
  return _mm_packus_epi16(low, high);
}

inline void StoreRoundedLanes(Floats sum, Floats scale, uint8_t* dst) {
  const __m128i words = _mm_packs_epi32(_mm_cvttps_epi32(sum * scale + Broadcast(0.5f)), _mm_setzero_si128());
  const int bytes = _mm_cvtsi128_si32(_mm_packus_epi16(words, words));
  std::memcpy(dst, &bytes, sizeof bytes);
}
#endif

// --- Filters across a row ---

void WidenRowSimd(const uint8_t* row, float* out, int count) {
  int i = 0;
  for (; i + kLanes <= count; i += kLanes) StoreFloats(out + i, WidenBytes(row + i));
  kResizeRowsC.widen(row + i, out + i, count - i);
}

// Taps k to k + 3 of pixels i to i + kLanes - 1, one tap a vector: each
// pixel's window loaded four taps at a time, and the loads transposed.
[[gnu::always_inline]] inline void LoadTaps(const float* base, const int32_t* start, int k, Floats* tap) {
  const float* windows[kLanes];
  for (int j = 0; j < kLanes; ++j) windows[j] = base + start[j] + k;
  LoadQuarters(windows, tap);
  TransposeQuarters(tap[0], tap[1], tap[2], tap[3]);
}

// The filtered values of pixels i to i + kLanes - 1, with kTaps taps (0: runtimeTaps).
template <int kTaps>
[[gnu::always_inline]] inline Floats FilterLanes(const float* base, const int32_t* start, const float* weight,
                                                 int stride, int runtimeTaps, int i) {
  const int taps = kTaps != 0 ? kTaps : runtimeTaps;
  Floats sum = Broadcast(0.0f);
  for (int k = 0; k < taps; k += 4) {
    Floats tap[4];
    LoadTaps(base, start + i, k, tap);
    const int group = taps - k < 4 ? taps - k : 4;
    for (int j = 0; j < group; ++j) sum += LoadFloats(weight + static_cast<ptrdiff_t>(k + j) * stride + i) * tap[j];
  }
  return sum;
}

// Sixteen bytes, then a vector's lanes, then the portable kernel: the rounded
// sums of pixel `i` on, given the sums of kLanes pixels at a time.
template <typename SumsOf, typename Tail>
void StoreRounded(float scale, uint8_t* dst, int count, const SumsOf& sumsOf, const Tail& tail) {
  const Floats s = Broadcast(scale);
  int i = 0;
  for (; i + 16 <= count; i += 16) {
    Floats sums[16 / kLanes];
    for (int v = 0; v < 16 / kLanes; ++v) sums[v] = sumsOf(i + v * kLanes);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + i), RoundSixteen(sums, s));
  }
  for (; i + kLanes <= count; i += kLanes) StoreRoundedLanes(sumsOf(i), s, dst + i);
  tail(i);
}

// The filters of rows of floats with kTaps taps at compile time (0: `taps`).
template <int kTaps>
struct FilterWith {
  static void Row(const float* columns, int first, const int32_t* start, const float* weight, int stride, int count,
                  int taps, float* out) {
    int i = 0;
    for (; i + kLanes <= count; i += kLanes) {
      StoreFloats(out + i, FilterLanes<kTaps>(columns - first, start, weight, stride, taps, i));
    }
    kResizeRowsC.filter(columns, first, start + i, weight + i, stride, count - i, taps, out + i);
  }

  static void RowToBytes(const float* columns, int first, const int32_t* start, const float* weight, int stride,
                         int count, int taps, float scale, uint8_t* dst) {
    StoreRounded(
        scale, dst, count,
        [&](int i) { return FilterLanes<kTaps>(columns - first, start, weight, stride, taps, i); },
        [&](int i) {
          kResizeRowsC.filterAndStore(columns, first, start + i, weight + i, stride, count - i, taps, scale, dst + i);
        });
  }
};

// Filters a source row straight from its bytes: each group of four pixels
// loads the 16 bytes that its windows lie in, and one byte shuffle a tap
// puts the tap's bytes in the lanes, zero-extended, for the conversion to
// floats. The products and sums are those of FilterLanes on the widened row.
template <int kTaps>
struct FilterBytesWith {
  static void Row(const uint8_t* row, const ColumnFilter& x, const ByteGather* gathers, float* scratch, float* out) {
    const int taps = kTaps != 0 ? kTaps : x.taps;
    int i = 0;
    for (; i + kLanes <= x.count; i += kLanes) {
      const ByteGather* group = gathers + i / 4;
      __m128i bytes[kLanes / 4];
      for (int g = 0; g < kLanes / 4; ++g) bytes[g] = LoadBytes(row + group[g].offset);
      Floats sum = Broadcast(0.0f);
      for (int k = 0; k < taps; ++k) {
        sum += LoadFloats(x.weight + static_cast<ptrdiff_t>(k) * x.stride + i) * GatheredTap(bytes, group, k);
      }
      StoreFloats(out + i, sum);
    }
    if (i == x.count) return;
    // The last pixels through the portable kernel, on their columns widened.
    const int first = x.start[i], end = x.start[x.count - 1] + taps;
    kResizeRowsC.widen(row + first, scratch, end - first);
    kResizeRowsC.filter(scratch, first, x.start + i, x.weight + i, x.stride, x.count - i, taps, out + i);
  }
};

// Calls function(Kernel<taps>{}) for the common numbers of taps, with
// Kernel<0> for the others.
template <template <int> class Kernel, typename Function>
void WithTaps(int taps, const Function& function) {
  switch (taps) {
    case 2:
      function(Kernel<2>{});
      break;
    case 3:
      function(Kernel<3>{});
      break;
    case 4:
      function(Kernel<4>{});
      break;
    default:
      function(Kernel<0>{});
      break;
  }
}

void FilterRowSimd(const float* columns, int first, const int32_t* start, const float* weight, int stride, int count,
                   int taps, float* out) {
  WithTaps<FilterWith>(taps, [&](auto kernel) { kernel.Row(columns, first, start, weight, stride, count, taps, out); });
}

void FilterAndStoreRowSimd(const float* columns, int first, const int32_t* start, const float* weight, int stride,
                           int count, int taps, float scale, uint8_t* dst) {
  WithTaps<FilterWith>(taps, [&](auto kernel) {
    kernel.RowToBytes(columns, first, start, weight, stride, count, taps, scale, dst);
  });
}

void FilterBytesSimd(const uint8_t* row, const ColumnFilter& x, const ByteGather* gathers, float* scratch,
                     float* out) {
  WithTaps<FilterBytesWith>(x.taps, [&](auto kernel) { kernel.Row(row, x, gathers, scratch, out); });
}

// --- Sums down the rows ---

inline Floats LoadLanes(const uint8_t* row) { return WidenBytes(row); }
inline Floats LoadLanes(const float* row) { return LoadFloats(row); }

template <int kRows, bool kAdd, typename T>
void AddWeightedRowsSimd(const T* const* rows, const float* weights, float* accumulator, int count) {
  Floats w[kRows];
  for (int r = 0; r < kRows; ++r) w[r] = Broadcast(weights[r]);
  // The row pointers in registers: the stores to the accumulator cannot alias them.
  const T* r[kRows];
  for (int k = 0; k < kRows; ++k) r[k] = rows[k];
  int i = 0;
#ifdef __AVX__
  if constexpr (sizeof(T) == 1) i = AddByteBlocks<kRows, kAdd>(r, weights, accumulator, count);
#endif
  for (; i + kLanes <= count; i += kLanes) {
    Floats sum = w[0] * LoadLanes(r[0] + i);
    if constexpr (kAdd) sum = LoadFloats(accumulator + i) + sum;
    for (int k = 1; k < kRows; ++k) sum += w[k] * LoadLanes(r[k] + i);
    StoreFloats(accumulator + i, sum);
  }
  const T* tails[kRows];
  for (int k = 0; k < kRows; ++k) tails[k] = rows[k] + i;
  if constexpr (sizeof(T) == 1) {
    kResizeRowsC.addByteRows(tails, weights, kRows, kAdd, accumulator + i, count - i);
  } else {
    kResizeRowsC.addFloatRows(tails, weights, kRows, kAdd, accumulator + i, count - i);
  }
}

template <typename T>
void AddRowsSimd(const T* const* rows, const float* weights, int rowCount, bool add, float* accumulator, int count) {
  WithRowsAndAdd(rowCount, add, [&]<int kRows, bool kAdd>() {
    AddWeightedRowsSimd<kRows, kAdd>(rows, weights, accumulator, count);
  });
}

// Rows in units, two rows at a time: their bytes interleaved, so that one
// multiply-add of unsigned bytes by signed ones gives the pair's 16-bit sums.
// A lone last row is paired with itself at zero units.
struct RowPairs {
  const uint8_t* a[kMaxRowsInUnits / 2];
  const uint8_t* b[kMaxRowsInUnits / 2];
  __m128i units[kMaxRowsInUnits / 2];
  int count;
};

RowPairs PairRows(const uint8_t* const* rows, const int8_t* units, int rowCount) {
  RowPairs pairs;
  pairs.count = (rowCount + 1) / 2;
  for (int p = 0; p < pairs.count; ++p) {
    const bool lone = 2 * p + 1 == rowCount;
    pairs.a[p] = rows[2 * p];
    pairs.b[p] = lone ? rows[2 * p] : rows[2 * p + 1];
    const int second = lone ? 0 : units[2 * p + 1];
    pairs.units[p] = _mm_set1_epi16(static_cast<int16_t>(second << 8 | units[2 * p]));
  }
  return pairs;
}

// kPairs fixes the number of pairs at compile time (0: pairs.count).
template <int kPairs>
void AddByteRowsInUnitsWith(const RowPairs& pairs, float* accumulator, int count) {
  const int pairCount = kPairs != 0 ? kPairs : pairs.count;
  for (int i = 0; i + 16 <= count; i += 16) {
    __m128i low = _mm_setzero_si128(), high = _mm_setzero_si128();
    for (int p = 0; p < pairCount; ++p) {
      const __m128i a = LoadBytes(pairs.a[p] + i), b = LoadBytes(pairs.b[p] + i);
      low = _mm_add_epi16(low, _mm_maddubs_epi16(_mm_unpacklo_epi8(a, b), pairs.units[p]));
      high = _mm_add_epi16(high, _mm_maddubs_epi16(_mm_unpackhi_epi8(a, b), pairs.units[p]));
    }
    StoreWordsAsFloats(low, accumulator + i);
    StoreWordsAsFloats(high, accumulator + i + 8);
  }
}

void AddByteRowsInUnitsSimd(const uint8_t* const* rows, const int8_t* units, int rowCount, float* accumulator,
                            int count) {
  const RowPairs pairs = PairRows(rows, units, rowCount);
  switch (pairs.count) {
    case 1:
      AddByteRowsInUnitsWith<1>(pairs, accumulator, count);
      break;
    case 2:
      AddByteRowsInUnitsWith<2>(pairs, accumulator, count);
      break;
    default:
      AddByteRowsInUnitsWith<0>(pairs, accumulator, count);
      break;
  }
  for (int i = count - count % 16; i < count; ++i) {
    int sum = 0;
    for (int k = 0; k < rowCount; ++k) sum += units[k] * rows[k][i];
    accumulator[i] = static_cast<float>(sum);
  }
}

void StoreRowSimd(const float* accumulator, float scale, uint8_t* dst, int count) {
  StoreRounded(
      scale, dst, count, [&](int i) { return LoadFloats(accumulator + i); },
      [&](int i) { kResizeRowsC.store(accumulator + i, scale, dst + i, count - i); });
}

constexpr ResizeRowKernels kResizeRowsSimd = {
    WidenRowSimd,          FilterRowSimd,   AddRowsSimd<uint8_t>,  AddRowsSimd<float>, StoreRowSimd,
    FilterAndStoreRowSimd, FilterBytesSimd, AddByteRowsInUnitsSimd};

}  // namespace

int PRIM_VARIANT(resize_plane)(const uint8_t* src, int srcWidth, int srcHeight, int srcStep, PlaneRect srcRect,
                               uint8_t* dst, int dstStep, PlaneRect dstRect, double xFactor, double yFactor,
                               double xShift, double yShift, int interpolation, uint8_t* buffer) {
  return ResizePlaneWith(kResizeRowsSimd, src, srcWidth, srcHeight, srcStep, srcRect, dst, dstStep, dstRect, xFactor,
                         yFactor, xShift, yShift, interpolation, buffer);
}
