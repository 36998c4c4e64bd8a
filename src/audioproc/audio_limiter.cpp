#include "audioproc/audio_limiter.h"

#include <emmintrin.h>

#include <algorithm>
#include <cmath>

#include "audioparse/audio_support.h"
#include "audioproc/sample_lanes.h"

namespace {

// The envelope never falls below this by release.
constexpr double kEnvelopeFloor = 0.001;
constexpr double kPcmScale = 32767.0;

// The per-sample factor that moves the envelope by `logChange` (natural log)
// over `ms`: a thousandfold rise or fall, 60 dB.
double EnvelopeFactor(double logChange, int samplingRate, int ms) {
  return std::exp(logChange / (samplingRate * ms / 1000.0 + 0.5));
}

bool IsPcm16(const CAudioFrame& frame) { return frame.audioType == AUDIO_FRAME_PCM && frame.bitsPerSample == 16; }

double ReadBig16(const unsigned char* p) { return static_cast<int16_t>((p[0] << 8) | p[1]) / kPcmScale; }

// Samples i and i + 1 of a stereo frame, the big-endian words left, right,
// left, right at p, each divided by the scale as ReadBig16 does.
void ReadBig16Stereo(const unsigned char* p, double* left, double* right) {
  __m128i words = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p));
  words = _mm_or_si128(_mm_slli_epi16(words, 8), _mm_srli_epi16(words, 8));
  const __m128i values = _mm_srai_epi32(_mm_unpacklo_epi16(words, words), 16);
  const __m128d scale = _mm_set1_pd(kPcmScale);
  _mm_storeu_pd(left, _mm_div_pd(_mm_cvtepi32_pd(_mm_shuffle_epi32(values, 0x08)), scale));
  _mm_storeu_pd(right, _mm_div_pd(_mm_cvtepi32_pd(_mm_shuffle_epi32(values, 0x0D)), scale));
}

// Truncated toward zero, not clipped: a limited sample stays in range. Of
// the integer, the low 16 bits go out, high byte first.
void WriteBig16(double sample, unsigned char* p) {
  const auto value = static_cast<int32_t>(sample * kPcmScale);
  p[0] = static_cast<unsigned char>((value >> 8) & 0xFF);
  p[1] = static_cast<unsigned char>(value & 0xFF);
}

// Samples i and i + 1 of both channels as the four big-endian words left,
// right, left, right: truncated toward zero, of each integer its low 16 bits
// (sign-extended first, so that the packing never saturates).
void WriteBig16Stereo(const double* left, const double* right, unsigned i, unsigned char* p) {
  const __m128d scale = _mm_set1_pd(kPcmScale);
  const __m128i l = _mm_cvttpd_epi32(_mm_mul_pd(_mm_loadu_pd(left + i), scale));
  const __m128i r = _mm_cvttpd_epi32(_mm_mul_pd(_mm_loadu_pd(right + i), scale));
  const __m128i words = _mm_srai_epi32(_mm_slli_epi32(_mm_unpacklo_epi32(l, r), 16), 16);
  const __m128i packed = _mm_packs_epi32(words, words);
  const __m128i swapped = _mm_or_si128(_mm_slli_epi16(packed, 8), _mm_srli_epi16(packed, 8));
  _mm_storel_epi64(reinterpret_cast<__m128i*>(p), swapped);
}

}  // namespace

CQBXAudioLimiter::CQBXAudioLimiter(double ceilingDB, double thresholdDB, int samplingRate, int attackMs,
                                   int releaseMs, HARD_CLIPPER /*clipper*/)
    : ratio(thresholdDB / (thresholdDB - ceilingDB)),
      thresholdLevel(CAudioSupport::ConvertDBToAudioLevel(thresholdDB) / kPcmScale),
      // Equal levels make the ratio infinite, or 0/0 at 0 dB: the exponent is then 1.
      gainExponent(ceilingDB == thresholdDB ? 1.0 : 1.0 - 1.0 / ratio),
      sampleBuffers(2, std::vector<double>(kBufferSamples, 0.0)),
      envelope(kBufferSamples, kEnvelopeFloor),
      pcmBytes(4 * kBufferSamples),
      attackFactor(EnvelopeFactor(-std::log(kEnvelopeFloor), samplingRate, attackMs)),
      releaseFactor(EnvelopeFactor(std::log(kEnvelopeFloor), samplingRate, releaseMs)) {}

