// A long run of generated programme material through the limiter and every
// meter in blocks of random sizes: memory stays flat (allocator counters and
// resident size), the limiter gives back every sample it took, and the
// meters' results equal those of the same audio fed in one block.
// CORVANE_SOAK_SECONDS sets the length (`make soak`: one hour); the suite runs
// a short one.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "audioproc/audio_limiter.h"
#include "measurement/audio_bs1770.h"
#include "measurement/audio_peak_level.h"
#include "platform/buffer_alloc.h"
#include "soak/programme_material.h"

namespace corvane::test {
namespace {

using NS_AudioMeasurement::AUDIO_MEAUREMENT_TYPE;
using NS_AudioMeasurement::CAudioBS1770;
using NS_AudioMeasurement::CAudioPeakLevel;
using Block = std::vector<std::vector<double>>;

constexpr int kRate = 48000;
constexpr uint32_t kMaterialSeed = 1770;
constexpr double kDefaultSeconds = 10.0;
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

struct Meters {
  Meters() : loudness(2, kRate, {400, 75, 0, -10.0, -70.0}) {
    using namespace NS_AudioMeasurement;
    for (AUDIO_MEAUREMENT_TYPE type :
         {MEASUREMENT_PPM_IIA, MEASUREMENT_VU, MEASUREMENT_TRUE_PEAK, MEASUREMENT_CHROMATEC, MEASUREMENT_SIMPLE}) {
      levels.push_back(std::make_unique<CAudioPeakLevel>(2, kRate, type));
    }
  }
  void Add(const Block& block) {
    loudness.AddSamples(block);
    for (auto& level : levels) level->AddSamples(block);
  }

  CAudioBS1770 loudness;
  std::vector<std::unique_ptr<CAudioPeakLevel>> levels;
};

void ExpectSameResults(Meters& streamed, Meters& whole) {
  for (int mode = 0; mode <= 3; ++mode) {
    EXPECT_EQ(streamed.loudness.GetLoudness(mode), whole.loudness.GetLoudness(mode)) << "loudness mode " << mode;
  }
  EXPECT_EQ(streamed.loudness.GetPeak(), whole.loudness.GetPeak());
  for (size_t m = 0; m < streamed.levels.size(); ++m) {
    const std::string name = streamed.levels[m]->GetMeterName();
    EXPECT_EQ(streamed.levels[m]->GetPeakReading(), whole.levels[m]->GetPeakReading()) << name;
    std::vector<short> streamedHistory, wholeHistory;
    streamed.levels[m]->GetLevelHistory(1000, streamedHistory);
    whole.levels[m]->GetLevelHistory(1000, wholeHistory);
    EXPECT_EQ(streamedHistory, wholeHistory) << name;
  }
}

TEST(SoakTest, LimiterAndMetersStayFlatAndAgreeWithOneBlock) {
  const uint64_t total = static_cast<uint64_t>(SoakSeconds() * kRate);
  ProgrammeMaterial material(kMaterialSeed, kRate);
  std::mt19937_64 random(kMaterialSeed);
  Meters streamed;
  CQBXAudioLimiter limiter(-1.0, -6.0, kRate, 5, 200, CQBXAudioLimiter::HARD_CLIPPER_OFF);
  CAudioFrame frame;
  frame.audioType = AUDIO_FRAME_PCM;
  frame.channels = 2;
  uint64_t limitedSamples = 0;  // a channel, out of the limiter
  const auto take = [&limitedSamples](const CAudioFrame* block) {
    if (block != nullptr) limitedSamples += block->payloadLength / 4;
  };

  MemoryState warm;
  size_t largestFrameBytes = 0;
  bool warmedUp = false;
  for (uint64_t fed = 0; fed < total;) {
    const size_t length = static_cast<size_t>(std::min<uint64_t>(RandomBlockLength(random), total - fed));
    const Block block = material.Next(length);
    streamed.Add(block);
    FillPcmFrame(block, frame);
    largestFrameBytes = std::max<size_t>(largestFrameBytes, frame.payloadLength);
    take(limiter.ProcessAudioFrame(&frame));
    fed += length;
    if (!warmedUp && fed >= total / 10) {
      warm = MemoryState();
      warmedUp = true;
    }
  }
  take(limiter.ProcessAudioFrame(nullptr));
  const MemoryState end;

  // The meters keep a small history by design: a sub-block record a channel
  // every 20 ms (loudness) and a level every 100 ms (each meter). Allowed on
  // top: 64 bytes a record, and 32 MB for the allocator's own pools.
  const double historyKB = static_cast<double>(total) / kRate * (50.0 * 2 * 64 + 10.0 * 2 * 5) / 1024.0;
  const int64_t allowedKB = static_cast<int64_t>(historyKB) + 32 * 1024;
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
  EXPECT_EQ(limitedSamples, total);

  ProgrammeMaterial again(kMaterialSeed, kRate);
  Meters whole;
  whole.Add(again.Next(static_cast<size_t>(total)));
  ExpectSameResults(streamed, whole);
}

}  // namespace
}  // namespace corvane::test
