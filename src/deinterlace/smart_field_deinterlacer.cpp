#include "deinterlace/smart_field_deinterlacer.h"

#include <algorithm>
#include <cinttypes>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <initializer_list>

#include "deinterlace/smart_field_rows.h"
#include "deinterlace/status_font.h"
#include "platform/buffer_alloc.h"
#include "platform/logger.h"

namespace {

using smart_field_rows::ChromaMarkRows;
using smart_field_rows::CombTest;
using smart_field_rows::RowTriple;

constexpr uint8_t kMarked = 255;
// A block with more hits than this makes the frame combed.
constexpr int32_t kCombedBlockHits = 15;
constexpr int kBlockColumnsShift = 2;  // blocks are 4 columns wide
constexpr int kBlockRowsShift = 3;     // and 8 rows high
// Map rows built together, few enough for the maps and pixels to stay cached.
constexpr int kBandRows = 32;

constexpr uint8_t kMapLuma = 235;
constexpr uint8_t kMapCb = 240;
constexpr uint8_t kMapCr = 16;
constexpr uint8_t kStatusInk = 235;
constexpr uint8_t kStatusChroma = 128;
constexpr int kStatusTop = 60;
constexpr size_t kStatusMaxLength = 80;  // characters of the status line

struct Plane {
  uint8_t* pixels;
  int width;
  int height;
  ptrdiff_t pitch;

