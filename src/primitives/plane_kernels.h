// The plane and colour primitives split in two: each primitive checks its
// arguments and walks the rows once, here, and calls a row (or plane) kernel
// that a slot supplies. The portable kernels live beside their primitives; the
// faster ones in the files named after their instruction set. The signatures
// below are shared by the portable functions, every faster variant and the
// dispatch tables. Internal to the primitives.
#pragma once

#include <cstdint>

// --- Signatures of the primitives, as the tables hold them ---

using PackedToPackedFn = int(const uint8_t*, int, uint8_t*, int, int, int);
using PackedToPlanarFn = int(const uint8_t*, int, uint8_t* const[3], int, int, int);
using PlanarToPackedFn = int(const uint8_t* const[3], const int[3], uint8_t*, int, int, int);
using PackedToSubsampledFn = int(const uint8_t*, int, uint8_t* const[3], const int[3], int, int);
using ResampleFn = int(const uint8_t* const[3], const int[3], uint8_t* const[3], const int[3], int, int);
using CopyPlaneFn = int(const uint8_t*, int, uint8_t*, int, int, int);
using SetPlaneFn = int(uint8_t, uint8_t*, int, int, int);
using AbsDiffFn = int(const uint8_t*, int, const uint8_t*, int, uint8_t*, int, int, int);
using AddScaledFn = int(const uint8_t*, int, const uint8_t*, int, uint8_t*, int, int, int, int);
using MulScaleRGBFn = int(const uint8_t*, int, uint8_t, uint8_t*, int, int, int);
using ThresholdFn = int(uint8_t*, int, int, int, uint8_t);
using CompareConstFn = int(const uint8_t*, int, uint8_t, uint8_t*, int, int, int, int);
using CountInRangeFn = int(const uint8_t*, int, int, int, int*, uint8_t, uint8_t);
using MaxFn = int(const uint8_t*, int, int, int, uint8_t*);

