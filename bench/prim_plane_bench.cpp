// 4:2:0 and packed RGB on a 1080p picture, both ways: PrimYCbCr420ToRGB beside
// libyuv's I420ToRAW, PrimRGBToYCbCr420 beside its RAWToI420 ("RAW" is R, G, B
// in memory order, as our RGB buffers hold them). libyuv picks its widest
// instructions (AVX2 or AVX-512 where the processor has them); the lines
// "<job>/libyuv.same_isa" run it again restricted to the instruction sets our
// fastest slot may use, up to AVX, for a comparison on equal terms.
#include <benchmark/benchmark.h>
#include <libyuv.h>
#include <libyuv/cpu_id.h>

#include <cstdint>
#include <random>
#include <vector>

#include "primitives/prim.h"

namespace {

constexpr int kWidth = 1920;
constexpr int kHeight = 1080;

// A 4:2:0 picture and an RGB buffer of seeded noise, with tight planes.
struct Picture420 {
  Picture420() : y(kWidth * kHeight), cb(kWidth * kHeight / 4), cr(kWidth * kHeight / 4), rgb(3 * kWidth * kHeight) {
    std::mt19937 random(1080);
    for (auto* plane : {&y, &cb, &cr, &rgb}) {
      for (uint8_t& b : *plane) b = static_cast<uint8_t>(random());
    }
  }
  std::vector<uint8_t> y, cb, cr, rgb;
};

// While alive, libyuv uses nothing beyond AVX (no AVX2, FMA or AVX-512);
// afterwards it detects the processor's sets again.
class LibyuvUpToAvx {
 public:
  LibyuvUpToAvx() {
    libyuv::MaskCpuFlags(libyuv::kCpuHasX86 | libyuv::kCpuHasSSE2 | libyuv::kCpuHasSSSE3 | libyuv::kCpuHasSSE41 |
                         libyuv::kCpuHasSSE42 | libyuv::kCpuHasAVX);
  }
  ~LibyuvUpToAvx() { libyuv::MaskCpuFlags(-1); }
  LibyuvUpToAvx(const LibyuvUpToAvx&) = delete;
  LibyuvUpToAvx& operator=(const LibyuvUpToAvx&) = delete;
};

void SetPixelCount(benchmark::State& state) {
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * kWidth * kHeight);
}

void BM_YCbCr420ToRGBOurs(benchmark::State& state) {
  PrimInit();
  Picture420 picture;
  const uint8_t* planes[3] = {picture.y.data(), picture.cb.data(), picture.cr.data()};
  const int steps[3] = {kWidth, kWidth / 2, kWidth / 2};
  for (auto _ : state) {
    PrimYCbCr420ToRGB(planes, steps, picture.rgb.data(), 3 * kWidth, kWidth, kHeight);
    benchmark::DoNotOptimize(picture.rgb.data());
    benchmark::ClobberMemory();
  }
  SetPixelCount(state);
}

void BM_YCbCr420ToRGBLibyuv(benchmark::State& state) {
  Picture420 picture;
  for (auto _ : state) {
    libyuv::I420ToRAW(picture.y.data(), kWidth, picture.cb.data(), kWidth / 2, picture.cr.data(), kWidth / 2,
                      picture.rgb.data(), 3 * kWidth, kWidth, kHeight);
    benchmark::DoNotOptimize(picture.rgb.data());
    benchmark::ClobberMemory();
  }
  SetPixelCount(state);
}

void BM_YCbCr420ToRGBLibyuvSameIsa(benchmark::State& state) {
  const LibyuvUpToAvx restricted;
  BM_YCbCr420ToRGBLibyuv(state);
}

void BM_RGBToYCbCr420Ours(benchmark::State& state) {
  PrimInit();
  Picture420 picture;
  uint8_t* planes[3] = {picture.y.data(), picture.cb.data(), picture.cr.data()};
  const int steps[3] = {kWidth, kWidth / 2, kWidth / 2};
  for (auto _ : state) {
    PrimRGBToYCbCr420(picture.rgb.data(), 3 * kWidth, planes, steps, kWidth, kHeight);
    benchmark::DoNotOptimize(picture.y.data());
    benchmark::ClobberMemory();
  }
  SetPixelCount(state);
}

void BM_RGBToYCbCr420Libyuv(benchmark::State& state) {
  Picture420 picture;
  for (auto _ : state) {
    libyuv::RAWToI420(picture.rgb.data(), 3 * kWidth, picture.y.data(), kWidth, picture.cb.data(), kWidth / 2,
                      picture.cr.data(), kWidth / 2, kWidth, kHeight);
    benchmark::DoNotOptimize(picture.y.data());
    benchmark::ClobberMemory();
  }
  SetPixelCount(state);
}

void BM_RGBToYCbCr420LibyuvSameIsa(benchmark::State& state) {
  const LibyuvUpToAvx restricted;
  BM_RGBToYCbCr420Libyuv(state);
}

BENCHMARK(BM_YCbCr420ToRGBOurs)->Name("ycbcr420_to_rgb_1080p/ours")->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_YCbCr420ToRGBLibyuv)->Name("ycbcr420_to_rgb_1080p/libyuv")->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_YCbCr420ToRGBLibyuvSameIsa)->Name("ycbcr420_to_rgb_1080p/libyuv.same_isa")->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_RGBToYCbCr420Ours)->Name("rgb_to_ycbcr420_1080p/ours")->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_RGBToYCbCr420Libyuv)->Name("rgb_to_ycbcr420_1080p/libyuv")->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_RGBToYCbCr420LibyuvSameIsa)->Name("rgb_to_ycbcr420_1080p/libyuv.same_isa")->Unit(benchmark::kMicrosecond);

}  // namespace
