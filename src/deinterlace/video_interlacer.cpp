#include "deinterlace/video_interlacer.h"

#include "image/image_support.h"

CVideoInterlacer::CVideoInterlacer(CADENCE cadence, int64_t frameDuration)
    : cadence_(cadence), heldFrame_(new CYUVFrame), frameDuration_(frameDuration) {}

CVideoInterlacer::CVideoInterlacer(const CVideoInterlacer& other)
    : cadence_(other.cadence_),
      heldFrame_(new CYUVFrame(*other.heldFrame_)),
      currentFrame_(other.currentFrame_),
      frameDuration_(other.frameDuration_),
      outputPlan_(other.outputPlan_),
      fieldPending_(other.fieldPending_) {}

CVideoInterlacer& CVideoInterlacer::operator=(const CVideoInterlacer& other) {
  if (this == &other) return *this;
  *heldFrame_ = *other.heldFrame_;
  cadence_ = other.cadence_;
  currentFrame_ = other.currentFrame_;
  frameDuration_ = other.frameDuration_;
  outputPlan_ = other.outputPlan_;
  fieldPending_ = other.fieldPending_;
  return *this;
}

CVideoInterlacer::~CVideoInterlacer() { delete heldFrame_; }

void CVideoInterlacer::Reset() {
  outputPlan_ = 0;
  fieldPending_ = false;
}

// The frame's second field moves one field time later: it becomes the first
// field of a frame in the opposite order.
void CVideoInterlacer::Shift(const CYUVFrame& frame) {
  *heldFrame_ = frame;
  heldFrame_->topFieldFirst = !heldFrame_->topFieldFirst;
  heldFrame_->presentationTime += frameDuration_ / 2;
}

void CVideoInterlacer::HoldCurrent() {
  *heldFrame_ = *currentFrame_;
  fieldPending_ = true;
}

CVideoInterlacer::INTERLACE_RESULT CVideoInterlacer::Plan(uint32_t plan) {
  outputPlan_ = plan;
  return plan == 0 ? INTERLACE_NO_FRAME : INTERLACE_FRAME_READY;
}

CVideoInterlacer::INTERLACE_RESULT CVideoInterlacer::ProcessFrame(CYUVFrame* frame) {
  const bool match = (frame->topFieldFirst && cadence_ == CADENCE_TOP_FIRST) ||
                     (!frame->topFieldFirst && cadence_ == CADENCE_BOTTOM_FIRST);
  const bool repeat = frame->repeatFirstField;
  const bool topFirst = cadence_ == CADENCE_TOP_FIRST;
  currentFrame_ = frame;

  if (!fieldPending_) {
    if (frame->progressive) return Plan(repeat == match ? kGiveCurrent | kHoldCurrent : kGiveCurrent);
    if (repeat) {
      Shift(*frame);
      heldFrame_->repeatFirstField = false;
      return Plan(kGiveHeld);
    }
    if (match) return Plan(kGiveCurrent);
    Shift(*frame);
    fieldPending_ = true;
    return Plan(0);
  }
  if (!frame->progressive && match) {
    CImageSupport::DeinterlaceFrameUsingBOB(*heldFrame_, topFirst);
    return Plan(repeat ? kGiveHeld | kGiveCurrent | kHoldCurrent : kGiveHeld | kGiveCurrent | kEndsPending);
  }
  CImageSupport::MergeFields(*heldFrame_, topFirst, *heldFrame_, *frame);
  return Plan(repeat ? kGiveHeld | kGiveCurrent | kEndsPending : kGiveHeld | kHoldCurrent);
}

CVideoInterlacer::INTERLACE_RESULT CVideoInterlacer::GetNextFrame(CYUVFrame** frame) {
  if (!fieldPending_ && (outputPlan_ & kHoldCurrent) != 0) {
    outputPlan_ &= ~uint32_t{kHoldCurrent};
    HoldCurrent();
  }
  CYUVFrame* out = nullptr;
  if ((outputPlan_ & kGiveHeld) != 0) {
    outputPlan_ &= ~uint32_t{kGiveHeld};
    fieldPending_ = false;
    out = heldFrame_;
  } else if ((outputPlan_ & kGiveCurrent) != 0) {
    outputPlan_ &= ~uint32_t{kGiveCurrent};
    out = currentFrame_;
  }
  if (out != nullptr) {
    out->progressive = false;
    out->repeatFirstField = false;
    out->topFieldFirst = cadence_ == CADENCE_TOP_FIRST;
    *frame = out;
  }
  if ((outputPlan_ & kEndsPending) != 0) fieldPending_ = false;
  return out != nullptr ? INTERLACE_FRAME_READY : INTERLACE_NO_FRAME;
}
