// The sampling-rate converter: one libresample handle per channel, fed with
// 32-bit floats on whatever scale the caller's samples have.
#include <libresample.h>

#include <algorithm>
#include <cstdint>

#include "audioparse/audio_support.h"

namespace {

// Room for every sample a block can give at this ratio, plus one.
int OutputCapacity(size_t inputSamples, double factor) {
  return static_cast<int>(static_cast<double>(inputSamples) * factor + 1.0);
}

int16_t TruncateTo16Bits(float sample) { return static_cast<int16_t>(static_cast<int32_t>(sample)); }

}  // namespace

CAudioSupport::CAudioSupport() = default;

CAudioSupport::CAudioSupport(int inputRate, int outputRate) { InitSamplingRateConvert(inputRate, outputRate, 2); }

CAudioSupport::CAudioSupport(const CAudioSupport& other)
    : inputSamplingRate(other.inputSamplingRate),
      factor(other.factor),
      floatInput(other.floatInput),
      floatOutput(other.floatOutput) {
  handles.reserve(other.handles.size());
  for (void* handle : other.handles) handles.push_back(resample_dup(handle));
}

CAudioSupport& CAudioSupport::operator=(const CAudioSupport& other) {
  if (this == &other) return *this;
  CAudioSupport copy(other);
  CloseHandles();
  inputSamplingRate = copy.inputSamplingRate;
  factor = copy.factor;
  floatInput = std::move(copy.floatInput);
  floatOutput = std::move(copy.floatOutput);
  handles.swap(copy.handles);
  return *this;
}

CAudioSupport::~CAudioSupport() { CloseHandles(); }

void CAudioSupport::CloseHandles() {
  for (void* handle : handles) resample_close(handle);
  handles.clear();
}

int CAudioSupport::InitSamplingRateConvert(int inputRate, int outputRate, unsigned channels) {
  // The ratio is used as given, not reduced; both bounds of the handle sit on
  // it, so libresample never sees a factor outside them.
  factor = static_cast<double>(outputRate) / static_cast<double>(inputRate);
  inputSamplingRate = inputRate;
  for (unsigned c = 0; c < channels; ++c) handles.push_back(resample_open(1, factor, factor));
  floatInput.resize(channels);
  floatOutput.resize(channels);
  return 0;
}

int CAudioSupport::ResampleStereoData(const short* input, int inputSamples, int& inputUsed, short* output,
                                      int& outputSamples) {
  const int capacity = OutputCapacity(static_cast<size_t>(std::max(inputSamples, 0)), factor);
  for (int c = 0; c < 2; ++c) {
    floatInput[c].resize(static_cast<size_t>(std::max(inputSamples, 0)));
    floatOutput[c].resize(static_cast<size_t>(capacity));
  }
  for (int i = 0; i < inputSamples; ++i) {
    floatInput[0][i] = input[2 * i];
    floatInput[1][i] = input[2 * i + 1];
  }
  // lastFlag 0: each handle keeps its filter history for the next block.
  int leftUsed = 0;
  int rightUsed = 0;
  const int produced = resample_process(handles[0], factor, floatInput[0].data(), inputSamples, 0, &leftUsed,
                                        floatOutput[0].data(), capacity);
  resample_process(handles[1], factor, floatInput[1].data(), inputSamples, 0, &rightUsed, floatOutput[1].data(),
                   capacity);
  inputUsed = leftUsed;
  outputSamples = produced;
  for (int i = 0; i < produced; ++i) {
    output[2 * i] = TruncateTo16Bits(floatOutput[0][i]);
    output[2 * i + 1] = TruncateTo16Bits(floatOutput[1][i]);
  }
  return 0;
}

int CAudioSupport::ResampleSingleChannel(std::vector<float>& input, int& inputUsed, std::vector<float>& output,
                                         unsigned channel) {
  const int capacity = OutputCapacity(input.size(), factor);
  output.resize(static_cast<size_t>(capacity));
  // lastFlag 1: the block is the end of the input, so libresample zero-pads
  // behind it and gives out everything it holds.
  const int produced = resample_process(handles[channel], factor, input.data(), static_cast<int>(input.size()), 1,
                                        &inputUsed, output.data(), capacity);
  output.resize(static_cast<size_t>(std::max(produced, 0)));
  return produced;
}

int CAudioSupport::GetCurrentInputSamplingRate() { return inputSamplingRate; }

int CAudioSupport::getGCD(int a, int b) {
  int gcd = 1;
  for (int i = 2; i <= std::min(a, b); ++i) {
    if (a % i == 0 && b % i == 0) gcd = i;
  }
  return gcd;
}
