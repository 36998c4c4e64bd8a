// The row kernels of the plane resize, eight floats at a time with AVX (and
// no AVX2: integer work stays in 128-bit halves). Each lane does the portable
// kernel's arithmetic for its pixel, in the same order; the last partial
// vector of a row is left to the portable kernel.
#include <immintrin.h>

#include <cstddef>
#include <cstring>

#include "primitives/resize_rows.h"

namespace {

constexpr int kLanes = 8;

__m128i WidenFourToInt(const uint8_t* row) {
  int32_t word;
  std::memcpy(&word, row, sizeof word);
  return _mm_cvtepu8_epi32(_mm_cvtsi32_si128(word));
}

__m256 WidenEight(const uint8_t* row) {
  const __m256i low = _mm256_castsi128_si256(WidenFourToInt(row));
  return _mm256_cvtepi32_ps(_mm256_insertf128_si256(low, WidenFourToInt(row + 4), 1));
}

void WidenRowAvx(const uint8_t* row, float* out, int count) {
  int i = 0;
  for (; i + kLanes <= count; i += kLanes) _mm256_storeu_ps(out + i, WidenEight(row + i));
  kResizeRowsC.widen(row + i, out + i, count - i);
}

// Transposes the 4 by 4 blocks of the low halves and of the high halves.
[[gnu::always_inline]] inline void TransposeHalves(__m256& a, __m256& b, __m256& c, __m256& d) {
  const __m256 lo01 = _mm256_unpacklo_ps(a, b), lo23 = _mm256_unpacklo_ps(c, d);
  const __m256 hi01 = _mm256_unpackhi_ps(a, b), hi23 = _mm256_unpackhi_ps(c, d);
  a = _mm256_shuffle_ps(lo01, lo23, 0x44);
  b = _mm256_shuffle_ps(lo01, lo23, 0xEE);
  c = _mm256_shuffle_ps(hi01, hi23, 0x44);
  d = _mm256_shuffle_ps(hi01, hi23, 0xEE);
}

// Taps k to k + 3 of pixels i to i + 7, one tap a vector: pixels i to i + 3
// go to the low halves, i + 4 to i + 7 to the high halves, and a transpose
// within each half sorts them.
[[gnu::always_inline]] inline void LoadTaps(const float* base, const int32_t* start, int k, __m256* tap) {
  auto pair = [&](int j) {
    return _mm256_insertf128_ps(_mm256_castps128_ps256(_mm_loadu_ps(base + start[j] + k)),
                                _mm_loadu_ps(base + start[j + 4] + k), 1);
  };
  tap[0] = pair(0);
  tap[1] = pair(1);
  tap[2] = pair(2);
  tap[3] = pair(3);
  TransposeHalves(tap[0], tap[1], tap[2], tap[3]);
}

// kTaps fixes the number of taps at compile time (0: `runtimeTaps`).
template <int kTaps>
void FilterRowWithAvx(const float* columns, int first, const int32_t* start, const float* weight, int stride,
                      int count, int runtimeTaps, float* out) {
  const int taps = kTaps != 0 ? kTaps : runtimeTaps;
  const float* base = columns - first;
  int i = 0;
  for (; i + kLanes <= count; i += kLanes) {
    __m256 sum = _mm256_setzero_ps();
    for (int k = 0; k < taps; k += 4) {
      __m256 tap[4];
      LoadTaps(base, start + i, k, tap);
      const int group = taps - k < 4 ? taps - k : 4;
      for (int j = 0; j < group; ++j) {
        sum = _mm256_add_ps(sum, _mm256_mul_ps(_mm256_loadu_ps(weight + static_cast<ptrdiff_t>(k + j) * stride + i), tap[j]));
      }
    }
    _mm256_storeu_ps(out + i, sum);
  }
  kResizeRowsC.filter(columns, first, start + i, weight + i, stride, count - i, taps, out + i);
}

void FilterRowAvx(const float* columns, int first, const int32_t* start, const float* weight, int stride,
                    int count, int taps, float* out) {
  switch (taps) {
    case 2:
      FilterRowWithAvx<2>(columns, first, start, weight, stride, count, taps, out);
      break;
    case 3:
      FilterRowWithAvx<3>(columns, first, start, weight, stride, count, taps, out);
      break;
    case 4:
      FilterRowWithAvx<4>(columns, first, start, weight, stride, count, taps, out);
      break;
    default:
      FilterRowWithAvx<0>(columns, first, start, weight, stride, count, taps, out);
      break;
  }
}

__m256 LoadEight(const uint8_t* row) { return WidenEight(row); }
__m256 LoadEight(const float* row) { return _mm256_loadu_ps(row); }

// Byte rows 32 pixels at a time without shuffles, which AVX has only on one
// port. A block is read as eight 32-bit words; masking byte q of every word
// and converting gives pixels q, q + 4, ..., q + 28 times 2^(8q), exactly,
// and the weight takes the 2^(-8q) instead, which leaves every product as it
// was: scaling by a power of two changes no rounding while weight and
// product stay normal numbers. Byte 3 is read as byte 1 of words two bytes
// on, so that no word is negative. The block's sums stay in that order
// until its rows are done, then go back to pixel order.
constexpr int kBlockPixels = 32;

// Whether the scaled weights stay normal: true for any weight above 2^-100.
bool SuitBlocks(const float* weights, int rows) {
  for (int r = 0; r < rows; ++r) {
    if (!(weights[r] > 1e-30f || weights[r] < -1e-30f)) return false;
  }
  return true;
}

// The weight for each byte of a word.
void BlockWeights(float weight, __m256* w) {
  w[0] = _mm256_set1_ps(weight);
  w[1] = w[3] = _mm256_set1_ps(weight * 0x1p-8f);
  w[2] = _mm256_set1_ps(weight * 0x1p-16f);
}

__m256 MaskedByte(__m256 words, int mask) {
  return _mm256_cvtepi32_ps(_mm256_castps_si256(_mm256_and_ps(words, _mm256_castsi256_ps(_mm256_set1_epi32(mask)))));
}

// sum[q] = (sum[q] +) weight times pixels q, q + 4, ... of the block; reads 34 bytes.
template <bool kAdd>
[[gnu::always_inline]] inline void AddBlock(const uint8_t* block, const __m256* w, __m256* sum) {
  const __m256 words = _mm256_castsi256_ps(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(block)));
  const __m256 shifted = _mm256_castsi256_ps(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(block + 2)));
  const __m256 pixels[4] = {MaskedByte(words, 0xFF), MaskedByte(words, 0xFF00), MaskedByte(words, 0xFF0000),
                            MaskedByte(shifted, 0xFF00)};
  for (int q = 0; q < 4; ++q) {
    const __m256 product = _mm256_mul_ps(w[q], pixels[q]);
    sum[q] = kAdd ? _mm256_add_ps(sum[q], product) : product;
  }
}

