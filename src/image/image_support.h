// CImageSupport: the static picture operations of the library. Conversions
// between planar YCbCr frames and packed RGB, chroma formats and colour
// matrices; crop and resize; fades, field operations, comparisons and scene
// statistics; BMP and raw YUV dumps. The pixel arithmetic lies in the
// primitives; these operations choose the primitive, planes, steps and sizes.
//
// Results: S_OK, S_FALSE (1) for a chroma format an operation does not
// handle, E_FAIL for a refused request. Statuses of the primitives are dropped.
//
// Colour words are `unsigned long` with R in the lowest byte, then G, then B.
// Packed RGB buffers hold 3 bytes a pixel with a step of 3 * width.
#pragma once

#include <cstdint>

#include "core/frame.h"
#include "core/types.h"
#include "primitives/prim.h"

class CBitmap;

// Everything that CropResizeYUV needs for one stream, worked out once by
// CropResizeYUVInitialize. Offsets count lines in picture widths.
struct CCropResizeParams {
  int sourceWidth, sourceHeight;
  int sourceChromaWidth, sourceChromaHeight;
  int targetWidth, targetHeight;
  PlaneRect lumaSourceArea;
  PlaneRect chromaSourceArea;
  PlaneRect lumaTargetArea;
  PlaneRect chromaTargetArea;
  int fieldSourceWidth, fieldSourceHeight;
  PlaneRect fieldLumaTargetArea;
  PlaneRect fieldLumaSourceArea;
  int lumaSourceOffset;
  int lumaTopFieldOffset;
  int lumaBottomFieldOffset;
  int chromaSourceOffset;
  int chromaTopFieldOffset;
  int chromaBottomFieldOffset;
  int lumaTargetTopFieldOffset;
  int lumaTargetBottomFieldOffset;
  PlaneRect fieldChromaSourceArea;
  PlaneRect fieldChromaTargetArea;
  int chromaTargetTopFieldOffset;
  int chromaTargetBottomFieldOffset;
  int fieldChromaSourceWidth, fieldChromaSourceHeight;
  int lumaTargetOffset;
  int chromaTargetOffset;
  CRect sourceArea;
  CRect targetMargins;
  bool fillBackground;
  bool copyWhole;
  bool copyArea;
  bool keepTopLines;
  double xFactor, yFactor;
  int lumaTargetSize;
  int chromaTargetSize;
  int interpolation;  // 4 cubic, 8 supersampling
  unsigned long fillColour;
  uint8_t fillY, fillU, fillV;
  CHROMA chroma;
  int scratchSize;
  uint8_t* scratch[3];  // one buffer a plane, from PrimMalloc
};

class CImageSupport {
 public:
  enum RESIZE_QUALITY { RESIZE_QUALITY_STANDARD = 0, RESIZE_QUALITY_SUPERSAMPLE = 1 };
  enum FADE_TYPE { FADE_TO_BLACK = 1, FADE_FROM_BLACK = 2 };
  enum FLIP_TYPE { FLIP_HORIZONTAL = 1, FLIP_VERTICAL = 2, FLIP_BOTH = 3 };
  enum INVERT_BLACK_WHITE { INVERT_BLACK_WHITE_OFF = 0, INVERT_BLACK_WHITE_ON = 1 };
  enum COLOR_SPACE_CONVERT { COLOR_SPACE_BT709_TO_BT601 = 0 };

  // --- Colour and format conversion -------------------------------------

