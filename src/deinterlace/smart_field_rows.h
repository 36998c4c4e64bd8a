// Row kernels of the smart field deinterlacer: comb tests, marks, hit counts
// and repairs, sixteen pixels at a time.
#pragma once

#include <cstddef>
#include <cstdint>

namespace smart_field_rows {

// A threshold on comb products, prepared for comparing in 16-bit lanes.
//
// A comb product (below - pixel) * (above - pixel) lies within -65025..65025,
// more than 16 bits hold, but each test needs only one sign of it. A
// threshold of 0 or more is exceeded only by positive products, those of a
// pixel outside the range of its neighbours; a negative threshold T by every
// product except the negative ones, those of a pixel strictly inside that
// range, whose magnitude reaches -T. Either magnitude is a product of two
// byte differences, so it fits an unsigned 16-bit lane.
struct CombTest {
  bool inside;     // weighs the pixels inside the range, and marks where they stay below the bound
  uint16_t bound;  // otherwise marks where the magnitude of the outside pixels exceeds it
};

CombTest MakeCombTest(uint32_t threshold);

// A pixel row with the rows of the other field above and below it.
struct RowTriple {
  const uint8_t* above;
  const uint8_t* row;
  const uint8_t* below;
};

// The chroma marks that one map row takes, from up to two rows of marks
// read at the map row's columns: in 4:2:0 and 4:2:2 a mark byte covers two
// columns, in 4:4:4 one. A map row that takes fewer rows points the others
// at a row of zeros.
struct ChromaMarkRows {
  const uint8_t* motion[2];
  const uint8_t* comb[2];
};

// Map rows first..end-1 (1 <= first, end <= height - 1) of a plane whose
// pixels and maps share one pitch, over the whole padded width: the marks
// of the luma pixels ORed with the chroma marks each row takes. With
// counters, the comb map is built and the hits of rows up to end-2 are
// counted: those of column x < width and row y go to
// counters[(y / 8) * counterPitch + x / 4], and the result tells whether a
// counter that took hits now exceeds blockLimit. They gather in the hit row, a
// scratch row of paddedWidth bytes that must be clear before row 1, and
// reach the counters at the last row of each block of 8 rows and at row
// height - 3. The hits of row first-1 read comb map rows first-2 and
// first-1, which must be built. Without counters the comb rows are cleared
// and nothing is counted.
struct MapBand {
  uint8_t* luma;  // row 0 of each
  uint8_t* comb;
  uint8_t* motion;
  ptrdiff_t pitch;
  int first, end;
  int height;
  int paddedWidth;  // a multiple of 16
  int width;
  const ChromaMarkRows* chroma;  // chroma[y - first] for map row y
  int chromaColumns;             // map columns a chroma mark covers, 1 or 2
  bool chromaCombs;              // the chroma comb marks join the comb map
  int32_t* counters;
  int counterPitch;
  int32_t blockLimit;
  uint8_t* hits;
  // Rows are built in pairs that share their loads, a pair's hits falling in
  // one block row. When set, the pixels of the odd first row of a pair that
  // the motion map marks, in the columns before width, become the rounded-up
  // average of the rows around it as soon as the pair is built, since no
  // later map row reads that row; the other rows are left to the caller.
  bool repairsOddRows;
};

bool MapBandRows(const MapBand& band, const CombTest& comb, const CombTest& motion);

// The marks of a chroma row of two planes ORed together, over `bytes`
// bytes (a multiple of 8): motion marks always, comb marks when combMarks is
// not null. Both planes may be the same one.
void MarkChromaPair(const RowTriple& first, const RowTriple& second, int bytes, const CombTest& comb,
                    const CombTest& motion, uint8_t* combMarks, uint8_t* motionMarks);

// ORs into a map row the marks of `count` chroma samples, from one row of
// marks or, when moreMarks is not null, from two, each mark into the
// `columns` (1 or 2) map columns that its sample covers.
void OrMarksInto(uint8_t* mapRow, const uint8_t* marks, const uint8_t* moreMarks, int count, int columns);

// Adds to counters[x / 4] the hits of map rows first..last: columns x whose
// bytes are 255 in the row and in the rows above and below.
void AddBlockHits(const uint8_t* map, ptrdiff_t pitch, int first, int last, int width, int32_t* counters);

// Odd rows without blend: pixels whose map byte (every `step`-th byte, step
// 1 or 2) is not 0 become the rounded-up average of the rows above and below.
void AverageMarked(const RowTriple& rows, uint8_t* row, const uint8_t* map, int step, int width);

// With blend: pixels whose map byte is not 0 become a quarter of the sum of
// the source rows above and below plus half of themselves, all truncated.
void BlendMarked(const uint8_t* sourceAbove, uint8_t* row, const uint8_t* sourceBelow, const uint8_t* map, int step,
                 int width);

// The edge rows under blend: half of the row plus half of its one neighbour.
void HalveWith(uint8_t* row, const uint8_t* neighbour, int width);

}  // namespace smart_field_rows
