// Plane and colour primitives: 8-bit conversions between packed RGB and
// planar YCbCr or YUV, chroma resampling, plane copy, fill, mirror,
// arithmetic, comparison and statistics. None keeps state, none allocates.
//
// An image operand is a pointer to its first byte and a step, the distance in
// bytes from one row to the next. Packed operands hold 3 bytes a pixel in the
// order the primitive's name gives. Planar operands are arrays of three plane
// pointers (Y, then Cb or U, then Cr or V) with three steps, or one step for
// all planes where the signature has a single `dstStep`. Sizes are the luma
// grid's width and height in pixels. 4:2:2 chroma has half the columns, 4:2:0
// half the columns and half the rows.
//
// Statuses: PrimStsNullPtrErr for a null pointer, PrimStsSizeErr for a size
// below the minimum, PrimStsOddSize when a subsampled format got an odd size
// and only the even part was processed; further codes where noted.
#pragma once

#include <cstdint>

// Comparison codes of PrimCompareConst: the source byte against the value.
enum PrimCompareOp : int {
  PrimCmpLess = 0,
  PrimCmpLessEq = 1,
  PrimCmpEq = 2,
  PrimCmpGreaterEq = 3,
  PrimCmpGreater = 4,
};

// Axes of the mirror primitives.
enum PrimMirrorAxis : int {
  PrimMirrorRowOrder = 0,    // the last row comes first
  PrimMirrorPixelOrder = 1,  // each row runs from its last pixel
  PrimMirrorBoth = 2,
};

// Composition types of PrimAlphaCompRGB, after Porter and Duff. The first six
// weight each source by its alpha; the premultiplied six take the sources as
// already weighted.
enum PrimAlphaType : int {
  PrimAlphaOver = 0,
  PrimAlphaIn = 1,
  PrimAlphaOut = 2,
  PrimAlphaATop = 3,
  PrimAlphaXor = 4,
  PrimAlphaPlus = 5,
  PrimAlphaOverPremul = 6,
  PrimAlphaInPremul = 7,
  PrimAlphaOutPremul = 8,
  PrimAlphaATopPremul = 9,
  PrimAlphaXorPremul = 10,
  PrimAlphaPlusPremul = 11,
};

// --- Colour conversions (BT.601 studio range unless noted) ---

// Packed Y, Cb, Cr to packed R, G, B. Minimum 1 by 1.
int PrimYCbCrToRGB(const uint8_t* src, int srcStep, uint8_t* dst, int dstStep, int width, int height);
// Packed R, G, B to three full-size planes sharing dstStep. Minimum 1 by 1.
int PrimRGBToYCbCrPlanar(const uint8_t* src, int srcStep, uint8_t* const dst[3], int dstStep, int width, int height);
// Planar 4:2:0 to packed R, G, B. Minimum 1 by 1; odd sizes give
// PrimStsOddSize after the even part.
int PrimYCbCr420ToRGB(const uint8_t* const src[3], const int srcStep[3], uint8_t* dst, int dstStep, int width,
                      int height);
// Planar 4:2:2 to packed R, G, B. Minimum 1 by 1; an odd last pixel takes the
// chroma sample of its pair.
int PrimYCbCr422ToRGB(const uint8_t* const src[3], const int srcStep[3], uint8_t* dst, int dstStep, int width,
                      int height);
// Planar 4:2:2 to packed B, G, R. Minimum 2 by 1.
int PrimYCbCr422ToBGR(const uint8_t* const src[3], const int srcStep[3], uint8_t* dst, int dstStep, int width,
                      int height);
// Packed R, G, B to planar 4:2:0 analog YUV (luma 0 to 255). Minimum 1 by 1;
// odd sizes give PrimStsOddSize after the even part.
int PrimRGBToYUV420(const uint8_t* src, int srcStep, uint8_t* const dst[3], const int dstStep[3], int width,
                    int height);
// Packed B, G, R to planar 4:2:0. Minimum 2 by 2; odd sizes give
// PrimStsOddSize after the even part.
int PrimBGRToYCbCr420(const uint8_t* src, int srcStep, uint8_t* const dst[3], const int dstStep[3], int width,
                      int height);
// Packed B, G, R to planar 4:2:2. Minimum 2 by 1; an odd last column is left.
int PrimBGRToYCbCr422(const uint8_t* src, int srcStep, uint8_t* const dst[3], const int dstStep[3], int width,
                      int height);
// Packed R, G, B to planar 4:2:0. Minimum 1 by 1; odd sizes give
// PrimStsOddSize after the even part.
int PrimRGBToYCbCr420(const uint8_t* src, int srcStep, uint8_t* const dst[3], const int dstStep[3], int width,
                      int height);
