// CVideoInterlacer turns decoded frames whose flags may say progressive, top
// first, bottom first or repeat-first-field into interlaced frames of one
// constant field order. A field left over from one frame is held back and
// woven with the first field of the next, which makes flagged film (3:2
// pulldown) into real interlaced video.
//
// Calling order: ProcessFrame, then GetNextFrame while it returns
// INTERLACE_FRAME_READY (the last call returns INTERLACE_NO_FRAME and may
// still move the carry into the held frame). A frame given out is either the
// held frame or the caller's own; the caller's frame must stay valid until
// GetNextFrame has returned INTERLACE_NO_FRAME.
#pragma once

#include <cstdint>
#include <memory>

#include "core/frame.h"

class CVideoInterlacer {
 public:
  enum CADENCE { CADENCE_TOP_FIRST = 1, CADENCE_BOTTOM_FIRST = 2 };
  enum INTERLACE_RESULT { INTERLACE_NO_FRAME = 0, INTERLACE_FRAME_READY = 1 };

  CVideoInterlacer(CADENCE cadence, int64_t frameDuration);
  // A copy holds a copy of the held frame, so each object frees its own.
  CVideoInterlacer(const CVideoInterlacer& other);
  CVideoInterlacer& operator=(const CVideoInterlacer& other);
  virtual ~CVideoInterlacer();

  // Forgets a held field (for a jump in the stream); the held frame keeps its pixels.
  void Reset();
  INTERLACE_RESULT ProcessFrame(CYUVFrame* frame);
  INTERLACE_RESULT GetNextFrame(CYUVFrame** frame);

 private:
  // Bits of the output plan, set by ProcessFrame and used up by GetNextFrame.
  enum : uint32_t {
    kGiveHeld = 1,
    kGiveCurrent = 2,
    kHoldCurrent = 4,     // copy the current frame into the held one when no field is pending
    kEndsPending = 8,     // the pending field is used up at the end of GetNextFrame
  };

  void Shift(const CYUVFrame& frame);
  void HoldCurrent();
  INTERLACE_RESULT Plan(uint32_t plan);

  CADENCE cadence_;
  CYUVFrame* heldFrame_;
  CYUVFrame* currentFrame_ = nullptr;
  int64_t frameDuration_;
  uint32_t outputPlan_ = 0;
  bool fieldPending_ = false;
};
