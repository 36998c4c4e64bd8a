// The simplest deinterlacer: keeps the top field and doubles it.
#pragma once

#include "deinterlace/deinterlacer.h"

// Throws the bottom field of the luma plane away: each odd row becomes a copy
// of the even row above it. The chroma planes stay as they are, so each
// chroma row keeps the content of its own field. A frame whose odd height
// leaves its last row even also has that row copied onto the padding row
// below it, which every frame's allocation holds.
class CBobDeinterlacer : public CDeinterlacer {
 public:
  CBobDeinterlacer() = default;
  CBobDeinterlacer(const CBobDeinterlacer&) = default;
  CBobDeinterlacer& operator=(const CBobDeinterlacer&) = default;

  // Returns 0 and touches nothing when the frame is already progressive;
  // otherwise flags it progressive and doubles its top field.
  HRESULT DeinterlaceFrame(CYUVFrame& frame) override;
};
