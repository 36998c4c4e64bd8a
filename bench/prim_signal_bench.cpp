// The real FFT and the plane resize, each beside its peer library on the same
// data: FFTW for the transform, libswscale for the resize.
#include <benchmark/benchmark.h>
#include <fftw3.h>

extern "C" {
#include <libswscale/swscale.h>
}

#include <algorithm>
#include <cstdint>
#include <random>
#include <vector>

#include "primitives/prim.h"

namespace {

constexpr int kFFTOrder = 14;
constexpr int kFFTLength = 1 << kFFTOrder;

std::vector<double> RandomSignal(size_t n) {
  std::mt19937 random(1);
  std::uniform_real_distribution<double> value(-1.0, 1.0);
  std::vector<double> x(n);
  for (double& v : x) v = value(random);
  return x;
}

// Forward and inverse as the FFT filter runs them: flag 2, no work buffer.
void BM_FFTRoundTripOurs(benchmark::State& state) {
  PrimFFTSpec* plan = nullptr;
  PrimFFTInitAlloc(&plan, kFFTOrder, PrimFFTDivInverseByN, 0);
  std::vector<double> signal = RandomSignal(kFFTLength), spectrum(kFFTLength + 2);
  for (auto _ : state) {
    PrimFFTForward(signal.data(), spectrum.data(), plan, nullptr);
    PrimFFTInverse(spectrum.data(), signal.data(), plan, nullptr);
    benchmark::DoNotOptimize(signal.data());
  }
  PrimFFTFreeSpec(plan);
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_FFTRoundTripOurs)->Name("fft_16384_roundtrip/ours");

void BM_FFTRoundTripFFTW(benchmark::State& state) {
  double* signal = fftw_alloc_real(kFFTLength);
  fftw_complex* spectrum = fftw_alloc_complex(kFFTLength / 2 + 1);
  const fftw_plan forward = fftw_plan_dft_r2c_1d(kFFTLength, signal, spectrum, FFTW_MEASURE);
  const fftw_plan inverse = fftw_plan_dft_c2r_1d(kFFTLength, spectrum, signal, FFTW_MEASURE);
  const std::vector<double> input = RandomSignal(kFFTLength);
  std::copy(input.begin(), input.end(), signal);
  const double scale = 1.0 / kFFTLength;
  for (auto _ : state) {
    fftw_execute(forward);
    fftw_execute(inverse);
    for (int i = 0; i < kFFTLength; ++i) signal[i] *= scale;  // FFTW leaves the 1/N to us
    benchmark::DoNotOptimize(signal);
  }
  fftw_destroy_plan(forward);
  fftw_destroy_plan(inverse);
  fftw_free(signal);
  fftw_free(spectrum);
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_FFTRoundTripFFTW)->Name("fft_16384_roundtrip/fftw");

constexpr int kSourceWidth = 1920, kSourceHeight = 1080, kTargetWidth = 720, kTargetHeight = 480;

// A luma-like plane: gradients with texture, the same for every contender.
std::vector<uint8_t> SourcePlane() {
  std::mt19937 random(2);
  std::uniform_int_distribution<int> noise(-12, 12);
  std::vector<uint8_t> plane(size_t{kSourceWidth} * kSourceHeight);
  for (int y = 0; y < kSourceHeight; ++y) {
    for (int x = 0; x < kSourceWidth; ++x) {
      const int gradient = (x * 255 / kSourceWidth + y * 255 / kSourceHeight) / 2;
      const int value = gradient + ((x / 7 + y / 5) % 2) * 40 + noise(random);
      plane[size_t{kSourceWidth} * y + x] = static_cast<uint8_t>(std::clamp(value, 0, 255));
    }
  }
  return plane;
}

void ResizeOurs(benchmark::State& state, int interpolation) {
  const std::vector<uint8_t> source = SourcePlane();
  std::vector<uint8_t> target(size_t{kTargetWidth} * kTargetHeight);
  const PlaneRect sourceRect{0, 0, kSourceWidth, kSourceHeight}, targetRect{0, 0, kTargetWidth, kTargetHeight};
  int32_t bufferSize = 0;
  PrimResizeGetBufferSize(sourceRect, targetRect, 1, interpolation, &bufferSize);
  uint8_t* buffer = static_cast<uint8_t*>(PrimMalloc(bufferSize));
  const double xFactor = static_cast<double>(kTargetWidth) / kSourceWidth;
  const double yFactor = static_cast<double>(kTargetHeight) / kSourceHeight;
  for (auto _ : state) {
    PrimResizePlane(source.data(), kSourceWidth, kSourceHeight, kSourceWidth, sourceRect, target.data(), kTargetWidth,
                    targetRect, xFactor, yFactor, 0.0, 0.0, interpolation, buffer);
    benchmark::DoNotOptimize(target.data());
  }
  PrimFree(buffer);
  state.SetItemsProcessed(state.iterations());
}

void ResizeSwscale(benchmark::State& state, int flags) {
  const std::vector<uint8_t> source = SourcePlane();
  std::vector<uint8_t> target(size_t{kTargetWidth} * kTargetHeight);
  SwsContext* context = sws_getContext(kSourceWidth, kSourceHeight, AV_PIX_FMT_GRAY8, kTargetWidth, kTargetHeight,
                                       AV_PIX_FMT_GRAY8, flags, nullptr, nullptr, nullptr);
  const uint8_t* sourcePlanes[1] = {source.data()};
  const int sourceSteps[1] = {kSourceWidth};
  uint8_t* targetPlanes[1] = {target.data()};
  const int targetSteps[1] = {kTargetWidth};
  for (auto _ : state) {
    sws_scale(context, sourcePlanes, sourceSteps, 0, kSourceHeight, targetPlanes, targetSteps);
    benchmark::DoNotOptimize(target.data());
  }
  sws_freeContext(context);
  state.SetItemsProcessed(state.iterations());
}

BENCHMARK_CAPTURE(ResizeOurs, cubic, PrimInterCubic)->Name("resize_1920x1080_to_720x480_cubic/ours");
BENCHMARK_CAPTURE(ResizeSwscale, bicubic, SWS_BICUBIC)->Name("resize_1920x1080_to_720x480_cubic/swscale");
BENCHMARK_CAPTURE(ResizeOurs, super, PrimInterSuper)->Name("resize_1920x1080_to_720x480_supersample/ours");
BENCHMARK_CAPTURE(ResizeSwscale, area, SWS_AREA)->Name("resize_1920x1080_to_720x480_supersample/swscale");

}  // namespace
