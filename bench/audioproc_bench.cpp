// Audio processing: the limiter's throughput on a stereo programme, and the
// rate converter from 48 to 44.1 kHz beside libsoxr doing the same.
#include <benchmark/benchmark.h>
#include <soxr.h>

#include <cmath>
#include <cstring>
#include <memory>
#include <numbers>
#include <random>
#include <vector>

#include "audioparse/audio_support.h"
#include "audioproc/audio_limiter.h"

namespace {

constexpr int kRate = 48000;

// Interleaved 16-bit stereo: tones under noise whose level changes every
// 100 ms, a tenth of the blocks loud enough to be limited, with some clicks.
std::vector<int16_t> Programme(int seconds) {
  const size_t frames = static_cast<size_t>(seconds) * kRate;
  std::vector<int16_t> samples(2 * frames);
  std::mt19937 rng(60);
  std::normal_distribution<double> noise(0.0, 1.0);
  std::uniform_real_distribution<double> uniform(0.0, 1.0);
  double level = 3000.0;
  for (size_t i = 0; i < frames; ++i) {
    if (i % 4800 == 0) level = uniform(rng) < 0.1 ? 14000.0 : 1500.0 + 4000.0 * uniform(rng);
    const double tone = 4000.0 * std::sin(2.0 * std::numbers::pi * 440.0 * static_cast<double>(i) / kRate);
    for (int c = 0; c < 2; ++c) {
      double value = tone + level * noise(rng);
      if (i % 24001 == 7) value = 32767.0;
      samples[2 * i + c] = static_cast<int16_t>(std::clamp(value, -32768.0, 32767.0));
    }
  }
  return samples;
}

// 40 ms frames of big-endian PCM, as a host hands them over.
std::vector<std::unique_ptr<CAudioFrame>> PcmFrames(const std::vector<int16_t>& samples, size_t frameSamples) {
  std::vector<std::unique_ptr<CAudioFrame>> frames;
  for (size_t start = 0; start < samples.size(); start += 2 * frameSamples) {
    auto frame = std::make_unique<CAudioFrame>();
    frame->audioType = AUDIO_FRAME_PCM;
    frame->channels = 2;
    frame->samplingRate = kRate;
    const size_t end = std::min(samples.size(), start + 2 * frameSamples);
    std::vector<uint8_t> bytes;
    for (size_t i = start; i < end; ++i) {
      bytes.push_back(static_cast<uint8_t>(static_cast<uint16_t>(samples[i]) >> 8));
      bytes.push_back(static_cast<uint8_t>(samples[i] & 0xFF));
    }
    frame->AppendData(bytes.data(), static_cast<unsigned>(bytes.size()));
    frames.push_back(std::move(frame));
  }
  return frames;
}

void BM_Limiter(benchmark::State& state) {
  const auto samples = Programme(60);
  const auto frames = PcmFrames(samples, 1920);
  for (auto _ : state) {
    CQBXAudioLimiter limiter(-1.0, -6.0, kRate, 5, 200, CQBXAudioLimiter::HARD_CLIPPER_OFF);
    for (const auto& frame : frames) benchmark::DoNotOptimize(limiter.ProcessAudioFrame(frame.get()));
    benchmark::DoNotOptimize(limiter.ProcessAudioFrame(nullptr));
  }
  // Samples a channel.
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(samples.size() / 2));
}
BENCHMARK(BM_Limiter)->Name("limiter_60s_stereo/ours")->Unit(benchmark::kMillisecond);

void BM_LimiterMemcpyBound(benchmark::State& state) {
  const auto samples = Programme(60);
  std::vector<int16_t> copy(samples.size());
  for (auto _ : state) {
    std::memcpy(copy.data(), samples.data(), samples.size() * sizeof(int16_t));
    benchmark::DoNotOptimize(copy.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(samples.size() / 2));
}
BENCHMARK(BM_LimiterMemcpyBound)->Name("limiter_60s_stereo/bound.memcpy")->Unit(benchmark::kMillisecond);

constexpr int kResampleSeconds = 10;
constexpr size_t kResampleBlock = 4800;  // 100 ms

void BM_ResampleOurs(benchmark::State& state) {
  const auto input = Programme(kResampleSeconds);
  std::vector<short> output(2 * (kResampleBlock + 64));
  for (auto _ : state) {
    CAudioSupport converter(48000, 44100);
    for (size_t start = 0; start < input.size() / 2;) {
      const int count = static_cast<int>(std::min(kResampleBlock, input.size() / 2 - start));
      int used = 0;
      int produced = 0;
      converter.ResampleStereoData(input.data() + 2 * start, count, used, output.data(), produced);
      benchmark::DoNotOptimize(output.data());
      start += static_cast<size_t>(used);
    }
  }
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(input.size() / 2));
}
BENCHMARK(BM_ResampleOurs)->Name("resample_48k_44k1/ours")->Unit(benchmark::kMillisecond);

void BM_ResampleSoxr(benchmark::State& state) {
  const auto input = Programme(kResampleSeconds);
  std::vector<int16_t> output(2 * (kResampleBlock + 64));
  const soxr_io_spec_t io = soxr_io_spec(SOXR_INT16_I, SOXR_INT16_I);
  const soxr_quality_spec_t quality = soxr_quality_spec(SOXR_HQ, 0);
  for (auto _ : state) {
    soxr_error_t error = nullptr;
    soxr_t soxr = soxr_create(48000, 44100, 2, &error, &io, &quality, nullptr);
    if (error != nullptr) {
      state.SkipWithError(error);
      break;
    }
    for (size_t start = 0; start < input.size() / 2; start += kResampleBlock) {
      size_t used = 0;
      size_t produced = 0;
      soxr_process(soxr, input.data() + 2 * start, std::min(kResampleBlock, input.size() / 2 - start), &used,
                   output.data(), output.size() / 2, &produced);
      benchmark::DoNotOptimize(output.data());
    }
    soxr_delete(soxr);
  }
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(input.size() / 2));
}
BENCHMARK(BM_ResampleSoxr)->Name("resample_48k_44k1/soxr")->Unit(benchmark::kMillisecond);

}  // namespace
