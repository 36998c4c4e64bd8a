#include "deinterlace/smart_field_rows.h"

#include <emmintrin.h>

#include <algorithm>

#include "primitives/simd_rows.h"

// Baseline x86-64 code: SSE2 only. Kernels copy their operands into locals
// first, because the stores, which may alias anything, would otherwise make
// the compiler reload them on every step.
namespace smart_field_rows {
namespace {

constexpr int kBlock = 16;            // pixels a step
constexpr RowShape kEveryOther = {2, 1};  // a map row read at every other column

struct Neighbourhood {
  __m128i above, pixel, below;
};

Neighbourhood LoadNeighbourhood(const uint8_t* above, const uint8_t* row, const uint8_t* below, int x) {
  return {Load(above + x), Load(row + x), Load(below + x)};
}

// Comb magnitudes of 16 pixels as two halves of eight 16-bit lanes, biased
// by 0x8000 so that the signed compare of SSE2 orders them as unsigned.
struct Magnitudes {
  __m128i low, high;
};

// With lo and hi the smaller and the larger neighbour, a pixel outside
// [lo, hi] has the product (lo - pixel) * (hi - pixel) or (pixel - hi) *
// (pixel - lo); a pixel inside has the negative product of magnitude
// (pixel - lo) * (hi - pixel). Saturating differences are 0 on the wrong
// side, so ORing the two cases gives each factor without a branch.
template <bool kInside>
Magnitudes MagnitudesOf(const Neighbourhood& n) {
  const __m128i lo = _mm_min_epu8(n.above, n.below);
  const __m128i hi = _mm_max_epu8(n.above, n.below);
  __m128i first, second;
  if constexpr (kInside) {
    first = _mm_subs_epu8(n.pixel, lo);
    second = _mm_subs_epu8(hi, n.pixel);
  } else {
    first = _mm_or_si128(_mm_subs_epu8(lo, n.pixel), _mm_subs_epu8(n.pixel, hi));
    second = _mm_or_si128(_mm_subs_epu8(hi, n.pixel), _mm_subs_epu8(n.pixel, lo));
  }
  const __m128i zero = _mm_setzero_si128();
  const __m128i bias = _mm_set1_epi16(static_cast<int16_t>(0x8000));
  const __m128i low = _mm_mullo_epi16(_mm_unpacklo_epi8(first, zero), _mm_unpacklo_epi8(second, zero));
  const __m128i high = _mm_mullo_epi16(_mm_unpackhi_epi8(first, zero), _mm_unpackhi_epi8(second, zero));
  return {_mm_xor_si128(low, bias), _mm_xor_si128(high, bias)};
}

struct VectorTest {
  __m128i bound;   // biased like the magnitudes
  __m128i invert;  // all ones for a test of the inside magnitude
};

VectorTest VectorOf(const CombTest& test) {
  return {_mm_set1_epi16(static_cast<int16_t>(test.bound ^ 0x8000u)), _mm_set1_epi8(test.inside ? -1 : 0)};
}

// 255 in the bytes of the pixels that the test marks.
__m128i Passes(const Magnitudes& m, const VectorTest& test) {
  const __m128i exceeds = _mm_packs_epi16(_mm_cmpgt_epi16(m.low, test.bound), _mm_cmpgt_epi16(m.high, test.bound));
  return _mm_xor_si128(exceeds, test.invert);
}

// When both tests weigh the same side, the compiler computes the magnitudes once.
template <bool kCombInside, bool kMotionInside>
void MarkBoth(const RowTriple& rows, int width, const CombTest& comb, const CombTest& motion, uint8_t* combMarks,
              uint8_t* motionMarks) {
  const VectorTest combTest = VectorOf(comb);
  const VectorTest motionTest = VectorOf(motion);
  RunRow<kBlock>(
      [combTest, motionTest](const uint8_t* const* in, uint8_t* const* out, int n) {
        const VectorTest c = combTest, m = motionTest;
        const uint8_t *above = in[0], *row = in[1], *below = in[2];
        uint8_t *combOut = out[0], *motionOut = out[1];
        for (int x = 0; x < n; x += kBlock) {
          const Neighbourhood pixels = LoadNeighbourhood(above, row, below, x);
          Store(combOut + x, Passes(MagnitudesOf<kCombInside>(pixels), c));
          Store(motionOut + x, Passes(MagnitudesOf<kMotionInside>(pixels), m));
        }
      },
      {{rows.above, kPlane}, {rows.row, kPlane}, {rows.below, kPlane}}, {{combMarks, kPlane}, {motionMarks, kPlane}},
      width);
}

template <bool kInside>
void MarkOne(const RowTriple& rows, int width, const CombTest& motion, uint8_t* motionMarks) {
  const VectorTest motionTest = VectorOf(motion);
  RunRow<kBlock>(
      [motionTest](const uint8_t* const* in, uint8_t* const* out, int n) {
        const VectorTest m = motionTest;
        const uint8_t *above = in[0], *row = in[1], *below = in[2];
        uint8_t* motionOut = out[0];
        for (int x = 0; x < n; x += kBlock) {
          Store(motionOut + x, Passes(MagnitudesOf<kInside>(LoadNeighbourhood(above, row, below, x)), m));
        }
      },
      {{rows.above, kPlane}, {rows.row, kPlane}, {rows.below, kPlane}}, {{motionMarks, kPlane}}, width);
}

// The even bytes of two vectors, in order.
__m128i EvenBytes(__m128i first, __m128i second) {
  const __m128i lowBytes = _mm_set1_epi16(0x00ff);
  return _mm_packus_epi16(_mm_and_si128(first, lowBytes), _mm_and_si128(second, lowBytes));
}

// All ones in the bytes of the pixels whose map byte is 0.
template <int kStep>
__m128i UnmarkedAt(const uint8_t* map, int x) {
  const __m128i bytes = kStep == 1 ? Load(map + x) : EvenBytes(Load(map + 2 * x), Load(map + 2 * x + kBlock));
  return _mm_cmpeq_epi8(bytes, _mm_setzero_si128());
}

__m128i Select(__m128i keep, __m128i kept, __m128i replacement) {
  return _mm_or_si128(_mm_and_si128(keep, kept), _mm_andnot_si128(keep, replacement));
}

// (a + b) >> 1 per byte: the rounded-up average less the bit it rounded.
__m128i FloorAverage(__m128i a, __m128i b) {
  return _mm_sub_epi8(_mm_avg_epu8(a, b), _mm_and_si128(_mm_xor_si128(a, b), _mm_set1_epi8(1)));
}

__m128i Half(__m128i v) { return _mm_and_si128(_mm_srli_epi16(v, 1), _mm_set1_epi8(0x7f)); }

template <int kStep>
void AverageMarkedRow(const RowTriple& rows, uint8_t* row, const uint8_t* map, int width) {
  RunRow<kBlock>(
      [](const uint8_t* const* in, uint8_t* const* out, int n) {
        const uint8_t *above = in[0], *pixels = in[1], *below = in[2], *marks = in[3];
        uint8_t* target = out[0];
        for (int x = 0; x < n; x += kBlock) {
          const __m128i average = _mm_avg_epu8(Load(above + x), Load(below + x));
          Store(target + x, Select(UnmarkedAt<kStep>(marks, x), Load(pixels + x), average));
        }
      },
      {{rows.above, kPlane}, {rows.row, kPlane}, {rows.below, kPlane}, {map, kStep == 1 ? kPlane : kEveryOther}},
      {{row, kPlane}}, width);
}

// ((above + below) >> 2) + (pixel >> 1): the quarter of the sum is the
// half of the truncated average, exact in bytes.
template <int kStep>
void BlendMarkedRow(const uint8_t* sourceAbove, uint8_t* row, const uint8_t* sourceBelow, const uint8_t* map,
                    int width) {
  RunRow<kBlock>(
      [](const uint8_t* const* in, uint8_t* const* out, int n) {
        const uint8_t *above = in[0], *pixels = in[1], *below = in[2], *marks = in[3];
        uint8_t* target = out[0];
        for (int x = 0; x < n; x += kBlock) {
          const __m128i pixel = Load(pixels + x);
          const __m128i blended =
              _mm_add_epi8(Half(FloorAverage(Load(above + x), Load(below + x))), Half(pixel));
          Store(target + x, Select(UnmarkedAt<kStep>(marks, x), pixel, blended));
        }
      },
      {{sourceAbove, kPlane}, {row, kPlane}, {sourceBelow, kPlane}, {map, kStep == 1 ? kPlane : kEveryOther}},
      {{row, kPlane}}, width);
}

// Hits of the rows first..last in one 16-column strip, four blocks of four
// columns as the four 32-bit lanes. Bytes are 0 or 255, so the lowest bit of
// their AND is the hit; a byte sums at most 8 rows, a lane 32 hits.
__m128i StripHits(const uint8_t* column, ptrdiff_t pitch, int first, int last) {
  const __m128i one = _mm_set1_epi8(1);
  __m128i above = Load(column + (first - 1) * pitch);
  __m128i row = Load(column + first * pitch);
  __m128i hits = _mm_setzero_si128();
  for (int y = first; y <= last; ++y) {
    const __m128i below = Load(column + (y + 1) * pitch);
    hits = _mm_add_epi8(hits, _mm_and_si128(_mm_and_si128(above, row), _mm_and_si128(below, one)));
    above = row;
    row = below;
  }
  hits = _mm_add_epi8(hits, _mm_srli_epi32(hits, 16));
  hits = _mm_add_epi8(hits, _mm_srli_epi32(hits, 8));
  return _mm_and_si128(hits, _mm_set1_epi32(0xff));
}

}  // namespace

CombTest MakeCombTest(uint32_t threshold) {
  const int64_t signedThreshold = static_cast<int32_t>(threshold);
  // A product p stays unmarked by a negative threshold when -p >= -T, that is -p > -T - 1.
  const int64_t bound = signedThreshold >= 0 ? signedThreshold : -signedThreshold - 1;
  return {signedThreshold < 0, static_cast<uint16_t>(std::min<int64_t>(bound, 0xffff))};
}

void MarkCombAndMotion(const RowTriple& rows, int width, const CombTest& comb, const CombTest& motion,
                       uint8_t* combMarks, uint8_t* motionMarks) {
  using Kernel = void (*)(const RowTriple&, int, const CombTest&, const CombTest&, uint8_t*, uint8_t*);
  static constexpr Kernel kKernels[2][2] = {{MarkBoth<false, false>, MarkBoth<false, true>},
                                            {MarkBoth<true, false>, MarkBoth<true, true>}};
  kKernels[comb.inside][motion.inside](rows, width, comb, motion, combMarks, motionMarks);
}

void MarkMotion(const RowTriple& rows, int width, const CombTest& motion, uint8_t* motionMarks) {
  if (motion.inside) {
    MarkOne<true>(rows, width, motion, motionMarks);
  } else {
    MarkOne<false>(rows, width, motion, motionMarks);
  }
}

void OrMarksInto(uint8_t* mapRow, const uint8_t* marks, int count, int columns) {
  if (columns == 1) {
    RunRow<kBlock>(
        [](const uint8_t* const* in, uint8_t* const* out, int n) {
          const uint8_t *source = in[0], *map = in[1];
          uint8_t* target = out[0];
          for (int x = 0; x < n; x += kBlock) Store(target + x, _mm_or_si128(Load(map + x), Load(source + x)));
        },
        {{marks, kPlane}, {mapRow, kPlane}}, {{mapRow, kPlane}}, count);
    return;
  }
  // Each mark byte doubled covers its two map columns.
  RunRow<2 * kBlock>(
      [](const uint8_t* const* in, uint8_t* const* out, int n) {
        const uint8_t *source = in[0], *map = in[1];
        uint8_t* target = out[0];
        for (int x = 0; x < n; x += 2 * kBlock) {
          const __m128i m = Load(source + x / 2);
          Store(target + x, _mm_or_si128(Load(map + x), _mm_unpacklo_epi8(m, m)));
          Store(target + x + kBlock, _mm_or_si128(Load(map + x + kBlock), _mm_unpackhi_epi8(m, m)));
        }
      },
      {{marks, kHalf}, {mapRow, kPlane}}, {{mapRow, kPlane}}, 2 * count);
}

void AddBlockHits(const uint8_t* map, ptrdiff_t pitch, int first, int last, int width, int32_t* counters) {
  const int strips = width / kBlock;
  for (int strip = 0; strip < strips; ++strip) {
    auto* lanes = reinterpret_cast<__m128i*>(counters + 4 * strip);
    const __m128i hits = StripHits(map + strip * kBlock, pitch, first, last);
    _mm_storeu_si128(lanes, _mm_add_epi32(_mm_loadu_si128(lanes), hits));
  }
  for (int y = first; y <= last; ++y) {
    const uint8_t* above = map + (y - 1) * pitch;
    const uint8_t* row = map + y * pitch;
    const uint8_t* below = map + (y + 1) * pitch;
    for (int x = strips * kBlock; x < width; ++x) counters[x >> 2] += above[x] & row[x] & below[x] & 1;
  }
}

void AverageMarked(const RowTriple& rows, uint8_t* row, const uint8_t* map, int step, int width) {
  if (step == 1) {
    AverageMarkedRow<1>(rows, row, map, width);
  } else {
    AverageMarkedRow<2>(rows, row, map, width);
  }
}

void BlendMarked(const uint8_t* sourceAbove, uint8_t* row, const uint8_t* sourceBelow, const uint8_t* map, int step,
                 int width) {
  if (step == 1) {
    BlendMarkedRow<1>(sourceAbove, row, sourceBelow, map, width);
  } else {
    BlendMarkedRow<2>(sourceAbove, row, sourceBelow, map, width);
  }
}

void HalveWith(uint8_t* row, const uint8_t* neighbour, int width) {
  RunRow<kBlock>(
      [](const uint8_t* const* in, uint8_t* const* out, int n) {
        const uint8_t *pixels = in[0], *other = in[1];
        uint8_t* target = out[0];
        for (int x = 0; x < n; x += kBlock) Store(target + x, FloorAverage(Load(pixels + x), Load(other + x)));
      },
      {{row, kPlane}, {neighbour, kPlane}}, {{row, kPlane}}, width);
}

}  // namespace smart_field_rows
