// Vector kernels of the byte-plane operations: copy, difference, scaled sum
// and product, thresholds and comparison. Written with SSE4.1;
// plane_ops_sse41.cpp and plane_ops_avx.cpp both compile this source, the
// latter with VEX encoding and 32-byte streaming stores for large copies.
// Each defines PRIM_VARIANT(name) to append its instruction set to the names.
#pragma once

#include "primitives/plane_kernels.h"
#include "primitives/prim_plane.h"
#include "primitives/simd_rows.h"

namespace {

// --- Copy ---

// Large copies store past the cache: the bytes would only push out what the
// caller works on. Smaller ones use the library's row copy. (A fill streams
// only beyond the largest cache, which no picture reaches on the processors
// we measured, so fills keep the library's row fill in every slot.)
constexpr int64_t kStreamedCopyBytes = 0x100000;

#ifdef __AVX__
using Vector = __m256i;
inline Vector LoadVector(const uint8_t* p) { return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p)); }
inline void StreamVector(uint8_t* p, Vector v) { _mm256_stream_si256(reinterpret_cast<__m256i*>(p), v); }
#else
using Vector = __m128i;
inline Vector LoadVector(const uint8_t* p) { return Load(p); }
inline void StreamVector(uint8_t* p, Vector v) { _mm_stream_si128(reinterpret_cast<__m128i*>(p), v); }
#endif

constexpr int kStreamBlock = 64;
constexpr int kVectorsPerBlock = kStreamBlock / static_cast<int>(sizeof(Vector));

// Streams whole blocks to an aligned destination. All loads of a block come
// before its stores, so a destination that is the source itself stays legal.
void StreamBlocks(const uint8_t* const* in, uint8_t* const* out, int bytes) {
  for (int x = 0; x < bytes; x += kStreamBlock) {
    Vector v[kVectorsPerBlock];
    for (int i = 0; i < kVectorsPerBlock; ++i) v[i] = LoadVector(in[0] + x + i * static_cast<int>(sizeof(Vector)));
    for (int i = 0; i < kVectorsPerBlock; ++i) StreamVector(out[0] + x + i * static_cast<int>(sizeof(Vector)), v[i]);
  }
}

// The bytes before the destination's first aligned address.
int HeadBytes(const uint8_t* dst, int bytes) {
  const int head = static_cast<int>(-reinterpret_cast<uintptr_t>(dst) % sizeof(Vector));
  return head < bytes ? head : bytes;
}

void StreamCopyRow(const uint8_t* src, uint8_t* dst, int bytes) {
  const int head = HeadBytes(dst, bytes);
  prim_plane::CopyRow(src, dst, head);
  RunRow<kStreamBlock>(StreamBlocks, {{src + head, kPlane}}, {{dst + head, kPlane}}, bytes - head);
}

// --- Arithmetic, 16 bytes a block ---

void AbsDiffRowSimd(const uint8_t* a, const uint8_t* b, uint8_t* out, int width) {
  RunRow<16>(
      [](const uint8_t* const* in, uint8_t* const* o, int n) {
        for (int x = 0; x < n; x += 16) {
          const __m128i p = Load(in[0] + x), q = Load(in[1] + x);
          Store(o[0] + x, _mm_or_si128(_mm_subs_epu8(p, q), _mm_subs_epu8(q, p)));
        }
      },
      {{a, kPlane}, {b, kPlane}}, {{out, kPlane}}, width);
}