  uint8_t* Row(int y) const { return pixels + y * pitch; }
  // Row y with the rows of the other field around it.
  RowTriple Around(int y) const { return {Row(y - 1), Row(y), Row(y + 1)}; }
};

// How many map columns and map rows one chroma sample stands for.
struct ChromaScale {
  int columns;
  int rows;
};

ChromaScale ScaleOf(CHROMA chroma) { return {chroma == CHROMA_444 ? 1 : 2, chroma == CHROMA_420 ? 2 : 1}; }

Plane PlaneOf(const CYUVFrame& frame, int plane) {
  if (plane == CSmartFieldDeinterlacer::PLANE_Y) return {frame.y, frame.width, frame.height, frame.stride};
  const ChromaScale scale = ScaleOf(frame.chroma);
  return {plane == CSmartFieldDeinterlacer::PLANE_U ? frame.u : frame.v,
          scale.columns == 2 ? frame.width >> 1 : frame.width, scale.rows == 2 ? frame.height >> 1 : frame.height,
          frame.chromaStride};
}

// The chroma rows whose marks map row r takes; returns how many. In 4:2:0
// chroma row y marks map rows 2y, 2y+1 and a third, 2y-1 for odd y and 2y+2
// for even y, so rows 4k and 4k+3 take chroma rows 2k and 2k+1 alone and rows
// 4k+1 and 4k+2 take both. Only the chroma rows between the first and the
// last mark anything.
int ChromaRowsMarking(const ChromaScale& scale, int chromaHeight, int r, int rows[2]) {
  int candidates[2] = {scale.rows == 2 ? r >> 1 : r, 0};
  if (scale.rows == 2 && ((r & 3) == 1 || (r & 3) == 2)) candidates[1] = (r >> 1) ^ 1;
  int count = 0;
  for (int y : candidates) {
    if (y >= 1 && y <= chromaHeight - 2) rows[count++] = y;
  }
  return count;
}

// The odd rows among rows first..end-1 without blend; the first and last
// rows stay.
void ReplaceOddRows(const Plane& target, const Plane& motion, const ChromaScale& scale, int first, int end) {
  for (int y = first | 1; y < std::min(end, target.height - 1); y += 2) {
    smart_field_rows::AverageMarked(target.Around(y), target.Row(y), motion.Row(scale.rows * y), scale.columns,
                                    target.width);
  }
}

// Rows first..end-1 with blend, from the source rows around them; a plane
// of fewer than two rows has no other field to blend with.
void BlendRows(const Plane& target, const Plane& source, const Plane& motion, const ChromaScale& scale, int first,
               int end) {
  const int last = target.height - 1;
  if (last < 1) return;
  for (int y = first; y < std::min(end, target.height); ++y) {
    if (y == 0) {
      smart_field_rows::HalveWith(target.Row(0), source.Row(1), target.width);
    } else if (y == last) {
      smart_field_rows::HalveWith(target.Row(last), source.Row(last - 1), target.width);
    } else {
      // In 4:2:0 the chroma repair looks one map row higher than without blend.
      const uint8_t* map = motion.Row(scale.rows == 2 ? 2 * y - 1 : y);
      smart_field_rows::BlendMarked(source.Row(y - 1), target.Row(y), source.Row(y + 1), map, scale.columns,
                                    target.width);
    }
  }
}

// How far a pass has come: the rows before these are done, in the luma plane
// and in each chroma plane.
struct RowProgress {
  int luma;
  int chroma;
};

// Copies the rows between `done` and `end` of the three planes, padding
// included, and moves `done` on; `end` stops at the planes' padded heights.
void CopyRows(const CYUVFrame& from, const CYUVFrame& to, RowProgress& done, RowProgress end) {
  end = {std::min(end.luma, from.paddedHeight), std::min(end.chroma, from.chromaHeight)};
  const auto copy = [](const uint8_t* source, uint8_t* target, ptrdiff_t pitch, int first, int last) {
    if (last > first) {
      std::memcpy(target + first * pitch, source + first * pitch, static_cast<size_t>((last - first) * pitch));
    }
  };
  copy(from.y, to.y, from.stride, done.luma, end.luma);
  copy(from.u, to.u, from.chromaStride, done.chroma, end.chroma);
  copy(from.v, to.v, from.chromaStride, done.chroma, end.chroma);
  done = {std::max(done.luma, end.luma), std::max(done.chroma, end.chroma)};
}

// One luma row of the painted map: pixels of 2x2 squares with a mark become
// 235, the others are dimmed to (pixel + 384) >> 2. Squares at an odd right
// or bottom edge are cut to the picture.
void PaintLumaRow(const uint8_t* __restrict map0, const uint8_t* __restrict map1, uint8_t* __restrict row, int width) {
  int x = 0;
  for (; x + 1 < width; x += 2) {
    const bool marked = (map0[x] | map0[x + 1] | map1[x] | map1[x + 1]) != 0;
    row[x] = marked ? kMapLuma : static_cast<uint8_t>((row[x] + 384) >> 2);
    row[x + 1] = marked ? kMapLuma : static_cast<uint8_t>((row[x + 1] + 384) >> 2);
  }
  if (x < width) row[x] = (map0[x] | map1[x]) != 0 ? kMapLuma : static_cast<uint8_t>((row[x] + 384) >> 2);
}

template <int kColumns>
void PaintChromaRow(const uint8_t* __restrict map0, const uint8_t* __restrict map1, uint8_t* __restrict row,
                    int width, uint8_t value) {
  for (int x = 0; x < width; ++x) {
    uint8_t any = 0;
    for (int c = 0; c < kColumns; ++c) any |= map0[kColumns * x + c] | map1[kColumns * x + c];
    row[x] = any != 0 ? value : row[x];
  }
}

void PaintChromaPlane(const Plane& chroma, const Plane& motion, const ChromaScale& scale, uint8_t value) {
  for (int y = 0; y < chroma.height; ++y) {
    const uint8_t* map0 = motion.Row(scale.rows * y);
    const uint8_t* map1 = motion.Row(scale.rows * y + scale.rows - 1);
    if (scale.columns == 2) {
      PaintChromaRow<2>(map0, map1, chroma.Row(y), chroma.width, value);
    } else {
      PaintChromaRow<1>(map0, map1, chroma.Row(y), chroma.width, value);
    }
  }
}

// Luma first, then chroma, each with the column as the outer loop: chroma
// samples that several cell pixels fall on take the formula once per visit.
void DrawGlyph(CYUVFrame& frame, const uint16_t* glyph, int left) {
  const Plane luma = PlaneOf(frame, CSmartFieldDeinterlacer::PLANE_Y);
  const int columns = std::min(status_font::kCellWidth, luma.width - left);
  const int rows = std::min(status_font::kCellHeight, luma.height - kStatusTop);
  for (int k = 0; k < columns; ++k) {
    for (int r = 0; r < rows; ++r) {
      uint8_t& pixel = luma.Row(kStatusTop + r)[left + k];
      pixel = status_font::IsSet(glyph[r], k) ? kStatusInk : static_cast<uint8_t>(pixel * 3 >> 2);
    }
  }
  const Plane u = PlaneOf(frame, CSmartFieldDeinterlacer::PLANE_U);
  const Plane v = PlaneOf(frame, CSmartFieldDeinterlacer::PLANE_V);
  const ChromaScale scale = ScaleOf(frame.chroma);
  for (int k = 0; k < columns; ++k) {
    const int x = (left + k) / scale.columns;
    if (x >= u.width) break;
    for (int r = 0; r < rows; ++r) {
      const int y = (kStatusTop + r) / scale.rows;
      if (y >= u.height) break;
      uint8_t& cb = u.Row(y)[x];
      uint8_t& cr = v.Row(y)[x];
      const bool set = status_font::IsSet(glyph[r], k);
      cb = set ? kStatusChroma : static_cast<uint8_t>((cb + kStatusChroma) >> 1);
      cr = set ? kStatusChroma : static_cast<uint8_t>((cr + kStatusChroma) >> 1);
    }
  }
}

void DrawStatusLine(CYUVFrame& frame, const char* text) {
  for (int i = 0; text[i] != '\0' && i * status_font::kCellWidth < frame.width; ++i) {
    DrawGlyph(frame, status_font::Glyph(text[i]), i * status_font::kCellWidth);
  }
}

bool SameGeometry(const CYUVFrame& a, const CYUVFrame& b) {
  return a.width == b.width && a.height == b.height && a.chroma == b.chroma;
}

CYUVFrame* NewFrameLike(const CYUVFrame& frame) { return new CYUVFrame(frame.width, frame.height, frame.chroma); }

const char* StatusWords(CSmartFieldDeinterlacer::FRAME_STATUS status) {
  switch (status) {
    case CSmartFieldDeinterlacer::STATUS_DEINTERLACE_ALL: return "Deinterlacing all frames";
    case CSmartFieldDeinterlacer::STATUS_CLEAN: return "Clean frame";
    default: return "Combed frame";
  }
}

}  // namespace

