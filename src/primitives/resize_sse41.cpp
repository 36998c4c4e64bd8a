// The SSE4.1 row kernels of the plane resize (slot 4).
#define PRIM_VARIANT(name) name##_sse41
#include "primitives/resize_simd.h"