// Packed R, G, B to planar 4:2:2. Minimum 2 by 1; an odd width gives
// PrimStsOddSize after the even part.
int PrimRGBToYCbCr422(const uint8_t* src, int srcStep, uint8_t* const dst[3], const int dstStep[3], int width,
                      int height);
// Packed R, G, B to three full-size planes of analog YUV sharing dstStep.
// Minimum 1 by 1.
int PrimRGBToYUVPlanar(const uint8_t* src, int srcStep, uint8_t* const dst[3], int dstStep, int width, int height);

// --- Chroma resampling: Y is copied, chroma rows are dropped, doubled or
// filtered. Minimum 2 by 2 (2 by 4 interlaced). ---

// Keeps every even chroma row. Odd parts of the size are dropped.
int PrimYCbCr422To420(const uint8_t* const src[3], const int srcStep[3], uint8_t* const dst[3], const int dstStep[3],
                      int width, int height);
// Writes each chroma row twice. Odd parts of the size are dropped.
int PrimYCbCr420To422(const uint8_t* const src[3], const int srcStep[3], uint8_t* const dst[3], const int dstStep[3],
                      int width, int height);
// Upsamples the chroma of each field within itself. An odd width or a height
// that is not a multiple of 4 gives PrimStsOddSize after the part that is.
int PrimYCbCr420To422Interlaced(const uint8_t* const src[3], const int srcStep[3], uint8_t* const dst[3],
                                const int dstStep[3], int width, int height);

// --- Plane operations on bytes; widths of packed RGB operands count pixels.
// Minimum 1 by 1. ---

int PrimCopyPlane(const uint8_t* src, int srcStep, uint8_t* dst, int dstStep, int width, int height);
int PrimSetPlane(uint8_t value, uint8_t* dst, int dstStep, int width, int height);
// Fills with the 3 bytes of `value`, pixel after pixel, in their order.
int PrimSetRGB(const uint8_t value[3], uint8_t* dst, int dstStep, int width, int height);
// |src1 - src2|. A step below the width gives PrimStsStepErr.
int PrimAbsDiff(const uint8_t* src1, int src1Step, const uint8_t* src2, int src2Step, uint8_t* dst, int dstStep,
                int width, int height);
// (src1 + src2) shifted right by `scale` with halves rounded to even; a
// negative scale shifts left and saturates; a scale above 9 gives zeros.
int PrimAddScaled(const uint8_t* src1, int src1Step, const uint8_t* src2, int src2Step, uint8_t* dst, int dstStep,
                  int width, int height, int scale);
// Each byte of each pixel times `value`, scaled by 255.
int PrimMulScaleRGB(const uint8_t* src, int srcStep, uint8_t value, uint8_t* dst, int dstStep, int width, int height);
// In place: a byte below `value` becomes `value`.
int PrimThresholdLow(uint8_t* srcDst, int step, int width, int height, uint8_t value);
// In place: a byte above `value` becomes `value`.
int PrimThresholdHigh(uint8_t* srcDst, int step, int width, int height, uint8_t value);
// 255 where `src op value` holds, else 0. A step below 1 gives PrimStsStepErr;
// an op that is no PrimCompareOp leaves dst untouched.
int PrimCompareConst(const uint8_t* src, int srcStep, uint8_t value, uint8_t* dst, int dstStep, int width, int height,
                     int op);
// Composes two RGB images with constant alphas (PrimAlphaType); a type that
// is none of those leaves dst untouched.
int PrimAlphaCompRGB(const uint8_t* src1, int src1Step, uint8_t alpha1, const uint8_t* src2, int src2Step,
                     uint8_t alpha2, uint8_t* dst, int dstStep, int width, int height, int type);
// Mirrored copy of 3-byte pixels. An axis that is no PrimMirrorAxis gives
// PrimStsMirrorAxisErr; reversing needs 2 rows or 2 pixels, else PrimStsSizeErr.
int PrimMirrorCopyRGB(const uint8_t* src, int srcStep, uint8_t* dst, int dstStep, int width, int height, int axis);
// PrimMirrorCopyRGB in place.
int PrimMirrorRGB(uint8_t* srcDst, int step, int width, int height, int axis);
// In place, on bytes.
int PrimMirrorPlane(uint8_t* srcDst, int step, int width, int height, int axis);

// --- Statistics ---

// The number of bytes b with lower <= b <= upper. A step below 1 gives
// PrimStsStepErr, lower above upper PrimStsRangeErr.
int PrimCountInRange(const uint8_t* src, int step, int width, int height, int* count, uint8_t lower, uint8_t upper);
// The largest byte.
int PrimMax(const uint8_t* src, int step, int width, int height, uint8_t* max);
// The square root of the sum of squared differences of all bytes.
int PrimNormDiffL2(const uint8_t* src1, int src1Step, const uint8_t* src2, int src2Step, int width, int height,
                   double* norm);