CSmartFieldDeinterlacer::CSmartFieldDeinterlacer(bool deinterlaceAll, bool useChroma, unsigned int combThreshold,
                                                 unsigned int motionThreshold, bool blend, bool showMotionMap,
                                                 bool showStatus, bool logStatus)
    : deinterlaceAll(deinterlaceAll),
      useChroma(useChroma),
      combThreshold(combThreshold),
      motionThreshold(motionThreshold),
      blend(blend),
      showMotionMap(showMotionMap),
      showStatus(showStatus),
      logStatus(logStatus) {}

CSmartFieldDeinterlacer::CSmartFieldDeinterlacer(const CSmartFieldDeinterlacer& other)
    : CSmartFieldDeinterlacer(other.deinterlaceAll, other.useChroma, other.combThreshold, other.motionThreshold,
                              other.blend, other.showMotionMap, other.showStatus, other.logStatus) {}

CSmartFieldDeinterlacer& CSmartFieldDeinterlacer::operator=(const CSmartFieldDeinterlacer& other) {
  if (this == &other) return *this;
  ReleaseWorkingState();
  deinterlaceAll = other.deinterlaceAll;
  useChroma = other.useChroma;
  combThreshold = other.combThreshold;
  motionThreshold = other.motionThreshold;
  blend = other.blend;
  showMotionMap = other.showMotionMap;
  showStatus = other.showStatus;
  logStatus = other.logStatus;
  lastFrameStatus = STATUS_NONE;
  return *this;
}

CSmartFieldDeinterlacer::~CSmartFieldDeinterlacer() { ReleaseWorkingState(); }

void CSmartFieldDeinterlacer::ReleaseWorkingState() {
  delete combMapFrame;
  delete motionMapFrame;
  delete blendSourceFrame;
  BufferFree(blockCounters);
  combMapFrame = motionMapFrame = blendSourceFrame = nullptr;
  blockCounters = nullptr;
  blockCount = 0;
  currentFrame = nullptr;
}

