// A hot spot: a stored reference picture with the areas in which a frame is
// compared with it, and for each such check area the area where text is read
// once the host has recognised the screen. The host fills the members
// directly or loads them from a hot spot file.
#pragma once

#include <vector>

#include "core/frame.h"
#include "core/types.h"

// A reference picture with its check areas and OCR areas (see above).
class CImageHotSpot {
 public:
  CImageHotSpot() = default;
  CImageHotSpot(const CImageHotSpot&) = default;
  CImageHotSpot& operator=(const CImageHotSpot&) = default;
  virtual ~CImageHotSpot() = default;

  // Reads a hot spot file. False when the file can't be read, is not XML or
  // has no root "hot_spot": nothing has changed then. False also when it has
  // no usable "yuv_frame" (missing, or a size or chroma format out of range):
  // the areas have been replaced then, the reference picture has not.
  virtual bool LoadHotSpotDataFromFile(const CString& path);
  // Writes the hot spot file, the planes with their padding. Always true: a
  // failed write is not reported.
  virtual bool SaveHotSpotDataToFile(const CString& path);

  // Compares the luma of `frame` with the reference inside check area
  // `areaIndex`: `count` pixels differ by `threshold` or more, the largest
  // difference is `maxDifference`, and `difference` shows the differing
  // pixels as 255, the others as 0. Gives count divided by the area's size.
  // The frame's luma inside the area is held within 16 to 235 first, in
  // place; a frame of another size than the reference replaces it.
  float CountDiff(int areaIndex, const CYUVFrame& frame, CYUVFrame& difference, int threshold, int& count,
                  unsigned char& maxDifference);

  CYUVFrame m_referenceFrame;
  std::vector<CRect> m_checkAreas;
  std::vector<CRect> m_ocrAreas;  // at the index of their check area
  CYUVFrame m_differenceFrame;    // work frame of the comparison
};
