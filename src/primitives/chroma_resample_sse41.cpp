// The SSE4.1 variants of the chroma resample primitives (slot 4).
#define PRIM_VARIANT(name) name##_sse41
#include "primitives/chroma_resample_simd.h"
