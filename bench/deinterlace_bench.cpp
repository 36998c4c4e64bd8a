// The smart deinterlacer on full HD 4:2:0 frames, combed and clean, each
// beside a memcpy of one frame's planes: the floor of any pass over a frame.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>

#include "corvane.h"

namespace {

constexpr int kWidth = 1920;
constexpr int kHeight = 1080;
// Columns by which the bottom field lags the top one in the combed frame.
constexpr int kFieldLag = 6;

// Blocks of 24 pixels in two levels with a little noise. Still, it has no
// comb; with one field shifted against the other, as horizontal motion
// between the two field times does, every vertical edge combs.
uint8_t Texture(int x, int y, uint32_t& noise) {
  noise = noise * 1664525u + 1013904223u;
  const int level = ((x / 24 + y / 24) & 1) != 0 ? 180 : 60;
  return static_cast<uint8_t>(level + static_cast<int>(noise >> 29) - 4);
}

void FillPlane(uint8_t* plane, int width, int height, int pitch, int lag) {
  uint32_t noise = 12345;
  for (int y = 0; y < height; ++y) {
    const int shift = (y & 1) != 0 ? lag : 0;
    for (int x = 0; x < width; ++x) plane[y * pitch + x] = Texture(x + shift, y, noise);
  }
}

CYUVFrame MakeFrame(int lag) {
  CYUVFrame frame(kWidth, kHeight, CHROMA_420);
  FillPlane(frame.y, kWidth, kHeight, frame.stride, lag);
  FillPlane(frame.u, kWidth / 2, kHeight / 2, frame.chromaStride, lag / 2);
  FillPlane(frame.v, kWidth / 2, kHeight / 2, frame.chromaStride, lag / 2);
  return frame;
}

size_t PlaneBytes(const CYUVFrame& frame) {
  return static_cast<size_t>(frame.lumaPlaneSize) + 2 * static_cast<size_t>(frame.chromaPlaneSize);
}

// The tool's default settings: test and repair by the comb and motion maps.
CSmartFieldDeinterlacer MakeDeinterlacer() { return {false, false, 400, 100, false, false, false, false}; }

void Report(benchmark::State& state, CSmartFieldDeinterlacer::FRAME_STATUS expected,
            const CSmartFieldDeinterlacer& deinterlacer) {
  state.SetItemsProcessed(state.iterations());
  if (deinterlacer.LastFrameStatus() != expected) state.SkipWithError("the frame was not classified as intended");
}

// Repair turns the frame progressive and clean, so each run starts again
// from the combed original, outside the timing.
void SmartCombed(benchmark::State& state) {
  const CYUVFrame original = MakeFrame(kFieldLag);
  CYUVFrame frame(original);
  CSmartFieldDeinterlacer deinterlacer = MakeDeinterlacer();
  for (auto _ : state) {
    state.PauseTiming();
    std::memcpy(frame.y, original.y, PlaneBytes(frame));
    frame.progressive = false;
    state.ResumeTiming();
    deinterlacer.DeinterlaceFrame(frame);
    benchmark::DoNotOptimize(frame.y);
  }
  Report(state, CSmartFieldDeinterlacer::STATUS_COMBED, deinterlacer);
}

// A clean frame comes back untouched, so only its flag needs resetting.
void SmartClean(benchmark::State& state) {
  CYUVFrame frame = MakeFrame(0);
  CSmartFieldDeinterlacer deinterlacer = MakeDeinterlacer();
  for (auto _ : state) {
    frame.progressive = false;
    deinterlacer.DeinterlaceFrame(frame);
    benchmark::DoNotOptimize(frame.y);
  }
  Report(state, CSmartFieldDeinterlacer::STATUS_CLEAN, deinterlacer);
}

void MemcpyFrame(benchmark::State& state) {
  const CYUVFrame source = MakeFrame(0);
  CYUVFrame target(kWidth, kHeight, CHROMA_420);
  for (auto _ : state) {
    std::memcpy(target.y, source.y, PlaneBytes(source));
    benchmark::DoNotOptimize(target.y);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations());
}

BENCHMARK(SmartCombed)->Name("deinterlace.smart.combed_1080p/ours")->Unit(benchmark::kMillisecond);
BENCHMARK(MemcpyFrame)->Name("deinterlace.smart.combed_1080p/bound.memcpy")->Unit(benchmark::kMillisecond);
BENCHMARK(SmartClean)->Name("deinterlace.smart.clean_1080p/ours")->Unit(benchmark::kMillisecond);
BENCHMARK(MemcpyFrame)->Name("deinterlace.smart.clean_1080p/bound.memcpy")->Unit(benchmark::kMillisecond);

}  // namespace
