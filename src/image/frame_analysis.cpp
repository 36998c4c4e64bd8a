// Measures that compare two pictures or scan one: scene statistics, PSNR and
// difference frames.
#include <cmath>
#include <cstdlib>

#include "image/image_support.h"

namespace {

// The scanners' loops test at their end, so each runs at least once even
// when its last bound lies below its first; bounds compare as unsigned.
template <bool kHistogram>
void Scan(const unsigned char* plane, unsigned step, int firstLine, int lastLine, int firstColumn, int lastColumn,
          unsigned& sum, unsigned& maximum, unsigned& minimum, unsigned& count, int64_t& sumOfSquares,
          unsigned* histogram) {
  unsigned total = 0, samples = 0, largest = 0, smallest = 255;
  unsigned line = static_cast<unsigned>(firstLine);
  do {
    const unsigned char* row = plane + static_cast<size_t>(line) * step;
    uint32_t lineSquares = 0;
    unsigned column = static_cast<unsigned>(firstColumn);
    do {
      const unsigned s = row[column];
      total += s;
      lineSquares += s * s;
      ++samples;
      if (s > largest) largest = s;
      if (s < smallest) smallest = s;
      if constexpr (kHistogram) ++histogram[s];
    } while (++column <= static_cast<unsigned>(lastColumn));
    sumOfSquares += lineSquares;
  } while (++line <= static_cast<unsigned>(lastLine));
  sum = total;
  maximum = largest;
  minimum = smallest;
  count = samples;
}

}  // namespace

void CImageSupport::SceneScannerWithoutHistogram(const unsigned char& plane, unsigned step, int firstLine,
                                                 int lastLine, int firstColumn, int lastColumn, unsigned& sum,
                                                 unsigned& maximum, unsigned& minimum, unsigned& count,
                                                 int64_t& sumOfSquares) {
  Scan<false>(&plane, step, firstLine, lastLine, firstColumn, lastColumn, sum, maximum, minimum, count, sumOfSquares,
              nullptr);
}

void CImageSupport::SceneScannerWithHistogram(unsigned char& plane, unsigned step, int firstLine, int lastLine,
                                              int firstColumn, int lastColumn, unsigned& sum, unsigned& maximum,
                                              unsigned& minimum, unsigned& count, int64_t& sumOfSquares,
                                              unsigned& histogram) {
  Scan<true>(&plane, step, firstLine, lastLine, firstColumn, lastColumn, sum, maximum, minimum, count, sumOfSquares,
             &histogram);
}

void CImageSupport::ComputePSNR(const CYUVFrame& a, const CYUVFrame& b, const CRect& area, double& psnr,
                                int& largestDifference) {
  largestDifference = 0;
  for (int line = area.top; line < area.bottom; ++line) {
    const uint8_t* rowA = a.y + static_cast<size_t>(line) * a.stride;
    const uint8_t* rowB = b.y + static_cast<size_t>(line) * b.stride;
    for (int column = area.left; column < area.right; ++column) {
      largestDifference = std::max(largestDifference, std::abs(rowA[column] - rowB[column]));
    }
  }
  // The sum of squares covers the whole picture; only the divisor and the
  // largest difference come from the area. Identical frames give +infinity.
  double norm = 0.0;
  PrimNormDiffL2(a.y, a.stride, b.y, b.stride, a.width, a.height, &norm);
  const double samples = static_cast<double>(area.Width()) * area.Height();
  psnr = 20.0 * std::log10(255.0) - 10.0 * std::log10(norm * norm / samples);
}

void CImageSupport::CreateDifferenceFrame2(const CYUVFrame& current, CYUVFrame& previous, CYUVFrame& difference,
                                           CYUVFrame& mask, const CRect& area, unsigned char threshold, int& count,
                                           unsigned char& maximum) {
  for (CYUVFrame* frame : {&previous, &difference, &mask}) {
    if (frame->width != current.width || frame->height != current.height) *frame = current;
  }
  int width = area.Width();
  int height = area.Height();
  if (width == 0 || height == 0) {
    width = current.width;
    height = current.height;
  }
  const size_t offset = static_cast<size_t>(area.top) * current.stride + area.left;
  // The caller's current picture is held to studio range in place: the
  // difference must not see super-black or super-white noise.
  uint8_t* currentLuma = current.y + offset;
  PrimThresholdLow(currentLuma, current.stride, width, height, 16);
  PrimThresholdHigh(currentLuma, current.stride, width, height, 235);
  uint8_t* differenceLuma = difference.y + offset;
  PrimAbsDiff(currentLuma, current.stride, previous.y + offset, previous.stride, differenceLuma, difference.stride,
              width, height);
  PrimCountInRange(differenceLuma, difference.stride, width, height, &count, threshold, 255);
  PrimMax(differenceLuma, difference.stride, width, height, &maximum);
  PrimCompareConst(differenceLuma, difference.stride, threshold, mask.y + offset, mask.stride, width, height, 3);
  PrimCopyPlane(mask.y + offset, mask.stride, differenceLuma, difference.stride, width, height);
  PrimSetPlane(128, difference.u, difference.chromaStride, difference.chromaStride, difference.chromaHeight);
  PrimSetPlane(128, difference.v, difference.chromaStride, difference.chromaStride, difference.chromaHeight);
}

void CImageSupport::CreateDifferenceFrame(const CYUVFrame& current, CYUVFrame& previous, CYUVFrame& difference,
                                          const CRect& area, unsigned char threshold, int& count,
                                          unsigned char& maximum) {
  CreateDifferenceFrame2(current, previous, difference, previous, area, threshold, count, maximum);
  previous = current;
}
