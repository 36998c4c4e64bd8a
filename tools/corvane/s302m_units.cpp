#include "s302m_units.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstring>

#include "command.h"

namespace corvane::tool {

namespace {

constexpr size_t kHeaderBytes = 4;

// The writer truncates x * 524287 toward zero; half a step away from zero
// makes that land on the 20-bit value itself.
double TwentyBitSample(int32_t sample) {
  const int32_t value = sample >> 12;
  return (value + (value < 0 ? -0.5 : 0.5)) / 524287.0;
}

}  // namespace

S302MUnitReader::S302MUnitReader(const std::string& path) : path_(path) {
  file_ = std::fopen(path.c_str(), "rb");
  struct stat status{};
  if (file_ == nullptr || fstat(fileno(file_), &status) != 0) {
    throw ToolError(path + ": cannot open: " + std::strerror(errno));
  }
  size_ = static_cast<uint64_t>(status.st_size);
}

S302MUnitReader::~S302MUnitReader() {
  if (file_ != nullptr) std::fclose(file_);
}

bool S302MUnitReader::Next(std::vector<uint8_t>& unit) {
  if (offset_ == size_) return false;
  const std::string where = path_ + ": unit " + std::to_string(units_ + 1) + " at byte " + std::to_string(offset_);
  const uint64_t remaining = size_ - offset_;
  if (remaining < kHeaderBytes) {
    throw ToolError(where + ": " + std::to_string(remaining) + " bytes left, too few for a header");
  }
  unit.resize(kHeaderBytes);
  if (std::fread(unit.data(), 1, kHeaderBytes, file_) != kHeaderBytes) throw ToolError(where + ": read failed");
  const uint64_t length = kHeaderBytes + ((unit[0] << 8) | unit[1]);
  if (length > remaining) {
    throw ToolError(where + ": claims " + std::to_string(length) + " bytes but only " + std::to_string(remaining) +
                    " remain");
  }
  unit.resize(length);
  if (std::fread(unit.data() + kHeaderBytes, 1, length - kHeaderBytes, file_) != length - kHeaderBytes) {
    throw ToolError(where + ": read failed");
  }
  offset_ += length;
  ++units_;
  return true;
}

void Encode302MUnit(const int32_t* samples, size_t frames, int channels, CAudioFrame& unit) {
  std::vector<std::vector<double>> stereo(2, std::vector<double>(frames));
  for (size_t i = 0; i < frames; ++i) {
    stereo[0][i] = TwentyBitSample(samples[i * channels]);
    stereo[1][i] = TwentyBitSample(samples[i * channels + (channels > 1 ? 1 : 0)]);
  }
  CSMPTE302MDecode::EncodeFrame(stereo, static_cast<unsigned>(frames), 1.0, &unit);
}

size_t Decode302MUnit(CSMPTE302MDecode& decoder, const std::vector<uint8_t>& unit, std::vector<int32_t>& out) {
  const unsigned frames = decoder.DecodeFrame(unit.data());
  for (unsigned i = 0; i < frames; ++i) {
    for (unsigned c = 0; c < decoder.numberChannels; ++c) {
      out.push_back(static_cast<int32_t>(static_cast<uint32_t>(decoder.channelSamples[c][i]) << 8));
    }
  }
  return frames;
}

}  // namespace corvane::tool
