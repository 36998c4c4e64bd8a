// The real FFT and the plane resize, each beside its peer library on the same
// data: FFTW for the transform, libswscale for the resize.
#include <benchmark/benchmark.h>
#include <fftw3.h>

extern "C" {
#include <libswscale/swscale.h>
}

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
  PrimFFTSpec* spec = nullptr;
  PrimFFTInitAlloc(&spec, kFFTOrder, PrimFFTDivInverseByN, 0);
  std::vector<double> signal = RandomSignal(kFFTLength), spectrum(kFFTLength + 2);
  for (auto _ : state) {
    PrimFFTForward(signal.data(), spectrum.data(), spec, nullptr);
    PrimFFTInverse(spectrum.data(), signal.data(), spec, nullptr);
    benchmark::DoNotOptimize(signal.data());
  }
  PrimFFTFreeSpec(spec);
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

}  // namespace
