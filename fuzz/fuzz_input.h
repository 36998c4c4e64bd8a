// Helpers shared by the fuzz targets: the input as a buffer that a parser
// without a length may read in full, as a file for the tool's readers, and as
// a source of small decisions.
#pragma once

#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace corvane::fuzz {

// The input copied into a buffer zero-padded to at least `minimumSize` bytes,
// so a parser that trusts its caller for a fixed header length never reads
// past the copy. AddressSanitizer still sees any read beyond the padding.
inline std::vector<uint8_t> Padded(const uint8_t* data, size_t size, size_t minimumSize) {
  std::vector<uint8_t> buffer(size > minimumSize ? size : minimumSize, 0);
  if (size > 0) std::memcpy(buffer.data(), data, size);
  return buffer;
}

// A file of this process's own under /tmp, rewritten with each input, for the
// readers and commands that take a path.
class InputFile {
 public:
  explicit InputFile(const char* suffix) {
    path_ = "/tmp/corvane-fuzz-" + std::to_string(getpid()) + suffix;
  }
  ~InputFile() { std::remove(path_.c_str()); }

  const std::string& Write(const uint8_t* data, size_t size) {
    FILE* file = std::fopen(path_.c_str(), "wb");
    if (file == nullptr) std::abort();
    if (size > 0 && std::fwrite(data, 1, size, file) != size) std::abort();
    std::fclose(file);
    return path_;
  }

 private:
  std::string path_;
};

// Takes small decisions from the front of the input; zeros once it runs out.
class InputBytes {
 public:
  InputBytes(const uint8_t* data, size_t size) : data_(data), size_(size) {}

  uint8_t Byte() { return position_ < size_ ? data_[position_++] : 0; }
  uint32_t Word() {
    uint32_t value = 0;
    for (int i = 0; i < 4; ++i) value = (value << 8) | Byte();
    return value;
  }
  const uint8_t* Rest() const { return data_ + position_; }
  size_t RestSize() const { return position_ < size_ ? size_ - position_ : 0; }

 private:
  const uint8_t* data_;
  size_t size_;
  size_t position_ = 0;
};

}  // namespace corvane::fuzz
