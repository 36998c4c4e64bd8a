// Signal primitives: byte swaps of 16-bit words, the real FFT on doubles with
// its packed spectrum, and the 8 by 8 inverse DCT, through the dispatch frame.
#pragma once

#include <cstdint>

// Swaps the two bytes of each of `length` words in place. -8 null, -6 length below 1.
int PrimSwapBytes16InPlace(uint16_t* vector, int length);
// Writes each word of `src` with its bytes swapped to `dst`. -8 null, -6 length below 1.
int PrimSwapBytes16(const uint16_t* src, uint16_t* dst, int length);

// A real FFT of length N = 2^order, made by PrimFFTInitAlloc and read-only
// afterwards, so one object may serve several transforms at once as long as
// each has its own buffers. Its first 32-bit word is the type tag 9 while the
// object is valid; a transform refuses an object without it (-17).
struct PrimFFTSpec;

// Scaling flags of PrimFFTInitAlloc.
inline constexpr int PrimFFTDivForwardByN = 1;  // forward 1/N, inverse 1
inline constexpr int PrimFFTDivInverseByN = 2;  // forward 1, inverse 1/N
inline constexpr int PrimFFTDivBySqrtN = 4;     // both 1/sqrt(N)
inline constexpr int PrimFFTNoDivByAny = 8;     // both 1

// Creates the transform of order 0 to 28. `hint` is accepted and ignored.
// Status: -8 plan null; -15 order out of range; -16 unknown flag; -9 out of memory.
int PrimFFTInitAlloc(PrimFFTSpec** plan, int order, int flag, int hint);
// Destroys it. -8 null, -17 not a transform object.
int PrimFFTFreeSpec(PrimFFTSpec* plan);

// Forward transform of N reals into the packed spectrum: the (real,
// imaginary) pairs of bins 0 to N/2, N + 2 doubles (2 for order 0), whose
// imaginary parts at bins 0 and N/2 are stored as 0. `buffer` is null, so the
// transform allocates its own, or a block of at least 8 * N bytes aligned to
// 16. Source and destination do not overlap.
// Status: -8 plan null; -17 not a transform object; -8 src or dst null; -9 out of memory.
int PrimFFTForward(const double* src, double* dst, const PrimFFTSpec* plan, uint8_t* buffer);
// Inverse transform of a packed spectrum into N reals: the real sequence whose
// spectrum has the given lower half and its conjugate-symmetric upper half.
// The imaginary parts of bins 0 and N/2 are not read. Buffer and status as forward.
int PrimFFTInverse(const double* src, double* dst, const PrimFFTSpec* plan, uint8_t* buffer);

// dst[i] = dst[i] * src[i] on `length` complex numbers stored as (real,
// imaginary) pairs, the layout of a packed spectrum. -8 null, -6 length below 1.
int PrimMulPackedSpectrum(const double* src, double* dst, int length);

// Two-dimensional 8 by 8 inverse DCT with the JPEG and MPEG normalisation, no
// level shift, rounded and saturated to 0..255, written as 8 rows of 8 bytes
// `dstStep` apart. The 64 coefficients are in row order with the row as the
// vertical frequency (index 8 * v + u). `count` is how many coefficients, in
// scan order, may be nonzero: below 1 only the DC is read, 1 to 9 only the
// upper left 4 by 4, otherwise all 64. -8 null, -14 step below 1.
int PrimIDCT8x8(const int16_t* coefficients, uint8_t* dst, int dstStep, int count);

// The inverse DCT as exported to the host, under these plain names.
extern "C" {
// PrimIDCT8x8 itself.
int IPP_IDCT(const short* coefficients, unsigned char* destination, int destinationStep, int count);
// Does nothing and returns 0.
int IPP_IDCT8x8();
}