HRESULT CSmartFieldDeinterlacer::DeinterlaceFrame(CYUVFrame& frame) {
  if (frame.progressive) return S_OK;
  frame.progressive = true;
  currentFrame = &frame;
  return DeinterlaceFrameYV12();
}

HRESULT CSmartFieldDeinterlacer::DeinterlaceFrameYV12() {
  PrepareMapFrames();
  PrepareBlockCounters();
  MapAndRepairInBands();
  if (showMotionMap && lastFrameStatus != STATUS_CLEAN) PaintMotionMap();
  ReportStatus();
  return S_OK;
}

void CSmartFieldDeinterlacer::PrepareMapFrames() {
  if (combMapFrame != nullptr && motionMapFrame != nullptr && SameGeometry(*combMapFrame, *currentFrame)) return;
  delete combMapFrame;
  delete motionMapFrame;
  combMapFrame = motionMapFrame = nullptr;  // nothing dangles if an allocation throws
  combMapFrame = NewFrameLike(*currentFrame);
  motionMapFrame = NewFrameLike(*currentFrame);
}

void CSmartFieldDeinterlacer::PrepareBlockCounters() {
  if (deinterlaceAll) {
    BufferFree(blockCounters);
    blockCounters = nullptr;
    blockCount = 0;
    return;
  }
  const int32_t count =
      ((currentFrame->height >> kBlockRowsShift) + 1) * ((currentFrame->width >> kBlockColumnsShift) + 1);
  if (blockCounters != nullptr && blockCount == count) return;
  BufferFree(blockCounters);
  blockCounters = static_cast<int32_t*>(BufferMalloc(static_cast<size_t>(count) * sizeof(int32_t)));
  blockCount = count;
}

// The pixels come in row by row, ahead of the repair.
void CSmartFieldDeinterlacer::PrepareBlendSource() {
  if (blendSourceFrame != nullptr && SameGeometry(*blendSourceFrame, *currentFrame)) return;
  delete blendSourceFrame;
  blendSourceFrame = nullptr;
  blendSourceFrame = NewFrameLike(*currentFrame);
}

// The luma pass counts hits as it goes; IsCombedYV12 counts them afresh,
// from the map that the chroma planes have added to.
void CSmartFieldDeinterlacer::MotionMapYV12(int plane) {
  if (plane == PLANE_Y) {
    MapRows(0, currentFrame->height, false, false);
  } else {
    MarkChromaRows(plane, plane, 0, PlaneOf(*currentFrame, plane).height);
    AddChromaMarks(0, currentFrame->height);
  }
}

bool CSmartFieldDeinterlacer::IsCombedYV12() {
  std::fill(blockCounters, blockCounters + blockCount, 0);
  return CountHits(0, combMapFrame->height);
}

