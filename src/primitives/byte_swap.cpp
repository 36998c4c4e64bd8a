// Byte swaps of 16-bit words: big-endian samples to host order and back.
#include "primitives/dispatch.h"
#include "primitives/prim_signal.h"

namespace {

uint16_t SwapBytes(uint16_t word) { return static_cast<uint16_t>((word << 8) | (word >> 8)); }

using SwapBytes16InPlaceFn = int (*)(uint16_t* vector, int length);

int swap_bytes16_in_place_c(uint16_t* vector, int length) {
  if (vector == nullptr) return PrimStsNullPtrErr;
  if (length < 1) return PrimStsSizeErr;
  for (int i = 0; i < length; ++i) vector[i] = SwapBytes(vector[i]);
  return PrimStsNoErr;
}

constexpr SwapBytes16InPlaceFn kSwapBytes16InPlace[kPrimSlotCount] = {
    swap_bytes16_in_place_c, swap_bytes16_in_place_c, swap_bytes16_in_place_c,
    swap_bytes16_in_place_c, swap_bytes16_in_place_c, swap_bytes16_in_place_c};

using SwapBytes16Fn = int (*)(const uint16_t* src, uint16_t* dst, int length);

int swap_bytes16_c(const uint16_t* src, uint16_t* dst, int length) {
  if (src == nullptr || dst == nullptr) return PrimStsNullPtrErr;
  if (length < 1) return PrimStsSizeErr;
  for (int i = 0; i < length; ++i) dst[i] = SwapBytes(src[i]);
  return PrimStsNoErr;
}

constexpr SwapBytes16Fn kSwapBytes16[kPrimSlotCount] = {swap_bytes16_c, swap_bytes16_c, swap_bytes16_c,
                                                        swap_bytes16_c, swap_bytes16_c, swap_bytes16_c};

}  // namespace

int PrimSwapBytes16InPlace(uint16_t* vector, int length) { return kSwapBytes16InPlace[g_primSlot](vector, length); }

int PrimSwapBytes16(const uint16_t* src, uint16_t* dst, int length) {
  return kSwapBytes16[g_primSlot](src, dst, length);
}
