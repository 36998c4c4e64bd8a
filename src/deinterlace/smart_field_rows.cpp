#include "deinterlace/smart_field_rows.h"

#include <emmintrin.h>

#include <algorithm>
#include <type_traits>

#include "primitives/simd_rows.h"

// Baseline x86-64 code: SSE2 only. Kernels copy their operands into locals
// first, because the stores, which may alias anything, would otherwise make
// the compiler reload them on every step.
namespace smart_field_rows {
namespace {

constexpr int kBlock = 16;                // pixels a step
constexpr RowShape kEveryOther = {2, 1};  // a map row read at every other column

struct Neighbourhood {
  __m128i above, pixel, below;
};

// Comb magnitudes of 16 pixels as two halves of eight 16-bit lanes, biased
// by 0x8000 so that the signed compare of SSE2 orders them as unsigned.
struct Magnitudes {
  __m128i low, high;
};

// With lo and hi the smaller and the larger neighbour, a pixel outside
// [lo, hi] has the product near * (near + hi - lo), near being its distance
// to the range; a pixel inside has the negative product of magnitude
// (pixel - lo) * (hi - pixel). Saturating differences are 0 on the wrong
// side, so near is the OR of the distances below lo and above hi, and is 0
// inside the range, where the outside product is thus 0 as well.
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
    second = _mm_add_epi8(first, _mm_sub_epi8(hi, lo));  // the far neighbour's distance, at most 255
  }
  const __m128i zero = _mm_setzero_si128();
  const __m128i bias = _mm_set1_epi16(static_cast<int16_t>(0x8000));
  const __m128i low = _mm_mullo_epi16(_mm_unpacklo_epi8(first, zero), _mm_unpacklo_epi8(second, zero));
  const __m128i high = _mm_mullo_epi16(_mm_unpackhi_epi8(first, zero), _mm_unpackhi_epi8(second, zero));
  return {_mm_xor_si128(low, bias), _mm_xor_si128(high, bias)};
}

// The test's bound, biased like the magnitudes.
__m128i BoundOf(const CombTest& test) { return _mm_set1_epi16(static_cast<int16_t>(test.bound ^ 0x8000u)); }

// 255 in the bytes of the pixels that the test marks: a test of the inside
// magnitude marks where it stays within the bound, the others where it
// exceeds it.
template <bool kInside>
__m128i Passes(const Magnitudes& m, __m128i bound) {
  const __m128i exceeds = _mm_packs_epi16(_mm_cmpgt_epi16(m.low, bound), _mm_cmpgt_epi16(m.high, bound));
  if constexpr (kInside) return _mm_xor_si128(exceeds, _mm_set1_epi8(-1));
  return exceeds;
}

__m128i LoadLow(const uint8_t* p) { return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)); }
void StoreLow(uint8_t* p, __m128i v) { _mm_storel_epi64(reinterpret_cast<__m128i*>(p), v); }

__m128i Select(__m128i keep, __m128i kept, __m128i replacement) {
  return _mm_or_si128(_mm_and_si128(keep, kept), _mm_andnot_si128(keep, replacement));
}

// The chroma marks of 16 map columns from mark m on, of both rows.
template <int kColumns>
__m128i ChromaMarksAt(const uint8_t* const rows[2], ptrdiff_t m) {
  if constexpr (kColumns == 1) return _mm_or_si128(Load(rows[0] + m), Load(rows[1] + m));
  const __m128i marks = _mm_or_si128(LoadLow(rows[0] + m), LoadLow(rows[1] + m));
  return _mm_unpacklo_epi8(marks, marks);
}

// 0xff in the bytes of the columns before `width`, for the strip at x.
__m128i ColumnsBefore(int width, int x) {
  alignas(16) static constexpr uint8_t kOnesThenZeros[2 * kBlock] = {0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff,
                                                                     0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff};
  return Load(kOnesThenZeros + kBlock - std::min(width - x, kBlock));
}

// The hits of one strip, bytes of 0 to 8, summed over its four blocks of
// four columns, one block a 32-bit lane.
__m128i BlockSums(__m128i hits) {
  const __m128i sums = _mm_add_epi8(hits, _mm_srli_epi32(hits, 16));
  return _mm_and_si128(_mm_add_epi8(sums, _mm_srli_epi32(sums, 8)), _mm_set1_epi32(0xff));
}

