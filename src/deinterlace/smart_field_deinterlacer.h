// A deinterlacer that decides frame by frame, and pixel by pixel, what to repair.
#pragma once

#include <cstdint>

#include "deinterlace/deinterlacer.h"

// Compares each pixel with the pixels directly above and below it, which
// belong to the other field. The comb product (below - pixel) * (above - pixel)
// is positive only where the pixel lies outside the range of both neighbours.
// Products above combThreshold mark the comb map, products above
// motionThreshold the motion map; both comparisons are signed, so a threshold
// of 2^31 or more (negative as a signed value) lets negative products through.
//
// A frame is combed when some block of 4 columns by 8 rows holds more than 15
// pixels whose comb map is marked together with the pixels above and below.
// Clean frames stay untouched. In a combed frame the pixels that the motion
// map marks are repaired: without blend, the odd rows become the average of
// the even rows around them (rounding up); with blend, every row becomes half
// of itself plus a quarter of each neighbour (truncating), and the first and
// last rows half of themselves and half of their one neighbour. With
// showMotionMap the map is painted into the frame instead of repairing it.
//
// Chroma. In 4:2:0 one chroma row covers two map rows: a chroma mark sets the
// two columns 2x, 2x+1 in rows 2y, 2y+1 and in a third row, 2y-1 when y is
// odd and 2y+2 when y is even; the repair of chroma pixel (x, y) reads map
// byte (2x, 2y), or (2x, 2y-1) with blend. In 4:2:2 and 4:4:4 the chroma rows
// coincide with the luma rows (and with their fields), so a chroma row y
// stands for map row y alone: a mark sets row y at the columns the sample
// covers (2x and 2x+1 in 4:2:2, x in 4:4:4), the repair reads map row y at
// column 2x or x, and the status line and the painted map use the same
// correspondence.
//
// The status line is drawn in cells of 10 by 20 pixels from row 60, column 0,
// and clipped to the picture: characters or parts of them that fall outside
// the frame's width and height are left out.
//
// Copying takes the eight settings only. The working frames and the block
// counters are scratch that every call rewrites, so a copy starts without
// them and makes its own on its first frame; an assignment gives its own back
// first. Each working frame is thus owned, and freed, by exactly one object.
//
// Working frames are CYUVFrame blocks (LargeBufferMalloc); the block counters
// come from BufferMalloc. Both are kept across calls while the frame
// geometry stays the same. The maps are the Y planes of their frames; the
// U planes of those frames hold the chroma marks during a call, and the V
// plane of the comb map frame the hits of the block row in progress.
//
// DeinterlaceFrame runs the passes in bands of rows, the repair following
// the maps once the frame is known to need it, so that each band is still
// cached when the next pass reaches it. The protected per-plane operations
// run the same passes over the whole frame.
class CSmartFieldDeinterlacer : public CDeinterlacer {
 public:
  // The argument of the per-plane operations.
  enum PLANE { PLANE_Y = 1, PLANE_U = 2, PLANE_V = 4 };
  // What the last frame given to DeinterlaceFrame was found to be.
  enum FRAME_STATUS { STATUS_NONE, STATUS_DEINTERLACE_ALL, STATUS_CLEAN, STATUS_COMBED };

  CSmartFieldDeinterlacer(bool deinterlaceAll, bool useChroma, unsigned int combThreshold, unsigned int motionThreshold,
                          bool blend, bool showMotionMap, bool showStatus, bool logStatus);
  CSmartFieldDeinterlacer(const CSmartFieldDeinterlacer& other);
  CSmartFieldDeinterlacer& operator=(const CSmartFieldDeinterlacer& other);
  ~CSmartFieldDeinterlacer() override;

  // Returns 0 and touches nothing when the frame is already progressive;
  // otherwise flags it progressive and repairs, paints or leaves it.
  HRESULT DeinterlaceFrame(CYUVFrame& frame) override;

  // STATUS_NONE until a frame has been processed; progressive frames leave it.
  FRAME_STATUS LastFrameStatus() const { return lastFrameStatus; }

 protected:
  HRESULT DeinterlaceFrameYV12();
  // Writes the plane's marks into the comb and motion maps; the Y plane
  // writes every map byte of the picture, U and V only add marks.
  void MotionMapYV12(int plane);
  // Counts comb hits per block and tells whether any block has more than 15.
  bool IsCombedYV12();
  void DeinterlacePlaneYV12(int plane);

  bool deinterlaceAll;
  bool useChroma;
  uint32_t combThreshold;
  uint32_t motionThreshold;
  bool blend;
  bool showMotionMap;
  bool showStatus;
  bool logStatus;
  CYUVFrame* currentFrame = nullptr;      // the frame of the running call, not owned
  CYUVFrame* combMapFrame = nullptr;      // its Y plane is the comb map
  CYUVFrame* motionMapFrame = nullptr;    // its Y plane is the motion map
  CYUVFrame* blendSourceFrame = nullptr;  // the frame before repair, made for blend only
  int32_t* blockCounters = nullptr;       // comb hits per block of 4 columns by 8 rows
  int32_t blockCount = 0;
  FRAME_STATUS lastFrameStatus = STATUS_NONE;

 private:
  void PrepareMapFrames();
  void PrepareBlockCounters();
  void PrepareBlendSource();
  // The passes of MotionMapYV12, IsCombedYV12 and DeinterlacePlaneYV12 over
  // ranges of rows, so that MapAndRepairInBands can run them band by band
  // while the rows are cached.
  void MapAndRepairInBands();
  bool MapRows(int first, int end, bool withChroma, bool repairsOddRows);
  void MarkChromaRows(int plane, int otherPlane, int first, int end);
  void AddChromaMarks(int first, int end);
  bool CountHits(int first, int end);
  bool AnyBlockCombed(int first, int end) const;
  void RepairPlaneRows(int plane, int first, int end);
  void PaintMotionMap();
  void ReportStatus();
  void ReleaseWorkingState();
};
