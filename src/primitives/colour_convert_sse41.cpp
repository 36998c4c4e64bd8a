// The SSE4.1 variants of the colour convert primitives (slot 4).
#define PRIM_VARIANT(name) name##_sse41
#include "primitives/colour_convert_simd.h"