  // One BT.601 studio-range pixel as a colour word.
  static unsigned long RGBFromYCbCr(unsigned char y, unsigned char cb, unsigned char cr);
  // A colour word as Y (held within 16..235), Cb, Cr in out[0..2]. Returns 0.
  static int YCbCrFromRGB(unsigned long colour, unsigned char* const out);
  // 4:2:2 planes to tight 4:2:0 planes, dropping the odd chroma lines.
  static HRESULT Convert422To420(unsigned char* const* dst, const unsigned char* const* src, int width, int height,
                                 const unsigned* const steps, bool);
  // The whole frame, or its part inside `area`, as RGB; 1 for 4:4:4.
  static HRESULT ConvertYUVFrame_to_RGBBuffer(unsigned char* rgb, const CYUVFrame& frame);
  static HRESULT ConvertYUVFrame_to_RGBBuffer(unsigned char* rgb, const CYUVFrame& frame, const CRect& area);
  static HRESULT ConvertYUV420Frame_to_RGBBuffer(unsigned char* rgb, const unsigned char* const* planes, int* steps,
                                                 int rgbStep, CSize size);
  static HRESULT ConvertYUV422Frame_to_RGBBuffer(unsigned char* rgb, const unsigned char* const* planes, int* steps,
                                                 int rgbStep, CSize size);
  // A bottom-up RGB buffer into a 4:2:0 frame of analog YUV (black has luma 0).
  static HRESULT ConvertRGBBuffer2YUV420Frame(unsigned char* rgb, CYUVFrame& frame, int width, int height);
  // A packed DIB in a movable memory handle into a frame of `chroma`.
  static HRESULT ConvertRGB_dib_bitmap_to_YUV(void* dib, CYUVFrame& frame, CHROMA chroma);
  // An RGB buffer into a frame that already has its geometry; 1 for 4:4:4.
  static HRESULT ConvertRGBBuffer_to_YUVFrame(const unsigned char* rgb, CYUVFrame& frame);
  // Between chroma formats at the same size; E_FAIL for pairs it cannot convert.
  static HRESULT ConvertChroma(CYUVFrame* source, CYUVFrame* target, int chroma);
  // BT.709 studio-range YCbCr to BT.601, per pixel in single precision.
  static HRESULT ConvertColorSpace(COLOR_SPACE_CONVERT kind, const CYUVFrame& source, CYUVFrame& target);
  // Copies the header fields of a frame, no pixels and no geometry.
  static void CopyFrameHeader(const CYUVFrame& source, CYUVFrame& target);

  // --- Crop and resize ----------------------------------------------------

  static HRESULT CropResizeYUVInitialize(CCropResizeParams** params, const CSize& sourceSize,
                                         const CSize& targetSize, const CRect& sourceArea,
                                         const CRect& targetMargins, unsigned long fillColour, CHROMA chroma,
                                         int keepTopLines, RESIZE_QUALITY quality);
  static HRESULT CropResizeYUV(CYUVFrame& target, const CYUVFrame& source, const CCropResizeParams& params);
  static HRESULT CropResizeYUVReleaseParamBlock(CCropResizeParams* params);
  static HRESULT CropResizeGetXYFactor(const CCropResizeParams& params, double& x, double& y);
  static HRESULT CropResizeGetXYFactor(const CSize& sourceSize, const CSize& targetSize, const CRect& sourceArea,
                                       const CRect& targetMargins, double& x, double& y);
  // Scales a frame to the target's size and format, cubic, frame-wise.
  static HRESULT ResizeYUV(CYUVFrame& target, const CYUVFrame& source);
  // A 4:2:0 picture at a quarter of its size by a 4x4 box.
  static HRESULT ReduceYUVFrameSizeBy4(CYUVFrame& target, const CYUVFrame& source);
  static HRESULT CopyImagePlane(unsigned char* target, const unsigned char* source, int width, int height,
                                int sourceStep, int targetStep);
  // Kept for the host's interface; does nothing.
  HRESULT HDToSDDownconvert(const CSize&, const CSize&, const CRect&, const unsigned long&, CHROMA);

  // --- Frame effects and analysis ----------------------------------------

