// Audio measurement beside libebur128 on the same samples: BS.1770 loudness,
// the true peak meter, also beside the bare four-fold rate conversion that is
// its floor, and the sample peak meter. The other level meters have no peer
// and are timed alone.
#include <benchmark/benchmark.h>
#include <ebur128.h>
#include <libresample.h>

#include <cmath>
#include <random>
#include <vector>

#include "measurement/audio_bs1770.h"
#include "measurement/audio_peak_level.h"

namespace {

constexpr size_t kFrames = 48000;  // one second at 48 kHz per iteration

// Seeded noise, a different stream per channel, full scale at 1.0.
std::vector<std::vector<double>> Programme(unsigned channels) {
  std::mt19937 generator(1770);
  std::normal_distribution<double> noise(0.0, 0.1);
  std::vector<std::vector<double>> planar(channels, std::vector<double>(kFrames));
  for (auto& channel : planar) {
    for (double& sample : channel) sample = noise(generator);
  }
  return planar;
}

std::vector<double> Interleave(const std::vector<std::vector<double>>& planar) {
  const size_t channels = planar.size();
  std::vector<double> interleaved(kFrames * channels);
  for (size_t i = 0; i < kFrames; ++i) {
    for (size_t c = 0; c < channels; ++c) interleaved[i * channels + c] = planar[c][i];
  }
  return interleaved;
}

void LoudnessOurs(benchmark::State& state, unsigned channels) {
  const auto planar = Programme(channels);
  NS_AudioMeasurement::CAudioBS1770 meter(channels, 48000, {400, 75, 0, -10.0, -70.0});
  for (auto _ : state) meter.AddSamples(planar);
  benchmark::DoNotOptimize(meter.GetLoudness(NS_AudioMeasurement::LOUDNESS_GATED));
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * kFrames));
}

void LoudnessEbur128(benchmark::State& state, unsigned channels) {
  const auto interleaved = Interleave(Programme(channels));
  ebur128_state* meter = ebur128_init(channels, 48000, EBUR128_MODE_I | EBUR128_MODE_M | EBUR128_MODE_S);
  if (channels == 5) {
    ebur128_set_channel(meter, 3, EBUR128_LEFT_SURROUND);
    ebur128_set_channel(meter, 4, EBUR128_RIGHT_SURROUND);
  }
  for (auto _ : state) ebur128_add_frames_double(meter, interleaved.data(), kFrames);
  double loudness = 0.0;
  ebur128_loudness_global(meter, &loudness);
  benchmark::DoNotOptimize(loudness);
  ebur128_destroy(&meter);
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * kFrames));
}

BENCHMARK_CAPTURE(LoudnessOurs, ours, 2)->Name("bs1770.add_samples.stereo48k/ours");
BENCHMARK_CAPTURE(LoudnessEbur128, libebur128, 2)->Name("bs1770.add_samples.stereo48k/libebur128");
BENCHMARK_CAPTURE(LoudnessOurs, ours, 5)->Name("bs1770.add_samples.5ch48k/ours");
BENCHMARK_CAPTURE(LoudnessEbur128, libebur128, 5)->Name("bs1770.add_samples.5ch48k/libebur128");

// libebur128 in one of its peak modes, read through the matching getter.
void PeakEbur128(benchmark::State& state, int mode, int (*reading)(ebur128_state*, unsigned int, double*)) {
  const auto interleaved = Interleave(Programme(2));
  ebur128_state* meter = ebur128_init(2, 48000, mode);
  for (auto _ : state) ebur128_add_frames_double(meter, interleaved.data(), kFrames);
  double peak = 0.0;
  reading(meter, 0, &peak);
  benchmark::DoNotOptimize(peak);
  ebur128_destroy(&meter);
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * kFrames));
}

// The floor of the true peak meter: the four-fold conversion alone, in the
// meter's blocks of 100 ms, each the end of its input as the meter has it.
void TruePeakResampleBound(benchmark::State& state) {
  constexpr size_t kBlock = 4800;
  const auto planar = Programme(2);
  std::vector<std::vector<float>> input(2);
  for (size_t c = 0; c < 2; ++c) input[c].assign(planar[c].begin(), planar[c].end());
  void* handles[2] = {resample_open(1, 4.0, 4.0), resample_open(1, 4.0, 4.0)};
  std::vector<float> output(4 * kBlock + 1);
  for (auto _ : state) {
    for (size_t begin = 0; begin < kFrames; begin += kBlock) {
      for (size_t c = 0; c < 2; ++c) {
        int used = 0;
        benchmark::DoNotOptimize(resample_process(handles[c], 4.0, input[c].data() + begin, kBlock, 1, &used,
                                                  output.data(), static_cast<int>(output.size())));
      }
    }
  }
  for (void* handle : handles) resample_close(handle);
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * kFrames));
}

void LevelMeterOurs(benchmark::State& state, NS_AudioMeasurement::AUDIO_MEAUREMENT_TYPE type) {
  const auto planar = Programme(2);
  NS_AudioMeasurement::CAudioPeakLevel meter(2, 48000, type);
  for (auto _ : state) meter.AddSamples(planar);
  benchmark::DoNotOptimize(meter.GetPeakReading());
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * kFrames));
}

BENCHMARK_CAPTURE(LevelMeterOurs, simple, NS_AudioMeasurement::MEASUREMENT_SIMPLE)->Name("sample_peak.stereo48k/ours");
BENCHMARK_CAPTURE(PeakEbur128, libebur128, EBUR128_MODE_SAMPLE_PEAK, ebur128_sample_peak)
    ->Name("sample_peak.stereo48k/libebur128");
BENCHMARK_CAPTURE(LevelMeterOurs, ppm, NS_AudioMeasurement::MEASUREMENT_PPM_IIA)->Name("ppm.stereo48k/ours");
BENCHMARK_CAPTURE(LevelMeterOurs, vu, NS_AudioMeasurement::MEASUREMENT_VU)->Name("vu.stereo48k/ours");
BENCHMARK_CAPTURE(LevelMeterOurs, chromatec, NS_AudioMeasurement::MEASUREMENT_CHROMATEC)
    ->Name("chromatec.stereo48k/ours");
BENCHMARK_CAPTURE(LevelMeterOurs, true_peak, NS_AudioMeasurement::MEASUREMENT_TRUE_PEAK)
    ->Name("true_peak.stereo48k/ours");
BENCHMARK_CAPTURE(PeakEbur128, libebur128, EBUR128_MODE_TRUE_PEAK, ebur128_true_peak)
    ->Name("true_peak.stereo48k/libebur128");
BENCHMARK(TruePeakResampleBound)->Name("true_peak.stereo48k/bound.resample4x");

}  // namespace
