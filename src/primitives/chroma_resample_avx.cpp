// The AVX (VEX-encoded SSE4.1 integer code) variants of the chroma resample primitives (slot 5).
#define PRIM_VARIANT(name) name##_avx
#include "primitives/chroma_resample_simd.h"
