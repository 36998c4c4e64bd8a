// A long run of generated programme material through the limiter in frames
// of random sizes: memory stays flat (allocator counters and resident size)
// and the limiter gives back every sample it took. CORVANE_SOAK_SECONDS sets
// the length (`make soak`: one hour); the suite runs a short one.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "audioproc/audio_limiter.h"
#include "platform/buffer_alloc.h"
#include "soak/programme_material.h"

namespace corvane::test {
namespace {

using Block = std::vector<std::vector<double>>;

constexpr int kRate = 48000;
constexpr uint32_t kMaterialSeed = 1770;
constexpr double kDefaultSeconds = 60.0;
constexpr size_t kLargestBlock = 16384;  // two of them fit the limiter's buffers

double SoakSeconds() {
  const char* text = std::getenv("CORVANE_SOAK_SECONDS");
  return text != nullptr && std::atof(text) > 0 ? std::atof(text) : kDefaultSeconds;
}

// Kilobytes of a "Vm..." line of /proc/self/status.
int64_t StatusKilobytes(const std::string& field) {
  std::ifstream status("/proc/self/status");
  std::string name;
  int64_t value = 0;
  while (status >> name) {
    if (name == field + ":") return (status >> value) ? value : 0;
    status.ignore(1 << 16, '\n');
  }
  return 0;
}

// AddressSanitizer's quarantine and valgrind's free list hold freed blocks,
// so the resident size says something only in a plain run.
bool ResidentSizeIsMeaningful() {
#if defined(__SANITIZE_ADDRESS__)
  return false;
#else
  const char* preload = std::getenv("LD_PRELOAD");
  return preload == nullptr || std::strstr(preload, "vgpreload") == nullptr;
#endif
}

struct MemoryState {
  int64_t bufferBlocks = BufferLiveBlocks();
  int64_t bufferBytes = BufferLiveBytes();
  int64_t largeBlocks = LargeBufferLiveBlocks();
  int64_t residentKB = StatusKilobytes("VmRSS");
  int64_t peakResidentKB = StatusKilobytes("VmHWM");
};

// Block lengths spread evenly over their order of magnitude, so that single
// samples, odd sizes and the largest blocks all come often.
size_t RandomBlockLength(std::mt19937_64& random) {
  const double exponent = std::uniform_real_distribution<double>(0.0, std::log2(double{kLargestBlock}))(random);
  return std::max<size_t>(1, static_cast<size_t>(std::exp2(exponent)));
}

void FillPcmFrame(const Block& block, CAudioFrame& frame) {
  std::vector<uint8_t> bytes;
  bytes.reserve(block[0].size() * 4);
  for (size_t i = 0; i < block[0].size(); ++i) {
    for (const std::vector<double>& channel : block) {
      const long sample = std::lround(std::clamp(channel[i], -1.0, 1.0) * 32767.0);
      bytes.push_back(static_cast<uint8_t>((sample >> 8) & 0xFF));
      bytes.push_back(static_cast<uint8_t>(sample & 0xFF));
    }
  }
  frame.payloadLength = 0;
  frame.AppendData(bytes.data(), static_cast<unsigned>(bytes.size()));
}

// Samples a channel that came out of the limiter.
struct LimiterOutput {
  uint64_t samples = 0;

  void Take(const CAudioFrame* block) {
    if (block != nullptr) samples += block->payloadLength / 4;
  }
};

TEST(SoakTest, LimiterStaysFlatAndGivesBackEverySample) {
  const uint64_t total = static_cast<uint64_t>(SoakSeconds() * kRate);
  ProgrammeMaterial material(kMaterialSeed, kRate);
  std::mt19937_64 random(kMaterialSeed);
  CQBXAudioLimiter limiter(-1.0, -6.0, kRate, 5, 200, CQBXAudioLimiter::HARD_CLIPPER_OFF);
  CAudioFrame frame;
  frame.audioType = AUDIO_FRAME_PCM;
  frame.channels = 2;
  LimiterOutput limited;

  MemoryState warm;
  size_t largestFrameBytes = 0;
  bool warmedUp = false;
  for (uint64_t fed = 0; fed < total;) {
    const size_t length = static_cast<size_t>(std::min<uint64_t>(RandomBlockLength(random), total - fed));
    const Block block = material.Next(length);
    FillPcmFrame(block, frame);
    largestFrameBytes = std::max<size_t>(largestFrameBytes, frame.payloadLength);
    limited.Take(limiter.ProcessAudioFrame(&frame));
    fed += length;
    if (!warmedUp && fed >= total / 10) {
      warm = MemoryState();
      warmedUp = true;
    }
  }
  limited.Take(limiter.ProcessAudioFrame(nullptr));
  const MemoryState end;

  // The limiter's buffers are sized once; 32 MB is left for the allocator's own pools.
  const int64_t allowedKB = 32 * 1024;
  EXPECT_EQ(end.bufferBlocks, warm.bufferBlocks);
  EXPECT_EQ(end.largeBlocks, warm.largeBlocks);
  EXPECT_LE(end.bufferBytes, warm.bufferBytes + static_cast<int64_t>(2 * largestFrameBytes));
  if (ResidentSizeIsMeaningful()) {
    EXPECT_LE(end.residentKB - warm.residentKB, allowedKB);
    EXPECT_LE(end.peakResidentKB - warm.peakResidentKB, allowedKB);
  }

  int64_t limiterSamples = 0;
  double limiterPeakDB = 0.0;
  limiter.GetProcessingStatistics(0, limiterSamples, limiterPeakDB);
  EXPECT_EQ(limiterSamples, static_cast<int64_t>(total));
  EXPECT_EQ(limited.samples, total);
}

}  // namespace
}  // namespace corvane::test