// Applies words(low sums, high sums) to the 16-bit sums of two rows of bytes
// and packs the results, which must lie in 0 to 255.
template <typename Words>
void MapSums(const uint8_t* a, const uint8_t* b, uint8_t* out, int width, Words words) {
  RunRow<16>(
      [words](const uint8_t* const* in, uint8_t* const* o, int n) {
        const __m128i zero = _mm_setzero_si128();
        for (int x = 0; x < n; x += 16) {
          const __m128i p = Load(in[0] + x), q = Load(in[1] + x);
          const __m128i low = _mm_add_epi16(_mm_unpacklo_epi8(p, zero), _mm_unpacklo_epi8(q, zero));
          const __m128i high = _mm_add_epi16(_mm_unpackhi_epi8(p, zero), _mm_unpackhi_epi8(q, zero));
          Store(o[0] + x, _mm_packus_epi16(words(low), words(high)));
        }
      },
      {{a, kPlane}, {b, kPlane}}, {{out, kPlane}}, width);
}

// The rules of ScaledSum on eight sums at once.
void AddScaledRowSimd(const uint8_t* a, const uint8_t* b, uint8_t* out, int width, int scale) {
  const __m128i max = _mm_set1_epi16(255);
  if (scale == 0) {
    MapSums(a, b, out, width, [max](__m128i sum) { return _mm_min_epu16(sum, max); });
  } else if (scale > 9) {
    MapSums(a, b, out, width, [](__m128i) { return _mm_setzero_si128(); });
  } else if (scale < 0) {
    // A sum of 255 or more saturates at any shift, and 255 << 8 fits a word.
    const __m128i shift = _mm_cvtsi32_si128(-scale < 8 ? -scale : 8);
    MapSums(a, b, out, width,
            [max, shift](__m128i sum) { return _mm_min_epu16(_mm_sll_epi16(_mm_min_epu16(sum, max), shift), max); });
  } else {
    const __m128i shift = _mm_cvtsi32_si128(scale);
    const __m128i bias = _mm_set1_epi16(static_cast<int16_t>((1 << (scale - 1)) - 1));
    const __m128i one = _mm_set1_epi16(1);
    MapSums(a, b, out, width, [shift, bias, one](__m128i sum) {
      const __m128i odd = _mm_and_si128(_mm_srl_epi16(sum, shift), one);
      return _mm_srl_epi16(_mm_add_epi16(_mm_add_epi16(sum, bias), odd), shift);
    });
  }
}

// M(a, v) = (p + 1 + (p >> 8)) >> 8 with p = a * v, which stays below 65281.
__m128i ScaleWordsBy255(__m128i words, __m128i value) {
  const __m128i p = _mm_mullo_epi16(words, value);
  return _mm_srli_epi16(_mm_add_epi16(_mm_add_epi16(p, _mm_set1_epi16(1)), _mm_srli_epi16(p, 8)), 8);
}

void MulScaleRowSimd(const uint8_t* in, uint8_t* out, int bytes, uint8_t value) {
  RunRow<16>(
      [value](const uint8_t* const* i, uint8_t* const* o, int n) {
        const __m128i v = _mm_set1_epi16(value);
        const __m128i zero = _mm_setzero_si128();
        for (int x = 0; x < n; x += 16) {
          const __m128i p = Load(i[0] + x);
          Store(o[0] + x, _mm_packus_epi16(ScaleWordsBy255(_mm_unpacklo_epi8(p, zero), v),
                                           ScaleWordsBy255(_mm_unpackhi_epi8(p, zero), v)));
        }
      },
      {{in, kPlane}}, {{out, kPlane}}, bytes);
}

// --- Thresholds and comparison ---

template <typename Bytes>
void MapBytes(const uint8_t* in, uint8_t* out, int width, Bytes bytes) {
  RunRow<16>(
      [bytes](const uint8_t* const* i, uint8_t* const* o, int n) {
        for (int x = 0; x < n; x += 16) Store(o[0] + x, bytes(Load(i[0] + x)));
      },
      {{in, kPlane}}, {{out, kPlane}}, width);
}

void ThresholdLowRowSimd(uint8_t* p, int width, uint8_t value) {
  const __m128i v = _mm_set1_epi8(static_cast<char>(value));
  MapBytes(p, p, width, [v](__m128i b) { return _mm_max_epu8(b, v); });
}

