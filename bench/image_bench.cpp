// Crop-and-resize of 1080i to 480 lines beside libswscale (as it chooses, and
// held to AVX), and the BT.709 to BT.601 conversion, in frames per second.
#include <benchmark/benchmark.h>

#include <cstring>

#include "image/image_support.h"

extern "C" {
#include <libavutil/cpu.h>
#include <libswscale/swscale.h>
}

namespace {

CYUVFrame Picture() {
  CYUVFrame frame(1920, 1080, CHROMA_420);
  uint32_t seed = 7;
  for (uint32_t i = 0; i < frame.bufferSize; ++i) {
    seed = seed * 1103515245u + 12345u;
    frame.y[i] = static_cast<uint8_t>(64 + (seed >> 25) + (i % 1920) / 16);
  }
  frame.progressive = false;
  return frame;
}

void CropResizeOurs(benchmark::State& state, CImageSupport::RESIZE_QUALITY quality) {
  const CYUVFrame source = Picture();
  CCropResizeParams* params = nullptr;
  CImageSupport::CropResizeYUVInitialize(&params, CSize(1920, 1080), CSize(720, 480), CRect(0, 0, 1920, 1080),
                                         CRect(0, 0, 0, 0), 0, CHROMA_420, 0, quality);
  CYUVFrame target;
  for (auto _ : state) {
    CImageSupport::CropResizeYUV(target, source, *params);
    benchmark::DoNotOptimize(target.y[0]);
  }
  CImageSupport::CropResizeYUVReleaseParamBlock(params);
  state.SetItemsProcessed(state.iterations());
}

void CropResizeSwscale(benchmark::State& state, int flags) {
  const CYUVFrame source = Picture();
  CYUVFrame target(720, 480, CHROMA_420);
  SwsContext* context =
      sws_getContext(1920, 1080, AV_PIX_FMT_YUV420P, 720, 480, AV_PIX_FMT_YUV420P, flags, nullptr, nullptr, nullptr);
  const uint8_t* const sourcePlanes[3] = {source.y, source.u, source.v};
  const int sourceSteps[3] = {source.stride, source.chromaStride, source.chromaStride};
  uint8_t* const targetPlanes[3] = {target.y, target.u, target.v};
  const int targetSteps[3] = {target.stride, target.chromaStride, target.chromaStride};
  for (auto _ : state) {
    sws_scale(context, sourcePlanes, sourceSteps, 0, 1080, targetPlanes, targetSteps);
    benchmark::DoNotOptimize(target.y[0]);
  }
  sws_freeContext(context);
  state.SetItemsProcessed(state.iterations());
}

// libswscale held to the instructions of our primitive slot 5 (AVX, without
// AVX2, FMA, BMI or AVX-512), beside its own choice: it picks its code when
// the context is made.
void CropResizeSwscaleAvx(benchmark::State& state, int flags) {
  constexpr int kBeyondAvx = AV_CPU_FLAG_AVX2 | AV_CPU_FLAG_FMA3 | AV_CPU_FLAG_FMA4 | AV_CPU_FLAG_XOP |
                             AV_CPU_FLAG_BMI1 | AV_CPU_FLAG_BMI2 | AV_CPU_FLAG_AVX512 | AV_CPU_FLAG_AVX512ICL;
  av_force_cpu_flags(av_get_cpu_flags() & ~kBeyondAvx);
  CropResizeSwscale(state, flags);
  av_force_cpu_flags(-1);
}

void BM_CropResizeCubicOurs(benchmark::State& state) { CropResizeOurs(state, CImageSupport::RESIZE_QUALITY_STANDARD); }
void BM_CropResizeCubicSwscale(benchmark::State& state) { CropResizeSwscale(state, SWS_BICUBIC); }
void BM_CropResizeSuperOurs(benchmark::State& state) {
  CropResizeOurs(state, CImageSupport::RESIZE_QUALITY_SUPERSAMPLE);
}
void BM_CropResizeSuperSwscale(benchmark::State& state) { CropResizeSwscale(state, SWS_AREA); }
void BM_CropResizeCubicSwscaleAvx(benchmark::State& state) { CropResizeSwscaleAvx(state, SWS_BICUBIC); }
void BM_CropResizeSuperSwscaleAvx(benchmark::State& state) { CropResizeSwscaleAvx(state, SWS_AREA); }

void BM_ColourSpace(benchmark::State& state) {
  CYUVFrame source = Picture();
  source.progressive = true;
  CYUVFrame target;
  for (auto _ : state) {
    CImageSupport::ConvertColorSpace(CImageSupport::COLOR_SPACE_BT709_TO_BT601, source, target);
    benchmark::DoNotOptimize(target.y[0]);
  }
  state.SetItemsProcessed(state.iterations());
}

void BM_FrameCopy(benchmark::State& state) {
  const CYUVFrame source = Picture();
  CYUVFrame target(1920, 1080, CHROMA_420);
  for (auto _ : state) {
    std::memcpy(target.y, source.y, source.bufferSize);
    benchmark::DoNotOptimize(target.y[0]);
  }
  state.SetItemsProcessed(state.iterations());
}

BENCHMARK(BM_CropResizeCubicOurs)->Name("crop_resize_1080i_to_480_cubic/ours")->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CropResizeCubicSwscale)->Name("crop_resize_1080i_to_480_cubic/swscale")->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CropResizeSuperOurs)->Name("crop_resize_1080i_to_480_supersample/ours")->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CropResizeSuperSwscale)
    ->Name("crop_resize_1080i_to_480_supersample/swscale")
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CropResizeCubicSwscaleAvx)
    ->Name("crop_resize_1080i_to_480_cubic/swscale.avx")
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CropResizeSuperSwscaleAvx)
    ->Name("crop_resize_1080i_to_480_supersample/swscale.avx")
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ColourSpace)->Name("colour_space_bt709_to_bt601_1080p/ours")->Unit(benchmark::kMillisecond);
BENCHMARK(BM_FrameCopy)->Name("colour_space_bt709_to_bt601_1080p/bound.memcpy")->Unit(benchmark::kMillisecond);

}  // namespace
