// The AVX (VEX-encoded SSE4.1 integer code) variants of the colour convert primitives (slot 5).
#define PRIM_VARIANT(name) name##_avx
#include "primitives/colour_convert_simd.h"
