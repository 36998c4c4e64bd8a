// Resize primitives: one byte plane scaled by real factors with sub-pixel
// placement, through the dispatch frame.
//
// Geometry: a source column x lands on the destination column
// x * xFactor + xShift (rows likewise). Only the destination pixels that the
// clipped source rectangle maps onto, inside the destination rectangle, are
// written; every other byte stays as it was. Pointers address column 0, row 0
// of their planes, and both rectangles are in those planes' coordinates.
#pragma once

#include <cstdint>

// A rectangle of a plane: origin column and row, and its size in pixels.
struct PlaneRect {
  int32_t x;
  int32_t y;
  int32_t width;
  int32_t height;
};

// Interpolation codes, in the low 29 bits of the interpolation word; the top
// three bits are option flags, of which at most one may be set.
inline constexpr int PrimInterNearest = 1;
inline constexpr int PrimInterLinear = 2;
inline constexpr int PrimInterCubic = 4;            // four-point interpolating cubic
inline constexpr int PrimInterCubicBSpline = 5;     // two-parameter cubic, B = 1, C = 0
inline constexpr int PrimInterCatmullRom = 6;       // two-parameter cubic, B = 0, C = 0.5
inline constexpr int PrimInterCubicB05C03 = 7;      // two-parameter cubic, B = 0.5, C = 0.3
inline constexpr int PrimInterSuper = 8;            // supersampling: mean of the covered area
inline constexpr int PrimInterLanczos = 16;         // Lanczos, six taps

// Writes to *size the bytes of work buffer that PrimResizePlane needs for these
// rectangles and this code. The size also serves any smaller rectangles with
// the same code, so the chroma planes of a frame may share the luma buffer.
// Status: -8 size null; -6 an origin negative or a size not positive;
// -53 channels not 1, 3 or 4; -22 an unknown code or more than one flag bit.
int PrimResizeGetBufferSize(PlaneRect srcRect, PlaneRect dstRect, int channels, int interpolation,
                            int32_t* size);

// Scales the part of the source plane inside srcRect into the destination
// plane, writing only inside dstRect. `buffer` is a work buffer of the size
// PrimResizeGetBufferSize gave for the same rectangles and code.
// Status, in the order tested: -8 a pointer null; -6 a size not positive or
// an origin negative; -23 a factor not positive; -22 an unknown code or more
// than one flag bit; -23 supersampling with a factor above 1; 29 srcRect
// starts at or beyond the source's right or bottom edge; 1 no destination
// pixel results (29 and 1 write nothing); otherwise 0.
// Sources narrower or lower than 6 pixels take cubic for Lanczos, and below 4
// pixels bilinear for the cubic codes.
int PrimResizePlane(const uint8_t* src, int srcWidth, int srcHeight, int srcStep, PlaneRect srcRect,
                    uint8_t* dst, int dstStep, PlaneRect dstRect, double xFactor, double yFactor, double xShift,
                    double yShift, int interpolation, uint8_t* buffer);