CAudioFrame* CQBXAudioLimiter::ProcessAudioFrame(const CAudioFrame* frame) {
  if (frame == nullptr) {
    DoLimiting(&outputFrame);
  } else if (samplesHeld + SamplesCarried(*frame) > kBufferSamples) {
    // No room behind the waiting block: it goes out now with the look-ahead
    // it has, and the new frame waits alone, as after a flush.
    DoLimiting(&outputFrame);
    IngestSamples(frame);
    samplesReady = samplesHeld;
  } else {
    IngestSamples(frame);
    DoLimiting(&outputFrame);
  }
  if (frame != nullptr) CopyAudioFrameHeaderData(frame, &heldHeader);
  return outputFrame.payloadLength != 0 ? &outputFrame : nullptr;
}

void CQBXAudioLimiter::GetProcessingStatistics(int64_t /*ignored*/, int64_t& samples, double& peakDB) const {
  samples = totalSamples;
  peakDB = CAudioSupport::ConvertLevelToDB(static_cast<int16_t>(static_cast<int32_t>(peakLevel * kPcmScale)));
}

unsigned CQBXAudioLimiter::SamplesCarried(const CAudioFrame& frame) {
  if (IsPcm16(frame)) {
    if (frame.channels == 0) return 0;
    const unsigned count = frame.payloadLength / (2 * frame.channels);
    return count <= kBufferSamples ? count : 0;
  }
  if (frame.audioType == AUDIO_FRAME_SMPTE302M) {
    if (!decoder) {
      decoder.emplace();
      workChannels.assign(8, std::vector<double>(CSMPTE302MDecode::kMaxSamplesPerChannel));
    }
    decoder->ReadHeader(frame.data);
    return decoder->samplesPerChannel <= CSMPTE302MDecode::kMaxSamplesPerChannel ? decoder->samplesPerChannel : 0;
  }
  return 0;
}

void CQBXAudioLimiter::IngestSamples(const CAudioFrame* frame) {
  const unsigned count = SamplesCarried(*frame);
  if (count != 0 && IsPcm16(*frame)) IngestPcm16(*frame, count);
  if (count != 0 && frame->audioType == AUDIO_FRAME_SMPTE302M) Ingest302M(*frame);
  ComputeEnvelope();
}

void CQBXAudioLimiter::IngestPcm16(const CAudioFrame& frame, unsigned count) {
  const unsigned stride = 2 * frame.channels;
  const unsigned char* p = frame.data;
  unsigned i = 0;
  if (frame.channels == 2) {
    for (; i + 2 <= count; i += 2, p += 8, samplesHeld += 2) {
      ReadBig16Stereo(p, &sampleBuffers[0][samplesHeld], &sampleBuffers[1][samplesHeld]);
    }
  }
  for (; i < count; ++i, p += stride, ++samplesHeld) {
    sampleBuffers[0][samplesHeld] = ReadBig16(p);
    // A mono frame leaves the right channel silent.
    sampleBuffers[1][samplesHeld] = frame.channels >= 2 ? ReadBig16(p + 2) : 0.0;
  }
  totalSamples += count;
}

void CQBXAudioLimiter::Ingest302M(const CAudioFrame& frame) {
  const unsigned count = decoder->DecodeFrame(frame.data);
  decoder->GetSamples(workChannels);
  for (unsigned c = 0; c < 2; ++c) {
    std::copy_n(workChannels[c].begin(), count, sampleBuffers[c].begin() + samplesHeld);
  }
  samplesHeld += count;
  totalSamples += count;
}

// The levels of samples [begin, end), two at a time where it can, into the
// envelope's own places: the recursion reads each just before it overwrites
// it, and a walk back of RecomputeEnvelope reads only places before the one
// being computed.
void CQBXAudioLimiter::StoreLevels(unsigned begin, unsigned end) {
  using namespace sample_lanes;
  const double* left = sampleBuffers[0].data();
  const double* right = sampleBuffers[1].data();
  unsigned i = begin;
  for (; i + 2 <= end; i += 2) {
    _mm_storeu_pd(&envelope[i], Larger(Magnitude(_mm_loadu_pd(left + i)), Magnitude(_mm_loadu_pd(right + i))));
  }
  for (; i < end; ++i) envelope[i] = GetLevel(i);
}

