// Status results of the primitives: zero is success, a negative value an
// error (the primitive did nothing), a positive value a warning (the work was
// done).
#pragma once

inline constexpr int PrimStsNoErr = 0;
inline constexpr int PrimStsSizeErr = -6;              // a size, length or order below the minimum
inline constexpr int PrimStsRangeErr = -7;             // a lower bound above the upper bound
inline constexpr int PrimStsNullPtrErr = -8;           // a required pointer is null
inline constexpr int PrimStsMemAllocErr = -9;          // a work buffer could not be allocated
inline constexpr int PrimStsStepErr = -14;             // a row step below the row's width in bytes
inline constexpr int PrimStsFftOrderErr = -15;         // a transform order out of range
inline constexpr int PrimStsFftFlagErr = -16;          // an unknown transform flag
inline constexpr int PrimStsContextMatchErr = -17;     // a transform set-up without its type tag
inline constexpr int PrimStsMirrorAxisErr = -21;       // mirror axis not 0, 1 or 2
inline constexpr int PrimStsInterpolationErr = -22;    // unknown interpolation code
inline constexpr int PrimStsResizeFactorErr = -23;     // resize factor not positive or too large
inline constexpr int PrimStsChannelCountErr = -53;     // channel count not 1, 3 or 4
inline constexpr int PrimStsNoDestination = 1;         // resize: no destination pixel results
inline constexpr int PrimStsNotIntelCpu = 20;          // start-up: vendor is not "GenuineIntel"
inline constexpr int PrimStsNoSourceOverlap = 29;      // resize: source rectangle outside the source
inline constexpr int PrimStsOddSize = 35;              // odd size for a subsampled format; even part done
inline constexpr int PrimStsCpuMismatch = 36;          // start-up: no SSE2, or features unreadable
inline constexpr int PrimStsCacheUnknown = 37;         // cache size query: not told
inline constexpr int PrimStsAntiAliasIgnored = 46;     // resize: interpolation has no anti-aliasing