// Band by band, while the rows are cached: the chroma marks that the band's
// map rows take, then each map row from the luma plane with those marks
// added, counting the hits of the row above it. A repair reads final map
// rows and, of the frame, only rows that it does not change (even rows) or
// its own row, taking the neighbours from the blend source copy. So once the
// frame is known to need it, it follows the bands: each row as soon as no
// later mark reads it, the rows already passed in one go, and the blend
// source is copied just ahead of it. Without blend, the map pass replaces
// most odd luma rows itself. Sets the frame's status.
void CSmartFieldDeinterlacer::MapAndRepairInBands() {
  const int height = currentFrame->height;
  const int chromaHeight = PlaneOf(*currentFrame, PLANE_U).height;
  const bool halfHeight = ScaleOf(currentFrame->chroma).rows == 2;
  if (!deinterlaceAll) std::fill(blockCounters, blockCounters + blockCount, 0);
  bool combed = false;
  bool repairing = false;
  int chromaMarked = 0;
  RowProgress repaired = {0, 0};
  RowProgress copied = {0, 0};
  const auto repairUpTo = [&](RowProgress end) {
    if (blend) CopyRows(*currentFrame, *blendSourceFrame, copied, {end.luma + 1, end.chroma + 1});
    RepairPlaneRows(PLANE_Y, repaired.luma, end.luma);
    RepairPlaneRows(PLANE_U, repaired.chroma, end.chroma);
    RepairPlaneRows(PLANE_V, repaired.chroma, end.chroma);
    repaired = {std::max(repaired.luma, end.luma), std::max(repaired.chroma, end.chroma)};
  };
  for (int bandStart = 0; bandStart < height; bandStart += kBandRows) {
    const int bandEnd = std::min(height, bandStart + kBandRows);
    // Map row r takes chroma rows up to r / 2 + 1 in 4:2:0, up to r otherwise.
    const int chromaEnd = halfHeight ? ((bandEnd - 1) >> 1) + 2 : bandEnd;
    MarkChromaRows(PLANE_U, PLANE_V, chromaMarked, chromaEnd);
    chromaMarked = chromaEnd;
    // Once the repair is under way and needs no blend source, the map pass
    // replaces the odd rows of the band's pairs itself, while they are cached;
    // the odd row above the band waited for the band's first map row.
    const bool pairsRepaired = repairing && !blend;
    combed |= MapRows(bandStart, bandEnd, true, pairsRepaired);
    if (pairsRepaired) {
      RepairPlaneRows(PLANE_Y, repaired.luma, bandStart);
      repaired.luma = std::max(repaired.luma, std::min(bandEnd, height - 1) - 1);
    }
    if (!repairing && !showMotionMap && (combed || deinterlaceAll)) {
      repairing = true;
      if (blend) PrepareBlendSource();
    }
    // Later marks still read luma row bandEnd - 1 and chroma row chromaMarked - 1.
    const int chromaOfFinalMap = halfHeight ? (bandEnd + 1) / 2 : bandEnd;
    if (repairing && bandEnd < height) repairUpTo({bandEnd - 1, std::min(chromaMarked - 1, chromaOfFinalMap)});
  }
  if (repairing) {
    if (blend) {
      CopyRows(*currentFrame, *blendSourceFrame, copied, {currentFrame->paddedHeight, currentFrame->chromaHeight});
    }
    repairUpTo({height, chromaHeight});
  }
  if (deinterlaceAll) {
    lastFrameStatus = STATUS_DEINTERLACE_ALL;
  } else {
    lastFrameStatus = combed ? STATUS_COMBED : STATUS_CLEAN;
  }
}

// Rows first..end-1 of both maps from the luma plane, with the chroma marks
// that they take when withChroma is set, and the hits of the rows up to
// end-2 counted unless every frame is repaired; returns whether a block that
// took hits now holds more than 15, which makes the frame combed whatever
// follows, since counters only grow. Row 0 of the chroma marks marks
// nothing and is kept at zero, standing for the rows a map row does not take.
bool CSmartFieldDeinterlacer::MapRows(int first, int end, bool withChroma, bool repairsOddRows) {
  const Plane luma = PlaneOf(*currentFrame, PLANE_Y);
  const Plane comb = PlaneOf(*combMapFrame, PLANE_Y);
  const Plane motion = PlaneOf(*motionMapFrame, PLANE_Y);
  const Plane combMarks = PlaneOf(*combMapFrame, PLANE_U);
  const Plane motionMarks = PlaneOf(*motionMapFrame, PLANE_U);
  if (luma.width < 1) return false;
  const size_t width = static_cast<size_t>(luma.width);
  const int last = luma.height - 1;
  const ChromaScale scale = ScaleOf(currentFrame->chroma);
  for (int y : {0, last}) {
    // The first and last rows have only one neighbour: always moving, never combed.
    if (y < first || y >= end) continue;
    if (!deinterlaceAll) std::memset(comb.Row(y), 0, width);
    std::memset(motion.Row(y), kMarked, width);
  }
  std::memset(combMarks.Row(0), 0, static_cast<size_t>(combMarks.pitch));
  std::memset(motionMarks.Row(0), 0, static_cast<size_t>(motionMarks.pitch));
  // The V plane of the comb map frame, a stride or more, holds the hit row.
  uint8_t* hitRow = combMapFrame->v;
  if (first == 0) std::memset(hitRow, 0, static_cast<size_t>(luma.pitch));
  smart_field_rows::MapBand band = {.luma = luma.pixels,
                                    .comb = comb.pixels,
                                    .motion = motion.pixels,
                                    .pitch = luma.pitch,
                                    .first = 0,
                                    .end = 0,
                                    .height = luma.height,
                                    .paddedWidth = static_cast<int>(luma.pitch),
                                    .width = luma.width,
                                    .chroma = nullptr,
                                    .chromaColumns = scale.columns,
                                    .chromaCombs = !deinterlaceAll && useChroma,
                                    .counters = deinterlaceAll ? nullptr : blockCounters,
                                    .counterPitch = luma.width >> kBlockColumnsShift,
                                    .blockLimit = kCombedBlockHits,
                                    .hits = hitRow,
                                    .repairsOddRows = repairsOddRows};
  const CombTest combTest = smart_field_rows::MakeCombTest(combThreshold);
  const CombTest motionTest = smart_field_rows::MakeCombTest(motionThreshold);
  ChromaMarkRows chroma[kBandRows];
  bool exceeds = false;
  for (int start = std::max(first, 1); start < std::min(end, last); start += kBandRows) {
    band.first = start;
    band.end = std::min({start + kBandRows, end, last});
    for (int y = band.first; y < band.end; ++y) {
      int rows[2] = {0, 0};
      if (withChroma) ChromaRowsMarking(scale, motionMarks.height, y, rows);
      chroma[y - start] = {{motionMarks.Row(rows[0]), motionMarks.Row(rows[1])},
                           {combMarks.Row(rows[0]), combMarks.Row(rows[1])}};
    }
    band.chroma = chroma;
    exceeds |= smart_field_rows::MapBandRows(band, combTest, motionTest);
  }
  return exceeds;
}

