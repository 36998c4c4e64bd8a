// The SSE4.1 variants of the plane ops primitives (slot 4).
#define PRIM_VARIANT(name) name##_sse41
#include "primitives/plane_ops_simd.h"