// kRows map rows from row y on, which share their loads: each luma row and
// each comb row is read once. The hits, of the row above each, gather in the
// bytes of the hit row, which a block row's last row empties into the
// counters; the rows of one call add to one block row.
template <int kRows, bool kCount, bool kCombInside, bool kMotionInside, int kColumns, bool kChromaCombs>
void MapRowsAt(const MapBand& band, int y, __m128i combBound, __m128i motionBound) {
  static_assert(kRows == 1 || kRows == 2, "one row or a pair");
  const ptrdiff_t pitch = band.pitch;
  const uint8_t* luma = band.luma + (y - 1) * pitch;  // the row above the first
  uint8_t* motion = band.motion + y * pitch;
  uint8_t* comb = band.comb + y * pitch;
  // Comb row 0 is clear, so row 1 counts no hits for the row above it.
  const uint8_t* combUp = band.comb + (y - 1) * pitch;
  const uint8_t* combTwoUp = band.comb + std::max(y - 2, 0) * pitch;
  ChromaMarkRows chroma[kRows];
  for (int r = 0; r < kRows; ++r) chroma[r] = band.chroma[y + r - band.first];
  uint8_t* hits = band.hits;
  // The first row of a pair, when odd and its repair asked for, is final once
  // the pair's maps are built: no later map row reads it.
  uint8_t* repaired = kRows == 2 && band.repairsOddRows && (y & 1) != 0 ? band.luma + y * pitch : nullptr;
  const ptrdiff_t paddedWidth = band.paddedWidth;
  const int width = band.width;
  // m is the first chroma mark of the step's columns.
  for (ptrdiff_t x = 0, m = 0; x < paddedWidth; x += kBlock, m += kBlock / kColumns) {
    __m128i rows[kRows + 2];
    for (int r = 0; r < kRows + 2; ++r) rows[r] = Load(luma + r * pitch + x);
    __m128i combRows[kRows + 2];
    if constexpr (kCount) {
      combRows[0] = Load(combTwoUp + x);
      combRows[1] = Load(combUp + x);
    }
    __m128i moving[kRows];
    for (int r = 0; r < kRows; ++r) {
      const Neighbourhood n = {rows[r], rows[r + 1], rows[r + 2]};
      moving[r] = _mm_or_si128(Passes<kMotionInside>(MagnitudesOf<kMotionInside>(n), motionBound),
                               ChromaMarksAt<kColumns>(chroma[r].motion, m));
      Store(motion + r * pitch + x, moving[r]);
      if constexpr (kCount) {
        __m128i combed = Passes<kCombInside>(MagnitudesOf<kCombInside>(n), combBound);
        if constexpr (kChromaCombs) combed = _mm_or_si128(combed, ChromaMarksAt<kColumns>(chroma[r].comb, m));
        Store(comb + r * pitch + x, combed);
        combRows[r + 2] = combed;
      } else {
        Store(comb + r * pitch + x, _mm_setzero_si128());
      }
    }
    if constexpr (kCount) {
      // Marks are 0 or -1: subtracting the AND of three rows counts the hits of the middle one.
      // The hits of comb rows 1 and, in a pair, 2 share the AND of those two rows.
      const __m128i shared = _mm_and_si128(combRows[1], combRows[2]);
      __m128i count = _mm_sub_epi8(Load(hits + x), _mm_and_si128(combRows[0], shared));
      if constexpr (kRows == 2) count = _mm_sub_epi8(count, _mm_and_si128(shared, combRows[3]));
      Store(hits + x, count);
    }
    if (repaired != nullptr) {
      // The marks are 0 or -1: where they are clear, and in the padding, the pixel stays.
      __m128i replace = moving[0];
      if (x + kBlock > width) replace = _mm_and_si128(replace, ColumnsBefore(width, static_cast<int>(x)));
      Store(repaired + x, Select(replace, _mm_avg_epu8(rows[0], rows[2]), rows[1]));
    }
  }
}

