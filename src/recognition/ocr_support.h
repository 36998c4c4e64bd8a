// Reading text out of fixed areas of video frames. The host adds its areas
// once, then for each frame asks IsImageDifferent and, when something changed,
// has the areas read by DoOCR and takes their text with GetText.
#pragma once

#include <cstdint>
#include <memory>

#include "core/frame.h"
#include "core/types.h"

class COCRSupportImpl;

// The OCR facade (see above); the work and the engine's handles lie in its
// implementation object. Copies share that object, and the last of them to
// go frees it.
class COCRSupport {
 public:
  // What kind of text an area holds. The values are the host's: the library
  // keeps the one it is given with the area and never looks at it.
  enum TEXT_TYPE : int32_t { TEXT_TYPE_UNSPECIFIED = 0 };

  COCRSupport();
  COCRSupport(const COCRSupport& other);
  COCRSupport& operator=(const COCRSupport& other);
  virtual ~COCRSupport();

  // Opens the OCR engine module and makes its configuration (from its option
  // file "Config.dat"), recogniser and image objects, stopping an engine
  // started before. E_FAIL, with nothing left open, when the module is
  // missing, lacks an entry or refuses a step.
  virtual HRESULT Initialize();
  // Adds an area, made of even width and height by dropping its last column
  // or row. Always S_OK.
  virtual HRESULT AddOCRArea(const CRect& area, TEXT_TYPE type);
  // Forgets the last frame, so that the next comparison starts afresh.
  virtual void ResetPreviousFrame();
  virtual void ClearAllOCRAreas();
  // True when, in one of the areas, `frame` differs from the frame of the
  // last call by more than `threshold` in some pixel. The frame becomes the
  // last frame, whatever the result; the first call after
  // ResetPreviousFrame finds no difference.
  virtual bool IsImageDifferent(const CYUVFrame& frame, int threshold);
  // Has the engine read the text of every area of `frame`. E_FAIL when there
  // are no areas, the engine is not initialised or refuses a picture.
  virtual HRESULT DoOCR(const CYUVFrame& frame);
  // The text an area's last DoOCR read, keeping only '-', digits and ASCII
  // letters; empty for an index outside the areas.
  virtual CString GetText(int areaIndex);

 private:
  std::shared_ptr<COCRSupportImpl> m_impl;
};
