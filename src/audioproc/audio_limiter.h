// The look-ahead peak limiter for 16-bit PCM and SMPTE 302M audio frames.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <optional>
#include <vector>

#include "audioproc/smpte302m.h"
#include "core/frame.h"

// A look-ahead peak limiter over a stream of CAudioFrames. Peaks above the
// threshold are compressed so that a full-scale peak comes out at the
// ceiling; the gain follows an envelope that ramps up ahead of a steep peak,
// which is why the output runs one input frame behind: each call gives out the
// block of the frame before, with that frame's header, and a null frame
// flushes the last one.
//
// Frames it reads: 16-bit big-endian PCM and SMPTE 302M units; others add no
// samples. Both channels of a stereo frame share one envelope and one gain.
// Mono PCM is limited and written back as mono. Of a PCM frame with more than
// two channels, and of a 302M unit of any count, the first two channels are
// limited and written as a stereo frame; the others are dropped. PCM goes out
// as 16-bit big-endian PCM, 302M as 20-bit stereo 302M.
//
// The buffers hold 32768 samples a channel: the waiting block and the frame
// that follows it. When a frame does not fit behind the waiting block, that
// block goes out at once with the look-ahead it has, and the new frame waits
// alone. A PCM frame of more than 32768 samples a channel is refused, like a
// 302M unit the decoder refuses: it adds no samples.
//
// Copies are independent: each has its own frames, decoder and buffers.
class CQBXAudioLimiter {
 public:
  // Taken for the host's sake; the limiter never clips hard.
  enum HARD_CLIPPER { HARD_CLIPPER_OFF = 0, HARD_CLIPPER_ON = 1 };

  static constexpr unsigned kBufferSamples = 32768;

  // Attack and release are the times over which the envelope rises and falls
  // a thousandfold (60 dB). A ceiling equal to the threshold puts every peak
  // at the threshold.
  CQBXAudioLimiter(double ceilingDB, double thresholdDB, int samplingRate, int attackMs, int releaseMs,
                   HARD_CLIPPER clipper);
  virtual ~CQBXAudioLimiter() = default;

  // Takes `frame` (null to flush) and returns the limited block of the frame
  // before it, or null when no block goes out. The result stays the
  // limiter's and is overwritten by the next call.
  CAudioFrame* ProcessAudioFrame(const CAudioFrame* frame);
  // `samples`: samples a channel taken in since construction. `peakDB`: the
  // highest magnitude given out so far, in dB of 16-bit full scale (-96.0
  // before any output). The first argument is not used.
  void GetProcessingStatistics(int64_t ignored, int64_t& samples, double& peakDB) const;
  // Samples (a channel) whose gain was reduced since construction.
  int64_t GetLimitedSamples() const { return limitedSamples; }

 private:
  unsigned SamplesCarried(const CAudioFrame& frame);
  void IngestSamples(const CAudioFrame* frame);
  void IngestPcm16(const CAudioFrame& frame, unsigned count);
  void Ingest302M(const CAudioFrame& frame);
  void StoreLevels(unsigned begin, unsigned end);
  void ComputeEnvelope();
  double RecomputeEnvelope(unsigned index, double level);
  // Defined here so that the loops can take it in, which a call through the
  // shared library's symbol table would prevent. A mono frame leaves the
  // right channel silent, so one rule serves every count.
  double GetLevel(unsigned index) const {
    return std::max(std::fabs(sampleBuffers[0][index]), std::fabs(sampleBuffers[1][index]));
  }
  double GainAt(unsigned index) const;
  void DoLimiting(CAudioFrame* out);
  void WritePcm16(CAudioFrame* out, unsigned outputChannels);
  void RemoveBlock();
  static void CopyAudioFrameHeaderData(const CAudioFrame* from, CAudioFrame* to);

  std::vector<std::vector<double>> workChannels;  // decoded 302M channels; empty until the first 302M unit
  std::optional<CSMPTE302MDecode> decoder;        // made at the first 302M unit
  double ratio;           // thresholdDB / (thresholdDB - ceilingDB)
  double thresholdLevel;  // the threshold on the sample scale of -1.0 to 1.0
  double gainExponent;    // 1 - 1 / ratio
  double peakLevel = 0.0;
  int64_t totalSamples = 0;
  int64_t limitedSamples = 0;
  CAudioFrame outputFrame;
  CAudioFrame heldHeader;  // header of the last input frame; its payload is unused
  std::vector<std::vector<double>> sampleBuffers;  // left and right, -1.0 to 1.0, oldest first
  std::vector<double> envelope;
  std::vector<unsigned char> pcmBytes;  // the output block on its way into outputFrame
  unsigned samplesHeld = 0;
  unsigned samplesReady = 0;  // held samples whose envelope is final
  double attackFactor;        // rise of the envelope a sample, above 1
  double releaseFactor;       // fall of the envelope a sample, below 1
};