// Adds the hit row to the counters of block row `blockRow` and clears it;
// returns whether a counter that it added to now exceeds the limit. The
// blocks of the last strip that lie wholly behind the width have no
// counters of their own.
bool EmptyHitRow(const MapBand& band, int blockRow) {
  int32_t* counters = band.counters + blockRow * band.counterPitch;
  uint8_t* hits = band.hits;
  const int width = band.width;
  const __m128i limit = _mm_set1_epi32(band.blockLimit);
  __m128i over = _mm_setzero_si128();
  int x = 0;
  for (; x + kBlock <= width; x += kBlock) {
    auto* lanes = reinterpret_cast<__m128i*>(counters + x / 4);
    const __m128i counts = _mm_add_epi32(_mm_loadu_si128(lanes), BlockSums(Load(hits + x)));
    _mm_storeu_si128(lanes, counts);
    over = _mm_or_si128(over, _mm_cmpgt_epi32(counts, limit));
    Store(hits + x, _mm_setzero_si128());
  }
  bool exceeds = _mm_movemask_epi8(over) != 0;
  if (x < width) {
    alignas(16) int32_t sums[4];
    const __m128i picture = _mm_and_si128(Load(hits + x), ColumnsBefore(width, x));
    _mm_store_si128(reinterpret_cast<__m128i*>(sums), BlockSums(picture));
    for (int block = 0; block <= ((width - 1) >> 2) - x / 4; ++block) {
      counters[x / 4 + block] += sums[block];
      exceeds |= counters[x / 4 + block] > band.blockLimit;
    }
    Store(hits + x, _mm_setzero_si128());
  }
  return exceeds;
}

template <bool kCount, bool kCombInside, bool kMotionInside, int kColumns, bool kChromaCombs>
bool MapRows(const MapBand& band, const CombTest& comb, const CombTest& motion) {
  const __m128i combBound = BoundOf(comb);
  const __m128i motionBound = BoundOf(motion);
  bool exceeds = false;
  for (int y = band.first; y < band.end;) {
    // Two rows go together when their hits, of rows y-1 and y, fall in one block row.
    if (y + 1 < band.end && ((y - 1) & 7) != 7) {
      MapRowsAt<2, kCount, kCombInside, kMotionInside, kColumns, kChromaCombs>(band, y, combBound, motionBound);
      y += 2;
    } else {
      MapRowsAt<1, kCount, kCombInside, kMotionInside, kColumns, kChromaCombs>(band, y, combBound, motionBound);
      y += 1;
    }
    const int lastHitRow = y - 2;
    if (kCount && ((lastHitRow & 7) == 7 || y - 1 == band.height - 2)) {
      exceeds |= EmptyHitRow(band, lastHitRow >> 3);
    }
  }
  return exceeds;
}

// Calls f with std::true_type or std::false_type, so that a run-time flag
// picks a template argument.
template <typename F>
void WithFlag(bool flag, F f) {
  if (flag) {
    f(std::true_type{});
  } else {
    f(std::false_type{});
  }
}

// 255 where the pixel of either of two planes passes. The biased magnitudes
// compare as signed: the larger of the two exceeds the bound when either
// does, and the smaller stays within it when either does.
template <bool kInside>
__m128i PassesEither(const Magnitudes& a, const Magnitudes& b, __m128i bound) {
  if constexpr (kInside) {
    return Passes<true>({_mm_min_epi16(a.low, b.low), _mm_min_epi16(a.high, b.high)}, bound);
  }
  return Passes<false>({_mm_max_epi16(a.low, b.low), _mm_max_epi16(a.high, b.high)}, bound);
}

// The marks of 16 chroma samples of both planes, loaded by `load`, ORed.
template <bool kCombs, bool kCombInside, bool kMotionInside, typename LoadFn>
void MarkChromaStep(const RowTriple& a, const RowTriple& b, int x, __m128i combBound, __m128i motionBound, LoadFn load,
                    __m128i& combMarks, __m128i& motionMarks) {
  const Neighbourhood first = {load(a.above + x), load(a.row + x), load(a.below + x)};
  const Neighbourhood second = {load(b.above + x), load(b.row + x), load(b.below + x)};
  motionMarks = PassesEither<kMotionInside>(MagnitudesOf<kMotionInside>(first), MagnitudesOf<kMotionInside>(second),
                                            motionBound);
  if constexpr (kCombs) {
    combMarks =
        PassesEither<kCombInside>(MagnitudesOf<kCombInside>(first), MagnitudesOf<kCombInside>(second), combBound);
  }
}

