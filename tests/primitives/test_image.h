// Images for the primitive tests. The allocation of a TestImage ends exactly
// where its last row ends, so an access past the image trips the address
// sanitizer; the bytes in front of the first row and the padding between rows
// are guard bytes that a primitive must leave alone.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <random>
#include <vector>

#include "primitives/dispatch.h"

namespace prim_test {

class TestImage {
 public:
  // `misalign` (0 to 3) starts the first row that many bytes past a 16-byte boundary.
  TestImage(int rowBytes, int rows, int padding = 0, int misalign = 0)
      : rowBytes_(rowBytes),
        rows_(rows),
        step_(rowBytes + padding),
        front_(kFront + misalign),
        size_(front_ + (rows - 1) * step_ + rowBytes) {
    storage_ = std::make_unique<uint8_t[]>(static_cast<size_t>(size_));
    std::fill_n(storage_.get(), size_, kGuard);
  }

  uint8_t* data() { return storage_.get() + front_; }
  const uint8_t* data() const { return storage_.get() + front_; }
  int step() const { return step_; }
  int rowBytes() const { return rowBytes_; }
  int rows() const { return rows_; }
  uint8_t& at(int x, int y) { return data()[y * step_ + x]; }
  const uint8_t& at(int x, int y) const { return data()[y * step_ + x]; }

  // The same geometry and bytes, guards included.
  TestImage Clone() const {
    TestImage copy(rowBytes_, rows_, step_ - rowBytes_, front_ - kFront);
    std::copy_n(storage_.get(), size_, copy.storage_.get());
    return copy;
  }
  std::vector<uint8_t> Row(int y) const { return {&at(0, y), &at(0, y) + rowBytes_}; }
  // Every row's bytes, one row after the other.
  std::vector<uint8_t> Pixels() const {
    std::vector<uint8_t> pixels;
    for (int y = 0; y < rows_; ++y) pixels.insert(pixels.end(), &at(0, y), &at(0, y) + rowBytes_);
    return pixels;
  }

  // The whole allocation, guards included.
  int size() const { return size_; }
  const uint8_t* storage() const { return storage_.get(); }
  void FillAll(std::mt19937& random) {
    for (int i = 0; i < size_; ++i) storage_[i] = static_cast<uint8_t>(random());
  }
  // Whether byte i of the storage lies in the first `bytes` bytes of one of the first `rows` rows.
  bool InRegion(int i, int bytes, int rows) const {
    if (i < front_) return false;
    const int offset = i - front_;
    return offset / step_ < rows && offset % step_ < bytes;
  }

  void Fill(uint8_t value) {
    for (int y = 0; y < rows_; ++y) std::fill_n(data() + y * step_, rowBytes_, value);
  }
  void FillRandom(std::mt19937& random) {
    for (int y = 0; y < rows_; ++y) {
      for (int x = 0; x < rowBytes_; ++x) at(x, y) = static_cast<uint8_t>(random());
    }
  }
  // Random bytes of 0 and 255 only: sums over pixels reach both ends of their range.
  void FillExtremes(std::mt19937& random) {
    for (int y = 0; y < rows_; ++y) {
      for (int x = 0; x < rowBytes_; ++x) at(x, y) = random() % 2 == 0 ? 0 : 255;
    }
  }

  // True when nothing outside the rows was written.
  bool GuardsIntact() const {
    for (int i = 0; i < front_; ++i) {
      if (storage_[i] != kGuard) return false;
    }
    for (int y = 0; y + 1 < rows_; ++y) {
      for (int x = rowBytes_; x < step_; ++x) {
        if (at(x, y) != kGuard) return false;
      }
    }
    return true;
  }

 private:
  // new[] returns 16-byte aligned storage; kFront keeps a misaligned start inside it.
  static constexpr int kFront = 32;
  static constexpr uint8_t kGuard = 0xA5;
  int rowBytes_, rows_, step_, front_, size_;
  std::unique_ptr<uint8_t[]> storage_;
};

// Three planes with their pointer and step arrays, as the planar primitives
// take them. Chroma planes have chromaWidth by chromaHeight bytes.
struct TestPlanes {
  TestPlanes(int width, int height, int chromaWidth, int chromaHeight, int padding = 0)
      : planes{TestImage(width, height, padding), TestImage(chromaWidth, chromaHeight, padding + 1),
               TestImage(chromaWidth, chromaHeight, padding + 3)} {
    for (int i = 0; i < 3; ++i) {
      pointers[i] = planes[i].data();
      steps[i] = planes[i].step();
    }
  }
  void FillRandom(std::mt19937& random) {
    for (TestImage& plane : planes) plane.FillRandom(random);
  }
  bool GuardsIntact() const { return planes[0].GuardsIntact() && planes[1].GuardsIntact() && planes[2].GuardsIntact(); }

  TestImage planes[3];
  uint8_t* pointers[3];
  int steps[3];
};

// Runs `body` once with each slot this processor supports selected, then
// restores the slot that PrimInit chooses.
template <typename Body>
void ForEachSlot(Body body) {
  for (int slot = 0; slot <= PrimHighestSupportedSlot(); ++slot) {
    ASSERT_TRUE(PrimForceSlot(slot));
    SCOPED_TRACE(::testing::Message() << "slot " << slot);
    body();
  }
  PrimInit();
}

}  // namespace prim_test
