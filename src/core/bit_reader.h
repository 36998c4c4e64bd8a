// Reads bits most significant first over a byte buffer. It has no length and
// no bound: the caller guarantees that the buffer holds what is read.
#pragma once

#include <cstdint>

class CBitReader {
 public:
  explicit CBitReader(const uint8_t* buffer = nullptr) : data(buffer), byteIndex(0), bitIndex(0) {}

  uint32_t ReadBit() {
    const uint32_t bit = PeekBit();
    if (++bitIndex == 8) {
      bitIndex = 0;
      ++byteIndex;
    }
    return bit;
  }

  uint32_t PeekBit() const { return (data[byteIndex] >> (7 - bitIndex)) & 1u; }

  // The next n bits (1 to 32), the first read being the highest.
  uint32_t ReadBits(int n) {
    uint32_t value = 0;
    for (int i = 0; i < n; ++i) value = (value << 1) | ReadBit();
    return value;
  }

  const uint8_t* data;
  int32_t byteIndex;
  int32_t bitIndex;  // 0 is the most significant bit of data[byteIndex]
};