// The marks of chroma rows first..end-1 of two planes, or of one plane
// given twice, ORed together into the U planes of the map frames, row for
// chroma row. The first and last chroma rows mark nothing; the bytes behind
// the plane's width are cleared, so that the padding columns of the maps
// take no marks.
void CSmartFieldDeinterlacer::MarkChromaRows(int plane, int otherPlane, int first, int end) {
  const Plane combMarks = PlaneOf(*combMapFrame, PLANE_U);
  const Plane motionMarks = PlaneOf(*motionMapFrame, PLANE_U);
  const bool marksComb = !deinterlaceAll && useChroma;
  const CombTest combTest = smart_field_rows::MakeCombTest(combThreshold);
  const CombTest motionTest = smart_field_rows::MakeCombTest(motionThreshold);
  const int width = motionMarks.width;
  const int bytes = static_cast<int>(motionMarks.pitch);
  for (int y = std::max(first, 1); y < std::min(end, motionMarks.height - 1); ++y) {
    uint8_t* comb = marksComb ? combMarks.Row(y) : nullptr;
    smart_field_rows::MarkChromaPair(PlaneOf(*currentFrame, plane).Around(y),
                                     PlaneOf(*currentFrame, otherPlane).Around(y), bytes, combTest, motionTest, comb,
                                     motionMarks.Row(y));
    std::memset(motionMarks.Row(y) + width, 0, static_cast<size_t>(bytes - width));
    if (comb != nullptr) std::memset(comb + width, 0, static_cast<size_t>(bytes - width));
  }
}

// ORs into map rows first..end-1 the chroma marks that they take.
void CSmartFieldDeinterlacer::AddChromaMarks(int first, int end) {
  const Plane comb = PlaneOf(*combMapFrame, PLANE_Y);
  const Plane motion = PlaneOf(*motionMapFrame, PLANE_Y);
  const Plane combMarks = PlaneOf(*combMapFrame, PLANE_U);
  const Plane motionMarks = PlaneOf(*motionMapFrame, PLANE_U);
  const ChromaScale scale = ScaleOf(currentFrame->chroma);
  const bool marksComb = !deinterlaceAll && useChroma;
  for (int r = first; r < end; ++r) {
    int rows[2];
    const int count = ChromaRowsMarking(scale, motionMarks.height, r, rows);
    if (count == 0) continue;
    const auto more = [&](const Plane& marks) { return count == 2 ? marks.Row(rows[1]) : nullptr; };
    smart_field_rows::OrMarksInto(motion.Row(r), motionMarks.Row(rows[0]), more(motionMarks), motionMarks.width,
                                  scale.columns);
    if (marksComb) {
      smart_field_rows::OrMarksInto(comb.Row(r), combMarks.Row(rows[0]), more(combMarks), combMarks.width,
                                    scale.columns);
    }
  }
}

