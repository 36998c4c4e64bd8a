// The AVX row kernels of the plane resize (slot 5).
#define PRIM_VARIANT(name) name##_avx
#include "primitives/resize_simd.h"
