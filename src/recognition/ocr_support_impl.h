// The implementation behind COCRSupport: the frames of the comparison, the
// areas and the OCR engine's handles.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "core/frame.h"
#include "core/types.h"
#include "recognition/nsocr_binding.h"
#include "recognition/ocr_support.h"

// One area that the host has text read from.
struct COCRArea {
  CRect rectangle;  // even width and height
  COCRSupport::TEXT_TYPE type = COCRSupport::TEXT_TYPE_UNSPECIFIED;
  std::vector<uint8_t> pixels;  // packed RGB of the area, after DoOCR
  CString text;                 // what the engine read, or empty
};

// The state and work of one COCRSupport and its copies.
class COCRSupportImpl {
 public:
  COCRSupportImpl() = default;
  COCRSupportImpl(const COCRSupportImpl&) = delete;
  COCRSupportImpl& operator=(const COCRSupportImpl&) = delete;
  virtual ~COCRSupportImpl();

  HRESULT Initialize();
  // Releases the engine's objects and the module, if a binding exists.
  void ShutDown();
  HRESULT AddOCRArea(const CRect& area, COCRSupport::TEXT_TYPE type);
  void ResetPreviousFrame();
  void ClearAllOCRAreas();
  bool IsImageDifferent(const CYUVFrame& frame, int threshold);
  HRESULT DoOCR(const CYUVFrame& frame);
  CString GetText(int areaIndex) const;

  // The characters of `text` that are '-', digits or ASCII letters, in order.
  static CString KeepTextCharacters(const CString& text);

  CYUVFrame previousFrame;
  CYUVFrame differenceFrame;
  CYUVFrame maskFrame;
  bool engineStarted = false;
  std::unique_ptr<TNSOCR> binding;
  NSOCRHandle configuration = 0;
  NSOCRHandle recognition = 0;
  NSOCRHandle image = 0;
  std::vector<COCRArea> areas;

 private:
  // Recognises the picture loaded into the engine's image object and stores
  // its text in the area. False when an entry is missing or fails.
  bool ReadText(COCRArea& area);
};
