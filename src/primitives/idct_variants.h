// The inverse DCT's variants: the checks and the DC-only block are portable
// code shared by every slot (IDCT8x8With); a variant supplies only the
// transform of the low frequencies, in double precision, computing the same
// products and sums in the same order as the portable one.
#pragma once

#include <cstdint>

// Transforms the lowest `frequencies` (4 or 8) of each direction into 8 rows
// of 8 bytes `dstStep` apart.
using IdctTransformFn = void (*)(const int16_t* coefficients, int frequencies, uint8_t* dst, int dstStep);

int IDCT8x8With(IdctTransformFn transform, const int16_t* coefficients, uint8_t* dst, int dstStep, int count);

// basis[8 * k + n] = C(k) / 2 * cos((2n + 1) k pi / 16): frequency k at position n.
const double* IdctBasis();

int idct8x8_sse41(const int16_t* coefficients, uint8_t* dst, int dstStep, int count);
int idct8x8_avx(const int16_t* coefficients, uint8_t* dst, int dstStep, int count);
