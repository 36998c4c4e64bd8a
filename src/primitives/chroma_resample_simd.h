// Vector kernel of the interlaced chroma upsampling: the field filter
// (wa * a + wb * b + 4) >> 3 on 16 bytes at once. Written with SSE4.1;
// chroma_resample_sse41.cpp and chroma_resample_avx.cpp both compile this
// source, each defining PRIM_VARIANT(name).
#pragma once

#include "primitives/plane_kernels.h"
#include "primitives/simd_rows.h"

namespace {

// Bytes of the two rows interleaved, so that one multiply-add of unsigned
// bytes by the signed weights gives each sum; at most 8 * 255, no saturation.
void BlendRowSimd(const uint8_t* a, int wa, const uint8_t* b, int wb, uint8_t* out, int width) {
  const __m128i weights = _mm_set1_epi16(static_cast<int16_t>(wa | wb << 8));
  RunRow<16>(
      [weights](const uint8_t* const* in, uint8_t* const* o, int n) {
        const __m128i four = _mm_set1_epi16(4);
        for (int x = 0; x < n; x += 16) {
          const __m128i p = Load(in[0] + x), q = Load(in[1] + x);
          const __m128i low = _mm_maddubs_epi16(_mm_unpacklo_epi8(p, q), weights);
          const __m128i high = _mm_maddubs_epi16(_mm_unpackhi_epi8(p, q), weights);
          Store(o[0] + x, _mm_packus_epi16(_mm_srli_epi16(_mm_add_epi16(low, four), 3),
                                           _mm_srli_epi16(_mm_add_epi16(high, four), 3)));
        }
      },
      {{a, kPlane}, {b, kPlane}}, {{out, kPlane}}, width);
}

}  // namespace

int PRIM_VARIANT(ycbcr420_to_422_interlaced)(const uint8_t* const src[3], const int srcStep[3], uint8_t* const dst[3],
                                             const int dstStep[3], int width, int height) {
  return prim_plane::YCbCr420To422Interlaced(BlendRowSimd, src, srcStep, dst, dstStep, width, height);
}