template <bool kCombs, bool kCombInside, bool kMotionInside>
void MarkChromaPairRow(const RowTriple& a, const RowTriple& b, int bytes, const CombTest& comb, const CombTest& motion,
                       uint8_t* combMarks, uint8_t* motionMarks) {
  const __m128i combBound = BoundOf(comb);
  const __m128i motionBound = BoundOf(motion);
  __m128i combed = _mm_setzero_si128(), moving = _mm_setzero_si128();
  int x = 0;
  for (; x + kBlock <= bytes; x += kBlock) {
    MarkChromaStep<kCombs, kCombInside, kMotionInside>(a, b, x, combBound, motionBound, Load, combed, moving);
    Store(motionMarks + x, moving);
    if constexpr (kCombs) Store(combMarks + x, combed);
  }
  if (x == bytes) return;
  // The other half of the last step lies beyond the row, and its lanes are dropped.
  MarkChromaStep<kCombs, kCombInside, kMotionInside>(a, b, x, combBound, motionBound, LoadLow, combed, moving);
  StoreLow(motionMarks + x, moving);
  if constexpr (kCombs) StoreLow(combMarks + x, combed);
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

// Adds the hits of the rows first..last in kStrips strips of 16 columns to
// their counters, four blocks of four columns a strip as its four 32-bit
// lanes. Map bytes are 0 or 255, that is 0 or -1, so subtracting the AND of
// three rows counts the hits; a byte counts at most 8 rows, a lane 32 hits.
// The AND of each row with the row above is kept for the next row.
template <int kStrips>
void AddColumnHits(const uint8_t* column, ptrdiff_t pitch, int first, int last, int32_t* counters) {
  __m128i row[kStrips], withAbove[kStrips], hits[kStrips];
  for (int s = 0; s < kStrips; ++s) {
    row[s] = Load(column + first * pitch + s * kBlock);
    withAbove[s] = _mm_and_si128(Load(column + (first - 1) * pitch + s * kBlock), row[s]);
    hits[s] = _mm_setzero_si128();
  }
  for (const uint8_t* below = column + (first + 1) * pitch; below <= column + (last + 1) * pitch; below += pitch) {
    for (int s = 0; s < kStrips; ++s) {
      const __m128i next = Load(below + s * kBlock);
      hits[s] = _mm_sub_epi8(hits[s], _mm_and_si128(withAbove[s], next));
      withAbove[s] = _mm_and_si128(row[s], next);
      row[s] = next;
    }
  }
  for (int s = 0; s < kStrips; ++s) {
    __m128i sums = _mm_add_epi8(hits[s], _mm_srli_epi32(hits[s], 16));
    sums = _mm_and_si128(_mm_add_epi8(sums, _mm_srli_epi32(sums, 8)), _mm_set1_epi32(0xff));
    auto* lanes = reinterpret_cast<__m128i*>(counters + 4 * s);
    _mm_storeu_si128(lanes, _mm_add_epi32(_mm_loadu_si128(lanes), sums));
  }
}

// The marks of 16 samples, of one or two rows of marks.
template <bool kTwo>
__m128i MarksAt(const uint8_t* marks, const uint8_t* moreMarks, int x) {
  if constexpr (kTwo) return _mm_or_si128(Load(marks + x), Load(moreMarks + x));
  return Load(marks + x);
}

// A step covers 16 samples, 16 map columns at one column a sample and 32
// at two, where each mark byte doubled covers its pair of columns.
template <int kColumns, bool kTwo>
void OrMarksRow(uint8_t* mapRow, const uint8_t* marks, const uint8_t* moreMarks, int count) {
  constexpr RowShape kMarks = kColumns == 2 ? kHalf : kPlane;
  const auto kernel = [](const uint8_t* const* in, uint8_t* const* out, int n) {
    const uint8_t *source = in[0], *moreSource = in[1], *map = in[kTwo ? 2 : 1];
    uint8_t* target = out[0];
    for (int x = 0; x < n; x += kColumns * kBlock) {
      const __m128i m = MarksAt<kTwo>(source, moreSource, x / kColumns);
      if constexpr (kColumns == 1) {
        Store(target + x, _mm_or_si128(Load(map + x), m));
      } else {
        Store(target + x, _mm_or_si128(Load(map + x), _mm_unpacklo_epi8(m, m)));
        Store(target + x + kBlock, _mm_or_si128(Load(map + x + kBlock), _mm_unpackhi_epi8(m, m)));
      }
    }
  };
  if constexpr (kTwo) {
    RunRow<kColumns * kBlock>(kernel, {{marks, kMarks}, {moreMarks, kMarks}, {mapRow, kPlane}}, {{mapRow, kPlane}},
                              kColumns * count);
  } else {
    RunRow<kColumns * kBlock>(kernel, {{marks, kMarks}, {mapRow, kPlane}}, {{mapRow, kPlane}}, kColumns * count);
  }
}

}  // namespace