// Pixel order to the order of the block's sums (q, q + 4, ...), and back.
void ScatterBlock(const float* natural, __m256* sum) {
  const __m256 n0 = _mm256_loadu_ps(natural), n1 = _mm256_loadu_ps(natural + 8);
  const __m256 n2 = _mm256_loadu_ps(natural + 16), n3 = _mm256_loadu_ps(natural + 24);
  sum[0] = _mm256_permute2f128_ps(n0, n2, 0x20);
  sum[1] = _mm256_permute2f128_ps(n0, n2, 0x31);
  sum[2] = _mm256_permute2f128_ps(n1, n3, 0x20);
  sum[3] = _mm256_permute2f128_ps(n1, n3, 0x31);
  TransposeHalves(sum[0], sum[1], sum[2], sum[3]);
}

void GatherBlock(__m256* sum, float* natural) {
  TransposeHalves(sum[0], sum[1], sum[2], sum[3]);
  _mm256_storeu_ps(natural, _mm256_permute2f128_ps(sum[0], sum[1], 0x20));
  _mm256_storeu_ps(natural + 8, _mm256_permute2f128_ps(sum[2], sum[3], 0x20));
  _mm256_storeu_ps(natural + 16, _mm256_permute2f128_ps(sum[0], sum[1], 0x31));
  _mm256_storeu_ps(natural + 24, _mm256_permute2f128_ps(sum[2], sum[3], 0x31));
}

// The whole blocks of AddWeightedRowsAvx on byte rows; returns the pixels done.
template <int kRows, bool kAdd>
int AddByteBlocks(const uint8_t* const* r, const float* weights, float* accumulator, int count) {
  if (!SuitBlocks(weights, kRows)) return 0;
  __m256 w[kRows][4];
  for (int k = 0; k < kRows; ++k) BlockWeights(weights[k], w[k]);
  int i = 0;
  for (; i + kBlockPixels + 2 <= count; i += kBlockPixels) {
    __m256 sum[4];
    if constexpr (kAdd) ScatterBlock(accumulator + i, sum);
    AddBlock<kAdd>(r[0] + i, w[0], sum);
    for (int k = 1; k < kRows; ++k) AddBlock<true>(r[k] + i, w[k], sum);
    GatherBlock(sum, accumulator + i);
  }
  return i;
}

