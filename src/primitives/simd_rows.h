// What the vector kernels of every instruction-set file share: unaligned
// loads and stores, and the one place where the end of a row is handled. A row
// kernel processes whole blocks of pixels only; RunRow hands it the last,
// partial block through small buffers and copies back the bytes that belong to
// the row, so no kernel reads or writes past its row and none has tail code.
//
// Everything here has internal linkage: each instruction-set file compiles its
// own copy with its own flags, and no copy built for a wider set can be picked
// by the linker for a narrower one.
#pragma once

#include <immintrin.h>

#include <cstdint>
#include <cstring>
#include <initializer_list>

namespace {

inline __m128i Load(const uint8_t* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); }
inline void Store(uint8_t* p, __m128i v) { _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v); }

// An operand's bytes per pixel as a fraction: 3/1 packed pixels, 1/1 a
// full plane, 1/2 the chroma of a pair.
struct RowShape {
  int num, den;
};
constexpr RowShape kPacked = {3, 1};
constexpr RowShape kPlane = {1, 1};
constexpr RowShape kHalf = {1, 2};

// The bytes that `pixels` pixels take; a half pixel counts whole, as an odd
// last pixel has its pair's chroma sample.
inline int BytesOf(RowShape shape, int pixels) { return (pixels * shape.num + shape.den - 1) / shape.den; }

struct RowIn {
  const uint8_t* p;
  RowShape shape;
};
struct RowOut {
  uint8_t* p;
  RowShape shape;
};

constexpr int kMaxOperands = 4;
constexpr int kMaxBlockBytes = 3 * 64;

// Runs kernel(in, out, pixels) over a row of `width` pixels, where the kernel
// takes only multiples of kBlock pixels.
template <int kBlock, typename Kernel>
void RunRow(Kernel kernel, std::initializer_list<RowIn> ins, std::initializer_list<RowOut> outs, int width) {
  static_assert(kBlock * 3 <= kMaxBlockBytes, "a block must fit the tail buffers");
  const uint8_t* in[kMaxOperands];
  uint8_t* out[kMaxOperands];
  int n = 0;
  for (const RowIn& operand : ins) in[n++] = operand.p;
  n = 0;
  for (const RowOut& operand : outs) out[n++] = operand.p;
  const int whole = width - width % kBlock;
  if (whole > 0) kernel(in, out, whole);
  if (whole == width) return;

  alignas(32) uint8_t inTail[kMaxOperands][kMaxBlockBytes] = {};
  alignas(32) uint8_t outTail[kMaxOperands][kMaxBlockBytes];
  n = 0;
  for (const RowIn& operand : ins) {
    std::memcpy(inTail[n], operand.p + BytesOf(operand.shape, whole),
                static_cast<size_t>(BytesOf(operand.shape, width) - BytesOf(operand.shape, whole)));
    in[n] = inTail[n];
    ++n;
  }
  for (int i = 0; i < static_cast<int>(outs.size()); ++i) out[i] = outTail[i];
  kernel(in, out, kBlock);
  n = 0;
  for (const RowOut& operand : outs) {
    std::memcpy(operand.p + BytesOf(operand.shape, whole), outTail[n],
                static_cast<size_t>(BytesOf(operand.shape, width) - BytesOf(operand.shape, whole)));
    ++n;
  }
}

// The same for a kernel that reduces a row of bytes to a value: the last
// partial block is padded with `pad`, a byte that leaves the result alone, and
// combine(whole part, tail) joins the two.
template <int kBlock, typename Kernel, typename Combine>
auto ReduceRow(Kernel kernel, Combine combine, const uint8_t* p, int width, uint8_t pad) {
  const int whole = width - width % kBlock;
  auto result = kernel(p, whole);
  if (whole == width) return result;
  alignas(32) uint8_t tail[kBlock];
  std::memset(tail, pad, sizeof tail);
  std::memcpy(tail, p + whole, static_cast<size_t>(width - whole));
  return combine(result, kernel(tail, kBlock));
}

}  // namespace
