// Writes bit fields most significant bit first, as the headers of the
// compressed audio formats carry them. Tests build headers with it field by
// field; the silent AC-3 frame generator (tools/ac3gen) builds frames with it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace corvane::test {

class BitWriter {
 public:
  // Appends the low `bits` bits of value (0 to 32 bits), highest first;
  // returns the writer so that a header's fields chain on a few lines.
  BitWriter& Put(int bits, uint64_t value) {
    for (int i = bits - 1; i >= 0; --i) PutBit(((value >> i) & 1u) != 0);
    return *this;
  }

  void PutBit(bool bit) {
    if (bitCount_ % 8 == 0) bytes_.push_back(0);
    if (bit) bytes_.back() |= static_cast<uint8_t>(0x80u >> (bitCount_ % 8));
    ++bitCount_;
  }

  // Appends every bit that `other` holds.
  BitWriter& Append(const BitWriter& other) {
    for (size_t i = 0; i < other.bitCount_; ++i) PutBit(((other.bytes_[i / 8] >> (7 - i % 8)) & 1u) != 0);
    return *this;
  }

  // Zero bits up to the next byte boundary.
  void AlignToByte() {
    while (bitCount_ % 8 != 0) PutBit(false);
  }

  // Zero bytes (after aligning) until the buffer holds `size` bytes.
  void PadToSize(size_t size) {
    AlignToByte();
    while (bytes_.size() < size) Put(8, 0);
  }

  size_t BitCount() const { return bitCount_; }
  const std::vector<uint8_t>& Bytes() const { return bytes_; }
  std::vector<uint8_t>& Bytes() { return bytes_; }

 private:
  std::vector<uint8_t> bytes_;
  size_t bitCount_ = 0;
};

}  // namespace corvane::test
