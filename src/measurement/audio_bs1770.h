// Loudness of a multi-channel stream after ITU-R BS.1770: K-weighting,
// channel-weighted mean square over sliding windows, two-stage gating.
#pragma once

#include <vector>

#include "core/audio_params.h"
#include "core/types.h"

namespace NS_AudioMeasurement {

// Measurement modes of GetLoudness and GetLoudnessCurve.
inline constexpr int LOUDNESS_MOMENTARY = 0;   // 400 ms windows
inline constexpr int LOUDNESS_SHORT_TERM = 1;  // 3 s windows
inline constexpr int LOUDNESS_GATED = 2;       // gating blocks, two-stage gate
inline constexpr int LOUDNESS_BLOCKWISE = 3;   // 20 ms sub-blocks (10 s windows in a curve)

// One point of a loudness curve; `peak` is always 0.0.
struct LoudnessPoint {
  double lkfs;
  double peak;
};

class CAudioBS1770Impl;

// A BS.1770 loudness meter of up to five channels (L, R, C, Ls, Rs). It keeps
// no audio, only the K-weighted energy of every 20 ms sub-block of every
// channel, so every result can be asked for at any time, in any order, and
// channels measured by separate objects can be joined with CopyChannelBlocks.
// No result depends on how the stream is cut into AddSamples calls.
//
// Absence of data shows as -128.0 (no window evaluated) or -120.0 (nothing
// passed a gate, or no peak).
class CAudioBS1770 {
 public:
  // `channels` is at most five; `samplingRate` is kept but the filter and the
  // sub-block length are those of 48 kHz whatever it says.
  CAudioBS1770(unsigned int channels, int samplingRate, CAudioStreamParameters::CLKFSParameters parameters);
  virtual ~CAudioBS1770();
  CAudioBS1770(const CAudioBS1770&) = delete;
  CAudioBS1770& operator=(const CAudioBS1770&) = delete;

  // Filters and accumulates one block: `samples` holds at least `channels`
  // vectors of equal length, full scale at 1.0.
  virtual void AddSamples(const std::vector<std::vector<double>>& samples);
  // Loudness of the whole stream so far in LKFS: the highest momentary
  // (mode 0) or short-term (mode 1) window, the gated programme loudness
  // (mode 2), or the gate over single sub-blocks (mode 3).
  virtual double GetLoudness(int mode) const;
  // GetLoudness of the mode that the parameters' measureMilliseconds names:
  // 400 momentary, 3000 short-term, 10000 blockwise, anything else gated.
  virtual double GetMeasuredLoudness() const;
  // Sample peak of the input in dB, -120.0 when every sample was zero.
  virtual double GetPeak() const;
  // Replaces the sub-block list of `targetChannel` by a copy of that of
  // `sourceChannel` in `source`; the filter memory stays as it is.
  virtual void CopyChannelBlocks(unsigned int targetChannel, unsigned int sourceChannel, const CAudioBS1770& source);
  // One point per `stepMilliseconds` (above 0) of the stream, the unfinished
  // sub-block counted: the loudness of `mode` within that stretch.
  virtual void GetLoudnessCurve(int stepMilliseconds, int mode, std::vector<LoudnessPoint>& curve) const;
  // Writes the curve as text, "sample, lkfs, peak" then one line a point.
  // A file that cannot be created is silently skipped.
  virtual void SaveLoudnessCurve(const CString& fileName, const std::vector<LoudnessPoint>& curve) const;

  // Measures one second of a full-scale 1 kHz tone on one, two and five
  // channels, the latter joined by CopyChannelBlocks.
  static void TestCAudioBS1770();

 private:
  CAudioBS1770Impl* impl;
};

}  // namespace NS_AudioMeasurement