template <int kRows, bool kAdd, typename T>
void AddWeightedRowsAvx(const T* const* rows, const float* weights, float* accumulator, int count) {
  __m256 w[kRows];
  for (int r = 0; r < kRows; ++r) w[r] = _mm256_set1_ps(weights[r]);
  // The row pointers in registers: the stores to the accumulator cannot alias them.
  const T* r[kRows];
  for (int k = 0; k < kRows; ++k) r[k] = rows[k];
  int i = 0;
  if constexpr (sizeof(T) == 1) i = AddByteBlocks<kRows, kAdd>(r, weights, accumulator, count);
  for (; i + kLanes <= count; i += kLanes) {
    __m256 sum = _mm256_mul_ps(w[0], LoadEight(r[0] + i));
    if constexpr (kAdd) sum = _mm256_add_ps(_mm256_loadu_ps(accumulator + i), sum);
    for (int k = 1; k < kRows; ++k) sum = _mm256_add_ps(sum, _mm256_mul_ps(w[k], LoadEight(r[k] + i)));
    _mm256_storeu_ps(accumulator + i, sum);
  }
  const T* tails[kRows];
  for (int r = 0; r < kRows; ++r) tails[r] = rows[r] + i;
  if constexpr (sizeof(T) == 1) {
    kResizeRowsC.addByteRows(tails, weights, kRows, kAdd, accumulator + i, count - i);
  } else {
    kResizeRowsC.addFloatRows(tails, weights, kRows, kAdd, accumulator + i, count - i);
  }
}

template <typename T>
void AddRowsAvx(const T* const* rows, const float* weights, int rowCount, bool add, float* accumulator, int count) {
  switch (rowCount * 2 + (add ? 1 : 0)) {
    case 2: AddWeightedRowsAvx<1, false>(rows, weights, accumulator, count); break;
    case 3: AddWeightedRowsAvx<1, true>(rows, weights, accumulator, count); break;
    case 4: AddWeightedRowsAvx<2, false>(rows, weights, accumulator, count); break;
    case 5: AddWeightedRowsAvx<2, true>(rows, weights, accumulator, count); break;
    case 6: AddWeightedRowsAvx<3, false>(rows, weights, accumulator, count); break;
    case 7: AddWeightedRowsAvx<3, true>(rows, weights, accumulator, count); break;
    case 8: AddWeightedRowsAvx<4, false>(rows, weights, accumulator, count); break;
    default: AddWeightedRowsAvx<4, true>(rows, weights, accumulator, count); break;
  }
}

// Packing with signed then unsigned saturation clips to 0..255, as the
// portable clamp does.
void StoreRowAvx(const float* accumulator, float scale, uint8_t* dst, int count) {
  const __m256 s = _mm256_set1_ps(scale), half = _mm256_set1_ps(0.5f);
  auto eight = [&](int at) {
    const __m256i v = _mm256_cvttps_epi32(_mm256_add_ps(_mm256_mul_ps(_mm256_loadu_ps(accumulator + at), s), half));
    return _mm_packs_epi32(_mm256_castsi256_si128(v), _mm256_extractf128_si256(v, 1));
  };
  int i = 0;
  for (; i + 16 <= count; i += 16) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + i), _mm_packus_epi16(eight(i), eight(i + 8)));
  }
  kResizeRowsC.store(accumulator + i, scale, dst + i, count - i);
}

constexpr ResizeRowKernels kResizeRowsAvx = {WidenRowAvx, FilterRowAvx, AddRowsAvx<uint8_t>, AddRowsAvx<float>,
                                             StoreRowAvx};

}  // namespace

int resize_plane_avx(const uint8_t* src, int srcWidth, int srcHeight, int srcStep, PlaneRect srcRect, uint8_t* dst,
                     int dstStep, PlaneRect dstRect, double xFactor, double yFactor, double xShift, double yShift,
                     int interpolation, uint8_t* buffer) {
  return ResizePlaneWith(kResizeRowsAvx, src, srcWidth, srcHeight, srcStep, srcRect, dst, dstStep, dstRect, xFactor,
                         yFactor, xShift, yShift, interpolation, buffer);
}
