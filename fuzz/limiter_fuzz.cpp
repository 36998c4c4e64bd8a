// The limiter fed a stream of frames of arbitrary sizes, types and channel
// counts, with flushes between them. The harness keeps the one promise a
// host makes: a 302M unit holds the bytes its header announces.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "audioproc/audio_limiter.h"
#include "core/frame.h"
#include "fuzz_input.h"

namespace {

constexpr size_t kMaxFrames = 24;

// Payload bytes drawn from the input, repeated when the frame is longer.
std::vector<uint8_t> Payload(corvane::fuzz::InputBytes& input, size_t length) {
  std::vector<uint8_t> bytes(length);
  const size_t restSize = input.RestSize();
  for (size_t i = 0; i < length; ++i) bytes[i] = restSize == 0 ? 0 : input.Rest()[i % restSize];
  return bytes;
}

void SetPayload(CAudioFrame& frame, const std::vector<uint8_t>& bytes) {
  frame.payloadLength = 0;
  frame.AppendData(bytes.data(), static_cast<unsigned>(bytes.size()));
}

void MakeFrame(corvane::fuzz::InputBytes& input, uint8_t kind, CAudioFrame& frame) {
  frame.presentationTime = input.Word();
  frame.channels = input.Byte() % 10;
  frame.bitsPerSample = (input.Byte() & 1) ? 16 : 24;
  if (kind == 1) {
    frame.audioType = AUDIO_FRAME_PCM;
    // Mostly short frames, which keep the runs fast; one in four up to twice
    // what the buffers hold, so that frames that do not fit come too.
    const uint32_t longest = (input.Byte() & 3) == 0 ? 2 * CQBXAudioLimiter::kBufferSamples * 2 * 2 + 7 : 4096;
    SetPayload(frame, Payload(input, input.Word() % longest));
  } else if (kind == 2) {
    frame.audioType = AUDIO_FRAME_SMPTE302M;
    std::vector<uint8_t> unit = Payload(input, 4);
    unit.resize(4 + ((unit[0] << 8) | unit[1]));
    const std::vector<uint8_t> samples = Payload(input, unit.size() - 4);
    std::copy(samples.begin(), samples.end(), unit.begin() + 4);
    SetPayload(frame, unit);
  } else {
    // Any type the limiter does not read; a 302M unit comes only with its bytes.
    const uint8_t type = input.Byte();
    frame.audioType = type == AUDIO_FRAME_PCM || type == AUDIO_FRAME_SMPTE302M ? AUDIO_FRAME_UNKNOWN
                                                                               : static_cast<AUDIO_FRAME_TYPE>(type);
    SetPayload(frame, Payload(input, input.Byte()));
  }
}

void CheckOutput(const CAudioFrame* out) {
  if (out != nullptr && (out->payloadLength == 0 || out->payloadLength > out->bufferSize)) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  corvane::fuzz::InputBytes input(data, size);
  const double ceilingDB = -static_cast<double>(input.Byte() % 24);
  const double thresholdDB = ceilingDB - static_cast<double>(input.Byte() % 24);
  static const int kRates[] = {48000, 44100, 32000, 8000, 96000};
  const int rate = kRates[input.Byte() % 5];
  const int attackMs = input.Byte() % 50;
  const int releaseMs = input.Byte() * 4;
  CQBXAudioLimiter limiter(ceilingDB, thresholdDB, rate, attackMs, releaseMs, CQBXAudioLimiter::HARD_CLIPPER_OFF);

  CAudioFrame frame;
  for (size_t i = 0; i < kMaxFrames && input.RestSize() > 0; ++i) {
    const uint8_t kind = input.Byte() % 4;
    if (kind == 0) {
      CheckOutput(limiter.ProcessAudioFrame(nullptr));
      continue;
    }
    MakeFrame(input, kind, frame);
    CheckOutput(limiter.ProcessAudioFrame(&frame));
  }
  CheckOutput(limiter.ProcessAudioFrame(nullptr));
  CheckOutput(limiter.ProcessAudioFrame(nullptr));
  int64_t samples = 0;
  double peakDB = 0.0;
  limiter.GetProcessingStatistics(0, samples, peakDB);
  if (samples < 0) std::abort();
  return 0;
}
