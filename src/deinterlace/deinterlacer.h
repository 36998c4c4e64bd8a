// The interface of an object that deinterlaces frames one at a time, in place.
#pragma once

#include "core/frame.h"
#include "core/types.h"

// A deinterlacer: the host holds one and hands it decoded frames one at a
// time. Every member works in place on the frame it is given, leaves frames
// already flagged progressive alone, and returns 0.
class CDeinterlacer {
 public:
  CDeinterlacer(const CDeinterlacer&) = default;
  CDeinterlacer& operator=(const CDeinterlacer&) { return *this; }
  virtual ~CDeinterlacer() = default;

  virtual HRESULT DeinterlaceFrame(CYUVFrame& frame) = 0;

 protected:
  CDeinterlacer() = default;
};