  // Fills `count` frames with a fade of `source` to or from black through RGB.
  static HRESULT FadeToFromBlack(CYUVFrame* frames, const CYUVFrame& source, int count, FADE_TYPE type);
  // Doubles one field of the luma over the other.
  static HRESULT DeinterlaceFrameUsingBOB(CYUVFrame& frame, bool keepTopField);
  // Weaves two frames' luma into one and averages their chroma.
  static HRESULT MergeFields(CYUVFrame& target, bool firstOnTop, const CYUVFrame& first, const CYUVFrame& second);
  static HRESULT CreateFieldTestPattern(CYUVFrame* frame);
  static HRESULT SwapFields(CYUVFrame* frame);
  // Sum, extremes, count and (added to the caller's value) sum of squares of
  // an inclusive rectangle of one plane.
  static void SceneScannerWithoutHistogram(const unsigned char& plane, unsigned step, int firstLine, int lastLine,
                                           int firstColumn, int lastColumn, unsigned& sum, unsigned& maximum,
                                           unsigned& minimum, unsigned& count, int64_t& sumOfSquares);
  // The same, counting each byte into the 256 counters of `histogram`.
  static void SceneScannerWithHistogram(unsigned char& plane, unsigned step, int firstLine, int lastLine,
                                        int firstColumn, int lastColumn, unsigned& sum, unsigned& maximum,
                                        unsigned& minimum, unsigned& count, int64_t& sumOfSquares,
                                        unsigned& histogram);
  // Luma PSNR (peak 255) and the largest difference inside `area`.
  static void ComputePSNR(const CYUVFrame& a, const CYUVFrame& b, const CRect& area, double& psnr,
                          int& largestDifference);
  static HRESULT BuildSolidColorYUVFrame(CYUVFrame& frame, unsigned long colour, CHROMA chroma, int width,
                                         int height);
  static HRESULT FillRGBBufferWithSolidColor(unsigned char* rgb, unsigned long colour, int width, int height);
  // Marks with 255 the luma samples of `area` that changed by `threshold` or more.
  static void CreateDifferenceFrame(const CYUVFrame& current, CYUVFrame& previous, CYUVFrame& difference,
                                    const CRect& area, unsigned char threshold, int& count, unsigned char& maximum);
  static void CreateDifferenceFrame2(const CYUVFrame& current, CYUVFrame& previous, CYUVFrame& difference,
                                     CYUVFrame& mask, const CRect& area, unsigned char threshold, int& count,
                                     unsigned char& maximum);
  // Lays `overlay` with `alpha` over `under` at (line, column) into `target`.
  static HRESULT MergeRGBBitmapsWithAlpha(unsigned char* target, const unsigned char* under, int width, int height,
                                          int line, int column, const unsigned char* overlay, int overlayWidth,
                                          int overlayHeight, int alpha);
  static HRESULT FlipRGBBuffer(unsigned char* rgb, int width, int height, FLIP_TYPE type);
  static HRESULT FlipYUVFrame(CYUVFrame& frame, FLIP_TYPE type);
  static void ConvertFrametoBlackWhite(const CYUVFrame& source, CYUVFrame& target, unsigned char threshold,
                                       INVERT_BLACK_WHITE invert);

  // --- Frame dumps and bitmaps ----------------------------------------------

  // A device-dependent bitmap as a packed DIB in a movable memory handle, or
  // null (the failure is logged).
  static void* DDBToDIB(CBitmap* bitmap);
  // Writes a packed DIB as a BMP file: 1 written, 0 not.
  static int WriteDIB(const char* path, void* dib);
  // Fills `bitmap` with a frame, line by line. Always false: success shows in the bitmap.
  static bool ConvertYUV2RGB(CBitmap* bitmap, int width, int height, const int* const steps, const unsigned char* y,
                             const unsigned char* v, const unsigned char* u, bool repeatLines, int lumaOffset,
                             CHROMA chroma);
  static bool ConvertYUV2RGB(CBitmap* bitmap, const CYUVFrame* frame, bool repeatLines, int lumaOffset);
  // Raw planes into `<base>.YUV` with the header text in `<base>.YUV.header`;
  // `name` with a "%" format numbers one file a frame.
  static void WriteYUVFrames(const char* name, CYUVFrame* frames, int count, int firstNumber);
};