// Adds the hits of map rows first..end-1 to the block counters; returns
// whether a block that they reach holds more than 15 hits. Counters only
// grow, so such a block makes the frame combed whatever follows.
bool CSmartFieldDeinterlacer::CountHits(int first, int end) {
  const Plane comb = PlaneOf(*combMapFrame, PLANE_Y);
  // The grid's row pitch is width / 4, one less than the count allows for, so
  // the hits of a partial last column go to the next block row's first counter.
  const int pitch = comb.width >> kBlockColumnsShift;
  const int stop = std::min(end, comb.height - 1);
  bool combed = false;
  for (int y = std::max(first, 1); y < stop;) {
    const int blockRow = y >> kBlockRowsShift;
    const int blockEnd = std::min((blockRow + 1) << kBlockRowsShift, stop);
    smart_field_rows::AddBlockHits(comb.pixels, comb.pitch, y, blockEnd - 1, comb.width,
                                   blockCounters + blockRow * pitch);
    combed |= AnyBlockCombed(blockRow * pitch, std::min(blockCount, (blockRow + 1) * pitch + 1));
    y = blockEnd;
  }
  return combed;
}

// Counts rather than stops at the first combed block, so that the loop vectorises.
bool CSmartFieldDeinterlacer::AnyBlockCombed(int first, int end) const {
  int32_t combedBlocks = 0;
  for (int i = first; i < end; ++i) combedBlocks += blockCounters[i] > kCombedBlockHits ? 1 : 0;
  return combedBlocks > 0;
}

void CSmartFieldDeinterlacer::DeinterlacePlaneYV12(int plane) {
  RepairPlaneRows(plane, 0, PlaneOf(*currentFrame, plane).height);
}

// Rows first..end-1 of the plane, blended or, without blend, the odd ones replaced.
void CSmartFieldDeinterlacer::RepairPlaneRows(int plane, int first, int end) {
  const Plane target = PlaneOf(*currentFrame, plane);
  const Plane motion = PlaneOf(*motionMapFrame, PLANE_Y);
  const ChromaScale scale = plane == PLANE_Y ? ChromaScale{1, 1} : ScaleOf(currentFrame->chroma);
  if (blend) {
    BlendRows(target, PlaneOf(*blendSourceFrame, plane), motion, scale, first, end);
  } else {
    ReplaceOddRows(target, motion, scale, first, end);
  }
}

void CSmartFieldDeinterlacer::PaintMotionMap() {
  const Plane luma = PlaneOf(*currentFrame, PLANE_Y);
  const Plane motion = PlaneOf(*motionMapFrame, PLANE_Y);
  for (int y = 0; y < luma.height; ++y) {
    const int top = y & ~1;
    const int bottom = std::min(top + 1, luma.height - 1);
    PaintLumaRow(motion.Row(top), motion.Row(bottom), luma.Row(y), luma.width);
  }
  const ChromaScale scale = ScaleOf(currentFrame->chroma);
  PaintChromaPlane(PlaneOf(*currentFrame, PLANE_U), motion, scale, kMapCb);
  PaintChromaPlane(PlaneOf(*currentFrame, PLANE_V), motion, scale, kMapCr);
}

void CSmartFieldDeinterlacer::ReportStatus() {
  const char* words = StatusWords(lastFrameStatus);
  const int64_t pts = currentFrame->stampA;
  if (showStatus) {
    char line[kStatusMaxLength + 1];
    std::snprintf(line, sizeof line, "PTS %" PRId64 ": %s", pts, words);
    DrawStatusLine(*currentFrame, line);
  }
  if (logStatus) CLogger::Log(0, "SmartDeinterlace: frame PTS %" PRId64 ": %s", pts, words);
}