namespace prim_plane {

// --- Row kernels: one row of `width` pixels (bytes for the byte planes) ---

using CopyRowFn = void(const uint8_t* src, uint8_t* dst, int bytes);
using SetRowFn = void(uint8_t value, uint8_t* dst, int bytes);
using AbsDiffRowFn = void(const uint8_t* a, const uint8_t* b, uint8_t* out, int width);
using AddScaledRowFn = void(const uint8_t* a, const uint8_t* b, uint8_t* out, int width, int scale);
using MulScaleRowFn = void(const uint8_t* in, uint8_t* out, int bytes, uint8_t value);
using ThresholdRowFn = void(uint8_t* p, int width, uint8_t value);
// `op` is a PrimCompareOp.
using CompareRowFn = void(const uint8_t* in, uint8_t* out, int width, uint8_t value, int op);
using CountRowFn = int(const uint8_t* p, int width, uint8_t lower, uint8_t upper);
using MaxRowFn = uint8_t(const uint8_t* p, int width);
// (wa * a + wb * b + 4) >> 3 with wa + wb = 8.
using BlendRowFn = void(const uint8_t* a, int wa, const uint8_t* b, int wb, uint8_t* out, int width);

// The library's own copy and fill of a row (the C library's, which picks its
// own moves); the faster slots use them too below the size where a copy
// streams past the cache.
CopyRowFn CopyRow;
SetRowFn SetRow;

// Packed 3-byte pixels to packed 3-byte pixels.
using PackedRowFn = void(const uint8_t* in, uint8_t* out, int width);
// Planar Y, Cb, Cr to packed pixels; an odd last pixel takes the chroma of its pair.
using PlanarToPackedRowFn = void(const uint8_t* y, const uint8_t* cb, const uint8_t* cr, uint8_t* out, int width);
// Two luma rows that share one chroma row to two packed rows.
using PlanarRowPairToPackedFn = void(const uint8_t* yTop, const uint8_t* yBottom, const uint8_t* cb, const uint8_t* cr,
                                     uint8_t* top, uint8_t* bottom, int width);
// A whole planar picture to packed pixels (the portable one shares its chroma
// work between the rows of a chroma row).
using PlanarToPackedPlaneFn = void(const uint8_t* const src[3], const int srcStep[3], uint8_t* dst, int dstStep,
                                   int width, int height);
// Packed pixels to three planes; `width` is even for the subsampled ones.
using PackedToPlanesRowFn = void(const uint8_t* in, uint8_t* y, uint8_t* cb, uint8_t* cr, int width);
// Two packed rows to two luma rows and one row of each chroma; `width` is even.
using RowPairTo420Fn = void(const uint8_t* top, const uint8_t* bottom, uint8_t* yTop, uint8_t* yBottom, uint8_t* cb,
                            uint8_t* cr, int width);

// Runs a planar-to-packed row kernel over a picture whose chroma rows each
// serve 1 << chromaRowShift luma rows.
void ConvertPlanarRows(PlanarToPackedRowFn* row, int chromaRowShift, const uint8_t* const src[3], const int srcStep[3],
                       uint8_t* dst, int dstStep, int width, int height);

// Runs a row-pair kernel over a 4:2:0 picture of even height.
void ConvertPlanarRowPairs(PlanarRowPairToPackedFn* rows, const uint8_t* const src[3], const int srcStep[3],
                           uint8_t* dst, int dstStep, int width, int height);

// --- The primitives over their kernels (checks, row walk and status) ---

int CopyPlane(CopyRowFn* row, const uint8_t* src, int srcStep, uint8_t* dst, int dstStep, int width, int height);
int SetPlane(SetRowFn* row, uint8_t value, uint8_t* dst, int dstStep, int width, int height);
int AbsDiff(AbsDiffRowFn* row, const uint8_t* src1, int src1Step, const uint8_t* src2, int src2Step, uint8_t* dst,
            int dstStep, int width, int height);
int AddScaled(AddScaledRowFn* row, const uint8_t* src1, int src1Step, const uint8_t* src2, int src2Step, uint8_t* dst,
              int dstStep, int width, int height, int scale);
int MulScaleRGB(MulScaleRowFn* row, const uint8_t* src, int srcStep, uint8_t value, uint8_t* dst, int dstStep,
                int width, int height);
int Threshold(ThresholdRowFn* row, uint8_t* srcDst, int step, int width, int height, uint8_t value);
int CompareConst(CompareRowFn* row, const uint8_t* src, int srcStep, uint8_t value, uint8_t* dst, int dstStep,
                 int width, int height, int op);
int CountInRange(CountRowFn* row, const uint8_t* src, int step, int width, int height, int* count, uint8_t lower,
                 uint8_t upper);
int Max(MaxRowFn* row, const uint8_t* src, int step, int width, int height, uint8_t* max);
int YCbCr420To422Interlaced(BlendRowFn* blend, const uint8_t* const src[3], const int srcStep[3], uint8_t* const dst[3],
                            const int dstStep[3], int width, int height);

int YCbCrToRGB(PackedRowFn* row, const uint8_t* src, int srcStep, uint8_t* dst, int dstStep, int width, int height);
int RGBToYCbCrPlanar(PackedToPlanesRowFn* row, const uint8_t* src, int srcStep, uint8_t* const dst[3], int dstStep,
                     int width, int height);
int YCbCr420ToRGB(PlanarToPackedPlaneFn* convert, const uint8_t* const src[3], const int srcStep[3], uint8_t* dst,
                  int dstStep, int width, int height);
int YCbCr422ToRGB(PlanarToPackedPlaneFn* convert, const uint8_t* const src[3], const int srcStep[3], uint8_t* dst,
                  int dstStep, int width, int height);
int YCbCr422ToBGR(PlanarToPackedPlaneFn* convert, const uint8_t* const src[3], const int srcStep[3], uint8_t* dst,
                  int dstStep, int width, int height);
int RGBToYUV420(RowPairTo420Fn* row, const uint8_t* src, int srcStep, uint8_t* const dst[3], const int dstStep[3],
                int width, int height);
int BGRToYCbCr420(RowPairTo420Fn* row, const uint8_t* src, int srcStep, uint8_t* const dst[3], const int dstStep[3],
                  int width, int height);
int BGRToYCbCr422(PackedToPlanesRowFn* row, const uint8_t* src, int srcStep, uint8_t* const dst[3],
                  const int dstStep[3], int width, int height);
int RGBToYCbCr420(RowPairTo420Fn* row, const uint8_t* src, int srcStep, uint8_t* const dst[3], const int dstStep[3],
                  int width, int height);
int RGBToYCbCr422(PackedToPlanesRowFn* row, const uint8_t* src, int srcStep, uint8_t* const dst[3],
                  const int dstStep[3], int width, int height);
int RGBToYUVPlanar(PackedToPlanesRowFn* row, const uint8_t* src, int srcStep, uint8_t* const dst[3], int dstStep,
                   int width, int height);

}  // namespace prim_plane

// --- The variants of the slots above the portable one ---

#define PRIM_PLANE_DECLARE_VARIANTS(isa)       \
  PackedToPackedFn ycbcr_to_rgb_##isa;         \
  PackedToPlanarFn rgb_to_ycbcr_planar_##isa;  \
  PlanarToPackedFn ycbcr420_to_rgb_##isa;      \
  PlanarToPackedFn ycbcr422_to_rgb_##isa;      \
  PlanarToPackedFn ycbcr422_to_bgr_##isa;      \
  PackedToSubsampledFn rgb_to_yuv420_##isa;    \
  PackedToSubsampledFn bgr_to_ycbcr420_##isa;  \
  PackedToSubsampledFn bgr_to_ycbcr422_##isa;  \
  PackedToSubsampledFn rgb_to_ycbcr420_##isa;  \
  PackedToSubsampledFn rgb_to_ycbcr422_##isa;  \
  PackedToPlanarFn rgb_to_yuv_planar_##isa;    \
  ResampleFn ycbcr420_to_422_interlaced_##isa; \
  CopyPlaneFn copy_plane_##isa;                \
  AbsDiffFn abs_diff_##isa;                    \
  AddScaledFn add_scaled_##isa;                \
  MulScaleRGBFn mul_scale_rgb_##isa;           \
  ThresholdFn threshold_low_##isa;             \
  ThresholdFn threshold_high_##isa;            \
  CompareConstFn compare_const_##isa;          \
  CountInRangeFn count_in_range_##isa;         \
  MaxFn max_##isa;

PRIM_PLANE_DECLARE_VARIANTS(sse41)
PRIM_PLANE_DECLARE_VARIANTS(avx)

#undef PRIM_PLANE_DECLARE_VARIANTS