void ThresholdHighRowSimd(uint8_t* p, int width, uint8_t value) {
  const __m128i v = _mm_set1_epi8(static_cast<char>(value));
  MapBytes(p, p, width, [v](__m128i b) { return _mm_min_epu8(b, v); });
}

// b <= v exactly when min(b, v) == b, b >= v when max(b, v) == b; the strict
// comparisons are their complements.
void CompareRowSimd(const uint8_t* in, uint8_t* out, int width, uint8_t value, int op) {
  const __m128i v = _mm_set1_epi8(static_cast<char>(value));
  const __m128i ones = _mm_set1_epi8(-1);
  switch (op) {
    case PrimCmpLess:
      MapBytes(in, out, width,
               [v, ones](__m128i b) { return _mm_xor_si128(_mm_cmpeq_epi8(_mm_max_epu8(b, v), b), ones); });
      break;
    case PrimCmpLessEq:
      MapBytes(in, out, width, [v](__m128i b) { return _mm_cmpeq_epi8(_mm_min_epu8(b, v), b); });
      break;
    case PrimCmpEq:
      MapBytes(in, out, width, [v](__m128i b) { return _mm_cmpeq_epi8(b, v); });
      break;
    case PrimCmpGreaterEq:
      MapBytes(in, out, width, [v](__m128i b) { return _mm_cmpeq_epi8(_mm_max_epu8(b, v), b); });
      break;
    default:
      MapBytes(in, out, width,
               [v, ones](__m128i b) { return _mm_xor_si128(_mm_cmpeq_epi8(_mm_min_epu8(b, v), b), ones); });
      break;
  }
}

}  // namespace

int PRIM_VARIANT(copy_plane)(const uint8_t* src, int srcStep, uint8_t* dst, int dstStep, int width, int height) {
  if (int64_t{width} * height <= kStreamedCopyBytes) {
    return prim_plane::CopyPlane(prim_plane::CopyRow, src, srcStep, dst, dstStep, width, height);
  }
  const int status = prim_plane::CopyPlane(StreamCopyRow, src, srcStep, dst, dstStep, width, height);
  _mm_sfence();
  return status;
}

int PRIM_VARIANT(abs_diff)(const uint8_t* src1, int src1Step, const uint8_t* src2, int src2Step, uint8_t* dst,
                           int dstStep, int width, int height) {
  return prim_plane::AbsDiff(AbsDiffRowSimd, src1, src1Step, src2, src2Step, dst, dstStep, width, height);
}

int PRIM_VARIANT(add_scaled)(const uint8_t* src1, int src1Step, const uint8_t* src2, int src2Step, uint8_t* dst,
                             int dstStep, int width, int height, int scale) {
  return prim_plane::AddScaled(AddScaledRowSimd, src1, src1Step, src2, src2Step, dst, dstStep, width, height, scale);
}

int PRIM_VARIANT(mul_scale_rgb)(const uint8_t* src, int srcStep, uint8_t value, uint8_t* dst, int dstStep, int width,
                                int height) {
  return prim_plane::MulScaleRGB(MulScaleRowSimd, src, srcStep, value, dst, dstStep, width, height);
}

int PRIM_VARIANT(threshold_low)(uint8_t* srcDst, int step, int width, int height, uint8_t value) {
  return prim_plane::Threshold(ThresholdLowRowSimd, srcDst, step, width, height, value);
}

int PRIM_VARIANT(threshold_high)(uint8_t* srcDst, int step, int width, int height, uint8_t value) {
  return prim_plane::Threshold(ThresholdHighRowSimd, srcDst, step, width, height, value);
}

int PRIM_VARIANT(compare_const)(const uint8_t* src, int srcStep, uint8_t value, uint8_t* dst, int dstStep, int width,
                                int height, int op) {
  return prim_plane::CompareConst(CompareRowSimd, src, srcStep, value, dst, dstStep, width, height, op);
}
