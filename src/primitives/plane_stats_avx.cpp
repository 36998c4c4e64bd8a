// The AVX (VEX-encoded SSE4.1 integer code) variants of the plane stats primitives (slot 5).
#define PRIM_VARIANT(name) name##_avx
#include "primitives/plane_stats_simd.h"