void CQBXAudioLimiter::ComputeEnvelope() {
  if (samplesReady == samplesHeld) return;
  StoreLevels(samplesReady, samplesHeld);
  // The factors in locals, and the last value in a register, keep memory
  // off the chain from one sample to the next.
  const double attack = attackFactor;
  const double release = releaseFactor;
  double* values = envelope.data();
  // The very first sample starts from its own level, stored in its place.
  double previous = samplesReady == 0 ? values[0] : values[samplesReady - 1];
  for (unsigned i = samplesReady; i < samplesHeld; ++i) {
    const double level = values[i];
    const double falling = std::max(release * previous, kEnvelopeFloor);
    if (level < falling) {
      previous = falling;  // a quiet sample lets the envelope fall
    } else if (previous * attack >= level) {
      previous = level;  // reachable in one step: follow the level
    } else {
      previous = std::min(RecomputeEnvelope(i, level), level);
    }
    values[i] = previous;
  }
}

double CQBXAudioLimiter::RecomputeEnvelope(unsigned index, double level) {
  // Walk back from the peak, dividing the wanted value by the attack factor at
  // every step, until the value before can reach it or the buffer starts;
  // then write the ramp forward. The index where the walk stops keeps its
  // value. The walk can reach into the waiting block, which is not out yet.
  unsigned start = index;
  double wanted = level;
  while (start > 0 && wanted > envelope[start - 1] * attackFactor) {
    wanted /= attackFactor;
    --start;
  }
  double value;
  if (start > 0) {
    value = std::max(wanted, kEnvelopeFloor);
  } else if (samplesReady == 0) {
    envelope[0] = wanted;  // the very first block may start the ramp anywhere
    value = wanted;
  } else {
    value = envelope[0];  // the waiting block's first value is fixed
  }
  for (unsigned j = start + 1; j <= index; ++j) {
    value *= attackFactor;
    envelope[j] = value;
  }
  return value;
}

double CQBXAudioLimiter::GainAt(unsigned index) const {
  // In dB, an envelope E above the threshold comes out at threshold + E / ratio.
  return std::pow(thresholdLevel / envelope[index], gainExponent);
}

void CQBXAudioLimiter::DoLimiting(CAudioFrame* out) {
  if (samplesReady == 0) {
    // The block that came in only starts to wait; nothing goes out for it.
    samplesReady = samplesHeld;
    out->payloadLength = 0;
    return;
  }
  CopyAudioFrameHeaderData(&heldHeader, out);
  for (unsigned i = 0; i < samplesReady; ++i) {
    if (thresholdLevel < envelope[i]) {
      ++limitedSamples;
      const double gain = GainAt(i);
      sampleBuffers[0][i] *= gain;
      sampleBuffers[1][i] *= gain;
    }
  }
  for (const std::vector<double>& buffer : sampleBuffers) {
    peakLevel = sample_lanes::LargestMagnitude(buffer.data(), samplesReady, peakLevel);
  }
  if (out->audioType == AUDIO_FRAME_SMPTE302M) {
    CSMPTE302MDecode::EncodeFrame(sampleBuffers, samplesReady, 1.0, out);
  } else {
    WritePcm16(out, out->channels == 1 ? 1 : 2);
  }
  RemoveBlock();
}

void CQBXAudioLimiter::WritePcm16(CAudioFrame* out, unsigned outputChannels) {
  unsigned char* p = pcmBytes.data();
  unsigned i = 0;
  if (outputChannels == 2) {
    for (; i + 2 <= samplesReady; i += 2, p += 8) {
      WriteBig16Stereo(sampleBuffers[0].data(), sampleBuffers[1].data(), i, p);
    }
  }
  for (; i < samplesReady; ++i) {
    for (unsigned c = 0; c < outputChannels; ++c, p += 2) WriteBig16(sampleBuffers[c][i], p);
  }
  const auto bytes = static_cast<unsigned>(p - pcmBytes.data());
  out->payloadLength = 0;
  out->AppendData(pcmBytes.data(), bytes);
  out->channels = outputChannels;
  out->bitsPerSample = 16;
}

void CQBXAudioLimiter::RemoveBlock() {
  const unsigned remaining = samplesHeld - samplesReady;
  for (auto& buffer : sampleBuffers) {
    std::copy_n(buffer.begin() + samplesReady, remaining, buffer.begin());
  }
  std::copy_n(envelope.begin() + samplesReady, remaining, envelope.begin());
  samplesHeld = remaining;
  samplesReady = remaining;
}

void CQBXAudioLimiter::CopyAudioFrameHeaderData(const CAudioFrame* from, CAudioFrame* to) { to->CopyHeader(*from); }