CombTest MakeCombTest(uint32_t threshold) {
  const int64_t signedThreshold = static_cast<int32_t>(threshold);
  // A product p stays unmarked by a negative threshold when -p >= -T, that is -p > -T - 1.
  const int64_t bound = signedThreshold >= 0 ? signedThreshold : -signedThreshold - 1;
  return {signedThreshold < 0, static_cast<uint16_t>(std::min<int64_t>(bound, 0xffff))};
}

bool MapBandRows(const MapBand& band, const CombTest& comb, const CombTest& motion) {
  if (band.first >= band.end) return false;
  const bool twoColumns = band.chromaColumns == 2;
  if (band.counters == nullptr) {
    WithFlag(motion.inside, [&](auto motionInside) {
      WithFlag(twoColumns, [&](auto two) {
        constexpr bool kMotionInside = decltype(motionInside)::value;
        MapRows<false, false, kMotionInside, decltype(two)::value ? 2 : 1, false>(band, comb, motion);
      });
    });
    return false;
  }
  bool exceeds = false;
  WithFlag(comb.inside, [&](auto combInside) {
    WithFlag(motion.inside, [&](auto motionInside) {
      WithFlag(twoColumns, [&](auto two) {
        WithFlag(band.chromaCombs, [&](auto chromaCombs) {
          constexpr bool kCombInside = decltype(combInside)::value;
          constexpr bool kMotionInside = decltype(motionInside)::value;
          constexpr int kColumns = decltype(two)::value ? 2 : 1;
          constexpr bool kChromaCombs = decltype(chromaCombs)::value;
          exceeds = MapRows<true, kCombInside, kMotionInside, kColumns, kChromaCombs>(band, comb, motion);
        });
      });
    });
  });
  return exceeds;
}

void MarkChromaPair(const RowTriple& first, const RowTriple& second, int bytes, const CombTest& comb,
                    const CombTest& motion, uint8_t* combMarks, uint8_t* motionMarks) {
  if (combMarks == nullptr) {
    WithFlag(motion.inside, [&](auto motionInside) {
      constexpr bool kMotionInside = decltype(motionInside)::value;
      MarkChromaPairRow<false, false, kMotionInside>(first, second, bytes, comb, motion, combMarks, motionMarks);
    });
    return;
  }
  WithFlag(comb.inside, [&](auto combInside) {
    WithFlag(motion.inside, [&](auto motionInside) {
      constexpr bool kCombInside = decltype(combInside)::value;
      constexpr bool kMotionInside = decltype(motionInside)::value;
      MarkChromaPairRow<true, kCombInside, kMotionInside>(first, second, bytes, comb, motion, combMarks, motionMarks);
    });
  });
}

void OrMarksInto(uint8_t* mapRow, const uint8_t* marks, const uint8_t* moreMarks, int count, int columns) {
  using Kernel = void (*)(uint8_t*, const uint8_t*, const uint8_t*, int);
  static constexpr Kernel kKernels[2][2] = {{OrMarksRow<1, false>, OrMarksRow<1, true>},
                                            {OrMarksRow<2, false>, OrMarksRow<2, true>}};
  kKernels[columns - 1][moreMarks != nullptr](mapRow, marks, moreMarks, count);
}

void AddBlockHits(const uint8_t* map, ptrdiff_t pitch, int first, int last, int width, int32_t* counters) {
  constexpr int kStrips = 2;  // side by side, so that the loop over the rows is shared
  int x = 0;
  for (; x + kStrips * kBlock <= width; x += kStrips * kBlock) {
    AddColumnHits<kStrips>(map + x, pitch, first, last, counters + x / 4);
  }
  for (; x + kBlock <= width; x += kBlock) AddColumnHits<1>(map + x, pitch, first, last, counters + x / 4);
  for (int y = first; y <= last; ++y) {
    const uint8_t* above = map + (y - 1) * pitch;
    const uint8_t* row = map + y * pitch;
    const uint8_t* below = map + (y + 1) * pitch;
    for (int tail = x; tail < width; ++tail) counters[tail >> 2] += above[tail] & row[tail] & below[tail] & 1;
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
