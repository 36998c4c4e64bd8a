// The SSE4.1 variants of the plane stats primitives (slot 4).
#define PRIM_VARIANT(name) name##_sse41
#include "primitives/plane_stats_simd.h"
